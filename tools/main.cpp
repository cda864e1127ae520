// The `ondrel` program: what a person or a script does with Ondrel's files, without a host. Each
// family of subcommands is a source file of its own.
#include "Command.h"
#include "Terminal.h"
#include "platform/Version.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

char const * const footer =
    "Exit statuses: 0 done, 1 sound but with something to look at (dead space, warnings), 2 what\n"
    "was read is damaged, 3 not done, 64 wrong usage, 130 broken off.";

} // namespace

int main(int argc, char ** argv) {
    using namespace tool;
    CLI::App program("Works on the files of the Ondrel library.", "ondrel");
    int status = Done;
    program.set_version_flag("--version", std::string("ondrel ") + OndrelVersion(),
                             "Print the version");
    program.footer(footer);
    program.require_subcommand(1);
    addDeflate(program);
    addImage(program, status);
    addIni(program);
    addLint(program, status);
    addPack(program, status);
    addScript(program);
    addStream(program, status);
    addTrace(program);
    addWorld(program, status);
    catchInterruptions();
    try {
        program.parse(argc, argv);
        if (std::fflush(stdout) != 0)
            throw Failure(NotDone, "standard output cannot be written");
        return status;
    } catch (CLI::ParseError const & error) {
        return program.exit(error) == 0 ? Done : WrongUsage;
    } catch (Failure const & failure) {
        std::fprintf(stderr, "ondrel: %s\n", failure.what());
        return failure.status();
    } catch (std::exception const & error) {
        std::fprintf(stderr, "ondrel: %s\n", error.what());
        return NotDone;
    }
}
