// Folders of the user, by the conventions of the desktop.
#pragma once

#include <cstdlib>
#include <string>

namespace platform {

/// The value of an environment variable; empty when it is not set.
inline std::string environment(char const * name) {
    char const * const value = std::getenv(name);
    return value ? value : "";
}

/// Where programs keep the user's settings, with slashes; empty when the user has no home.
inline std::string settingsFolder() {
    std::string const named = environment("XDG_CONFIG_HOME");
    if (!named.empty())
        return named + "/ondrel";
    std::string const home = environment("HOME");
    return home.empty() ? home : home + "/.config/ondrel";
}

} // namespace platform
