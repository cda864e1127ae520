// The village: a host that runs a population of scripted agents, saves its world several times,
// drops it half way, loads it back, and carries on.
#include "Chronicle.h"
#include "Texts.h"
#include "World.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <initializer_list>
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
    std::string language = "en";
    std::string folder; // where files are kept; empty for one that goes with the program
    bool quiet = false;
};

void printHelp() {
    std::puts("Runs a village of scripted agents, saves it half way, loads it back and goes on.\n"
              "\n"
              "Usage: village [options]\n"
              "  --agents N      how many villagers there are (40)\n"
              "  --minutes M     how many minutes of game time to run; a day is one (4)\n"
              "  --script FILE   the script that the villagers run (scripts/villager.aut)\n"
              "  --language L    en or de (en)\n"
              "  --keep FOLDER   keep the saved world, the houses and the player's record there\n"
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
        } else if (option == "--keep" && value) {
            options.folder = value;
            ++i;
        } else if (option == "--language" && value) {
            options.language = value;
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
            tell("%s, %s", clockText().c_str(), Village::say(hour).c_str());
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

    /// Returns how many meals there were in all.
    int summary(Village::World & world, long frames) {
        using Village::padded, Village::say, Village::sayIn;
        clearBar();
        std::printf("\n%ld %s, %.1f %s, %zu %s, %ld %s\n\n", frames, say("frames").c_str(),
                    Time::GetTime() / 60, say("minutes").c_str(), world.inhabitants().size(),
                    say("villagers").c_str(), changes_, say("changes").c_str());
        auto const row = [](std::initializer_list<std::string> cells) {
            std::string line = " ";
            for (std::string const & cell : cells)
                line += " " + cell;
            std::puts(line.c_str());
        };
        row({sayIn("villager", -10), sayIn("state", -9), sayIn("house", -11), sayIn("days", 5),
             sayIn("meals", 6), sayIn("loaves", 7), sayIn("hunger", 7), sayIn("words", 6)});
        std::size_t shown = 0;
        int loaves = 0, meals = 0;
        for (Village::Inhabitant const & who : world.inhabitants()) {
            int const eaten = variable(*who.script, "meals");
            loaves += who.body->loaves();
            meals += eaten;
            if (shown++ >= shownVillagers)
                continue;
            char hunger[16];
            std::snprintf(hunger, sizeof hunger, "%.1f", static_cast<double>(who.body->hunger()));
            row({padded(who.agent->getMemberNameID().c_str(), -10),
                 sayIn(who.lastState.c_str(), -9),
                 sayIn(who.body->house() ? who.body->house()->name().c_str() : "", -11),
                 padded(std::to_string(variable(*who.script, "days")), 5),
                 padded(std::to_string(eaten), 6), padded(std::to_string(who.body->loaves()), 7),
                 padded(hunger, 7), padded(std::to_string(who.body->words()), 6)});
        }
        if (shown > shownVillagers)
            std::printf("  ... %zu %s\n", shown - shownVillagers, say("more").c_str());
        row({sayIn("all", -10), padded("", -9), padded("", -11), padded("", 5),
             padded(std::to_string(meals), 6), padded(std::to_string(loaves), 7)});
        std::printf("\n  %s:", say("entered").c_str());
        for (auto const & [name, count] : entered_)
            std::printf(" %s %ld", say(name.c_str()).c_str(), count);
        std::printf("\n  %d %s\n", world.bakery()->visits(), say("visits").c_str());
        return meals;
    }

  private:
    static constexpr std::size_t watchedVillagers = 3;
    static constexpr std::size_t shownVillagers = 10;

    static std::string clockText() {
        char text[32];
        std::snprintf(text, sizeof text, "%s %d %02d:%02d", Village::say("day").c_str(),
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
                 Village::say(who.lastState.c_str()).c_str(),
                 Village::say(state->getName().c_str()).c_str(),
                 why.type() == NAMELINKID ? Village::say(why.asNAMELINKID().c_str()).c_str() : "?");
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

/// The folder of the village's files, which goes away with the program unless the user named it.
class Folder {
  public:
    explicit Folder(std::string const & named) : kept_(!named.empty()) {
        path_ = kept_ ? std::filesystem::path(named)
                      : std::filesystem::temp_directory_path() /
                            ("village-" + std::to_string(getpid()));
        std::filesystem::create_directories(path_);
        path_ = std::filesystem::canonical(path_);
    }
    ~Folder() {
        std::error_code ignored;
        if (!kept_)
            std::filesystem::remove_all(path_, ignored);
    }
    Folder(Folder const &) = delete;
    Folder & operator=(Folder const &) = delete;
    std::string path() const { return path_.string(); }
    std::string file(char const * name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
    bool kept_;
};

/// Scripts include each other by bare names, and saved worlds name the library of houses so; the
/// redirection file says where those are looked for.
void findFiles(std::string const & script, Folder const & folder) {
    std::string const scripts = std::filesystem::absolute(script).parent_path().string();
    auto const redirection = new RedirectionFile;
    redirection->load_from_string(
        ("*.inc *.aut = " + scripts + "\n*.houses = " + folder.path()).c_str(), 0);
    fpbase::SetRedirectionFile(redirection);
}

/// Ends with the program, in front of the streams and the files below it.
struct OpenShelves {
    ~OpenShelves() { LibraryCatalogue::ShutDown(); }
};

int fail(char const * what, std::string const & file) {
    std::fprintf(stderr, "village: cannot %s %s\n", what, file.c_str());
    return 1;
}

int run(Options const & options) {
    if (!Village::speak(options.language))
        return fail("speak the language", options.language);
    Folder const folder(options.folder);
    findFiles(options.script, folder);
    OpenShelves const shelves;
    long const frames = std::max(4L, static_cast<long>(options.minutes * 60 / frame));
    std::string const path = folder.file("village.world");
    ResourceFile saves(path.c_str(), GIO::ReadWriteMode);
    if (!saves.is_open() || saves.io_mode() != GIO::ReadWriteMode)
        return fail("write to", path);
    Village::World world;
    if (!world.build(options.script, options.agents))
        return fail("read the script", options.script);
    Reporter reporter(options, frames);
    for (long i = 1; i <= frames; ++i) {
        world.step(frame);
        reporter.afterFrame(world, i);
        if (i % (frames / 4) != 0)
            continue;
        if (!world.save(saves))
            return fail("save the world to", path);
        reporter.tell("-- %s %s, %ju %s --", Village::say("saved").c_str(),
                      world.generation().c_str(),
                      static_cast<std::uintmax_t>(std::filesystem::file_size(path)),
                      Village::say("bytes").c_str());
        if (i != frames / 4 * 2)
            continue;
        world.drop();
        if (!world.load(saves))
            return fail("load the world from", path);
        reporter.tell("-- %s %s --", Village::say("reloaded").c_str(), world.generation().c_str());
    }
    int const meals = reporter.summary(world, frames);
    Village::Chronicle record;
    if (!Village::Chronicle::AddRun(folder.file("village.player").c_str(), meals, record))
        return fail("keep the record in", folder.file("village.player"));
    std::printf("  %s: %d, %d\n", Village::say("record").c_str(), record.runs, record.mostMeals);
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
