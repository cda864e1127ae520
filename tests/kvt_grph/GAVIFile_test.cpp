#include "kvt_grph/GAVIFile.h"

#include "../TemporaryDirectory.h"
#include "../foundation/StreamBytes.h"
#include "kvt_grph/Rle8.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace stream_bytes;

namespace {

using Map = std::unique_ptr<PixelMap>;

std::string contentOf(std::string const & file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void writeFile(std::string const & file, std::string const & bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

std::string word(std::size_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>(value >> 8 * i);
    return bytes;
}
std::string chunk(std::string const & id, std::string const & content) {
    return id + word(content.size()) + content + std::string(content.size() % 2, '\0');
}
std::string list(std::string const & type, std::string const & content) {
    return chunk("LIST", type + content);
}

/// A movie put together by hand: `format` is the bitmap's head, `movi` the chunks of the frames.
std::string movie(std::string const & format, std::string const & movi,
                  std::string const & index = "") {
    std::string const stream = "vids" + std::string(52, '\0');
    std::string const sound = "auds" + std::string(52, '\0');
    std::string const head =
        chunk("avih", std::string(56, '\0')) +
        list("strl", chunk("strh", sound) + chunk("strf", std::string(18, '\0'))) +
        list("strl", chunk("strh", stream) + chunk("strf", format));
    return chunk("RIFF", "AVI " + list("hdrl", head) + list("movi", movi) + index);
}

std::string bitmapHead(int width, int height, int bits, int compression = 0, int colors = 0) {
    return word(40) + word(std::size_t(width)) + word(std::size_t(height)) +
           std::string("\1\0", 2) + static_cast<char>(bits) + '\0' +
           word(std::size_t(compression)) + word(0) + word(0) + word(0) +
           word(std::size_t(colors)) + word(0);
}

PixelMap picture(std::mt19937 & random, int width, int height, AbstractImage::MapFormat format) {
    GPalette palette(256);
    for (int i = 0; i < 256; ++i)
        palette.set_color(static_cast<unsigned char>(i),
                          RGB_Color(static_cast<unsigned char>(i),
                                    static_cast<unsigned char>(3 * i),
                                    static_cast<unsigned char>(7 * i)));
    PixelMap map(width, height, format, &palette);
    std::fill_n(map.get_pixels_address(), map.get_size(), static_cast<unsigned char>(0));
    // Runs of random length, so that both ways of packing are used.
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width;) {
            RGBA_Color const color(static_cast<unsigned char>(random()),
                                   static_cast<unsigned char>(random()), 9,
                                   static_cast<unsigned char>(random()));
            for (int n = int(random() % 9); n >= 0 && x < width; --n, ++x)
                if (format == AbstractImage::FormatIndex)
                    map.set_pixel(x, y, color.red);
                else
                    map.set_pixel(x, y, color);
        }
    return map;
}

void expectSame(PixelMap const & a, PixelMap const & b) {
    ASSERT_EQ(a.get_width(), b.get_width());
    ASSERT_EQ(a.get_height(), b.get_height());
    for (int y = 0; y < a.get_height(); ++y)
        for (int x = 0; x < a.get_width(); ++x)
            ASSERT_EQ(a.get_rgba(x, y), b.get_rgba(x, y)) << x << ", " << y;
}

GAVICompressionOptions runOptions() {
    BITMAPINFO format = {};
    format.bmiHeader.biCompression = 1;
    GAVICompressionOptions options;
    options.set_output_format(&format);
    return options;
}

TEST(Rle8, RunsLiteralsMovesAndEndsDecodeAsTheFormatSays) {
    std::vector<unsigned char> pixels(4 * 3, 7);
    std::string const data =
        hex("02 01  00 03 0A0B0C 00"    // two of 1; three as they are, one too many
            "00 00  00 02 01 01  01 05" // next row; right and up; one of 5
            "00 01  04 09");            // end: the rest does not count
    ondrel_detail::decodeRle8(reinterpret_cast<unsigned char const *>(data.data()), data.size(),
                              pixels.data(), 4, 3, 4);
    EXPECT_EQ(pixels, (std::vector<unsigned char>{1, 1, 0x0A, 0x0B, 7, 7, 7, 7, 7, 5, 7, 7}));
}

TEST(Rle8, AnyPictureComesBackAndAnyBytesAreSafe) {
    std::mt19937 random(3);
    for (int round = 0; round < 200; ++round) {
        int const width = 1 + int(random() % 600), height = 1 + int(random() % 4);
        std::vector<unsigned char> pixels(std::size_t(width * height)), back(pixels.size());
        unsigned const variety = 1 + random() % 4;
        for (unsigned char & pixel : pixels)
            pixel = static_cast<unsigned char>(random() % variety * (random() % 3 ? 1 : 40));
        std::vector<unsigned char> data;
        ondrel_detail::encodeRle8(pixels.data(), width, height, width, data);
        ondrel_detail::decodeRle8(data.data(), data.size(), back.data(), width, height, width);
        ASSERT_EQ(back, pixels) << round;
        for (unsigned char & byte : data)
            if (random() % 4 == 0)
                byte = static_cast<unsigned char>(random());
        ondrel_detail::decodeRle8(data.data(), data.size(), back.data(), width, height, width);
    }
}

class MovieTest : public ::testing::Test {
  protected:
    TemporaryDirectory folder;
    std::string file = folder.name("movie.avi");
    std::mt19937 random{5};

    /// A file of four frames of 30 by 11 pixels, in parts level and in parts noise.
    std::string randomFrames() {
        std::string bytes;
        for (int i = 0; i < 4 * 30 * 11 * 3; ++i)
            bytes += static_cast<char>(i % 7 < 3 ? i / 990 * 50 : random() % 256);
        return folder.put("source.raw", bytes);
    }
    std::string const rawInput = "-f rawvideo -pix_fmt bgr24 -s 30x11 -r 15 -i ";
};

TEST_F(MovieTest, FramesComeBackInEveryFormatAndInAnyOrder) {
    for (AbstractImage::MapFormat const format : {1, 2, 3, 5}) {
        std::vector<Map> frames;
        for (int i = 0; i < 5; ++i)
            frames.push_back(std::make_unique<PixelMap>(
                picture(random, 13, 7, AbstractImage::layoutOf(format))));
        {
            GOutputAVIFile out;
            if (format == 5)
                out.set_options(runOptions());
            ASSERT_TRUE(out.open(file.c_str()));
            EXPECT_FALSE(out.open(file.c_str()));
            for (Map const & frame : frames)
                ASSERT_TRUE(out.put_map(*frame));
            PixelMap const other(13, 8, AbstractImage::layoutOf(format));
            EXPECT_FALSE(out.put_map(other)) << "of another size";
        }
        GInputAVIFile in(file.c_str());
        ASSERT_TRUE(in.is_open());
        EXPECT_EQ(in.get_frame_count(), 5);
        for (long const i : {0, 1, 4, 2, 2, 3}) {
            Map const map(in.get_map(i));
            ASSERT_TRUE(map);
            EXPECT_EQ(map->get_format(), AbstractImage::layoutOf(format));
            expectSame(*map, *frames[std::size_t(i)]);
            EXPECT_EQ(in.get_nearest_key_frame(i), i);
        }
        EXPECT_EQ(in.get_map(5), nullptr);
        EXPECT_EQ(in.get_map(-1), nullptr);
    }
}

TEST_F(MovieTest, AMovieThatWasNotClosedPlaysAsFarAsItWasWritten) {
    PixelMap const frame = picture(random, 9, 5, AbstractImage::FormatRGB);
    GOutputAVIFile out(file.c_str());
    ASSERT_TRUE(out.put_map(frame));
    ASSERT_TRUE(out.put_map(frame));
    std::string const half = contentOf(file);
    out.close();
    std::string const cut = folder.name("cut.avi");
    writeFile(cut, half);
    GInputAVIFile in(cut.c_str());
    ASSERT_EQ(in.get_frame_count(), 2);
    Map const map(in.get_map(1));
    expectSame(*map, frame);
}

TEST_F(MovieTest, FramesOfFewBitsAndThoseFromTheTopAreDecoded) {
    std::string const colors = hex("00000000 0000FF00 00FF0000 FF000000");
    struct {
        std::string format, frame;
        std::vector<unsigned long> pixels; // as COLORREF, two rows of two, the top one first
    } const cases[] = {
        {bitmapHead(2, 2, 1, 0, 2) + colors, hex("80000000 40000000"), {0, 0xFF, 0xFF, 0}},
        {bitmapHead(2, 2, 4, 0, 4) + colors, hex("12000000 30000000"), {0xFF0000, 0, 0xFF, 0xFF00}},
        {bitmapHead(2, 2, 16), hex("1F00 007C E003 FF7F"), {0xFF00, 0xFFFFFF, 0xFF0000, 0xFF}},
        {bitmapHead(2, -2, 24),
         hex("010203 040506 0000 070809 0A0B0C 0000"),
         {0x010203, 0x040506, 0x070809, 0x0A0B0C}},
        {bitmapHead(2, -2, 32),
         hex("01020300 04050600 07080900 0A0B0C00"),
         {0x010203, 0x040506, 0x070809, 0x0A0B0C}},
    };
    for (auto const & c : cases) {
        writeFile(file, movie(c.format, chunk("00wb", "sound") + chunk("01db", c.frame)));
        GInputAVIFile in(file.c_str());
        ASSERT_TRUE(in.is_open());
        ASSERT_EQ(in.get_frame_count(), 1);
        Map const map(in.get_map(0));
        ASSERT_TRUE(map);
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(map->get_pixel(i % 2, i / 2).get_color_ref(), c.pixels[std::size_t(i)])
                << map->get_format() << " at " << i;
    }
}

TEST_F(MovieTest, FramesInRunsStandOnTheLastKeyFrame) {
    std::string const colors(1024, '\x11');
    std::string const frames = chunk("01dc", hex("04 01 00 01")) + // all 1
                               list("rec ", chunk("01dc", hex("00 02 01 00 01 02 00 01"))) +
                               chunk("01dc", "") + chunk("01dc", hex("04 05 00 01"));
    std::string const index =
        chunk("idx1", "01dc" + word(16) + word(4) + word(4) + "00wb" + word(16) + word(0) +
                          word(0) + "01dc" + word(0) + word(0) + word(0) + "01dc" + word(0) +
                          word(0) + word(0) + "01dc" + word(16) + word(0) + word(0));
    writeFile(file, movie(bitmapHead(4, 1, 8, 1) + colors, frames, index));
    GInputAVIFile in(file.c_str());
    ASSERT_EQ(in.get_frame_count(), 4);
    EXPECT_EQ(in.get_nearest_key_frame(2), 0);
    EXPECT_EQ(in.get_nearest_key_frame(3), 3);
    std::string const wanted[] = {hex("01010101"), hex("01020101"), hex("01020101"),
                                  hex("05050505")};
    for (long const i : {2, 0, 1, 3}) {
        Map const map(in.get_map(i));
        ASSERT_TRUE(map);
        EXPECT_EQ(std::string(reinterpret_cast<char *>(map->get_pixels_address()), 4),
                  wanted[std::size_t(i)]);
    }
}

TEST_F(MovieTest, FramesThatRepeatTheOneBeforeAreTheSameInAnyOrder) {
    std::string const frame = "01db";
    std::string const index = "01db" + word(16) + word(0) + word(0);
    std::string const colors(1024, '\x11');
    std::string const plain = chunk(frame, "AAAA") + chunk(frame, "") + chunk(frame, "CCCC");
    std::string const part =
        chunk(frame, hex("02 41 00 01")) + chunk(frame, "") + chunk(frame, hex("04 43 00 01"));
    struct {
        int compression;
        std::string frames, first;
    } const cases[] = {{0, plain, "AAAA"}, {1, part, std::string("AA\0\0", 4)}};
    for (auto const & c : cases) {
        writeFile(file, movie(bitmapHead(4, 1, 8, c.compression) + colors, c.frames,
                              chunk("idx1", index + index + index)));
        GInputAVIFile in(file.c_str());
        ASSERT_EQ(in.get_frame_count(), 3);
        for (long const i : {0, 2, 1, 2, 0}) {
            Map const map(in.get_map(i));
            ASSERT_TRUE(map);
            EXPECT_EQ(std::string(reinterpret_cast<char *>(map->get_pixels_address()), 4),
                      i == 2 ? "CCCC" : c.first)
                << c.compression << ", " << i;
        }
    }
}

TEST_F(MovieTest, DamagedFilesAreRefusedOrPlayedAsFarAsTheyGo) {
    std::string const whole = movie(bitmapHead(4, 3, 8, 1) + std::string(1024, 'c'),
                                    chunk("01dc", hex("04 01 00 00 04 02 00 00 04 03 00 01")) +
                                        chunk("01dc", hex("0001")));
    for (std::size_t size = 0; size <= whole.size(); size += size < 400 ? 1 : 37) {
        writeFile(file, whole.substr(0, size));
        GInputAVIFile in(file.c_str());
        for (long i = 0; i < in.get_frame_count(); ++i)
            Map(in.get_map(i));
    }
    for (int round = 0; round < 400; ++round) {
        std::string bytes = whole;
        for (unsigned n = 1 + random() % 4; n > 0; --n)
            bytes[random() % bytes.size()] = static_cast<char>(random() % 3 ? random() : 0xFF);
        writeFile(file, bytes);
        GInputAVIFile in(file.c_str());
        for (long i = 0; i < std::min(in.get_frame_count(), 4L); ++i)
            Map(in.get_map(i));
    }
    for (std::string const & format :
         {bitmapHead(60000, 60000, 32), bitmapHead(4, 4, 7), bitmapHead(4, 4, 24, 1),
          bitmapHead(0, 4, 8), bitmapHead(4, -0x7FFFFFFF - 1, 8),
          bitmapHead(4, 4, 24, 0x34363248)}) {
        writeFile(file, movie(format, chunk("01db", "frame")));
        EXPECT_FALSE(GInputAVIFile(file.c_str()).is_open());
    }
    EXPECT_FALSE(GInputAVIFile(folder.name("absent").c_str()).is_open());
}

TEST_F(MovieTest, TheWrittenFileHasTheSizesAndTheIndexThatPlayersNeed) {
    PixelMap map(1, 1, AbstractImage::FormatRGB);
    std::fill_n(map.get_pixels_address(), 4, static_cast<unsigned char>(0));
    map.set_pixel(0, 0, RGB_Color(3, 2, 1));
    {
        GOutputAVIFile out(file.c_str());
        out.put_map(map);
    }
    std::string const stream = "vidsDIB " + hex("00000000 00000000 00000000 01000000 0F000000"
                                                "00000000 01000000 04000000 FFFFFFFF 00000000"
                                                "00000000 01000100");
    std::string const format =
        word(40) + word(1) + word(1) + hex("0100 1800") + word(0) + word(4) + std::string(16, '\0');
    std::string const head =
        chunk("avih", word(66666) + word(60) + word(0) + word(16) + word(1) + word(0) + word(1) +
                          word(4) + word(1) + word(1) + std::string(16, '\0')) +
        list("strl", chunk("strh", stream) + chunk("strf", format));
    EXPECT_EQ(contentOf(file),
              chunk("RIFF", "AVI " + list("hdrl", head) +
                                list("movi", chunk("00db", hex("01020300"))) +
                                chunk("idx1", "00db" + word(16) + word(4) + word(4))));
}

bool hasFfmpeg() {
    return std::system("ffmpeg -version >/dev/null 2>&1") == 0;
}
bool ffmpeg(std::string const & arguments) {
    return std::system(("ffmpeg -v error -y " + arguments + " </dev/null").c_str()) == 0;
}

TEST_F(MovieTest, OthersPlayWhatIsWritten) {
    if (!hasFfmpeg())
        GTEST_SKIP() << "ffmpeg is not installed";
    for (AbstractImage::MapFormat const format : {1, 2, 3, 5}) {
        PixelMap const frame = picture(random, 22, 10, AbstractImage::layoutOf(format));
        {
            GOutputAVIFile out;
            if (format == 5)
                out.set_options(runOptions());
            ASSERT_TRUE(out.open(file.c_str()));
            for (int i = 0; i < 3; ++i)
                ASSERT_TRUE(out.put_map(frame));
        }
        std::string const raw = folder.name("frames.raw");
        ASSERT_TRUE(ffmpeg("-i " + file + " -f rawvideo -pix_fmt bgr24 " + raw));
        std::string const bytes = contentOf(raw);
        ASSERT_EQ(bytes.size(), 3u * 22 * 10 * 3);
        for (int i = 0; i < 22 * 10; ++i) {
            RGB_Color const color = frame.get_pixel(i % 22, i / 22);
            std::string const wanted{char(color.blue), char(color.green), char(color.red)};
            ASSERT_EQ(bytes.substr(std::size_t(2 * 220 + i) * 3, 3), wanted) << format << ", " << i;
        }
    }
}

TEST_F(MovieTest, WhatOthersWriteIsPlayed) {
    if (!hasFfmpeg())
        GTEST_SKIP() << "ffmpeg is not installed";
    std::string const source = randomFrames();
    std::string const bytes = contentOf(source);
    for (std::string const pixels : {"bgr24", "bgra"}) {
        ASSERT_TRUE(ffmpeg(rawInput + source + " -c:v rawvideo -pix_fmt " + pixels + " " + file));
        GInputAVIFile movie(file.c_str());
        ASSERT_EQ(movie.get_frame_count(), 4) << pixels;
        Map const map(movie.get_map(3));
        for (int i = 0; i < 330; ++i) {
            RGB_Color const color = map->get_pixel(i % 30, i / 30);
            std::string const there{char(color.blue), char(color.green), char(color.red)};
            ASSERT_EQ(there, bytes.substr(std::size_t(990 + i) * 3, 3)) << pixels << ", " << i;
        }
    }
}

TEST_F(MovieTest, RunsThatOthersWriteArePlayed) {
    if (std::system("ffmpeg -v error -h encoder=msrle 2>/dev/null | grep -q '^Encoder'") != 0)
        GTEST_SKIP() << "there is no ffmpeg that writes runs";
    std::string const source = randomFrames();
    ASSERT_TRUE(ffmpeg(rawInput + source + " -c:v msrle -pix_fmt pal8 " + file));
    // Compared by way of the colours that both sides see.
    std::string const raw = folder.name("back.raw");
    ASSERT_TRUE(ffmpeg("-i " + file + " -f rawvideo -pix_fmt bgr24 " + raw));
    std::string const back = contentOf(raw);
    GInputAVIFile movie(file.c_str());
    ASSERT_EQ(movie.get_frame_count(), 4);
    for (long frame = 0; frame < 4; ++frame) {
        Map const map(movie.get_map(frame));
        for (int i = 0; i < 330; ++i) {
            RGB_Color const color = map->get_pixel(i % 30, i / 30);
            std::string const there{char(color.blue), char(color.green), char(color.red)};
            ASSERT_EQ(there, back.substr(std::size_t(frame * 330 + i) * 3, 3))
                << frame << ", " << i;
        }
    }
}

TEST(GAVICompressionOptions, WhatIsTakenOverReplacesAllThatWasSetBefore) {
    GAVICompressionOptions options = runOptions();
    COMPVARS values;
    options.get_options(values);
    options.set_options(values); // by its own pointers
    AVICOMPRESSOPTIONS told;
    options.get_options(told);
    EXPECT_TRUE(options.wants_runs());
    EXPECT_EQ(told.cbFormat, 40u);
    COMPVARS plain;
    GAVICompressionOptions().get_options(plain);
    options.set_options(plain);
    options.get_options(told);
    EXPECT_FALSE(options.wants_runs());
    EXPECT_EQ(told.lpFormat, nullptr);
    options = runOptions();
    options.set_output_format(nullptr);
    EXPECT_FALSE(options.wants_runs());
}

TEST(GAVICompressionOptions, StreamsOfAllVersionsAreRead) {
    GAVICompressionOptions const options = runOptions();
    std::string const compressor = word(64) + word(0) + word(0) + "vidcmrle" + word(0) + word(0) +
                                   word(0) + word(0) + word(0) + word(1) + word(0) + word(10000) +
                                   word(0) + word(0) + word(0);
    std::string const output =
        word(0) + word(0) + word(0) + word(0) + word(1) + std::string(20, '\0');
    std::string const front = compressor + '\1' + word(40) + output;
    EXPECT_EQ(written([&](opstream & out) { out << options; }),
              '\2' + front + std::string(1064, '\0') + '\0');
    for (std::string const & bytes :
         {'\0' + front, '\1' + front + std::string(1064, '\0'),
          '\2' + front + std::string(1064, '\0') + '\1' + word(3) + "abc"}) {
        GAVICompressionOptions back;
        Input in(bytes + "E");
        *in >> back;
        EXPECT_TRUE(back.wants_runs());
        EXPECT_EQ(in->readByte(), 'E') << "nothing too much, nothing too little";
        COMPVARS values;
        back.get_options(values);
        EXPECT_EQ(values.cbState, bytes[0] == 2 ? 3 : 0);
        EXPECT_EQ(values.lQ, 10000);
    }
    GAVICompressionOptions hostile;
    Input in('\2' + compressor + '\1' + word(0xFFFFFFFF) + "x");
    *in >> hostile;
    COMPVARS values;
    hostile.get_options(values);
}

} // namespace
