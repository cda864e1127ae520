// The queue of condemned objects.
#include "foundation/SuspendedDestruction.h"

#include "foundation/GCriticalSection.h"
#include "foundation/GPointer.h"
#include "foundation/GStreamable.h"

#include <deque>

namespace {

constinit GCriticalSection g_section;
constinit bool g_enabled = false;

/// What is condemned after the end of the queue, by statics that end later, goes at once.
struct Queue {
    std::deque<GPointer> waiting;
    ~Queue() { g_enabled = false; }
};

std::deque<GPointer> & queue() {
    static Queue queue;
    return queue.waiting;
}

void destroy(GObject * object) {
    if (!object)
        return;
    if (auto * const streamable = gcast<GStreamable>(object))
        GStreamable::Destroy(streamable);
    else
        object->destroyThis();
}

} // namespace

void SuspendedDestruction::Enable(unsigned char enabled) {
    DestroyAll();
    GSingleLock const lock(g_section);
    g_enabled = enabled != 0;
    if (!g_enabled)
        queue().clear();
}

bool SuspendedDestruction::IsEnabled() {
    return g_enabled;
}

void SuspendedDestruction::Put(GObject * object) {
    if (!object)
        return;
    if (!g_enabled) {
        destroy(object);
        return;
    }
    GSingleLock const lock(g_section);
    queue().emplace_back(object);
}

void SuspendedDestruction::DestroyAll() {
    GSingleLock const lock(g_section);
    while (!queue().empty()) {
        GObject * const object = queue().front().pointer();
        queue().pop_front();
        destroy(object);
    }
}
