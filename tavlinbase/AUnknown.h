// The base of what can be attached to an Object while it runs. An attached interface lives with its
// object, which owns it without counting: the count of an interface is that of outside holders, and
// as long as there are any they keep the object as well.
#pragma once

#include "tavlinbase/TRef.h"

namespace Tavlin {

class Object;

/// An interface: what can be attached to an Object, and is owned by it then.
class ONDREL_API AUnknown : public virtual RefCounter {
    G_DECLARE_CLASS(AUnknown)
  public:
    AUnknown() = default;

    /// The object that this is attached to, null when detached.
    TRef<Object> getObject() const;
    /// The same without a reference, for a look that ends nothing.
    Object * objectPointer() const { return object_; }

    /// Another interface of the same object, as Object::queryInterface finds it; null when
    /// detached.
    virtual TRef<AUnknown> getInterface(GMetaClass const * metaClass);
    /// Called when this has been given to an object; false refuses.
    virtual bool attach();
    /// Called when this is about to leave its object, which is still known.
    virtual void detach();
    /// Whether the object, which nobody holds any more, may go. Here: when nobody holds this.
    virtual bool canDestroyObject();

    /// Byte 1, then the reference to the object.
    void read(ipstream & in) override;
    void write(opstream & out) override;
    /// A detached interface is deleted. An attached one stays, and ends its object when nobody
    /// holds that either: this was the last that kept it.
    void onFinalRelease() override;

  private:
    friend class Object;

    Object * object_ = nullptr; // not counted
};

/// The written form of any counted reference: an interface is written as its object.
ONDREL_API void RefCounterWrite(opstream & out, TRef<RefCounter> const & reference);
/// Reads what RefCounterWrite wrote; `expected` is the class that the caller wants: an Object is
/// registered and may be replaced by an equal one, an interface is queried from its object.
ONDREL_API TRef<RefCounter> RefCounterRead(ipstream & in, GMetaClass const * expected);

} // namespace Tavlin
