// A host as small as one can be that still uses each side of an installed library: a class of its
// own, a script, a stream, and static objects that need the library before and after main.
#include "ondrel.h"

#include <cstdio>
#include <cstdlib>

using namespace Tavlin;

namespace {

int fail(char const * what) {
    std::fprintf(stderr, "host: %s\n", what);
    return EXIT_FAILURE;
}

/// Lives longer than main at both ends, and finds the library whole each time.
struct Bracket {
    bool const wholeAtFirst = whole();
    ~Bracket() {
        if (!whole())
            std::_Exit(fail("the library ends before the static objects of its host"));
    }
    static bool whole() {
        return GMetaClass::FindByName("PixelMap") &&
               _nmlmnk_namespace_SysEvents::has(_nmlmnk_namespace_SysEvents::names[0]) &&
               ResourceFile::Reason_Flushed != GCallBackReason(0);
    }
} const bracket;

} // namespace

/// The native side of the script. It is streamed with what it heard.
class Listener : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Listener)
    TAVLIN_DECLARE_DISPATCHER(Listener)
  public:
    void read(ipstream & in) override {
        UniqueObject::read(in);
        in >> heard;
    }
    void write(opstream & out) override {
        UniqueObject::write(out);
        out << heard;
    }
    void onFinalRelease() override { Object::onFinalRelease(); }
    void hear(VariableRef *, VRefVector * args) {
        if (args->getCount() > 0 && args->at(0).type() == CHARPTR)
            heard += args->at(0).asCHARPTR();
    }
    GString heard;
};

G_DEFINE_CREATABLE(Listener, "Host::Listener", UniqueObject, IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(Listener, IDispatcherImpl)
    TAVLIN_METHOD("Hear", hear, UNDEFINED)
TAVLIN_END_DISPATCHER()

int main(int argc, char ** argv) {
    if (argc != 2)
        return fail("the script, and nothing else, is wanted");
    if (!bracket.wholeAtFirst)
        return fail("the static objects of a host come before the library");
    if (!OndrelVersionFits() || GString(OndrelVersion()) != ONDREL_VERSION)
        return fail("the headers are not those of the library");
    if (OndrelVersionFits(ONDREL_VERSION_MAJOR + 1, 0) ||
        OndrelVersionFits(ONDREL_VERSION_MAJOR, ONDREL_VERSION_MINOR + 1))
        return fail("the library takes the headers of a later version for its own");

    Time::Reset();
    TRef<SceneObject> const scene(new SceneObject);
    TRef<AgentManager2> const manager(new AgentManager2);
    manager->start();
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const script(creator);
    if (!GFile(argv[1]).exists() || !script->load(argv[1]))
        return fail("the script cannot be read");
    TObjectCreator<AgentShell> shell;
    TRef<AgentShell> const agent(shell);
    TRef<Automat> const automat = script->createNewAutomat();
    TObjectCreator<Listener> creation;
    TRef<Listener> const listener(creation);
    automat->setInheritedObject(TRef<Object>(listener.pointer()));
    agent->addComponent(TRef<AgentComponent>(automat.pointer()));
    agent->start();
    for (int i = 0; i < 8; ++i) {
        Time::StepGame(0.1f);
        Time::StepRender();
    }
    if (listener->heard != "abc")
        return fail("the script did not say abc");

    ompstream out;
    out.writePointer(listener.pointer());
    listener->heard.empty();
    impstream in(out.data(), out.size(), GIO::ReadMode);
    TRef<Listener> const again(in.readPointer<Listener>());
    if (!again.pointer() || again->heard != "abc")
        return fail("what was saved does not come back");
    manager->stop();
    return EXIT_SUCCESS;
}
