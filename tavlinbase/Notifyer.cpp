// Subjects and callbacks, and what each does to the other when it dies.
#include "tavlinbase/Notifyer.h"

namespace Tavlin {

G_DEFINE_CLASS(NotifyCallback, "Tavlin::NotifyCallback", GObject)

NotifyCallback::NotifyCallback(bool mind) : mind_(mind), notifyers_(GCollection::Borrowing()) {}

NotifyCallback::~NotifyCallback() {
    for (long i = notifyers_.getCount() - 1; i >= 0; --i) {
        Notifyer & subject = *notifyers_.at(i);
        // The slots stay, so that a walk of the subject does not shift.
        for (Notifyer::List * const list : {&subject.prior_, &subject.post_})
            if (long const index = list->index_of(this); index >= 0)
                list->at_put(index, nullptr);
        notifyers_.at_remove(i);
    }
}

Notifyer::~Notifyer() {
    end(prior_);
    end(post_);
}

void Notifyer::end(List & list) {
    for (long i = list.getCount() - 1; i >= 0; --i) {
        NotifyCallback * const callback = list.at(i);
        if (!callback)
            continue;
        list.at_remove(i);
        callback->notifyers_.remove(this);
        if (!callback->wouldYouMindToBeKilled())
            delete callback;
    }
}

void Notifyer::add(List & list, NotifyCallback * callback) {
    sweep(list);
    if (list.index_of(callback) >= 0)
        return;
    list.insert(callback);
    callback->notifyers_.insert(this);
}

void Notifyer::remove(List & list, NotifyCallback * callback) {
    if (callback && list.remove(callback) >= 0)
        callback->notifyers_.remove(this);
}

int Notifyer::sweep(List & list) {
    for (long i = list.getCount() - 1; i >= 0; --i)
        if (!list.at(i))
            list.at_remove(i);
    return static_cast<int>(list.getCount());
}

void Notifyer::lockup() {
    if (++lockCount_ == 1)
        tell(prior_);
}

void Notifyer::unlock() {
    if (lockCount_-- == 1)
        tell(post_);
}

void Notifyer::tell(List & list) {
    for (long i = list.getCount() - 1; i >= 0; --i) {
        // A callback may remove itself and others.
        if (i >= list.getCount())
            continue;
        if (NotifyCallback * const callback = list.at(i))
            callback->notify(*this);
    }
}

} // namespace Tavlin
