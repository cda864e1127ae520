// Copies go in chunks that may write behind a match. What they spoil there is data still to come,
// or so old that no distance reaches it; behind the end of the ring it is the slack.
#include "persistence/FlateDecoder.h"

#include "persistence/FlateMatcher.h"
#include "persistence/GHuffmanBufferedIO.h"

#include <bit>
#include <cstring>

namespace {

constexpr std::int32_t minMatch = 3;
constexpr std::uint32_t chunk = 16;

/// How many of the next four items are literals before the first match.
inline std::int32_t literalsOfFour(unsigned short const * code) {
    std::uint64_t words;
    std::memcpy(&words, code, sizeof words);
    int const zeros = std::endian::native == std::endian::little ? std::countr_zero(words)
                                                                 : std::countl_zero(words);
    return zeros / 16;
}

inline bool areEightLiterals(unsigned short const * code) {
    std::uint64_t words[2];
    std::memcpy(words, code, sizeof words);
    return (words[0] | words[1]) == 0;
}

} // namespace

void FlateDecoder::start() {
    position_ = origin_ = ringSize;
    hasEnded_ = false;
}

/// `to` stands `distance` behind `from`, or before it when the source crosses the end of the ring.
inline void FlateDecoder::copy(unsigned char * to, unsigned char const * from,
                               std::uint32_t distance, std::uint32_t length) {
    unsigned char * const end = to + length;
    if (distance >= chunk) {
        do {
            std::memcpy(to, from, chunk);
            to += chunk;
            from += chunk;
        } while (to < end);
        return;
    }
    if (distance == 1) {
        std::memset(to, *from, length);
        return;
    }
    if (distance >= 8) {
        do {
            std::memcpy(to, from, 8);
            to += 8;
            from += 8;
        } while (to < end);
        return;
    }
    // A short pattern is laid out over a word; each store goes on by whole patterns.
    unsigned char pattern[8];
    for (std::uint32_t i = 0, j = 0; i < 8; ++i, j = j + 1 == distance ? 0 : j + 1)
        pattern[i] = from[j];
    std::uint32_t const step = 8 / distance * distance;
    do {
        std::memcpy(to, pattern, 8);
        to += step;
    } while (to < end);
}

bool FlateDecoder::decodeUpTo(std::int32_t end, GHuffmanBufferedIO & items) {
    unsigned char * const window = window_;
    std::int32_t position = position_;
    while (position < end) {
        // The first item of a block in the ordinary way: it may have to start or refill.
        if (items.getRCurrent() == items.getREnd()) {
            if (items.readByte() < 0)
                break;
            items.setRCurrent(items.getRCurrent() - 1);
        }
        unsigned char const * value = items.getRCurrent();
        unsigned char const * const last = items.getREnd();
        unsigned short const * code = items.codes() + (value - items.getBuffer());
        bool isRefused = false;
        while (position < end && value != last) {
            // Four literals at a time, and what comes before a match with it: to ask each item
            // what it is would be a guess each time.
            if (last - value >= 4) {
                std::memcpy(window + position, value, 4);
                std::int32_t const literals = literalsOfFour(code);
                position += literals;
                value += literals;
                code += literals;
                if (literals == 4) {
                    // Which may be the beginning of many.
                    while (last - value >= 8 && end - position >= 8 && areEightLiterals(code)) {
                        std::memcpy(window + position, value, 8);
                        position += 8;
                        value += 8;
                        code += 8;
                    }
                    continue;
                }
            }
            std::int32_t const distance = *code++;
            std::int32_t const byte = *value++;
            if (distance == 0) {
                window[position++] = static_cast<unsigned char>(byte);
                continue;
            }
            if (distance > position - origin_) {
                isRefused = true;
                break;
            }
            std::int32_t const from = position - distance;
            copy(window + position, window + (from < 0 ? from + ringSize : from),
                 static_cast<std::uint32_t>(distance), static_cast<std::uint32_t>(byte + minMatch));
            position += byte + minMatch;
        }
        items.setRCurrent(const_cast<unsigned char *>(value));
        if (isRefused) {
            items.refuseData();
            break;
        }
    }
    position_ = position;
    return position >= end;
}

long FlateDecoder::decode(GHuffmanBufferedIO & items) {
    // Up to the end of the run-on area, which then moves to the head of the ring and stays.
    bool goesOn = decodeUpTo(FlateMatcher::windowSize, items);
    std::int32_t const runOn = position_ - ringSize;
    std::memcpy(window_, window_ + ringSize, static_cast<std::size_t>(runOn));
    position_ = runOn;
    origin_ = origin_ > 0 ? origin_ - static_cast<std::int32_t>(ringSize) : -ringSize;
    goesOn = goesOn && decodeUpTo(ringSize, items);
    hasEnded_ = !goesOn;
    return goesOn ? ringSize : position_;
}
