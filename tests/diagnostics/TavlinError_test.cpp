// Crashes happen in a child process; the test reads what it left in the log and on the error
// stream.
#include "diagnostics/TavlinError.h"

#include "diagnostics/GEmergencyLog.h"
#include "emergency_support.h"
#include "platform/MessageBox.h"
#include "platform/Modules.h"
#include "platform/Threads.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

struct ChildEnd {
    int exitCode = -1; ///< -1 when a signal ended it
    std::string box;   ///< what was shown
    std::string log;
    bool madeLog = false;
};

constexpr int terminated = 0xFF; // code -1 as a process can tell it

/// Runs `crash` in a child whose crash handler stands.
template <class Crash>
ChildEnd crashInChild(bool enabled, Crash crash) {
    LogFile file;
    int boxes[2];
    EXPECT_EQ(pipe(boxes), 0);
    pid_t const child = fork();
    if (child == 0) {
        dup2(boxes[1], STDERR_FILENO);
        // What other tests of this process logged is none of the child's reasons.
        GEmergencyLog::Get().clearLastSection();
        GEmergencyLog::SetFile(file.name());
        GEmergencyLog::SetFlags(GEmergencyLog::Append);
        GEmergencyLog::Enable(enabled);
        Tavlin::Error::InitializeHandler();
        crash();
        _exit(77);
    }
    close(boxes[1]);
    ChildEnd end;
    char part[4096];
    for (ssize_t count; (count = read(boxes[0], part, sizeof part)) > 0;)
        end.box.append(part, static_cast<std::size_t>(count));
    close(boxes[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status))
        end.exitCode = WEXITSTATUS(status);
    end.log = withoutTimes(file.content());
    end.madeLog = file.exists();
    return end;
}

#define EXPECT_CONTAINS(text, part)                                                                \
    EXPECT_NE((text).find(part), std::string::npos) << "in: " << (text)

/// Touch `address`, which the compiler must not know, since it may have an opinion on it.
void readFrom(std::uintptr_t address) {
    std::uintptr_t volatile hidden = address;
    static_cast<void>(*reinterpret_cast<char volatile *>(hidden));
}
void writeTo(std::uintptr_t address) {
    std::uintptr_t volatile hidden = address;
    *reinterpret_cast<char volatile *>(hidden) = 1;
}

/// A page that may not be touched, so that its address is known to fault.
std::uintptr_t forbiddenPage() {
    void * const page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return reinterpret_cast<std::uintptr_t>(page);
}

std::string hex(std::uintptr_t number) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "0x%llx", static_cast<unsigned long long>(number));
    return digits;
}

TEST(CrashReport, AnAccessViolationIsToldWithItsContexts) {
    std::uintptr_t const page = forbiddenPage();
    ChildEnd const end = crashInChild(true, [page] {
        GEmergencyContext const agents("agents step");
        GEmergencyContext const component("component 'legs'");
        writeTo(page + 16);
    });
    EXPECT_EQ(end.exitCode, terminated);
    std::string const message =
        "Access violation (operation='write', ptr=" + hex(page + 16) + ").\n\n\nmodule='";
    EXPECT_EQ(end.log.substr(0, end.log.find("module=")),
              "<SESSION TIME=\"#\">\n<UNHANDLED TIME=\"#\">\n" +
                  message.substr(0, message.find("module=")));
    EXPECT_CONTAINS(end.log, "diagnostics_tests'\n\n"
                             "<context>\ncomponent 'legs'\nagents step\n</context>\n"
                             "</UNHANDLED>\n\n</SESSION>\n\n\n");
    EXPECT_EQ(end.box.substr(0, message.size() + 16), "Internal Error: " + message);
    EXPECT_CONTAINS(end.box, "\r\n\r\nError log saved in program folder.");
}

TEST(CrashReport, AReadIsToldAsARead) {
    std::uintptr_t const page = forbiddenPage();
    ChildEnd const end = crashInChild(true, [page] { readFrom(page); });
    EXPECT_CONTAINS(end.log, "Access violation (operation='read', ptr=" + hex(page) + ").");
    ChildEnd const low = crashInChild(true, [] { writeTo(8); });
    EXPECT_CONTAINS(low.log, "Access violation (operation='write', ptr=0x8).");
}

TEST(CrashReport, WithTheLogDisabledOnlyTheBoxIsShown) {
    ChildEnd const end = crashInChild(false, [] { readFrom(forbiddenPage()); });
    EXPECT_EQ(end.exitCode, terminated);
    EXPECT_FALSE(end.madeLog);
    EXPECT_CONTAINS(end.box, "Access violation (operation='read'");
    EXPECT_CONTAINS(end.box, "\r\n\r\nPress OK to quit.");
}

TEST(CrashReport, TheLastSectionStandsAsTheReason) {
    ChildEnd const end = crashInChild(true, [] {
        Tavlin::Error const error("Gate.cpp", 3, "%s", "hinge %s lost");
        readFrom(forbiddenPage());
    });
    EXPECT_CONTAINS(end.box, "Gate.cpp(3)\nhinge %s lost\n</EXCEPTION>\n");
    EXPECT_CONTAINS(end.log, "Gate.cpp(3)\nhinge %s lost\n</EXCEPTION>\n");
    EXPECT_EQ(end.log.find("UNHANDLED"), std::string::npos);
    EXPECT_EQ(end.exitCode, terminated);
}

/// Divides for real: no compiler may see through it and no checker looks.
void divideByZero() {
#if defined(__x86_64__) || defined(__i386__)
    asm volatile("xorl %%edx, %%edx\n\txorl %%ecx, %%ecx\n\tmovl $1, %%eax\n\tdivl %%ecx"
                 :
                 :
                 : "eax", "ecx", "edx", "cc");
#else
    raise(SIGFPE);
#endif
}

TEST(CrashReport, ADivisionByZeroIsTold) {
    ChildEnd const end = crashInChild(true, divideByZero);
#if defined(__x86_64__) || defined(__i386__)
    EXPECT_CONTAINS(end.log, "<UNHANDLED TIME=\"#\">\nDivide by zero.\n\n\nmodule='");
#endif
    EXPECT_EQ(end.exitCode, terminated);
}

TEST(CrashReport, AnInvalidInstructionIsTold) {
    ChildEnd const end = crashInChild(true, [] { raise(SIGILL); });
    EXPECT_CONTAINS(end.log, "The thread tried to execute an invalid instruction.");
}

TEST(CrashReport, AnAbortIsToldWithItsContexts) {
    ChildEnd const end = crashInChild(true, [] {
        GEmergencyContext const context("freeing twice");
        std::abort();
    });
    EXPECT_CONTAINS(end.log, "<UNHANDLED TIME=\"#\">\nUnidentified error.\n\n\nmodule='");
    EXPECT_CONTAINS(end.log, "<context>\nfreeing twice\n</context>\n");
    EXPECT_EQ(end.exitCode, terminated);
}

TEST(CrashReport, APageThatCannotBeLoadedIsTold) {
    ChildEnd const end = crashInChild(true, [] {
        // A mapping of a file that is shorter than it: the page behind its end has no content.
        std::FILE * const file = std::tmpfile();
        void * const page = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fileno(file), 0);
        readFrom(reinterpret_cast<std::uintptr_t>(page));
    });
    EXPECT_CONTAINS(end.log, "The thread tried to access a page that was not present, and the "
                             "system was unable to load the page.");
}

/// Deeper than any stack; the frame is large so that the end is soon.
int overflowStack(int depth) {
    char volatile frame[4096];
    frame[0] = static_cast<char>(depth);
    return depth == 1000000000 ? 0 : overflowStack(depth + 1) + frame[0];
}

TEST(CrashReport, AStackOverflowIsTold) {
    ChildEnd const end = crashInChild(true, [] {
        GEmergencyContext const context("deep");
        overflowStack(0);
    });
    EXPECT_CONTAINS(end.log, "<UNHANDLED TIME=\"#\">\nStack overflow.\n\n\nmodule='");
    EXPECT_CONTAINS(end.log, "<context>\ndeep\n</context>\n");
    EXPECT_EQ(end.exitCode, terminated);
}

TEST(CrashReport, AStackOverflowOfAThreadIsTold) {
    ChildEnd const end = crashInChild(true, [] {
        HANDLE const thread = platform::startThread(
            [](void *) { return static_cast<unsigned long>(overflowStack(0)); }, nullptr, false,
            nullptr);
        platform::wait(thread, platform::waitForever);
    });
    EXPECT_CONTAINS(end.log, "Stack overflow.");
    EXPECT_EQ(end.exitCode, terminated);
}

void throwUncaught(void (*raise)()) noexcept {
    raise();
}

TEST(CrashReport, AnExceptionThatNothingCatchesIsToldByItsText) {
    ChildEnd const library = crashInChild(true, [] {
        GEmergencyContext const context("loading");
        throwUncaught([] { throw GLibraryException("the hinge is lost"); });
    });
    EXPECT_EQ(library.exitCode, terminated);
    EXPECT_EQ(library.log, "<SESSION TIME=\"#\">\n<EXCEPTION TIME=\"#\">\nthe hinge is lost\n"
                           "<context>\nloading\n</context>\n</EXCEPTION>\n\n</SESSION>\n\n\n");
    EXPECT_CONTAINS(library.box, "the hinge is lost\n");

    ChildEnd const error =
        crashInChild(true, [] { throwUncaught([] { throw Tavlin::Error("logged once"); }); });
    EXPECT_EQ(error.log.find("logged once"), error.log.rfind("logged once"));

    ChildEnd const standard = crashInChild(
        true, [] { throwUncaught([] { throw std::runtime_error("from elsewhere"); }); });
    EXPECT_CONTAINS(standard.log, "from elsewhere\n");

    ChildEnd const second = crashInChild(true, [] {
        Tavlin::Error const dealtWith("the first");
        throwUncaught([] { throw std::runtime_error("the second"); });
    });
    EXPECT_CONTAINS(second.log, "<EXCEPTION TIME=\"#\">\nthe second\n</EXCEPTION>\n");
    EXPECT_CONTAINS(second.box, "the second\n");
    EXPECT_EQ(second.box.find("the first"), std::string::npos);

    ChildEnd const unknown = crashInChild(true, [] { throwUncaught([] { throw 7; }); });
    EXPECT_CONTAINS(unknown.log, "<UNHANDLED TIME=\"#\">\nUnidentified error.\n\n\nmodule='");
}

TEST(CrashReport, AFaultWhileReportingEndsTheProcess) {
    ChildEnd const end = crashInChild(true, [] {
        platform::setMessageBoxHandler([](char const *, char const *, unsigned) {
            writeTo(8);
            return platform::answerOk;
        });
        readFrom(forbiddenPage());
    });
    EXPECT_EQ(end.exitCode, terminated);
    EXPECT_CONTAINS(end.log, "</UNHANDLED>\n\n</SESSION>\n\n\n");
}

TEST(CrashReport, WithoutAFileNameTheLogLiesBesideTheProgram) {
    char program[4096];
    platform::programPath(program, sizeof program);
    std::string name = program;
    std::replace(name.begin(), name.end(), '\\', '/');
    name = name.substr(0, name.rfind('/')) + "/diagnostics_tests.LOG";
    std::remove(name.c_str());
    for (bool const crashes : {false, true}) {
        crashInChild(true, [crashes] {
            GEmergencyLog::SetFile("");
            if (crashes)
                readFrom(forbiddenPage());
            GEmergencyLog::Get().put_warning("told", nullptr, 0);
            GEmergencyLog::Get().close_session();
        });
        std::ostringstream text;
        text << std::ifstream(name).rdbuf();
        EXPECT_CONTAINS(text.str(), crashes ? "Access violation" : "told");
        std::remove(name.c_str());
    }
}

TEST(DebugMessage, FormatsClosesTheSessionAndEnds) {
    ChildEnd const end = crashInChild(true, [] {
        GEmergencyLog::Get().put_warning("before", nullptr, 0);
        Tavlin::DebugMessage("%s #%d", "door", 4);
    });
    EXPECT_EQ(end.exitCode, terminated);
    EXPECT_EQ(end.box, "Internal Error: door #4\r\n\r\nError log saved in program folder.\n");
    EXPECT_CONTAINS(end.log, "</WARNING>\n\n</SESSION>\n\n\n");

    ChildEnd const flags = crashInChild(false, [] {
        platform::setMessageBoxHandler([](char const *, char const *, unsigned asked) {
            return static_cast<int>(write(STDERR_FILENO, &asked, sizeof asked));
        });
        Tavlin::DebugMessage("door");
    });
    unsigned asked = 0;
    std::memcpy(&asked, flags.box.data(), std::min(flags.box.size(), sizeof asked));
    EXPECT_EQ(asked, 0x12010u) << "an error, modal to the task, in the foreground";
    EXPECT_EQ(flags.exitCode, terminated) << "whatever the box answers";
}

TEST(AssertFailed, AsksAndDoesWhatIsAnswered) {
    static std::string seen;
    platform::setMessageBoxHandler([](char const * text, char const * caption, unsigned flags) {
        seen = std::string(caption) + "|" + text + "|" + std::to_string(flags);
        return platform::answerIgnore;
    });
    Tavlin::AssertFailed("a == b", "Door.cpp", 7);
    platform::setMessageBoxHandler(nullptr);
    EXPECT_EQ(seen, "Assert failed|Assert failed in file Door.cpp, line 7.\n\nASSERT(a == b)\n\n"
                    "Press Retry to debug your application.|" +
                        std::to_string(0x2032));

    ChildEnd const abort = crashInChild(false, [] {
        platform::setMessageBoxHandler(
            [](char const *, char const *, unsigned) { return platform::answerAbort; });
        Tavlin::AssertFailed("a", "b", 1);
    });
    EXPECT_EQ(abort.exitCode, 0);
}

} // namespace
