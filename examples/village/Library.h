// The library of the village: a resource file whose objects saved worlds name and do not hold.
#pragma once

#include "ondrel.h"

namespace Village {

/// Its file name; the redirection file says where it lies.
inline constexpr char villageLibrary[] = "village.library";

} // namespace Village
