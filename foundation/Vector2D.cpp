// Lengths and angles in the plane.
#include "foundation/Vector2D.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr double pi = std::numbers::pi;
/// Shorter vectors count as null.
constexpr double tiny = 1e-12;

} // namespace

constinit Vector2D const Vector2D::Ex(1, 0);
constinit Vector2D const Vector2D::Ey(0, 1);
constinit double const Vector2D::DegreesPerRadian = 180.0 / pi;
constinit double const Vector2D::RadiansPerDegree = pi * 0.005555555555555556;

double Vector2D::operator^(Vector2D const & v) const {
    double const product = *this & v;
    double const lengths = std::sqrt((*this & *this) * (v & v));
    if (lengths <= 1.1754943508222875e-38 || lengths < tiny * product)
        return 0;
    // Rounding may push the cosine of parallel vectors beyond 1.
    return std::acos(std::clamp(product / lengths, -1.0, 1.0));
}

double Vector2D::norm(Vector2D const & v) {
    return std::sqrt(v & v);
}

Vector2D Vector2D::uni(Vector2D const & v) {
    double const length = norm(v);
    return length < tiny ? Vector2D() : v / length;
}

void Vector2D::grow(double d) {
    double const length = norm(*this);
    if (length != 0)
        *this *= 1 + d / length;
}

int Vector2D::Ort(Vector2D const & v, Vector2D & result) {
    result = Vector2D(-v.y, v.x);
    return 0;
}

Vector2D Vector2D::rphi(Vector2D const & v) {
    double const length = norm(v);
    if (length < tiny)
        return {};
    if (std::fabs(v.x) < tiny)
        return {length, v.y > 0 ? pi / 2 : 3 * pi / 2};
    if (std::fabs(v.y) < tiny)
        return {length, v.x > 0 ? 0 : pi};
    double const angle = std::atan(v.y / v.x);
    if (v.x < 0)
        return {length, angle + pi};
    return {length, v.y > 0 ? angle : angle + 2 * pi};
}

bool operator==(_D3DMATRIX const & a, _D3DMATRIX const & b) {
    return std::equal(&a.m[0][0], &a.m[0][0] + 16, &b.m[0][0]);
}
