// The per-thread words that are read and written on the stepping path. Where the system allows it,
// a slot is reached inline at a fixed distance from the thread's own register, without a call.
#pragma once

#include "platform/Export.h"

namespace platform {

#if defined(_WIN32)
ONDREL_API void *& contextSlot();
ONDREL_API void *& poolSlot();
#else
/// Given a place at program start (initial-exec): a pointer or two are always to be had there, even
/// when the library is loaded late.
extern ONDREL_API constinit thread_local void * g_contextSlot
    __attribute__((tls_model("initial-exec")));
extern ONDREL_API constinit thread_local void * g_poolSlot
    __attribute__((tls_model("initial-exec")));

/// The head of the calling thread's stack of emergency contexts; null at first.
inline void *& contextSlot() {
    return g_contextSlot;
}

/// What the calling thread keeps of the small block pool; null at first.
inline void *& poolSlot() {
    return g_poolSlot;
}
#endif

} // namespace platform
