// The growable vector of value handles: the arguments of every call by name, the variables of a
// script, the store of arrays. Every store into it links, so an element is an alias of the cell
// that was put in. A handle is one pointer, so elements move by blocks; and small arrays of handles
// come from a pool of their own, so that argument vectors come and go without touching the heap.
#pragma once

#include "platform/Export.h"
#include "tavlinbase/DynamicVariable.h"

#include <cassert>
#include <utility>

namespace Tavlin {

/// Indices are the caller's to keep in range: debug builds assert.
class ONDREL_API VRefVector {
  public:
    VRefVector() = default;
    /// Empty, with room for `limit` handles. `delta` must be positive.
    explicit VRefVector(int limit, int delta = 4) : delta_(delta) { setLimit(limit); }
    /// Both vectors alias the same cells.
    VRefVector(VRefVector const & other);
    VRefVector(VRefVector && other) noexcept
        : count_(std::exchange(other.count_, 0)), limit_(std::exchange(other.limit_, 0)),
          delta_(other.delta_), items_(std::exchange(other.items_, nullptr)) {}
    VRefVector & operator=(VRefVector const & other);
    virtual ~VRefVector() {
        if (items_)
            freeAll();
    }

    int getCount() const { return count_; }
    int getLimit() const { return limit_; }
    /// The step of growth.
    int getDelta() const { return delta_; }
    void setDelta(int delta) { delta_ = delta; }
    /// Drops handles at the end, or adds empty ones.
    void setCount(int count);
    /// Room for `limit` handles, but never fewer than there are; 0 gives the array back.
    void setLimit(int limit);

    VariableRef & at(int index) {
        assert(index >= 0 && index < limit_);
        return items_[index];
    }
    VariableRef const & at(int index) const {
        assert(index >= 0 && index < limit_);
        return items_[index];
    }
    VariableRef & operator[](int index) { return at(index); }
    VariableRef const & operator[](int index) const { return at(index); }

    void at_put(int index, VariableRef const & value) { at(index).link(value); }
    /// Moves the elements from `index` on; an index past the end leaves empty handles in between.
    void at_insert(int index, VariableRef const & value);
    /// Appends; returns the index.
    int insert(VariableRef const & value) {
        at_insert(count_, value);
        return count_ - 1;
    }
    void at_remove(int index);
    /// Removes the first element that equals `value`; returns its former index or -1.
    int remove(VariableRef const & value);
    /// The first element that equals `value`, or -1. Two empty handles are equal.
    int indexOf(VariableRef const & value) const;
    /// Links every element to the one value.
    void fill(VariableRef const & value);
    /// Removes all elements and keeps the room.
    void empty() { setCount(0); }

  protected:
    /// Links element by element; the two stretches may overlap.
    static void move_elements(VariableRef * to, VariableRef const * from, int count);

  private:
    friend ONDREL_API ipstream & operator>>(ipstream & in, VRefVector & vector);

    static VariableRef * takeItems(int limit);
    static void giveItems(VariableRef * items, int limit);
    void freeAll();
    int roundedUp(int count) const;

    int count_ = 0;
    int limit_ = 0;
    int delta_ = 4;
    VariableRef * items_ = nullptr; // `limit_` handles, empty from `count_` on
};

/// The count in 32 bits, then each element as a VariableRef. What is read gets new cells. A stream
/// that fails on the way leaves the elements read so far.
ONDREL_API opstream & operator<<(opstream & out, VRefVector & vector);
ONDREL_API ipstream & operator>>(ipstream & in, VRefVector & vector);

} // namespace Tavlin
