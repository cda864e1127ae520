#include "kvt_grph/GPalette.h"

#include "../foundation/StreamBytes.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using namespace stream_bytes;

namespace {

int nearestOf(GPalette const & palette, RGB_Color color) {
    int nearest = 0, least = 1 << 30;
    for (int i = 0; i < palette.getCount(); ++i) {
        RGB_Color const at = palette[static_cast<unsigned char>(i)];
        int const r = at.red - color.red, g = at.green - color.green, b = at.blue - color.blue;
        if (int const d = r * r + g * g + b * b; d < least) {
            least = d;
            nearest = i;
        }
    }
    return nearest;
}

struct Colors {
    std::mt19937 random{7};
    /// Components are multiples of `step`, so that a great one makes equal colours and distances.
    RGB_Color next(int step) {
        auto const component = [&] {
            return static_cast<unsigned char>(random() % 256 / static_cast<unsigned>(step) *
                                              static_cast<unsigned>(step));
        };
        return RGB_Color(component(), component(), component());
    }
};

std::vector<RGB_Color> slots(GPalette const & palette, int first, int count) {
    std::vector<RGB_Color> result;
    for (int i = first; i < first + count; ++i)
        result.push_back(palette[static_cast<unsigned char>(i)]);
    return result;
}

} // namespace

TEST(GPaletteTest, nearestColorIsThatOfAPlainSearch) {
    Colors colors;
    for (int const step : {1, 16, 64, 200})
        for (int const count : {1, 2, 5, 37, 256}) {
            GPalette palette(count);
            for (int i = 0; i < count; ++i)
                palette.set_color(static_cast<unsigned char>(i), colors.next(step));
            for (int i = 0; i < 3000; ++i) {
                // Each second one again, and every one of a few, so that answers are remembered.
                RGB_Color const color = colors.next(i % 2 ? 1 : 32);
                ASSERT_EQ(palette.get_index(color), nearestOf(palette, color))
                    << color << " of " << count << " in steps of " << step;
            }
        }
}

TEST(GPaletteTest, crowdedColorsAreFoundFromEverywhere) {
    Colors colors;
    GPalette palette(256);
    for (int i = 0; i < 256; ++i) {
        RGB_Color const c = colors.next(1);
        palette.set_color(static_cast<unsigned char>(i),
                          RGB_Color(c.red / 32, c.green / 32, 250 + c.blue / 52));
    }
    for (int r = 0; r < 256; r += 15)
        for (int g = 0; g < 256; g += 15)
            for (int b = 0; b < 256; b += 15) {
                RGB_Color const color(static_cast<unsigned char>(r), static_cast<unsigned char>(g),
                                      static_cast<unsigned char>(b));
                ASSERT_EQ(palette.get_index(color), nearestOf(palette, color)) << color;
            }
}

TEST(GPaletteTest, everyChangeForgetsRememberedAnswers) {
    Colors colors;
    GPalette palette(64);
    auto const check = [&] {
        for (int round = 0; round < 2; ++round)
            for (int i = 0; i < 100; ++i) {
                RGB_Color const color(static_cast<unsigned char>(i), 10, 20);
                ASSERT_EQ(palette.get_index(color), nearestOf(palette, color)) << color;
            }
    };
    check();
    palette.set_color(5, RGB_Color(50, 10, 20));
    check();
    palette.set_entry(4, {60, 10, 20, 0});
    check();
    std::vector<RGB_Color> many;
    for (int i = 0; i < 200; ++i)
        many.push_back(colors.next(1));
    palette.set(many.data(), 200, 3);
    check();
    palette.resize_no_fill(4);
    check();
    palette = GPalette(many.data(), 100);
    check();
    Input in(hex("504c5433 0200 00000a 140a63"));
    palette.loadPLT(*in);
    check();
}

TEST(GPaletteTest, searchIsInTheFirstSlotsWhereverTheWindowBegins) {
    GPalette palette(3, 2);
    palette.set_color(0, RGB_Color(9, 9, 9));
    palette.set_color(4, RGB_Color(200, 0, 0));
    EXPECT_EQ(palette.get_index(RGB_Color(200, 0, 0)), 0);
    EXPECT_EQ(GPalette().get_index(RGB_Color(1, 2, 3)), 0);
}

TEST(GPaletteTest, windowIsCutAndWhatIsOutsideIsBlack) {
    std::vector<RGB_Color> const colors(256, RGB_Color(1, 2, 3));
    GPalette palette(colors.data(), 256);
    EXPECT_EQ(palette.get_entry(255).peRed, 1);
    EXPECT_EQ(palette.get_entry(255).peBlue, 3);
    palette.resize_and_fill_borders(300, 250);
    EXPECT_EQ(palette.getFirst(), 250);
    EXPECT_EQ(palette.getCount(), 6);
    EXPECT_EQ(palette[249], RGB_Color());
    EXPECT_EQ(palette[250], RGB_Color(1, 2, 3));
    palette.resize_no_fill(-5, 1000);
    EXPECT_EQ(palette.getFirst(), 255);
    EXPECT_EQ(palette.getCount(), 0);
    EXPECT_EQ(palette[251], RGB_Color(1, 2, 3));
    palette.resize(4, 1);
    EXPECT_EQ(slots(palette, 0, 256), std::vector<RGB_Color>(256));
}

TEST(GPaletteTest, mayTakeColorsOutOfItself) {
    GPalette palette(256);
    for (int i = 0; i < 256; ++i)
        palette.set_entry(static_cast<unsigned char>(i), {static_cast<unsigned char>(i), 0, 0, 7});
    palette.set(palette.get_entry_array() + 100, 3, 101);
    EXPECT_EQ(slots(palette, 100, 5),
              (std::vector<RGB_Color>{{}, {100, 0, 0}, {101, 0, 0}, {102, 0, 0}, {}}));
    EXPECT_EQ(palette.get_peflags(103), 7);
    palette.set(palette);
    EXPECT_EQ(palette[101], RGB_Color(100, 0, 0));
}

TEST(GPaletteTest, comparesWindowsAndColorsButNotFlags) {
    RGB_Color const colors[] = {{1, 2, 3}, {4, 5, 6}};
    GPalette a(colors, 2), b(colors, 2);
    b.set_peflags(1, 4);
    b.set_color(7, RGB_Color(1, 1, 1));
    EXPECT_TRUE(GPalette::CompareRGB(&a, &b));
    EXPECT_EQ(b.get_peflags(1), 4);
    b.set_color(1, RGB_Color(4, 5, 7));
    EXPECT_FALSE(GPalette::CompareRGB(&a, &b));
    GPalette const moved(colors, 2, 1);
    EXPECT_FALSE(GPalette::CompareRGB(&a, &moved));
    EXPECT_FALSE(GPalette::CompareRGB(&a, nullptr));
    EXPECT_TRUE(GPalette::CompareRGB(nullptr, nullptr));
}

TEST(GPaletteTest, decodeTableKeepsEqualSlotsOfTheWindow) {
    // Slots 0 and 2 are equal: a search finds 0, but an index that fits stays.
    RGB_Color const colors[] = {{9, 0, 0}, {50, 0, 0}, {9, 0, 0}};
    GPalette const to(colors, 3);
    GPalette from(colors, 3);
    from.set_color(1, RGB_Color(200, 0, 0));
    from.set_color(5, RGB_Color(45, 0, 0));
    unsigned char table[256];
    GPalette::ConstructDecodeTable(&to, &from, table);
    EXPECT_EQ(std::vector<int>(table, table + 7), (std::vector<int>{0, 1, 2, 0, 0, 1, 0}));
    GPalette::ConstructDecodeTable(nullptr, &from, table);
    EXPECT_EQ(std::vector<unsigned char>(table, table + 256), std::vector<unsigned char>(256));
}

TEST(GPaletteTest, streamHoldsSlotsFromTheFirstOn) {
    RGB_Color const colors[] = {{1, 2, 3}, {4, 5, 6}};
    GPalette palette(colors, 2, 1);
    EXPECT_EQ(written([&](opstream & out) { palette.write(out); }),
              hex("01 504c5433 0200 000000 030201"));
    Input in(hex("09 58585858 0200 030201 060504 ee"));
    palette.read(*in);
    EXPECT_EQ(palette.getFirst(), 0);
    EXPECT_EQ(slots(palette, 0, 3), (std::vector<RGB_Color>{{1, 2, 3}, {4, 5, 6}, {}}));
    EXPECT_EQ(in->readByte(), 0xee);
}

TEST(GPaletteTest, greatCountsComeRoundAndShortStreamsAreBlack) {
    std::string bytes = hex("504c5433 0101");
    for (int i = 0; i < 257; ++i)
        bytes += std::string(3, static_cast<char>(i == 256 ? 77 : i));
    Input great(bytes + "x");
    GPalette palette;
    palette.loadPLT(*great);
    EXPECT_EQ(palette.getCount(), 256);
    EXPECT_EQ(palette[0], RGB_Color(77, 77, 77));
    EXPECT_EQ(palette[255], RGB_Color(255, 255, 255));
    EXPECT_EQ(great->readByte(), 'x');
    Input cut(hex("504c5433 ffff 010101"));
    palette.loadPLT(*cut);
    EXPECT_EQ(palette[0], RGB_Color(1, 1, 1));
    EXPECT_EQ(palette[255], RGB_Color());
    EXPECT_TRUE(cut->fail());
}

TEST(GPaletteTest, programPaletteTellsItsChangesAndNamesColors) {
    struct Told {
        int calls = 0;
        static void on(GCallBackReason reason, void *, void * data) {
            EXPECT_EQ(reason, GCallBackReason(0));
            ++static_cast<Told *>(data)->calls;
        }
    } told;
    GPalette const former = GPalette::GetProgramPalette();
    RGB_Color const colors[] = {{0, 0, 0}, {200, 0, 0}};
    GPalette::SetCallbackOnChangeProgramPalette(&Told::on, &told);
    GPalette::SetProgramPalette(GPalette(colors, 2), 0);
    EXPECT_EQ(RGB_Color(150, 0, 0).index(), 1);
    RGB_Color color;
    color.index(1);
    EXPECT_EQ(color, RGB_Color(200, 0, 0));
    GPalette::SetProgramPalette(GPalette::GetProgramPalette(), 1);
    EXPECT_EQ(GPalette::GetProgramPalette().getCount(), 256);
    EXPECT_EQ(GPalette::GetProgramPalette()[1], RGB_Color(200, 0, 0));
    GPalette::RemoveCallbackOnChangeProgramPalette(&Told::on, &told);
    GPalette::SetProgramPalette(former, 0);
    EXPECT_EQ(told.calls, 2);
}

TEST(GPaletteTest, takesOnlyTheColorsOfAnImage) {
    RGB_Color const colors[] = {{1, 2, 3}};
    GPalette const source(colors, 1);
    GPalette palette(2);
    palette.start_read(AbstractImage::FormatRGB, 10, 10, nullptr);
    EXPECT_EQ(palette.getCount(), 2);
    palette.start_read(AbstractImage::FormatIndex, 10, 10, &source);
    EXPECT_TRUE(GPalette::CompareRGB(&palette, &source));
}
