// Most items are decoded where the window holds two words or more, without a look at its end; the
// last ones of a window, and what follows where the device refills it, go bit by bit. Data without
// any pattern get codes of eight bits for nearly all literals; these are decoded eight at a time,
// as if there were no others, since otherwise each would wait for the length of the one before.
#include "persistence/HuffmanReader.h"

#include <algorithm>
#include <bit>

namespace huffman {

namespace {

constexpr Entry entryOf(unsigned value, unsigned extraBits, Entry flags = 0) {
    return value << 16 | flags | extraBits;
}

// Entries without their codes. Those of the run code hold the runs one behind the other, above the
// plain lengths.
constexpr unsigned firstRepeat = 16;
constexpr unsigned firstFewZeros = 20;
constexpr unsigned firstManyZeros = 28;

constexpr auto runEntries = [] {
    std::array<Entry, runSymbols> entries{};
    for (unsigned length = 0; length <= maxCodeBits; ++length)
        entries[length] = entryOf(length, 0);
    entries[repeatLength] = entryOf(firstRepeat, runExtraBits[repeatLength]);
    entries[fewZeros] = entryOf(firstFewZeros, runExtraBits[fewZeros]);
    entries[manyZeros] = entryOf(firstManyZeros, runExtraBits[manyZeros]);
    return entries;
}();

constexpr auto literalEntries = [] {
    std::array<Entry, literalSymbols> entries{};
    for (unsigned symbol = 0; symbol < endSymbol; ++symbol)
        entries[symbol] = entryOf(symbol, 0, literalFlag);
    entries[endSymbol] = entryOf(0, 0, endFlag);
    for (unsigned c = 0; c < lengthClasses; ++c)
        entries[firstLength + c] = entryOf(lengthTable.base[c], lengthExtraBits[c]);
    return entries;
}();

constexpr auto distanceEntries = [] {
    std::array<Entry, distanceSymbols> entries{};
    for (unsigned c = 0; c < distanceSymbols; ++c)
        entries[c] = entryOf(distanceTable.base[c] + 1u, distanceExtraBits[c]);
    return entries;
}();

constexpr std::uint64_t eightBytes = 0x0101010101010101;

/// The symbols of a code in the order of their codes.
struct Sorted {
    std::array<std::uint16_t, literalSymbols> symbol;
    std::array<unsigned, maxCodeBits + 1> count{};
};

/// False for a code that is not complete: with bits that mean nothing, or two things.
bool sortSymbols(std::uint8_t const * lengths, unsigned symbols, Sorted & sorted) {
    for (unsigned symbol = 0; symbol < symbols; ++symbol)
        ++sorted.count[lengths[symbol]];
    sorted.count[0] = 0;
    std::array<unsigned, maxCodeBits + 2> place{};
    unsigned used = 0;
    for (unsigned bits = 1; bits <= maxCodeBits; ++bits) {
        used += sorted.count[bits] << (maxCodeBits - bits);
        place[bits + 1] = place[bits] + sorted.count[bits];
    }
    // One code of one bit leaves the other half open.
    if (used != 1u << maxCodeBits)
        return false;
    for (unsigned symbol = 0; symbol < symbols; ++symbol)
        if (lengths[symbol] != 0)
            sorted.symbol[place[lengths[symbol]]++] = static_cast<std::uint16_t>(symbol);
    return true;
}

/// The code behind `code` in a table whose bits are in reverse: a step that begins at the top bit.
unsigned nextReversed(unsigned code, unsigned bits) {
    unsigned bit = 1u << (bits - 1);
    for (; code & bit; bit >>= 1)
        code ^= bit;
    return code | bit;
}

Entry coded(Entry entry, unsigned bits) {
    return entry + bits * 0x101;
}

template <class Table>
void fillTable(Table & table, Sorted const & sorted, Entry const * symbols) {
    Entry * const entries = table.entries.data();
    std::uint16_t const * next = sorted.symbol.data();
    unsigned code = 0;
    // A table one bit wider is the narrower one twice, and then the codes of that length.
    for (unsigned bits = 1; bits <= Table::bits; ++bits) {
        std::copy_n(entries, 1u << (bits - 1), entries + (1u << (bits - 1)));
        for (unsigned left = sorted.count[bits]; left > 0; --left) {
            entries[code] = coded(symbols[*next++], bits);
            code = nextReversed(code, bits);
        }
    }
    if constexpr (Table::rest > 0) {
        constexpr unsigned mask = (1u << Table::bits) - 1;
        unsigned end = 1u << Table::bits;
        unsigned begin = 0, prefix = ~0u, width = 0;
        for (unsigned bits = Table::bits + 1; bits <= maxCodeBits; ++bits) {
            for (unsigned left = sorted.count[bits]; left > 0; --left) {
                if ((code & mask) != prefix) {
                    // As wide as it takes for the codes that are left to fill it.
                    prefix = code & mask;
                    width = bits - Table::bits;
                    for (unsigned held = left; held < 1u << width && width < Table::rest;) {
                        ++width;
                        held = held * 2 + sorted.count[Table::bits + width];
                    }
                    begin = end;
                    end += 1u << width;
                    entries[prefix] = begin << 16 | width << 8 | tableFlag;
                }
                unsigned const step = 1u << (bits - Table::bits);
                for (unsigned i = code >> Table::bits; i < 1u << width; i += step)
                    entries[begin + i] = coded(symbols[*next], bits);
                ++next;
                code = nextReversed(code, bits);
            }
        }
    }
}

} // namespace

/// A symbol with its extra bits, and no byte more than they need; `source.failed` where they end.
template <class Table>
inline Entry BlockReader::take(BitSource & source, Table const & table, unsigned & value) {
    if (source.count < 32 && source.hasWord())
        source.refill();
    // What the table answers to bits that are not there yet is longer than those that are.
    Entry entry = table.find(source.bits);
    while (widthOf(entry) > source.count) {
        if (!source.need(source.count + 1))
            return 0;
        entry = table.find(source.bits);
    }
    value = valueOf(entry, source.bits);
    source.drop(widthOf(entry));
    return entry;
}

unsigned BlockReader::readType(GAbstractBufferedIO * device) {
    source_ = BitSource::start(device);
    return source_.take(typeBits);
}

long BlockReader::readPlain(unsigned char * values, unsigned short * distances, long room) {
    BitSource source = source_;
    long const count = static_cast<long>(source.take(plainCountBits));
    bool good = count <= room;
    for (long i = 0; good && i < count; ++i) {
        if (source.count < 24 && source.hasWord())
            source.refill();
        unsigned const code = source.take(plainCodeBits);
        unsigned const distance = code < 256 ? 0 : source.take(plainDistanceBits) + 1;
        values[i] = static_cast<unsigned char>(code);
        distances[i] = static_cast<unsigned short>(distance);
        good = !source.failed;
    }
    source_ = source;
    return good && !source.failed ? count : -1;
}

/// Lengths for `count` symbols, and the table for their codes.
template <class Table>
bool BlockReader::readTable(Table & table, unsigned count, Entry const * symbols) {
    std::array<std::uint8_t, literalSymbols> lengths;
    for (unsigned done = 0; done < count;) {
        unsigned value = 0;
        take(source_, runs_, value);
        if (source_.failed)
            return false;
        if (value < firstRepeat) {
            lengths[done++] = static_cast<std::uint8_t>(value);
            continue;
        }
        bool const repeats = value < firstFewZeros;
        unsigned const times = repeats                  ? value - firstRepeat + 3
                               : value < firstManyZeros ? value - firstFewZeros + 3
                                                        : value - firstManyZeros + 11;
        if (times > count - done || (repeats && done == 0))
            return false;
        std::fill_n(&lengths[done], times, repeats ? lengths[done - 1] : std::uint8_t{0});
        done += times;
    }
    Sorted sorted;
    if (!sortSymbols(lengths.data(), count, sorted))
        return false;
    fillTable(table, sorted, symbols);
    return true;
}

bool BlockReader::readTables() {
    unsigned const runCount = source_.take(runCountBits) + minRunLengths;
    if (runCount > runSymbols)
        return false;
    std::array<std::uint8_t, runSymbols> lengths{};
    for (unsigned i = 0; i < runCount; ++i)
        lengths[runOrder[i]] = static_cast<std::uint8_t>(source_.take(runLengthBits));
    Sorted sorted;
    if (source_.failed || !sortSymbols(lengths.data(), runSymbols, sorted))
        return false;
    fillTable(runs_, sorted, runEntries.data());

    unsigned const literalCount = source_.take(literalCountBits) + minLiteralLengths;
    if (literalCount > literalSymbols || !readTable(literals_, literalCount, literalEntries.data()))
        return false;
    unsigned const distanceCount = source_.take(distanceCountBits) + minDistanceLengths;
    return distanceCount <= distanceSymbols &&
           readTable(distances_, distanceCount, distanceEntries.data());
}

long BlockReader::readCoded(unsigned char * values, unsigned short * distances, long room) {
    if (!readTables())
        return -1;
    lookForBytes();
    return notByte_ != 0 ? readItems<true>(values, distances, room)
                         : readItems<false>(values, distances, room);
}

/// Codes are in the order of their lengths, then of their symbols, literals first. So where those
/// of a byte begin with a literal, all are literals up to the last that is one; behind them are the
/// longer codes, whose first eight bits begin with many ones.
void BlockReader::lookForBytes() {
    auto const isLiteral = [&](unsigned byte) {
        return (literals_.entries[byte] & (literalFlag | 0xFF)) == (literalFlag | 8);
    };
    notByte_ = 0;
    if (!isLiteral(0))
        return;
    // With fewer than five ones there are too many of the others.
    unsigned ones = 8;
    while (ones >= 5 && !isLiteral(0xFF ^ 1u << (ones - 1)))
        --ones;
    if (ones < 5)
        return;
    notByte_ = eightBytes * ((1u << ones) - 1);
    for (unsigned byte = 0; byte < 256; ++byte)
        byteLiterals_[byte] = static_cast<std::uint8_t>(literals_.entries[byte] >> 16);
}

/// Literals up to one whose code is longer, or to the last bytes of the window.
long BlockReader::readBytes(BitSource & source, unsigned char * values, unsigned short * distances,
                            long room) const {
    constexpr std::uint64_t low = eightBytes * 0x7F;
    unsigned char const * in = source.in - (source.count >> 3);
    unsigned const shift = source.count & 7;
    std::uint64_t const shiftMask = (1u << shift) - 1;
    std::uint64_t carry = source.bits & shiftMask;
    long count = 0;
    while (source.end - in >= 8 && room - count >= 8) {
        std::uint64_t next;
        std::memcpy(&next, in, sizeof next);
        next = littleEndian(next);
        std::uint64_t const bytes = carry | next << shift;
        for (unsigned i = 0; i < 8; ++i)
            values[count + i] = byteLiterals_[bytes >> 8 * i & 0xFF];
        std::memset(distances + count, 0, 8 * sizeof *distances);
        // The top bits are set in those that are all zeros now.
        std::uint64_t const rest = ~bytes & notByte_;
        std::uint64_t const others = ~(((rest & low) + low) | rest | low);
        if (others != 0) {
            auto const good = static_cast<unsigned>(std::countr_zero(others)) / 8;
            carry = bytes >> 8 * good & shiftMask;
            in += good;
            count += good;
            break;
        }
        carry = next >> 1 >> (63 - shift);
        in += 8;
        count += 8;
    }
    source.in = in;
    source.bits = carry;
    source.count = shift;
    return count;
}

template <bool HasBytes>
long BlockReader::readItems(unsigned char * values, unsigned short * distances, long room) {
    long count = 0;
    auto const literal = [&](Entry entry) {
        values[count] = static_cast<unsigned char>(entry >> 16);
        distances[count++] = 0;
    };
    for (;;) {
        BitSource fast = source_;
        bool ended = false;
        // One refill serves two literals, or one and a length; the 16 bytes serve another refill
        // for the distance.
        while (fast.end - fast.in >= 16 && room - count >= 2) {
            if constexpr (HasBytes) {
                count += readBytes(fast, values + count, distances + count, room - count);
                if (fast.end - fast.in < 16 || room - count < 2)
                    break;
            }
            fast.refill();
            Entry entry = literals_.find(fast.bits);
            if (entry & literalFlag) {
                literal(entry);
                fast.drop(widthOf(entry));
                entry = literals_.find(fast.bits);
                if (entry & literalFlag) {
                    literal(entry);
                    fast.drop(widthOf(entry));
                    continue;
                }
            }
            unsigned const value = valueOf(entry, fast.bits);
            fast.drop(widthOf(entry));
            ended = entry & endFlag;
            if (ended)
                break;
            if (fast.count < 28)
                fast.refill();
            entry = distances_.find(fast.bits);
            values[count] = static_cast<unsigned char>(value);
            distances[count++] = static_cast<unsigned short>(valueOf(entry, fast.bits));
            fast.drop(widthOf(entry));
        }
        source_ = fast;
        if (ended)
            return count;

        unsigned value = 0, distance = 0;
        Entry const entry = take(source_, literals_, value);
        if (entry & endFlag)
            return count;
        if (!source_.failed && !(entry & literalFlag))
            take(source_, distances_, distance);
        if (source_.failed || count == room)
            return -1;
        values[count] = static_cast<unsigned char>(value);
        distances[count++] = static_cast<unsigned short>(distance);
    }
}

} // namespace huffman
