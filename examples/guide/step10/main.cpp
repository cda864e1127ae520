// Step 10: settings from a file, texts in the player's language, and what is left of a crash.
#include "../step08/Harbour.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

using namespace Tavlin;

namespace {

char const * const logFile = "guide_step10.log";

struct Text {
    char const *key, *english, *german;
};

Text const texts[] = {
    {"burns", "The lamp burns.", "Die Lampe brennt."},
    {"comes", "A ship comes in.", "Ein Schiff kommt."},
};

void speak(GString const & language) {
    TextDictionary::EmptyDictionary();
    TextDictionary dictionary;
    for (Text const & text : texts) {
        TRef<UString> const words(new UString);
        words->init(GString(language == "de" ? text.german : text.english));
        dictionary.addItem(text.key, words);
    }
}

int play() {
    Ini ini(EXAMPLE_DIR "/harbour.ini");
    ini.forceVars(false); // the file is the player's: what it lacks is not written into it
    speak(ini.getString("Game", "Language", "en"));

    Guide::Harbour harbour;
    if (!harbour.build(EXAMPLE_DIR "/../step08/keeper.aut"))
        return 1;
    harbour.lamp()->setOil(ini.getFloat("Lamp", "Oil", 3));
    harbour.start();
    harbour.pass();
    harbour.print();
    for (char const * key : {"burns", "comes", "sinks"})
        std::puts(TextDictionary::GetString(key).c_str());
    return 0;
}

/// A component with a fault: it writes where there is no memory.
class Reef : public AgentComponent {
    G_DECLARE_CREATABLE(Reef)
  public:
    static NamedTypeInfo g_namedTypeInfo_;
    NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

  protected:
    void step(float) override {
        GEmergencyContext const context("Heron goes about"); // what a crash here will tell
        char volatile * volatile nowhere = reinterpret_cast<char volatile *>(8);
        *nowhere = 1;
    }
};

G_DEFINE_CREATABLE(Reef, "Guide::Reef", AgentComponent)
NamedTypeInfo Reef::g_namedTypeInfo_(&Reef::metaclass_, "Reef");

int crash() {
    GEmergencyLog::Get().setFile(logFile);
    GEmergencyLog::Enable(true);
    TRef<AgentManager2> const manager(new AgentManager2);
    manager->start();
    TRef<AgentShell> const agent(new AgentShell);
    agent->addComponent(TRef<AgentComponent>(new Reef));
    agent->start();
    Time::StepGame(0.5f);
    return 0;
}

/// The log without what differs from day to day and from machine to machine.
void printLog() {
    std::ifstream log(logFile);
    for (std::string line; std::getline(log, line);)
        if (!line.empty() && line.compare(0, 7, "module=") != 0)
            std::puts(line.substr(0, line.find(" TIME=")).c_str());
}

} // namespace

int main(int argc, char ** argv) {
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
    Error::InitializeHandler();
    Time::Reset();
    if (argc > 1 && std::strcmp(argv[1], "crash") == 0)
        return crash();
    if (play() != 0)
        return 1;
    std::puts("and now a second run, which crashes:");
    std::fflush(stdout);
    std::string again = "\"";
    again.append(argv[0]).append("\" crash");
    int const ended = std::system(again.c_str());
    std::printf("it ended %s\n", ended == 0 ? "well" : "badly");
    printLog();
    std::filesystem::remove(logFile);
    return 0;
}
