// A bump allocator over reserved address space: memory is handed out in rising order, never moves
// and is never given back one by one. Its users rely on the order and on the addresses.
#pragma once

#include "platform/Export.h"

#include <cstddef>

namespace Tavlin {

/// Memory in rising order, given back all at once.
class ONDREL_API IncrementalAllocator {
  public:
    /// Reserves `size` bytes at `address`, or anywhere for null, and commits `initialPages`; it
    /// grows by `growPages` pages. Raises std::bad_alloc when the range cannot be had.
    IncrementalAllocator(unsigned long size, unsigned long initialPages, unsigned long growPages,
                         void * address);
    ~IncrementalAllocator();
    IncrementalAllocator(IncrementalAllocator const &) = delete;
    IncrementalAllocator & operator=(IncrementalAllocator const &) = delete;

    /// `n` bytes behind those handed out before, not aligned and cleared. Raises std::bad_alloc
    /// when the reservation is used up.
    void * alloc(unsigned long n);

    void * getBase() const { return base_; }
    unsigned long getAllocated() const { return used_; }
    unsigned long getCommitted() const { return committed_; }
    unsigned long getReserved() const { return reserved_; }

    static unsigned long g_page_size; ///< bytes; 0 until the first allocator is made

  private:
    void commit_additional(unsigned long bytes);

    char * base_ = nullptr;
    unsigned long used_ = 0;
    unsigned long committed_ = 0;
    unsigned long reserved_ = 0;
    unsigned long step_ = 0;
};

} // namespace Tavlin
