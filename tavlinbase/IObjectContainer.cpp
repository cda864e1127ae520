// The list of objects whose first one is the owner of the interface. Whatever moves the interface
// to another object is the last thing an operation does: it may end the container.
#include "tavlinbase/IObjectContainer.h"

#include "persistence/pstream.h"
#include "tavlinbase/ObjectListStream.h"

namespace Tavlin {

G_DEFINE_CREATABLE(IObjectContainer, "Tavlin::IObjectContainer", AUnknown)

TRef<Object> IObjectContainer::objectAt(int index) const {
    return index == 0 ? getObject() : others_.at(index - 1);
}

int IObjectContainer::indexOfObject(TRef<Object> const & object) const {
    return object == objectPointer() ? 0 : int(others_.index_of(object)) + 1;
}

int IObjectContainer::insertObject(TRef<Object> const & object) {
    return int(others_.insert(object)) + 1;
}

void IObjectContainer::insertObjectAt(int index, TRef<Object> const & object) {
    if (index > 0) {
        others_.at_insert(index - 1, object);
        return;
    }
    if (objectPointer())
        others_.at_insert(0, getObject());
    delegateTo(object);
}

int IObjectContainer::insertObjectBefore(TRef<Object> const & reference,
                                         TRef<Object> const & object) {
    int const index = indexOfObject(reference);
    if (index == 0 && reference != objectPointer())
        return insertObject(object);
    insertObjectAt(index, object);
    return index;
}

int IObjectContainer::insertObjectAfter(TRef<Object> const & reference,
                                        TRef<Object> const & object) {
    int const index = indexOfObject(reference);
    if (index == 0 && reference != objectPointer())
        return insertObject(object);
    insertObjectAt(index + 1, object);
    return index + 1;
}

void IObjectContainer::putObjectAt(int index, TRef<Object> const & object) {
    if (index == 0)
        delegateTo(object);
    else
        others_.at_put(index - 1, object);
}

void IObjectContainer::replaceObjectBy(TRef<Object> const & old, TRef<Object> const & object) {
    putObjectAt(indexOfObject(old), object);
}

void IObjectContainer::removeObject(TRef<Object> const & object) {
    if (object == objectPointer())
        delegateToNext();
    else
        others_.remove(object);
}

void IObjectContainer::removeObjectAt(int index) {
    if (index == 0)
        delegateToNext();
    else
        others_.at_remove(index - 1);
}

TRef<Object> IObjectContainer::getObject(GMetaClass const * metaClass) {
    cursor_ = -1;
    return getNext(metaClass);
}

TRef<Object> IObjectContainer::getNext(GMetaClass const * metaClass) {
    while (++cursor_ < others_.getCount()) {
        TRef<Object> const & object = others_.at(cursor_);
        if (object && GCastCache::Cast(object.pointer(), metaClass))
            return object;
    }
    cursor_ = -1;
    return nullptr;
}

void IObjectContainer::delegateTo(Object * object) {
    TRef<AUnknown> const self(this);
    TRef<Object> const next(object); // `object` may come from the list of this container
    // A former owner that only this container kept alive ends here.
    TRef<Object> const former = getObject();
    if (former)
        former->removeInterface(self);
    if (next)
        next->addInterface(self);
}

void IObjectContainer::delegateToNext() {
    delegateTo(others_.getCount() > 0 ? others_.at(0).pointer() : nullptr);
}

void IObjectContainer::read(ipstream & in) {
    AUnknown::read(in);
    in.readByte();
    readObjects(in, others_);
}

void IObjectContainer::write(opstream & out) {
    AUnknown::write(out);
    out.writeByte(0);
    writeObjects(out, others_);
}

} // namespace Tavlin
