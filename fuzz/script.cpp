// A script from its text to its run: read, made into an automaton, stepped, and saved.
#include "Input.h"

#include "ondrel.h"

using namespace Tavlin;

int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static InputFolder const folder;
    static TRef<SceneObject> const scene(new SceneObject);
    static TRef<AgentManager2> const manager = [] {
        TRef<AgentManager2> const made(new AgentManager2);
        made->start();
        return made;
    }();
    // What the language tells on standard error would be most of what is seen.
    AutomatObserver silent;
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const script(creator);
    script->load(folder.put("script", data, size).c_str(), &silent);
    try {
        TRef<Automat> const automat = script->createNewAutomat();
        TObjectCreator<AgentShell> shell;
        TRef<AgentShell> const agent(shell);
        agent->addComponent(TRef<AgentComponent>(automat.pointer()));
        agent->start();
        for (int i = 0; i < 3; ++i)
            Time::StepGame(0.5f);
        script->dump();
        ompstream out;
        out.writePointer(automat.pointer());
        impstream in(out.data(), out.size(), GIO::ReadMode);
        TRef<Automat> const back(in.readPointer<Automat>());
    } catch (GException const &) {
    }
    return 0;
}
