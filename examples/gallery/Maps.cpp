// Maps put into maps, palettes, and other sizes. They all show one small picture: a ball on a
// ground of a key colour, which can be left out.
#include "Tiles.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace Gallery {

namespace {

constexpr int ballSize = 48;
constexpr RGB_Color key(200, 60, 200);

unsigned char shade(double light) {
    return static_cast<unsigned char>(std::lround(255 * std::min(1.0, std::max(0.0, light))));
}

/// Lit from the left top.
PixelMap ball(int size = ballSize) {
    PixelMap map(size, size, AbstractImage::FormatRGB);
    map.full_fill(key);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            double const u = (2 * x + 1.0) / size - 1;
            double const v = (2 * y + 1.0) / size - 1;
            double const depth = 1 - u * u - v * v;
            if (depth < 0)
                continue;
            double const light = (std::sqrt(depth) - u - v) / std::sqrt(3.0);
            map.set_pixel(
                x, y, RGB_Color(shade(0.15 + light), shade(light * 0.7), shade(0.2 + light / 5)));
        }
    return map;
}

/// A ground on which one sees what is left out.
void chequer(PixelMap & map) {
    for (int y = 0; y < tileHeight; y += 12)
        for (int x = y % 24; x < tileWidth; x += 24)
            map.bar(x, y, x + 11, y + 11, faint, 0);
}

/// From column `x` of row `y` on, whatever the layouts are: put_map puts indices only among
/// themselves, lines of colours go everywhere.
void putColors(PixelMap & map, int x, int y, PixelMap const & source) {
    auto const line = std::make_unique<RGB_Color[]>(static_cast<std::size_t>(source.get_width()));
    for (int row = 0; row < source.get_height(); ++row) {
        source.get_hline(line.get(), 0, row, source.get_width());
        map.put_hline(line.get(), x, y + row, source.get_width());
    }
}

// Put.

void whole(PixelMap & map) {
    chequer(map);
    PixelMap const source = ball();
    map.put_map(48, 30, source);
    map.put_map(-24, -24, source); // only the quarter that lies in the map
    map.put_map(tileWidth - 24, tileHeight - 24, source);
}

void inPart(PixelMap & map) {
    chequer(map);
    PixelMap const source = ball();
    for (int i = 0; i < 4; ++i)
        map.put_map(24 + i % 2 * 60, 18 + i / 2 * 42, source,
                    GRect(i % 2 * ballSize / 2, i / 2 * ballSize / 2, ballSize / 2, ballSize / 2));
}

void withKey(PixelMap & map) {
    chequer(map);
    PixelMap const source = ball();
    for (int i = 0; i < 4; ++i)
        map.put_map(8 + i * 27, 8 + i * 14, source, key);
}

void intoItself(PixelMap & map) {
    map.put_map(0, 0, ball(), key);
    map.put_map(48, 30, map, ground);                       // two balls
    map.put_map(24, 15, map, GRect(0, 0, 120, 93), ground); // two more in front of them
}

void lines(PixelMap & map) {
    chequer(map);
    PixelMap const source = ball();
    RGB_Color line[ballSize];
    for (int y = 0; y < ballSize; ++y) {
        source.get_hline(line, 0, y, ballSize);
        map.put_hline(line, 16 + y / 3, 6 + y, ballSize, key); // each further to the right
        map.put_hline(line, 76 - y / 3, 56 + y, ballSize, key);
    }
}

// Palettes.

/// Eight colours from night to noon.
GPalette dayPalette() {
    RGB_Color const colors[] = {{16, 16, 48},   {64, 32, 96},   {128, 48, 112},  {200, 72, 96},
                                {240, 120, 72}, {248, 176, 80}, {248, 224, 128}, {248, 248, 224}};
    return {colors, 8};
}

/// A colour of the palette, or between two of them; `at` runs from 0 to the last index.
RGB_Color between(GPalette const & palette, double at) {
    auto const index = static_cast<unsigned char>(at);
    auto const next = static_cast<unsigned char>(std::min(index + 1, palette.getCount() - 1));
    auto const share = static_cast<float>(at - index);
    return GFColor(palette[index]) * (1 - share) + GFColor(palette[next]) * share;
}

void gradient(PixelMap & map) {
    GPalette const palette = dayPalette();
    PixelMap few(tileWidth - 16, 40, AbstractImage::FormatIndex, &palette);
    for (int x = 0; x < few.get_width(); ++x) {
        RGB_Color const color = between(palette, x * 7.0 / (few.get_width() - 1));
        map.vline(8 + x, 8, 47, color, 0);
        few.vline(x, 0, 39, color, 0); // becomes the nearest index
    }
    putColors(map, 8, 54, few);
}

/// Each pixel of the ball, and of a field of all hues, gets the nearest of 16 colours.
void nearest(PixelMap & map) {
    RGB_Color colors[16] = {key, black, faint, white};
    for (int i = 0; i < 12; ++i)
        colors[4 + i] = hue(i / 12.0);
    GPalette const palette(colors, 16);
    PixelMap few(tileWidth, tileHeight, AbstractImage::FormatIndex, &palette);
    for (int y = 0; y < tileHeight; ++y)
        for (int x = 0; x < tileWidth; ++x)
            few.set_pixel(x, y,
                          RGB_Color(HSV_Color(static_cast<unsigned char>(x * 255 / tileWidth),
                                              shade(y / 60.0), shade(2 - y / 60.0))));
    few.put_map(48, 30, ball(), key);
    putColors(map, 0, 0, few);
}

/// The same indices under another palette, and moved to the nearest colours of that palette.
void otherPalette(PixelMap & map) {
    GPalette const day = dayPalette();
    GPalette night(8);
    for (int i = 0; i < 8; ++i)
        night.set_color(static_cast<unsigned char>(i), day[static_cast<unsigned char>(7 - i)]);
    PixelMap few(40, 92, AbstractImage::FormatIndex, &day);
    for (int y = 0; y < few.get_height(); ++y)
        few.hline(0, y, 39, day[static_cast<unsigned char>(y * 8 / few.get_height())], 0);
    PixelMap kept(few);
    PixelMap mapped(few);
    kept.set_palette(&night, 0);
    mapped.set_palette(&night, 1);
    putColors(map, 6, 8, few);
    putColors(map, 52, 8, kept);
    putColors(map, 98, 8, mapped);
}

// Sizes.

template <bool fast>
void enlarged(PixelMap & map) {
    PixelMap large(96, 96, AbstractImage::FormatRGB);
    PixelMapTools::Resize(ball(14), large, fast);
    map.put_map(24, 6, large);
}

/// Fine stripes: their average is what the eye would see from afar, single pixels are not.
void reduced(PixelMap & map) {
    PixelMap fine(315, 450, AbstractImage::FormatRGB);
    fine.full_fill(white);
    for (int y = 0; y < 450; y += 3)
        fine.line(0, y, 314, y + 60, black, 0);
    fine.put_map(40, 110, ball(230), key);
    for (bool const fast : {false, true}) {
        std::unique_ptr<PixelMap> const small(PixelMapTools::Resize(fine, 63, 90, fast));
        map.put_map(fast ? 75 : 6, 9, *small);
    }
}

void bilinear(PixelMap & map) {
    PixelMap const source = ball(14);
    for (int y = 0; y < 96; ++y)
        for (int x = 0; x < 96; ++x)
            map.set_pixel(24 + x, 6 + y,
                          RGB_Color(PixelMapTools::BilinearApproximation(
                              source, static_cast<float>(x) / 95, static_cast<float>(y) / 95)));
}

void mask(PixelMap & map) {
    PixelMap source(64, 64, AbstractImage::FormatRGB);
    source.put_map(8, 8, ball(), key);
    std::unique_ptr<PixelMap> const white(PixelMapTools::ConvertToMask(source));
    map.put_map(4, 22, source);
    map.put_map(76, 22, *white);
}

} // namespace

std::span<Tile const> mapTiles() {
    static constexpr Tile tiles[] = {
        {"put_map, whole and over the border", whole},
        {"put_map, four parts", inPart},
        {"put_map, with a key colour", withKey},
        {"put_map, a map into itself", intoItself},
        {"put_hline, with a key colour", lines},
        {"GPalette, a gradient and its nearest of 8 colours", gradient},
        {"GPalette, the nearest of 16 colours", nearest},
        {"set_palette, before, without and with remapping", otherPalette},
        {"Resize, larger, exact", enlarged<false>},
        {"Resize, larger, fast", enlarged<true>},
        {"BilinearApproximation", bilinear},
        {"Resize, smaller, exact, and fast", reduced},
        {"ConvertToMask, before and after", mask}};
    return tiles;
}

} // namespace Gallery
