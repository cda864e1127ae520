// There are no drives here: a name with a drive letter is absolute and does not exist.
#include "platform/Paths.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

namespace platform {

namespace {

std::string toSystem(char const * name) {
    std::string path(name ? name : "");
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::string fromSystem(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

} // namespace

PathKind pathKind(char const * name) {
    struct stat status;
    if (::stat(toSystem(name).c_str(), &status) != 0)
        return PathKind::Absent;
    return S_ISDIR(status.st_mode) ? PathKind::Directory : PathKind::File;
}

unsigned long logicalDrives() {
    return 0;
}

std::string currentDirectory() {
    std::error_code error;
    return fromSystem(std::filesystem::current_path(error).string());
}

std::string fullPath(char const * name) {
    std::string const path = toSystem(name);
    if (path.size() > 1 && path[1] == ':')
        return fromSystem(path);
    std::error_code error;
    std::filesystem::path full(path);
    if (full.is_relative())
        full = std::filesystem::current_path(error) / full;
    return fromSystem(full.lexically_normal().string());
}

} // namespace platform
