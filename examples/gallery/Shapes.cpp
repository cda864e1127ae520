// Lines, bars and triangles of a pixel map, plain and in XOR mode, single pixels, and figures that
// reach the map through callbacks.
#include "Tiles.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace Gallery {

namespace {

constexpr unsigned char plain = 0;
constexpr unsigned char inverting = 1;

/// A point around the middle of the tile.
GPoint around(double turn, double radius) {
    double const angle = turn * 2 * std::numbers::pi;
    return {std::lround(centerX + radius * std::cos(angle)),
            std::lround(centerY + radius * std::sin(angle))};
}

// The five shapes, in a colour of their own in each part, or in white where they invert.

RGB_Color paint(double turn, unsigned char xorMode) {
    return xorMode ? white : hue(turn);
}

void fanOfLines(PixelMap & map, unsigned char xorMode) {
    for (int i = 0; i < 24; ++i) {
        GPoint const from = around(i / 24.0, 12);
        GPoint const to = around(i / 24.0, i % 2 ? 44 : 90); // every other one leaves the tile
        map.line(static_cast<int>(from.x), static_cast<int>(from.y), static_cast<int>(to.x),
                 static_cast<int>(to.y), paint(i / 24.0, xorMode), xorMode);
    }
}

void rows(PixelMap & map, unsigned char xorMode) {
    for (int y = 6; y < tileHeight - 4; y += 4)
        map.hline(centerX - y / 2, y, centerX + y / 2, paint(y / 108.0, xorMode), xorMode);
}

void columns(PixelMap & map, unsigned char xorMode) {
    for (int x = 6; x < tileWidth - 4; x += 3) {
        double const wave = std::sin(x * 3 * std::numbers::pi / tileWidth);
        map.vline(x, centerY, static_cast<int>(std::lround(centerY - 42 * wave)),
                  paint(x / 144.0, xorMode), xorMode);
    }
}

void bars(PixelMap & map, unsigned char xorMode) {
    for (int i = 0; i < 6; ++i)
        map.bar(8 + i * 16, 8 + i * 10, 56 + i * 16, 48 + i * 10, paint(i / 6.0, xorMode), xorMode);
}

void fanOfTriangles(PixelMap & map, unsigned char xorMode) {
    for (int i = 0; i < 9; ++i) {
        GPoint const a = around(i / 9.0, 50);
        GPoint const b = around((i + 1.6) / 9.0, 50); // further than the next one's begin
        map.fill_triangle(centerX, centerY, static_cast<int>(a.x), static_cast<int>(a.y),
                          static_cast<int>(b.x), static_cast<int>(b.y), paint(i / 9.0, xorMode),
                          xorMode);
    }
}

template <void (*shape)(PixelMap &, unsigned char)>
void drawn(PixelMap & map) {
    shape(map, plain);
}

/// On a ground of stripes, each of which turns into its opposite colour.
template <void (*shape)(PixelMap &, unsigned char)>
void inverted(PixelMap & map) {
    for (int i = 0; i < 6; ++i)
        map.bar(i * 24, 0, i * 24 + 23, tileHeight - 1, hue(i / 6.0), plain);
    shape(map, inverting);
}

// Figures.

void figureLines(PixelMap & map) {
    for (int i = 0; i <= 12; ++i) {
        Pen pen{map, hue(i / 24.0)};
        G2DFigure::Line(8, 8 + i * 7, 8 + i * 10, 100, Pen::Dot, &pen);
    }
}

void circles(PixelMap & map) {
    for (int r = 0; r <= 66; r += 6) {
        Pen pen{map, hue(r / 72.0)};
        G2DFigure::Circle(centerX, centerY, r, Pen::Dot, &pen);
    }
}

void ellipses(PixelMap & map) {
    for (int i = 0; i <= 8; ++i) {
        Pen pen{map, hue(i / 9.0)};
        G2DFigure::Ellipse(centerX, centerY, i * 8, 48 - i * 6, Pen::Dot, &pen);
    }
}

void disks(PixelMap & map) {
    for (int i = 0; i < 8; ++i) {
        GPoint const at = around(i / 8.0, 36);
        Pen pen{map, hue(i / 8.0)};
        G2DFigure::Disk(at.x, at.y, 4 + i * 2, Pen::Row, &pen);
    }
}

void filledEllipses(PixelMap & map) {
    for (int i = 0; i < 5; ++i) {
        Pen pen{map, hue(i / 5.0)};
        G2DFigure::FillEllipse(centerX, centerY, 66 - i * 12, 10 + i * 9, Pen::Row, &pen);
    }
}

/// The middle is inside twice, and so outside.
void star(PixelMap & map) {
    GPoint corners[5];
    for (int i = 0; i < 5; ++i)
        corners[i] = around(i * 0.4 - 0.25, 50);
    Pen pen{map, orange};
    G2DFigure::FillPoly(5, corners, Pen::Row, &pen);
}

void cog(PixelMap & map) {
    std::vector<GPoint> corners;
    for (int i = 0; i < 48; ++i)
        corners.push_back(around((i + 0.5) / 48.0, i % 4 < 2 ? 48 : 38));
    Pen pen{map, green};
    G2DFigure::FillPoly(static_cast<int>(corners.size()), corners.data(), Pen::Row, &pen);
    pen.color = ground;
    G2DFigure::Disk(centerX, centerY, 14, Pen::Row, &pen);
}

void figureTriangles(PixelMap & map) {
    for (int i = 0; i < 4; ++i) {
        GPoint const three[] = {around(i / 4.0, 52), around((i + 0.7) / 4, 48),
                                around((i + 0.9) / 4, 8)};
        Pen pen{map, hue(i / 4.0)};
        G2DFigure::FillTriangle(three, Pen::Row, &pen);
    }
}

/// Maps in front of each other, each of one colour.
void fills(PixelMap & map) {
    for (int i = 0; i < 5; ++i) {
        PixelMap sheet(48, 36, AbstractImage::FormatRGB);
        sheet.full_fill(hue(i / 5.0));
        map.put_map(8 + i * 20, 8 + i * 14, sheet);
    }
}

/// The upper half is set, the lower half inverted on a grey ramp.
void pixels(PixelMap & map) {
    for (int y = 0; y < tileHeight; ++y)
        for (int x = 0; x < tileWidth; ++x) {
            auto const red = static_cast<unsigned char>(x * 255 / (tileWidth - 1));
            auto const grn = static_cast<unsigned char>(y * 255 / (tileHeight - 1));
            if (y < centerY) {
                map.set_pixel(x, y, RGB_Color(red, grn, 128));
            } else {
                map.set_pixel(x, y, RGB_Color(red, red, red));
                if ((x / 12 + y / 12) % 2)
                    map.xor_pixel(x, y, white);
            }
        }
}

} // namespace

RGB_Color hue(double turn) {
    return HSV_Color(static_cast<unsigned char>(turn * 256), 190, 240);
}

void Pen::Dot(long x, long y, void * data) {
    Pen const & pen = *static_cast<Pen *>(data);
    pen.map.set_pixel(static_cast<int>(x), static_cast<int>(y), pen.color);
}

void Pen::Row(long x0, long y, long x1, void * data) {
    Pen const & pen = *static_cast<Pen *>(data);
    pen.map.hline(static_cast<int>(x0), static_cast<int>(y), static_cast<int>(x1), pen.color,
                  plain);
}

std::span<Tile const> shapeTiles() {
    static constexpr Tile tiles[] = {{"line", drawn<fanOfLines>},
                                     {"hline", drawn<rows>},
                                     {"vline", drawn<columns>},
                                     {"bar", drawn<bars>},
                                     {"fill_triangle", drawn<fanOfTriangles>}};
    return tiles;
}

std::span<Tile const> xorTiles() {
    static constexpr Tile tiles[] = {{"line in XOR mode", inverted<fanOfLines>},
                                     {"hline in XOR mode", inverted<rows>},
                                     {"vline in XOR mode", inverted<columns>},
                                     {"bar in XOR mode", inverted<bars>},
                                     {"fill_triangle in XOR mode", inverted<fanOfTriangles>}};
    return tiles;
}

std::span<Tile const> figureTiles() {
    static constexpr Tile tiles[] = {{"set_pixel, and xor_pixel below", pixels},
                                     {"full_fill", fills},
                                     {"G2DFigure::Line", figureLines},
                                     {"G2DFigure::Circle", circles},
                                     {"G2DFigure::Ellipse", ellipses},
                                     {"G2DFigure::FillTriangle", figureTriangles},
                                     {"G2DFigure::Disk", disks},
                                     {"G2DFigure::FillEllipse", filledEllipses},
                                     {"G2DFigure::FillPoly, a star that crosses itself", star},
                                     {"G2DFigure::FillPoly, a cog", cog}};
    return tiles;
}

} // namespace Gallery
