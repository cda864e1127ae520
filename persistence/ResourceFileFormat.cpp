// Reading is tolerant here: a file of any content is only looked at, never believed.
#include "persistence/ResourceFileFormat.h"

#include "persistence/pstream.h"

#include <algorithm>
#include <vector>

namespace resource_file {

namespace {

constexpr std::uint16_t executable = 0x5A4D; // "MZ"
constexpr std::uint16_t chunk = 0x4246;      // "FB"
constexpr std::uint16_t resources = 0x5250;  // "PR"
constexpr long searchPiece = 65536;

constexpr std::array<std::uint32_t, 256> crcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = value >> 1 ^ (value & 1 ? 0xEDB88320 : 0);
        table[i] = value;
    }
    return table;
}();

void put(std::uint32_t value, unsigned char * at) {
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<unsigned char>(value >> (8 * i));
}

std::uint32_t get(unsigned char const * at) {
    return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
           static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

/// Small parts are read over: a file of nothing else is gone through as fast as it is read.
bool stepTo(ipstream & in, long from, long to) {
    if (to >= from && to - from <= searchPiece)
        return in.skipBytes(to - from) == to - from;
    return in.seekg(to) == to;
}

} // namespace

std::uint32_t crc32(unsigned char const * data, std::size_t size) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 0; i < size; ++i)
        crc = crc >> 8 ^ crcTable[(crc ^ data[i]) & 0xFF];
    return ~crc;
}

Trailer makeTrailer(std::uint32_t directory) {
    Trailer trailer;
    put(directory, &trailer[4]);
    std::copy(signature.begin(), signature.end(), &trailer[8]);
    put(crc32(&trailer[4], trailer.size() - 4), &trailer[0]);
    return trailer;
}

bool readTrailer(unsigned char const * trailer, std::uint32_t & directory) {
    if (crc32(trailer + 4, trailerSize - 4) != get(trailer))
        return false;
    directory = get(trailer + 4);
    return true;
}

void writeMagic(opstream & out) {
    out.writeWord(chunk);
    out.writeWord(resources);
}

long findBase(ipstream & in, bool & found) {
    found = false;
    long const start = in.tellg();
    long const size = sizeOf(in);
    if (start < 0 || size < 0)
        return -1;
    if (size - start < 8)
        return start;
    in.seekg(start);
    long base = start;
    while (base <= size - 8 && in) {
        std::uint16_t const kind = in.readWord(), second = in.readWord();
        found = kind == chunk && second == resources;
        std::int64_t length = 0, looked = 0;
        if (kind == executable) {
            length = std::int64_t{in.readWord()} * 512 - ((-static_cast<int>(second)) & 0x1FF);
            looked = 6;
        } else if (kind == chunk && !found) {
            length = std::int64_t{static_cast<std::uint32_t>(in.readDWord())} + 8;
            looked = 8;
        }
        // What would not move the search forward, or past the end, ends it.
        if (length <= 0 || length > size - base)
            break;
        long const next = base + static_cast<long>(length);
        if (!stepTo(in, base + static_cast<long>(looked), next))
            break;
        base = next;
    }
    return found || base > start ? base : -1;
}

long sizeOf(ipstream & in) {
    return in.seekg(0, GIO::FromEnd);
}

long findTrailer(ipstream & in, long base, long end, std::uint32_t & directory) {
    constexpr long beforeSignature = trailerSize - static_cast<long>(signature.size());
    std::vector<unsigned char> piece(static_cast<std::size_t>(searchPiece));
    while (end >= trailerSize) {
        long const start = std::max(end - searchPiece, 0L);
        if (in.seekg(base + start) < 0 || in.readBytes(piece.data(), end - start) < end - start)
            return -1;
        auto const first = piece.begin() + beforeSignature;
        auto last = piece.begin() + (end - start);
        for (;;) {
            auto const at = std::find_end(first, last, signature.begin(), signature.end());
            if (at == last)
                break;
            long const found = static_cast<long>(at - piece.begin()) - beforeSignature;
            if (readTrailer(piece.data() + found, directory))
                return start + found + trailerSize;
            last = at + static_cast<long>(signature.size()) - 1;
        }
        // A trailer may lie across the border.
        end = start > 0 ? start + trailerSize - 1 : 0;
    }
    return -1;
}

} // namespace resource_file
