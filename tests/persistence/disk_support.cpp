#include "disk_support.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

long g_room = -1, g_failing = -1, g_killing = -1, g_calls = 0, g_bytes = 0;
int g_half = 0;
std::vector<disk::Event> * g_events = nullptr;

} // namespace

void disk::record(std::vector<Event> * events) {
    g_events = events;
}

void disk::fillAfter(long bytes) {
    g_room = bytes;
}

void disk::failOnce(long call, int half) {
    heal();
    g_failing = call;
    g_half = half;
}

void disk::killAt(long call, int half) {
    heal();
    g_killing = call;
    g_half = half;
}

void disk::heal() {
    g_room = g_failing = g_killing = -1;
    g_calls = g_bytes = 0;
}

long disk::calls() {
    return g_calls;
}

long disk::bytes() {
    return g_bytes;
}

namespace {

/// `writeTo` writes so many of the first bytes.
template <class Write>
ssize_t writeSome(size_t count, Write writeTo) {
    long const call = g_calls++;
    bool const hit = call == g_failing || call == g_killing;
    if (hit)
        count = g_half ? count / 2 : 0;
    if (g_room >= 0)
        count = std::min(count, static_cast<size_t>(g_room));
    ssize_t const done = count > 0 ? writeTo(count) : 0;
    if (done > 0) {
        g_bytes += done;
        g_room = g_room >= 0 ? g_room - done : g_room;
    }
    if (call == g_killing)
        ::raise(SIGKILL);
    if (hit && g_half) {
        g_failing = g_calls; // the rest, which the library tries at once
        g_half = 0;
    }
    if (count == 0 && done == 0) {
        errno = ENOSPC;
        return -1;
    }
    return done;
}

} // namespace

extern "C" ssize_t write(int file, void const * data, size_t count) {
    if (file <= 2)
        return ::syscall(SYS_write, file, data, count);
    return writeSome(count, [&](size_t some) { return ::syscall(SYS_write, file, data, some); });
}

extern "C" ssize_t pwrite64(int file, void const * data, size_t count, off64_t position) {
    return writeSome(count, [&](size_t some) {
        // Not by the number of pwrite64, which takes a position in two words on some systems.
        off64_t const before = ::lseek64(file, 0, SEEK_CUR);
        ::lseek64(file, position, SEEK_SET);
        ssize_t const done = ::syscall(SYS_write, file, data, some);
        ::lseek64(file, before, SEEK_SET);
        if (g_events && done > 0)
            g_events->push_back(
                {false, static_cast<long>(position),
                 std::string(static_cast<char const *>(data), static_cast<size_t>(done))});
        return done;
    });
}

extern "C" int fsync(int file) {
    if (g_events)
        g_events->push_back({true, 0, {}});
    return static_cast<int>(::syscall(SYS_fsync, file));
}
