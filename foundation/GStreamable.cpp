// The root of everything that can be saved. Copying goes through a stream in memory, so that a
// class which can be saved can be copied without a line of its own.
#include "foundation/GStreamable.h"

#include "persistence/GBufferedIO.h"
#include "persistence/GMemoryIO.h"
#include "persistence/pstream.h"
#include "platform/Clock.h"

G_DEFINE_CLASS(GStreamable, "GStreamable", GObject)

namespace {

constexpr long daysOfMonth = 31;
constexpr long hoursOfDay = 24;

long g_versionTime = GStreamable::GetTickCount();

long hours(long year, long month, long day, long hour) {
    return hour + ((month + year * 12) * daysOfMonth + day - 32) * hoursOfDay;
}

} // namespace

void GStreamable::leaveStreams() {
    ondrel_detail::ObjectTable::Forget(this);
}

void GStreamable::shut_down() {}

GStreamable * GStreamable::clone() {
    GBufferedIO memory(new GMemoryIO(0));
    iopstream stream(&memory);
    stream.writePointer(this);
    stream.seekg(0);
    return stream.readPointer<GStreamable>();
}

void GStreamable::Destroy(GStreamable * object) {
    if (!object)
        return;
    object->shut_down();
    delete object;
}

// The items share one block that begins with the first, so there is one delete.
void GStreamable::Destroy(unsigned int n, GStreamable * first) {
    if (!first)
        return;
    for (unsigned int i = 0; i < n; ++i)
        first[i].shut_down();
    delete first;
}

void GStreamable::SetVersionTime(int year, int month, int day, int hour) {
    g_versionTime = hours(year, month, day, hour);
}

void GStreamable::GetVersionTime(int & year, int & month, int & day, int & hour) {
    long const days = g_versionTime / hoursOfDay;
    long const months = days / daysOfMonth;
    hour = static_cast<int>(g_versionTime % hoursOfDay);
    day = static_cast<int>(days % daysOfMonth) + 1;
    month = static_cast<int>(months % 12) + 1;
    year = static_cast<int>(months / 12);
}

long GStreamable::GetVersionTime() {
    return g_versionTime;
}

long GStreamable::GetTickCount() {
    platform::CalendarTime const now = platform::localTime();
    return hours(now.year, now.month, now.day, now.hour);
}
