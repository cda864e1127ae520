// What the two directions of the Huffman coder share: the alphabets, their extra bits and the kinds
// of blocks. A literal/length symbol is a byte, the end of the block, or a class of lengths; a
// distance symbol is a class of distances; extra bits tell the members of a class apart.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace huffman {

constexpr unsigned literalSymbols = 286;
constexpr unsigned distanceSymbols = 30;
constexpr unsigned runSymbols = 19;
constexpr unsigned endSymbol = 256;
constexpr unsigned firstLength = 257;
constexpr unsigned lengthClasses = literalSymbols - firstLength;

constexpr unsigned maxCodeBits = 15;
/// Of the code in which the lengths of the other two codes are sent.
constexpr unsigned maxRunCodeBits = 7;

// Symbols of that code above the plain lengths 0 to 15.
constexpr unsigned repeatLength = 16;
constexpr unsigned fewZeros = 17;
constexpr unsigned manyZeros = 18;

enum BlockType : unsigned { EndBlock = 1, PlainBlock = 2, CodedBlock = 3 };

// The widths of the fields, in bits.
constexpr unsigned typeBits = 3;
constexpr unsigned plainCountBits = 15;
constexpr unsigned plainCodeBits = 9;
constexpr unsigned plainDistanceBits = 15;
constexpr unsigned runCountBits = 4;
constexpr unsigned runLengthBits = 3;
constexpr unsigned literalCountBits = 5;
constexpr unsigned distanceCountBits = 5;
constexpr unsigned minRunLengths = 5;
constexpr unsigned minLiteralLengths = 257;
constexpr unsigned minDistanceLengths = 2;

/// The order in which the lengths of the run code are sent: those that are often 0 come last.
inline constexpr std::array<std::uint8_t, runSymbols> runOrder = {
    16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

inline constexpr std::array<std::uint8_t, runSymbols> runExtraBits = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                                                      0, 0, 0, 0, 0, 0, 2, 3, 7};
inline constexpr std::array<std::uint8_t, lengthClasses> lengthExtraBits = {
    0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
inline constexpr std::array<std::uint8_t, distanceSymbols> distanceExtraBits = {
    0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
    6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

struct LengthTable {
    /// Length less 3, to its class and back.
    std::array<std::uint8_t, 256> classOf{};
    std::array<std::uint8_t, lengthClasses> base{};
};

/// The greatest length has a class of its own, although the class before reaches it too.
constexpr LengthTable makeLengthTable() {
    LengthTable table;
    unsigned length = 0;
    for (unsigned c = 0; c + 1 < lengthClasses; ++c) {
        table.base[c] = static_cast<std::uint8_t>(length);
        for (unsigned i = 0; i < 1u << lengthExtraBits[c]; ++i)
            table.classOf[length++] = static_cast<std::uint8_t>(c);
    }
    table.classOf[255] = lengthClasses - 1;
    table.base[lengthClasses - 1] = 255;
    return table;
}

inline constexpr LengthTable lengthTable = makeLengthTable();

struct DistanceTable {
    /// By distance less 1 below 256, then by 256 and the distance less 1 without its low 7 bits.
    std::array<std::uint8_t, 512> classOf{};
    std::array<std::uint16_t, distanceSymbols> base{};
};

constexpr DistanceTable makeDistanceTable() {
    DistanceTable table;
    unsigned distance = 0;
    for (unsigned c = 0; c < distanceSymbols; ++c) {
        table.base[c] = static_cast<std::uint16_t>(distance);
        for (unsigned i = 0; i < 1u << distanceExtraBits[c]; ++i, ++distance) {
            if (distance < 256)
                table.classOf[distance] = static_cast<std::uint8_t>(c);
            else
                table.classOf[256 + (distance >> 7)] = static_cast<std::uint8_t>(c);
        }
    }
    return table;
}

inline constexpr DistanceTable distanceTable = makeDistanceTable();

/// The class of a distance less 1.
inline unsigned distanceClass(unsigned distance) {
    return distanceTable.classOf[distance < 256 ? distance : 256 + (distance >> 7)];
}

/// The low `count` bits of `code` in reverse: a code is sent from its most significant bit.
constexpr unsigned reversed(unsigned code, unsigned count) {
    unsigned result = 0;
    for (unsigned i = 0; i < count; ++i, code >>= 1)
        result = result << 1 | (code & 1);
    return result;
}

} // namespace huffman
