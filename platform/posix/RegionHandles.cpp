// There are no region handles here.
#include "platform/RegionHandles.h"

namespace platform {

HRGN createRegion(std::vector<RECT> const &, RECT const &) {
    return nullptr;
}

std::vector<RECT> regionRects(HRGN) {
    return {};
}

void deleteRegion(HRGN) {}

} // namespace platform
