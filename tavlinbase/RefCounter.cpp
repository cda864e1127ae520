// The door through which every counted object ends, and the lists in which a thread holds back
// those that fall to 0: while a graph is under construction, and while a long chain of objects that
// end one another has used the stack up.
#include "tavlinbase/RefCounter.h"

#include "foundation/GCastCache.h"
#include "foundation/GCollection.h"
#include "persistence/PStreamTables.h"
#include "persistence/pstream.h"
#include "platform/Stack.h"

#include <algorithm>
#include <utility>

namespace Tavlin {

G_DEFINE_CLASS(RefCounter, "Tavlin::RefCounter", GStreamable)

namespace {

class PostponedReleasesCollection : public TGCollection<RefCounter> {
  public:
    PostponedReleasesCollection() : TGCollection<RefCounter>(0, 1024, 0) {}
    /// Grows faster than by its delta: the load of a large world postpones millions.
    void append(RefCounter * object) {
        if (getCount() == getLimit())
            setLimit(getLimit() + std::max(getDelta(), getLimit() / 2));
        insert(object);
    }
};

struct Pause {
    long depth = 0;
    PostponedReleasesCollection * list = nullptr;
};

constinit thread_local Pause t_pause;

/// The ends that are under way on this thread, one inside the other, and those which wait for the
/// outermost of them.
struct Ends {
    long depth = 0;
    PostponedReleasesCollection * waiting = nullptr;
};

constinit thread_local Ends t_ends;

struct EndGuard {
    EndGuard() { ++t_ends.depth; }
    ~EndGuard() { --t_ends.depth; }
    EndGuard(EndGuard const &) = delete;
    EndGuard & operator=(EndGuard const &) = delete;
};

} // namespace

/// While a stream reads an object that it has built, references that come and go do not end it; and
/// when the load breaks off there, it ends unless somebody has taken it.
struct RefCounterCare {
    static void * begin(GStreamable & object) {
        auto * const counter = gcast_cached<RefCounter>(&object);
        if (counter)
            ++counter->creators_;
        return counter;
    }
    static void end(void * care, bool whole) {
        auto * const counter = static_cast<RefCounter *>(care);
        --counter->creators_;
        if (!whole && counter->count_ == 0)
            counter->finalRelease();
    }
};

namespace {

[[maybe_unused]] bool const g_caring =
    (ondrel_detail::g_readingCare = {&RefCounterCare::begin, &RefCounterCare::end,
                                     &RefCounter::PauseFinalRelease,
                                     &RefCounter::ResumeFinalRelease},
     true);

} // namespace

void RefCounter::read(ipstream &) {}

void RefCounter::write(opstream &) {}

RefCounter * RefCounter::registerCreated() {
    return this;
}

void RefCounter::onFinalRelease() {
    ending_ = true;
    delete this;
}

void RefCounter::finalRelease() {
    if (ending_ || creators_ > 0)
        return;
    if (t_pause.depth > 0) {
        // Made at first need: every load pauses, and few have something to put off.
        if (!t_pause.list)
            t_pause.list = new PostponedReleasesCollection;
        ++count_; // held by the list
        t_pause.list->append(this);
        return;
    }
    // The outermost end is never put off, so whatever waits gets its turn.
    if (t_ends.depth > 0 && platform::stackIsLow()) {
        if (!t_ends.waiting)
            t_ends.waiting = new PostponedReleasesCollection;
        ++count_; // held by the list
        t_ends.waiting->append(this);
        return;
    }
    EndGuard const guard;
    onFinalRelease();
    if (t_ends.depth == 1 && t_ends.waiting)
        EndWaiting();
}

/// Ends what waits, and what comes to wait meanwhile.
void RefCounter::EndWaiting() {
    while (long const count = t_ends.waiting->getCount()) {
        RefCounter * const object = t_ends.waiting->at(count - 1);
        t_ends.waiting->at_remove(count - 1);
        if (--object->count_ < 1 && !object->ending_ && object->creators_ == 0)
            object->onFinalRelease();
    }
    delete std::exchange(t_ends.waiting, nullptr);
}

void RefCounter::PauseFinalRelease() {
    ++t_pause.depth;
}

void RefCounter::ResumeFinalRelease() {
    if (--t_pause.depth != 0)
        return;
    // Taken out of the slot first: what ends may pause and resume by itself.
    PostponedReleasesCollection * const list = std::exchange(t_pause.list, nullptr);
    if (!list)
        return;
    for (long i = list->getCount() - 1; i >= 0; --i)
        list->at(i)->release();
    delete list;
}

long RefCounter::IsFinalReleasePaused() {
    return t_pause.depth;
}

void RefCounter::EndUnwanted(ipstream const & in, GStreamable * object) {
    if (!object || in.lastPointerMarker() != ipstream::NewObject)
        return;
    auto * const counter = gcast_cached<RefCounter>(object);
    if (!counter)
        object->destroyThis();
    else if (counter->count_ == 0)
        counter->finalRelease();
}

} // namespace Tavlin
