#include "kvt_grph/PixelMap.h"

#include "../foundation/StreamBytes.h"
#include "foundation/GMetaClass.h"
#include "persistence/PStreamExceptions.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <vector>

using namespace stream_bytes;

namespace {

constexpr auto index8 = AbstractImage::FormatIndex;
constexpr auto rgb24 = AbstractImage::FormatRGB;
constexpr auto rgba32 = AbstractImage::FormatRGBAlpha;
constexpr auto plain = AbstractImage::FormatPlainMemory;

RGB_Color const black(0, 0, 0), grey(100, 100, 100), red(250, 10, 20);

GPalette palette(std::vector<RGB_Color> const & colors) {
    return GPalette(colors.data(), static_cast<int>(colors.size()));
}

} // namespace

TEST(PixelMapTest, rowsLieBottomUpAndAreWholeWords) {
    struct {
        AbstractImage::MapFormat format;
        int width, stride;
    } const cases[] = {{index8, 5, 8}, {rgb24, 3, 12}, {rgb24, 4, 12}, {rgba32, 3, 12}};
    for (auto const & c : cases) {
        PixelMap map(c.width, 2, c.format);
        EXPECT_EQ(map.get_stride(), c.stride);
        EXPECT_EQ(map.get_size(), 2 * c.stride);
        EXPECT_EQ(map.get_pixels_address(1), map.get_pixels_address());
        EXPECT_EQ(map.get_pixels_address(0), map.get_pixels_address() + c.stride);
        EXPECT_EQ(map.get_pixels_address(2), nullptr);
        EXPECT_EQ(map.get_pixels_address(-1), nullptr);
    }
    PixelMap map(2, 1, rgb24);
    map.set_pixel(1, 0, RGB_Color(1, 2, 3));
    EXPECT_EQ(std::memcmp(map.get_pixels_address() + 3, "\3\2\1", 3), 0) << "blue comes first";
}

TEST(PixelMapTest, impossibleSizesLeaveAnEmptyMap) {
    struct {
        int width, height;
        AbstractImage::MapFormat format;
    } const cases[] = {{0, 5, rgb24},
                       {5, -1, rgb24},
                       {INT_MAX, INT_MAX, rgba32},
                       {INT_MAX, 1, index8},
                       {1, INT_MAX, index8},
                       {65536, 65536, index8},
                       {40000, 30000, rgb24},
                       {1 << 30, 4, rgba32},
                       {5, 5, plain},
                       {INT_MIN, INT_MIN, rgb24}};
    for (auto const & c : cases) {
        PixelMap map(3, 3, rgb24);
        map.set_format(c.format);
        map.resize(c.width, c.height);
        EXPECT_EQ(map.get_width(), 0) << c.width << " x " << c.height;
        EXPECT_EQ(map.get_height(), 0);
        EXPECT_EQ(map.get_format(), c.format);
        EXPECT_EQ(map.get_pixels_address(), nullptr);
        map.full_fill(red);
        map.line(0, 0, 3, 3, red, 0);
        EXPECT_EQ(map.get_pixel(0, 0), RGB_Color());
        map.resize(2, 2);
        EXPECT_EQ(map.get_width(), AbstractImage::layoutOf(c.format) ? 2 : 0);
    }
}

TEST(PixelMapTest, pixelsStayOnlyWhenNothingChanges) {
    PixelMap map(3, 2, rgb24);
    map.full_fill(red);
    map.set_format(rgb24);
    map.resize(3, 2);
    map.start_read(index8, 3, 2, nullptr);
    EXPECT_EQ(map.get_pixel(2, 1), red);
    map.resize(3, 3);
    EXPECT_EQ(map.get_pixel(2, 1), black);
    map.full_fill(red);
    map.set_format(rgba32);
    EXPECT_EQ(map.get_rgba(2, 1), RGBA_Color());
    map.start_read(index8, 7, 8, nullptr);
    EXPECT_EQ(map.get_format(), rgba32) << "a file does not change the format";
    EXPECT_EQ(map.get_width(), 7);
}

TEST(PixelMapTest, paletteBelongsToPlainIndicesAlone) {
    GPalette const colors = palette({black, red});
    PixelMap map(2, 2, index8, &colors);
    EXPECT_TRUE(GPalette::CompareRGB(map.get_palette(), &colors));
    EXPECT_NE(map.get_palette(), &colors);
    EXPECT_EQ(map.set_palette(nullptr, 0), 0);
    map.resize(5, 5);
    EXPECT_TRUE(GPalette::CompareRGB(map.get_palette(), &colors)) << "kept through a resize";
    map.start_read(rgb24, 6, 6, map.get_palette());
    EXPECT_TRUE(GPalette::CompareRGB(map.get_palette(), &colors));
    map.set_format(rgb24);
    EXPECT_EQ(map.get_palette(), nullptr);
    EXPECT_EQ(map.set_palette(&colors, 0), 0);
    PixelMap wish(2, 2, index8 + plain, &colors);
    EXPECT_EQ(wish.get_palette(), nullptr);
    EXPECT_EQ(wish.set_palette(&colors, 0), 0);
}

TEST(PixelMapTest, newPaletteKeepsIndicesOrColors) {
    GPalette const colors = palette({black, red, grey}), turned = palette({red, grey, black});
    PixelMap map(3, 1, index8, &colors);
    for (int x = 0; x < 3; ++x)
        map.set_pixel(x, 0, static_cast<unsigned char>(x));
    PixelMap other(map);
    EXPECT_EQ(map.set_palette(&turned, 0), 1);
    EXPECT_EQ(map.get_index(1, 0), 1);
    EXPECT_EQ(map.get_pixel(1, 0), grey);
    EXPECT_EQ(other.set_palette(&turned, 1), 1);
    EXPECT_EQ(other.get_index(1, 0), 0);
    for (int x = 0; x < 3; ++x)
        EXPECT_EQ(other.get_pixel(x, 0), colors[static_cast<unsigned char>(x)]);
}

TEST(PixelMapTest, pixelsAreConvertedToTheLayout) {
    GPalette const colors = palette({black, red, grey});
    PixelMap indexed(2, 1, index8, &colors), three(2, 1, rgb24), four(2, 1, rgba32);
    for (PixelMap * map : {&indexed, &three, &four}) {
        map->set_pixel(0, 0, RGBA_Color(250, 10, 20, 77));
        EXPECT_EQ(map->get_pixel(0, 0), red);
        EXPECT_EQ(map->get_rgba(0, 0).alpha, map == &four ? 77 : 0);
        map->set_pixel(0, 0, grey);
        EXPECT_EQ(map->get_rgba(0, 0), RGBA_Color(grey)) << "alpha becomes 0";
        map->set_pixel(1, 0, RGBA_Color(0, 0, 0, 9));
        map->xor_pixel(1, 0, RGBA_Color(100, 100, 100, 255));
        EXPECT_EQ(map->get_rgba(1, 0), RGBA_Color(100, 100, 100, map == &four ? 9 : 0));
        map->set_pixel(1, 0, static_cast<unsigned char>(1));
        EXPECT_EQ(map->get_index(1, 0), map == &indexed ? 1 : 0);
    }
}

TEST(PixelMapTest, indicesWithoutPaletteTakeNoColors) {
    PixelMap map(4, 3, index8), source(4, 3, rgb24);
    source.full_fill(red);
    map.set_pixel(1, 1, static_cast<unsigned char>(7));
    map.set_pixel(1, 1, red);
    map.xor_pixel(1, 1, red);
    map.hline(0, 1, 3, red, 0);
    map.line(0, 0, 3, 2, red, 0);
    map.full_fill(red);
    map.put_map(0, 0, source);
    EXPECT_EQ(map.get_index(1, 1), 7);
    EXPECT_EQ(map.get_pixel(1, 1), black);
    EXPECT_EQ(map.get_index(0, 0), 0);
}

TEST(PixelMapTest, fillsTakeThePaddingOnlyWhereBytesAreEqual) {
    PixelMap map(1, 1, rgb24);
    map.full_fill(red);
    EXPECT_EQ(map.get_pixels_address()[3], 0);
    map.full_fill(grey);
    EXPECT_EQ(map.get_pixels_address()[3], 100);
    GPalette const colors = palette({black, red});
    PixelMap indexed(1, 1, index8, &colors);
    indexed.full_fill(red);
    EXPECT_EQ(indexed.get_pixels_address()[3], 1);
}

TEST(PixelMapTest, longRunsAreFilledToTheEnd) {
    for (AbstractImage::MapFormat format : {rgb24, rgba32}) {
        PixelMap map(9003, 1, format);
        map.hline(1, 0, 9001, red, 0);
        EXPECT_EQ(map.get_pixel(0, 0), black);
        EXPECT_EQ(map.get_pixel(9002, 0), black);
        int missed = 0;
        for (int x = 1; x <= 9001; ++x)
            missed += map.get_rgba(x, 0) == RGBA_Color(red) ? 0 : 1;
        EXPECT_EQ(missed, 0);
    }
}

TEST(PixelMapTest, linesOfAnImageMoveWithoutConversion) {
    PixelMap map(3, 1, rgb24);
    unsigned char pixels[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    map.set_color_line(-1, 0, 4, pixels);
    map.set_color_line(0, 1, 3, pixels);
    EXPECT_EQ(map.get_pixel(0, 0), RGB_Color(6, 5, 4));
    EXPECT_EQ(map.get_pixel(2, 0), RGB_Color(12, 11, 10));
    std::memset(pixels, 99, sizeof pixels);
    map.get_color_line(2, 0, 3, pixels + 3);
    EXPECT_EQ(std::memcmp(pixels, "ccc\12\13\14cccccc", 12), 0) << "outside stays as it was";
}

TEST(PixelMapTest, copiesAreWholeAndAssignmentNeedsTheSize) {
    GPalette const colors = palette({black, red});
    PixelMap map(2, 2, index8, &colors);
    map.set_pixel(1, 0, red);
    std::unique_ptr<PixelMap> const clone(map.clone());
    EXPECT_EQ(clone->get_pixel(1, 0), red);
    EXPECT_NE(clone->get_palette(), map.get_palette());
    PixelMap four(2, 2, rgba32), same(2, 2, rgba32), wide(3, 2, rgba32);
    four.set_pixel(1, 1, RGBA_Color(1, 2, 3, 4));
    same = four;
    EXPECT_EQ(same.get_rgba(1, 1), RGBA_Color(1, 2, 3, 4));
    wide = four;
    EXPECT_EQ(wide.get_rgba(1, 1), RGBA_Color());
}

TEST(PixelMapTest, streamHoldsFormatAndPalette) {
    PixelMap map(2, 2, rgba32);
    EXPECT_EQ(written([&](opstream & out) { map.write(out); }), hex("03 03 00"));
    GPalette const colors = palette({red});
    PixelMap indexed(2, 2, index8, &colors);
    std::string const bytes = written([&](opstream & out) { indexed.write(out); });
    EXPECT_EQ(bytes.substr(0, 7), hex("03 01 02 b1b50fcf")) << "a whole object follows";
    Input in(bytes + "xy");
    map.read(*in);
    EXPECT_EQ(map.get_format(), index8);
    EXPECT_EQ(map.get_width(), 0) << "the former pixels are gone";
    EXPECT_EQ(in->readByte(), 'y') << "one byte behind is taken";
    map.resize(1, 1);
    EXPECT_EQ(map.get_pixel(0, 0), red);
}

TEST(PixelMapTest, olderStreamsHoldOtherFormats) {
    struct {
        char const * bytes;
        AbstractImage::MapFormat format;
    } const cases[] = {{"00 02 ee", index8},   {"00 06 ee", index8},    {"00 01 ee", rgb24},
                       {"00 03 ee", rgb24},    {"01 02 11 ee", index8}, {"01 00 11 ee", rgb24},
                       {"02 03 11 ee", rgba32}};
    for (auto const & c : cases) {
        Input in(hex(c.bytes));
        PixelMap map(1, 1, rgb24);
        map.read(*in);
        EXPECT_EQ(map.get_format(), c.format) << c.bytes;
        EXPECT_EQ(in->readByte(), 0xee) << c.bytes;
    }
    Input bitmap(hex("42 4d 00"));
    PixelMap map(1, 1, rgb24);
    EXPECT_THROW(map.read(*bitmap), OldVersionOfClass_Exception);
    EXPECT_EQ(map.get_width(), 1);
}

TEST(PixelMapTest, paletteNamedTwiceInAStreamIsOwnedOnce) {
    GPalette const colors = palette({red});
    PixelMap map(1, 1, index8, &colors);
    std::string const bytes = written([&](opstream & out) { map.write(out); });
    // The second map refers to object 1 of the stream, the palette of the first.
    Input in(bytes + hex("00 03 01 01 0100 00"));
    PixelMap first(1, 1, rgb24), second(1, 1, rgb24);
    first.read(*in);
    second.read(*in);
    EXPECT_NE(first.get_palette(), second.get_palette());
    EXPECT_TRUE(GPalette::CompareRGB(first.get_palette(), second.get_palette()));
}

TEST(PixelMapTest, canBeBuiltByName) {
    GRTTIObject * const built = GMetaClass::FindByName("PixelMap")->buildObject();
    PixelMap * const map = gcast<PixelMap>(built);
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->get_format(), AbstractImage::FormatNone);
    delete map;
}
