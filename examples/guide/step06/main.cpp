// Step 6: agents find each other by name, whoever is there first.
#include "ondrel.h"

#include <cstdio>

using namespace Tavlin;

/// The part of the lighthouse that others look at.
class Lamp : public AgentComponent {
    G_DECLARE_CREATABLE(Lamp)
    TAVLIN_DECLARE_DISPATCHER(Lamp)
  public:
    static NamedTypeInfo g_namedTypeInfo_;
    NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

  private:
    VariableVar lit_{0};
};

/// The hull of a ship, which steers for the light.
class Hull : public AgentComponent {
    G_DECLARE_CREATABLE(Hull)
    TAVLIN_DECLARE_DISPATCHER(Hull)
    TAVLIN_DECLARE_CONNECTIONS(Hull)
  public:
    static NamedTypeInfo g_namedTypeInfo_;
    NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }
    void onLinkComplete() override { std::puts("the ship knows the lamp"); }
    void storm(VariableRef *, VRefVector *) { std::puts("the ship reefs her sails"); }

  protected:
    void step(float delta) override {
        miles_ -= 2 * delta;
        std::printf("%.1f s: %.1f miles off, the light is %s\n", Time::GetTime(), miles_,
                    lit_.asINT() ? "on" : "off");
    }

  private:
    TRef<Object> lamp_; // links: set when names are resolved
    VariableRef lit_;   // the lamp's own cell
    float miles_ = 5;
};

G_DEFINE_CREATABLE(Lamp, "Guide::Lamp", AgentComponent)
NamedTypeInfo Lamp::g_namedTypeInfo_(&Lamp::metaclass_, "Lamp");

TAVLIN_BEGIN_DISPATCHER(Lamp, IDispatcherImpl)
    TAVLIN_VARIABLE("Lit", lit_, INT)
TAVLIN_END_DISPATCHER()

G_DEFINE_CREATABLE(Hull, "Guide::Hull", AgentComponent)
NamedTypeInfo Hull::g_namedTypeInfo_(&Hull::metaclass_, "Hull");

TAVLIN_BEGIN_DISPATCHER(Hull, IDispatcherImpl)
    TAVLIN_METHOD("Storm", storm, UNDEFINED)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_CONNECTIONS(Hull)
    TAVLIN_CONNECTION("scene.Agents.Lighthouse.Lamp", lamp_, ConnectionObject, true)
    TAVLIN_CONNECTION("scene.Agents.Lighthouse.Lamp.Lit", lit_, ConnectionVariable, true)
TAVLIN_END_CONNECTIONS()

template <class T>
TRef<T> make() {
    TObjectCreator<T> creator;
    return TRef<T>(static_cast<T *>(creator));
}

template <class Component>
TRef<AgentShell> makeAgent(char const * name) {
    TRef<AgentShell> const agent = make<AgentShell>();
    agent->setMemberName(name);
    agent->addComponent(TRef<AgentComponent>(make<Component>().pointer()));
    agent->start();
    return agent;
}

int main() {
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
    Error::InitializeHandler();
    Time::Reset();

    TRef<SceneObject> const scene = make<SceneObject>();
    TRef<AgentManager2> const manager = make<AgentManager2>(); // "Agents" in the scene
    manager->start();

    TRef<AgentShell> const ship = makeAgent<Hull>("Heron");
    AgentManager2::LinkAgents();
    std::printf("without a lighthouse she %s\n", ship->isRunning() ? "sails" : "lies still");
    GString log;
    ship->checkConnectionPointsDown(log, true);
    std::printf("%s\n", log.c_str());

    TRef<AgentShell> const lighthouse = makeAgent<Lamp>("Lighthouse");
    ship->start();
    AgentManager2::LinkAgents();

    Time::StepGame(0.5f);
    IDispatcher::SetVRef(1, "scene.Agents.Lighthouse.Lamp.Lit", nullptr, nullptr);
    Time::StepGame(0.5f);
    IDispatcher::CallMethod("scene.Agents.Storm", nullptr, nullptr, nullptr, nullptr);
    manager->stop();
    return 0;
}
