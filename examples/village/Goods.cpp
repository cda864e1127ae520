// Loaves and baskets.
#include "Goods.h"

using namespace Tavlin;

namespace Village {

G_DEFINE_CREATABLE(Loaf, "Village::Loaf", UniqueObject, IDispatcherImpl)
G_DEFINE_CREATABLE(Basket, "Village::Basket", InventoryMultiSlot)
NamedTypeInfo Basket::g_namedTypeInfo_(&Basket::metaclass_, "Basket");

TAVLIN_BEGIN_DISPATCHER(Loaf, IDispatcherImpl)
    TAVLIN_PROPERTY_GET("Bites", getBites, INT)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_DISPATCHER(Basket, InventoryMultiSlot)
    TAVLIN_METHOD("Count", count, INT)
    TAVLIN_METHOD("Give", give, INT)
    TAVLIN_METHOD("Take", take, INT)
TAVLIN_END_DISPATCHER()

namespace {

/// Null when the argument names no slot. The scene keeps the slot.
InventorySlot * slotNamedBy(VRefVector const * args) {
    if (!args || args->getCount() < 1 || args->at(0).type() != NAMELINKID)
        return nullptr;
    auto * const scene = gcast<SceneObject>(IDispatcher::g_sceneObject);
    return scene ? gcast<InventorySlot>(scene->findObject(args->at(0).asNAMELINKID()).pointer())
                 : nullptr;
}

} // namespace

void Loaf::write(opstream & out) {
    out.writeByte(0);
    UniqueObject::write(out);
    out << bites_;
}

void Loaf::read(ipstream & in) {
    in.readByte();
    UniqueObject::read(in);
    in >> bites_;
}

void Basket::count(VariableRef * result, VRefVector *) {
    if (result)
        *result = getItemCount();
}

void Basket::give(VariableRef * result, VRefVector * args) {
    InventorySlot * const to = slotNamedBy(args);
    if (result)
        *result = static_cast<int>(to && move(*this, *to));
}

void Basket::take(VariableRef * result, VRefVector * args) {
    InventorySlot * const from = slotNamedBy(args);
    if (result)
        *result = static_cast<int>(from && move(*from, *this));
}

void Basket::fill(int loaves, int most) {
    for (; loaves > 0 && getItemCount() < most; --loaves) {
        TObjectCreator<Loaf> creator;
        addItem(TRef<Object>(static_cast<Object *>(creator)));
    }
}

void Basket::write(opstream & out) {
    out.writeByte(0);
    InventoryMultiSlot::write(out);
}

void Basket::read(ipstream & in) {
    in.readByte();
    InventoryMultiSlot::read(in);
}

bool move(InventorySlot & from, InventorySlot & to) {
    int const items = from.getItemCount();
    if (items == 0 || &from == &to)
        return false;
    TRef<Object> const item = from.getItem(items - 1);
    if (!to.addItem(item))
        return false;
    from.removeItem(item);
    return true;
}

} // namespace Village
