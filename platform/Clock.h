// The two clocks of the machine: a counter that only runs forward, for measuring, and the calendar.
// A test that needs time replaces the counter; nothing else fakes time.
#pragma once

#include "platform/Export.h"

#include <cstdint>

namespace platform {

/// A reading of the forward-running counter in seconds. Its zero has no meaning, but lies near the
/// first reading of the program: a float holds hours of it to the millisecond.
ONDREL_API double counterSeconds();
/// Replaces what `counterSeconds` returns; null restores the machine's own counter.
ONDREL_API void setCounterSource(double (*source)());
/// Universal time in units of 100 nanoseconds since the start of the year 1601.
ONDREL_API std::int64_t systemFileTime();

/// Calendar fields as people write them: months and days count from 1.
struct CalendarTime {
    int year, month, day, hour, minute, second;
};

/// Now by the local time zone. While a crash is being reported it uses the difference to universal
/// time that it saw last, since asking for the zone may take locks or memory.
ONDREL_API CalendarTime localTime();

} // namespace platform
