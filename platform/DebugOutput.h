// Messages to whatever tool the programmer watches: the system's debug channel where there is one,
// the standard error elsewhere.
#pragma once

#include "platform/Export.h"

namespace platform {

using DebugOutputHandler = void (*)(char const * text);

/// One message, without a line end of its own; null is ignored.
ONDREL_API void debugOutput(char const * text);
/// Replaces where messages go; null restores the system's way. Returns the former handler, null
/// for the system's way.
ONDREL_API DebugOutputHandler setDebugOutputHandler(DebugOutputHandler handler);

} // namespace platform
