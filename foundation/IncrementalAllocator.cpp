// Reserving costs address space only; pages are committed as they are needed.
#include "foundation/IncrementalAllocator.h"

#include "platform/Memory.h"

#include <algorithm>
#include <new>

namespace Tavlin {

constinit unsigned long IncrementalAllocator::g_page_size = 0;

IncrementalAllocator::IncrementalAllocator(unsigned long size, unsigned long initialPages,
                                           unsigned long growPages, void * address) {
    if (g_page_size == 0)
        g_page_size = static_cast<unsigned long>(platform::pageSize());
    reserved_ = (size + g_page_size - 1) / g_page_size * g_page_size;
    step_ = std::max(growPages, 1ul) * g_page_size;
    base_ = static_cast<char *>(platform::reserveMemory(reserved_, address));
    if (!base_)
        throw std::bad_alloc();
    if (initialPages > 0)
        commit_additional(initialPages * g_page_size);
}

IncrementalAllocator::~IncrementalAllocator() {
    platform::releaseMemory(base_, reserved_);
}

void IncrementalAllocator::commit_additional(unsigned long bytes) {
    bytes = std::min(bytes, reserved_ - committed_);
    if (bytes == 0 || !platform::commitMemory(base_ + committed_, bytes))
        throw std::bad_alloc();
    committed_ += bytes;
}

void * IncrementalAllocator::alloc(unsigned long n) {
    if (n > reserved_ - used_)
        throw std::bad_alloc();
    while (used_ + n > committed_)
        commit_additional(step_);
    void * const result = base_ + used_;
    used_ += n;
    return result;
}

} // namespace Tavlin
