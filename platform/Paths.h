// Questions to the file system about names. Names go in and come out with backslashes.
#pragma once

#include "platform/Export.h"

#include <string>

namespace platform {

enum class PathKind { Absent, File, Directory };

ONDREL_API PathKind pathKind(char const * name);
/// Bit 0 for A, and so on; 0 where there are no drives.
ONDREL_API unsigned long logicalDrives();
ONDREL_API std::string currentDirectory();
/// The absolute form of a name, with no "." and ".." left; nothing is looked up on the disk.
ONDREL_API std::string fullPath(char const * name);

} // namespace platform
