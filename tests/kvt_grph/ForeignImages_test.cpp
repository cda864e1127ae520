// Files of other programs must come out as these programs show them, and ours must look to them as
// they were. ImageMagick and netpbm are asked where they are installed; PAM is the common ground.
#include "../TemporaryDirectory.h"
#include "image_support.h"
#include "kvt_grph/Bmp_rdwr.h"
#include "kvt_grph/Tga_rdwr.h"
#include "persistence/fpstream.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

namespace {

constexpr int width = 37, height = 23;
constexpr auto index8 = AbstractImage::FormatIndex;
constexpr auto rgb24 = AbstractImage::FormatRGB;
constexpr auto rgba32 = AbstractImage::FormatRGBAlpha;

bool runs(std::string const & command) {
    return std::system(("{ " + command + "; } >/dev/null 2>&1 </dev/null").c_str()) == 0;
}
bool hasImageMagick() {
    return runs("convert -list format | grep -q BMP3");
}
bool hasNetpbm() {
    return runs("pamtotga --version") && runs("ppmtobmp --version") && runs("tgatoppm --version");
}

/// Long runs, and parts without any, of that many colours.
std::string indexPicture(int colours) {
    std::string pixels;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            bool const calm = (x * 7 + y * 3) % 11 < 8;
            int const index = calm ? x / 5 + y * y / 3 : x * 31 + y * 17;
            pixels += static_cast<char>(index % colours);
        }
    return pixels;
}
RGB_Color colourOf(unsigned char index) {
    return RGB_Color(static_cast<unsigned char>(index * 67),
                     static_cast<unsigned char>(index * 29 + 5),
                     static_cast<unsigned char>(255 - index));
}
GPalette paletteOf(int colours) {
    GPalette palette(colours);
    for (int i = 0; i < colours; ++i)
        palette.set_color(static_cast<unsigned char>(i), colourOf(static_cast<unsigned char>(i)));
    return palette;
}
/// The picture in colours; alpha, if any, is three times the index.
PlainImage picture(int colours, AbstractImage::MapFormat format) {
    std::string pixels;
    for (char const index : indexPicture(colours)) {
        auto const i = static_cast<unsigned char>(index);
        RGB_Color const color = colourOf(i);
        pixels += static_cast<char>(color.blue);
        pixels += static_cast<char>(color.green);
        pixels += static_cast<char>(color.red);
        if (format == rgba32)
            pixels += static_cast<char>(i * 3);
    }
    return PlainImage(format, width, height, pixels);
}

/// A PAM of an image in colours.
std::string toPam(PlainImage const & image) {
    bool const alpha = image.get_format() == rgba32;
    std::ostringstream pam;
    pam << "P7\nWIDTH " << image.get_width() << "\nHEIGHT " << image.get_height() << "\nDEPTH "
        << (alpha ? 4 : 3) << "\nMAXVAL 255\nTUPLTYPE " << (alpha ? "RGB_ALPHA" : "RGB")
        << "\nENDHDR\n";
    std::string const & bytes = image.bytes();
    std::size_t const size = alpha ? 4 : 3;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        pam << bytes[at + 2] << bytes[at + 1] << bytes[at];
        if (alpha)
            pam << bytes[at + 3];
    }
    return pam.str();
}

/// The pixels of a PPM or PAM, whatever stands in its head.
std::string pixelsOf(std::string const & file, std::size_t size) {
    return file.size() < size ? "too short" : file.substr(file.size() - size);
}

struct Kind {
    char const * command; // from in.pam to out.bmp or out.tga
    int colours;
    int typeAt, type; // the byte of the file that tells the kind, for the test to be about it
    AbstractImage::MapFormat format = AbstractImage::FormatRGB;
    bool fiveBits = false;
};

/// Has the other program write the file, and compares what we and it read from it.
void readForeign(Kind const & kind, std::string const & file, std::string const & toPpm) {
    TemporaryDirectory const directory;
    directory.put("in.pam", toPam(picture(kind.colours, kind.format)));
    std::string const in = "cd '" + directory.name() + "' && ";
    ASSERT_TRUE(runs(in + kind.command)) << kind.command;
    std::string const bytes = directory.content(file);
    ASSERT_GT(bytes.size(), 18u) << kind.command;
    EXPECT_EQ(bytes[static_cast<std::size_t>(kind.typeAt)], kind.type) << kind.command;

    PlainImage image(kind.format);
    ifpstream stream(directory.name(file).c_str(), GIO::ReadMode, GFileIO::ExistingOnly,
                     GFileIO::ShareRead);
    ASSERT_TRUE(AbstractImageReaderWriter::Read(stream, image)) << kind.command;
    EXPECT_TRUE(stream.good()) << kind.command;
    ASSERT_TRUE(runs("cd '" + directory.name() + "' && " + toPpm)) << toPpm;
    std::string const ours = toPam(image);
    std::size_t const size = image.bytes().size();
    std::string theirs = pixelsOf(directory.content("out.ppm"), size);
    if (kind.fiveBits)
        for (char & c : theirs)
            c = static_cast<char>(c << 3);
    EXPECT_TRUE(pixelsOf(ours, size) == theirs) << kind.command;
}

/// Writes the image, and compares what the other program reads.
void writeForForeign(AbstractImage const & image, std::string const & file,
                     AbstractImageReaderWriter & codec, std::string const & toPpm,
                     std::string const & expected) {
    TemporaryDirectory const directory;
    {
        ofpstream stream(directory.name(file).c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                         GFileIO::ShareNone);
        ASSERT_TRUE(codec.write_image(stream, image));
    }
    ASSERT_TRUE(runs("cd '" + directory.name() + "' && " + toPpm)) << toPpm;
    EXPECT_TRUE(pixelsOf(directory.content("out.ppm"), expected.size()) == expected)
        << file << ", " << toPpm;
}

/// All kinds that we write, through the programs that read BMP and TGA.
void writeAllForForeign(std::string const & fromBmp, std::string const & fromTga) {
    TGAReaderWriter tga;
    for (int colours : {2, 13, 200}) {
        PlainImage const image = picture(colours, rgb24);
        std::string const pixels = pixelsOf(toPam(image), image.bytes().size());
        for (bool const compressed : {false, true}) {
            BMPReaderWriter bmp(compressed);
            writeForForeign(image, "in.bmp", bmp, fromBmp, pixels);
        }
        GPalette const palette = paletteOf(colours);
        PlainImage const indices(index8, width, height, indexPicture(colours), &palette);
        BMPReaderWriter bmp;
        writeForForeign(indices, "in.bmp", bmp, fromBmp, pixels);
        writeForForeign(indices, "in.tga", tga, fromTga, pixels);
        writeForForeign(image, "in.tga", tga, fromTga, pixels);
    }
}

} // namespace

TEST(ForeignImagesTest, filesOfImageMagick) {
    if (!hasImageMagick())
        GTEST_SKIP() << "ImageMagick's convert is not installed";
    Kind const bitmaps[] = {
        {"convert in.pam -type TrueColor BMP3:out.bmp", 200, 28, 24},
        {"convert in.pam -monochrome BMP3:out.bmp", 13, 28, 1},
        {"convert in.pam -type Palette BMP3:out.bmp", 2, 28, 1},
        {"convert in.pam -type Palette BMP3:out.bmp", 13, 28, 4},
        {"convert in.pam -type Palette -compress None BMP3:out.bmp", 200, 30, 0},
        {"convert in.pam -type Palette -compress RLE BMP3:out.bmp", 200, 30, 1}};
    for (Kind const & kind : bitmaps)
        readForeign(kind, "out.bmp", "convert out.bmp -depth 8 PPM:out.ppm");
    // The rows stand as they are told to, whatever the head says: the reader must turn them.
    Kind const targas[] = {
        {"convert in.pam -type TrueColor -orient TopLeft TGA:out.tga", 200, 2, 2},
        {"convert in.pam -type TrueColor -orient BottomLeft TGA:out.tga", 200, 17, 0},
        {"convert in.pam -type TrueColor -orient TopRight TGA:out.tga", 200, 17, 0x30},
        {"convert in.pam -type TrueColor -compress RLE TGA:out.tga", 13, 2, 10},
        {"convert in.pam -type Palette -orient BottomRight TGA:out.tga", 200, 2, 1},
        {"convert in.pam -type Palette -compress RLE TGA:out.tga", 13, 2, 9},
        {"convert in.pam -type TrueColorAlpha TGA:out.tga", 80, 16, 32, rgba32},
        {"convert in.pam -type TrueColorAlpha -compress RLE TGA:out.tga", 13, 2, 10, rgba32}};
    for (Kind const & kind : targas)
        readForeign(kind, "out.tga", "convert out.tga -auto-orient -depth 8 PAM:out.ppm");
}

TEST(ForeignImagesTest, filesOfNetpbm) {
    if (!hasNetpbm())
        GTEST_SKIP() << "netpbm's pamtotga, ppmtobmp and tgatoppm are not installed";
    Kind const bitmaps[] = {{"pamtopnm in.pam | ppmtobmp -bpp=1 >out.bmp", 2, 28, 1},
                            {"pamtopnm in.pam | ppmtobmp -bpp=4 >out.bmp", 13, 28, 4},
                            {"pamtopnm in.pam | ppmtobmp -bpp=8 >out.bmp", 200, 28, 8},
                            {"pamtopnm in.pam | ppmtobmp -bpp=24 >out.bmp", 200, 28, 24}};
    for (Kind const & kind : bitmaps)
        readForeign(kind, "out.bmp", "bmptopnm out.bmp | pnmtopnm >out.ppm");
    Kind const targas[] = {{"pamtotga -rgb -norle in.pam >out.tga", 200, 2, 2},
                           {"pamtotga -rgb in.pam >out.tga", 13, 2, 10},
                           {"pamtotga -cmap -norle in.pam >out.tga", 200, 2, 1},
                           {"pamtotga -cmap in.pam >out.tga", 13, 2, 9},
                           {"pamtotga -cmap16 in.pam >out.tga", 13, 7, 15, rgb24, true}};
    for (Kind const & kind : targas)
        readForeign(kind, "out.tga", "tgatoppm out.tga >out.ppm");
}

TEST(ForeignImagesTest, oursAreReadByImageMagick) {
    if (!hasImageMagick())
        GTEST_SKIP() << "ImageMagick's convert is not installed";
    writeAllForForeign("convert in.bmp -depth 8 PPM:out.ppm",
                       "convert in.tga -auto-orient -depth 8 PPM:out.ppm");
    PlainImage const image = picture(80, rgba32);
    TGAReaderWriter tga;
    writeForForeign(image, "in.tga", tga, "convert in.tga -auto-orient -depth 8 PAM:out.ppm",
                    pixelsOf(toPam(image), image.bytes().size()));
}

TEST(ForeignImagesTest, oursAreReadByNetpbm) {
    if (!hasNetpbm())
        GTEST_SKIP() << "netpbm's pamtotga, ppmtobmp and tgatoppm are not installed";
    writeAllForForeign("bmptopnm in.bmp | pnmtopnm >out.ppm", "tgatoppm in.tga >out.ppm");
}
