// Includes are found by a redirection of every bare name.
#include "Script.h"

#include "Command.h"

#include "foundation/GFile.h"
#include "persistence/RedirectionFile.h"
#include "persistence/fpstream.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <filesystem>

namespace tool {

void findIncludesBeside(std::string const & script) {
    auto const redirection = new RedirectionFile; // goes to the streams
    std::string const folder = std::filesystem::absolute(script).parent_path().string();
    redirection->load_from_string(("*.* = " + folder).c_str(), 0);
    fpbase::SetRedirectionFile(redirection);
}

std::string pathForUser(std::string const & path, std::string const & script) {
    std::string text = path;
    std::replace(text.begin(), text.end(), '\\', '/');
    if (std::filesystem::path(script).is_absolute())
        return text;
    std::error_code failed;
    std::filesystem::path const here = std::filesystem::current_path(failed);
    return failed ? text : std::filesystem::path(text).lexically_proximate(here).string();
}

void requireFile(std::string const & file) {
    platform::FileStatus status;
    if (!platform::fileStatus(GFile(file.c_str()).c_str(), status) || status.directory)
        throw Failure(NotDone, file + " cannot be read");
}

} // namespace tool
