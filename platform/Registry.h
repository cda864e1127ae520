// The user's store of small settings that programs share: keys that hold names with texts. Where
// the system has no such store it is a text file in the user's folder of settings, or where the
// environment variable ONDREL_REGISTRY says.
#pragma once

#include "platform/Export.h"

#include <string>
#include <utility>
#include <vector>

namespace platform {

/// Keys have backslashes between their parts.
using RegistryValues = std::vector<std::pair<std::string, std::string>>; // name and text

/// False when there is no such key or name.
ONDREL_API bool readRegistry(char const * key, char const * name, std::string & text);
/// Makes the key if need be. False when the store cannot be written.
ONDREL_API bool writeRegistry(char const * key, char const * name, char const * text);
/// Counts a decimal number up and gives it in `number`, 0 when there was none; no two programs get
/// the same. False when the store cannot be written.
ONDREL_API bool countUpRegistry(char const * key, char const * name, int & number);
/// All names of a key; false when it is not there.
ONDREL_API bool listRegistry(char const * key, RegistryValues & values);
/// Where the store is, for messages to people.
ONDREL_API std::string registryPlace();

} // namespace platform
