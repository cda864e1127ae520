// Slots and what lies in them.
#include "tavlinmid/InventorySlot.h"

#include "tavlinbase/CallDepth.h"
#include "tavlinbase/ObjectListStream.h"

#include <atomic>
#include <cstddef>
#include <utility>

namespace Tavlin {

G_DEFINE_CLASS(InventorySlot, "Tavlin::InventorySlot", TypedObjectNode)
G_DEFINE_CREATABLE(InventorySingleSlot, "Tavlin::InventorySingleSlot", InventorySlot)
G_DEFINE_CREATABLE(InventoryMultiSlot, "Tavlin::InventoryMultiSlot", InventorySlot)

NamedTypeInfo InventorySlot::g_namedTypeInfo_(&InventorySlot::metaclass_, "Slot");

TRef<Object> InventorySlot::getItem() {
    return getItemCount() > 0 ? getItem(0) : TRef<Object>();
}

namespace {

/// One call on its way through slots within slots. A call that an item makes meanwhile is a search
/// of its own.
class Search {
  public:
    explicit Search(DispParams const * params) : outer_(current_) {
        if (params != current_.params)
            current_ = {params, 0};
        else if (current_.number == 0) // only now, since most slots hold none
            current_.number = ++last_;
    }
    ~Search() {
        if (outer_.params != current_.params)
            current_ = outer_;
    }
    Search(Search const &) = delete;
    Search & operator=(Search const &) = delete;

    bool isNested() const { return current_.params == outer_.params; }
    /// No other search has it; 0 for one that has not come to a slot within a slot.
    std::size_t number() const { return current_.number; }

  private:
    struct State {
        DispParams const * params = nullptr;
        std::size_t number = 0;
    };
    static thread_local constinit State current_;
    static constinit std::atomic<std::size_t> last_;
    State outer_;
};

thread_local constinit Search::State Search::current_;
constinit std::atomic<std::size_t> Search::last_ = 0;

} // namespace

bool InventorySlot::invoke(DispParams * params) {
    return (params->type != IDispatcher::Method && askItems(params)) ||
           TypedObjectNode::invoke(params);
}

/// Slots may lie in slots, one several times, and in itself. One that lies in others is asked once
/// in a search: what it did not know it does not know now, and the ways to it may be more than can
/// be walked. However deep they lie, the search ends before the stack does.
bool InventorySlot::askItems(DispParams * params) {
    NestedRun const run;
    Search const search(params);
    if (search.isNested() && std::exchange(lastSearch_, search.number()) == search.number())
        return false;
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
