// A point of whole numbers, and the 16-bit record that some files and interfaces pack it into.
#pragma once

#include "platform/Export.h"
#include "platform/SystemTypes.h"

#include <iosfwd>

class ipstream;
class opstream;

/// A point in two 16-bit words.
struct SPoint {
    short x, y;
};

/// A point of whole numbers, x and y.
class GPoint {
  public:
    long x = 0;
    long y = 0;

    constexpr GPoint() = default;
    constexpr GPoint(long x_, long y_) : x(x_), y(y_) {}
    constexpr GPoint(POINT const & point) : x(point.x), y(point.y) {}
    constexpr GPoint(SIZE const & size) : x(size.cx), y(size.cy) {}
    constexpr GPoint(SPoint const & point) : x(point.x), y(point.y) {}

    constexpr operator POINT() const { return {x, y}; }
    constexpr operator SIZE() const { return {x, y}; }
    constexpr operator SPoint() const { return {static_cast<short>(x), static_cast<short>(y)}; }

    constexpr void set(long newX, long newY) {
        x = newX;
        y = newY;
    }

    /// A number applies to both members. Division by 0 fails as that of integers does.
    constexpr GPoint & operator+=(long n) { return *this = GPoint(x + n, y + n); }
    constexpr GPoint & operator-=(long n) { return *this = GPoint(x - n, y - n); }
    constexpr GPoint & operator*=(long n) { return *this = GPoint(x * n, y * n); }
    constexpr GPoint & operator/=(long n) { return *this = GPoint(x / n, y / n); }
    constexpr GPoint & operator+=(GPoint const & p) { return *this = GPoint(x + p.x, y + p.y); }
    constexpr GPoint & operator-=(GPoint const & p) { return *this = GPoint(x - p.x, y - p.y); }
    constexpr GPoint operator+(long n) const { return {x + n, y + n}; }
    constexpr GPoint operator-(long n) const { return {x - n, y - n}; }
    constexpr GPoint operator*(long n) const { return {x * n, y * n}; }
    constexpr GPoint operator/(long n) const { return {x / n, y / n}; }
    constexpr GPoint operator+(GPoint const & p) const { return {x + p.x, y + p.y}; }
    constexpr GPoint operator-(GPoint const & p) const { return {x - p.x, y - p.y}; }
    constexpr GPoint operator-() const { return {-x, -y}; }

    constexpr bool operator==(GPoint const & p) const { return x == p.x && y == p.y; }
    constexpr bool operator!=(GPoint const & p) const { return !(*this == p); }
    /// The order is that of x, and of y where the x are equal.
    constexpr bool operator<(GPoint const & p) const { return x < p.x || (x == p.x && y < p.y); }
    constexpr bool operator>(GPoint const & p) const { return p < *this; }
    constexpr bool operator<=(GPoint const & p) const { return !(p < *this); }
    constexpr bool operator>=(GPoint const & p) const { return !(*this < p); }

    /// Two unsigned 16-bit values: the form of old files, for readers that know it.
    ONDREL_API void read_old(ipstream & in);
};

/// A byte 0, then x and y in 32 bits each. The byte is not looked at when reading.
ONDREL_API opstream & operator<<(opstream & out, GPoint const & point);
ONDREL_API ipstream & operator>>(ipstream & in, GPoint & point);
/// The two numbers with a blank between them.
ONDREL_API std::ostream & operator<<(std::ostream & out, GPoint const & point);
ONDREL_API std::istream & operator>>(std::istream & in, GPoint & point);
