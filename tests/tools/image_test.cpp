// Pictures and films from the command line. The files are written out here byte by byte, and what
// comes back is read by plain offsets.
#include "tests/tools/program_support.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <functional>

using Names = std::vector<std::string>;
using Pixel = std::array<int, 4>; // red, green, blue, alpha

namespace {

std::string word(unsigned value) {
    return {static_cast<char>(value), static_cast<char>(value >> 8)};
}
std::string dword(unsigned value) {
    return word(value & 0xFFFF) + word(value >> 16);
}

using Painter = std::function<Pixel(int x, int y)>;

/// Top row first, in 24 or 32 bits.
std::string targa(int width, int height, int bits, Painter const & paint) {
    std::string file("\0\0\2\0\0\0\0\0\0\0\0\0", 12);
    file += word(static_cast<unsigned>(width)) + word(static_cast<unsigned>(height));
    file += static_cast<char>(bits);
    file += bits == 32 ? '\x28' : '\x20';
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            Pixel const p = paint(x, y);
            for (int const byte : {p[2], p[1], p[0], p[3]})
                file += static_cast<char>(byte);
            if (bits == 24)
                file.pop_back();
        }
    return file;
}

/// Of 8 bits, with the colours that are given.
std::string bitmap(int width, int height, std::vector<Pixel> const & colors,
                   std::function<int(int x, int y)> const & paint) {
    auto const stride = static_cast<unsigned>(width + 3) & ~3u;
    auto const count = static_cast<unsigned>(colors.size());
    unsigned const begin = 54 + 4 * count;
    std::string file = "BM" + dword(begin + stride * static_cast<unsigned>(height)) + dword(0);
    file += dword(begin) + dword(40) + dword(static_cast<unsigned>(width));
    file += dword(static_cast<unsigned>(height)) + word(1) + word(8) + dword(0) + dword(0);
    file += dword(0) + dword(0) + dword(count) + dword(0);
    for (Pixel const & p : colors)
        for (int const byte : {p[2], p[1], p[0], 0})
            file += static_cast<char>(byte);
    for (int y = height - 1; y >= 0; --y)
        for (unsigned x = 0; x < stride; ++x)
            file += static_cast<char>(
                x < static_cast<unsigned>(width) ? paint(static_cast<int>(x), y) : 0);
    return file;
}

/// A pixel of a Targa file that was written from the top, or of a bitmap of 24 or 1, 4, 8 bits.
Pixel pixelOf(std::string const & file, int x, int y) {
    auto const byte = [&](std::size_t at) {
        return at < file.size() ? static_cast<unsigned char>(file[at]) : -1;
    };
    auto const size = [&](std::size_t at) {
        return static_cast<std::size_t>(byte(at) + 256 * byte(at + 1));
    };
    auto const column = static_cast<std::size_t>(x), row = static_cast<std::size_t>(y);
    if (file.compare(0, 2, "BM") != 0) {
        std::size_t const bytes = size(16) % 256 / 8;
        std::size_t const at = 18 + (row * size(12) + column) * bytes;
        return {byte(at + 2), byte(at + 1), byte(at), bytes == 4 ? byte(at + 3) : 0};
    }
    std::size_t const bits = size(28), stride = (size(18) * bits + 31) / 32 * 4;
    std::size_t const at = size(10) + (size(22) - 1 - row) * stride + column * bits / 8;
    std::size_t const shift = 8 - bits - column * bits % 8;
    std::size_t const color =
        bits == 24 ? at : 54 + 4 * static_cast<std::size_t>(byte(at) >> shift & ((1 << bits) - 1));
    return {byte(color + 2), byte(color + 1), byte(color), 0};
}

Pixel many(int x, int y) {
    return {x * 40, y * 50, x * y * 9, 255 - x * 30};
}

std::vector<Pixel> const fewColors = {{250, 0, 0, 0}, {0, 240, 0, 0}, {0, 0, 230, 0}};
int few(int x, int y) {
    return (x + y) % 3;
}

void expectPixels(std::string const & file, int width, int height, Painter const & expected,
                  bool alpha) {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            Pixel pixel = expected(x, y);
            if (!alpha)
                pixel[3] = 0;
            ASSERT_EQ(pixelOf(file, x, y), pixel) << x << ", " << y;
        }
}

} // namespace

TEST(Image, InfoTellsWhatItCanOfSeveralFiles) {
    TemporaryDirectory directory;
    directory.put("a.tga", targa(5, 4, 32, many));
    directory.put("b.bmp", bitmap(7, 3, fewColors, few));
    directory.put("text", "no picture, but long enough for any head of one\n");
    EXPECT_EQ(runProgram(directory, {"image", "info", "a.tga", "b.bmp"}).out,
              "a.tga: TGA, 5 x 4, 32 bits\nb.bmp: BMP, 7 x 3, 3 colours\n");
    Outcome const run = runProgram(directory, {"image", "info", "--json", "text", "b.bmp"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("text is no image"), std::string::npos) << run.err;
    auto const json = nlohmann::json::parse(run.out);
    ASSERT_EQ(json.size(), 2u);
    EXPECT_TRUE(json[0].contains("problem"));
    EXPECT_EQ(json[1], (nlohmann::json{{"file", "b.bmp"},
                                       {"kind", "BMP"},
                                       {"width", 7},
                                       {"height", 3},
                                       {"format", "index"},
                                       {"colors", 3}}));
}

TEST(Image, ConvertKeepsPixelsAndAlpha) {
    TemporaryDirectory directory;
    directory.put("a.tga", targa(5, 4, 32, many));
    EXPECT_EQ(runProgram(directory, {"image", "convert", "a.tga", "b.tga"}).status, 0);
    expectPixels(directory.content("b.tga"), 5, 4, many, true);
    EXPECT_EQ(runProgram(directory, {"image", "convert", "a.tga", "b.bmp"}).status, 0);
    expectPixels(directory.content("b.bmp"), 5, 4, many, false);
    // In place, and with no more colours than a palette has.
    EXPECT_EQ(runProgram(directory, {"image", "convert", "-fc", "b.bmp", "b.bmp"}).status, 0);
    EXPECT_EQ(directory.content("b.bmp")[28], 8);
    expectPixels(directory.content("b.bmp"), 5, 4, many, false);
    EXPECT_EQ(namesIn(directory), (Names{"a.tga", "b.bmp", "b.tga"}));
}

TEST(Image, ConvertKeepsIndicesBeyondThePalette) {
    TemporaryDirectory directory;
    // Of three colours a file needs four bits, which could not tell index 19 from 3.
    directory.put("a.bmp", bitmap(4, 2, fewColors, [](int x, int) { return x == 3 ? 19 : x; }));
    EXPECT_EQ(runProgram(directory, {"image", "convert", "a.bmp", "b.bmp"}).status, 0);
    for (int x = 0; x < 3; ++x)
        EXPECT_EQ(pixelOf(directory.content("b.bmp"), x, 1),
                  fewColors[static_cast<std::size_t>(x)]);
    EXPECT_EQ(pixelOf(directory.content("b.bmp"), 3, 1), (Pixel{0, 0, 0, 0}));
}

TEST(Image, ConvertMapsToThePaletteOfAPictureOrAFile) {
    TemporaryDirectory directory;
    directory.put("few.bmp", bitmap(3, 1, fewColors, few));
    std::string plt = "PLT3" + word(3);
    for (Pixel const & p : fewColors)
        for (int const byte : {p[2], p[1], p[0]})
            plt += static_cast<char>(byte);
    directory.put("few.plt", plt);
    directory.put("few.tga", targa(3, 2, 24, [](int x, int y) {
                      return fewColors[static_cast<std::size_t>(few(x, y))];
                  }));
    directory.put("a.tga", targa(5, 4, 32, many));
    directory.put("b.bmp",
                  bitmap(2, 1, {{9, 9, 99, 0}, {88, 8, 8, 0}}, [](int x, int) { return x; }));
    auto const nearest = [](int x, int y) {
        auto const distance = [&](Pixel const & p) {
            Pixel const q = many(x, y);
            int sum = 0;
            for (std::size_t i = 0; i < 3; ++i)
                sum += (p[i] - q[i]) * (p[i] - q[i]);
            return sum;
        };
        Pixel best = *std::min_element(
            fewColors.begin(), fewColors.end(),
            [&](Pixel const & p, Pixel const & q) { return distance(p) < distance(q); });
        best[3] = many(x, y)[3];
        return best;
    };
    for (char const * palette : {"few.bmp", "few.plt", "few.tga"}) {
        EXPECT_EQ(runProgram(directory, {"image", "convert", "a.tga", "c.bmp", "-fp", palette}).err,
                  "");
        EXPECT_EQ(directory.content("c.bmp")[46], 3) << palette;
        expectPixels(directory.content("c.bmp"), 5, 4, nearest, false);
    }
    EXPECT_EQ(runProgram(directory, {"image", "convert", "a.tga", "c.tga", "-p", "few.plt"}).err,
              "");
    expectPixels(directory.content("c.tga"), 5, 4, nearest, true);
    EXPECT_EQ(runProgram(directory, {"image", "convert", "b.bmp", "c.bmp", "-fp", "few.plt"}).err,
              "");
    EXPECT_EQ(pixelOf(directory.content("c.bmp"), 0, 0), fewColors[2]);
    EXPECT_EQ(pixelOf(directory.content("c.bmp"), 1, 0), fewColors[0]);
}

TEST(Image, ConvertResizesByAverageOrByPicking) {
    TemporaryDirectory directory;
    directory.put("a.tga", targa(4, 2, 32, [](int x, int y) {
                      return Pixel{x * 10, y * 100, 8, x * 20 + y * 40};
                  }));
    directory.put("b.bmp", bitmap(4, 2, fewColors, [](int x, int) { return x / 2 * 2; }));
    auto const convert = [&](Names arguments) {
        arguments.insert(arguments.begin(), {"image", "convert", "-f"});
        EXPECT_EQ(runProgram(directory, arguments).err, "");
    };
    convert({"a.tga", "c.tga", "--resize", "2x1"});
    EXPECT_EQ(pixelOf(directory.content("c.tga"), 0, 0), (Pixel{5, 50, 8, 30}));
    EXPECT_EQ(pixelOf(directory.content("c.tga"), 1, 0), (Pixel{25, 50, 8, 70}));
    convert({"a.tga", "c.tga", "--resize", "2x1", "--fast"});
    EXPECT_EQ(pixelOf(directory.content("c.tga"), 1, 0), (Pixel{20, 0, 8, 40}));
    convert({"a.tga", "c.tga", "--resize", "4x2"});
    EXPECT_EQ(pixelOf(directory.content("c.tga"), 3, 1), (Pixel{30, 100, 8, 100}));
    // The average of red and blue is in the other palette, not in the own one.
    directory.put("purple.bmp", bitmap(2, 1, {{0, 255, 0, 0}, {120, 0, 120, 0}}, few));
    convert({"b.bmp", "c.bmp", "--resize", "1x1", "-p", "purple.bmp"});
    EXPECT_EQ(pixelOf(directory.content("c.bmp"), 0, 0), (Pixel{120, 0, 120, 0}));
}

TEST(Image, TellsWhatCannotBeDoneAndLeavesNothing) {
    TemporaryDirectory directory;
    std::string const whole = targa(5, 4, 32, many);
    directory.put("a.tga", whole);
    directory.put("cut.tga", whole.substr(0, 60));
    directory.put("bomb.tga", whole.substr(0, 12) + "\xFF\xFF\xFF\xFF" + whole.substr(16));
    directory.put("wide.tga", targa(300, 1, 24, [](int x, int) {
                      return Pixel{x % 256, x / 256, 0, 0};
                  }));
    directory.put("taken.bmp", "as it was");
    struct {
        Names arguments;
        int status;
        char const * text;
    } const cases[] = {
        {{"convert", "a.tga", "taken.bmp"}, 3, "--force"},
        {{"convert", "nothing.bmp", "b.bmp"}, 3, "nothing.bmp: there is no such file"},
        {{"convert", "cut.tga", "taken.bmp", "-f"}, 2, "cut.tga is cut off"},
        {{"convert", "bomb.tga", "b.bmp"}, 2, "65535 x 65535"},
        {{"convert", "taken.bmp", "b.bmp"}, 2, "taken.bmp is no image"},
        {{"convert", "a.tga", "b.png"}, 64, "b.png"},
        {{"convert", "a.tga", "b.tga", "--compressed"}, 64, "--compressed"},
        {{"convert", "a.tga", "b.tga", "--fast"}, 64, "--resize"},
        {{"convert", "a.tga", "b.tga", "--resize", "5x"}, 64, "5x is no size"},
        {{"convert", "a.tga", "b.tga", "--resize", "70000x1"}, 3, "70000 x 1"},
        {{"convert", "a.tga", "b.tga", "--palette", "wide.tga"}, 3, "more than 256 colours"},
        {{"film", "make", "b.avi", "a.tga", "wide.tga"}, 3, "wide.tga is 300 x 1"},
        {{"film", "make", "b.avi", "a.tga", "cut.tga"}, 2, "cut.tga is cut off"},
        {{"film", "make", "b.avi", "a.tga", "--runs"}, 64, "--palette"},
        {{"film", "make", "taken.bmp", "a.tga"}, 3, "--force"},
        {{"film", "split", "a.tga", "frames"}, 2, "a.tga is no film"},
        {{"film", "split", "nothing.avi", "frames"}, 3, "nothing.avi: there is no such file"},
    };
    for (auto const & now : cases) {
        Names arguments = now.arguments;
        arguments.insert(arguments.begin(), "image");
        Outcome const run = runProgram(directory, arguments);
        EXPECT_EQ(run.status, now.status) << now.text;
        EXPECT_NE(run.err.find(now.text), std::string::npos) << run.err;
    }
    EXPECT_EQ(directory.content("taken.bmp"), "as it was");
    EXPECT_EQ(namesIn(directory), (Names{"a.tga", "bomb.tga", "cut.tga", "taken.bmp", "wide.tga"}));
}

TEST(Image, FramesComeBackOutOfAFilm) {
    TemporaryDirectory directory;
    directory.put("0.bmp", bitmap(5, 4, fewColors, few));
    directory.put("1.tga", targa(5, 4, 32, many));
    directory.put("2.bmp", bitmap(5, 4, {{1, 2, 3, 0}, {7, 8, 9, 0}, {4, 5, 6, 0}}, few));
    auto const run = [&](Names arguments) {
        arguments.insert(arguments.begin(), {"image", "film"});
        Outcome const outcome = runProgram(directory, arguments);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.status, 0);
        return outcome.out;
    };
    auto const paint = [](int x, int y) { return fewColors[static_cast<std::size_t>(few(x, y))]; };
    auto const opaque = [&](int x, int y) {
        Pixel pixel = paint(x, y);
        pixel[3] = 255;
        return pixel;
    };
    // Alpha in one frame, palettes of their own in others: 32 bits.
    run({"make", "a.avi", "0.bmp", "1.tga", "2.bmp"});
    auto const json = nlohmann::json::parse(run({"split", "a.avi", "a/", "--json"}));
    EXPECT_EQ(json["files"], (Names{"frame0000.tga", "frame0001.tga", "frame0002.tga"}));
    expectPixels(directory.content("a/frame0000.tga"), 5, 4, opaque, true);
    expectPixels(directory.content("a/frame0001.tga"), 5, 4, many, true);
    // Two palettes: 24 bits, into a folder that is there.
    std::filesystem::create_directory(directory.path() / "b");
    run({"make", "b.avi", "0.bmp", "2.bmp"});
    run({"split", "b.avi", "b"});
    expectPixels(directory.content("b/frame0000.bmp"), 5, 4, paint, false);
    EXPECT_EQ(pixelOf(directory.content("b/frame0001.bmp"), 1, 0), (Pixel{7, 8, 9, 0}));
    // One palette, or one for all: 8 bits.
    run({"make", "c.avi", "0.bmp", "0.bmp", "--runs"});
    run({"split", "c.avi", "c", "--kind", "tga"});
    expectPixels(directory.content("c/frame0001.tga"), 5, 4, paint, false);
    run({"make", "c.avi", "-f", "2.bmp", "1.tga", "-p", "0.bmp"});
    EXPECT_EQ(runProgram(directory, {"image", "info", "c.avi"}).out,
              "c.avi: AVI, 5 x 4, 256 colours, 2 frames\n");
    EXPECT_EQ(namesIn(directory),
              (Names{"0.bmp", "1.tga", "2.bmp", "a", "a.avi", "b", "b.avi", "c", "c.avi"}));
}

TEST(Image, SplitTakesNoFolderThatIsInUseAndSavesWhatACutFilmHolds) {
    TemporaryDirectory directory;
    directory.put("1.tga", targa(5, 4, 24, many));
    ASSERT_EQ(runProgram(directory, {"image", "film", "make", "a.avi", "1.tga", "1.tga"}).status,
              0);
    directory.put("frames/note", "as it was");
    directory.put("frames/frame0001.bmp", "former");
    EXPECT_EQ(runProgram(directory, {"image", "film", "split", "a.avi", "frames"}).status, 3);
    EXPECT_EQ(directory.content("frames/frame0001.bmp"), "former");
    EXPECT_EQ(runProgram(directory, {"image", "film", "split", "a.avi", "frames", "-f"}).status, 0);
    expectPixels(directory.content("frames/frame0001.bmp"), 5, 4, many, false);
    EXPECT_EQ(directory.content("frames/note"), "as it was");
    std::string const film = directory.content("a.avi");
    directory.put("cut.avi", film.substr(0, film.size() - 60));
    Outcome const run = runProgram(directory, {"image", "film", "split", "cut.avi", "cut"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("cut.avi is cut off"), std::string::npos) << run.err;
    expectPixels(directory.content("cut/frame0000.bmp"), 5, 4, many, false);
    EXPECT_EQ(namesIn(directory), (Names{"1.tga", "a.avi", "cut", "cut.avi", "frames"}));
}
