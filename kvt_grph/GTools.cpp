// Geometry tests and the interruption flag.
#include "kvt_grph/GTools.h"

#include "foundation/GCriticalSection.h"
#include "platform/Threads.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace {

constinit GCriticalSection guard;
constinit std::atomic<bool> interrupted{false};

GCallBackList & callbacks() {
    static GCallBackList list;
    return list;
}

void setFlag(bool value, long reason) {
    GSingleLock const lock(guard);
    interrupted = value;
    callbacks().call(GCallBackReason(reason), nullptr);
}

/// Where a point is to an edge of a polygon: a ray to the right crosses the edge or not. Of the
/// ends of an edge only the upper one in y counts, so that a corner is crossed once.
enum class Side { On, Crossing, Beside };

Side sideOf(GPoint low, GPoint high, GPoint p) {
    if (low.y > high.y)
        std::swap(low, high);
    if (p.y == low.y && p.y == high.y) {
        auto const [left, right] = std::minmax(low.x, high.x);
        return p.x >= left && p.x <= right ? Side::On : Side::Beside;
    }
    if (p.y == low.y)
        return p.x == low.x ? Side::On : Side::Beside;
    if (p.y == high.y)
        return p.x == high.x ? Side::On : p.x < high.x ? Side::Crossing : Side::Beside;
    if (p.y < low.y || p.y > high.y)
        return Side::Beside;
    using Wide = long double; // exact for differences of 32 bits
    Wide const cross = (Wide(p.y) - Wide(low.y)) * (Wide(high.x) - Wide(low.x)) -
                       (Wide(p.x) - Wide(low.x)) * (Wide(high.y) - Wide(low.y));
    return cross == 0 ? Side::On : cross < 0 ? Side::Beside : Side::Crossing;
}

template <class Corner>
bool isInside(int count, GPoint point, Corner corner) {
    bool inside = false;
    for (int i = count - 1; i >= 0; --i) {
        Side const side = sideOf(corner(i), corner(i > 0 ? i - 1 : count - 1), point);
        if (side == Side::On)
            return true;
        if (side == Side::Crossing)
            inside = !inside;
    }
    return inside;
}

} // namespace

long GTools::Range(long value, long low, long high) {
    return value < low ? low : std::min(value, high);
}

GPoint GTools::Range(GPoint value, GPoint low, GPoint high) {
    return GPoint(Range(value.x, low.x, high.x), Range(value.y, low.y, high.y));
}

RGB_Color GTools::SmartColor(RGB_Color color, RGB_Color other, int xorMode) {
    if (xorMode)
        color ^= other;
    return color;
}

bool GTools::Contains(GPoint const * points, int count, GPoint point) {
    return isInside(count, point, [=](int i) { return points[i]; });
}

bool GTools::Contains(long const * xs, long const * ys, int count, long x, long y) {
    return isInside(count, GPoint(x, y), [=](int i) { return GPoint(xs[i], ys[i]); });
}

bool GTools::LineContainsPoint(GPoint a, GPoint b, long tolerance, GPoint point) {
    if (a.x > b.x)
        std::swap(a, b);
    GPoint const wide =
        std::abs(b.y - a.y) >= b.x - a.x ? GPoint(tolerance, 0) : GPoint(0, tolerance);
    GPoint const corners[] = {a - wide, a + wide, b + wide, b - wide};
    return Contains(corners, 4, point);
}

bool GTools::PointContainsPoint(GPoint center, GPoint point, long tolerance) {
    return point.x >= center.x - tolerance && point.x <= center.x + tolerance &&
           point.y >= center.y - tolerance && point.y <= center.y + tolerance;
}

GPoint GTools::Projection(GPoint a, GPoint b, GPoint point) {
    if (a == b)
        return a;
    using Wide = long double;
    Wide const dx = Wide(b.x) - Wide(a.x), dy = Wide(b.y) - Wide(a.y);
    Wide const px = Wide(point.x) - Wide(a.x), py = Wide(point.y) - Wide(a.y);
    if (px * dy == py * dx)
        return point;
    Wide const along = (px * dx + py * dy) / (dx * dx + dy * dy);
    auto const rounded = [](Wide value) { return static_cast<long>(std::floor(value + 0.5L)); };
    return GPoint(rounded(Wide(a.x) + along * dx), rounded(Wide(a.y) + along * dy));
}

void GTools::Interrupt() {
    GSingleLock const lock(guard);
    if (!interrupted)
        setFlag(true, WasInterrupted);
}

void GTools::ResetInterrupt() {
    setFlag(false, WasReset);
}

bool GTools::GetFlag() {
    return interrupted;
}

bool GTools::InterruptedByKey() {
    if (CheckInterruptionByKey())
        Interrupt();
    return GetFlag();
}

bool GTools::CheckInterruptionByKey() {
    return false;
}

int GTools::WaitForSingleObjectWithInterupt(HANDLE handle) {
    return WaitForMultipleObjectsWithInterupt(1, &handle, 1);
}

int GTools::WaitForMultipleObjectsWithInterupt(unsigned long count, HANDLE const * handles,
                                               int all) {
    if (!all)
        return platform::waitForAny(handles, static_cast<int>(count), platform::waitForever);
    for (unsigned long i = 0; i < count; ++i)
        if (platform::wait(handles[i], platform::waitForever) != 0)
            return platform::waitFailed;
    return 0;
}

void GTools::RegisterCallback(GCallBackFunction function, GCallBackReason reason, void * data) {
    GSingleLock const lock(guard);
    callbacks().attach_callback(function, reason, data);
}

void GTools::UnRegisterCallback(GCallBackFunction function, GCallBackReason reason, void * data) {
    GSingleLock const lock(guard);
    callbacks().detach_callback(function, reason, data);
}

void GTools::EvokeCallback(GCallBackReason reason, void * param) {
    GSingleLock const lock(guard);
    callbacks().call(reason, param);
}
