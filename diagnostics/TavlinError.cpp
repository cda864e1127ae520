// Errors log themselves; crashes are told by the code that the system gives them. The reporting
// works in buffers on the stack, since it may run inside a signal handler.
#include "diagnostics/TavlinError.h"

#include "diagnostics/GEmergencyLog.h"
#include "foundation/GModule.h"
#include "platform/MessageBox.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>

namespace {

struct CrashText {
    std::uint32_t code;
    char const * text;
};

constexpr CrashText g_crashTexts[] = {
    {platform::crashAccessViolation, "Access violation"},
    {platform::crashInPageError,
     "The thread tried to access a page that was not present, and the system was unable to load "
     "the page. For example, this exception might occur if a network connection is lost while "
     "running a program over the network."},
    {platform::crashIllegalInstruction, "The thread tried to execute an invalid instruction."},
    {platform::crashNoncontinuable, "The thread tried to continue execution after a "
                                    "noncontinuable exception occurred."},
    {platform::crashInvalidDisposition,
     "An exception handler returned an invalid disposition to the exception dispatcher."},
    {platform::crashFloatDenormal,
     "One of the operands in a floating-point operation is denormal."},
    {platform::crashFloatDivideByZero, "Divide by float zero."},
    {platform::crashFloatInexact, "Inexact float result."},
    {platform::crashFloatInvalid, "Unrecognized floating point exception."},
    {platform::crashFloatOverflow, "Floating point overflow."},
    {platform::crashFloatStackCheck, "Floating point stack overflow."},
    {platform::crashFloatUnderflow, "Floating point stack underflow."},
    {platform::crashIntDivideByZero, "Divide by zero."},
    {platform::crashIntOverflow, "Integer overflow."},
    {platform::crashPrivilegedInstruction, "The thread tried to execute an instruction whose "
                                           "operation is not allowed in the current machine "
                                           "mode."},
    {platform::crashStackOverflow, "Stack overflow."},
};

char const * textOfCrash(std::uint32_t code) {
    for (CrashText const & entry : g_crashTexts)
        if (entry.code == code)
            return entry.text;
    return "Unidentified error.";
}

/// One that logged itself as it was built stands in the last section already; what an earlier one
/// left there, which somebody dealt with, is not the reason.
void logUnlessLast(char const * text) {
    GEmergencyLog & log = GEmergencyLog::Get();
    if (!std::strstr(log.lastSection(), text))
        log.put_exception(text, nullptr, 0);
}

/// What an exception that nothing caught has to say becomes the last section of the log, and so
/// the reason that is shown.
void logUncaught() {
    std::exception_ptr const uncaught = std::current_exception();
    if (!uncaught)
        return;
    try {
        std::rethrow_exception(uncaught);
    } catch (GLibraryException & exception) {
        logUnlessLast(exception.getMessage().c_str());
    } catch (std::exception const & exception) {
        logUnlessLast(exception.what());
    } catch (...) {
    }
}

long reportCrash(EXCEPTION_POINTERS * what) {
    if (what->ExceptionRecord->ExceptionCode == platform::crashLanguageException)
        logUncaught();
    return GlobalUnhandledExceptionFilter(what);
}

} // namespace

long GlobalUnhandledExceptionFilter(EXCEPTION_POINTERS * what) {
    GEmergencyLog & log = GEmergencyLog::Get();
    if (*log.lastSection()) {
        // The text is what failed code left behind, and no format.
        Tavlin::DebugMessage("%s", log.lastSection());
        return 1;
    }
    EXCEPTION_RECORD const & record = *what->ExceptionRecord;
    char module[260] = "";
    GetProcHInstance(record.ExceptionAddress, module, sizeof module);
    char text[1024];
    char const * const reason = textOfCrash(record.ExceptionCode);
    if (record.ExceptionCode == platform::crashAccessViolation)
        std::snprintf(text, sizeof text, "%s (operation='%s', ptr=0x%llx).\n\n\nmodule='%s'\n",
                      reason, record.ExceptionInformation[0] ? "write" : "read",
                      static_cast<unsigned long long>(record.ExceptionInformation[1]), module);
    else
        std::snprintf(text, sizeof text, "%s\n\n\nmodule='%s'\n", reason, module);
    log.put_custom_section("UNHANDLED", log.getFlags(), text, nullptr, 0);
    Tavlin::DebugMessage("%s", text);
    return 1;
}

namespace Tavlin {

Error::Error(char const * text) : GLibraryException(text) {
    if (text)
        log(nullptr, 0);
}

Error::Error(char const * file, char const * format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vmessage(format, arguments);
    va_end(arguments);
    log(file, 0);
}

Error::Error(char const * file, int line, char const * format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vmessage(format, arguments);
    va_end(arguments);
    log(file, line);
}

void Error::log(char const * file, int line) {
    GEmergencyLog::Get().put_exception(getMessage().c_str(), file, line);
}

void Error::InitializeHandler() {
    // The log exists before a crash needs it.
    GEmergencyLog::Get();
    platform::setCrashHandler(reportCrash);
}

XStrVer::XStrVer(char const * file, int line, int found, int expected) {
    if (found == -1)
        message("Unsupported stream version");
    else if (expected == -1)
        message("Unsupported stream version (%d)", found);
    else
        message("Unsupported stream version (%d, when expected %d)", found, expected);
    log(file, line);
}

void DebugMessage(char const * format, ...) {
    char text[4096];
    char const * const saved = GEmergencyLog::Get().isEnabled()
                                   ? "\r\n\r\nError log saved in program folder."
                                   : "\r\n\r\nPress OK to quit.";
    std::size_t const room = sizeof text - std::strlen(saved);
    va_list arguments;
    va_start(arguments, format);
    if (std::vsnprintf(text, room, format, arguments) < 0)
        *text = 0;
    va_end(arguments);
    GEmergencyLog::Get().close_session();
    std::strcat(text, saved);
    platform::messageBox(text, "Internal Error",
                         platform::boxErrorIcon | platform::boxTaskModal | platform::boxForeground);
    platform::terminateProcess(-1);
}

void AssertFailed(char const * expression, char const * file, int line) {
    char text[4096];
    std::snprintf(text, sizeof text,
                  "Assert failed in file %s, line %d.\n\nASSERT(%s)\n\nPress Retry to debug your "
                  "application.",
                  file, line, expression);
    int const answer = platform::messageBox(text, "Assert failed",
                                            platform::boxAbortRetryIgnore |
                                                platform::boxWarningIcon | platform::boxTaskModal);
    if (answer == platform::answerAbort)
        platform::terminateProcess(0);
    if (answer == platform::answerRetry)
        platform::debugBreak();
}

} // namespace Tavlin
