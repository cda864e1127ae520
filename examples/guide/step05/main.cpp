// Step 5: an agent of two components: a lamp that burns, and the script of its keeper.
#include "ondrel.h"

#include <algorithm>
#include <cstdio>

using namespace Tavlin;

/// Burns one unit of oil per second. A component is a dispatcher already, and brings its table.
class Lamp : public AgentComponent {
    G_DECLARE_CREATABLE(Lamp)
    TAVLIN_DECLARE_DISPATCHER(Lamp)
  public:
    static NamedTypeInfo g_namedTypeInfo_;
    NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

    void oilLeft(VariableRef * result, VRefVector *) {
        if (result)
            *result = oil_;
    }
    void fill(VariableRef *, VRefVector * args) {
        if (args && args->getCount() == 1 && args->at(0).type() == FLOAT)
            oil_ = std::clamp(args->at(0).asFLOAT(), 0.0f, 10.0f);
    }
    float oil() const { return oil_; }

  protected:
    void step(float delta) override { oil_ = std::max(oil_ - delta, 0.0f); }

  private:
    float oil_ = 3;
};

G_DEFINE_CREATABLE(Lamp, "Guide::Lamp", AgentComponent)
NamedTypeInfo Lamp::g_namedTypeInfo_(&Lamp::metaclass_, "Lamp");

TAVLIN_BEGIN_DISPATCHER(Lamp, IDispatcherImpl)
    TAVLIN_METHOD("OilLeft", oilLeft, FLOAT)
    TAVLIN_METHOD("Fill", fill, UNDEFINED)
TAVLIN_END_DISPATCHER()

template <class T>
TRef<T> make() {
    TObjectCreator<T> creator;
    return TRef<T>(static_cast<T *>(creator));
}

int main() {
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
    Error::InitializeHandler();
    Time::Reset();

    TRef<AgentManager2> const manager = make<AgentManager2>(); // in front of any agent
    manager->start();

    TRef<D_Automat> const script = make<D_Automat>();
    if (!GFile(EXAMPLE_DIR "/keeper.aut").exists() || !script->load(EXAMPLE_DIR "/keeper.aut"))
        return 1;
    TRef<Lamp> const lamp = make<Lamp>();
    TRef<Automat> const keeper = script->createNewAutomat();
    keeper->setInheritedObject(TRef<Object>(lamp.pointer()));

    TRef<AgentShell> const lighthouse = make<AgentShell>();
    lighthouse->addComponent(TRef<AgentComponent>(lamp.pointer()), 0.1f);   // first it burns,
    lighthouse->addComponent(TRef<AgentComponent>(keeper.pointer()), 0.5f); // then he looks
    lighthouse->start();

    for (int pass = 0; pass < 8; ++pass) {
        if (pass == 7)
            lighthouse->stop();
        Time::StepGame(0.5f);
        Time::StepRender();
        std::printf("%.1f s: oil %.1f, %s\n", Time::GetTime(), lamp->oil(),
                    keeper->getNowState()->getName().c_str());
    }
    manager->stop();
    return 0;
}
