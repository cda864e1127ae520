// What the parts of the harbour do, and how they are written and read.
#include "Harbour.h"

#include <algorithm>
#include <cstdio>

using namespace Tavlin;

namespace Guide {

G_DEFINE_CREATABLE(Lamp, "Guide::Lamp", AgentComponent)
NamedTypeInfo Lamp::g_namedTypeInfo_(&Lamp::metaclass_, "Lamp");

TAVLIN_BEGIN_DISPATCHER(Lamp, IDispatcherImpl)
    TAVLIN_METHOD("OilLeft", oilLeft, FLOAT)
    TAVLIN_METHOD("Fill", fill, UNDEFINED)
TAVLIN_END_DISPATCHER()

G_DEFINE_CREATABLE(Hull, "Guide::Hull", AgentComponent)
NamedTypeInfo Hull::g_namedTypeInfo_(&Hull::metaclass_, "Hull");

TAVLIN_BEGIN_CONNECTIONS(Hull)
    TAVLIN_CONNECTION("scene.Agents.Lighthouse.Lamp", lamp_, ConnectionObject, true)
TAVLIN_END_CONNECTIONS()

G_DEFINE_CREATABLE(Harbour, "Guide::Harbour", GStreamable)

namespace {

template <class T>
TRef<T> make() {
    TObjectCreator<T> creator;
    return TRef<T>(static_cast<T *>(creator));
}

} // namespace

void Lamp::step(float delta) {
    oil_ = std::max(oil_ - delta, 0.0f);
}

void Lamp::oilLeft(VariableRef * result, VRefVector *) {
    if (result)
        *result = oil_;
}

void Lamp::fill(VariableRef *, VRefVector * args) {
    if (args && args->getCount() == 1 && args->at(0).type() == FLOAT)
        oil_ = std::clamp(args->at(0).asFLOAT(), 0.0f, 10.0f);
}

void Lamp::write(opstream & out) {
    out.writeByte(0); // the version of what follows
    AgentComponent::write(out);
    out << oil_;
}

void Lamp::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version != 0)
        throw XStrVer("Lamp", 0, version, 0);
    AgentComponent::read(in);
    in >> oil_;
}

void Hull::step(float delta) {
    auto const * const lamp = gcast<Lamp>(lamp_.pointer());
    if (lamp && lamp->oil() > 0)
        miles_ = std::max(miles_ - 2 * delta, 0.0f);
}

void Hull::write(opstream & out) {
    out.writeByte(0);
    AgentComponent::write(out);
    out << miles_;
}

void Hull::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version != 0)
        throw XStrVer("Hull", 0, version, 0);
    AgentComponent::read(in);
    in >> miles_;
}

bool Harbour::build(char const * script) {
    scene_ = make<SceneObject>();
    manager_ = make<AgentManager2>();
    TRef<D_Automat> const definition = make<D_Automat>();
    if (!GFile(script).exists() || !definition->load(script))
        return false;
    TRef<Lamp> const lamp = make<Lamp>();
    TRef<Automat> const keeper = definition->createNewAutomat();
    keeper->setInheritedObject(TRef<Object>(lamp.pointer()));
    addAgent("Lighthouse", TRef<AgentComponent>(lamp.pointer()),
             TRef<AgentComponent>(keeper.pointer()));
    addAgent("Heron", TRef<AgentComponent>(make<Hull>().pointer()), nullptr);
    findParts();
    return true;
}

void Harbour::addAgent(char const * name, TRef<AgentComponent> const & first,
                       TRef<AgentComponent> const & second) {
    TRef<AgentShell> const agent = make<AgentShell>();
    agent->setMemberName(name);
    agent->addComponent(first, 0.1f);
    if (second)
        agent->addComponent(second, 0.5f);
    agent->start();
    agents_.push_back(agent);
}

void Harbour::findParts() {
    for (TRef<AgentShell> const & agent : agents_)
        for (int i = 0; i < agent->getNodeCount(); ++i) {
            TRef<TypedObjectNode> const part = agent->getNode(i);
            if (auto * const lamp = gcast<Lamp>(part.pointer()))
                lamp_ = TRef<Lamp>(lamp);
            if (auto * const hull = gcast<Hull>(part.pointer()))
                hull_ = TRef<Hull>(hull);
            if (auto * const keeper = gcast<Automat>(part.pointer()))
                keeper_ = TRef<Automat>(keeper);
        }
}

void Harbour::start() {
    AgentManager2::LinkAgents();
    manager_->start();
}

void Harbour::pass() {
    Time::StepGame(0.5f);
    Time::StepRender();
}

void Harbour::drop() {
    if (manager_)
        manager_->stop();
    if (scene_)
        scene_->unregObject("Agents"); // the scene holds the manager
    lamp_.empty();
    hull_.empty();
    keeper_.empty();
    agents_.clear();
    manager_.empty();
    scene_.empty();
}

void Harbour::print() const {
    std::printf("%.1f s: oil %.1f, keeper %s, ship %.0f miles off\n", Time::GetTime(), lamp_->oil(),
                keeper_->getNowState()->getName().c_str(), hull_->miles());
}

void Harbour::write(opstream & out) {
    out.writeByte(0);
    Time::Write(out);
    RefCounterWrite(out, TRef<RefCounter>(scene_.pointer()));
    out.writeDWord(static_cast<unsigned long>(agents_.size()));
    for (TRef<AgentShell> const & agent : agents_)
        RefCounterWrite(out, TRef<RefCounter>(agent.pointer()));
}

void Harbour::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version != 0)
        throw XStrVer("Harbour", 0, version, 0);
    FinalReleasePause const pause; // what is referred to later must not end before
    Time::Read(in);
    TRef<RefCounter> const scene = RefCounterRead(in, &SceneObject::metaclass_);
    scene_ = TRef<SceneObject>(gcast<SceneObject>(scene.pointer()));
    for (unsigned long left = in.readDWord(); left > 0 && in.good(); --left) {
        TRef<RefCounter> const next = RefCounterRead(in, &AgentShell::metaclass_);
        if (auto * const agent = gcast<AgentShell>(next.pointer()))
            agents_.push_back(TRef<AgentShell>(agent));
    }
    if (scene_)
        manager_ = TRef<AgentManager2>(
            gcast<AgentManager2>(scene_->findObject(NameLinkID("Agents")).pointer()));
    findParts();
    if (!manager_ || !lamp_ || !hull_ || !keeper_)
        throw Error("The harbour is not complete");
}

} // namespace Guide
