// What an agent carries: a component that holds slots. They are its nodes in the typed tree, so
// that scripts and connection points reach them by name.
#pragma once

#include "tavlinmid/AgentShell.h"
#include "tavlinmid/InventorySlot.h"

namespace Tavlin {

/// The component of an agent that holds its slots.
class ONDREL_API AgentInventory : public AgentComponent {
    G_DECLARE_CREATABLE(AgentInventory)
  public:
    static NamedTypeInfo g_namedTypeInfo_;
    NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

    AgentInventory() = default;

    /// Adds a slot at the end, which the inventory holds; its member name is the one by which it is
    /// found.
    void addSlot(TRef<InventorySlot> const & slot);
    /// Nothing when it is not there.
    void removeSlot(TRef<InventorySlot> const & slot);

    int getNodeCount() const override { return static_cast<int>(slots_.getCount()); }
    TRef<TypedObjectNode> getNode(int index) const override { return slots_.at(index); }

    /// A method that the inventory does not have goes to all slots, the last one first, each once;
    /// slots may come and go meanwhile.
    bool invoke(DispParams * params) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    /// A call that is under way: the slots below `next` are still to be called.
    struct Round;

    TRefVector<InventorySlot> slots_{0, 4};
    Round * rounds_ = nullptr; // the innermost
};

} // namespace Tavlin
