// The streamed forms of names. A byte tells which: 0 by text, 1 the word itself (this process
// only), 2 the place in a dump of the dictionary that stands at the front of the scene. The reader
// obeys the byte, so a stream of names by text reads in every scope.
//
// The dump is its size in 32 bits and the bytes of the pool with all links zeroed. Once a name has
// been met, the reader keeps its number in the place of its link, so that each costs one look-up
// per scene. A null name is a negative place.
#include "persistence/pstream.h"
#include "tavlinbase/NameLink.h"
#include "tavlinbase/NameLinkPool.h"

#include <cstring>
#include <vector>

namespace Tavlin {

namespace {

enum Mode : unsigned char { ByText = 0, ByWord = 1, ByPlace = 2 };

struct Scope {
    Mode mode = ByText;
    int depth = 0;
    std::vector<char> dump;      // what FastSceneRead has read
    std::vector<NameLinkID> met; // the names met in it, numbered from 1
};

thread_local Scope t_scope;

/// True for the outermost scope of the thread.
bool enter(Mode mode) {
    if (t_scope.depth++ > 0)
        return false;
    t_scope.mode = mode;
    return true;
}

void leave() {
    if (--t_scope.depth > 0)
        return;
    t_scope.mode = ByText;
    std::vector<char>().swap(t_scope.dump);
    std::vector<NameLinkID>().swap(t_scope.met);
}

constexpr long dumpPiece = 0x10000;

} // namespace

NameLinkID::SameMemorySerialize::SameMemorySerialize() {
    enter(ByWord);
}

NameLinkID::SameMemorySerialize::~SameMemorySerialize() {
    leave();
}

NameLinkID::FastSceneWrite::FastSceneWrite(opstream & out) {
    if (!enter(ByPlace))
        return;
    NameLinkPool const & names = NameLinkPool::Get();
    std::vector<char> copy(names.base(), names.base() + names.pool.getAllocated());
    for (std::size_t at = 0; at < copy.size();) {
        std::memset(&copy[at], 0, NameLinkPool::linkSize);
        at += NameLinkPool::linkSize;
        at += std::strlen(&copy[at]) + 1;
    }
    out.writeDWord(static_cast<unsigned long>(copy.size()));
    out.writeBytes(copy.data(), static_cast<long>(copy.size()));
}

NameLinkID::FastSceneWrite::~FastSceneWrite() {
    leave();
}

NameLinkID::FastSceneRead::FastSceneRead(ipstream & in) {
    if (!enter(ByPlace))
        return;
    // Grows with what arrives: the size comes from outside.
    std::vector<char> & dump = t_scope.dump;
    for (unsigned long left = in.readDWord(); left > 0;) {
        long const piece =
            left < static_cast<unsigned long>(dumpPiece) ? static_cast<long>(left) : dumpPiece;
        std::size_t const old = dump.size();
        dump.resize(old + static_cast<std::size_t>(piece));
        long const got = in.readBytes(dump.data() + old, piece);
        if (got != piece) {
            dump.resize(old + static_cast<std::size_t>(got > 0 ? got : 0));
            break;
        }
        left -= static_cast<unsigned long>(piece);
    }
    dump.push_back('\0');
}

NameLinkID::FastSceneRead::~FastSceneRead() {
    leave();
}

opstream & operator<<(opstream & out, NameLinkID name) {
    Mode const mode = t_scope.mode;
    out.writeByte(mode);
    switch (mode) {
        case ByText:
            out.writeDWord(name.isValid());
            if (name.isValid())
                out.writeString(name.c_str());
            break;
        case ByWord:
            out.writeDWord(static_cast<std::uint32_t>(name.offset()));
            break;
        case ByPlace:
            out.writeDWord(static_cast<std::uint32_t>(
                name.offset() - static_cast<std::int32_t>(NameLinkPool::linkSize)));
            break;
    }
    return out;
}

namespace {

NameLinkID nameAtPlace(std::int32_t place) {
    std::vector<char> & dump = t_scope.dump;
    auto const at = static_cast<std::size_t>(place);
    if (place < 0 || at + NameLinkPool::linkSize >= dump.size())
        return NameLinkID();
    std::uint32_t number;
    std::memcpy(&number, &dump[at], sizeof number);
    if (number == 0) {
        t_scope.met.push_back(NameLinkID(&dump[at + NameLinkPool::linkSize]));
        number = static_cast<std::uint32_t>(t_scope.met.size());
        std::memcpy(&dump[at], &number, sizeof number);
    }
    return number <= t_scope.met.size() ? t_scope.met[number - 1] : NameLinkID();
}

} // namespace

ipstream & operator>>(ipstream & in, NameLinkID & name) {
    unsigned char const mode = in.readByte();
    name = NameLinkID();
    if (mode == ByText) {
        if (in.readDWord() == 0)
            return in;
        GString text;
        in >> text;
        name = NameLinkID(text.c_str());
    } else if (mode == ByWord) {
        NameLinkPool const & names = NameLinkPool::Get();
        unsigned long const offset = in.readDWord();
        if (offset >= NameLinkPool::linkSize && offset < names.pool.getAllocated())
            name = NameLinkID(NameLinkID::Text{names.base() + offset});
    } else if (mode == ByPlace) {
        name = nameAtPlace(static_cast<std::int32_t>(in.readDWord()));
    }
    return in;
}

opstream & operator<<(opstream & out, TGVector<NameLinkID> const & names) {
    out.writeDWord(static_cast<unsigned long>(names.getCount()));
    for (long i = 0; i < names.getCount(); ++i)
        out << names.at(i);
    return out;
}

ipstream & operator>>(ipstream & in, TGVector<NameLinkID> & names) {
    names.empty();
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        NameLinkID name;
        in >> name;
        names.insert(name);
    }
    return in;
}

} // namespace Tavlin
