// File names: their portions and edits, where they lead, and their streamed form.
#include "foundation/GFile.h"

#include "StreamBytes.h"
#include "foundation/FileSystem.h"
#include "persistence/PStreamExceptions.h"
#include "platform/FileSystem.h"
#include "tests/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// In the notation of file names.
std::string portable(std::string name) {
    return GFile(name.c_str()).c_str();
}

/// Goes somewhere else for a while.
class Visit {
  public:
    explicit Visit(std::string const & directory) : home_(FileSystem::GetCurrentDirectoryA()) {
        EXPECT_TRUE(FileSystem::SetCurrentDirectoryA(directory.c_str()));
    }
    ~Visit() { FileSystem::SetCurrentDirectoryA(home_); }

  private:
    GFile const home_;
};

TEST(GFile, EveryWayInTurnsSlashes) {
    GFile assigned, fromString;
    assigned = "a/b";
    fromString = GString("a/b");
    for (GFile const & file :
         {GFile("a/b"), GFile("a/bc", 3), GFile(GString("a/b")), assigned, fromString,
          GFile(assigned), GFile("a").add_name("b"), GFile("c").replace_name("a/b")})
        EXPECT_STREQ(file.c_str(), "a\\b");
    EXPECT_TRUE(GFile("Read/Me.TXT") == "READ\\mE.txt");
    EXPECT_EQ(GFile("A").compare("b"), GFile("a").compare("B"));
    EXPECT_NE(GFile("a").compare("b"), 0);
}

TEST(GFile, FallsIntoPortions) {
    struct Case {
        char const *name, *drive, *directory, *bare, *extension;
    };
    for (Case const & c :
         {Case{"c:\\dir\\sub.d\\file.tar.gz", "c:", "c:\\dir\\sub.d", "file.tar.gz", "gz"},
          Case{"dir.d\\file", "", "dir.d", "file", ""}, Case{"c:\\file", "c:", "c:\\", "file", ""},
          Case{"\\file.", "", "\\", "file.", ""}, Case{"c:file.x", "c:", "c:", "file.x", "x"},
          Case{"dir\\", "", "dir", "", ""}, Case{".rc", "", "", ".rc", "rc"},
          Case{"", "", "", "", ""}}) {
        SCOPED_TRACE(c.name);
        GFile const file(c.name);
        EXPECT_STREQ(file.get_drive().c_str(), c.drive);
        EXPECT_STREQ(file.get_directory().c_str(), c.directory);
        EXPECT_STREQ(file.get_name(), c.bare);
        EXPECT_STREQ(file.get_extension(), c.extension);
        EXPECT_STREQ(GFile(file).just_drive().c_str(), c.drive);
        EXPECT_STREQ(GFile(file).just_directory().c_str(), c.directory);
        EXPECT_STREQ(GFile(file).just_name().c_str(), c.bare);
        EXPECT_STREQ(GFile(file).just_extension().c_str(), c.extension);
    }
}

TEST(GFile, ChangesOnePortion) {
    struct Case {
        char const *name, *extended, *replaced, *removed, *longer, *renamed;
    };
    for (Case const & c :
         {Case{"d.d\\a.b", "d.d\\a.b.x", "d.d\\a.x", "d.d\\a", "d.d\\a.b\\x", "d.d\\x"},
          Case{"d.d\\a", "d.d\\a.x", "d.d\\a.x", "d.d\\a", "d.d\\a\\x", "d.d\\x"},
          Case{"a.", "a..x", "a.x", "a", "a.\\x", "x"},
          Case{"d.d\\", "d.d\\.x", "d.d\\.x", "d.d\\", "d.d\\x", "d.d\\x"},
          Case{"c:a.b", "c:a.b.x", "c:a.x", "c:a", "c:a.b\\x", "c:x"},
          Case{"", ".x", ".x", "", "\\x", "x"}}) {
        SCOPED_TRACE(c.name);
        EXPECT_STREQ(GFile(c.name).add_extension("x").c_str(), c.extended);
        EXPECT_STREQ(GFile(c.name).replace_extension("x").c_str(), c.replaced);
        EXPECT_STREQ(GFile(c.name).remove_extension().c_str(), c.removed);
        EXPECT_STREQ(GFile(c.name).add_name("x").c_str(), c.longer);
        EXPECT_STREQ(GFile(c.name).replace_name("x").c_str(), c.renamed);
    }
}

TEST(GFile, TakesPortionsOfItself) {
    for (unsigned int length = 1; length < 70; ++length) { // some have just no room left
        std::string const bare = std::string(length, 'n') + ".ext";
        std::string const text = "d\\" + bare;
        GFile name(text.c_str()), extension(text.c_str()), renamed(text.c_str());
        GFile replaced(text.c_str());
        EXPECT_EQ(name.add_name(name.get_name()).c_str(), "d\\" + bare + "\\" + bare);
        EXPECT_EQ(extension.add_extension(extension.get_extension()).c_str(),
                  "d\\" + bare + ".ext");
        EXPECT_EQ(renamed.replace_name(renamed.get_extension()).c_str(), std::string("d\\ext"));
        EXPECT_EQ(replaced.replace_extension(replaced.get_name()).c_str(),
                  "d\\" + std::string(length, 'n') + "." + bare);
    }
}

TEST(GFile, AsksItsText) {
    struct Case {
        char const * name;
        bool valid, mask, relative;
    };
    for (Case const & c : {Case{"", true, false, true}, Case{"a\\b.c", true, false, true},
                           Case{"\\a", true, false, false}, Case{"c:a", true, false, false},
                           Case{"*.c", true, true, true}, Case{"a?", true, true, true},
                           Case{"a<b", false, false, true}, Case{"a>b", false, false, true},
                           Case{"a|b", false, false, true}}) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(GFile(c.name).valid(), c.valid);
        EXPECT_EQ(GFile(c.name).isMask(), c.mask);
        EXPECT_EQ(GFile(c.name).isRelativePath(), c.relative);
    }
}

TEST(GFile, AsksTheDisk) {
    TemporaryDirectory const directory;
    std::string const file = directory.put("sub/file", "x");
    directory.put("st*r");
    struct Case {
        std::string name;
        bool exists, isDirectory;
    };
    for (Case const & c :
         {Case{file, true, false}, Case{directory.name("sub"), true, true},
          Case{directory.name("sub") + "\\\\", true, true},
          Case{directory.name("none"), false, false}, Case{directory.name("st*r"), false, false},
          Case{"\\", true, true}, Case{"", false, false}, Case{"q:\\x", false, false}}) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(GFile(c.name.c_str()).exists(), c.exists);
        EXPECT_EQ(GFile(c.name.c_str()).isDirectory(), c.isDirectory);
    }
    platform::setDriveSource([]() -> std::uint32_t { return 1U << 25 | 1U << 3; }, nullptr);
    for (char const * name : {"D:", "d:", "z:"})
        EXPECT_TRUE(GFile(name).isDrive()) << name;
    for (char const * name : {"A:", "d", "d:\\", "[:", "@:", "\xC4:", ""})
        EXPECT_FALSE(GFile(name).isDrive()) << name;
    platform::setDriveSource(nullptr, nullptr);
}

TEST(GFile, ExpandsByTextAlone) {
    TemporaryDirectory const directory;
    Visit const visit(directory.name());
    std::string const here = portable(directory.name());
    struct Case {
        char const * name;
        std::string full;
    };
    for (Case const & c : {Case{"", here + "\\"}, Case{"a", here + "\\a"},
                           Case{".\\a\\.\\b\\..\\c", here + "\\a\\c"}, Case{"a\\", here + "\\a\\"},
                           Case{"\\", "\\"}, Case{"\\..\\..\\a", "\\a"}, Case{"\\a\\..", "\\"},
                           Case{"c:\\a\\..\\b", "c:\\b"}, Case{"c:", "c:\\"}})
        EXPECT_EQ(GFile(c.name).expand().c_str(), c.full) << c.name;
    EXPECT_TRUE(GFile("A\\x\\..").equals_to((here + "\\a").c_str()));
    EXPECT_FALSE(GFile("a").equals_to("b"));
}

TEST(GFile, ShrinksAgainstADirectory) {
    TemporaryDirectory const directory;
    directory.put("base/sub/file");
    Visit const visit(directory.name());
    struct Case {
        char const *name, *base, *shrunk;
    };
    for (Case const & c :
         {Case{"base\\sub\\file", "base", "sub\\file"},
          Case{"base\\sub\\file", "", "base\\sub\\file"},
          Case{"base\\file", "base\\sub\\file", "..\\file"},
          Case{"other\\x", "base\\sub", "..\\..\\other\\x"},
          Case{"base\\x", "BASE\\sub\\y", "..\\..\\base\\x"}, Case{"base", "base", ""},
          Case{"c:\\x\\..\\y", "base", "c:\\y"}, Case{"c:\\x\\y", "C:\\x\\z", "y"}}) {
        EXPECT_STREQ(GFile(c.name).shrink(c.base).c_str(), c.shrunk)
            << c.name << " against " << c.base;
    }
    EXPECT_STREQ(GFile(directory.name("base/x").c_str()).shrink().c_str(), "base\\x");
}

TEST(GFile, StreamsItsPiecesWithoutSeparators) {
    struct Case {
        char const *name, *bytes, *back;
    };
    for (Case const & c :
         {Case{"", "01 00", ""},
          Case{"c:\\ab.d", "01 04 0200 633A 01 04 0200 6162 02 04 0100 64 00", "c:\\ab.d"},
          Case{"..\\..\\x", "01 03 03 04 0100 78 00", "..\\..\\x"}, Case{"..", "01 03 00", "..\\"},
          Case{"a..bc", "01 04 0100 61 03 04 0100 63 00", "a..\\c"},
          Case{".\\x\\.\\y.", "01 04 0100 78 01 04 0100 79 02 00", "x\\y."}}) {
        SCOPED_TRACE(c.name);
        std::string const bytes = stream_bytes::hex(c.bytes);
        EXPECT_EQ(stream_bytes::written([&](opstream & out) { out << GFile(c.name); }), bytes);
        GFile back("something else");
        *stream_bytes::Input(bytes) >> back;
        EXPECT_STREQ(back.c_str(), c.back);
    }
    GFile file;
    *stream_bytes::Input(stream_bytes::hex("FF 01 02")) >> file; // any version; an early end
    EXPECT_STREQ(file.c_str(), "\\.");
    EXPECT_THROW(*stream_bytes::Input(stream_bytes::hex("01 01 05 00")) >> file,
                 GFileReadError_Exception);
    EXPECT_STREQ(file.c_str(), "\\.") << "a name that cannot be read changes nothing";
}

} // namespace
