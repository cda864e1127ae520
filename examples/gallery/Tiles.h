// The tiles of the gallery. Each draws one operation into a small map of its own, so that whatever
// it draws beyond the border is cut off by the map itself.
#pragma once

#include "ondrel.h"

#include <span>

namespace Gallery {

constexpr int tileWidth = 144;
constexpr int tileHeight = 108;
constexpr int centerX = tileWidth / 2;
constexpr int centerY = tileHeight / 2;

constexpr RGB_Color black(0, 0, 0);
constexpr RGB_Color white(255, 255, 255);
constexpr RGB_Color ground(28, 32, 42);
constexpr RGB_Color faint(84, 92, 110);
constexpr RGB_Color orange(240, 150, 50);
constexpr RGB_Color blue(70, 140, 240);
constexpr RGB_Color green(90, 190, 110);

struct Tile {
    char const * name;
    void (*draw)(PixelMap & map);
};

/// In the order in which they are shown.
std::span<Tile const> shapeTiles();
std::span<Tile const> xorTiles();
std::span<Tile const> figureTiles();
std::span<Tile const> regionTiles();
std::span<Tile const> mapTiles();

/// A bright colour; `turn` goes round the circle of hues once from 0 to 1.
RGB_Color hue(double turn);

/// What the callbacks of figures get as their data: where and how to draw.
struct Pen {
    PixelMap & map;
    RGB_Color color;

    static void Dot(long x, long y, void * data);
    static void Row(long x0, long y, long x1, void * data);
};

} // namespace Gallery
