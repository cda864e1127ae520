// Files by descriptors; calls that a signal broke off are made again.
#include "platform/FileHandle.h"

#include <algorithm>
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

template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
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

} // namespace

FileHandle openFile(char const * name, unsigned access, FileCreation creation) {
    std::string path(name ? name : "");
    std::replace(path.begin(), path.end(), '\\', '/');
    int flags = O_CLOEXEC;
    flags |= (access & WriteAccess) == 0 ? O_RDONLY : (access & ReadAccess) ? O_RDWR : O_WRONLY;
    if (creation != FileCreation::Existing)
        flags |= O_CREAT | (creation == FileCreation::New ? O_EXCL : 0);
    int const file = uninterrupted([&] { return ::open(path.c_str(), flags, 0666); });
    if (file < 0)
        return noFile;
    struct stat status;
    if (::fstat(file, &status) == 0 && S_ISDIR(status.st_mode)) {
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

bool syncFile(FileHandle file) {
    return uninterrupted([&] { return ::fsync(descriptor(file)); }) == 0;
}

} // namespace platform
