// Step 7: events that come later, and a channel that tells many at once.
#include "ondrel.h"

#include <cstdio>

using namespace Tavlin;

/// The native side of a ship's script: what the captain says.
class Captain : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Captain)
    TAVLIN_DECLARE_DISPATCHER(Captain)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    void setShip(char const * name) { ship_ = name; }
    void say(VariableRef *, VRefVector * args) {
        if (args && args->getCount() > 0 && args->at(0).type() == CHARPTR)
            std::printf("%.1f s: %s: %s\n", Time::GetTime(), ship_, args->at(0).asCHARPTR());
    }

  private:
    char const * ship_ = "";
};

G_DEFINE_CREATABLE(Captain, "Guide::Captain", UniqueObject, IDispatcherImpl)

TAVLIN_BEGIN_DISPATCHER(Captain, IDispatcherImpl)
    TAVLIN_METHOD("Say", say, UNDEFINED)
TAVLIN_END_DISPATCHER()

template <class T>
TRef<T> make() {
    TObjectCreator<T> creator;
    return TRef<T>(static_cast<T *>(creator));
}

struct Ship {
    TRef<AgentShell> agent;
    TRef<Automat> script;
};

Ship launch(D_Automat & definition, char const * name) {
    Ship ship;
    ship.script = definition.createNewAutomat();
    TRef<Captain> const captain = make<Captain>();
    captain->setShip(name);
    ship.script->setInheritedObject(TRef<Object>(captain));
    ship.agent = make<AgentShell>();
    ship.agent->setMemberName(name);
    ship.agent->addComponent(TRef<AgentComponent>(ship.script.pointer()));
    ship.agent->start();
    return ship;
}

void pass() {
    Time::StepGame(0.5f);
    Time::StepRender();
}

int main() {
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
    Error::InitializeHandler();
    Time::Reset();
    TRef<AgentManager2> const manager = make<AgentManager2>();
    manager->start();

    TRef<D_Automat> const definition = make<D_Automat>();
    if (!GFile(EXAMPLE_DIR "/ship.aut").exists() || !definition->load(EXAMPLE_DIR "/ship.aut"))
        return 1;
    Ship heron = launch(*definition, "Heron");
    Ship tern = launch(*definition, "Tern");

    TRef<VRefChannelSource> const horn(new VRefChannelSource);
    horn->openChannelTo(TRef<Object>(heron.script.pointer()), "Fog");
    TRef<VRefChannel> const ternHears =
        horn->openChannelTo(TRef<Object>(tern.script.pointer()), "Fog");

    VRefVector nothing;
    pass();
    horn->send(nothing); // the newest channel first
    for (int i = 0; i < 4; ++i)
        pass();
    ternHears->lock();
    horn->send(nothing);

    heron = {}; // the ship is lost, and what it waited for with it
    for (int i = 0; i < 4; ++i)
        pass();
    horn->send(nothing);
    std::printf("%.1f s: %ld channel is left\n", Time::GetTime(), horn->getChannelCount());
    manager->stop();
    return 0;
}
