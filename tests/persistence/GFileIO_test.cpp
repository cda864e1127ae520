// Files as byte devices: the four ways to open one, what an opening lets others do, and the content
// against a plain model.
#include "persistence/GFileIO.h"
#include "tests/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>

namespace {

TEST(GFileIO, CreateModesDecideWhatBecomesOfTheFile) {
    struct Case {
        GFileIO::IOCreateMode create;
        bool there, opens;
        char const * content; // after "X" was written
    };
    for (Case const & c :
         {Case{GFileIO::ExistingOnly, true, true, "Xld"},
          Case{GFileIO::ExistingOnly, false, false, ""}, Case{GFileIO::NewOnly, true, false, "old"},
          Case{GFileIO::NewOnly, false, true, "X"}, Case{GFileIO::OpenOrCreate, true, true, "Xld"},
          Case{GFileIO::OpenOrCreate, false, true, "X"},
          Case{GFileIO::CreateAndTruncate, true, true, "X"},
          Case{GFileIO::CreateAndTruncate, false, true, "X"}}) {
        SCOPED_TRACE(testing::Message() << c.create << (c.there ? " on a file" : " on nothing"));
        TemporaryDirectory const directory;
        if (c.there)
            directory.put("file", "old");
        GFileIO file(directory.name("file").c_str(), GIO::WriteMode, c.create, GFileIO::ShareNone);
        EXPECT_EQ(file.is_opened(), c.opens);
        EXPECT_EQ(file.gwrite("X", 1), c.opens ? 1 : 0);
        file.close();
        EXPECT_EQ(directory.has("file"), c.there || c.opens);
        EXPECT_EQ(directory.content("file"), c.content);
    }
}

TEST(GFileIO, AccessFollowsTheOpenMode) {
    TemporaryDirectory const directory;
    std::string const name = directory.put("file", "abc");
    char byte = 0;
    GFileIO file(name.c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    EXPECT_EQ(file.gwrite("X", 1), 0);
    EXPECT_EQ(file.gread(&byte, 1), 1);
    EXPECT_EQ(file.open_mode(), GIO::ReadMode);
    EXPECT_EQ(file.create_mode(), GFileIO::ExistingOnly);
    EXPECT_EQ(file.share_mode(), GFileIO::ShareRead);

    EXPECT_FALSE(file.open(directory.name("other").c_str(), GIO::ReadWriteMode,
                           GFileIO::OpenOrCreate, GFileIO::ShareBoth))
        << "one is open";
    EXPECT_FALSE(directory.has("other"));
    EXPECT_EQ(file.open_mode(), GIO::ReadMode);
    EXPECT_EQ(file.gread(&byte, 1), 1);
    EXPECT_EQ(byte, 'b') << "the first file stays, where it stood";

    file.close();
    ASSERT_TRUE(file.open(name.c_str(), GIO::WriteMode, GFileIO::ExistingOnly, GFileIO::ShareNone));
    EXPECT_EQ(file.gread(&byte, 1), 0);
    EXPECT_EQ(file.gwrite("X", 1), 1);
    file.close();
    EXPECT_EQ(directory.content("file"), "Xbc");
}

TEST(GFileIO, WhatIsNoFileDoesNotOpen) {
    TemporaryDirectory const directory;
    std::string const itself = directory.name();
    std::string const inMissing = directory.name("missing/file");
    for (char const * name :
         {static_cast<char const *>(nullptr), "", "c:\\file", itself.c_str(), inMissing.c_str()}) {
        SCOPED_TRACE(name ? name : "null");
        GFileIO file(name, GIO::ReadMode, GFileIO::OpenOrCreate, GFileIO::ShareBoth);
        char byte;
        EXPECT_FALSE(file.is_opened());
        EXPECT_EQ(file.gseek(0, GIO::FromStart), -1);
        EXPECT_EQ(file.gtell(), -1);
        EXPECT_EQ(file.gread(&byte, 1), 0);
        EXPECT_EQ(file.gwrite("X", 1), 0);
        EXPECT_FALSE(file.change_size(0));
    }
}

TEST(GFileIO, OpeningsAgreeWithWhatOthersShare) {
    TemporaryDirectory const directory;
    std::string const name = directory.put("file", "abc");
    for (int i = 0; i < 9 * 16; ++i) {
        auto const firstMode = static_cast<GIO::IOOpenMode>(i % 3 + 1);
        auto const secondMode = static_cast<GIO::IOOpenMode>(i / 3 % 3 + 1);
        auto const firstShare = static_cast<GFileIO::IOShareMode>(i / 9 % 4);
        auto const secondShare = static_cast<GFileIO::IOShareMode>(i / 36);
        GFileIO first(name.c_str(), firstMode, GFileIO::ExistingOnly, firstShare);
        ASSERT_TRUE(first.is_opened()) << "earlier openings are gone";
        GFileIO second(name.c_str(), secondMode, GFileIO::ExistingOnly, secondShare);
        // The bits of modes and shares are the same.
        bool const agree = (secondMode & ~firstShare) == 0 && (firstMode & ~secondShare) == 0;
        EXPECT_EQ(second.is_opened(), agree)
            << firstMode << '/' << firstShare << " and then " << secondMode << '/' << secondShare;
    }
    GFileIO held(name.c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareNone);
    GFileIO cutting(name.c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareBoth);
    EXPECT_FALSE(cutting.is_opened());
    EXPECT_EQ(directory.content("file"), "abc") << "who may not open may not cut";
}

TEST(GFileIO, ContentFollowsAPlainModel) {
    TemporaryDirectory const directory;
    std::mt19937 random(71);
    auto const below = [&random](long n) { return static_cast<long>(random() % n); };
    GFileIO file(directory.name("file").c_str(), GIO::ReadWriteMode, GFileIO::NewOnly,
                 GFileIO::ShareNone);
    std::string model;
    long position = 0;
    for (int step = 0; step < 3000; ++step) {
        long const size = static_cast<long>(model.size());
        switch (below(5)) {
            case 0: {
                auto const from = static_cast<GIO::IOSeekDirection>(below(3));
                long const base = from == GIO::FromEnd ? size : from ? position : 0;
                long const target = base + below(2 * size + 20) - size - 10;
                EXPECT_EQ(file.gseek(target - base, from), target < 0 ? -1 : target);
                position = target < 0 ? position : target;
                break;
            }
            case 1: {
                std::string data(static_cast<std::size_t>(below(50)), 'a');
                std::generate(data.begin(), data.end(), [&] { return char(below(256)); });
                long const count = static_cast<long>(data.size());
                EXPECT_EQ(file.gwrite(data.data(), count), count);
                if (count != 0 && position > size) // between, zeros appear
                    model.resize(static_cast<std::size_t>(position));
                if (count != 0)
                    model.replace(static_cast<std::size_t>(position), data.size(), data);
                position += count;
                break;
            }
            case 2:
                if (below(4) == 0) {
                    position = below(size + 30);
                    EXPECT_TRUE(file.change_size(position));
                    model.resize(static_cast<std::size_t>(position));
                }
                break;
            default: {
                std::string data(static_cast<std::size_t>(below(50)), '?');
                long const expected =
                    std::clamp(size - position, 0L, static_cast<long>(data.size()));
                EXPECT_EQ(file.gread(data.data(), static_cast<long>(data.size())), expected);
                if (expected == 0)
                    break;
                EXPECT_EQ(data.substr(0, static_cast<std::size_t>(expected)),
                          model.substr(static_cast<std::size_t>(position),
                                       static_cast<std::size_t>(expected)));
                position += expected;
            }
        }
        ASSERT_EQ(file.gtell(), position) << "in step " << step;
    }
    EXPECT_FALSE(file.change_size(-1));
    file.close();
    EXPECT_EQ(directory.content("file"), model);
}

TEST(GFileIO, StandsWhereItsHandleStands) {
    TemporaryDirectory const directory;
    GFileIO file(directory.put("file", "0123456789").c_str(), GIO::ReadWriteMode,
                 GFileIO::ExistingOnly, GFileIO::ShareNone);
    char byte = 0;
    EXPECT_EQ(file.gseek(3, GIO::FromStart), 3);
    platform::FileHandle const handle = file.handle();
    EXPECT_EQ(platform::readFile(handle, &byte, 1), 1);
    EXPECT_EQ(byte, '3') << "the handle is where the device was brought";
    EXPECT_EQ(file.gtell(), 4);
    EXPECT_EQ(platform::seekFile(handle, 8, platform::FileSeek::Start), 8);
    EXPECT_EQ(file.gread(&byte, 1), 1);
    EXPECT_EQ(byte, '8');
    EXPECT_EQ(file.gseek(-7, GIO::FromCurrent), 2);
    EXPECT_EQ(file.gwrite("X", 1), 1);
    EXPECT_EQ(platform::readFile(handle, &byte, 1), 1);
    EXPECT_EQ(byte, '3');
    file.close();
    EXPECT_EQ(directory.content("file"), "01X3456789");
}

TEST(GFileIO, ReachesAsFarAsTheSystem) {
    TemporaryDirectory const directory;
    std::string const name = directory.put("file", "abc");
    GFileIO file(name.c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    GFileIO asked(name.c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    asked.handle();
    constexpr long most = std::numeric_limits<long>::max();
    for (long const step : {2L, 1L << 30, -(1L << 30), most, most, -most, -1L, 5L}) {
        for (auto const from : {GIO::FromStart, GIO::FromCurrent, GIO::FromEnd}) {
            EXPECT_EQ(file.gseek(step, from), asked.gseek(step, from)) << step << ' ' << from;
            EXPECT_EQ(file.gtell(), asked.gtell());
        }
    }
}

} // namespace
