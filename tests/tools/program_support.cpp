#include "tests/tools/program_support.h"

#include <algorithm>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Only what is safe behind a fork.
[[noreturn]] void become(char const * program, char const * directory, char ** arguments, int in,
                         int out, int err) {
    if (chdir(directory) != 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0)
        _exit(126);
    execv(program, arguments);
    _exit(127);
}

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(number_); }
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;
    operator int() const { return number_; }

  private:
    int number_;
};

pid_t start(TemporaryDirectory const & directory, std::vector<std::string> arguments, int in,
            int out, int err, char const * program = ONDREL_TOOL) {
    std::vector<char *> pointers = {const_cast<char *>("ondrel")};
    for (std::string & argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    std::string const name = directory.name();
    pid_t const child = fork();
    if (child == 0)
        become(program, name.c_str(), pointers.data(), in, out, err);
    return child;
}

int waitFor(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int create(std::string const & name) {
    return open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

} // namespace

Outcome runProgram(TemporaryDirectory const & directory, std::vector<std::string> const & arguments,
                   std::string const & input, char const * other) {
    TemporaryDirectory channels;
    Outcome run;
    {
        Descriptor const in(open(channels.put("in", input).c_str(), O_RDONLY | O_CLOEXEC));
        Descriptor const out(create(channels.name("out"))), err(create(channels.name("err")));
        run.status =
            waitFor(start(directory, arguments, in, out, err, other ? other : ONDREL_TOOL));
    }
    run.out = channels.content("out");
    run.err = channels.content("err");
    return run;
}

Outcome talk(TemporaryDirectory const & directory, std::vector<std::string> const & arguments,
             std::vector<Turn> const & turns) {
    Outcome run;
    int ears[2], mouth[2];
    if (pipe2(ears, O_CLOEXEC) != 0 || pipe2(mouth, O_CLOEXEC) != 0)
        return run;
    Descriptor const heard(ears[0]), speech(mouth[1]);
    pid_t child = -1;
    {
        Descriptor const out(ears[1]), in(mouth[0]), nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
        child = start(directory, arguments, in, out, nothing);
    }
    std::size_t known = 0;
    for (Turn const & turn : turns) {
        std::size_t found;
        while ((found = run.out.find(turn.wanted, known)) == std::string::npos) {
            char piece[4096];
            pollfd ready{heard, POLLIN, 0};
            ssize_t const got = poll(&ready, 1, 60000) > 0 ? read(heard, piece, sizeof piece) : -1;
            if (got <= 0) {
                kill(child, SIGKILL);
                run.status = waitFor(child);
                return run;
            }
            run.out.append(piece, static_cast<std::size_t>(got));
        }
        known = found + turn.wanted.size();
        if (turn.act)
            turn.act();
        std::string const line = turn.answer + '\n';
        if (write(speech, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            break;
    }
    run.status = waitFor(child);
    return run;
}

bool terminalsExist() {
    int ours = -1, theirs = -1;
    if (openpty(&ours, &theirs, nullptr, nullptr, nullptr) != 0)
        return false;
    Descriptor const first(ours), second(theirs);
    return true;
}

Outcome runOnTerminal(TemporaryDirectory const & directory,
                      std::vector<std::string> const & arguments) {
    Outcome run;
    int ours = -1, theirs = -1;
    if (openpty(&ours, &theirs, nullptr, nullptr, nullptr) != 0)
        return run;
    Descriptor const screen(ours);
    pid_t child = -1;
    {
        Descriptor const terminal(theirs), nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
        fcntl(ours, F_SETFD, FD_CLOEXEC);
        child = start(directory, arguments, nothing, nothing, terminal);
    }
    char piece[4096];
    for (ssize_t got; (got = read(screen, piece, sizeof piece)) > 0;)
        run.err.append(piece, static_cast<std::size_t>(got));
    run.status = waitFor(child);
    return run;
}

void runAndKill(TemporaryDirectory const & directory, std::vector<std::string> const & arguments,
                int microseconds) {
    Descriptor const nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    pid_t const child = start(directory, arguments, nothing, nothing, nothing);
    usleep(static_cast<useconds_t>(microseconds));
    kill(child, SIGKILL);
    waitFor(child);
}

int stopAtFile(TemporaryDirectory const & directory, std::vector<std::string> const & arguments,
               std::string const & name) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return -1;
    Descriptor const in(ends[0]), nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    pid_t child = -1;
    {
        Descriptor const input(ends[1]);
        if (write(input, "some bytes", 10) != 10)
            return -1;
        child = start(directory, arguments, in, nothing, nothing);
        int left = 1;
        for (int i = 0; i < 20000 && (!directory.has(name) || left > 0); ++i) {
            usleep(1000);
            ioctl(in, FIONREAD, &left);
        }
        kill(child, SIGTERM);
        // It may have been about to wait for input, and would not notice before there is some.
        siginfo_t ended = {};
        for (int i = 0; i < 5000 && ended.si_pid == 0; ++i) {
            usleep(1000);
            waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT);
        }
    }
    return waitFor(child);
}

std::vector<std::string> namesIn(TemporaryDirectory const & directory) {
    std::vector<std::string> names;
    for (auto const & entry : std::filesystem::directory_iterator(directory.path()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}
