// MT19937 as published, but for the seeding (see the header).
#include "foundation/RandomNumberGenerator.h"

unsigned long RandomNumberGenerator::GetInteger() {
    if (left_ == 0) {
        reload();
        left_ = size;
        next_ = 0;
    }
    --left_;
    std::uint32_t word = state_[next_++];
    word ^= word >> 11;
    word ^= word << 7 & 0x9D2C5680;
    word ^= word << 15 & 0xEFC60000;
    return word ^ word >> 18;
}

void RandomNumberGenerator::reload() {
    constexpr int offset = 397;
    for (int i = 0; i < size; ++i) {
        std::uint32_t const mixed =
            (state_[i] & 0x80000000) | (state_[(i + 1) % size] & 0x7FFFFFFF);
        state_[i] =
            state_[(i + offset) % size] ^ mixed >> 1 ^ (mixed & 1 ? 0x9908B0DF : std::uint32_t(0));
    }
}
