// A call that a signal broke off has done nothing; it is made again.
#pragma once

#include <cerrno>

namespace platform {

/// What `call` returns, which is below 0 with errno set when it fails.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

} // namespace platform
