#include "kvt_grph/PixelMap.h"

#include "../TemporaryDirectory.h"
#include "../foundation/StreamBytes.h"
#include "foundation/GException.h"
#include "kvt_grph/AbstractImageReaderWriter.h"
#include "kvt_grph/Bmp_rdwr.h"
#include "kvt_grph/Tga_rdwr.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

using namespace stream_bytes;

namespace {

/// Two by two pixels of 24 bits, the bottom row first: blue and white, red and green above.
std::string bitmap() {
    return hex("424d 46000000 0000 0000 36000000"
               "28000000 02000000 02000000 0100 1800 00000000 00000000"
               "00000000 00000000 00000000 00000000"
               "ff0000 ffffff 0000 0000ff 00ff00 0000");
}

RGB_Color const red(255, 0, 0), green(0, 255, 0), blue(0, 0, 255), white(255, 255, 255);

void expectPicture(PixelMap const & map) {
    ASSERT_EQ(map.get_width(), 2);
    ASSERT_EQ(map.get_height(), 2);
    EXPECT_EQ(map.get_pixel(0, 0), red);
    EXPECT_EQ(map.get_pixel(1, 0), green);
    EXPECT_EQ(map.get_pixel(0, 1), blue);
    EXPECT_EQ(map.get_pixel(1, 1), white);
}

PixelMap picture() {
    PixelMap map(2, 2, AbstractImage::FormatRGB);
    map.set_pixel(0, 0, red);
    map.set_pixel(1, 0, green);
    map.set_pixel(0, 1, blue);
    map.set_pixel(1, 1, white);
    return map;
}

} // namespace

TEST(PixelMapFilesTest, loadsIntoItsOwnFormat) {
    TemporaryDirectory directory;
    std::string const file = directory.put("picture.bmp", bitmap());
    for (AbstractImage::MapFormat const format :
         {AbstractImage::FormatRGB, AbstractImage::FormatRGBAlpha}) {
        PixelMap map(file.c_str(), format);
        EXPECT_EQ(map.get_format(), format);
        expectPicture(map);
    }
    RGB_Color const colors[] = {blue, red, white, green};
    GPalette const palette(colors, 4);
    PixelMap indexed(2, 2, AbstractImage::FormatIndex, &palette);
    indexed.load(file.c_str());
    expectPicture(indexed);
    EXPECT_EQ(indexed.get_index(0, 0), 1);
}

TEST(PixelMapFilesTest, savesAsBmpWhateverTheName) {
    TemporaryDirectory directory;
    for (char const * const name : {"a.bmp", "b.unknown", "c"}) {
        picture().save(directory.name(name).c_str());
        EXPECT_EQ(directory.content(name), bitmap()) << name;
    }
    picture().save(directory.name("absent/d.bmp").c_str());
    EXPECT_FALSE(directory.has("absent"));
    EXPECT_EQ(written([](opstream & out) { picture().save(out); }), bitmap());
    std::string const compressed =
        written([](opstream & out) { picture().save_compressedBMP(out); });
    EXPECT_EQ(compressed.substr(28, 2), hex("0400")) << "four colours take four bits each";
    Input in(compressed);
    expectPicture(PixelMap(*in, AbstractImage::FormatRGB));
}

TEST(PixelMapFilesTest, hostsChooseHowMapsAreSaved) {
    EXPECT_EQ(PixelMap::GetDefaultSavingFunction(), &PixelMap::saveBMP);
    PixelMap::SetDefaultSavingFunction(&PixelMap::save_compressedBMP);
    EXPECT_EQ(written([](opstream & out) { picture().save(out); }),
              written([](opstream & out) { picture().save_compressedBMP(out); }));
    PixelMap::SetDefaultSavingFunction(nullptr);
    EXPECT_EQ(written([](opstream & out) { picture().save(out); }), bitmap());
    PixelMap::SetDefaultSavingFunction(&PixelMap::saveBMP);
}

TEST(PixelMapFilesTest, absentFilesAndOtherFormatsAreTold) {
    TemporaryDirectory directory;
    std::string const text =
        directory.put("text.bmp", "no picture at all, but long enough for one");
    std::string const good = directory.put("good.bmp", bitmap());
    PixelMap map(1, 1, AbstractImage::FormatRGB);
    EXPECT_THROW(map.load(directory.name("absent.bmp").c_str()), FileIsAbsent_Exception);
    EXPECT_THROW(map.load(text.c_str()), InvalidFileFormat_Exception);
    EXPECT_THROW(PixelMap(text.c_str(), AbstractImage::FormatRGB), InvalidFileFormat_Exception);
    EXPECT_FALSE(PixelMap::IsReadableFile(directory.name("absent.bmp").c_str()));
    EXPECT_FALSE(PixelMap::IsReadableFile(text.c_str()));
    EXPECT_TRUE(PixelMap::IsReadableFile(good.c_str()));
}

TEST(PixelMapFilesTest, picturesThatNoMapCanHoldAreRefused) {
    // 32767 x 32767 pixels, and as many codes as are needed to be believed.
    std::string const codes(9 << 20, '\0');
    std::string const targa = hex("00 00 0A 0000 0000 00 0000 0000 FF7F FF7F 20 20") + codes;
    std::string const bitmap8 = hex("424D 00000000 0000 0000 3A000000"
                                    "28000000 FF7F0000 FF7F0000 0100 0800 01000000 00009000"
                                    "00000000 00000000 01000000 00000000 00000000") +
                                codes;
    for (std::string const & file : {targa, bitmap8}) {
        Input in(file);
        PixelMap map(1, 1, AbstractImage::FormatRGBAlpha);
        EXPECT_FALSE(AbstractImageReaderWriter::Read(*in, map));
        EXPECT_EQ(map.get_width(), 0);
        in->seekg(0);
        EXPECT_THROW(map.load(*in), InvalidFileFormat_Exception);
        in->seekg(0);
        EXPECT_TRUE(AbstractImageReaderWriter::ReadPart(*in, map, GPoint(9, 9), GPoint(2, 1)));
        EXPECT_EQ(map.get_width(), 2) << "a part of them fits";
    }
}

TEST(PixelMapFilesTest, objectsAreReadFromAndWrittenToImageFiles) {
    TemporaryDirectory directory;
    std::string const file = directory.name("object.bmp");
    GObjectPixelMapFormat const & format = PixelMap::PixelMapFormat();
    PixelMap map = picture();
    GPalette other;
    EXPECT_FALSE(format.write_object(file.c_str(), &other));
    EXPECT_FALSE(directory.has("object.bmp"));
    EXPECT_TRUE(format.write_object(file.c_str(), &map));
    std::unique_ptr<GStreamable> const read(format.read_object(file.c_str()));
    ASSERT_NE(gcast<PixelMap>(read.get()), nullptr);
    expectPicture(*gcast<PixelMap>(read.get()));
    Input in(bitmap()), text("nothing of the kind");
    EXPECT_TRUE(format.read_object_class_name(*in).isEmpty());
    EXPECT_EQ(format.read_object(*text), nullptr);
    EXPECT_EQ(format.read_object(directory.name("absent").c_str()), nullptr);
}

namespace {

/// Wants to be asked for each line, as a host's own maps may.
class LineMap : public PixelMap {
  public:
    using PixelMap::PixelMap;
    void set_color_line(int x, int y, int count, unsigned char * pixels) override {
        PixelMap::set_color_line(x, y, count, pixels);
        ++set;
    }
    void get_color_line(int x, int y, int count, unsigned char * pixels) const override {
        PixelMap::get_color_line(x, y, count, pixels);
        ++got;
    }
    int set = 0;
    mutable int got = 0;
};

} // namespace

TEST(PixelMapFilesTest, rowsThatTravelInOnePieceAreThoseThatTravelAsLines) {
    std::mt19937 random(4);
    BMPReaderWriter bmp;
    TGAReaderWriter tga;
    for (int round = 0; round < 80; ++round) {
        bool const targa = round % 2;
        AbstractImageReaderWriter & codec =
            targa ? static_cast<AbstractImageReaderWriter &>(tga) : bmp;
        // The longest rows are moved one by one.
        int const width = 1 + static_cast<int>(random() % (round % 5 ? 40 : 8000));
        int const height = 1 + static_cast<int>(random() % 20);
        GPalette const palette(256);
        auto const format = static_cast<AbstractImage::MapFormat>(1 + random() % 3);
        PixelMap map(width, height, format, &palette);
        LineMap lines(width, height, format, &palette);
        for (int y = 0; y < height; ++y)
            for (int i = 0; i < width * AbstractImage::bytesPerPixel(format); ++i)
                map.get_pixels_address(y)[i] = lines.get_pixels_address(y)[i] =
                    static_cast<unsigned char>(random());
        std::string file = written([&](opstream & out) { codec.write_image(out, map); });
        ASSERT_EQ(file, written([&](opstream & out) { codec.write_image(out, lines); }));
        EXPECT_EQ(lines.got, height);

        if (targa && round % 4 == 1)
            file[17] = static_cast<char>(random() & 0x30); // all four orders of pixels and rows
        if (round % 3 == 0)
            file.resize(file.size() - random() % (file.size() / 2));
        PixelMap read(0, 0, format);
        LineMap readLines(0, 0, format);
        Input one(file), other(file);
        bool const readable = codec.read_image(*one, read);
        ASSERT_EQ(readable, codec.read_image(*other, readLines));
        ASSERT_EQ(one->tellg(), other->tellg());
        ASSERT_EQ(read.get_height(), readLines.get_height());
        ASSERT_EQ(readLines.set, readable ? height : 0);
        for (int y = 0; y < read.get_height(); ++y)
            for (int x = 0; x < width; ++x)
                ASSERT_EQ(read.get_rgba(x, y), readLines.get_rgba(x, y)) << width << " " << x;
    }
}
