// A disk that fails: stands between the library and the system's writes, for files other than the
// three standard ones.
#pragma once

#include <string>
#include <vector>

namespace disk {

/// A write, or a wait until all writes before are on the medium.
struct Event {
    bool isSync;
    long position;
    std::string bytes;
};
/// Gathers what happens, until it is told null.
void record(std::vector<Event> * events);

/// Takes so many bytes more, then none; a last write is cut short. -1 for all there are.
void fillAfter(long bytes);
/// One write, counted from 0, fails after the given part of its bytes (0 none, 1 half).
void failOnce(long call, int half);
/// The process is killed within that write, after a part of its bytes.
void killAt(long call, int half);
/// As it should be, with the counts at 0.
void heal();
/// Writes, and bytes, since then.
long calls();
long bytes();

} // namespace disk
