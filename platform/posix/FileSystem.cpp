// Files, directories and disks by the calls of POSIX. There are no drives, unless a host shows its
// own stores as such.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64
#include "platform/FileSystem.h"
#include "platform/posix/FileName.h"
#include "platform/posix/Uninterrupted.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace platform {

namespace {

bool systemStatus(std::string const & path, FileStatus & status) {
    struct stat found;
    if (::stat(path.c_str(), &found) != 0)
        return false;
    status.directory = S_ISDIR(found.st_mode);
    status.special = !S_ISDIR(found.st_mode) && !S_ISREG(found.st_mode);
    status.readOnly = (found.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    status.size = found.st_size;
    status.writeTime = found.st_mtime;
    status.volume = found.st_dev;
    status.number = found.st_ino;
    return true;
}

/// A descriptor that is closed at the end of the scope.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;
    operator int() const { return number_; }
    bool close() {
        int const number = std::exchange(number_, -1);
        return number < 0 || ::close(number) == 0;
    }

  private:
    int number_;
};

bool copyBytes(int from, int to) {
    std::vector<char> buffer(1 << 16);
    for (;;) {
        long const count = readFile(from, buffer.data(), static_cast<long>(buffer.size()));
        if (count <= 0)
            return count == 0;
        if (writeFile(to, buffer.data(), count) != count)
            return false;
    }
}

bool copyInto(int from, int to) {
    struct stat status;
    if (::fstat(from, &status) != 0 || S_ISDIR(status.st_mode) || !copyBytes(from, to))
        return false;
    timespec const times[2] = {status.st_atim, status.st_mtim};
    ::fchmod(to, status.st_mode & 0777);
    ::futimens(to, times);
    return syncFile(to);
}

/// Where links lead to; the path itself when there is nothing.
std::string linkTarget(std::string const & path) {
    char * const found = ::realpath(path.c_str(), nullptr);
    std::string result = found ? found : path;
    std::free(found);
    return result;
}

/// Opens a new file beside `target`, with the rights of any new file; `name` receives its path.
int createBeside(std::string const & target, std::string & name) {
    static std::atomic<unsigned> counter{0};
    std::size_t const start = target.rfind('/') + 1; // 0 when there is none
    // The name may be as long as a name can be.
    std::string const front = target.substr(0, std::min(target.size(), start + 200));
    for (int tries = 0; tries < 1000; ++tries) {
        name = front + '.' + std::to_string(::getpid()) + '-' + std::to_string(counter++) + ".new";
        int const file = uninterrupted(
            [&] { return ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); });
        if (file >= 0 || errno != EEXIST)
            return file;
    }
    return -1;
}

/// Renames where nothing of the new name stands. Some file systems cannot do both in one step;
/// there a file gets its second name before it loses the first, and a directory is looked for.
bool renameToNew(char const * from, char const * to) {
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    if (::link(from, to) == 0)
        return ::unlink(from) == 0;
    struct stat status;
    if (errno == EEXIST || ::lstat(to, &status) == 0)
        return false;
    return ::rename(from, to) == 0;
}

std::uint32_t (*driveSource)() = nullptr;
DriveKind (*driveKindSource)(char const *) = nullptr;

} // namespace

bool fileStatus(char const * name, FileStatus & status) {
    return systemStatus(systemName(name), status);
}

bool removeFile(char const * name) {
    return ::unlink(systemName(name).c_str()) == 0;
}

bool moveFile(char const * from, char const * to) {
    std::string const source = systemName(from);
    std::string const target = systemName(to);
    if (source.empty() || target.empty())
        return false;
    if (renameToNew(source.c_str(), target.c_str()))
        return true;
    struct stat status;
    if (errno != EXDEV || ::lstat(target.c_str(), &status) == 0)
        return false;
    return copyFile(from, to) && ::unlink(source.c_str()) == 0;
}

bool copyFile(char const * from, char const * to) {
    std::string const target = systemName(to);
    if (target.empty())
        return false;
    Descriptor const source(uninterrupted(
        [path = systemName(from)] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
    FileStatus there;
    if (source < 0 || (systemStatus(target, there) && there.directory))
        return false;
    // The copy takes the target's name when it is whole, so a full disk costs nothing.
    std::string made = target + ".XXXXXX";
    Descriptor copy(::mkostemp(made.data(), O_CLOEXEC));
    if (copy < 0)
        return false;
    if (copyInto(source, copy) && copy.close() && ::rename(made.c_str(), target.c_str()) == 0)
        return true;
    ::unlink(made.c_str());
    return false;
}

bool replaceContent(char const * name, void const * data, std::size_t size) {
    std::string const target = linkTarget(systemName(name));
    struct stat status;
    bool const there = ::stat(target.c_str(), &status) == 0;
    if (target.empty() ||
        (there && (!S_ISREG(status.st_mode) || ::access(target.c_str(), W_OK) != 0)))
        return false;
    std::string made;
    Descriptor file(createBeside(target, made));
    if (file < 0)
        return false;
    if (there) {
        if (::fchown(file, status.st_uid, status.st_gid) != 0) {
            // Another's file in a directory of ours becomes ours.
        }
        ::fchmod(file, status.st_mode & 0777);
    }
    long const count = static_cast<long>(size);
    if (count >= 0 && writeFile(file, data, count) == count && syncFile(file) && file.close() &&
        ::rename(made.c_str(), target.c_str()) == 0)
        return true;
    ::unlink(made.c_str());
    return false;
}

bool setFileTime(char const * name, std::tm const & time) {
    std::tm local = time;
    std::time_t const seconds = std::mktime(&local);
    if (seconds == static_cast<std::time_t>(-1))
        return false;
    timespec const times[2] = {{seconds, 0}, {seconds, 0}};
    return ::utimensat(AT_FDCWD, systemName(name).c_str(), times, 0) == 0;
}

std::string createTemporaryFile(char const * directory, char const * prefix) {
    std::string path = systemName(directory);
    if (!path.empty() && path.back() != '/')
        path += '/';
    path += std::string(prefix ? prefix : "") + "XXXXXX";
    int const file = ::mkostemp(path.data(), O_CLOEXEC);
    if (file < 0)
        return {};
    ::close(file);
    return portableName(path);
}

bool createDirectory(char const * name) {
    return ::mkdir(systemName(name).c_str(), 0777) == 0;
}

bool removeDirectory(char const * name) {
    return ::rmdir(systemName(name).c_str()) == 0;
}

std::string currentDirectory() {
    std::vector<char> buffer(256);
    while (!::getcwd(buffer.data(), buffer.size())) {
        if (errno != ERANGE)
            return {};
        buffer.resize(buffer.size() * 2);
    }
    return portableName(buffer.data());
}

bool setCurrentDirectory(char const * name) {
    return ::chdir(systemName(name).c_str()) == 0;
}

std::string temporaryDirectory() {
    char const * const named = std::getenv("TMPDIR");
    std::string path = named && *named ? named : "/tmp";
    if (path.back() != '/')
        path += '/';
    return portableName(path);
}

std::string systemDirectory() {
    return "\\usr";
}

std::string fullPath(char const * name) {
    std::string given = portableName(name ? name : "");
    std::string drive;
    if (given.size() > 1 && given[1] == ':') {
        drive = given.substr(0, 2);
        given.erase(0, 2);
    } else if (given.empty() || given[0] != '\\') {
        given = currentDirectory() + '\\' + given;
    }
    std::string path;
    for (std::size_t at = 0; at < given.size();) {
        std::size_t const end = std::min(given.find('\\', at), given.size());
        std::string_view const piece(given.data() + at, end - at);
        if (piece == "..")
            path.erase(std::min(path.rfind('\\'), path.size()));
        else if (!piece.empty() && piece != ".")
            path.append("\\").append(piece);
        at = end + 1;
    }
    if (path.empty() || given.back() == '\\')
        path += '\\';
    return drive + path;
}

struct DirectoryWalk {
    std::string path; // ends in a slash
    std::vector<std::string> names;
    std::size_t next = 0;
};

DirectoryWalk * startDirectoryWalk(char const * name) {
    std::string path = systemName(name);
    DIR * const directory = path.empty() ? nullptr : ::opendir(path.c_str());
    if (!directory)
        return nullptr;
    if (path.back() != '/')
        path += '/';
    auto * const walk = new DirectoryWalk{path, {}, 0};
    bool const root = fullPath(name) == "\\";
    while (dirent const * const entry = ::readdir(directory)) {
        bool const up = std::strcmp(entry->d_name, "..") == 0;
        // A name with a backslash would be taken for a path.
        if (!(up && root) && !std::strchr(entry->d_name, '\\'))
            walk->names.emplace_back(entry->d_name);
    }
    ::closedir(directory);
    std::sort(walk->names.begin(), walk->names.end());
    return walk;
}

bool nextDirectoryEntry(DirectoryWalk & walk, DirectoryEntry & entry) {
    while (walk.next < walk.names.size()) {
        std::string const & name = walk.names[walk.next++];
        if (!systemStatus(walk.path + name, entry))
            continue;
        entry.name = name;
        return true;
    }
    return false;
}

void endDirectoryWalk(DirectoryWalk * walk) {
    delete walk;
}

std::uint32_t logicalDrives() {
    return driveSource ? driveSource() : 0;
}

DriveKind driveKind(char const * root) {
    if (driveKindSource)
        return driveKindSource(root);
    FileStatus status;
    return !fileStatus(root, status) || !status.directory ? DriveNoRoot
           : fullPath(root) == "\\"                       ? DriveFixed
                                                          : DriveUnknown;
}

void setDriveSource(std::uint32_t (*drives)(), DriveKind (*kind)(char const * root)) {
    driveSource = drives;
    driveKindSource = kind;
}

bool diskSpace(char const * name, DiskSpace & space) {
    struct statvfs found;
    if (::statvfs(systemName(name).c_str(), &found) != 0)
        return false;
    // The counts of large disks do not fit: clusters then are taken larger.
    std::uint64_t unit = found.f_frsize ? found.f_frsize : 512;
    std::uint64_t total = found.f_blocks;
    std::uint64_t available = found.f_bavail;
    for (; total > 0xFFFFFFFFU; unit *= 2, total /= 2)
        available /= 2;
    space.bytesPerSector = 512;
    space.sectorsPerCluster = static_cast<std::uint32_t>(unit / 512);
    space.totalClusters = static_cast<std::uint32_t>(total);
    space.freeClusters = static_cast<std::uint32_t>(std::min<std::uint64_t>(available, total));
    return true;
}

} // namespace platform
