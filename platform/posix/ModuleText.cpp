// There are no text resources in ELF modules.
#include "platform/ModuleText.h"

unsigned int platform::moduleString(HINSTANCE, unsigned int, char *, unsigned int) {
    return 0;
}
