// The village as a whole: the scene, the manager, the places and the agents; made, stepped, saved
// into a resource file, one generation after the other, and loaded back.
#pragma once

#include "Places.h"
#include "Settings.h"
#include "Villager.h"
#include "Weather.h"

#include <string>
#include <vector>

namespace Village {

/// One villager as the report sees it.
struct Inhabitant {
    Tavlin::TRef<Tavlin::AgentShell> agent;
    Tavlin::TRef<Tavlin::Automat> script;
    Tavlin::TRef<Villager> body;
    Tavlin::NameLinkID lastState;
};

/// A world as it is stored: one resource of the file.
class Snapshot : public GStreamable {
    G_DECLARE_CREATABLE(Snapshot)
  public:
    Snapshot() = default;
    explicit Snapshot(StreamableInit init) : GStreamable(init) {}
    void read(ipstream & in) override;
    void write(opstream & out) override;

    Tavlin::TRef<Tavlin::SceneObject> scene;
    std::vector<Tavlin::TRef<Tavlin::AgentShell>> agents;
};

class World {
  public:
    World() = default;
    ~World() { drop(); }
    World(World const &) = delete;
    World & operator=(World const &) = delete;

    /// Builds a village by the settings; false when its script cannot be read.
    bool build(Settings const & settings);
    /// One pass of the main loop, `delta` seconds of game time long.
    void step(float delta);
    /// Stores everything as a new generation and commits it; the last few stay beside it. False
    /// when that fails: the generations of before are still there.
    bool save(ResourceFile & file);
    /// Releases everything; the world is empty afterwards.
    void drop();
    /// Builds the world of the newest generation; false, with an empty world, when there is none
    /// or it cannot be read.
    bool load(ResourceFile & file);
    /// Under which name the world was saved or loaded last.
    std::string const & generation() const { return generation_; }

    std::vector<Inhabitant> & inhabitants() { return inhabitants_; }
    std::vector<Inhabitant> const & inhabitants() const { return inhabitants_; }
    BellTower const * tower() const { return tower_; }
    Door const * bakery() const { return bakery_; }
    Weather const * weather() const { return weather_; }
    Basket * market() const { return market_; }

  private:
    void addVillager(int index, Tavlin::TRef<Tavlin::D_Automat> const & definition);
    void enlist(Tavlin::TRef<Tavlin::AgentShell> const & agent);
    /// Ties together what is there, after building as after loading.
    void start();

    Tavlin::TRef<Tavlin::SceneObject> scene_;
    Tavlin::TRef<Tavlin::AgentManager2> manager_;
    Tavlin::TRef<BellTower> tower_;
    Tavlin::TRef<Door> bakery_;
    Tavlin::TRef<Weather> weather_;
    Tavlin::TRef<Basket> market_;
    std::vector<Inhabitant> inhabitants_;
    std::string generation_;
};

} // namespace Village
