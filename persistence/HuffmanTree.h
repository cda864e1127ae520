// Builds the codes of one alphabet from the frequencies of its symbols. Every choice among equals
// decides bits of the output, so each is made as the comments say and no other way.
#pragma once

#include "persistence/HuffmanFormat.h"

namespace huffman {

/// The outcome for an alphabet of up to `Symbols` symbols.
template <unsigned Symbols>
struct Tree {
    /// Ones added to reach two symbols stay.
    std::array<std::uint32_t, Symbols> frequency{};
    /// In bits; behind the last used symbol stands `guard`, unlike any length, which ends a run.
    std::array<std::uint16_t, Symbols + 1> length{};
    /// As they are sent, the first bit lowest.
    std::array<std::uint16_t, Symbols> code{};
    unsigned lastUsed = 0;
};

constexpr std::uint16_t guard = 0xFFFF;

class TreeBuilder {
  public:
    template <unsigned Symbols>
    void build(Tree<Symbols> & tree, unsigned maxLength) {
        tree.lastUsed = makeLengths(tree.frequency.data(), Symbols, maxLength, tree.length.data());
    }
    /// Gives `symbol` the longest code there is, at the cost of the last symbol that has one.
    template <unsigned Symbols>
    void lengthen(Tree<Symbols> & tree, unsigned symbol) {
        exchangeLength(tree.length.data(), tree.lastUsed, symbol);
    }
    template <unsigned Symbols>
    void assignCodes(Tree<Symbols> & tree) {
        makeCodes(tree.length.data(), tree.lastUsed, tree.code.data());
    }

  private:
    static constexpr unsigned heapSize = 2 * literalSymbols + 1;

    unsigned makeLengths(std::uint32_t * frequency, unsigned symbols, unsigned maxLength,
                         std::uint16_t * length);
    void exchangeLength(std::uint16_t * length, unsigned lastUsed, unsigned symbol);
    void makeCodes(std::uint16_t const * length, unsigned lastUsed, std::uint16_t * code);

    void sink(unsigned top, std::uint32_t entry);
    void joinNodes(unsigned symbols);
    unsigned measureNodes(unsigned lastUsed, unsigned maxLength);
    void shorten(unsigned overflow, unsigned maxLength);
    void reassign(unsigned lastUsed, unsigned maxLength);

    std::array<std::uint16_t, heapSize> parent_;
    std::array<std::uint16_t, heapSize> length_;
    std::array<unsigned, maxCodeBits + 1> lengthCount_;
    /// From place 1, and one that stands above all behind them.
    std::array<std::uint32_t, literalSymbols + 2> heap_;
    unsigned heapCount_ = 0;
    /// All nodes in the order in which they left the heap, from the end down; the root is first.
    std::array<std::uint16_t, heapSize> order_;
    unsigned first_ = 0;
};

} // namespace huffman
