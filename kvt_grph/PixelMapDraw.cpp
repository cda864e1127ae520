// Drawing in a pixel map. Shapes are first cut to the map, in 64 bits, so that no coordinate is too
// far away and the time is that of the visible part; then only its pixels are walked.
#include "kvt_grph/PixelMap.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

using MapFormat = AbstractImage::MapFormat;

/// From `first` on; nothing when the count is below 1.
struct Span {
    int first, count;

    /// The numbers between two ends, in either order, that are from 0 up to `size`.
    Span(std::int64_t a, std::int64_t b, int size) {
        std::int64_t const low = std::max<std::int64_t>(std::min(a, b), 0);
        std::int64_t const high = std::min<std::int64_t>(std::max(a, b), size - 1);
        first = low <= high ? static_cast<int>(low) : 0;
        count = low <= high ? static_cast<int>(high - low) + 1 : 0;
    }
    int end() const { return first + count; }
};

/// A few pixels are stored one by one and then copied, twice as many each time: quicker than any
/// loop over triples, and at the speed of memory. Beyond what the nearest cache holds it copies
/// the same piece again and again.
template <class Pixel>
void fillPixels(unsigned char * bytes, std::size_t count, Pixel color) {
    constexpr std::size_t piece = 4096 * sizeof(Pixel);
    std::size_t const singly = std::min<std::size_t>(count, 16), total = count * sizeof(Pixel);
    std::fill_n(reinterpret_cast<Pixel *>(bytes), singly, color);
    for (std::size_t done = singly * sizeof(Pixel); done < total;) {
        std::size_t const more = std::min({done, piece, total - done});
        std::memcpy(bytes + done, bytes, more);
        done += more;
    }
}

bool isGrey(RGB_Color color) {
    return color.red == color.green && color.green == color.blue;
}

/// A colour as it goes into one map: what is the same for all pixels is found out once.
struct Ink {
    MapFormat layout;
    bool combines;
    RGB_Color color;
    unsigned char index = 0;
    bool dry = false; // there is no index for the colour

    Ink(PixelMap const & map, RGB_Color color_, unsigned char xorMode)
        : layout(AbstractImage::layoutOf(map.get_format())), combines(xorMode != 0), color(color_) {
        if (layout != AbstractImage::FormatIndex)
            return;
        if (GPalette const * const palette = map.get_palette())
            index = palette->get_index(color);
        else
            dry = true;
    }
    /// For runs: to combine indices they take that of the program palette.
    static Ink forRuns(PixelMap const & map, RGB_Color color, unsigned char xorMode) {
        Ink ink(map, color, xorMode);
        if (ink.layout == AbstractImage::FormatIndex && xorMode) {
            ink.index = color.index();
            ink.dry = false;
        }
        return ink;
    }

    void put(PixelMap & map, int x, int y) const {
        switch (layout) {
            case AbstractImage::FormatIndex:
                combines ? map.xor_index_direct(x, y, index) : map.set_index_direct(x, y, index);
                break;
            case AbstractImage::FormatRGB:
                combines ? map.xor_rgb_direct(x, y, color) : map.set_rgb_direct(x, y, color);
                break;
            default:
                combines ? map.xor_rgba_direct(x, y, color) : map.set_rgba_direct(x, y, color);
        }
    }
    void putRun(unsigned char * row, int x, int count) const {
        if (combines)
            combineRun(row + std::ptrdiff_t(x) * AbstractImage::bytesPerPixel(layout), count);
        else
            fillRun(row + std::ptrdiff_t(x) * AbstractImage::bytesPerPixel(layout), count);
    }

  private:
    void fillRun(unsigned char * at, int count) const {
        if (layout == AbstractImage::FormatIndex)
            std::memset(at, index, static_cast<std::size_t>(count));
        else if (layout == AbstractImage::FormatRGBAlpha)
            fillPixels(at, static_cast<std::size_t>(count), RGBA_Color(color));
        else if (isGrey(color))
            std::memset(at, color.red, static_cast<std::size_t>(count) * 3);
        else
            fillPixels(at, static_cast<std::size_t>(count), color);
    }
    void combineRun(unsigned char * at, int count) const {
        if (layout == AbstractImage::FormatIndex)
            for (int i = 0; i < count; ++i)
                at[i] ^= index;
        else if (layout == AbstractImage::FormatRGB)
            for (int i = 0; i < count; ++i)
                reinterpret_cast<RGB_Color *>(at)[i] ^= color;
        else
            for (int i = 0; i < count; ++i)
                reinterpret_cast<RGBA_Color *>(at)[i] ^= color;
    }
};

/// How far a line has gone along its shorter axis after so many steps along the longer one.
class Slope {
  public:
    Slope(std::int64_t minor, std::int64_t major) : minor_(minor), major_(major) {}

    std::int64_t gone() const { return gone_; }
    void step() {
        error_ += 2 * minor_;
        if (major_ < error_) {
            error_ -= 2 * major_;
            ++gone_;
        }
    }
    /// As many steps at once, from the start. `steps` times `minor` may need more than 64 bits, so
    /// that it is divided by `major` while it is multiplied, bit by bit.
    void start(std::int64_t steps) {
        gone_ = error_ = 0;
        for (int bit = 40; bit >= 0; --bit) {
            gone_ *= 2;
            error_ *= 2;
            carry();
            if (steps >> bit & 1) {
                error_ += 2 * minor_;
                carry();
            }
        }
        if (major_ < error_) {
            error_ -= 2 * major_;
            ++gone_;
        }
    }

  private:
    void carry() {
        if (error_ >= 2 * major_) {
            error_ -= 2 * major_;
            ++gone_;
        }
    }

    std::int64_t minor_, major_; // 0 through major, and above 0
    std::int64_t gone_ = 0;
    std::int64_t error_ = 0;
};

struct Corner {
    std::int64_t x, y;
};

/// The column of a side of a triangle in each row.
class Side {
  public:
    /// `from` is not below `to`. Of a side without height only the start counts.
    Side(Corner from, Corner to)
        : from_(from), height_(std::max<std::int64_t>(to.y - from.y, 1)),
          whole_(floorOf(to.y == from.y ? 0 : to.x - from.x, height_)),
          slope_(to.y == from.y ? 0 : to.x - from.x - whole_ * height_, height_) {}

    void start(std::int64_t y) {
        rows_ = y - from_.y;
        slope_.start(rows_);
    }
    void step() {
        ++rows_;
        slope_.step();
    }
    std::int64_t x() const { return from_.x + whole_ * rows_ + slope_.gone(); }

  private:
    static std::int64_t floorOf(std::int64_t n, std::int64_t by) {
        return n / by - (n % by < 0 ? 1 : 0);
    }

    Corner from_;
    std::int64_t height_;
    std::int64_t whole_; // columns per row, and the rest in the slope
    std::int64_t rows_ = 0;
    Slope slope_;
};

void fillBetween(PixelMap & map, Ink const & ink, Side one, Side other, Span const & rows) {
    if (rows.count < 1)
        return;
    one.start(rows.first);
    other.start(rows.first);
    for (int y = rows.first; y < rows.end(); ++y) {
        Span const run(one.x(), other.x(), map.get_width());
        if (run.count > 0)
            ink.putRun(map.get_pixels_address(y), run.first, run.count);
        one.step();
        other.step();
    }
}

} // namespace

void PixelMap::line(int x0, int y0, int x1, int y1, RGB_Color color, unsigned char xorMode) {
    if (y0 == y1) {
        hline(x0, y0, x1, color, xorMode);
        return;
    }
    if (x0 == x1) {
        vline(x0, y0, y1, color, xorMode);
        return;
    }
    if (x1 < x0) {
        std::swap(x0, x1);
        std::swap(y0, y1);
    }
    Ink const ink(*this, color, xorMode);
    if (ink.dry)
        return;
    std::int64_t const dx = std::int64_t(x1) - x0, dy = std::abs(std::int64_t(y1) - y0);
    int const down = y0 < y1 ? 1 : -1;
    if (dy <= dx) {
        Span const columns(x0, x1, width_);
        if (columns.count < 1)
            return;
        Slope slope(dy, dx);
        slope.start(columns.first - std::int64_t(x0));
        for (int x = columns.first; x < columns.end(); ++x, slope.step())
            if (std::int64_t const y = y0 + down * slope.gone(); y >= 0 && y < height_)
                ink.put(*this, x, static_cast<int>(y));
    } else {
        Span const rows(y0, y1, height_);
        if (rows.count < 1)
            return;
        Slope slope(dx, dy);
        int const start = down > 0 ? rows.first : rows.end() - 1;
        slope.start(std::abs(start - std::int64_t(y0)));
        for (int i = 0; i < rows.count; ++i, slope.step())
            if (std::int64_t const x = x0 + slope.gone(); x >= 0 && x < width_)
                ink.put(*this, static_cast<int>(x), start + down * i);
    }
    image_modified();
}

void PixelMap::hline(int x0, int y, int x1, RGB_Color color, unsigned char xorMode) {
    bar(x0, y, x1, y, color, xorMode);
}

void PixelMap::vline(int x, int y0, int y1, RGB_Color color, unsigned char xorMode) {
    Ink const ink(*this, color, xorMode);
    Span const rows(y0, y1, height_);
    if (ink.dry || x < 0 || x >= width_)
        return;
    for (int y = rows.first; y < rows.end(); ++y)
        ink.put(*this, x, y);
    image_modified();
}

void PixelMap::bar(int x0, int y0, int x1, int y1, RGB_Color color, unsigned char xorMode) {
    Span const columns(x0, x1, width_), rows(y0, y1, height_);
    Ink const ink = Ink::forRuns(*this, color, xorMode);
    if (ink.dry || columns.count < 1)
        return;
    for (int y = rows.first; y < rows.end(); ++y)
        ink.putRun(rows_[static_cast<std::size_t>(y)], columns.first, columns.count);
    image_modified();
}

void PixelMap::fill_triangle(int x0, int y0, int x1, int y1, int x2, int y2, RGB_Color color,
                             unsigned char xorMode) {
    Corner corners[3] = {{x0, y0}, {x1, y1}, {x2, y2}};
    std::stable_sort(corners, corners + 3, [](Corner a, Corner b) { return a.y < b.y; });
    auto const & [top, middle, bottom] = corners;
    if (top.y == bottom.y) {
        hline(std::min({x0, x1, x2}), y0, std::max({x0, x1, x2}), color, xorMode);
        return;
    }
    Ink const ink = Ink::forRuns(*this, color, xorMode);
    if (ink.dry)
        return;
    Side const whole(top, bottom);
    // The row of the middle corner belongs to the lower part alone.
    if (top.y < middle.y)
        fillBetween(*this, ink, whole, Side(top, middle), Span(top.y, middle.y - 1, height_));
    fillBetween(*this, ink, whole, Side(middle, bottom), Span(middle.y, bottom.y, height_));
    image_modified();
}

void PixelMap::full_fill(RGB_Color color) {
    auto const size = static_cast<std::size_t>(size_);
    if (size == 0)
        return;
    if (layout() == FormatRGBAlpha) {
        fillPixels(pixels_, size / 4, RGBA_Color(color.red, color.green, color.blue, 255));
    } else if (layout() == FormatIndex) {
        if (palette_)
            std::memset(pixels_, palette_->get_index(color), size);
    } else if (isGrey(color)) {
        std::memset(pixels_, color.red, size);
    } else {
        for (int y = 0; y < height_; ++y)
            fillPixels(rows_[static_cast<std::size_t>(y)], static_cast<std::size_t>(width_), color);
    }
    image_modified();
}
