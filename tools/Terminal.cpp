#include "Terminal.h"

#include "Command.h"

#include <algorithm>
#include <csignal>
#include <deque>
#include <iostream>
#include <mutex>
#include <thread>

#include <unistd.h>

namespace tool {

namespace {

/// Less is done before anybody could read the bar.
constexpr std::int64_t leastTotal = 4 << 20;
constexpr auto interval = std::chrono::milliseconds(100);
constexpr int barWidth = 30;
constexpr std::size_t labelWidth = 28;

volatile std::sig_atomic_t isInterrupted = 0;

void interrupt(int signal) {
    isInterrupted = 1;
    // A second one ends the program at once.
    std::signal(signal, SIG_DFL);
}

} // namespace

bool isTerminal(std::FILE * stream) {
    return isatty(fileno(stream)) != 0;
}

void catchInterruptions() {
    // Without SA_RESTART, so that who waits for standard input is woken.
    struct sigaction action = {}, former = {};
    action.sa_handler = interrupt;
    for (int const signal : {SIGINT, SIGTERM})
        if (sigaction(signal, nullptr, &former) == 0 && former.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
}

void stopIfInterrupted() {
    if (isInterrupted)
        throw Failure(Interrupted, "broken off");
}

struct Keyboard::Queue {
    std::mutex mutex;
    std::deque<std::string> lines;
    bool ended = false;
};

Keyboard::Keyboard() : queue_(std::make_shared<Queue>()) {
    // It goes on waiting for a line when the program ends, so it shares what it writes to.
    std::thread([queue = queue_] {
        for (std::string line; std::getline(std::cin, line);) {
            std::lock_guard const lock(queue->mutex);
            queue->lines.push_back(line);
        }
        std::lock_guard const lock(queue->mutex);
        queue->ended = true;
    }).detach();
}

bool Keyboard::next(std::string & line) {
    std::lock_guard const lock(queue_->mutex);
    if (queue_->lines.empty())
        return false;
    line = queue_->lines.front();
    queue_->lines.pop_front();
    return true;
}

bool Keyboard::atEnd() const {
    std::lock_guard const lock(queue_->mutex);
    return queue_->ended && queue_->lines.empty();
}

Progress::Progress(std::string const & label, std::int64_t total)
    : label_(label.size() <= labelWidth ? label
                                        : "..." + label.substr(label.size() - labelWidth + 3)),
      total_(total), isShown_(total >= leastTotal && isTerminal(stderr)) {}

Progress::~Progress() {
    if (isDrawn_)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::show(std::int64_t done) {
    if (!isShown_ || Clock::now() < next_)
        return;
    next_ = Clock::now() + interval;
    isDrawn_ = true;
    double const part = std::min(1.0, static_cast<double>(done) / static_cast<double>(total_));
    auto const filled = static_cast<std::size_t>(part * barWidth);
    double const seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    double const speed = seconds > 0 ? static_cast<double>(done) / seconds / (1 << 20) : 0;
    std::fprintf(stderr, "\r%s [%s%s] %3d %% %.0f MiB/s\x1b[K", label_.c_str(),
                 std::string(filled, '#').c_str(), std::string(barWidth - filled, ' ').c_str(),
                 static_cast<int>(part * 100), speed);
}

} // namespace tool
