// The village: a host that runs a population of scripted agents, saves its world in the middle,
// drops it, loads it back, and carries on.
#include "World.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <map>
#include <string>

#include <unistd.h>

using namespace Tavlin;

namespace {

constexpr float frame = 0.1f; // seconds of game time per pass

struct Options {
    int agents = 40;
    double minutes = 4;
    std::string script = EXAMPLE_DIR "/scripts/villager.aut";
    bool quiet = false;
};

void printHelp() {
    std::puts("Runs a village of scripted agents, saves it half way, loads it back and goes on.\n"
              "\n"
              "Usage: village [options]\n"
              "  --agents N      how many villagers there are (40)\n"
              "  --minutes M     how many minutes of game time to run; a day is one (4)\n"
              "  --script FILE   the script that the villagers run (scripts/villager.aut)\n"
              "  --quiet         only the summary\n"
              "  --help          this text");
}

/// The number behind an option; ends the program with a message when it is none in range.
double number(char const * option, char const * text, double least, double most) {
    char * end = nullptr;
    double const value = text ? std::strtod(text, &end) : 0;
    if (!text || end == text || *end || !(value >= least && value <= most)) {
        std::fprintf(stderr, "village: %s wants a number from %g to %g\n", option, least, most);
        std::exit(2);
    }
    return value;
}

Options parse(int argc, char ** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        std::string const option = argv[i];
        char const * const value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--help" || option == "-h") {
            printHelp();
            std::exit(0);
        } else if (option == "--quiet") {
            options.quiet = true;
        } else if (option == "--agents") {
            options.agents = static_cast<int>(number("--agents", value, 1, 1000000));
            ++i;
        } else if (option == "--minutes") {
            options.minutes = number("--minutes", value, 0.01, 100000);
            ++i;
        } else if (option == "--script" && value) {
            options.script = value;
            ++i;
        } else {
            std::fprintf(stderr, "village: unknown option '%s'; try --help\n", argv[i]);
            std::exit(2);
        }
    }
    return options;
}

/// Tells on the terminal what happens: the changes of the first villagers one by one, and a bar.
class Reporter {
  public:
    Reporter(Options const & options, long frames)
        : quiet_(options.quiet), terminal_(isatty(STDOUT_FILENO) != 0), frames_(frames) {}

    void afterFrame(Village::World & world, long number) {
        char const * const hour = world.tower()->hour();
        if (hour != hour_) {
            hour_ = hour;
            tell("%s, %s", clockText().c_str(), hour);
        }
        std::size_t watched = 0;
        for (Village::Inhabitant & who : world.inhabitants()) {
            bool const aloud = watched++ < watchedVillagers;
            follow(who, aloud);
        }
        if (number % 20 == 0 || number == frames_)
            showBar(number);
    }

    void tell(char const * format, ...) __attribute__((format(printf, 2, 3))) {
        if (quiet_)
            return;
        clearBar();
        va_list arguments;
        va_start(arguments, format);
        std::vprintf(format, arguments);
        va_end(arguments);
        std::putchar('\n');
    }

    void summary(Village::World & world, long frames) {
        clearBar();
        std::printf(
            "\n%ld frames, %.1f minutes of game time, %zu villagers, %ld changes of state\n",
            frames, Time::GetTime() / 60, world.inhabitants().size(), changes_);
        std::printf("\n  %-10s %-9s %5s %6s %7s %7s %6s\n", "villager", "state", "days", "meals",
                    "loaves", "hunger", "words");
        std::size_t shown = 0;
        long loaves = 0, meals = 0;
        for (Village::Inhabitant const & who : world.inhabitants()) {
            int const eaten = variable(*who.script, "meals");
            loaves += who.body->loaves();
            meals += eaten;
            if (shown++ >= shownVillagers)
                continue;
            std::printf("  %-10s %-9s %5d %6d %7d %7.1f %6d\n",
                        who.agent->getMemberNameID().c_str(), who.lastState.c_str(),
                        variable(*who.script, "days"), eaten, who.body->loaves(),
                        static_cast<double>(who.body->hunger()), who.body->words());
        }
        if (shown > shownVillagers)
            std::printf("  ... and %zu more\n", shown - shownVillagers);
        std::printf("  %-10s %-9s %5s %6ld %7ld\n", "all", "", "", meals, loaves);
        std::printf("\n  state after state:");
        for (auto const & [name, count] : entered_)
            std::printf(" %s %ld", name.c_str(), count);
        std::printf("\n  %d meals were eaten at the bakery\n", world.bakery()->visits());
    }

  private:
    static constexpr std::size_t watchedVillagers = 3;
    static constexpr std::size_t shownVillagers = 10;

    static std::string clockText() {
        char text[32];
        std::snprintf(text, sizeof text, "day %d %02d:%02d",
                      static_cast<int>(Time::GetTime() / Village::BellTower::dayLength) + 1,
                      static_cast<int>(Time::GetTime()) % 60 * 24 / 60,
                      static_cast<int>(Time::GetTime()) % 60 * 24 % 60);
        return text;
    }

    static int variable(Automat & script, char const * name) {
        VariableRef value;
        return script.getVariable(name, value) && value.type() == INT ? value.asINT() : 0;
    }

    void follow(Village::Inhabitant & who, bool aloud) {
        TRef<D_State> const state = who.script->getNowState();
        if (!state || state->getName() == who.lastState)
            return;
        ++changes_;
        ++entered_[state->getName().c_str()];
        static NameLinkID const reasonName("why");
        VariableRef why;
        who.script->getVariable(reasonName, why);
        if (aloud)
            tell("  %-8s %s -> %s (%s)", who.agent->getMemberNameID().c_str(),
                 who.lastState.c_str(), state->getName().c_str(),
                 why.type() == NAMELINKID ? why.asNAMELINKID().c_str() : "?");
        who.lastState = state->getName();
    }

    void showBar(long number) {
        if (quiet_ || !terminal_)
            return;
        constexpr int width = 40;
        int const full = static_cast<int>(number * width / frames_);
        std::printf("\r[%.*s%*s] %3ld%%", full, "########################################",
                    width - full, "", number * 100 / frames_);
        std::fflush(stdout);
        barShown_ = true;
    }

    void clearBar() {
        if (barShown_)
            std::printf("\r%60s\r", "");
        barShown_ = false;
    }

    bool quiet_, terminal_;
    bool barShown_ = false;
    long frames_;
    long changes_ = 0;
    char const * hour_ = "night";
    std::map<std::string, long> entered_;
};

/// A file for the saved world that goes away with the program.
class SaveFile {
  public:
    SaveFile()
        : path_((std::filesystem::temp_directory_path() /
                 ("village-" + std::to_string(getpid()) + ".world"))
                    .string()) {}
    ~SaveFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    SaveFile(SaveFile const &) = delete;
    SaveFile & operator=(SaveFile const &) = delete;
    std::string const & path() const { return path_; }

  private:
    std::string path_;
};

/// Scripts include each other by bare names; the redirection file says where those are looked for.
void findIncludesBeside(std::string const & script) {
    std::string const folder = std::filesystem::absolute(script).parent_path().string();
    auto const redirection = new RedirectionFile;
    redirection->load_from_string(("*.inc *.aut = " + folder).c_str(), 0);
    fpbase::SetRedirectionFile(redirection);
}

int run(Options const & options) {
    findIncludesBeside(options.script);
    long const frames = std::max(2L, static_cast<long>(options.minutes * 60 / frame));
    Village::World world;
    if (!world.build(options.script, options.agents)) {
        std::fprintf(stderr, "village: cannot read the script %s\n", options.script.c_str());
        return 1;
    }
    Reporter reporter(options, frames);
    SaveFile const save;
    for (long i = 1; i <= frames; ++i) {
        world.step(frame);
        reporter.afterFrame(world, i);
        if (i != frames / 2)
            continue;
        if (!world.save(save.path())) {
            std::fprintf(stderr, "village: cannot save the world to %s\n", save.path().c_str());
            return 1;
        }
        reporter.tell("-- the world is saved in %ju bytes, dropped, and loaded back --",
                      static_cast<std::uintmax_t>(std::filesystem::file_size(save.path())));
        world.drop();
        if (!world.load(save.path())) {
            std::fprintf(stderr, "village: cannot load the world from %s\n", save.path().c_str());
            return 1;
        }
    }
    reporter.summary(world, frames);
    return 0;
}

} // namespace

int main(int argc, char ** argv) {
    Options const options = parse(argc, argv);
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
    Error::InitializeHandler();
    Time::Reset();
    try {
        return run(options);
    } catch (GLibraryException const & exception) {
        std::fprintf(stderr, "village: %s\n", exception.getMessage().c_str());
    } catch (std::exception const & exception) {
        std::fprintf(stderr, "village: %s\n", exception.what());
    }
    return 1;
}
