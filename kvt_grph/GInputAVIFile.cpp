// The reader of movies. It walks over the chunks of the file and notes where the frames are, so it
// needs no index; the index only tells which frames are key frames. Sizes in the file are not
// believed: a chunk ends where the one around it does.
#include "kvt_grph/GAVIFile.h"
#include "kvt_grph/Rle8.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

constexpr std::uint32_t name(char const (&characters)[5]) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(characters[i]);
    return value;
}

constexpr std::uint32_t plain = 0, runs = 1; // biCompression
constexpr int deepest = 8;                   // lists within lists
constexpr std::size_t mostFrames = 1u << 24;
/// Frames that are larger than this must be backed by a file of that order.
constexpr std::int64_t freeBytes = 1 << 26;

std::uint32_t word(unsigned char const * bytes) {
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | std::uint32_t(bytes[3]) << 24;
}

/// A row of a bitmap in bytes.
std::int64_t strideOf(std::int64_t width, int bits) {
    return (width * bits + 31) / 32 * 4;
}

/// Pixel `x` of a row of 1 or 4 bits.
unsigned char packedPixel(unsigned char const * row, int x, int bits) {
    return bits == 1 ? row[x / 8] >> (7 - x % 8) & 1 : row[x / 2] >> (x % 2 ? 0 : 4) & 15;
}

/// Five bits of each colour, red at the top.
RGB_Color fromFiveBits(unsigned char const * pixel) {
    int const value = pixel[0] | pixel[1] << 8;
    auto const spread = [](int five) { return static_cast<unsigned char>(five << 3 | five >> 2); };
    return RGB_Color(spread(value >> 10 & 31), spread(value >> 5 & 31), spread(value & 31));
}

} // namespace

bool GInputAVIFile::open(char const * name) {
    if (!open_file(name, 0x20))
        return false;
    if (readHead() && canDecode())
        return true;
    close();
    return false;
}

void GInputAVIFile::close() {
    GAVIFile::close();
    width_ = height_ = bits_ = stride_ = streams_ = 0;
    topDown_ = inVideo_ = false;
    compression_ = 0;
    videoStream_ = -1;
    palette_.resize(0);
    frames_.clear();
    compressed_ = {};
    decoded_ = {};
}

std::size_t GInputAVIFile::read(std::int64_t offset, void * data, std::size_t size) {
    if (file_.gseek(static_cast<long>(offset), GIO::FromStart) < 0)
        return 0;
    auto * to = static_cast<unsigned char *>(data);
    std::size_t done = 0;
    while (done < size) {
        long const piece = static_cast<long>(std::min<std::size_t>(size - done, 1 << 30));
        long const count = file_.gread(to + done, piece);
        if (count <= 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

bool GInputAVIFile::nextChunk(std::int64_t & at, std::int64_t end, Chunk & chunk) {
    unsigned char head[12];
    if (end - at < 8)
        return false;
    std::size_t const there = read(at, head, sizeof head);
    if (there < 8)
        return false;
    chunk.id = word(head);
    chunk.listType = 0;
    chunk.begin = at + 8;
    std::int64_t const size = word(head + 4);
    chunk.end = std::min(chunk.begin + size, end);
    // A writer that ended early has never filled in how much there is.
    if (chunk.id == name("RIFF") && size == 0)
        at = chunk.end = end;
    if ((chunk.id == name("RIFF") || chunk.id == name("LIST")) && there == 12 &&
        chunk.end - chunk.begin >= 4) {
        chunk.listType = word(head + 8);
        chunk.begin += 4;
    }
    at = std::min(at == end ? end : at + 8 + size + size % 2, end);
    return true;
}

bool GInputAVIFile::readHead() {
    fileSize_ = file_.gseek(0, GIO::FromEnd);
    std::int64_t at = 0;
    Chunk first;
    if (!nextChunk(at, fileSize_, first) || first.id != name("RIFF") ||
        first.listType != name("AVI "))
        return false;
    scan(first.begin, first.end, 0);
    // Large movies go on in further pieces.
    while (nextChunk(at, fileSize_, first))
        if (first.id == name("RIFF") && first.listType == name("AVIX"))
            scan(first.begin, first.end, 0);
    if (!frames_.empty())
        frames_.front().key = true;
    return videoStream_ >= 0;
}

void GInputAVIFile::scan(std::int64_t begin, std::int64_t end, int depth) {
    Chunk chunk;
    while (nextChunk(begin, end, chunk)) {
        if (chunk.listType != 0)
            readList(chunk, depth);
        else if (chunk.id == name("strh"))
            readStreamHeader(chunk);
        else if (chunk.id == name("strf"))
            readFormat(chunk);
        else if (chunk.id == name("idx1"))
            readIndex(chunk);
        else if (isFrameOfStream(chunk.id) && frames_.size() < mostFrames)
            addFrame(chunk);
    }
}

/// A frame as it is needs no other, unless it is short: writers leave frames empty that repeat the
/// one before.
void GInputAVIFile::addFrame(Chunk const & chunk) {
    std::int64_t const size = chunk.end - chunk.begin;
    bool const whole = size >= strideOf(width_, bits_) * height_;
    frames_.push_back(
        {chunk.begin, static_cast<std::uint32_t>(size), compression_ == plain && whole});
}

void GInputAVIFile::readList(Chunk const & list, int depth) {
    if (depth < deepest)
        scan(list.begin, list.end, depth + 1);
}

void GInputAVIFile::readStreamHeader(Chunk const & chunk) {
    unsigned char type[4] = {};
    read(chunk.begin, type,
         std::min<std::size_t>(4, static_cast<std::size_t>(chunk.end - chunk.begin)));
    inVideo_ = videoStream_ < 0 && word(type) == name("vids");
    if (inVideo_)
        videoStream_ = streams_;
    ++streams_;
}

void GInputAVIFile::readFormat(Chunk const & chunk) {
    struct {
        BITMAPINFOHEADER header;
        tagRGBQUAD colors[256];
    } format = {};
    if (!inVideo_)
        return;
    inVideo_ = false;
    std::size_t const size =
        std::min<std::size_t>(sizeof format, static_cast<std::size_t>(chunk.end - chunk.begin));
    if (read(chunk.begin, &format, size) < sizeof format.header)
        return;
    BITMAPINFOHEADER const & header = format.header;
    if (header.biWidth < 1 || header.biWidth > 0xFFFF || header.biHeight == 0 ||
        header.biHeight > 0xFFFF || header.biHeight < -0xFFFF)
        return;
    width_ = header.biWidth;
    topDown_ = header.biHeight < 0;
    height_ = topDown_ ? -header.biHeight : header.biHeight;
    bits_ = header.biBitCount;
    compression_ = header.biCompression;
    if (bits_ < 1 || bits_ > 8)
        return;
    std::uint32_t const most = 1u << bits_;
    std::uint32_t const count = header.biClrUsed ? std::min(header.biClrUsed, most) : most;
    palette_.resize(static_cast<int>(count));
    for (std::uint32_t i = 0; i < count; ++i)
        palette_.set_color(static_cast<unsigned char>(i), RGB_Color(format.colors[i]));
}

bool GInputAVIFile::isFrameOfStream(std::uint32_t id) const {
    if (videoStream_ < 0 || width_ == 0)
        return false;
    char const tens = static_cast<char>('0' + videoStream_ / 10 % 10);
    char const ones = static_cast<char>('0' + videoStream_ % 10);
    std::uint32_t const number = static_cast<unsigned char>(tens) |
                                 static_cast<std::uint32_t>(static_cast<unsigned char>(ones)) << 8;
    std::uint32_t const kind = id >> 16;
    return (id & 0xFFFF) == number && (kind == ('d' | 'b' << 8) || kind == ('d' | 'c' << 8));
}

/// The index names the frames in their order; only the marks of key frames are taken from it.
void GInputAVIFile::readIndex(Chunk const & chunk) {
    constexpr std::size_t entrySize = 16;
    std::vector<unsigned char> entries(entrySize * 4096);
    std::size_t frame = 0;
    for (std::int64_t at = chunk.begin; at < chunk.end && frame < frames_.size();
         at += static_cast<std::int64_t>(entries.size())) {
        std::size_t const size = std::min(entries.size(), static_cast<std::size_t>(chunk.end - at));
        std::size_t const there = read(at, entries.data(), size);
        for (std::size_t i = 0; i + entrySize <= there && frame < frames_.size(); i += entrySize) {
            if (!isFrameOfStream(word(&entries[i])))
                continue;
            Frame & stored = frames_[frame++];
            bool const marked = (word(&entries[i + 4]) & 0x10) != 0;
            stored.key = stored.key || (marked && compression_ != plain && stored.size > 0);
        }
    }
}

bool GInputAVIFile::canDecode() const {
    if (width_ == 0)
        return false;
    bool const known = compression_ == plain ? bits_ == 1 || bits_ == 4 || bits_ == 8 ||
                                                   bits_ == 16 || bits_ == 24 || bits_ == 32
                                             : compression_ == runs && bits_ == 8;
    std::int64_t const size = strideOf(width_, bits_) * height_;
    return known && size <= std::max(freeBytes, fileSize_) && size < 0x7FFFFFFF;
}

long GInputAVIFile::get_nearest_key_frame(long frame) const {
    for (frame = std::min(frame, get_frame_count() - 1); frame >= 0; --frame)
        if (frames_[static_cast<std::size_t>(frame)].key)
            return frame;
    return -1;
}

bool GInputAVIFile::read_compressed_frame(long frame) {
    compressed_.clear();
    if (frame < 0 || frame >= get_frame_count())
        return false;
    Frame const & stored = frames_[static_cast<std::size_t>(frame)];
    compressed_.resize(stored.size);
    compressed_.resize(read(stored.offset, compressed_.data(), compressed_.size()));
    return compressed_.size() == stored.size;
}

/// What the stored bytes do not reach stays as it was in the frame before.
void GInputAVIFile::decode() {
    if (compression_ == runs) {
        ondrel_detail::decodeRle8(compressed_.data(), compressed_.size(), decoded_.data(), width_,
                                  height_, stride_);
        return;
    }
    auto const stride = static_cast<std::size_t>(stride_);
    std::size_t const size = std::min(compressed_.size(), decoded_.size());
    if (!topDown_) {
        std::copy_n(compressed_.data(), size, decoded_.data());
        return;
    }
    for (std::size_t row = 0; row * stride < size; ++row)
        std::copy_n(compressed_.data() + row * stride, std::min(stride, size - row * stride),
                    decoded_.data() + decoded_.size() - (row + 1) * stride);
}

PixelMap * GInputAVIFile::get_map(long frame) {
    if (!is_open() || frame < 0 || frame >= get_frame_count())
        return nullptr;
    if (decoded_.empty()) {
        stride_ = static_cast<int>(strideOf(width_, bits_));
        decoded_.resize(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height_));
    }
    if (frame != position_ + 1)
        position_ = get_nearest_key_frame(frame) - 1;
    if (position_ < 0)
        std::fill(decoded_.begin(), decoded_.end(), static_cast<unsigned char>(0));
    while (position_ < frame) {
        read_compressed_frame(++position_);
        decode();
    }
    AbstractImage::MapFormat const format = bits_ == 8    ? AbstractImage::FormatIndex
                                            : bits_ == 32 ? AbstractImage::FormatRGBAlpha
                                                          : AbstractImage::FormatRGB;
    auto map = std::make_unique<PixelMap>(width_, height_, format, &palette_);
    if (map->get_size() == 0)
        return nullptr; // there is no memory for it
    if (bits_ == 8 || bits_ == 24 || bits_ == 32) {
        std::memcpy(map->get_pixels_address(), decoded_.data(), decoded_.size());
        return map.release();
    }
    for (int y = 0; y < height_; ++y) {
        unsigned char const * const row = &decoded_[static_cast<std::size_t>(height_ - 1 - y) *
                                                    static_cast<std::size_t>(stride_)];
        for (int x = 0; x < width_; ++x)
            map->set_rgb_direct(x, y,
                                bits_ == 16 ? fromFiveBits(row + 2 * x)
                                            : palette_[packedPixel(row, x, bits_)]);
    }
    return map.release();
}
