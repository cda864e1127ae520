// Figures as points and spans. Circles and ellipses are told by how far each row reaches from the
// middle, so that outline and fill agree; polygons by where each row crosses the edges.
#include "foundation/G2DFigure.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

std::int64_t distance(long from, long to) {
    return std::abs(std::int64_t(to) - from);
}

/// Hands out the reach of the rows 0 to ry of an ellipse, from the middle outward: the greatest
/// offset on either side whose point lies within half a point of the radii.
class Reach {
  public:
    Reach(long rx, long ry)
        : across_(std::pow(2.0 * static_cast<double>(ry) + 1, 2)),
          down_(std::pow(2.0 * static_cast<double>(rx) + 1, 2)), x_(rx) {}

    /// Rows must be asked for in rising order.
    long at(long row) {
        double const y = static_cast<double>(row);
        while (x_ > 0 && outside(static_cast<double>(x_), y))
            --x_;
        return x_;
    }

  private:
    bool outside(double x, double y) const {
        return x * x * across_ + y * y * down_ > across_ * down_ / 4;
    }

    double across_, down_;
    long x_;
};

struct Interval {
    std::int64_t from, to;
};

/// The row `y` of a polygon, as intervals that may overlap.
class PolygonRow {
  public:
    void build(int count, GPoint const * points, long y) {
        intervals_.clear();
        crossings_.clear();
        for (int i = 0; i < count; ++i)
            addEdge(points[i], points[i + 1 < count ? i + 1 : 0], y);
        std::sort(crossings_.begin(), crossings_.end());
        for (std::size_t i = 0; i + 1 < crossings_.size(); i += 2)
            intervals_.push_back({crossings_[i], crossings_[i + 1]});
        std::sort(intervals_.begin(), intervals_.end(),
                  [](Interval const & a, Interval const & b) { return a.from < b.from; });
    }
    /// Calls with the intervals, those that overlap or touch as one.
    void tell(long y, G2DFigure::Span span, void * data) const {
        for (std::size_t i = 0; i < intervals_.size();) {
            Interval whole = intervals_[i];
            for (++i; i < intervals_.size() && intervals_[i].from <= whole.to + 1; ++i)
                whole.to = std::max(whole.to, intervals_[i].to);
            span(static_cast<long>(whole.from), y, static_cast<long>(whole.to), data);
        }
    }

  private:
    void addEdge(GPoint a, GPoint b, long y) {
        if (a.y > b.y)
            std::swap(a, b);
        if (y < a.y || y > b.y)
            return;
        if (a.y == b.y) {
            intervals_.push_back({std::min(a.x, b.x), std::max(a.x, b.x)});
            return;
        }
        double const part = static_cast<double>(y - a.y) / static_cast<double>(b.y - a.y);
        auto const x = static_cast<std::int64_t>(
            std::floor(static_cast<double>(a.x) + part * static_cast<double>(b.x - a.x) + 0.5));
        intervals_.push_back({x, x});
        // An edge without its lower end crosses each row between once, whatever meets it there.
        if (y < b.y)
            crossings_.push_back(x);
    }

    std::vector<std::int64_t> crossings_;
    std::vector<Interval> intervals_;
};

} // namespace

void G2DFigure::Line(long x0, long y0, long x1, long y1, Plot plot, void * data) {
    if (x1 < x0) {
        std::swap(x0, x1);
        std::swap(y0, y1);
    }
    std::int64_t const width = distance(x0, x1);
    std::int64_t const height = distance(y0, y1);
    long const down = y1 < y0 ? -1 : 1;
    bool const flat = width >= height;
    std::int64_t const major = std::max(width, height);
    std::int64_t const minor = std::min(width, height);
    std::int64_t error = 0;
    for (std::int64_t i = 0; i <= major; ++i) {
        plot(x0, y0, data);
        error += 2 * minor;
        bool const aside = error > major;
        if (aside)
            error -= 2 * major;
        x0 += flat || aside ? 1 : 0;
        y0 += !flat || aside ? down : 0;
    }
}

void G2DFigure::Circle(long cx, long cy, long r, Plot plot, void * data) {
    Ellipse(cx, cy, r, r, plot, data);
}

void G2DFigure::Ellipse(long x, long y, long rx, long ry, Plot plot, void * data) {
    if (rx < 0 || ry < 0)
        return;
    Reach reach(rx, ry);
    long outer = reach.at(0);
    for (long row = 0; row <= ry; ++row) {
        long const end = outer;
        if (row < ry)
            outer = reach.at(row + 1);
        // What the next row does not cover belongs to the outline.
        long const begin = row == ry ? 0 : std::min(end, outer + 1);
        for (long i = begin; i <= end; ++i) {
            plot(x + i, y + row, data);
            if (i)
                plot(x - i, y + row, data);
            if (row)
                plot(x + i, y - row, data);
            if (i && row)
                plot(x - i, y - row, data);
        }
    }
}

void G2DFigure::Disk(long cx, long cy, long r, Span span, void * data) {
    FillEllipse(cx, cy, r, r, span, data);
}

void G2DFigure::FillEllipse(long x, long y, long rx, long ry, Span span, void * data) {
    if (rx < 0 || ry < 0)
        return;
    std::vector<long> rows(static_cast<std::size_t>(ry) + 1);
    Reach reach(rx, ry);
    for (long row = 0; row <= ry; ++row)
        rows[static_cast<std::size_t>(row)] = reach.at(row);
    for (long row = -ry; row <= ry; ++row) {
        long const half = rows[static_cast<std::size_t>(std::abs(row))];
        span(x - half, y + row, x + half, data);
    }
}

void G2DFigure::FillTriangle(GPoint const * three, Span span, void * data) {
    FillPoly(3, three, span, data);
}

void G2DFigure::FillPoly(int count, GPoint const * points, Span span, void * data) {
    if (count < 1)
        return;
    auto const byRow = [](GPoint const & a, GPoint const & b) { return a.y < b.y; };
    auto const [top, bottom] = std::minmax_element(points, points + count, byRow);
    PolygonRow row;
    for (long y = top->y; y <= bottom->y; ++y) {
        row.build(count, points, y);
        row.tell(y, span, data);
    }
}
