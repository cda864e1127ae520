// Plain search, search within a cell, and what is written down for a cell.
#include "kvt_grph/NearestColors.h"

#include <algorithm>
#include <climits>

namespace ondrel_detail {

namespace {

int square(int n) {
    return n * n;
}

int distance(PALETTEENTRY const & entry, int red, int green, int blue) {
    return square(entry.peRed - red) + square(entry.peGreen - green) + square(entry.peBlue - blue);
}

int nearestTo(int red, int green, int blue, PALETTEENTRY const * entries, int count) {
    int nearest = 0, least = INT_MAX;
    for (int i = 0; i < count; ++i) {
        int const d = distance(entries[i], red, green, blue);
        if (d < least) {
            least = d;
            nearest = i;
        }
    }
    return nearest;
}

/// By how much a component `a` can be nearer than `b` to one of the values from `low` to `high`,
/// in squared distance. The difference is linear, so it is greatest at one of the ends.
int advantage(int a, int b, int low, int high) {
    int const x = a > b ? high : low;
    return square(b - x) - square(a - x);
}

} // namespace

bool NearestColors::prepare() {
    if (plainSearches_ < plainSearchesFirst) {
        ++plainSearches_;
        return false;
    }
    prepared_ = true;
    // A colour that does not belong into a slot is no answer there. Black belongs into one alone,
    // and the colour put there belongs elsewhere.
    static_assert((0x9E3779B1u >> (32 - answerBits)) != 0);
    answers_.fill(0);
    answers_[slotOf(0)] = 1u << 8;
    cells_.fill(Cell());
    candidates_.clear();
    return true;
}

unsigned char NearestColors::plainSearch(RGB_Color color, PALETTEENTRY const * entries, int count) {
    return static_cast<unsigned char>(
        nearestTo(color.red, color.green, color.blue, entries, count));
}

unsigned char NearestColors::searchCell(RGB_Color color, PALETTEENTRY const * entries, int count) {
    constexpr int shift = 8 - cellBits;
    int const red = color.red >> shift, green = color.green >> shift, blue = color.blue >> shift;
    Cell & cell = cells_[static_cast<std::size_t>((red << cellBits | green) << cellBits | blue)];
    if (cell.count == 0)
        fill(cell, red << shift, green << shift, blue << shift, entries, count);
    // Distance and index in one number: the least one is the answer, and no branch is guessed.
    int least = INT_MAX;
    PALETTEENTRY const * const candidates = candidates_.data() + cell.begin;
    for (std::uint32_t i = 0; i < cell.count; ++i)
        least = std::min(least, distance(candidates[i], color.red, color.green, color.blue) << 8 |
                                    candidates[i].peFlags);
    return static_cast<unsigned char>(least);
}

void NearestColors::fill(Cell & cell, int red, int green, int blue, PALETTEENTRY const * entries,
                         int count) {
    constexpr int last = cellEdge - 1;
    int const middle =
        nearestTo(red + cellEdge / 2, green + cellEdge / 2, blue + cellEdge / 2, entries, count);
    PALETTEENTRY const & best = entries[middle];
    cell.begin = static_cast<std::uint32_t>(candidates_.size());
    for (int i = 0; i < count; ++i) {
        PALETTEENTRY const & entry = entries[i];
        int const most = advantage(entry.peRed, best.peRed, red, red + last) +
                         advantage(entry.peGreen, best.peGreen, green, green + last) +
                         advantage(entry.peBlue, best.peBlue, blue, blue + last);
        // At an equal distance the lower index wins.
        if (most > 0 || i == middle || (most == 0 && i < middle))
            candidates_.push_back(
                {entry.peRed, entry.peGreen, entry.peBlue, static_cast<unsigned char>(i)});
    }
    cell.count = static_cast<std::uint32_t>(candidates_.size()) - cell.begin;
}

} // namespace ondrel_detail
