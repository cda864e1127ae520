// Calls that are repeated at high rate: a binding looks its name up once and then calls the native
// function directly. A name that has no native function (a Variable, or one that a dispatcher
// answers by itself) still works through the binding, by the dynamic call. The Bound forms keep
// their object alive; the ExternalBound forms do not, and fail once it has gone.
#pragma once

#include "platform/Export.h"
#include "tavlinbase/ExternalRef.h"
#include "tavlinbase/IDispatcher.h"

namespace Tavlin {

namespace detail {

/// An ExternalRef that lets a binding reach its target.
class BoundExternalRef : public ExternalRef {
  public:
    BoundExternalRef() = default;
    ONDREL_API BoundExternalRef(TRef<Object> const & object);
    ONDREL_API BoundExternalRef & operator=(TRef<Object> const & object);
    Object * pointer() const { return ExternalRef::pointer(); }
};

/// What a look-up finds: the native function, null without a fast path, and its `this`.
struct BoundTarget {
    void * function = nullptr;
    void * thisPointer = nullptr;
};
/// True when an interface of `object` knows the name under exactly that type.
ONDREL_API bool findBoundTarget(TRef<Object> const & object, NameLinkID name,
                                IDispatcher::CallType type, BoundTarget & target);

} // namespace detail

/// `Reference` is TRef<Object>, which keeps the object, or an ExternalRef, which does not.
template <class Reference>
class TBoundInvoke {
  public:
    TBoundInvoke() = default;
    TBoundInvoke(TBoundInvoke const &) = default;
    TBoundInvoke & operator=(TBoundInvoke const &) = default;
    virtual ~TBoundInvoke() = default;

    /// Stores object and name whatever happens; true when an interface of the object has the name.
    /// The direct call needs that interface to stay attached.
    bool bind(TRef<Object> const & object, NameLinkID name, IDispatcher::CallType type) {
        object_ = object;
        name_ = name;
        detail::BoundTarget target;
        bool const found = detail::findBoundTarget(object, name, type, target);
        function_ = target.function;
        thisPointer_ = target.thisPointer;
        return found;
    }
    bool isEmpty() const { return object_.pointer() == nullptr; }
    /// True when calls go directly to a native function.
    bool isBound() const { return function_ != nullptr; }
    /// Lets go of the object; the name stays.
    void empty() {
        object_.empty();
        function_ = nullptr;
        thisPointer_ = nullptr;
    }
    TRef<Object> getObject() const { return TRef<Object>(object_.pointer()); }
    NameLinkID getNameLinkID() const { return name_; }

  protected:
    Reference object_;
    void * function_ = nullptr;
    void * thisPointer_ = nullptr;
    NameLinkID name_;
};

/// What the two bound properties have in common.
template <class Reference>
class TBoundProperty : public TBoundInvoke<Reference> {
  public:
    /// The native call itself, without any test: the caller has checked isBound().
    void invoke_bound(VariableRef & value) const {
        InvokeBoundProperty(this->function_, this->thisPointer_, &value);
    }
    static void InvokeBoundProperty(void * function, void * object, VariableRef * value) {
        reinterpret_cast<void (*)(void *, VariableRef *)>(function)(object, value);
    }
};

/// A bound getter.
template <class Reference>
class TBoundPropertyGet : public TBoundProperty<Reference> {
  public:
    bool bind(TRef<Object> const & object, NameLinkID name) {
        return TBoundInvoke<Reference>::bind(object, name, IDispatcher::PropertyGet);
    }
    /// Reads into `value`; false when nobody has the name or the object has gone.
    bool invoke(VariableRef & value) const {
        if (this->isEmpty())
            return false;
        if (this->isBound()) {
            this->invoke_bound(value);
            return true;
        }
        return PropertyGetParams(this->name_, &value).call(this->getObject());
    }
    /// The value, empty on failure.
    VariableRef invoke() const {
        VariableRef value;
        invoke(value);
        return value;
    }
};

/// A bound setter.
template <class Reference>
class TBoundPropertySet : public TBoundProperty<Reference> {
  public:
    bool bind(TRef<Object> const & object, NameLinkID name) {
        return TBoundInvoke<Reference>::bind(object, name, IDispatcher::PropertySet);
    }
    /// Writes `value`; false when nobody took it or the object has gone.
    bool invoke(VariableRef const & value) const {
        if (this->isEmpty())
            return false;
        if (this->isBound()) {
            this->invoke_bound(const_cast<VariableRef &>(value));
            return true;
        }
        return PropertySetParams(this->name_, value).call(this->getObject());
    }
};

/// A bound method.
template <class Reference>
class TBoundMethod : public TBoundInvoke<Reference> {
  public:
    bool bind(TRef<Object> const & object, NameLinkID name) {
        return TBoundInvoke<Reference>::bind(object, name, IDispatcher::Method);
    }
    /// Both arguments may be null; false when nobody has the method or the object has gone.
    bool invoke(VariableRef * result, VRefVector * args) const {
        if (this->isEmpty())
            return false;
        if (this->isBound()) {
            invoke_bound(result, args);
            return true;
        }
        return DispParams(this->name_, result, args, IDispatcher::Method).call(this->getObject());
    }
    /// The native call itself, without any test: the caller has checked isBound().
    void invoke_bound(VariableRef * result, VRefVector * args) const {
        InvokeBoundMethod(this->function_, this->thisPointer_, result, args);
    }
    static void InvokeBoundMethod(void * function, void * object, VariableRef * result,
                                  VRefVector * args) {
        reinterpret_cast<void (*)(void *, VariableRef *, VRefVector *)>(function)(object, result,
                                                                                  args);
    }
};

using BoundInvoke = TBoundInvoke<TRef<Object>>;
using BoundProperty = TBoundProperty<TRef<Object>>;
using BoundPropertyGet = TBoundPropertyGet<TRef<Object>>;
using BoundPropertySet = TBoundPropertySet<TRef<Object>>;
using BoundMethod = TBoundMethod<TRef<Object>>;

using ExternalBoundInvoke = TBoundInvoke<detail::BoundExternalRef>;
using ExternalBoundProperty = TBoundProperty<detail::BoundExternalRef>;
using ExternalBoundPropertyGet = TBoundPropertyGet<detail::BoundExternalRef>;
using ExternalBoundPropertySet = TBoundPropertySet<detail::BoundExternalRef>;
using ExternalBoundMethod = TBoundMethod<detail::BoundExternalRef>;

} // namespace Tavlin
