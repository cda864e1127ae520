// The list of all weak pointers. Its head and lock need no start-up code, so pointers may be
// statics anywhere.
#include "foundation/GPointer.h"

#include "foundation/GCriticalSection.h"

#include <atomic>

namespace {

/// A walk over the list that is under way. Unlinking moves it on, so a pointer that is told may
/// take any other away; walks nest when it destroys an object in turn.
struct Walk {
    GPointer * next;
    Walk * outer;
};

constinit GCriticalSection section;
constinit std::atomic<GPointer *> head = nullptr;
constinit Walk * walks = nullptr;

} // namespace

GPointer::GPointer(GObject * object) : object_(object) {
    GSingleLock const lock(section);
    GPointer * const first = head.load(std::memory_order_relaxed);
    next_ = first;
    if (first)
        first->previous_ = this;
    head.store(this, std::memory_order_release);
}

GPointer::~GPointer() {
    GSingleLock const lock(section);
    for (Walk * walk = walks; walk; walk = walk->outer)
        if (walk->next == this)
            walk->next = next_;
    if (next_)
        next_->previous_ = previous_;
    if (previous_)
        previous_->next_ = next_;
    else
        head.store(next_, std::memory_order_relaxed);
}

void GPointer::object_destroyed() {
    object_ = nullptr;
}

void GPointer::ObjectDestroyed(GObject * object) {
    // A pointer to this object that another thread is making now would dangle with the lock too,
    // so a look without it is enough to see that there is none.
    if (!head.load(std::memory_order_acquire))
        return;
    GSingleLock const lock(section);
    Walk walk{head.load(std::memory_order_relaxed), walks};
    walks = &walk;
    while (GPointer * const pointer = walk.next) {
        walk.next = pointer->next_;
        if (pointer->object_ == object)
            pointer->object_destroyed();
    }
    walks = walk.outer;
}
