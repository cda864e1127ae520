// A rectangle of whole numbers. It stores its left top and its size; the right and bottom edges
// are computed and inclusive, so a rectangle of width 10 at 0 has its right edge at 9.
#pragma once

#include "foundation/GPoint.h"

/// A rectangle of whole numbers, by its left top and its size.
class ONDREL_API GRect {
  public:
    long x = 0;
    long y = 0;
    long w = 0;
    long h = 0;

    /// All zeros.
    static GRect const Empty;

    constexpr GRect() = default;
    constexpr GRect(long x_, long y_, long width_, long height_)
        : x(x_), y(y_), w(width_), h(height_) {}
    /// The span of two opposite corners, both inclusive.
    GRect(GPoint const & first, GPoint const & second) { set(first, second); }
    /// The right and bottom of the system's record are exclusive.
    constexpr GRect(RECT const & r)
        : x(r.left), y(r.top), w(r.right - r.left), h(r.bottom - r.top) {}
    constexpr operator RECT() const { return {x, y, x + w, y + h}; }

    long left() const { return x; }
    long top() const { return y; }
    long right() const { return x + w - 1; }
    long bottom() const { return y + h - 1; }
    long width() const { return w; }
    long height() const { return h; }
    long a_x() const { return x; }
    long a_y() const { return y; }
    long b_x() const { return right(); }
    long b_y() const { return bottom(); }
    /// The left top, and the inclusive right bottom.
    GPoint a() const { return {x, y}; }
    GPoint b() const { return {right(), bottom()}; }
    GPoint left_top() const { return {x, y}; }
    GPoint left_bottom() const { return {x, bottom()}; }
    GPoint right_top() const { return {right(), y}; }
    GPoint right_bottom() const { return {right(), bottom()}; }
    GPoint center() const { return {x + w / 2, y + h / 2}; }
    GPoint Size() const { return {w, h}; }

    /// Each moves one edge and leaves the opposite one; right and bottom are inclusive.
    void left(long value) {
        w += x - value;
        x = value;
    }
    void top(long value) {
        h += y - value;
        y = value;
    }
    void right(long value) { w = value - x + 1; }
    void bottom(long value) { h = value - y + 1; }
    void move_left(long value) { left(value); }
    void move_top(long value) { top(value); }
    void move_right(long value) { right(value); }
    void move_bottom(long value) { bottom(value); }
    void left_top(GPoint const & p) {
        left(p.x);
        top(p.y);
    }
    void left_bottom(GPoint const & p) {
        left(p.x);
        bottom(p.y);
    }
    void right_top(GPoint const & p) {
        right(p.x);
        top(p.y);
    }
    void right_bottom(GPoint const & p) {
        right(p.x);
        bottom(p.y);
    }
    void width(long value) { w = value; }
    void height(long value) { h = value; }
    void Size(GPoint const & size) {
        w = size.x;
        h = size.y;
    }
    /// Moves the rectangle so that its center is `p`.
    void center(GPoint const & p) {
        GPoint const now = center();
        move(p.x - now.x, p.y - now.y);
    }
    /// Moves by these distances.
    void move(long dx, long dy) {
        x += dx;
        y += dy;
    }
    /// Moves the left top there.
    void move_origin(long newX, long newY) {
        x = newX;
        y = newY;
    }
    void move_origin(GPoint const & p) { move_origin(p.x, p.y); }
    void move_origin_x(long newX) { x = newX; }
    /// The span of two opposite corners, both inclusive.
    void set(GPoint const & first, GPoint const & second);
    /// Pushes each edge outward by these distances.
    void grow(long dx, long dy) {
        x -= dx;
        y -= dy;
        w += 2 * dx;
        h += 2 * dy;
    }

    /// Whether the width or the height is below 1.
    bool isEmpty() const { return w < 1 || h < 1; }
    bool contains(long px, long py) const { return px >= x && px < x + w && py >= y && py < y + h; }
    bool contains(GPoint const & p) const { return contains(p.x, p.y); }
    /// Whether both inclusive corners of `other` lie inside; an empty one is nothing special.
    bool contains(GRect const & other) const { return contains(other.a()) && contains(other.b()); }
    int in(long px, long py) const { return contains(px, py); }
    int in(GPoint const & p) const { return contains(p.x, p.y); }

    /// What both cover. Of two that are apart, the size comes out 0 or negative.
    GRect & intersect(GRect const & other);
    GRect & operator&=(GRect const & other) { return intersect(other); }
    GRect operator&(GRect const & other) const { return GRect(*this).intersect(other); }
    /// The bounding rectangle; one that is empty does not count.
    GRect & Union(GRect const & other);
    GRect & operator|=(GRect const & other) { return Union(other); }
    GRect operator|(GRect const & other) const { return GRect(*this).Union(other); }

    GRect & operator+=(long n) { return *this += GPoint(n, n); }
    GRect & operator-=(long n) { return *this -= GPoint(n, n); }
    GRect & operator+=(GPoint const & p) {
        move(p.x, p.y);
        return *this;
    }
    GRect & operator-=(GPoint const & p) {
        move(-p.x, -p.y);
        return *this;
    }
    GRect operator+(GPoint const & p) const { return {x + p.x, y + p.y, w, h}; }
    GRect operator-(GPoint const & p) const { return {x - p.x, y - p.y, w, h}; }
    /// All four members.
    GRect & operator*=(long n) { return *this = *this * n; }
    GRect & operator/=(long n) { return *this = *this / n; }
    GRect operator*(long n) const { return {x * n, y * n, w * n, h * n}; }
    GRect operator/(long n) const { return {x / n, y / n, w / n, h / n}; }

    bool operator==(GRect const & r) const { return x == r.x && y == r.y && w == r.w && h == r.h; }
    bool operator!=(GRect const & r) const { return !(*this == r); }

    /// `first` gets the columns from the left edge through the one `at` behind it, `second` those
    /// that follow.
    void split_vertically(long at, GRect & first, GRect & second) const;
    /// The same with rows.
    void split_horizontally(long at, GRect & first, GRect & second) const;

    /// Cut the span x0 through x1 of row y (y0 through y1 of column x) to the rectangle; false when
    /// nothing remains, the span is undefined then.
    bool clip_hline(long & x0, long y, long & x1) const;
    bool clip_vline(long x, long & y0, long & y1) const;
    /// Cuts the line to the rectangle; false when it misses. Its ends may come back swapped.
    bool clip_line(long & x0, long & y0, long & x1, long & y1) const;

    /// Four unsigned 16-bit values: the form of old files, for readers that know it.
    void read_old(ipstream & in);
};

/// A byte 0, then the left top and the size as two GPoint.
ONDREL_API opstream & operator<<(opstream & out, GRect const & rect);
ONDREL_API ipstream & operator>>(ipstream & in, GRect & rect);
/// Left top and size with a blank between all numbers.
ONDREL_API std::ostream & operator<<(std::ostream & out, GRect const & rect);
ONDREL_API std::istream & operator>>(std::istream & in, GRect & rect);
