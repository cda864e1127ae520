// What villagers carry: loaves, in the slots of their inventories. The market is such a slot too,
// so that trading is moving a loaf from one to the other; who pays what is the scripts' affair.
#pragma once

#include "ondrel.h"

namespace Village {

/// "Bites" is read through the slot that a loaf lies in.
class Loaf : public Tavlin::UniqueObject, public Tavlin::IDispatcherImpl {
    G_DECLARE_CREATABLE(Loaf)
    TAVLIN_DECLARE_DISPATCHER(Loaf)
  public:
    Loaf() = default;
    void getBites(Tavlin::VariableRef * result) { *result = bites_; }
    /// False when this was the last one.
    bool bite() { return --bites_ > 0; }

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override { Tavlin::Object::onFinalRelease(); }

  private:
    int bites_ = 5;
};

/// A slot for any number of loaves, with "Count", "Give" and "Take" for scripts.
class Basket : public Tavlin::InventoryMultiSlot {
    G_DECLARE_CREATABLE(Basket)
    TAVLIN_DECLARE_DISPATCHER(Basket)
  public:
    static Tavlin::NamedTypeInfo g_namedTypeInfo_;
    Basket() = default;
    Tavlin::NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

    void count(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    /// Move a loaf to or from the slot of the scene whose name is the argument: 1 if one was moved.
    void give(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void take(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    /// Puts `loaves` new ones in, as long as there are fewer than `most`.
    void fill(int loaves, int most);

    void read(ipstream & in) override;
    void write(opstream & out) override;
};

/// Moves the item that came last from one slot into the other; false when there is none, or the
/// other does not take it.
bool move(Tavlin::InventorySlot & from, Tavlin::InventorySlot & to);

} // namespace Village
