// One block of items at a time, decoded by tables that answer a symbol, its extra bits included, in
// one look, or in two where its code is long.
#pragma once

#include "persistence/HuffmanBits.h"
#include "persistence/HuffmanFormat.h"

namespace huffman {

/// What a table answers: in the low byte the bits of code and extra together, then 4 bits the
/// length of the code, 4 bits of flags, and the symbol's value without the extra bits.
using Entry = std::uint32_t;
constexpr Entry literalFlag = 0x1000;
constexpr Entry endFlag = 0x2000;
/// The rest of the code is in a second table, at the value, as wide as the length says.
constexpr Entry tableFlag = 0x4000;

constexpr unsigned widthOf(Entry entry) {
    return entry & 0xFF;
}
constexpr unsigned codeWidthOf(Entry entry) {
    return entry >> 8 & 0xF;
}
/// The value, with the extra bits from the stream.
inline unsigned valueOf(Entry entry, std::uint64_t bits) {
    std::uint64_t const mine = bits & ((std::uint64_t{1} << widthOf(entry)) - 1);
    return (entry >> 16) + static_cast<unsigned>(mine >> codeWidthOf(entry));
}

/// `Bits` wide, with room for the second tables: one of 2^d entries holds at least d + 1 symbols.
template <unsigned Symbols, unsigned Bits, unsigned Longest>
struct DecodeTable {
    static constexpr unsigned bits = Bits;
    static constexpr unsigned rest = Longest - Bits;
    static constexpr unsigned size = (1u << Bits) + (Symbols / (rest + 1) + 1) * (1u << rest);

    Entry find(std::uint64_t window) const {
        Entry const entry = entries[window & ((1u << Bits) - 1)];
        return entry & tableFlag ? second(entry, window) : entry;
    }
    Entry second(Entry entry, std::uint64_t window) const {
        return entries[(entry >> 16) + ((window >> Bits) & ((1u << codeWidthOf(entry)) - 1))];
    }

    std::array<Entry, size> entries;
};

class BlockReader {
  public:
    /// At the start of a block; 0 where there is none.
    unsigned readType(GAbstractBufferedIO * device);
    // Each the number of items, which is at most `room`, or -1.
    long readCoded(unsigned char * values, unsigned short * distances, long room);
    long readPlain(unsigned char * values, unsigned short * distances, long room);
    /// Ends the block for the device, too.
    void finish() { source_ = BitSource::finished(source_); }

  private:
    bool readTables();
    template <class Table>
    bool readTable(Table & table, unsigned count, Entry const * symbols);
    template <class Table>
    static Entry take(BitSource & source, Table const & table, unsigned & value);
    template <bool HasBytes>
    long readItems(unsigned char * values, unsigned short * distances, long room);
    void lookForBytes();
    long readBytes(BitSource & source, unsigned char * values, unsigned short * distances,
                   long room) const;

    BitSource source_;
    DecodeTable<literalSymbols, 10, maxCodeBits> literals_;
    DecodeTable<distanceSymbols, 8, maxCodeBits> distances_;
    DecodeTable<runSymbols, maxRunCodeBits, maxRunCodeBits> runs_;
    /// Where nearly all codes are literals of eight bits: which literal a byte is the code of, and
    /// in every byte the low bits that are all ones where it is none. 0 in other blocks.
    std::uint64_t notByte_ = 0;
    std::array<std::uint8_t, 256> byteLiterals_;
};

} // namespace huffman
