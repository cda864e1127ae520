// The report of the village.
#include "Reporter.h"

#include "Texts.h"

#include <cstdarg>
#include <cstdio>
#include <initializer_list>

#include <unistd.h>

using namespace Tavlin;

namespace Village {

namespace {

constexpr std::size_t watchedVillagers = 3;
constexpr std::size_t shownVillagers = 10;

std::string clockText() {
    char text[32];
    std::snprintf(text, sizeof text, "%s %d %02d:%02d", say("day").c_str(),
                  static_cast<int>(Time::GetTime() / BellTower::dayLength) + 1,
                  static_cast<int>(Time::GetTime()) % 60 * 24 / 60,
                  static_cast<int>(Time::GetTime()) % 60 * 24 % 60);
    return text;
}

int variable(Automat & script, char const * name) {
    VariableRef value;
    return script.getVariable(name, value) && value.type() == INT ? value.asINT() : 0;
}

/// A name that is read on a slot is read on what lies in it.
bool hasLoafAtHand(Inhabitant const & who) {
    TRef<Object> const agent(who.agent.pointer());
    return IDispatcher::FindVRef("Goods.Hand.Bites", agent, nullptr).type() == INT;
}

} // namespace

Reporter::Reporter(Settings const & settings, long frames)
    : quiet_(settings.quiet), terminal_(isatty(STDOUT_FILENO) != 0), frames_(frames) {}

void Reporter::afterFrame(World & world, long number) {
    char const * const hour = world.tower()->hour();
    if (hour != hour_) {
        hour_ = hour;
        tell("%s, %s", clockText().c_str(), say(hour).c_str());
    }
    std::size_t watched = 0;
    for (Inhabitant & who : world.inhabitants()) {
        bool const aloud = watched++ < watchedVillagers;
        follow(who, aloud);
    }
    if (number % 20 == 0 || number == frames_)
        showBar(number);
}

void Reporter::tell(char const * format, ...) {
    if (quiet_)
        return;
    clearBar();
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::putchar('\n');
}

int Reporter::summary(World & world, long frames) {
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
         sayIn("meals", 6), sayIn("loaves", 7), sayIn("carries", 7), sayIn("coins", 6),
         sayIn("hunger", 7), sayIn("words", 6)});
    std::size_t shown = 0;
    int loaves = 0, meals = 0, atHand = 0;
    for (Inhabitant const & who : world.inhabitants()) {
        int const eaten = variable(*who.script, "meals");
        loaves += who.body->loaves();
        meals += eaten;
        atHand += hasLoafAtHand(who);
        if (shown++ >= shownVillagers)
            continue;
        char hunger[16];
        std::snprintf(hunger, sizeof hunger, "%.1f", static_cast<double>(who.body->hunger()));
        row({padded(who.agent->getMemberNameID().c_str(), -10), sayIn(who.lastState.c_str(), -9),
             sayIn(who.body->house() ? who.body->house()->name().c_str() : "", -11),
             padded(std::to_string(variable(*who.script, "days")), 5),
             padded(std::to_string(eaten), 6), padded(std::to_string(who.body->loaves()), 7),
             padded(std::to_string(who.body->basket() ? who.body->basket()->getItemCount() : 0), 7),
             padded(std::to_string(variable(*who.script, "coins")), 6), padded(hunger, 7),
             padded(std::to_string(who.body->words()), 6)});
    }
    if (shown > shownVillagers)
        std::printf("  ... %zu %s\n", shown - shownVillagers, say("more").c_str());
    row({sayIn("all", -10), padded("", -9), padded("", -11), padded("", 5),
         padded(std::to_string(meals), 6), padded(std::to_string(loaves), 7)});
    std::printf("\n  %s:", say("entered").c_str());
    for (auto const & [name, count] : entered_)
        std::printf(" %s %ld", say(name.c_str()).c_str(), count);
    std::printf("\n  %d %s\n", world.bakery()->visits(), say("visits").c_str());
    std::printf("  %d %s, %d %s\n", world.tower()->marketDays(), say("market days").c_str(),
                world.market()->getItemCount(), say("on sale").c_str());
    std::printf("  %d %s, %d %s\n", atHand, say("at hand").c_str(), world.weather()->showers(),
                say("showers").c_str());
    return meals;
}

void Reporter::follow(Inhabitant & who, bool aloud) {
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
             say(who.lastState.c_str()).c_str(), say(state->getName().c_str()).c_str(),
             why.type() == NAMELINKID ? say(why.asNAMELINKID().c_str()).c_str() : "?");
    who.lastState = state->getName();
}

void Reporter::showBar(long number) {
    if (quiet_ || !terminal_)
        return;
    constexpr int width = 40;
    int const full = static_cast<int>(number * width / frames_);
    std::printf("\r[%.*s%*s] %3ld%%", full, "########################################",
                width - full, "", number * 100 / frames_);
    std::fflush(stdout);
    barShown_ = true;
}

void Reporter::clearBar() {
    if (barShown_)
        std::printf("\r%60s\r", "");
    barShown_ = false;
}

} // namespace Village
