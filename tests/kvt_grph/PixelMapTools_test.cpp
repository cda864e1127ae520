#include "kvt_grph/PixelMapTools.h"

#include "../TemporaryDirectory.h"

#include "kvt_grph/ColorCollection.h"
#include "persistence/fpstream.h"
#include "persistence/zpstream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>

namespace {

using Map = std::unique_ptr<PixelMap>;

PixelMap noise(std::mt19937 & random, int width, int height, AbstractImage::MapFormat format) {
    GPalette palette(256);
    for (int i = 0; i < 256; ++i)
        palette.set_color(static_cast<unsigned char>(i),
                          RGB_Color(static_cast<unsigned char>(random()),
                                    static_cast<unsigned char>(random()),
                                    static_cast<unsigned char>(random())));
    PixelMap map(width, height, format, &palette);
    for (long i = 0; i < map.get_size(); ++i)
        map.get_pixels_address()[i] = static_cast<unsigned char>(random());
    return map;
}

/// How much of source pixel `index` lies under target pixel `place`, both axes stretched to
/// source * target units.
std::uint64_t overlap(int index, int place, int source, int target) {
    std::int64_t const from = std::max(std::int64_t(index) * target, std::int64_t(place) * source);
    std::int64_t const to =
        std::min(std::int64_t(index + 1) * target, std::int64_t(place + 1) * source);
    return to > from ? static_cast<std::uint64_t>(to - from) : 0;
}

RGB_Color averageUnder(PixelMap const & source, PixelMap const & target, int x, int y) {
    std::uint64_t red = 0, green = 0, blue = 0, all = 0;
    for (int j = 0; j < source.get_height(); ++j)
        for (int i = 0; i < source.get_width(); ++i) {
            std::uint64_t const weight = overlap(i, x, source.get_width(), target.get_width()) *
                                         overlap(j, y, source.get_height(), target.get_height());
            RGB_Color const color = source.get_pixel(i, j);
            red += color.red * weight;
            green += color.green * weight;
            blue += color.blue * weight;
            all += weight;
        }
    return RGB_Color(static_cast<unsigned char>(red / all), static_cast<unsigned char>(green / all),
                     static_cast<unsigned char>(blue / all));
}

TEST(PixelMapTools, ANewSizeHasTheAverageOfTheAreaUnderEachPixel) {
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        PixelMap const source = noise(random, 1 + int(random() % 17), 1 + int(random() % 17),
                                      AbstractImage::MapFormat(1 + random() % 3));
        PixelMap target(1 + int(random() % 17), 1 + int(random() % 17),
                        AbstractImage::MapFormat(2 + random() % 2));
        if (source.get_width() == target.get_width() && source.get_height() == target.get_height())
            continue;
        PixelMapTools::Resize(source, target, false);
        for (int y = 0; y < target.get_height(); ++y)
            for (int x = 0; x < target.get_width(); ++x) {
                RGB_Color const wanted = averageUnder(source, target, x, y);
                ASSERT_EQ(target.get_pixel(x, y).get_color_ref(), wanted.get_color_ref())
                    << "round " << round << " at " << x << ", " << y;
                ASSERT_EQ(target.get_rgba(x, y).alpha, 0);
            }
    }
}

TEST(PixelMapTools, WhiteStaysWhiteWhateverTheSizes) {
    for (auto const & [width, height] : {std::pair(1, 1), {3, 1000}, {1999, 7}, {640, 333}}) {
        PixelMap white(641, 479, AbstractImage::FormatRGB);
        white.full_fill(RGB_Color(255, 255, 255));
        Map const resized(PixelMapTools::Resize(white, width, height, false));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                ASSERT_EQ(resized->get_pixel(x, y).get_color_ref(), 0xFFFFFFu);
    }
}

TEST(PixelMapTools, AFastResizePicksPixelsInEqualFormatsOnly) {
    std::mt19937 random(8);
    for (AbstractImage::MapFormat const format : {1, 2, 3}) {
        PixelMap const source = noise(random, 5, 4, format);
        Map const fast(PixelMapTools::Resize(source, 12, 3, true));
        ASSERT_EQ(fast->get_format(), format);
        // Steps in 16.16 fixed point: 5/12 becomes 27306, 4/3 becomes 87381.
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 12; ++x)
                ASSERT_EQ(fast->get_rgba(x, y), source.get_rgba(x * 27306 >> 16, y * 87381 >> 16));
    }
    PixelMap const source = noise(random, 2, 1, AbstractImage::FormatRGB);
    PixelMap other(1, 1, AbstractImage::FormatRGBAlpha);
    PixelMapTools::Resize(source, other, true);
    EXPECT_EQ(other.get_pixel(0, 0), averageUnder(source, other, 0, 0));
}

TEST(PixelMapTools, TheSameSizeIsACopyAndEmptyMapsAreLeftAlone) {
    std::mt19937 random(9);
    PixelMap const source = noise(random, 6, 6, AbstractImage::FormatRGBAlpha);
    Map const same(PixelMapTools::Resize(source, 6, 6, false));
    EXPECT_EQ(same->get_rgba(3, 4), source.get_rgba(3, 4));
    EXPECT_NE(source.get_rgba(3, 4).alpha, 0);
    PixelMap empty(0, 0, AbstractImage::FormatRGB);
    PixelMapTools::Resize(source, empty, false);
    PixelMap target(2, 2, AbstractImage::FormatRGB);
    target.full_fill(RGB_Color(1, 2, 3));
    PixelMapTools::Resize(empty, target, false);
    EXPECT_EQ(target.get_pixel(1, 1), RGB_Color(1, 2, 3));
}

TEST(PixelMapTools, ColoursBetweenPixelsAreMixedAndTheLastOneHasNoNeighbour) {
    PixelMap map(3, 2, AbstractImage::FormatRGB);
    map.full_fill(RGB_Color());
    map.set_pixel(0, 0, RGB_Color(255, 0, 0));
    map.set_pixel(1, 0, RGB_Color(0, 255, 0));
    map.set_pixel(2, 1, RGB_Color(0, 0, 255));
    EXPECT_EQ(PixelMapTools::BilinearApproximation(map, 0.25f, 0), GFColor(0.5f, 0.5f, 0));
    EXPECT_EQ(PixelMapTools::BilinearApproximation(map, 1, 1), GFColor(0, 0, 1));
    EXPECT_EQ(PixelMapTools::BilinearApproximation(map, 1, 0.5f), GFColor(0, 0, 0.5f));
    EXPECT_EQ(PixelMapTools::BilinearApproximation(map, 1e30f, -1e30f), GFColor(0, 0, 0));
}

TEST(PixelMapTools, FilesAreSavedByTheirExtensionAndLoadedByTheirContent) {
    TemporaryDirectory const folder;
    std::mt19937 random(10);
    PixelMap const map = noise(random, 5, 3, AbstractImage::FormatRGB);
    for (char const * const name : {"map.bmp", "map.tga"}) {
        ASSERT_TRUE(PixelMapTools::SaveToFile(map, folder.name(name).c_str()));
        Map const back(PixelMapTools::LoadFromFile(folder.name(name).c_str()));
        ASSERT_TRUE(back);
        EXPECT_EQ(back->get_pixel(4, 2), map.get_pixel(4, 2));
    }
    EXPECT_FALSE(PixelMapTools::SaveToFile(map, folder.name("map.unknown").c_str()));
    EXPECT_FALSE(PixelMapTools::SaveToFile(map, folder.name("absent/map.bmp").c_str()));
    EXPECT_FALSE(PixelMapTools::SaveToFile(nullptr, folder.name("map.bmp").c_str()));
    EXPECT_EQ(PixelMapTools::LoadFromFile(folder.name("absent").c_str()), nullptr);
    std::string const junk = folder.put("junk", "no picture, and no object stream either");
    EXPECT_EQ(PixelMapTools::LoadFromFile(junk.c_str()), nullptr);
}

/// A map of a host, which streams its pixels as well.
class WholeMap : public PixelMap {
    G_DECLARE_CREATABLE(WholeMap)
  public:
    using PixelMap::PixelMap;
    void write(opstream & out) override {
        out.writeDWord(static_cast<unsigned long>(get_width()));
        out.writeDWord(static_cast<unsigned long>(get_height()));
        out.writeBytes(get_pixels_address(), get_size());
    }
    void read(ipstream & in) override {
        int const width = static_cast<int>(in.readDWord());
        int const height = static_cast<int>(in.readDWord());
        set_format(FormatRGB);
        resize(width, height);
        in.readBytes(get_pixels_address(), get_size());
    }
};
G_DEFINE_CREATABLE(WholeMap, "tools_test::WholeMap", PixelMap)

void writeObject(std::string const & file, GStreamable & object, bool compressed) {
    auto const write = [&](auto && out) {
        out.writePointer(&object);
        out.flush();
        ASSERT_TRUE(out.good());
    };
    if (compressed)
        write(ozpstream(file.c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                        GFileIO::ShareNone, 3));
    else
        write(ofpstream(file.c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                        GFileIO::ShareNone));
}

TEST(PixelMapTools, MapsInObjectStreamsAreLoadedPlainAndCompressed) {
    TemporaryDirectory const folder;
    std::string const file = folder.name("map");
    std::mt19937 random(11);
    WholeMap whole(40, 30, AbstractImage::FormatRGB);
    whole.full_fill(RGB_Color(1, 2, 3));
    for (int i = 0; i < 1200; ++i)
        whole.set_pixel(i % 40, i / 40, RGB_Color(static_cast<unsigned char>(random()), 2, 3));
    ColorCollection other;
    for (bool const compressed : {false, true}) {
        writeObject(file, whole, compressed);
        Map const back(PixelMapTools::LoadFromFile(file.c_str()));
        ASSERT_TRUE(back) << compressed;
        ASSERT_EQ(back->get_size(), whole.get_size());
        for (int i = 0; i < 1200; ++i)
            ASSERT_EQ(back->get_pixel(i % 40, i / 40), whole.get_pixel(i % 40, i / 40));

        writeObject(file, other, compressed);
        EXPECT_EQ(PixelMapTools::LoadFromFile(file.c_str()), nullptr) << "an object of other kind";
    }
}

TEST(PixelMapTools, AMaskIsWhiteWhereTheMapIsNotBlack) {
    RGB_Color const colors[] = {{0, 0, 0}, {9, 0, 0}, {250, 250, 250}};
    GPalette const palette(colors, 3);
    PixelMap indexed(3, 1, AbstractImage::FormatIndex, &palette);
    for (int i = 0; i < 3; ++i)
        indexed.set_pixel(i, 0, static_cast<unsigned char>(i));
    Map mask(PixelMapTools::ConvertToMask(indexed));
    EXPECT_EQ(mask->get_index(0, 0), 0);
    EXPECT_EQ(mask->get_index(1, 0), 2); // the nearest to white
    EXPECT_EQ(mask->get_index(2, 0), 2);
    PixelMap colored(2, 1, AbstractImage::FormatRGBAlpha);
    colored.set_pixel(0, 0, RGBA_Color(0, 0, 0, 77));
    colored.set_pixel(1, 0, RGBA_Color(0, 1, 0, 77));
    mask.reset(PixelMapTools::ConvertToMask(colored));
    EXPECT_EQ(mask->get_rgba(0, 0), RGBA_Color(0, 0, 0, 77));
    EXPECT_EQ(mask->get_pixel(1, 0), RGB_Color(255, 255, 255));
}

} // namespace
