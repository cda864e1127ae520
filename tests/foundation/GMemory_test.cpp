#include "foundation/GMemory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

TEST(GMemory, ComputesTheCommonCrc) {
    char const text[] = "123456789"; // the check value that every description of CRC-32 gives
    unsigned long const all = g_mem_CRC32(text, 9, 0xFFFFFFFF) ^ 0xFFFFFFFF;
    EXPECT_EQ(all, 0xCBF43926u);
    unsigned long const part = g_mem_CRC32(text, 4, 0xFFFFFFFF);
    EXPECT_EQ(g_mem_CRC32(text + 4, 5, part) ^ 0xFFFFFFFF, all);
    EXPECT_EQ(g_mem_CRC32(nullptr, 0, 0x1234), 0x1234u);
}

TEST(GMemory, FillsAtAnyAddress) {
    Bytes bytes(12, 0);
    g_mem_set_2(bytes.data() + 1, 0x0101, 2);
    g_mem_set_4(bytes.data() + 7, 0x02020202, 1);
    EXPECT_EQ(bytes, (Bytes{0, 1, 1, 1, 1, 0, 0, 2, 2, 2, 2, 0}));
}

TEST(GMemory, ShiftsAcrossBytesAndKeepsWhatWasThere) {
    unsigned char const from[] = {0xFF, 0x81};
    Bytes to{0x80, 0, 0x01};
    g_mem_right_shift(to.data(), from, 4, 2);
    EXPECT_EQ(to, (Bytes{0x8F, 0xF8, 0x11}));
    Bytes unshifted{0, 0, 0};
    g_mem_right_shift(unshifted.data(), from, 0, 2);
    EXPECT_EQ(unshifted, (Bytes{0xFF, 0x81, 0}));
}

TEST(GMemory, Reverses) {
    std::string text = "abcde", copy = "-----";
    g_mem_reversed_copy(copy.data(), text.data(), 5);
    EXPECT_EQ(copy, "edcba");
    g_mem_reverse(text.data(), 4);
    EXPECT_EQ(text, "dcbae");
    g_mem_reverse(text.data(), 0);
    EXPECT_EQ(text, "dcbae");
}
