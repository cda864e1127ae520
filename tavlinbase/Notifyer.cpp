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

/// A round that is under way: the entries below `next` are still to be told. Rounds nest when a
/// callback changes the subject in turn.
struct Notifyer::Walk {
    // Not inlined: the compiler would warn of an address that stays behind, and cannot know that it
    // does so only in a subject that has died.
    [[gnu::noinline]] Walk(Notifyer & told, List & entries)
        : subject(told), list(entries), next(entries.getCount()), outer(told.walks_) {
        subject.walks_ = this;
    }
    ~Walk() {
        if (!ended)
            subject.walks_ = outer;
    }
    Walk(Walk const &) = delete;
    Walk & operator=(Walk const &) = delete;

    Notifyer & subject;
    List & list;
    long next;
    Walk * outer;
    bool ended = false; // the subject has died
};

Notifyer::~Notifyer() {
    for (Walk * walk = walks_; walk; walk = walk->outer)
        walk->ended = true;
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
    long const index = callback ? list.index_of(callback) : -1;
    if (index < 0)
        return;
    takeOut(list, index);
    callback->notifyers_.remove(this);
}

/// The rounds under way neither miss an entry for that nor tell one twice.
void Notifyer::takeOut(List & list, long index) {
    list.at_remove(index);
    for (Walk * walk = walks_; walk; walk = walk->outer)
        if (&walk->list == &list && index < walk->next)
            --walk->next;
}

int Notifyer::sweep(List & list) {
    for (long i = list.getCount() - 1; i >= 0; --i)
        if (!list.at(i))
            takeOut(list, i);
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
    Walk walk(*this, list);
    while (!walk.ended && walk.next > 0)
        if (NotifyCallback * const callback = list.at(--walk.next))
            callback->notify(*this);
}

} // namespace Tavlin
