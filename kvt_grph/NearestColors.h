// The search for the nearest of up to 256 colours, exact and fast enough for every pixel of an
// image. The colour cube is cut into cells. For each cell that is asked about, the colours that are
// nearest to some point of it are written down: a handful, since one colour, the nearest to the
// middle, rules out all those that it beats in the whole cell. A small table in front remembers the
// last answers, for pictures in which one colour comes often.
#pragma once

#include "kvt_grph/Colors.h"

#include <array>
#include <cstdint>
#include <vector>

namespace ondrel_detail {

class NearestColors {
  public:
    /// The index of the colour at the least squared distance of red, green and blue, the lowest of
    /// several. `entries` are the `count` colours, 1 to 256 of them, the same ones in every call
    /// since the last `forget`.
    unsigned char find(RGB_Color color, PALETTEENTRY const * entries, int count) {
        if (!prepared_ && !prepare())
            return plainSearch(color, entries, count);
        std::uint32_t const key = keyOf(color);
        std::uint32_t & answer = answers_[slotOf(key)];
        if (answer >> 8 != key)
            answer = key << 8 | searchCell(color, entries, count);
        return static_cast<unsigned char>(answer);
    }
    /// To be called when a colour, or their number, changes.
    void forget() {
        prepared_ = false;
        plainSearches_ = 0;
    }

  private:
    static constexpr int cellBits = 4; // of each component
    static constexpr int cellEdge = 1 << (8 - cellBits);
    static constexpr std::uint32_t answerBits = 10;
    /// A palette that changes with every few questions is not worth any preparation.
    static constexpr int plainSearchesFirst = 16;

    struct Cell {
        std::uint32_t begin = 0; // in candidates_
        std::uint32_t count = 0; // 0 when nothing is written down yet
    };

    static std::uint32_t keyOf(RGB_Color color) {
        return std::uint32_t(color.red) << 16 | std::uint32_t(color.green) << 8 | color.blue;
    }
    static std::uint32_t slotOf(std::uint32_t key) {
        return key * 0x9E3779B1u >> (32 - answerBits);
    }
    /// False while it does not pay.
    bool prepare();
    static unsigned char plainSearch(RGB_Color color, PALETTEENTRY const * entries, int count);
    unsigned char searchCell(RGB_Color color, PALETTEENTRY const * entries, int count);
    void fill(Cell & cell, int red, int green, int blue, PALETTEENTRY const * entries, int count);

    bool prepared_ = false; // what follows belongs to the present colours
    int plainSearches_ = 0;
    std::array<std::uint32_t, 1u << answerBits> answers_; // the colour, and the index below it
    std::array<Cell, 1 << 3 * cellBits> cells_;
    std::vector<PALETTEENTRY> candidates_; // of each cell, with the index in place of the flags
};

} // namespace ondrel_detail
