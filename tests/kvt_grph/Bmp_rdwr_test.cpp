#include "kvt_grph/Bmp_rdwr.h"

#include "../foundation/StreamBytes.h"
#include "image_support.h"
#include "persistence/pstream.h"

#include <gtest/gtest.h>

#include <climits>

using namespace stream_bytes;

namespace {

constexpr auto index8 = AbstractImage::FormatIndex;
constexpr auto rgb24 = AbstractImage::FormatRGB;
constexpr auto rgba32 = AbstractImage::FormatRGBAlpha;

// 3 x 2, 24 bits: below red, green, blue; above white, grey, black.
std::string const trueColour = hex("424D 4E000000 0000 0000 36000000"
                                   "28000000 03000000 02000000 0100 1800 00000000 00000000"
                                   "00000000 00000000 00000000 00000000"
                                   "0000FF 00FF00 FF0000 000000"
                                   "FFFFFF 808080 000000 000000");
// 5 x 2, 1 bit, two colours, a gap of three bytes behind them.
std::string const twoColours = hex("424D 49000000 0000 0000 41000000"
                                   "28000000 05000000 02000000 0100 0100 00000000 00000000"
                                   "00000000 00000000 02000000 00000000"
                                   "00000000 030201FF EEEEEE"
                                   "B8000000 40000000");
// 3 x 1, 4 bits, three colours.
std::string const nibbles = hex("424D 46000000 0000 0000 42000000"
                                "28000000 03000000 01000000 0100 0400 00000000 00000000"
                                "00000000 00000000 03000000 00000000"
                                "00000000 01010100 02020200 21000000");

/// A file with run-length codes and a palette of 16 greys.
std::string coded(unsigned bits, int width, int height, std::string const & codes, long size = -1) {
    std::string file = hex("424D 00000000 0000 0000 76000000"
                           "28000000 00000000 00000000 0100 0000 01000000 00000000"
                           "00000000 00000000 10000000 00000000");
    file[18] = static_cast<char>(width);
    file[22] = static_cast<char>(height);
    file[28] = static_cast<char>(bits);
    file[34] = static_cast<char>(size < 0 ? codes.size() : static_cast<std::size_t>(size));
    for (int i = 0; i < 16; ++i)
        file += std::string(3, static_cast<char>(i * 17)) + '\0';
    return file + codes;
}

// 6 x 3 in 8 bits: a run, a literal of three with its padding, the end of the line; a step of two
// columns and one row, a run that leaves the picture; the end.
std::string const runs = coded(8, 6, 3, hex("0205 0003 010203 00 0000 0002 0201 FF07 0001"));

bool readImage(std::string const & file, AbstractImage & image) {
    Input in(file);
    return BMPReaderWriter().read_image(*in, image);
}

std::string saved(AbstractImage const & image, bool compressed = false) {
    return written([&](opstream & out) {
        BMPReaderWriter codec(compressed);
        EXPECT_TRUE(codec.write_image(out, image));
    });
}

} // namespace

TEST(BMPReaderWriterTest, readsEveryDepth) {
    PlainImage image;
    ASSERT_TRUE(readImage(trueColour, image));
    EXPECT_EQ(image.get_format(), rgb24);
    EXPECT_EQ(image.row(0), hex("FFFFFF 808080 000000"));
    EXPECT_EQ(image.row(1), hex("0000FF 00FF00 FF0000"));
    EXPECT_EQ(image.starts, 1);
    EXPECT_EQ(image.stops, 1);

    PlainImage bits;
    ASSERT_TRUE(readImage(twoColours, bits));
    EXPECT_EQ(bits.row(0), hex("00 01 00 00 00"));
    EXPECT_EQ(bits.row(1), hex("01 00 01 01 01"));
    EXPECT_EQ(bits.get_palette()->getCount(), 2);
    EXPECT_EQ((*bits.get_palette())[1], RGB_Color(1, 2, 3));

    PlainImage colours(rgb24);
    ASSERT_TRUE(readImage(nibbles, colours));
    EXPECT_EQ(colours.bytes(), hex("020202 010101 000000"));

    // No number of colours means all that the bits allow.
    std::string bytes = nibbles.substr(0, 54) + std::string(1024, '\3') + hex("FF 80 00 00");
    bytes[11] = 4; // 0x436: behind 256 colours
    bytes[10] = 0x36;
    bytes[28] = 8;
    bytes[46] = 0;
    PlainImage whole;
    ASSERT_TRUE(readImage(bytes, whole));
    EXPECT_EQ(whole.bytes(), hex("FF 80 00"));
    EXPECT_EQ(whole.get_palette()->getCount(), 256);
}

TEST(BMPReaderWriterTest, runsDrawAndStepsDoNot) {
    PlainImage image;
    ASSERT_TRUE(readImage(runs, image));
    EXPECT_EQ(image.row(2), hex("05 05 01 02 03") + ".");
    EXPECT_EQ(image.row(1), "......");
    EXPECT_EQ(image.row(0), ".." + hex("07 07 07 07"));

    struct {
        char const * codes;
        unsigned bits;
        char const * rows[2];
        long size = -1;
    } const cases[] = {
        {"0521 0000 0312 0001", 4, {"01 02 01 .", "02 01 02 01"}}, // nibbles take turns
        {"0003 1230 0001 0101", 4, {". . . .", "01 02 03 ."}},     // two bytes need no padding
        {"0005 123456 00 0101", 4, {". . . .", "01 02 03 04"}}, // three do; and it leaves the row
        {"0401 0000 0402 0000 0403", 8, {"02 02 02 02", "01 01 01 01"}}, // below the picture
        {"0002 FF00 0101 0000 0104", 8, {"04 . . .", ". . . ."}}, // far to the right, and back
        {"0401 0202 0000 0203 0304", 8, {"03 03 04 04", "01 01 01 01"}}, // runs behind a full row
        {"0102 0103 0104", 8, {". . . .", "02 03 . ."}, 4},              // the coded size ends it
        {"0102 0103 0104", 8, {". . . .", "02 03 . ."}, 3},
        {"0102 0103 0104", 8, {". . . .", ". . . ."}, 0},
        {"0102 0103", 8, {". . . .", "02 03 . ."}, 100}, // or the stream
    };
    for (auto const & c : cases) {
        PlainImage small;
        EXPECT_TRUE(readImage(coded(c.bits, 4, 2, hex(c.codes), c.size), small)) << c.codes;
        for (int y = 0; y < 2; ++y) {
            std::string expected;
            for (char const * at = c.rows[y]; *at; at += *at == ' ')
                if (*at == '.')
                    expected += *at++;
                else
                    expected += hex(std::string(at, 2)), at += 2;
            EXPECT_EQ(small.row(y), expected) << c.codes << ", row " << y;
        }
    }
}

TEST(BMPReaderWriterTest, theStreamEndsBehindTheCodes) {
    Input in(runs + "next");
    PlainImage image;
    EXPECT_TRUE(BMPReaderWriter().read_image(*in, image));
    EXPECT_EQ(in->tellg(), static_cast<long>(runs.size()));
    EXPECT_TRUE(in->good());
}

TEST(BMPReaderWriterTest, headsWithoutSenseLeaveTheImageAlone) {
    struct {
        char const * what;
        std::size_t at;
        char const * bytes;
    } const cases[] = {{"magic", 0, "4243"},
                       {"size of the header", 14, "6C"},
                       {"no width", 18, "00000000"},
                       {"negative width", 18, "FFFFFFFF"},
                       {"no height", 22, "00000000"},
                       {"from the top", 22, "FEFFFFFF"},
                       {"16 bits", 28, "1000"},
                       {"32 bits", 28, "2000"},
                       {"2 bits", 28, "0200"},
                       {"257 colours", 46, "01010000"},
                       {"4 billion colours", 46, "FFFFFFFF"},
                       {"pixels within the palette", 10, "3D000000"},
                       {"pixels within the head", 10, "00000000"},
                       {"pixels behind the file", 10, "FFFFFFFF"},
                       {"more pixels than the stream holds", 18, "00000100 00000100"},
                       {"a row without end", 18, "FFFFFF7F 01000000"},
                       {"rows without end", 18, "01000000 FFFFFF7F"}};
    for (auto const & c : cases) {
        std::string file = twoColours;
        std::string const bytes = hex(c.bytes);
        file.replace(c.at, bytes.size(), bytes);
        PlainImage image;
        EXPECT_FALSE(readImage(file, image)) << c.what;
        EXPECT_EQ(image.starts, 0) << c.what;
        file.replace(28, 4, hex("08000100")); // the same with run-length codes
        EXPECT_FALSE(c.at == 18 && readImage(file, image)) << c.what;
    }
}

TEST(BMPReaderWriterTest, filesThatAreCutShowWhatIsLeft) {
    for (std::string const & file : {trueColour, twoColours, nibbles, runs}) {
        PlainImage whole;
        ASSERT_TRUE(readImage(file, whole));
        std::size_t const pixelsAt = static_cast<unsigned char>(file[10]);
        for (std::size_t size = 0; size < file.size(); ++size) {
            PlainImage image;
            Input in(file.substr(0, size));
            EXPECT_EQ(BMPReaderWriter().read_image(*in, image), size >= pixelsAt) << size;
            EXPECT_FALSE(in->good() && size + 2 < file.size()) << size;
        }
        // The first row of the file is the last of the image.
        PlainImage image;
        Input in(file.substr(0, pixelsAt + (file == trueColour ? 12 : file == runs ? 10 : 4)));
        EXPECT_TRUE(BMPReaderWriter().read_image(*in, image));
        EXPECT_EQ(image.row(image.get_height() - 1), whole.row(image.get_height() - 1));
    }
}

TEST(BMPReaderWriterTest, infoTellsTheHead) {
    Input in(nibbles);
    std::unique_ptr<FileImageInfo> const info(BMPReaderWriter().read_info(*in));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->format, index8);
    EXPECT_EQ(info->width, 3);
    EXPECT_EQ(info->height, 1);
    EXPECT_EQ(info->palette.getCount(), 3);
    EXPECT_EQ(info->palette[2], RGB_Color(2, 2, 2));
    Input other(trueColour.substr(0, 53));
    EXPECT_EQ(BMPReaderWriter().read_info(*other), nullptr);
    // A palette takes the colours alone.
    GPalette palette;
    EXPECT_TRUE(readImage(nibbles, palette));
    EXPECT_EQ(palette.getCount(), 3);
}

TEST(BMPReaderWriterTest, aWindowIsCutOut) {
    Input in(trueColour);
    PlainImage image(rgba32);
    EXPECT_TRUE(BMPReaderWriter().read_part(*in, image, GPoint(1, 1), GPoint(2, 1)));
    EXPECT_EQ(image.bytes(), hex("00FF0000 FF000000"));
}

TEST(BMPReaderWriterTest, writesTheDepthThatThePaletteNeeds) {
    PlainImage const colours(rgb24, 3, 2, hex("FFFFFF 808080 000000 0000FF 00FF00 FF0000"));
    EXPECT_EQ(saved(colours), trueColour);

    GPalette const three = paletteOf({{0, 0, 0}, {1, 1, 1}, {2, 2, 2}});
    EXPECT_EQ(saved(PlainImage(index8, 3, 1, hex("02 01 00"), &three)), nibbles);
    GPalette const two = paletteOf({{0, 0, 0}, {1, 2, 3}});
    std::string expected = twoColours;
    expected.erase(62, 3)[10] = 0x3E; // our files have no gap, and a zero behind each colour
    expected[2] = 0x46;
    expected[61] = 0;
    EXPECT_EQ(saved(PlainImage(index8, 5, 2, hex("00 01 00 00 00 01 00 09 01 01"), &two)),
              expected);
    GPalette const seventeen(17);
    std::string const bytes = saved(PlainImage(index8, 2, 1, hex("10 0F"), &seventeen));
    EXPECT_EQ(bytes[28], 8);
    EXPECT_EQ(bytes.substr(54 + 4 * 17), hex("10 0F 00 00"));

    // Twelve colours from slot 10 on: 12 - 10 of them count, 12 + 10 are written.
    GPalette const shifted(12, 10);
    std::string const lossy = saved(PlainImage(index8, 2, 1, hex("0A 00"), &shifted));
    EXPECT_EQ(lossy[28], 1);
    EXPECT_EQ(lossy[46], 22);
    EXPECT_EQ(lossy.substr(54 + 4 * 22), hex("80 00 00 00"));

    ompstream out;
    EXPECT_FALSE(BMPReaderWriter().write_image(out, PlainImage(index8, 2, 1, "ab")));
    EXPECT_FALSE(BMPReaderWriter().write_image(out, GPalette()));
}

TEST(BMPReaderWriterTest, compressingReducesToTheColoursThatAreThere) {
    for (int colours : {1, 2, 3, 16, 17, 256, 257}) {
        std::string row, opaque;
        for (int i = 0; i < colours; ++i) {
            std::string const color = {static_cast<char>(i >> 8), static_cast<char>(i),
                                       static_cast<char>(255 - i)};
            row += color + static_cast<char>(i);
            opaque += color;
        }
        std::string const bytes = saved(PlainImage(rgba32, colours, 2, row + row), true);
        int const bits = colours < 3 ? 1 : colours < 17 ? 4 : colours < 257 ? 8 : 24;
        EXPECT_EQ(bytes[28], bits) << colours;
        PlainImage back(rgb24);
        ASSERT_TRUE(readImage(bytes, back));
        EXPECT_EQ(back.bytes(), opaque + opaque) << colours;
        if (bits < 24) {
            EXPECT_EQ((*back.get_palette())[0].red, 256 - colours) << "in order of red";
        }
    }
}

TEST(BMPReaderWriterTest, partsFillABlankFile) {
    mpstream stream;
    stream << 'x';
    BMPReaderWriter codec;
    std::unique_ptr<FileImageInfo> const info(codec.create_image_info(3, 2, index8, nullptr));
    EXPECT_TRUE(codec.write_info(stream, *info));
    PlainImage const part(rgb24, 2, 2, hex("010101 020202 030303 040404"));
    struct {
        GPoint position;
        char const * above;
        char const * below;
    } const cases[] = {{GPoint(1, 0), "000000 010101 020202", "000000 030303 040404"},
                       {GPoint(-1, -1), "040404 010101 020202", "000000 030303 040404"},
                       {GPoint(2, 1), "040404 010101 020202", "000000 030303 010101"},
                       {GPoint(3, 0), "040404 010101 020202", "000000 030303 010101"},
                       {GPoint(LONG_MAX, LONG_MAX), "040404 010101 020202", "000000 030303 010101"},
                       {GPoint(LONG_MIN, LONG_MIN), "040404 010101 020202", "000000 030303 010101"},
                       {GPoint(0, -2), "040404 010101 020202", "000000 030303 010101"}};
    for (auto const & c : cases) {
        stream.seekp(1);
        EXPECT_TRUE(codec.write_part(stream, part, *info, c.position));
        std::string const bytes(static_cast<char *>(stream.data()),
                                static_cast<std::size_t>(stream.size()));
        EXPECT_EQ(bytes, "x" + trueColour.substr(0, 54) + hex(c.below) + hex("000000") +
                             hex(c.above) + hex("000000"));
    }
    FileImageInfo foreign;
    EXPECT_FALSE(codec.write_part(stream, part, foreign, GPoint(0, 0)));
    Input in(nibbles);
    std::unique_ptr<FileImageInfo> const indexed(codec.read_info(*in));
    EXPECT_FALSE(codec.write_part(stream, part, *indexed, GPoint(0, 0)));
    for (int size : {-1, 0x7FFFFFFF}) {
        std::unique_ptr<FileImageInfo> const impossible(
            codec.create_image_info(size, size, rgb24, nullptr));
        EXPECT_FALSE(codec.write_info(stream, *impossible));
    }
}

TEST(BMPReaderWriterTest, isFoundByStreamAndName) {
    Input in(trueColour);
    std::unique_ptr<AbstractImageReaderWriter> codec(AbstractImageReaderWriter::GetReader(*in));
    ASSERT_TRUE(codec);
    EXPECT_TRUE(codec->hasTheSameClassAs(&BMPReaderWriter::metaclass_));
    codec.reset(AbstractImageReaderWriter::GetWriter("a\\b.DIB"));
    ASSERT_TRUE(codec);
    EXPECT_TRUE(codec->hasTheSameClassAs(&BMPReaderWriter::metaclass_));

    BMPReaderWriter compressing(true);
    std::string const bytes = written([&](opstream & out) { compressing.write(out); });
    EXPECT_EQ(bytes, hex("00 01"));
    Input form(hex("00 05"));
    BMPReaderWriter other;
    other.read(*form);
    EXPECT_TRUE(other.compressed());
}
