// The bounds of the calling thread's stack, asked once per thread.
#include "platform/Stack.h"

#include <algorithm>
#include <cstdint>

#include <pthread.h>

namespace {

constexpr std::uintptr_t largestReserve = 512 * 1024;

struct Bounds {
    std::uintptr_t low = 0;
    std::uintptr_t reserved = 0; // where the reserve ends, above `low`
};

Bounds boundsOfThread() {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
        return {};
    void * address = nullptr;
    std::size_t size = 0;
    pthread_attr_getstack(&attributes, &address, &size);
    pthread_attr_destroy(&attributes);
    auto const low = reinterpret_cast<std::uintptr_t>(address);
    std::uintptr_t const reserve = std::min<std::uintptr_t>(size / 4, largestReserve);
    return {low, low + reserve};
}

thread_local Bounds t_bounds;
thread_local bool t_known = false;

} // namespace

bool platform::stackIsLow() {
    if (!t_known) {
        t_bounds = boundsOfThread();
        t_known = true;
    }
    auto const here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    return here >= t_bounds.low && here < t_bounds.reserved;
}
