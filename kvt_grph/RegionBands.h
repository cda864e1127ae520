// A set of pixels as horizontal bands, and the merge of two such sets that every set operation is.
//
// A band covers the rows from its y up to the next band's, and has edges in rising order: from the
// first of a pair up to the second, exclusive, its pixels are in the set. The last band has no
// edges and stands right behind the last row that has any. Bands and edges stand in two arrays, so
// that a merge runs through memory once and in order, and a change of a few rows is a copy of a
// few rows and one move of what follows.
//
// Where two bands met stays remembered when both have the same edges: to the outside they stay two.
// Here they are one, with a seam at that row. Most questions have nothing to do with seams, and so
// they are only put in order when somebody asks for the bands as the outside sees them.
#pragma once

#include "foundation/GRect.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace ondrel_detail {

/// An array of plain items that grows without filling what it gains.
template <class T>
class RegionArray {
  public:
    RegionArray() = default;
    RegionArray(RegionArray const & other) { replace(0, 0, other.data(), other.size_); }
    RegionArray(RegionArray && other) noexcept
        : items_(std::move(other.items_)), size_(std::exchange(other.size_, 0)),
          capacity_(std::exchange(other.capacity_, 0)) {}
    RegionArray & operator=(RegionArray && other) noexcept {
        items_ = std::move(other.items_);
        size_ = std::exchange(other.size_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
        return *this;
    }

    T * data() { return items_.get(); }
    T const * data() const { return items_.get(); }
    std::size_t size() const { return size_; }
    T & operator[](std::size_t i) { return items_[i]; }
    T const & operator[](std::size_t i) const { return items_[i]; }

    /// Where the next `count` items go.
    T * room(std::size_t count) {
        if (capacity_ - size_ < count)
            grow(count);
        return items_.get() + size_;
    }
    void add(T const & item) {
        *room(1) = item;
        ++size_;
    }
    void append(T const * items, std::size_t count) {
        std::copy_n(items, count, room(count));
        size_ += count;
    }
    /// Gives back what it has in excess when that is much.
    void shrink() {
        if (capacity_ > 2 * size_ + 64)
            reallocate(size_);
    }
    /// Takes what was put into the room up to `end`, or gives up what stands behind it.
    void setEnd(T const * end) { size_ = static_cast<std::size_t>(end - items_.get()); }
    void cut(std::size_t size) { size_ = size; }
    /// Puts `count` items of another array in the place of those from `from` up to `to`.
    void replace(std::size_t from, std::size_t to, T const * items, std::size_t count) {
        if (count > to - from)
            room(count - (to - from));
        if (to != size_ && from + count != to)
            std::memmove(items_.get() + from + count, items_.get() + to, (size_ - to) * sizeof(T));
        size_ = from + count + (size_ - to);
        std::copy_n(items, count, items_.get() + from);
    }

  private:
    static_assert(std::is_trivially_copyable_v<T>);

    void grow(std::size_t count) {
        reallocate(std::max({size_ + count, capacity_ * 2, std::size_t{16}}));
    }
    void reallocate(std::size_t capacity) {
        auto items = std::make_unique_for_overwrite<T[]>(capacity);
        std::copy_n(items_.get(), size_, items.get());
        items_ = std::move(items);
        capacity_ = capacity;
    }

    std::unique_ptr<T[]> items_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

/// The plane of pixels ends here, so that the difference of two coordinates has 31 bits.
constexpr long regionMin = -0x40000000L;
constexpr long regionMax = 0x3FFFFFFFL;

inline std::int32_t regionCoordinate(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, regionMin, regionMax));
}

struct RegionBand {
    std::int32_t y;
    /// Index of the band's first edge; the next band's is where they end.
    std::uint32_t first;
};

/// The bands of somebody else. None, or at least two, of which the last has no edges. No two in a
/// row have the same edges.
struct RegionView {
    RegionBand const * bands = nullptr;
    std::size_t count = 0;
    std::int32_t const * edges = nullptr;
    std::int32_t const * seams = nullptr;
    std::size_t seamCount = 0;
    bool seamsInOrder = true; // and each there once

    bool isEmpty() const { return count == 0; }
    std::int32_t top() const { return bands[0].y; }
    /// The row behind the last one.
    std::int32_t bottom() const { return bands[count - 1].y; }
    std::size_t edgeCount() const { return bands[count - 1].first; }
    std::int32_t const * begin(std::size_t band) const { return edges + bands[band].first; }
    std::int32_t const * end(std::size_t band) const { return edges + bands[band + 1].first; }
    /// The first band that begins at `y` or below it; `count` when there is none.
    std::size_t firstFrom(std::int64_t y) const;
    /// The lowest edge and the highest one; there must be any.
    std::pair<std::int32_t, std::int32_t> columns() const;
    /// How many spans forEach has. The seams must be in order.
    std::size_t spanCount() const;
    /// Calls `visit(left, top, right, bottom)`, the latter two exclusive, for each span of the
    /// bands and parts of bands between seams that reach into the rows `from` up to `to`, until it
    /// returns false; so does this then. The seams must be in order.
    template <class Visit>
    bool forEach(std::int64_t from, std::int64_t to, Visit visit) const;
};

/// One rectangle as bands. It is cut where the plane ends, and may come out empty.
class RegionRect {
  public:
    explicit RegionRect(GRect const & rect);
    RegionRect(RegionRect const &) = delete;
    RegionRect & operator=(RegionRect const &) = delete;
    RegionView view() const { return {bands_, bands_[0].y < bands_[1].y ? 2u : 0u, edges_}; }

  private:
    RegionBand bands_[2];
    std::int32_t edges_[2];
};

enum class RegionOp { Union, Intersection, Difference, SymmetricDifference };

/// Bands that can be changed.
class RegionBands {
  public:
    RegionBands() = default;
    explicit RegionBands(RegionView const & view);

    RegionView view() const {
        return {bands_.data(), bands_.size(), edges_.data(),
                seams_.data(), seams_.size(), seamsInOrder_};
    }
    bool isEmpty() const { return bands_.size() == 0; }
    /// Puts the seams in order, each once and none where a band begins. It changes nothing else.
    void orderSeams();
    /// Puts here what the operation makes of two sides. The first may be these bands themselves.
    void combine(RegionView const & a, RegionOp op, RegionView const & b);
    /// Puts the union of these rectangles here, with the bands that it has in whatever order they
    /// are added. False, and no bands, when it, or that of a part of them, would have more than a
    /// million edges and 64 more for each rectangle: what a few bytes a rectangle can claim must
    /// not grow with their square.
    bool unite(GRect const * rects, std::size_t count);
    /// Moves all pixels; those that would leave the plane are cut off.
    void move(std::int64_t dx, std::int64_t dy);

  private:
    template <RegionOp op>
    bool mergeRows(RegionView const & a, RegionView const & b, std::int32_t top,
                   std::int32_t bottom, std::size_t limit);
    template <RegionOp op>
    bool merge(RegionView const & a, RegionView const & b, std::size_t limit);
    template <RegionOp op>
    void combine(RegionView const & a, RegionView const & b);
    template <RegionOp op>
    void change(RegionView const & other);
    void splice(RegionBands const & middle, std::size_t from, std::size_t to);
    void addSeams(RegionView const & from);
    void cutSeams();
    bool uniteHalves(GRect const * rects, std::size_t count);

    RegionArray<RegionBand> bands_;
    RegionArray<std::int32_t> edges_;
    RegionArray<std::int32_t> seams_; // all between the first band and the last
    bool seamsInOrder_ = true;
    std::size_t orderedSeams_ = 0; // how many there were when they were last put in order
};

/// Whether any pixel is in both.
bool regionsMeet(RegionView const & a, RegionView const & b);
/// Whether any pixel of `a` is not in `b`.
bool regionStandsOut(RegionView const & a, RegionView const & b);

template <class Visit>
bool RegionView::forEach(std::int64_t from, std::int64_t to, Visit visit) const {
    if (isEmpty())
        return true;
    std::size_t band = firstFrom(from);
    if (band > 0 && (band == count || bands[band].y > from))
        --band;
    std::int32_t const * const seamsEnd = seams + seamCount;
    std::int32_t const * seam =
        std::upper_bound(seams, seamsEnd, std::max<std::int64_t>(from, top()));
    std::int64_t top = bands[band].y;
    if (seam != seams && seam[-1] > top)
        top = seam[-1];
    while (band + 1 < count && top < to) {
        std::int32_t const next = bands[band + 1].y;
        bool const cut = seam != seamsEnd && *seam < next;
        std::int32_t const bottom = cut ? *seam++ : next;
        for (std::int32_t const * edge = begin(band); edge != end(band); edge += 2)
            if (!visit(edge[0], static_cast<std::int32_t>(top), edge[1], bottom))
                return false;
        top = bottom;
        band += !cut;
    }
    return true;
}

} // namespace ondrel_detail
