// Arrays of references: plain, sorted, and sorted by a key of the item. A vector holds one
// reference for each item. The sorted forms keep each key once.
#pragma once

#include "foundation/MSort.h"
#include "foundation/TGVector.h"
#include "tavlinbase/TRef.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace Tavlin {

/// An array of references that grows by a fixed step.
template <class T>
class TRefVector {
  public:
    /// `limit` slots at once; growth ends on multiples of `delta`, which is at least 1.
    explicit TRefVector(long limit = 0, long delta = 4) : delta_(delta < 1 ? 1 : delta) {
        setLimit(limit);
    }
    TRefVector(TRefVector const & other) : delta_(other.delta_) { append(other); }
    TRefVector(TRefVector && other) noexcept : delta_(other.delta_) { swap(other); }
    TRefVector & operator=(TRefVector const & other) {
        if (this != &other) {
            TRefVector copy(other);
            swap(copy);
        }
        return *this;
    }
    TRefVector & operator=(TRefVector && other) noexcept {
        TRefVector moved(std::move(other));
        swap(moved);
        return *this;
    }
    virtual ~TRefVector() {
        empty();
        delete[] items_;
    }

    /// Adds an item at the end (a sorted vector: at its place) and returns its index.
    virtual long insert(TRef<T> const & item) {
        long const index = count_;
        at_insert(index, item);
        return index;
    }

    long getCount() const { return count_; }
    long getLimit() const { return limit_; }
    long getDelta() const { return delta_; }
    /// The number of slots, at least the count; 0 gives the array back.
    void setLimit(long limit) {
        limit = std::max(limit, count_);
        if (limit == limit_)
            return;
        TRef<T> * const items = limit ? new TRef<T>[limit] : nullptr;
        for (long i = 0; i < count_; ++i)
            items[i].swap(items_[i]);
        delete[] std::exchange(items_, items);
        limit_ = limit;
    }

    /// Doubles a vector of some size that is full: for readers of streams and scripts, which may be
    /// large but are not to be trusted with an allocation.
    void expand() {
        if (count_ == limit_ && count_ >= 16)
            setLimit(2 * count_);
    }

    /// Not checked beyond an assert.
    TRef<T> & at(long index) {
        assert(index >= 0 && index < count_);
        return items_[index];
    }
    TRef<T> const & at(long index) const {
        assert(index >= 0 && index < count_);
        return items_[index];
    }
    TRef<T> & operator[](long index) { return at(index); }
    TRef<T> const & operator[](long index) const { return at(index); }

    /// Puts `item` in front of item `index`; an index beyond the end leaves nulls in between. A
    /// negative index raises TGVector_IndexOutOfRange_Exception.
    void at_insert(long index, TRef<T> const & item) {
        if (index < 0)
            ondrel_detail::throwVectorIndex(index, count_);
        TRef<T> added(item); // may be one of the items that move
        long const count = std::max(index, count_) + 1;
        if (count > limit_)
            setLimit((count + delta_ - 1) / delta_ * delta_);
        for (long i = count_; i > index; --i)
            items_[i].swap(items_[i - 1]);
        count_ = count;
        items_[index].swap(added);
    }
    /// Replaces item `index`. A wrong index raises TGVector_IndexOutOfRange_Exception, here and in
    /// at_remove.
    void at_put(long index, TRef<T> const & item) {
        check(index);
        items_[index] = item;
    }
    void at_remove(long index) {
        check(index);
        TRef<T> removed; // goes last, since that may end an object which looks at this vector
        removed.swap(items_[index]);
        --count_;
        for (long i = index; i < count_; ++i)
            items_[i].swap(items_[i + 1]);
    }
    /// Takes the first place of the object out; its former index, or -1.
    long remove(T const * item) {
        long const index = index_of(item);
        if (index >= 0)
            at_remove(index);
        return index;
    }
    /// The first place of the object, or -1.
    long index_of(T const * item) const {
        for (long i = 0; i < count_; ++i)
            if (items_[i].pointer() == item)
                return i;
        return -1;
    }
    /// Drops all items, the last one first, and keeps the slots.
    void empty() {
        while (count_ > 0) {
            TRef<T> last;
            last.swap(items_[--count_]);
        }
    }

  private:
    void check(long index) const {
        if (index < 0 || index >= count_)
            ondrel_detail::throwVectorIndex(index, count_);
    }
    void append(TRefVector const & other) {
        setLimit(other.count_);
        for (long i = 0; i < other.count_; ++i)
            items_[i] = other.items_[i];
        count_ = other.count_;
    }
    void swap(TRefVector & other) noexcept {
        std::swap(count_, other.count_);
        std::swap(limit_, other.limit_);
        std::swap(delta_, other.delta_);
        std::swap(items_, other.items_);
    }

    long count_ = 0;
    long limit_ = 0;
    long delta_;
    TRef<T> * items_ = nullptr; // null references behind the count
};

/// References in an order that the derived class tells, each key once.
template <class T>
class TRefSortedVector : public TRefVector<T> {
  public:
    using TRefVector<T>::TRefVector;

    /// The index of the item that has the key already, otherwise of the new one.
    long insert(TRef<T> const & item) override {
        long index;
        if (!search(item, index))
            this->at_insert(index, item);
        return index;
    }
    /// Whether an item with the key of `item` is there. `index` is its place, or the one where it
    /// belongs.
    virtual bool search(TRef<T> const & item, long & index) const = 0;
    /// Restores the order after keys have changed.
    virtual void resort() = 0;
};

/// `keyOf` tells the key of an item, `compare` the order of two keys.
template <class T, class K>
class TRefSortedVectorC : public TRefSortedVector<T> {
  public:
    using TRefSortedVector<T>::TRefSortedVector;

    bool search(TRef<T> const & item, long & index) const override {
        return searchKey(keyOf(item), index);
    }
    void resort() override { MSort::HSort(this->getCount(), &isBefore, &exchange, this); }
    /// Whether an item with that key is there; `index` as in search.
    bool searchKey(K const & key, long & index) const {
        long left = 0;
        long right = this->getCount() - 1;
        while (left <= right) {
            long const middle = (left + right) >> 1;
            int const order = compare(keyOf(this->at(middle)), key);
            if (order == 0) {
                index = middle;
                return true;
            }
            if (order < 0)
                left = middle + 1;
            else
                right = middle - 1;
        }
        index = left;
        return false;
    }

    virtual K keyOf(TRef<T> const & item) const = 0;
    /// Below 0, 0 or above 0 as `a` stands before, with or behind `b`.
    virtual int compare(K a, K b) const = 0;

  private:
    static int isBefore(long i, long j, void * data) {
        auto const * self = static_cast<TRefSortedVectorC const *>(data);
        return self->compare(self->keyOf(self->at(i)), self->keyOf(self->at(j))) < 0;
    }
    static void exchange(long i, long j, void * data) {
        auto * self = static_cast<TRefSortedVectorC *>(data);
        self->at(i).swap(self->at(j));
    }
};

/// Sorted by T::getCompareKey() in the order of K's `<`.
template <class T, class K>
class TRefKeySortedVector : public TRefSortedVectorC<T, K> {
  public:
    using TRefSortedVectorC<T, K>::TRefSortedVectorC;

    K keyOf(TRef<T> const & item) const final { return item->getCompareKey(); }
    int compare(K a, K b) const final { return a < b ? -1 : b < a ? 1 : 0; }

    /// The item with that key, or null.
    TRef<T> find(K const & key) const {
        long index;
        return this->searchKey(key, index) ? this->at(index) : TRef<T>();
    }
};

} // namespace Tavlin
