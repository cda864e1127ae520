// Step 4: a first script. The host sends it events, and it calls its native side.
#include "ondrel.h"

#include <cstdio>

using namespace Tavlin;

/// The lamp of before, which the script calls without a path.
class Lamp : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Lamp)
    TAVLIN_DECLARE_DISPATCHER(Lamp)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    void light(VariableRef * result, VRefVector *) {
        if (result)
            *result = static_cast<int>(oil_ > 0);
    }
    void putOut(VariableRef *, VRefVector *) { std::puts("  the lamp goes out"); }
    void say(VariableRef *, VRefVector * args) {
        if (args && args->getCount() > 0 && args->at(0).type() == CHARPTR)
            std::printf("  the keeper says: %s\n", args->at(0).asCHARPTR());
    }
    void fill() { oil_ = 5; }

  private:
    float oil_ = 0;
};

G_DEFINE_CREATABLE(Lamp, "Guide::Lamp", UniqueObject, IDispatcherImpl)

TAVLIN_BEGIN_DISPATCHER(Lamp, IDispatcherImpl)
    TAVLIN_METHOD("Light", light, INT)
    TAVLIN_METHOD("PutOut", putOut, UNDEFINED)
    TAVLIN_METHOD("Say", say, UNDEFINED)
TAVLIN_END_DISPATCHER()

void send(TRef<Automat> const & keeper, char const * event) {
    TRef<Object> const object(keeper.pointer());
    std::printf("%s\n", event);
    if (!IDispatcher::CallMethod(event, nullptr, nullptr, object, nullptr))
        std::puts("  nobody minds");
    VariableRef const nights = IDispatcher::FindVRef("nights", object, nullptr);
    std::printf("  %s, nights with light: %d\n", keeper->getNowState()->getName().c_str(),
                nights.asINT());
}

int main() {
    char const * const path = EXAMPLE_DIR "/keeper.aut";
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const script(creator);
    if (!GFile(path).exists() || !script->load(path)) {
        std::fprintf(stderr, "cannot read the script %s\n", path);
        return 1;
    }
    TObjectCreator<Lamp> lampCreator;
    TRef<Lamp> const lamp(lampCreator);
    TRef<Automat> const keeper = script->createNewAutomat();
    keeper->setInheritedObject(TRef<Object>(lamp));

    send(keeper, "Dusk");
    lamp->fill();
    send(keeper, "Dusk");
    send(keeper, "Dusk"); // it is night already: the event goes on to the lamp, which has no Dusk
    send(keeper, "Dawn");
    return 0;
}
