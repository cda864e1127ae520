// The village as a whole: the scene, the manager, the places and the agents; made, stepped, saved
// to a file and loaded back.
#pragma once

#include "Places.h"
#include "Villager.h"

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

class World {
  public:
    World() = default;
    ~World() { drop(); }
    World(World const &) = delete;
    World & operator=(World const &) = delete;

    /// Builds a village of `agents` villagers who run the script; false when it cannot be read.
    bool build(std::string const & script, int agents);
    /// One pass of the main loop, `delta` seconds of game time long.
    void step(float delta);
    /// Writes everything to a file; false when that fails.
    bool save(std::string const & file);
    /// Releases everything; the world is empty afterwards.
    void drop();
    /// Builds the world that a file holds; false, with an empty world, when it cannot be read.
    bool load(std::string const & file);

    std::vector<Inhabitant> & inhabitants() { return inhabitants_; }
    BellTower const * tower() const { return tower_; }
    Door const * bakery() const { return bakery_; }

  private:
    void enlist(Tavlin::TRef<Tavlin::AgentShell> const & agent);
    void start();

    Tavlin::TRef<Tavlin::SceneObject> scene_;
    Tavlin::TRef<Tavlin::AgentManager2> manager_;
    Tavlin::TRef<BellTower> tower_;
    Tavlin::TRef<Door> bakery_;
    std::vector<Inhabitant> inhabitants_;
};

} // namespace Village
