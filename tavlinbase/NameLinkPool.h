// The state behind the name dictionary, shared by the dictionary and its streamed form.
//
// An entry of the pool is a link of 4 bytes, the offset of the text of the former head of its
// chain, and right behind it the text with its terminating zero. The first entry's text stands at
// offset 4, so 0 ends a chain.
#pragma once

#include "foundation/IncrementalAllocator.h"
#include "tavlinbase/NameLink.h"

#include <cstdint>

namespace Tavlin {

struct NameLinkPool {
    static constexpr unsigned long reservation = 0x800000;
    static constexpr unsigned long linkSize = 4;
    static constexpr unsigned int chains = 8192;

    NameLinkPool() : pool(reservation, 0, 1, nullptr) {}

    char const * base() const { return static_cast<char const *>(pool.getBase()); }

    /// The name whose text stands at offset `word`; false when there is none. `trusted` spares the
    /// test that a text begins there and not in the middle.
    bool nameOfWord(std::uint32_t word, bool trusted, NameLinkID & name) const;

    /// Made at first use; the memory goes back when the process ends.
    static NameLinkPool & Get();

    IncrementalAllocator pool;
    std::uint32_t heads[chains] = {};
};

} // namespace Tavlin
