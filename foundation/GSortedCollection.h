// Collections kept in the order of a key, found by binary search. What the key of an item is
// (keyOf) and how two keys compare (compare) is up to the derived class.
#pragma once

#include "foundation/GCollection.h"

/// A GCollection in the order of a key that the derived class tells.
class ONDREL_API GSortedCollection : public GCollection {
    G_DECLARE_CREATABLE(GSortedCollection)
  public:
    constexpr GSortedCollection() = default;
    GSortedCollection(long limit, long delta, unsigned char shouldDelete)
        : GCollection(limit, delta, shouldDelete) {}
    explicit GSortedCollection(StreamableInit init) : GCollection(init) {}

    void read(ipstream & in) override;
    void write(opstream & out) override;

    /// Whether several items may have one key; off at first.
    unsigned char getDuplicates() const { return duplicates_; }
    void setDuplicates(unsigned char duplicates) { duplicates_ = duplicates; }

    /// Whether an item with this key is there. `index` is its place (that of the first one when
    /// there may be several), or the one where it belongs.
    bool search(void const * key, long & index) const;
    /// Restores the order after keys have changed.
    void resort();

    /// By default the item itself.
    virtual void const * keyOf(void const * item) const;
    /// Below 0, 0 or above 0 as key `a` stands before, with or behind `b`. By default the distance
    /// of the two addresses, cut to the range of an int.
    virtual int compare(void const * a, void const * b) const;

  protected:
    /// With duplicates off the place of the key; otherwise that of this very item.
    long v_index_of(void const * item) const override;
    /// An item whose key is taken is not added when duplicates are off, and freed at once when the
    /// collection owns; the index of the one that is there is returned.
    long v_insert(void * item) override;

  private:
    unsigned char duplicates_ = 0;
};

/// A GSortedCollection of T pointers, which are deleted when freed.
template <class T>
class TGSortedCollection : public GSortedCollection {
  public:
    constexpr TGSortedCollection() = default;
    TGSortedCollection(long limit, long delta, unsigned char shouldDelete)
        : GSortedCollection(limit, delta, shouldDelete) {}
    explicit TGSortedCollection(StreamableInit init) : GSortedCollection(init) {}
    ~TGSortedCollection() override { TGSortedCollection::shut_down(); }

    /// The operations of the base with the type.
    T * at(long index) const { return static_cast<T *>(GCollection::at(index)); }
    T * operator[](long index) const { return at(index); }
    void at_put(long index, T * item) { GCollection::at_put(index, item); }
    void at_insert(long index, T * item) { GCollection::at_insert(index, item); }
    long insert(T * item) { return GCollection::insert(item); }
    long remove(T * item) { return GCollection::remove(item); }
    long free(T * item) { return GCollection::free(item); }
    long index_of(T const * item) const { return GCollection::index_of(item); }
    TGSortedCollection & operator+(T * item) {
        insert(item);
        return *this;
    }
    TGSortedCollection & operator-(T * item) {
        remove(item);
        return *this;
    }

  protected:
    void freeItem(void * item) override { delete static_cast<T *>(item); }
};
