// Modifiers, and the walks over lists of them. Their streamed forms, each part behind a byte 0:
//   ObjectModifier            the object part
//   ComplexObjectModifier     the modifier part, a dword count, the references
//   ComplexComponentModifier  the part of the list
//   MAddInterface             the modifier part, the name of the class, empty for none
#include "tavlinmid/TavlinObjectModifier.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"
#include "tavlinbase/CallDepth.h"
#include "tavlinbase/InterfaceIterator.h"
#include "tavlinbase/ObjectListStream.h"

namespace Tavlin {

G_DEFINE_CLASS(ObjectModifier, "Tavlin::ObjectModifier", Object)
G_DEFINE_CREATABLE(ComplexObjectModifier, "Tavlin::ComplexObjectModifier", ObjectModifier)
G_DEFINE_CLASS(ComplexComponentModifier, "Tavlin::ComplexComponentModifier", ComplexObjectModifier)
G_DEFINE_CREATABLE(MAddInterface, "Tavlin::MAddInterface", ObjectModifier)

namespace {

using Action = bool (ObjectModifier::*)(TRef<Object> const &);

/// The object that a list of modifiers is given.
struct SameObject {
    TRef<Object> const & object;
    bool act(ObjectModifier & modifier, Action action) const { return (modifier.*action)(object); }
};

/// What a list of modifiers for components makes of it.
struct ComponentOf {
    ComplexComponentModifier & list;
    TRef<Object> const & object;
    bool act(ObjectModifier & modifier, Action action) const {
        TRef<Object> const component = list.getTargetObject(object);
        return !component || (modifier.*action)(component);
    }
};

/// A walk over a list of modifiers. What they do may change the list or let go of it, so that it
/// and the one whose turn it is are held.
template <class Target>
class Walk {
  public:
    Walk(ComplexObjectModifier & list, Target const & target)
        : list_(list), target_(target), held_(list.getReferenceCount() > 0 ? &list : nullptr) {}

    /// From the last to the first, up to the first no.
    bool ask(Action action) const {
        for (long i = count() - 1; i >= 0; --i)
            if (run_.isBroken() || !turn(i, action))
                return false;
        return !run_.isBroken();
    }
    bool apply() const {
        bool all = true;
        long const atStart = count();
        for (long i = 0; i < atStart && !run_.isBroken(); ++i)
            all &= turn(i, &ObjectModifier::apply);
        return all && !run_.isBroken();
    }
    bool undo() const {
        bool all = true;
        for (long i = count() - 1; i >= 0 && !run_.isBroken(); --i)
            all &= turn(i, &ObjectModifier::undo);
        return all && !run_.isBroken();
    }

  private:
    long count() const { return list_.vector().getCount(); }
    bool turn(long index, Action action) const {
        if (index >= count())
            return true;
        TRef<ObjectModifier> const modifier = list_.vector().at(index);
        return !modifier || target_.act(*modifier, action);
    }

    ComplexObjectModifier & list_;
    Target target_;
    TRef<ComplexObjectModifier> held_;
    NestedRun run_;
};

template <class Target>
Walk(ComplexObjectModifier &, Target const &) -> Walk<Target>;

} // namespace

int ObjectModifier::compare(Object const & other) const {
    return Distance(static_cast<Object const *>(this), &other, sizeof(ObjectModifier));
}

void ObjectModifier::read(ipstream & in) {
    in.readByte();
    Object::read(in);
}

void ObjectModifier::write(opstream & out) {
    out.writeByte(0);
    Object::write(out);
}

// ---- Lists ----

bool ComplexObjectModifier::canApply(TRef<Object> const & object) {
    return Walk(*this, SameObject{object}).ask(&ObjectModifier::canApply);
}

bool ComplexObjectModifier::canUndo(TRef<Object> const & object) {
    return Walk(*this, SameObject{object}).ask(&ObjectModifier::canUndo);
}

bool ComplexObjectModifier::v_apply(TRef<Object> const & object) {
    return Walk(*this, SameObject{object}).apply();
}

bool ComplexObjectModifier::v_undo(TRef<Object> const & object) {
    return Walk(*this, SameObject{object}).undo();
}

void ComplexObjectModifier::read(ipstream & in) {
    in.readByte();
    ObjectModifier::read(in);
    readObjects(in, vector_);
}

void ComplexObjectModifier::write(opstream & out) {
    out.writeByte(0);
    ObjectModifier::write(out);
    writeObjects(out, vector_);
}

bool ComplexComponentModifier::canApply(TRef<Object> const & object) {
    return Walk(*this, ComponentOf{*this, object}).ask(&ObjectModifier::canApply);
}

bool ComplexComponentModifier::canUndo(TRef<Object> const & object) {
    return Walk(*this, ComponentOf{*this, object}).ask(&ObjectModifier::canUndo);
}

bool ComplexComponentModifier::v_apply(TRef<Object> const & object) {
    return Walk(*this, ComponentOf{*this, object}).apply();
}

bool ComplexComponentModifier::v_undo(TRef<Object> const & object) {
    return Walk(*this, ComponentOf{*this, object}).undo();
}

void ComplexComponentModifier::read(ipstream & in) {
    int const version = in.readByte();
    if (version != 0)
        throw XStrVer("tavlinmid/TavlinObjectModifier", 197, version, 0);
    ComplexObjectModifier::read(in);
}

void ComplexComponentModifier::write(opstream & out) {
    out.writeByte(0);
    ComplexObjectModifier::write(out);
}

// ---- MAddInterface ----

AUnknown * MAddInterface::find(TRef<Object> const & object) const {
    if (!interfaceId_)
        return nullptr;
    for (InterfaceIterator i(object, interfaceId_, false); i; ++i)
        if (i->getMetaClass() == *interfaceId_)
            return i.get();
    return nullptr;
}

bool MAddInterface::canApply(TRef<Object> const & object) {
    return interfaceId_ && !find(object);
}

bool MAddInterface::canUndo(TRef<Object> const & object) {
    return find(object) != nullptr;
}

bool MAddInterface::v_apply(TRef<Object> const & object) {
    // Asks first, since a stream may name any class, and building it may do anything.
    if (!object || !interfaceId_ || !interfaceId_->isKindOf(AUnknown::metaclass_))
        return false;
    auto * const iface = gcast_cached<AUnknown>(interfaceId_->buildObject());
    if (!iface)
        return false;
    return object->addInterface(iface);
}

bool MAddInterface::v_undo(TRef<Object> const & object) {
    TRef<AUnknown> const iface(find(object));
    if (!iface)
        return false;
    object->removeInterface(iface);
    return true;
}

void MAddInterface::read(ipstream & in) {
    in.readByte();
    ObjectModifier::read(in);
    GString name;
    in >> name;
    if (!name.isEmpty())
        interfaceId_ = GMetaClass::FindByName(name.c_str());
}

void MAddInterface::write(opstream & out) {
    out.writeByte(0);
    ObjectModifier::write(out);
    out << GString(interfaceId_ ? interfaceId_->getName() : "");
}

} // namespace Tavlin
