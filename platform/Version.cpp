// What the headers said when the library was compiled.
#include "platform/Version.h"

char const * OndrelVersion() {
    return ONDREL_VERSION;
}

bool OndrelVersionFits(int major, int minor) {
    if (major != ONDREL_VERSION_MAJOR)
        return false;
    return major == 0 ? minor == ONDREL_VERSION_MINOR : minor <= ONDREL_VERSION_MINOR;
}
