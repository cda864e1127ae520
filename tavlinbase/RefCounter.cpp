// The door through which every counted object ends, and the list in which a thread holds back those
// that fall to 0 while a graph is under construction.
#include "tavlinbase/RefCounter.h"

#include "foundation/GCollection.h"

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
    if (t_pause.depth != 0 && t_pause.list) {
        ++count_; // held by the list
        t_pause.list->append(this);
        return;
    }
    onFinalRelease();
}

void RefCounter::PauseFinalRelease() {
    if (t_pause.depth == 0)
        t_pause.list = new PostponedReleasesCollection;
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

} // namespace Tavlin
