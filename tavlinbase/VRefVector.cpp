// The vector of handles. An empty handle is a null word and a handle knows nothing of where it
// stands, so arrays begin as zeros and elements move as bytes.
#include "tavlinbase/VRefVector.h"

#include "persistence/pstream.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Tavlin {

namespace {

/// Arrays of up to 4, 8 and 16 handles wait here for the next vector, each linked through its
/// first word. A vector may come and go while statics start or end.
struct ItemPool {
    static constexpr int classes = 3;
    static constexpr int largest = 16;

    struct Free {
        Free * next;
    };
    Free * heads[classes];

    static int classOf(int limit) { return limit <= 4 ? 0 : limit <= 8 ? 1 : 2; }
    static int sizeOf(int sizeClass) { return 4 << sizeClass; }
    void release() {
        for (Free *& head : heads)
            while (Free * const first = head) {
                head = first->next;
                ::operator delete(first);
            }
    }
};
constinit ItemPool g_items{};

/// Made when the first array is. Arrays that come home later are kept, not lost.
struct ItemPoolCloser {
    ~ItemPoolCloser() { g_items.release(); }
};

void clearHandles(VariableRef * items, int count) {
    std::memset(static_cast<void *>(items), 0, sizeof(VariableRef) * static_cast<unsigned>(count));
}

void moveHandles(VariableRef * to, VariableRef const * from, int count) {
    std::memmove(static_cast<void *>(to), static_cast<void const *>(from),
                 sizeof(VariableRef) * static_cast<unsigned>(count));
}

VariableRef * newItems(int limit) {
    void * const memory = ::operator new(sizeof(VariableRef) * static_cast<unsigned>(limit));
    auto * const items = static_cast<VariableRef *>(memory);
    for (int i = 0; i < limit; ++i)
        new (items + i) VariableRef;
    return items;
}

} // namespace

VariableRef * VRefVector::takeItems(int limit) {
    if (limit > ItemPool::largest)
        return newItems(limit);
    int const sizeClass = ItemPool::classOf(limit);
    ItemPool::Free * const first = g_items.heads[sizeClass];
    if (!first) {
        static ItemPoolCloser const closer;
        return newItems(ItemPool::sizeOf(sizeClass));
    }
    g_items.heads[sizeClass] = first->next;
    void * const memory = first;
    auto * const items = static_cast<VariableRef *>(memory);
    for (int i = 0; i < limit; ++i)
        new (items + i) VariableRef;
    return items;
}

/// Takes an array whose handles are empty or have moved on.
void VRefVector::giveItems(VariableRef * items, int limit) {
    if (!items)
        return;
    if (limit > ItemPool::largest)
        return ::operator delete(items);
    ItemPool::Free *& head = g_items.heads[ItemPool::classOf(limit)];
    head = new (static_cast<void *>(items)) ItemPool::Free{head};
}

VRefVector::VRefVector(VRefVector const & other) {
    *this = other;
}

VRefVector & VRefVector::operator=(VRefVector const & other) {
    if (this == &other)
        return *this;
    delta_ = other.delta_;
    setCount(0);
    setLimit(other.limit_);
    setCount(other.count_);
    move_elements(items_, other.items_, count_);
    return *this;
}

void VRefVector::freeAll() {
    setCount(0);
    giveItems(std::exchange(items_, nullptr), std::exchange(limit_, 0));
}

void VRefVector::setCount(int count) {
    assert(count >= 0);
    if (count > limit_)
        setLimit(count);
    // Index and array are looked at anew each time: dropping a value may run any destructor.
    for (int i = count; i < count_; ++i)
        items_[i].empty();
    count_ = count;
}

void VRefVector::setLimit(int limit) {
    limit = std::max(limit, count_);
    if (limit == limit_)
        return;
    VariableRef * const items = limit > 0 ? takeItems(limit) : nullptr;
    if (count_ > 0)
        moveHandles(items, items_, count_);
    giveItems(std::exchange(items_, items), std::exchange(limit_, limit));
}

int VRefVector::roundedUp(int count) const {
    return count <= 0x7FFFFFFF - delta_ ? (count + delta_ - 1) / delta_ * delta_ : count;
}

void VRefVector::at_insert(int index, VariableRef const & value) {
    assert(index >= 0);
    // The value may be an element of this very vector, which is about to move.
    VariableRef const kept(value);
    int const newCount = std::max(index, count_) + 1;
    if (newCount > limit_)
        setLimit(roundedUp(newCount));
    if (index < count_) {
        moveHandles(items_ + index + 1, items_ + index, count_ - index);
        clearHandles(items_ + index, 1); // its cell has moved on
    }
    count_ = newCount;
    items_[index].link(kept);
}

void VRefVector::at_remove(int index) {
    assert(index >= 0 && index < count_);
    // The vector is whole again before the value goes, which may run any destructor.
    VariableRef const dropped(std::move(items_[index]));
    moveHandles(items_ + index, items_ + index + 1, count_ - index - 1);
    clearHandles(items_ + count_ - 1, 1);
    --count_;
}

int VRefVector::remove(VariableRef const & value) {
    int const index = indexOf(value);
    if (index >= 0)
        at_remove(index);
    return index;
}

int VRefVector::indexOf(VariableRef const & value) const {
    for (int i = 0; i < count_; ++i)
        if (items_[i] == value)
            return i;
    return -1;
}

void VRefVector::fill(VariableRef const & value) {
    VariableRef const kept(value); // it may be an element
    for (int i = count_ - 1; i >= 0; --i)
        items_[i].link(kept);
}

void VRefVector::move_elements(VariableRef * to, VariableRef const * from, int count) {
    if (to < from)
        for (int i = 0; i < count; ++i)
            to[i].link(from[i]);
    else
        for (int i = count - 1; i >= 0; --i)
            to[i].link(from[i]);
}

opstream & operator<<(opstream & out, VRefVector & vector) {
    out << static_cast<std::int32_t>(vector.getCount());
    for (int i = 0; i < vector.getCount(); ++i)
        out << vector.at(i);
    return out;
}

ipstream & operator>>(ipstream & in, VRefVector & vector) {
    vector.setCount(0);
    auto const count = static_cast<std::int32_t>(in.readDWord());
    for (std::int32_t i = 0; i < count && in; ++i) {
        VariableRef element;
        in >> element;
        if (!in)
            break;
        // The room grows with what has arrived, never with the count.
        if (i == vector.getLimit() && i >= vector.getDelta())
            vector.setLimit(
                vector.roundedUp(static_cast<int>(std::min<long long>(count, 2LL * i))));
        vector.insert(element);
    }
    return in;
}

} // namespace Tavlin
