// A set of pixels: what to draw in, what has changed, what is visible. It is a value: copies share
// their contents until one of them changes, so passing a region around costs nothing.
//
// The pixels stand in horizontal bands of spans (kvt_grph/RegionBands.h). Bands that are equal and
// next to each other stay two: equality and `enumerate` see them, `contains` and drawing do not.
// A region and its copies belong to one thread. Coordinates reach from -2^30 up to 2^30 - 1; what
// lies beyond is cut off.
#pragma once

#include "foundation/GRect.h"
#include "platform/Export.h"

#include <iosfwd>

namespace ondrel_detail {
enum class RegionOp;
struct RegionView;
} // namespace ondrel_detail

/// A set of pixels with the operations of sets, as a value.
class ONDREL_API GRegion {
  public:
    /// The empty region.
    GRegion() = default;
    /// Empty when the width or the height is below 1.
    GRegion(GRect const & rect);
    /// The pixels of a handle of the system, which then belongs to the region. Empty where the
    /// system has no such handles.
    explicit GRegion(HRGN handle);
    GRegion(GRegion const & other);
    GRegion(GRegion && other) noexcept : rep_(other.rep_) { other.rep_ = nullptr; }
    ~GRegion() { Empty(); }

    GRegion & operator=(GRegion const & other);
    GRegion & operator=(GRegion && other) noexcept;
    GRegion & operator=(GRect const & rect) { return *this = GRegion(rect); }
    GRegion & operator=(HRGN handle) { return *this = GRegion(handle); }
    /// Takes all pixels out.
    void Empty();
    bool isEmpty() const { return !rep_; }

    bool contains(long x, long y) const;
    bool contains(GPoint const & point) const { return contains(point.x, point.y); }
    /// Whether all pixels of the other are in here, as those of an empty one are.
    bool contains(GRect const & rect) const;
    bool contains(GRegion const & other) const;
    bool hasCommonParts(GRect const & rect) const;
    bool hasCommonParts(GRegion const & other) const;
    /// The smallest rectangle around all pixels, all zeros for none. Its left is never above 32767
    /// and its right end never below -32768, wherever the pixels are.
    GRect bounding_rect() const;
    /// Calls back with each span of each band, from the top down and from left to right; right and
    /// bottom are inclusive. Stops when the call returns false, and then returns false itself.
    bool enumerate(bool (*callback)(long left, long top, long right, long bottom, void * data),
                   void * data) const;

    /// Cuts the pixels x0 through x1 of row y, in either order, to the region: two numbers per
    /// remaining span go to `out`, both inclusive. Returns the number of spans; the caller's array
    /// must hold them all, at most half of one more than the pixels.
    long clip_hline(long x0, long y, long x1, long * out) const;
    /// Cuts the box between two corners, inclusive and in any order: four numbers per remaining box
    /// go to `out`: left, top, right and bottom, inclusive. Returns the number of boxes; the
    /// caller's array must hold them all.
    long clip_box(long x0, long y0, long x1, long y1, long * out) const;
    /// A handle of the system for these pixels, which the region keeps until it changes. Null for
    /// the empty region and where the system has no such handles.
    HRGN getHandle() const;

    /// An empty rectangle on the right changes nothing, not even with `&=`; an empty region is the
    /// set without pixels.
    GRegion & operator|=(GRect const & rect);
    GRegion & operator|=(GRegion const & other);
    GRegion & operator+=(GRect const & rect) { return *this |= rect; }
    GRegion & operator+=(GRegion const & other) { return *this |= other; }
    GRegion & operator&=(GRect const & rect);
    GRegion & operator&=(GRegion const & other);
    GRegion & operator-=(GRect const & rect);
    GRegion & operator-=(GRegion const & other);
    /// The pixels that are in one of both alone.
    GRegion & operator^=(GRegion const & other);
    /// Moves all pixels.
    GRegion & operator+=(GPoint const & by);
    GRegion & operator-=(GPoint const & by);

    /// Whether bands and spans are the same: regions of the same pixels may differ in their bands.
    bool operator==(GRegion const & other) const;
    bool operator!=(GRegion const & other) const { return !(*this == other); }

  private:
    friend ONDREL_API opstream & operator<<(opstream & out, GRegion const & region);
    friend ONDREL_API ipstream & operator>>(ipstream & in, GRegion & region);
    struct Rep;

    ondrel_detail::RegionView view() const;
    ondrel_detail::RegionView orderedView() const;
    template <class Change>
    GRegion & replace(Change change);
    GRegion & combine(ondrel_detail::RegionOp op, ondrel_detail::RegionView const & other);
    GRegion & combine(ondrel_detail::RegionOp op, GRect const & rect);
    GRegion & move(long long dx, long long dy);

    Rep * rep_ = nullptr; // null for the empty region
};

inline GRegion operator|(GRegion a, GRegion const & b) {
    return a |= b;
}
inline GRegion operator|(GRegion a, GRect const & b) {
    return a |= b;
}
inline GRegion operator|(GRect const & a, GRegion const & b) {
    return GRegion(a) |= b;
}
inline GRegion operator+(GRegion a, GRegion const & b) {
    return a |= b;
}
inline GRegion operator+(GRegion a, GRect const & b) {
    return a |= b;
}
inline GRegion operator+(GRect const & a, GRegion const & b) {
    return GRegion(a) |= b;
}
inline GRegion operator&(GRegion a, GRegion const & b) {
    return a &= b;
}
inline GRegion operator&(GRegion a, GRect const & b) {
    return a &= b;
}
inline GRegion operator&(GRect const & a, GRegion const & b) {
    return GRegion(a) &= b;
}
inline GRegion operator-(GRegion a, GRegion const & b) {
    return a -= b;
}
inline GRegion operator-(GRegion a, GRect const & b) {
    return a -= b;
}
inline GRegion operator-(GRect const & a, GRegion const & b) {
    return GRegion(a) -= b;
}
inline GRegion operator^(GRegion a, GRegion const & b) {
    return a ^= b;
}
inline GRegion operator+(GRegion a, GPoint const & by) {
    return a += by;
}
inline GRegion operator-(GRegion a, GPoint const & by) {
    return a -= by;
}

/// A byte 0, the number of rectangles in 32 bits, and each span of each band as a GRect.
ONDREL_API opstream & operator<<(opstream & out, GRegion const & region);
/// The union of the rectangles, as far as they arrive; the byte is not looked at. Rectangles that
/// overlap so that their union, or that of a part of them, has more than a million edges and 64
/// more for each leave the region empty and the read bit set.
ONDREL_API ipstream & operator>>(ipstream & in, GRegion & region);
/// Each span of each band as a GRect on a line of its own.
ONDREL_API std::ostream & operator<<(std::ostream & out, GRegion const & region);
