// The search for repetitions: it turns a window of bytes into coded items, literals and matches
// with what stood up to 32 KiB before. The candidates for a match are the positions with the same
// hash of three bytes, the most recent first; a match is put off by one byte to see whether the
// next position has a longer one. Which of several equal matches is taken, how many candidates are
// looked at and when the window slides decide the bits of a file, so none of it may change.
//
// A chain of candidates that is walked one by one waits for memory at each. So they are kept by
// four: a hash has its last four positions in one word, and a position the four before it.
#pragma once

#include <cstdint>
#include <memory>

class GHuffmanBufferedIO;

class FlateMatcher {
  public:
    static constexpr long windowSize = 65536;
    /// What a comparison may read behind the window, and the wide copies of the decoder touch.
    static constexpr long slackSize = 256 + 32;

    /// The window stays the caller's: windowSize bytes for data and slackSize behind them.
    explicit FlateMatcher(unsigned char * window);

    /// Begins a stream at the start of the window, whose bytes must all be zero then. Levels below
    /// 1 and above 9 are taken for those.
    void start(unsigned char level);

    /// Codes the data that ends `filled` bytes behind the start of the window: all of it when
    /// nothing follows, otherwise as far as every match can be seen whole.
    void code(long filled, bool nothingFollows, GHuffmanBufferedIO & items);

    /// Makes room for more data, which may mean that the window slides by a half. Says where the
    /// data goes on, in bytes from the start of the window; there is room up to windowSize.
    long makeRoom();

  private:
    class Items;
    struct Tuning {
        /// A previous match of this length quarters the search.
        std::uint16_t goodLength;
        /// A previous match of this length is taken without a look at the next position.
        std::uint16_t maxLazy;
        /// A match of this length ends the search.
        std::uint16_t niceLength;
        /// Candidates looked at.
        std::uint16_t maxChain;
    };
    struct Match {
        std::uint32_t start;
        std::uint32_t length;
    };
    static Tuning const tunings[];

    /// Four positions with the same hash, the most recent in the low 16 bits; 0 is none, which is
    /// why position 0 is never found.
    using Four = std::uint64_t;

    template <bool Continues>
    Match findLongest(std::uint32_t position, Match before) const;
    void finish();
    void slide();

    unsigned char * window_;
    /// For a hash its last positions, and for a position those before it.
    std::unique_ptr<Four[]> heads_;
    std::unique_ptr<Four[]> chains_;
    Tuning tuning_;
    std::uint32_t position_ = 0;
    std::uint32_t lookahead_ = 0;
    Match match_{0, 0};
    bool literalPending_ = false;
    /// The heads are all none.
    bool areHeadsClear_ = true;
};
