// Small blocks for the whole process: one size class per 8 bytes, each in its own stretch of
// reserved address space, so that the class of a block follows from its address and blocks have no
// header. Memory that a class has once had stays with it. Any thread may use the pool, and free
// what another one got; it may be used while statics start and end.
#pragma once

#include "platform/Export.h"

/// A handle is passed through for callers that have one; it may be null and is not looked at.
struct GMemoryPoolHandleRep;

/// At least `size` bytes (not 0) at a multiple of 8. Of the free blocks of a class a thread gets
/// the one that it freed last. A size above the threshold, and any size when the stretch of its
/// class is used up, is served by operator new, which raises std::bad_alloc.
ONDREL_API void * gmempool_alloc(GMemoryPoolHandleRep *& handle, unsigned int size);
/// Takes back what gmempool_alloc gave; null does nothing.
ONDREL_API void gmempool_free(GMemoryPoolHandleRep *& handle, void * p);
/// The largest size that comes from the pool: 256.
ONDREL_API unsigned int gmempool_get_threshold();
/// Changes nothing; tells whether the pool serves blocks of that size.
ONDREL_API bool gmempool_set_threshold(unsigned int size);
