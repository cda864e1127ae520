// Cost of one game step for a population of agents, and beside it the same logic in Lua 5.4 driven
// from C++ in the same shape: one object per agent, one protected call per agent and step. Both
// read and write variables, test conditions, call a method and change state every so often.
//
// The counter "per_agent" is seconds per agent and step, "allocations" heap allocations per game
// step once warm.
#include "benchmarks/CountAllocations.h"
#include "benchmarks/RunBenchmarks.h"
#include "ondrel.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#if defined(ONDREL_HAVE_LUA)
extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}
#endif

namespace {

using namespace Tavlin;

char const * const script = R"(energy := 100
steps := 0
moves := 0
speed := 1.5
place := 0.0

Method Move
{
place = place + speed
moves = moves + 1
}

State Busy
{
Method Step
{
steps = steps + 1
energy = energy - 3
Move()
if (energy < 20)
{
goto Idle
}
}
}

State Idle
{
Method Step
{
steps = steps + 1
energy = energy + 8
if (energy > 90)
{
goto Busy
}
}
}
)";

/// A population of agents that all run the script.
class Population {
  public:
    explicit Population(long count) {
        std::string const path = "agents_benchmark.aut";
        if (std::FILE * const file = std::fopen(path.c_str(), "w")) {
            std::fputs(script, file);
            std::fclose(file);
        }
        TObjectCreator<D_Automat> creator;
        TRef<D_Automat> const definition(static_cast<D_Automat *>(creator));
        definition->load(path.c_str());
        std::remove(path.c_str());
        for (long i = 0; i < count; ++i) {
            TObjectCreator<AgentShell> shell;
            agents_.emplace_back(static_cast<AgentShell *>(shell));
            automata_.push_back(definition->createNewAutomat());
            agents_.back()->addComponent(TRef<AgentComponent>(automata_.back().pointer()));
            agents_.back()->start();
        }
        manager_->start();
    }
    ~Population() { manager_->stop(); }

    void step() { Time::StepGame(0.02f); }

  private:
    TRef<SceneObject> scene_{new SceneObject};
    TRef<AgentManager2> manager_{new AgentManager2};
    std::vector<TRef<AgentShell>> agents_;
    std::vector<TRef<Automat>> automata_;
};

template <class Step>
void measure(benchmark::State & state, Step step) {
    for (int i = 0; i < 30; ++i)
        step();
    std::size_t const before = g_allocations;
    for (auto _ : state)
        step();
    auto const iterations = static_cast<double>(state.iterations());
    state.counters["allocations"] = static_cast<double>(g_allocations - before) / iterations;
    state.counters["per_agent"] =
        benchmark::Counter(iterations * static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_Ondrel(benchmark::State & state) {
    Time::Reset();
    Population population(state.range(0));
    measure(state, [&] { population.step(); });
}

#if defined(ONDREL_HAVE_LUA)

char const * const luaScript = R"(
local Agent = {}
Agent.__index = Agent

function Agent:Move()
  self.place = self.place + self.speed
  self.moves = self.moves + 1
end

local Busy, Idle = {}, {}

function Busy.Step(self)
  self.steps = self.steps + 1
  self.energy = self.energy - 3
  self:Move()
  if self.energy < 20 then self.state = Idle end
end

function Idle.Step(self)
  self.steps = self.steps + 1
  self.energy = self.energy + 8
  if self.energy > 90 then self.state = Busy end
end

function Step(self)
  self.state.Step(self)
end

function New()
  return setmetatable({energy = 100, steps = 0, moves = 0, speed = 1.5, place = 0.0,
                       state = Busy}, Agent)
end
)";

void BM_Lua(benchmark::State & state) {
    lua_State * const lua = luaL_newstate();
    luaL_openlibs(lua);
    if (luaL_dostring(lua, luaScript) != LUA_OK) {
        state.SkipWithError(lua_tostring(lua, -1));
        lua_close(lua);
        return;
    }
    lua_getglobal(lua, "Step");
    int const stepFunction = luaL_ref(lua, LUA_REGISTRYINDEX);
    std::vector<int> agents;
    for (long i = 0; i < state.range(0); ++i) {
        lua_getglobal(lua, "New");
        lua_pcall(lua, 0, 1, 0);
        agents.push_back(luaL_ref(lua, LUA_REGISTRYINDEX));
    }
    measure(state, [&] {
        for (int const agent : agents) {
            lua_rawgeti(lua, LUA_REGISTRYINDEX, stepFunction);
            lua_rawgeti(lua, LUA_REGISTRYINDEX, agent);
            if (lua_pcall(lua, 1, 0, 0) != LUA_OK)
                lua_pop(lua, 1);
        }
    });
    lua_close(lua);
}

#endif

} // namespace

BENCHMARK(BM_Ondrel)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);
#if defined(ONDREL_HAVE_LUA)
BENCHMARK(BM_Lua)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);
#endif

int main(int argc, char ** argv) {
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
#if !defined(ONDREL_HAVE_LUA)
    std::puts("Lua 5.4 was not found when this was built: its side is left out.");
#endif
    return runBenchmarks(argc, argv);
}
