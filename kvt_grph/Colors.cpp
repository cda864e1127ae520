// Conversions between the colour models, in whole numbers so that they give the same everywhere.
#include "kvt_grph/Colors.h"

#include "kvt_grph/GPalette.h"

#include <algorithm>

namespace {

unsigned char cut(int n) {
    return static_cast<unsigned char>(std::clamp(n, 0, 255));
}

/// To the nearest of what is told in thousandths; below 0 it comes out one higher.
int thousandths(int n) {
    return (n + 500) / 1000;
}

std::int16_t toWord(int n) {
    return static_cast<std::int16_t>(n);
}

int luma(RGB_Color const & c) {
    return thousandths(299 * c.red + 587 * c.green + 114 * c.blue);
}

} // namespace

unsigned char RGB_Color::index() const {
    return GPalette::GetProgramPalette().get_index(*this);
}

void RGB_Color::index(unsigned char slot) {
    *this = GPalette::GetProgramPalette()[slot];
}

HSV_Color::HSV_Color(RGB_Color const & color) {
    int const r = color.red, g = color.green, b = color.blue;
    int const most = std::max({r, g, b}), least = std::min({r, g, b});
    value = static_cast<unsigned char>(most);
    if (most == least)
        return;
    // The sextant starts at `base`, and `part` is how far the second colour carries into it, or
    // towards it from the other end.
    int part = 0, base = 0;
    if (most == r) {
        part = b < g ? g - b : r - b;
        base = b < g ? 0 : 1280;
    } else if (most == g) {
        part = b < r ? g - r : b - r;
        base = b < r ? 256 : 512;
    } else {
        part = r < g ? b - g : r - g;
        base = r < g ? 768 : 1024;
    }
    saturation = static_cast<unsigned char>(255 - least * 255 / most);
    hue = static_cast<unsigned char>((part * 256 / (most - least) + base) / 6);
}

HSV_Color::operator RGB_Color() const {
    int const full = value;
    int const position = hue * 6;
    int const f = position & 255;
    int const p = (255 - saturation) * full / 255;
    int const up = ((255 - f) * p + f * full) / 255;
    int const down = (f * p + (255 - f) * full) / 255;
    switch (position >> 8) {
        case 0:
            return RGB_Color(value, cut(up), cut(p));
        case 1:
            return RGB_Color(cut(down), value, cut(p));
        case 2:
            return RGB_Color(cut(p), value, cut(up));
        case 3:
            return RGB_Color(cut(p), cut(down), value);
        case 4:
            return RGB_Color(cut(up), cut(p), value);
        default:
            return RGB_Color(value, cut(p), cut(down));
    }
}

YIQ_Color::YIQ_Color(RGB_Color const & c)
    : y(toWord(luma(c))), i(toWord(thousandths(596 * c.red - 274 * c.green - 322 * c.blue))),
      q(toWord(thousandths(211 * c.red - 522 * c.green + 311 * c.blue))) {}

YIQ_Color::operator RGB_Color() const {
    int const t = 1000 * y;
    return RGB_Color(cut(thousandths(t + 956 * i + 623 * q)),
                     cut(thousandths(t - 272 * i - 648 * q)),
                     cut(thousandths(t - 1105 * i + 1705 * q)));
}

YUV_Color::YUV_Color(RGB_Color const & c)
    : y(toWord(luma(c))), u(toWord(thousandths(-147 * c.red - 289 * c.green + 436 * c.blue))),
      v(toWord(thousandths(615 * c.red - 515 * c.green - 100 * c.blue))) {}

YUV_Color::operator RGB_Color() const {
    int const t = 1000 * y;
    return RGB_Color(cut(thousandths(t + 1140 * v)), cut(thousandths(t - 396 * u - 581 * v)),
                     cut(thousandths(t + 2029 * u)));
}

GFColor::GFColor(RGB_Color const & color) {
    constexpr float unit = 0.003921569f; // 1 / 255
    red = static_cast<float>(color.red) * unit;
    green = static_cast<float>(color.green) * unit;
    blue = static_cast<float>(color.blue) * unit;
}

GFColor::operator RGB_Color() const {
    return RGB_Color(FloatToUChar(red), FloatToUChar(green), FloatToUChar(blue));
}

GFColor & GFColor::operator+=(GFColor const & other) {
    return *this = GFColor(red + other.red, green + other.green, blue + other.blue);
}

GFColor & GFColor::operator-=(GFColor const & other) {
    return *this = GFColor(red - other.red, green - other.green, blue - other.blue);
}

GFColor & GFColor::operator*=(GFColor const & other) {
    return *this = GFColor(red * other.red, green * other.green, blue * other.blue);
}

GFColor & GFColor::operator+=(float n) {
    return *this += GFColor(n, n, n);
}

GFColor & GFColor::operator-=(float n) {
    return *this -= GFColor(n, n, n);
}

GFColor & GFColor::operator*=(float n) {
    return *this *= GFColor(n, n, n);
}

GFColor & GFColor::operator/=(float n) {
    return *this = GFColor(red / n, green / n, blue / n);
}

namespace {

/// What is no number becomes 0.
float unitRange(float n) {
    return n > 0 ? std::min(n, 1.0f) : 0.0f;
}

} // namespace

void GFColor::clamp() {
    *this = GFColor(unitRange(red), unitRange(green), unitRange(blue));
}

unsigned char GFColor::FloatToUChar(float value) {
    return static_cast<unsigned char>(unitRange(value) * 255 + 0.5f);
}
