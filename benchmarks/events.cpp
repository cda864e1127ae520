// Cost of an event: a send through a channel source with 1, 10 and 1,000 receivers, and a call by
// name on an object with three interfaces of twenty names each, looked up every time and bound
// once. Beside them, in the same run and with the same work at the end, stand Boost.Signals2, a
// std::unordered_map of std::function, and a plain virtual call.
//
// The counter "per_call" is seconds per method reached, "allocations" heap allocations per send or
// call.
#include "benchmarks/CountAllocations.h"
#include "benchmarks/RunBenchmarks.h"
#include "ondrel.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#if defined(ONDREL_HAVE_BOOST_SIGNALS2)
#include <boost/signals2.hpp>
#endif

namespace events_benchmark {

using namespace Tavlin;

/// The work behind every call, for all sides.
struct Sum {
    int value = 0;
    void add(VRefVector * args) { value += args->at(0).asINT(); }
};

class Listener : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Listener)
    TAVLIN_DECLARE_DISPATCHER(Listener)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
    void ring(VariableRef *, VRefVector * args) { sum.add(args); }

    Sum sum;
};

G_DEFINE_CREATABLE(Listener, "events_benchmark::Listener", UniqueObject, IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(Listener, IDispatcherImpl)
    TAVLIN_METHOD("Ring", ring, UNDEFINED)
TAVLIN_END_DISPATCHER()

/// The object of the calls by name: all that it can do comes from its interfaces.
class Thing : public UniqueObject {
    G_DECLARE_CREATABLE(Thing)
  public:
};

G_DEFINE_CREATABLE(Thing, "events_benchmark::Thing", UniqueObject)

class Skill : public IDispatcherImpl {
    G_DECLARE_CLASS(Skill)
  public:
    void perform(VariableRef *, VRefVector * args) { sum.add(args); }

    Sum sum;
};

G_DEFINE_CLASS(Skill, "events_benchmark::Skill", IDispatcherImpl)

// Twenty names that differ at their ends, as those of a real class do.
#define FIVE_METHODS(name, a, b, c, d, e)                                                          \
    TAVLIN_METHOD(name #a, perform, UNDEFINED)                                                     \
    TAVLIN_METHOD(name #b, perform, UNDEFINED)                                                     \
    TAVLIN_METHOD(name #c, perform, UNDEFINED)                                                     \
    TAVLIN_METHOD(name #d, perform, UNDEFINED)                                                     \
    TAVLIN_METHOD(name #e, perform, UNDEFINED)
#define SKILL(Class, name)                                                                         \
    class Class : public Skill {                                                                   \
        G_DECLARE_CREATABLE(Class)                                                                 \
        TAVLIN_DECLARE_DISPATCHER(Class)                                                           \
    };                                                                                             \
    G_DEFINE_CREATABLE(Class, "events_benchmark::" #Class, Skill)                                  \
    TAVLIN_BEGIN_DISPATCHER(Class, IDispatcherImpl)                                                \
        FIVE_METHODS(name, 0, 1, 2, 3, 4)                                                          \
        FIVE_METHODS(name, 5, 6, 7, 8, 9)                                                          \
        FIVE_METHODS(name, 10, 11, 12, 13, 14)                                                     \
        FIVE_METHODS(name, 15, 16, 17, 18, 19)                                                     \
    TAVLIN_END_DISPATCHER()

SKILL(Smith, "Forge")
SKILL(Baker, "Bake")
SKILL(Guard, "Watch")

/// All sixty names in an order that goes from interface to interface.
std::vector<std::string> allNames() {
    std::vector<std::string> names;
    for (int i = 0; i < 60; ++i) {
        static char const * const stems[] = {"Forge", "Bake", "Watch"};
        names.push_back(stems[i % 3] + std::to_string(i * 7 % 20));
    }
    return names;
}

class Workshop {
  public:
    Workshop() {
        Skill * const made[] = {new Smith, new Baker, new Guard};
        for (Skill * each : made)
            thing->addInterface(TRef<AUnknown>(each));
        VariableRef one;
        one = 1;
        args.insert(one);
    }

    TRef<Object> thing{new Thing};
    VRefVector args;
};

template <class Call>
void measure(benchmark::State & state, std::int64_t calls, Call call) {
    for (int i = 0; i < 100; ++i)
        call();
    std::size_t const before = g_allocations;
    for (auto _ : state)
        call();
    auto const iterations = static_cast<double>(state.iterations());
    state.counters["allocations"] = static_cast<double>(g_allocations - before) / iterations;
    state.counters["per_call"] =
        benchmark::Counter(iterations * static_cast<double>(calls),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// ---- One to many ----

void BM_SendOndrel(benchmark::State & state) {
    TRef<VRefChannelSource> const source(new VRefChannelSource);
    std::vector<TRef<Listener>> listeners;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        listeners.emplace_back(new Listener);
        source->openChannelTo(TRef<Object>(listeners.back().pointer()), NameLinkID("Ring"));
    }
    VariableRef one;
    one = 1;
    measure(state, state.range(0), [&] { source->send(one); });
    if (listeners.front()->sum.value != listeners.back()->sum.value)
        state.SkipWithError("receivers were left out");
}

#if defined(ONDREL_HAVE_BOOST_SIGNALS2)

namespace signals = boost::signals2;

/// Without a mutex, as channels are; the values come in the same vector.
using Signal = signals::signal_type<void(VRefVector *),
                                    signals::keywords::mutex_type<signals::dummy_mutex>>::type;

void sendSignals(benchmark::State & state, bool tracked) {
    Signal signal;
    std::vector<std::shared_ptr<Sum>> listeners;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        listeners.push_back(std::make_shared<Sum>());
        Signal::slot_type slot(
            [sum = listeners.back().get()](VRefVector * args) { sum->add(args); });
        signal.connect(tracked ? slot.track_foreign(listeners.back()) : slot);
    }
    VariableRef one;
    one = 1;
    measure(state, state.range(0), [&] {
        VRefVector args;
        args.insert(one);
        signal(&args);
    });
    if (listeners.front()->value != listeners.back()->value)
        state.SkipWithError("receivers were left out");
}

void BM_SendSignals2(benchmark::State & state) {
    sendSignals(state, false);
}

/// A receiver that has gone is left out, as with channels.
void BM_SendSignals2Tracked(benchmark::State & state) {
    sendSignals(state, true);
}

#endif

// ---- By name ----

void BM_CallDynamic(benchmark::State & state) {
    Workshop shop;
    std::vector<NameLinkID> names;
    for (std::string const & name : allNames())
        names.emplace_back(name.c_str());
    std::size_t next = 0;
    measure(state, 1, [&] {
        DispParams params(names[next], nullptr, &shop.args, IDispatcher::Method);
        if (!params.call(shop.thing))
            std::abort();
        next = next + 1 < names.size() ? next + 1 : 0;
    });
}

using Methods = std::unordered_map<std::string, std::function<void(VariableRef *, VRefVector *)>>;

/// Sixty functions, as there are on the other side.
template <std::size_t... I>
Methods sixtyMethods(Sum & sum, std::vector<std::string> const & names, std::index_sequence<I...>) {
    Methods methods;
    ((methods[names[I]] = [&sum](VariableRef *, VRefVector * args) { sum.add(args); }), ...);
    return methods;
}

/// The plain way, with keys that are strings already.
void BM_CallUnorderedMap(benchmark::State & state) {
    Workshop shop;
    Sum sum;
    std::vector<std::string> const names = allNames();
    Methods const methods = sixtyMethods(sum, names, std::make_index_sequence<60>());
    std::size_t next = 0;
    measure(state, 1, [&] {
        auto const found = methods.find(names[next]);
        if (found == methods.end())
            std::abort();
        found->second(nullptr, &shop.args);
        next = next + 1 < names.size() ? next + 1 : 0;
    });
}

template <class Method>
void callBound(benchmark::State & state) {
    Workshop shop;
    Method method;
    if (!method.bind(shop.thing, NameLinkID("Bake7")) || !method.isBound())
        state.SkipWithError("not bound");
    measure(state, 1, [&] {
        benchmark::DoNotOptimize(method);
        if (!method.invoke(nullptr, &shop.args))
            std::abort();
    });
}

void BM_CallBound(benchmark::State & state) {
    callBound<BoundMethod>(state);
}

void BM_CallExternalBound(benchmark::State & state) {
    callBound<ExternalBoundMethod>(state);
}

class Performer {
  public:
    virtual ~Performer() = default;
    virtual void perform(VariableRef * result, VRefVector * args) = 0;
};

class SumPerformer : public Performer {
  public:
    void perform(VariableRef *, VRefVector * args) override { sum_.add(args); }

  private:
    Sum sum_;
};

void BM_CallVirtual(benchmark::State & state) {
    Workshop shop;
    std::unique_ptr<Performer> performer = std::make_unique<SumPerformer>();
    measure(state, 1, [&] {
        benchmark::DoNotOptimize(performer);
        performer->perform(nullptr, &shop.args);
    });
}

} // namespace events_benchmark

using namespace events_benchmark;

BENCHMARK(BM_SendOndrel)->Arg(1)->Arg(10)->Arg(1000);
#if defined(ONDREL_HAVE_BOOST_SIGNALS2)
BENCHMARK(BM_SendSignals2)->Arg(1)->Arg(10)->Arg(1000);
BENCHMARK(BM_SendSignals2Tracked)->Arg(1)->Arg(10)->Arg(1000);
#endif
BENCHMARK(BM_CallDynamic);
BENCHMARK(BM_CallUnorderedMap);
BENCHMARK(BM_CallBound);
BENCHMARK(BM_CallExternalBound);
BENCHMARK(BM_CallVirtual);

int main(int argc, char ** argv) {
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
#if !defined(ONDREL_HAVE_BOOST_SIGNALS2)
    std::puts("Boost.Signals2 was not found when this was built: its side is left out.");
#endif
    return runBenchmarks(argc, argv);
}
