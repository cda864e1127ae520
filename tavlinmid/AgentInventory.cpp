// Inventories.
#include "tavlinmid/AgentInventory.h"

#include "tavlinbase/ObjectListStream.h"

namespace Tavlin {

G_DEFINE_CREATABLE(AgentInventory, "Tavlin::AgentInventory", AgentComponent)

NamedTypeInfo AgentInventory::g_namedTypeInfo_(&AgentInventory::metaclass_, "Inventory");

struct AgentInventory::Round {
    // Not inlined: the compiler would warn of an address that stays behind, and cannot know that
    // the caller holds the inventory.
    [[gnu::noinline]] explicit Round(AgentInventory & owner)
        : inventory(owner), next(owner.slots_.getCount()), outer(owner.rounds_) {
        inventory.rounds_ = this;
    }
    ~Round() { inventory.rounds_ = outer; }
    Round(Round const &) = delete;
    Round & operator=(Round const &) = delete;

    AgentInventory & inventory;
    long next;
    Round * outer;
};

void AgentInventory::addSlot(TRef<InventorySlot> const & slot) {
    slots_.insert(slot);
}

void AgentInventory::removeSlot(TRef<InventorySlot> const & slot) {
    long const index = slots_.index_of(slot.pointer());
    if (index < 0)
        return;
    for (Round * round = rounds_; round; round = round->outer)
        if (index < round->next)
            --round->next;
    slots_.at_remove(index);
}

bool AgentInventory::invoke(DispParams * params) {
    if (TypedObjectNode::invoke(params))
        return true;
    if (params->type != IDispatcher::Method)
        return false;
    bool taken = false;
    Round round(*this);
    while (round.next > 0)
        taken |= params->call(TRef<Object>(slots_.at(--round.next).pointer()));
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
    for (Round * round = rounds_; round; round = round->outer)
        round->next = 0;
    slots_.empty();
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        ObjectCreator creator(in);
        TRef<Object> const object(static_cast<Object *>(creator));
        slots_.expand();
        if (auto * const slot = gcast_cached<InventorySlot>(object.pointer()))
            slots_.insert(TRef<InventorySlot>(slot));
    }
}

} // namespace Tavlin
