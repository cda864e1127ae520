// Remembers the answers of fast_cast_to_. A cast walks the tree of bases and ends only after all of
// it when the answer is no, and the stepping path asks the same question of the same classes all
// the time; here the second time costs a few loads, also when the answer is no.
#pragma once

#include "foundation/GRTTIObject.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// What keeps an answer true: fast_cast_to_, as the class macros write it, asks only for the class
/// of the object, so the answer is a fixed distance from its GRTTIObject part or always null. The
/// key is the table of virtual functions of that part. It stands for one complete class, and for a
/// base that is still under construction inside a derived class there is a table of its own, so
/// that even the distance to virtual bases is a function of the key. Tables go only with their
/// module, whose class descriptions go with it and forget all answers.
///
/// Any thread may ask; there is no lock, and a slot is small enough to be read anew when another
/// thread has just changed it.
class ONDREL_API GCastCache {
  public:
    /// object->fast_cast_to_(target); `object` is not null.
    static void * Cast(GRTTIObject const * object, GMetaClass const * target) {
        void const * table;
        std::memcpy(&table, static_cast<void const *>(object), sizeof table);
        Slot & slot = slots_[place(table, target)];
        std::uint32_t const version = slot.version.load(std::memory_order_acquire);
        if (slot.table.load(std::memory_order_relaxed) == table &&
            slot.target.load(std::memory_order_relaxed) == target) {
            std::ptrdiff_t const distance = slot.distance.load(std::memory_order_relaxed);
            std::atomic_thread_fence(std::memory_order_acquire);
            if ((version & 1) == 0 && slot.version.load(std::memory_order_relaxed) == version)
                return distance == Never ? nullptr : at(object, distance);
        }
        return Learn(object, target, table, slot);
    }
    /// Forgets all answers; called when a class description goes.
    static void Forget();

  private:
    static constexpr int Bits = 10;
    static constexpr std::ptrdiff_t Never = PTRDIFF_MIN;

    struct Slot {
        std::atomic<std::uint32_t> version{0}; // odd while it is written
        std::atomic<void const *> table{nullptr};
        std::atomic<GMetaClass const *> target{nullptr};
        std::atomic<std::ptrdiff_t> distance{0};
    };

    static std::size_t place(void const * table, GMetaClass const * target) {
        auto const a = std::uint32_t(reinterpret_cast<std::uintptr_t>(table) >> 3);
        auto const b = std::uint32_t(reinterpret_cast<std::uintptr_t>(target) >> 3);
        return (a * 0x9E3779B1u + b * 0x85EBCA77u) >> (32 - Bits);
    }
    static void * at(GRTTIObject const * object, std::ptrdiff_t distance) {
        return const_cast<char *>(reinterpret_cast<char const *>(object)) + distance;
    }
    static void * Learn(GRTTIObject const * object, GMetaClass const * target, void const * table,
                        Slot & slot);
    static bool write(Slot & slot, void const * table, GMetaClass const * target,
                      std::ptrdiff_t distance);

    static Slot slots_[std::size_t(1) << Bits];
};

/// `object` as a T, or null; `object` may be null. gcast with a memory.
template <class T, class Source>
T * gcast_cached(Source * object) {
    return object ? static_cast<T *>(GCastCache::Cast(object, &T::metaclass_)) : nullptr;
}
