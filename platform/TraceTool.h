// The way of trace lines from a program to the debug tool that the programmer has running, if any.
// Where the system has no messages between windows it is a socket of the user, in the folder of
// what runs, or where the environment variable ONDREL_TRACE says.
#pragma once

#include "platform/Export.h"
#include "platform/SystemTypes.h"

#include <string>

namespace platform {

enum class TraceMessage : unsigned char {
    Line = 0,      ///< a text on the channel of that number
    NewChannel = 1 ///< the channel of that number is new
};

// The side of the program.

/// The tool that listens; null when there is none. Goes to leaveTraceTool in the end.
ONDREL_API HANDLE findTraceTool();
ONDREL_API void leaveTraceTool(HANDLE tool);
/// Whether it still listens.
ONDREL_API bool traceToolListens(HANDLE tool);
/// False when the message did not arrive: the tool has gone, or has not looked for a while. What is
/// longer than maxTraceText is cut.
ONDREL_API bool sendTrace(HANDLE tool, TraceMessage message, int number, char const * text);
constexpr std::size_t maxTraceText = 60000;

// The side of the tool.

/// Starts to listen; null when another tool does, or it is not possible. Goes to closeTraceTool.
ONDREL_API HANDLE openTraceTool();
ONDREL_API void closeTraceTool(HANDLE tool);
struct TraceRecord {
    TraceMessage message = TraceMessage::Line;
    int number = 0;
    std::string text;
};
/// Waits for a message, not longer than so many milliseconds; false when none came.
ONDREL_API bool receiveTrace(HANDLE tool, TraceRecord & record, int milliseconds);
/// Where it listens, for messages to people.
ONDREL_API std::string traceToolPlace();

} // namespace platform
