// The search works on bytes behind the data too, where only the result is cut, and takes a
// candidate only when it is longer than what it has. So a candidate may be dropped by any of the
// bytes that such a match would have to share: the last ones, read as one word, drop nearly all.
// Whatever is read of a position when it is inserted lies within the data by then, or nothing
// follows.
#include "persistence/FlateMatcher.h"

#include "persistence/GHuffmanBufferedIO.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr std::uint32_t minMatch = 3;
constexpr std::uint32_t maxMatch = 258;
/// With this much ahead every match is seen whole, and so is the hash behind it.
constexpr std::uint32_t minLookahead = maxMatch + minMatch + 1;
constexpr std::uint32_t halfWindow = FlateMatcher::windowSize / 2;
constexpr std::uint32_t maxDistance = halfWindow - minLookahead;
/// A match of three bytes that is farther away costs more than its literals.
constexpr std::uint32_t tooFar = 4096;
constexpr std::uint32_t hashSize = 32768;
constexpr std::uint32_t chainMask = halfWindow - 1;

template <class T>
T load(unsigned char const * at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

/// Of the bytes that one chain has in common.
inline std::uint32_t hashOfThree(unsigned char const * at) {
    return (at[0] & 31u) << 10 ^ at[1] << 5 ^ at[2];
}

/// The same of the next position, from the third byte there.
inline std::uint32_t nextHash(std::uint32_t hash, unsigned char third) {
    return (hash & 0x3FF) << 5 ^ third;
}

template <class T>
std::uint32_t equalBytes(T difference) {
    int const bits = std::endian::native == std::endian::little ? std::countr_zero(difference)
                                                                : std::countl_zero(difference);
    return static_cast<std::uint32_t>(bits) / 8;
}

/// How many bytes two places share, at most maxMatch; no byte behind those is read.
inline std::uint32_t sharedBytes(unsigned char const * a, unsigned char const * b) {
    using Word = std::size_t;
    std::uint32_t length = 0;
    for (; length + sizeof(Word) <= maxMatch; length += sizeof(Word))
        if (Word const difference = load<Word>(a + length) ^ load<Word>(b + length))
            return length + equalBytes(difference);
    while (length < maxMatch && a[length] == b[length])
        ++length;
    return length;
}

/// Starts to bring near what is wanted soon.
inline void prefetch([[maybe_unused]] void const * at) {
#if defined(__GNUC__)
    __builtin_prefetch(at);
#endif
}

/// Positions after a slide; what fell out of the window becomes none.
void slidePositions(std::uint64_t * fours, std::uint32_t count) {
    // Each position by itself, a few at once, which the compiler makes a vector of.
    constexpr std::uint32_t step = 16;
    static_assert(halfWindow % step == 0 && hashSize % step == 0);
    for (std::uint32_t i = 0; i < count; i += step) {
        std::int16_t positions[4 * step];
        std::memcpy(positions, fours + i, sizeof positions);
        // The highest bit tells what stays, and is what is taken off.
        for (std::int16_t & position : positions)
            position = static_cast<std::int16_t>(position >> 15 & position & 0x7FFF);
        std::memcpy(fours + i, positions, sizeof positions);
    }
}

/// One of four positions in memory, 0 the most recent.
inline std::uint32_t ofFour(std::uint64_t const * four, unsigned which) {
    if constexpr (std::endian::native == std::endian::big)
        which = 3 - which;
    return load<std::uint16_t>(reinterpret_cast<unsigned char const *>(four) + 2 * which);
}

} // namespace

/// Puts items straight into the item buffer, which is handed over when one comes that finds it
/// full. The cursor is kept here while the search runs.
class FlateMatcher::Items {
  public:
    explicit Items(GHuffmanBufferedIO & to) : to_(to) { take(); }
    ~Items() { give(); }
    Items(Items const &) = delete;
    Items & operator=(Items const &) = delete;

    void literal(unsigned char value) {
        if (current_ == end_) {
            exchange(0, value);
            return;
        }
        *current_++ = value;
        ++code_;
    }
    void match(std::uint32_t length, std::uint32_t distance) {
        auto const value = static_cast<unsigned char>(length - minMatch);
        auto const word = static_cast<std::uint16_t>(distance);
        if (current_ == end_) {
            exchange(word, value);
            return;
        }
        *current_++ = value;
        *code_++ = word;
    }

  private:
    void take() {
        current_ = to_.getWCurrent();
        end_ = to_.getWEnd();
        code_ = current_ ? to_.codes() + (current_ - to_.getBuffer()) : nullptr;
    }
    void give() { to_.setWCurrent(current_); }
    /// A device that fails loses the item; the error is the device's to tell.
    [[gnu::noinline]] void exchange(std::uint16_t word, unsigned char value) {
        give();
        to_.writeCode(word, value);
        take();
    }

    GHuffmanBufferedIO & to_;
    unsigned char * current_;
    unsigned char * end_;
    std::uint16_t * code_;
};

FlateMatcher::Tuning const FlateMatcher::tunings[] = {
    {4, 4, 16, 16},    {6, 8, 16, 16},       {8, 16, 32, 32},
    {8, 16, 64, 64},   {8, 16, 128, 128},    {8, 32, 128, 256},
    {8, 64, 128, 512}, {32, 128, 258, 1024}, {32, 258, 258, 4096},
};

FlateMatcher::FlateMatcher(unsigned char * window)
    : window_(window), heads_(new Four[hashSize]()), chains_(new Four[halfWindow]),
      tuning_(tunings[0]) {}

void FlateMatcher::start(unsigned char level) {
    tuning_ = tunings[std::clamp<int>(level, 1, 9) - 1];
    // No entry of the chains is read before the stream has written it.
    if (!areHeadsClear_)
        std::fill_n(heads_.get(), hashSize, Four{0});
    areHeadsClear_ = false;
    position_ = lookahead_ = 0;
    match_ = {0, minMatch - 1};
    literalPending_ = false;
}

/// Takes back a short stream, which is cheaper than to clear all heads for the next.
void FlateMatcher::finish() {
    if (position_ > hashSize / 8)
        return;
    unsigned char const * third = window_ + minMatch - 1;
    unsigned char const * const end = third + position_;
    Four * const heads = heads_.get();
    std::uint32_t hash = hashOfThree(window_);
    while (third != end) {
        heads[hash] = 0;
        hash = nextHash(hash, *++third);
    }
    areHeadsClear_ = true;
}

/// Gives the candidates for a match at the position, which is one from now on, and makes `hash`
/// that of the next.
inline std::uint64_t insert(std::uint64_t * heads, std::uint64_t * chains,
                            unsigned char const * window, std::uint32_t position,
                            std::uint32_t & hash) {
    std::uint64_t const before = heads[hash];
    heads[hash] = before << 16 | position;
    chains[position & chainMask] = before;
    hash = nextHash(hash, window[position + minMatch]);
    return before;
}

/// A function of its own, so that the loop, which is short, has all registers.
[[gnu::noinline]] std::uint32_t insertAll(std::uint64_t * heads, std::uint64_t * chains,
                                          unsigned char const * window, std::size_t position,
                                          std::size_t end, std::size_t hash) {
    for (; position != end; ++position) {
        std::uint64_t & head = heads[hash];
        std::uint64_t const before = head;
        hash = (hash & 0x3FF) << 5 ^ window[position + minMatch];
        head = before << 16 | position;
        chains[position & chainMask] = before;
    }
    return static_cast<std::uint32_t>(hash);
}

/// `Continues` when there is a match to be longer than; else all is longer that shares three bytes.
template <bool Continues>
inline FlateMatcher::Match FlateMatcher::findLongest(std::uint32_t position, Match best) const {
    unsigned char const * const window = window_;
    Four const * const chains = chains_.get();
    unsigned char const * const here = window + position;
    // The candidates are read from memory one by one: to take a word of four apart costs more.
    Four const * four = &chains[position & chainMask];
    // All lengths of the search are multiples of four.
    std::uint32_t rounds = tuning_.maxChain / 4;
    if (Continues && best.length >= tuning_.goodLength)
        rounds >>= 2;
    // The first candidate may be just as far away as the others may not be.
    std::uint32_t limit = position > maxDistance ? position - maxDistance : 0;
    if (limit != 0 && ofFour(four, 0) == limit)
        --limit;

    // The last bytes of what would be longer.
    unsigned char const * end = window + best.length - minMatch;
    auto wanted = load<std::uint32_t>(end + position);
    // Whether the search ends with a candidate that may be longer.
    auto const endsWith = [&](std::uint32_t candidate) {
        if (candidate <= limit)
            return true;
        std::uint32_t const length = sharedBytes(window + candidate, here);
        if (length <= best.length)
            return false;
        best = {candidate, length};
        end = window + length - minMatch;
        wanted = load<std::uint32_t>(end + position);
        return length >= tuning_.niceLength;
    };
    auto const endsAt = [&](std::uint32_t candidate) {
        if (load<std::uint32_t>(end + candidate) != wanted) [[likely]]
            return false;
        return endsWith(candidate);
    };
    std::uint32_t fourth = ofFour(four, 3);
    if constexpr (!Continues) {
        // With the hash, two bytes are as good as the three of a first match.
        auto const two = load<std::uint16_t>(here);
        auto const shares = [&](std::uint32_t candidate) {
            return load<std::uint16_t>(window + candidate) == two;
        };
        for (;;) {
            bool ends = false;
            bool found = true;
            if (shares(ofFour(four, 0)))
                ends = endsWith(ofFour(four, 0)) || endsAt(ofFour(four, 1)) ||
                       endsAt(ofFour(four, 2)) || endsAt(fourth);
            else if (shares(ofFour(four, 1)))
                ends = endsWith(ofFour(four, 1)) || endsAt(ofFour(four, 2)) || endsAt(fourth);
            else if (shares(ofFour(four, 2)))
                ends = endsWith(ofFour(four, 2)) || endsAt(fourth);
            else if (shares(fourth))
                ends = endsWith(fourth);
            else
                found = false;
            if (ends || fourth <= limit || --rounds == 0)
                return best;
            four = &chains[fourth & chainMask];
            fourth = ofFour(four, 3);
            if (found)
                break;
        }
    }
    for (;;) {
        if (endsAt(ofFour(four, 0)) || endsAt(ofFour(four, 1)) || endsAt(ofFour(four, 2)) ||
            endsAt(fourth) || fourth <= limit || --rounds == 0)
            return best;
        four = &chains[fourth & chainMask];
        fourth = ofFour(four, 3);
    }
}

void FlateMatcher::code(long filled, bool nothingFollows, GHuffmanBufferedIO & to) {
    unsigned char const * const window = window_;
    Four * const heads = heads_.get();
    Four * const chains = chains_.get();
    std::uint32_t const maxLazy = tuning_.maxLazy;
    std::uint32_t const wantedAhead = nothingFollows ? 1 : minLookahead;
    std::uint32_t position = position_;
    std::uint32_t lookahead = static_cast<std::uint32_t>(filled) - position;
    Match match = match_;
    bool literalPending = literalPending_;
    std::uint32_t hash = hashOfThree(window + position);

    Items items(to);
    while (lookahead >= wantedAhead) {
        Four const candidates = insert(heads, chains, window, position, hash);
        prefetch(&chains[heads[hash] >> 48 & chainMask]);
        Match const before = match;
        match.length = minMatch - 1;
        // Without candidates there is nothing to find, which is usual in short streams.
        if (candidates != 0 && before.length < maxLazy) {
            match = before.length < minMatch ? findLongest<false>(position, before)
                                             : findLongest<true>(position, before);
            match.length = std::min(match.length, lookahead);
            if (match.length == minMatch && position - match.start > tooFar)
                match.length = minMatch - 1;
        }
        if (before.length < minMatch || match.length > before.length) {
            if (literalPending)
                items.literal(window[position - 1]);
            literalPending = true;
            ++position;
            --lookahead;
        } else {
            items.match(before.length, position - 1 - before.start);
            lookahead -= before.length - 1;
            std::uint32_t const end = position + before.length - 1;
            hash = insertAll(heads, chains, window, position + 1, end, hash);
            position = end;
            literalPending = false;
            match.length = minMatch - 1;
        }
    }
    if (nothingFollows && literalPending) {
        items.literal(window[position - 1]);
        literalPending = false;
    }

    position_ = position;
    lookahead_ = lookahead;
    match_ = match;
    literalPending_ = literalPending;
    if (nothingFollows)
        finish();
}

void FlateMatcher::slide() {
    std::memcpy(window_, window_ + halfWindow, halfWindow);
    position_ -= halfWindow;
    match_.start -= halfWindow;
    slidePositions(heads_.get(), hashSize);
    slidePositions(chains_.get(), halfWindow);
}

long FlateMatcher::makeRoom() {
    if (position_ >= windowSize - minLookahead)
        slide();
    return static_cast<long>(position_ + lookahead_);
}
