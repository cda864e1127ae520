// Attached interfaces, and the written form of references to anything counted.
#include "tavlinbase/AUnknown.h"

#include "persistence/pstream.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

G_DEFINE_CLASS(AUnknown, "Tavlin::AUnknown", RefCounter)

TRef<Object> AUnknown::getObject() const {
    return TRef<Object>(object_);
}

TRef<AUnknown> AUnknown::getInterface(GMetaClass const * metaClass) {
    return object_ ? object_->queryInterface(metaClass) : TRef<AUnknown>();
}

bool AUnknown::attach() {
    return true;
}

void AUnknown::detach() {}

bool AUnknown::canDestroyObject() {
    return getReferenceCount() == 0;
}

void AUnknown::read(ipstream & in) {
    in.readByte();
    auto * const owner = in.readPointer<Object>();
    // While the object was read, it may have met this among its interfaces and taken it.
    if (listed_)
        return;
    // An interface that names an object becomes one of its interfaces in any case: a damaged
    // stream must not leave it pointing at an object that does not know about it.
    object_ = nullptr;
    if (owner)
        owner->takeLoaded(this);
}

void AUnknown::write(opstream & out) {
    out.writeByte(1);
    out.writePointer(object_);
}

void AUnknown::onFinalRelease() {
    if (!object_)
        RefCounter::onFinalRelease();
    else if (object_->getReferenceCount() == 0)
        object_->onFinalRelease();
}

void RefCounterWrite(opstream & out, TRef<RefCounter> const & reference) {
    RefCounter * const counted = reference;
    if (!gcast_cached<Object>(counted))
        if (auto const * iface = gcast_cached<AUnknown>(counted)) {
            out.writePointer(iface->objectPointer());
            return;
        }
    out.writePointer(counted);
}

TRef<RefCounter> RefCounterRead(ipstream & in, GMetaClass const * expected) {
    if (expected && expected->isKindOf(Object::metaclass_)) {
        ObjectCreator creator(in);
        return TRef<RefCounter>(static_cast<Object *>(creator));
    }
    if (expected && expected->isKindOf(AUnknown::metaclass_)) {
        ObjectCreator creator(in);
        TRef<Object> const owner(static_cast<Object *>(creator));
        return owner ? TRef<RefCounter>(owner->queryInterface(expected)) : TRef<RefCounter>();
    }
    auto * const read = in.readPointer<GStreamable>();
    auto * const counter = gcast_cached<RefCounter>(read);
    if (!counter)
        RefCounter::EndUnwanted(in, read);
    return TRef<RefCounter>(counter);
}

} // namespace Tavlin
