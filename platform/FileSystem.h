// Names of files, directories and drives; open files are in FileHandle.h. Names come in and go out
// with backslashes, whatever the system uses; these functions, and only they, translate. `\usr\x`
// is an absolute name, and a name with a drive letter never exists where there are no drives. No
// function throws but for memory.
#pragma once

#include "platform/Export.h"
#include "platform/FileHandle.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

namespace platform {

// Names.

struct FileStatus {
    bool directory = false;
    /// Device, socket or pipe: something with a name that is no store of bytes.
    bool special = false;
    bool readOnly = false;
    std::int64_t size = 0;
    /// Last write, seconds since 1970 in universal time.
    std::int64_t writeTime = 0;
    /// Both together are the same for two names exactly when these lead to one file.
    std::uint64_t volume = 0, number = 0;
};

/// False when there is nothing of that name.
ONDREL_API bool fileStatus(char const * name, FileStatus & status);
ONDREL_API bool removeFile(char const * name);
/// Refuses a target that exists.
ONDREL_API bool moveFile(char const * from, char const * to);
/// Contents, last write and access rights, over a target that exists; a failure leaves a target of
/// before as it was.
ONDREL_API bool copyFile(char const * from, char const * to);
/// Makes `data` the content of a file, which need not be there. The bytes are written beside it and
/// take its name when they are on the medium: whatever happens, the old or the new content is
/// there, whole. Links are followed and access rights stay. False, and nothing changed, when that
/// is not possible, or nobody may write the file as it stands.
ONDREL_API bool replaceContent(char const * name, void const * data, std::size_t size);
/// Modification and access time, from a local time; false when it does not convert.
ONDREL_API bool setFileTime(char const * name, std::tm const & time);
/// Creates an empty file of a name of its own, `prefix` in front; empty on failure.
ONDREL_API std::string createTemporaryFile(char const * directory, char const * prefix);

// Directories.

/// One level; false also when it exists.
ONDREL_API bool createDirectory(char const * name);
/// An empty one only.
ONDREL_API bool removeDirectory(char const * name);
ONDREL_API std::string currentDirectory();
ONDREL_API bool setCurrentDirectory(char const * name);
/// Ends in a backslash; empty when the system knows none.
ONDREL_API std::string temporaryDirectory();
/// The system's own directory, without a backslash at its end.
ONDREL_API std::string systemDirectory();
/// Absolute, without `.` and `..`, by text alone: the name need not exist.
ONDREL_API std::string fullPath(char const * name);

struct DirectoryEntry : FileStatus {
    std::string name;
};
struct DirectoryWalk;
/// A walk over a directory in the order of the names, with `.` and `..` among them but for a root;
/// null when there is none of that name. Goes to endDirectoryWalk in the end.
ONDREL_API DirectoryWalk * startDirectoryWalk(char const * name);
/// False at the end. An entry that vanishes meanwhile is left out.
ONDREL_API bool nextDirectoryEntry(DirectoryWalk & walk, DirectoryEntry & entry);
ONDREL_API void endDirectoryWalk(DirectoryWalk * walk);

// Drives.

enum DriveKind {
    DriveUnknown = 0,
    DriveNoRoot = 1,
    DriveRemovable = 2,
    DriveFixed = 3,
    DriveRemote = 4,
    DriveCdRom = 5,
    DriveRamDisk = 6
};
/// Bit 0 is drive A.
ONDREL_API std::uint32_t logicalDrives();
/// Of the drive of a root such as `D:\`.
ONDREL_API DriveKind driveKind(char const * root);
/// Replaces where the two come from, for a host that shows its own stores as drives, and for
/// tests; null brings the system's back.
ONDREL_API void setDriveSource(std::uint32_t (*drives)(), DriveKind (*kind)(char const * root));

struct DiskSpace {
    std::uint32_t sectorsPerCluster = 0, bytesPerSector = 0, freeClusters = 0, totalClusters = 0;
};
/// Of the disk that holds `name`.
ONDREL_API bool diskSpace(char const * name, DiskSpace & space);

} // namespace platform
