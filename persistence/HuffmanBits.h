// Bits in the window of a buffered device, the least significant of a byte first. Both classes are
// small values: the loops that work on them keep a copy that lies in registers, and so the rare
// operations that reach the device take one and return it.
#pragma once

#include "persistence/GBufferedIO.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace huffman {

inline std::uint64_t littleEndian(std::uint64_t word) {
    if constexpr (std::endian::native == std::endian::big) {
        std::uint64_t turned = 0;
        for (int i = 0; i < 8; ++i, word >>= 8)
            turned = turned << 8 | (word & 0xFF);
        return turned;
    }
    return word;
}

/// Puts bits behind what the device has. After a failure all that follows is dropped.
struct BitSink {
    GAbstractBufferedIO * device = nullptr;
    unsigned char * out = nullptr;
    unsigned char * end = nullptr;
    std::uint64_t bits = 0;
    unsigned count = 0;
    bool failed = false;

    /// `width` up to 48; the bits of `value` above it are 0.
    void put(std::uint64_t value, unsigned width) {
        bits |= value << count;
        count += width;
        if (end - out < 8) {
            *this = spilled(*this);
            return;
        }
        std::uint64_t const word = littleEndian(bits);
        std::memcpy(out, &word, sizeof word);
        out += count >> 3;
        bits >>= count & ~7u;
        count &= 7;
    }

    /// Begins at the device's position, at a byte.
    static BitSink start(GAbstractBufferedIO * device);
    /// Pads the last byte with zeros, and gives the window back to the device.
    static BitSink finished(BitSink sink);

  private:
    static BitSink spilled(BitSink sink);
};

/// Takes bits from the device's window. It may hold bytes in advance as long as they are in the
/// window: what is not needed goes back.
struct BitSource {
    GAbstractBufferedIO * device = nullptr;
    unsigned char const * in = nullptr;
    unsigned char const * end = nullptr;
    /// Above `count` bits it may hold more of what `in` points at.
    std::uint64_t bits = 0;
    unsigned count = 0;
    bool failed = false;

    bool hasWord() const { return end - in >= 8; }
    /// 56 bits or more, where hasWord().
    void refill() {
        std::uint64_t word;
        std::memcpy(&word, in, sizeof word);
        bits |= littleEndian(word) << count;
        in += (63 - count) >> 3;
        count |= 56;
    }
    /// Fetches bytes, no more than needed, until there are `width` bits. False where they end.
    bool need(unsigned width) {
        while (count < width && !failed)
            *this = fetched(*this);
        return count >= width;
    }
    void drop(unsigned width) {
        bits >>= width;
        count -= width;
    }
    /// A field of `width` bits, up to 15; 0 where the bytes end.
    unsigned take(unsigned width) {
        if (!need(width))
            return 0;
        unsigned const value = static_cast<unsigned>(bits) & ((1u << width) - 1);
        drop(width);
        return value;
    }

    /// Begins at the device's position, at a byte.
    static BitSource start(GAbstractBufferedIO * device);
    /// Gives the window, and the bytes that were not needed, back to the device.
    static BitSource finished(BitSource source);

  private:
    static BitSource fetched(BitSource source);
};

} // namespace huffman
