// The tables, their index, the dispatcher that answers from them, and the dynamic call.
#include "tavlinbase/IDispatcherImpl.h"

#include "foundation/IncrementalAllocator.h"
#include "tavlinbase/InterfaceIterator.h"

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstring>

namespace Tavlin {

G_DEFINE_CLASS(IDispatcherImpl, "Tavlin::IDispatcherImpl", IDispatcher)

namespace {

/// Entries stand side by side here until the library unloads.
IncrementalAllocator & entryAllocator() {
    static IncrementalAllocator allocator(0x200000, 0, 1, nullptr);
    return allocator;
}

template <class T>
void fill(T * where, T const & value) {
    if (where)
        *where = value;
}

void * at(void * object, int offset) {
    return static_cast<char *>(object) + offset;
}

/// The place of a kind of call in a slot of the index; -1 when it is not exactly one of the four.
int kindOf(int type) {
    switch (type) {
        case IDispatcher::Method:
            return 0;
        case IDispatcher::PropertyGet:
            return 1;
        case IDispatcher::PropertySet:
            return 2;
        case IDispatcher::Variable:
            return 3;
        default:
            return -1;
    }
}

/// Names are equal when the addresses of their texts are, so those tell them apart. The high bits
/// are the good ones.
std::uint32_t hashOf(NameLinkID name) {
    static_assert(sizeof(NameLinkID) == sizeof(std::uintptr_t));
    return static_cast<std::uint32_t>(std::bit_cast<std::uintptr_t>(name)) * 0x9E3779B1u;
}

/// A write through, which every alias of the member sees.
[[gnu::noinline]] void writeThrough(IDispatcherImplTableEntry const & entry, void * self,
                                    DispParams * params) {
    VariableRef member;
    _Variable * const variable = entry.variable(self);
    member.link(*variable);
    member = params->params->at(0);
    variable->link(member);
}

inline void performCall(IDispatcherImplTableEntry const & entry, void * self, DispParams * params) {
    if (params->type == IDispatcher::PropertySet &&
        entry.type == IDispatcherImplTableEntry::Variable)
        writeThrough(entry, self, params);
    else
        entry.invoke(self, params);
}

} // namespace

// One test for both ends of the search, and no other for a name that is not there: which of the
// interfaces of an object has a name is beyond what a processor can foretell, so each test costs.
// The null name, too, ends at a free place.
inline IDispatcherImplTable::Entries const & IDispatcherImplTable::find(NameLinkID name) const {
    NameLinkID const * const names = names_.data();
    std::size_t at = hashOf(name) >> shift_;
    while (!(int(names[at] == name) | int(!names[at].isValid())))
        at = (at + 1) & mask_;
    return entries_[at];
}

/// Remembers which interfaces are called by a table and nothing else, so that the walk over the
/// interfaces of an object looks their names up at once, without a cast and a call for each.
///
/// What keeps it true: the key is the table of virtual functions of the part of the object that the
/// walk holds. It stands for one complete class, or for a base under construction, which has a
/// table of its own; so the distance to the dispatcher, and which functions are virtual calls, are
/// functions of the key. The table of names is the same for all objects of a class and never
/// changes, and whether `invoke` is the plain one is told for exactly that class. Names go with
/// their module, and forget everything.
///
/// Any thread may ask, as in GCastCache.
class DispatcherMemory {
  public:
    struct Plain {
        IDispatcherImplTable const * names; // null: the dispatcher, if any, must be asked
        std::ptrdiff_t distance;            // from the part to the dispatcher
    };

    template <class Part>
    static Plain Find(Part * part) {
        void const * key;
        std::memcpy(&key, static_cast<void const *>(part), sizeof key);
        Slot & slot = slots_[place(key)];
        std::uint32_t const version = slot.version.load(std::memory_order_acquire);
        if (slot.key.load(std::memory_order_relaxed) == key) {
            Plain const known{slot.names.load(std::memory_order_relaxed),
                              slot.distance.load(std::memory_order_relaxed)};
            std::atomic_thread_fence(std::memory_order_acquire);
            if ((version & 1) == 0 && slot.version.load(std::memory_order_relaxed) == version)
                return known;
        }
        return Learn(part, key, slot);
    }
    /// Offers a call to an interface, or to an object itself.
    template <class Part>
    static bool Offer(Part * part, DispParams & params) {
        Plain const plain = Find(part);
        if (!plain.names)
            return Ask(part, params);
        int const kind = kindOf(params.type);
        if (kind < 0)
            return false;
        IDispatcherImplTableEntry const * const entry = plain.names->find(params.name).taker[kind];
        if (!entry)
            return false;
        performCall(*entry, reinterpret_cast<char *>(part) + plain.distance, &params);
        return true;
    }
    static void Forget() {
        if (!anyLearnt_.exchange(false, std::memory_order_relaxed))
            return;
        for (Slot & slot : slots_)
            while (!write(slot, nullptr, {})) {
            }
    }

  private:
    static constexpr int Bits = 9;

    struct Slot {
        std::atomic<std::uint32_t> version{0}; // odd while it is written
        std::atomic<void const *> key{nullptr};
        std::atomic<IDispatcherImplTable const *> names{nullptr};
        std::atomic<std::ptrdiff_t> distance{0};
    };

    static std::size_t place(void const * key) {
        return std::uint32_t(reinterpret_cast<std::uintptr_t>(key) >> 3) * 0x9E3779B1u >>
               (32 - Bits);
    }
    template <class Part>
    [[gnu::noinline]] static Plain Learn(Part * part, void const * key, Slot & slot) {
        Plain const learnt = LookAt(part);
        write(slot, key, learnt);
        return learnt;
    }
    template <class Part>
    static Plain LookAt(Part * part) {
        anyLearnt_.store(true, std::memory_order_relaxed);
        auto * const dispatcher = gcast_cached<IDispatcherImpl>(part);
        auto const * const names =
            dispatcher ? dispatcher->getMostRecentDispatcherEntryTable() : nullptr;
        if (!names || !names->plainClass() || *names->plainClass() != typeid(*dispatcher))
            return {nullptr, 0};
        void const * const self = static_cast<IDispatcher *>(dispatcher);
        return {names, static_cast<char const *>(self) - reinterpret_cast<char const *>(part)};
    }
    template <class Part>
    [[gnu::noinline]] static bool Ask(Part * part, DispParams & params) {
        auto * const dispatcher = gcast_cached<IDispatcher>(part);
        return dispatcher && dispatcher->invoke(&params);
    }
    static bool write(Slot & slot, void const * key, Plain plain) {
        std::uint32_t version = slot.version.load(std::memory_order_relaxed);
        if ((version & 1) != 0 ||
            !slot.version.compare_exchange_strong(version, version + 1, std::memory_order_acquire))
            return false;
        std::atomic_thread_fence(std::memory_order_release);
        slot.key.store(key, std::memory_order_relaxed);
        slot.names.store(plain.names, std::memory_order_relaxed);
        slot.distance.store(plain.distance, std::memory_order_relaxed);
        slot.version.store(version + 2, std::memory_order_release);
        return true;
    }

    static constinit std::atomic<bool> anyLearnt_;
    static constinit Slot slots_[std::size_t(1) << Bits];
};

constinit std::atomic<bool> DispatcherMemory::anyLearnt_{false};
constinit DispatcherMemory::Slot DispatcherMemory::slots_[std::size_t(1) << Bits];

void * IDispatcherImplTableEntry::operator new(std::size_t size) {
    constexpr std::size_t unit = alignof(std::max_align_t);
    return entryAllocator().alloc(static_cast<unsigned long>((size + unit - 1) / unit * unit));
}

void IDispatcherImplTableEntry::invoke(void *, DispParams *) const {}

_Variable * IDispatcherImplTableEntry::variable(void *) const {
    return nullptr;
}

void IDispatcherImplTablePGetEntry::invoke(void * object, DispParams * params) const {
    reinterpret_cast<DispatcherProperty>(function)(at(object, thisOffset), params->result);
}

void IDispatcherImplTablePSetEntry::invoke(void * object, DispParams * params) const {
    reinterpret_cast<DispatcherProperty>(function)(at(object, thisOffset), &params->params->at(0));
}

void IDispatcherImplTableMethodEntry::invoke(void * object, DispParams * params) const {
    reinterpret_cast<DispatcherMethod>(function)(at(object, thisOffset), params->result,
                                                 params->params);
}

void IDispatcherImplTableVariableEntry::invoke(void * object, DispParams * params) const {
    if (!params->result)
        return;
    _Variable * const member = variable(object);
    member->leaveConstant();
    params->result->link(*member);
}

_Variable * IDispatcherImplTableVariableEntry::variable(void * object) const {
    return member_ ? member_(object) : static_cast<_Variable *>(at(object, thisOffset));
}

IDispatcherImplTable::IDispatcherImplTable(void (*fillTable)(IDispatcherImplTable & table))
    : TGCollection<IDispatcherImplTableEntry>(0, 16, 1) {
    fillTable(*this);
    buildIndex();
}

IDispatcherImplTable::~IDispatcherImplTable() {
    DispatcherMemory::Forget();
    shut_down();
}

void IDispatcherImplTable::terminate(IDispatcherImplTable const * base) {
    insert(new IDispatcherImplTableEntry(IDispatcherImplTableEntry::Terminator, NameLinkID(),
                                         const_cast<IDispatcherImplTable *>(base), 0, UNDEFINED));
}

IDispatcherImplTable const * IDispatcherImplTable::base() const {
    return static_cast<IDispatcherImplTable const *>(
        static_cast<IDispatcherImplTableEntry *>(at(getCount() - 1))->function);
}

IDispatcherImplTableEntry const * IDispatcherImplTable::entry(int index) const {
    return at(index);
}

void IDispatcherImplTable::buildIndex() {
    std::size_t all = 0;
    for (IDispatcherImplTable const * table = this; table; table = table->base())
        all += static_cast<std::size_t>(table->names());
    names_.resize(std::bit_ceil(2 * all + 2));
    entries_.resize(names_.size());
    mask_ = names_.size() - 1;
    shift_ = 32 - std::countr_zero(names_.size());
    for (IDispatcherImplTable const * table = this; table; table = table->base())
        for (int i = 0; i < table->names(); ++i)
            enter(table->entry(i));
}

// Entries come from the most derived table on, so the first of a kind stays.
void IDispatcherImplTable::enter(IDispatcherImplTableEntry const * entry) {
    int const kind = kindOf(entry->type);
    // Nobody can ask for these, and a null name marks a free place.
    if (!entry->name.isValid() || kind < 0)
        return;
    std::size_t at = hashOf(entry->name) >> shift_;
    while (names_[at].isValid() && names_[at] != entry->name)
        at = (at + 1) & mask_;
    names_[at] = entry->name;
    Entries & entries = entries_[at];
    auto const keep = [entry](IDispatcherImplTableEntry const *& where) {
        if (!where)
            where = entry;
    };
    keep(entries.exact[kind]);
    keep(entries.taker[kind]);
    if (entry->type != IDispatcherImplTableEntry::Variable)
        return;
    keep(entries.taker[kindOf(IDispatcher::PropertyGet)]);
    keep(entries.taker[kindOf(IDispatcher::PropertySet)]);
}

IDispatcherImplTableEntry const *
IDispatcherImplTable::findTaker(NameLinkID name, IDispatcher::CallType type) const {
    int const kind = kindOf(type);
    return kind < 0 ? nullptr : find(name).taker[kind];
}

IDispatcherImplTableEntry const *
IDispatcherImplTable::findExact(NameLinkID name, IDispatcher::CallType type) const {
    int const kind = kindOf(type);
    return kind < 0 ? nullptr : find(name).exact[kind];
}

IDispatcherImplTable const & IDispatcherImpl::DispatcherTable() {
    static IDispatcherImplTable const table(
        [](IDispatcherImplTable & empty) { empty.terminate(nullptr); });
    return table;
}

IDispatcherImplTable const * IDispatcherImpl::getMostRecentDispatcherEntryTable() const {
    return nullptr;
}

IDispatcher::Info const * IDispatcherImpl::getTypeInfo() {
    return this;
}

bool IDispatcherImpl::invoke(DispParams * params) {
    IDispatcherImplTable const * const table = getMostRecentDispatcherEntryTable();
    IDispatcherImplTableEntry const * const entry =
        table ? table->findTaker(params->name, params->type) : nullptr;
    if (!entry)
        return false;
    performCall(*entry, static_cast<IDispatcher *>(this), params);
    return true;
}

bool DispParams::call(TRef<Object> const & object) {
    if (!object)
        return false;
    TRef<Object> const hold(object); // the reference may be the callee's to drop
    Object * const target = hold.pointer();
    for (int i = InterfaceIterator::Places(*target) - 1; i >= 0; --i) {
        AUnknown * const iface = InterfaceIterator::At(*target, i);
        if (iface && DispatcherMemory::Offer(iface, *this))
            return true;
    }
    return DispatcherMemory::Offer(target, *this);
}

int IDispatcherImpl::getNamesCount() const {
    int count = 0;
    for (IDispatcherImplTable const * table = getMostRecentDispatcherEntryTable(); table;
         table = table->base())
        count += table->names();
    return count;
}

void IDispatcherImpl::describe(IDispatcherImplTableEntry const & entry, NameLinkID * name,
                               CallType * type, int * thisOffset, void ** function,
                               VariableTypes * returnType) const {
    fill(name, entry.name);
    fill(type, static_cast<CallType>(entry.type));
    fill(function, entry.function);
    fill(returnType, entry.returnType);
    if (!thisOffset)
        return;
    // Told for this very object: the distance to a member of a virtual base is not that of the
    // class.
    auto * const self = const_cast<IDispatcher *>(static_cast<IDispatcher const *>(this));
    void const * const member = entry.variable(self);
    *thisOffset = member ? static_cast<int>(static_cast<char const *>(member) -
                                            reinterpret_cast<char const *>(self))
                         : entry.thisOffset;
}

bool IDispatcherImpl::getNameInfo(int index, NameLinkID * name, CallType * type, int * thisOffset,
                                  void ** function, VariableTypes * returnType) const {
    if (index < 0)
        return false;
    for (IDispatcherImplTable const * table = getMostRecentDispatcherEntryTable(); table;
         table = table->base()) {
        if (index < table->names()) {
            describe(*table->entry(index), name, type, thisOffset, function, returnType);
            return true;
        }
        index -= table->names();
    }
    return false;
}

bool IDispatcherImpl::findNameInfo(NameLinkID name, CallType type, int * thisOffset,
                                   void ** function, VariableTypes * returnType) const {
    IDispatcherImplTable const * const table = getMostRecentDispatcherEntryTable();
    IDispatcherImplTableEntry const * const entry = table ? table->findExact(name, type) : nullptr;
    if (entry)
        describe(*entry, nullptr, nullptr, thisOffset, function, returnType);
    return entry != nullptr;
}

} // namespace Tavlin
