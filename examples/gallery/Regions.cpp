// Regions: two disks as sets of pixels, what can be made of them, and drawing cut to a region.
#include "Tiles.h"

#include <vector>

namespace Gallery {

namespace {

constexpr long radius = 38;
constexpr GPoint leftCenter(52, 54), rightCenter(92, 54);

/// A region grows out of any figure that comes in spans.
GRegion disk(GPoint center, long r) {
    GRegion region;
    G2DFigure::Disk(
        center.x, center.y, r,
        [](long x0, long y, long x1, void * data) {
            *static_cast<GRegion *>(data) |= GRect(x0, y, x1 - x0 + 1, 1);
        },
        &region);
    return region;
}

GRegion leftDisk() {
    return disk(leftCenter, radius);
}
GRegion rightDisk() {
    return disk(rightCenter, radius);
}

void fill(PixelMap & map, GRegion const & region, RGB_Color color) {
    Pen pen{map, color};
    region.enumerate(
        [](long left, long top, long right, long bottom, void * data) {
            Pen const & each = *static_cast<Pen *>(data);
            each.map.bar(static_cast<int>(left), static_cast<int>(top), static_cast<int>(right),
                         static_cast<int>(bottom), each.color, 0);
            return true;
        },
        &pen);
}

/// The region, and the outlines of the disks that it was made of.
void show(PixelMap & map, GRegion const & region) {
    fill(map, region, orange);
    Pen pen{map, white};
    G2DFigure::Circle(leftCenter.x, leftCenter.y, radius, Pen::Dot, &pen);
    G2DFigure::Circle(rightCenter.x, rightCenter.y, radius, Pen::Dot, &pen);
}

void unions(PixelMap & map) {
    show(map, leftDisk() | rightDisk());
}
void intersections(PixelMap & map) {
    show(map, leftDisk() & rightDisk());
}
void differences(PixelMap & map) {
    show(map, leftDisk() - rightDisk());
}
void exclusiveOnes(PixelMap & map) {
    show(map, leftDisk() ^ rightDisk());
}

void moved(PixelMap & map) {
    GRegion ring = disk(GPoint(34, 34), 26) - disk(GPoint(34, 34), 16);
    for (int i = 0; i < 6; ++i) {
        fill(map, ring, hue(i / 6.0));
        ring += GPoint(15, 8);
    }
}

/// Two disks with a gap between them, and a hole in each.
GRegion goggles() {
    return (disk(GPoint(38, 54), 32) - disk(GPoint(38, 54), 10)) |
           (disk(GPoint(106, 54), 32) - disk(GPoint(106, 54), 10));
}

void clippedBoxes(PixelMap & map) {
    GRegion const region = goggles();
    fill(map, region, faint);
    for (int row = 0; row < 5; ++row) {
        long const top = 14 + row * 17;
        std::vector<long> boxes(4 * tileWidth * tileHeight); // no clipping leaves more
        long const count = region.clip_box(12, top, 131, top + 9, boxes.data());
        for (long i = 0; i < count; ++i) {
            long const * const box = &boxes[static_cast<std::size_t>(4 * i)];
            map.bar(static_cast<int>(box[0]), static_cast<int>(box[1]), static_cast<int>(box[2]),
                    static_cast<int>(box[3]), hue(row / 5.0), 0);
        }
    }
}

void clippedLines(PixelMap & map) {
    GRegion const region = goggles();
    for (int y = 0; y < tileHeight; y += 3) {
        map.hline(0, y, tileWidth - 1, faint, 0);
        long spans[tileWidth + 2];
        long const count = region.clip_hline(0, y, tileWidth - 1, spans);
        for (long i = 0; i < count; ++i)
            map.hline(static_cast<int>(spans[2 * i]), y, static_cast<int>(spans[2 * i + 1]),
                      hue(y / 108.0), 0);
    }
}

} // namespace

std::span<Tile const> regionTiles() {
    static constexpr Tile tiles[] = {{"GRegion, union", unions},
                                     {"GRegion, intersection", intersections},
                                     {"GRegion, difference", differences},
                                     {"GRegion, exclusive or", exclusiveOnes},
                                     {"GRegion, moved", moved},
                                     {"GRegion::clip_box", clippedBoxes},
                                     {"GRegion::clip_hline", clippedLines}};
    return tiles;
}

} // namespace Gallery
