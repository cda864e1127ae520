// A picture of 4096 by 4096 pixels made smaller by the average of areas, beside stb; and colours
// mapped to the nearest of 256, beside the search that looks at all of them.
#include "benchmarks/imaging/Suites.h"
#include "ondrel.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#if defined(ONDREL_HAVE_STB)
#define STB_IMAGE_RESIZE_IMPLEMENTATION
#define STB_IMAGE_RESIZE_STATIC
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb_image_resize.h>
#endif

namespace {

constexpr int side = 4096;

PixelMap slopes(int width, int height) {
    PixelMap map(width, height, AbstractImage::FormatRGB);
    std::mt19937 random(3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            unsigned const noise = random();
            map.set_rgb_direct(
                x, y,
                RGB_Color(static_cast<unsigned char>(x * 240 / width + noise % 16),
                          static_cast<unsigned char>(y * 240 / height + noise / 16 % 16),
                          static_cast<unsigned char>((x + y) * 120 / width + noise / 256 % 16)));
        }
    return map;
}

#if defined(ONDREL_HAVE_STB)

/// The rows of both sides begin at the bottom, which makes no difference to an average.
void stbResize(PixelMap const & source, PixelMap & target) {
    stbir_resize_uint8_generic(source.get_pixels_address(), source.get_width(), source.get_height(),
                               source.get_stride(), target.get_pixels_address(), target.get_width(),
                               target.get_height(), target.get_stride(), 3,
                               STBIR_ALPHA_CHANNEL_NONE, 0, STBIR_EDGE_CLAMP, STBIR_FILTER_BOX,
                               STBIR_COLORSPACE_LINEAR, nullptr);
}

/// stb rounds where we drop the remainder, and its box has soft edges between pixels.
bool nearlyEqual(PixelMap const & a, PixelMap const & b, int tolerance) {
    for (int y = 0; y < a.get_height(); ++y)
        for (int x = 0; x < a.get_width() * 3; ++x)
            if (std::abs(a.get_pixels_address(y)[x] - b.get_pixels_address(y)[x]) > tolerance)
                return false;
    return true;
}

#endif

PixelMap const & picture() {
    static PixelMap const map = slopes(side, side);
    return map;
}

void registerResizing(int width, int height) {
    std::string const work = "resize_to_" + std::to_string(width) + "x" + std::to_string(height);
    double const bytes = 3.0 * side * side;
    auto const target = std::make_shared<PixelMap>(width, height, AbstractImage::FormatRGB);
#if defined(ONDREL_HAVE_STB)
    auto const check = [target] {
        PixelMap other(*target);
        PixelMapTools::Resize(picture(), *target, false);
        stbResize(picture(), other);
        bool const whole = side % target->get_width() == 0 && side % target->get_height() == 0;
        return nearlyEqual(*target, other, whole ? 1 : 8);
    };
    registerWork(work + "/stb", bytes, check, [target] { stbResize(picture(), *target); });
#else
    auto const check = [] { return true; };
#endif
    registerWork(work + "/ondrel", bytes, check,
                 [target] { PixelMapTools::Resize(picture(), *target, false); });
    registerWork(
        work + "/memcpy", bytes, [] { return true; },
        [] {
            static std::vector<unsigned char> block(static_cast<std::size_t>(picture().get_size()));
            std::memcpy(block.data(), picture().get_pixels_address(), block.size());
            benchmark::ClobberMemory();
        });
}

// Nearest colours.

std::vector<RGB_Color> randomColors(unsigned seed, std::size_t count) {
    std::mt19937 random(seed);
    std::vector<RGB_Color> colors(count);
    for (RGB_Color & color : colors)
        color.set_color_ref(static_cast<COLORREF>(random()));
    return colors;
}

struct Mapping {
    GPalette palette;
    std::vector<RGB_Color> colors;
    std::vector<unsigned char> indices;

    void search() {
        for (std::size_t i = 0; i < colors.size(); ++i)
            indices[i] = palette.get_index(colors[i]);
    }
    void plainSearch() {
        PALETTEENTRY const * const entries = palette.get_entry_array();
        for (std::size_t i = 0; i < colors.size(); ++i) {
            int least = INT_MAX;
            for (int j = 0; j < palette.getCount(); ++j) {
                int const red = entries[j].peRed - colors[i].red;
                int const green = entries[j].peGreen - colors[i].green;
                int const blue = entries[j].peBlue - colors[i].blue;
                int const distance = red * red + green * green + blue * blue;
                if (distance < least) {
                    least = distance;
                    indices[i] = static_cast<unsigned char>(j);
                }
            }
        }
    }
};

void registerMapping(char const * name, std::vector<RGB_Color> colors) {
    auto const mapping = std::make_shared<Mapping>();
    mapping->palette = GPalette(randomColors(4, 256).data(), 256);
    mapping->indices.resize(colors.size());
    mapping->colors = std::move(colors);
    auto const check = [mapping] {
        mapping->search();
        std::vector<unsigned char> const found = mapping->indices;
        mapping->plainSearch();
        return mapping->indices == found;
    };
    std::string const work = std::string("nearest_color_") + name;
    auto const bytes = static_cast<double>(mapping->colors.size() * sizeof(RGB_Color));
    registerWork(work + "/ondrel", bytes, check, [mapping] { mapping->search(); });
    registerWork(work + "/plain", bytes, check, [mapping] { mapping->plainSearch(); });
}

} // namespace

void registerPixels() {
    registerResizing(1024, 1024);
    registerResizing(1500, 1100);
    registerResizing(3000, 3000);

    std::vector<RGB_Color> pixels;
    PixelMap const small = slopes(512, 512);
    for (int y = 0; y < small.get_height(); ++y)
        for (int x = 0; x < small.get_width(); ++x)
            pixels.push_back(small.get_rgb_direct(x, y));
    registerMapping("picture", std::move(pixels));
    registerMapping("noise", randomColors(5, 512 * 512));
}
