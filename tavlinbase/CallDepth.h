// Bounds for work that data and scripts can nest without end: a script that calls itself, a list of
// instructions that contains itself. Both count the stack that they use from the outermost of them
// on, whichever it was, since they also call each other.
#pragma once

#include "platform/Stack.h"

#include <cstdint>

namespace Tavlin {

/// Bounds how far calls may nest, by the stack that they use: a script that calls itself without
/// end must not take the process with it. The outermost call on a thread marks the place.
class CallDepth {
  public:
    CallDepth() : outermost_(base_ == 0) {
        if (outermost_)
            base_ = here();
    }
    ~CallDepth() {
        if (outermost_)
            base_ = 0;
    }
    CallDepth(CallDepth const &) = delete;
    CallDepth & operator=(CallDepth const &) = delete;

    /// The stack of a thread may be smaller than the limit, or mostly used when the run begins.
    /// Once a call is too deep, all are until the outermost has ended: who calls itself twice would
    /// otherwise do so again from each depth, and double with every one.
    bool tooDeep() const {
        std::uintptr_t const now = here();
        std::uintptr_t const used = now < base_ ? base_ - now : now - base_;
        if (used <= limit && (used <= unasked || !platform::stackIsLow()))
            return false;
        base_ = farAway;
        return true;
    }

  private:
    static constexpr std::uintptr_t limit = 1u << 20;
    static constexpr std::uintptr_t unasked = 1u << 14; // so that flat calls do not ask the system
    static constexpr std::uintptr_t farAway = 1;        // from any stack
    static thread_local constinit std::uintptr_t base_;
    static std::uintptr_t here() {
        return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    }
    bool outermost_;
};

/// One run of a list that data made, within others. A run that is too deep ends all runs that it is
/// in, the outermost included: a list that contains itself twice would otherwise be run again from
/// each depth, and double with every one.
class NestedRun {
  public:
    NestedRun();
    ~NestedRun();
    NestedRun(NestedRun const &) = delete;
    NestedRun & operator=(NestedRun const &) = delete;

    /// Whether this run must do no more.
    bool isBroken() const { return broken_; }

  private:
    static thread_local constinit int nesting_;
    static thread_local constinit bool broken_;
    CallDepth depth_;
};

} // namespace Tavlin
