// The pool proper is a list of free blocks per class and a mark in its stretch of addresses behind
// which nothing was handed out yet, all under one lock. In front of it each thread keeps two small
// stacks per class, so that a block costs a lock only once in a few dozen times. The stacks hold
// the blocks freed last, the pool those before: with one thread, the order in which blocks come
// back is that of one long stack.
#include "foundation/GMemoryPool.h"

#include "foundation/GCriticalSection.h"
#include "platform/Memory.h"
#include "platform/ThreadLocal.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdint>
#include <new>
#include <utility>

namespace {

constexpr unsigned threshold = 256;
constexpr unsigned classCount = threshold / 8;
constexpr unsigned stretchBits = 24;
constexpr std::size_t stretchSize = std::size_t{1} << stretchBits;
constexpr std::size_t reservedSize = classCount * stretchSize;
constexpr std::size_t commitSize = 0x10000;
/// Blocks in a full stack of a thread, and in what it fetches at once.
constexpr unsigned stackSize = 32;

struct Block {
    Block * next;
};

/// Blocks that end with a null; `count` of them.
struct Stack {
    Block * head = nullptr;
    unsigned count = 0;

    void push(void * p) {
        head = ::new (p) Block{head};
        ++count;
    }
    void * pop() {
        --count;
        return std::exchange(head, head->next);
    }
};

/// What is free of one class beside the stacks of threads.
struct Class {
    Block * freed = nullptr;
    std::size_t fresh = 0;     ///< where the blocks begin that nobody had yet
    std::size_t committed = 0; ///< how far the stretch has memory
};

constinit GCriticalSection g_lock;
/// Null before the first block, and when the addresses could not be had. Set once.
constinit std::atomic<char *> g_base{nullptr};
constinit bool g_refused = false;
constinit Class g_classes[classCount];

/// The lock is held.
char * reserve() {
    char * base = g_base.load(std::memory_order_relaxed);
    if (!base && !g_refused) {
        base = static_cast<char *>(platform::reserveMemory(reservedSize, nullptr));
        g_refused = !base;
        g_base.store(base, std::memory_order_release);
    }
    return base;
}

/// Blocks that nobody had yet, in rising order. They may end at a border of commitment: further
/// memory is taken when it is needed. The lock is held.
Stack carve(unsigned index) {
    Class & from = g_classes[index];
    std::size_t const size = (index + 1) * 8;
    char * const base = reserve();
    if (!base || from.fresh + size > stretchSize)
        return {};
    char * const stretch = base + index * stretchSize;
    while (from.committed < from.fresh + size) { // a block may lie across a border
        if (!platform::commitMemory(stretch + from.committed, commitSize))
            return {};
        from.committed += commitSize;
    }
    std::size_t const most = (from.committed - from.fresh) / size;
    std::size_t const count = std::min<std::size_t>(stackSize, most);
    Stack result;
    for (std::size_t i = count; i > 0; --i)
        result.push(stretch + from.fresh + (i - 1) * size);
    from.fresh += count * size;
    return result;
}

/// Up to `most` blocks out of the pool; none when the class is used up.
Stack fetch(unsigned index, unsigned most) {
    GSingleLock const lock(g_lock);
    Class & from = g_classes[index];
    if (!from.freed)
        from.freed = carve(index).head;
    Stack result{from.freed, 0};
    Block ** end = &result.head;
    for (; result.count < most && *end; ++result.count)
        end = &(*end)->next;
    from.freed = std::exchange(*end, nullptr);
    return result;
}

/// Puts a whole stack back, its head in front.
void giveBack(unsigned index, Stack const & stack) {
    if (!stack.head)
        return;
    Block * last = stack.head;
    while (last->next)
        last = last->next;
    GSingleLock const lock(g_lock);
    last->next = std::exchange(g_classes[index].freed, stack.head);
}

/// The stacks of one thread: new blocks and freed ones go to `active`; `spare` is empty or full,
/// and older.
struct ThreadCache {
    Stack active[classCount];
    Stack spare[classCount];

    void * allocate(unsigned index) {
        Stack & stack = active[index];
        if (!stack.head) {
            stack = std::exchange(spare[index], {});
            if (!stack.head)
                stack = fetch(index, stackSize);
            if (!stack.head)
                return nullptr;
        }
        return stack.pop();
    }
    void free(unsigned index, void * p) {
        if (active[index].count == stackSize) {
            giveBack(index, spare[index]);
            spare[index] = std::exchange(active[index], {});
        }
        active[index].push(p);
    }
    ~ThreadCache() {
        for (unsigned i = 0; i < classCount; ++i) {
            giveBack(i, spare[i]);
            giveBack(i, active[i]);
        }
    }
};

/// What is freed by the last destructors of a thread goes straight to the pool.
constinit thread_local bool t_ended = false;

struct CacheOwner {
    ThreadCache * cache = nullptr;
    ~CacheOwner() {
        t_ended = true;
        platform::poolSlot() = nullptr;
        delete cache;
    }
};

ThreadCache * currentCache() {
    return static_cast<ThreadCache *>(platform::poolSlot());
}

/// Null when the thread cannot have one, or no longer.
ThreadCache * makeCache() {
    if (t_ended)
        return nullptr;
    static thread_local CacheOwner owner;
    owner.cache = new (std::nothrow) ThreadCache;
    platform::poolSlot() = owner.cache;
    return owner.cache;
}

/// When the thread's stack is empty, or there is none.
void * allocateSlowly(unsigned index) {
    ThreadCache * cache = currentCache();
    if (!cache)
        cache = makeCache();
    void * const block = cache ? cache->allocate(index) : fetch(index, 1).head;
    return block ? block : ::operator new((index + 1) * 8);
}

void freeSlowly(unsigned index, void * p) {
    ThreadCache * cache = currentCache();
    if (!cache)
        cache = makeCache();
    if (cache)
        return cache->free(index, p);
    Stack one;
    one.push(p);
    giveBack(index, one);
}

} // namespace

void * gmempool_alloc(GMemoryPoolHandleRep *&, unsigned int size) {
    assert(size != 0);
    if (size - 1 >= threshold)
        return ::operator new(size);
    unsigned const index = (size - 1) / 8;
    if (ThreadCache * const cache = currentCache()) {
        Stack & stack = cache->active[index];
        if (stack.head)
            return stack.pop();
    }
    return allocateSlowly(index);
}

void gmempool_free(GMemoryPoolHandleRep *&, void * p) {
    if (!p)
        return;
    char * const base = g_base.load(std::memory_order_acquire);
    std::uintptr_t const offset =
        reinterpret_cast<std::uintptr_t>(p) - reinterpret_cast<std::uintptr_t>(base);
    if (!base || offset >= reservedSize)
        return ::operator delete(p);
    unsigned const index = static_cast<unsigned>(offset >> stretchBits);
    if (ThreadCache * const cache = currentCache()) {
        Stack & stack = cache->active[index];
        if (stack.count < stackSize)
            return stack.push(p);
    }
    freeSlowly(index, p);
}

unsigned int gmempool_get_threshold() {
    return threshold;
}

bool gmempool_set_threshold(unsigned int size) {
    return size <= threshold;
}
