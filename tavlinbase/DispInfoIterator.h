// Walks over the names that a dispatcher tells of itself: DispInfoIterator over one description,
// DispObjectInfoIterator over those of all dispatching interfaces of an object.
#pragma once

#include "platform/Export.h"
#include "tavlinbase/IDispatcher.h"
#include "tavlinbase/InterfaceIterator.h"

namespace Tavlin {

/// Names of one description, by a mask of call types.
class ONDREL_API DispInfoIterator {
  public:
    /// Stands on the first name of `info` whose call type is in `mask`; `info` may be null and must
    /// outlive the iterator.
    DispInfoIterator(IDispatcher::Info const * info, IDispatcher::CallType mask);
    virtual ~DispInfoIterator() = default;

    /// The following three start again at the first name.
    void reset(IDispatcher::Info const * info, IDispatcher::CallType mask);
    void info(IDispatcher::Info const * info);
    void flags(IDispatcher::CallType mask);
    virtual void first();
    /// To the next name; does nothing at the end.
    virtual void next();
    DispInfoIterator & operator++() {
        next();
        return *this;
    }
    explicit operator bool() const { return index_ < count_; }
    bool isEmpty() const { return index_ >= count_; }

    /// The current name; valid only before the end.
    int index() const { return index_; }
    NameLinkID name() const { return name_; }
    IDispatcher::CallType callType() const { return callType_; }
    int thisOffset() const { return thisOffset_; }
    void * function() const { return function_; }
    VariableTypes returnType() const { return returnType_; }

    int count() const { return count_; }
    IDispatcher::CallType flags() const { return flags_; }
    IDispatcher::Info const * info() const { return info_; }

    /// Copies name and call type of the current name; the rest is the caller's.
    void params(DispParams & params) const;
    /// Calls the current name on `object`; false at the end, or when nobody took the call.
    bool call(TRef<Object> const & object, VRefVector * args, VariableRef * result);

  protected:
    /// The positions within one description, for those that walk several.
    void firstName();
    void nextName();
    void setInfo(IDispatcher::Info const * info) { info_ = info; }

  private:
    void advance();

    int index_ = 0;
    NameLinkID name_;
    IDispatcher::CallType callType_ = {};
    int thisOffset_ = 0;
    void * function_ = nullptr;
    VariableTypes returnType_ = UNDEFINED;
    IDispatcher::Info const * info_;
    int count_ = 0;
    IDispatcher::CallType flags_;
};

/// Names of all dispatching interfaces of one object, in the order in which a call asks them. The
/// mask PropertyGet | Variable gives all that can be read. What is called on the way may take
/// interfaces out, also the one that the iterator stands on.
class ONDREL_API DispObjectInfoIterator : public DispInfoIterator {
  public:
    DispObjectInfoIterator(TRef<Object> const & object, IDispatcher::CallType mask);

    void first() override;
    void next() override;

    TInterfaceIterator<IDispatcher> & dispIter() { return interfaces_; }
    DispInfoIterator & infoIter() { return *this; }

  private:
    void settle();

    TInterfaceIterator<IDispatcher> interfaces_;
    TRef<IDispatcher> current_; // keeps the description
};

} // namespace Tavlin
