// The streamed forms of points, rectangles and vectors.
#include "foundation/GRect.h"
#include "foundation/Vector2D.h"
#include "persistence/pstream.h"

#include <bit>
#include <cstdint>

namespace {

/// In front of a vector of doubles. As a float it is no number, which tells the two forms apart.
constexpr std::uint32_t doublesMark = 0x7F810000;

} // namespace

opstream & operator<<(opstream & out, GPoint const & point) {
    out.writeByte(0);
    return out << point.x << point.y;
}

ipstream & operator>>(ipstream & in, GPoint & point) {
    in.readByte();
    return in >> point.x >> point.y;
}

void GPoint::read_old(ipstream & in) {
    x = in.readWord();
    y = in.readWord();
}

opstream & operator<<(opstream & out, GRect const & rect) {
    out.writeByte(0);
    return out << rect.left_top() << rect.Size();
}

ipstream & operator>>(ipstream & in, GRect & rect) {
    GPoint origin, size;
    in.readByte();
    in >> origin >> size;
    rect = GRect(origin.x, origin.y, size.x, size.y);
    return in;
}

void GRect::read_old(ipstream & in) {
    x = in.readWord();
    y = in.readWord();
    w = in.readWord();
    h = in.readWord();
}

opstream & operator<<(opstream & out, Vector2D const & vector) {
    out.writeDWord(doublesMark);
    return out << vector.x << vector.y;
}

ipstream & operator>>(ipstream & in, Vector2D & vector) {
    auto const first = static_cast<std::uint32_t>(in.readDWord());
    if (first == doublesMark)
        return in >> vector.x >> vector.y;
    float y = 0;
    in >> y;
    vector = Vector2D(std::bit_cast<float>(first), y);
    return in;
}
