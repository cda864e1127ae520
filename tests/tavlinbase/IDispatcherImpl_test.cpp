// Tables, their chain and their index, and the calls that go through them.
#include "tavlinbase/IDispatcherImpl.h"

#include "tavlinbase/InterfaceIterator.h"
#include "tavlinbase/RefCounter.h"
#include "tavlinbase/TavlinObject.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace impl_test {

using namespace Tavlin;

NameLinkID name(char const * text) {
    return NameLinkID(text);
}

struct Fuel {
    VariableVar level{3};
    virtual ~Fuel() = default;
};

/// Reflects a member of a virtual base, which lies elsewhere in each derived class.
class Motor : public UniqueObject, public virtual Fuel, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Motor)
    TAVLIN_DECLARE_DISPATCHER(Motor)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
    void letGo(VariableRef * result, VRefVector *) {
        lastHolder.empty();
        if (result)
            *result = 1;
    }
    static TRef<Object> lastHolder;
};
class Racer : public Motor {
    G_DECLARE_CREATABLE(Racer)
  public:
    long long ballast[5] = {};
};

/// Attaches and asks in its constructor, while nobody holds it.
class SelfMade : public Motor {
  public:
    SelfMade();
    bool attached;
};

class IHello : public IDispatcherImpl {
    G_DECLARE_CREATABLE(IHello)
    TAVLIN_DECLARE_DISPATCHER(IHello)
  public:
    void hello(VariableRef * result, VRefVector *) { *result = ++calls; }
    int calls = 0;
};
/// The same name, to be read.
class IHelloValue : public IDispatcherImpl {
    G_DECLARE_CREATABLE(IHelloValue)
    TAVLIN_DECLARE_DISPATCHER(IHelloValue)
  public:
    void getHello(VariableRef * result) { *result = 70; }
};

SelfMade::SelfMade() : attached(addInterface(TRef<AUnknown>(new IHello))) {}

/// Answers nothing, and takes the interface below it out when it is asked.
class ISpoiler : public IDispatcher {
    G_DECLARE_CREATABLE(ISpoiler)
  public:
    bool invoke(DispParams *) override {
        getObject()->removeAllInterfaces(&IHello::metaclass_);
        return false;
    }
    Info const * getTypeInfo() override { return nullptr; }
};

TRef<Object> Motor::lastHolder;

G_DEFINE_CREATABLE(Motor, "impl_test::Motor", UniqueObject, IDispatcherImpl)
G_DEFINE_CREATABLE(Racer, "impl_test::Racer", Motor)
G_DEFINE_CREATABLE(IHello, "impl_test::IHello", IDispatcherImpl)
G_DEFINE_CREATABLE(IHelloValue, "impl_test::IHelloValue", IDispatcherImpl)
G_DEFINE_CREATABLE(ISpoiler, "impl_test::ISpoiler", IDispatcher)

// Stands before the tables, so it runs before their statics do.
int const g_readWhileStarting = [] {
    TRef<Object> const motor(new Motor);
    VariableRef const value = IDispatcher::GetPropertyOrVar(motor, NameLinkID("level"));
    return value.type() == INT ? value.asINT() : -1;
}();

TAVLIN_BEGIN_DISPATCHER(Motor, IDispatcherImpl)
    TAVLIN_VARIABLE("level", level, INT)
    TAVLIN_METHOD("LetGo", letGo, UNDEFINED)
TAVLIN_END_DISPATCHER()
TAVLIN_BEGIN_DISPATCHER(IHello, IDispatcherImpl)
    TAVLIN_METHOD("Hello", hello, INT)
TAVLIN_END_DISPATCHER()
TAVLIN_BEGIN_DISPATCHER(IHelloValue, IDispatcherImpl)
    TAVLIN_PROPERTY_GET("Hello", getHello, INT)
TAVLIN_END_DISPATCHER()

TEST(IDispatcherImpl, TablesServeStaticsThatStartBeforeThem) {
    EXPECT_EQ(g_readWhileStarting, 3);
}

TEST(IDispatcherImpl, MemberOfAVirtualBaseIsFoundInEveryDerivedClass) {
    for (TRef<Motor> const & motor : {TRef<Motor>(new Motor), TRef<Motor>(new Racer)}) {
        TRef<Object> const object(motor.pointer());
        VariableRef alias = IDispatcher::GetPropertyOrVar(object, name("level"));
        alias = 8;
        EXPECT_EQ(motor->level.asINT(), 8);
        EXPECT_TRUE(PropertySetParams(name("level"), 9).call(object));
        EXPECT_EQ(alias.asINT(), 9);

        int offset = 0;
        void * function = &offset;
        VariableTypes kind = UNDEFINED;
        ASSERT_TRUE(
            motor->findNameInfo(name("level"), IDispatcher::Variable, &offset, &function, &kind));
        auto * const dispatcher = static_cast<IDispatcher *>(motor.pointer());
        EXPECT_EQ(reinterpret_cast<char *>(dispatcher) + offset,
                  reinterpret_cast<char *>(&motor->level));
        EXPECT_EQ(function, nullptr);
        EXPECT_EQ(kind, INT);
        EXPECT_FALSE(
            motor->findNameInfo(name("level"), IDispatcher::PropertyGet, nullptr, nullptr, nullptr))
            << "a variable is found under its own type only";
    }
}

// A native method may keep an argument, which a script has written as a constant.
TEST(IDispatcherImpl, MemberOnAConstantIsReachedThroughItsAliases) {
    VariableRef constant(5);
    constant.setConstant();
    TRef<Motor> const motor(new Motor);
    motor->level = VariableVar(constant);
    VariableRef alias = IDispatcher::GetPropertyOrVar(TRef<Object>(motor.pointer()), name("level"));
    alias = 8;
    EXPECT_EQ(motor->level.asINT(), 8);
    EXPECT_EQ(constant.asINT(), 5);
}

TEST(IDispatcherImpl, VariableTakesValuesOfItsKindAndGoesEmptyWithAnEmptyOne) {
    TRef<Motor> const motor(new Motor);
    TRef<Object> const object(motor.pointer());
    VariableRef const alias = IDispatcher::GetPropertyOrVar(object, name("level"));
    EXPECT_TRUE(PropertySetParams(name("level"), VariableRef()).call(object));
    EXPECT_TRUE(motor->level.isEmpty());
    EXPECT_EQ(alias.asINT(), 3) << "the cell stays as it is for those on it";
    EXPECT_TRUE(PropertySetParams(name("level"), 1.5f).call(object));
    EXPECT_EQ(motor->level.type(), FLOAT);
}

TEST(IDispatcherImpl, CallTypeMustFitTheEntry) {
    TRef<Object> const object(new Motor);
    struct {
        char const * name;
        int type;
        bool taken;
    } const calls[] = {{"level", IDispatcher::PropertyGet, true},
                       {"level", IDispatcher::Variable, true},
                       {"level", IDispatcher::Method, false},
                       {"LetGo", IDispatcher::Method, true},
                       {"LetGo", IDispatcher::PropertyGet, false},
                       {"LetGo", IDispatcher::Variable, false},
                       {"level", 0, false},
                       {"level", -1, false},
                       {"level", IDispatcher::PropertyGet | IDispatcher::Variable, false}};
    for (auto const & call : calls) {
        VariableRef result;
        DispParams params(name(call.name), &result, nullptr, IDispatcher::CallType(call.type));
        EXPECT_EQ(params.call(object), call.taken) << call.name << ' ' << call.type;
        DispParams silent(name(call.name), nullptr, nullptr, IDispatcher::CallType(call.type));
        EXPECT_EQ(silent.call(object), call.taken) << "without a result: " << call.name;
    }
    EXPECT_FALSE(DispParams(NameLinkID(), nullptr, nullptr, IDispatcher::Method).call(object));
    EXPECT_FALSE(DispParams(name("level"), nullptr, nullptr, IDispatcher::Method).call(nullptr));
}

TEST(IDispatcherImpl, CallMayDropTheLastReferenceToItsObject) {
    Motor::lastHolder = TRef<Object>(new Motor);
    VariableRef result;
    EXPECT_TRUE(
        DispParams(name("LetGo"), &result, nullptr, IDispatcher::Method).call(Motor::lastHolder));
    EXPECT_EQ(result.asINT(), 1);
    EXPECT_EQ(Motor::lastHolder.pointer(), nullptr);
}

TEST(IDispatcherImpl, RefusedCallMayTakeInterfacesAway) {
    TRef<Object> const object(new Motor);
    object->addInterface(TRef<AUnknown>(new IHello));
    object->addInterface(TRef<AUnknown>(new ISpoiler));
    VariableRef result;
    EXPECT_FALSE(DispParams(name("Hello"), &result, nullptr, IDispatcher::Method).call(object));
    EXPECT_TRUE(DispParams(name("level"), &result, nullptr, IDispatcher::PropertyGet).call(object));
}

TEST(IDispatcherImpl, NamesOfTwoInterfacesMayDifferByCallTypeOnly) {
    TRef<Object> const object(new Motor);
    auto * const first = new IHello;
    EXPECT_TRUE(object->addInterface(TRef<AUnknown>(first)));
    EXPECT_TRUE(object->addInterface(TRef<AUnknown>(new IHelloValue)));
    EXPECT_FALSE(object->addInterface(TRef<AUnknown>(new IHello)));
    VariableRef result;
    EXPECT_TRUE(DispParams(name("Hello"), &result, nullptr, IDispatcher::Method).call(object));
    EXPECT_EQ(first->calls, 1);
    EXPECT_EQ(IDispatcher::GetPropertyOrVar(object, name("Hello")).asINT(), 70);
}

TEST(IDispatcherImpl, ObjectMayAttachInterfacesWhileItIsBuilt) {
    auto * const object = new SelfMade;
    EXPECT_TRUE(object->attached);
    EXPECT_EQ(object->getReferenceCount(), 0);
    TRef<Object>(object).empty();
}

TEST(IDispatcherImpl, TerminatorAloneGivesNoNames) {
    class Mute : public IDispatcherImpl {};
    Mute mute;
    EXPECT_EQ(mute.getNamesCount(), 0);
    EXPECT_FALSE(mute.getNameInfo(0, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_FALSE(mute.getNameInfo(-1, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(IDispatcherImpl::DispatcherTable().base(), nullptr);
    EXPECT_EQ(IDispatcherImpl::DispatcherTable().names(), 0);
}

// ---- the index against the walk that it stands for ----

using Entry = IDispatcherImplTableEntry;

struct Plan {
    Entry::Type type;
    int name;
};
std::vector<Plan> g_plan;
IDispatcherImplTable const * g_base;

NameLinkID numbered(int number) {
    return NameLinkID(("entry" + std::to_string(number)).c_str());
}

void fillFromPlan(IDispatcherImplTable & table) {
    for (Plan const & plan : g_plan)
        table.insert(new Entry(plan.type, numbered(plan.name), nullptr, 0, INT));
    table.terminate(g_base);
}

bool takes(int entry, int call) {
    if (call == IDispatcher::PropertyGet)
        return entry == Entry::PropertyGet || entry == Entry::Variable;
    if (call == IDispatcher::PropertySet)
        return entry == Entry::PropertySet || entry == Entry::Variable;
    return entry == call;
}

template <class Fits>
Entry const * walk(IDispatcherImplTable const * table, NameLinkID wanted, Fits fits) {
    for (; table; table = table->base())
        for (int i = 0; i < table->names(); ++i)
            if (table->entry(i)->name == wanted && fits(table->entry(i)->type))
                return table->entry(i);
    return nullptr;
}

TEST(IDispatcherImplTable, IndexFindsWhatAWalkOverTheChainFinds) {
    std::mt19937 random(20);
    std::vector<IDispatcherImplTable *> chain;
    g_base = nullptr;
    for (int depth = 0; depth < 5; ++depth) {
        g_plan.clear();
        for (int i = depth == 2 ? 0 : int(random() % 40); i > 0; --i)
            g_plan.push_back({Entry::Type(1 << random() % 4), int(random() % 30)});
        chain.push_back(new IDispatcherImplTable(fillFromPlan));
        g_base = chain.back();
    }
    for (IDispatcherImplTable const * table : chain)
        for (int number = 0; number < 32; ++number)
            for (int type : {1, 2, 4, 8}) {
                auto const call = IDispatcher::CallType(type);
                NameLinkID const wanted = numbered(number);
                EXPECT_EQ(table->findTaker(wanted, call),
                          walk(table, wanted, [=](int entry) { return takes(entry, type); }));
                EXPECT_EQ(table->findExact(wanted, call),
                          walk(table, wanted, [=](int entry) { return entry == type; }));
            }
    for (; !chain.empty(); chain.pop_back())
        delete chain.back();
}

} // namespace impl_test
