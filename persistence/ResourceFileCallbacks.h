// The one list of callbacks of all resource files, for the store's own files. Threads share it, and
// no lock is held while a function runs: it may use any file, also one that another thread holds
// while it waits to tell of a change.
#pragma once

#include "foundation/GCallBackList.h"

#include <condition_variable>
#include <mutex>
#include <thread>

class ResourceFileCallbacks : private GCallBackList {
  public:
    /// Made at first use; who uses it to the end asks for it early.
    static ResourceFileCallbacks & Get();

    void attach(GCallBackFunction function, GCallBackReason reason, void * data);
    /// What was detached does not run in another thread any more, so that its data may go. A
    /// function that detaches itself does not wait for itself.
    void detach(GCallBackFunction function, GCallBackReason reason, void * data);
    void call(GCallBackReason reason, void * param);

  private:
    /// A function that is running.
    struct Run {
        GCallBackItem item;
        std::thread::id thread;
        Run * next;
    };
    class Running;

    bool mustWait(GCallBackFunction function, GCallBackReason reason, void * data) const;

    std::mutex mutex_;
    std::condition_variable ended_;
    Run * runs_ = nullptr;
};
