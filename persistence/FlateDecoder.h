// Turns coded items back into bytes, in a ring whose areas the caller reads in place. Behind the
// ring lies a run-on area that repeats its head, longer than the longest match, so that a copy
// whose source crosses the end of the ring needs no second look.
#pragma once

#include <cstdint>

class GHuffmanBufferedIO;

class FlateDecoder {
  public:
    static constexpr long ringSize = 65236;

    /// The window stays the caller's, and is that of FlateMatcher, slack included.
    explicit FlateDecoder(unsigned char * window) : window_(window) {}

    /// Begins a stream.
    void start();
    /// Decodes the next area, which begins with the window: its bytes. It is ringSize until the
    /// items end, for whatever reason; then it is what was left, which may be none.
    long decode(GHuffmanBufferedIO & items);
    /// The items have ended. A match that reaches before the start of the data ends them too, and
    /// is refused as bad data.
    bool hasEnded() const { return hasEnded_; }

  private:
    bool decodeUpTo(std::int32_t end, GHuffmanBufferedIO & items);
    static void copy(unsigned char * to, unsigned char const * from, std::uint32_t distance,
                     std::uint32_t length);

    unsigned char * window_;
    std::int32_t position_ = ringSize;
    /// Where the data begins, as an index of the ring; below 0 once all of the ring is data.
    std::int32_t origin_ = ringSize;
    bool hasEnded_ = true;
};
