// Open files: the calls that byte devices stand on. A handle is one word, and -1 is none.
#pragma once

#include "platform/Export.h"

#include <cstdint>

namespace platform {

using FileHandle = std::intptr_t;
constexpr FileHandle noFile = -1;

enum FileAccess : unsigned { ReadAccess = 1, WriteAccess = 2 };
enum class FileCreation { Existing, New, Always };
enum class FileSeek { Start, Current, End };

/// Opens a file; `name` has the separators of GFile. noFile on failure. `share` says in the same
/// bits what others may do with the file meanwhile: an opening fails when it asks for what an
/// earlier one does not share, or does not share what an earlier one has. That holds between all
/// who open with this function, in any process, on file systems that have locks.
ONDREL_API FileHandle openFile(char const * name, unsigned access, FileCreation creation,
                               unsigned share = ReadAccess | WriteAccess);
ONDREL_API void closeFile(FileHandle file);
/// The number of bytes done, short only at the end of the file or on a failure; -1 when nothing
/// could be done.
ONDREL_API long readFile(FileHandle file, void * data, long count);
ONDREL_API long writeFile(FileHandle file, void const * data, long count);
/// The same at `position`, for files that can be sought in. Where the handle's own position is
/// afterwards is up to the system.
ONDREL_API long readFileAt(FileHandle file, std::int64_t position, void * data, long count);
ONDREL_API long writeFileAt(FileHandle file, std::int64_t position, void const * data, long count);
/// The new position from the start; -1 on failure.
ONDREL_API std::int64_t seekFile(FileHandle file, std::int64_t offset, FileSeek from);
/// Cuts or lengthens the file to `size` bytes.
ONDREL_API bool resizeFile(FileHandle file, std::int64_t size);
/// In bytes; -1 on failure.
ONDREL_API std::int64_t fileSize(FileHandle file);
/// Waits until what was written is on the medium.
ONDREL_API bool syncFile(FileHandle file);

} // namespace platform
