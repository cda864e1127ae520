// Regions: shared contents, queries, and what is remembered between changes.
#include "kvt_grph/GRegion.h"

#include "kvt_grph/RegionBands.h"
#include "persistence/pstream.h"
#include "platform/RegionHandles.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <vector>

using namespace ondrel_detail;

namespace {

/// A region of more rows looks for a band by halving: an index would take more than it gives.
constexpr std::int64_t mostIndexedRows = 0x10000;

/// The pixels between two ends that may come in either order, as rows or columns of the plane: from
/// `first` up to `last`, exclusive.
struct Range {
    std::int64_t first, last;

    Range(long a, long b) {
        first = std::max<std::int64_t>(std::min(a, b), regionMin);
        last = std::min<std::int64_t>(std::max(a, b), regionMax) + 1;
    }
};

} // namespace

struct GRegion::Rep {
    RegionBands bands;
    long references = 1;
    // What follows is remembered until the bands change; see replace.
    GRect bounds;
    HRGN handle = nullptr;
    std::vector<std::uint32_t> rowIndex; // the band of each row from the first one on

    Rep() = default;
    explicit Rep(RegionView const & view) : bands(view) {}
    Rep(Rep const &) = delete;
    Rep & operator=(Rep const &) = delete;
    ~Rep() { platform::deleteRegion(handle); }

    void forget() {
        bounds = GRect();
        rowIndex = {};
        platform::deleteRegion(handle);
        handle = nullptr;
    }
    std::size_t bandOf(std::int32_t y);

  private:
    void indexRows();
};

void GRegion::Rep::indexRows() {
    RegionView const view = bands.view();
    rowIndex.resize(static_cast<std::size_t>(view.bottom() - view.top()));
    for (std::size_t band = 0; band + 1 < view.count; ++band)
        std::fill(rowIndex.begin() + (view.bands[band].y - view.top()),
                  rowIndex.begin() + (view.bands[band + 1].y - view.top()),
                  static_cast<std::uint32_t>(band));
}

/// The band of a row that one of the bands covers.
std::size_t GRegion::Rep::bandOf(std::int32_t y) {
    RegionView const view = bands.view();
    if (std::int64_t(view.bottom()) - view.top() > mostIndexedRows)
        return view.firstFrom(std::int64_t(y) + 1) - 1;
    if (rowIndex.empty())
        indexRows();
    return rowIndex[static_cast<std::size_t>(y - view.top())];
}

GRegion::GRegion(GRect const & rect) {
    RegionRect const cut(rect);
    if (!cut.view().isEmpty())
        rep_ = new Rep(cut.view());
}

GRegion::GRegion(HRGN handle) {
    std::vector<GRect> rects;
    for (RECT const & rect : platform::regionRects(handle))
        rects.emplace_back(rect);
    RegionBands bands;
    if (!bands.unite(rects.data(), rects.size()) || bands.isEmpty()) {
        platform::deleteRegion(handle);
        return;
    }
    rep_ = new Rep;
    rep_->bands = std::move(bands);
    rep_->handle = handle;
}

GRegion::GRegion(GRegion const & other) : rep_(other.rep_) {
    if (rep_)
        ++rep_->references;
}

GRegion & GRegion::operator=(GRegion const & other) {
    return *this = GRegion(other);
}

GRegion & GRegion::operator=(GRegion && other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
}

void GRegion::Empty() {
    if (rep_ && --rep_->references == 0)
        delete rep_;
    rep_ = nullptr;
}

RegionView GRegion::view() const {
    return rep_ ? rep_->bands.view() : RegionView();
}

/// The bands as they are told to others.
RegionView GRegion::orderedView() const {
    if (rep_)
        rep_->bands.orderSeams();
    return view();
}

bool GRegion::contains(long x, long y) const {
    long inside[2];
    return clip_hline(x, y, x, inside) != 0;
}

bool GRegion::contains(GRect const & rect) const {
    return !regionStandsOut(RegionRect(rect).view(), view());
}

bool GRegion::contains(GRegion const & other) const {
    return rep_ == other.rep_ || !regionStandsOut(other.view(), view());
}

bool GRegion::hasCommonParts(GRect const & rect) const {
    return regionsMeet(view(), RegionRect(rect).view());
}

bool GRegion::hasCommonParts(GRegion const & other) const {
    return regionsMeet(view(), other.view());
}

GRect GRegion::bounding_rect() const {
    if (!rep_)
        return GRect();
    GRect & bounds = rep_->bounds;
    if (bounds.isEmpty()) {
        auto const [left, right] = view().columns();
        long const x = std::min<long>(left, 32767), end = std::max<long>(right, -32768);
        bounds = GRect(x, view().top(), end - x, view().bottom() - view().top());
    }
    return bounds;
}

bool GRegion::enumerate(bool (*callback)(long, long, long, long, void *), void * data) const {
    GRegion const kept(*this); // the callback may change this region
    return kept.orderedView().forEach(regionMin, regionMax,
                                      [&](long left, long top, long right, long bottom) {
                                          return callback(left, top, right - 1, bottom - 1, data);
                                      });
}

long GRegion::clip_hline(long x0, long y, long x1, long * out) const {
    RegionView const bands = view();
    if (bands.isEmpty() || y < bands.top() || y >= bands.bottom())
        return 0;
    Range const columns(x0, x1);
    std::size_t const band = rep_->bandOf(static_cast<std::int32_t>(y));
    std::int32_t const * const end = bands.end(band);
    // The first edge behind x0 ends a span that holds it or begins the next one.
    std::int32_t const * edge = std::upper_bound(bands.begin(band), end, columns.first);
    edge -= (edge - bands.begin(band)) % 2;
    long count = 0;
    for (; edge != end && edge[0] < columns.last; edge += 2, ++count) {
        *out++ = static_cast<long>(std::max<std::int64_t>(edge[0], columns.first));
        *out++ = static_cast<long>(std::min<std::int64_t>(edge[1], columns.last) - 1);
    }
    return count;
}

long GRegion::clip_box(long x0, long y0, long x1, long y1, long * out) const {
    Range const columns(x0, x1), rows(y0, y1);
    long count = 0;
    orderedView().forEach(rows.first, rows.last, [&](long left, long top, long right, long bottom) {
        if (left >= columns.last || right <= columns.first)
            return true;
        *out++ = static_cast<long>(std::max<std::int64_t>(left, columns.first));
        *out++ = static_cast<long>(std::max<std::int64_t>(top, rows.first));
        *out++ = static_cast<long>(std::min<std::int64_t>(right, columns.last) - 1);
        *out++ = static_cast<long>(std::min<std::int64_t>(bottom, rows.last) - 1);
        ++count;
        return true;
    });
    return count;
}

HRGN GRegion::getHandle() const {
    if (!rep_ || rep_->handle)
        return rep_ ? rep_->handle : nullptr;
    std::vector<RECT> rects;
    orderedView().forEach(regionMin, regionMax, [&](long left, long top, long right, long bottom) {
        rects.push_back({left, top, right, bottom});
        return true;
    });
    return rep_->handle = platform::createRegion(rects, bounding_rect());
}

/// Puts what `change(bands, these)` makes of these bands in their place, or in a copy of its own
/// when they are shared. What was remembered about them goes.
template <class Change>
GRegion & GRegion::replace(Change change) {
    Rep * own = rep_;
    if (!rep_ || rep_->references > 1)
        own = new Rep;
    else
        own->forget();
    change(own->bands, view());
    if (own != rep_) {
        Empty();
        rep_ = own;
    }
    if (rep_->bands.isEmpty())
        Empty();
    return *this;
}

GRegion & GRegion::combine(RegionOp op, RegionView const & other) {
    return replace(
        [&](RegionBands & bands, RegionView const & these) { bands.combine(these, op, other); });
}

GRegion & GRegion::combine(RegionOp op, GRect const & rect) {
    return rect.isEmpty() ? *this : combine(op, RegionRect(rect).view());
}

GRegion & GRegion::operator|=(GRect const & rect) {
    return combine(RegionOp::Union, rect);
}

GRegion & GRegion::operator&=(GRect const & rect) {
    return combine(RegionOp::Intersection, rect);
}

GRegion & GRegion::operator-=(GRect const & rect) {
    return combine(RegionOp::Difference, rect);
}

GRegion & GRegion::operator|=(GRegion const & other) {
    if (!rep_)
        return *this = other; // shared, not copied
    return rep_ == other.rep_ || !other.rep_ ? *this : combine(RegionOp::Union, other.view());
}

GRegion & GRegion::operator&=(GRegion const & other) {
    if (!other.rep_)
        Empty();
    if (rep_ == other.rep_)
        return *this;
    orderedView(); // seams in order are cut to the common rows by halving
    return combine(RegionOp::Intersection, other.orderedView());
}

GRegion & GRegion::operator-=(GRegion const & other) {
    if (rep_ == other.rep_)
        Empty();
    return !other.rep_ ? *this : combine(RegionOp::Difference, other.view());
}

GRegion & GRegion::operator^=(GRegion const & other) {
    if (rep_ == other.rep_)
        Empty();
    else if (other.rep_)
        combine(RegionOp::SymmetricDifference, other.view());
    return *this;
}

GRegion & GRegion::move(long long dx, long long dy) {
    if (!rep_ || (dx == 0 && dy == 0))
        return *this;
    return replace([&](RegionBands & bands, RegionView const & these) {
        if (bands.isEmpty())
            bands = RegionBands(these);
        bands.move(dx, dy);
    });
}

GRegion & GRegion::operator+=(GPoint const & by) {
    return move(by.x, by.y);
}

GRegion & GRegion::operator-=(GPoint const & by) {
    // The plane is narrower than this, so that the cut keeps -LONG_MIN from overflowing.
    auto const negated = [](long value) { return -std::max<long long>(value, 2 * regionMin); };
    return move(negated(by.x), negated(by.y));
}

bool GRegion::operator==(GRegion const & other) const {
    if (rep_ == other.rep_)
        return true;
    RegionView const a = orderedView(), b = other.orderedView();
    if (a.count != b.count || a.isEmpty() || a.seamCount != b.seamCount)
        return false; // one of them alone would be empty
    return std::memcmp(a.bands, b.bands, a.count * sizeof *a.bands) == 0 &&
           std::memcmp(a.edges, b.edges, a.edgeCount() * sizeof *a.edges) == 0 &&
           std::equal(a.seams, a.seams + a.seamCount, b.seams);
}

opstream & operator<<(opstream & out, GRegion const & region) {
    RegionView const view = region.orderedView();
    out.writeByte(0);
    out.writeDWord(static_cast<unsigned long>(view.spanCount()));
    view.forEach(regionMin, regionMax, [&](long left, long top, long right, long bottom) {
        out << GRect(left, top, right - left, bottom - top);
        return true;
    });
    return out;
}

ipstream & operator>>(ipstream & in, GRegion & region) {
    region.Empty();
    in.readByte();
    unsigned long const count = in.readDWord();
    std::vector<GRect> rects;
    for (unsigned long i = 0; i < count; ++i) {
        GRect rect;
        in >> rect;
        if (in.fail())
            break; // the rectangle has not arrived whole
        rects.push_back(rect);
    }
    RegionBands bands;
    if (!bands.unite(rects.data(), rects.size()))
        in.setstate(pstream::ReadFailedBit);
    if (!bands.isEmpty()) {
        region.rep_ = new GRegion::Rep;
        region.rep_->bands = std::move(bands);
    }
    return in;
}

std::ostream & operator<<(std::ostream & out, GRegion const & region) {
    auto const print = [](long left, long top, long right, long bottom, void * data) {
        *static_cast<std::ostream *>(data) << GRect({left, top}, {right, bottom}) << '\n';
        return true;
    };
    region.enumerate(print, &out);
    return out;
}
