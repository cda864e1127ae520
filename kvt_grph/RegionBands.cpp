// The merge of two band lists.
#include "kvt_grph/RegionBands.h"

#include <cassert>
#include <cstdlib>
#include <limits>

namespace ondrel_detail {

namespace {

constexpr std::size_t noLimit = std::numeric_limits<std::uint32_t>::max();

/// The states that lie within the result, one bit each. A state has bit 0 within a span of the
/// first side and bit 1 within one of the second.
template <RegionOp op>
constexpr unsigned insideStates = op == RegionOp::Union          ? 0b1110
                                  : op == RegionOp::Intersection ? 0b1000
                                  : op == RegionOp::Difference   ? 0b0010
                                                                 : 0b0110;
template <RegionOp op>
constexpr bool isInside(unsigned state) {
    return (insideStates<op> >> state & 1) != 0;
}

/// Whether what only one side has is in the result.
template <RegionOp op>
constexpr bool keepsFirst = isInside<op>(1);
template <RegionOp op>
constexpr bool keepsSecond = isInside<op>(2);

struct Edges {
    std::int32_t const * at = nullptr;
    std::int32_t const * end = nullptr;

    bool isEmpty() const { return at == end; }
    std::size_t count() const { return static_cast<std::size_t>(end - at); }
};

/// Merges the edges of one row. `out` has room for all of both and one more; returns where the
/// result ends. Which side comes next is as good as random, so the loop does not branch on it.
template <RegionOp op>
std::int32_t * mergeEdges(Edges a, Edges b, std::int32_t * out) {
    unsigned state = 0;
    unsigned inside = 0;
    while (a.at != a.end && b.at != b.end) {
        std::int32_t const x = *a.at, other = *b.at;
        unsigned const first = x <= other, second = other <= x;
        *out = first ? x : other;
        a.at += first;
        b.at += second;
        state ^= first | (second << 1);
        unsigned const now = isInside<op>(state);
        out += now ^ inside;
        inside = now;
    }
    // The side that has ended is outside of its spans, so that the other one decides alone.
    if constexpr (keepsFirst<op>)
        out = std::copy(a.at, a.end, out);
    if constexpr (keepsSecond<op>)
        out = std::copy(b.at, b.end, out);
    return out;
}

/// The same for those who only ask whether anything would come out.
template <RegionOp op>
bool hasEdges(Edges a, Edges b) {
    unsigned state = 0;
    while (!a.isEmpty() && !b.isEmpty()) {
        std::int32_t const x = *a.at, other = *b.at;
        unsigned const first = x <= other, second = other <= x;
        a.at += first;
        b.at += second;
        state ^= first | (second << 1);
        if (isInside<op>(state))
            return true;
    }
    return (keepsFirst<op> && !a.isEmpty()) || (keepsSecond<op> && !b.isEmpty());
}

/// Goes down the bands of one side.
class Cursor {
  public:
    /// Above the row `y`.
    Cursor(RegionView const & view, std::int32_t y) : view_(view), next_(view.firstFrom(y)) {
        if (next_ > 0)
            enter(next_ - 1);
    }
    std::int32_t nextY() const {
        return next_ < view_.count ? view_.bands[next_].y
                                   : std::numeric_limits<std::int32_t>::max();
    }
    Edges edges() const { return edges_; }
    void goTo(std::int32_t y) {
        if (nextY() == y)
            enter(next_++);
    }

  private:
    void enter(std::size_t band) {
        edges_ = {};
        if (band + 1 < view_.count)
            edges_ = {view_.begin(band), view_.end(band)};
    }

    RegionView const & view_;
    std::size_t next_;
    Edges edges_;
};

/// Calls `row(y, edges of a, edges of b)` for each row from `top` through `bottom` where either has
/// a band and for these two, until it returns false; so does this then.
template <class Row>
bool walk(RegionView const & a, RegionView const & b, std::int32_t top, std::int32_t bottom,
          Row row) {
    Cursor first(a, top), second(b, top);
    for (std::int32_t y = top;; y = std::min({first.nextY(), second.nextY(), bottom})) {
        first.goTo(y);
        second.goTo(y);
        if (!row(y, first.edges(), second.edges()))
            return false;
        if (y == bottom)
            return true;
    }
}

template <RegionOp op>
bool anyRow(RegionView const & a, RegionView const & b, std::int32_t top, std::int32_t bottom) {
    return !walk(a, b, top, bottom, [](std::int32_t, Edges const & first, Edges const & second) {
        return !hasEdges<op>(first, second);
    });
}

} // namespace

std::size_t RegionView::firstFrom(std::int64_t y) const {
    auto const found =
        std::lower_bound(bands, bands + count, y,
                         [](RegionBand const & band, std::int64_t row) { return band.y < row; });
    return static_cast<std::size_t>(found - bands);
}

std::pair<std::int32_t, std::int32_t> RegionView::columns() const {
    std::pair<std::int32_t, std::int32_t> reach(regionMax, regionMin);
    for (std::size_t band = 0; band + 1 < count; ++band) {
        if (begin(band) == end(band))
            continue;
        reach.first = std::min(reach.first, *begin(band));
        reach.second = std::max(reach.second, *(end(band) - 1));
    }
    return reach;
}

RegionRect::RegionRect(GRect const & rect)
    : bands_{{regionCoordinate(rect.y), 0}, {regionCoordinate(rect.y), 2}},
      edges_{regionCoordinate(rect.x), regionCoordinate(rect.x)} {
    if (rect.isEmpty())
        return;
    auto const far = [](long from, long size) {
        return from > regionMax - size ? regionCoordinate(regionMax)
                                       : regionCoordinate(from + size);
    };
    edges_[1] = far(rect.x, rect.w);
    if (edges_[0] < edges_[1])
        bands_[1].y = far(rect.y, rect.h);
}

RegionBands::RegionBands(RegionView const & view) {
    bands_.replace(0, 0, view.bands, view.count);
    if (!view.isEmpty())
        edges_.replace(0, 0, view.edges, view.edgeCount());
}

/// Appends the rows from `top` through `bottom` to these bands; the last of them is a row of `a`
/// alone, or without edges. False when there are more edges than the limit.
template <RegionOp op>
bool RegionBands::mergeRows(RegionView const & a, RegionView const & b, std::int32_t top,
                            std::int32_t bottom, std::size_t limit) {
    return walk(a, b, top, bottom, [&](std::int32_t y, Edges const & first, Edges const & second) {
        bands_.add({y, static_cast<std::uint32_t>(edges_.size())});
        std::int32_t * const out = edges_.room(first.count() + second.count() + 1);
        edges_.setEnd(mergeEdges<op>(first, second, out));
        return edges_.size() <= limit;
    });
}

/// Takes away rows without edges in front, and all but one behind.
void RegionBands::trim() {
    std::size_t count = bands_.size();
    while (count > 1 && bands_[count - 2].first == edges_.size())
        --count;
    bands_.cut(count);
    std::size_t gaps = 0;
    while (gaps + 1 < count && bands_[gaps + 1].first == 0)
        ++gaps;
    bands_.replace(0, count == 1 ? 1 : gaps, nullptr, 0);
}

/// An operation that leaves the rows where the other side has nothing as they are.
template <RegionOp op>
void RegionBands::change(RegionView const & other) {
    RegionView const old = view();
    std::int32_t const top = other.top(), bottom = other.bottom();
    RegionBands middle;
    [[maybe_unused]] bool const fits = middle.mergeRows<op>(old, other, top, bottom, noLimit);
    assert(fits);
    std::size_t const from = old.firstFrom(top);
    std::size_t const to = old.firstFrom(std::int64_t(bottom) + 1);
    if (from == 0 && to == old.count) {
        *this = std::move(middle);
        trim();
        return;
    }
    std::size_t const edgesAtEnd = old.edgeCount();
    std::size_t const firstEdge = from < old.count ? old.bands[from].first : edgesAtEnd;
    std::size_t const lastEdge = to < old.count ? old.bands[to].first : edgesAtEnd;
    edges_.replace(firstEdge, lastEdge, middle.edges_.data(), middle.edges_.size());
    bands_.replace(from, to, middle.bands_.data(), middle.bands_.size());
    std::size_t const middleEnd = from + middle.bands_.size();
    auto const shift = [&](std::size_t begin, std::size_t end, std::size_t by) {
        for (std::size_t i = begin; i < end; ++i)
            bands_[i].first += static_cast<std::uint32_t>(by); // wraps where it is negative
    };
    shift(from, middleEnd, firstEdge);
    shift(middleEnd, bands_.size(), firstEdge + middle.edges_.size() - lastEdge);
    trim();
}

void RegionBands::combine(RegionOp op, RegionView const & other) {
    bool const keepsOther = op == RegionOp::Union || op == RegionOp::SymmetricDifference;
    if (isEmpty() || other.isEmpty()) {
        if (isEmpty() && keepsOther)
            *this = RegionBands(other);
        else if (op == RegionOp::Intersection)
            *this = RegionBands();
        return;
    }
    switch (op) {
        case RegionOp::Union:
            return change<RegionOp::Union>(other);
        case RegionOp::Difference:
            return change<RegionOp::Difference>(other);
        case RegionOp::SymmetricDifference:
            return change<RegionOp::SymmetricDifference>(other);
        case RegionOp::Intersection:
            break;
    }
    RegionBands result;
    std::int32_t const top = std::max(view().top(), other.top());
    std::int32_t const bottom = std::min(view().bottom(), other.bottom());
    if (top < bottom) {
        result.mergeRows<RegionOp::Intersection>(view(), other, top, bottom, noLimit);
        result.trim();
    }
    *this = std::move(result);
}

bool RegionBands::uniteHalves(GRect const * rects, std::size_t count) {
    if (count == 1) {
        *this = RegionBands(RegionRect(rects[0]).view());
        return true;
    }
    RegionBands second;
    if (!uniteHalves(rects, count / 2) || !second.uniteHalves(rects + count / 2, count - count / 2))
        return false;
    RegionView const a = view(), b = second.view();
    if (a.isEmpty())
        std::swap(*this, second);
    if (a.isEmpty() || b.isEmpty())
        return true;
    RegionBands result;
    std::size_t const limit = count * 64 + 1000000;
    if (!result.mergeRows<RegionOp::Union>(a, b, std::min(a.top(), b.top()),
                                           std::max(a.bottom(), b.bottom()), limit))
        return false;
    *this = std::move(result);
    return true;
}

bool RegionBands::unite(GRect const * rects, std::size_t count) {
    *this = RegionBands();
    if (count == 0 || uniteHalves(rects, count))
        return true;
    *this = RegionBands();
    return false;
}

void RegionBands::move(std::int64_t dx, std::int64_t dy) {
    if (isEmpty())
        return;
    constexpr std::int64_t whole = std::int64_t(regionMax) - regionMin;
    dx = std::clamp(dx, -whole, whole);
    dy = std::clamp(dy, -whole, whole);
    auto const stays = [](std::int64_t low, std::int64_t high, std::int64_t by) {
        return low + by >= regionMin && high + by <= regionMax;
    };
    auto const [left, right] = view().columns();
    if (!stays(left, right, dx) || !stays(view().top(), view().bottom(), dy)) {
        auto const from = [](std::int64_t by) {
            return static_cast<long>(regionMin - std::min(by, std::int64_t(0)));
        };
        auto const size = [](std::int64_t by) { return static_cast<long>(whole - std::abs(by)); };
        GRect const staying(from(dx), from(dy), size(dx), size(dy));
        combine(RegionOp::Intersection, RegionRect(staying).view());
    }
    for (std::size_t i = 0; i < bands_.size(); ++i)
        bands_[i].y += static_cast<std::int32_t>(dy);
    for (std::size_t i = 0; i < edges_.size(); ++i)
        edges_[i] += static_cast<std::int32_t>(dx);
}

bool regionsMeet(RegionView const & a, RegionView const & b) {
    if (a.isEmpty() || b.isEmpty())
        return false;
    std::int32_t const top = std::max(a.top(), b.top()), bottom = std::min(a.bottom(), b.bottom());
    return top < bottom && anyRow<RegionOp::Intersection>(a, b, top, bottom);
}

bool regionStandsOut(RegionView const & a, RegionView const & b) {
    if (a.isEmpty() || b.isEmpty())
        return !a.isEmpty();
    return anyRow<RegionOp::Difference>(a, b, a.top(), a.bottom());
}

} // namespace ondrel_detail
