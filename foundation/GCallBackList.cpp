// Registration by function, data and reason.
#include "foundation/GCallBackList.h"

constinit GCallBackReason const GAnyReason(static_cast<long>(0x80000000));

GCallBackListRep::Walk::~Walk() {
    // Not the innermost one where several threads share a list, each with calls of its own.
    Walk ** at = &rep.walks_;
    while (*at != this)
        at = &(*at)->outer;
    *at = outer;
}

void GCallBackListRep::drop(long index) {
    at_remove(index);
    for (Walk * walk = walks_; walk; walk = walk->outer)
        if (index < walk->next)
            --walk->next;
}

GCallBackList::GCallBackList() : rep_(new GCallBackListRep) {}

GCallBackList::~GCallBackList() {
    delete rep_;
}

namespace {

bool isFor(GCallBackItem const & item, GCallBackFunction function, void * data) {
    return item.function == function && item.data == data;
}

/// The item of this function and data with exactly this reason, or null.
GCallBackItem * find(GCallBackListRep & rep, GCallBackFunction function, GCallBackReason reason,
                     void * data) {
    for (GCallBackItem & item : rep)
        if (isFor(item, function, data) && item.reason == reason)
            return &item;
    return nullptr;
}

} // namespace

void GCallBackList::attach_callback(GCallBackFunction function, GCallBackReason reason,
                                    void * data) {
    if (GCallBackItem * const any = find(*rep_, function, GAnyReason, data)) {
        if (reason == GAnyReason)
            ++any->count;
        return;
    }
    if (GCallBackItem * const same = find(*rep_, function, reason, data)) {
        ++same->count;
        return;
    }
    if (reason == GAnyReason)
        detach_callback(function, GAnyReason, data);
    rep_->insert({function, reason, data, 1});
}

void GCallBackList::detach_callback(GCallBackFunction function, GCallBackReason reason,
                                    void * data) {
    for (long i = rep_->getCount() - 1; i >= 0; --i) {
        GCallBackItem & item = rep_->at(i);
        if (!isFor(item, function, data))
            continue;
        if (reason == GAnyReason || (item.reason == reason && --item.count == 0))
            rep_->drop(i);
    }
}

void GCallBackList::call(GCallBackReason reason, void * param) {
    GCallBackListRep::Walk walk(*rep_);
    while (walk.next > 0) {
        GCallBackItem const item = rep_->at(--walk.next);
        if (item.reason == reason || item.reason == GAnyReason)
            item.function(reason, param, item.data);
    }
}
