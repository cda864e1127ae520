// Making, saving and loading of the village.
#include "World.h"

#include "MarketDay.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace Tavlin;

namespace Village {

G_DEFINE_CREATABLE(Snapshot, "Village::Snapshot", GStreamable)

namespace {

constexpr unsigned char fileVersion = 3;
constexpr long keptGenerations = 3;
char const * const generationType = "World";

char const * const firstNames[] = {
    "Anna", "Boris", "Clara",   "Dmitri", "Elena", "Fedor",  "Galja", "Hanna",  "Ivan",  "Julia",
    "Karl", "Lidia", "Mikhail", "Nina",   "Oleg",  "Polina", "Raisa", "Sergej", "Tanja", "Viktor"};
constexpr int firstNameCount = sizeof firstNames / sizeof *firstNames;

std::string nameOf(int index) {
    std::string name = firstNames[index % firstNameCount];
    return index < firstNameCount ? name : name + std::to_string(index / firstNameCount + 1);
}

/// The generations in a file, the newest first: their names are numbers of one length.
std::vector<GString> generationsOf(ResourceFile const & file) {
    std::vector<GString> names;
    for (GResourceIterator i(file, GResourceFullName(GString("worlds"), "", generationType)); i;
         ++i)
        names.push_back(i.name());
    return names;
}

GResourceFullName fullNameOf(char const * generation) {
    return GResourceFullName(GString("worlds"), generation, generationType);
}

template <class T>
TRef<T> make() {
    TObjectCreator<T> creator;
    return TRef<T>(static_cast<T *>(creator));
}

} // namespace

bool World::build(Settings const & settings) {
    scene_ = make<SceneObject>();
    manager_ = make<AgentManager2>();
    tower_ = make<BellTower>();
    bakery_ = make<Door>();
    weather_ = make<Weather>();
    market_ = make<Basket>();
    scene_->regObject("Bell", TRef<Object>(tower_.pointer()));
    scene_->regObject("Bakery", TRef<Object>(bakery_.pointer()));
    scene_->regObject("Weather", TRef<Object>(weather_.pointer()));
    scene_->regObject("Market", TRef<Object>(market_.pointer()));

    House::StockLibrary();
    stockMarketDay();
    TRef<D_Automat> const definition = make<D_Automat>();
    if (!GFile(settings.script.c_str()).exists() || !definition->load(settings.script.c_str()))
        return false;
    // Native members are reached by name from here as from a script.
    IDispatcher::SetVRef(VariableRef(std::max(4, settings.agents / 4)), "scene.Bakery.Seats",
                         nullptr, nullptr);
    tower_->setMarketEvery(settings.marketEvery);
    weather_->start(settings.weatherEvery, settings.rain);
    for (int i = 0; i < settings.agents; ++i)
        addVillager(i, definition);
    start();
    return true;
}

void World::addVillager(int index, TRef<D_Automat> const & definition) {
    TRef<AgentShell> const agent = make<AgentShell>();
    TRef<Villager> const body = make<Villager>();
    TRef<Automat> const automat = definition->createNewAutomat();
    TRef<AgentInventory> const goods = make<AgentInventory>();
    TRef<Basket> const basket = make<Basket>();
    TRef<InventorySingleSlot> const hand = make<InventorySingleSlot>();
    basket->setMemberName("Basket");
    hand->setMemberName("Hand");
    goods->addSlot(TRef<InventorySlot>(basket.pointer()));
    goods->addSlot(TRef<InventorySlot>(hand.pointer()));
    body->moveInto(House::FromLibrary(index % House::Kinds()));
    body->setSkill(index % 3 == 0 ? 1.0f : 0.2f);
    automat->setInheritedObject(TRef<Object>(body.pointer()));
    agent->setMemberName(nameOf(index).c_str());
    agent->addComponent(TRef<AgentComponent>(body.pointer()), 0.1f);
    agent->addComponent(TRef<AgentComponent>(goods.pointer()), "Goods", 0.3f);
    agent->addComponent(TRef<AgentComponent>(automat.pointer()), 0.5f);
    // Some are quicker than others.
    IDispatcher::SetVRef(VariableRef(0.8f + 0.05f * static_cast<float>(index % 9)), "speedFactor",
                         TRef<Object>(agent.pointer()), nullptr);
    agent->start();
    enlist(agent);
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
    tower_->start(marketBoard());
    // Whoever is subscribed already, as after loading, gets the channel of then.
    for (Inhabitant const & who : inhabitants_) {
        TRef<Object> const script(who.script.pointer());
        tower_->subscribe(BellTower::Dawn, script);
        tower_->subscribe(BellTower::Dusk, script);
        who.body->hearNoon(tower_->subscribe(BellTower::Noon, script));
    }
}

void World::step(float delta) {
    Time::StepGame(delta);
    Time::StepRender();
}

void Snapshot::write(opstream & out) {
    out.writeByte(fileVersion);
    Time::Write(out);
    NameLinkID::FastSceneWrite const names(out);
    RefCounterWrite(out, TRef<RefCounter>(scene.pointer()));
    out.writeDWord(static_cast<unsigned long>(agents.size()));
    for (TRef<AgentShell> const & agent : agents)
        RefCounterWrite(out, TRef<RefCounter>(agent.pointer()));
}

void Snapshot::read(ipstream & in) {
    if (in.readByte() != fileVersion)
        return;
    // What is referred to later must not end before, like the bookmark of a house that many share.
    FinalReleasePause const pause;
    Time::Read(in);
    NameLinkID::FastSceneRead const names(in);
    TRef<RefCounter> const first = RefCounterRead(in, &SceneObject::metaclass_);
    scene = TRef<SceneObject>(gcast<SceneObject>(first.pointer()));
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        TRef<RefCounter> const next = RefCounterRead(in, &AgentShell::metaclass_);
        if (auto * const agent = gcast<AgentShell>(next.pointer()))
            agents.push_back(TRef<AgentShell>(agent));
    }
}

bool World::save(ResourceFile & file) {
    std::vector<GString> const former = generationsOf(file);
    char name[16];
    std::snprintf(name, sizeof name, "%06d", former.empty() ? 1 : std::atoi(former[0].c_str()) + 1);
    Snapshot snapshot;
    snapshot.scene = scene_;
    for (Inhabitant const & inhabitant : inhabitants_)
        snapshot.agents.push_back(inhabitant.agent);
    if (!file.put(&snapshot, fullNameOf(name), false))
        return false;
    for (std::size_t i = keptGenerations - 1; i < former.size(); ++i)
        file.remove(fullNameOf(former[i].c_str()));
    generation_ = name;
    return file.flush();
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
        scene_->unregObject("Weather");
        scene_->unregObject("Market");
    }
    tower_.empty();
    bakery_.empty();
    weather_.empty();
    market_.empty();
    manager_.empty();
    scene_.empty();
}

bool World::load(ResourceFile & file) {
    std::vector<GString> const generations = generationsOf(file);
    if (generations.empty())
        return false;
    std::unique_ptr<GStreamable> const stored(file.get(fullNameOf(generations[0].c_str()), false));
    auto * const snapshot = gcast<Snapshot>(stored.get());
    if (!snapshot || !snapshot->scene)
        return false;
    scene_ = snapshot->scene;
    auto const find = [this](char const * name) { return scene_->findObject(name); };
    manager_ = TRef<AgentManager2>(gcast<AgentManager2>(find("Agents").pointer()));
    tower_ = TRef<BellTower>(gcast<BellTower>(find("Bell").pointer()));
    bakery_ = TRef<Door>(gcast<Door>(find("Bakery").pointer()));
    weather_ = TRef<Weather>(gcast<Weather>(find("Weather").pointer()));
    market_ = TRef<Basket>(gcast<Basket>(find("Market").pointer()));
    if (!manager_ || !tower_ || !bakery_ || !weather_ || !market_) {
        drop();
        return false;
    }
    for (TRef<AgentShell> const & agent : snapshot->agents)
        enlist(agent);
    generation_ = generations[0].c_str();
    start();
    return true;
}

} // namespace Village
