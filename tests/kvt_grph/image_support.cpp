#include "image_support.h"

#include <gtest/gtest.h>

#include <cstring>

void PlainImage::start_read(MapFormat format, int width, int height, GPalette const * palette) {
    ++starts;
    format_ = wanted_ ? wanted_ : format;
    width_ = width;
    height_ = height;
    if (palette)
        palette_ = std::make_unique<GPalette>(*palette);
    // What no line reaches is seen in the bytes.
    auto const pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    bytes_.assign(pixels * static_cast<std::size_t>(bytesPerPixel(format_)), '.');
}

std::size_t PlainImage::offset(int x, int y, int count) const {
    EXPECT_TRUE(x >= 0 && count > 0 && y >= 0 && y < height_ && count <= width_ - x)
        << count << " pixels at " << x << ", " << y;
    auto const pixels = static_cast<std::size_t>(y) * static_cast<std::size_t>(width_);
    return (pixels + static_cast<std::size_t>(x)) *
           static_cast<std::size_t>(bytesPerPixel(format_));
}

void PlainImage::set_color_line(int x, int y, int count, unsigned char * pixels) {
    ++lines;
    std::memcpy(&bytes_.at(offset(x, y, count)), pixels,
                static_cast<std::size_t>(count * bytesPerPixel(format_)));
}

void PlainImage::get_color_line(int x, int y, int count, unsigned char * pixels) const {
    std::memcpy(pixels, &bytes_.at(offset(x, y, count)),
                static_cast<std::size_t>(count * bytesPerPixel(format_)));
}

std::string PlainImage::row(int y) const {
    auto const size = static_cast<std::size_t>(width_ * bytesPerPixel(format_));
    return bytes_.substr(static_cast<std::size_t>(y) * size, size);
}

GPalette paletteOf(std::vector<RGB_Color> const & colors) {
    return GPalette(colors.data(), static_cast<int>(colors.size()));
}
