// The interface that makes an object the first of a list of objects. The object that it is attached
// to, its owner, is number 0 and the others follow; a change of number 0 moves the interface to
// another object.
#pragma once

#include "tavlinbase/TRefVector.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

/// The list of objects behind an object, with itself as number 0.
class ONDREL_API IObjectContainer : public virtual AUnknown {
    G_DECLARE_CREATABLE(IObjectContainer)
  public:
    IObjectContainer() = default;

    /// The owner counts.
    int getObjectCount() const { return int(others_.getCount()) + 1; }
    /// 0 is the owner; the index is not checked.
    TRef<Object> objectAt(int index) const;
    /// 0 for the owner, and for an object that is not there.
    int indexOfObject(TRef<Object> const & object) const;

    /// Adds at the end; the index.
    int insertObject(TRef<Object> const & object);
    /// Index 0 makes `object` the owner and the present one number 1. An index beyond the end
    /// leaves nulls in between.
    void insertObjectAt(int index, TRef<Object> const & object);
    /// Both add at the end when `reference` is not there; the index.
    int insertObjectBefore(TRef<Object> const & reference, TRef<Object> const & object);
    int insertObjectAfter(TRef<Object> const & reference, TRef<Object> const & object);
    /// Index 0 makes `object` the owner, and the present one leaves the list.
    void putObjectAt(int index, TRef<Object> const & object);
    /// An `old` that is not there stands for the owner.
    void replaceObjectBy(TRef<Object> const & old, TRef<Object> const & object);
    /// Taking the owner out hands the container to the first other one, which stays in the list as
    /// well, or to nobody, which ends a container that nobody holds.
    void removeObject(TRef<Object> const & object);
    void removeObjectAt(int index);

    /// The first object behind the owner that is of the class; null if none.
    TRef<Object> getObject(GMetaClass const * metaClass);
    /// The next one behind that of the last getObject or getNext; null if none.
    TRef<Object> getNext(GMetaClass const * metaClass);
    using AUnknown::getObject;

    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    /// Moves to another object, or to none. Nobody but this may hold the container, so that it may
    /// be gone afterwards.
    void delegateTo(Object * object);
    void delegateToNext();

  private:
    TRefVector<Object> others_;
    int cursor_ = -1; // in others_
};

} // namespace Tavlin
