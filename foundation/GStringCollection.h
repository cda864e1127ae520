// A sorted collection of plain texts in byte order. Owned texts are those made by gnewstr.
#pragma once

#include "foundation/GSortedCollection.h"

/// Texts in byte order.
class ONDREL_API GStringCollection : public GSortedCollection {
    G_DECLARE_CREATABLE(GStringCollection)
  public:
    constexpr GStringCollection() = default;
    GStringCollection(long limit, long delta, unsigned char shouldDelete)
        : GSortedCollection(limit, delta, shouldDelete) {}
    explicit GStringCollection(StreamableInit init) : GSortedCollection(init) {}
    /// Copies position by position: owned texts are duplicated, others are shared. The flags of
    /// the source are taken over.
    GStringCollection(GStringCollection const & other);
    GStringCollection & operator=(GStringCollection const & other);
    ~GStringCollection() override;

    char * at(long index) const { return static_cast<char *>(GCollection::at(index)); }
    char * operator[](long index) const { return at(index); }
    void at_put(long index, char * item) { GCollection::at_put(index, item); }
    void at_insert(long index, char * item) { GCollection::at_insert(index, item); }
    long insert(char * item) { return GCollection::insert(item); }
    long remove(char * item) { return GCollection::remove(item); }
    long free(char * item) { return GCollection::free(item); }
    long index_of(char const * item) const { return GCollection::index_of(item); }
    GStringCollection & operator+(char * item) {
        insert(item);
        return *this;
    }
    GStringCollection & operator-(char * item) {
        remove(item);
        return *this;
    }

    /// strcmp; a null text stands before all others.
    int compare(void const * a, void const * b) const override;

  protected:
    void freeItem(void * item) override;
    void * write_item(void * item, opstream & out) override;
    void * read_item(ipstream & in) override;

  private:
    void copyItems(GStringCollection const & other);
};
