// Files by descriptors; calls that a signal broke off are made again.
//
// What an opening shares is held by locks of its open file description, far behind any byte of a
// file. There are four ranges, for what openings have (read, write) and for what they deny (read,
// write). Each opening locks one place of its own in each range that is true of it, and fails when
// another holds any place in a range that contradicts it. Such locks go by themselves with the last
// copy of the descriptor, however the process ends.
#define _FILE_OFFSET_BITS 64
#include "platform/FileHandle.h"
#include "platform/posix/FileName.h"
#include "platform/posix/Uninterrupted.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

int descriptor(FileHandle file) {
    return static_cast<int>(file);
}

template <class Byte, class Transfer>
long transferAll(Byte * data, long count, Transfer transfer) {
    long done = 0;
    while (done < count) {
        auto const step = uninterrupted(
            [&] { return transfer(data + done, static_cast<std::size_t>(count - done)); });
        if (step < 0 && done == 0)
            return -1;
        if (step <= 0)
            break;
        done += static_cast<long>(step);
    }
    return done;
}

constexpr off_t lockRangeLength = off_t{1} << 40;
constexpr off_t lockRangesStart = off_t{1} << 60;

struct flock lockOf(short type, unsigned range, off_t place, off_t length) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = lockRangesStart + static_cast<off_t>(range) * lockRangeLength + place;
    lock.l_len = length;
    return lock;
}

/// Tells openings in one process and in several apart.
off_t ownPlace() {
    static std::atomic<unsigned> counter{0};
    return static_cast<off_t>(::getpid() & 0x3FFFFF) << 18 | (counter++ & 0x3FFFF);
}

/// Ranges 0 and 1 are what is had, 2 and 3 what is denied: bit 0 of `access` is reading.
bool takeShare(int file, unsigned access, unsigned share) {
    unsigned const held = (access & 3) | (~share & 3) << 2;
    off_t const place = ownPlace();
    // Shared locks would do, but they need a descriptor that reads. Nobody else wants the place.
    short const type = (access & ReadAccess) != 0 ? F_RDLCK : F_WRLCK;
    for (unsigned range = 0; range < 4; ++range) {
        if ((held >> range & 1) == 0)
            continue;
        struct flock lock = lockOf(type, range, place, 1);
        // A file system without locks shares everything.
        if (uninterrupted([&] { return ::fcntl(file, F_OFD_SETLK, &lock); }) < 0)
            return errno != EACCES && errno != EAGAIN;
    }
    for (unsigned range = 0; range < 4; ++range) {
        unsigned const contradicting = (range + 2) % 4;
        if ((held >> range & 1) == 0)
            continue;
        struct flock lock = lockOf(F_WRLCK, contradicting, 0, lockRangeLength);
        if (uninterrupted([&] { return ::fcntl(file, F_OFD_GETLK, &lock); }) == 0 &&
            lock.l_type != F_UNLCK)
            return false;
    }
    return true;
}

} // namespace

FileHandle openFile(char const * name, unsigned access, FileCreation creation, unsigned share) {
    std::string const path = systemName(name);
    int flags = O_CLOEXEC;
    flags |= (access & WriteAccess) == 0 ? O_RDONLY : (access & ReadAccess) ? O_RDWR : O_WRONLY;
    if (creation != FileCreation::Existing)
        flags |= O_CREAT | (creation == FileCreation::New ? O_EXCL : 0);
    int const file = uninterrupted([&] { return ::open(path.c_str(), flags, 0666); });
    if (file < 0)
        return noFile;
    struct stat status;
    if ((::fstat(file, &status) == 0 && S_ISDIR(status.st_mode)) ||
        !takeShare(file, access, share)) {
        ::close(file);
        return noFile;
    }
    return file;
}

void closeFile(FileHandle file) {
    ::close(descriptor(file));
}

long readFile(FileHandle file, void * data, long count) {
    return transferAll(static_cast<char *>(data), count, [file](char * to, std::size_t n) {
        return ::read(descriptor(file), to, n);
    });
}

long writeFile(FileHandle file, void const * data, long count) {
    return transferAll(
        static_cast<char const *>(data), count,
        [file](char const * from, std::size_t n) { return ::write(descriptor(file), from, n); });
}

long readFileAt(FileHandle file, std::int64_t position, void * data, long count) {
    auto * const begin = static_cast<char *>(data);
    return transferAll(begin, count, [=](char * to, std::size_t n) {
        return ::pread(descriptor(file), to, n, static_cast<off_t>(position + (to - begin)));
    });
}

long writeFileAt(FileHandle file, std::int64_t position, void const * data, long count) {
    auto const * const begin = static_cast<char const *>(data);
    return transferAll(begin, count, [=](char const * from, std::size_t n) {
        return ::pwrite(descriptor(file), from, n, static_cast<off_t>(position + (from - begin)));
    });
}

std::int64_t seekFile(FileHandle file, std::int64_t offset, FileSeek from) {
    int const whence = from == FileSeek::Start ? SEEK_SET
                       : from == FileSeek::End ? SEEK_END
                                               : SEEK_CUR;
    return ::lseek(descriptor(file), static_cast<off_t>(offset), whence);
}

bool resizeFile(FileHandle file, std::int64_t size) {
    return uninterrupted([&] { return ::ftruncate(descriptor(file), static_cast<off_t>(size)); }) ==
           0;
}

std::int64_t fileSize(FileHandle file) {
    struct stat status;
    return ::fstat(descriptor(file), &status) == 0 ? status.st_size : -1;
}

bool syncFile(FileHandle file) {
    return uninterrupted([&] { return ::fsync(descriptor(file)); }) == 0;
}

} // namespace platform
