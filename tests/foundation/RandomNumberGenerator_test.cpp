#include "foundation/RandomNumberGenerator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <sstream>

namespace {

/// The standard library's generator, put into the state that our seeding gives.
std::mt19937 peer(std::uint32_t seed) {
    std::stringstream state;
    std::uint32_t word = seed | 1;
    for (int i = 0; i < 624; ++i, word *= 69069)
        state << word << ' ';
    state << 624;
    std::mt19937 generator;
    state >> generator;
    return generator;
}

} // namespace

TEST(RandomNumberGenerator, DrawsTheNumbersOfTheMersenneTwister) {
    for (std::uint32_t seed : {0u, 1u, 2u, 4711u, 0xFFFFFFFFu}) {
        RandomNumberGenerator generator;
        generator.GetInteger(); // a seed starts anew wherever the generator stands
        generator.SetSeed(seed);
        std::mt19937 model = peer(seed);
        for (int i = 0; i < 2000; ++i)
            ASSERT_EQ(generator.GetInteger(), model()) << seed << " number " << i;
    }
}

TEST(RandomNumberGenerator, CopiesWithItsState) {
    RandomNumberGenerator first(5);
    first.GetInteger();
    RandomNumberGenerator second(first);
    EXPECT_EQ(first.GetFloat(), second.GetFloat());
    first.GetInteger();
    EXPECT_NE(first.GetInteger(), second.GetInteger());
}
