// The count by which everything of the engine layer lives. A new object has a count of 0; the first
// TRef takes it to 1, and when the last one goes the object is asked to end itself, which it may
// refuse. A thread that builds a graph can hold such ends back until the graph stands.
#pragma once

#include "foundation/GStreamable.h"
#include "platform/Export.h"

namespace Tavlin {

template <class T>
class TRef;

/// Always a virtual base where classes combine, so that an object has one count.
class ONDREL_API RefCounter : public GStreamable {
    G_DECLARE_CLASS(RefCounter)
  public:
    RefCounter() = default;
    explicit RefCounter(StreamableInit init) : GStreamable(init) {}
    /// Copies are made for the value only, and take the count along.
    RefCounter(RefCounter const & other) : GStreamable(other), count_(other.count_) {}
    RefCounter & operator=(RefCounter const & other) {
        GStreamable::operator=(other);
        count_ = other.count_;
        return *this;
    }

    /// References held. Not atomic: a counted object belongs to one thread at a time.
    long getReferenceCount() const { return count_; }

    /// The count is not streamed.
    void read(ipstream & in) override;
    void write(opstream & out) override;

    /// Called when the count has fallen below 1: deletes the object. An override that refuses
    /// leaves the object alive with a count of 0, to be asked again when the next reference goes.
    virtual void onFinalRelease();

    /// From here on final releases on this thread are kept in a list; calls nest.
    static void PauseFinalRelease();
    /// The outermost call ends those in the list that are still without a reference, the last one
    /// first. Must be paired with PauseFinalRelease, also when something throws.
    static void ResumeFinalRelease();
    /// The depth of pauses of this thread.
    static long IsFinalReleasePaused();

    /// Ends what `in` has just read and the caller has no use for, if it was built for this
    /// reference and nobody holds it. Null is tolerated.
    static void EndUnwanted(ipstream const & in, GStreamable * object);

  protected:
    /// Makes a new object known; returns the one to use in its place. Here the object itself.
    virtual RefCounter * registerCreated();

  private:
    template <class T>
    friend class TRef;
    friend class AUnknown;
    friend class Object;
    friend class ObjectCreator;
    friend struct RefCounterCare;

    long addref() { return ++count_; }
    long release() {
        long const before = count_--;
        if (before <= 1)
            finalRelease();
        return before;
    }
    /// When the stack runs low, the object waits until the outermost end on this thread is through,
    /// so that a chain of any length can end.
    void finalRelease();
    static void EndWaiting();

    // These fill the gap that alignment leaves in front of the count.
    unsigned char creators_ = 0; ///< ObjectCreators and streams that answer for the object
    bool ending_ = false; ///< being ended: references that come and go do not end it once more
    bool listed_ = false; ///< an interface that an object owns
    long count_ = 0;
};

/// Holds final releases back for a scope.
class FinalReleasePause {
  public:
    FinalReleasePause() { RefCounter::PauseFinalRelease(); }
    ~FinalReleasePause() { RefCounter::ResumeFinalRelease(); }
    FinalReleasePause(FinalReleasePause const &) = delete;
    FinalReleasePause & operator=(FinalReleasePause const &) = delete;
};

} // namespace Tavlin
