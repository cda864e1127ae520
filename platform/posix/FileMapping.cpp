// Mapped files. A mapping is a second descriptor of the file, so that the first may be closed.
#define _FILE_OFFSET_BITS 64
#include "platform/FileMapping.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace platform {

MappingHandle createFileMapping(FileHandle file, std::int64_t size) {
    std::int64_t const present = fileSize(file);
    if (size < 1 || present < 0 || (present < size && !resizeFile(file, size)))
        return noMapping;
    // A page that the disk has no room for would only be missed when it is written to.
    if (present < size &&
        posix_fallocate(static_cast<int>(file), present, size - present) == ENOSPC)
        return noMapping;
    return fcntl(static_cast<int>(file), F_DUPFD_CLOEXEC, 0);
}

void closeFileMapping(MappingHandle mapping) {
    if (mapping != noMapping)
        close(static_cast<int>(mapping));
}

void * mapFileView(MappingHandle mapping, std::size_t size) {
    void * const view =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(mapping), 0);
    if (view == MAP_FAILED)
        return nullptr;
    madvise(view, size, MADV_SEQUENTIAL);
    return view;
}

void unmapFileView(void * view, std::size_t size) {
    if (view)
        munmap(view, size);
}

} // namespace platform
