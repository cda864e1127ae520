// The mutex guards the list and the notes of what is running, never a function.
#include "persistence/ResourceFileCallbacks.h"

ResourceFileCallbacks & ResourceFileCallbacks::Get() {
    static ResourceFileCallbacks callbacks;
    return callbacks;
}

/// Notes that a function is running and leaves the lock for that long.
class ResourceFileCallbacks::Running {
  public:
    Running(ResourceFileCallbacks & list, GCallBackItem const & item,
            std::unique_lock<std::mutex> & lock)
        : list_(list), lock_(lock), run_{item, std::this_thread::get_id(), list.runs_} {
        list_.runs_ = &run_;
        lock_.unlock();
    }
    ~Running() {
        lock_.lock();
        Run ** at = &list_.runs_;
        while (*at != &run_)
            at = &(*at)->next;
        *at = run_.next;
        list_.ended_.notify_all();
    }
    Running(Running const &) = delete;
    Running & operator=(Running const &) = delete;

  private:
    ResourceFileCallbacks & list_;
    std::unique_lock<std::mutex> & lock_;
    Run run_;
};

void ResourceFileCallbacks::attach(GCallBackFunction function, GCallBackReason reason,
                                   void * data) {
    std::lock_guard const lock(mutex_);
    attach_callback(function, reason, data);
}

void ResourceFileCallbacks::detach(GCallBackFunction function, GCallBackReason reason,
                                   void * data) {
    std::unique_lock lock(mutex_);
    detach_callback(function, reason, data);
    ended_.wait(lock, [&] { return !mustWait(function, reason, data); });
}

bool ResourceFileCallbacks::mustWait(GCallBackFunction function, GCallBackReason reason,
                                     void * data) const {
    bool elsewhere = false;
    for (Run const * run = runs_; run; run = run->next) {
        if (run->item.function != function || run->item.data != data ||
            (run->item.reason != reason && reason != GAnyReason))
            continue;
        if (run->thread == std::this_thread::get_id())
            return false;
        elsewhere = true;
    }
    return elsewhere;
}

void ResourceFileCallbacks::call(GCallBackReason reason, void * param) {
    std::unique_lock lock(mutex_);
    GCallBackListRep::Walk walk(rep());
    while (walk.next > 0) {
        GCallBackItem const item = rep().at(--walk.next);
        if (item.reason != reason && item.reason != GAnyReason)
            continue;
        Running const running(*this, item, lock);
        item.function(reason, param, item.data);
    }
}
