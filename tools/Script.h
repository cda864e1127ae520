// What the subcommands that read scripts share: where the includes of a script are looked for, and
// how its files are named to a person.
#pragma once

#include <string>

namespace Tavlin {
class AutomatObserver;
class D_Automat;
} // namespace Tavlin

namespace tool {

/// Reads a script as its host does from the folder of the script, so that what it includes is found
/// beside it, whatever that folder is called. Gives what load gives; throws Failure when there is
/// no such script or it cannot be read.
bool readScript(std::string const & script, Tavlin::D_Automat & definition,
                Tavlin::AutomatObserver & observer);

/// An included file as the library told it, as the user would write it who wrote `script`.
std::string pathForUser(std::string const & path, std::string const & script);

} // namespace tool
