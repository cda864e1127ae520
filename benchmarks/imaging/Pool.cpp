// The small block pool beside malloc. "stack" gets 64 blocks of one size and frees them, the last
// one first; "mixed" keeps a thousand blocks of 1 to 256 bytes and replaces one after the other.
#include "benchmarks/imaging/Suites.h"

#include "foundation/GMemoryPool.h"

#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

struct Pool {
    static constexpr char name[] = "ondrel";
    static void * allocate(unsigned size) {
        GMemoryPoolHandleRep * handle = nullptr;
        return gmempool_alloc(handle, size);
    }
    static void release(void * block) {
        GMemoryPoolHandleRep * handle = nullptr;
        gmempool_free(handle, block);
    }
};

struct Malloc {
    static constexpr char name[] = "malloc";
    static void * allocate(unsigned size) { return std::malloc(size); }
    static void release(void * block) { std::free(block); }
};

template <class Side>
void stack(unsigned size) {
    void * blocks[64];
    for (void *& block : blocks) {
        block = Side::allocate(size);
        *static_cast<char *>(block) = 1;
    }
    benchmark::DoNotOptimize(blocks);
    for (int i = 63; i >= 0; --i)
        Side::release(blocks[i]);
}

template <class Side>
class Mixed {
  public:
    Mixed() : blocks_(1000) {
        std::mt19937 random(6);
        for (void *& block : blocks_)
            block = Side::allocate(1 + static_cast<unsigned>(random() % 256));
        for (Step & step : steps_)
            step = {static_cast<unsigned>(random() % 1000),
                    1 + static_cast<unsigned>(random() % 256)};
    }
    Mixed(Mixed const &) = delete;
    ~Mixed() {
        for (void * const block : blocks_)
            Side::release(block);
    }
    void run() {
        for (Step const & step : steps_) {
            Side::release(blocks_[step.place]);
            blocks_[step.place] = Side::allocate(step.size);
            *static_cast<char *>(blocks_[step.place]) = 1;
        }
        benchmark::ClobberMemory();
    }

  private:
    struct Step {
        unsigned place, size;
    };
    std::vector<void *> blocks_;
    Step steps_[4096];
};

template <class Side>
void registerSide() {
    auto const check = [] { return true; };
    for (unsigned const size : {16u, 64u, 256u})
        registerWork("pool_stack_" + std::to_string(size) + "/" + Side::name, 0, check,
                     [size] { stack<Side>(size); });
    auto const mixed = std::make_shared<Mixed<Side>>();
    registerWork(std::string("pool_mixed/") + Side::name, 0, check, [mixed] { mixed->run(); });
}

} // namespace

void registerPool() {
    registerSide<Pool>();
    registerSide<Malloc>();
}
