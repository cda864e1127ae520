// Runs the built program as a person or a script would, and gathers what it says.
#pragma once

#include "tests/TemporaryDirectory.h"

#include <functional>
#include <string>
#include <vector>

struct Outcome {
    int status = -1;
    std::string out, err;
};

/// Runs the program in `directory` and waits for its end; `input` is its standard input. `other`
/// is another program to run.
Outcome runProgram(TemporaryDirectory const & directory, std::vector<std::string> const & arguments,
                   std::string const & input = "", char const * other = nullptr);

/// Runs the program and answers what it says: each turn waits for a text in its output, behind the
/// one before, then acts, then writes a line to its standard input. Ended when a text does not come
/// within a minute.
struct Turn {
    std::string wanted;
    std::function<void()> act;
    std::string answer;
};
Outcome talk(TemporaryDirectory const & directory, std::vector<std::string> const & arguments,
             std::vector<Turn> const & turns);

/// False where the system has no pseudo-terminals to give, as in a bare container.
bool terminalsExist();
/// The same with standard error on a terminal; what the terminal got is in `err`.
Outcome runOnTerminal(TemporaryDirectory const & directory,
                      std::vector<std::string> const & arguments);

/// Starts the program and kills it after some microseconds, unless it has ended.
void runAndKill(TemporaryDirectory const & directory, std::vector<std::string> const & arguments,
                int microseconds);

/// Starts the program with a standard input that never ends, asks it to stop as soon as there is a
/// file of that name, and gives its exit status.
int stopAtFile(TemporaryDirectory const & directory, std::vector<std::string> const & arguments,
               std::string const & name);

/// Names in the directory, sorted.
std::vector<std::string> namesIn(TemporaryDirectory const & directory);
