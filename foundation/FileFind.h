// A walk over the files and directories of a directory, or over the drives, one entry at a time:
//
//     for (FileFind entry("\\data\\*.txt", FileFind::Files, false); entry; ++entry)
//         use(entry.name);
#pragma once

#include "foundation/GFile.h"
#include "platform/Export.h"

#include <cstdint>
#include <ctime>
#include <memory>

class ipstream;
class opstream;
namespace platform {
struct DirectoryEntry;
}

/// What is told of one file, directory or drive.
struct ONDREL_API FileInfo {
    enum Type : unsigned char { File = 1, Directory = 2, Drive = 4 };

    FileInfo();

    unsigned char type = File;
    /// Last write in universal time. tm_mon is 1 to 12; the last three fields are 0.
    std::tm time = {};
    /// Modulo 2 to the 32nd.
    std::uint32_t size = 0;
    GFile name;
};

/// A walk over the entries of a directory that fit a pattern; it is the current entry's FileInfo.
class ONDREL_API FileFind : public FileInfo {
  public:
    /// What a walk looks for; a sum of these.
    enum Mode : unsigned char { Files = 1, Directories = 2, Drives = 4 };

    /// An empty walk.
    FileFind();
    /// The same as `first`.
    FileFind(char const * path, unsigned char mode, bool bareNames);
    ~FileFind();
    FileFind(FileFind const &) = delete;
    FileFind & operator=(FileFind const &) = delete;

    /// Starts anew on `path`: a directory, for all its files, or a directory and a mask for their
    /// names, by FileSystem::Match. With `bareNames` entries have no directory in their name. False
    /// when there is no entry.
    bool first(char const * path, unsigned char mode, bool bareNames);
    /// The next entry. Directories are met whatever the mask, those with a dot in front left out
    /// but for "..", which comes as the last one where the system has none; drives come behind.
    FileFind & operator++();
    /// Whether there is an entry.
    bool isValid() const { return valid_ != 0; }
    explicit operator bool() const { return isValid(); }

  private:
    struct Search;
    bool nextEntry();
    bool nextDrive();
    bool accepts(platform::DirectoryEntry const & entry) const;
    void take(platform::DirectoryEntry const & entry);

    int valid_ = 0;
    bool bareNames_ = false;
    unsigned char mode_ = 0;
    GFile directory_;
    GFile mask_;
    std::unique_ptr<Search> search_;
    char drive_ = 'A';
};

ONDREL_API opstream & operator<<(opstream & out, FileInfo const & info);
ONDREL_API ipstream & operator>>(ipstream & in, FileInfo & info);
/// The nine fields in order.
ONDREL_API opstream & operator<<(opstream & out, std::tm const & time);
ONDREL_API ipstream & operator>>(ipstream & in, std::tm & time);
