// A heap joins the two rarest nodes until one is left; then lengths that are too long are mended.
#include "persistence/HuffmanTree.h"

#include <algorithm>
#include <cassert>

namespace huffman {

namespace {

// An entry of the heap, from the top: the frequency, which the items of a block bound by 16 bits;
// the height of the subtree, 21 at most for such frequencies; the number of the node. The first two
// are what the heap is ordered by.
constexpr unsigned nodeBits = 10;
constexpr unsigned heightBits = 5;
constexpr unsigned keyShift = nodeBits + heightBits;
constexpr std::uint32_t nodeMask = (1u << nodeBits) - 1;
constexpr std::uint32_t heightMask = ((1u << heightBits) - 1) << nodeBits;
/// Behind the last entry, so that an only child looks like the lesser of two.
constexpr std::uint32_t aboveAll = ~0u;

constexpr auto reversedBytes = [] {
    std::array<std::uint8_t, 256> bytes{};
    for (unsigned i = 0; i < 256; ++i)
        bytes[i] = static_cast<std::uint8_t>(reversed(i, 8));
    return bytes;
}();

/// Whether the key of `a` is not above that of `b`.
inline bool notAbove(std::uint32_t a, std::uint32_t b) {
    return (a & ~nodeMask) <= b;
}

} // namespace

/// On a tie the right child goes before the left, and the sinking entry stays above its child. It
/// goes down to the end first, choosing between children alone, and then back up: nearly all that
/// sinks comes to rest near the end, and on the way down no jump depends on it.
inline void TreeBuilder::sink(unsigned top, std::uint32_t entry) {
    std::uint32_t * const heap = heap_.data();
    unsigned const count = heapCount_;
    unsigned place = top;
    for (unsigned child; (child = 2 * place) <= count; place = child) {
        child += notAbove(heap[child + 1], heap[child]);
        heap[place] = heap[child];
    }
    for (; place > top && notAbove(entry, heap[place / 2]); place /= 2)
        heap[place] = heap[place / 2];
    heap[place] = entry;
}

void TreeBuilder::joinNodes(unsigned symbols) {
    std::uint32_t next = symbols;
    first_ = heapSize;
    do {
        std::uint32_t const a = heap_[1];
        std::uint32_t const last = heap_[heapCount_];
        heap_[heapCount_--] = aboveAll;
        sink(1, last);
        std::uint32_t const b = heap_[1];
        std::uint32_t const smallest = a & nodeMask, second = b & nodeMask;
        order_[--first_] = static_cast<std::uint16_t>(smallest);
        order_[--first_] = static_cast<std::uint16_t>(second);
        parent_[smallest] = parent_[second] = static_cast<std::uint16_t>(next);
        std::uint32_t const height = std::max(a & heightMask, b & heightMask) + nodeMask + 1;
        sink(1, ((a >> keyShift) + (b >> keyShift)) << keyShift | height | next++);
    } while (heapCount_ > 1);
    order_[--first_] = static_cast<std::uint16_t>(heap_[1] & nodeMask);
}

/// From the root down; the number of nodes that had to be cut.
unsigned TreeBuilder::measureNodes(unsigned lastUsed, unsigned maxLength) {
    unsigned overflow = 0;
    lengthCount_.fill(0);
    length_[order_[first_]] = 0;
    for (unsigned place = first_ + 1; place < heapSize; ++place) {
        unsigned const node = order_[place];
        unsigned length = length_[parent_[node]] + 1u;
        if (length > maxLength) {
            length = maxLength;
            ++overflow;
        }
        length_[node] = static_cast<std::uint16_t>(length);
        lengthCount_[length] += node <= lastUsed;
    }
    return overflow;
}

/// Hangs what is too deep beside leaves that are less deep, a pair at a time.
void TreeBuilder::shorten(unsigned overflow, unsigned maxLength) {
    for (; overflow > 0; overflow -= std::min(overflow, 2u)) {
        unsigned length = maxLength - 1;
        while (lengthCount_[length] == 0)
            --length;
        --lengthCount_[length];
        lengthCount_[length + 1] += 2;
        --lengthCount_[maxLength];
    }
}

/// The longest codes go to the symbols that left the heap first, which are the rarest.
void TreeBuilder::reassign(unsigned lastUsed, unsigned maxLength) {
    unsigned place = heapSize;
    for (unsigned length = maxLength; length > 0; --length)
        for (unsigned left = lengthCount_[length]; left > 0;) {
            unsigned const node = order_[--place];
            if (node > lastUsed)
                continue;
            length_[node] = static_cast<std::uint16_t>(length);
            --left;
        }
}

unsigned TreeBuilder::makeLengths(std::uint32_t * frequency, unsigned symbols, unsigned maxLength,
                                  std::uint16_t * length) {
    int lastUsed = -1;
    heapCount_ = 0;
    auto const place = [&](unsigned symbol) {
        assert(frequency[symbol] < 1u << 16);
        heap_[heapCount_ + 1] = frequency[symbol] << keyShift | symbol;
    };
    // About as many symbols occur as do not, so this goes without jumps.
    for (unsigned symbol = 0; symbol < symbols; ++symbol) {
        place(symbol);
        bool const occurs = frequency[symbol] != 0;
        heapCount_ += occurs;
        lastUsed = occurs ? static_cast<int>(symbol) : lastUsed;
    }
    // The reader wants whole codes, of two symbols or more.
    while (heapCount_ < 2) {
        unsigned const added = lastUsed < 2 ? static_cast<unsigned>(++lastUsed) : 0;
        frequency[added] = 1;
        place(added);
        ++heapCount_;
    }
    heap_[heapCount_ + 1] = aboveAll;
    unsigned const last = static_cast<unsigned>(lastUsed);
    for (unsigned top = heapCount_ / 2; top > 0; --top)
        sink(top, heap_[top]);
    joinNodes(symbols);
    // Symbols that do not occur are no nodes.
    std::fill_n(length_.begin(), last + 1, std::uint16_t{0});
    if (unsigned const overflow = measureNodes(last, maxLength)) {
        shorten(overflow, maxLength);
        reassign(last, maxLength);
    }
    std::copy_n(length_.begin(), last + 1, length);
    length[last + 1] = guard;
    return last;
}

void TreeBuilder::exchangeLength(std::uint16_t * length, unsigned lastUsed, unsigned symbol) {
    unsigned longest = symbol;
    for (unsigned other = 0; other <= lastUsed; ++other)
        if (length[other] > length[symbol] && length[other] >= length[longest])
            longest = other;
    std::swap(length[symbol], length[longest]);
}

void TreeBuilder::makeCodes(std::uint16_t const * length, unsigned lastUsed, std::uint16_t * code) {
    std::array<unsigned, maxCodeBits + 1> count{}, next{};
    for (unsigned symbol = 0; symbol <= lastUsed; ++symbol)
        ++count[length[symbol]];
    count[0] = 0;
    for (unsigned bits = 1; bits <= maxCodeBits; ++bits)
        next[bits] = (next[bits - 1] + count[bits - 1]) << 1;
    for (unsigned symbol = 0; symbol <= lastUsed; ++symbol) {
        // No code for no bits.
        unsigned const bits = length[symbol];
        unsigned const forward = next[bits]++;
        unsigned const whole =
            reversedBytes[forward & 0xFF] << 8u | reversedBytes[forward >> 8 & 0xFF];
        code[symbol] = static_cast<std::uint16_t>(whole >> (16 - bits));
    }
}

} // namespace huffman
