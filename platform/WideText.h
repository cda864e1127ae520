// Texts of 16-bit units, as the system's 8-bit texts have them.
#pragma once

#include "platform/Export.h"

#include <string>

namespace platform {

/// `text`, which ends at its first zero unit or is null, in the system's 8-bit code: UTF-8 where
/// there are no code pages. A unit that no character comes of becomes the replacement character.
ONDREL_API std::string narrowText(unsigned short const * text);

} // namespace platform
