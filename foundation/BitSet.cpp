// Bits in 32-bit words.
#include "foundation/BitSet.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <ostream>

BitSet::BitSet(unsigned long size)
    : size_(size ? size : 1), bits_(new std::uint32_t[wordsFor(size_)]()), words_(wordsFor(size_)) {
}

BitSet::BitSet(BitSet const & other)
    : size_(other.size_), bits_(new std::uint32_t[other.words_]), words_(other.words_) {
    std::copy_n(other.bits_, words_, bits_);
}

BitSet & BitSet::operator=(BitSet const & other) {
    if (this == &other)
        return *this;
    if (words_ != other.words_) {
        auto * const bits = new std::uint32_t[other.words_];
        delete[] bits_;
        bits_ = bits;
        words_ = other.words_;
    }
    size_ = other.size_;
    std::copy_n(other.bits_, words_, bits_);
    return *this;
}

void BitSet::resize(unsigned long size) {
    size = size ? size : 1;
    unsigned long const words = wordsFor(size);
    if (words != words_) {
        auto * const bits = new std::uint32_t[words]();
        std::copy_n(bits_, std::min(words, words_), bits);
        delete[] bits_;
        bits_ = bits;
        words_ = words;
    }
    size_ = size;
}

bool BitSet::operator[](unsigned long index) const {
    assert(index >> 5 < words_);
    return bits_[index >> 5] >> (index & 31) & 1;
}

BitSet & BitSet::operator+=(unsigned long index) {
    if (index >> 5 >= words_)
        resize(index);
    bits_[index >> 5] |= std::uint32_t(1) << (index & 31);
    return *this;
}

BitSet & BitSet::operator-=(unsigned long index) {
    if (index >> 5 < words_)
        bits_[index >> 5] &= ~(std::uint32_t(1) << (index & 31));
    return *this;
}

void BitSet::set(unsigned long index, bool on) {
    if (on)
        *this += index;
    else
        *this -= index;
}

void BitSet::set_range(unsigned long from, unsigned long to, bool on) {
    if (from > to)
        return;
    if (to >> 5 >= words_) {
        if (on) {
            resize(to);
        } else {
            to = words_ * 32 - 1;
            if (from > to)
                return;
        }
    }
    for (unsigned long word = from >> 5; word <= to >> 5; ++word) {
        std::uint32_t mask = ~std::uint32_t(0);
        if (word == from >> 5)
            mask &= ~std::uint32_t(0) << (from & 31);
        if (word == to >> 5)
            mask &= ~std::uint32_t(0) >> (31 - (to & 31));
        bits_[word] = on ? bits_[word] | mask : bits_[word] & ~mask;
    }
}

void BitSet::enable_all() {
    std::fill_n(bits_, words_, ~std::uint32_t(0));
}

void BitSet::disable_all() {
    std::fill_n(bits_, words_, 0);
}

BitSet & BitSet::operator|=(BitSet const & other) {
    for (unsigned long i = std::min(words_, other.words_); i-- > 0;)
        bits_[i] |= other.bits_[i];
    return *this;
}

BitSet & BitSet::operator-=(BitSet const & other) {
    for (unsigned long i = std::min(words_, other.words_); i-- > 0;)
        bits_[i] &= ~other.bits_[i];
    return *this;
}

BitSet & BitSet::operator&=(BitSet const & other) {
    for (unsigned long i = std::min(words_, other.words_); i-- > 0;)
        bits_[i] &= other.bits_[i];
    return *this;
}

BitSet & BitSet::operator^=(BitSet const & other) {
    for (unsigned long i = std::min(words_, other.words_); i-- > 0;)
        bits_[i] ^= other.bits_[i];
    return *this;
}

bool BitSet::isEmpty() const {
    return std::all_of(bits_, bits_ + words_, [](std::uint32_t word) { return word == 0; });
}

unsigned long BitSet::getEnabledCount() const {
    unsigned long count = 0;
    for (unsigned long i = 0; i < size_ >> 5; ++i)
        count += static_cast<unsigned long>(std::popcount(bits_[i]));
    std::uint32_t const mask = (std::uint32_t(1) << (size_ & 31)) - 1;
    return count + static_cast<unsigned long>(std::popcount(bits_[size_ >> 5] & mask));
}

bool BitSet::operator==(BitSet const & other) const {
    return words_ == other.words_ && std::equal(bits_, bits_ + words_, other.bits_);
}

bool BitSet::operator<=(BitSet const & other) const {
    if (words_ != other.words_)
        return false;
    for (unsigned long i = 0; i < words_; ++i)
        if (bits_[i] & ~other.bits_[i])
            return false;
    return true;
}

std::ostream & operator<<(std::ostream & out, BitSet const & set) {
    for (unsigned long i = 0; i < set.size_; ++i)
        out << (set[i] ? '1' : '0');
    return out;
}
