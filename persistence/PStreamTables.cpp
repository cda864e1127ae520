// The tables of object streams, and the list of those that must hear of the end of an object.
#include "persistence/PStreamTables.h"

#include "foundation/GCriticalSection.h"
#include "foundation/GStreamable.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <utility>

namespace ondrel_detail {

constinit ReadingCare g_readingCare{};

// Written objects.

std::uint32_t PointerTable::insert(GStreamable const * object) {
    std::uint32_t & index = indexOf(object);
    std::uint32_t const next = next_++;
    if (!index)
        index = next;
    return next;
}

std::uint32_t & PointerTable::indexOf(GStreamable const * object) {
    if (3 * (used_ + 1) > 2 * slots_.size())
        grow();
    std::size_t const mask = slots_.size() - 1;
    std::size_t i = place(object);
    while (slots_[i].object && slots_[i].object != object)
        i = (i + 1) & mask;
    if (!slots_[i].object) {
        slots_[i] = {object, 0};
        ++used_;
    }
    return slots_[i].index;
}

void PointerTable::clear() {
    // The table of a small object serves the next; a big one would be cleared in vain.
    if (slots_.size() > smallest)
        slots_ = {};
    else if (used_ > 0)
        std::fill(slots_.begin(), slots_.end(), Slot{nullptr, 0});
    used_ = 0;
    next_ = 1;
}

void PointerTable::grow() {
    std::vector<Slot> const former = std::move(slots_);
    slots_.assign(std::max<std::size_t>(2 * former.size(), smallest), Slot{nullptr, 0});
    shift_ = 64u - static_cast<unsigned int>(std::countr_zero(slots_.size()));
    std::size_t const mask = slots_.size() - 1;
    for (Slot const & slot : former) {
        if (!slot.object)
            continue;
        std::size_t i = place(slot.object);
        while (slots_[i].object)
            i = (i + 1) & mask;
        slots_[i] = slot;
    }
}

// Read objects.

namespace {

// The tables that hold objects. Each belongs to the thread that fills it, and only the ends on that
// thread concern it: another must not reach into a table that is in use.
constinit GCriticalSection g_section;
constinit std::atomic<ObjectTable *> g_tables{nullptr};
constinit thread_local char t_here = 0;

} // namespace

ObjectTable::~ObjectTable() {
    leave();
}

void ObjectTable::append(GStreamable * object) {
    if (thread_ != &t_here)
        join();
    if (offset(count_) == 0 && block(count_) == blocks_.size())
        blocks_.push_back(std::make_unique_for_overwrite<GStreamable *[]>(blockSize));
    set(count_++, object);
}

void ObjectTable::set(long index, GStreamable * object) {
    blocks_[block(index)][offset(index)] = object;
    if (object)
        object->read_ = true;
}

void ObjectTable::put(long index, GStreamable * object) {
    set(index, object);
    if (object && index < noted_)
        note(index);
}

void ObjectTable::clear() {
    leave();
    // One block is kept for the next object.
    if (blocks_.size() > 1)
        blocks_.resize(1);
    count_ = 0;
    noted_ = 0;
    places_.clear();
    notes_.clear();
}

void ObjectTable::join() {
    leave();
    GSingleLock const lock(g_section);
    thread_ = &t_here;
    next_ = g_tables.load(std::memory_order_relaxed);
    g_tables.store(this, std::memory_order_release);
}

void ObjectTable::leave() {
    if (!thread_)
        return;
    GSingleLock const lock(g_section);
    thread_ = nullptr;
    ObjectTable * const first = g_tables.load(std::memory_order_relaxed);
    if (first == this) {
        g_tables.store(next_, std::memory_order_release);
        return;
    }
    for (ObjectTable * table = first; table; table = table->next_)
        if (table->next_ == this) {
            table->next_ = next_;
            return;
        }
}

void ObjectTable::note(long index) {
    std::uint32_t & last = places_.indexOf(at(index));
    notes_.push_back({static_cast<std::uint32_t>(index), last});
    last = static_cast<std::uint32_t>(notes_.size());
}

/// The places are looked up only once an object ends, which few loads see at all.
void ObjectTable::remove(GStreamable const * object) {
    for (; noted_ < count_; ++noted_)
        if (at(noted_))
            note(noted_);
    std::uint32_t number = places_.find(object);
    if (!number)
        return;
    places_.indexOf(object) = 0;
    while (number) {
        Note const & noted = notes_[number - 1];
        if (at(noted.index) == object)
            set(noted.index, nullptr);
        number = noted.earlier;
    }
}

void ObjectTable::Forget(GStreamable const * object) {
    if (!g_tables.load(std::memory_order_acquire))
        return;
    GSingleLock const lock(g_section);
    for (ObjectTable * table = g_tables.load(std::memory_order_relaxed); table;
         table = table->next_)
        if (table->thread_ == &t_here)
            table->remove(object);
}

} // namespace ondrel_detail
