// What a block costs in codes is estimated before it is written; the estimate decides the form, so
// that its few inexact terms belong to the format.
#include "persistence/HuffmanWriter.h"

#include <algorithm>

namespace huffman {

namespace {

/// Walks the lengths of a table as runs: one(length), repeat(times) of the length before,
/// zeros(times).
template <unsigned Symbols, class One, class Repeat, class Zeros>
void forRuns(Tree<Symbols> const & tree, One one, Repeat repeat, Zeros zeros) {
    unsigned previous = guard;
    for (unsigned symbol = 0; symbol <= tree.lastUsed;) {
        unsigned const length = tree.length[symbol];
        unsigned const limit = length == 0 ? 138 : length == previous ? 6 : 7;
        unsigned const least = length != 0 && length != previous ? 4 : 3;
        unsigned times = 1;
        while (times < limit && tree.length[symbol + times] == length)
            ++times;
        symbol += times;
        if (times < least) {
            for (unsigned i = 0; i < times; ++i)
                one(length);
        } else if (length == 0) {
            zeros(times);
        } else {
            if (length != previous) {
                one(length);
                --times;
            }
            repeat(times);
        }
        previous = length;
    }
}

} // namespace

std::uint32_t BlockWriter::count(Items const & items) {
    literals_.frequency.fill(0);
    distances_.frequency.fill(0);
    std::uint32_t matches = 0;
    for (long i = 0; i < items.count; ++i) {
        unsigned const value = items.values[i];
        if (unsigned const distance = items.distances[i]) {
            ++literals_.frequency[firstLength + lengthTable.classOf[value]];
            ++distances_.frequency[distanceClass(distance - 1)];
            ++matches;
        } else {
            ++literals_.frequency[value];
        }
    }
    literals_.frequency[endSymbol] = 1;
    return static_cast<std::uint32_t>(items.count) * plainCodeBits + matches * plainDistanceBits;
}

void BlockWriter::makeRunCode() {
    runs_.frequency.fill(0);
    auto const one = [this](unsigned length) { ++runs_.frequency[length]; };
    auto const repeat = [this](unsigned) { ++runs_.frequency[repeatLength]; };
    auto const zeros = [this](unsigned times) {
        ++runs_.frequency[times <= 10 ? fewZeros : manyZeros];
    };
    forRuns(literals_, one, repeat, zeros);
    forRuns(distances_, one, repeat, zeros);
    builder_.build(runs_, maxRunCodeBits);
    lastRun_ = 0;
    for (unsigned i = 0; i < runSymbols; ++i)
        if (runOrder[i] <= runs_.lastUsed && runs_.length[runOrder[i]] != 0)
            lastRun_ = i;
}

/// In bits.
std::uint32_t BlockWriter::estimate() {
    std::uint32_t bits = runCountBits + literalCountBits + distanceCountBits;
    for (unsigned symbol = 0; symbol <= literals_.lastUsed; ++symbol) {
        unsigned const extra = symbol < firstLength ? 0 : lengthExtraBits[symbol - firstLength];
        bits += literals_.frequency[symbol] * (literals_.length[symbol] + extra);
    }
    for (unsigned symbol = 0; symbol <= distances_.lastUsed; ++symbol)
        bits +=
            distances_.frequency[symbol] * (distances_.length[symbol] + distanceExtraBits[symbol]);
    for (unsigned symbol = 0; symbol <= runs_.lastUsed; ++symbol) {
        // The last symbol's extra bits have never been counted, and so they stay.
        unsigned const extra = symbol < runs_.lastUsed ? runExtraBits[symbol] : 0;
        bits += runs_.frequency[symbol] * (runs_.length[symbol] + extra);
    }
    return bits + runLengthBits * (lastRun_ + 1);
}

bool BlockWriter::makeCodes(Items const & items) {
    // Nothing takes no bits in plain fields, and no code can be shorter.
    if (items.count == 0)
        return false;
    std::uint32_t const plain = count(items);
    builder_.build(literals_, maxCodeBits);
    // The reader looks for the longest code there is; with that one at the end it never looks
    // behind its own block.
    builder_.lengthen(literals_, endSymbol);
    builder_.build(distances_, maxCodeBits);
    makeRunCode();
    return estimate() < plain;
}

void BlockWriter::makeWords() {
    builder_.assignCodes(literals_);
    builder_.assignCodes(distances_);
    builder_.assignCodes(runs_);
    for (unsigned symbol = 0; symbol <= endSymbol; ++symbol)
        literalWords_[symbol] = {literals_.code[symbol], literals_.length[symbol]};
    for (unsigned length = 0; length < 256; ++length) {
        unsigned const c = lengthTable.classOf[length];
        unsigned const symbol = firstLength + c;
        if (symbol > literals_.lastUsed)
            break;
        std::uint32_t const extra = length - lengthTable.base[c];
        unsigned const width = literals_.length[symbol];
        lengthWords_[length] = {literals_.code[symbol] | extra << width,
                                width + lengthExtraBits[c]};
    }
}

template <unsigned Symbols>
void BlockWriter::putLengths(BitSink & sink, Tree<Symbols> const & tree) {
    auto const put = [&](unsigned symbol, unsigned extra) {
        unsigned const width = runs_.length[symbol];
        sink.put(runs_.code[symbol] | extra << width, width + runExtraBits[symbol]);
    };
    forRuns(
        tree, [&](unsigned length) { put(length, 0); },
        [&](unsigned times) { put(repeatLength, times - 3); },
        [&](unsigned times) {
            if (times <= 10)
                put(fewZeros, times - 3);
            else
                put(manyZeros, times - 11);
        });
}

void BlockWriter::putHeader(BitSink & sink) {
    unsigned const runCount = std::max(lastRun_ + 1, minRunLengths);
    sink.put(CodedBlock, typeBits);
    sink.put(runCount - minRunLengths, runCountBits);
    for (unsigned i = 0; i < runCount; ++i)
        sink.put(runOrder[i] <= runs_.lastUsed ? runs_.length[runOrder[i]] : 0, runLengthBits);
    sink.put(literals_.lastUsed + 1 - minLiteralLengths, literalCountBits);
    putLengths(sink, literals_);
    sink.put(distances_.lastUsed + 1 - minDistanceLengths, distanceCountBits);
    putLengths(sink, distances_);
}

long BlockWriter::writeCoded(GAbstractBufferedIO * device, Items const & items) {
    makeWords();
    BitSink sink = BitSink::start(device);
    putHeader(sink);
    for (long i = 0; i < items.count; ++i) {
        unsigned const value = items.values[i];
        unsigned const distance = items.distances[i];
        if (distance == 0) {
            sink.put(literalWords_[value].bits, literalWords_[value].width);
            continue;
        }
        Word const length = lengthWords_[value];
        unsigned const c = distanceClass(distance - 1);
        unsigned const width = distances_.length[c];
        std::uint64_t const word = distances_.code[c] | (distance - 1 - distanceTable.base[c])
                                                            << width;
        sink.put(length.bits | word << length.width, length.width + width + distanceExtraBits[c]);
    }
    sink.put(literalWords_[endSymbol].bits, literalWords_[endSymbol].width);
    return BitSink::finished(sink).failed ? -1 : items.count;
}

long BlockWriter::writePlain(GAbstractBufferedIO * device, Items const & items) {
    BitSink sink = BitSink::start(device);
    sink.put(PlainBlock, typeBits);
    sink.put(static_cast<std::uint64_t>(items.count), plainCountBits);
    for (long i = 0; i < items.count; ++i) {
        unsigned const value = items.values[i];
        unsigned const distance = items.distances[i];
        if (distance == 0)
            sink.put(value, plainCodeBits);
        else
            sink.put((256 + value) | (distance - 1) << plainCodeBits,
                     plainCodeBits + plainDistanceBits);
    }
    return BitSink::finished(sink).failed ? -1 : items.count;
}

bool BlockWriter::writeEnd(GAbstractBufferedIO * device) {
    BitSink sink = BitSink::start(device);
    sink.put(EndBlock, typeBits);
    return !BitSink::finished(sink).failed;
}

} // namespace huffman
