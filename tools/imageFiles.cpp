// Reading and writing of picture and palette files for the `image` subcommand.
#include "Image.h"

#include "Files.h"
#include "Json.h"
#include "Terminal.h"

#include "kvt_grph/Bmp_rdwr.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <unordered_set>
#include <vector>

namespace tool {

namespace {

constexpr long bufferSize = 1 << 17;
constexpr std::uint32_t paletteMark = 0x33544C50; // "PLT3", which palette files begin with
constexpr int mostColors = 256;

std::string sizeText(int width, int height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

GPalette colorsOf(PixelMap const & map, std::string const & name) {
    if (map.get_palette())
        return *map.get_palette();
    std::unordered_set<std::uint32_t> known;
    std::vector<RGB_Color> colors, line(static_cast<std::size_t>(map.get_width()));
    for (int y = 0; y < map.get_height(); ++y) {
        map.get_hline(line.data(), 0, y, map.get_width());
        for (RGB_Color const & color : line) {
            std::uint32_t const key =
                color.red | std::uint32_t(color.green) << 8 | std::uint32_t(color.blue) << 16;
            if (!known.insert(key).second)
                continue;
            if (colors.size() == mostColors)
                throw Failure(NotDone, name + " has more than 256 colours, too many for a palette");
            colors.push_back(color);
        }
    }
    return GPalette(colors.data(), static_cast<int>(colors.size()));
}

std::optional<GPalette> readPaletteFile(std::string const & name) {
    auto * const source = new Source(name);
    GBufferedIO device(source, bufferSize);
    ipstream in(&device);
    bool const isPalette = in.readDWord() == paletteMark;
    source->check();
    if (!isPalette)
        return {};
    in.seekg(0);
    GPalette palette;
    palette.loadPLT(in);
    source->check();
    if (!in)
        throw Failure(Damaged, name + " is cut off");
    return palette;
}

} // namespace

/// Shows how far the reading has come, once it is asked to.
class WatchedSource : public Source {
  public:
    using Source::Source;
    void watch() { progress_.emplace(name(), size()); }
    long gread(void * data, long count) override {
        stopIfInterrupted();
        long const got = Source::gread(data, count);
        if (progress_)
            progress_->show(this->count());
        return got;
    }

  private:
    std::optional<Progress> progress_;
};

PictureFile::PictureFile(std::string const & name)
    : name_(name), source_(new WatchedSource(name)), device_(source_, bufferSize), in_(&device_) {
    AbstractImageReaderWriter * codec = nullptr;
    info_.reset(AbstractImageReaderWriter::ReadInfo(in_, &codec));
    codec_.reset(codec);
    source_->check();
    if (!info_)
        throw Failure(
            Damaged, name + " is no image of a kind that is known, or its first bytes are damaged");
    if (info_->width < 1 || info_->height < 1)
        throw Failure(Damaged, name + " has no pixels");
}

PictureFile::~PictureFile() = default;

std::string PictureFile::kind() const {
    ImageFileFilter filter;
    codec_->file_name_filter(filter);
    std::string kind = filter.get_default_extension().c_str();
    kind.erase(0, kind.rfind('.') + 1);
    for (char & c : kind)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return kind;
}

std::int64_t PictureFile::size() const {
    return source_->size();
}

std::unique_ptr<PixelMap> PictureFile::read(bool showsProgress) {
    if (showsProgress)
        source_->watch();
    auto map = std::make_unique<PixelMap>(0, 0, AbstractImage::layoutOf(info_->format));
    bool const isRead = codec_->read_image(in_, *map);
    source_->check();
    if (!isRead)
        throw Failure(Damaged, name_ + " promises " + sizeText(info_->width, info_->height) +
                                   " pixels, which it cannot hold");
    checkMade(*map, info_->width, info_->height);
    if (in_.eof())
        throw Failure(Damaged, name_ + " is cut off");
    completePalette(*map, name_);
    return map;
}

std::unique_ptr<AbstractImageReaderWriter> pictureWriter(std::string const & name,
                                                         bool compressed) {
    std::unique_ptr<AbstractImageReaderWriter> codec(
        AbstractImageReaderWriter::GetWriter(GFile(name.c_str())));
    if (!codec)
        throw Failure(WrongUsage, name + " does not tell what kind of image to write: let it end "
                                         "in .bmp or .tga");
    if (!compressed)
        return codec;
    auto * const bitmap = gcast<BMPReaderWriter>(codec.get());
    if (!bitmap)
        throw Failure(WrongUsage, "--compressed is for BMP; " + name + " is none");
    bitmap->compressed(true);
    return codec;
}

std::int64_t writePicture(PixelMap const & map, AbstractImageReaderWriter & codec,
                          std::string const & name, bool replace) {
    auto * const sink = new Sink(name, replace, true);
    GBufferedIO device(sink, bufferSize);
    opstream out(&device);
    bool const isWritten = codec.write_image(out, map);
    out.flush();
    sink->check();
    if (!isWritten)
        throw Failure(NotDone, name + ": this kind of image cannot be of " +
                                   sizeText(map.get_width(), map.get_height()) + " pixels");
    stopIfInterrupted();
    sink->commit();
    return sink->count();
}

GPalette readPalette(std::string const & name) {
    std::optional<GPalette> palette = readPaletteFile(name);
    if (!palette)
        palette = colorsOf(*PictureFile(name).read(true), name);
    if (palette->getCount() == 0)
        throw Failure(NotDone, name + " has no colours");
    return *palette;
}

std::unique_ptr<PixelMap> mapped(PixelMap const & map, GPalette const & palette) {
    int const width = map.get_width(), height = map.get_height();
    if (AbstractImage::layoutOf(map.get_format()) == AbstractImage::FormatIndex) {
        auto copy = std::make_unique<PixelMap>(map);
        checkMade(*copy, width, height);
        copy->set_palette(&palette, 1);
        return copy;
    }
    auto target = std::make_unique<PixelMap>(width, height, AbstractImage::FormatIndex, &palette);
    checkMade(*target, width, height);
    target->put_map(0, 0, map);
    return target;
}

void completePalette(PixelMap & map, std::string const & name) {
    if (AbstractImage::layoutOf(map.get_format()) != AbstractImage::FormatIndex)
        return;
    GPalette const * const own = map.get_palette();
    if (!own)
        throw Failure(Damaged, name + " has indices of colours, but no colours");
    int count = own->getFirst() + own->getCount();
    for (int y = 0; y < map.get_height(); ++y) {
        unsigned char const * const row = std::as_const(map).get_pixels_address(y);
        count = std::max(count, 1 + *std::max_element(row, row + map.get_width()));
    }
    if (own->getFirst() == 0 && count == own->getCount())
        return;
    GPalette complete(*own);
    complete.resize_no_fill(count, 0);
    map.set_palette(&complete, 0);
}

void checkMade(PixelMap const & map, int width, int height) {
    if (map.get_width() != width || map.get_height() != height)
        throw Failure(NotDone, "there is no memory for " + sizeText(width, height) + " pixels");
}

char const * formatName(AbstractImage::MapFormat format) {
    char const * const names[] = {"none", "index", "rgb", "rgba"};
    return names[AbstractImage::layoutOf(format)];
}

void addPicture(Json & json, int width, int height, AbstractImage::MapFormat format, int colors) {
    json.member("width", std::int64_t{width}).member("height", std::int64_t{height});
    json.member("format", formatName(format));
    if (AbstractImage::layoutOf(format) == AbstractImage::FormatIndex)
        json.member("colors", std::int64_t{colors});
}

} // namespace tool
