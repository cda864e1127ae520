// The conversions of lines, and the windows.
#include "kvt_grph/ImageHelpers.h"

#include "kvt_grph/Colors.h"
#include "kvt_grph/GPalette.h"
#include "kvt_grph/PixelMap.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <typeinfo>

namespace {

constexpr std::size_t rgbSize = sizeof(RGB_Color);
constexpr std::size_t rgbaSize = sizeof(RGBA_Color);

/// A caller may ask for any window; what counts is an `int` in the end.
long bounded(long value, int least = 0) {
    return std::clamp<long>(value, least, INT_MAX);
}

/// What of a run of pixels lies in a window of `size` pixels that begins at `origin`.
struct RunInWindow {
    RunInWindow(int column, int row, int length, GPoint const & origin, GPoint const & size) {
        std::int64_t const left = std::int64_t{column} - origin.x;
        std::int64_t const top = std::int64_t{row} - origin.y;
        std::int64_t const first = std::max<std::int64_t>(left, 0);
        std::int64_t const last = std::min<std::int64_t>(left + length, size.x);
        if (top < 0 || top >= size.y || first >= last)
            return;
        x = static_cast<int>(first);
        y = static_cast<int>(top);
        count = static_cast<int>(last - first);
        skipped = static_cast<std::size_t>(first - left);
    }
    int x = 0, y = 0, count = 0;
    std::size_t skipped = 0;
};

/// The index of each colour: neighbours are often the same one.
template <class Color>
void findIndices(int count, unsigned char const * source, unsigned char * target,
                 GPalette const * palette) {
    if (!palette) {
        std::memset(target, 0, static_cast<std::size_t>(count));
        return;
    }
    RGB_Color last;
    unsigned char index = palette->get_index(last);
    for (int i = 0; i < count; ++i, source += sizeof(Color)) {
        RGB_Color color;
        std::memcpy(&color, source, rgbSize);
        if (!(color == last)) {
            last = color;
            index = palette->get_index(color);
        }
        target[i] = index;
    }
}

} // namespace

ImageDecodingHelper::ImageDecodingHelper(int width, int height, GPoint origin, GPoint size)
    : origin_(bounded(origin.x, INT_MIN), bounded(origin.y, INT_MIN)),
      size_(bounded(size.x), bounded(size.y)) {
    if (size.x < 0 || size.y < 0) {
        origin_ = GPoint(0, 0);
        size_ = GPoint(bounded(width), bounded(height));
    }
}

ImageDecodingHelper::~ImageDecodingHelper() = default;

void ImageDecodingHelper::prepare_convert(MapFormat sourceFormat, GPalette const * sourcePalette,
                                          MapFormat targetFormat, GPalette const * targetPalette) {
    sourceLayout_ = AbstractImage::layoutOf(sourceFormat);
    targetLayout_ = AbstractImage::layoutOf(targetFormat);
    using Helper = ImageDecodingHelper;
    static constexpr Conversion conversions[4][4] = {
        {},
        {nullptr, nullptr, &Helper::convert_Index_to_RGB, &Helper::convert_Index_to_RGBAlpha},
        {nullptr, &Helper::convert_RGB_to_Index, nullptr, &Helper::convert_RGB_to_RGBAlpha},
        {nullptr, &Helper::convert_RGBAlpha_to_Index, &Helper::convert_RGBAlpha_to_RGB, nullptr}};
    convert_ = conversions[sourceLayout_][targetLayout_];
    palette_ = sourceLayout_ == AbstractImage::FormatIndex ? sourcePalette : targetPalette;
    if (convert_ && sourceLayout_ == AbstractImage::FormatIndex) {
        colors_ = std::make_unique<RGBA_Color[]>(256);
        for (int i = 0; palette_ && i < 256; ++i)
            colors_[static_cast<std::size_t>(i)] = (*palette_)[static_cast<unsigned char>(i)];
    }
    // Indices without colours on one side mean nothing on the other but themselves.
    if (sourceLayout_ == AbstractImage::FormatIndex && targetLayout_ == sourceLayout_ &&
        sourcePalette && targetPalette && !GPalette::CompareRGB(sourcePalette, targetPalette)) {
        decodeTable_ = std::make_unique<unsigned char[]>(256);
        GPalette::ConstructDecodeTable(targetPalette, sourcePalette, decodeTable_.get());
        convert_ = &Helper::convert_Index_to_Index;
    }
}

void ImageDecodingHelper::convert_RGB_to_Index(int count, unsigned char const * source,
                                               unsigned char * target) const {
    findIndices<RGB_Color>(count, source, target, palette_);
}

void ImageDecodingHelper::convert_RGBAlpha_to_Index(int count, unsigned char const * source,
                                                    unsigned char * target) const {
    findIndices<RGBA_Color>(count, source, target, palette_);
}

// Three bytes are moved as four wherever the fourth is rewritten by the next pixel: one move in
// place of two.

void ImageDecodingHelper::convert_Index_to_RGB(int count, unsigned char const * source,
                                               unsigned char * target) const {
    for (int i = 0; i < count - 1; ++i, target += rgbSize)
        std::memcpy(target, &colors_[source[i]], rgbaSize);
    if (count > 0)
        std::memcpy(target, &colors_[source[count - 1]], rgbSize);
}

void ImageDecodingHelper::convert_RGBAlpha_to_RGB(int count, unsigned char const * source,
                                                  unsigned char * target) const {
    for (int i = 0; i < count - 1; ++i, source += rgbaSize, target += rgbSize)
        std::memcpy(target, source, rgbaSize);
    if (count > 0)
        std::memcpy(target, source, rgbSize);
}

void ImageDecodingHelper::convert_Index_to_RGBAlpha(int count, unsigned char const * source,
                                                    unsigned char * target) const {
    for (int i = 0; i < count; ++i, target += rgbaSize)
        std::memcpy(target, &colors_[source[i]], rgbaSize);
}

void ImageDecodingHelper::convert_RGB_to_RGBAlpha(int count, unsigned char const * source,
                                                  unsigned char * target) const {
    for (int i = 0; i < count; ++i, source += rgbSize, target += rgbaSize) {
        std::memcpy(target, source, i < count - 1 ? rgbaSize : rgbSize);
        target[rgbSize] = 0;
    }
}

void ImageDecodingHelper::convert_Index_to_Index(int count, unsigned char const * source,
                                                 unsigned char * target) const {
    for (int i = 0; i < count; ++i)
        target[i] = decodeTable_[source[i]];
}

/// A class derived from PixelMap may do with lines what it likes, so it has to be asked for them.
PixelMap const * ImageDecodingHelper::plainMap(AbstractImage const & image, int width) const {
    if (convert_ || sourceLayout_ != targetLayout_ || typeid(image) != typeid(PixelMap))
        return nullptr;
    auto const & map = static_cast<PixelMap const &>(image);
    bool const whole = origin_ == GPoint(0, 0) && size_.x == width && map.get_width() == width &&
                       size_.y == map.get_height();
    return whole ? &map : nullptr;
}

unsigned char * ImageDecodingHelper::lineBuffer(int count, MapFormat layout) {
    if (count > lineCapacity_) {
        auto const size = static_cast<std::size_t>(AbstractImage::bytesPerPixel(layout));
        lineBuffer_ = std::make_unique<unsigned char[]>(static_cast<std::size_t>(count) * size);
        lineCapacity_ = count;
    }
    return lineBuffer_.get();
}

// Reading.

ImageReadHelper::ImageReadHelper(AbstractImage & image, MapFormat fileFormat, int width, int height,
                                 GPalette const * palette)
    : ImageReadHelper(image, fileFormat, width, height, palette, GPoint(0, 0), GPoint(-1, -1)) {}

ImageReadHelper::ImageReadHelper(AbstractImage & image, MapFormat fileFormat, int width, int height,
                                 GPalette const * palette, GPoint origin, GPoint size)
    : ImageDecodingHelper(width, height, origin, size), image_(image) {
    init(fileFormat, palette);
}

ImageReadHelper::~ImageReadHelper() {
    image_.stop_read();
}

void ImageReadHelper::init(MapFormat fileFormat, GPalette const * palette) {
    image_.start_read(fileFormat, static_cast<int>(size_.x), static_cast<int>(size_.y), palette);
    prepare_convert(fileFormat, palette, image_.get_format(), image_.get_palette());
}

bool ImageReadHelper::ready() const {
    return size_.x < 1 || size_.y < 1 || targetLayout_ == AbstractImage::FormatNone ||
           image_.has_room();
}

void ImageReadHelper::set_line(int x, int y, int count, unsigned char * pixels) {
    RunInWindow const run(x, y, count, origin_, size_);
    if (run.count < 1)
        return;
    pixels += run.skipped * static_cast<std::size_t>(AbstractImage::bytesPerPixel(sourceLayout_));
    if (convert_) {
        unsigned char * const line = lineBuffer(run.count, targetLayout_);
        (this->*convert_)(run.count, pixels, line);
        pixels = line;
    }
    image_.set_color_line(run.x, run.y, run.count, pixels);
}

unsigned char * ImageReadHelper::row_address(int y, int width) {
    if (!plainMap(image_, width))
        return nullptr;
    return static_cast<PixelMap &>(image_).get_pixels_address(y);
}

// Writing.

ImageWriteHelper::ImageWriteHelper(AbstractImage const & image, MapFormat fileFormat, int width,
                                   int height, GPalette const * palette)
    : ImageWriteHelper(image, fileFormat, width, height, palette, GPoint(0, 0), GPoint(-1, -1)) {}

ImageWriteHelper::ImageWriteHelper(AbstractImage const & image, MapFormat fileFormat, int width,
                                   int height, GPalette const * palette, GPoint origin, GPoint size)
    : ImageDecodingHelper(width, height, origin, size), image_(image) {
    init(fileFormat, palette);
}

ImageWriteHelper::~ImageWriteHelper() {
    image_.stop_write();
}

void ImageWriteHelper::init(MapFormat fileFormat, GPalette const * palette) {
    image_.start_write();
    prepare_convert(image_.get_format(), image_.get_palette(), fileFormat, palette);
}

void ImageWriteHelper::get_line(int x, int y, int count, unsigned char * pixels) {
    RunInWindow const run(x, y, count, origin_, size_);
    if (run.count < 1)
        return;
    pixels += run.skipped * static_cast<std::size_t>(AbstractImage::bytesPerPixel(targetLayout_));
    if (!convert_) {
        image_.get_color_line(run.x, run.y, run.count, pixels);
        return;
    }
    unsigned char * const line = lineBuffer(run.count, sourceLayout_);
    image_.get_color_line(run.x, run.y, run.count, line);
    (this->*convert_)(run.count, line, pixels);
}

unsigned char const * ImageWriteHelper::row_address(int y, int width) const {
    PixelMap const * const map = plainMap(image_, width);
    return map ? map->get_pixels_address(y) : nullptr;
}
