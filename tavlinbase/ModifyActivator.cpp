// Activators and their sources.
#include "tavlinbase/ModifyActivator.h"

#include "persistence/pstream.h"

#include <algorithm>

namespace Tavlin {

G_DEFINE_CLASS(ISetModifyActivator, "Tavlin::ISetModifyActivator", AUnknown)
G_DEFINE_CLASS(ModifyActivator, "Tavlin::ModifyActivator", Object)
G_DEFINE_CLASS(ModifyActivator::Callback, "Tavlin::ModifyActivator::Callback", NotifyCallback)

namespace {

Notifyer * notifyerOf(TRef<Object> const & object) {
    TRef<ISetModifyActivator> const source =
        object ? object->queryInterface<ISetModifyActivator>() : nullptr;
    return source ? &source->getNotifyer() : nullptr;
}

} // namespace

void ISetModifyActivator::addActivator(ModifyActivator * activator) {
    getNotifyer().addPost(&activator->callback_);
}

void ISetModifyActivator::removeActivator(ModifyActivator * activator) {
    getNotifyer().removePost(&activator->callback_);
}

void ModifyActivator::Callback::notify(Notifyer const & subject) {
    // The action may drop the last reference to its activator.
    TRef<ModifyActivator> const hold(owner->getReferenceCount() > 0 ? owner : nullptr);
    owner->act(subject);
    owner->acted();
}

ModifyActivator::ModifyActivator() : callback_(this) {}

ModifyActivator::~ModifyActivator() = default;

int ModifyActivator::compare(Object const & other) const {
    return Distance(this, &other, sizeof(ModifyActivator));
}

bool ModifyActivator::setSource(TRef<Object> const & object) {
    TRef<Object> const former = source_; // goes last: its end may be that of the activator
    if (Notifyer * const notifyer = notifyerOf(former))
        notifyer->removePost(&callback_);
    source_ = object;
    if (Notifyer * const notifyer = notifyerOf(source_))
        notifyer->addPost(&callback_);
    return true;
}

bool ModifyActivator::setDestination(TRef<Object> const & object) {
    if (source_ && !canBeDestination(object))
        return false;
    bindDestination(object);
    return true;
}

void ModifyActivator::bindDestination(TRef<Object> const & object) {
    if (object)
        destination_ = object->querySafeInterface(&ExternalRefCounter::metaclass_);
    else
        destination_.empty();
}

void ModifyActivator::write(opstream & out) {
    Object::write(out);
    out.writeByte(0);
    out.writePointer(destination_.pointer());
    out.writePointer(source_.pointer());
}

void ModifyActivator::read(ipstream & in) {
    Object::read(in);
    in.readByte();
    ObjectCreator destination(in);
    bindDestination(TRef<Object>(static_cast<Object *>(destination)));
    ObjectCreator source(in);
    setSource(TRef<Object>(static_cast<Object *>(source)));
}

ActivatorIterator::ActivatorIterator(TRef<Object> const & object) : notifyer_(notifyerOf(object)) {
    first();
}

void ActivatorIterator::first() {
    find(0);
}

void ActivatorIterator::operator++(int) {
    if (index_ < 0)
        return;
    // Others may have left in front of the current one. Where that has left itself, the next one
    // has taken its place.
    int place = std::min(index_, notifyer_->getPostCount() - 1);
    while (place >= 0 && (!current_ || notifyer_->getPost(place) != current_.pointer()))
        --place;
    find(place >= 0 ? place + 1 : index_);
}

void ActivatorIterator::find(int from) {
    current_ = nullptr;
    index_ = -1;
    int const count = notifyer_ ? notifyer_->getPostCount() : 0;
    for (int i = from; i < count && index_ < 0; ++i) {
        current_ = gcast<ModifyActivator::Callback>(notifyer_->getPost(i));
        if (current_)
            index_ = i;
    }
}

TRef<ModifyActivator> ActivatorIterator::get() const {
    return current_ ? current_->owner : nullptr;
}

} // namespace Tavlin
