// Slots: named places for things in the typed tree. Reading a name on a slot reads through to what
// lies in it; a method stays with the slot.
#pragma once

#include "tavlinbase/TRefVector.h"
#include "tavlinbase/TavlinTypedObject.h"

#include <cstddef>

namespace Tavlin {

/// The base of slots: how names read through to the items.
class ONDREL_API InventorySlot : public TypedObjectNode {
    G_DECLARE_CLASS(InventorySlot)
  public:
    static NamedTypeInfo g_namedTypeInfo_;
    NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

    /// `index` from 0 to getItemCount() - 1.
    virtual TRef<Object> getItem(int index) = 0;
    /// The first item; null when the slot is empty.
    virtual TRef<Object> getItem();
    virtual int getItemCount() = 0;
    /// False when the slot does not take the item.
    virtual bool addItem(TRef<Object> const & item) = 0;
    virtual bool removeItem(TRef<Object> const & item) = 0;

    /// All but a method is offered to the items first, up to the first that takes it. A slot that
    /// lies in the slot in several ways is asked once.
    bool invoke(DispParams * params) override;
    using Object::compare;
    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    InventorySlot() = default;

  private:
    bool askItems(DispParams * params);

    std::size_t lastSearch_ = 0; // the last one that came to this slot within another
};

/// Holds at most one item.
class ONDREL_API InventorySingleSlot : public InventorySlot {
    G_DECLARE_CREATABLE(InventorySingleSlot)
  public:
    InventorySingleSlot() = default;

    using InventorySlot::getItem;
    /// The item, whatever the index.
    TRef<Object> getItem(int index) override;
    int getItemCount() override;
    /// False, with nothing changed, when there is an item already.
    bool addItem(TRef<Object> const & item) override;
    /// False unless this is the item; null is that of an empty slot.
    bool removeItem(TRef<Object> const & item) override;

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    TRef<Object> item_;
};

/// Holds any number of items, also one several times.
class ONDREL_API InventoryMultiSlot : public InventorySlot {
    G_DECLARE_CREATABLE(InventoryMultiSlot)
  public:
    InventoryMultiSlot() = default;

    using InventorySlot::getItem;
    TRef<Object> getItem(int index) override;
    int getItemCount() override;
    /// Always true.
    bool addItem(TRef<Object> const & item) override;
    /// Removes the first such item; always true, also when there is none.
    bool removeItem(TRef<Object> const & item) override;

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    TRefVector<Object> items_{0, 4};
};

} // namespace Tavlin
