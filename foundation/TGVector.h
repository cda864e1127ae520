// Arrays of values. TGVector keeps its items in one block of raw storage that grows by a fixed
// step, so that an item exists only while it is counted; TGSortedVector keeps them in the order of
// the item's `<`, each value once. A vector of pointers never owns what they point at.
#pragma once

#include "platform/Export.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace ondrel_detail {
/// Raises TGVector_IndexOutOfRange_Exception. It stands apart so that this header needs no strings.
[[noreturn]] ONDREL_API void throwVectorIndex(long index, long count);
} // namespace ondrel_detail

/// An array of values that grows by a fixed step.
template <class T>
class TGVector {
  public:
    /// `limit` slots at once; growth ends on multiples of `delta`, which is at least 1. With
    /// `bitwise` the items may be moved as blocks of bytes, which suits all that hold no address
    /// of themselves; otherwise they move one by one.
    explicit TGVector(long limit = 0, long delta = 4, bool bitwise = false)
        : delta_(delta < 1 ? 1 : delta), bitwise_(bitwise) {
        setLimit(limit);
    }
    TGVector(TGVector const & other) : delta_(other.delta_), bitwise_(other.bitwise_) {
        append(other);
    }
    TGVector(TGVector && other) noexcept : delta_(other.delta_), bitwise_(other.bitwise_) {
        swapItems(other);
    }
    TGVector & operator=(TGVector const & other) {
        if (this != &other) {
            empty();
            delta_ = other.delta_;
            bitwise_ = other.bitwise_;
            append(other);
        }
        return *this;
    }
    TGVector & operator=(TGVector && other) noexcept {
        if (this != &other) {
            empty();
            swapItems(other);
            std::swap(delta_, other.delta_);
            std::swap(bitwise_, other.bitwise_);
        }
        return *this;
    }
    virtual ~TGVector() {
        std::destroy_n(items_, count_);
        release(items_);
    }

    /// Adds `item` at the end (a sorted vector: at its place) and returns its index.
    virtual long insert(T const & item) {
        long const index = count_;
        at_insert(index, item);
        return index;
    }

    long getCount() const { return count_; }
    long getLimit() const { return limit_; }
    long getDelta() const { return delta_; }
    /// Values below 1 are ignored.
    void setDelta(long delta) {
        if (delta >= 1)
            delta_ = delta;
    }
    /// The number of slots, at least the count; 0 gives the storage back.
    void setLimit(long limit);

    /// Not checked beyond an assert.
    T & at(long index) {
        assert(index >= 0 && index < count_);
        return items_[index];
    }
    T const & at(long index) const {
        assert(index >= 0 && index < count_);
        return items_[index];
    }
    T & operator[](long index) { return at(index); }
    T const & operator[](long index) const { return at(index); }

    /// Puts `item` in front of item `index`. Beyond the end the gap is filled with value-made
    /// items. A negative index raises TGVector_IndexOutOfRange_Exception.
    void at_insert(long index, T const & item);
    /// The next two raise TGVector_IndexOutOfRange_Exception when there is no item `index`.
    void at_put(long index, T const & item) {
        check_index(index);
        items_[index] = item;
    }
    void at_remove(long index);
    /// Removes the last item that equals `item`; its former index, or -1.
    long remove(T const & item) {
        long const index = index_of(item);
        if (index >= 0)
            at_remove(index);
        return index;
    }
    /// The index of the last item that equals `item`, or -1.
    long index_of(T const & item) const {
        long index = count_ - 1;
        while (index >= 0 && !(items_[index] == item))
            --index;
        return index;
    }
    /// Ends all items and keeps the storage.
    void empty() {
        std::destroy_n(items_, count_);
        count_ = 0;
    }
    void check_index(long index) const {
        if (index < 0 || index >= count_)
            ondrel_detail::throwVectorIndex(index, count_);
    }

    T * begin() { return items_; }
    T * end() { return items_ + count_; }
    T const * begin() const { return items_; }
    T const * end() const { return items_ + count_; }

  private:
    static T * allocate(long limit) { return std::allocator<T>().allocate(std::size_t(limit)); }
    void release(T * items) {
        if (items)
            std::allocator<T>().deallocate(items, std::size_t(limit_));
    }
    bool movesAsBytes() const { return std::is_trivially_copyable_v<T> || bitwise_; }
    /// Moves `count` items to storage that holds none; the former places hold none afterwards.
    void relocate(T * to, T * from, long count);
    void openGap(long index);
    void append(TGVector const & other);
    void swapItems(TGVector & other) noexcept {
        std::swap(count_, other.count_);
        std::swap(limit_, other.limit_);
        std::swap(items_, other.items_);
    }

    long count_ = 0;
    long limit_ = 0;
    long delta_;
    T * items_ = nullptr;
    bool bitwise_;
};

/// The items ascend; an item that is there already is not added again.
template <class T>
class TGSortedVector : public TGVector<T> {
  public:
    using TGVector<T>::TGVector;

    /// The index of `item`, whether it was added or found.
    long insert(T const & item) override {
        long index = 0;
        if (!search(item, index))
            this->at_insert(index, item);
        return index;
    }
    /// Whether `item` is there; `index` is its place, or the one where it belongs.
    virtual bool search(T const & item, long & index) const {
        long left = 0;
        long right = this->getCount() - 1;
        while (left <= right) {
            long const middle = (left + right) >> 1;
            T const & probe = this->at(middle);
            if (probe < item) {
                left = middle + 1;
            } else if (item < probe) {
                right = middle - 1;
            } else {
                index = middle;
                return true;
            }
        }
        index = left;
        return false;
    }
    /// The index, or -1.
    long index_of(T const & item) const {
        long index = 0;
        return search(item, index) ? index : -1;
    }
    /// The former index, or -1.
    long remove(T const & item) {
        long const index = index_of(item);
        if (index >= 0)
            this->at_remove(index);
        return index;
    }
};

template <class T>
void TGVector<T>::setLimit(long limit) {
    if (limit < count_)
        limit = count_;
    if (limit == limit_)
        return;
    T * items = limit > 0 ? allocate(limit) : nullptr;
    relocate(items, items_, count_);
    release(items_);
    items_ = items;
    limit_ = limit;
}

template <class T>
void TGVector<T>::relocate(T * to, T * from, long count) {
    if (count == 0)
        return;
    if (movesAsBytes()) {
        std::memcpy(static_cast<void *>(to), static_cast<void const *>(from),
                    std::size_t(count) * sizeof(T));
        return;
    }
    std::uninitialized_move_n(from, count, to);
    std::destroy_n(from, count);
}

/// Leaves slot `index` of the storage without an item; all others up to the count have one.
template <class T>
void TGVector<T>::openGap(long index) {
    long const behind = count_ - index;
    if (behind <= 0)
        return;
    if (movesAsBytes()) {
        std::memmove(static_cast<void *>(items_ + index + 1),
                     static_cast<void const *>(items_ + index), std::size_t(behind) * sizeof(T));
        return;
    }
    new (items_ + count_) T(std::move(items_[count_ - 1]));
    std::move_backward(items_ + index, items_ + count_ - 1, items_ + count_);
    std::destroy_at(items_ + index);
}

template <class T>
void TGVector<T>::at_insert(long index, T const & item) {
    if (index < 0)
        ondrel_detail::throwVectorIndex(index, count_);
    T copy(item); // `item` may stand in this very vector
    long const needed = (index > count_ ? index : count_) + 1;
    if (needed > limit_)
        setLimit((needed + delta_ - 1) / delta_ * delta_);
    for (; count_ < index; ++count_)
        new (items_ + count_) T();
    openGap(index);
    new (items_ + index) T(std::move(copy));
    ++count_;
}

template <class T>
void TGVector<T>::at_remove(long index) {
    check_index(index);
    long const behind = count_ - index - 1;
    if (movesAsBytes()) {
        std::destroy_at(items_ + index);
        std::memmove(static_cast<void *>(items_ + index),
                     static_cast<void const *>(items_ + index + 1),
                     std::size_t(behind) * sizeof(T));
    } else {
        std::move(items_ + index + 1, items_ + count_, items_ + index);
        std::destroy_at(items_ + count_ - 1);
    }
    --count_;
}

template <class T>
void TGVector<T>::append(TGVector const & other) {
    if (count_ + other.count_ > limit_)
        setLimit(count_ + other.count_);
    for (long i = 0; i < other.count_; ++i, ++count_)
        new (items_ + count_) T(other.items_[i]);
}
