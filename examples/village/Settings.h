// What can be set: by the file of settings and the files that it includes, and by the command line,
// which goes before them.
#pragma once

#include <string>

namespace Village {

struct Settings {
    int agents = 40;
    float minutes = 4; // of game time
    std::string script = EXAMPLE_DIR "/scripts/villager.aut";
    std::string language = "en";
    std::string folder;  // where files are kept; empty for one that goes with the program
    std::string film;    // an AVI file of the village from above; empty for none
    std::string picture; // an image file of its end; empty for none
    bool quiet = false;

    float weatherEvery = 9; // seconds of game time between changes
    float rain = 0.4f;      // how likely the next weather is rain, 0 to 1
    int marketEvery = 2;    // days between market days

    /// Reads both; ends the program after --help, and with a message when something is no setting.
    static Settings Parse(int argc, char ** argv);
};

} // namespace Village
