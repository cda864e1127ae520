// The threads forward to the platform. The two that call back keep one promise above all: when
// `done` has returned, no call runs and none begins.
#include "tavlinbase/TavlinThreads.h"

#include "diagnostics/TavlinError.h"

#include <mutex>
#include <thread>

namespace Tavlin {

namespace {

char const * const g_source = "TavlinThreads.cpp";

/// One more handle to the event of that name.
HANDLE findEvent(char const * name) {
    HANDLE const event = platform::openEvent(name);
    if (!event)
        throw Error(g_source, __LINE__, "Can not find event <%s>", name ? name : "");
    return event;
}

HANDLE shareEvent(HANDLE event) {
    HANDLE const shared = platform::duplicateEvent(event);
    if (!shared)
        throw Error(g_source, __LINE__, "Can not duplicate event");
    return shared;
}

/// A delay in milliseconds; what no delay can be is the nearest that can.
std::uint32_t millisecondsOf(float seconds) {
    float const milliseconds = seconds * 1000.0f;
    if (!(milliseconds > 0.0f))
        return 0;
    return milliseconds >= 2147483648.0f ? 0x7FFFFFFF : static_cast<std::uint32_t>(milliseconds);
}

} // namespace

Thread::Thread(char const *, bool suspended, int priority, bool autoDestroy)
    : autoDestroy_(autoDestroy) {
    // Begins behind its gate in any case, so that all fields are set before it runs.
    handle_ = platform::startThread(Func, this, true, &threadId_);
    if (!handle_)
        throw Error(g_source, __LINE__, "Can't create thread");
    platform::setThreadPriority(handle_, priority);
    if (!suspended)
        platform::resumeThread(handle_);
}

Thread::~Thread() {
    platform::closeThread(handle_);
}

unsigned long Thread::Func(void * object) {
    auto * const thread = static_cast<Thread *>(object);
    thread->run();
    if (thread->autoDestroy_)
        delete thread;
    return 0;
}

unsigned long Thread::resume() {
    return platform::resumeThread(handle_);
}

unsigned long Thread::suspend() {
    return platform::suspendThread(handle_);
}

unsigned long Thread::wait(unsigned long timeoutMs) {
    return platform::wait(handle_, timeoutMs) == 0 ? Ended : TimedOut;
}

bool Thread::terminate(unsigned long code) {
    return platform::terminateThread(handle_, code);
}

bool Thread::setPriorityLevel(int priority) {
    return platform::setThreadPriority(handle_, priority);
}

void Thread::exit(unsigned long code) {
    platform::exitThread(code);
}

void Thread::finish(HANDLE thread) {
    while (platform::resumeThread(thread) > 1) {
    }
    if (!platform::isCurrentThread(thread))
        platform::wait(thread, platform::waitForever);
}

EventCallback::EventCallback(char const * eventName, Function function, void * argument,
                             char const *, bool suspended, int priority, bool autoReset,
                             bool autoDestroy)
    : EventCallback(findEvent(eventName), function, argument, priority, autoReset, autoDestroy) {
    if (!suspended)
        resume();
}

EventCallback::EventCallback(void * eventHandle, Function function, void * argument, char const *,
                             bool suspended, int priority, bool autoReset, bool autoDestroy)
    : EventCallback(shareEvent(eventHandle), function, argument, priority, autoReset, autoDestroy) {
    if (!suspended)
        resume();
}

EventCallback::EventCallback(HANDLE source, Function function, void * argument, int priority,
                             bool autoReset, bool autoDestroy) try
    : Thread("EventCallback", true, priority, autoDestroy),
      stopEvent_(platform::createEvent(nullptr, true)), sourceEvent_(source), function_(function),
      argument_(argument), autoReset_(autoReset) {
} catch (...) {
    platform::closeEvent(source);
    throw;
}

EventCallback::~EventCallback() {
    if (!isCurrent())
        done();
    platform::closeEvent(sourceEvent_);
    platform::closeEvent(stopEvent_);
}

void EventCallback::run() {
    HANDLE const events[] = {stopEvent_, sourceEvent_};
    while (running_ && platform::waitForAny(events, 2, platform::waitForever) >= 0) {
        if (running_) {
            std::lock_guard const held(guard_);
            // Asked again: `done` may have begun while this thread was on its way here.
            if (running_ && function_)
                function_(argument_);
        }
        if (!autoReset_)
            break;
    }
    // With auto-destroy the object goes now, but not from under a `done` on another thread.
    while (ending_ > 0)
        std::this_thread::yield();
}

void EventCallback::done() {
    ++ending_;
    // Before the guard, so that the thread, which may take it again at once after a call, begins
    // no other while `done` waits for it.
    running_ = 0;
    {
        std::lock_guard const held(guard_);
        function_ = nullptr;
    }
    platform::setEvent(stopEvent_);
    HANDLE const thread = platform::duplicateThread(handle());
    --ending_; // from here on the object may be gone
    finish(thread);
    platform::closeThread(thread);
}

Timer::Timer() : Thread("Timer", true, 1, false) {
    // What is told before the thread has reached its gate must open that gate all the same.
    platform::keepResumes(handle(), true);
    resume();
}

Timer::~Timer() {
    if (!isCurrent())
        done();
}

void Timer::start(float seconds, Function function, void * argument) {
    GSingleLock const held(fields_);
    delayMs_ = millisecondsOf(seconds);
    function_ = function;
    argument_ = argument;
    started_ = true;
    resume();
}

void Timer::reset() {
    GSingleLock const held(fields_);
    delayMs_ = 0;
    function_ = nullptr;
    argument_ = nullptr;
    started_ = false;
    resume();
}

void Timer::done() {
    {
        GSingleLock const held(fields_);
        if (finished_)
            return;
        finished_ = true;
    }
    finish(handle());
}

/// False when the timer is done. A resume opens one gate, the next that the thread comes to, even
/// when it is given before the thread is there: so the first gate takes that of `start` although
/// `started_` alone would let it pass, and leaves the second gate shut for the caller's.
bool Timer::passGates() {
    bool shut;
    {
        GSingleLock const held(fields_);
        shut = !platform::takeKeptResume(handle()) && !started_;
    }
    if (shut && !finished_)
        suspend();
    if (!autoReset_ && !finished_)
        suspend();
    return !finished_;
}

/// While the delay and the call last there is no gate ahead, and a resume is for nothing.
bool Timer::beginDelay(std::uint32_t & delayMs) {
    GSingleLock const held(fields_);
    if (!started_)
        return false;
    platform::keepResumes(handle(), false);
    delayMs = delayMs_;
    return true;
}

void Timer::endDelay() {
    GSingleLock const held(fields_);
    if (!autoReset_)
        reset();
    platform::keepResumes(handle(), true);
}

void Timer::run() {
    std::uint32_t delayMs;
    while (!finished_ && passGates()) {
        if (!beginDelay(delayMs))
            continue;
        platform::sleepThread(delayMs);
        Function function;
        void * argument;
        {
            GSingleLock const held(fields_);
            function = function_;
            argument = argument_;
        }
        if (function)
            function(argument);
        endDelay();
    }
}

} // namespace Tavlin
