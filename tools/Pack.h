// The parts of the `pack` subcommand.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace tool {

/// A subcommand of `pack` with its first argument.
CLI::App * addPackCommand(CLI::App & pack, char const * name, char const * description,
                          std::string & file);

/// Those for a file as a whole (packCare.cpp). `status` gets the exit status of a check.
void addPackCare(CLI::App & pack, int & status);
/// And for what is left of one.
void addPackRecover(CLI::App & pack, int & status);

} // namespace tool
