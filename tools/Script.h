// What the subcommands that read scripts share: where the includes of a script are looked for, and
// how its files are named to a person.
#pragma once

#include <string>

namespace tool {

/// Scripts include each other by bare names, from the folder of the first one.
void findIncludesBeside(std::string const & script);

/// A path as the library tells it, as the user would write it: relative where the script was named
/// so.
std::string pathForUser(std::string const & path, std::string const & script);

/// Throws Failure when there is no such file.
void requireFile(std::string const & file);

} // namespace tool
