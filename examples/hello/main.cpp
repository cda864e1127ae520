// The least host: one agent that runs one script, and one native method that the script calls.
#include "ondrel.h"

#include <cstdio>

using namespace Tavlin;

/// What the script does not handle itself comes here: its native side.
class Voice : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Voice)
    TAVLIN_DECLARE_DISPATCHER(Voice)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
    void say(VariableRef *, VRefVector * args) {
        if (args && args->getCount() > 0 && args->at(0).type() == CHARPTR)
            std::printf("[%5.2f s] %s\n", Time::GetTime(), args->at(0).asCHARPTR());
    }
};

G_DEFINE_CREATABLE(Voice, "Hello::Voice", UniqueObject, IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(Voice, IDispatcherImpl)
    TAVLIN_METHOD("Say", say, UNDEFINED)
TAVLIN_END_DISPATCHER()

int main(int argc, char ** argv) {
    char const * const path = argc > 1 ? argv[1] : EXAMPLE_DIR "/hello.aut";

    GString::AddLoadStringFunc(GLoadMessage, nullptr); // the texts of the library's errors
    Error::InitializeHandler();                        // a crash is told before the program ends
    Time::Reset();

    TRef<SceneObject> const scene(new SceneObject);       // what scripts call "scene"
    TRef<AgentManager2> const manager(new AgentManager2); // must be there before any agent
    manager->start();

    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const script(creator);
    if (!GFile(path).exists() || !script->load(path)) {
        std::fprintf(stderr, "hello: cannot read the script %s\n", path);
        return 1;
    }
    TObjectCreator<AgentShell> shell;
    TRef<AgentShell> const agent(shell);
    TRef<Automat> const automat = script->createNewAutomat();
    TObjectCreator<Voice> voice;
    automat->setInheritedObject(TRef<Object>(static_cast<Voice *>(voice)));
    agent->addComponent(TRef<AgentComponent>(automat.pointer()));
    agent->start();

    while (Time::GetTime() < 1.0f) {
        Time::StepGame(0.1f); // a game calls Time::Step() here, which measures the time itself
        Time::StepRender();
    }
    std::printf("The agent ends in state %s.\n", automat->getNowState()->getName().c_str());
    manager->stop();
    return 0;
}
