// A message board: a table of groups, each a list of handlers for one message. Every handler is an
// object that is called by one fixed name, "default", so that data can hook any object to any
// message. What stands on a board comes from streams and libraries.
#pragma once

#include "tavlinbase/IDispatcher.h"
#include "tavlinbase/TRefVector.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

/// Objects that are called one after the other.
class ONDREL_API HandlerCollectionObject : public Object {
    G_DECLARE_CREATABLE(HandlerCollectionObject)
  public:
    /// The name by which handlers are called: "default".
    static NameLinkID const g_name_default;

    HandlerCollectionObject() = default;

    TRefVector<Object> & handlers() { return handlers_; }
    TRefVector<Object> const & handlers() const { return handlers_; }

    /// Calls every handler in the order of the list, whatever those before it answered. All get the
    /// same result and arguments, either of which may be null. True if every one took the call.
    /// Handlers may change the list: one that is taken out before its turn is left out, and those
    /// that come wait for the next message. False also when handlers that lead back here have
    /// nested too deeply; then the whole message is broken off.
    bool invoke_handlers(VariableRef * result, VRefVector * args);
    /// The same with an empty result and no arguments.
    bool invoke_handlers();

    using Object::compare;
    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    bool isListed(Object const * handler, long index) const;

    TRefVector<Object> handlers_{0, 4};
    TRefVector<Object> round_{0, 4}; // empty: the room for the next message
};

/// The handlers of one message.
class ONDREL_API SimpleDispatcherFunctionGroup : public HandlerCollectionObject,
                                                 public IDispatcher,
                                                 public IDispatcher::Info {
    G_DECLARE_CREATABLE(SimpleDispatcherFunctionGroup)
  public:
    SimpleDispatcherFunctionGroup() = default;

    /// The message. A group that stands on a board must keep its name: the board is sorted by it.
    NameLinkID getName() const { return name_; }
    void setName(NameLinkID name) { name_ = name; }

    /// True for its message, whatever the handlers answered.
    bool invoke(DispParams * params) override;
    IDispatcher::Info const * getTypeInfo() override { return this; }
    int getNamesCount() const override { return 1; }
    bool getNameInfo(int index, NameLinkID * name, IDispatcher::CallType * type, int * thisOffset,
                     void ** function, VariableTypes * returnType) const override;

    void onFinalRelease() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    NameLinkID name_;
};

/// A message board: one group of handlers for each message.
class ONDREL_API SimpleDispatcher : public UniqueObject,
                                    public IDispatcher,
                                    public IDispatcher::Info {
    G_DECLARE_CREATABLE(SimpleDispatcher)
  public:
    /// The groups, sorted by their messages; there is one for each.
    class ONDREL_API Functions
        : public TRefSortedVectorC<SimpleDispatcherFunctionGroup, NameLinkID> {
      public:
        Functions() : TRefSortedVectorC<SimpleDispatcherFunctionGroup, NameLinkID>(0, 4) {}

      protected:
        NameLinkID keyOf(TRef<SimpleDispatcherFunctionGroup> const & group) const override;
        int compare(NameLinkID a, NameLinkID b) const override;
    };

    SimpleDispatcher() = default;

    Functions & functions() { return settled(); }
    Functions const & functions() const { return settled(); }

    /// True when there is a group for the message.
    bool invoke(DispParams * params) override;
    IDispatcher::Info const * getTypeInfo() override { return this; }
    int getNamesCount() const override { return static_cast<int>(functions().getCount()); }
    bool getNameInfo(int index, NameLinkID * name, IDispatcher::CallType * type, int * thisOffset,
                     void ** function, VariableTypes * returnType) const override;

    void onFinalRelease() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    Functions & settled() const {
        if (unsettled_)
            settle();
        return functions_;
    }
    void settle() const;

    mutable Functions functions_;
    mutable bool unsettled_ = false; // as they came out of a stream
};

} // namespace Tavlin
