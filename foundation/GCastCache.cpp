// The slow side of the remembered casts: learning an answer and forgetting all.
#include "foundation/GCastCache.h"

constinit GCastCache::Slot GCastCache::slots_[std::size_t(1) << GCastCache::Bits];

namespace {

// Spares the end of the program from going through all slots once per class.
constinit std::atomic<bool> g_anyLearnt{false};

} // namespace

void * GCastCache::Learn(GRTTIObject const * object, GMetaClass const * target, void const * table,
                         Slot & slot) {
    void * const found = object->fast_cast_to_(target);
    std::ptrdiff_t const distance =
        found ? static_cast<char const *>(found) - reinterpret_cast<char const *>(object) : Never;
    g_anyLearnt.store(true, std::memory_order_relaxed);
    write(slot, table, target, distance);
    return found;
}

// An odd version keeps readers off; whoever finds one is too late and leaves the slot alone.
bool GCastCache::write(Slot & slot, void const * table, GMetaClass const * target,
                       std::ptrdiff_t distance) {
    std::uint32_t version = slot.version.load(std::memory_order_relaxed);
    if ((version & 1) != 0 ||
        !slot.version.compare_exchange_strong(version, version + 1, std::memory_order_acquire))
        return false;
    std::atomic_thread_fence(std::memory_order_release);
    slot.table.store(table, std::memory_order_relaxed);
    slot.target.store(target, std::memory_order_relaxed);
    slot.distance.store(distance, std::memory_order_relaxed);
    slot.version.store(version + 2, std::memory_order_release);
    return true;
}

void GCastCache::Forget() {
    if (!g_anyLearnt.exchange(false, std::memory_order_relaxed))
        return;
    for (Slot & slot : slots_)
        while (!write(slot, nullptr, nullptr, 0)) {
        }
}
