// The block grows by steps; big ones grow by a part of their size, so that a long run of small
// writes does not copy it each time.
#include "persistence/GMemoryIO.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

GMemoryIO::GMemoryIO(long capacity) {
    open(capacity);
}

GMemoryIO::GMemoryIO(void * block, long size, IOOpenMode mode) {
    open(block, size, mode);
}

GMemoryIO::~GMemoryIO() {
    close();
}

void GMemoryIO::open(long capacity) {
    close();
    if (capacity > 0)
        buffer_ = static_cast<unsigned char *>(std::malloc(static_cast<std::size_t>(capacity)));
    capacity_ = buffer_ ? capacity : 0;
    size_ = position_ = 0;
    expandable_ = true;
    store_open_mode(ReadWriteMode);
}

void GMemoryIO::open(void * block, long size, IOOpenMode mode) {
    close();
    buffer_ = static_cast<unsigned char *>(block);
    size_ = capacity_ = size;
    position_ = 0;
    expandable_ = false;
    store_open_mode(mode);
}

void GMemoryIO::close() {
    if (expandable_)
        std::free(buffer_);
    buffer_ = nullptr;
    size_ = capacity_ = position_ = 0;
}

long GMemoryIO::gseek(long offset, IOSeekDirection direction) {
    long const base = direction == FromStart ? 0 : direction == FromEnd ? size_ : position_;
    if (offset < -base || offset > size_ - base)
        return -1;
    return position_ = base + offset;
}

bool GMemoryIO::reserve(long size) {
    if (size > std::numeric_limits<long>::max() / 2)
        return false;
    // Behind the first steps, half as much again; the capacity is a multiple of the step anyway.
    long const step = capacity_ >= 64 * delta_ ? capacity_ / 2 : 0;
    for (long const room : {std::max(size, capacity_ + step), size}) {
        long const wanted = (room + delta_ - 1) / delta_ * delta_;
        void * const grown = std::realloc(buffer_, static_cast<std::size_t>(wanted));
        if (!grown)
            continue;
        buffer_ = static_cast<unsigned char *>(grown);
        capacity_ = wanted;
        return true;
    }
    return false;
}

long GMemoryIO::gwrite(void const * data, long count) {
    if (open_mode() == ReadMode || count <= 0)
        return 0;
    if (count > capacity_ - position_ &&
        (!expandable_ || count > std::numeric_limits<long>::max() - position_ ||
         !reserve(position_ + count)))
        count = capacity_ - position_;
    if (count <= 0)
        return 0;
    std::memcpy(buffer_ + position_, data, static_cast<std::size_t>(count));
    position_ += count;
    size_ = std::max(size_, position_);
    return count;
}

long GMemoryIO::gread(void * data, long count) {
    count = std::min(count, size_ - position_);
    if (open_mode() == WriteMode || count <= 0)
        return 0;
    std::memcpy(data, buffer_ + position_, static_cast<std::size_t>(count));
    position_ += count;
    return count;
}
