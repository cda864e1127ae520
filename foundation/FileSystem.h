// The file system as one set of static functions on names. They answer false where something
// cannot be done; none throws.
#pragma once

#include "foundation/GFile.h"
#include "platform/Export.h"

#include <ctime>

/// Static functions on files and directories by name.
class ONDREL_API FileSystem {
  public:
    enum ErrorType { NoError = 0 };

    static char const * GetDirectorySeparator() { return "\\"; }
    static char const * GetExtensionSeparator() { return "."; }
    static char const * GetParentDirectoryName() { return ".."; }

    static GFile GetCurrentDirectoryA();
    static bool SetCurrentDirectoryA(GFile const & directory);
    /// Makes at most one level of the path, the first that is missing, and answers FALSE when it
    /// made one. True: there was nothing to make, or it could not be made. For a whole path, call
    /// until it answers true.
    static bool CreateDirectoryA(GFile directory);
    /// Ends in a backslash where the system's answer does.
    static GFile GetTemporaryDirectory();

    /// Of the disk that holds `name`, or would hold it: it need not be there.
    static bool GetDriveInfo(char const * name, unsigned long & sectorsPerCluster,
                             unsigned long & bytesPerSector, unsigned long & freeClusters,
                             unsigned long & totalClusters);
    /// In bytes, modulo 2 to the 32nd; 0 on failure.
    static unsigned long GetDirectoryFreeSpace(char const * name);
    static GFile::DriveType GetDriveTypeA(char const * root);

    /// Whether `name` fits `mask`, letter case ignored. `?` is one character but no dot; `*` is
    /// everything up to and with the next dot, and what follows it in the mask up to there is not
    /// looked at. So a name with a dot needs a mask with one.
    static bool Match(char const * name, char const * mask);

    static bool Exists(GFile const & file);
    /// Files only.
    static bool Remove(GFile const & file);
    /// Replaces a target that exists.
    static bool Copy(GFile const & from, GFile const & to);
    /// Both the same; a target that exists is left alone.
    static bool Move(GFile const & from, GFile const & to);
    static bool Rename(GFile const & from, GFile const & to) { return Move(from, to); }
    /// Sets modification and access time to a local time.
    static bool SetTime(char const * name, std::tm const & time);
    /// Has no meaning here: true.
    static bool SetType(GFile const &, unsigned long) { return true; }
    static unsigned long GetPICTFileType() { return 0; }

    /// Looks for the bare name of `file` in the directories of a list parted by `;`. The first
    /// place where it exists goes into `file`.
    static bool SearchFile(char const * pathList, GFile & file);
    /// Replaces each `placeholder` by a letter, and all of them by other letters as long as there
    /// is such a file. False for an empty name, and when the file exists and has no placeholder.
    /// The tries have no limit: a name with few placeholders may find every letter taken.
    static bool UniqueName(GFile & file, char placeholder);

    static ErrorType GetError() { return NoError; }
};
