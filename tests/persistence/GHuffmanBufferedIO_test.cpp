// The block coder against a plain writer of the same format, that spells every field out and
// searches where the coder keeps a heap; against headers that no writer makes; and its end, behind
// which it may not read.
#include "persistence/GHuffmanBufferedIO.h"
#include "persistence/GMemoryIO.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

/// A distance of 0 and a byte, or a distance and the length of a match less 3.
struct Item {
    unsigned distance, value;
    bool operator==(Item const &) const = default;
};
using Items = std::vector<Item>;

/// Packs fields from the low end of each byte.
struct Bits {
    std::string bytes;
    unsigned used = 8;

    void field(unsigned value, unsigned width) {
        for (unsigned i = 0; i < width; ++i) {
            if (used == 8) {
                bytes += '\0';
                used = 0;
            }
            bytes.back() = static_cast<char>(bytes.back() | (value >> i & 1) << used++);
        }
    }
    /// From its high end.
    void code(unsigned value, unsigned width) {
        while (width-- > 0)
            field(value >> width & 1, 1);
    }
    /// A word, or several, as they are written on paper.
    void words(char const * digits) {
        for (; *digits; ++digits)
            if (*digits != ' ')
                field(*digits == '1', 1);
    }
    void align() { used = 8; }
};

struct Code {
    std::vector<unsigned> frequency, length, word;
    unsigned last = 0;
};

/// A binary heap as it is told in books, with the order of this format: equal nodes count as
/// smaller, so that the right child is taken before the left one.
struct Heap {
    std::vector<unsigned> node{0};
    std::vector<unsigned> const & frequency;
    std::vector<unsigned> const & depth;

    bool smaller(unsigned a, unsigned b) const {
        return frequency[a] < frequency[b] ||
               (frequency[a] == frequency[b] && depth[a] <= depth[b]);
    }
    void down(std::size_t k) {
        unsigned const sinking = node[k];
        while (2 * k < node.size()) {
            std::size_t child = 2 * k;
            if (child + 1 < node.size() && smaller(node[child + 1], node[child]))
                ++child;
            if (smaller(sinking, node[child]))
                break;
            node[k] = node[child];
            k = child;
        }
        node[k] = sinking;
    }
    unsigned takeTop() {
        unsigned const top = node[1];
        node[1] = node.back();
        node.pop_back();
        if (node.size() > 1)
            down(1);
        return top;
    }
};

void buildLengths(Code & code, unsigned longest) {
    auto const symbols = static_cast<unsigned>(code.frequency.size());
    std::vector<unsigned> frequency = code.frequency, depth(2 * symbols, 0), parent(2 * symbols);
    frequency.resize(2 * symbols);
    Heap heap{{0}, frequency, depth};
    int last = -1;
    for (unsigned s = 0; s < symbols; ++s)
        if (frequency[s]) {
            heap.node.push_back(s);
            last = static_cast<int>(s);
        }
    while (heap.node.size() < 3) {
        unsigned const s = last < 2 ? static_cast<unsigned>(++last) : 0;
        code.frequency[s] = frequency[s] = 1;
        heap.node.push_back(s);
    }
    code.last = static_cast<unsigned>(last);
    for (std::size_t k = (heap.node.size() - 1) / 2; k > 0; --k)
        heap.down(k);
    std::vector<unsigned> stored; // as they leave the heap
    unsigned next = symbols;
    while (heap.node.size() > 2) {
        unsigned const a = heap.takeTop();
        unsigned const b = heap.node[1];
        stored.insert(stored.end(), {a, b});
        frequency[next] = frequency[a] + frequency[b];
        depth[next] = std::max(depth[a], depth[b]) + 1;
        parent[a] = parent[b] = next;
        heap.node[1] = next++;
        heap.down(1);
    }
    stored.push_back(heap.node[1]);

    std::vector<unsigned> length(2 * symbols, 0), leaves(longest + 2, 0);
    int overflow = 0;
    for (std::size_t i = stored.size() - 1; i-- > 0;) {
        unsigned const s = stored[i];
        length[s] = length[parent[s]] + 1;
        if (length[s] > longest) {
            length[s] = longest;
            ++overflow;
        }
        if (s <= code.last)
            ++leaves[length[s]];
    }
    if (overflow > 0) {
        for (; overflow > 0; overflow -= 2) {
            unsigned from = longest - 1;
            while (leaves[from] == 0)
                --from;
            --leaves[from];
            leaves[from + 1] += 2;
            --leaves[longest];
        }
        std::size_t at = 0;
        for (unsigned l = longest; l > 0; --l)
            for (unsigned n = leaves[l]; n > 0; ++at)
                if (stored[at] <= code.last) {
                    length[stored[at]] = l;
                    --n;
                }
    }
    code.length.assign(length.begin(), length.begin() + symbols);
}

void assignWords(Code & code) {
    code.word.assign(code.length.size(), 0);
    unsigned word = 0;
    for (unsigned l = 1; l <= 15; ++l, word <<= 1)
        for (std::size_t s = 0; s <= code.last; ++s)
            if (code.length[s] == l)
                code.word[s] = word++;
}

unsigned lengthExtra(unsigned c) {
    return c < 8 || c == 28 ? 0 : c / 4 - 1;
}
unsigned distanceExtra(unsigned c) {
    return c < 4 ? 0 : c / 2 - 1;
}
/// The class whose span holds `value`, and the first value of the span.
template <class Extra>
std::pair<unsigned, unsigned> classOf(unsigned value, unsigned classes, Extra extra) {
    unsigned base = 0, c = 0;
    while (c + 1 < classes && value >= base + (1u << extra(c)))
        base += 1u << extra(c++);
    return {c, base};
}
std::pair<unsigned, unsigned> lengthClass(unsigned value) {
    return value == 255 ? std::pair{28u, 255u} : classOf(value, 28, lengthExtra);
}

struct Run {
    unsigned symbol, extra, width;
};
std::vector<Run> runsOf(Code const & code) {
    std::vector<Run> runs;
    unsigned previous = 0xFFFF;
    for (unsigned s = 0; s <= code.last;) {
        unsigned const l = code.length[s];
        unsigned const limit = l == 0 ? 138 : l == previous ? 6 : 7;
        unsigned n = 1;
        while (n < limit && s + n <= code.last && code.length[s + n] == l)
            ++n;
        s += n;
        if (n < (l != 0 && l != previous ? 4u : 3u)) {
            while (n-- > 0)
                runs.push_back({l, 0, 0});
        } else if (l == 0) {
            runs.push_back(n <= 10 ? Run{17, n - 3, 3} : Run{18, n - 11, 7});
        } else {
            if (l != previous) {
                runs.push_back({l, 0, 0});
                --n;
            }
            runs.push_back({16, n - 3, 2});
        }
        previous = l;
    }
    return runs;
}

void plainBlock(Bits & bits, Items const & items) {
    bits.field(2, 3);
    bits.field(static_cast<unsigned>(items.size()), 15);
    for (Item const & item : items) {
        bits.field(item.distance ? 256 + item.value : item.value, 9);
        if (item.distance)
            bits.field(item.distance - 1, 15);
    }
}

unsigned cost(Code const & code, unsigned s) {
    return code.frequency[s] * code.length[s];
}

constexpr unsigned order[] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

/// One block and the end mark; `coded` tells which form it took.
std::string expected(Items const & items, bool * coded = nullptr) {
    Code literals, distances, lengths;
    literals.frequency.assign(286, 0);
    distances.frequency.assign(30, 0);
    lengths.frequency.assign(19, 0);
    unsigned plain = 0;
    for (Item const & item : items) {
        plain += item.distance ? 24 : 9;
        if (item.distance) {
            ++literals.frequency[257 + lengthClass(item.value).first];
            ++distances.frequency[classOf(item.distance - 1, 30, distanceExtra).first];
        } else {
            ++literals.frequency[item.value];
        }
    }
    literals.frequency[256] = 1;
    buildLengths(literals, 15);
    unsigned const longest = *std::max_element(literals.length.begin(), literals.length.end());
    if (literals.length[256] < longest) {
        unsigned s = 285;
        while (literals.length[s] != longest)
            --s;
        std::swap(literals.length[s], literals.length[256]);
    }
    buildLengths(distances, 15);
    std::vector<Run> const literalRuns = runsOf(literals), distanceRuns = runsOf(distances);
    for (auto const * runs : {&literalRuns, &distanceRuns})
        for (Run const & run : *runs)
            ++lengths.frequency[run.symbol];
    buildLengths(lengths, 7);
    for (Code * code : {&literals, &distances, &lengths})
        assignWords(*code);

    unsigned entries = 18;
    while (lengths.length[order[entries]] == 0)
        --entries;
    unsigned estimate = 14 + 3 * (entries + 1);
    for (unsigned s = 0; s < 286; ++s)
        estimate +=
            cost(literals, s) + (s > 256 ? literals.frequency[s] * lengthExtra(s - 257) : 0);
    for (unsigned s = 0; s < 30; ++s)
        estimate += cost(distances, s) + distances.frequency[s] * distanceExtra(s);
    for (unsigned s = 0; s < 19; ++s)
        estimate += cost(lengths, s) + (s >= 16 && s < lengths.last
                                            ? lengths.frequency[s] * (s == 16   ? 2u
                                                                      : s == 17 ? 3u
                                                                                : 7u)
                                            : 0);
    Bits bits;
    bool const huffman = !items.empty() && estimate < plain;
    if (coded)
        *coded = huffman;
    auto const put = [&bits](Code const & code, unsigned s) {
        bits.code(code.word[s], code.length[s]);
    };
    auto const putRuns = [&](std::vector<Run> const & runs) {
        for (Run const & run : runs) {
            put(lengths, run.symbol);
            bits.field(run.extra, run.width);
        }
    };
    if (!huffman) {
        plainBlock(bits, items);
    } else {
        unsigned const count = std::max(entries + 1, 5u);
        bits.field(3, 3);
        bits.field(count - 5, 4);
        for (unsigned i = 0; i < count; ++i)
            bits.field(lengths.length[order[i]], 3);
        bits.field(literals.last - 256, 5);
        putRuns(literalRuns);
        bits.field(distances.last - 1, 5);
        putRuns(distanceRuns);
        for (Item const & item : items) {
            if (!item.distance) {
                put(literals, item.value);
                continue;
            }
            auto const [l, lengthBase] = lengthClass(item.value);
            put(literals, 257 + l);
            bits.field(item.value - lengthBase, lengthExtra(l));
            auto const [d, distanceBase] = classOf(item.distance - 1, 30, distanceExtra);
            put(distances, d);
            bits.field(item.distance - 1 - distanceBase, distanceExtra(d));
        }
        put(literals, 256);
    }
    bits.align();
    bits.field(1, 3);
    return bits.bytes;
}

/// A Huffman object on memory.
struct Medium {
    GMemoryIO * memory = new GMemoryIO(0);
    GHuffmanBufferedIO huffman{new GBufferedIO(memory)};

    explicit Medium(std::string const & content = {}) {
        memory->gwrite(content.data(), static_cast<long>(content.size()));
        memory->gseek(0, GIO::FromStart);
    }
    std::string bytes() const {
        auto const * const begin = static_cast<char const *>(memory->buffer());
        return std::string(begin, begin + memory->size());
    }
};

std::string written(Items const & items) {
    Medium medium;
    EXPECT_TRUE(medium.huffman.startWrite());
    for (Item const & item : items)
        EXPECT_TRUE(medium.huffman.writeCode(static_cast<unsigned short>(item.distance),
                                             static_cast<unsigned char>(item.value)));
    medium.huffman.flush();
    return medium.bytes();
}

/// The items of the stream and the error that ended it.
std::pair<Items, GIO::IOErrors> readItems(std::string const & stream) {
    Medium medium(stream);
    Items items;
    unsigned short distance;
    unsigned char value;
    GIO::IOErrors error;
    while ((error = medium.huffman.readCode(distance, value)) == GIO::NoError)
        items.push_back({distance, value});
    return {items, error};
}

Items literals(std::string const & text) {
    Items items;
    for (unsigned char const c : text)
        items.push_back({0, c});
    return items;
}

/// One time in three a match, with a distance up to `farthest`.
Items randomItems(std::mt19937 & random, unsigned count, unsigned farthest, unsigned values) {
    Items items;
    for (unsigned i = 0; i < count; ++i) {
        auto const below = [&random](unsigned n) { return static_cast<unsigned>(random()) % n; };
        unsigned const distance = below(3) ? 0 : below(farthest) + 1;
        items.push_back({distance, below(values)});
    }
    return items;
}

TEST(GHuffmanBufferedIO, WritesTheBlocksOfAPlainWriter) {
    std::mt19937 random(7);
    int codedBlocks = 0, plainBlocks = 0;
    for (int round = 0; round < 400; ++round) {
        // Skewed in different degrees, so that trees are flat, deep, and too deep.
        auto const count = static_cast<unsigned>(round < 40 ? round : random() % 4000);
        auto const skew = static_cast<unsigned>(random() % 12);
        auto const matches = static_cast<unsigned>(random() % 4);
        Items items;
        for (unsigned i = 0; i < count; ++i) {
            unsigned value = 255;
            for (unsigned s = 0; s <= skew; ++s)
                value = std::min(value, static_cast<unsigned>(random() & 255));
            auto const distance =
                static_cast<unsigned>(random() % (1 + (32767u >> (random() % 15))) + 1);
            items.push_back({random() % 4 < matches ? distance : 0, value});
        }
        bool coded = false;
        std::string const stream = written(items);
        ASSERT_EQ(stream, expected(items, &coded)) << round;
        ++(coded ? codedBlocks : plainBlocks);
        auto const [back, error] = readItems(stream);
        EXPECT_EQ(back, items);
        EXPECT_EQ(error, GIO::EndOfFile);
    }
    EXPECT_GT(codedBlocks, 100);
    EXPECT_GT(plainBlocks, 20);
}

TEST(GHuffmanBufferedIO, CutsTreesThatAreTooDeep) {
    // Frequencies that grow like rabbits make the deepest tree there is.
    Items items;
    for (unsigned symbol = 0, a = 1, b = 1; symbol < 20; ++symbol, std::swap(a, b), b += a)
        for (unsigned i = 0; i < a && items.size() < 32000; ++i)
            items.push_back({0, symbol * 7});
    bool coded = false;
    std::string const stream = written(items);
    EXPECT_EQ(stream, expected(items, &coded));
    EXPECT_TRUE(coded);
    EXPECT_EQ(readItems(stream).first, items);
}

// Streams worked out by hand.

/// The head of a block in codes: the lengths of the run code by symbol, `entries` of them sent.
Bits codedHead(std::vector<std::pair<unsigned, unsigned>> const & runLengths,
               unsigned entries = 18) {
    std::vector<unsigned> lengths(19, 0);
    for (auto const & [symbol, length] : runLengths)
        lengths[symbol] = length;
    Bits bits;
    bits.field(3, 3);
    bits.field(entries - 5, 4);
    for (unsigned i = 0; i < entries; ++i)
        bits.field(lengths[order[i]], 3);
    return bits;
}

std::string ended(Bits bits) {
    bits.align();
    bits.field(1, 3);
    return bits.bytes;
}

TEST(GHuffmanBufferedIO, FewItemsHaveFieldsOfFixedWidth) {
    EXPECT_EQ(written({{0, 'a'}}), std::string("\x0A\x00\x84\x01\x01", 5));
    // All bits of the longest match from farthest away are set.
    EXPECT_EQ(written({{32768, 255}}), std::string("\x0A\x00\xFC\xFF\xFF\x03\x01", 7));
}

TEST(GHuffmanBufferedIO, EqualNodesDecideTheCodes) {
    // Frequencies 20 five times, and 1: the lengths are 2 3 3 3 2 and 3.
    Items items;
    for (unsigned i = 0; i < 100; ++i)
        items.push_back({0, i % 5});
    Bits bits = codedHead({{1, 2}, {2, 2}, {3, 2}, {18, 2}});
    bits.words("00000"); // symbols to 256
    bits.words("01 10 10 10 01 11 1111111 11 0110011 10");
    bits.words("00000 00 00"); // two distances of one bit
    for (int i = 0; i < 20; ++i)
        bits.words("00 100 101 110 01");
    bits.words("111");
    EXPECT_EQ(written(items), ended(bits));
}

TEST(GHuffmanBufferedIO, TheEndOfTheBlockTakesTheLongestCode) {
    // The match would have the longer code, and gives it up.
    Items items(100, {0, 9});
    items.insert(items.end(), {{0, 0}, {0, 1}, {0, 2}, {1, 0}});
    Bits bits = codedHead({{1, 2}, {3, 2}, {4, 3}, {17, 3}, {18, 2}});
    bits.words("10000"); // symbols to 257
    bits.words("110 01 01 111 110 00 10 1111111 10 1000011 110 01");
    bits.words("00000 00 00");
    for (int i = 0; i < 100; ++i)
        bits.words("0");
    bits.words("1110 100 101 110 0 1111");
    EXPECT_EQ(written(items), ended(bits));
}

TEST(GHuffmanBufferedIO, CodesMustPromiseToBeShorter) {
    // Ten of a kind are expected to take 88 bits, of 90; nine 87, of 81. With two kinds, 11 items
    // are expected to take just their 99 bits, and 12 take 100 of 108.
    auto const typeOf = [](unsigned zeros, unsigned ones) {
        Items items(zeros, {0, 0});
        items.insert(items.end(), ones, {0, 1});
        return written(items)[0] & 7;
    };
    auto const typeOfKind = [](unsigned count) { return written(Items(count, {0, 'a'}))[0] & 7; };
    EXPECT_EQ(typeOfKind(9), 2);
    EXPECT_EQ(typeOfKind(10), 3);
    EXPECT_EQ(typeOf(6, 5), 2);
    EXPECT_EQ(typeOf(7, 5), 3);
}

TEST(GHuffmanBufferedIO, EmptyStreamIsFourBytes) {
    std::string const empty("\x02\x00\x00\x01", 4);
    EXPECT_EQ(written({}), empty);
    EXPECT_EQ(readItems(empty).second, GIO::EndOfFile);
}

/// A block of four symbols, `a`, `b`, the end and one match length, all of two bits: the header
/// with one thing changed at a time.
struct Header {
    unsigned type = 3, extraRun = 0, matchLength = 2, secondDistance = 1;
    /// Lengths of 0 behind those that are needed.
    unsigned moreLengths = 0, moreDistances = 0;
    bool end = true, repeatFirst = false;
    int items = 2;
    std::string stream() const {
        Bits bits;
        bits.field(type, 3);
        // Lengths 0, 1 and 2 have two bits each, the repetition and the run of zeros three.
        bits.field(18 - 5, 4);
        for (unsigned i = 0; i < 18; ++i)
            bits.field(order[i] <= 2 ? 2 : order[i] == 16 || order[i] == 18 ? 3 : 0, 3);
        auto const zero = [&] { bits.code(0, 2); };
        auto const one = [&] { bits.code(1, 2); };
        auto const two = [&] { bits.code(2, 2); };
        auto const zeros = [&](unsigned n) {
            bits.code(7, 3);
            bits.field(n - 11, 7);
        };
        bits.field(1 + moreLengths, 5); // symbols to 257
        if (repeatFirst) {
            bits.code(6, 3);
            bits.field(0, 2);
        }
        zeros(repeatFirst ? 94 : 97);
        two(), two();
        zeros(138);
        zeros(19 + extraRun);
        if (extraRun == 0)
            two(), matchLength == 2 ? two() : one();
        if (moreLengths > 0)
            zeros(moreLengths);
        bits.field(moreDistances, 5); // behind the two
        one(), secondDistance == 1 ? one() : zero();
        if (moreDistances > 0)
            zeros(moreDistances);
        for (int i = 0; i < items; ++i)
            bits.code(static_cast<unsigned>(i & 1), 2); // a, b
        if (end)
            bits.code(2, 2);
        bits.align();
        bits.field(1, 3);
        return bits.bytes;
    }
};

TEST(GHuffmanBufferedIO, RefusesBlocksThatNoWriterMakes) {
    auto const errorOf = [](Header const & header) { return readItems(header.stream()).second; };
    EXPECT_EQ(readItems(Header().stream()).first, literals("ab"));
    EXPECT_EQ(errorOf(Header()), GIO::EndOfFile);
    for (unsigned const type : {0u, 4u, 5u, 6u, 7u})
        EXPECT_EQ(errorOf({.type = type}), GIO::BadData) << type;
    EXPECT_EQ(errorOf({.extraRun = 60}), GIO::BadData) << "a run that leaves the table";
    EXPECT_EQ(errorOf({.matchLength = 1}), GIO::BadData) << "more words than there are";
    EXPECT_EQ(errorOf({.secondDistance = 0}), GIO::BadData) << "a word that means nothing";
    EXPECT_EQ(errorOf({.end = false}), GIO::BadData) << "no end of block";
    EXPECT_EQ(errorOf({.repeatFirst = true}), GIO::BadData) << "a repetition of nothing";
    EXPECT_EQ(errorOf({.moreLengths = 28}), GIO::EndOfFile) << "lengths for all symbols";
    EXPECT_EQ(errorOf({.moreLengths = 29}), GIO::BadData) << "a length for symbol 286";
    EXPECT_EQ(errorOf({.moreDistances = 28}), GIO::EndOfFile);
    EXPECT_EQ(errorOf({.moreDistances = 29}), GIO::BadData) << "a length for distance symbol 30";

    EXPECT_EQ(readItems(Header{.items = 32001}.stream()).first.size(), 32001u)
        << "one more than writers make";
    EXPECT_EQ(errorOf({.items = 32001}), GIO::EndOfFile);
    EXPECT_EQ(errorOf({.items = 32002}), GIO::BadData);
}

TEST(GHuffmanBufferedIO, ATruncatedStreamNeverEndsWell) {
    std::mt19937 random(3);
    Items const items = randomItems(random, 300, 500, 20);
    std::string const stream = written(items);
    for (std::size_t size = 0; size < stream.size(); ++size)
        EXPECT_EQ(readItems(stream.substr(0, size)).second, GIO::BadData) << size;
}

TEST(GHuffmanBufferedIO, LeavesTheDeviceRightBehindItsStream) {
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        unsigned const size = static_cast<unsigned>(random());
        std::string const stream = written(randomItems(random, size % 200, 9, 1 + size % 40));
        Medium medium(stream + "tail");
        unsigned short distance;
        unsigned char value;
        while (medium.huffman.readCode(distance, value) == GIO::NoError)
            ;
        medium.huffman.flush();
        EXPECT_EQ(medium.memory->gtell(), static_cast<long>(stream.size()));
    }
}

TEST(GHuffmanBufferedIO, WithoutADeviceNothingIsDone) {
    GHuffmanBufferedIO huffman;
    EXPECT_EQ(huffman.getError(), GIO::NoDevice);
    unsigned short distance = 1;
    unsigned char value;
    EXPECT_NE(huffman.readCode(distance, value), GIO::NoError);
    EXPECT_FALSE(huffman.writeCode(0, 'a') && huffman.writeBuffer());
}

TEST(GHuffmanBufferedIO, NeitherCutsNorWindowsNorFormerStreamsShow) {
    std::mt19937 random(23);
    std::string data;
    for (int i = 0; i < 70000; ++i)
        data += static_cast<char>(random() % (i < 40000 ? 256 : 5));
    Medium plain;
    EXPECT_EQ(plain.huffman.gwrite(data.data(), 70000), 70000);
    plain.huffman.flush();
    std::string const stream = plain.bytes();

    GHuffmanBufferedIO huffman;
    for (long const window : {4, 5, 8, 9, 15, 16, 17, 1000}) {
        huffman.setBufferedIO(new GBufferedIO(new GMemoryIO(0), window));
        // Words that the next stream must not see, left by a writer and by a reader.
        for (int i = 0; i < 9; ++i)
            huffman.writeCode(7, 7);
        huffman.gseek(0, GIO::FromStart);
        std::string back(data.size(), ' ');
        EXPECT_EQ(huffman.gread(back.data(), 70000), 9);
        huffman.gseek(0, GIO::FromStart);
        for (long at = 0, size; at < 70000; at += size) {
            size = std::min(70000 - at, 1 + static_cast<long>(random() % 700));
            EXPECT_EQ(huffman.gwrite(data.data() + at, size), size);
        }
        huffman.gseek(0, GIO::FromStart);
        auto * const inner = static_cast<GMemoryIO *>(huffman.getBufferedIO()->getIO());
        EXPECT_TRUE(std::string(static_cast<char *>(inner->buffer()),
                                static_cast<std::size_t>(inner->size())) == stream)
            << window;
        for (long at = 0, got; (got = huffman.gread(back.data() + at, 701)) > 0;)
            at += got;
        EXPECT_TRUE(back == data) << window;
        EXPECT_EQ(huffman.getError(), GIO::EndOfFile);
    }
}

TEST(GHuffmanBufferedIO, AFullBlockWaitsForTheNextItem) {
    Medium medium;
    Items items(32000, {5, 0});
    for (Item const & item : items)
        medium.huffman.writeCode(static_cast<unsigned short>(item.distance), 0);
    EXPECT_EQ(medium.huffman.getBufferedIO()->getState(), GAbstractBufferedIO::Idle);
    // A byte is a literal, also in the place of a match of the block before.
    EXPECT_EQ(medium.huffman.writeByte('x'), 'x');
    items.push_back({0, 'x'});
    EXPECT_EQ(medium.huffman.getBufferedIO()->getState(), GAbstractBufferedIO::Writing);
    medium.huffman.flush();
    EXPECT_EQ(readItems(medium.bytes()).first, items);
}

TEST(GHuffmanBufferedIO, TakesNoByteThatABlockDoesNotNeed) {
    // Codes of 1, 2, ... 15 and 15 bits, the end has the shortest, and no byte follows the block.
    for (int before = 0; before < 8; ++before) {
        std::vector<std::pair<unsigned, unsigned>> runLengths = {{18, 4}};
        for (unsigned length = 1; length <= 15; ++length)
            runLengths.emplace_back(length, 4); // and the words 0 to 14
        Bits bits = codedHead(runLengths, 19);
        bits.field(1, 5);
        for (unsigned length = 2; length <= 15; ++length)
            bits.code(length - 1, 4); // literals 0 to 13
        bits.words("1111 1111111 1111 1011101 0000 1110");
        bits.field(14, 5);
        for (unsigned length = 1; length <= 16; ++length)
            bits.code(std::min(length, 15u) - 1, 4);
        for (int i = 0; i < before; ++i)
            bits.words("10");
        bits.words("111111111111111 0 0");

        Medium medium(bits.bytes);
        ASSERT_TRUE(medium.huffman.startRead());
        Items expectedItems(static_cast<std::size_t>(before), {0, 0});
        expectedItems.push_back({1, 0});
        for (Item const & item : expectedItems) {
            unsigned short distance;
            unsigned char value;
            EXPECT_EQ(medium.huffman.readCode(distance, value), GIO::NoError);
            EXPECT_EQ((Item{distance, value}), item);
        }
        EXPECT_EQ(medium.huffman.getRCurrent(), medium.huffman.getREnd());
        medium.huffman.flush();
        EXPECT_EQ(medium.memory->gtell(), static_cast<long>(bits.bytes.size()));
    }
}

/// Two or more symbols and no word unused; half of the codes are as lopsided as they can be.
Code randomCode(std::mt19937 & random, unsigned symbols) {
    std::vector<unsigned> leaves = {0};
    std::size_t const count = 2 + random() % (symbols - 1);
    for (bool const deep = random() % 2; leaves.size() < count;) {
        std::size_t const split =
            deep && leaves.back() < 15 ? leaves.size() - 1 : random() % leaves.size();
        if (leaves[split] < 15)
            leaves.push_back(++leaves[split]);
    }
    leaves.resize(symbols, 0);
    std::shuffle(leaves.begin(), leaves.end(), random);
    Code code;
    code.last = symbols - 1;
    code.length = leaves;
    return code;
}

TEST(GHuffmanBufferedIO, ReadsBlocksInAnyCompleteCodes) {
    std::mt19937 random(31);
    std::vector<std::pair<unsigned, unsigned>> runLengths;
    for (unsigned length = 0; length <= 15; ++length)
        runLengths.emplace_back(length, 4); // and the words 0 to 15
    for (int round = 0; round < 400; ++round) {
        Code literals = randomCode(random, 286), distances = randomCode(random, 30);
        if (literals.length[256] == 0)
            std::iter_swap(
                literals.length.begin() + 256,
                std::find_if(literals.length.begin(), literals.length.end(), std::identity()));
        Bits bits = codedHead(runLengths, 19);
        for (Code * code : {&literals, &distances}) {
            assignWords(*code);
            bits.field(code == &literals ? 29 : 28, 5);
            for (unsigned const length : code->length)
                bits.code(length, 4);
        }
        auto const put = [&](Code const & code, unsigned symbol) {
            bits.code(code.word[symbol], code.length[symbol]);
        };
        // Some value of the class, whose extra bits are put.
        auto const valueOf = [&](unsigned c, auto extra) {
            unsigned value = random() % (1u << extra(c));
            bits.field(value, extra(c));
            while (c > 0)
                value += 1u << extra(--c);
            return value;
        };
        Items items;
        for (int tries = 0; tries < 3000; ++tries) {
            unsigned const symbol = random() % 286, d = random() % 30;
            if (literals.length[symbol] == 0 || symbol == 256 || distances.length[d] == 0)
                continue;
            put(literals, symbol);
            if (symbol < 256) {
                items.push_back({0, symbol});
                continue;
            }
            unsigned const value = symbol == 285 ? 255 : valueOf(symbol - 257, lengthExtra);
            put(distances, d);
            items.push_back({1 + valueOf(d, distanceExtra), value});
        }
        put(literals, 256);
        std::string const stream = ended(bits);

        auto * const memory = new GMemoryIO(0);
        memory->gwrite((stream + "tail").data(), static_cast<long>(stream.size()) + 4);
        memory->gseek(0, GIO::FromStart);
        GHuffmanBufferedIO huffman(new GBufferedIO(memory, 4 + static_cast<long>(random() % 900)));
        Items back;
        unsigned short distance;
        unsigned char value;
        while (huffman.readCode(distance, value) == GIO::NoError)
            back.push_back({distance, value});
        ASSERT_EQ(back, items) << round;
        EXPECT_EQ(huffman.getError(), GIO::EndOfFile);
        huffman.flush();
        EXPECT_EQ(memory->gtell(), static_cast<long>(stream.size()));
    }
}

TEST(GHuffmanBufferedIO, BlocksBeforeABadOneCount) {
    std::string const first = written(literals("good"));
    for (char const * bad : {"\x05", "\x04", ""}) {
        auto const [items, error] = readItems(first.substr(0, first.size() - 1) + bad);
        EXPECT_EQ(items, literals("good"));
        EXPECT_EQ(error, GIO::BadData);
    }
    // What a stream that broke off has left is not the beginning of another.
    Medium medium("\x0A");
    EXPECT_EQ(medium.huffman.readByte(), -1);
    medium.huffman.setBufferedIO(new GBufferedIO(new GMemoryIO(0)));
    EXPECT_EQ(medium.huffman.readByte(), -1);
    EXPECT_EQ(medium.huffman.getError(), GIO::BadData);
    // A block without items is not the end.
    EXPECT_EQ(readItems(std::string("\x02\0\0\x02\0\0", 6) + first).first, literals("good"));
    // A block of fixed fields holds as many items as one in codes.
    for (unsigned const count : {32001u, 32002u}) {
        Bits bits;
        plainBlock(bits, Items(count, {0, 0}));
        EXPECT_EQ(readItems(ended(bits)).second, count == 32001 ? GIO::EndOfFile : GIO::BadData);
    }
}

TEST(GHuffmanBufferedIO, ADeviceThatIsFullStopsTheWriter) {
    std::mt19937 random(29);
    std::string noise;
    for (int i = 0; i < 32000; ++i)
        noise += static_cast<char>(random());
    Medium whole;
    whole.huffman.gwrite(noise.data(), 32000);
    whole.huffman.flush();

    std::string room(100, ' ');
    GHuffmanBufferedIO huffman(
        new GBufferedIO(new GMemoryIO(room.data(), 100, GIO::ReadWriteMode), 16));
    EXPECT_EQ(huffman.gwrite(noise.data(), 32000), 32000);
    EXPECT_EQ(huffman.gwrite("x", 1), 0);
    EXPECT_EQ(huffman.getBufferedIO()->getError(), GIO::IncompleteWrite);
    EXPECT_EQ(room, whole.bytes().substr(0, 100));
}

TEST(GHuffmanBufferedIO, GoesOnOnANewDeviceBelow) {
    std::string first(30, ' '), second(30, ' ');
    auto const deviceOn = [](std::string & bytes) {
        return new GMemoryIO(bytes.data(), 30, GIO::ReadWriteMode);
    };
    GHuffmanBufferedIO huffman(new GBufferedIO(deviceOn(first)));
    huffman.writeByte('a');
    huffman.setIO(deviceOn(second));
    EXPECT_EQ(huffman.getError(), GIO::NoDevice);
    EXPECT_EQ(huffman.writeByte('b'), 'b');
    EXPECT_EQ(huffman.getError(), GIO::NoError);
    huffman.flush();
    EXPECT_EQ(first.substr(0, 6), std::string("\x0A\x00\x84\x01\x01 ", 6));
    EXPECT_EQ(second.substr(0, 6), std::string("\x0A\x00\x88\x01\x01 ", 6));
}

} // namespace
