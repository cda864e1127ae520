// Memory as a byte device: how a block of its own grows, what a given one refuses, and the content
// against a plain model.
#include "persistence/GMemoryIO.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

std::string contentOf(GMemoryIO const & memory) {
    return {static_cast<char const *>(memory.buffer()), static_cast<std::size_t>(memory.size())};
}

TEST(GMemoryIO, GrowsToWholeSteps) {
    struct Case {
        long capacity, written, grown;
    };
    std::string const data(1000, 'x');
    for (Case const & c : {Case{0, 1, 256}, Case{-5, 1, 256}, Case{256, 256, 256},
                           Case{256, 300, 512}, Case{100, 100, 100}, Case{100, 101, 256}}) {
        SCOPED_TRACE(testing::Message() << c.written << " bytes into " << c.capacity);
        GMemoryIO memory(c.capacity);
        EXPECT_EQ(memory.buffer() == nullptr, c.capacity <= 0);
        EXPECT_EQ(memory.gwrite(data.data(), c.written), c.written);
        EXPECT_EQ(memory.capacity(), c.grown);
        EXPECT_EQ(memory.size(), c.written);
    }
    GMemoryIO memory(256);
    EXPECT_EQ(memory.gwrite(data.data(), 6), 6);
    EXPECT_EQ(memory.gwrite(data.data(), std::numeric_limits<long>::max()), 250)
        << "where there is no more memory, the room left is filled";
    EXPECT_EQ(memory.gwrite(data.data(), -1), 0);
    EXPECT_EQ(memory.size(), 256);
}

TEST(GMemoryIO, GivenBlockStaysWhatItIs) {
    char block[] = "0123456789....";
    GMemoryIO memory(block, 10, GIO::ReadWriteMode);
    EXPECT_FALSE(memory.expandable());
    EXPECT_EQ(memory.gwrite("abcdefghijklmnopqrst", 20), 10);
    EXPECT_EQ(memory.gwrite("u", 1), 0);
    EXPECT_STREQ(block, "abcdefghij....");

    char byte = '?';
    memory.open(block, 10, GIO::WriteMode);
    EXPECT_EQ(memory.gread(&byte, 1), 0);
    memory.open(block, 10, GIO::ReadMode);
    EXPECT_EQ(memory.gwrite("x", 1), 0);
    EXPECT_EQ(memory.gread(&byte, 1), 1);
    EXPECT_EQ(byte, 'a');

    memory.open(0L); // the block is not freed, and a device of its own comes in its place
    EXPECT_TRUE(memory.expandable());
    EXPECT_EQ(memory.open_mode(), GIO::ReadWriteMode);
    EXPECT_EQ(memory.gwrite("xyz", 3), 3);
    memory.close();
    EXPECT_EQ(memory.buffer(), nullptr);
    EXPECT_EQ(memory.gtell(), 0);
    EXPECT_EQ(memory.gread(&byte, 1), 0);
}

TEST(GMemoryIO, ContentFollowsAPlainModel) {
    std::mt19937 random(72);
    auto const below = [&random](long n) { return static_cast<long>(random() % n); };
    for (long given : {-1L, 0L, 40L}) { // -1: a block of its own
        std::string block(static_cast<std::size_t>(std::max(given, 0L)), '.'), model(block);
        GMemoryIO memory(0);
        if (given >= 0)
            memory.open(block.data(), given, GIO::ReadWriteMode);
        long position = 0;
        for (int step = 0; step < 3000; ++step) {
            long const size = static_cast<long>(model.size());
            std::string data(static_cast<std::size_t>(below(60)), '?');
            long const count = static_cast<long>(data.size());
            switch (below(4)) {
                case 0: {
                    auto const from = static_cast<GIO::IOSeekDirection>(below(3));
                    long const base = from == GIO::FromEnd ? size : from ? position : 0;
                    long const target = below(size + 20) - 10;
                    bool const inside = target >= 0 && target <= size;
                    EXPECT_EQ(memory.gseek(target - base, from), inside ? target : -1);
                    position = inside ? target : position;
                    break;
                }
                case 1: {
                    std::generate(data.begin(), data.end(), [&] { return char(below(256)); });
                    long const taken = given < 0 ? count : std::min(count, size - position);
                    EXPECT_EQ(memory.gwrite(data.data(), count), taken);
                    model.replace(static_cast<std::size_t>(position),
                                  static_cast<std::size_t>(taken), data, 0,
                                  static_cast<std::size_t>(taken));
                    position += taken;
                    break;
                }
                default: {
                    long const expected = std::min(count, size - position);
                    EXPECT_EQ(memory.gread(data.data(), count), expected);
                    EXPECT_EQ(data.substr(0, static_cast<std::size_t>(expected)),
                              model.substr(static_cast<std::size_t>(position),
                                           static_cast<std::size_t>(expected)));
                    position += expected;
                }
            }
            ASSERT_EQ(memory.gtell(), position) << "in step " << step;
        }
        EXPECT_EQ(contentOf(memory), model);
    }
    GMemoryIO memory(10);
    for (auto const from : {GIO::FromStart, GIO::FromCurrent, GIO::FromEnd})
        for (long const far : {std::numeric_limits<long>::min(), std::numeric_limits<long>::max()})
            EXPECT_EQ(memory.gseek(far, from), -1);
}

} // namespace
