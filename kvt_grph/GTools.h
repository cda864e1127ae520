// Small geometry for editors and hit tests, and a flag by which the user interrupts long work.
#pragma once

#include "foundation/GCallBackList.h"
#include "foundation/GPoint.h"
#include "kvt_grph/Colors.h"
#include "platform/SystemTypes.h"

/// Static functions: hit tests, and the interruption of long work.
class ONDREL_API GTools {
  public:
    /// `value` cut to `low` through `high`; `low` when they are crossed. Points by component.
    static long Range(long value, long low, long high);
    static GPoint Range(GPoint value, GPoint low, GPoint high);
    /// `color`, or the two combined as drawing in XOR mode does.
    static RGB_Color SmartColor(RGB_Color color, RGB_Color other, int xorMode);
    /// Whether the point is inside the closed polygon or on its edge. False without corners.
    static bool Contains(GPoint const * points, int count, GPoint point);
    static bool Contains(long const * xs, long const * ys, int count, long x, long y);
    /// Whether the point is within `tolerance` of the segment, measured along the axis that is
    /// closer to its normal.
    static bool LineContainsPoint(GPoint a, GPoint b, long tolerance, GPoint point);
    /// Whether the point is in the square around `center`, whose sides are twice the tolerance.
    static bool PointContainsPoint(GPoint center, GPoint point, long tolerance);
    /// The foot of the perpendicular from `point` on the line through a and b, rounded; a when the
    /// two are the same.
    static GPoint Projection(GPoint a, GPoint b, GPoint point);

    static long range(long value, long low, long high) { return Range(value, low, high); }
    static GPoint range(GPoint value, GPoint low, GPoint high) { return Range(value, low, high); }
    static RGB_Color smart_color(RGB_Color color, RGB_Color other, int xorMode) {
        return SmartColor(color, other, xorMode);
    }
    static bool contains(GPoint const * points, int count, GPoint point) {
        return Contains(points, count, point);
    }
    static bool contains(long const * xs, long const * ys, int count, long x, long y) {
        return Contains(xs, ys, count, x, y);
    }
    static bool line_contains_point(GPoint a, GPoint b, long tolerance, GPoint point) {
        return LineContainsPoint(a, b, tolerance, point);
    }
    static bool point_contains_point(GPoint center, GPoint point, long tolerance) {
        return PointContainsPoint(center, point, tolerance);
    }
    static GPoint projection(GPoint a, GPoint b, GPoint point) { return Projection(a, b, point); }

    /// Reasons for which callbacks are called, under the lock of the flag.
    enum : long { WasInterrupted = 0, WasReset = 1 };
    /// Sets the flag, and tells those who registered when it was not set before.
    static void Interrupt();
    static void ResetInterrupt();
    /// Whether the work is to end.
    static bool GetFlag();
    /// Looks at the keyboard first: the escape key sets the flag. Without a message loop, as
    /// outside of Windows, there is no key.
    static bool InterruptedByKey();
    static bool CheckInterruptionByKey();
    /// Wait without end for a handle, for one of several, or for all of them, while the keyboard is
    /// looked at. The index of the handle that let the wait pass; negative when it failed.
    static int WaitForSingleObjectWithInterupt(HANDLE handle);
    static int WaitForMultipleObjectsWithInterupt(unsigned long count, HANDLE const * handles,
                                                  int all);

    static void RegisterCallback(GCallBackFunction function, GCallBackReason reason, void * data);
    static void UnRegisterCallback(GCallBackFunction function, GCallBackReason reason, void * data);
    static void EvokeCallback(GCallBackReason reason, void * param);
};
