// The compressor against streams written out by hand, against a plain search of the same matches,
// and against what may happen to a stream on a disk.
#include "persistence/GFlateBufferedIO.h"
#include "persistence/GMemoryIO.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Cuts = std::vector<long>;

/// A flate object on memory.
class Medium {
  public:
    explicit Medium(int level = GFlateBufferedIO::defaultLevel, std::string const & content = {})
        : flate(new GBufferedIO(memory_ = new GMemoryIO(0)), level) {
        memory_->gwrite(content.data(), static_cast<long>(content.size()));
        memory_->gseek(0, GIO::FromStart);
    }
    std::string bytes() const {
        auto const * const begin = static_cast<char const *>(memory_->buffer());
        return std::string(begin, begin + memory_->size());
    }

  private:
    GMemoryIO * memory_;

  public:
    GFlateBufferedIO flate;
};

/// What one stream of the object adds to its medium; the writes take the sizes of `cuts` in turn.
std::string written(Medium & medium, std::string const & data, Cuts const & cuts = {1 << 30}) {
    std::size_t const before = medium.bytes().size();
    EXPECT_TRUE(medium.flate.startWrite());
    for (std::size_t at = 0, i = 0; at < data.size(); ++i) {
        auto const size = static_cast<long>(std::min<std::size_t>(
            static_cast<std::size_t>(cuts[i % cuts.size()]), data.size() - at));
        EXPECT_EQ(medium.flate.gwrite(data.data() + at, size), size);
        at += static_cast<std::size_t>(size);
    }
    medium.flate.flush();
    return medium.bytes().substr(before);
}

std::string compressed(std::string const & data, int level = GFlateBufferedIO::defaultLevel) {
    Medium medium(level);
    return written(medium, data);
}

std::string readAll(GFlateBufferedIO & flate, long piece = 5000) {
    std::string data;
    std::vector<char> part(static_cast<std::size_t>(piece));
    for (long got; (got = flate.gread(part.data(), piece)) > 0;)
        data.append(part.data(), static_cast<std::size_t>(got));
    return data;
}

std::string expanded(std::string const & stream) {
    Medium medium(4, stream);
    std::string const data = readAll(medium.flate);
    EXPECT_EQ(medium.flate.getError(), GIO::EndOfFile);
    EXPECT_EQ(medium.flate.getHuffmanIO()->getError(), GIO::EndOfFile);
    return data;
}

/// A distance of 0 and a byte, or a distance and the length of a match.
using Item = std::pair<unsigned, unsigned>;

std::vector<Item> itemsOf(std::string const & stream) {
    auto * const memory = new GMemoryIO(0);
    memory->gwrite(stream.data(), static_cast<long>(stream.size()));
    memory->gseek(0, GIO::FromStart);
    GHuffmanBufferedIO huffman(new GBufferedIO(memory));
    std::vector<Item> items;
    unsigned short distance;
    unsigned char value;
    while (huffman.readCode(distance, value) == GIO::NoError)
        items.emplace_back(distance, distance ? value + 3u : value);
    return items;
}

/// Packs fields from the low end of each byte.
class Bits {
  public:
    Bits & field(unsigned value, int width) {
        for (int i = 0; i < width; ++i)
            bit(value >> i & 1);
        return *this;
    }
    /// A code word, as it is written on paper.
    Bits & code(char const * digits) {
        for (; *digits; ++digits)
            bit(*digits == '1');
        return *this;
    }
    /// A block whose items have fields of fixed width.
    Bits & plainBlock(std::vector<Item> const & items) {
        field(2, 3).field(static_cast<unsigned>(items.size()), 15);
        for (auto const & [distance, value] : items)
            if (distance)
                field(256 + value - 3, 9).field(distance - 1, 15);
            else
                field(value, 9);
        return align();
    }
    Bits & align() {
        used_ = 8;
        return *this;
    }
    std::string end() { return field(1, 3).align().bytes_; }

  private:
    void bit(bool set) {
        if (used_ == 8) {
            bytes_ += '\0';
            used_ = 0;
        }
        if (set)
            bytes_.back() = static_cast<char>(bytes_.back() | 1 << used_);
        ++used_;
    }
    std::string bytes_;
    int used_ = 8;
};

std::vector<Item> literals(std::string const & text) {
    std::vector<Item> items;
    for (unsigned char const c : text)
        items.emplace_back(0, c);
    return items;
}

/// The same search told plainly: all positions are kept, each under the hash of its three bytes,
/// and what the window holds behind the data is worked out.
class PlainSearch {
  public:
    PlainSearch(std::string const & data, int level) : data_(data) {
        static constexpr std::array<long, 4> table[] = {
            {4, 4, 16, 16},    {6, 8, 16, 16},       {8, 16, 32, 32},
            {8, 16, 64, 64},   {8, 16, 128, 128},    {8, 32, 128, 256},
            {8, 64, 128, 512}, {32, 128, 258, 1024}, {32, 258, 258, 4096}};
        auto const [good, lazy, nice, chain] = table[level - 1];
        long const size = static_cast<long>(data.size());
        long length = 2;
        bool pending = false;
        for (long at = 0; at < size;) {
            // The window is full and the search has come near its end: it slides.
            if (size > base_ + 65536 && base_ + 65536 - at < 262)
                base_ += 32768;
            long const before = length;
            long const beforeStart = start_;
            bool const found = insert(at) && before < lazy;
            length = 2;
            if (found) {
                length = std::min(search(at, before, good, nice, chain),
                                  std::min(size, base_ + 65536) - at);
                if (length == 3 && at - start_ > 4096)
                    length = 2;
            }
            if (before < 3 || length > before) {
                if (pending)
                    items.emplace_back(0, byte(at - 1));
                pending = true;
                ++at;
                continue;
            }
            items.emplace_back(at - 1 - beforeStart, before);
            long const behind = at + before - 1;
            while (++at < behind)
                insert(at);
            pending = false;
            length = 2;
        }
        if (pending)
            items.emplace_back(0, byte(size - 1));
    }

    std::vector<Item> items;

  private:
    unsigned char byte(long at) const {
        long const size = static_cast<long>(data_.size());
        if (at >= size)
            at = base_ == 0 || at - base_ >= 65536 ? -1 : at - 32768;
        return at < 0 ? 0 : static_cast<unsigned char>(data_[static_cast<std::size_t>(at)]);
    }
    /// Whether there is a candidate near enough.
    bool insert(long at) {
        chain_ = &chains_[((byte(at) & 31u) << 10) ^ (byte(at + 1) << 5) ^ byte(at + 2)];
        chain_->push_back(at);
        if (chain_->size() < 2)
            return false;
        long const head = (*chain_)[chain_->size() - 2];
        return head > base_ && at - head <= 32506;
    }
    long search(long at, long best, long good, long nice, long chain) {
        if (best >= good)
            chain /= 4;
        long const limit = std::max(at - 32506, base_);
        for (std::size_t i = chain_->size() - 1; i-- > 0;) {
            long const candidate = (*chain_)[i];
            if (i != chain_->size() - 2 && (candidate <= limit || --chain == 0))
                break;
            if (byte(candidate + best) != byte(at + best))
                continue;
            long length = 0;
            while (length < 258 && byte(candidate + length) == byte(at + length))
                ++length;
            if (length <= best)
                continue;
            start_ = candidate;
            best = length;
            if (best >= nice)
                break;
        }
        return best;
    }

    std::string const & data_;
    long base_ = 0;
    long start_ = 0;
    std::vector<std::vector<long>> chains_ = std::vector<std::vector<long>>(32768);
    std::vector<long> * chain_ = nullptr;
};

/// Data of many kinds, one after the other in pieces of random size.
std::string mixedData(unsigned seed, std::size_t size) {
    std::mt19937 random(seed);
    auto const below = [&](unsigned n) { return random() % n; };
    std::string data;
    while (data.size() < size) {
        std::size_t const piece = 1 + below(below(8) ? 300 : 9000);
        switch (data.empty() ? 0 : below(5)) {
            case 0: // a small alphabet
                for (std::size_t i = 0; i < piece; ++i)
                    data += static_cast<char>('a' + below(1 + below(6)));
                break;
            case 1: // noise
                for (std::size_t i = 0; i < piece / 4; ++i)
                    data += static_cast<char>(below(256));
                break;
            case 2: // a run
                data.append(piece, static_cast<char>(below(3)));
                break;
            default: // a repetition, often from near the farthest place
                std::size_t const far = below(3) ? below(34000) : 32500 + below(12);
                std::size_t const from = data.size() - std::min(data.size(), far + 1);
                for (std::size_t i = 0; i < piece % 400; ++i)
                    data += data[from + i];
        }
    }
    data.resize(size);
    return data;
}

std::string noise(std::size_t size) {
    std::mt19937 random(7);
    std::string data(size, '\0');
    for (char & c : data)
        c = static_cast<char>(random());
    return data;
}

} // namespace

// Streams written out by hand.

TEST(GFlateBufferedIO, ShortStreamsHaveFieldsOfFixedWidth) {
    EXPECT_EQ(compressed(""), std::string("\x02\0\0\x01", 4));
    EXPECT_EQ(compressed("a"), std::string("\x0A\0\x84\x01\x01", 5));
    EXPECT_EQ(compressed("ab"), Bits().plainBlock(literals("ab")).end());
    // Position 0 is never found, so that the match begins at the second byte of the repetition.
    auto items = literals("abca");
    items.emplace_back(3, 5);
    EXPECT_EQ(compressed("abcabcabc"), Bits().plainBlock(items).end());
}

TEST(GFlateBufferedIO, ABlockHoldsThirtyTwoThousandItems) {
    std::size_t const matches = 31998;
    std::string const data(2 + 258 * (matches + 1), '\0');
    Bits bits;
    // Lengths of the codes of lengths: 1 for length 1, 2 for length 2 and for the long run.
    bits.field(3, 3).field(13, 4);
    for (int const symbol : {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1})
        bits.field(symbol == 1 ? 1 : symbol == 2 || symbol == 18 ? 2 : 0, 3);
    // Literal 0 and the end have two bits, the longest match one.
    bits.field(285 - 256, 5).code("10").code("11").field(138 - 11, 7).code("11").field(117 - 11, 7);
    bits.code("10").code("11").field(28 - 11, 7).code("0");
    // Distance 1, and the second code that makes the tree complete.
    bits.field(0, 5).code("0").code("0");
    bits.code("10").code("10");
    for (std::size_t i = 0; i < matches; ++i)
        bits.code("0").code("0");
    bits.code("11").align();
    std::string const golden = bits.plainBlock({{1, 258}}).end();
    EXPECT_EQ(compressed(data, 4), golden);
    EXPECT_TRUE(expanded(golden) == data);
    // The block that is just full is not followed by an empty one.
    std::string const full = compressed(data.substr(258), 4);
    EXPECT_EQ(full, golden.substr(0, full.size() - 1) + '\x01');
}

TEST(GFlateBufferedIO, BytesBehindTheDataDecideBetweenMatches) {
    std::string const data("-abcde\0abcdeYabcde", 18);
    std::vector<Item> items = literals(data.substr(0, 7));
    items.insert(items.end(), {{6, 5}, {0, 'Y'}, {12, 5}});
    EXPECT_EQ(compressed(data, 4), Bits().plainBlock(items).end());
    // What another stream left there does not count, written or read.
    Medium used;
    written(used, std::string(100000, 'f'));
    EXPECT_EQ(written(used, data), compressed(data));
    used.flate.gseek(0, GIO::FromStart);
    EXPECT_EQ(readAll(used.flate).size(), 100000u);
    used.flate.gseek(0, GIO::FromEnd);
    EXPECT_EQ(written(used, data), compressed(data));
}

// The search.

TEST(GFlateBufferedIO, FindsTheMatchesOfAPlainSearch) {
    std::mt19937 random(11);
    for (int level = 1; level <= 9; ++level) {
        std::size_t const around = level % 2 ? 65536 : 98304; // where the window slides
        for (std::size_t const size : {std::size_t{3}, std::size_t{700}, around - 1, around,
                                       around + 1, std::size_t{140000 + random() % 30000}}) {
            std::string const data = mixedData(random(), size);
            auto const items = itemsOf(compressed(data, level));
            auto const plain = PlainSearch(data, level).items;
            auto const [a, b] =
                std::mismatch(items.begin(), items.end(), plain.begin(), plain.end());
            ASSERT_TRUE(a == items.end() && b == plain.end())
                << "level " << level << ", size " << size << ", item " << a - items.begin();
        }
    }
}

TEST(GFlateBufferedIO, DropsShortMatchesFromFarAway) {
    // A repetition of 3 and one of 4 bytes, from as far as a short one may lie, and farther.
    for (std::size_t const distance : {4096u, 4097u, 32506u, 32507u}) {
        for (std::size_t const length : {3u, 4u}) {
            std::string data = "." + std::string("wxyz").substr(0, length);
            for (std::size_t i = data.size(); i < distance + 1; ++i)
                data += static_cast<char>(128 + i % 3);
            data += std::string("wxyz").substr(0, length) + '!';
            auto const items = itemsOf(compressed(data, 9));
            bool const isMatch = distance <= (length == 3 ? 4096u : 32506u);
            EXPECT_EQ(items[items.size() - 2] == Item(distance, length), isMatch)
                << length << " bytes from " << distance;
        }
    }
}

TEST(GFlateBufferedIO, LevelsOutsideTheScaleAreTakenForTheNearest) {
    std::string const data = mixedData(3, 150000);
    EXPECT_EQ(compressed(data, 0), compressed(data, 1));
    EXPECT_EQ(compressed(data, 10), compressed(data, 9));
    EXPECT_EQ(compressed(data, -1), compressed(data, 9));
    EXPECT_NE(compressed(data, 1), compressed(data, 9));
    Medium medium(1);
    medium.flate.gwrite("x", 1);
    medium.flate.setCompressionSpeed(9); // from the next stream on
    medium.flate.gwrite(data.data(), static_cast<long>(data.size()));
    medium.flate.flush();
    EXPECT_TRUE(medium.bytes() == compressed("x" + data, 1));
    EXPECT_TRUE(written(medium, data) == compressed(data, 9));
}

// Streams as a whole.

TEST(GFlateBufferedIO, AnyDataComesBackAndItsStreamDependsOnNothingElse) {
    std::mt19937 random(5);
    for (int level = 1; level <= 9; ++level) {
        Medium used(level);
        for (std::size_t const size : {1u, 2u, 261u, 65236u, 65274u, 130472u, 200000u}) {
            std::string const data = mixedData(random(), size);
            std::string const stream = compressed(data, level);
            EXPECT_TRUE(expanded(stream) == data) << "level " << level << ", size " << size;
            Cuts const cuts = size < 1000 ? Cuts{1} : Cuts{1, 7, 4096, 262, 65536, 32768};
            EXPECT_TRUE(written(used, data, cuts) == stream) << "level " << level << ", " << size;
        }
    }
    for (std::string const & data : {noise(300000), std::string(1000000, 'z')})
        EXPECT_TRUE(expanded(compressed(data)) == data);
}

TEST(GFlateBufferedIO, NothingThatTheObjectDidBeforeShows) {
    std::mt19937 random(37);
    GFlateBufferedIO used(new GBufferedIO(new GMemoryIO(0)));
    auto const writtenAgain = [&](std::string const & data) {
        auto * const memory = new GMemoryIO(0);
        used.setIO(memory);
        EXPECT_TRUE(used.startWrite());
        used.gwrite(data.data(), static_cast<long>(data.size()));
        used.flush();
        auto const * const begin = static_cast<char const *>(memory->buffer());
        return std::string(begin, begin + memory->size());
    };
    std::vector<Item> matches = {{0, 'f'}};
    matches.resize(200, {1, 3});
    std::string const whole = Bits().plainBlock(matches).end();
    for (int i = 0; i < 300; ++i) {
        if (i % 16 == 0) { // a window that has slid, in heads and bytes behind the new data
            writtenAgain(mixedData(random(), 66000 + random() % 60000));
        } else if (i % 16 == 1) { // distances of a block that breaks off
            std::string broken = whole.substr(0, whole.size() - 1 - random() % 100);
            used.setIO(
                new GMemoryIO(broken.data(), static_cast<long>(broken.size()), GIO::ReadWriteMode));
            EXPECT_EQ(readAll(used), "");
            used.setIO(new GMemoryIO(0));
        }
        std::string data = i % 16 ? "" : noise(30000 + random() % 35000);
        for (std::size_t size = random() % 40; size > 0; --size)
            data += "\0\0a"[random() % 3];
        data += std::string("-abcde\0abcdeYabcde", random() % 2 ? 18 : 0);
        ASSERT_TRUE(writtenAgain(data) == compressed(data)) << "round " << i;
    }
}

TEST(GFlateBufferedIO, BytesMayBeWrittenAndReadOneByOne) {
    std::string const data = mixedData(21, 70000);
    Medium medium;
    for (unsigned char const c : data)
        ASSERT_EQ(medium.flate.writeByte(c), c);
    medium.flate.flush();
    EXPECT_TRUE(medium.bytes() == compressed(data));
    Medium back(4, medium.bytes());
    for (unsigned char const c : data)
        ASSERT_EQ(back.flate.readByte(), c);
    EXPECT_EQ(back.flate.readByte(), -1);
    EXPECT_EQ(back.flate.getError(), GIO::EndOfFile);
}

TEST(GFlateBufferedIO, StreamsAndPlainBytesFollowEachOther) {
    std::vector<std::string> const parts = {mixedData(1, 80000), "", noise(40000), "x"};
    Medium medium;
    for (std::string const & part : parts) {
        written(medium, part);
        medium.flate.getBufferedIO()->gwrite("plain", 5);
        medium.flate.getBufferedIO()->flush();
    }
    // Writing, then reading with the same object and no word between.
    EXPECT_EQ(medium.flate.gseek(0, GIO::FromStart), 0);
    for (std::string const & part : parts) {
        EXPECT_TRUE(readAll(medium.flate) == part);
        medium.flate.flush();
        char plain[5];
        EXPECT_EQ(medium.flate.getBufferedIO()->gread(plain, 5), 5);
        EXPECT_EQ(std::string(plain, 5), "plain");
        medium.flate.getBufferedIO()->flush();
    }
}

TEST(GFlateBufferedIO, ThreadsCompressAtOnce) {
    std::string const data = mixedData(31, 300000);
    std::string const stream = compressed(data);
    std::vector<std::string> results(4);
    std::vector<std::thread> threads;
    for (std::string & result : results)
        threads.emplace_back([&] { result = expanded(compressed(data)); });
    for (std::thread & thread : threads)
        thread.join();
    for (std::string const & result : results)
        EXPECT_TRUE(result == data);
}

// Devices.

TEST(GFlateBufferedIO, PutsItselfOnADevice) {
    GFlateBufferedIO flate;
    EXPECT_EQ(flate.getError(), GIO::NoDevice);
    EXPECT_EQ(flate.gwrite("a", 1), -1);
    char content[64] = {};
    auto * const buffer = new GBufferedIO(new GMemoryIO(content, 64, GIO::WriteMode));
    flate.setBufferedIO(buffer);
    EXPECT_EQ(flate.getBufferedIO(), buffer);
    EXPECT_EQ(flate.open_mode(), GIO::WriteMode);
    EXPECT_EQ(flate.gread(content, 1), -1);
    EXPECT_EQ(flate.gwrite("a", 1), 1);
    flate.flush();
    EXPECT_EQ(std::string(content, 6), std::string("\x0A\0\x84\x01\x01\0", 6));
    // Another raw device under the same buffer; the error stands until the next start.
    auto * const memory = new GMemoryIO(0);
    flate.setIO(memory);
    EXPECT_EQ(flate.getError(), GIO::NoDevice);
    EXPECT_EQ(flate.open_mode(), GIO::ReadWriteMode);
    EXPECT_EQ(flate.getBufferedIO(), buffer);
    EXPECT_EQ(flate.gwrite("", 0), 0);
    EXPECT_EQ(flate.getError(), GIO::NoError);
    flate.flush();
    EXPECT_EQ(memory->size(), 4);
}

TEST(GFlateBufferedIO, ADeviceThatIsFullTellsItBelow) {
    std::vector<char> room(10000);
    GFlateBufferedIO flate(new GBufferedIO(new GMemoryIO(room.data(), 10000, GIO::WriteMode)));
    std::string const data = noise(300000);
    EXPECT_EQ(flate.gwrite(data.data(), 300000), 300000);
    flate.flush();
    EXPECT_EQ(flate.getBufferedIO()->getError(), GIO::IncompleteWrite);
}

// Streams that are not whole.

TEST(GFlateBufferedIO, ATruncatedStreamGivesTheBlocksBeforeIt) {
    std::string const data = noise(80000); // three blocks
    std::string const stream = compressed(data);
    std::vector<std::size_t> ends = {0};
    std::size_t count = 0;
    for (std::size_t end = 0; auto const & [distance, value] : itemsOf(stream)) {
        end += distance ? value : 1;
        if (++count % 32000 == 0)
            ends.push_back(end);
    }
    ASSERT_EQ(ends.size(), 3u);
    std::mt19937 random(13);
    std::size_t last = 0;
    for (std::size_t size = 0; size < stream.size(); size += 1 + random() % 2000) {
        Medium medium(4, stream.substr(0, size));
        std::string const got = readAll(medium.flate);
        EXPECT_TRUE(got == data.substr(0, got.size()));
        EXPECT_TRUE(std::count(ends.begin(), ends.end(), got.size()));
        EXPECT_GE(got.size(), last);
        last = got.size();
        EXPECT_EQ(medium.flate.getError(), GIO::EndOfFile);
        EXPECT_EQ(medium.flate.getHuffmanIO()->getError(), GIO::BadData);
    }
    EXPECT_EQ(last, ends.back());
    Medium medium(4, stream.substr(0, stream.size() - 1));
    EXPECT_TRUE(readAll(medium.flate) == data);
    EXPECT_EQ(medium.flate.getHuffmanIO()->getError(), GIO::BadData);
}

TEST(GFlateBufferedIO, AMatchFromBeforeTheDataIsRefused) {
    for (unsigned const distance : {3u, 4u, 32768u}) {
        auto items = literals("abc");
        items.insert(items.end(), {{distance, 4}, {0, 'z'}});
        Medium medium(4, Bits().plainBlock(items).end());
        EXPECT_EQ(readAll(medium.flate), distance == 3 ? "abcabcaz" : "abc");
        EXPECT_EQ(medium.flate.getError(), GIO::EndOfFile);
        EXPECT_EQ(medium.flate.getHuffmanIO()->getError(),
                  distance == 3 ? GIO::EndOfFile : GIO::BadData);
    }
}

TEST(GFlateBufferedIO, EveryDistanceAndLengthIsCopied) {
    std::string data = noise(40000);
    std::vector<Item> items = literals(data.substr(0, 31000));
    data.resize(31000);
    std::mt19937 random(17);
    for (unsigned i = 0; i < 1000; ++i) {
        unsigned const distance = i < 700 ? 1 + i % 35 : 1 + random() % 32768 % data.size();
        unsigned const length = 3 + random() % 256;
        items.emplace_back(distance, length);
        for (unsigned j = 0; j < length; ++j)
            data += data[data.size() - distance];
    }
    EXPECT_TRUE(expanded(Bits().plainBlock(items).end()) == data);
}

TEST(GFlateBufferedIO, LiteralsOfNearlyEvenLengthComeBack) {
    std::mt19937 random(5);
    for (unsigned const rare : {0, 1, 3, 7, 15, 40}) { // values with a longer code
        std::string data;
        while (data.size() < 70000) {
            unsigned const value = random() % 256;
            if (value >= rare || random() % 4 == 0)
                data += static_cast<char>(value);
            if (random() % 500 == 0 && data.size() > 300) // a match among them
                data += data.substr(data.size() - 300, 3 + random() % 20);
        }
        std::string const stream = compressed(data);
        for (long const window : {17L, 100L, 70001L}) {
            auto * const memory = new GMemoryIO(0);
            memory->gwrite(stream.data(), static_cast<long>(stream.size()));
            memory->gseek(0, GIO::FromStart);
            GFlateBufferedIO flate(new GBufferedIO(memory, window));
            EXPECT_TRUE(readAll(flate) == data) << rare << ' ' << window;
        }
    }
}

TEST(GFlateBufferedIO, DamagedStreamsEnd) {
    std::string const stream = compressed(mixedData(41, 100000), 6);
    std::mt19937 random(19);
    for (int i = 0; i < 300; ++i) {
        std::string damaged = stream;
        for (unsigned j = 0; j <= random() % 3; ++j)
            damaged[i < 150 ? random() % 300 : random() % damaged.size()] ^=
                static_cast<char>(1 << random() % 8);
        Medium medium(4, damaged);
        readAll(medium.flate);
        EXPECT_EQ(medium.flate.getError(), GIO::EndOfFile);
    }
}
