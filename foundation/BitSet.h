// A set of small numbers, one bit each, in 32-bit words. There is always a word for the number
// `size` itself, one more than `size` bits need when that is a multiple of 32.
#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <iosfwd>

class ipstream;
class opstream;

/// A set of the numbers from 0 to its size, streamed as 32-bit words.
class ONDREL_API BitSet {
  public:
    BitSet() : BitSet(1) {}
    /// All bits off; a size of 0 becomes 1.
    explicit BitSet(unsigned long size);
    BitSet(BitSet const & other);
    BitSet & operator=(BitSet const & other);
    ~BitSet() { delete[] bits_; }

    /// Bits in words that stay are kept; new words are clear. 0 becomes 1.
    void resize(unsigned long size);
    /// The size in bits.
    unsigned long getCount() const { return size_; }

    /// Not checked beyond an assert.
    bool operator[](unsigned long index) const;
    /// Sets the bit. Where there is no word for it the set is resized to `index` first, which
    /// makes the word: the bit exists then although the size does not count it.
    BitSet & operator+=(unsigned long index);
    /// Clears the bit; nothing where there is no word for it.
    BitSet & operator-=(unsigned long index);
    void set(unsigned long index, bool on);
    /// The bits `from` through `to`.
    void set_range(unsigned long from, unsigned long to, bool on);
    /// All bits of all words, those beyond the size as well.
    void enable_all();
    void disable_all();

    /// Set operations over the words that both have; other words stay. `+` and `|` unite, `-`
    /// keeps what `other` lacks, `&` intersects, `^` keeps what one of the two has.
    BitSet & operator+=(BitSet const & other) { return *this |= other; }
    BitSet & operator|=(BitSet const & other);
    BitSet & operator-=(BitSet const & other);
    BitSet & operator&=(BitSet const & other);
    BitSet & operator^=(BitSet const & other);
    BitSet operator+(BitSet const & other) const { return BitSet(*this) |= other; }
    BitSet operator|(BitSet const & other) const { return BitSet(*this) |= other; }
    BitSet operator-(BitSet const & other) const { return BitSet(*this) -= other; }
    BitSet operator&(BitSet const & other) const { return BitSet(*this) &= other; }
    BitSet operator^(BitSet const & other) const { return BitSet(*this) ^= other; }

    /// Whether all words are zero.
    bool isEmpty() const;
    /// Over the first `size` bits.
    unsigned long getEnabledCount() const;
    unsigned long getDisabledCount() const { return size_ - getEnabledCount(); }

    /// As many words, with the same bits.
    bool operator==(BitSet const & other) const;
    bool operator!=(BitSet const & other) const { return !(*this == other); }
    /// Subset, by bits; false when the numbers of words differ.
    bool operator<=(BitSet const & other) const;
    bool operator>=(BitSet const & other) const { return other <= *this; }
    bool operator<(BitSet const & other) const { return *this <= other && *this != other; }
    bool operator>(BitSet const & other) const { return other < *this; }

    /// Size, number of words, then the words from the last to the first, each 32 bits. A set whose
    /// numbers do not fit each other sets the failure bit of the stream and reads as empty.
    friend ONDREL_API opstream & operator<<(opstream & out, BitSet const & set);
    friend ONDREL_API ipstream & operator>>(ipstream & in, BitSet & set);
    /// '0' or '1' for each bit from bit 0 up.
    friend ONDREL_API std::ostream & operator<<(std::ostream & out, BitSet const & set);

  private:
    static unsigned long wordsFor(unsigned long size) { return (size >> 5) + 1; }

    unsigned long size_;
    std::uint32_t * bits_;
    unsigned long words_;
};
