// The bump allocator: order, growth by pages, and its end.
#include "foundation/IncrementalAllocator.h"
#include "platform/Memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <new>

using Tavlin::IncrementalAllocator;

TEST(IncrementalAllocator, HandsOutZeroedBytesOneBehindTheOther) {
    IncrementalAllocator pool(0x10000, 0, 1, nullptr);
    EXPECT_EQ(pool.getCommitted(), 0u);
    char * const base = static_cast<char *>(pool.getBase());
    unsigned long used = 0;
    for (unsigned long const n : {3ul, 0ul, 1ul, 5000ul, 7ul}) {
        char * const piece = static_cast<char *>(pool.alloc(n));
        ASSERT_EQ(piece, base + used) << "nothing is aligned";
        EXPECT_EQ(std::count(piece, piece + n, '\0'), long(n));
        std::memset(piece, 'x', n);
        used += n;
    }
    EXPECT_EQ(pool.getAllocated(), used);
    EXPECT_EQ(std::count(base, base + used, 'x'), long(used));
}

TEST(IncrementalAllocator, GrowsByItsStepAndNoFurther) {
    auto const page = static_cast<unsigned long>(platform::pageSize());
    IncrementalAllocator pool(8 * page, 1, 3, nullptr);
    EXPECT_EQ(pool.getReserved(), 8 * page);
    EXPECT_EQ(pool.getCommitted(), page);
    pool.alloc(page);
    EXPECT_EQ(pool.getCommitted(), page) << "a page that just fits asks for no other";
    pool.alloc(1);
    EXPECT_EQ(pool.getCommitted(), 4 * page);
    pool.alloc(3 * page);
    EXPECT_EQ(pool.getCommitted(), 7 * page);
    pool.alloc(4 * page - 1); // the last step is cut to what is reserved
    EXPECT_EQ(pool.getCommitted(), 8 * page);
    EXPECT_THROW(pool.alloc(1), std::bad_alloc);
    EXPECT_THROW(pool.alloc(~0ul), std::bad_alloc);
    EXPECT_EQ(pool.getAllocated(), 8 * page) << "a refused request takes nothing";
}

TEST(IncrementalAllocator, TakesTheAddressItIsGiven) {
    void * address = nullptr;
    {
        IncrementalAllocator probe(0x100000, 0, 1, nullptr);
        address = probe.getBase();
    }
    IncrementalAllocator pool(0x100000, 0, 1, address);
    EXPECT_EQ(pool.getBase(), address);
    EXPECT_THROW(IncrementalAllocator(0x100000, 0, 1, address), std::bad_alloc) << "it is taken";
}
