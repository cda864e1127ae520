// How resources are named on the command line: `directory/directory/name,type`, and a directory
// with a separator at its end. A backslash separates as well. A byte that would be taken for
// something else, or that a terminal or JSON could not hold, is written as % and two hexadecimal
// digits, so that every resource has an address.
#pragma once

#include "persistence/GResourcePath.h"

#include <string>
#include <string_view>

namespace tool {

/// The text with its escapes as the bytes that they stand for; throws Failure when one is broken.
std::string decodedAddress(std::string_view text);

std::string addressOf(GResourceFullName const & name);
bool isDirectoryAddress(std::string const & address);
/// Both throw Failure when the address is none.
GResourceFullName resourceAt(std::string const & address);
GResourcePath directoryAt(std::string const & address);

} // namespace tool
