// The lock of the foundation and the guard that holds it for a scope. Both may be used while
// statics start and end, in any order.
#pragma once

#include "platform/Export.h"
#include "platform/Threads.h"

/// A lock that the thread which holds it may take again.
class GCriticalSection {
  public:
    constexpr GCriticalSection() = default;
    GCriticalSection(GCriticalSection const &) = delete;
    GCriticalSection & operator=(GCriticalSection const &) = delete;

    void lock_object() { mutex_.lock(); }
    void unlock_object() { mutex_.unlock(); }

  private:
    platform::RecursiveMutex mutex_;
};

/// Holds a GCriticalSection, which must live longer.
class GSingleLock {
  public:
    explicit GSingleLock(GCriticalSection * section) : section_(section) {
        section_->lock_object();
    }
    explicit GSingleLock(GCriticalSection & section) : GSingleLock(&section) {}
    ~GSingleLock() { section_->unlock_object(); }
    GSingleLock(GSingleLock const &) = delete;
    GSingleLock & operator=(GSingleLock const &) = delete;

  private:
    GCriticalSection * section_;
};
