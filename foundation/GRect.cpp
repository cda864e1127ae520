// Rectangles: set operations and clipping.
#include "foundation/GRect.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <istream>
#include <ostream>

constinit GRect const GRect::Empty;

void GRect::set(GPoint const & first, GPoint const & second) {
    *this = GRect(std::min(first.x, second.x), std::min(first.y, second.y),
                  std::labs(second.x - first.x) + 1, std::labs(second.y - first.y) + 1);
}

GRect & GRect::intersect(GRect const & other) {
    long const newRight = std::min(right(), other.right());
    long const newBottom = std::min(bottom(), other.bottom());
    x = std::max(x, other.x);
    y = std::max(y, other.y);
    right(newRight);
    bottom(newBottom);
    return *this;
}

GRect & GRect::Union(GRect const & other) {
    if (isEmpty())
        return *this = other;
    if (other.isEmpty())
        return *this;
    long const newRight = std::max(right(), other.right());
    long const newBottom = std::max(bottom(), other.bottom());
    x = std::min(x, other.x);
    y = std::min(y, other.y);
    right(newRight);
    bottom(newBottom);
    return *this;
}

void GRect::split_vertically(long at, GRect & first, GRect & second) const {
    GRect const whole = *this; // either result may be this rectangle
    first = GRect(whole.x, whole.y, at + 1, whole.h);
    second = GRect(whole.x + at + 1, whole.y, whole.w - at - 1, whole.h);
}

void GRect::split_horizontally(long at, GRect & first, GRect & second) const {
    GRect const whole = *this;
    first = GRect(whole.x, whole.y, whole.w, at + 1);
    second = GRect(whole.x, whole.y + at + 1, whole.w, whole.h - at - 1);
}

bool GRect::clip_hline(long & x0, long py, long & x1) const {
    if (py < y || py > bottom())
        return false;
    x0 = std::max(x0, x);
    x1 = std::min(x1, right());
    return x0 <= x1;
}

bool GRect::clip_vline(long px, long & y0, long & y1) const {
    if (px < x || px > right())
        return false;
    y0 = std::max(y0, y);
    y1 = std::min(y1, bottom());
    return y0 <= y1;
}

namespace {

enum Outside : int { leftOf = 1, above = 2, rightOf = 4, below = 8 };

int outcode(GRect const & r, long x, long y) {
    return (x < r.left() ? leftOf : 0) | (y < r.top() ? above : 0) | (x > r.right() ? rightOf : 0) |
           (y > r.bottom() ? below : 0);
}

/// Where the line from (a0, b0) to (a1, b1) has b when a stands on the edge.
long crossing(long a0, long b0, long a1, long b1, long edge) {
    std::int64_t const whole = std::int64_t(a1) - a0, part = std::int64_t(edge) - a0;
    return static_cast<long>(b0 + (std::int64_t(b1) - b0) * part / whole);
}

} // namespace

bool GRect::clip_line(long & x0, long & y0, long & x1, long & y1) const {
    auto const moveX = [&](long edge) {
        y0 = crossing(x0, y0, x1, y1, edge);
        x0 = edge;
    };
    auto const moveY = [&](long edge) {
        x0 = crossing(y0, x0, y1, x1, edge);
        y0 = edge;
    };
    int first = outcode(*this, x0, y0);
    int second = outcode(*this, x1, y1);
    while (first | second) {
        if (first & second)
            return false;
        if (first == 0) {
            std::swap(x0, x1);
            std::swap(y0, y1);
            std::swap(first, second);
        }
        if (first & leftOf)
            moveX(left());
        else if (first & above)
            moveY(top());
        else if (first & rightOf)
            moveX(right());
        else
            moveY(bottom());
        first = outcode(*this, x0, y0);
    }
    return true;
}

std::ostream & operator<<(std::ostream & out, GRect const & rect) {
    return out << rect.left_top() << ' ' << rect.Size();
}

std::istream & operator>>(std::istream & in, GRect & rect) {
    return in >> rect.x >> rect.y >> rect.w >> rect.h;
}

std::ostream & operator<<(std::ostream & out, GPoint const & point) {
    return out << point.x << ' ' << point.y;
}

std::istream & operator>>(std::istream & in, GPoint & point) {
    return in >> point.x >> point.y;
}
