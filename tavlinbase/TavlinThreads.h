// Threads with a virtual body, one that waits for an outside event, and a timer; and the lock of
// the engine layer. Suspending is a gate: a suspended thread stops where it waits or sleeps next,
// never in the middle of other code.
#pragma once

#include "foundation/GCriticalSection.h"
#include "platform/Export.h"
#include "platform/Threads.h"

#include <atomic>
#include <cstdint>

namespace Tavlin {

/// A lock that the thread which holds it may take again. Works while statics start and end;
/// std::lock_guard holds it for a scope.
class CriticalSection {
  public:
    /// The label tells the reader which lock this is; it is not kept.
    constexpr explicit CriticalSection(char const * /*label*/) {}
    CriticalSection(CriticalSection const &) = delete;
    CriticalSection & operator=(CriticalSection const &) = delete;

    void lock() {
        mutex_.lock();
        ++lockCount_;
    }
    void unlock() {
        --lockCount_;
        mutex_.unlock();
    }
    /// How deep it is held; only its holder may ask.
    std::int32_t lockCount() const { return lockCount_; }

  private:
    platform::RecursiveMutex mutex_;
    std::int32_t lockCount_ = 0;
};

/// A thread whose body a derived class brings.
class ONDREL_API Thread {
  public:
    static constexpr unsigned long Infinite = platform::waitForever;
    /// Results of wait.
    static constexpr unsigned long Ended = 0, TimedOut = 258;

    /// Starts the thread; raises Error when there is none to be had. `name` is for the reader.
    /// Unless `suspended`, `run` may be called before the derived class is built: a class with
    /// fields of its own starts suspended and resumes at the end of its constructor. With
    /// `autoDestroy` the object must come from `new`, and nobody may touch it once it runs.
    Thread(char const * name, bool suspended, int priority, bool autoDestroy);
    /// Closes the handle and does not wait.
    virtual ~Thread();
    Thread(Thread const &) = delete;
    Thread & operator=(Thread const &) = delete;

    /// Both return how many suspensions there were before.
    unsigned long resume();
    unsigned long suspend();
    /// Waits for the end of the thread: Ended, or TimedOut after so many milliseconds.
    unsigned long wait(unsigned long timeoutMs);
    /// The thread ends at the next gate that it passes.
    bool terminate(unsigned long code);
    /// From -15 (idle) over 0 to 15; false when the system refuses.
    bool setPriorityLevel(int priority);
    void set_auto_destroy(bool autoDestroy) { autoDestroy_ = autoDestroy; }
    /// The system's number of the thread.
    std::uint32_t threadId() const { return threadId_; }

  protected:
    /// What the thread does. An exception that leaves it is a crash.
    virtual void run() = 0;
    bool isCurrent() const { return platform::isCurrentThread(handle_); }
    /// Takes all suspensions back, and waits for the end unless the thread is the calling one.
    static void finish(HANDLE thread);
    /// Ends the calling thread, which must be this one; the object is not deleted.
    [[noreturn]] void exit(unsigned long code);
    HANDLE handle() const { return handle_; }

  private:
    static unsigned long Func(void * object);

    std::uint32_t threadId_ = 0;
    HANDLE handle_ = nullptr;
    std::atomic<bool> autoDestroy_;
};

/// Calls a function on a thread of its own whenever an event is signalled.
class ONDREL_API EventCallback : public Thread {
  public:
    using Function = void (*)(void * argument);

    /// Waits for the event of that name; raises Error when there is none.
    EventCallback(char const * eventName, Function function, void * argument,
                  char const * threadName, bool suspended, int priority, bool autoReset,
                  bool autoDestroy);
    /// Waits for the event behind a handle, which stays the caller's; raises Error when it is none.
    EventCallback(void * eventHandle, Function function, void * argument, char const * threadName,
                  bool suspended, int priority, bool autoReset, bool autoDestroy);
    /// Calls `done`, except on the thread itself.
    ~EventCallback() override;

    /// Ends the thread and waits for it; a running call is waited for, and none begins afterwards.
    /// With auto-destroy it also ends the object.
    void done();
    /// Without it the thread ends after its next call.
    void set_auto_reset(bool autoReset) { autoReset_ = autoReset; }

  protected:
    void run() override;

  private:
    /// Takes the handle over, and starts suspended.
    EventCallback(HANDLE source, Function function, void * argument, int priority, bool autoReset,
                  bool autoDestroy);

    HANDLE stopEvent_ = nullptr;
    HANDLE sourceEvent_ = nullptr;
    std::atomic<int> running_{1};
    std::atomic<int> ending_{0}; ///< calls of `done` that still need the object
    Function function_;
    void * argument_;
    CriticalSection guard_{"call_guard"};
    std::atomic<bool> autoReset_;
};

/// Calls a function after a time, again and again, on a thread of its own. Without auto-reset it
/// calls once, and has two gates: `start` opens the first, and the caller opens the second with
/// `resume` when the time shall begin to run.
class ONDREL_API Timer : public Thread {
  public:
    using Function = void (*)(void * argument);

    Timer();
    /// Calls `done`, except on the timer's own thread.
    ~Timer() override;

    /// From 0 to 2147483 seconds, in whole milliseconds; what is less or no number is 0. The
    /// function is called on the thread of the timer.
    void start(float seconds, Function function, void * argument);
    /// Forgets what `start` was told. A delay that runs ends without a call.
    void reset();
    /// Ends the thread, from whichever gate it waits at, and waits for it; a delay that runs is
    /// waited for together with its call.
    void done();
    /// True at first. Takes effect at the next gate.
    void set_auto_reset(bool autoReset) { autoReset_ = autoReset; }
    bool is_started() const { return started_; }

  protected:
    void run() override;

  private:
    bool passGates();
    bool beginDelay(std::uint32_t & delayMs);
    void endDelay();

    Function function_ = nullptr;
    std::atomic<bool> finished_{false};
    std::uint32_t delayMs_ = 0;
    void * argument_ = nullptr;
    std::atomic<bool> started_{false};
    std::atomic<bool> autoReset_{true};
    GCriticalSection fields_; ///< makes "told, then resumed" one step for the thread
};

} // namespace Tavlin
