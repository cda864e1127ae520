#include "StreamBytes.h"
#include "foundation/G2DFigure.h"
#include "foundation/GRect.h"
#include "foundation/Vector2D.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>
#include <set>
#include <sstream>
#include <vector>

using namespace stream_bytes;

namespace {

constexpr double pi = std::numbers::pi;
using Pixels = std::set<std::pair<long, long>>;

/// Collects what a figure gives and objects to what comes twice.
struct Canvas {
    Pixels pixels;
    std::map<long, long> reach; // how far the spans of each row have come

    static void Plot(long x, long y, void * data) {
        EXPECT_TRUE(static_cast<Canvas *>(data)->pixels.emplace(x, y).second) << x << ',' << y;
    }
    static void Span(long x0, long y, long x1, void * data) {
        auto & canvas = *static_cast<Canvas *>(data);
        EXPECT_LE(x0, x1);
        auto const [row, fresh] = canvas.reach.emplace(y, x1);
        EXPECT_TRUE(fresh || row->second + 1 < x0) << "spans of one row touch";
        row->second = x1;
        for (long x = x0; x <= x1; ++x)
            canvas.pixels.emplace(x, y);
    }
};

Pixels line(long x0, long y0, long x1, long y1) {
    Canvas canvas;
    G2DFigure::Line(x0, y0, x1, y1, Canvas::Plot, &canvas);
    return canvas.pixels;
}

Pixels filled(std::vector<GPoint> const & points) {
    Canvas canvas;
    G2DFigure::FillPoly(static_cast<int>(points.size()), points.data(), Canvas::Span, &canvas);
    return canvas.pixels;
}

/// What the clip of one line must keep to.
void checkClip(GRect const & rect, GPoint from, GPoint to) {
    GPoint a = from, b = to;
    bool const anyInside = rect.contains(from) || rect.contains(to);
    if (!rect.clip_line(a.x, a.y, b.x, b.y)) {
        ASSERT_FALSE(anyInside);
        return;
    }
    ASSERT_TRUE(rect.contains(a) && rect.contains(b));
    if (rect.contains(from) && rect.contains(to)) {
        ASSERT_TRUE(a == from && b == to);
    }
    // Each cut truncates once, so an end stays within two points of the line.
    GPoint const along = to - from, offset = a - from;
    double const away = std::abs(static_cast<double>(along.x * offset.y - along.y * offset.x));
    ASSERT_LE(away, 2 * std::hypot(static_cast<double>(along.x), static_cast<double>(along.y)));
}

} // namespace

TEST(GPoint, OrdersByXFirst) {
    EXPECT_TRUE(GPoint(1, 2) < GPoint(2, 0));
    EXPECT_TRUE(GPoint(1, 2) < GPoint(1, 3));
    EXPECT_TRUE(GPoint(1, 2) <= GPoint(1, 2));
    EXPECT_TRUE(GPoint(2, 0) > GPoint(1, 9));
    EXPECT_EQ((GPoint(7, -7) / 2 + 1) * 3 - GPoint(0, 1), GPoint(12, -7));
}

TEST(GRect, StoresASizeAndComputesInclusiveEdges) {
    GRect const rect(0, 0, 10, 10);
    EXPECT_TRUE(rect.contains(9, 9));
    EXPECT_FALSE(rect.contains(10, 10));
    EXPECT_EQ(rect.right(), 9);
    EXPECT_EQ(rect.center(), GPoint(5, 5));
    EXPECT_TRUE(rect.contains(GRect(2, 2, 8, 8)));
    EXPECT_FALSE(rect.contains(GRect(2, 2, 9, 8)));
    EXPECT_TRUE(GRect::Empty.isEmpty());
    RECT const system = rect;
    EXPECT_EQ(system.right, 10);
    EXPECT_EQ(GRect(system), rect);
}

TEST(GRect, MovesOneEdgeOrAllOfIt) {
    struct Case {
        char const * what;
        void (*change)(GRect &);
        GRect after;
    };
    Case const cases[] = {
        {"left", [](GRect & r) { r.left(3); }, GRect(3, 20, 7, 10)},
        {"top", [](GRect & r) { r.move_top(25); }, GRect(0, 25, 10, 5)},
        {"right", [](GRect & r) { r.right(4); }, GRect(0, 20, 5, 10)},
        {"bottom", [](GRect & r) { r.move_bottom(20); }, GRect(0, 20, 10, 1)},
        {"corner",
         [](GRect & r) {
             r.left_bottom({-1, 30});
         },
         GRect(-1, 20, 11, 11)},
        {"center",
         [](GRect & r) {
             r.center({0, 0});
         },
         GRect(-5, -5, 10, 10)},
        {"set",
         [](GRect & r) {
             r.set({9, 1}, {5, 3});
         },
         GRect(5, 1, 5, 3)},
        {"grow", [](GRect & r) { r.grow(1, -2); }, GRect(-1, 22, 12, 6)},
        {"times", [](GRect & r) { r *= 2; }, GRect(0, 40, 20, 20)},
        {"translate", [](GRect & r) { r -= 5; }, GRect(-5, 15, 10, 10)},
    };
    for (Case const & c : cases) {
        GRect rect(0, 20, 10, 10);
        c.change(rect);
        EXPECT_EQ(rect, c.after) << c.what;
    }
}

TEST(GRect, UnitesAndIntersects) {
    GRect const a(0, 0, 10, 10), apart(20, 0, 5, 5), empty(500, 500, 0, 3);
    EXPECT_EQ(a & GRect(5, -5, 10, 10), GRect(5, 0, 5, 5));
    EXPECT_TRUE((a & apart).isEmpty());
    EXPECT_EQ((a & apart).width(), -10) << "no normalising";
    EXPECT_EQ(a | apart, GRect(0, 0, 25, 10));
    EXPECT_EQ(empty | apart, apart);
    EXPECT_EQ(apart | empty, apart);
}

TEST(GRect, SplitsIntoItself) {
    GRect rest(10, 10, 8, 4), part;
    rest.split_vertically(2, part, rest);
    EXPECT_EQ(part, GRect(10, 10, 3, 4));
    EXPECT_EQ(rest, GRect(13, 10, 5, 4));
    part.split_horizontally(0, part, rest);
    EXPECT_EQ(part, GRect(10, 10, 3, 1));
    EXPECT_EQ(rest, GRect(10, 11, 3, 3));
}

TEST(GRect, ClipsSpansAndLines) {
    GRect const rect(0, 0, 10, 10);
    long from = -5, to = 50;
    EXPECT_TRUE(rect.clip_hline(from, 9, to));
    EXPECT_EQ(from, 0);
    EXPECT_EQ(to, 9);
    EXPECT_FALSE(rect.clip_hline(from, 10, to));
    from = 10, to = 12;
    EXPECT_FALSE(rect.clip_vline(3, from, to));

    long x0 = -10, y0 = 5, x1 = 5, y1 = -10; // passes the corner outside
    EXPECT_FALSE(rect.clip_line(x0, y0, x1, y1));
    x0 = 2, y0 = 3, x1 = 12, y1 = 13;
    EXPECT_TRUE(rect.clip_line(x0, y0, x1, y1));
    EXPECT_EQ(GPoint(x0, y0), GPoint(8, 9)) << "the end outside was cut and came first";
    EXPECT_EQ(GPoint(x1, y1), GPoint(2, 3));

    // Longer than a number of 32 bits: cut at (0, 2), at (9, 11), and from there at (7, 9).
    x0 = -2000000000, y0 = -1999999996, x1 = y1 = 2000000000;
    ASSERT_TRUE(rect.clip_line(x0, y0, x1, y1));
    EXPECT_EQ(GPoint(x0, y0), GPoint(7, 9));
    EXPECT_EQ(GPoint(x1, y1), GPoint(0, 2));
}

TEST(GRect, ClipsEveryLineToPointsInsideThatLieOnIt) {
    for (GRect const & rect : {GRect(0, 0, 5, 4), GRect(1, 1, 1, 1), GRect(0, 0, 0, 3)})
        for (long from = 0; from < 13 * 13; ++from)
            for (long to = 0; to < 13 * 13; ++to)
                ASSERT_NO_FATAL_FAILURE(
                    checkClip(rect, {from / 13 - 4, from % 13 - 4}, {to / 13 - 4, to % 13 - 4}));
}

TEST(Vector2D, MeasuresAnglesWithoutASign) {
    EXPECT_NEAR(Vector2D::Ex ^ Vector2D(0, -3), pi / 2, 1e-12);
    EXPECT_NEAR(Vector2D(1, 1) ^ Vector2D(-2, -2), pi, 1e-6);
    EXPECT_EQ(Vector2D(1, 1) ^ Vector2D(), 0);
    // The cosine of some of these rounds to more than 1.
    for (double x = 0.1; x < 3; x += 0.1)
        EXPECT_NEAR(Vector2D(x, x / 3) ^ Vector2D(x * 7, x / 3 * 7), 0, 1e-6);
    EXPECT_EQ((Vector2D(1, 2), Vector2D(3, 4)), 11);
    EXPECT_DOUBLE_EQ(pi * Vector2D::DegreesPerRadian, 180);
}

TEST(Vector2D, LeavesNullVectorsAlone) {
    EXPECT_EQ(Vector2D::uni(Vector2D()), Vector2D());
    EXPECT_EQ(Vector2D::uni(Vector2D(0, -4)), Vector2D(0, -1));
    Vector2D v;
    v.grow(5);
    EXPECT_EQ(v, Vector2D());
    v = Vector2D(3, 4);
    v.grow(5);
    EXPECT_NEAR(v.x, 6, 1e-12);
    EXPECT_EQ(Vector2D::Ort(v, v), 0);
    EXPECT_NEAR(v.x, -8, 1e-12);
}

TEST(Vector2D, GivesPolarAnglesFromZeroToTwoPi) {
    for (int degrees = 0; degrees < 360; degrees += 15) {
        double const angle = degrees * Vector2D::RadiansPerDegree;
        Vector2D const polar = Vector2D::rphi(Vector2D(2 * std::cos(angle), 2 * std::sin(angle)));
        EXPECT_NEAR(polar.x, 2, 1e-9);
        EXPECT_NEAR(polar.y, angle, 1e-9) << degrees;
    }
    EXPECT_EQ(Vector2D::rphi(Vector2D(1e-13, 0)), Vector2D());
}

TEST(GeometryStream, HasTheseBytes) {
    std::string const point = hex("00 01000000 FEFFFFFF");
    EXPECT_EQ(written([](opstream & out) { out << GPoint(1, -2); }), point);
    std::string const rect = hex("00 00 01000000 FEFFFFFF 00 03000000 04000000");
    EXPECT_EQ(written([](opstream & out) { out << GRect(1, -2, 3, 4); }), rect);
    std::string const vector = hex("0000817F 000000000000F03F 00000000000004C0");
    EXPECT_EQ(written([](opstream & out) { out << Vector2D(1, -2.5); }), vector);

    // The byte in front is not looked at; the older vector has two floats.
    Input in(hex("07 01000000 FEFFFFFF") + rect + vector + hex("0000803F 000020C0") +
             hex("0100 FEFF 0300 0400"));
    GPoint p;
    GRect r, old;
    Vector2D v, floats;
    *in >> p >> r >> v >> floats;
    old.read_old(*in);
    EXPECT_EQ(p, GPoint(1, -2));
    EXPECT_EQ(r, GRect(1, -2, 3, 4));
    EXPECT_EQ(v, Vector2D(1, -2.5));
    EXPECT_EQ(floats, v);
    EXPECT_EQ(old, GRect(1, 65534, 3, 4));
    EXPECT_TRUE(in->good());
}

TEST(GeometryText, ReadsWhatItWrote) {
    std::stringstream text;
    text << GPoint(-1, 2) << '\n' << GRect(1, 2, -3, 4);
    EXPECT_EQ(text.str(), "-1 2\n1 2 -3 4");
    GPoint p;
    GRect r;
    text >> p >> r;
    EXPECT_EQ(p, GPoint(-1, 2));
    EXPECT_EQ(r, GRect(1, 2, -3, 4));
}

TEST(G2DFigure, DrawsLinesFromTheLesserX) {
    EXPECT_EQ(line(0, 0, 4, 2), (Pixels{{0, 0}, {1, 0}, {2, 1}, {3, 1}, {4, 2}}));
    EXPECT_EQ(line(0, 0, 2, -4), (Pixels{{0, 0}, {0, -1}, {1, -2}, {1, -3}, {2, -4}}));
    EXPECT_EQ(line(3, 3, 3, 3), (Pixels{{3, 3}}));
    EXPECT_EQ(line(9, 4, 1, -7), line(1, -7, 9, 4));
    std::vector<long> xs;
    auto const collect = [](long x, long, void * data) {
        static_cast<std::vector<long> *>(data)->push_back(x);
    };
    G2DFigure::Line(3, 0, 0, 0, collect, &xs);
    EXPECT_EQ(xs, (std::vector<long>{0, 1, 2, 3}));
}

TEST(G2DFigure, OutlinesWhatItFills) {
    for (long rx = 0; rx < 12; ++rx)
        for (long ry = 0; ry < 12; ++ry) {
            Canvas outline, fill;
            G2DFigure::Ellipse(3, -2, rx, ry, Canvas::Plot, &outline);
            G2DFigure::FillEllipse(3, -2, rx, ry, Canvas::Span, &fill);
            Pixels border;
            for (auto const & [x, y] : fill.pixels)
                if (!fill.pixels.count({x - 1, y}) || !fill.pixels.count({x + 1, y}) ||
                    !fill.pixels.count({x, y - 1}) || !fill.pixels.count({x, y + 1}))
                    border.emplace(x, y);
            ASSERT_EQ(outline.pixels, border) << rx << ' ' << ry;
            ASSERT_TRUE(fill.pixels.count({3 + rx, -2}) && fill.pixels.count({3, -2 - ry}));
        }
    Canvas none;
    G2DFigure::Circle(0, 0, -1, Canvas::Plot, &none);
    EXPECT_TRUE(none.pixels.empty());
}

TEST(G2DFigure, MakesDisksRound) {
    for (long r : {0l, 1l, 2l, 5l, 20l}) {
        Canvas disk;
        G2DFigure::Disk(0, 0, r, Canvas::Span, &disk);
        for (long x = -r - 1; x <= r + 1; ++x)
            for (long y = -r - 1; y <= r + 1; ++y)
                ASSERT_EQ(disk.pixels.count({x, y}) > 0, x * x + y * y <= r * r + r)
                    << r << ": " << x << ',' << y;
    }
}

TEST(G2DFigure, FillsPolygonsByTheEvenOddRule) {
    EXPECT_EQ(filled({{0, 0}, {2, 0}, {0, 2}}),
              (Pixels{{0, 0}, {1, 0}, {2, 0}, {0, 1}, {1, 1}, {0, 2}}));
    EXPECT_EQ(filled({{0, 0}, {3, 0}, {3, 2}, {0, 2}}).size(), 12u);
    EXPECT_EQ(filled({{5, 5}}), (Pixels{{5, 5}}));
    EXPECT_EQ(filled({{0, 0}, {0, 3}}).size(), 4u);
    // A square within a square leaves its inside free, but for its outline.
    Pixels const ring =
        filled({{0, 0}, {9, 0}, {9, 9}, {0, 9}, {0, 0}, {3, 3}, {3, 6}, {6, 6}, {6, 3}, {3, 3}});
    EXPECT_EQ(ring.size(), 100u - 4u);
    EXPECT_FALSE(ring.count({4, 4}) || ring.count({5, 5}));
    EXPECT_TRUE(filled({}).empty());
}
