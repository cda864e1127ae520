// Pictures of 4096 by 4096 pixels, decoded out of memory into a new map and encoded into a given
// block, beside stb and beside memcpy of the same bytes. A decoder has to get memory for what it
// makes, which costs as much as filling it does; so the copies go to new memory as well.
//
// stb reads no bitmaps of runs. Its side of those is a bitmap of the same pixels without runs,
// which it makes three times as large; Targa files of runs both can read.
#include "benchmarks/imaging/Suites.h"
#include "ondrel.h"

#include "kvt_grph/Bmp_rdwr.h"
#include "kvt_grph/Rle8.h"
#include "kvt_grph/Tga_rdwr.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <type_traits>
#include <vector>

#if defined(ONDREL_HAVE_STB)
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_BMP
#define STBI_ONLY_TGA
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb_image.h>
#include <stb_image_write.h>
#endif

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int side = 4096;
constexpr std::size_t pixelCount = std::size_t{side} * side;

/// Slopes with noise, as photographs have.
PixelMap photograph(AbstractImage::MapFormat format) {
    PixelMap map(side, side, format);
    std::mt19937 random(1);
    int const size = AbstractImage::bytesPerPixel(format);
    for (int y = 0; y < side; ++y) {
        unsigned char * const row = map.get_pixels_address(y);
        for (int x = 0; x < side; ++x)
            for (int c = 0; c < size; ++c)
                row[x * size + c] =
                    static_cast<unsigned char>((x * (c + 1) + y) / 64 + random() % 8);
    }
    return map;
}

/// Runs from 1 pixel up, as drawings have: indices of a palette of 256 colours.
PixelMap drawing() {
    std::mt19937 random(2);
    GPalette palette(256);
    for (unsigned i = 0; i < 256; ++i)
        palette.set_color(static_cast<unsigned char>(i),
                          RGB_Color(static_cast<unsigned char>(i),
                                    static_cast<unsigned char>(255 - i),
                                    static_cast<unsigned char>(i * 7)));
    PixelMap map(side, side, AbstractImage::FormatIndex, &palette);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side;) {
            int const length = 1 + static_cast<int>(random() % (1u << random() % 8));
            auto const index = static_cast<unsigned char>(random());
            for (int const end = std::min(side, x + length); x < end; ++x)
                map.set_index_direct(x, y, index);
        }
    return map;
}

template <class Codec>
Bytes encoded(PixelMap const & map) {
    ompstream out;
    Codec().write_image(out, map);
    auto const * const data = static_cast<unsigned char *>(out.data());
    return Bytes(data, data + out.size());
}

void put32(Bytes & bytes, std::size_t at, std::size_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[at + static_cast<std::size_t>(i)] = static_cast<unsigned char>(value >> 8 * i);
}

/// The bitmap with its pixels as runs, which our codec reads but does not write.
Bytes withRuns(Bytes file) {
    constexpr std::size_t pixelsAt = 54 + 4 * 256;
    Bytes runs;
    ondrel_detail::encodeRle8(file.data() + pixelsAt, side, side, side, runs);
    file.resize(pixelsAt);
    file.insert(file.end(), runs.begin(), runs.end());
    put32(file, 2, file.size());
    put32(file, 30, 1); // of 8 bits
    put32(file, 34, runs.size());
    return file;
}

/// A Targa file of packets; a row at a time.
Bytes targaOfRuns(PixelMap const & map) {
    Bytes file = {0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, side >> 8, 0, side >> 8, 32, 0x28};
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side;) {
            RGBA_Color const color = map.get_pixel(x, y);
            int count = 1;
            while (count < 128 && x + count < side &&
                   map.get_index_direct(x + count, y) == map.get_index_direct(x, y))
                ++count;
            file.push_back(static_cast<unsigned char>(0x80 | (count - 1)));
            file.insert(file.end(), {color.blue, color.green, color.red, 255});
            x += count;
        }
    return file;
}

std::unique_ptr<PixelMap> decode(Bytes const & file, AbstractImage::MapFormat format) {
    impstream in(const_cast<unsigned char *>(file.data()), static_cast<long>(file.size()),
                 GIO::ReadMode);
    return std::make_unique<PixelMap>(in, format);
}

template <class Codec>
long encode(PixelMap const & map, Bytes & block) {
    ompstream out(block.data(), static_cast<long>(block.size()), GIO::WriteMode);
    Codec().write_image(out, map);
    out.flush();
    return out.safe_get_position();
}

void copyToNewMemory(Bytes const & bytes, std::size_t count) {
    void * const to = std::malloc(count);
    std::memcpy(to, bytes.data(), count);
    benchmark::DoNotOptimize(to);
    benchmark::ClobberMemory();
    std::free(to);
}

bool always() {
    return true;
}

#if defined(ONDREL_HAVE_STB)

using StbPixels = std::unique_ptr<unsigned char, decltype(&stbi_image_free)>;

/// Red, green, blue, and alpha when there are four channels; the top row first.
StbPixels stbDecode(Bytes const & file, int channels) {
    int width = 0, height = 0, had = 0;
    return {stbi_load_from_memory(file.data(), static_cast<int>(file.size()), &width, &height, &had,
                                  channels),
            &stbi_image_free};
}

bool sameAsStb(Bytes const & file, Bytes const & stbFile, AbstractImage::MapFormat format) {
    int const channels = format == AbstractImage::FormatRGBAlpha ? 4 : 3;
    auto const ours = decode(file, format);
    StbPixels const theirs = stbDecode(stbFile, channels);
    if (!theirs || ours->get_width() != side || ours->get_height() != side)
        return false;
    unsigned char const * at = theirs.get();
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x, at += channels) {
            RGBA_Color const color = ours->get_rgba(x, y);
            if (color.red != at[0] || color.green != at[1] || color.blue != at[2] ||
                (channels == 4 && color.alpha != at[3]))
                return false;
        }
    return true;
}

struct Target {
    Bytes & block;
    std::size_t used = 0;

    static void Append(void * context, void * data, int size) {
        auto & target = *static_cast<Target *>(context);
        std::memcpy(target.block.data() + target.used, data, static_cast<std::size_t>(size));
        target.used += static_cast<std::size_t>(size);
    }
};

std::size_t stbEncode(bool targa, unsigned char const * pixels, Bytes & block) {
    Target target{block};
    stbi_write_tga_with_rle = 0;
    if (targa)
        stbi_write_tga_to_func(&Target::Append, &target, side, side, 4, pixels);
    else
        stbi_write_bmp_to_func(&Target::Append, &target, side, side, 3, pixels);
    return target.used;
}

#endif

// Pictures and files, made when they are first wanted.

PixelMap const & colors() {
    static PixelMap const map = photograph(AbstractImage::FormatRGB);
    return map;
}
PixelMap const & colorsAndAlpha() {
    static PixelMap const map = photograph(AbstractImage::FormatRGBAlpha);
    return map;
}
PixelMap const & indices() {
    static PixelMap const map = drawing();
    return map;
}
Bytes const & bmp24() {
    static Bytes const file = encoded<BMPReaderWriter>(colors());
    return file;
}
Bytes const & tga32() {
    static Bytes const file = encoded<TGAReaderWriter>(colorsAndAlpha());
    return file;
}
Bytes const & bmp8() {
    static Bytes const file = encoded<BMPReaderWriter>(indices());
    return file;
}
Bytes const & bmp8Runs() {
    static Bytes const file = withRuns(bmp8());
    return file;
}
Bytes const & tga32Runs() {
    static Bytes const file = targaOfRuns(indices());
    return file;
}

using File = Bytes const & (*)();

/// One kind of file; `stbFile` is what stb gets in its place.
void registerDecoding(char const * name, File file, [[maybe_unused]] File stbFile,
                      AbstractImage::MapFormat format) {
    std::string const work = std::string("decode_") + name;
    auto const size = pixelCount * static_cast<std::size_t>(AbstractImage::bytesPerPixel(format));
    auto const pixelBytes = static_cast<double>(size);
#if defined(ONDREL_HAVE_STB)
    int const channels = format == AbstractImage::FormatRGBAlpha ? 4 : 3;
    auto const check = [=] { return sameAsStb(file(), stbFile(), format); };
    registerWork(work + "/stb", pixelBytes, check,
                 [=] { benchmark::DoNotOptimize(stbDecode(stbFile(), channels)); });
#else
    auto const check = always;
#endif
    registerWork(work + "/ondrel", pixelBytes, check,
                 [=] { benchmark::DoNotOptimize(decode(file(), format)); });
    registerWork(work + "/memcpy", pixelBytes, always, [=] {
        static Bytes const some(pixelCount * 4, 1);
        copyToNewMemory(some, size);
    });
}

template <class Codec>
void registerEncoding(char const * name, PixelMap const & (*map)(), File file) {
    std::string const work = std::string("encode_") + name;
    static Bytes block(pixelCount * 4 + 100);
    auto const bytes = static_cast<double>(
        pixelCount *
        static_cast<std::size_t>(std::is_same_v<Codec, TGAReaderWriter> ? sizeof(RGBA_Color)
                                                                        : sizeof(RGB_Color)));
    registerWork(
        work + "/ondrel", bytes,
        [=] {
            auto const size = static_cast<std::size_t>(encode<Codec>(map(), block));
            return std::equal(file().begin(), file().end(), block.begin(),
                              block.begin() + static_cast<long>(size));
        },
        [=] { benchmark::DoNotOptimize(encode<Codec>(map(), block)); });
#if defined(ONDREL_HAVE_STB)
    constexpr bool targa = std::is_same_v<Codec, TGAReaderWriter>;
    auto const pixels = [=] {
        static StbPixels const decoded = stbDecode(file(), targa ? 4 : 3);
        return decoded.get();
    };
    registerWork(
        work + "/stb", bytes,
        [=] {
            std::size_t const size = stbEncode(targa, pixels(), block);
            return sameAsStb(file(), Bytes(block.begin(), block.begin() + static_cast<long>(size)),
                             map().get_format());
        },
        [=] { benchmark::DoNotOptimize(stbEncode(targa, pixels(), block)); });
#endif
    registerWork(work + "/memcpy", bytes, always, [=] {
        std::memcpy(block.data(), file().data(), file().size());
        benchmark::ClobberMemory();
    });
}

} // namespace

void registerFiles() {
    registerDecoding("bmp24", bmp24, bmp24, AbstractImage::FormatRGB);
    registerDecoding("bmp8_runs", bmp8Runs, bmp8, AbstractImage::FormatIndex);
    registerDecoding("tga32", tga32, tga32, AbstractImage::FormatRGBAlpha);
    registerDecoding("tga32_runs", tga32Runs, tga32Runs, AbstractImage::FormatRGBAlpha);
    registerEncoding<BMPReaderWriter>("bmp24", colors, bmp24);
    registerEncoding<TGAReaderWriter>("tga32", colorsAndAlpha, tga32);
}
