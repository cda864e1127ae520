// A vector of the plane in double precision, and equality for the vector and matrix records of
// space, which this library only stores and compares.
#pragma once

#include "platform/Export.h"
#include "platform/SystemTypes.h"

class ipstream;
class opstream;

/// A vector of the plane in double precision.
class ONDREL_API Vector2D {
  public:
    double x = 0;
    double y = 0;

    /// The unit vectors of the axes.
    static Vector2D const Ex, Ey;
    /// An angle in radians times the first is one in degrees, and back by the second.
    static double const DegreesPerRadian, RadiansPerDegree;

    constexpr Vector2D() = default;
    constexpr Vector2D(double x_, double y_) : x(x_), y(y_) {}

    constexpr Vector2D & operator+=(Vector2D const & v) { return *this = *this + v; }
    constexpr Vector2D & operator-=(Vector2D const & v) { return *this = *this - v; }
    constexpr Vector2D & operator*=(double n) { return *this = *this * n; }
    constexpr Vector2D & operator/=(double n) { return *this = *this / n; }
    constexpr Vector2D operator+(Vector2D const & v) const { return {x + v.x, y + v.y}; }
    constexpr Vector2D operator-(Vector2D const & v) const { return {x - v.x, y - v.y}; }
    constexpr Vector2D operator+() const { return *this; }
    constexpr Vector2D operator-() const { return {-x, -y}; }
    constexpr Vector2D operator*(double n) const { return {x * n, y * n}; }
    constexpr Vector2D operator/(double n) const { return {x / n, y / n}; }
    friend constexpr Vector2D operator*(double n, Vector2D const & v) { return v * n; }

    constexpr bool operator==(Vector2D const & v) const { return x == v.x && y == v.y; }
    constexpr bool operator!=(Vector2D const & v) const { return !(*this == v); }
    /// The scalar product.
    constexpr double operator&(Vector2D const & v) const { return x * v.x + y * v.y; }
    constexpr double operator,(Vector2D const & v) const { return *this & v; }
    /// The angle between the two in radians, 0 to pi; 0 when one of them is null.
    double operator^(Vector2D const & v) const;

    /// The length.
    static double norm(Vector2D const & v);
    /// The vector of length 1; null for one shorter than 1e-12.
    static Vector2D uni(Vector2D const & v);
    /// Lengthens the vector by `d` along itself; a null vector stays.
    void grow(double d);
    /// `result` is the left normal of `v`. Returns 0.
    static int Ort(Vector2D const & v, Vector2D & result);
    /// Polar form: x is the length, y the angle from 0 up to 2 pi; (0, 0) when shorter than 1e-12.
    static Vector2D rphi(Vector2D const & v);
};

/// The 32-bit mark 0x7F810000, then two doubles. Without the mark, reading takes the older form:
/// two floats. As a float the mark is no number, so no old value is mistaken for it.
ONDREL_API opstream & operator<<(opstream & out, Vector2D const & vector);
ONDREL_API ipstream & operator>>(ipstream & in, Vector2D & vector);

inline bool operator==(_D3DVECTOR const & a, _D3DVECTOR const & b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}
inline bool operator!=(_D3DVECTOR const & a, _D3DVECTOR const & b) {
    return !(a == b);
}
/// Exact, member by member.
ONDREL_API bool operator==(_D3DMATRIX const & a, _D3DMATRIX const & b);
inline bool operator!=(_D3DMATRIX const & a, _D3DMATRIX const & b) {
    return !(a == b);
}
