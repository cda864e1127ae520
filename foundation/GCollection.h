// Collections of pointers that can be saved and may own their items. The untyped core works on
// `void *`; TGCollection<T> adds the type and knows how to delete an item. A class that redefines
// freeItem calls shut_down in its destructor, while that freeItem is still in force.
#pragma once

#include "foundation/GStreamable.h"

#include <cassert>

/// The untyped, streamable array of pointers, which grows by `delta` and may own its items.
class ONDREL_API GCollection : public GStreamable {
    G_DECLARE_CREATABLE(GCollection)
  public:
    /// Owns its items, delta 4, no array.
    constexpr GCollection() = default;
    /// `limit` slots at once; growth by `delta` slots (at least 1) when they are used up.
    GCollection(long limit, long delta, unsigned char shouldDelete);
    explicit GCollection(StreamableInit) : GCollection() {}
    /// Does not own its items, otherwise as the default; needs no start-up code.
    struct Borrowing {};
    constexpr explicit GCollection(Borrowing) : shouldDelete_(0) {}
    /// Frees the array only, see above.
    ~GCollection() override;
    GCollection(GCollection const &) = delete;
    GCollection & operator=(GCollection const &) = delete;

    /// Frees the items when the collection owns them.
    void shut_down() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

    /// Squeezes out null items and keeps the order and the limit.
    virtual void pack();
    /// The number of slots, at least the count; 0 gives the array back.
    virtual void setLimit(long limit);

    long getCount() const { return count_; }
    long getLimit() const { return limit_; }
    long getDelta() const { return delta_; }
    /// Values below 1 are ignored.
    void setDelta(long delta) {
        if (delta >= 1)
            delta_ = delta;
    }
    /// Whether the collection owns its items.
    unsigned char shouldDelete() const { return shouldDelete_; }
    void shouldDelete(unsigned char value) { shouldDelete_ = value; }

    /// Not checked beyond an assert.
    void * at(long index) const {
        assert(index >= 0 && index < count_);
        return items_[index];
    }
    void * operator[](long index) const { return at(index); }
    /// Stores without freeing what was there. A wrong index raises
    /// GCollection_IndexOutOfRange_Exception, here and in the next three.
    void at_put(long index, void * item) { v_at_put(index, item); }
    /// Puts `item` in front of item `index`; an index beyond the end fills the gap with nulls.
    void at_insert(long index, void * item) { v_at_insert(index, item); }
    /// Takes the item out without freeing it.
    void at_remove(long index) { v_at_remove(index); }
    /// Takes the item out and frees it, whether the collection owns it or not.
    void at_free(long index);

    /// Adds `item` at the end (a sorted collection: at its place) and returns the index.
    long insert(void * item) { return v_insert(item); }
    /// Takes `item` out; its former index, or -1.
    long remove(void * item) { return v_remove(item); }
    /// The same, and frees what was taken out.
    long free(void * item);
    /// The last place of this pointer, or -1; a sorted collection goes by the key.
    long index_of(void const * item) const { return v_index_of(item); }

    /// Forgets the items and keeps the array.
    void remove_all() { count_ = 0; }
    /// Frees the items from the last to the first.
    void free_all();
    /// free_all when the collection owns, else remove_all.
    void empty();
    void Empty() { empty(); }

    GCollection & operator+(void * item) {
        insert(item);
        return *this;
    }
    GCollection & operator-(void * item) {
        remove(item);
        return *this;
    }
    /// Raises GCollection_IndexOutOfRange_Exception unless there is an item `index`.
    void check_index(long index) const {
        if (index < 0 || index >= count_)
            throwIndex(index);
    }

  protected:
    /// What the operations of those names come down to, for classes that watch or order their
    /// items.
    virtual long v_index_of(void const * item) const;
    virtual void v_at_insert(long index, void * item);
    virtual void v_at_put(long index, void * item);
    virtual long v_insert(void * item);
    virtual void v_at_remove(long index);
    virtual long v_remove(void * item);
    /// What it takes to end an item; here nothing. Null must be tolerated.
    virtual void freeItem(void * item);
    /// One item in a stream; here nothing is written, and null is read.
    virtual void * write_item(void * item, opstream & out);
    virtual void * read_item(ipstream & in);

  private:
    [[noreturn]] void throwIndex(long index) const;
    void makeRoom(long index);

    unsigned char shouldDelete_ = 1;
    void ** items_ = nullptr;
    long count_ = 0;
    long limit_ = 0;
    long delta_ = 4;
    long lead_ = 0; // free slots in front of the items, left by removals there
};

/// A GCollection of T pointers, which are deleted when freed.
template <class T>
class TGCollection : public GCollection {
  public:
    constexpr TGCollection() = default;
    TGCollection(long limit, long delta, unsigned char shouldDelete)
        : GCollection(limit, delta, shouldDelete) {}
    explicit TGCollection(StreamableInit init) : GCollection(init) {}
    constexpr explicit TGCollection(Borrowing borrowing) : GCollection(borrowing) {}
    ~TGCollection() override { TGCollection::shut_down(); }

    /// The operations of GCollection with the type.
    T * at(long index) const { return static_cast<T *>(GCollection::at(index)); }
    T * operator[](long index) const { return at(index); }
    void at_put(long index, T * item) { GCollection::at_put(index, item); }
    void at_insert(long index, T * item) { GCollection::at_insert(index, item); }
    long insert(T * item) { return GCollection::insert(item); }
    long remove(T * item) { return GCollection::remove(item); }
    long free(T * item) { return GCollection::free(item); }
    long index_of(T const * item) const { return GCollection::index_of(item); }
    TGCollection & operator+(T * item) {
        insert(item);
        return *this;
    }
    TGCollection & operator-(T * item) {
        remove(item);
        return *this;
    }

  protected:
    void freeItem(void * item) override { delete static_cast<T *>(item); }
};
