// The village: a host that runs a population of scripted agents, saves its world several times,
// drops it half way, loads it back, and carries on.
#include "Chronicle.h"
#include "Painter.h"
#include "Reporter.h"
#include "Texts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include <unistd.h>

using namespace Tavlin;

namespace {

constexpr float frame = 0.1f; // seconds of game time per pass

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
        ("*.inc *.aut = " + scripts + "\n*.library = " + folder.path()).c_str(), 0);
    fpbase::SetRedirectionFile(redirection);
}

/// Ends with the program, in front of the streams and the files below it.
struct OpenShelves {
    ~OpenShelves() { LibraryCatalogue::ShutDown(); }
};

/// Ends behind the world, whose processes stand in its lists.
struct Processes {
    Processes() { ProcessManager::FullInit(); }
    ~Processes() {
        ProcessManager::StopTiming();
        ProcessManager::Destroy();
    }
};

int fail(char const * what, std::string const & file) {
    std::fprintf(stderr, "village: cannot %s %s\n", what, file.c_str());
    return 1;
}

int run(Village::Settings const & settings) {
    if (!Village::speak(settings.language))
        return fail("speak the language", settings.language);
    Folder const folder(settings.folder);
    findFiles(settings.script, folder);
    OpenShelves const shelves;
    Processes const processes;
    long const frames = std::max(4L, std::lround(settings.minutes * 60 / frame));
    std::string const path = folder.file("village.world");
    ResourceFile saves(path.c_str(), GIO::ReadWriteMode);
    if (!saves.is_open() || saves.io_mode() != GIO::ReadWriteMode)
        return fail("write to", path);
    Village::World world;
    if (!world.build(settings))
        return fail("read the script", settings.script);
    Village::Reporter reporter(settings, frames);
    Village::Camera camera(settings.film, settings.picture);
    if (!camera.open())
        return fail("write the film", settings.film);
    for (long i = 1; i <= frames; ++i) {
        world.step(frame);
        reporter.afterFrame(world, i);
        if (!camera.afterFrame(world, frame))
            return fail("write the film", settings.film);
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
        ProcessManager::StopTiming();
        ProcessManager::StartTiming();
        reporter.tell("-- %s %s --", Village::say("reloaded").c_str(), world.generation().c_str());
    }
    if (!camera.close())
        return fail("write the picture", settings.picture);
    int const meals = reporter.summary(world, frames);
    Village::Chronicle record;
    if (!Village::Chronicle::AddRun(folder.file("village.player").c_str(), meals, record))
        return fail("keep the record in", folder.file("village.player"));
    std::printf("  %s: %d, %d\n", Village::say("record").c_str(), record.runs, record.mostMeals);
    return 0;
}

} // namespace

int main(int argc, char ** argv) {
    Village::Settings const settings = Village::Settings::Parse(argc, argv);
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
    Error::InitializeHandler();
    Time::Reset();
    try {
        return run(settings);
    } catch (GLibraryException const & exception) {
        std::fprintf(stderr, "village: %s\n", exception.getMessage().c_str());
    } catch (std::exception const & exception) {
        std::fprintf(stderr, "village: %s\n", exception.what());
    }
    return 1;
}
