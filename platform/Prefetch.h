// Asks the processor to have a piece of memory at hand soon. It changes nothing but time, and the
// address may be any.
#pragma once

#include <cstddef>

namespace platform {

constexpr std::size_t cacheLine = 64;

inline void prefetch(void const * address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    static_cast<void>(address);
#endif
}

/// The lines of `size` bytes from `address` on.
inline void prefetch(void const * address, std::size_t size) {
    for (std::size_t at = 0; at < size; at += cacheLine)
        prefetch(static_cast<char const *>(address) + at);
}

} // namespace platform
