// The stack on which a thread's signal handlers run, so that even an overflow of its own stack can
// be reported, and the bounds of that own stack, by which the overflow is recognised.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

/// Gives the calling thread an alternate stack until the object ends, which must be on the same
/// thread, and notes the thread's stack bounds.
class AlternateStack {
  public:
    AlternateStack();
    ~AlternateStack();
    AlternateStack(AlternateStack const &) = delete;
    AlternateStack & operator=(AlternateStack const &) = delete;

  private:
    static constexpr std::size_t bytes_ = 128 * 1024;
    void * memory_;
    void * formerMemory_;
    std::size_t formerBytes_;
    int formerFlags_;
};

/// Whether a fault at `address` on the calling thread, whose stack pointer was `stackPointer`,
/// is an overflow of its stack.
bool isStackOverflow(std::uintptr_t address, std::uintptr_t stackPointer);

} // namespace platform
