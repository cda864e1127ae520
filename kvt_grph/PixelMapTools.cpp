// Resampling. The average of an area is separable: rows are summed up first, weighted in y, in 32
// bits per colour; these sums are then summed up in x, in 64. Both are exact, so the order does not
// matter.
#include "kvt_grph/PixelMapTools.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace {

/// The source pixels under one target pixel along one axis. All weights of it add up to the size of
/// the source.
struct Range {
    int first, last;                       // inclusive; the last one has weight above 0
    std::uint32_t firstWeight, lastWeight; // those between weigh as much as there are targets
};

std::vector<Range> rangesOf(int source, int target) {
    std::vector<Range> ranges(static_cast<std::size_t>(target));
    std::int64_t done = 0;
    for (Range & range : ranges) {
        range.first = static_cast<int>(done / target);
        range.firstWeight =
            static_cast<std::uint32_t>(std::min<std::int64_t>(target - done % target, source));
        done += source;
        range.last = static_cast<int>(done / target);
        range.lastWeight =
            static_cast<std::uint32_t>(std::min<std::int64_t>(done % target, source));
        if (range.last > range.first && range.lastWeight == 0) {
            --range.last;
            range.lastWeight = static_cast<std::uint32_t>(target);
        }
        if (range.last == range.first)
            range.lastWeight = range.firstWeight;
    }
    return ranges;
}

std::uint32_t weightOf(Range const & range, int index, std::uint32_t inside) {
    if (index == range.first)
        return range.firstWeight;
    return index == range.last ? range.lastWeight : inside;
}

void addRow(std::vector<std::uint32_t> & sums, unsigned char const * row, std::uint32_t weight) {
    for (std::size_t i = 0; i < sums.size(); ++i)
        sums[i] += row[i] * weight;
}

/// Divides by one number many times, by its reciprocal and a correction.
class Divider {
  public:
    explicit Divider(std::uint64_t divisor)
        : divisor_(divisor), reciprocal_(1.0 / static_cast<double>(divisor)) {}
    unsigned char operator()(std::uint64_t sum) const {
        auto quotient = static_cast<std::int64_t>(
            static_cast<double>(static_cast<std::int64_t>(sum)) * reciprocal_);
        auto const rest =
            static_cast<std::int64_t>(sum) - quotient * static_cast<std::int64_t>(divisor_);
        quotient += rest >= static_cast<std::int64_t>(divisor_);
        quotient -= rest < 0;
        return static_cast<unsigned char>(quotient);
    }

  private:
    std::uint64_t divisor_;
    double reciprocal_;
};

RGB_Color average(std::vector<std::uint32_t> const & sums, Range const & range,
                  std::uint32_t inside, Divider const & divide) {
    std::uint64_t total[3] = {};
    for (int i = range.first; i <= range.last; ++i) {
        std::uint32_t const * const sum = &sums[static_cast<std::size_t>(i) * 3];
        std::uint64_t const weight = weightOf(range, i, inside);
        for (int c = 0; c < 3; ++c)
            total[c] += sum[c] * weight;
    }
    RGB_Color color;
    color.blue = divide(total[0]);
    color.green = divide(total[1]);
    color.red = divide(total[2]);
    return color;
}

void resizeByArea(PixelMap const & source, PixelMap & target) {
    int const sourceWidth = source.get_width(), sourceHeight = source.get_height();
    int const width = target.get_width(), height = target.get_height();
    std::vector<Range> const columns = rangesOf(sourceWidth, width);
    std::vector<Range> const rows = rangesOf(sourceHeight, height);
    auto const insideX = static_cast<std::uint32_t>(std::min(sourceWidth, width));
    auto const insideY = static_cast<std::uint32_t>(std::min(sourceHeight, height));
    Divider const divide(std::uint64_t(sourceWidth) * std::uint64_t(sourceHeight));

    std::vector<RGB_Color> line(static_cast<std::size_t>(sourceWidth));
    std::vector<RGB_Color> out(static_cast<std::size_t>(width));
    std::vector<std::uint32_t> sums(static_cast<std::size_t>(sourceWidth) * 3);
    int fetched = -1; // the row that is in `line`
    for (int y = 0; y < height; ++y) {
        Range const & range = rows[static_cast<std::size_t>(y)];
        std::fill(sums.begin(), sums.end(), 0u);
        for (int from = range.first; from <= range.last; ++from) {
            if (from != fetched)
                source.get_hline(line.data(), 0, fetched = from, sourceWidth);
            addRow(sums, &line[0].blue, weightOf(range, from, insideY));
        }
        for (int x = 0; x < width; ++x)
            out[static_cast<std::size_t>(x)] =
                average(sums, columns[static_cast<std::size_t>(x)], insideX, divide);
        target.put_hline(out.data(), 0, y, width);
    }
    target.image_modified();
}

template <std::size_t bytes>
void pickPixels(unsigned char const * from, unsigned char * to, int count, std::uint64_t step) {
    std::uint64_t x = 0;
    for (int i = 0; i < count; ++i, x += step)
        std::memcpy(to + static_cast<std::size_t>(i) * bytes, from + (x >> 16) * bytes, bytes);
}

void resizeByPicking(PixelMap const & source, PixelMap & target) {
    std::uint64_t const stepX =
        (std::uint64_t(source.get_width()) << 16) / std::uint64_t(target.get_width());
    std::uint64_t const stepY =
        (std::uint64_t(source.get_height()) << 16) / std::uint64_t(target.get_height());
    std::uint64_t y = 0;
    for (int i = 0; i < target.get_height(); ++i, y += stepY) {
        unsigned char const * const from = source.get_pixels_address(static_cast<int>(y >> 16));
        unsigned char * const to = target.get_pixels_address(i);
        switch (AbstractImage::layoutOf(target.get_format())) {
            case AbstractImage::FormatIndex:
                pickPixels<1>(from, to, target.get_width(), stepX);
                break;
            case AbstractImage::FormatRGB:
                pickPixels<3>(from, to, target.get_width(), stepX);
                break;
            default:
                pickPixels<4>(from, to, target.get_width(), stepX);
        }
    }
}

} // namespace

PixelMap * PixelMapTools::Resize(PixelMap const & source, long width, long height, bool fast) {
    auto target = std::make_unique<PixelMap>(static_cast<int>(width), static_cast<int>(height),
                                             source.get_format(), source.get_palette());
    Resize(source, *target, fast);
    return target.release();
}

void PixelMapTools::Resize(PixelMap const & source, PixelMap & target, bool fast) {
    if (source.get_width() == target.get_width() && source.get_height() == target.get_height()) {
        target.copy(source);
        return;
    }
    if (target.get_width() == 0 || source.get_width() == 0)
        return;
    if (fast && source.get_format() == target.get_format())
        resizeByPicking(source, target);
    else
        resizeByArea(source, target);
}

GFColor PixelMapTools::BilinearApproximation(PixelMap const & map, float u, float v) {
    // What lies far outside, or is no number, is black as all that is outside.
    auto const place = [](float position, int size) {
        float const at = position * static_cast<float>(size - 1);
        return at > -2 ? std::min(at, 2e9f) : -2;
    };
    float const x = place(u, map.get_width());
    float const y = place(v, map.get_height());
    int const x0 = static_cast<int>(x), y0 = static_cast<int>(y);
    int const x1 = x0 + 1 == map.get_width() ? 0 : x0 + 1;
    int const y1 = y0 + 1 == map.get_height() ? 0 : y0 + 1;
    float const fx = x - static_cast<float>(x0), fy = y - static_cast<float>(y0);
    auto const at = [&](int column, int row) { return GFColor(map.get_pixel(column, row)); };
    return at(x0, y0) * ((1 - fx) * (1 - fy)) + at(x1, y0) * (fx * (1 - fy)) +
           at(x0, y1) * ((1 - fx) * fy) + at(x1, y1) * (fx * fy);
}

PixelMap * PixelMapTools::ConvertToMask(PixelMap const & map) {
    auto mask = std::make_unique<PixelMap>(map);
    int const width = mask->get_width();
    std::vector<RGB_Color> line(static_cast<std::size_t>(width));
    for (int y = 0; y < mask->get_height(); ++y) {
        mask->get_hline(line.data(), 0, y, width);
        for (int x = 0; x < width; ++x)
            if (!!line[static_cast<std::size_t>(x)])
                mask->set_pixel(x, y, RGB_Color(255, 255, 255));
    }
    return mask.release();
}
