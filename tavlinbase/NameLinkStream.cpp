// The streamed forms of names. A byte tells which: 0 by text, 1 the word itself (this process
// only), 2 the place in a dump of the dictionary that stands at the front of the scene. The reader
// obeys the byte, so a stream of names by text reads in every scope.
//
// The dump is its size in 32 bits and the bytes of the pool with all links zeroed. Once a name has
// been met, the reader keeps its number in the place of its link, so that each costs one look-up
// per scene. A null name is a negative place. A name that is younger than the dump goes by text.
//
// A name that cannot be had, because the byte is unknown or the word or place leads nowhere, reads
// as null and sets the read bit of the stream.
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
    std::size_t written = 0;     // bytes of the dump that FastSceneWrite wrote
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
    if (--t_scope.depth == 0)
        t_scope = Scope();
}

/// Leaves the scope again when its constructor does not come to an end.
class Entry {
  public:
    ~Entry() {
        if (!done_)
            leave();
    }
    void done() { done_ = true; }

  private:
    bool done_ = false;
};

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
    Entry entry;
    NameLinkPool const & names = NameLinkPool::Get();
    std::vector<char> copy(names.base(), names.base() + names.pool.getAllocated());
    for (std::size_t at = 0; at < copy.size();) {
        std::memset(&copy[at], 0, NameLinkPool::linkSize);
        at += NameLinkPool::linkSize;
        at += std::strlen(&copy[at]) + 1;
    }
    out.writeDWord(static_cast<unsigned long>(copy.size()));
    out.writeBytes(copy.data(), static_cast<long>(copy.size()));
    t_scope.written = copy.size();
    entry.done();
}

NameLinkID::FastSceneWrite::~FastSceneWrite() {
    leave();
}

NameLinkID::FastSceneRead::FastSceneRead(ipstream & in) {
    if (!enter(ByPlace))
        return;
    Entry entry;
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
    entry.done();
}

NameLinkID::FastSceneRead::~FastSceneRead() {
    leave();
}

opstream & operator<<(opstream & out, NameLinkID name) {
    Mode mode = t_scope.mode;
    if (mode == ByPlace && static_cast<std::size_t>(name.offset()) >= t_scope.written)
        mode = name.isValid() ? ByText : ByPlace;
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

bool nameAtPlace(std::size_t at, NameLinkID & name) {
    std::vector<char> & dump = t_scope.dump;
    if (at + NameLinkPool::linkSize >= dump.size())
        return false;
    std::uint32_t number;
    std::memcpy(&number, &dump[at], sizeof number);
    if (number == 0) {
        t_scope.met.push_back(NameLinkID(&dump[at + NameLinkPool::linkSize]));
        number = static_cast<std::uint32_t>(t_scope.met.size());
        std::memcpy(&dump[at], &number, sizeof number);
    }
    if (number > t_scope.met.size())
        return false;
    name = t_scope.met[number - 1];
    return true;
}

} // namespace

/// Within a scope of the same memory the word was written by this process a moment ago. A word from
/// anywhere else counts only when it is that of a whole name.
bool NameLinkPool::nameOfWord(std::uint32_t word, bool trusted, NameLinkID & name) const {
    if (word < linkSize || word >= pool.getAllocated())
        return false;
    NameLinkID const found(NameLinkID::Text{base() + word});
    if (!trusted && NameLink::Get()->find(found.text_) != found)
        return false;
    name = found;
    return true;
}

ipstream & operator>>(ipstream & in, NameLinkID & name) {
    unsigned char const mode = in.readByte();
    name = NameLinkID();
    if (mode == ByText) {
        if (in.readDWord() == 0)
            return in;
        GString text;
        in >> text;
        name = NameLinkID(text.c_str());
        return in;
    }
    auto const word = static_cast<std::uint32_t>(mode <= ByPlace ? in.readDWord() : 1);
    bool found = false;
    if (mode == ByWord)
        found = word == 0 || NameLinkPool::Get().nameOfWord(word, t_scope.mode == ByWord, name);
    else if (mode == ByPlace)
        found = static_cast<std::int32_t>(word) < 0 || nameAtPlace(word, name);
    if (!found)
        in.setstate(pstream::ReadFailedBit);
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
        // By doubling, as the count is not to be trusted with an allocation.
        if (names.getCount() == names.getLimit())
            names.setLimit(names.getCount() < 16 ? 16 : 2 * names.getCount());
        names.insert(name);
    }
    return in;
}

} // namespace Tavlin
