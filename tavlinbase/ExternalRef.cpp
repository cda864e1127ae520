// References that do not hold their target: the counter on the target cuts them when it goes.
#include "tavlinbase/ExternalRef.h"

#include "tavlinbase/TavlinObject.h"

#include <cassert>

namespace Tavlin {

G_DEFINE_CREATABLE(ExternalRefCounter, "Tavlin::ExternalRefCounter", AUnknown)

namespace {

TRef<ExternalRefCounter> asCounter(TRef<AUnknown> const & iface) {
    TRef<ExternalRefCounter> const counter(gcast_cached<ExternalRefCounter>(iface.pointer()));
    assert((counter || !iface) && "an ExternalRef needs the counter itself");
    return counter;
}

} // namespace

ExternalRefCounter::ExternalRefCounter() : references_(0, 4, 0) {
    shouldWrite(0);
}

ExternalRefCounter::~ExternalRefCounter() = default;

long ExternalRefCounter::internalCount() const {
    return objectPointer() ? objectPointer()->getReferenceCount() : 0;
}

bool ExternalRefCounter::canDestroyObject() {
    if (getReferenceCount() == 0)
        return true;
    TRef<ExternalRefCounter> const self(this); // the last reference may be among those cut
    if (objectPointer())
        objectPointer()->removeInterface(TRef<AUnknown>(this));
    while (long const count = references_.getCount()) {
        ExternalRef * const reference = references_.at(count - 1);
        references_.at_remove(count - 1);
        reference->counter_.empty();
    }
    return true;
}

ExternalRef::ExternalRef(TRef<ExternalRefCounter> const & counter) {
    pointAt(counter);
}

ExternalRef::ExternalRef(TRef<AUnknown> const & counter) {
    pointAt(asCounter(counter));
}

ExternalRef & ExternalRef::operator=(ExternalRef const & other) {
    pointAt(other.counter_);
    return *this;
}

ExternalRef & ExternalRef::operator=(TRef<ExternalRefCounter> const & counter) {
    pointAt(counter);
    return *this;
}

ExternalRef & ExternalRef::operator=(TRef<AUnknown> const & counter) {
    pointAt(asCounter(counter));
    return *this;
}

void ExternalRef::empty() {
    if (!counter_)
        return;
    counter_->references_.remove(this);
    counter_.empty();
}

// By value: the counter stays held while the former one goes.
void ExternalRef::pointAt(TRef<ExternalRefCounter> counter) {
    empty();
    counter_.swap(counter);
    if (counter_)
        counter_->references_.insert(this);
}

} // namespace Tavlin
