#include "platform/ThreadLocal.h"

namespace platform {

constinit thread_local void * g_contextSlot = nullptr;
constinit thread_local void * g_poolSlot = nullptr;

} // namespace platform
