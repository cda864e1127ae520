// Making, saving and loading of the village.
#include "World.h"

#include <algorithm>

using namespace Tavlin;

namespace Village {

namespace {

constexpr unsigned char fileVersion = 1;

char const * const firstNames[] = {
    "Anna", "Boris", "Clara",   "Dmitri", "Elena", "Fedor",  "Galja", "Hanna",  "Ivan",  "Julia",
    "Karl", "Lidia", "Mikhail", "Nina",   "Oleg",  "Polina", "Raisa", "Sergej", "Tanja", "Viktor"};
constexpr int firstNameCount = sizeof firstNames / sizeof *firstNames;

std::string nameOf(int index) {
    std::string name = firstNames[index % firstNameCount];
    return index < firstNameCount ? name : name + std::to_string(index / firstNameCount + 1);
}

template <class T>
TRef<T> make() {
    TObjectCreator<T> creator;
    return TRef<T>(static_cast<T *>(creator));
}

} // namespace

bool World::build(std::string const & script, int agents) {
    scene_ = make<SceneObject>();
    manager_ = make<AgentManager2>();
    tower_ = make<BellTower>();
    bakery_ = make<Door>();
    scene_->regObject("Bell", TRef<Object>(tower_.pointer()));
    scene_->regObject("Bakery", TRef<Object>(bakery_.pointer()));

    TRef<D_Automat> const definition = make<D_Automat>();
    if (!GFile(script.c_str()).exists() || !definition->load(script.c_str()))
        return false;
    // Native members are reached by name from here as from a script.
    IDispatcher::SetVRef(VariableRef(std::max(4, agents / 4)), "scene.Bakery.Seats", nullptr,
                         nullptr);
    for (int i = 0; i < agents; ++i) {
        TRef<AgentShell> const agent = make<AgentShell>();
        TRef<Villager> const body = make<Villager>();
        TRef<Automat> const automat = definition->createNewAutomat();
        automat->setInheritedObject(TRef<Object>(body.pointer()));
        agent->setMemberName(nameOf(i).c_str());
        agent->addComponent(TRef<AgentComponent>(body.pointer()), 0.1f);
        agent->addComponent(TRef<AgentComponent>(automat.pointer()), 0.5f);
        // Some are quicker than others.
        IDispatcher::SetVRef(VariableRef(0.8f + 0.05f * static_cast<float>(i % 9)), "speedFactor",
                             TRef<Object>(agent.pointer()), nullptr);
        agent->start();
        enlist(agent);
    }
    start();
    return true;
}

void World::enlist(TRef<AgentShell> const & agent) {
    Inhabitant inhabitant;
    inhabitant.agent = agent;
    for (int i = 0; i < agent->getNodeCount(); ++i) {
        TypedObjectNode * const node = agent->getNode(i);
        if (auto * const body = gcast<Villager>(node))
            inhabitant.body = TRef<Villager>(body);
        if (auto * const script = gcast<Automat>(node))
            inhabitant.script = TRef<Automat>(script);
    }
    if (!inhabitant.body || !inhabitant.script)
        return;
    if (TRef<D_State> const state = inhabitant.script->getNowState())
        inhabitant.lastState = state->getName();
    inhabitants_.push_back(inhabitant);
}

void World::start() {
    AgentManager2::LinkAgents();
    manager_->start();
    tower_->start();
}

void World::step(float delta) {
    Time::StepGame(delta);
    Time::StepRender();
}

bool World::save(std::string const & file) {
    ofpstream out(file.c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone);
    if (!out)
        return false;
    out.writeByte(fileVersion);
    Time::Write(out);
    NameLinkID::FastSceneWrite const names(out);
    RefCounterWrite(out, TRef<RefCounter>(scene_.pointer()));
    out.writeDWord(static_cast<unsigned long>(inhabitants_.size()));
    for (Inhabitant const & inhabitant : inhabitants_)
        RefCounterWrite(out, TRef<RefCounter>(inhabitant.agent.pointer()));
    out.flush();
    return static_cast<bool>(out);
}

void World::drop() {
    if (tower_)
        tower_->stop();
    if (manager_)
        manager_->stop();
    inhabitants_.clear();
    if (scene_) {
        scene_->unregObject("Agents");
        scene_->unregObject("Bell");
        scene_->unregObject("Bakery");
    }
    tower_.empty();
    bakery_.empty();
    manager_.empty();
    scene_.empty();
}

bool World::load(std::string const & file) {
    ifpstream in(file.c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    if (!in || in.readByte() != fileVersion)
        return false;
    Time::Read(in);
    NameLinkID::FastSceneRead const names(in);
    ObjectCreator scene(in);
    scene_ = TRef<SceneObject>(gcast<SceneObject>(static_cast<Object *>(scene)));
    if (!scene_)
        return false;
    auto const find = [this](char const * name) { return scene_->findObject(name); };
    manager_ = TRef<AgentManager2>(gcast<AgentManager2>(find("Agents").pointer()));
    tower_ = TRef<BellTower>(gcast<BellTower>(find("Bell").pointer()));
    bakery_ = TRef<Door>(gcast<Door>(find("Bakery").pointer()));
    if (!manager_ || !tower_ || !bakery_) {
        drop();
        return false;
    }
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        ObjectCreator creator(in);
        TRef<AgentShell> const agent(gcast<AgentShell>(static_cast<Object *>(creator)));
        if (agent)
            enlist(agent);
    }
    start();
    return in.good();
}

} // namespace Village
