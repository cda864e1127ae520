// The version of the library, the one place where its numbers stand: the build, the package and the
// `ondrel` program read them from here.
#pragma once

#include "platform/Export.h"

#define ONDREL_VERSION_MAJOR 0
#define ONDREL_VERSION_MINOR 1
#define ONDREL_VERSION_PATCH 0

#define ONDREL_TEXT_OF_(number) #number
#define ONDREL_VERSION_TEXT_(major, minor, patch)                                                  \
    ONDREL_TEXT_OF_(major) "." ONDREL_TEXT_OF_(minor) "." ONDREL_TEXT_OF_(patch)
/// The version of these headers as a text: "major.minor.patch".
#define ONDREL_VERSION                                                                             \
    ONDREL_VERSION_TEXT_(ONDREL_VERSION_MAJOR, ONDREL_VERSION_MINOR, ONDREL_VERSION_PATCH)

/// The version that the library was built as, which is another than ONDREL_VERSION when a program
/// compiled with one version's headers meets the library of another.
ONDREL_API char const * OndrelVersion();

/// Whether a program compiled with headers of version `major`.`minor` may use this library: the
/// major version is the same and the library's minor version no smaller; before 1.0, where every
/// minor version may change everything, both are the same. Without arguments it asks for the
/// headers that the caller was compiled with.
ONDREL_API bool OndrelVersionFits(int major = ONDREL_VERSION_MAJOR,
                                  int minor = ONDREL_VERSION_MINOR);
