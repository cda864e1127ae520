#include "kvt_grph/GRegion.h"

#include "../foundation/StreamBytes.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <set>
#include <sstream>
#include <vector>

using namespace stream_bytes;

namespace {

using Boxes = std::vector<std::vector<long>>; // left, top, right, bottom, all inclusive

Boxes boxes(GRegion const & region) {
    Boxes found;
    region.enumerate(
        [](long left, long top, long right, long bottom, void * data) {
            static_cast<Boxes *>(data)->push_back({left, top, right, bottom});
            return true;
        },
        &found);
    return found;
}

/// The same set as pixels, and the rows where a band begins or the last one ends.
struct Model {
    std::set<std::pair<long, long>> pixels; // y, x
    std::set<long> rows;

    Model() = default;
    explicit Model(GRect const & rect) {
        for (long y = rect.top(); y <= rect.bottom(); ++y)
            for (long x = rect.left(); x <= rect.right(); ++x)
                pixels.emplace(y, x);
        if (!rect.isEmpty())
            rows = {rect.top(), rect.bottom() + 1};
    }
    Model combined(Model const & other, bool (*keep)(bool, bool)) const {
        Model result;
        for (auto const & all : {pixels, other.pixels})
            for (auto const & pixel : all)
                if (keep(pixels.count(pixel) > 0, other.pixels.count(pixel) > 0))
                    result.pixels.insert(pixel);
        if (result.pixels.empty())
            return result;
        long const top = result.pixels.begin()->first, end = result.pixels.rbegin()->first + 1;
        for (auto const & all : {rows, other.rows})
            for (long const y : all)
                if (y >= top && y <= end)
                    result.rows.insert(y);
        return result;
    }
    Model moved(GPoint const & by) const {
        Model result;
        for (auto const & [y, x] : pixels)
            result.pixels.emplace(y + by.y, x + by.x);
        for (long const y : rows)
            result.rows.insert(y + by.y);
        return result;
    }
    bool has(long x, long y) const { return pixels.count({y, x}) > 0; }
    Boxes boxes() const {
        Boxes result;
        for (auto row = rows.begin(); row != rows.end() && std::next(row) != rows.end(); ++row)
            for (auto at = pixels.lower_bound({*row, LONG_MIN});
                 at != pixels.end() && at->first == *row; ++at) {
                if (has(at->second - 1, *row))
                    result.back()[2] = at->second;
                else
                    result.push_back({at->second, *row, at->second, *std::next(row) - 1});
            }
        return result;
    }
};

/// A region and its model, changed together.
struct Pair {
    GRegion region;
    Model model;
};

GRect randomRect(std::mt19937 & random) {
    auto const below = [&](unsigned n) { return static_cast<long>(random() % n); };
    return {below(24) - 6, below(24) - 6, below(10), below(10)};
}

bool both(bool a, bool b) {
    return a && b;
}
bool either(bool a, bool b) {
    return a || b;
}
bool firstOnly(bool a, bool b) {
    return a && !b;
}
bool different(bool a, bool b) {
    return a != b;
}

/// Many spans in each row, different from row to row.
Pair comb(std::mt19937 & random) {
    Pair result;
    for (long y = -4; y < 16; y += 2)
        for (long x = -6; x < 34; x += 2 + static_cast<long>(random() % 2)) {
            GRect const tooth(x, y, 1, 1 + static_cast<long>(random() % 3));
            result.region |= tooth;
            result.model = result.model.combined(Model(tooth), either);
        }
    return result;
}

/// One random operation on `to`; a rectangle or the other pair is the second side.
void change(Pair & to, Pair const & other, std::mt19937 & random) {
    GRect const rect = randomRect(random);
    Model const drawn(rect);
    GPoint const by(static_cast<long>(random() % 5) - 2, static_cast<long>(random() % 5) - 2);
    switch (random() % 12) {
        case 0:
            to.region &= other.region;
            to.model = to.model.combined(other.model, both);
            break;
        case 1:
            to.region |= other.region;
            to.model = to.model.combined(other.model, either);
            break;
        case 2:
            to.region -= other.region;
            to.model = to.model.combined(other.model, firstOnly);
            break;
        case 3:
            to.region ^= other.region;
            to.model = to.model.combined(other.model, different);
            break;
        case 4:
            to.region &= rect;
            if (!rect.isEmpty())
                to.model = to.model.combined(drawn, both);
            break;
        case 5:
        case 6:
            to.region -= rect;
            if (!rect.isEmpty())
                to.model = to.model.combined(drawn, firstOnly);
            break;
        case 7:
            to.region += by;
            to.model = to.model.moved(by);
            break;
        case 8:
            to = other;
            break;
        default:
            to.region |= rect;
            if (!rect.isEmpty())
                to.model = to.model.combined(drawn, either);
    }
}

void checkQueries(Pair const & a, Pair const & b, std::mt19937 & random) {
    GRect const rect = randomRect(random);
    Model const drawn(rect);
    auto const any = [](Model const & one, Model const & two, bool (*keep)(bool, bool)) {
        return !one.combined(two, keep).pixels.empty();
    };
    ASSERT_EQ(a.region.contains(rect), !any(drawn, a.model, firstOnly));
    ASSERT_EQ(a.region.contains(b.region), !any(b.model, a.model, firstOnly));
    ASSERT_EQ(a.region.hasCommonParts(rect), any(a.model, drawn, both));
    ASSERT_EQ(a.region.hasCommonParts(b.region), any(a.model, b.model, both));
    ASSERT_EQ(a.region == b.region, a.model.boxes() == b.model.boxes());
    long spans[100];
    long const y = rect.y, x0 = rect.x, x1 = rect.x + rect.h * 2 - 8; // either order
    long const count = a.region.clip_hline(x0, y, x1, spans);
    std::set<std::pair<long, long>> clipped, expected;
    for (long i = 0; i < count; ++i)
        for (long x = spans[2 * i]; x <= spans[2 * i + 1]; ++x)
            ASSERT_TRUE(clipped.emplace(y, x).second);
    for (long x = std::min(x0, x1); x <= std::max(x0, x1); ++x) {
        if (a.model.has(x, y))
            expected.emplace(y, x);
        ASSERT_EQ(a.region.contains(x, y), a.model.has(x, y));
    }
    ASSERT_EQ(clipped, expected);
    if (rect.isEmpty())
        return;
    long clip[4000];
    long const found =
        a.region.clip_box(rect.right(), rect.top(), rect.left(), rect.bottom(), clip);
    Boxes cut;
    for (long i = 0; i < found; ++i)
        cut.emplace_back(clip + 4 * i, clip + 4 * i + 4);
    Boxes wanted;
    for (auto const & box : a.model.boxes()) {
        GRect const part = GRect({box[0], box[1]}, {box[2], box[3]}) & rect;
        if (!part.isEmpty())
            wanted.push_back({part.left(), part.top(), part.right(), part.bottom()});
    }
    ASSERT_EQ(cut, wanted);
}

std::string stream(GRegion const & region) {
    return written([&](opstream & out) { out << region; });
}

std::string rectBytes(long x, long y, long width, long height) {
    return written([&](opstream & out) { out << GRect(x, y, width, height); });
}

std::string head(std::uint32_t count) {
    return written([&](opstream & out) {
        out.writeByte(0);
        out.writeDWord(count);
    });
}

} // namespace

TEST(GRegion, KeepsPixelsAndBandsOfAPlainModelThroughRandomOperations) {
    std::mt19937 random(7);
    for (int run = 0; run < 32; ++run) {
        std::vector<Pair> pairs(3);
        if (run % 8 == 0)
            pairs = {comb(random), comb(random), comb(random)};
        for (int step = 0; step < 40; ++step) {
            Pair & to = pairs[random() % 3];
            change(to, pairs[random() % 3], random);
            SCOPED_TRACE(testing::Message() << run << ':' << step);
            for (Pair const & pair :
                 pairs) // a shared copy that changes must leave the others alone
                ASSERT_EQ(boxes(pair.region), pair.model.boxes());
            ASSERT_EQ(to.region.isEmpty(), to.model.pixels.empty());
            checkQueries(to, pairs[random() % 3], random);
            if (HasFatalFailure())
                return;
            GRect bounds;
            for (auto const & box : to.model.boxes())
                bounds |= GRect({box[0], box[1]}, {box[2], box[3]});
            ASSERT_EQ(to.region.bounding_rect(), bounds);
        }
    }
}

TEST(GRegion, KeepsBandsThatAreEqualApart) {
    GRegion region(GRect(0, 0, 4, 6));
    region |= GRect(1, 2, 2, 2);
    EXPECT_EQ(boxes(region), (Boxes{{0, 0, 3, 1}, {0, 2, 3, 3}, {0, 4, 3, 5}}));
    EXPECT_NE(region, GRegion(GRect(0, 0, 4, 6)));
    EXPECT_TRUE(region.contains(GRect(0, 0, 4, 6)));
    region -= GRect(0, 4, 4, 9);
    EXPECT_EQ(region.bounding_rect(), GRect(0, 0, 4, 4));
}

TEST(GRegion, JoinsSpansThatTouch) {
    EXPECT_EQ(GRect(0, 0, 3, 2) | GRegion(GRect(3, 0, 3, 2)), GRegion(GRect(0, 0, 6, 2)));
    EXPECT_EQ(GRegion(GRect(0, 0, 6, 2)) - GRect(0, 0, 6, 2), GRegion());
}

TEST(GRegion, TakesAnEmptyRectangleForNothingToDo) {
    GRegion region(GRect(0, 0, 3, 2));
    GRegion const before = region;
    for (GRect const & rect : {GRect(), GRect(1, 1, 0, 5), GRect(1, 1, 5, -1)}) {
        EXPECT_TRUE(GRegion(rect).isEmpty());
        region |= rect;
        region -= rect;
        region &= rect;
        EXPECT_EQ(region, before);
    }
    region &= GRegion();
    EXPECT_TRUE(region.isEmpty());
    EXPECT_EQ(region.bounding_rect(), GRect());
    region = before;
    GRegion & itself = region;
    region ^= itself;
    EXPECT_EQ(region, GRegion());
}

TEST(GRegion, StopsWhenTheCallbackSaysSoThoughItChangedTheRegion) {
    GRegion region = GRegion(GRect(0, 0, 3, 2)) | GRect(5, 5, 1, 1) | GRect(7, 7, 1, 1);
    int calls = 0;
    struct Context {
        GRegion & region;
        int & calls;
    } context{region, calls};
    auto const twice = [](long, long, long, long, void * data) {
        auto & it = *static_cast<Context *>(data);
        it.region.Empty();
        return ++it.calls < 2;
    };
    EXPECT_FALSE(region.enumerate(twice, &context));
    EXPECT_EQ(calls, 2);
    EXPECT_TRUE(region.enumerate(twice, &context)); // nothing left
}

TEST(GRegion, HasBoundsWhoseLeftAndRightStartFrom16Bits) {
    EXPECT_EQ(GRegion(GRect(40000, 0, 10, 1)).bounding_rect(), GRect(32767, 0, 7243, 1));
    EXPECT_EQ(GRegion(GRect(-40010, 0, 10, 1)).bounding_rect(), GRect(-40010, 0, 7242, 1));
}

TEST(GRegion, CutsWhatLiesBeyondTheEndOfThePlane) {
    long const low = -0x40000000, high = 0x3FFFFFFF;
    GRegion everything(GRect(LONG_MIN, LONG_MIN, LONG_MAX, LONG_MAX));
    everything |= GRect(-5, -5, LONG_MAX, LONG_MAX);
    EXPECT_TRUE(everything.contains(low, low));
    EXPECT_TRUE(everything.contains(high - 1, high - 1)); // found without an index of all rows
    EXPECT_FALSE(everything.contains(high - 1, low));
    EXPECT_FALSE(everything.contains(LONG_MIN, 0));
    EXPECT_FALSE(everything.contains(LONG_MAX, LONG_MAX));
    EXPECT_TRUE(GRegion(GRect(LONG_MAX - 1, 0, 1, 1)).isEmpty());

    GRegion region = GRegion(GRect(0, 0, 10, 10)) | GRect(20, 20, 10, 10);
    EXPECT_EQ(boxes(region + GPoint(high - 25, 0)),
              (Boxes{{high - 25, 0, high - 16, 9}, {high - 5, 20, high - 1, 29}}));
    EXPECT_EQ(boxes(region - GPoint(high + 4, high + 28)),
              (Boxes{{-high + 16, low, -high + 25, low + 2}}));
    EXPECT_TRUE((region - GPoint(LONG_MIN, 0)).isEmpty());
}

TEST(GRegion, IsStreamedAsTheRectanglesOfItsBands) {
    std::string const bytes = hex("00 03000000"
                                  "00 00 FEFFFFFF 01000000  00 03000000 02000000"
                                  "00 00 05000000 01000000  00 01000000 02000000"
                                  "00 00 00000000 04000000  00 01000000 01000000");
    GRegion const region = GRegion(GRect(-2, 1, 3, 2)) | GRect(5, 1, 1, 2) | GRect(0, 4, 1, 1);
    EXPECT_EQ(stream(region), bytes);
    EXPECT_EQ(stream(GRegion()), hex("00 00000000"));
    GRegion back(GRect(9, 9, 9, 9));
    *Input(bytes) >> back;
    EXPECT_EQ(back, region);

    // Any order and overlap gives what adding one after the other gives.
    std::mt19937 random(3);
    std::string pieces = head(40);
    GRegion added;
    for (int i = 0; i < 40; ++i) {
        GRect const rect = randomRect(random);
        pieces += rectBytes(rect.x, rect.y, rect.w, rect.h);
        added |= rect;
    }
    *Input(pieces) >> back;
    EXPECT_EQ(back, added);
    std::ostringstream text;
    text << region;
    EXPECT_EQ(text.str(), "-2 1 3 2\n5 1 1 2\n0 4 1 1\n");
}

TEST(GRegion, TakesFromABrokenStreamWhatArrivedWhole) {
    std::string const bytes =
        head(0xFFFFFFFF) + rectBytes(0, 0, 2, 2) + rectBytes(4, 4, 0x1234, 0x1234);
    for (std::size_t missing = 0; missing < 19; ++missing) {
        Input in(bytes.substr(0, bytes.size() - missing));
        GRegion region;
        *in >> region;
        EXPECT_TRUE(in->fail());
        EXPECT_EQ(boxes(region).size(), missing == 0 ? 2u : 1u) << missing;
    }
    Input in(head(3) + rectBytes(INT_MAX, INT_MIN, INT_MAX, INT_MAX) + rectBytes(1, 2, INT_MIN, 5) +
             rectBytes(INT_MIN, 0, INT_MAX, 1));
    GRegion region;
    *in >> region;
    EXPECT_TRUE(in->good());
    EXPECT_EQ(boxes(region), (Boxes{{-0x40000000, 0, -2, 0}}));
}

TEST(GRegion, RefusesAStreamThatClaimsTheSquareOfItsSize) {
    int const count = 20000;
    for (long const width : {2L * count, 1L}) { // a grid, or one band of teeth cut by many seams
        std::string bytes = head(2 * count);
        for (int i = 0; i < count; ++i)
            bytes += rectBytes(2 * i, 0, 1, 2 * count) +
                     rectBytes(width > 1 ? 0 : 2 * i, 2 * i, width, 1);
        Input in(bytes);
        GRegion region(GRect(0, 0, 1, 1));
        *in >> region;
        EXPECT_TRUE(in->fail());
        EXPECT_TRUE(region.isEmpty());
    }
}
