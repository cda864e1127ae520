// Faults arrive as signals, uncaught exceptions through the terminate handler. Both are turned into
// the record that the reporting function knows. Handlers run on an alternate stack. What stands
// here is safe in a signal handler, except the linker's look-up of a module (Modules.cpp), which
// takes a lock that the faulting thread could hold only if the linker itself had failed.
#include "platform/Crash.h"

#include "platform/Clock.h"
#include "platform/posix/AlternateStack.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <exception>

namespace platform {

namespace {

constinit std::atomic<CrashHandler> g_handler{nullptr};
/// The thread that reports; 0 while all is well.
constinit std::atomic<std::uintptr_t> g_reporter{0};

/// Lowest usable address of the calling thread's stack; 0 when it is not known.
constinit thread_local std::uintptr_t t_stackLow = 0;
/// The fault below a stack may lie this far away: functions with large frames skip the guard page.
constexpr std::uintptr_t overflowReach = 1024 * 1024;
constexpr std::uintptr_t nearStackPointer = 64 * 1024;
constexpr std::uintptr_t twoPages = 8192;

struct MachineState {
    std::uintptr_t instruction = 0, stackPointer = 0;
    bool write = false;
};

MachineState machineState(void const * context) {
    MachineState state;
    auto const & machine = static_cast<ucontext_t const *>(context)->uc_mcontext;
#if defined(__x86_64__)
    state.instruction = static_cast<std::uintptr_t>(machine.gregs[REG_RIP]);
    state.stackPointer = static_cast<std::uintptr_t>(machine.gregs[REG_RSP]);
    // Bit 1 of the page fault's error code tells a write.
    state.write = (machine.gregs[REG_ERR] & 2) != 0;
#elif defined(__i386__)
    state.instruction = static_cast<std::uintptr_t>(machine.gregs[REG_EIP]);
    state.stackPointer = static_cast<std::uintptr_t>(machine.gregs[REG_ESP]);
    state.write = (machine.gregs[REG_ERR] & 2) != 0;
#elif defined(__aarch64__)
    state.instruction = static_cast<std::uintptr_t>(machine.pc);
    state.stackPointer = static_cast<std::uintptr_t>(machine.sp);
#else
    static_cast<void>(machine);
#endif
    return state;
}

std::uint32_t codeOfFloatFault(int detail) {
    switch (detail) {
        case FPE_INTDIV:
            return crashIntDivideByZero;
        case FPE_INTOVF:
            return crashIntOverflow;
        case FPE_FLTDIV:
            return crashFloatDivideByZero;
        case FPE_FLTOVF:
            return crashFloatOverflow;
        case FPE_FLTUND:
            return crashFloatUnderflow;
        case FPE_FLTRES:
            return crashFloatInexact;
        default:
            return crashFloatInvalid;
    }
}

std::uint32_t codeOfSignal(siginfo_t const & info, MachineState const & state) {
    switch (info.si_signo) {
        case SIGSEGV:
            return isStackOverflow(reinterpret_cast<std::uintptr_t>(info.si_addr),
                                   state.stackPointer)
                       ? crashStackOverflow
                       : crashAccessViolation;
        case SIGBUS:
            return crashInPageError;
        case SIGFPE:
            return codeOfFloatFault(info.si_code);
        case SIGABRT:
            return crashAbort;
        default:
            return info.si_code == ILL_PRVOPC || info.si_code == ILL_PRVREG
                       ? crashPrivilegedInstruction
                       : crashIllegalInstruction;
    }
}

std::uintptr_t currentThread() {
    // Never null, and safe in a handler.
    return reinterpret_cast<std::uintptr_t>(__builtin_thread_pointer());
}

/// Lets one thread report. The reporter's own second fault ends the process; other threads wait
/// for that end.
void becomeReporter() {
    std::uintptr_t nobody = 0;
    if (g_reporter.compare_exchange_strong(nobody, currentThread()))
        return;
    if (nobody == currentThread())
        terminateProcess(-1);
    while (true)
        pause();
}

[[noreturn]] void report(EXCEPTION_RECORD & record, void * context) {
    EXCEPTION_POINTERS what{&record, static_cast<_CONTEXT *>(context)};
    if (CrashHandler const handler = g_handler.load())
        handler(&what);
    terminateProcess(-1);
}

void onSignal(int, siginfo_t * info, void * context) {
    becomeReporter();
    MachineState const state = machineState(context);
    EXCEPTION_RECORD record{};
    record.ExceptionCode = codeOfSignal(*info, state);
    record.ExceptionAddress = reinterpret_cast<void *>(state.instruction);
    if (info->si_signo == SIGSEGV || info->si_signo == SIGBUS) {
        record.NumberParameters = 2;
        record.ExceptionInformation[0] = state.write ? 1 : 0;
        record.ExceptionInformation[1] = reinterpret_cast<std::uintptr_t>(info->si_addr);
    }
    report(record, context);
}

[[noreturn]] void onTerminate() {
    becomeReporter();
    EXCEPTION_RECORD record{};
    record.ExceptionCode = crashLanguageException;
    record.ExceptionAddress = __builtin_return_address(0);
    report(record, nullptr);
}

void noteStackBounds() {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
        return;
    void * low = nullptr;
    std::size_t size = 0;
    if (pthread_attr_getstack(&attributes, &low, &size) == 0)
        t_stackLow = reinterpret_cast<std::uintptr_t>(low);
    pthread_attr_destroy(&attributes);
}

} // namespace

AlternateStack::AlternateStack()
    : memory_(mmap(nullptr, bytes_, PROT_READ | PROT_WRITE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0)),
      formerMemory_(nullptr), formerBytes_(0), formerFlags_(SS_DISABLE) {
    noteStackBounds();
    if (memory_ == MAP_FAILED) {
        memory_ = nullptr;
        return;
    }
    stack_t own{};
    own.ss_sp = memory_;
    own.ss_size = bytes_;
    stack_t former{};
    if (sigaltstack(&own, &former) != 0)
        return;
    formerMemory_ = former.ss_sp;
    formerBytes_ = former.ss_size;
    formerFlags_ = former.ss_flags;
}

AlternateStack::~AlternateStack() {
    if (!memory_)
        return;
    // A tool that watches the process may have had a stack of its own here, and wants it back.
    stack_t former{};
    former.ss_sp = formerMemory_;
    former.ss_size = formerBytes_;
    former.ss_flags = formerFlags_ & SS_DISABLE;
    sigaltstack(&former, nullptr);
    munmap(memory_, bytes_);
}

bool isStackOverflow(std::uintptr_t address, std::uintptr_t stackPointer) {
    // A fault beside the stack pointer means that the stack itself has no memory there.
    if (address + nearStackPointer >= stackPointer && address < stackPointer + twoPages)
        return true;
    return t_stackLow != 0 && address + overflowReach >= t_stackLow &&
           address < t_stackLow + twoPages;
}

void setCrashHandler(CrashHandler handler) {
    // What is asked for now need not be asked for in a handler: the time zone, the bounds.
    localTime();
    // The main thread's; like the thread it has no end before the process.
    static AlternateStack const mainStack;
    g_handler.store(handler);
    struct sigaction action {};
    action.sa_sigaction = onSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    for (int const signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        sigaction(signal, &action, nullptr);
    std::set_terminate(onTerminate);
}

bool isCrashing() {
    return g_reporter.load(std::memory_order_relaxed) != 0;
}

void terminateProcess(int code) {
    _exit(code);
}

void debugBreak() {
    raise(SIGTRAP);
}

void * openEmergencyFile(char const * name, bool append) {
    char path[PATH_MAX];
    std::size_t length = 0;
    for (; name[length]; ++length) {
        if (length + 1 == sizeof path)
            return nullptr;
        path[length] = name[length] == '\\' ? '/' : name[length];
    }
    path[length] = 0;
    int const file = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC),
                          S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH);
    // The descriptor itself, moved by one so that the first is not null.
    return file < 0 ? nullptr : reinterpret_cast<void *>(static_cast<std::uintptr_t>(file) + 1);
}

bool writeEmergencyFile(void * file, char const * text, std::size_t length) {
    int const descriptor = static_cast<int>(reinterpret_cast<std::uintptr_t>(file)) - 1;
    while (length > 0) {
        ssize_t const done = write(descriptor, text, length);
        if (done <= 0)
            return false;
        text += done;
        length -= static_cast<std::size_t>(done);
    }
    return true;
}

void closeEmergencyFile(void * file) {
    if (file)
        close(static_cast<int>(reinterpret_cast<std::uintptr_t>(file)) - 1);
}

} // namespace platform
