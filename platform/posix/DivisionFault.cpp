// The compiler may not reason about the division, or it would take it out.
#include "platform/DivisionFault.h"

#include <csignal>
#include <cstdlib>

[[noreturn]]
#if defined(__GNUC__)
__attribute__((no_sanitize("undefined")))
#endif
void platform::divisionFault() {
    int volatile zero = 0;
    int volatile quotient = 1 / zero;
    static_cast<void>(quotient);
    // Some machines divide by zero in silence.
    std::raise(SIGFPE);
    std::abort();
}
