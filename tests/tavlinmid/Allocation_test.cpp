// A population that is stepped does no heap work once it is warm. This test program counts what
// goes to the heap, so no other file of it may replace operator new.
#include "ScriptTest.h"

#include "tavlinmid/TavlinVRefChannel.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0;

} // namespace

[[gnu::noinline]] void * operator new(std::size_t size) {
    ++allocations;
    if (void * const memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void * memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void * memory, std::size_t) noexcept {
    std::free(memory);
}

namespace Tavlin {

namespace {

/// A native side with a method and a property, as a host writes it.
class Body : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Body)
    TAVLIN_DECLARE_DISPATCHER(Body)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
    void add(VariableRef * result, VRefVector * args) {
        sum += args->at(0).asINT();
        if (result)
            *result = sum;
    }
    int sum = 0;
};

G_DEFINE_CREATABLE(Body, "Test::Body", UniqueObject, IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(Body, IDispatcherImpl)
    TAVLIN_METHOD("Add", add, INT)
TAVLIN_END_DISPATCHER()

} // namespace

class Allocation : public ScriptTest {};

TEST_F(Allocation, NoneInAStepThatIsWarm) {
    TRef<D_Automat> const script =
        load("n := 0\nx := 1.5\nsum := 0\nwhy := 'none'\nState A\n{\nMethod Step\n{\nn = n + 1\n"
             "x = x * 1.5 - 1.0\nMove()\nsum = Add(n)\nsum = scene.Body.Add(2)\nif (n > 20)\n{\n"
             "why = 'tired'\ndoAfter(3, Wake())\ngoto B\n}\n}\nMethod Move\n{\nx = x + 1.0\n}\n}\n"
             "State B\n{\nMethod Wake\n{\nn = 0\nwhy = 'rested'\ngoto A\n}\n}\n");
    TRef<Body> const body(new Body);
    scene->regObject("Body", TRef<Object>(body.pointer()));
    std::vector<TRef<AgentShell>> agents;
    for (int i = 0; i < 20; ++i) {
        TRef<Automat> const automat = script->createNewAutomat();
        automat->setInheritedObject(TRef<Object>(body.pointer()));
        agents.emplace_back(new AgentShell);
        agents.back()->addComponent(TRef<AgentComponent>(automat.pointer()));
        agents.back()->start();
    }
    manager->start();
    auto const step = [] {
        Time::StepGame(0.1f);
        Time::StepRender();
    };
    for (int i = 0; i < 100; ++i)
        step();
    int const before = body->sum;
    std::size_t const counted = allocations;
    for (int i = 0; i < 100; ++i)
        step();
    EXPECT_EQ(allocations - counted, 0u);
    EXPECT_GT(body->sum, before) << "the scripts have run";
    manager->stop();
}

TEST_F(Allocation, NoneInASendThatIsWarm) {
    TRef<VRefChannelSource> const source(new VRefChannelSource);
    TRef<Body> const body(new Body);
    source->openChannelTo(TRef<Object>(body.pointer()), "Add");
    VariableRef one(1);
    auto const send = [&] {
        VRefVector args;
        args.insert(one);
        source->send(args);
        source->send(one);
        source->send(one, one);
    };
    send();
    std::size_t const before = allocations;
    for (int i = 0; i < 10; ++i)
        send();
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(body->sum, 33);
}

} // namespace Tavlin
