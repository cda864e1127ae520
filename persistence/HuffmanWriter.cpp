// What a block costs in codes is estimated before it is written; the estimate decides the form, so
// that its few inexact terms belong to the format.
#include "persistence/HuffmanWriter.h"

#include <algorithm>

namespace huffman {

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

/// Adds the lengths of a table to the runs.
template <unsigned Symbols>
void BlockWriter::gatherRuns(Tree<Symbols> const & tree) {
    Run * run = runList_.data() + runCount_;
    auto const add = [&](unsigned symbol, unsigned extra) {
        *run++ = {static_cast<std::uint8_t>(symbol), static_cast<std::uint8_t>(extra)};
        ++runs_.frequency[symbol];
    };
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
                add(length, 0);
        } else if (length == 0) {
            add(times <= 10 ? fewZeros : manyZeros, times <= 10 ? times - 3 : times - 11);
        } else {
            if (length != previous) {
                add(length, 0);
                --times;
            }
            add(repeatLength, times - 3);
        }
        previous = length;
    }
    runCount_ = static_cast<unsigned>(run - runList_.data());
}

void BlockWriter::makeRunCode() {
    runs_.frequency.fill(0);
    runCount_ = 0;
    gatherRuns(literals_);
    literalRuns_ = runCount_;
    gatherRuns(distances_);
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

void BlockWriter::putRuns(BitSink & sink, unsigned from, unsigned to) const {
    BitSink local = sink;
    for (unsigned i = from; i < to; ++i) {
        Run const run = runList_[i];
        unsigned const width = runs_.length[run.symbol];
        std::uint32_t const extra = run.extra;
        local.put(runs_.code[run.symbol] | extra << width, width + runExtraBits[run.symbol]);
    }
    sink = local;
}

void BlockWriter::putHeader(BitSink & sink) {
    unsigned const runCount = std::max(lastRun_ + 1, minRunLengths);
    sink.put(CodedBlock, typeBits);
    sink.put(runCount - minRunLengths, runCountBits);
    for (unsigned i = 0; i < runCount; ++i)
        sink.put(runOrder[i] <= runs_.lastUsed ? runs_.length[runOrder[i]] : 0, runLengthBits);
    sink.put(literals_.lastUsed + 1 - minLiteralLengths, literalCountBits);
    putRuns(sink, 0, literalRuns_);
    sink.put(distances_.lastUsed + 1 - minDistanceLengths, distanceCountBits);
    putRuns(sink, literalRuns_, runCount_);
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
