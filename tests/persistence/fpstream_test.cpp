// Streams on files and on memory: how they open, where names lead, and the bytes they leave.
#include "persistence/fpstream.h"

#include "foundation/GFile.h"
#include "persistence/RedirectionFile.h"
#include "persistence/mpstream.h"
#include "tests/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr int truncating = fpbase::Truncating;
constexpr int noCreation = fpbase::NoCreation;
constexpr int noReplacing = fpbase::NoReplacing;

/// Takes the redirection of a test away again.
class Redirecting {
  public:
    explicit Redirecting(std::string const & file) { fpbase::SetRedirectionFile(file.c_str()); }
    ~Redirecting() { fpbase::SetRedirectionFile(static_cast<RedirectionFile *>(nullptr)); }
};

// What a host does that knows only that it has a stream.
void save(opstream & out) {
    out << 0x01020304;
    {
        PStreamEndianSwitcher const other(out, pstream::SwappedEndian);
        out << short(0x0506);
    }
    out.writeString("text");
}

std::string const savedBytes("\4\3\2\1\5\6\4\0text", 12);

TEST(fpstream, CarriesAStreamByTheNameOfItsFile) {
    TemporaryDirectory const directory;
    std::string const name = directory.name("file");
    ofpstream out(name.c_str(), GIO::WriteMode, GFileIO::NewOnly, GFileIO::ShareNone);
    save(out);
    out.close();
    EXPECT_TRUE(out.good());
    EXPECT_EQ(directory.content("file"), savedBytes);

    ifpstream in(name.c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    int number = 0;
    short swapped = 0;
    in >> number >> swapped;
    EXPECT_EQ(number, 0x01020304);
    EXPECT_EQ(swapped, 0x0605) << "the order went back";
    in.seekg(2, GIO::FromCurrent);
    EXPECT_EQ(in.readByte(), 't');

    fpstream both(name.c_str(), 3 | noCreation);
    EXPECT_FALSE(both.is_open()) << "the older mode shares with nobody, and it is open";
    in.close();
    both.open(name.c_str(), 3 | noCreation);
    EXPECT_EQ(both.seekg(4), 4);
    both >> swapped;
    both << 'X';
    EXPECT_TRUE(both.change_size(7));
    EXPECT_EQ(both.tellp(), 7);
    both << 'Y';
    EXPECT_EQ(both.seekg(0, GIO::FromEnd), 8);
    both.readByte();
    EXPECT_TRUE(both.eof());
    both.close();
    EXPECT_EQ(directory.content("file"), savedBytes.substr(0, 6) + "XY");
}

TEST(fpstream, OlderModeSaysHowToOpen) {
    struct Case {
        int mode;
        bool there, opens;
        char const * content; // of what is there before, "old"
        GIO::IOOpenMode stored;
    };
    for (Case const & c : {
             Case{1 | noCreation, true, true, "old", GIO::ReadMode},
             Case{1 | noCreation, false, false, "", GIO::ReadMode},
             Case{0, true, true, "old", GIO::ReadMode},
             Case{2, false, true, "", GIO::WriteMode},
             Case{2, true, true, "old", GIO::WriteMode},
             Case{3 | noReplacing, true, false, "old", GIO::ReadMode},
             Case{3 | noReplacing, false, true, "", GIO::ReadWriteMode},
             Case{2 | truncating, true, true, "", GIO::WriteMode},
             Case{2 | truncating, false, true, "", GIO::WriteMode},
             Case{2 | truncating | noCreation, true, true, "", GIO::WriteMode},
             Case{2 | truncating | noReplacing, true, false, "old", GIO::ReadMode},
         }) {
        SCOPED_TRACE(testing::Message() << c.mode << (c.there ? " on a file" : " on nothing"));
        TemporaryDirectory const directory;
        if (c.there)
            directory.put("file", "old");
        fpstream stream(directory.name("file").c_str(), c.mode);
        EXPECT_EQ(stream.is_open(), c.opens);
        EXPECT_EQ(stream.rdstate(), c.opens ? 0 : 4);
        EXPECT_EQ(stream.rdbuf()->open_mode(), c.stored);
        EXPECT_EQ(directory.has("file"), c.there || c.opens);
        EXPECT_EQ(directory.content("file"), c.content);
    }
}

TEST(fpstream, StateTellsWhatBecameOfOpening) {
    TemporaryDirectory const directory;
    std::string const one = directory.put("one", "1"), two = directory.put("two", "2");
    fpstream stream;
    EXPECT_FALSE(stream.is_open());
    stream.setstate(1);
    stream.open(one.c_str(), 3 | noCreation | noReplacing);
    EXPECT_EQ(stream.rdstate(), 1) << "nothing was done at all";
    EXPECT_FALSE(stream.is_open());
    stream.open(directory.name("none").c_str(), 1 | noCreation);
    EXPECT_EQ(stream.rdstate(), 4);
    stream.open(one.c_str(), 1);
    EXPECT_EQ(stream.rdstate(), 0);
    EXPECT_EQ(stream.io_mode(), GIO::ReadMode);
    stream.open(two.c_str(), 3);
    EXPECT_EQ(stream.rdstate(), 2);
    stream.clear();
    EXPECT_EQ(stream.readByte(), '1') << "the first one stays";
    stream << 'x';
    EXPECT_TRUE(stream.bad()) << "it is open for reading alone";
    stream.close();
    EXPECT_EQ(stream.rdstate(), 0);
    stream.open(two.c_str(), 3);
    EXPECT_EQ(stream.readByte(), '2');
    stream << 'x';
    stream.seekg(0, GIO::FromEnd);
    stream.readByte();
    stream.close();
    stream.open(one.c_str(), 1);
    stream.flush();
    EXPECT_TRUE(stream.good()) << "the end of the file before is not one of this";
    stream.close();
    EXPECT_EQ(directory.content("one"), "1");
    EXPECT_EQ(directory.content("two"), "2x");
}

TEST(fpstream, FileThatMustExistIsLookedForElsewhere) {
    TemporaryDirectory const directory;
    std::string const data = GFile(directory.name("data").c_str()).c_str();
    directory.put("data/file.dat", "d");
    directory.put("map", "*.dat = " + data);
    std::string const bare = "missing\\file.dat";
    EXPECT_FALSE(ifpstream(bare.c_str(), 1 | noCreation).is_open());
    Redirecting const redirecting(directory.name("map"));
    ASSERT_NE(fpbase::GetRedirectionFile(), nullptr);
    ifpstream in(bare.c_str(), 1 | noCreation);
    EXPECT_EQ(in.readByte(), 'd');
    in.close();
    ifpstream blanks("  file.dat", GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    EXPECT_TRUE(blanks.is_open());
    EXPECT_FALSE(ofpstream(bare.c_str(), 2).is_open()) << "a new file goes where its name says";

    EXPECT_EQ(fpbase::RedirectedName("new.dat", 0).c_str(), data + "\\new.dat");
    EXPECT_EQ(fpbase::redirected_name("file.dat").c_str(), data + "\\file.dat");
    EXPECT_STREQ(fpbase::redirected_name("file.txt").c_str(), "file.txt");
    EXPECT_TRUE(fpbase::redirected_name(nullptr).isEmpty());
    auto * const other = new RedirectionFile;
    fpbase::SetRedirectionFile(other);
    fpbase::SetRedirectionFile(other); // the one that is there stays
    EXPECT_EQ(fpbase::GetRedirectionFile(), other);
    EXPECT_STREQ(fpbase::redirected_name("file.dat").c_str(), "file.dat");
}

TEST(mpstream, CarriesAStreamInMemory) {
    mpstream stream;
    save(stream);
    EXPECT_EQ(stream.safe_get_position(), 0) << "asking does not write what is held back";
    EXPECT_EQ(std::string(static_cast<char *>(stream.data()), 12), savedBytes);
    EXPECT_EQ(stream.safe_get_position(), 12);
    EXPECT_EQ(stream.size(), 12);
    EXPECT_EQ(stream.seekg(6), 6);
    EXPECT_EQ(stream.readWord(), 4);
    stream << 'T';
    EXPECT_EQ(std::string(static_cast<char *>(stream.data()) + 8, 4), "Text");
}

TEST(mpstream, GivenMemoryIsNotLeft) {
    char block[] = "abcd....";
    impstream in(block, 4, GIO::ReadMode);
    EXPECT_EQ(in.readDWord(), 0x64636261UL);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.readByte(), 0);
    EXPECT_EQ(in.rdstate(), 3);
    ompstream out(block, 4, GIO::WriteMode);
    out << 0x31313131;
    out.flush();
    EXPECT_TRUE(out.good());
    out << 'x';
    out.flush();
    EXPECT_TRUE(out.bad());
    EXPECT_STREQ(block, "1111....");
    EXPECT_EQ(out.data(), block);
}

} // namespace
