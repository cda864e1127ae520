// Handles of regions, where the system draws with such; elsewhere there are none.
#pragma once

#include "platform/SystemTypes.h"

#include <vector>

namespace platform {

/// A region of these rectangles, whose right and bottom are exclusive as those of `bounds`. The
/// caller owns it. Null where the system has no such handles or refuses.
HRGN createRegion(std::vector<RECT> const & rects, RECT const & bounds);
/// The rectangles of a region, from the top down and from left to right; none where the system has
/// no such handles.
std::vector<RECT> regionRects(HRGN region);
/// Null is allowed.
void deleteRegion(HRGN region);

} // namespace platform
