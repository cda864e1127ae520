// The streamed form of a regular expression: only the source travels, and the reader compiles it.
#include "foundation/RegularExpression.h"
#include "persistence/pstream.h"

opstream & operator<<(opstream & out, RegularExpression const & expression) {
    out.writeByte(0);
    return out << expression.getSource();
}

ipstream & operator>>(ipstream & in, RegularExpression & expression) {
    in.readByte();
    GString source;
    in >> source;
    expression = source;
    return in;
}
