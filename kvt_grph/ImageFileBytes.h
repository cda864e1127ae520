// What the codecs share: numbers of image files, which are little-endian whatever order the stream
// has, and ways to move pixels between a stream and memory in large pieces. A file's head is not
// trusted: what it promises is compared with what the stream holds before anything is allocated.
#pragma once

#include "foundation/GPoint.h"
#include "kvt_grph/AbstractImage.h"
#include "persistence/pstream.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

class ImageFileFilter;

namespace ondrel_detail {

inline unsigned readLittle16(unsigned char const * at) {
    return at[0] | static_cast<unsigned>(at[1]) << 8;
}
inline std::uint32_t readLittle32(unsigned char const * at) {
    return readLittle16(at) | static_cast<std::uint32_t>(readLittle16(at + 2)) << 16;
}
inline void writeLittle16(unsigned char * at, unsigned value) {
    at[0] = static_cast<unsigned char>(value);
    at[1] = static_cast<unsigned char>(value >> 8);
}
inline void writeLittle32(unsigned char * at, std::uint32_t value) {
    writeLittle16(at, value);
    writeLittle16(at + 2, value >> 16);
}

/// The text of message `id`: the host's, or our own when the host has none.
void setFilter(ImageFileFilter & filter, unsigned id);

/// Steps over `count` bytes; false when there are not so many.
bool skipFar(ipstream & in, std::int64_t count);

/// The most pixels that one byte of a file can stand for.
constexpr std::int64_t pixelsPerRawByte = 8;
constexpr std::int64_t pixelsPerRunByte = 128;
/// Whether to believe that the rest of the stream is an image of that size. Up to 64 million
/// pixels are believed of any stream, so that one that was cut short shows what is left; beyond
/// them the stream must be long enough. No row is of 1 GB or more.
bool canHoldImage(ipstream & in, std::int64_t width, std::int64_t height,
                  std::int64_t pixelsPerByte);

/// The bytes of a stream out of the window of its device, without a call for each. The stream
/// stands where the reader stood when this ends. Behind the end there are zeros, and the stream's
/// state tells it.
class WindowReader {
  public:
    explicit WindowReader(ipstream & in) : in_(in) {}
    ~WindowReader() { consume(); }
    WindowReader(WindowReader const &) = delete;
    WindowReader & operator=(WindowReader const &) = delete;

    bool ended() const { return ended_; }
    unsigned char byte() { return current_ < end_ || refill() ? *current_++ : 0; }
    void bytes(unsigned char * to, std::size_t count);
    void skip(std::size_t count);

  private:
    void consume();
    bool refill();

    ipstream & in_;
    unsigned char const * begin_ = nullptr;
    unsigned char const * current_ = nullptr;
    unsigned char const * end_ = nullptr;
    bool ended_ = false;
};

/// About as many bytes as move fastest: less than the caches, more than the system's calls cost.
constexpr std::size_t bestPiece = 128 * 1024;

/// Rows of a file that are moved at once, and the room for them, all zeros.
class RowPiece {
  public:
    RowPiece(std::size_t rowBytes, int height)
        : rows_(static_cast<int>(
              std::clamp<std::size_t>(bestPiece / std::max<std::size_t>(rowBytes, 1), 1,
                                      static_cast<std::size_t>(std::max(height, 1))))),
          bytes_(static_cast<std::size_t>(rows_) * rowBytes) {}
    int rows() const { return rows_; }
    unsigned char * data() { return bytes_.data(); }

  private:
    int rows_;
    std::vector<unsigned char> bytes_;
};

/// From how many bytes on a row is worth a read or a write of its own.
constexpr std::size_t longRow = 16 * 1024;

/// How many rows from `row` on stand in memory one behind the other. 0 when they are to be moved
/// by way of a RowPiece: when `place` knows no address, or they are too short.
template <class Place>
int rowsInOne(std::size_t rowBytes, int row, int height, Place & place) {
    constexpr std::size_t most = std::size_t{1} << 26;
    auto const * const first = place(row);
    int count = 1;
    while (first && row + count < height &&
           rowBytes * static_cast<std::size_t>(count + 1) <= most &&
           place(row + count) == first + rowBytes * static_cast<std::size_t>(count))
        ++count;
    return first && (count > 1 || rowBytes >= longRow) ? count : 0;
}

/// Reads the rows in the order of the file: straight to `place(row)` where that has an address, for
/// all rows or none; otherwise it calls `take(row, bytes)` for each. Rows behind the end of the
/// stream are zeros.
template <class Place, class Take>
void readRows(ipstream & in, std::size_t rowBytes, int height, Place place, Take take) {
    bool ended = false;
    auto const readTo = [&](unsigned char * to, int rows) {
        auto const wanted = static_cast<long>(rowBytes * static_cast<std::size_t>(rows));
        if (ended)
            std::memset(to, 0, static_cast<std::size_t>(wanted));
        else
            ended = in.readBytes(to, wanted) < wanted;
    };
    int row = 0;
    while (int const rows = row < height ? rowsInOne(rowBytes, row, height, place) : 0) {
        readTo(place(row), rows);
        row += rows;
    }
    if (row == height)
        return;
    RowPiece piece(rowBytes, height);
    while (row < height) {
        int const rows = std::min(piece.rows(), height - row);
        readTo(piece.data(), rows);
        unsigned char * at = piece.data();
        for (int const behind = row + rows; row < behind; ++row, at += rowBytes)
            take(row, at);
    }
}

/// Writes the rows in the order of the file: straight from `place(row)` where that has an address,
/// otherwise as `fill(row, bytes)` fills them; what it leaves is as in an earlier row, and zero at
/// first. False when not all could be written.
template <class Place, class Fill>
bool writeRows(opstream & out, std::size_t rowBytes, int height, Place place, Fill fill) {
    auto const writeFrom = [&](unsigned char const * from, int rows) {
        auto const size = static_cast<long>(rowBytes * static_cast<std::size_t>(rows));
        return out.writeBytes(from, size) == size;
    };
    int row = 0;
    while (int const rows = row < height ? rowsInOne(rowBytes, row, height, place) : 0) {
        if (!writeFrom(place(row), rows))
            return false;
        row += rows;
    }
    if (row == height)
        return true;
    RowPiece piece(rowBytes, height);
    while (row < height) {
        int const first = row;
        unsigned char * at = piece.data();
        for (int const behind = std::min(row + piece.rows(), height); row < behind;
             ++row, at += rowBytes)
            fill(row, at);
        if (!writeFrom(piece.data(), row - first))
            return false;
    }
    return true;
}

/// For rows that stand nowhere as the file has them.
inline unsigned char * nowhere(int) {
    return nullptr;
}

/// What of an image that is put at `position` lies in a file of that size.
struct PartOfFile {
    PartOfFile(AbstractImage const & image, GPoint position, int width, int height);
    bool isEmpty() const { return columns < 1 || rows < 1; }
    int x = 0, y = 0;         ///< in the file
    int fromX = 0, fromY = 0; ///< in the image
    int columns = 0, rows = 0;
};

} // namespace ondrel_detail
