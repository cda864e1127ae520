#include "kvt_grph/Tga_rdwr.h"

#include "../foundation/StreamBytes.h"
#include "image_support.h"
#include "persistence/pstream.h"

#include <gtest/gtest.h>

using namespace stream_bytes;

namespace {

constexpr auto index8 = AbstractImage::FormatIndex;
constexpr auto rgb24 = AbstractImage::FormatRGB;
constexpr auto rgba32 = AbstractImage::FormatRGBAlpha;

// 2 x 2, 24 bits, from the bottom up, with an identification of three characters.
std::string const trueColour = hex("03 00 02 0000 0000 00 0000 0000 0200 0200 18 00 414243"
                                   "0000FF 00FF00 FF0000 FFFFFF");
// 2 x 1 with alpha, from the top.
std::string const withAlpha = hex("00 00 02 0000 0000 00 0000 0000 0200 0100 20 20"
                                  "01020304 05060708");
// 2 x 1 in 15 bits, from right to left.
std::string const words = hex("00 00 02 0000 0000 00 0000 0000 0200 0100 0F 30 FFFF 0304");
// 3 x 1, indices, a map of three colours from slot 5 on.
std::string const mapped = hex("00 01 01 0500 0300 18 0000 0000 0300 0100 08 20"
                               "000001 000002 000003 050607");
// 3 x 2, run-length coded, from the bottom up: four of a colour, two literals.
std::string const packets = hex("00 00 0A 0000 0000 00 0000 0000 0300 0200 18 00"
                                "83 010203 01 040506 070809");
// 3 x 3, indices, from the top and from right to left: literals and runs that cross rows.
std::string const mappedPackets = hex("00 01 09 0000 0200 20 0000 0000 0300 0300 08 30"
                                      "00000000 FFFFFF00 04 0102030405 83 07");

bool readImage(std::string const & file, AbstractImage & image) {
    Input in(file);
    return TGAReaderWriter().read_image(*in, image);
}

std::string saved(AbstractImage const & image) {
    return written([&](opstream & out) { EXPECT_TRUE(TGAReaderWriter().write_image(out, image)); });
}

} // namespace

TEST(TGAReaderWriterTest, readsRawFiles) {
    PlainImage image;
    ASSERT_TRUE(readImage(trueColour, image));
    EXPECT_EQ(image.get_format(), rgb24);
    EXPECT_EQ(image.row(0), hex("FF0000 FFFFFF"));
    EXPECT_EQ(image.row(1), hex("0000FF 00FF00"));
    EXPECT_EQ(image.starts, 1);
    EXPECT_EQ(image.stops, 1);

    PlainImage alpha;
    ASSERT_TRUE(readImage(withAlpha, alpha));
    EXPECT_EQ(alpha.get_format(), rgba32);
    EXPECT_EQ(alpha.bytes(), hex("01020304 05060708"));

    PlainImage fiveBits; // 0x0403: the lowest red bit but none, blue 3
    ASSERT_TRUE(readImage(words, fiveBits));
    EXPECT_EQ(fiveBits.bytes(), hex("180008 F8F8F8"));

    PlainImage indices;
    ASSERT_TRUE(readImage(mapped, indices));
    EXPECT_EQ(indices.get_format(), index8);
    EXPECT_EQ(indices.bytes(), hex("05 06 07"));
    GPalette const & palette = *indices.get_palette();
    EXPECT_EQ(palette.getFirst(), 5);
    EXPECT_EQ(palette.getCount(), 3);
    EXPECT_EQ(palette[7], RGB_Color(3, 0, 0));
    EXPECT_EQ(palette[8], RGB_Color(0, 0, 0));
}

TEST(TGAReaderWriterTest, packetsRunAcrossRows) {
    PlainImage image;
    ASSERT_TRUE(readImage(packets, image));
    EXPECT_EQ(image.row(1), hex("010203 010203 010203"));
    EXPECT_EQ(image.row(0), hex("010203 040506 070809"));
    PlainImage indices;
    ASSERT_TRUE(readImage(mappedPackets, indices));
    EXPECT_EQ(indices.bytes(), hex("03 02 01 07 05 04 07 07 07"));

    std::string file = withAlpha; // a repeated pixel that goes on and on
    file[2] = 10;
    file.replace(12, 4, hex("0500 1000"));
    file.replace(18, 8, hex("CF 01020304"));
    PlainImage many;
    Input in(file + "next");
    ASSERT_TRUE(TGAReaderWriter().read_image(*in, many));
    std::string expected;
    for (int i = 0; i < 80; ++i)
        expected += hex("01020304");
    EXPECT_EQ(many.bytes(), expected);
    EXPECT_EQ(in->tellg(), static_cast<long>(file.size()));
}

TEST(TGAReaderWriterTest, colourMapsAreReadInEveryDepth) {
    struct {
        char const * head; // first slot, length, bits
        char const * map;
        RGB_Color last;
    } const cases[] = {{"0000 0200 0F", "0000 FF7F", {0xF8, 0xF8, 0xF8}},
                       {"0000 0200 10", "0000 E083", {0, 0xF8, 0}},
                       {"0000 0200 18", "000000 010203", {3, 2, 1}},
                       {"0000 0200 20", "00000000 010203FF", {3, 2, 1}},
                       {"FF00 0200 18", "010203 FFFFFF", {0, 0, 0}},  // slot 256 is dropped
                       {"0001 0200 18", "010203 FFFFFF", {0, 0, 0}}}; // and slot 257
    for (auto const & c : cases) {
        std::string file = mapped.substr(0, 18) + hex(c.map) + hex("000102");
        file.replace(3, 5, hex(c.head));
        PlainImage image;
        ASSERT_TRUE(readImage(file, image)) << c.head;
        EXPECT_EQ((*image.get_palette())[1], c.last) << c.head;
        EXPECT_EQ(image.bytes(), hex("00 01 02")) << c.head;
    }
    std::string file = mapped.substr(0, 18) + hex("010203 FFFFFF 000102");
    file.replace(3, 5, hex("FF00 0200 18"));
    PlainImage image;
    ASSERT_TRUE(readImage(file, image));
    EXPECT_EQ((*image.get_palette())[255], RGB_Color(3, 2, 1));
    file[1] = 0; // indices into nothing
    file.replace(3, 5, hex("0000 0000 00"));
    PlainImage bare;
    ASSERT_TRUE(readImage(file, bare));
    EXPECT_EQ(bare.get_palette(), nullptr);
    EXPECT_EQ(bare.bytes(), hex("01 02 03"));
}

TEST(TGAReaderWriterTest, headsWithoutSenseLeaveTheImageAlone) {
    struct {
        char const * what;
        std::size_t at;
        char const * bytes;
        bool is = false;
    } const cases[] = {{"map type", 1, "02"},
                       {"map without a type", 5, "0100"},
                       {"map of 8 bits", 1, "01 02 0000 0100 08"},
                       {"map of 257 colours", 1, "01 02 0000 0101 18"},
                       {"map from slot 257", 1, "01 02 0101 0000 18"},
                       {"map that is not there", 1, "01 02 0000 0001 18", true},
                       {"greys", 2, "03"},
                       {"coded greys", 2, "0B"},
                       {"no picture, coded", 2, "08"},
                       {"unknown type", 2, "20"},
                       {"12 bits", 16, "0C"},
                       {"true colour of 8 bits", 16, "08", true},
                       {"more pixels than the stream holds", 12, "FFFF FFFF", true}};
    for (auto const & c : cases) {
        std::string file = trueColour;
        std::string const bytes = hex(c.bytes);
        file.replace(c.at, bytes.size(), bytes);
        Input in(file);
        EXPECT_EQ(TGAReaderWriter().is(*in), c.is) << c.what;
        PlainImage image;
        EXPECT_FALSE(readImage(file, image)) << c.what;
        if (file[2] == 2)
            file[2] = 10;
        EXPECT_FALSE(readImage(file, image)) << c.what;
        EXPECT_EQ(image.starts, 0) << c.what;
    }
    PlainImage image;
    EXPECT_TRUE(readImage(std::string(16, '\0') + hex("08 00"), image)) << "no picture, no failure";
    EXPECT_EQ(image.starts, 0);
}

TEST(TGAReaderWriterTest, filesThatAreCutShowWhatIsLeft) {
    struct {
        std::string file;
        std::size_t pixelsAt;
    } const cases[] = {{trueColour, 21}, {withAlpha, 18}, {words, 18},
                       {mapped, 27},     {packets, 18},   {mappedPackets, 26}};
    for (auto const & c : cases)
        for (std::size_t size = 0; size < c.file.size(); ++size) {
            PlainImage image;
            Input in(c.file.substr(0, size));
            EXPECT_EQ(TGAReaderWriter().read_image(*in, image), size >= c.pixelsAt) << size;
            EXPECT_FALSE(in->good()) << size;
        }
    PlainImage image;
    EXPECT_TRUE(readImage(packets.substr(0, 26), image));
    EXPECT_EQ(image.row(1), hex("010203 010203 010203"));
    EXPECT_EQ(image.row(0), hex("010203 040506 000000"));
}

TEST(TGAReaderWriterTest, infoTellsTheHead) {
    struct {
        std::string file;
        AbstractImage::MapFormat format;
        int colours;
    } const cases[] = {{trueColour, rgb24, 0}, {withAlpha, rgba32, 0},     {words, rgb24, 0},
                       {packets, rgb24, 0},    {mappedPackets, index8, 2}, {mapped, index8, 3}};
    for (auto const & c : cases) {
        Input in(c.file);
        std::unique_ptr<FileImageInfo> const info(TGAReaderWriter().read_info(*in));
        ASSERT_TRUE(info);
        EXPECT_EQ(info->format, c.format);
        EXPECT_EQ(info->palette.getCount(), c.colours);
        EXPECT_EQ(info->width, c.file[12]);
        EXPECT_EQ(info->height, c.file[14]);
    }
    std::string file = mapped; // of colours, with a map that is not for them
    file[2] = 2;
    file[16] = 24;
    Input colours(file);
    std::unique_ptr<FileImageInfo> const info(TGAReaderWriter().read_info(*colours));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->format, rgb24);
    EXPECT_EQ(info->palette.getCount(), 0);
    Input none(std::string(16, '\0') + hex("08 00"));
    EXPECT_EQ(TGAReaderWriter().read_info(*none), nullptr);
    Input window(trueColour);
    PlainImage image;
    EXPECT_TRUE(TGAReaderWriter().read_part(*window, image, GPoint(1, 0), GPoint(1, 2)));
    EXPECT_EQ(image.bytes(), hex("FFFFFF 00FF00"));
}

TEST(TGAReaderWriterTest, writesRawFilesWithAFooter) {
    std::string const footer = std::string(8, '\0') + "TRUEVISION-TARGA." + '\0';
    EXPECT_EQ(saved(PlainImage(rgba32, 2, 1, hex("01020304 05060708"))), withAlpha + footer);
    std::string const head = hex("00 00 02 0000 0000 00 0000 0000 0200 0100 18 20");
    EXPECT_EQ(saved(PlainImage(rgb24, 2, 1, hex("010203 040506"))),
              head + hex("010203 040506") + footer);
    GPalette const palette = paletteOf({{3, 2, 1}, {6, 5, 4}});
    EXPECT_EQ(saved(PlainImage(index8, 2, 1, hex("01 00"), &palette)),
              head + hex("040506 010203") + footer);

    ompstream out;
    EXPECT_FALSE(
        TGAReaderWriter().write_image(out, PlainImage(index8, 65536, 1, std::string(65536, ' '))));
    FileImageInfo info;
    info.width = -1;
    EXPECT_FALSE(TGAReaderWriter().write_info(out, info));
}

TEST(TGAReaderWriterTest, partsFillABlankFile) {
    TGAReaderWriter codec;
    for (auto const format : {rgb24, rgba32}) {
        mpstream stream;
        stream << 'x';
        std::unique_ptr<FileImageInfo> const info(codec.create_image_info(2, 2, format, nullptr));
        EXPECT_TRUE(codec.write_info(stream, *info));
        PlainImage const part(rgba32, 1, 3, hex("01010109 02020208 03030307"));
        stream.seekp(1);
        EXPECT_TRUE(codec.write_part(stream, part, *info, GPoint(1, -1)));
        bool const alpha = format == rgba32;
        std::string const bytes(static_cast<char *>(stream.data()) + 19, alpha ? 16 : 12);
        EXPECT_EQ(bytes, alpha ? hex("00000000 02020208 00000000 03030307")
                               : hex("000000 020202 000000 030303"));
    }
    // The rows of a file stand in any order.
    struct {
        char const * descriptor;
        char const * pixels;
    } const cases[] = {{"00", "000000 222222 000000 111111"},
                       {"10", "222222 000000 111111 000000"},
                       {"30", "111111 000000 222222 000000"}};
    for (auto const & c : cases) {
        std::string const head =
            hex("00 00 02 0000 0000 00 0000 0000 0200 0200 18") + hex(c.descriptor);
        mpstream stream;
        stream.writeBytes((head + std::string(12, '\0')).data(), 30);
        stream.seekp(0);
        PlainImage const part(rgb24, 1, 2, hex("111111 222222"));
        EXPECT_TRUE(AbstractImageReaderWriter::WritePart(stream, part, GPoint(1, 0)));
        std::string const bytes(static_cast<char *>(stream.data()) + 18, 12);
        EXPECT_EQ(bytes, hex(c.pixels)) << c.descriptor;
    }
    ompstream out;
    PlainImage const part(rgb24, 1, 1, "abc");
    for (std::string const & file : {packets, mapped, words}) {
        Input in(file);
        std::unique_ptr<FileImageInfo> const info(codec.read_info(*in));
        EXPECT_FALSE(codec.write_part(out, part, *info, GPoint(0, 0)));
    }
}

TEST(TGAReaderWriterTest, isFoundByStreamAndName) {
    Input in(mappedPackets);
    std::unique_ptr<AbstractImageReaderWriter> codec(AbstractImageReaderWriter::GetReader(*in));
    ASSERT_TRUE(codec);
    EXPECT_TRUE(codec->hasTheSameClassAs(&TGAReaderWriter::metaclass_));
    codec.reset(AbstractImageReaderWriter::GetWriter("x.TGA"));
    ASSERT_TRUE(codec);
    EXPECT_TRUE(codec->hasTheSameClassAs(&TGAReaderWriter::metaclass_));
    EXPECT_EQ(written([&](opstream & out) { codec->write(out); }), hex("00"));
}
