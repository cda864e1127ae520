// The memory device under its buffer.
#include "persistence/mpstream.h"

mpbase::mpbase() : memory_(new GMemoryIO(0)), device_(memory_) {
    device_.passLargePieces();
    init(&device_);
}

mpbase::mpbase(void * buffer, long size, GIO::IOOpenMode mode)
    : memory_(new GMemoryIO(buffer, size, mode)), device_(memory_) {
    device_.passLargePieces();
    init(&device_);
}

mpbase::~mpbase() = default;

void * mpbase::data() {
    flush();
    return memory() ? memory()->buffer() : nullptr;
}

long mpbase::size() {
    flush();
    return memory() ? memory()->size() : 0;
}
