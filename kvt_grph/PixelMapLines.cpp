// Lines of pixels and whole maps, moved between layouts.
#include "kvt_grph/PixelMap.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <vector>

namespace {

using MapFormat = AbstractImage::MapFormat;

/// The part of `count` pixels from column `x` on that is in a map.
struct Run {
    int x, skipped, count; // those in front of it are skipped

    Run(PixelMap const & map, int x_, int y, int wanted)
        : x(std::max(x_, 0)), skipped(0), count(0) {
        std::int64_t const end = std::min<std::int64_t>(std::int64_t(x_) + wanted, map.get_width());
        if (y < 0 || y >= map.get_height() || end <= x)
            return;
        skipped = static_cast<int>(x - std::int64_t(x_));
        count = static_cast<int>(end - x);
    }
};

template <class Pixel>
Pixel * pixelsAt(PixelMap & map, int x, int y) {
    return reinterpret_cast<Pixel *>(map.get_pixels_address(y)) + x;
}

template <class Pixel>
Pixel const * pixelsAt(PixelMap const & map, int x, int y) {
    return reinterpret_cast<Pixel const *>(map.get_pixels_address(y)) + x;
}

/// Nothing is left out.
struct KeepAll {
    template <class Pixel>
    bool operator()(Pixel const &) const {
        return true;
    }
};

template <class Key>
struct KeepOthers {
    Key key;
    template <class Pixel>
    bool operator()(Pixel const & pixel) const {
        return !(Key(pixel) == key);
    }
};

/// Leaves out the indices whose slot has the key colour.
struct KeepOtherSlots {
    std::array<bool, 256> kept;

    KeepOtherSlots(GPalette const * palette, RGB_Color key) {
        for (std::size_t i = 0; i < kept.size(); ++i)
            kept[i] = !((palette ? (*palette)[static_cast<unsigned char>(i)] : RGB_Color()) == key);
    }
    bool operator()(unsigned char index) const { return kept[index]; }
};

template <class Target, class Source, class Keep, class Convert>
void transfer(Target * target, Source const * source, int count, Keep const & keep,
              Convert convert) {
    for (int i = 0; i < count; ++i)
        if (keep(source[i]))
            target[i] = convert(source[i]);
}

/// The same layout on both sides. The source may be a part of the target's own row.
template <class Pixel, class Keep>
void transfer(Pixel * target, Pixel const * source, int count, Keep const & keep) {
    if constexpr (std::is_same_v<Keep, KeepAll>)
        std::memmove(target, source, static_cast<std::size_t>(count) * sizeof(Pixel));
    else
        transfer(target, source, count, keep, [](Pixel const & pixel) { return pixel; });
}

template <class Keep>
void putRun(PixelMap & map, unsigned char const * source, int x, int y, int count,
            Keep const & keep) {
    Run const run(map, x, y, count);
    if (run.count > 0 && AbstractImage::layoutOf(map.get_format()) == AbstractImage::FormatIndex)
        transfer(pixelsAt<unsigned char>(map, run.x, y), source + run.skipped, run.count, keep);
}

template <class Color, class Keep>
void putRun(PixelMap & map, Color const * source, int x, int y, int count, Keep const & keep) {
    using Other = std::conditional_t<std::is_same_v<Color, RGB_Color>, RGBA_Color, RGB_Color>;
    constexpr MapFormat own =
        std::is_same_v<Color, RGB_Color> ? AbstractImage::FormatRGB : AbstractImage::FormatRGBAlpha;
    Run const run(map, x, y, count);
    if (run.count < 1)
        return;
    source += run.skipped;
    MapFormat const layout = AbstractImage::layoutOf(map.get_format());
    if (layout == own) {
        transfer(pixelsAt<Color>(map, run.x, y), source, run.count, keep);
    } else if (layout != AbstractImage::FormatIndex) {
        transfer(pixelsAt<Other>(map, run.x, y), source, run.count, keep,
                 [](Color const & color) { return Other(color); });
    } else if (GPalette const * const palette = map.get_palette()) {
        transfer(pixelsAt<unsigned char>(map, run.x, y), source, run.count, keep,
                 [palette](Color const & color) { return palette->get_index(RGB_Color(color)); });
    }
}

/// Hands the visible part of a line to `get`; what is outside of the map becomes 0.
template <class Pixel, class Get>
void getRun(PixelMap const & map, Pixel * pixels, int x, int y, int count, Get get) {
    if (count < 1)
        return;
    Run const run(map, x, y, count);
    std::fill_n(pixels, run.skipped, Pixel());
    if (run.count > 0)
        get(pixels + run.skipped, run);
    std::fill(pixels + run.skipped + run.count, pixels + count, Pixel());
}

template <class Color>
void getColors(PixelMap const & map, Color * pixels, int x, int y, int count) {
    using Other = std::conditional_t<std::is_same_v<Color, RGB_Color>, RGBA_Color, RGB_Color>;
    constexpr MapFormat own =
        std::is_same_v<Color, RGB_Color> ? AbstractImage::FormatRGB : AbstractImage::FormatRGBAlpha;
    getRun(map, pixels, x, y, count, [&](Color * target, Run const & run) {
        MapFormat const layout = AbstractImage::layoutOf(map.get_format());
        GPalette const * const palette = map.get_palette();
        if (layout == own)
            transfer(target, pixelsAt<Color>(map, run.x, y), run.count, KeepAll());
        else if (layout != AbstractImage::FormatIndex)
            transfer(target, pixelsAt<Other>(map, run.x, y), run.count, KeepAll(),
                     [](Other const & color) { return Color(color); });
        else if (palette)
            transfer(target, pixelsAt<unsigned char>(map, run.x, y), run.count, KeepAll(),
                     [palette](unsigned char index) { return Color((*palette)[index]); });
        else
            std::fill_n(target, run.count, Color());
    });
}

/// The numbers of `start` through `start + length` that are from 0 up to `size`.
struct Cut {
    long first, count;

    Cut(long start, long length, long size) : first(std::max(start, 0L)), count(0) {
        if (length < 1 || first >= size)
            return;
        long const end = start > LONG_MAX - length ? LONG_MAX : start + length;
        count = std::max(std::min(end, size) - first, 0L);
    }
};

/// A part of a map is put row by row into another one, or into itself.
template <class Pixel, class Keep>
void putRows(PixelMap & map, int x, int y, PixelMap const & source, GRect const & part,
             Keep const & keep) {
    Cut const columns(part.x, part.w, source.get_width()),
        rows(part.y, part.h, source.get_height());
    if (columns.count < 1 || rows.count < 1)
        return;
    bool const itself = &map == &source;
    std::vector<Pixel> line(static_cast<std::size_t>(itself ? columns.count : 0));
    auto const count = static_cast<int>(columns.count);
    // Rows that come to lie further down start with the last one, so that none is written over
    // before it was read.
    bool const upwards = y > rows.first;
    for (long i = 0; i < rows.count; ++i) {
        long const row = upwards ? rows.count - 1 - i : i;
        std::int64_t const to = std::int64_t(y) + row;
        if (to < 0 || to >= map.get_height())
            continue;
        Pixel const * pixels = pixelsAt<Pixel>(source, static_cast<int>(columns.first),
                                               static_cast<int>(rows.first + row));
        if (itself)
            pixels = static_cast<Pixel const *>(
                std::memcpy(line.data(), pixels, line.size() * sizeof(Pixel)));
        putRun(map, pixels, x, static_cast<int>(to), count, keep);
    }
    map.image_modified();
}

} // namespace

void PixelMap::get_hline(unsigned char * pixels, int x, int y, int count) const {
    getRun(*this, pixels, x, y, count, [&](unsigned char * target, Run const & run) {
        if (layout() == FormatIndex)
            std::memcpy(target, pixelsAt<unsigned char>(*this, run.x, y),
                        static_cast<std::size_t>(run.count));
        else
            std::memset(target, 0, static_cast<std::size_t>(run.count));
    });
}

void PixelMap::get_hline(RGB_Color * pixels, int x, int y, int count) const {
    getColors(*this, pixels, x, y, count);
}

void PixelMap::get_hline(RGBA_Color * pixels, int x, int y, int count) const {
    getColors(*this, pixels, x, y, count);
}

void PixelMap::put_hline(unsigned char const * pixels, int x, int y, int count) {
    putRun(*this, pixels, x, y, count, KeepAll());
}

void PixelMap::put_hline(RGB_Color const * pixels, int x, int y, int count) {
    putRun(*this, pixels, x, y, count, KeepAll());
}

void PixelMap::put_hline(RGBA_Color const * pixels, int x, int y, int count) {
    putRun(*this, pixels, x, y, count, KeepAll());
}

void PixelMap::put_hline(unsigned char const * pixels, int x, int y, int count, unsigned char key) {
    putRun(*this, pixels, x, y, count, KeepOthers<unsigned char>{key});
}

void PixelMap::put_hline(RGB_Color const * pixels, int x, int y, int count, RGB_Color key) {
    putRun(*this, pixels, x, y, count, KeepOthers<RGB_Color>{key});
}

void PixelMap::put_hline(RGBA_Color const * pixels, int x, int y, int count, RGB_Color key) {
    putRun(*this, pixels, x, y, count, KeepOthers<RGB_Color>{key});
}

void PixelMap::put_map(int x, int y, PixelMap const & source) {
    put_map(x, y, source, GRect(0, 0, source.width_, source.height_));
}

void PixelMap::put_map(int x, int y, PixelMap const & source, RGB_Color key) {
    put_map(x, y, source, GRect(0, 0, source.width_, source.height_), key);
}

void PixelMap::put_map(int x, int y, PixelMap const & source, GRect const & part) {
    if (source.layout() == FormatIndex)
        putRows<unsigned char>(*this, x, y, source, part, KeepAll());
    else if (source.layout() == FormatRGB)
        putRows<RGB_Color>(*this, x, y, source, part, KeepAll());
    else
        putRows<RGBA_Color>(*this, x, y, source, part, KeepAll());
}

void PixelMap::put_map(int x, int y, PixelMap const & source, GRect const & part, RGB_Color key) {
    if (source.layout() == FormatIndex)
        putRows<unsigned char>(*this, x, y, source, part,
                               KeepOtherSlots(source.get_palette(), key));
    else if (source.layout() == FormatRGB)
        putRows<RGB_Color>(*this, x, y, source, part, KeepOthers<RGB_Color>{key});
    else
        putRows<RGBA_Color>(*this, x, y, source, part, KeepOthers<RGB_Color>{key});
}

void PixelMap::set_color_line(int x, int y, int count, unsigned char * pixels) {
    Run const run(*this, x, y, count);
    if (run.count < 1)
        return;
    auto const size = static_cast<std::size_t>(bytesPerPixel(format_));
    std::memcpy(get_pixels_address(y) + std::size_t(run.x) * size,
                pixels + std::size_t(run.skipped) * size, std::size_t(run.count) * size);
}

void PixelMap::get_color_line(int x, int y, int count, unsigned char * pixels) const {
    Run const run(*this, x, y, count);
    if (run.count < 1)
        return;
    auto const size = static_cast<std::size_t>(bytesPerPixel(format_));
    std::memcpy(pixels + std::size_t(run.skipped) * size,
                get_pixels_address(y) + std::size_t(run.x) * size, std::size_t(run.count) * size);
}
