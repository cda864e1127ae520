// Files as memory. A mapping is a handle of its own: it outlives the file that it was made of, and
// is closed by itself.
#pragma once

#include "platform/Export.h"
#include "platform/FileHandle.h"

#include <cstddef>
#include <cstdint>

namespace platform {

using MappingHandle = std::intptr_t;
constexpr MappingHandle noMapping = -1;

/// For reading and writing; a file that is shorter than `size` bytes is lengthened to it with
/// zeros. noMapping on failure, and for a size below 1.
ONDREL_API MappingHandle createFileMapping(FileHandle file, std::int64_t size);
ONDREL_API void closeFileMapping(MappingHandle mapping);
/// The first `size` bytes of the mapping, whose changes go to the file; meant for one pass from
/// front to back. Null when there is no room. Goes to unmapFileView with the same size.
ONDREL_API void * mapFileView(MappingHandle mapping, std::size_t size);
ONDREL_API void unmapFileView(void * view, std::size_t size);

} // namespace platform
