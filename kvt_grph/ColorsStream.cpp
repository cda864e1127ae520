// Colours in object streams, as they stand in memory, and as text.
#include "kvt_grph/Colors.h"
#include "persistence/pstream.h"

#include <istream>
#include <ostream>

opstream & operator<<(opstream & out, RGB_Color const & color) {
    return out << color.blue << color.green << color.red;
}

ipstream & operator>>(ipstream & in, RGB_Color & color) {
    return in >> color.blue >> color.green >> color.red;
}

opstream & operator<<(opstream & out, RGBA_Color const & color) {
    return out << color.blue << color.green << color.red << color.alpha;
}

ipstream & operator>>(ipstream & in, RGBA_Color & color) {
    return in >> color.blue >> color.green >> color.red >> color.alpha;
}

opstream & operator<<(opstream & out, HSV_Color const & color) {
    return out << color.hue << color.saturation << color.value;
}

ipstream & operator>>(ipstream & in, HSV_Color & color) {
    return in >> color.hue >> color.saturation >> color.value;
}

opstream & operator<<(opstream & out, YIQ_Color const & color) {
    return out << color.y << color.i << color.q;
}

ipstream & operator>>(ipstream & in, YIQ_Color & color) {
    return in >> color.y >> color.i >> color.q;
}

opstream & operator<<(opstream & out, YUV_Color const & color) {
    return out << color.y << color.u << color.v;
}

ipstream & operator>>(ipstream & in, YUV_Color & color) {
    return in >> color.y >> color.u >> color.v;
}

namespace {

/// A byte of a colour as a number. One that does not fit is refused, as the stream refuses those
/// that do not fit its own types, and leaves the byte.
struct TextByte {
    unsigned char & byte;
};

std::istream & operator>>(std::istream & in, TextByte text) {
    short number = 0;
    if (!(in >> number))
        return in;
    if (number < 0 || number > 255)
        in.setstate(std::ios::failbit);
    else
        text.byte = static_cast<unsigned char>(number);
    return in;
}

template <class... Numbers>
std::ostream & writeText(std::ostream & out, int first, Numbers... more) {
    out << first;
    ((out << ' ' << static_cast<int>(more)), ...);
    return out;
}

} // namespace

std::ostream & operator<<(std::ostream & out, RGB_Color const & color) {
    return writeText(out, color.red, color.green, color.blue);
}

std::istream & operator>>(std::istream & in, RGB_Color & color) {
    return in >> TextByte{color.red} >> TextByte{color.green} >> TextByte{color.blue};
}

std::ostream & operator<<(std::ostream & out, RGBA_Color const & color) {
    return writeText(out, color.red, color.green, color.blue, color.alpha);
}

std::istream & operator>>(std::istream & in, RGBA_Color & color) {
    return in >> TextByte{color.red} >> TextByte{color.green} >> TextByte{color.blue} >>
           TextByte{color.alpha};
}

std::ostream & operator<<(std::ostream & out, HSV_Color const & color) {
    return writeText(out, color.hue, color.saturation, color.value);
}

std::istream & operator>>(std::istream & in, HSV_Color & color) {
    return in >> TextByte{color.hue} >> TextByte{color.saturation} >> TextByte{color.value};
}

std::ostream & operator<<(std::ostream & out, YIQ_Color const & color) {
    return writeText(out, color.y, color.i, color.q);
}

std::istream & operator>>(std::istream & in, YIQ_Color & color) {
    return in >> color.y >> color.i >> color.q;
}

std::ostream & operator<<(std::ostream & out, YUV_Color const & color) {
    return writeText(out, color.y, color.u, color.v);
}

std::istream & operator>>(std::istream & in, YUV_Color & color) {
    return in >> color.y >> color.u >> color.v;
}
