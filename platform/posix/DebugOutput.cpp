// There is no debug channel of the system here, so messages go to the standard error, a line each.
#include "platform/DebugOutput.h"

#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

namespace platform {

namespace {

constinit std::atomic<DebugOutputHandler> g_handler{nullptr};

void writeLine(char const * text) {
    // One call for text and line end, so that lines of several threads do not mix.
    iovec parts[2] = {{const_cast<char *>(text), std::strlen(text)}, {const_cast<char *>("\n"), 1}};
    static_cast<void>(!writev(STDERR_FILENO, parts, 2));
}

} // namespace

void debugOutput(char const * text) {
    if (!text)
        return;
    DebugOutputHandler const handler = g_handler.load();
    handler ? handler(text) : writeLine(text);
}

DebugOutputHandler setDebugOutputHandler(DebugOutputHandler handler) {
    return g_handler.exchange(handler);
}

} // namespace platform
