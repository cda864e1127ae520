// The exception that logs itself as it is built, the report of a crash, and the interactive assert.
#pragma once

#include "foundation/GException.h"
#include "platform/Crash.h"
#include "platform/Export.h"

namespace Tavlin {

/// Written to the emergency log when that is enabled, so that the failure is on record even if
/// whoever catches it says nothing.
class ONDREL_API Error : public GLibraryException {
  public:
    /// A text, or a message id when the pointer's value is below 0x10000. Null is not logged.
    explicit Error(char const * text);
    /// `file` names the source that raises it; the rest is formatted.
    Error(char const * file, char const * format, ...);
    Error(char const * file, int line, char const * format, ...);

    /// From now on a crash is reported by GlobalUnhandledExceptionFilter. The host calls it once,
    /// on its main thread.
    static void InitializeHandler();

  protected:
    Error() = default;
    void log(char const * file, int line);
};

/// A stream holds a version of a class that this program does not know.
class ONDREL_API XStrVer : public Error {
  public:
    /// Where the version was read; -1 leaves `expected`, or both, out of the text.
    XStrVer(char const * file, int line, int found, int expected);
};

/// Shows the formatted text in a box, closes the log's session, and ends the process with code -1.
[[noreturn]] ONDREL_API void DebugMessage(char const * format, ...);

/// Asks what to do about a broken promise of the code: Abort ends the process with code 0, Retry
/// stops in the debugger, Ignore returns.
ONDREL_API void AssertFailed(char const * expression, char const * file, int line);

} // namespace Tavlin

/// Reports a crash: into the log and in a box. What the log holds already stands as the reason. It
/// ends the process; the value is for the system that calls it.
ONDREL_API long GlobalUnhandledExceptionFilter(EXCEPTION_POINTERS * what);
