// The merge of two band lists.
#include "kvt_grph/RegionBands.h"

#include <cstdlib>
#include <limits>

namespace ondrel_detail {

namespace {

constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max() - 1;

/// Rows with at most so many edges on both sides are merged whole.
constexpr std::size_t shortRow = 12;

/// From so many bands on it is worth the while to find out how many edges may come.
constexpr std::size_t fewBands = 256;

/// What the union of so many rectangles may have.
constexpr std::size_t mostEdges(std::size_t rects) {
    return rects * 64 + 1000000;
}

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
    /// Whether they are the same ones, not just alike.
    bool is(Edges const & other) const { return at == other.at && end == other.end; }
};

/// Whether they are alike. Most rows tell with their first edges.
bool sameEdges(Edges const & a, Edges const & b) {
    if (a.count() != b.count())
        return false;
    for (std::size_t i = 0; i < a.count(); ++i)
        if (a.at[i] != b.at[i])
            return false;
    return true;
}

/// Puts edges to `out` and returns where they end.
std::int32_t * put(Edges const & edges, std::int32_t * out) {
    if (edges.count() > shortRow)
        return std::copy(edges.at, edges.end, out);
    for (std::int32_t const * edge = edges.at; edge != edges.end; ++edge)
        *out++ = *edge;
    return out;
}

/// Whether `a` is one span that holds all of `b`.
bool covers(Edges const & a, Edges const & b) {
    return a.count() == 2 && !b.isEmpty() && a.at[0] <= b.at[0] && a.at[1] >= b.end[-1];
}

/// Merges the edges of a part of a row that begins in `state`. `out` has room for all of both and
/// one more; returns where the result ends. Which side comes next is as good as random, so the loop
/// does not branch on it.
template <RegionOp op>
std::int32_t * mergeEdges(unsigned state, Edges a, Edges b, std::int32_t * out) {
    unsigned inside = isInside<op>(state);
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
    // The side that has ended decides whether the edges of the other are any of the result.
    if (isInside<op>(state) != isInside<op>(state ^ 1))
        out = put(a, out);
    if (isInside<op>(state) != isInside<op>(state ^ 2))
        out = put(b, out);
    return out;
}

/// The same for a whole row. Where many rectangles lie over each other, most rows are one long
/// span.
template <RegionOp op>
std::int32_t * mergeRow(Edges const & a, Edges const & b, std::int32_t * out) {
    if constexpr (op == RegionOp::Union || op == RegionOp::Intersection) {
        constexpr bool outer = op == RegionOp::Union;
        if (covers(a, b))
            return put(outer ? a : b, out);
        if (covers(b, a))
            return put(outer ? b : a, out);
    }
    return mergeEdges<op>(0, a, b, out);
}

/// The columns between which the rows differ from those above; none when `low` is above `high`.
struct Changed {
    std::int32_t low = std::numeric_limits<std::int32_t>::max();
    std::int32_t high = std::numeric_limits<std::int32_t>::min();

    /// Returns the part of the row that differs.
    Edges add(Edges row, Edges above);
    bool isEmpty() const { return low > high; }

  private:
    void add(Edges const & edges) {
        if (edges.isEmpty())
            return;
        low = std::min(low, *edges.at);
        high = std::max(high, edges.end[-1]);
    }
};

/// Two edges at once.
std::uint64_t pairOfEdges(std::int32_t const * edges) {
    std::uint64_t pair;
    std::memcpy(&pair, edges, sizeof pair);
    return pair;
}

Edges Changed::add(Edges row, Edges above) {
    if (row.is(above))
        return {row.end, row.end};
    // Rows have an even number of edges, so that pairs need no rest; that the other edge of a pair
    // is counted as changed does no harm.
    std::size_t same = std::min(row.count(), above.count());
    for (; same > 0 && pairOfEdges(row.at) == pairOfEdges(above.at); same -= 2) {
        row.at += 2;
        above.at += 2;
    }
    for (; same > 0 && pairOfEdges(row.end - 2) == pairOfEdges(above.end - 2); same -= 2) {
        row.end -= 2;
        above.end -= 2;
    }
    add(row);
    add(above);
    return row;
}

/// The part of a row that stands between two columns, both inclusive. Both ends are found by
/// halving in step, and without a branch on what is as good as random.
Edges between(Edges const & row, std::int32_t low, std::int32_t high) {
    if (row.isEmpty())
        return row;
    std::int32_t const *first = row.at, *behind = row.at;
    std::size_t left = row.count();
    for (; left > 1; left -= left / 2) {
        std::size_t const half = left / 2;
        first += half * (first[half - 1] < low);
        behind += half * (behind[half - 1] <= high);
    }
    return {first + (*first < low), behind + (*behind <= high)};
}

/// Goes down the bands of one side.
class Cursor {
  public:
    /// Above the row `y`.
    Cursor(RegionView const & view, std::int32_t y)
        : next_(view.bands + view.firstFrom(y)), last_(view.bands + view.count - 1),
          allEdges_(view.edges) {
        if (next_ != view.bands)
            enter(next_ - 1);
    }
    std::int32_t nextY() const {
        return next_ <= last_ ? next_->y : std::numeric_limits<std::int32_t>::max();
    }
    void goTo(std::int32_t y) {
        above_ = edges_;
        if (nextY() == y)
            enter(next_++);
    }
    Edges const & edges() const { return edges_; }
    /// Those of the row where the cursor was before.
    Edges const & above() const { return above_; }
    bool changed() const { return !edges_.is(above_); }

  private:
    void enter(RegionBand const * band) {
        edges_ = {};
        if (band != last_)
            edges_ = {allEdges_ + band[0].first, allEdges_ + band[1].first};
    }

    RegionBand const * next_;
    RegionBand const * last_;
    std::int32_t const * allEdges_;
    Edges edges_;
    Edges above_;
};

/// The same as mergeEdges for whole rows below a row that is merged already. Neighbours differ in
/// little, so what lies left and right of that is copied.
template <RegionOp op>
std::int32_t * mergeChanged(Edges const & outAbove, Cursor const & a, Cursor const & b,
                            std::int32_t * out) {
    Changed changed;
    Edges partOfA = changed.add(a.edges(), a.above());
    Edges partOfB = changed.add(b.edges(), b.above());
    if (changed.isEmpty())
        return std::copy(outAbove.at, outAbove.end, out);
    if (b.changed())
        partOfA = between(a.edges(), changed.low, changed.high);
    if (a.changed())
        partOfB = between(b.edges(), changed.low, changed.high);
    Edges const replaced = between(outAbove, changed.low, changed.high);
    auto const inA = static_cast<unsigned>(partOfA.at - a.edges().at) & 1;
    auto const inB = static_cast<unsigned>(partOfB.at - b.edges().at) & 1;
    out = std::copy(outAbove.at, replaced.at, out);
    out = mergeEdges<op>(inA | inB << 1, partOfA, partOfB, out);
    return std::copy(replaced.end, outAbove.end, out);
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

/// Calls `row(y, cursor in a, cursor in b)` for each row from `top` through `bottom` where either
/// has a band and for these two, until it returns false; so does this then.
template <class Row>
bool walk(RegionView const & a, RegionView const & b, std::int32_t top, std::int32_t bottom,
          Row row) {
    Cursor first(a, top), second(b, top);
    for (std::int32_t y = top;; y = std::min({first.nextY(), second.nextY(), bottom})) {
        first.goTo(y);
        second.goTo(y);
        if (!row(y, first, second))
            return false;
        if (y == bottom)
            return true;
    }
}

template <RegionOp op>
bool anyRow(RegionView const & a, RegionView const & b, std::int32_t top, std::int32_t bottom) {
    return !walk(a, b, top, bottom, [](std::int32_t, Cursor const & first, Cursor const & second) {
        return !hasEdges<op>(first.edges(), second.edges());
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

std::size_t RegionView::spanCount() const {
    std::size_t spans = 0;
    std::int32_t const * seam = seams;
    for (std::size_t band = 0; band + 1 < count; ++band) {
        std::size_t parts = 1;
        for (; seam != seams + seamCount && *seam < bands[band + 1].y; ++seam)
            ++parts;
        spans += parts * static_cast<std::size_t>(end(band) - begin(band)) / 2;
    }
    return spans;
}

RegionBands::RegionBands(RegionView const & view)
    : seamsInOrder_(view.seamsInOrder), orderedSeams_(view.seamCount) {
    seams_.append(view.seams, view.seamCount);
    bands_.replace(0, 0, view.bands, view.count);
    if (!view.isEmpty())
        edges_.replace(0, 0, view.edges, view.edgeCount());
}

/// What `from` has between the first band and the last of these, which stand already. The seams are
/// put in order once there are so many more than there were that the same ones again and again
/// would fill memory.
void RegionBands::addSeams(RegionView const & from) {
    std::int32_t const *begin = from.seams, *end = begin + from.seamCount;
    if (begin == end || isEmpty())
        return;
    std::int32_t const top = view().top(), bottom = view().bottom();
    if (!from.isEmpty() && from.top() >= top && from.bottom() <= bottom) {
        seams_.append(begin, from.seamCount);
    } else if (from.seamsInOrder) {
        begin = std::upper_bound(begin, end, top);
        end = std::lower_bound(begin, end, bottom);
        seams_.append(begin, static_cast<std::size_t>(end - begin));
    } else {
        std::int32_t * const out = seams_.room(from.seamCount);
        seams_.setEnd(std::copy_if(begin, end, out,
                                   [=](std::int32_t seam) { return seam > top && seam < bottom; }));
    }
    seamsInOrder_ = false;
    orderedSeams_ = std::max(orderedSeams_, from.seamCount);
    if (seams_.size() > 2 * orderedSeams_ + 1000)
        orderSeams();
}

void RegionBands::orderSeams() {
    if (seamsInOrder_)
        return;
    std::int32_t *const begin = seams_.data(), *end = begin + seams_.size();
    std::int32_t * const second = std::is_sorted_until(begin, end);
    if (std::is_sorted(second, end))
        std::inplace_merge(begin, second, end);
    else
        std::sort(begin, end);
    end = std::unique(begin, end);
    RegionBand const * band = bands_.data();
    end = std::remove_if(begin, end, [&](std::int32_t seam) {
        while (band->y < seam)
            ++band;
        return band->y == seam;
    });
    seams_.setEnd(end);
    seamsInOrder_ = true;
    orderedSeams_ = seams_.size();
}

/// Takes away the seams that are not between the first band and the last.
void RegionBands::cutSeams() {
    std::int32_t *const begin = seams_.data(), *const end = begin + seams_.size();
    std::int32_t const top = isEmpty() ? regionMax : view().top();
    std::int32_t const bottom = isEmpty() ? regionMin : view().bottom();
    seams_.setEnd(std::remove_if(begin, end,
                                 [&](std::int32_t seam) { return seam <= top || seam >= bottom; }));
}

/// Appends the rows from `top` through `bottom` to these bands, of which there is at most the one
/// of the row above, and the seams where a row is like the one above. False when there are more
/// edges than the limit.
template <RegionOp op>
bool RegionBands::mergeRows(RegionView const & a, RegionView const & b, std::int32_t top,
                            std::int32_t bottom, std::size_t limit) {
    auto const countEdges = [](Cursor const & first, Cursor const & second) {
        return first.edges().count() + second.edges().count();
    };
    if (a.count + b.count > fewBands) {
        std::size_t most = 0;
        walk(a, b, top, bottom, [&](std::int32_t, Cursor const & first, Cursor const & second) {
            most += countEdges(first, second);
            return most <= limit;
        });
        edges_.room(std::min(most, limit) + 1);
    }
    std::size_t rowStart = 0; // of the row above
    return walk(a, b, top, bottom,
                [&](std::int32_t y, Cursor const & first, Cursor const & second) {
                    std::size_t const longest = countEdges(first, second);
                    std::int32_t * const out = edges_.room(longest + 1);
                    Edges const outAbove{edges_.data() + rowStart, out};
                    std::int32_t * const end =
                        longest > shortRow ? mergeChanged<op>(outAbove, first, second, out)
                                           : mergeRow<op>(first.edges(), second.edges(), out);
                    if (!sameEdges(outAbove, {out, end})) {
                        bands_.add({y, static_cast<std::uint32_t>(edges_.size())});
                        rowStart = edges_.size();
                        edges_.setEnd(end);
                    } else if (bands_.size() > 0) {
                        seams_.add(y);
                    }
                    return edges_.size() <= limit;
                });
}

/// Puts bands in the place of those from `from` up to `to`.
void RegionBands::splice(RegionBands const & middle, std::size_t from, std::size_t to) {
    auto const edgeAt = [&](std::size_t band) {
        return band < bands_.size() ? bands_[band].first : edges_.size();
    };
    std::size_t const firstEdge = edgeAt(from), lastEdge = edgeAt(to);
    std::size_t const middleEnd = from + middle.bands_.size();
    edges_.replace(firstEdge, lastEdge, middle.edges_.data(), middle.edges_.size());
    bands_.replace(from, to, middle.bands_.data(), middle.bands_.size());
    auto const shift = [&](std::size_t begin, std::size_t end, std::size_t by) {
        for (std::size_t i = begin; i < end; ++i)
            bands_[i].first += static_cast<std::uint32_t>(by); // wraps where it is negative
    };
    shift(from, middleEnd, firstEdge);
    shift(middleEnd, bands_.size(), firstEdge + middle.edges_.size() - lastEdge);
}

/// What the operation makes of two sides that both have bands, as far as the limit allows.
template <RegionOp op>
bool RegionBands::merge(RegionView const & a, RegionView const & b, std::size_t limit) {
    std::int32_t top = a.top(), bottom = a.bottom();
    if constexpr (keepsSecond<op>) {
        top = std::min(top, b.top());
        bottom = std::max(bottom, b.bottom());
    } else if constexpr (!keepsFirst<op>) {
        top = std::max(top, b.top());
        bottom = std::min(bottom, b.bottom());
    }
    if (top >= bottom)
        return true;
    bands_.room(a.count + b.count);
    edges_.room(a.edgeCount() + b.edgeCount() + 1);
    seams_.room(a.seamCount + b.seamCount + a.count + b.count);
    if (!mergeRows<op>(a, b, top, bottom, limit))
        return false;
    bands_.shrink();
    edges_.shrink();
    if (bands_.size() > 0)
        cutSeams();
    addSeams(a);
    addSeams(b);
    return true;
}

/// An operation that leaves the rows where the other side has nothing as they are.
template <RegionOp op>
void RegionBands::change(RegionView const & other) {
    RegionView const old = view();
    std::int32_t const top = old.top(), bottom = old.bottom();
    std::size_t from = old.firstFrom(other.top());
    std::size_t const to = old.firstFrom(std::int64_t(other.bottom()) + 1);
    RegionBands middle;
    if (from > 0) { // the band above, which what follows may be like
        --from;
        middle.bands_.add({old.bands[from].y, 0});
        if (from + 1 < old.count)
            middle.edges_.append(old.begin(from),
                                 old.bands[from + 1].first - old.bands[from].first);
    }
    middle.mergeRows<op>(old, other, other.top(), other.bottom(), noLimit);
    splice(middle, from, to);
    if (bands_.size() < 2)
        bands_.cut(0);
    if (op != RegionOp::Union && (isEmpty() || view().top() != top || view().bottom() != bottom))
        cutSeams();
    seamsInOrder_ = seams_.size() == 0; // a band may begin at one now
    addSeams(other);
    RegionView rows = middle.view();
    rows.count = 0; // these bands are a piece of a region: its seams may lie anywhere
    addSeams(rows);
}

template <RegionOp op>
void RegionBands::combine(RegionView const & a, RegionView const & b) {
    bool const inPlace = bands_.data() == a.bands;
    if constexpr (keepsFirst<op>) {
        // Few rows of many: the others stay or are copied as they are.
        std::size_t const from = a.firstFrom(b.top());
        std::size_t const to = a.firstFrom(std::int64_t(b.bottom()) + 1);
        if (to - from < a.count / 2) {
            if (!inPlace)
                *this = RegionBands(a);
            return change<op>(b);
        }
    }
    RegionBands result;
    result.merge<op>(a, b, noLimit);
    *this = std::move(result);
}

void RegionBands::combine(RegionView const & a, RegionOp op, RegionView const & b) {
    if (a.isEmpty() || b.isEmpty()) {
        bool const keepsB = op == RegionOp::Union || op == RegionOp::SymmetricDifference;
        bool const keepsA = op != RegionOp::Intersection;
        *this = b.isEmpty() && keepsA ? RegionBands(a) : keepsB ? RegionBands(b) : RegionBands();
        return;
    }
    switch (op) {
        case RegionOp::Union:
            return combine<RegionOp::Union>(a, b);
        case RegionOp::Intersection:
            return combine<RegionOp::Intersection>(a, b);
        case RegionOp::Difference:
            return combine<RegionOp::Difference>(a, b);
        case RegionOp::SymmetricDifference:
            return combine<RegionOp::SymmetricDifference>(a, b);
    }
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
    if (a.isEmpty() || b.isEmpty()) {
        if (a.isEmpty())
            *this = std::move(second);
        return true;
    }
    RegionBands result;
    if (!result.merge<RegionOp::Union>(a, b, mostEdges(count)))
        return false;
    *this = std::move(result);
    return true;
}

bool RegionBands::unite(GRect const * rects, std::size_t count) {
    *this = RegionBands();
    if (count == 0)
        return true;
    if (uniteHalves(rects, count)) {
        orderSeams();
        if (view().spanCount() <= mostEdges(count) / 2)
            return true;
    }
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
        combine(view(), RegionOp::Intersection, RegionRect(staying).view());
    }
    for (std::size_t i = 0; i < bands_.size(); ++i)
        bands_[i].y += static_cast<std::int32_t>(dy);
    for (std::size_t i = 0; i < seams_.size(); ++i)
        seams_[i] += static_cast<std::int32_t>(dy);
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
