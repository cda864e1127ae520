// The tables, their index, and the dispatcher that answers from them.
#include "tavlinbase/IDispatcherImpl.h"

#include "foundation/IncrementalAllocator.h"

#include <bit>

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

} // namespace

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

std::size_t IDispatcherImplTable::place(NameLinkID name) const {
    auto const word = static_cast<std::size_t>(name.offset());
    return (word * 0x9E3779B1u >> 4) & (index_.size() - 1);
}

void IDispatcherImplTable::buildIndex() {
    std::size_t all = 0;
    for (IDispatcherImplTable const * table = this; table; table = table->base())
        all += static_cast<std::size_t>(table->names());
    index_.resize(std::bit_ceil(2 * all + 1));
    for (IDispatcherImplTable const * table = this; table; table = table->base())
        for (int i = 0; i < table->names(); ++i)
            enter(table->entry(i));
}

// Entries come from the most derived table on, so the first of a kind stays.
void IDispatcherImplTable::enter(IDispatcherImplTableEntry const * entry) {
    // Nobody can ask for these, and a null name marks a free slot.
    if (!entry->name.isValid() || entry->type == IDispatcherImplTableEntry::Terminator)
        return;
    std::size_t at = place(entry->name);
    while (index_[at].name.isValid() && index_[at].name != entry->name)
        at = (at + 1) & (index_.size() - 1);
    Slot & slot = index_[at];
    slot.name = entry->name;
    auto const keep = [entry](IDispatcherImplTableEntry const *& where) {
        if (!where)
            where = entry;
    };
    bool const variable = entry->type == IDispatcherImplTableEntry::Variable;
    if (variable || entry->type == IDispatcherImplTableEntry::PropertyGet)
        keep(slot.get);
    if (variable || entry->type == IDispatcherImplTableEntry::PropertySet)
        keep(slot.set);
    keep(slot.exact[std::countr_zero(static_cast<unsigned>(entry->type))]);
}

IDispatcherImplTable::Slot const * IDispatcherImplTable::find(NameLinkID name) const {
    if (!name.isValid())
        return nullptr;
    for (std::size_t at = place(name); index_[at].name.isValid();
         at = (at + 1) & (index_.size() - 1))
        if (index_[at].name == name)
            return &index_[at];
    return nullptr;
}

IDispatcherImplTableEntry const *
IDispatcherImplTable::findTaker(NameLinkID name, IDispatcher::CallType type) const {
    Slot const * const slot = find(name);
    if (!slot)
        return nullptr;
    switch (type) {
        case IDispatcher::PropertyGet:
            return slot->get;
        case IDispatcher::PropertySet:
            return slot->set;
        case IDispatcher::Method:
            return slot->exact[0];
        case IDispatcher::Variable:
            return slot->exact[3];
        default:
            return nullptr;
    }
}

IDispatcherImplTableEntry const *
IDispatcherImplTable::findExact(NameLinkID name, IDispatcher::CallType type) const {
    Slot const * const slot = find(name);
    auto const bits = static_cast<unsigned>(type);
    return slot && std::has_single_bit(bits) && bits <= 8u ? slot->exact[std::countr_zero(bits)]
                                                           : nullptr;
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
    void * const self = static_cast<IDispatcher *>(this);
    if (params->type == IDispatcher::PropertySet &&
        entry->type == IDispatcherImplTableEntry::Variable) {
        // A write through, which every alias of the member sees.
        VariableRef member;
        _Variable * const variable = entry->variable(self);
        member.link(*variable);
        member = params->params->at(0);
        variable->link(member);
        return true;
    }
    entry->invoke(self, params);
    return true;
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
