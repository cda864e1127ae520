// Files of settings edited in place: what is found, what changes, and what stays.
#include "../TemporaryDirectory.h"
#include "foundation/GInitializationFile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

class InitializationFile : public testing::Test {
  protected:
    /// What becomes of a file with this content when `change` was done to it.
    template <class Change>
    std::string changed(std::string const & content, Change change) {
        std::string const name = directory_.put("game.ini", content);
        {
            GInitializationFile file(name.c_str());
            change(file);
        }
        return directory_.content("game.ini");
    }
    std::string value(std::string const & content, char const * topic, char const * key) {
        GInitializationFile const file(directory_.put("game.ini", content).c_str());
        GString text("(none)");
        return file.getValue(topic, key, text) ? text.c_str() : "(absent)";
    }
    /// All that lies in the directory: nothing may stay behind from a save.
    std::size_t fileCount() const {
        std::filesystem::directory_iterator const files(directory_.path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    TemporaryDirectory directory_;
};

Texts texts(GStringCollection const & list) {
    Texts result;
    for (long i = 0; i < list.getCount(); ++i)
        result.push_back(list[i]);
    return result;
}

char const * const sample = "; settings of a game\n"
                            "\n"
                            "  [Sound]\n"
                            "volume = 7\n"
                            "\t; half\n"
                            "mute\n"
                            "[Video] trailing\n"
                            "width=800=x\n"
                            "[Sound\n"
                            "volume=9\n"
                            "strange line [x] ; y";

} // namespace

TEST_F(InitializationFile, TellsKeysFromValues) {
    struct Case {
        char const * content;
        char const * topic;
        char const * key;
        char const * expected;
    };
    Case const cases[] = {
        {"[t]\na = b\n", "t", "a", " b"},           {"[t]\n \t a \t= b=c \n", "t", "a", " b=c "},
        {"[t]\nplain \n", "t", "plain", ""},        {"[t]\n=no key", "t", "", "no key"},
        {"[t]\na=1\na=2\n", "t", "a", "1"},         {"[t]\na=1\n[t]\na=2\n", "t", "a", "2"},
        {"[t]\na=1\n[t]\n", "t", "a", "(absent)"}, // only the later topic counts
        {"[t]\n[u]\na=1\n", "t", "a", "(absent)"},  {"[t]\n;a=1\n", "t", "a", "(absent)"},
        {"[T]\nA=1\n", "t", "A", "(absent)"},       {"[T]\nA=1\n", "T", "a", "(absent)"},
        {"[ t ]x]\na=1\n", " t ", "a", "1"},        {"[open\na=1\n", "open", "a", "1"},
        {"a=1\n[t]\n", "t", "a", "(absent)"},       {"[open\r\na=1\r\nb\r\n", "open", "a", "1"},
        {"[open\r\na=1\r\nb\r\n", "open", "b", ""},
    };
    for (Case const & c : cases)
        EXPECT_EQ(value(c.content, c.topic, c.key), c.expected) << c.content;
}

TEST_F(InitializationFile, ListsTopicsAndKeysInTheirOrder) {
    GInitializationFile const file(directory_.put("game.ini", sample).c_str());
    GStringCollection list(0, 4, 0);
    file.getTopicList(list);
    EXPECT_TRUE(list.shouldDelete());
    EXPECT_EQ(texts(list), (Texts{"Sound", "Video", "Sound"}));
    file.getKeyList("Sound", list);
    EXPECT_EQ(texts(list), (Texts{"volume", "strange line [x] ; y"}));
    file.getKeyList("nothing", list);
    EXPECT_EQ(list.getCount(), 0);
}

TEST_F(InitializationFile, ReadsNumbersAndFlagsFromTheStartOfTheValue) {
    GInitializationFile const file(
        directory_
            .put("game.ini", "[n]\na=  -12x\nb=none\nc=99999999999999999999999\nd=017\n"
                             "[f]\na=1x\nb= \tTRUE\nc=oN\nd=Yes!\ne=FALSEhood\nf=0\ng=off\nh=nO\n"
                             "i=maybe\nj=\nk=o\n")
            .c_str());
    long number = 5;
    EXPECT_FALSE(file.getValue("n", "z", number));
    EXPECT_EQ(number, 5);
    for (auto const & [key, expected] : std::vector<std::pair<char const *, long>>{
             {"a", -12}, {"b", 0}, {"c", std::numeric_limits<long>::max()}, {"d", 17}}) {
        EXPECT_TRUE(file.getValue("n", key, number)) << key;
        EXPECT_EQ(number, expected) << key;
    }
    std::string const keys = "abcdefghijkz", expected = "11110000----";
    for (std::size_t i = 0; i < keys.size(); ++i) {
        unsigned char flag = 7;
        bool const found = file.getBoolean("f", std::string(1, keys[i]).c_str(), flag);
        EXPECT_EQ(found, expected[i] != '-') << keys[i];
        EXPECT_EQ(flag, found ? expected[i] - '0' : 7) << keys[i];
    }
}

TEST_F(InitializationFile, ChangesOneLineAndLeavesTheRest) {
    auto const replaced = [](std::string text, std::string const & what, std::string const & with) {
        return text.replace(text.find(what), what.size(), with);
    };
    std::string const whole = std::string(sample) + "\n"; // a last line gets its line end
    EXPECT_EQ(changed(sample, [](auto & f) { f.setValue("Sound", "volume", 12L); }),
              replaced(whole, "volume=9", "volume=12"));
    EXPECT_EQ(changed(sample, [](auto & f) { f.setValue("Video", "height", " 600"); }),
              replaced(whole, "width", "height= 600\nwidth"));
    EXPECT_EQ(changed(sample, [](auto & f) { f.setBoolean("New", "on", 1); }),
              whole + "[New]\non=yes\n");
    EXPECT_EQ(changed(sample, [](auto & f) { f.removeKey("Video", "width"); }),
              replaced(whole, "width=800=x\n", ""));
    EXPECT_EQ(changed(sample, [](auto & f) { f.removeTopic("Video", 1); }),
              replaced(whole, "[Video] trailing\nwidth=800=x\n", ""));
    EXPECT_EQ(changed(sample, [](auto & f) { f.removeTopic("Sound", 0); }),
              replaced(whole, "volume=9\nstrange line [x] ; y\n", ""));
    EXPECT_EQ(changed(sample, [](auto & f) { f.setTopic("Video", "; new\na=1\n\nlast"); }),
              replaced(whole, "width=800=x\n", "; new\na=1\n\nlast\n"));
    EXPECT_EQ(changed(sample, [](auto & f) { f.setTopic("New", "a=1\n"); }),
              whole + "[New]\na=1\n");
    EXPECT_EQ(fileCount(), 1u);
}

TEST_F(InitializationFile, TakesItsOwnLinesAsArguments) {
    EXPECT_EQ(changed("[t]\nt=1\n", [](auto & f) { f.setValue("t", "t", f.at(1)); }),
              "[t]\nt=t=1\n");
    EXPECT_EQ(changed("[t]\nt\n", [](auto & f) { f.setTopic(f.at(1), f.at(1)); }), "[t]\nt\n");
}

TEST_F(InitializationFile, KeepsTheKindOfItsLineEnds) {
    EXPECT_EQ(changed("[t]\r\na=1\r\nb=2\n",
                      [](auto & f) {
                          f.setValue("t", "a", "3");
                          f.setValue("t", "b", "4");
                          f.setValue("t", "c", "5");
                      }),
              "[t]\r\nc=5\r\na=3\r\nb=4\n");
    EXPECT_EQ(changed("a\r\n", [](auto & f) { f.setValue("t", "c", "5"); }), "a\r\n[t]\r\nc=5\r\n");
}

TEST_F(InitializationFile, HandsOutATopicThatCanBePutBack) {
    GInitializationFile file(directory_.put("game.ini", sample).c_str());
    GString text;
    ASSERT_TRUE(file.getTopic("Sound", text));
    EXPECT_EQ(text, "volume=9\nstrange line [x] ; y\n");
    file.setTopic("Sound", text.c_str());
    file.update();
    EXPECT_EQ(directory_.content("game.ini"), std::string(sample) + "\n");
    EXPECT_FALSE(file.getTopic("nothing", text));
    EXPECT_TRUE(text.isEmpty());
}

TEST_F(InitializationFile, WritesOnlyWhatWasChangedAndWhereItIsTold) {
    std::string const name = directory_.put("game.ini", "[t]\nlast");
    GInitializationFile file(name.c_str());
    file.removeKey("t", "nothing");
    file.removeTopic("nothing", 1);
    EXPECT_FALSE(file.isModified());
    EXPECT_TRUE(file.update());
    EXPECT_EQ(directory_.content("game.ini"), "[t]\nlast");

    file.setFileName(directory_.name("missing/other.ini").c_str());
    EXPECT_TRUE(file.isModified());
    EXPECT_FALSE(file.update());
    EXPECT_TRUE(file.isModified()) << "it is tried again";
    file.setFileName(directory_.name("other.ini").c_str());
    EXPECT_TRUE(file.update());
    EXPECT_FALSE(file.isModified());
    EXPECT_EQ(directory_.content("other.ini"), "[t]\nlast\n");
    EXPECT_EQ(directory_.content("game.ini"), "[t]\nlast");
}

TEST_F(InitializationFile, SavesBehindLinksAndKeepsAccessRights) {
    namespace fs = std::filesystem;
    fs::path const real = directory_.put("real/game.ini", "[t]\n");
    fs::permissions(real, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink(real, directory_.path() / "link.ini");
    {
        GInitializationFile file(directory_.name("link.ini").c_str());
        file.setValue("t", "a", "1");
    }
    EXPECT_TRUE(fs::is_symlink(directory_.path() / "link.ini"));
    EXPECT_EQ(directory_.content("real/game.ini"), "[t]\na=1\n");
    EXPECT_EQ(fs::status(real).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(InitializationFile, DoesNotWriteOverWhatItCouldNotRead) {
    std::filesystem::create_directory(directory_.path() / "directory.ini");
    std::string const large = directory_.put("large.ini");
    std::filesystem::resize_file(large, GInitializationFile::maxFileSize + 1);
    std::string const many =
        directory_.put("many.ini", std::string(GInitializationFile::maxLines + 1, '\n'));
    for (std::string const & name : {directory_.name("directory.ini"), large, many}) {
        GInitializationFile file(name.c_str());
        EXPECT_EQ(file.getCount(), 0) << name;
        file.setValue("t", "a", "1");
        EXPECT_FALSE(file.update()) << name;
    }
    EXPECT_EQ(std::filesystem::file_size(large),
              static_cast<std::uintmax_t>(GInitializationFile::maxFileSize) + 1);
}

TEST_F(InitializationFile, LosesNothingOfHostileFiles) {
    std::string every;
    for (int c = 0; c < 256; ++c)
        every += static_cast<char>(c);
    std::string const contents[] = {
        std::string(1 << 20, 'x') + "\n", // one long line
        "[" + std::string(5000, 'y') + "\n;" + std::string(1 << 20, 'z') + "\n",
        every + every + "\n" + std::string(3, '\0') + "\n", // all bytes, lines of zeros
        std::string(300000, '\n'),
        std::string(300000, '[') + "\n" + std::string(300000, '=') + "\n",
    };
    for (std::string const & content : contents)
        EXPECT_TRUE(changed(content, [](auto & f) { f.setValue("added", "k", "v"); }) ==
                    content + "[added]\nk=v\n")
            << content.substr(0, 20);
}

TEST_F(InitializationFile, ServesAsTheFileOfTheProgram) {
    EXPECT_EQ(GInitializationFile::GetFile(), nullptr);
    std::string const name = directory_.put("game.ini", "[t]\n");
    GInitializationFile::SetFile(name.c_str());
    ASSERT_NE(GInitializationFile::GetFile(), nullptr);
    GInitializationFile::GetFile()->setValue("t", "a", "1");
    GInitializationFile::SetFile(GInitializationFile::GetFile()->getFileName().c_str());
    EXPECT_EQ(directory_.content("game.ini"), "[t]\na=1\n");
    GInitializationFile::SetFile(nullptr);
    EXPECT_EQ(GInitializationFile::GetFile(), nullptr);
}
