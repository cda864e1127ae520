// `image`: what a picture is, and pictures of one kind, size or palette into another.
#include "Image.h"

#include "Files.h"
#include "Json.h"

#include "kvt_grph/GAVIFile.h"
#include "kvt_grph/PixelMapTools.h"
#include "kvt_grph/Tga_rdwr.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <vector>

namespace tool {

namespace {

struct Size {
    int width = 0, height = 0;
};

struct Options {
    std::vector<std::string> files;
    std::string input, output, palette, size;
    bool compressed = false;
    bool fast = false;
    bool force = false;
    bool json = false;
};

// Telling what files are.

struct Facts {
    std::string kind;
    int width = 0, height = 0;
    AbstractImage::MapFormat format = AbstractImage::FormatNone;
    int colors = 0;
    long frames = -1; // of a film
};

bool isFilm(std::string const & name) {
    Source source(name);
    char head[12] = {};
    return source.gread(head, sizeof head) == sizeof head && std::memcmp(head, "RIFF", 4) == 0 &&
           std::memcmp(head + 8, "AVI ", 4) == 0;
}

Facts factsOfFilm(std::string const & name) {
    GInputAVIFile film;
    if (!film.open(name.c_str()))
        throw Failure(Damaged, name + " is damaged, or its frames are stored in a way that is not "
                                      "known");
    Facts facts{"AVI", film.get_width(), film.get_height()};
    facts.frames = film.get_frame_count();
    std::unique_ptr<PixelMap> const map(film.get_map(0));
    if (map)
        facts.format = map->get_format();
    facts.colors = film.get_palette().getCount();
    return facts;
}

Facts factsOf(std::string const & name) {
    if (isFilm(name))
        return factsOfFilm(name);
    PictureFile const picture(name);
    FileImageInfo const & info = picture.info();
    return {picture.kind(), info.width, info.height, info.format, info.palette.getCount()};
}

void print(std::string const & name, Facts const & facts) {
    std::printf("%s: %s, %d x %d", name.c_str(), facts.kind.c_str(), facts.width, facts.height);
    switch (AbstractImage::layoutOf(facts.format)) {
        case AbstractImage::FormatIndex:
            std::printf(", %d colours", facts.colors);
            break;
        case AbstractImage::FormatRGB:
            std::printf(", 24 bits");
            break;
        case AbstractImage::FormatRGBAlpha:
            std::printf(", 32 bits");
            break;
        default:
            break;
    }
    if (facts.frames >= 0)
        std::printf(", %ld frames", facts.frames);
    std::printf("\n");
}

/// One file that cannot be told does not hide the others. The worst of the statuses.
int info(Options const & options) {
    int status = Done;
    Json json;
    json.beginArray();
    for (std::string const & name : options.files) {
        json.beginObject().member("file", name);
        try {
            Facts const facts = factsOf(name);
            json.member("kind", facts.kind);
            addPicture(json, facts.width, facts.height, facts.format, facts.colors);
            if (facts.frames >= 0)
                json.member("frames", std::int64_t{facts.frames});
            if (!options.json)
                print(name, facts);
        } catch (Failure const & failure) {
            json.member("problem", failure.what());
            std::fprintf(stderr, "ondrel: %s\n", failure.what());
            status = std::max<int>(status, failure.status());
        }
        json.endObject();
    }
    json.endArray();
    if (options.json)
        json.print();
    return status;
}

// Conversion.

std::optional<Size> sizeOf(std::string const & text) {
    constexpr int most = 1 << 20;
    Size size;
    char const * const end = text.data() + text.size();
    auto const width = std::from_chars(text.data(), end, size.width);
    if (width.ec != std::errc() || width.ptr == end || (*width.ptr != 'x' && *width.ptr != 'X'))
        return {};
    auto const height = std::from_chars(width.ptr + 1, end, size.height);
    if (height.ec != std::errc() || height.ptr != end)
        return {};
    if (size.width < 1 || size.width > most || size.height < 1 || size.height > most)
        return {};
    return size;
}

/// An average by the library has no alpha, so the alphas are averaged as if they were greys.
void averageAlpha(PixelMap const & source, PixelMap & target) {
    PixelMap greys(source.get_width(), source.get_height(), AbstractImage::FormatRGB);
    checkMade(greys, source.get_width(), source.get_height());
    for (int y = 0; y < source.get_height(); ++y)
        for (int x = 0; x < source.get_width(); ++x) {
            unsigned char const alpha = source.get_rgba_direct(x, y).alpha;
            greys.set_rgb_direct(x, y, RGB_Color(alpha, alpha, alpha));
        }
    PixelMap averages(target.get_width(), target.get_height(), AbstractImage::FormatRGB);
    checkMade(averages, target.get_width(), target.get_height());
    PixelMapTools::Resize(greys, averages, false);
    for (int y = 0; y < target.get_height(); ++y)
        for (int x = 0; x < target.get_width(); ++x) {
            RGBA_Color color = target.get_rgba_direct(x, y);
            color.alpha = averages.get_rgb_direct(x, y).red;
            target.set_rgba_direct(x, y, color);
        }
}

/// With `freeColors` averages of palette colours need not be found in the palette.
std::unique_ptr<PixelMap> resized(PixelMap const & map, Size size, bool fast, bool freeColors) {
    auto const layout = AbstractImage::layoutOf(map.get_format());
    bool const toColors = freeColors && !fast && layout == AbstractImage::FormatIndex;
    auto target = std::make_unique<PixelMap>(
        size.width, size.height, toColors ? AbstractImage::FormatRGB : layout, map.get_palette());
    checkMade(*target, size.width, size.height);
    PixelMapTools::Resize(map, *target, fast);
    bool const isSame = map.get_width() == size.width && map.get_height() == size.height;
    if (layout == AbstractImage::FormatRGBAlpha && !fast && !isSame)
        averageAlpha(map, *target);
    return target;
}

/// The nearest colours of the palette, each pixel with the alpha that it had.
void recolor(PixelMap & map, GPalette const & palette) {
    for (int y = 0; y < map.get_height(); ++y)
        for (int x = 0; x < map.get_width(); ++x) {
            RGBA_Color const old = map.get_rgba_direct(x, y);
            RGBA_Color color(palette[palette.get_index(RGB_Color(old))]);
            color.alpha = old.alpha;
            map.set_rgba_direct(x, y, color);
        }
}

void report(Options const & options, PixelMap const & map, std::int64_t inputSize,
            std::int64_t outputSize) {
    Json json;
    json.beginObject().member("input", options.input).member("output", options.output);
    json.member("inputSize", inputSize).member("outputSize", outputSize);
    addPicture(json, map.get_width(), map.get_height(), map.get_format(),
               map.get_palette() ? map.get_palette()->getCount() : 0);
    json.endObject().print();
}

void convert(Options const & options) {
    if (options.fast && options.size.empty())
        throw Failure(WrongUsage, "--fast says how to --resize");
    auto const codec = pictureWriter(options.output, options.compressed);
    std::optional<GPalette> palette;
    if (!options.palette.empty())
        palette = readPalette(options.palette);
    PictureFile file(options.input);
    std::unique_ptr<PixelMap> map = file.read(true);
    if (!options.size.empty())
        map = resized(*map, *sizeOf(options.size), options.fast, palette.has_value());
    bool const keepsAlpha =
        AbstractImage::layoutOf(map->get_format()) == AbstractImage::FormatRGBAlpha &&
        gcast<TGAReaderWriter>(codec.get());
    if (palette && keepsAlpha)
        recolor(*map, *palette);
    else if (palette)
        map = mapped(*map, *palette);
    std::int64_t const size = writePicture(*map, *codec, options.output, options.force);
    if (options.json)
        report(options, *map, file.size(), size);
}

void addInfo(CLI::App & image, int & status) {
    auto const options = std::make_shared<Options>();
    CLI::App * const command =
        image.add_subcommand("info", "Tell kind, size and colours of pictures and films");
    command->add_option("FILE", options->files, "BMP, TGA or AVI files")->required();
    command->add_flag("--json", options->json, "As JSON");
    command->callback([options, &status] { status = info(*options); });
}

void addConvert(CLI::App & image) {
    auto const options = std::make_shared<Options>();
    CLI::App * const command =
        image.add_subcommand("convert", "Write a picture as BMP or TGA; it stays as it is");
    command->add_option("IN", options->input, "A BMP or TGA file")->required();
    command->add_option("OUT", options->output, "The file to write; .bmp or .tga tells its kind")
        ->required();
    command->add_option("-p,--palette", options->palette,
                        "Map to the nearest of the colours of this picture or PLT file");
    command->add_flag("-c,--compressed", options->compressed,
                      "A BMP of no more than 256 colours gets a palette");
    command->add_option("-r,--resize", options->size, "Width x height, such as 640x480; averages")
        ->check([](std::string const & text) {
            return sizeOf(text) ? std::string() : text + " is no size; write WxH, such as 640x480";
        });
    command->add_flag("--fast", options->fast, "Resize by picking pixels, without averages");
    command->add_flag("-f,--force", options->force, "Replace an output file that is there");
    command->add_flag("--json", options->json, "Tell names, sizes and format as JSON");
    command->callback([options] { convert(*options); });
}

} // namespace

void addImage(CLI::App & program, int & status) {
    CLI::App * const image = program.add_subcommand("image", "Work on pictures and films");
    image->require_subcommand(1);
    addInfo(*image, status);
    addConvert(*image);
    addImageFilm(*image, status);
}

} // namespace tool
