// Texts that a module carries as numbered resources. Only Windows has them.
#pragma once

#include "platform/SystemTypes.h"

namespace platform {

/// Copies as much of text `id` as `size` bytes hold with their terminating zero; the number of
/// characters copied, 0 when the module has no such text or the system knows none.
unsigned int moduleString(HINSTANCE module, unsigned int id, char * buffer, unsigned int size);

} // namespace platform
