#include "foundation/BitSet.h"

#include "StreamBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

using namespace stream_bytes;

namespace {

std::string bytesOf(BitSet const & set) {
    return written([&](opstream & out) { out << set; });
}

} // namespace

TEST(BitSet, HasAWordForTheSizeItself) {
    EXPECT_EQ(bytesOf(BitSet(32)), hex("20000000 02000000 00000000 00000000"));
    EXPECT_EQ(bytesOf(BitSet(0)), hex("01000000 01000000 00000000"));
    BitSet set(1);
    set += 100;
    EXPECT_EQ(set.getCount(), 100u);
    EXPECT_EQ(bytesOf(set), hex("64000000 04000000 10000000 00000000 00000000 00000000"));
    EXPECT_TRUE(set[100]) << "in a word, though beyond the size";
    EXPECT_EQ(set.getEnabledCount(), 0u);
    set -= 128;
    EXPECT_EQ(set.getCount(), 100u);
}

TEST(BitSet, StreamsItsWordsFromTheLast) {
    BitSet set(40);
    set += 0;
    set += 33;
    std::string const bytes = hex("28000000 02000000 02000000 01000000");
    EXPECT_EQ(bytesOf(set), bytes);
    Input in(bytes);
    BitSet back(500);
    *in >> back;
    EXPECT_EQ(back, set);
    EXPECT_EQ(back.getCount(), 40u);
    std::ostringstream text;
    text << back;
    EXPECT_EQ(text.str(), "1000000000000000000000000000000001000000");
}

TEST(BitSet, ReadsAsEmptyFromBytesThatDoNotFit) {
    char const * const broken[] = {
        "20000000 01000000 FFFFFFFF",          // a word too few for the size
        "00000000 01000000 FFFFFFFF",          // no size
        "FFFFFFFF 00000008 FFFFFFFF FFFFFFFF", // half a gigabyte that does not follow
        "2800",
    };
    for (char const * bytes : broken) {
        Input in(hex(bytes));
        BitSet set(8);
        set.enable_all();
        *in >> set;
        EXPECT_TRUE(in->fail()) << bytes;
        EXPECT_TRUE(set.isEmpty()) << bytes;
        EXPECT_EQ(set.getCount(), 1u) << bytes;
    }
}

TEST(BitSet, EnablesWholeWordsAndCountsTheSize) {
    BitSet set(10);
    set.enable_all();
    EXPECT_EQ(set.getEnabledCount(), 10u);
    EXPECT_FALSE(set.isEmpty());
    set.resize(40);
    EXPECT_EQ(set.getEnabledCount(), 32u);
    set.resize(64);
    EXPECT_EQ(set.getDisabledCount(), 32u);
}

TEST(BitSet, ComparesOnlySetsOfAsManyWords) {
    BitSet one(1), more(33), same(31);
    EXPECT_NE(one, more);
    EXPECT_FALSE(one <= more);
    EXPECT_FALSE(more <= one);
    EXPECT_EQ(one, same) << "the size itself does not count";
    same += 3;
    EXPECT_TRUE(one < same);
    EXPECT_TRUE(same >= one);
    EXPECT_FALSE(same > same);
}

TEST(BitSet, LeavesWordsThatTheOtherLacks) {
    BitSet wide(64), narrow(31);
    wide.enable_all();
    EXPECT_EQ((wide & narrow).getEnabledCount(), 32u);
    EXPECT_EQ((narrow | wide).getEnabledCount(), 31u);
    EXPECT_TRUE((wide - wide).isEmpty());
}

TEST(BitSet, BehavesLikeAVectorOfBoolUnderRandomOperations) {
    constexpr unsigned long size = 150;
    BitSet sets[2] = {BitSet(size), BitSet(size)};
    std::vector<bool> models[2] = {std::vector<bool>(size), std::vector<bool>(size)};
    unsigned random = 1;
    auto const next = [&](unsigned long below) {
        random = random * 1664525 + 1013904223;
        return static_cast<unsigned long>(random >> 8) % below;
    };
    auto const combine = [&](auto operation) {
        for (unsigned long i = 0; i < size; ++i)
            models[0][i] = operation(models[0][i], models[1][i]);
    };
    for (int step = 0; step < 3000; ++step) {
        unsigned long const which = next(2), from = next(size), to = next(size);
        bool const on = next(2) != 0;
        switch (next(8)) {
            case 0:
                sets[0] |= sets[1];
                combine([](bool a, bool b) { return a || b; });
                break;
            case 1:
                sets[0] -= sets[1];
                combine([](bool a, bool b) { return a && !b; });
                break;
            case 2:
                sets[0] &= sets[1];
                combine([](bool a, bool b) { return a && b; });
                break;
            case 3:
                sets[0] ^= sets[1];
                combine([](bool a, bool b) { return a != b; });
                break;
            case 4:
                sets[which].set_range(from, to, on);
                for (unsigned long i = from; i <= to; ++i)
                    models[which][i] = on;
                break;
            default:
                sets[which].set(from, on);
                models[which][from] = on;
        }
        for (unsigned long k : {0ul, 1ul})
            for (unsigned long i = 0; i < size; ++i)
                ASSERT_EQ(sets[k][i], models[k][i]) << "step " << step << " bit " << i;
        ASSERT_EQ(sets[0].getEnabledCount(),
                  static_cast<unsigned long>(std::count(models[0].begin(), models[0].end(), true)));
    }
}

TEST(BitSet, GrowsForARangeThatIsSetAndNotForOneThatIsCleared) {
    BitSet set(8);
    set.set_range(20, 90, false);
    EXPECT_EQ(set.getCount(), 8u);
    set.set_range(60, 90, true);
    EXPECT_EQ(set.getCount(), 90u);
    EXPECT_TRUE(set[60] && set[90] && !set[59] && !set[91]);
    set.set_range(5, 4, true);
    EXPECT_FALSE(set[4] || set[5]);
}
