// Watches what the process asks memory for, to show that a length in a stream is not believed.
#pragma once

#include <cstddef>

namespace allocation {

/// False under the address sanitizer, which has an operator new of its own.
bool isWatched();
/// Starts anew: the largest request so far is none.
void forget();
/// The largest single request since then, in bytes; 0 when they are not watched.
std::size_t largest();

} // namespace allocation
