// The machine's own answer to an integer division by zero.
#pragma once

namespace platform {

/// Divides an integer by zero, with what the system does about it; does not return.
[[noreturn]] void divisionFault();

} // namespace platform
