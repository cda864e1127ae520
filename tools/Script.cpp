// Includes are bare names, which are looked for in the current folder first.
#include "Script.h"

#include "Command.h"

#include "foundation/GFile.h"
#include "platform/FileSystem.h"
#include "tavlinmid/D_Automat.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace tool {

namespace {

/// Makes a folder the current one for as long as it lives.
class Visit {
  public:
    explicit Visit(std::filesystem::path const & folder)
        : before_(std::filesystem::current_path()) {
        if (!folder.empty())
            std::filesystem::current_path(folder);
    }
    ~Visit() {
        std::error_code ignored;
        std::filesystem::current_path(before_, ignored);
    }
    Visit(Visit const &) = delete;
    Visit & operator=(Visit const &) = delete;

  private:
    std::filesystem::path const before_;
};

/// Whether the library, which takes a backslash for a slash, and the system both find a file.
bool isReadable(std::string const & name) {
    platform::FileStatus status;
    return platform::fileStatus(GFile(name.c_str()).c_str(), status) && !status.directory &&
           std::ifstream(name).is_open();
}

} // namespace

bool readScript(std::string const & script, Tavlin::D_Automat & definition,
                Tavlin::AutomatObserver & observer) {
    std::filesystem::path const path(script);
    std::error_code failed;
    if (path.has_parent_path() && !std::filesystem::is_directory(path.parent_path(), failed))
        throw Failure(NotDone, script + " cannot be read");
    Visit const visit(path.parent_path());
    std::string const name = path.filename().string();
    if (!isReadable(name))
        throw Failure(NotDone, script + " cannot be read");
    return definition.load(name.c_str(), &observer);
}

std::string pathForUser(std::string const & path, std::string const & script) {
    std::string text = path;
    std::replace(text.begin(), text.end(), '\\', '/');
    return (std::filesystem::path(script).parent_path() / text).string();
}

} // namespace tool
