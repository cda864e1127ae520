// The one place where names with backslashes meet names with slashes.
#pragma once

#include <algorithm>
#include <string>

namespace platform {

/// A name for the system: empty, which nothing is called, for null and for a name with a drive.
inline std::string systemName(char const * name) {
    if (!name || (name[0] && name[1] == ':'))
        return {};
    std::string result(name);
    std::replace(result.begin(), result.end(), '\\', '/');
    return result;
}

/// A name from the system. One that has a backslash itself cannot be told from a path.
inline std::string portableName(std::string name) {
    std::replace(name.begin(), name.end(), '/', '\\');
    return name;
}

} // namespace platform
