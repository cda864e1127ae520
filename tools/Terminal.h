// What concerns a person at the terminal: whether there is one, a bar that tells how far a long
// piece of work has come, and the wish to break off.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace tool {

bool isTerminal(std::FILE * stream);

/// From here on an interruption only sets a mark, so that what was begun can be undone.
void catchInterruptions();
/// Throws Failure when the user has broken off.
void stopIfInterrupted();

/// Lines that the user types, read beside the work. There is one for the life of a program.
class Keyboard {
  public:
    Keyboard();
    /// False when there is no line, for now or for good.
    bool next(std::string & line);
    /// Whether no more lines can come.
    bool atEnd() const;

  private:
    struct Queue;
    std::shared_ptr<Queue> const queue_;
};

/// A bar on standard error, when that is a terminal and there is enough to do.
class Progress {
  public:
    /// `total` in bytes; negative when nobody knows.
    Progress(std::string const & label, std::int64_t total);
    /// Takes the bar away.
    ~Progress();
    Progress(Progress const &) = delete;
    Progress & operator=(Progress const &) = delete;

    /// `done` of the bytes; to be called as often as is convenient.
    void show(std::int64_t done);

  private:
    using Clock = std::chrono::steady_clock;

    std::string const label_;
    std::int64_t const total_;
    bool const isShown_;
    bool isDrawn_ = false;
    Clock::time_point const start_ = Clock::now();
    Clock::time_point next_ = start_;
};

} // namespace tool
