// Texts in byte order.
#include "foundation/GStringCollection.h"

#include "foundation/GString.h"

#include <cstring>

G_DEFINE_CREATABLE(GStringCollection, "GStringCollection", GSortedCollection)

GStringCollection::GStringCollection(GStringCollection const & other)
    : GSortedCollection(other.getCount(), other.getDelta(), other.shouldDelete()) {
    copyItems(other);
}

GStringCollection & GStringCollection::operator=(GStringCollection const & other) {
    if (this != &other) {
        empty();
        shouldDelete(other.shouldDelete());
        copyItems(other);
    }
    return *this;
}

GStringCollection::~GStringCollection() {
    GStringCollection::shut_down();
}

void GStringCollection::copyItems(GStringCollection const & other) {
    setDuplicates(other.getDuplicates());
    for (long i = 0; i < other.getCount(); ++i)
        at_insert(i, shouldDelete() ? gnewstr(other.at(i)) : other.at(i));
}

int GStringCollection::compare(void const * a, void const * b) const {
    if (!a || !b)
        return (a != nullptr) - (b != nullptr);
    return std::strcmp(static_cast<char const *>(a), static_cast<char const *>(b));
}

void GStringCollection::freeItem(void * item) {
    delete[] static_cast<char *>(item);
}
