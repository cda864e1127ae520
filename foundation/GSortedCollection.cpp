// Binary search by key over the plain collection.
#include "foundation/GSortedCollection.h"

#include "foundation/MSort.h"

#include <climits>
#include <cstdint>

G_DEFINE_CREATABLE(GSortedCollection, "GSortedCollection", GCollection)

void const * GSortedCollection::keyOf(void const * item) const {
    return item;
}

int GSortedCollection::compare(void const * a, void const * b) const {
    auto const first = reinterpret_cast<std::uintptr_t>(a);
    auto const second = reinterpret_cast<std::uintptr_t>(b);
    // A distance that an int cannot hold would turn the order round.
    if (first < second)
        return second - first > INT_MAX ? -INT_MAX : -static_cast<int>(second - first);
    return first - second > INT_MAX ? INT_MAX : static_cast<int>(first - second);
}

bool GSortedCollection::search(void const * key, long & index) const {
    long left = 0;
    long right = getCount() - 1;
    bool found = false;
    while (left <= right) {
        long const middle = (left + right) >> 1;
        int const order = compare(keyOf(at(middle)), key);
        if (order < 0) {
            left = middle + 1;
            continue;
        }
        right = middle - 1;
        if (order == 0) {
            found = true;
            // With duplicates the walk goes on to the first of the equal ones.
            if (!duplicates_)
                left = middle;
        }
    }
    index = left;
    return found;
}

long GSortedCollection::v_index_of(void const * item) const {
    long index = 0;
    if (!search(keyOf(item), index))
        return -1;
    if (!duplicates_)
        return index;
    while (index < getCount() && at(index) != item)
        ++index;
    return index < getCount() ? index : -1;
}

long GSortedCollection::v_insert(void * item) {
    long index = 0;
    if (search(keyOf(item), index) && !duplicates_) {
        if (shouldDelete())
            freeItem(item);
        return index;
    }
    v_at_insert(index, item);
    return index;
}

void GSortedCollection::resort() {
    MSort::HSort(
        getCount(),
        [](long i, long j, void * data) -> int {
            auto const & self = *static_cast<GSortedCollection *>(data);
            return self.compare(self.keyOf(self.at(i)), self.keyOf(self.at(j))) < 0;
        },
        [](long i, long j, void * data) {
            auto & self = *static_cast<GSortedCollection *>(data);
            void * const item = self.at(i);
            self.at_put(i, self.at(j));
            self.at_put(j, item);
        },
        this);
}
