// The streamed form of a file name. Tags: 0 end, 1 `\`, 2 `.`, 3 `..\`, 4 a text.
#include "foundation/GFile.h"

#include "persistence/PStreamExceptions.h"
#include "persistence/pstream.h"

namespace {

enum Tag : unsigned char { End = 0, Separator = 1, Dot = 2, Parent = 3, Text = 4 };

void flushText(opstream & out, GString & text) {
    if (text.isEmpty())
        return;
    out.writeByte(Text);
    out.writeString(text.c_str());
    text.empty();
}

} // namespace

opstream & operator<<(opstream & out, GFile const & file) {
    out.writeByte(1);
    GString text;
    for (unsigned int i = 0; i < file.length(); ++i) {
        char const c = file.at(i);
        if (c != '\\' && c != '.') {
            text += c;
            if (c == ':')
                flushText(out, text);
            continue;
        }
        flushText(out, text);
        char const next = file.c_str()[i + 1];
        if (c == '\\') {
            out.writeByte(Separator);
        } else if (next == '.') {
            out.writeByte(Parent);
            i += 2;
        } else if (next == '\\') {
            ++i; // ".\" says nothing
        } else {
            out.writeByte(Dot);
        }
    }
    flushText(out, text);
    out.writeByte(End);
    return out;
}

ipstream & operator>>(ipstream & in, GFile & file) {
    in.readByte();
    GString name;
    for (;;) {
        unsigned char const tag = in.readByte();
        if (tag == End)
            break;
        if (tag == Separator) {
            name += '\\';
        } else if (tag == Dot) {
            name += '.';
        } else if (tag == Parent) {
            name += "..\\";
        } else if (tag == Text) {
            GString text;
            in >> text;
            name += text;
        } else {
            throw GFileReadError_Exception();
        }
    }
    file = name;
    return in;
}
