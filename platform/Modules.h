// The program and the shared libraries it is made of. A module's handle is the address where it is
// loaded, whether it was loaded by name or found by an address within it. Names are written with
// backslashes, like all file names above this layer.
#pragma once

#include "platform/Export.h"
#include "platform/SystemTypes.h"

namespace platform {

/// The module that holds `address`; null when none does.
ONDREL_API HINSTANCE moduleOfAddress(void const * address);
/// Writes the full path of `module` (null: of the program) into `name`, cut to `size` bytes with
/// the terminating zero. Returns the characters written; 0 for no module.
ONDREL_API unsigned long moduleFileName(HINSTANCE module, char * name, unsigned long size);
/// Loads the shared library `name`: a path, or a bare name for the system's search. Null on
/// failure. Each load asks for one unload.
ONDREL_API HINSTANCE loadModule(char const * name);
ONDREL_API bool unloadModule(HINSTANCE module);
/// The address of an exported symbol, or null.
ONDREL_API void * moduleSymbol(HINSTANCE module, char const * symbol);
/// `moduleFileName` of the program. It takes no lock and no memory.
ONDREL_API unsigned long programPath(char * name, unsigned long size);

} // namespace platform
