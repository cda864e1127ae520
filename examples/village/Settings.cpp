// Reading the settings. Nothing is written back: the file belongs to the user.
#include "Settings.h"

#include "ondrel.h"

#include <cstdio>
#include <cstdlib>

using namespace Tavlin;

namespace Village {

namespace {

constexpr char defaultFile[] = EXAMPLE_DIR "/village.ini";

void printHelp() {
    std::puts("Runs a village of scripted agents, saves it half way, loads it back and goes on.\n"
              "\n"
              "Usage: village [options]\n"
              "  --settings FILE read the settings from there (village.ini beside the sources)\n"
              "  --agents N      how many villagers there are (40)\n"
              "  --minutes M     how many minutes of game time to run; a day is one (4)\n"
              "  --script FILE   the script that the villagers run (scripts/villager.aut)\n"
              "  --language L    en or de (en)\n"
              "  --keep FOLDER   keep the saved world, the houses and the player's record there\n"
              "  --film FILE     draw the village from above and keep the film, as AVI\n"
              "  --picture FILE  draw how it ends, as TGA or BMP\n"
              "  --quiet         only the summary\n"
              "  --help          this text");
}

/// Ends the program with a message unless `value` is in range.
void checkRange(char const * what, double value, double least, double most) {
    if (value >= least && value <= most)
        return;
    std::fprintf(stderr, "village: %s wants a number from %g to %g\n", what, least, most);
    std::exit(2);
}

/// The number behind an option; NaN, which is in no range, when it is none.
double number(char const * text) {
    char * end = nullptr;
    double const value = std::strtod(text, &end);
    return end == text || *end ? std::strtod("nan", nullptr) : value;
}

void readFile(Settings & settings, std::string const & path) {
    Ini ini(path.c_str());
    ini.forceVars(false);
    settings.agents = ini.getInt(nullptr, "Agents", settings.agents);
    settings.minutes = ini.getFloat(nullptr, "Minutes", settings.minutes);
    settings.language = ini.getString(nullptr, "Language", settings.language.c_str()).c_str();
    settings.weatherEvery = ini.getFloat("Weather", "Every", settings.weatherEvery);
    settings.rain = ini.getFloat("Weather", "Rain", settings.rain);
    settings.marketEvery = ini.getInt("Market", "Every", settings.marketEvery);
}

/// What stands behind the option `name`; null without one. Every option but the two flags has
/// something behind it.
char const * find(int argc, char ** argv, std::string const & name) {
    for (int i = 1; i + 1 < argc; ++i)
        if (argv[i] == name)
            return argv[i + 1];
    return nullptr;
}

void readCommandLine(Settings & settings, int argc, char ** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string const option = argv[i];
        if (option == "--help" || option == "-h") {
            printHelp();
            std::exit(0);
        }
        if (option == "--quiet") {
            settings.quiet = true;
            continue;
        }
        char const * const value = i + 1 < argc ? argv[++i] : nullptr;
        if (option == "--agents" && value) {
            double const agents = number(value);
            checkRange("--agents", agents, 1, 1000000);
            settings.agents = static_cast<int>(agents);
        } else if (option == "--minutes" && value) {
            settings.minutes = static_cast<float>(number(value));
        } else if (option == "--script" && value) {
            settings.script = value;
        } else if (option == "--keep" && value) {
            settings.folder = value;
        } else if (option == "--film" && value) {
            settings.film = value;
        } else if (option == "--picture" && value) {
            settings.picture = value;
        } else if (option == "--language" && value) {
            settings.language = value;
        } else if (option != "--settings" || !value) {
            std::fprintf(stderr, "village: '%s' is no option, or wants a value; try --help\n",
                         option.c_str());
            std::exit(2);
        }
    }
}

} // namespace

Settings Settings::Parse(int argc, char ** argv) {
    Settings settings;
    char const * const named = find(argc, argv, "--settings");
    if (named && !GFile(named).exists()) {
        std::fprintf(stderr, "village: there are no settings in %s\n", named);
        std::exit(2);
    }
    readFile(settings, named ? named : defaultFile);
    readCommandLine(settings, argc, argv);
    checkRange("Agents", settings.agents, 1, 1000000);
    checkRange("Minutes", static_cast<double>(settings.minutes), 0.01, 100000);
    checkRange("Weather, Every", static_cast<double>(settings.weatherEvery), 0.1, 100000);
    checkRange("Weather, Rain", static_cast<double>(settings.rain), 0, 1);
    checkRange("Market, Every", settings.marketEvery, 1, 100000);
    return settings;
}

} // namespace Village
