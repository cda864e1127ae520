// Parsers over mapped files: the text that they get, what stays of the source, and how failures are
// told.
#include "tavlinbase/TavlinParser.h"

#include "platform/FileSystem.h"
#include "platform/MessageBox.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace Tavlin {
namespace {

std::vector<std::string> g_boxes;

int keepBox(char const * text, char const * caption, unsigned) {
    g_boxes.push_back(std::string(caption) + "|" + text);
    return platform::answerOk;
}

class Words : public FileParser {
  public:
    std::function<void(Words &)> work;

  protected:
    void parse() override { work(*this); }
};

class TavlinParserTest : public testing::Test {
  protected:
    TavlinParserTest() {
        g_boxes.clear();
        former_ = platform::setMessageBoxHandler(keepBox);
        directory_ = platform::createTemporaryFile(platform::temporaryDirectory().c_str(), "par");
        platform::removeFile(directory_.c_str());
        platform::createDirectory(directory_.c_str());
        char const * const temporary = std::getenv("TMPDIR");
        formerTemporary_ = temporary ? temporary : "";
    }
    ~TavlinParserTest() override {
        useTemporary(formerTemporary_);
        platform::setMessageBoxHandler(former_);
        for (std::string const & name : names(directory_))
            platform::removeFile((directory_ + "\\" + name).c_str());
        platform::removeDirectory(directory_.c_str());
    }

    static void useTemporary(std::string const & directory) {
        if (directory.empty())
            unsetenv("TMPDIR");
        else
            setenv("TMPDIR", directory.c_str(), 1);
    }
    static std::string native(std::string name) {
        for (char & c : name)
            if (c == '\\')
                c = '/';
        return name;
    }
    GFile file(char const * name, std::string const & content) {
        std::string const full = directory_ + "\\" + name;
        std::ofstream(native(full), std::ios::binary) << content;
        return full.c_str();
    }
    static std::string contentOf(GFile const & file) {
        std::ifstream in(native(file.c_str()), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static std::vector<std::string> names(std::string const & directory) {
        std::vector<std::string> result;
        platform::DirectoryWalk * const walk = platform::startDirectoryWalk(directory.c_str());
        platform::DirectoryEntry entry;
        while (walk && platform::nextDirectoryEntry(*walk, entry))
            if (!entry.directory)
                result.push_back(entry.name);
        if (walk)
            platform::endDirectoryWalk(walk);
        return result;
    }

    std::string directory_;
    std::string formerTemporary_;
    platform::MessageBoxHandler former_;
};

TEST_F(TavlinParserTest, ParsesATerminatedCopyAndLeavesTheSourceAlone) {
    useTemporary(native(directory_));
    // A whole number of pages has no room of its own for the zero byte.
    for (std::size_t const length : {std::size_t{0}, std::size_t{5}, std::size_t{65536}}) {
        std::string const text(length, 'a');
        GFile const source = file("source.txt", text);
        Words parser;
        ASSERT_TRUE(parser.setSource(source)) << length;
        EXPECT_EQ(parser.getSource(), source);
        EXPECT_EQ(parser.getFileSize(), length);
        EXPECT_EQ(std::string(parser.getHead()), text);
        EXPECT_EQ(names(directory_).size(), 2u) << "the source and its copy";
        parser.work = [&](Words & self) {
            char * const half = self.getHead() + length / 2;
            EXPECT_EQ(self.getParsedSize(half), length / 2);
            EXPECT_EQ(self.getSizeToGo(half), length - length / 2);
            for (char * at = self.getHead(); *at; ++at)
                *at = 'b';
        };
        EXPECT_TRUE(parser.doParse());
        parser.close();
        EXPECT_EQ(contentOf(source), text);
        EXPECT_EQ(names(directory_), std::vector<std::string>{"source.txt"});
        EXPECT_EQ(parser.getHead(), nullptr);
        EXPECT_TRUE(parser.setSource(source)) << "free for the next";
        // The destructor takes this copy away.
    }
    EXPECT_EQ(names(directory_), std::vector<std::string>{"source.txt"});
    EXPECT_TRUE(g_boxes.empty());
}

TEST_F(TavlinParserTest, TellsFailuresInABox) {
    std::string const occured = "\n\n Occured in <tavlinbase/TavlinParser> at line ";
    GFile const source = file("source.txt", "text");
    Words parser;
    bool ran = false;
    parser.work = [&](Words &) { ran = true; };
    EXPECT_FALSE(parser.doParse());
    EXPECT_FALSE(parser.setSource((directory_ + "\\missing.txt").c_str()));
    EXPECT_TRUE(parser.getSource().isEmpty()) << "what failed to open is not open";
    EXPECT_FALSE(parser.setSource(directory_.c_str())) << "a directory has no bytes";
    EXPECT_TRUE(parser.setSource(source));
    EXPECT_FALSE(parser.setSource(source));
    EXPECT_FALSE(ran);
    parser.work = [](Words &) {
        throw ParsingError("game/Words", 7, ParsingError::UnrecognizedFileType);
    };
    EXPECT_FALSE(parser.doParse());
    EXPECT_EQ(std::string(parser.getHead()), "text") << "still open";
    EXPECT_EQ(g_boxes,
              (std::vector<std::string>{
                  "Parsing error|Source file is empty" + occured + "66",
                  "Parsing error|File not exists" + occured + "102",
                  "Parsing error|Temporay file coulnd not be created" + occured + "117",
                  "Parsing error|Parcer is busy by other source file" + occured + "48",
                  "Parsing error|Unrecognized file type\n\n Occured in <game/Words> at line 7"}));
}

TEST_F(TavlinParserTest, WorksBesideTheSourceWhenThereIsNoPlaceForTemporaryFiles) {
    GFile const source = file("source.txt", "text");
    GFile const lookalike = file("source.tmp", "precious");
    useTemporary(native(directory_) + "/missing");
    if (!platform::createTemporaryFile(platform::temporaryDirectory().c_str(), "tav").empty())
        GTEST_SKIP() << "the system finds another place";
    Words parser;
    EXPECT_FALSE(parser.setSource(lookalike)) << "its copy would be itself";
    EXPECT_EQ(contentOf(lookalike), "precious");
    EXPECT_EQ(g_boxes.size(), 1u);
    platform::removeFile(lookalike.c_str());
    ASSERT_TRUE(parser.setSource(source));
    EXPECT_EQ(names(directory_), (std::vector<std::string>{"source.tmp", "source.txt"}));
    parser.close();
    EXPECT_EQ(names(directory_), std::vector<std::string>{"source.txt"});
}

TEST_F(TavlinParserTest, UnknownCodeHasAMessageToo) {
    EXPECT_EQ(ParsingError("f", 1, 10).createErrorMessage(), "Unrecognized error");
    EXPECT_EQ(ParsingError("f", 1, ParsingError::CanNotGetFileSize).createErrorMessage(),
              "File size is incorrect");
}

} // namespace
} // namespace Tavlin
