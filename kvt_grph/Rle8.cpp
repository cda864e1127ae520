// Runs of pixels, in both directions.
#include "kvt_grph/Rle8.h"

#include <algorithm>
#include <cstring>

namespace ondrel_detail {

namespace {

enum Escape : unsigned char { EndOfRow = 0, EndOfPicture = 1, Move = 2 };

/// Where decoding stands; behind the picture it may go on without effect.
struct Cursor {
    unsigned char * pixels;
    int width, height, stride;
    int x = 0, y = 0;

    /// How many of `count` pixels from here on lie in the picture.
    int room(int count) const { return y < height ? std::clamp(width - x, 0, count) : 0; }
    unsigned char * here() const {
        return pixels + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride) + x;
    }
    void fill(int count, unsigned char value) {
        if (int const inside = room(count))
            std::memset(here(), value, static_cast<std::size_t>(inside));
        step(count);
    }
    void copy(int count, unsigned char const * from) {
        if (int const inside = room(count))
            std::memcpy(here(), from, static_cast<std::size_t>(inside));
        step(count);
    }
    void step(int count) { x = std::min(x + count, width); }
    void move(int right, int up) {
        step(right);
        y = std::min(y + up, height);
    }
};

constexpr int longest = 255;

/// The length of the run of one value that begins at `x`.
int runAt(unsigned char const * row, int x, int width) {
    int const end = std::min(width, x + longest);
    int i = x + 1;
    while (i < end && row[i] == row[x])
        ++i;
    return i - x;
}

/// How many pixels from `x` on stand better as they are: up to a run that saves something.
int literalAt(unsigned char const * row, int x, int width) {
    int const end = std::min(width, x + longest);
    int i = x;
    while (i < end && runAt(row, i, std::min(width, i + 4)) < 4)
        ++i;
    return i - x;
}

void encodeRow(unsigned char const * row, int width, std::vector<unsigned char> & data) {
    for (int x = 0; x < width;) {
        int const literal = literalAt(row, x, width);
        if (literal > Move) {
            data.push_back(0);
            data.push_back(static_cast<unsigned char>(literal));
            data.insert(data.end(), row + x, row + x + literal);
            if (literal % 2)
                data.push_back(0);
            x += literal;
            continue;
        }
        int const run = runAt(row, x, width);
        data.push_back(static_cast<unsigned char>(run));
        data.push_back(row[x]);
        x += run;
    }
}

} // namespace

void decodeRle8(unsigned char const * data, std::size_t size, unsigned char * pixels, int width,
                int height, int stride) {
    Cursor cursor{pixels, width, height, stride};
    unsigned char const * const end = data + size;
    while (end - data >= 2 && cursor.y < height) {
        unsigned char const count = data[0], value = data[1];
        data += 2;
        if (count > 0) {
            cursor.fill(count, value);
        } else if (value == EndOfRow) {
            cursor.x = 0;
            ++cursor.y;
        } else if (value == EndOfPicture) {
            return;
        } else if (value == Move) {
            if (end - data < 2)
                return;
            cursor.move(data[0], data[1]);
            data += 2;
        } else {
            std::ptrdiff_t const there = std::min<std::ptrdiff_t>(value, end - data);
            cursor.copy(static_cast<int>(there), data);
            data += std::min<std::ptrdiff_t>(value + value % 2, end - data);
        }
    }
}

void encodeRle8(unsigned char const * pixels, int width, int height, int stride,
                std::vector<unsigned char> & data) {
    data.clear();
    for (int y = 0; y < height; ++y) {
        encodeRow(pixels + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride), width,
                  data);
        data.push_back(0);
        data.push_back(y + 1 < height ? EndOfRow : EndOfPicture);
    }
}

} // namespace ondrel_detail
