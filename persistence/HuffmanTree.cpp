// A heap joins the two rarest nodes until one is left; then lengths that are too long are mended.
#include "persistence/HuffmanTree.h"

#include <algorithm>

namespace huffman {

void TreeBuilder::push(unsigned symbol, std::uint32_t frequency) {
    key_[symbol] = frequency << 8;
    heap_[++heapCount_] = static_cast<std::uint16_t>(symbol);
}

/// On a tie the right child goes before the left, and the sinking node stays above its child.
void TreeBuilder::siftDown(unsigned place) {
    std::uint16_t const node = heap_[place];
    std::uint32_t const key = key_[node];
    for (unsigned child; (child = 2 * place) <= heapCount_; place = child) {
        if (child < heapCount_ && key_[heap_[child + 1]] <= key_[heap_[child]])
            ++child;
        if (key <= key_[heap_[child]])
            break;
        heap_[place] = heap_[child];
    }
    heap_[place] = node;
}

void TreeBuilder::joinNodes(unsigned symbols) {
    unsigned next = symbols;
    first_ = heapSize;
    do {
        unsigned const smallest = heap_[1];
        heap_[1] = heap_[heapCount_--];
        siftDown(1);
        unsigned const second = heap_[1];
        order_[--first_] = static_cast<std::uint16_t>(smallest);
        order_[--first_] = static_cast<std::uint16_t>(second);

        std::uint32_t const a = key_[smallest], b = key_[second];
        key_[next] = ((a >> 8) + (b >> 8)) << 8 | (std::max(a & 0xFF, b & 0xFF) + 1);
        parent_[smallest] = parent_[second] = static_cast<std::uint16_t>(next);
        heap_[1] = static_cast<std::uint16_t>(next++);
        siftDown(1);
    } while (heapCount_ > 1);
    order_[--first_] = heap_[1];
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
        if (node <= lastUsed)
            ++lengthCount_[length];
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
    for (unsigned symbol = 0; symbol < symbols; ++symbol)
        if (frequency[symbol] != 0) {
            push(symbol, frequency[symbol]);
            lastUsed = static_cast<int>(symbol);
        }
    // The reader wants whole codes, of two symbols or more.
    while (heapCount_ < 2) {
        unsigned const added = lastUsed < 2 ? static_cast<unsigned>(++lastUsed) : 0;
        frequency[added] = 1;
        push(added, 1);
    }
    unsigned const last = static_cast<unsigned>(lastUsed);
    for (unsigned place = heapCount_ / 2; place > 0; --place)
        siftDown(place);
    joinNodes(symbols);
    if (unsigned const overflow = measureNodes(last, maxLength)) {
        shorten(overflow, maxLength);
        reassign(last, maxLength);
    }
    for (unsigned symbol = 0; symbol <= last; ++symbol)
        length[symbol] = frequency[symbol] != 0 ? length_[symbol] : 0;
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
    for (unsigned symbol = 0; symbol <= lastUsed; ++symbol)
        if (unsigned const bits = length[symbol])
            code[symbol] = static_cast<std::uint16_t>(reversed(next[bits]++, bits));
}

} // namespace huffman
