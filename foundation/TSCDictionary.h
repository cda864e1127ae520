// A dictionary sorted by the `<` of its keys. Each entry is a pair on the heap, so the value that
// `find` points at stays in its place until the entry goes.
#pragma once

#include "foundation/GSortedCollection.h"

#include <utility>

namespace Tavlin {

/// Values by key, in the order of the keys.
template <class K, class V>
class TSCDictionary {
  public:
    /// With `shouldDelete` false the pairs are never freed, so that pointers to values stay good
    /// for the life of the process.
    explicit TSCDictionary(long limit = 0, long delta = 4, bool shouldDelete = true)
        : pairs_(limit, delta, shouldDelete) {}
    TSCDictionary(TSCDictionary const &) = delete;
    TSCDictionary & operator=(TSCDictionary const &) = delete;

    /// False when the key is taken; the entry then stays as it is.
    bool insert(K const & key, V const & value) {
        long index = 0;
        if (search(key, index))
            return false;
        pairs_.at_insert(index, new Pair{key, value});
        return true;
    }
    /// Puts a pair at the end, whatever its key: for filling a dictionary that is resorted after.
    void append(K const & key, V const & value) {
        pairs_.at_insert(pairs_.getCount(), new Pair{key, value});
    }
    /// The value, or null.
    V * find(K const & key) {
        long index = 0;
        return search(key, index) ? &pairs_.at(index)->value : nullptr;
    }
    V const * find(K const & key) const { return const_cast<TSCDictionary *>(this)->find(key); }
    /// False when there is no such key.
    bool remove(K const & key) {
        long index = 0;
        if (!search(key, index))
            return false;
        removeAt(index);
        return true;
    }

    long getCount() const { return pairs_.getCount(); }
    /// Entry `index` in the order of the keys, not checked beyond an assert.
    K const & keyAt(long index) const { return pairs_.at(index)->key; }
    V & valueAt(long index) { return pairs_.at(index)->value; }
    V const & valueAt(long index) const { return pairs_.at(index)->value; }
    /// Raises GCollection_IndexOutOfRange_Exception when there is no entry `index`.
    void removeAt(long index) {
        if (pairs_.shouldDelete())
            pairs_.at_free(index);
        else
            pairs_.at_remove(index);
    }
    /// Restores the order after the order of the keys has changed.
    void resort() { pairs_.resort(); }
    void empty() { pairs_.empty(); }

    /// Whether `key` is there; `index` is its place, or the one where it belongs.
    bool search(K const & key, long & index) const {
        long left = 0;
        long right = pairs_.getCount() - 1;
        while (left <= right) {
            long const middle = (left + right) >> 1;
            K const & probe = pairs_.at(middle)->key;
            if (probe < key) {
                left = middle + 1;
            } else if (key < probe) {
                right = middle - 1;
            } else {
                index = middle;
                return true;
            }
        }
        index = left;
        return false;
    }

  private:
    struct Pair {
        K key;
        V value;
    };
    class Pairs : public TGSortedCollection<Pair> {
      public:
        using TGSortedCollection<Pair>::TGSortedCollection;
        void const * keyOf(void const * item) const override {
            return &static_cast<Pair const *>(item)->key;
        }
        int compare(void const * a, void const * b) const override {
            K const & first = *static_cast<K const *>(a);
            K const & second = *static_cast<K const *>(b);
            return first < second ? -1 : second < first ? 1 : 0;
        }
    };

    Pairs pairs_;
};

} // namespace Tavlin
