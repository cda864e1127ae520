// Address space by the page: reserved first, given memory behind it piece by piece, returned in
// one. Pools build on this so that what they hand out never moves.
#pragma once

#include "platform/Export.h"

#include <cstddef>

namespace platform {

/// Bytes in one page; asked of the system once.
ONDREL_API std::size_t pageSize();
/// Reserves `bytes` of address space, rounded up to pages, that nothing may touch yet: at `where`,
/// or anywhere when that is null. Null when there is no such room.
ONDREL_API void * reserveMemory(std::size_t bytes, void * where);
/// Makes `bytes` from `address` on usable, zeroed at their first commit. The range must lie within
/// one reservation. False when the system refuses.
ONDREL_API bool commitMemory(void * address, std::size_t bytes);
/// Gives a whole reservation back; `address` and `bytes` as they were reserved. Null is allowed.
ONDREL_API void releaseMemory(void * address, std::size_t bytes);

} // namespace platform
