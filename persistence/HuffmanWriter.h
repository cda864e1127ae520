// One block of items at a time, in codes made for it or in plain fields.
#pragma once

#include "persistence/HuffmanBits.h"
#include "persistence/HuffmanTree.h"

namespace huffman {

/// A run of items: a byte each, and a word, which is the distance of a match or 0.
struct Items {
    unsigned char const * values;
    unsigned short const * distances;
    long count;
};

class BlockWriter {
  public:
    /// Makes the codes for `items`, and tells whether they are expected to pay.
    bool makeCodes(Items const & items);
    // Each the number of items, or -1.
    /// In the codes that were made for them.
    long writeCoded(GAbstractBufferedIO * device, Items const & items);
    long writePlain(GAbstractBufferedIO * device, Items const & items);
    bool writeEnd(GAbstractBufferedIO * device);

  private:
    /// A code with the extra bits above it, and the bits of both.
    struct Word {
        std::uint32_t bits;
        std::uint32_t width;
    };

    /// A symbol of the run code, and the value of its extra bits.
    struct Run {
        std::uint8_t symbol;
        std::uint8_t extra;
    };

    std::uint32_t count(Items const & items);
    std::uint32_t estimate();
    void makeRunCode();
    void makeWords();
    void putHeader(BitSink & sink);
    template <unsigned Symbols>
    void gatherRuns(Tree<Symbols> const & tree);
    void putRuns(BitSink & sink, unsigned from, unsigned to) const;

    TreeBuilder builder_;
    Tree<literalSymbols> literals_;
    Tree<distanceSymbols> distances_;
    Tree<runSymbols> runs_;
    /// The lengths of the other two codes, those of the literals first.
    std::array<Run, literalSymbols + distanceSymbols> runList_;
    unsigned literalRuns_ = 0;
    unsigned runCount_ = 0;
    /// Index in runOrder.
    unsigned lastRun_ = 0;
    std::array<Word, 257> literalWords_;
    /// By the length less 3.
    std::array<Word, 256> lengthWords_;
};

} // namespace huffman
