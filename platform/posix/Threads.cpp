// Threads and events are objects with counted handles, all under one lock: they are touched a few
// times per frame, and one lock makes a wait for several of them plain. Each waiting thread has a
// condition of its own, so that only those are woken whom it concerns.
#include "platform/Threads.h"

#include "platform/posix/AlternateStack.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <string>
#include <thread>

namespace platform {

void RecursiveMutex::lockContended() {
    // Whoever waits leaves "awaited" behind, also when it gets the lock, since others may wait too.
    while (state_.exchange(awaited, std::memory_order_acquire) != free)
        state_.wait(awaited, std::memory_order_relaxed);
}

void RecursiveMutex::wakeOne() {
    state_.notify_one();
}

namespace {

using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;

struct Waiter {
    std::condition_variable * condition;
    Waiter * next;
};

/// What can be waited for. Counted by handles, waits, and the thread that it stands for.
struct Object {
    Object(bool thread, bool manual) : isThread(thread), manualReset(manual) {}
    bool const isThread;
    bool const manualReset;
    bool signalled = false;
    int references = 1;
    Waiter * waiters = nullptr;
};

struct Event : Object {
    Event(char const * eventName, bool manual) : Object(false, manual) {
        if (eventName) {
            name = eventName;
            named = true;
        }
    }
    std::string name;
    bool named = false;
};

/// Signalled when it has ended.
struct ThreadObject : Object {
    ThreadObject(ThreadBody threadBody, void * threadArgument, bool suspended)
        : Object(true, true), body(threadBody), argument(threadArgument),
          suspensions(suspended ? 1 : 0) {}
    ThreadBody body;
    void * argument;
    std::condition_variable gate; ///< where the thread itself waits, for whatever reason
    std::condition_variable begun;
    pid_t systemId = 0;
    unsigned long suspensions;
    unsigned long keptResumes = 0;
    bool keepsResumes = false;
    bool terminated = false;
    unsigned long exitCode = 0;
};

/// One handle to an event. They are listed, so that a value that is none can be told.
struct EventHandle {
    Event * event;
    EventHandle * next;
};

constinit std::mutex g_lock;
constinit EventHandle * g_eventHandles = nullptr;
constinit thread_local ThreadObject * t_current = nullptr;

void release(Object * object) {
    if (--object->references > 0)
        return;
    if (object->isThread)
        delete static_cast<ThreadObject *>(object);
    else
        delete static_cast<Event *>(object);
}

void signal(Object & object) {
    object.signalled = true;
    for (Waiter * waiter = object.waiters; waiter; waiter = waiter->next)
        waiter->condition->notify_one();
}

/// Where the calling thread stops while it is suspended, and ends when it is terminated.
void passGate(Lock & lock) {
    ThreadObject * const self = t_current;
    if (!self)
        return;
    while (self->suspensions > 0 && !self->terminated)
        self->gate.wait(lock);
    // Unwinds with the lock held, as what is unwound here expects it; the lock's owner is unwound
    // last.
    if (self->terminated)
        pthread_exit(nullptr);
}

/// The end of a thread. As a thread-local made before all others of the thread it is destroyed
/// after them, so that whoever waited finds nothing of the thread still running.
struct Ending {
    ThreadObject * thread = nullptr;
    ~Ending() {
        if (!thread)
            return;
        Lock lock(g_lock);
        signal(*thread);
        release(thread);
    }
};
thread_local Ending t_ending;

void * threadEntry(void * argument) {
    ThreadObject * const self = static_cast<ThreadObject *>(argument);
    t_current = self;
    t_ending.thread = self;
    AlternateStack const alternateStack;
    {
        Lock lock(g_lock);
        self->systemId = gettid();
        self->begun.notify_one();
        passGate(lock);
    }
    unsigned long const code = self->body(self->argument);
    Lock lock(g_lock);
    self->exitCode = code;
    return nullptr;
}

ThreadObject * threadOf(HANDLE handle) {
    assert(handle && "a thread's handle is required");
    return static_cast<ThreadObject *>(handle);
}

Event * eventOf(HANDLE handle) {
    assert(handle && "an event's handle is required");
    return static_cast<EventHandle *>(handle)->event;
}

/// Handles of threads are the objects themselves; those of events are in the list.
Object * objectOf(HANDLE handle) {
    for (EventHandle * listed = g_eventHandles; listed; listed = listed->next)
        if (listed == handle)
            return listed->event;
    return static_cast<ThreadObject *>(handle);
}

/// A new handle, to an event whose reference it takes over; null when memory is short.
HANDLE newEventHandle(Event * event) {
    EventHandle * const handle = new (std::nothrow) EventHandle{event, g_eventHandles};
    if (handle)
        g_eventHandles = handle;
    else
        release(event);
    return handle;
}

/// One more handle to an event that is held elsewhere; null stays null.
HANDLE shareEvent(Event * event) {
    if (!event)
        return nullptr;
    ++event->references;
    return newEventHandle(event);
}

Event * findNamed(char const * name) {
    for (EventHandle * handle = g_eventHandles; handle; handle = handle->next)
        if (handle->event->named && handle->event->name == name)
            return handle->event;
    return nullptr;
}

bool hasLimit(unsigned long milliseconds) {
    return milliseconds < waitForever;
}

/// Stands in the lists of what it waits for as long as it lives. The global lock must be held
/// whenever it begins and ends.
class MultipleWait {
  public:
    MultipleWait(HANDLE const * handles, int count) : count_(count) {
        std::condition_variable * const condition = t_current ? &t_current->gate : &ownCondition_;
        for (int i = 0; i < count; ++i) {
            objects_[i] = objectOf(handles[i]);
            ++objects_[i]->references;
            waiters_[i] = {condition, objects_[i]->waiters};
            objects_[i]->waiters = &waiters_[i];
        }
    }
    ~MultipleWait() {
        for (int i = 0; i < count_; ++i) {
            Waiter ** link = &objects_[i]->waiters;
            while (*link != &waiters_[i])
                link = &(*link)->next;
            *link = waiters_[i].next;
            release(objects_[i]);
        }
    }
    MultipleWait(MultipleWait const &) = delete;
    MultipleWait & operator=(MultipleWait const &) = delete;

    std::condition_variable & condition() { return *waiters_[0].condition; }
    /// The first that is signalled, taking the signal when it is for one only; -1 for none.
    int take() {
        for (int i = 0; i < count_; ++i)
            if (objects_[i]->signalled) {
                objects_[i]->signalled = objects_[i]->manualReset;
                return i;
            }
        return waitTimedOut;
    }

  private:
    int count_;
    Object * objects_[maxWaitHandles];
    Waiter waiters_[maxWaitHandles];
    std::condition_variable ownCondition_;
};

} // namespace

HANDLE startThread(ThreadBody body, void * argument, bool suspended, std::uint32_t * id) {
    auto * const thread = new (std::nothrow) ThreadObject(body, argument, suspended);
    if (!thread)
        return nullptr;
    thread->references = 2; // the handle's and the thread's own
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t unused;
    int const failure = pthread_create(&unused, &attributes, threadEntry, thread);
    pthread_attr_destroy(&attributes);
    if (failure != 0) {
        delete thread;
        return nullptr;
    }
    // The system's number is known only to the thread itself.
    Lock lock(g_lock);
    while (thread->systemId == 0)
        thread->begun.wait(lock);
    if (id)
        *id = static_cast<std::uint32_t>(thread->systemId);
    return thread;
}

HANDLE duplicateThread(HANDLE handle) {
    Lock lock(g_lock);
    ++threadOf(handle)->references;
    return handle;
}

void closeThread(HANDLE handle) {
    if (!handle)
        return;
    Lock lock(g_lock);
    release(threadOf(handle));
}

unsigned long resumeThread(HANDLE handle) {
    Lock lock(g_lock);
    ThreadObject * const thread = threadOf(handle);
    unsigned long const before = thread->suspensions;
    if (before == 0)
        thread->keptResumes += thread->keepsResumes ? 1 : 0;
    else if (--thread->suspensions == 0)
        thread->gate.notify_one();
    return before;
}

unsigned long suspendThread(HANDLE handle) {
    Lock lock(g_lock);
    ThreadObject * const thread = threadOf(handle);
    unsigned long const before = thread->suspensions;
    if (thread == t_current && thread->keptResumes > 0) {
        --thread->keptResumes;
        return before;
    }
    ++thread->suspensions;
    if (thread == t_current)
        passGate(lock);
    return before;
}

void keepResumes(HANDLE handle, bool keep) {
    Lock lock(g_lock);
    ThreadObject * const thread = threadOf(handle);
    thread->keepsResumes = keep;
    thread->keptResumes = 0;
}

bool takeKeptResume(HANDLE handle) {
    Lock lock(g_lock);
    ThreadObject * const thread = threadOf(handle);
    if (thread->keptResumes == 0)
        return false;
    --thread->keptResumes;
    return true;
}

bool terminateThread(HANDLE handle, unsigned long code) {
    Lock lock(g_lock);
    ThreadObject * const thread = threadOf(handle);
    if (thread->signalled)
        return false;
    thread->terminated = true;
    thread->exitCode = code;
    thread->gate.notify_one();
    if (thread == t_current)
        passGate(lock);
    return true;
}

void exitThread(unsigned long code) {
    if (ThreadObject * const self = t_current) {
        Lock lock(g_lock);
        self->exitCode = code;
    }
    pthread_exit(nullptr);
}

bool setThreadPriority(HANDLE handle, int level) {
    // A nice value runs the other way and takes smaller steps.
    int const nice = level <= -15 ? 19 : level >= 15 ? -20 : std::clamp(-5 * level, -20, 19);
    Lock lock(g_lock);
    ThreadObject const * const thread = threadOf(handle);
    return !thread->signalled &&
           setpriority(PRIO_PROCESS, static_cast<id_t>(thread->systemId), nice) == 0;
}

bool isCurrentThread(HANDLE handle) {
    return handle && handle == t_current;
}

bool threadExitCode(HANDLE handle, unsigned long & code) {
    Lock lock(g_lock);
    ThreadObject const * const thread = threadOf(handle);
    if (thread->signalled)
        code = thread->exitCode;
    return thread->signalled;
}

void sleepThread(unsigned long milliseconds) {
    ThreadObject * const self = t_current;
    if (!self) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        return;
    }
    Clock::time_point const end = Clock::now() + std::chrono::milliseconds(milliseconds);
    Lock lock(g_lock);
    passGate(lock);
    while (!self->terminated && (!hasLimit(milliseconds) || Clock::now() < end)) {
        if (hasLimit(milliseconds))
            self->gate.wait_until(lock, end);
        else
            self->gate.wait(lock);
    }
    passGate(lock);
}

HANDLE createEvent(char const * name, bool manualReset) {
    Lock lock(g_lock);
    if (Event * const existing = name ? findNamed(name) : nullptr)
        return shareEvent(existing);
    try {
        return newEventHandle(new Event(name, manualReset));
    } catch (std::bad_alloc const &) {
        return nullptr;
    }
}

HANDLE openEvent(char const * name) {
    Lock lock(g_lock);
    return name ? shareEvent(findNamed(name)) : nullptr;
}

HANDLE duplicateEvent(HANDLE handle) {
    Lock lock(g_lock);
    for (EventHandle * listed = g_eventHandles; listed; listed = listed->next)
        if (listed == handle)
            return shareEvent(listed->event);
    return nullptr;
}

bool setEvent(HANDLE handle) {
    if (!handle)
        return false;
    Lock lock(g_lock);
    signal(*eventOf(handle));
    return true;
}

bool resetEvent(HANDLE handle) {
    if (!handle)
        return false;
    Lock lock(g_lock);
    eventOf(handle)->signalled = false;
    return true;
}

void closeEvent(HANDLE handle) {
    Lock lock(g_lock);
    for (EventHandle ** link = &g_eventHandles; *link; link = &(*link)->next)
        if (*link == handle) {
            EventHandle * const closed = *link;
            *link = closed->next;
            release(closed->event);
            delete closed;
            return;
        }
}

int wait(HANDLE handle, unsigned long milliseconds) {
    return waitForAny(&handle, 1, milliseconds);
}

int waitForAny(HANDLE const * handles, int count, unsigned long milliseconds) {
    if (count < 1 || count > maxWaitHandles ||
        std::find(handles, handles + count, nullptr) != handles + count)
        return waitFailed;
    Clock::time_point const end = hasLimit(milliseconds)
                                      ? Clock::now() + std::chrono::milliseconds(milliseconds)
                                      : Clock::time_point::max();
    Lock lock(g_lock);
    passGate(lock);
    MultipleWait waiting(handles, count);
    int found = waiting.take();
    while (found == waitTimedOut && (!hasLimit(milliseconds) || Clock::now() < end)) {
        if (hasLimit(milliseconds))
            waiting.condition().wait_until(lock, end);
        else
            waiting.condition().wait(lock);
        if (t_current && t_current->terminated)
            break;
        found = waiting.take();
    }
    passGate(lock);
    return found;
}

} // namespace platform
