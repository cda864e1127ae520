// The failure of a vector, kept out of the template so that its header needs no strings.
#include "foundation/TGVector.h"

#include "foundation/GException.h"

void ondrel_detail::throwVectorIndex(long index, long count) {
    throw TGVector_IndexOutOfRange_Exception(index, 0, count - 1);
}
