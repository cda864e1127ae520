// The memory of an object stream: which objects went through it already, so that a second
// reference costs a few bytes and comes back as the same object. A scene has hundreds of thousands
// of them, so both tables are made to be cheap per object.
#pragma once

#include "platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class GStreamable;

namespace ondrel_detail {

/// Written objects: from the pointer to the index, by open addressing.
class PointerTable {
  public:
    /// The index of a known object, otherwise 0.
    std::uint32_t find(GStreamable const * object) const {
        if (slots_.empty())
            return 0;
        std::size_t const mask = slots_.size() - 1;
        for (std::size_t i = place(object); slots_[i].object; i = (i + 1) & mask)
            if (slots_[i].object == object)
                return slots_[i].index;
        return 0;
    }
    /// Gives out the next index, the first being 1. An object that is known keeps the index it
    /// has, though the number is used up all the same: the reader counts frames.
    std::uint32_t insert(GStreamable const * object);
    /// The index of an object, to be set: 0 for one that was not known.
    std::uint32_t & indexOf(GStreamable const * object);
    /// Forgets all; numbering starts again.
    void clear();

  private:
    struct Slot {
        GStreamable const * object;
        std::uint32_t index;
    };

    static constexpr std::size_t smallest = 64;

    std::size_t place(GStreamable const * object) const {
        auto const value = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(object));
        // Multiplying spreads the middle bits of an address over the upper ones.
        return static_cast<std::size_t>((value * 0x9E3779B97F4A7C15u) >> shift_);
    }
    void grow();

    std::vector<Slot> slots_; // a power of two of them, at most two thirds in use
    std::size_t used_ = 0;
    unsigned int shift_ = 64; // 64 less the logarithm of the number of slots
    std::uint32_t next_ = 1;
};

/// Objects that were read, in the order of their prefixes. It grows block by block, so that no
/// entry is ever copied and the table never takes more than its entries and one block.
///
/// An object that ends leaves null in its places: a later reference to it, which a damaged stream
/// may well hold, must not lead to memory that is something else by then.
class ObjectTable {
  public:
    ObjectTable() = default;
    ObjectTable(ObjectTable const &) = delete;
    ObjectTable & operator=(ObjectTable const &) = delete;
    ~ObjectTable();

    long getCount() const { return count_; }
    GStreamable * at(long index) const { return blocks_[block(index)][offset(index)]; }
    /// The object with that number, the first being 1; null when there is none.
    GStreamable * find(std::uint32_t number) const {
        auto const count = static_cast<std::uint32_t>(count_);
        return number - 1 < count ? at(static_cast<long>(number - 1)) : nullptr;
    }
    void put(long index, GStreamable * object);
    void append(GStreamable * object);
    void clear();

    /// Takes an object that ends out of all tables that this thread fills.
    static void Forget(GStreamable const * object);

  private:
    /// A place of an object, and the number of the note on an earlier one of the same object.
    struct Note {
        std::uint32_t index;
        std::uint32_t earlier;
    };

    static constexpr std::size_t blockSize = 2048;
    static std::size_t block(long index) { return static_cast<std::size_t>(index) / blockSize; }
    static std::size_t offset(long index) { return static_cast<std::size_t>(index) % blockSize; }

    void set(long index, GStreamable * object);
    void note(long index);
    void remove(GStreamable const * object);
    void join();
    void leave();

    std::vector<std::unique_ptr<GStreamable *[]>> blocks_;
    long count_ = 0;
    long noted_ = 0;      // how many entries the notes know
    PointerTable places_; // from an object to the number of the last note on it
    std::vector<Note> notes_;
    char const * thread_ = nullptr; // that fills the table; null when it is empty
    ObjectTable * next_ = nullptr;
};

/// What a layer above wants to do for an object while a stream builds and reads it.
struct ReadingCare {
    /// Called in front of the `read`; null when the object needs no care.
    void * (*begin)(GStreamable & object);
    /// Called behind it with what `begin` gave. When the object did not come `whole` nobody has
    /// got it, and nobody will.
    void (*end)(void * care, bool whole);
    /// Called around the reading of an object that stands in no other one: what nobody holds for a
    /// moment is kept until it is through, since a number further on may mean it.
    void (*keepAll)();
    void (*endKeeping)();
};
/// Set once at start-up. Empty where nobody cares.
extern ONDREL_API ReadingCare g_readingCare;

} // namespace ondrel_detail
