// Plain functions that want to be told: each is registered with a reason, a call states its reason,
// and those that asked for it or for any reason are called.
#pragma once

#include "foundation/TGVector.h"

#include <cstdint>

/// Why somebody is told: a number that means something to the caller.
class GCallBackReason {
  public:
    /// The address of this very object: a static reason is unique without a list of numbers.
    GCallBackReason() : value_(static_cast<long>(reinterpret_cast<std::intptr_t>(this))) {}
    constexpr explicit GCallBackReason(long value) : value_(value) {}

    bool operator==(GCallBackReason const & other) const { return value_ == other.value_; }
    bool operator!=(GCallBackReason const & other) const { return value_ != other.value_; }

  private:
    long value_;
};

/// All reasons.
extern ONDREL_API GCallBackReason const GAnyReason;

/// `reason` and `param` come from the call, `data` from the registration.
using GCallBackFunction = void (*)(GCallBackReason reason, void * param, void * data);

/// One registration.
struct GCallBackItem {
    GCallBackFunction function;
    GCallBackReason reason;
    void * data;
    long count; // how many times it was attached
};

/// The registrations of a list.
class GCallBackListRep : public TGVector<GCallBackItem> {
  public:
    GCallBackListRep() : TGVector<GCallBackItem>(0, 4, true) {}

    /// A call that is under way: the items below `next` are still to be told. Calls nest when a
    /// function calls the list in turn.
    struct Walk {
        explicit Walk(GCallBackListRep & list)
            : rep(list), next(list.getCount()), outer(list.walks_) {
            rep.walks_ = this;
        }
        ~Walk();
        Walk(Walk const &) = delete;
        Walk & operator=(Walk const &) = delete;

        GCallBackListRep & rep;
        long next;
        Walk * outer;
    };
    /// Removes item `index`; the calls under way neither miss one for that nor tell one twice.
    void drop(long index);

  private:
    Walk * walks_ = nullptr;
};

/// Functions with their reasons, which a call goes through in turn.
class ONDREL_API GCallBackList {
  public:
    GCallBackList();
    ~GCallBackList();
    GCallBackList(GCallBackList const &) = delete;
    GCallBackList & operator=(GCallBackList const &) = delete;

    /// The same function, reason and data again is counted. What is registered for any reason
    /// covers all narrower ones.
    void attach_callback(GCallBackFunction function, GCallBackReason reason, void * data);
    /// Undoes one attach; with GAnyReason all of this function and data at once.
    void detach_callback(GCallBackFunction function, GCallBackReason reason, void * data);
    /// Calls those of this reason and of any, the last one first.
    void call(GCallBackReason reason, void * param);

  protected:
    GCallBackListRep & rep() { return *rep_; }

  private:
    GCallBackListRep * rep_;
};
