// The last words of a process: how a fault reaches the code that reports it, the few file calls
// that still work then, and the end itself. A fault is described in the records that Windows uses,
// so that there is one reporting function for all systems.
#pragma once

#include "platform/Export.h"

#include <cstddef>
#include <cstdint>

#if !defined(_WIN32) || !defined(_WINNT_)
/// What happened: the code of the fault, where, and details.
struct _EXCEPTION_RECORD {
#if defined(_WIN32)
    unsigned long ExceptionCode, ExceptionFlags;
#else
    std::uint32_t ExceptionCode, ExceptionFlags;
#endif
    _EXCEPTION_RECORD * ExceptionRecord;
    void * ExceptionAddress;
#if defined(_WIN32)
    unsigned long NumberParameters;
#else
    std::uint32_t NumberParameters;
#endif
    std::uintptr_t ExceptionInformation[15];
};
/// The record of a fault, and the state of the machine where there is one.
struct _EXCEPTION_POINTERS {
    _EXCEPTION_RECORD * ExceptionRecord;
    struct _CONTEXT * ContextRecord;
};
#endif
using EXCEPTION_RECORD = _EXCEPTION_RECORD;
using EXCEPTION_POINTERS = _EXCEPTION_POINTERS;

namespace platform {

/// What happened, as `ExceptionCode` says it. The values are those of Windows.
enum CrashCode : std::uint32_t {
    /// ExceptionInformation[0] is 1 for a write and 0 for a read, [1] the address.
    crashAccessViolation = 0xC0000005,
    crashInPageError = 0xC0000006,
    crashIllegalInstruction = 0xC000001D,
    crashNoncontinuable = 0xC0000025,
    crashInvalidDisposition = 0xC0000026,
    crashFloatDenormal = 0xC000008D,
    crashFloatDivideByZero = 0xC000008E,
    crashFloatInexact = 0xC000008F,
    crashFloatInvalid = 0xC0000090,
    crashFloatOverflow = 0xC0000091,
    crashFloatStackCheck = 0xC0000092,
    crashFloatUnderflow = 0xC0000093,
    crashIntDivideByZero = 0xC0000094,
    crashIntOverflow = 0xC0000095,
    crashPrivilegedInstruction = 0xC0000096,
    crashStackOverflow = 0xC00000FD,
    /// Code that gave up by itself: a failed assert, a heap that the C library finds damaged.
    crashAbort = 0x40000015,
    /// An exception of the language that nothing caught, or another call of std::terminate.
    crashLanguageException = 0xE06D7363
};

using CrashHandler = long (*)(EXCEPTION_POINTERS * what);

/// From now on a fault, an abort or an exception that nothing catches calls `handler` on the thread
/// where it happened, once per process: a fault inside the handler ends the process, another
/// thread's waits for the end. When the handler returns, the process ends. The calling thread, and
/// threads started through this layer, can report even an overflow of their stack.
ONDREL_API void setCrashHandler(CrashHandler handler);
/// Whether a fault is being reported: no locks, no memory.
ONDREL_API bool isCrashing();
/// Ends the process at once: no destructors, no flushing.
[[noreturn]] ONDREL_API void terminateProcess(int code);
/// Stops in the debugger; without one the process ends.
ONDREL_API void debugBreak();

/// A file for emergencies, or null. The calls take no lock and no memory, so that a handler of a
/// crash may use them. `append` keeps what the file holds.
ONDREL_API void * openEmergencyFile(char const * name, bool append);
/// Writes all of it, and nothing is held back. False when the system takes no more.
ONDREL_API bool writeEmergencyFile(void * file, char const * text, std::size_t length);
ONDREL_API void closeEmergencyFile(void * file);

} // namespace platform
