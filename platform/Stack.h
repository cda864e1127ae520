// How much room the stack has left: recursion on outside data ends before the stack does.
#pragma once

#include "platform/Export.h"

namespace platform {

/// True when the calling thread has used up all of its stack but a reserve of a quarter, at most
/// half a megabyte: enough to throw, to log, and to come back. False on a stack that the thread
/// was not made with (a fiber's), whose size nobody knows. Cheap from the second call on.
ONDREL_API bool stackIsLow();

} // namespace platform
