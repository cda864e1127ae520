// The small block pool: classes, reuse, growth, the end of a class, and several threads.
#include "foundation/GMemoryPool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace {

GMemoryPoolHandleRep * g_handle = nullptr;

void * allocate(unsigned size) {
    return gmempool_alloc(g_handle, size);
}
void release(void * p) {
    gmempool_free(g_handle, p);
}

/// Two sizes are of one class when the block of one is the next that is given out for the other.
bool sameClass(unsigned a, unsigned b) {
    void * const first = allocate(a);
    release(first);
    void * const second = allocate(b);
    release(second);
    return first == second;
}

/// How many blocks lie one behind the other at most, `size` apart. Sorts them; none may overlap.
std::size_t longestRow(std::vector<char *> & blocks, std::uintptr_t size) {
    std::sort(blocks.begin(), blocks.end());
    std::size_t best = 1, row = 1;
    for (std::size_t i = 1; i < blocks.size(); ++i) {
        // Two blocks may be further apart than half the address space.
        auto const distance = reinterpret_cast<std::uintptr_t>(blocks[i]) -
                              reinterpret_cast<std::uintptr_t>(blocks[i - 1]);
        EXPECT_GE(distance, size);
        row = distance == size ? row + 1 : 1;
        best = std::max(best, row);
    }
    return best;
}

struct Piece {
    unsigned char * data;
    unsigned size;
    unsigned char mark;
    bool intact() const {
        return std::all_of(data, data + size, [this](unsigned char c) { return c == mark; });
    }
};

Piece make(std::mt19937 & random) {
    unsigned const size = 1 + random() % 280;
    Piece const piece{static_cast<unsigned char *>(allocate(size)), size,
                      static_cast<unsigned char>(random())};
    std::memset(piece.data, piece.mark, size);
    return piece;
}

} // namespace

TEST(GMemoryPool, HasAClassPerEightBytes) {
    for (unsigned top = 8; top <= 256; top += 8) {
        EXPECT_TRUE(sameClass(top - 7, top)) << top;
        EXPECT_FALSE(sameClass(top, top + 1)) << top;
    }
    // The class shows in the address: stretches of 16 MiB, one behind the other.
    char * const low = static_cast<char *>(allocate(1));
    char * const high = static_cast<char *>(allocate(256));
    EXPECT_EQ((high - low) >> 24, 31);
    release(low);
    release(high);
}

TEST(GMemoryPool, GivesTheBlockFreedLastFirst) {
    // Enough to go through what a thread keeps for itself several times.
    std::vector<void *> blocks(1000);
    for (void *& block : blocks)
        block = allocate(40);
    for (void * block : blocks)
        release(block);
    for (std::size_t i = blocks.size(); i > 0; --i)
        ASSERT_EQ(allocate(33), blocks[i - 1]) << i;
    for (void * block : blocks)
        release(block);
}

TEST(GMemoryPool, GrowsAcrossBordersOfItsMemoryWithoutAGap) {
    // 88 does not divide 64 KiB, so that blocks lie across the borders.
    std::vector<char *> blocks;
    for (int i = 0; i < 3 * 65536 / 88; ++i) {
        blocks.push_back(static_cast<char *>(allocate(88)));
        std::memset(blocks.back(), i, 88);
    }
    for (std::size_t i = 0; i < blocks.size(); ++i)
        ASSERT_EQ(std::count(blocks[i], blocks[i] + 88, static_cast<char>(i)), 88) << i;
    EXPECT_EQ(longestRow(blocks, 88), blocks.size());
    for (char * block : blocks)
        release(block);
}

TEST(GMemoryPool, TurnsToTheHeapWhenAClassIsUsedUp) {
    // 200 does not divide the stretch: a block over its end would be one of the next class.
    char * const next = static_cast<char *>(allocate(208));
    std::memset(next, 'n', 208);
    std::vector<char *> blocks((1 << 24) / 200 + 100);
    for (char *& block : blocks) {
        block = static_cast<char *>(allocate(200));
        std::memset(block, 'x', 200);
    }
    EXPECT_EQ(std::count(next, next + 208, 'n'), 208);
    EXPECT_EQ(longestRow(blocks, 200), (1u << 24) / 200) << "all of the stretch, and no more";
    for (char * block : blocks)
        release(block);
    release(next);
}

TEST(GMemoryPool, LeavesLargeBlocksToTheHeap) {
    EXPECT_EQ(gmempool_get_threshold(), 256u);
    EXPECT_FALSE(gmempool_set_threshold(300));
    EXPECT_FALSE(gmempool_set_threshold(257));
    EXPECT_TRUE(gmempool_set_threshold(256));
    EXPECT_EQ(gmempool_get_threshold(), 256u);
    void * const large = allocate(257);
    std::memset(large, 1, 257);
    release(large);
    release(nullptr);
}

TEST(GMemoryPool, ServesThreadsThatFreeEachOthersBlocks) {
    constexpr int threadCount = 4;
    std::vector<Piece> exchanged[threadCount];
    bool intact[threadCount] = {};
    auto const inThreads = [](auto body) {
        std::vector<std::thread> threads;
        for (int i = 0; i < threadCount; ++i)
            threads.emplace_back(body, i);
        for (std::thread & thread : threads)
            thread.join();
    };
    auto const work = [&](int self) {
        std::mt19937 random(static_cast<unsigned>(self));
        std::vector<Piece> & mine = exchanged[self];
        intact[self] = true;
        for (int i = 0; i < 20000; ++i) {
            if (mine.size() > 500 || (!mine.empty() && random() % 2)) {
                std::swap(mine[random() % mine.size()], mine.back());
                intact[self] = intact[self] && mine.back().intact();
                release(mine.back().data);
                mine.pop_back();
            } else {
                mine.push_back(make(random));
            }
        }
    };
    for (int round = 0; round < 3; ++round) {
        inThreads(work);
        std::rotate(exchanged, exchanged + 1, exchanged + threadCount);
        for (bool const good : intact)
            EXPECT_TRUE(good);
    }
    for (std::vector<Piece> const & pieces : exchanged)
        for (Piece const & piece : pieces)
            release(piece.data);
}

TEST(GMemoryPool, GetsBackWhatAThreadKeptWhenItEnds) {
    void * inside = nullptr;
    std::thread([&] {
        inside = allocate(120);
        release(inside);
    }).join();
    std::vector<void *> blocks;
    do
        blocks.push_back(allocate(120));
    while (blocks.back() != inside && blocks.size() < 1000);
    EXPECT_EQ(blocks.back(), inside);
    for (void * block : blocks)
        release(block);
}
