#include "kvt_grph/Colors.h"

#include "../foundation/StreamBytes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

using namespace stream_bytes;

TEST(ColorsTest, hueStartsAtRedAndCountsSextantsInWholeNumbers) {
    struct {
        RGB_Color rgb;
        HSV_Color hsv;
    } const cases[] = {
        {{255, 255, 255}, {0, 0, 255}},     {{0, 0, 0}, {0, 0, 0}},
        {{255, 0, 0}, {0, 255, 255}}, // 256 + 1280 over 6 is 256, which wraps
        {{255, 1, 0}, {0, 255, 255}},       {{0, 255, 0}, {85, 255, 255}},
        {{0, 0, 255}, {170, 255, 255}},     {{255, 255, 0}, {42, 255, 255}},
        {{200, 150, 100}, {21, 128, 200}},  // (50 * 256 / 100) / 6, 255 - 25500 / 200
        {{100, 200, 150}, {106, 128, 200}}, // (50 * 256 / 100 + 512) / 6
        {{150, 100, 200}, {192, 128, 200}}, // (50 * 256 / 100 + 1024) / 6
    };
    for (auto const & c : cases)
        EXPECT_EQ(HSV_Color(c.rgb), c.hsv) << c.rgb << ": " << HSV_Color(c.rgb);
}

TEST(ColorsTest, sextantsOfHueExchangeTheComponents) {
    struct {
        HSV_Color hsv;
        RGB_Color rgb;
    } const cases[] = {
        {{0, 255, 255}, {255, 0, 0}},     {{42, 255, 255}, {255, 252, 0}},
        {{43, 255, 255}, {253, 255, 0}},  {{85, 255, 255}, {1, 255, 0}},
        {{90, 128, 200}, {99, 200, 110}}, // f is 28: (227 * 99 + 28 * 200) / 255
        {{128, 255, 200}, {0, 200, 200}}, {{171, 255, 255}, {2, 0, 255}},
        {{255, 255, 255}, {255, 0, 5}},
    };
    for (auto const & c : cases)
        EXPECT_EQ(RGB_Color(c.hsv), c.rgb) << c.hsv << ": " << RGB_Color(c.hsv);
}

TEST(ColorsTest, lumaModelsTruncateTowardsZeroAndCutTheWayBack) {
    EXPECT_EQ(YIQ_Color(RGB_Color(255, 0, 0)), YIQ_Color(76, 152, 54));
    EXPECT_EQ(YIQ_Color(RGB_Color(0, 0, 255)), YIQ_Color(29, -81, 79)); // -81610 / 1000
    EXPECT_EQ(YUV_Color(RGB_Color(0, 255, 0)), YUV_Color(150, -73, -130));
    EXPECT_EQ(RGB_Color(YIQ_Color(100, 50, -20)), RGB_Color(135, 99, 11));
    EXPECT_EQ(RGB_Color(YUV_Color(100, -20, 30)), RGB_Color(134, 90, 59));
    EXPECT_EQ(RGB_Color(YIQ_Color(32767, 32767, 32767)), RGB_Color(255, 255, 255));
    EXPECT_EQ(RGB_Color(YUV_Color(-32768, 32767, -32768)), RGB_Color(0, 0, 255));
}

TEST(ColorsTest, floatsBecomeBytesRoundedAndCut) {
    struct {
        float value;
        int byte;
    } const cases[] = {{0.5f, 128}, {-1, 0},         {0, 0},       {1, 255},   {2, 255},
                       {NAN, 0},    {INFINITY, 255}, {0.0019f, 0}, {0.002f, 1}};
    for (auto const & c : cases)
        EXPECT_EQ(GFColor::FloatToUChar(c.value), c.byte) << c.value;
    for (int i = 0; i < 256; ++i) {
        auto const byte = static_cast<unsigned char>(i);
        EXPECT_EQ(RGB_Color(GFColor(RGB_Color(byte, 0, byte))), RGB_Color(byte, 0, byte));
    }
    GFColor color = GFColor(0.5f, 0.25f, 1) * 4.0f - GFColor(0, 2, 0);
    EXPECT_EQ(color, GFColor(2, -1, 4)) << "calculations do not cut";
    color.clamp();
    EXPECT_EQ(color, GFColor(1, 0, 1));
}

TEST(ColorsTest, streamsHoldTheFieldsInTheirOrderInMemory) {
    EXPECT_EQ(written([](opstream & out) {
                  out << RGB_Color(1, 2, 3) << RGBA_Color(4, 5, 6, 7) << HSV_Color(8, 9, 10)
                      << YIQ_Color(11, -2, 0x1234) << YUV_Color(-1, 5, 6);
              }),
              hex("030201 06050407 08090a 0b00feff3412 ffff05000600"));
    Input in(hex("030201 06050407 08090a 0b00feff3412 ffff05000600"));
    RGB_Color rgb;
    RGBA_Color rgba;
    HSV_Color hsv;
    YIQ_Color yiq;
    YUV_Color yuv;
    *in >> rgb >> rgba >> hsv >> yiq >> yuv;
    EXPECT_EQ(rgb, RGB_Color(1, 2, 3));
    EXPECT_EQ(rgba, RGBA_Color(4, 5, 6, 7));
    EXPECT_EQ(hsv, HSV_Color(8, 9, 10));
    EXPECT_EQ(yiq, YIQ_Color(11, -2, 0x1234));
    EXPECT_EQ(yuv, YUV_Color(-1, 5, 6));
}

TEST(ColorsTest, textHoldsNumbersWithRedFirst) {
    std::stringstream text;
    text << RGB_Color(1, 2, 255) << ' ' << RGBA_Color(4, 5, 6, 70);
    EXPECT_EQ(text.str(), "1 2 255 4 5 6 70");
    RGB_Color rgb;
    RGBA_Color rgba;
    text >> rgb >> rgba;
    EXPECT_EQ(rgb, RGB_Color(1, 2, 255));
    EXPECT_EQ(rgba, RGBA_Color(4, 5, 6, 70));
    for (char const * bad : {"1 256 3", "-1 2 3", "1 x 3", "1 99999 3"}) {
        std::istringstream in(bad);
        EXPECT_FALSE(in >> rgb) << bad;
    }
}

TEST(ColorsTest, wholeOperationsOfFourByteColorsLeaveAlpha) {
    RGBA_Color color(1, 2, 3, 99);
    EXPECT_EQ(~color, RGBA_Color(254, 253, 252, 99));
    EXPECT_EQ(color ^= RGB_Color(1, 2, 2), RGBA_Color(0, 0, 1, 99));
    EXPECT_TRUE(!RGBA_Color(0, 0, 0, 5));
    color.set_color_ref(0x00030201);
    EXPECT_EQ(color, RGBA_Color(1, 2, 3, 99));
    EXPECT_EQ(color.get_color_ref(), 0x00030201u);
}
