// Locks, threads and events. Locks are a few inline instructions while nobody contends. Threads and
// events are reached through handles in the manner of Windows; a suspended thread stops at a gate:
// before its body, in a wait, in a sleep, or where it suspends itself, never in the middle of other
// code, where it could hold a lock of the C library.
#pragma once

#include "platform/Export.h"
#include "platform/SystemTypes.h"

#include <atomic>
#include <cstdint>
#if defined(_WIN32)
#include <intrin.h>
#endif

namespace platform {

/// A word that no two living threads share; never 0.
inline std::uintptr_t currentThreadMark() {
#if !defined(_WIN32)
    return reinterpret_cast<std::uintptr_t>(__builtin_thread_pointer());
#elif defined(_WIN64)
    return __readgsqword(0x30);
#else
    return __readfsdword(0x18);
#endif
}

/// A lock that its owner may take again. It needs no destruction and works from the first
/// instruction of the program to the last, so it may be a static anywhere.
class RecursiveMutex {
  public:
    constexpr RecursiveMutex() = default;
    RecursiveMutex(RecursiveMutex const &) = delete;
    RecursiveMutex & operator=(RecursiveMutex const &) = delete;

    void lock() {
        std::uintptr_t const self = currentThreadMark();
        // Only the owner ever stores its own mark, so a match cannot be stale.
        if (owner_.load(std::memory_order_relaxed) == self) {
            ++depth_;
            return;
        }
        int expected = free;
        if (!state_.compare_exchange_strong(expected, taken, std::memory_order_acquire,
                                            std::memory_order_relaxed))
            lockContended();
        owner_.store(self, std::memory_order_relaxed);
        depth_ = 1;
    }
    bool try_lock() {
        std::uintptr_t const self = currentThreadMark();
        if (owner_.load(std::memory_order_relaxed) == self) {
            ++depth_;
            return true;
        }
        int expected = free;
        if (!state_.compare_exchange_strong(expected, taken, std::memory_order_acquire,
                                            std::memory_order_relaxed))
            return false;
        owner_.store(self, std::memory_order_relaxed);
        depth_ = 1;
        return true;
    }
    /// Only by the owner, once for each time it locked.
    void unlock() {
        if (--depth_ != 0)
            return;
        owner_.store(0, std::memory_order_relaxed);
        if (state_.exchange(free, std::memory_order_release) == awaited)
            wakeOne();
    }

  private:
    enum : int { free, taken, awaited };
    ONDREL_API void lockContended();
    ONDREL_API void wakeOne();

    std::atomic<int> state_{free};
    std::uint32_t depth_ = 0;
    std::atomic<std::uintptr_t> owner_{0};
};

/// As a timeout: no limit.
inline constexpr unsigned long waitForever = 0xFFFFFFFFul;
/// Results of waits that are no index.
inline constexpr int waitTimedOut = -1;
inline constexpr int waitFailed = -2;
/// How many handles one wait takes.
inline constexpr int maxWaitHandles = 8;

using ThreadBody = unsigned long (*)(void * argument);

/// Starts a thread, behind its first gate when `suspended`. `id` receives the system's number of
/// the thread and may be null. Null when the system has no more threads.
ONDREL_API HANDLE startThread(ThreadBody body, void * argument, bool suspended, std::uint32_t * id);
/// One more handle to the same thread, to be closed like the first.
ONDREL_API HANDLE duplicateThread(HANDLE thread);
/// Forgets the handle; the thread goes on. Null is allowed.
ONDREL_API void closeThread(HANDLE thread);
/// Takes back one suspension and opens the gate when it was the last. Returns how many there were;
/// with none, see keepResumes.
ONDREL_API unsigned long resumeThread(HANDLE thread);
/// Adds one suspension. On the calling thread itself it returns when the thread is resumed.
/// Returns how many there were.
ONDREL_API unsigned long suspendThread(HANDLE thread);
/// While kept, each resume that finds no suspension is remembered, and lets the next suspension of
/// the thread by itself pass; so a resume that comes before the suspension it is meant for is not
/// lost. Switching to false forgets them.
ONDREL_API void keepResumes(HANDLE thread, bool keep);
/// Takes one remembered resume away; false when there is none.
ONDREL_API bool takeKeptResume(HANDLE thread);
/// The thread ends at the next gate that it passes, running destructors on the way, with this exit
/// code. A suspended thread ends at once. Another one goes on until it waits or sleeps.
ONDREL_API bool terminateThread(HANDLE thread, unsigned long code);
/// Ends the calling thread, running destructors on the way.
[[noreturn]] ONDREL_API void exitThread(unsigned long code);
/// `level` from -15 (idle) over 0 (normal) to 15 (time critical). False when the system refuses:
/// on POSIX a level above 0 takes a privilege.
ONDREL_API bool setThreadPriority(HANDLE thread, int level);
ONDREL_API bool isCurrentThread(HANDLE thread);
/// What the thread's body returned or it ended with; false while it runs.
ONDREL_API bool threadExitCode(HANDLE thread, unsigned long & code);
ONDREL_API void sleepThread(unsigned long milliseconds);

/// An event, not signalled at first. Signalled, a manual-reset event stays so and lets all waits
/// pass; another one lets a single wait pass. A null `name` makes an unnamed event; a name that an
/// event of this process has gives one more handle to that event. Null when memory is short.
ONDREL_API HANDLE createEvent(char const * name, bool manualReset);
/// One more handle to the event of that name; null when there is none.
ONDREL_API HANDLE openEvent(char const * name);
/// One more handle to the same event; null for what is not the handle of an event.
ONDREL_API HANDLE duplicateEvent(HANDLE event);
ONDREL_API bool setEvent(HANDLE event);
ONDREL_API bool resetEvent(HANDLE event);
/// Ends with its last handle; a name is then free again. Null is allowed.
ONDREL_API void closeEvent(HANDLE event);

/// Waits until the event is signalled or the thread has ended: 0, waitTimedOut or waitFailed.
ONDREL_API int wait(HANDLE handle, unsigned long milliseconds);
/// Waits for the first of several, at most maxWaitHandles: the lowest index that passes,
/// waitTimedOut or waitFailed.
ONDREL_API int waitForAny(HANDLE const * handles, int count, unsigned long milliseconds);

} // namespace platform
