#include "kvt_grph/AbstractImageReaderWriter.h"

#include "../foundation/StreamBytes.h"
#include "image_support.h"
#include "kvt_grph/ImageHelpers.h"
#include "persistence/pstream.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>

using namespace stream_bytes;

namespace {

int living = 0;

/// Files of a "P", a width, and a row of indices that follow.
class RowCodec : public AbstractImageReaderWriter {
    G_DECLARE_CREATABLE(RowCodec)
  public:
    RowCodec() { ++living; }
    ~RowCodec() override { --living; }
    unsigned can_do() const override { return ReadsImages | ReadsParts | WritesParts; }
    void file_name_filter(ImageFileFilter & filter) const override {
        filter = ImageFileFilter("Rows (*.row)|*.row;*.r2|Single|single|");
    }
    bool is(ipstream & in) override { return in.readByte() == first(); }
    FileImageInfo * read_info(ipstream & in) override {
        if (in.readByte() != first())
            return nullptr;
        int const width = in.readByte();
        return width ? create_image_info(width, 1, AbstractImage::FormatIndex, nullptr) : nullptr;
    }
    bool read_part(ipstream & in, AbstractImage & image, GPoint from, GPoint size) override {
        in.readByte();
        std::vector<unsigned char> row(in.readByte());
        if (row.empty())
            throw std::runtime_error("no pixels");
        ImageReadHelper helper(image, AbstractImage::FormatIndex, static_cast<int>(row.size()), 1,
                               nullptr, from, size);
        in.readBytes(row.data(), static_cast<long>(row.size()));
        helper.set_line(0, 0, static_cast<int>(row.size()), row.data());
        return true;
    }
    FileImageInfo * create_image_info(int width, int height, MapFormat format,
                                      GPalette const *) override {
        auto * const info = new FileImageInfo;
        info->width = width;
        info->height = height;
        info->format = format;
        return info;
    }
    bool write_info(opstream & out, FileImageInfo const & info) override {
        out << first() << static_cast<unsigned char>(info.width);
        return true;
    }
    bool write_part(opstream & out, AbstractImage const & image, FileImageInfo & info,
                    GPoint position) override {
        std::string pixels(static_cast<std::size_t>(image.get_width()), ' ');
        image.get_color_line(0, 0, image.get_width(),
                             reinterpret_cast<unsigned char *>(&pixels[0]));
        out.seekp(2 + position.x, GIO::FromCurrent);
        out.writeBytes(pixels.data(), std::min<long>(image.get_width(), info.width - position.x));
        return true;
    }

  protected:
    virtual unsigned char first() const { return 'P'; }
};

/// A kind of RowCodec that reads whole images only, and asks for more than a short file has.
class LongRowCodec : public RowCodec {
    G_DECLARE_CREATABLE(LongRowCodec)
  public:
    unsigned can_do() const override { return ReadsImages; }
    void file_name_filter(ImageFileFilter &) const override {}
    bool is(ipstream & in) override {
        std::string head(100, ' ');
        in.readBytes(&head[0], 100);
        return head[0] == 'L';
    }
};

G_DEFINE_CREATABLE(RowCodec, "ZZ test RowCodec", AbstractImageReaderWriter)
G_DEFINE_CREATABLE(LongRowCodec, "AA test LongRowCodec", RowCodec)

bool contains(ImageReaderWriterList const & list, GMetaClass const & metaClass) {
    for (long i = 0; i < list.getCount(); ++i)
        if (list.at(i)->hasTheSameClassAs(&metaClass))
            return true;
    return false;
}

} // namespace

TEST(ImageFrameworkTest, findsDerivedClassesByTheirAbilities) {
    using Codec = AbstractImageReaderWriter;
    {
        ImageReaderWriterList list;
        int const count = Codec::GetAllInfo(list, Codec::ReadsImages, 0);
        EXPECT_EQ(count, list.getCount());
        EXPECT_TRUE(contains(list, RowCodec::metaclass_));
        EXPECT_TRUE(contains(list, LongRowCodec::metaclass_)) << "derived from a codec";
        EXPECT_STREQ(list.at(0)->getClassName(), "AA test LongRowCodec");
        Codec::GetAllInfo(list, Codec::ReadsParts, 0);
        EXPECT_FALSE(contains(list, LongRowCodec::metaclass_));
        Codec::GetAllInfo(list, Codec::ReadsImages, Codec::WritesParts);
        EXPECT_FALSE(contains(list, RowCodec::metaclass_));
        EXPECT_TRUE(contains(list, LongRowCodec::metaclass_));
    }
    EXPECT_EQ(living, 0);
}

TEST(ImageFrameworkTest, readsFromWhereTheStreamStandsAndTriesLeaveNoTrace) {
    Input in(hex("FF FF 50 02 07 08"));
    in->seekg(2);
    // The long codec, which is asked first, runs into the end: neither state nor exception tells.
    in->generate_exception_on(pstream::EofBit | pstream::ReadFailedBit);
    std::unique_ptr<AbstractImageReaderWriter> const reader(
        AbstractImageReaderWriter::GetReader(*in));
    ASSERT_TRUE(reader);
    EXPECT_TRUE(reader->hasTheSameClassAs(&RowCodec::metaclass_));
    EXPECT_EQ(in->tellg(), 2);

    AbstractImageReaderWriter * used = nullptr;
    std::unique_ptr<FileImageInfo> const info(AbstractImageReaderWriter::ReadInfo(*in, &used));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->width, 2);
    EXPECT_EQ(in->tellg(), 2);
    delete used;

    PlainImage image;
    EXPECT_TRUE(AbstractImageReaderWriter::Read(*in, image));
    EXPECT_EQ(image.bytes(), hex("07 08"));
    EXPECT_EQ(image.stops, 1);
    in->seekg(2);
    EXPECT_TRUE(AbstractImageReaderWriter::ReadPart(*in, image, GPoint(1, 0), GPoint(2, 1)));
    EXPECT_EQ(image.bytes(), hex("08") + ".");
    EXPECT_TRUE(in->good());
}

TEST(ImageFrameworkTest, unknownAndBrokenFilesLeakNoCodec) {
    PlainImage image;
    AbstractImageReaderWriter * used = nullptr;
    for (char const * bytes : {"", "4D", "50 00"}) {
        Input in(hex(bytes));
        EXPECT_EQ(AbstractImageReaderWriter::ReadInfo(*in, &used), nullptr);
        EXPECT_EQ(used, nullptr);
    }
    Input unknown(hex("4D"));
    EXPECT_EQ(AbstractImageReaderWriter::GetReader(*unknown), nullptr);
    EXPECT_FALSE(AbstractImageReaderWriter::Read(*unknown, image));
    Input broken(hex("50 00"));
    EXPECT_THROW(AbstractImageReaderWriter::Read(*broken, image), std::runtime_error);
    EXPECT_EQ(living, 0);
}

TEST(ImageFrameworkTest, writersAreFoundByNames) {
    struct {
        char const * name;
        bool known;
    } const cases[] = {{"pictures.row\\a.ROW", true}, {"a.r2", true},  {"single", true},
                       {"a.row\\b.x", false},         {"Rows", false}, {"", false}};
    for (auto const & c : cases) {
        std::unique_ptr<AbstractImageReaderWriter> const writer(
            AbstractImageReaderWriter::GetPartWriter(c.name));
        EXPECT_EQ(writer != nullptr, c.known) << c.name;
    }
    EXPECT_EQ(AbstractImageReaderWriter::GetWriter("a.row"), nullptr) << "writes only parts";
    EXPECT_FALSE(AbstractImageReaderWriter::CompareExtensions("a.b", "no bar *.b"));
}

TEST(ImageFrameworkTest, partsAreWrittenOverTheFileInTheStream) {
    mpstream stream;
    stream << 'x';
    FileImageInfo info;
    info.width = 4;
    EXPECT_TRUE(AbstractImageReaderWriter::WriteInfo(stream, info, "a.row"));
    stream.writeBytes("abcd", 4);
    stream.seekp(1);
    PlainImage const part(AbstractImage::FormatIndex, 2, 1, "BC");
    EXPECT_TRUE(AbstractImageReaderWriter::WritePart(stream, part, GPoint(1, 0)));
    EXPECT_EQ(stream.tellp(), 1);
    EXPECT_EQ(std::string(static_cast<char *>(stream.data()), 7), "xP\4aBCd");
    stream.seekp(2);
    EXPECT_FALSE(AbstractImageReaderWriter::WritePart(stream, part, GPoint(1, 0)));
}

TEST(ImageFileFilterTest, isTakenApart) {
    ImageFileFilter const filter("Some (*.a;*.b)|*.a;;*.b|");
    EXPECT_EQ(filter.get_display_string(), "Some (*.a;*.b)");
    EXPECT_EQ(filter.get_patterns(), "*.a;;*.b");
    TGVector<GString> extensions;
    filter.get_extensions(extensions);
    ASSERT_EQ(extensions.getCount(), 2);
    EXPECT_EQ(extensions.at(1), "*.b");
    EXPECT_EQ(filter.get_default_extension(), "*.a");
    EXPECT_EQ(ImageFileFilter("text").get_default_extension(), "");
}

namespace {

using Format = AbstractImage::MapFormat;

/// One line of a file through a helper into an image of that format.
std::string converted(Format from, GPalette const * palette, std::string line, Format to,
                      GPalette const * targetPalette = nullptr) {
    PlainImage image(to, 1, 1, "", targetPalette);
    int const count = static_cast<int>(line.size()) / AbstractImage::bytesPerPixel(from);
    {
        ImageReadHelper helper(image, from, count, 1, palette);
        helper.set_line(0, 0, count, reinterpret_cast<unsigned char *>(&line[0]));
    }
    EXPECT_EQ(image.stops, 1);
    // The other way the same conversion runs from an image to a file, whose palette is given.
    PlainImage const source(from, count, 1, line, palette);
    ImageWriteHelper helper(source, to, count, 1, palette ? palette : targetPalette);
    std::string written(image.bytes().size(), '.');
    helper.get_line(0, 0, count, reinterpret_cast<unsigned char *>(&written[0]));
    EXPECT_EQ(written, image.bytes());
    return image.bytes();
}

} // namespace

TEST(ImageHelpersTest, convertBetweenAllLayouts) {
    constexpr Format index = AbstractImage::FormatIndex, rgb = AbstractImage::FormatRGB,
                     rgba = AbstractImage::FormatRGBAlpha;
    GPalette const palette = paletteOf({{0, 0, 0}, {3, 2, 1}, {6, 5, 4}});
    EXPECT_EQ(converted(rgb, nullptr, hex("040506 010203"), rgb), hex("040506 010203"));
    EXPECT_EQ(converted(rgb, nullptr, hex("040506 010203"), rgba), hex("04050600 01020300"));
    EXPECT_EQ(converted(rgba, nullptr, hex("040506FF 010203FE"), rgb), hex("040506 010203"));
    EXPECT_EQ(converted(index, &palette, hex("02 01 FF"), rgb), hex("040506 010203 000000"));
    EXPECT_EQ(converted(index, &palette, hex("02 01"), rgba), hex("04050600 01020300"));
    EXPECT_EQ(converted(rgb, nullptr, hex("040507 010203"), index, &palette), hex("02 01"));
    EXPECT_EQ(converted(rgba, nullptr, hex("04050700 000001FF"), index, &palette), hex("02 00"));
    EXPECT_EQ(converted(rgb, nullptr, hex("040507 010203"), index), hex("00 00"));
    EXPECT_EQ(converted(index, nullptr, hex("02 01"), rgb), hex("000000 000000"));
    EXPECT_EQ(converted(index, nullptr, hex("02 01"), index), hex("02 01"));
}

TEST(ImageHelpersTest, indicesGoByTheirColours) {
    GPalette const file = paletteOf({{0, 0, 0}, {10, 10, 10}, {20, 20, 20}});
    GPalette const own = paletteOf({{20, 20, 20}, {11, 11, 11}, {0, 0, 0}});
    PlainImage const source(AbstractImage::FormatIndex, 3, 1, hex("00 01 02"), &own);
    ImageWriteHelper helper(source, AbstractImage::FormatIndex, 3, 1, &file);
    unsigned char line[3];
    helper.get_line(0, 0, 3, line);
    EXPECT_EQ(std::string(line, line + 3), hex("02 01 00"));
}

TEST(ImageHelpersTest, aWindowTakesOnlyWhatLiesInIt) {
    PlainImage image(AbstractImage::FormatRGBAlpha);
    ImageReadHelper helper(image, AbstractImage::FormatRGB, 9, 9, nullptr, GPoint(2, 3),
                           GPoint(2, 2));
    std::string line = hex("000001 000002 000003 000004 000005 000006");
    auto * const pixels = reinterpret_cast<unsigned char *>(&line[0]);
    helper.set_line(0, 2, 6, pixels);
    helper.set_line(0, 3, 6, pixels);
    helper.set_line(3, 4, 6, pixels);
    helper.set_line(4, 4, 2, pixels);
    helper.set_line(-5, 4, 2, pixels);
    helper.set_line(0, 5, 6, pixels);
    EXPECT_EQ(image.row(0), hex("00000300 00000400"));
    EXPECT_EQ(image.row(1), "...." + hex("00000100"));
    EXPECT_EQ(image.lines, 2);

    for (long const far : {LONG_MIN, LONG_MAX}) {
        PlainImage empty;
        ImageReadHelper away(empty, AbstractImage::FormatRGB, 9, 9, nullptr, GPoint(far, far),
                             GPoint(2, 2));
        away.set_line(-1, 0, 6, pixels);
        EXPECT_EQ(empty.lines, 0);
    }
}
