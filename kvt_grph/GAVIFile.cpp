// What both directions share, and the writer. The file that it makes:
//   RIFF "AVI "
//     LIST "hdrl": "avih", and a LIST "strl" of "strh" and "strf"
//     LIST "movi": "00db" for each frame, or "00dc" for one in runs
//     "idx1": for each frame its name, 16 for a key frame, offset from "movi", size
#include "kvt_grph/GAVIFile.h"

#include "kvt_grph/Rle8.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::uint32_t keyFrame = 0x10;
constexpr std::uint32_t hasIndex = 0x10;
constexpr std::size_t indexEntry = 16;

GAVICompressionOptions & defaultOptions() {
    static GAVICompressionOptions options;
    return options;
}

/// Bytes of a head that is put together.
class Bytes {
  public:
    Bytes & name(char const * characters) {
        bytes_.insert(bytes_.end(), characters, characters + 4);
        return *this;
    }
    Bytes & word(std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8)
            bytes_.push_back(static_cast<unsigned char>(value >> shift));
        return *this;
    }
    Bytes & half(std::uint32_t value) {
        bytes_.push_back(static_cast<unsigned char>(value));
        bytes_.push_back(static_cast<unsigned char>(value >> 8));
        return *this;
    }
    Bytes & add(void const * data, std::size_t size) {
        auto const * const from = static_cast<unsigned char const *>(data);
        bytes_.insert(bytes_.end(), from, from + size);
        return *this;
    }
    Bytes & chunk(char const * id, Bytes const & content) {
        return name(id)
            .word(static_cast<std::uint32_t>(content.bytes_.size()))
            .add(content.bytes_.data(), content.bytes_.size());
    }
    Bytes & list(char const * type, Bytes const & content) {
        Bytes all;
        all.name(type).add(content.bytes_.data(), content.bytes_.size());
        return chunk("LIST", all);
    }
    std::vector<unsigned char> take() { return std::move(bytes_); }

  private:
    std::vector<unsigned char> bytes_;
};

} // namespace

GAVIFile::~GAVIFile() = default;

bool GAVIFile::open_file(char const * name, unsigned int mode) {
    if (mode & 0x20)
        return file_.open(name, GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    return file_.open(name, GIO::ReadWriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone);
}

void GAVIFile::close() {
    file_.close();
    position_ = -1;
}

GAVICompressionOptions const & GOutputAVIFile::GetDefaultOptions() {
    return defaultOptions();
}

void GOutputAVIFile::SetDefaultOptions(GAVICompressionOptions const & options) {
    defaultOptions() = options;
}

bool GOutputAVIFile::open(char const * name) {
    if (!open_file(name, 0))
        return false;
    begun_ = full_ = false;
    position_ = 0;
    sizes_.clear();
    end_ = 0;
    return true;
}

bool GOutputAVIFile::writeAll(void const * data, std::size_t size) {
    auto const * from = static_cast<unsigned char const *>(data);
    while (size > 0) {
        long const piece = static_cast<long>(std::min<std::size_t>(size, 1 << 30));
        long const done = file_.gwrite(from, piece);
        if (done <= 0)
            return false;
        from += done;
        size -= static_cast<std::size_t>(done);
    }
    return true;
}

/// While the movie is written its size is 0, and the list of frames holds nothing: a reader then
/// goes on to the end of the file.
std::vector<unsigned char> GOutputAVIFile::head(bool closed) const {
    BITMAPINFOHEADER format = options_.source_.header;
    auto const width = static_cast<std::uint32_t>(format.biWidth);
    auto const height = static_cast<std::uint32_t>(format.biHeight);
    auto const frames = static_cast<std::uint32_t>(sizes_.size());
    std::uint32_t const largest =
        sizes_.empty() ? format.biSizeImage : *std::max_element(sizes_.begin(), sizes_.end());
    format.biCompression = runs_ ? 1 : 0;
    Bytes file, stream, streamFormat, lists, strl;
    file.word(1000000 / rate).word(largest * rate).word(0).word(hasIndex).word(frames).word(0);
    file.word(1).word(largest).word(width).word(height).word(0).word(0).word(0).word(0);
    stream.name("vids").name(runs_ ? "mrle" : "DIB ").word(0).word(0).word(0).word(1).word(rate);
    stream.word(0).word(frames).word(largest).word(0xFFFFFFFF).word(0);
    stream.half(0).half(0).half(width).half(height);
    streamFormat.add(&format, sizeof format);
    if (format.biBitCount == 8)
        streamFormat.add(options_.source_.colors, sizeof options_.source_.colors);
    strl.chunk("strh", stream).chunk("strf", streamFormat);
    lists.chunk("avih", file).list("strl", strl);

    auto const moviSize = static_cast<std::uint32_t>(end_ - moviBegin_);
    auto const all = static_cast<std::uint32_t>(end_) + frames * std::uint32_t(indexEntry);
    Bytes head;
    head.name("RIFF").word(closed ? all : 0).name("AVI ").list("hdrl", lists);
    head.name("LIST").word(closed ? moviSize : 4).name("movi");
    return head.take();
}

bool GOutputAVIFile::begin(PixelMap const & map) {
    if (map.get_width() < 1 || map.get_width() > 0x7FFF || map.get_height() > 0x7FFF)
        return false;
    options_.set_source_format(map);
    runs_ = options_.wants_runs() && options_.source_.header.biBitCount == 8;
    std::vector<unsigned char> const bytes = head(false);
    file_.gseek(0, GIO::FromStart);
    if (!writeAll(bytes.data(), bytes.size()))
        return false;
    end_ = static_cast<std::int64_t>(bytes.size());
    moviBegin_ = end_ - 4;
    return begun_ = true;
}

bool GOutputAVIFile::put_map(HBITMAP) {
    return false;
}

bool GOutputAVIFile::put_map(PixelMap const & map) {
    if (!is_open() || (!begun_ && !begin(map)))
        return false;
    BITMAPINFOHEADER const & format = options_.source_.header;
    if (map.get_width() != format.biWidth || map.get_height() != format.biHeight ||
        8 * AbstractImage::bytesPerPixel(map.get_format()) != format.biBitCount)
        return false;
    if (!runs_)
        return writeFrame(map.get_pixels_address(), static_cast<std::size_t>(map.get_size()));
    ondrel_detail::encodeRle8(map.get_pixels_address(), map.get_width(), map.get_height(),
                              map.get_stride(), packed_);
    return writeFrame(packed_.data(), packed_.size());
}

bool GOutputAVIFile::writeFrame(unsigned char const * data, std::size_t size) {
    std::size_t const padding = size % 2;
    std::int64_t const next = end_ + 8 + static_cast<std::int64_t>(size + padding);
    auto const index = static_cast<std::int64_t>((sizes_.size() + 1) * indexEntry);
    full_ = next + 8 + index > mostBytes;
    if (full_)
        return false;
    Bytes chunk;
    chunk.name(runs_ ? "00dc" : "00db").word(static_cast<std::uint32_t>(size));
    std::vector<unsigned char> const begin = chunk.take();
    file_.gseek(static_cast<long>(end_), GIO::FromStart);
    if (!writeAll(begin.data(), begin.size()) || !writeAll(data, size) || !writeAll("", padding))
        return false;
    end_ = next;
    sizes_.push_back(static_cast<std::uint32_t>(size));
    ++position_;
    return true;
}

void GOutputAVIFile::close() {
    if (begun_) {
        Bytes entries, index;
        std::uint32_t offset = 4;
        for (std::uint32_t const size : sizes_) {
            entries.name(runs_ ? "00dc" : "00db").word(keyFrame).word(offset).word(size);
            offset += 8 + size + size % 2;
        }
        std::vector<unsigned char> const bytes = index.chunk("idx1", entries).take();
        std::vector<unsigned char> const first = head(true);
        file_.gseek(static_cast<long>(end_), GIO::FromStart);
        if (writeAll(bytes.data(), bytes.size()))
            file_.change_size(static_cast<long>(end_) + static_cast<long>(bytes.size()));
        file_.gseek(0, GIO::FromStart);
        writeAll(first.data(), first.size());
    }
    begun_ = false;
    GAVIFile::close();
}
