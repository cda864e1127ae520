// Inventories.
#include "tavlinmid/AgentInventory.h"

#include "tavlinbase/ObjectListStream.h"

#include <algorithm>

namespace Tavlin {

G_DEFINE_CREATABLE(AgentInventory, "Tavlin::AgentInventory", AgentComponent)

NamedTypeInfo AgentInventory::g_namedTypeInfo_(&AgentInventory::metaclass_, "Inventory");

void AgentInventory::addSlot(TRef<InventorySlot> const & slot) {
    slots_.insert(slot);
}

void AgentInventory::removeSlot(TRef<InventorySlot> const & slot) {
    slots_.remove(slot.pointer());
}

bool AgentInventory::invoke(DispParams * params) {
    if (TypedObjectNode::invoke(params))
        return true;
    if (params->type != IDispatcher::Method)
        return false;
    bool taken = false;
    // A slot may remove itself and others while it is called.
    for (long i = slots_.getCount() - 1; i >= 0; i = std::min(i, slots_.getCount()) - 1)
        taken |= params->call(TRef<Object>(slots_.at(i).pointer()));
    return taken;
}

void AgentInventory::write(opstream & out) {
    out.writeByte(0);
    AgentComponent::write(out);
    writeObjects(out, slots_);
}

void AgentInventory::read(ipstream & in) {
    in.readByte();
    AgentComponent::read(in);
    slots_.empty();
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        TObjectCreator<InventorySlot> creator(in);
        TRef<InventorySlot> const slot(static_cast<InventorySlot *>(creator));
        slots_.expand();
        if (slot)
            slots_.insert(slot);
    }
}

} // namespace Tavlin
