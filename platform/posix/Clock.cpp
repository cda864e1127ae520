// The counter is the monotonic clock. The calendar works without the C library while a crash is
// being reported: the difference to universal time is kept from the last ordinary call, and the
// date is plain arithmetic.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64
#include "platform/Clock.h"

#include "platform/Crash.h"

#include <time.h>

#include <atomic>

namespace platform {

namespace {

constinit std::atomic<double (*)()> g_counterSource{nullptr};
constinit std::atomic<long> g_zoneSeconds{0};

constexpr std::int64_t secondsFrom1601To1970 = 11644473600;
constexpr std::int64_t secondsPerDay = 86400;

timespec monotonicTime() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

/// Days since 1970 to a date. Years are taken to begin with March, so that the leap day is the last
/// of its year and months have a regular pattern of lengths; 719468 days lie between that
/// calendar's first day, in the year 0, and 1970.
void dateOfDay(std::int64_t day, CalendarTime & date) {
    day += 719468;
    std::int64_t const era = (day >= 0 ? day : day - 146096) / 146097;
    std::int64_t const dayOfEra = day - era * 146097;
    std::int64_t const yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    std::int64_t const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    std::int64_t const marchMonth = (5 * dayOfYear + 2) / 153;
    date.day = static_cast<int>(dayOfYear - (153 * marchMonth + 2) / 5 + 1);
    date.month = static_cast<int>(marchMonth < 10 ? marchMonth + 3 : marchMonth - 9);
    date.year = static_cast<int>(yearOfEra + era * 400 + (date.month <= 2 ? 1 : 0));
}

} // namespace

double counterSeconds() {
    if (double (*const source)() = g_counterSource.load(std::memory_order_relaxed))
        return source();
    // The system counts from its start. After weeks of that a float tells no frames apart, so the
    // program counts from a second before its own first reading: no reading is taken for none.
    static time_t const start = monotonicTime().tv_sec - 1;
    timespec const now = monotonicTime();
    return static_cast<double>(now.tv_sec - start) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void setCounterSource(double (*source)()) {
    g_counterSource.store(source, std::memory_order_relaxed);
}

std::int64_t systemFileTime() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<std::int64_t>(now.tv_sec) + secondsFrom1601To1970) * 10000000 +
           now.tv_nsec / 100;
}

CalendarTime localTime() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (!isCrashing()) {
        tm fields;
        if (localtime_r(&now.tv_sec, &fields))
            g_zoneSeconds.store(fields.tm_gmtoff, std::memory_order_relaxed);
    }
    std::int64_t const seconds =
        static_cast<std::int64_t>(now.tv_sec) + g_zoneSeconds.load(std::memory_order_relaxed);
    std::int64_t const day =
        (seconds >= 0 ? seconds : seconds - (secondsPerDay - 1)) / secondsPerDay;
    int const secondOfDay = static_cast<int>(seconds - day * secondsPerDay);
    CalendarTime date;
    dateOfDay(day, date);
    date.hour = secondOfDay / 3600;
    date.minute = secondOfDay / 60 % 60;
    date.second = secondOfDay % 60;
    return date;
}

} // namespace platform
