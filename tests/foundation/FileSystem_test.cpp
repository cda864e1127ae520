// Matching of names, and what the functions of the file system leave on the disk.
#include "foundation/FileSystem.h"

#include "platform/FileSystem.h"
#include "tests/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>

namespace {

long entries(TemporaryDirectory const & directory) {
    return std::distance(std::filesystem::directory_iterator(directory.path()), {});
}

TEST(FileSystem, MatchesNamesPieceByPiece) {
    struct Case {
        char const *name, *mask;
        bool fits;
    };
    for (Case const & c : {
             Case{"readme.txt", "*.t?t", true},
             Case{"README.TXT", "r*.txt", true},
             Case{"readme.txt", "*.*", true},
             Case{"readme.txt", "*", false}, // a star never reaches across a dot
             Case{"a.b.c", "*.*", false},
             Case{"a.b.c", "*.*.*", true},
             Case{"abc", "*.*", true},
             Case{"abc", "*", true},
             Case{"abc", "a*z", true}, // what follows a star goes with it
             Case{"abc.txt", "a*z.txt", true},
             Case{"abc", "abc**", true},
             Case{"abc", "*.txt", false},
             Case{"a.b", "a?b", false},
             Case{"ab", "a?b", false},
             Case{"axb", "a?b", true},
             Case{"ab", "ab?", false},
             Case{"abc", "ab", false},
             Case{"", "", true},
             Case{"", "*", true},
             Case{"", "?", false},
             Case{"a", "", false},
             Case{nullptr, "*", false},
             Case{"a", nullptr, false},
         })
        EXPECT_EQ(FileSystem::Match(c.name, c.mask), c.fits)
            << (c.name ? c.name : "null") << " and " << (c.mask ? c.mask : "null");
}

TEST(FileSystem, CreatesOneLevelACallAndAnswersInReverse) {
    TemporaryDirectory const directory;
    GFile const deep(directory.name("a/b/c").c_str());
    for (char const * level : {"a", "a/b", "a/b/c"}) {
        EXPECT_FALSE(directory.has(level));
        EXPECT_FALSE(FileSystem::CreateDirectoryA(deep)) << level;
        EXPECT_TRUE(directory.has(level));
    }
    EXPECT_TRUE(FileSystem::CreateDirectoryA(deep)) << "nothing is left to make";
    EXPECT_TRUE(FileSystem::CreateDirectoryA("\\"));
    std::string const file = directory.put("file");
    EXPECT_TRUE(FileSystem::CreateDirectoryA((file + "/sub").c_str())) << "it cannot be made";
    EXPECT_FALSE(FileSystem::CreateDirectoryA(directory.name("x/").c_str()));
    EXPECT_TRUE(directory.has("x"));
}

TEST(FileSystem, CopiesMovesAndRemovesFiles) {
    TemporaryDirectory const directory;
    GFile const one(directory.put("one", std::string(200000, 'x') + "end").c_str());
    GFile const two(directory.put("two", "old").c_str());
    GFile const none(directory.name("none").c_str());
    GFile const sub(directory.name("sub").c_str());
    FileSystem::CreateDirectoryA(sub);
    std::tm time = {};
    time.tm_year = 99, time.tm_mon = 11, time.tm_mday = 31, time.tm_isdst = -1;
    EXPECT_TRUE(FileSystem::SetTime(one.c_str(), time));

    EXPECT_FALSE(FileSystem::Copy(none, two));
    EXPECT_FALSE(FileSystem::Copy(sub, two));
    EXPECT_FALSE(FileSystem::Copy(one, sub));
    EXPECT_FALSE(FileSystem::Copy(one, ""));
    EXPECT_EQ(directory.content("two"), "old");
    EXPECT_TRUE(FileSystem::Copy(one, two));
    EXPECT_EQ(directory.content("two"), std::string(200000, 'x') + "end");
    platform::FileStatus status;
    ASSERT_TRUE(platform::fileStatus(two.c_str(), status));
    EXPECT_EQ(status.writeTime, std::mktime(&time)) << "a copy is as old as what it was made of";
    EXPECT_EQ(entries(directory), 3) << "no copy is left half-made";

    EXPECT_FALSE(FileSystem::Move(two, one)) << "what is there stays";
    EXPECT_FALSE(FileSystem::Rename(none, sub));
    EXPECT_TRUE(FileSystem::Rename(two, GFile(sub).add_name("three")));
    EXPECT_FALSE(FileSystem::Exists(two));
    EXPECT_TRUE(FileSystem::Move(sub, GFile(directory.name("moved").c_str())));
    EXPECT_EQ(directory.content("moved/three").size(), 200003U);

    EXPECT_FALSE(FileSystem::Remove(GFile(directory.name("moved").c_str())));
    EXPECT_FALSE(FileSystem::Remove(none));
    EXPECT_TRUE(FileSystem::Remove(one));
    EXPECT_FALSE(directory.has("one"));
}

TEST(FileSystem, SetsTimesThatConvert) {
    TemporaryDirectory const directory;
    std::string const file = directory.put("file");
    std::tm time = {};
    time.tm_year = 100, time.tm_mon = 1, time.tm_mday = 29, time.tm_hour = 12, time.tm_sec = 5;
    std::tm copy = time;
    EXPECT_TRUE(FileSystem::SetTime(file.c_str(), time));
    EXPECT_FALSE(FileSystem::SetTime(directory.name("none").c_str(), time));
    platform::FileStatus status;
    ASSERT_TRUE(platform::fileStatus(file.c_str(), status));
    EXPECT_EQ(status.writeTime, std::mktime(&copy));
    time.tm_year = INT_MAX, time.tm_mon = INT_MAX;
    EXPECT_FALSE(FileSystem::SetTime(file.c_str(), time));
}

TEST(FileSystem, SearchesDirectoriesInOrder) {
    TemporaryDirectory const directory;
    directory.put("b/file");
    directory.put("c/file");
    std::string const a = directory.name("a"), b = directory.name("b"), c = directory.name("c");
    struct Case {
        std::string list;
        char const * found; // null for none
    };
    for (Case const & each :
         {Case{b, "b/file"}, Case{a + ";" + c + ";" + b, "c/file"}, Case{";;" + b + "/;", "b/file"},
          Case{a, nullptr}, Case{"", nullptr}, Case{b + "c", nullptr}}) {
        SCOPED_TRACE(each.list);
        GFile file("elsewhere\\file");
        EXPECT_EQ(FileSystem::SearchFile(each.list.c_str(), file), each.found != nullptr);
        std::string const expected =
            each.found ? directory.name(each.found) : std::string("elsewhere\\file");
        EXPECT_STREQ(file.c_str(), GFile(expected.c_str()).c_str());
    }
    GFile file("file");
    EXPECT_FALSE(FileSystem::SearchFile(nullptr, file));
}

TEST(FileSystem, FindsTheOnlyNameThatIsFree) {
    TemporaryDirectory const directory;
    GFile file(directory.name("x##.t").c_str());
    EXPECT_TRUE(FileSystem::UniqueName(file, '#'));
    EXPECT_STREQ(file.get_name(), "xaa.t");
    for (char letter = 'a'; letter <= 'z'; ++letter)
        if (letter != 'q')
            directory.put(std::string("y") + letter);
    file = directory.name("y#").c_str();
    EXPECT_TRUE(FileSystem::UniqueName(file, '#'));
    EXPECT_STREQ(file.get_name(), "yq");
    EXPECT_TRUE(FileSystem::UniqueName(file, '#')) << "nothing to replace, and free";
    directory.put("yq");
    EXPECT_FALSE(FileSystem::UniqueName(file, '#'));
    file = "";
    EXPECT_FALSE(FileSystem::UniqueName(file, '#'));
}

TEST(FileSystem, TellsTheRoomForAFileThatIsNotThereYet) {
    TemporaryDirectory const directory;
    unsigned long sectors = 0, bytes = 0, available = 0, total = 0;
    for (std::string const & name :
         {directory.name(), directory.name("new"), directory.name("no/such/file"), std::string()}) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(FileSystem::GetDriveInfo(name.c_str(), sectors, bytes, available, total));
        EXPECT_GT(sectors, 0UL);
        EXPECT_GT(bytes, 0UL);
        EXPECT_GT(total, 0UL);
        EXPECT_LE(available, total);
    }
    EXPECT_FALSE(FileSystem::GetDriveInfo("q:\\file", sectors, bytes, available, total));
    EXPECT_EQ(FileSystem::GetDirectoryFreeSpace("q:\\file"), 0UL);
}

TEST(FileSystem, TellsKindsOfDrives) {
    EXPECT_EQ(FileSystem::GetDriveTypeA("\\"), GFile::FixedDrive);
    EXPECT_EQ(FileSystem::GetDriveTypeA("q:\\"), GFile::UnknownDrive);
    platform::setDriveSource(
        nullptr, [](char const * root) { return static_cast<platform::DriveKind>(root[0] - '0'); });
    std::string kinds;
    for (char const * root : {"0", "1", "2", "3", "4", "5", "6"})
        kinds += static_cast<char>('0' + FileSystem::GetDriveTypeA(root));
    platform::setDriveSource(nullptr, nullptr);
    EXPECT_EQ(kinds, "0012345");
}

TEST(FileSystem, KnowsADirectoryForTemporaryFiles) {
    GFile const directory = FileSystem::GetTemporaryDirectory();
    EXPECT_TRUE(directory.isDirectory());
    EXPECT_FALSE(directory.isRelativePath());
}

} // namespace
