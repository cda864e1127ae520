// The untyped core of all pointer collections.
#include "foundation/GCollection.h"

#include "foundation/GException.h"

#include <algorithm>
#include <bit>

G_DEFINE_CREATABLE(GCollection, "GCollection", GStreamable)

/// Slots of the array. The limit grows by delta, which may be small, and both are saved; the array
/// of many items has a few slots more, so that it is not copied every time.
static long slotsFor(long limit) {
    if (limit < 64)
        return limit;
    auto const step = static_cast<long>(std::bit_floor(static_cast<unsigned long>(limit)) / 8);
    return limit + (step - limit % step) % step;
}

GCollection::GCollection(long limit, long delta, unsigned char shouldDelete)
    : shouldDelete_(shouldDelete), delta_(delta < 1 ? 1 : delta) {
    GCollection::setLimit(limit);
}

GCollection::~GCollection() {
    delete[](items_ - lead_);
}

void GCollection::shut_down() {
    if (shouldDelete_)
        free_all();
}

void GCollection::pack() {
    count_ = static_cast<long>(std::remove(items_, items_ + count_, nullptr) - items_);
}

void GCollection::setLimit(long limit) {
    limit = std::max(limit, count_);
    long const slots = slotsFor(limit);
    if (slots == slotsFor(limit_)) {
        limit_ = limit;
        return;
    }
    void ** items = slots > 0 ? new void *[static_cast<std::size_t>(slots)] : nullptr;
    std::copy_n(items_, count_, items);
    delete[](items_ - lead_);
    items_ = items;
    lead_ = 0;
    limit_ = limit;
}

void GCollection::at_free(long index) {
    check_index(index);
    void * const item = items_[index];
    v_at_remove(index);
    freeItem(item);
}

long GCollection::free(void * item) {
    long const index = v_index_of(item);
    if (index < 0)
        return -1;
    // A sorted collection may find another item of the same key: that one is out, that one goes.
    void * const found = items_[index];
    v_remove(item);
    freeItem(found);
    return index;
}

void GCollection::free_all() {
    // The end of an item may take others out of this very collection.
    for (long i = count_ - 1; i >= 0; --i)
        if (i < count_)
            freeItem(items_[i]);
    count_ = 0;
}

void GCollection::empty() {
    if (shouldDelete_)
        free_all();
    else
        remove_all();
}

long GCollection::v_index_of(void const * item) const {
    long index = count_ - 1;
    while (index >= 0 && items_[index] != item)
        --index;
    return index;
}

void GCollection::v_at_insert(long index, void * item) {
    if (index < 0)
        throwIndex(index);
    while (count_ < index)
        v_at_insert(count_, nullptr);
    if (count_ == limit_)
        setLimit(limit_ + delta_);
    makeRoom(index);
    items_[index] = item;
    ++count_;
}

// Opens a place by moving the shorter side; there is a free slot at one end at least.
void GCollection::makeRoom(long index) {
    if (lead_ > 0 && index < count_ - index) {
        std::copy(items_, items_ + index, items_ - 1);
        --items_;
        --lead_;
        return;
    }
    if (lead_ > 0 && lead_ + count_ == slotsFor(limit_)) {
        std::copy(items_, items_ + count_, items_ - lead_);
        items_ -= lead_;
        lead_ = 0;
    }
    std::copy_backward(items_ + index, items_ + count_, items_ + count_ + 1);
}

void GCollection::v_at_put(long index, void * item) {
    check_index(index);
    items_[index] = item;
}

long GCollection::v_insert(void * item) {
    long const index = count_;
    v_at_insert(index, item);
    return index;
}

void GCollection::v_at_remove(long index) {
    check_index(index);
    // The shorter side moves, so that a collection is emptied from the front as fast as from the
    // end: populations are ended in the order in which they were made.
    if (index < count_ - 1 - index) {
        std::copy_backward(items_, items_ + index, items_ + index + 1);
        ++items_;
        ++lead_;
    } else {
        std::copy(items_ + index + 1, items_ + count_, items_ + index);
    }
    --count_;
}

long GCollection::v_remove(void * item) {
    long const index = v_index_of(item);
    if (index >= 0)
        v_at_remove(index);
    return index;
}

void GCollection::freeItem(void *) {}

void * GCollection::write_item(void *, opstream &) {
    return nullptr;
}

void * GCollection::read_item(ipstream &) {
    return nullptr;
}

void GCollection::throwIndex(long index) const {
    throw GCollection_IndexOutOfRange_Exception(index, 0, count_ - 1);
}
