// The streamed form of collections: count, limit and delta as compact numbers, the owning flag as a
// byte, then the items; a sorted collection adds its duplicates flag as a byte.
#include "foundation/GSortedCollection.h"
#include "foundation/GStringCollection.h"
#include "persistence/pstream.h"

#include <algorithm>

namespace {

/// Numbers from a stream only steer growth: what they ask for beyond what has arrived is cut.
constexpr long spareLimit = 1024;
constexpr long greatestDelta = 65536;
/// So many items may come without a byte in the stream, as those of a plain collection do.
constexpr long emptyItems = 65536;

} // namespace

void GCollection::write(opstream & out) {
    out.compat_writeDWord(static_cast<unsigned long>(count_));
    out.compat_writeDWord(static_cast<unsigned long>(limit_));
    out.compat_writeDWord(static_cast<unsigned long>(delta_));
    out.writeByte(shouldDelete_);
    for (long i = 0; i < count_; ++i)
        write_item(items_[i], out);
}

void GCollection::read(ipstream & in) {
    empty();
    auto const count = static_cast<long>(in.compat_readDWord());
    auto const limit = static_cast<long>(in.compat_readDWord());
    auto const delta = static_cast<long>(in.compat_readDWord());
    delta_ = std::clamp(delta, 1L, greatestDelta);
    shouldDelete_ = in.readByte();
    setLimit(std::min(limit, spareLimit));
    unsigned long const start = in.countOfReadBytes();
    while (count_ < count && in) {
        if (count_ >= emptyItems &&
            in.countOfReadBytes() - start <= static_cast<unsigned long>(count_ - emptyItems)) {
            in.setstate(pstream::ReadFailedBit);
            return;
        }
        void * const item = read_item(in);
        // Doubling, since the limit is not trusted and the delta may be small.
        if (count_ == limit_)
            setLimit(std::min(count, limit_ + std::max(limit_, delta_)));
        makeRoom(count_);
        items_[count_++] = item;
    }
    setLimit(std::min(limit, count_ + spareLimit));
}

void GSortedCollection::write(opstream & out) {
    GCollection::write(out);
    out.writeByte(duplicates_);
}

void GSortedCollection::read(ipstream & in) {
    GCollection::read(in);
    duplicates_ = in.readByte();
}

void * GStringCollection::write_item(void * item, opstream & out) {
    out.writeString(static_cast<char const *>(item));
    return item;
}

void * GStringCollection::read_item(ipstream & in) {
    return in.readString();
}
