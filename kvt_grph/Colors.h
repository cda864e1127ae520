// The colour values. RGB_Color and RGBA_Color have the byte order of bitmaps in memory and in
// files, so a row of pixels is an array of them.
#pragma once

#include "platform/Export.h"
#include "platform/SystemTypes.h"

#include <cstdint>
#include <iosfwd>

class ipstream;
class opstream;
struct RGBA_Color;

/// Three bytes without padding.
struct ONDREL_API RGB_Color {
    unsigned char blue = 0, green = 0, red = 0;

    constexpr RGB_Color() = default;
    constexpr RGB_Color(unsigned char r, unsigned char g, unsigned char b)
        : blue(b), green(g), red(r) {}
    constexpr explicit RGB_Color(RGBA_Color const & color);
    constexpr RGB_Color(tagRGBQUAD const & quad)
        : blue(quad.rgbBlue), green(quad.rgbGreen), red(quad.rgbRed) {}
    constexpr RGB_Color(tagRGBTRIPLE const & triple)
        : blue(triple.rgbtBlue), green(triple.rgbtGreen), red(triple.rgbtRed) {}

    /// Red in the lowest byte, blue in the third.
    void set_color_ref(COLORREF color) {
        red = static_cast<unsigned char>(color);
        green = static_cast<unsigned char>(color >> 8);
        blue = static_cast<unsigned char>(color >> 16);
    }
    constexpr COLORREF get_color_ref() const {
        return COLORREF(red) | COLORREF(green) << 8 | COLORREF(blue) << 16;
    }
    constexpr tagRGBQUAD rgbquad() const { return {blue, green, red, 0}; }
    constexpr tagRGBTRIPLE rgbtriple() const { return {blue, green, red}; }
    constexpr operator tagRGBQUAD() const { return rgbquad(); }
    constexpr operator tagRGBTRIPLE() const { return rgbtriple(); }

    /// The index of the nearest colour of the program palette.
    unsigned char index() const;
    /// Takes the colour of slot `slot` of the program palette.
    void index(unsigned char slot);

    friend constexpr bool operator==(RGB_Color const &, RGB_Color const &) = default;
    /// Whether all bytes are 0.
    constexpr bool operator!() const { return !(blue | green | red); }
    constexpr RGB_Color operator~() const {
        return RGB_Color(static_cast<unsigned char>(~red), static_cast<unsigned char>(~green),
                         static_cast<unsigned char>(~blue));
    }
    constexpr RGB_Color & operator^=(RGB_Color const & other) {
        blue ^= other.blue;
        green ^= other.green;
        red ^= other.red;
        return *this;
    }
};
static_assert(sizeof(RGB_Color) == 3);

/// Four bytes without padding, the last of them alpha.
struct ONDREL_API RGBA_Color {
    unsigned char blue = 0, green = 0, red = 0, alpha = 0;

    constexpr RGBA_Color() = default;
    constexpr RGBA_Color(unsigned char r, unsigned char g, unsigned char b, unsigned char a = 0)
        : blue(b), green(g), red(r), alpha(a) {}
    constexpr RGBA_Color(RGB_Color const & color)
        : blue(color.blue), green(color.green), red(color.red) {}
    constexpr RGBA_Color(tagRGBQUAD const & quad)
        : blue(quad.rgbBlue), green(quad.rgbGreen), red(quad.rgbRed) {}
    constexpr RGBA_Color(tagRGBTRIPLE const & triple)
        : blue(triple.rgbtBlue), green(triple.rgbtGreen), red(triple.rgbtRed) {}

    /// Leaves alpha.
    void set_color_ref(COLORREF color) {
        red = static_cast<unsigned char>(color);
        green = static_cast<unsigned char>(color >> 8);
        blue = static_cast<unsigned char>(color >> 16);
    }
    constexpr COLORREF get_color_ref() const { return RGB_Color(*this).get_color_ref(); }
    constexpr tagRGBQUAD rgbquad() const { return {blue, green, red, 0}; }
    constexpr tagRGBTRIPLE rgbtriple() const { return {blue, green, red}; }
    constexpr operator tagRGBQUAD() const { return rgbquad(); }
    constexpr operator tagRGBTRIPLE() const { return rgbtriple(); }

    friend constexpr bool operator==(RGBA_Color const &, RGBA_Color const &) = default;
    /// Whether the three colour bytes are 0, whatever alpha is.
    constexpr bool operator!() const { return !(blue | green | red); }
    /// The colour bytes inverted; alpha stays.
    constexpr RGBA_Color operator~() const {
        return RGBA_Color(static_cast<unsigned char>(~red), static_cast<unsigned char>(~green),
                          static_cast<unsigned char>(~blue), alpha);
    }
    /// Changes the colour bytes alone.
    constexpr RGBA_Color & operator^=(RGB_Color const & other) {
        blue ^= other.blue;
        green ^= other.green;
        red ^= other.red;
        return *this;
    }
};
static_assert(sizeof(RGBA_Color) == 4);

constexpr RGB_Color::RGB_Color(RGBA_Color const & color)
    : blue(color.blue), green(color.green), red(color.red) {}

/// The same colours in the order in which they are usually told.
struct SRGB_Color {
    unsigned char red = 0, green = 0, blue = 0;
    constexpr SRGB_Color() = default;
    constexpr SRGB_Color(RGB_Color const & color)
        : red(color.red), green(color.green), blue(color.blue) {}
    constexpr operator RGB_Color() const { return RGB_Color(red, green, blue); }
};

/// The same with alpha at the end.
struct SRGBA_Color {
    unsigned char red = 0, green = 0, blue = 0, alpha = 0;
    constexpr SRGBA_Color() = default;
    constexpr SRGBA_Color(RGBA_Color const & color)
        : red(color.red), green(color.green), blue(color.blue), alpha(color.alpha) {}
    constexpr operator RGBA_Color() const { return RGBA_Color(red, green, blue, alpha); }
};

/// Hue runs from 0 to 255 around the circle, starting at red.
struct ONDREL_API HSV_Color {
    unsigned char hue = 0, saturation = 0, value = 0;
    constexpr HSV_Color() = default;
    constexpr HSV_Color(unsigned char h, unsigned char s, unsigned char v)
        : hue(h), saturation(s), value(v) {}
    HSV_Color(RGB_Color const & color);
    operator RGB_Color() const;
    friend constexpr bool operator==(HSV_Color const &, HSV_Color const &) = default;
};

/// Luma and two differences, in units of a byte.
struct ONDREL_API YIQ_Color {
    std::int16_t y = 0, i = 0, q = 0;
    constexpr YIQ_Color() = default;
    constexpr YIQ_Color(std::int16_t y_, std::int16_t i_, std::int16_t q_) : y(y_), i(i_), q(q_) {}
    YIQ_Color(RGB_Color const & color);
    operator RGB_Color() const;
    friend constexpr bool operator==(YIQ_Color const &, YIQ_Color const &) = default;
};

/// Luma and the two differences of blue and red, in units of a byte.
struct ONDREL_API YUV_Color {
    std::int16_t y = 0, u = 0, v = 0;
    constexpr YUV_Color() = default;
    constexpr YUV_Color(std::int16_t y_, std::int16_t u_, std::int16_t v_) : y(y_), u(u_), v(v_) {}
    YUV_Color(RGB_Color const & color);
    operator RGB_Color() const;
    friend constexpr bool operator==(YUV_Color const &, YUV_Color const &) = default;
};

/// For calculations: nominally 0 to 1, but never clamped by itself.
struct ONDREL_API GFColor {
    float red = 0, green = 0, blue = 0;
    constexpr GFColor() = default;
    constexpr GFColor(float r, float g, float b) : red(r), green(g), blue(b) {}
    GFColor(RGB_Color const & color);
    operator RGB_Color() const;

    GFColor & operator+=(GFColor const & other);
    GFColor & operator-=(GFColor const & other);
    GFColor & operator*=(GFColor const & other);
    GFColor & operator+=(float value);
    GFColor & operator-=(float value);
    GFColor & operator*=(float value);
    GFColor & operator/=(float value);
    bool operator!() const { return red == 0 && green == 0 && blue == 0; }
    friend constexpr bool operator==(GFColor const &, GFColor const &) = default;

    /// Cuts each component to 0 through 1.
    void clamp();
    /// 0 through 1 to 0 through 255, rounded; what lies outside goes to the ends.
    static unsigned char FloatToUChar(float value);
};

inline GFColor operator+(GFColor a, GFColor const & b) {
    return a += b;
}
inline GFColor operator-(GFColor a, GFColor const & b) {
    return a -= b;
}
inline GFColor operator*(GFColor a, GFColor const & b) {
    return a *= b;
}
inline GFColor operator+(GFColor a, float b) {
    return a += b;
}
inline GFColor operator-(GFColor a, float b) {
    return a -= b;
}
inline GFColor operator*(GFColor a, float b) {
    return a *= b;
}
inline GFColor operator/(GFColor a, float b) {
    return a /= b;
}

/// The fields in the order of their declaration, without padding.
ONDREL_API opstream & operator<<(opstream & out, RGB_Color const & color);
ONDREL_API ipstream & operator>>(ipstream & in, RGB_Color & color);
ONDREL_API opstream & operator<<(opstream & out, RGBA_Color const & color);
ONDREL_API ipstream & operator>>(ipstream & in, RGBA_Color & color);
ONDREL_API opstream & operator<<(opstream & out, HSV_Color const & color);
ONDREL_API ipstream & operator>>(ipstream & in, HSV_Color & color);
ONDREL_API opstream & operator<<(opstream & out, YIQ_Color const & color);
ONDREL_API ipstream & operator>>(ipstream & in, YIQ_Color & color);
ONDREL_API opstream & operator<<(opstream & out, YUV_Color const & color);
ONDREL_API ipstream & operator>>(ipstream & in, YUV_Color & color);

/// Decimal numbers with a blank between them, red first.
ONDREL_API std::ostream & operator<<(std::ostream & out, RGB_Color const & color);
ONDREL_API std::istream & operator>>(std::istream & in, RGB_Color & color);
ONDREL_API std::ostream & operator<<(std::ostream & out, RGBA_Color const & color);
ONDREL_API std::istream & operator>>(std::istream & in, RGBA_Color & color);
ONDREL_API std::ostream & operator<<(std::ostream & out, HSV_Color const & color);
ONDREL_API std::istream & operator>>(std::istream & in, HSV_Color & color);
ONDREL_API std::ostream & operator<<(std::ostream & out, YIQ_Color const & color);
ONDREL_API std::istream & operator>>(std::istream & in, YIQ_Color & color);
ONDREL_API std::ostream & operator<<(std::ostream & out, YUV_Color const & color);
ONDREL_API std::istream & operator>>(std::istream & in, YUV_Color & color);
