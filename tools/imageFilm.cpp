// `image film`: pictures into an AVI file and back.
#include "Image.h"

#include "Files.h"
#include "Json.h"
#include "Terminal.h"

#include "kvt_grph/GAVIFile.h"
#include "platform/FileSystem.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

namespace tool {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::string film, folder, palette, kind;
    std::vector<std::string> frames;
    bool runs = false;
    bool force = false;
    bool json = false;
};

std::string textOf(int error) {
    return error ? ": " + std::generic_category().message(error) : std::string();
}

/// What the first bytes of the file say about its length; 0 while a film is being written.
std::int64_t promisedSize(std::string const & name) {
    Source source(name);
    unsigned char head[8] = {};
    source.gread(head, sizeof head);
    std::uint32_t const size = head[4] | std::uint32_t(head[5]) << 8 |
                               std::uint32_t(head[6]) << 16 | std::uint32_t(head[7]) << 24;
    return size ? std::int64_t{size} + 8 : 0;
}

std::int64_t sizeOfFile(std::string const & name) {
    return Source(name).size();
}

// Frames into a film.

/// A film that is written beside its name.
class FilmFile {
  public:
    FilmFile(std::string const & name, bool replace, bool runs)
        : name_(followLinks(name)), replace_(replace) {
        platform::FileStatus status;
        bool const exists = platform::fileStatus(name_.c_str(), status);
        if (exists && status.directory)
            throw Failure(NotDone, name + " is a directory");
        if (exists && !replace)
            throw Failure(NotDone, name + " is there already; --force replaces it");
        if (exists && status.special)
            throw Failure(NotDone, name + " is no plain file");
        std::string const part = nameBeside(name_);
        errno = 0;
        if (!film_.open(part.c_str()))
            throw Failure(NotDone, name + " cannot be written" + textOf(errno));
        part_ = part;
        GAVICompressionOptions options;
        BITMAPINFO format = {};
        format.bmiHeader.biSize = sizeof format.bmiHeader;
        format.bmiHeader.biCompression = runs ? 1 : 0;
        options.set_output_format(&format);
        film_.set_options(options);
    }
    FilmFile(FilmFile const &) = delete;
    FilmFile & operator=(FilmFile const &) = delete;
    ~FilmFile() {
        film_.close();
        if (!part_.empty())
            platform::removeFile(part_.c_str());
    }

    void put(PixelMap const & map, std::string const & frame) {
        errno = 0;
        if (film_.put_map(map))
            return;
        if (film_.is_full())
            throw Failure(NotDone, name_ + " would grow beyond 1 GiB with " + frame +
                                       "; make films of fewer frames, or smaller ones");
        throw Failure(NotDone, name_ + " cannot be written" + textOf(errno));
    }

    /// On the disk, whole and under its name.
    std::int64_t commit() {
        errno = 0;
        film_.close();
        int const error = errno;
        std::int64_t const size = sizeOfFile(part_);
        // Closing does not tell whether index and head could be written.
        if (promisedSize(part_) != size)
            throw Failure(NotDone, name_ + " cannot be written" + textOf(error));
        GFileIO file;
        if (!file.open(part_.c_str(), GIO::ReadWriteMode, GFileIO::ExistingOnly,
                       GFileIO::ShareNone) ||
            !platform::syncFile(file.handle()))
            throw Failure(NotDone, name_ + " cannot be written" + textOf(errno));
        file.close();
        putInPlace(part_, name_, replace_);
        part_.clear();
        return size;
    }

  private:
    std::string const name_;
    std::string part_; // empty when there is nothing beside
    bool const replace_;
    GOutputAVIFile film_;
};

/// The form that all frames are brought to: the least that loses nothing.
struct Plan {
    int width = 0, height = 0;
    AbstractImage::MapFormat format = AbstractImage::FormatNone;
    std::optional<GPalette> palette; ///< that the colours are mapped to
    std::int64_t bytes = 0;          ///< of all files
};

std::string sizeText(int width, int height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

Plan planOf(std::vector<std::string> const & names) {
    constexpr int most = 32767;
    Plan plan;
    GPalette common;
    for (std::string const & name : names) {
        stopIfInterrupted();
        PictureFile const picture(name);
        FileImageInfo const & info = picture.info();
        auto layout = AbstractImage::layoutOf(info.format);
        if (info.width > most || info.height > most)
            throw Failure(NotDone, name + " is too large for a film");
        if (plan.format == AbstractImage::FormatNone) {
            plan.width = info.width;
            plan.height = info.height;
            plan.format = layout;
            common = info.palette;
        }
        if (info.width != plan.width || info.height != plan.height)
            throw Failure(NotDone, name + " is " + sizeText(info.width, info.height) + ", but " +
                                       names[0] + " is " + sizeText(plan.width, plan.height));
        // The film has one palette.
        if (layout == AbstractImage::FormatIndex && !GPalette::CompareRGB(&info.palette, &common))
            layout = AbstractImage::FormatRGB;
        plan.format = std::max(plan.format, layout);
        plan.bytes += std::max<std::int64_t>(picture.size(), 0);
    }
    return plan;
}

void makeOpaque(PixelMap & map, int y) {
    for (int x = 0; x < map.get_width(); ++x) {
        RGBA_Color color = map.get_rgba_direct(x, y);
        color.alpha = 255;
        map.set_rgba_direct(x, y, color);
    }
}

std::unique_ptr<PixelMap> frameOf(PictureFile & file, Plan const & plan) {
    std::unique_ptr<PixelMap> map = file.read(false);
    if (plan.palette)
        return mapped(*map, *plan.palette);
    if (AbstractImage::layoutOf(map->get_format()) == plan.format)
        return map;
    auto target = std::make_unique<PixelMap>(plan.width, plan.height, plan.format);
    checkMade(*target, plan.width, plan.height);
    // Row by row: as a whole, a map of indices goes into another such map only.
    std::vector<RGB_Color> line(static_cast<std::size_t>(plan.width));
    for (int y = 0; y < plan.height; ++y) {
        map->get_hline(line.data(), 0, y, plan.width);
        target->put_hline(line.data(), 0, y, plan.width);
        if (plan.format == AbstractImage::FormatRGBAlpha)
            makeOpaque(*target, y);
    }
    return target;
}

void make(Options const & options) {
    Plan plan = planOf(options.frames);
    if (!options.palette.empty()) {
        plan.palette = readPalette(options.palette);
        plan.format = AbstractImage::FormatIndex;
    }
    if (options.runs && plan.format != AbstractImage::FormatIndex)
        throw Failure(WrongUsage, "--runs is for frames of one palette, which these have not; "
                                  "--palette gives them one");
    FilmFile film(options.film, options.force, options.runs);
    Progress progress(options.film, plan.bytes);
    std::int64_t done = 0;
    for (std::string const & name : options.frames) {
        stopIfInterrupted();
        PictureFile file(name);
        film.put(*frameOf(file, plan), name);
        progress.show(done += std::max<std::int64_t>(file.size(), 0));
    }
    std::int64_t const size = film.commit();
    if (!options.json)
        return;
    Json json;
    json.beginObject().member("output", options.film).member("outputSize", size);
    json.member("frames", static_cast<std::int64_t>(options.frames.size()));
    json.member("width", std::int64_t{plan.width}).member("height", std::int64_t{plan.height});
    json.member("format", formatName(plan.format)).member("runs", options.runs);
    json.endObject().print();
}

// A film into frames.

/// Files that are to stand in a folder together: they are written in another one, and go where they
/// belong when all are there.
class FrameFolder {
  public:
    FrameFolder(std::string const & name, bool replace)
        : name_(followLinks(withoutSlash(name))), replace_(replace) {
        platform::FileStatus status;
        exists_ = platform::fileStatus(name_.c_str(), status);
        if (exists_ && !status.directory)
            throw Failure(NotDone, name + " is no directory");
        std::error_code error;
        if (exists_ && !replace && !fs::is_empty(name_, error))
            throw Failure(NotDone, name + " is not empty; --force writes into it all the same, and "
                                          "replaces frames of the same names");
        std::string const part = nameBeside(exists_ ? name_ + "/frames" : name_);
        fs::create_directory(part, error);
        if (error)
            throw Failure(NotDone, name + " cannot be written: " + error.message());
        part_ = part;
    }
    FrameFolder(FrameFolder const &) = delete;
    FrameFolder & operator=(FrameFolder const &) = delete;
    ~FrameFolder() {
        std::error_code ignored;
        if (!part_.empty())
            fs::remove_all(part_, ignored);
    }

    void put(PixelMap const & map, AbstractImageReaderWriter & codec, std::string const & name) {
        writePicture(map, codec, part_ + "/" + name, false);
        files_.push_back(name);
    }

    void commit() {
        if (exists_) {
            for (std::string const & file : files_)
                putInPlace(part_ + "/" + file, name_ + "/" + file, replace_);
            return; // what is left of the other folder goes with this object
        }
        if (!platform::moveFile(part_.c_str(), name_.c_str()))
            throw Failure(NotDone, name_ +
                                       " cannot be put in its place; perhaps there is something "
                                       "of that name now");
        part_.clear();
    }

    std::vector<std::string> const & files() const { return files_; }

  private:
    static std::string withoutSlash(std::string name) {
        while (name.size() > 1 && name.back() == '/')
            name.pop_back();
        return name;
    }

    std::string const name_;
    std::string part_; // empty when there is nothing beside
    bool const replace_;
    bool exists_ = false;
    std::vector<std::string> files_;
};

std::string frameName(long frame, long count, std::string const & kind) {
    constexpr std::size_t leastDigits = 4;
    std::string const number = std::to_string(frame);
    std::size_t const digits = std::max(leastDigits, std::to_string(count - 1).size());
    return "frame" + std::string(digits - number.size(), '0') + number + "." + kind;
}

void reportSplit(Options const & options, GInputAVIFile const & film, FrameFolder const & folder,
                 bool isCutOff) {
    Json json;
    json.beginObject().member("input", options.film).member("folder", options.folder);
    json.member("width", std::int64_t{film.get_width()});
    json.member("height", std::int64_t{film.get_height()}).member("cutOff", isCutOff);
    json.key("files").beginArray();
    for (std::string const & file : folder.files())
        json.value(file);
    json.endArray().endObject().print();
}

int split(Options const & options) {
    std::int64_t const size = sizeOfFile(options.film);
    GInputAVIFile film;
    if (!film.open(options.film.c_str()))
        throw Failure(Damaged, options.film + " is no film, or its frames are stored in a way that "
                                              "is not known");
    long const count = film.get_frame_count();
    if (count == 0)
        throw Failure(Damaged, options.film + " has no frames");
    FrameFolder folder(options.folder, options.force);
    Progress progress(options.film, size);
    std::string kind = options.kind;
    std::unique_ptr<AbstractImageReaderWriter> codec;
    for (long i = 0; i < count; ++i) {
        stopIfInterrupted();
        std::unique_ptr<PixelMap> const map(film.get_map(i));
        if (!map)
            throw Failure(NotDone, "there is no memory for a frame of " + options.film);
        completePalette(*map, options.film);
        if (kind.empty())
            kind = map->get_format() == AbstractImage::FormatRGBAlpha ? "tga" : "bmp";
        std::string const name = frameName(i, count, kind);
        if (!codec)
            codec = pictureWriter(name, false);
        folder.put(*map, *codec, name);
        progress.show(size / count * (i + 1));
    }
    bool const isCutOff = promisedSize(options.film) > size;
    folder.commit();
    if (options.json)
        reportSplit(options, film, folder, isCutOff);
    if (isCutOff)
        std::fprintf(stderr, "ondrel: %s is cut off; the last frame may lack something\n",
                     options.film.c_str());
    return isCutOff ? Damaged : Done;
}

void addMake(CLI::App & film) {
    auto const options = std::make_shared<Options>();
    CLI::App * const command =
        film.add_subcommand("make", "Join pictures of one size to a film of 15 frames a second");
    command->add_option("OUT", options->film, "The AVI file to write")->required();
    command->add_option("FRAMES", options->frames, "BMP or TGA files in their order")->required();
    command->add_option("-p,--palette", options->palette,
                        "256 colours: the nearest of those of this picture or PLT file");
    command->add_flag("--runs", options->runs, "Store frames of 256 colours as runs");
    command->add_flag("-f,--force", options->force, "Replace an output file that is there");
    command->add_flag("--json", options->json, "Tell names, sizes and format as JSON");
    command->callback([options] { make(*options); });
}

void addSplit(CLI::App & film, int & status) {
    auto const options = std::make_shared<Options>();
    CLI::App * const command = film.add_subcommand("split", "Write each frame of a film");
    command->add_option("IN", options->film, "The AVI file to read")->required();
    command->add_option("FOLDER", options->folder, "Made when it is not there, else to be empty")
        ->required();
    command->add_option("-k,--kind", options->kind, "bmp, or tga (for films of 32 bits)")
        ->check(CLI::IsMember({"bmp", "tga"}));
    command->add_flag("-f,--force", options->force, "Write into a folder that is not empty");
    command->add_flag("--json", options->json, "Tell the names as JSON");
    command->callback([options, &status] { status = split(*options); });
}

} // namespace

void addImageFilm(CLI::App & image, int & status) {
    CLI::App * const film = image.add_subcommand("film", "Join pictures to a film, or part one");
    film->require_subcommand(1);
    addMake(*film);
    addSplit(*film, status);
}

} // namespace tool
