// What the subcommands of the program share: how they end, and how they tell what went wrong.
// A script can rely on the exit statuses; they mean the same in every subcommand.
#pragma once

#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace tool {

enum ExitStatus {
    Done = 0,
    /// Sound, but there is something to look at: `pack check` found parts of the file in no use,
    /// `lint` has warnings.
    Remarks = 1,
    /// What was read is damaged.
    Damaged = 2,
    /// Something is missing, in the way or not permitted; nothing has changed.
    NotDone = 3,
    WrongUsage = 64,
    Interrupted = 130
};

/// Ends the program with a message. Whatever was begun is undone on the way out.
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus status, std::string const & message)
        : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

/// Each family of subcommands adds itself.
void addDeflate(CLI::App & program);
/// `status` gets the exit status of a command that went on past a file it could not read.
void addImage(CLI::App & program, int & status);
void addIni(CLI::App & program);
void addLint(CLI::App & program, int & status);
/// `status` gets the exit status of a command that ends in another than 0 without a message.
void addPack(CLI::App & program, int & status);
/// `run` and `dump`.
void addScript(CLI::App & program);
/// `status` gets Damaged when what was shown has breaks.
void addStream(CLI::App & program, int & status);
void addTrace(CLI::App & program);
void addWorld(CLI::App & program, int & status);

} // namespace tool
