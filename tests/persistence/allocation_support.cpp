// A file of its own, so that the compiler does not see through the replaced operators.
#include "allocation_support.h"

#include <atomic>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define WATCH_ALLOCATIONS 0
#else
#define WATCH_ALLOCATIONS 1
#endif

namespace {

std::atomic<std::size_t> g_largest{0};

} // namespace

bool allocation::isWatched() {
    return WATCH_ALLOCATIONS;
}

void allocation::forget() {
    g_largest = 0;
}

std::size_t allocation::largest() {
    return g_largest;
}

#if WATCH_ALLOCATIONS
void * operator new(std::size_t size) {
    std::size_t seen = g_largest;
    while (size > seen && !g_largest.compare_exchange_weak(seen, size)) {
    }
    if (void * const block = std::malloc(size ? size : 1))
        return block;
    throw std::bad_alloc();
}

void operator delete(void * block) noexcept {
    std::free(block);
}

void operator delete(void * block, std::size_t) noexcept {
    std::free(block);
}
#endif
