// Slots and what lies in them.
#include "tavlinmid/InventorySlot.h"

#include "tavlinbase/CallDepth.h"
#include "tavlinbase/ObjectListStream.h"

namespace Tavlin {

G_DEFINE_CLASS(InventorySlot, "Tavlin::InventorySlot", TypedObjectNode)
G_DEFINE_CREATABLE(InventorySingleSlot, "Tavlin::InventorySingleSlot", InventorySlot)
G_DEFINE_CREATABLE(InventoryMultiSlot, "Tavlin::InventoryMultiSlot", InventorySlot)

NamedTypeInfo InventorySlot::g_namedTypeInfo_(&InventorySlot::metaclass_, "Slot");

TRef<Object> InventorySlot::getItem() {
    return getItemCount() > 0 ? getItem(0) : TRef<Object>();
}

bool InventorySlot::invoke(DispParams * params) {
    return (params->type != IDispatcher::Method && askItems(params)) ||
           TypedObjectNode::invoke(params);
}

/// A slot may lie in itself, by way of what it holds: then the search ends before the stack does.
bool InventorySlot::askItems(DispParams * params) {
    NestedRun const run;
    for (int i = 0; i < getItemCount() && !run.isBroken(); ++i)
        if (params->call(getItem(i)))
            return true;
    return false;
}

int InventorySlot::compare(Object const & other) const {
    return Distance(this, &other, sizeof(InventorySlot));
}

void InventorySlot::write(opstream & out) {
    out.writeByte(0);
    TypedObjectNode::write(out);
}

void InventorySlot::read(ipstream & in) {
    in.readByte();
    TypedObjectNode::read(in);
}

TRef<Object> InventorySingleSlot::getItem(int) {
    return item_;
}

int InventorySingleSlot::getItemCount() {
    return item_ ? 1 : 0;
}

bool InventorySingleSlot::addItem(TRef<Object> const & item) {
    if (item_)
        return false;
    item_ = item;
    return true;
}

bool InventorySingleSlot::removeItem(TRef<Object> const & item) {
    if (item.pointer() != item_.pointer())
        return false;
    item_.empty();
    return true;
}

void InventorySingleSlot::write(opstream & out) {
    out.writeByte(0);
    InventorySlot::write(out);
    out.writePointer(item_.pointer());
}

void InventorySingleSlot::read(ipstream & in) {
    in.readByte();
    InventorySlot::read(in);
    ObjectCreator creator(in);
    item_ = TRef<Object>(static_cast<Object *>(creator));
}

TRef<Object> InventoryMultiSlot::getItem(int index) {
    return items_.at(index);
}

int InventoryMultiSlot::getItemCount() {
    return static_cast<int>(items_.getCount());
}

bool InventoryMultiSlot::addItem(TRef<Object> const & item) {
    items_.insert(item);
    return true;
}

bool InventoryMultiSlot::removeItem(TRef<Object> const & item) {
    items_.remove(item.pointer());
    return true;
}

void InventoryMultiSlot::write(opstream & out) {
    out.writeByte(0);
    InventorySlot::write(out);
    writeObjects(out, items_);
}

void InventoryMultiSlot::read(ipstream & in) {
    in.readByte();
    InventorySlot::read(in);
    readObjects(in, items_);
}

} // namespace Tavlin
