// The Mersenne Twister MT19937 with the seeding that the engine has always had: worlds made from a
// seed must come out the same for good.
#pragma once

#include "platform/Export.h"

#include <cstdint>

/// One stream of random numbers; equal seeds give equal numbers on every platform.
class ONDREL_API RandomNumberGenerator {
  public:
    constexpr explicit RandomNumberGenerator(unsigned long seed = 0) { SetSeed(seed); }

    /// Seeds differ by their upper 31 bits only.
    constexpr void SetSeed(unsigned long seed) {
        left_ = 0;
        state_[0] = static_cast<std::uint32_t>(seed) | 1;
        for (int i = 1; i < size; ++i)
            state_[i] = state_[i - 1] * 69069u;
    }
    /// 32 random bits.
    unsigned long GetInteger();
    /// 0 to 1, both included.
    double GetFloat() { return static_cast<double>(GetInteger()) * 2.3283064370807974e-10; }

  private:
    static constexpr int size = 624;
    void reload();

    std::uint32_t state_[size] = {};
    int next_ = 0;
    int left_ = 0; // words until the state must be made anew
};
