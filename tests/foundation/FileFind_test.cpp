// Walks over directories and drives: which entries are met, and what is told of them.
#include "foundation/FileFind.h"

#include "StreamBytes.h"
#include "foundation/FileSystem.h"
#include "platform/FileSystem.h"
#include "tests/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <set>
#include <string>

namespace {

/// Names with the kinds in front of them.
std::multiset<std::string> met(std::string const & path, unsigned char mode, bool bare = true) {
    std::multiset<std::string> names;
    for (FileFind entry(path.c_str(), mode, bare); entry; ++entry)
        names.insert(std::to_string(entry.type) + entry.name.c_str());
    return names;
}

using Names = std::multiset<std::string>;

TEST(FileFind, MeetsWhatWasAskedFor) {
    TemporaryDirectory const directory;
    for (char const * file : {"a.txt", "B.TXT", "c.dat", "plain", "d.tar.gz", ".rc", "sub/inner",
                              ".hidden/x", "..odd/x", "s.txt/x"})
        directory.put(file);
    std::filesystem::create_symlink("nowhere", directory.path() / "gone.txt");
    constexpr int files = FileFind::Files, directories = FileFind::Directories;
    Names const all = {"1a.txt", "1B.TXT", "1c.dat", "1plain", "1d.tar.gz", "1.rc"};
    Names const subs = {"2..", "2..odd", "2s.txt", "2sub"};
    Names both = all;
    both.insert(subs.begin(), subs.end());
    struct Case {
        char const * inside;
        int mode;
        Names names;
    };
    for (Case const & c : {
             Case{"", files, all},
             Case{"/", files, all},
             Case{"", directories, subs},
             Case{"", files | directories, both},
             Case{"", 0, {}},
             Case{"/*.txt", files, {"1a.txt", "1B.TXT"}},
             Case{"/*.*", files, {"1a.txt", "1B.TXT", "1c.dat", "1plain", "1.rc"}},
             Case{"/?.dat", files | directories, {"1c.dat", "2..", "2..odd", "2s.txt", "2sub"}},
             Case{"/c.dat", files, {"1c.dat"}},
             Case{"/none", files | directories, {}},
             Case{"/none/*.txt", files | directories, {}},
         })
        EXPECT_EQ(met(directory.name() + c.inside, static_cast<unsigned char>(c.mode)), c.names)
            << c.inside << " in mode " << c.mode;

    EXPECT_EQ(met(directory.name("*.dat"), files, false),
              Names{std::string("1") + GFile(directory.name("c.dat").c_str()).c_str()});
    Names const top = met("\\", directories);
    EXPECT_FALSE(top.empty());
    EXPECT_EQ(top.count("2.."), 0U) << "nothing is above the root";
}

TEST(FileFind, TellsOfAnEntryAndStartsAnew) {
    TemporaryDirectory const directory;
    std::string const name = directory.put("file", "12345");
    std::filesystem::last_write_time( // 1 March 2000, 12:34:56 in universal time
        name, std::filesystem::file_time_type::clock::from_sys(
                  std::chrono::sys_seconds(std::chrono::seconds(951914096))));
    FileFind entry(name.c_str(), FileFind::Files, true);
    ASSERT_TRUE(entry.isValid());
    EXPECT_EQ(entry.size, 5U);
    // Months from 1, and nothing in the last three fields.
    std::tm const & t = entry.time;
    for (auto const & [field, value] : {std::pair(t.tm_year, 100),
                                        {t.tm_mon, 3},
                                        {t.tm_mday, 1},
                                        {t.tm_hour, 12},
                                        {t.tm_min, 34},
                                        {t.tm_sec, 56},
                                        {t.tm_wday, 0},
                                        {t.tm_yday, 0},
                                        {t.tm_isdst, 0}})
        EXPECT_EQ(field, value);
    EXPECT_FALSE(++entry);
    EXPECT_FALSE(++entry) << "behind the end is the end";
    EXPECT_TRUE(entry.first(name.c_str(), FileFind::Files, true));
    EXPECT_FALSE(entry.first(directory.name("none").c_str(), FileFind::Files, true));
    EXPECT_FALSE(FileFind());
}

TEST(FileFind, KnowsTheDaysOfTheCalendar) {
    TemporaryDirectory const directory;
    std::string const name = directory.put("file");
    using namespace std::chrono;
    int const last = sizeof(std::time_t) < 8 ? 24000 : 60000; // as far as a test can set it
    for (int day = -3000; day < last; day += 97) {
        sys_days const when{days(day)};
        std::filesystem::last_write_time(
            name, std::filesystem::file_time_type::clock::from_sys(sys_seconds(when)));
        year_month_day const date(when);
        FileFind const entry(name.c_str(), FileFind::Files, true);
        ASSERT_EQ(entry.time.tm_year + 1900, int(date.year()));
        ASSERT_EQ(entry.time.tm_mon, int(unsigned(date.month())));
        ASSERT_EQ(entry.time.tm_mday, int(unsigned(date.day())));
    }
}

TEST(FileFind, WalksDrivesBehindAllElse) {
    platform::setDriveSource([]() -> std::uint32_t { return 1U << 25 | 1U << 2 | 1; }, nullptr);
    std::string names;
    for (FileFind entry("", FileFind::Drives, false); entry; ++entry) {
        names += entry.name.c_str();
        EXPECT_EQ(entry.type, FileInfo::Drive);
        EXPECT_EQ(entry.time.tm_year, 80);
        EXPECT_EQ(entry.time.tm_mon, 1);
        EXPECT_EQ(entry.time.tm_mday, 1);
    }
    TemporaryDirectory const directory;
    directory.put("file");
    std::string const first =
        FileFind(directory.name().c_str(), FileFind::Files | FileFind::Drives, true).name.c_str();
    EXPECT_EQ(met(directory.name(), FileFind::Files | FileFind::Drives).size(), 4U);
    platform::setDriveSource(nullptr, nullptr);
    EXPECT_EQ(names, "A:C:Z:");
    EXPECT_EQ(first, "file");
}

TEST(FileFind, StreamsItsRecord) {
    FileInfo info;
    info.size = 0x01020304;
    info.name = "a.b";
    info.time.tm_year = 80;
    info.time.tm_isdst = -1;
    std::string const bytes = stream_bytes::hex(
        "01 00000000 00000000 00000000 01000000 00000000 50000000 00000000 00000000 FFFFFFFF "
        "04030201 01 04 0100 61 02 04 0100 62 00");
    EXPECT_EQ(stream_bytes::written([&](opstream & out) { out << info; }), bytes);
    FileInfo back;
    back.type = FileInfo::Drive;
    *stream_bytes::Input(bytes) >> back;
    EXPECT_EQ(stream_bytes::written([&](opstream & out) { out << back; }), bytes);
}

} // namespace
