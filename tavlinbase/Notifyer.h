// Subjects and those who want to be told about them. A subject keeps two lists, one told before a
// change and one after it; both sides know each other, so that either may die first. A dead
// callback leaves a null in the lists, so that a walk which is under way does not shift.
#pragma once

#include "foundation/GCollection.h"

namespace Tavlin {

class Notifyer;

/// Somebody who can be told.
class ONDREL_API NotifyCallback : public GObject {
    G_DECLARE_CLASS(NotifyCallback)
  public:
    /// With `mind` false the subjects own the callback: the first of them to die deletes it.
    explicit NotifyCallback(bool mind);
    ~NotifyCallback() override;
    NotifyCallback(NotifyCallback const &) = delete;
    NotifyCallback & operator=(NotifyCallback const &) = delete;

    /// A change of `subject`.
    virtual void notify(Notifyer const & subject) = 0;
    virtual bool wouldYouMindToBeKilled() { return mind_; }

  private:
    friend class Notifyer;

    bool mind_;
    TGCollection<Notifyer> notifyers_; // once for each list that holds this callback
};

/// A subject: somebody who tells of its changes.
class ONDREL_API Notifyer {
  public:
    constexpr Notifyer() = default;
    virtual ~Notifyer();
    Notifyer(Notifyer const &) = delete;
    Notifyer & operator=(Notifyer const &) = delete;

    /// Nothing when the list has the callback already.
    void addPrior(NotifyCallback * callback) { add(prior_, callback); }
    void addPost(NotifyCallback * callback) { add(post_, callback); }
    void removePrior(NotifyCallback * callback) { remove(prior_, callback); }
    void removePost(NotifyCallback * callback) { remove(post_, callback); }
    /// Sweep the dead out of the list and return how many remain.
    int getPriorCount() { return sweep(prior_); }
    int getPostCount() { return sweep(post_); }
    /// Null for one that died after the last sweep.
    NotifyCallback * getPrior(int index) const { return prior_.at(index); }
    NotifyCallback * getPost(int index) const { return post_.at(index); }

  protected:
    /// Bracket a change. Only the outermost pair tells, the last callback of each list first. While
    /// they are told, callbacks may come, go and die, and so may the subject.
    void lockup();
    void unlock();

  private:
    friend class NotifyCallback;
    using List = TGCollection<NotifyCallback>;
    struct Walk;
    void add(List & list, NotifyCallback * callback);
    void remove(List & list, NotifyCallback * callback);
    void tell(List & list);
    void end(List & list);
    int sweep(List & list);
    void takeOut(List & list, long index);

    int lockCount_ = 0;
    List prior_{GCollection::Borrowing()};
    List post_{GCollection::Borrowing()};
    Walk * walks_ = nullptr; // the innermost round that is under way
};

} // namespace Tavlin
