// Address space by mmap: a reservation is a mapping without rights, a commit gives it rights.
#include "platform/Memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace platform {

namespace {

/// `bytes` rounded up to whole pages; 0 when that does not fit.
std::size_t wholePages(std::size_t bytes) {
    std::size_t const mask = pageSize() - 1;
    return (bytes + mask) & ~mask;
}

} // namespace

std::size_t pageSize() {
    static std::size_t const size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

void * reserveMemory(std::size_t bytes, void * where) {
    std::size_t const length = wholePages(bytes);
    if (length == 0)
        return nullptr;
    where = reinterpret_cast<void *>(reinterpret_cast<std::uintptr_t>(where) & ~(pageSize() - 1));
    void * const base =
        mmap(where, length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (base == MAP_FAILED)
        return nullptr;
    // The system takes `where` as a wish; elsewhere is as good as refused.
    if (where && base != where) {
        munmap(base, length);
        return nullptr;
    }
    return base;
}

bool commitMemory(void * address, std::size_t bytes) {
    if (bytes == 0)
        return true;
    auto const begin = reinterpret_cast<std::uintptr_t>(address);
    std::uintptr_t const first = begin & ~(pageSize() - 1);
    std::size_t const length = wholePages(begin - first + bytes);
    return length != 0 &&
           mprotect(reinterpret_cast<void *>(first), length, PROT_READ | PROT_WRITE) == 0;
}

void releaseMemory(void * address, std::size_t bytes) {
    if (address)
        munmap(address, wholePages(bytes));
}

} // namespace platform
