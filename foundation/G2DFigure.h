// Figures of the plane turned into points and row spans. Nothing is drawn: each point or span goes
// to a callback, once, and the caller's pointer is handed through.
#pragma once

#include "foundation/GPoint.h"

/// Static functions: lines, outlines and filled figures.
class ONDREL_API G2DFigure {
  public:
    using Plot = void (*)(long x, long y, void * data);
    /// The points x0 through x1 of row y.
    using Span = void (*)(long x0, long y, long x1, void * data);

    /// Both ends included; the end with the lesser x comes first.
    static void Line(long x0, long y0, long x1, long y1, Plot plot, void * data);
    /// Outlines around a center. A radius of 0 leaves the center, or a line; below 0 nothing.
    static void Circle(long cx, long cy, long r, Plot plot, void * data);
    static void Ellipse(long x, long y, long rx, long ry, Plot plot, void * data);
    /// The same with what the outline encloses, from the top row down, one span for each.
    static void Disk(long cx, long cy, long r, Span span, void * data);
    static void FillEllipse(long x, long y, long rx, long ry, Span span, void * data);
    /// The outline and what it encloses by the even-odd rule, from the top row down. Spans of one
    /// row go from left to right and do not touch.
    static void FillTriangle(GPoint const * three, Span span, void * data);
    static void FillPoly(int count, GPoint const * points, Span span, void * data);
};
