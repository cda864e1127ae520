// The options of a movie and their form in a stream: a version byte of 2, sixteen words of 32 bits,
// a flag and, if set, a size and the bytes of the output format, 1064 bytes of the source format,
// and a flag, a size and the bytes of the compressor's state. Version 0 ends before the source
// format and version 1 behind it. Pointers and handles are written as 0.
#include "kvt_grph/GAVICompressionOptions.h"

#include "persistence/pstream.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

constexpr unsigned long runs = 1;                  // biCompression
constexpr std::uint32_t videoType = 0x63646976;    // "vidc"
constexpr std::uint32_t runsHandler = 0x656C726D;  // "mrle"
constexpr std::uint32_t plainHandler = 0x20424944; // "DIB "
/// More than any format or state that a compressor has.
constexpr std::uint32_t mostBytes = 1u << 20;

void writeBlock(opstream & out, std::vector<unsigned char> const & block) {
    out.writeByte(!block.empty());
    if (block.empty())
        return;
    out.writeDWord(static_cast<std::uint32_t>(block.size()));
    out.writeBytes(block.data(), static_cast<long>(block.size()));
}

void readBlock(ipstream & in, std::vector<unsigned char> & block) {
    block.clear();
    if (!in.readByte())
        return;
    auto size = static_cast<std::uint32_t>(in.readDWord());
    block.resize(std::min(size, mostBytes));
    in.readBytes(block.data(), static_cast<long>(block.size()));
    for (size -= static_cast<std::uint32_t>(block.size()); size > 0 && in.good(); --size)
        in.readByte();
}

} // namespace

GAVICompressionOptions::GAVICompressionOptions() {
    compressor_.cbSize = sizeof(COMPVARS);
    compressor_.fccType = videoType;
    compressor_.fccHandler = plainHandler;
    compressor_.lKey = 1;
    compressor_.lQ = 10000;
}

void GAVICompressionOptions::set_source_format(BITMAPINFOHEADER const * header) {
    source_ = {};
    if (!header)
        return;
    source_.header = *header;
    if (header->biBitCount > 8)
        return;
    std::uint32_t const all = 1u << header->biBitCount;
    std::uint32_t const count = header->biClrUsed ? std::min(header->biClrUsed, all) : all;
    std::memcpy(source_.colors, header + 1, std::min(count, 256u) * sizeof(tagRGBQUAD));
}

void GAVICompressionOptions::set_source_format(HBITMAP) {
    source_ = {}; // bitmaps of the system exist on Windows only
}

void GAVICompressionOptions::set_source_format(PixelMap const & map) {
    source_ = {};
    BITMAPINFOHEADER & header = source_.header;
    header.biSize = sizeof header;
    header.biWidth = map.get_width();
    header.biHeight = map.get_height();
    header.biPlanes = 1;
    header.biBitCount =
        static_cast<std::uint16_t>(8 * AbstractImage::bytesPerPixel(map.get_format()));
    header.biSizeImage = static_cast<std::uint32_t>(map.get_size());
    if (header.biBitCount != 8)
        return;
    header.biClrUsed = 256;
    GPalette const * const palette = map.get_palette();
    for (int i = 0; i < 256; ++i) {
        auto const level = static_cast<unsigned char>(i);
        source_.colors[i] =
            palette ? (*palette)[level].rgbquad() : RGB_Color(level, level, level).rgbquad();
    }
}

void GAVICompressionOptions::set_output_format(BITMAPINFO const * format) {
    // It may be the one that is held here.
    std::vector<unsigned char> output;
    compressor_.fccHandler =
        format && format->bmiHeader.biCompression == runs ? runsHandler : plainHandler;
    if (format) {
        auto const * const bytes = reinterpret_cast<unsigned char const *>(&format->bmiHeader);
        output.assign(bytes, bytes + sizeof(BITMAPINFOHEADER));
    }
    output_.swap(output);
}

bool GAVICompressionOptions::wants_runs() const {
    return compressor_.fccHandler == runsHandler;
}

void GAVICompressionOptions::set_options(COMPVARS const & options) {
    std::vector<unsigned char> state;
    if (options.lpState && options.cbState > 0) {
        auto const * const bytes = static_cast<unsigned char const *>(options.lpState);
        state.assign(bytes, bytes + options.cbState);
    }
    set_output_format(options.lpbiOut);
    state_.swap(state);
    compressor_ = options;
    compressor_.hic = nullptr;
    compressor_.lpbiIn = compressor_.lpbiOut = nullptr;
    compressor_.lpBitsOut = compressor_.lpBitsPrev = compressor_.lpState = nullptr;
    compressor_.cbState = static_cast<long>(state_.size());
}

void GAVICompressionOptions::get_options(COMPVARS & options) {
    options = compressor_;
    options.lpbiIn = reinterpret_cast<BITMAPINFO *>(&source_);
    if (!output_.empty())
        options.lpbiOut = reinterpret_cast<BITMAPINFO *>(output_.data());
    if (!state_.empty())
        options.lpState = state_.data();
}

void GAVICompressionOptions::get_options(AVICOMPRESSOPTIONS & options) {
    options = {};
    options.fccType = 0x73646976; // "vids"
    options.fccHandler = compressor_.fccHandler;
    options.dwKeyFrameEvery = static_cast<unsigned long>(compressor_.lKey);
    options.dwQuality = static_cast<unsigned long>(compressor_.lQ);
    options.dwBytesPerSecond = static_cast<unsigned long>(compressor_.lDataRate) * 1024;
    options.lpFormat = output_.empty() ? nullptr : output_.data();
    options.cbFormat = static_cast<unsigned long>(output_.size());
    options.lpParms = state_.empty() ? nullptr : state_.data();
    options.cbParms = static_cast<unsigned long>(state_.size());
}

bool GAVICompressionOptions::choose_compressor(HWND) {
    return false;
}

opstream & operator<<(opstream & out, GAVICompressionOptions const & options) {
    COMPVARS const & compressor = options.compressor_;
    out.writeByte(2);
    long const words[16] = {64,
                            static_cast<long>(compressor.dwFlags),
                            0,
                            static_cast<long>(compressor.fccType),
                            static_cast<long>(compressor.fccHandler),
                            0,
                            0,
                            0,
                            0,
                            compressor.lFrame,
                            compressor.lKey,
                            compressor.lDataRate,
                            compressor.lQ,
                            compressor.lKeyCount,
                            0,
                            compressor.cbState};
    for (long const word : words)
        out.writeDWord(static_cast<std::uint32_t>(word));
    writeBlock(out, options.output_);
    out.writeBytes(&options.source_, sizeof options.source_);
    writeBlock(out, options.state_);
    return out;
}

ipstream & operator>>(ipstream & in, GAVICompressionOptions & options) {
    int const version = in.readByte();
    std::int32_t words[16];
    for (std::int32_t & word : words)
        word = static_cast<std::int32_t>(in.readDWord());
    COMPVARS & compressor = options.compressor_;
    compressor = {};
    compressor.cbSize = sizeof(COMPVARS);
    compressor.dwFlags = static_cast<std::uint32_t>(words[1]);
    compressor.fccType = static_cast<std::uint32_t>(words[3]);
    compressor.fccHandler = static_cast<std::uint32_t>(words[4]);
    compressor.lFrame = words[9];
    compressor.lKey = words[10];
    compressor.lDataRate = words[11];
    compressor.lQ = words[12];
    compressor.lKeyCount = words[13];
    readBlock(in, options.output_);
    options.source_ = {};
    options.state_.clear();
    if (version >= 1)
        in.readBytes(&options.source_, sizeof options.source_);
    if (version >= 2)
        readBlock(in, options.state_);
    // A format is at least its head.
    if (options.output_.size() < sizeof(BITMAPINFOHEADER))
        options.output_.clear();
    compressor.cbState = static_cast<long>(options.state_.size());
    return in;
}
