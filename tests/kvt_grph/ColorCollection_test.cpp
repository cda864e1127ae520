#include "kvt_grph/ColorCollection.h"

#include "../foundation/StreamBytes.h"

#include <gtest/gtest.h>

#include <climits>

using namespace stream_bytes;

TEST(ColorCollectionTest, distinctColorsAreOrderedByRedFirst) {
    ColorCollection colors;
    colors.insert(new RGB_Color(2, 0, 0));
    colors.insert(new RGB_Color(1, 9, 9));
    EXPECT_EQ(colors.insert(new RGB_Color(2, 0, 0)), 1) << "freed, and the first one stays";
    EXPECT_EQ(colors.add_color(RGB_Color(1, 9, 8)), 0);
    EXPECT_EQ(colors.add_color(RGB_Color(1, 9, 9)), 1);
    ASSERT_EQ(colors.getCount(), 3);
    EXPECT_EQ(*colors.at(0), RGB_Color(1, 9, 8));
    EXPECT_EQ(*colors.at(2), RGB_Color(2, 0, 0));
    // Count, limit and delta, the owner's flag, three colours with blue first, and no duplicates.
    EXPECT_EQ(written([&](opstream & out) { colors.write(out); }),
              hex("0300 0400 0400 01 080901 090901 000002 00"));
}

TEST(ColorCollectionTest, paletteKeepsTheLastColorOfANumber) {
    PaletteCollection palette;
    EXPECT_EQ(palette.find_color(1), -1);
    palette.add_entry(INT_MAX, RGB_Color(1, 1, 1));
    palette.add_entry(INT_MIN, RGB_Color(2, 2, 2));
    palette.add_entry(7, RGB_Color(3, 3, 3));
    palette.add_entry(7, RGB_Color(4, 5, 6));
    EXPECT_EQ(palette.find_color(INT_MIN), 0);
    EXPECT_EQ(palette.find_color(7), 1);
    EXPECT_EQ(palette.find_color(INT_MAX), 2);
    EXPECT_EQ(palette.find_color(8), -1);
    PaletteCollection other(palette);
    palette.add_entry(7, RGB_Color());
    ASSERT_EQ(other.getCount(), 3);
    EXPECT_EQ(other.at(1)->color, RGB_Color(4, 5, 6));
}

TEST(ColorCollectionTest, paletteStreamHasAVersion) {
    std::string const bytes = hex("00 0200 0000 0400 01 feffffff 030201 07000000 060504 00");
    Input in(bytes);
    PaletteCollection palette;
    palette.read(*in);
    ASSERT_EQ(palette.getCount(), 2);
    EXPECT_EQ(palette.at(palette.find_color(-2))->color, RGB_Color(1, 2, 3));
    EXPECT_EQ(palette.at(palette.find_color(7))->color, RGB_Color(4, 5, 6));
    palette.setLimit(0);
    palette.setLimit(2);
    std::string expected = bytes;
    expected[3] = 2;
    EXPECT_EQ(written([&](opstream & out) { palette.write(out); }), expected);
    Input cut(bytes.substr(0, 12));
    palette.read(*cut);
    EXPECT_TRUE(cut->fail());
    Input endless(hex("00 ffffffff ffffffff 0400 01 01000000"));
    palette.read(*endless);
    EXPECT_LT(palette.getCount(), 3);
}

TEST(ColorCollectionTest, rampIsOrderedByPosition) {
    OrderedColorCollection ramp;
    ramp.insert(new OrderedColor(RGB_Color(1, 2, 3), 0.5));
    ramp.insert(new OrderedColor(RGB_Color(4, 4, 4), -1));
    ramp.insert(new OrderedColor(RGB_Color(5, 5, 5), 0.5));
    ASSERT_EQ(ramp.getCount(), 2);
    EXPECT_EQ(ramp.at(1)->color, RGB_Color(1, 2, 3)) << "the first one stays";
    EXPECT_EQ(written([&](opstream & out) { ramp.at(1)->save(out); }),
              hex("030201 000000000000e03f"));
    Input in(hex("0100 0000 0400 01 030201 000000000000e03f 00"));
    OrderedColorCollection read;
    read.read(*in);
    ASSERT_EQ(read.getCount(), 1);
    EXPECT_EQ(*read.at(0), *ramp.at(1));
}

TEST(ColorCollectionTest, rampsAreCopiedInPlace) {
    OrderedColorCollection one, three;
    one.insert(new OrderedColor(RGB_Color(9, 9, 9), 5));
    for (int i = 0; i < 3; ++i)
        three.insert(new OrderedColor(RGB_Color(1, 1, 1), i));
    OrderedColorCollection copy(three);
    EXPECT_TRUE(copy == three);
    copy.at(0)->color.blue = 2;
    EXPECT_FALSE(copy == three);
    OrderedColor const * const kept = copy.at(0);
    copy = one;
    EXPECT_TRUE(copy == one);
    EXPECT_EQ(copy.at(0), kept);
    copy.copy(copy);
    EXPECT_EQ(copy.getCount(), 1);
}
