// Bindings: the direct call, the way back to the dynamic one, and bindings that outlive objects.
#include "tavlinbase/BoundInvoke.h"

#include "tavlinbase/IDispatcherImpl.h"
#include "tavlinbase/TavlinSceneObject.h"

#include <gtest/gtest.h>

namespace bound_test {

using namespace Tavlin;

/// Counts the calls that come by name; a direct call does not pass there.
class Counter : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Counter)
    TAVLIN_DECLARE_DISPATCHER(Counter)
  public:
    bool invoke(DispParams * params) override {
        ++dynamicCalls;
        return IDispatcherImpl::invoke(params);
    }
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    void add(VariableRef * result, VRefVector * args) {
        number += args->at(0).asINT();
        if (result)
            *result = number;
    }
    void getNumber(VariableRef * result) { *result = number; }
    void setNumber(VariableRef const & value) { number = value.asINT(); }

    int number = 0;
    VariableVar colour{7};
    int dynamicCalls = 0;
};
G_DEFINE_CREATABLE(Counter, "bound_test::Counter", UniqueObject, IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(Counter, IDispatcherImpl)
    TAVLIN_METHOD("Add", add, INT)
    TAVLIN_PROPERTY_GET("Number", getNumber, INT)
    TAVLIN_PROPERTY_SET("Number", setNumber, INT)
    TAVLIN_VARIABLE("colour", colour, INT)
TAVLIN_END_DISPATCHER()

/// An interface whose native code expects the interface, not the object.
class IMeter : public IDispatcherImpl {
    G_DECLARE_CREATABLE(IMeter)
    TAVLIN_DECLARE_DISPATCHER(IMeter)
  public:
    void getReading(VariableRef * result) { *result = reading; }
    int reading = 31;
};
G_DEFINE_CREATABLE(IMeter, "bound_test::IMeter", IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(IMeter, IDispatcherImpl)
    TAVLIN_PROPERTY_GET("Reading", getReading, INT)
TAVLIN_END_DISPATCHER()

class BoundTest : public testing::Test {
  protected:
    BoundTest() { one.insert(VariableRef(1)); }
    TRef<Counter> counter{new Counter};
    TRef<Object> object{counter.pointer()};
    VRefVector one;
};

template <class Binding>
class EachBinding : public BoundTest {};
struct Keeping {
    using Get = BoundPropertyGet;
    using Set = BoundPropertySet;
    using Method = BoundMethod;
};
struct External {
    using Get = ExternalBoundPropertyGet;
    using Set = ExternalBoundPropertySet;
    using Method = ExternalBoundMethod;
};
using Bindings = testing::Types<Keeping, External>;
TYPED_TEST_SUITE(EachBinding, Bindings);

TYPED_TEST(EachBinding, BoundCallGoesStraightToTheNativeFunction) {
    typename TypeParam::Method add;
    typename TypeParam::Get get;
    typename TypeParam::Set set;
    ASSERT_TRUE(add.bind(this->object, NameLinkID("Add")));
    ASSERT_TRUE(get.bind(this->object, NameLinkID("Number")));
    ASSERT_TRUE(set.bind(this->object, NameLinkID("Number")));
    ASSERT_TRUE(add.isBound() && get.isBound() && set.isBound());
    EXPECT_TRUE(set.invoke(VariableRef(40)));
    VariableRef result;
    EXPECT_TRUE(add.invoke(&result, &this->one));
    EXPECT_EQ(result.asINT(), 41);
    add.invoke_bound(nullptr, &this->one);
    EXPECT_EQ(get.invoke().asINT(), 42);
    VariableRef value;
    get.invoke_bound(value);
    EXPECT_EQ(value.asINT(), 42);
    EXPECT_EQ(this->counter->dynamicCalls, 0);
    EXPECT_EQ(add.getObject().pointer(), this->object.pointer());
}

TYPED_TEST(EachBinding, NameWithoutNativeCodeGoesTheDynamicWay) {
    typename TypeParam::Get get;
    typename TypeParam::Set set;
    EXPECT_FALSE(get.bind(this->object, NameLinkID("colour")));
    EXPECT_FALSE(set.bind(this->object, NameLinkID("colour")));
    EXPECT_FALSE(get.isBound() || get.isEmpty());
    EXPECT_TRUE(set.invoke(VariableRef(12)));
    EXPECT_EQ(get.invoke().asINT(), 12);
    EXPECT_EQ(this->counter->dynamicCalls, 2);
    typename TypeParam::Method method;
    EXPECT_FALSE(method.bind(this->object, NameLinkID("colour")));
    EXPECT_FALSE(method.invoke(nullptr, &this->one)) << "nobody has such a method";
}

TYPED_TEST(EachBinding, EmptyBindingKeepsItsNameAndCallsNothing) {
    typename TypeParam::Method method;
    EXPECT_TRUE(method.isEmpty());
    EXPECT_FALSE(method.invoke(nullptr, nullptr));
    method.bind(this->object, NameLinkID("Add"));
    method.empty();
    EXPECT_TRUE(method.isEmpty());
    EXPECT_FALSE(method.isBound());
    EXPECT_FALSE(method.invoke(nullptr, &this->one));
    EXPECT_EQ(method.getNameLinkID(), NameLinkID("Add"));
    EXPECT_FALSE(method.bind(TRef<Object>(), NameLinkID("None")));
    EXPECT_EQ(method.getNameLinkID(), NameLinkID("None"));
}

TYPED_TEST(EachBinding, InterfaceIsTheThisOfItsOwnCode) {
    this->object->addInterface(TRef<AUnknown>(new IMeter));
    typename TypeParam::Get get;
    ASSERT_TRUE(get.bind(this->object, NameLinkID("Reading")));
    EXPECT_EQ(get.invoke().asINT(), 31);
}

TEST_F(BoundTest, NewBindingForgetsTheFunctionOfTheFormerOne) {
    TRef<DispObjectRegistrar> const registrar(new DispObjectRegistrar);
    registrar->regObject(NameLinkID("counter"), object);
    BoundPropertyGet get;
    ASSERT_TRUE(get.bind(object, NameLinkID("Number")));
    // A registrar knows the name but has no function for it.
    EXPECT_TRUE(get.bind(TRef<Object>(registrar.pointer()), NameLinkID("counter")));
    EXPECT_FALSE(get.isBound());
    EXPECT_EQ(get.invoke().asOBJECT().pointer(), object.pointer());
}

TEST_F(BoundTest, PlainBindingKeepsItsObjectAndAnExternalOneDoesNot) {
    BoundMethod keeping;
    keeping.bind(object, NameLinkID("Add"));
    ExternalBoundMethod external;
    external.bind(object, NameLinkID("Add"));
    ExternalBoundPropertyGet get;
    get.bind(object, NameLinkID("colour"));
    ExternalBoundPropertySet set;
    set.bind(object, NameLinkID("Number"));
    ExternalBoundMethod const copy(external);
    counter.empty();
    object.empty();
    EXPECT_TRUE(external.invoke(nullptr, &one)) << "the other binding still holds it";
    EXPECT_TRUE(copy.invoke(nullptr, &one));
    keeping.empty();
    EXPECT_TRUE(external.isEmpty());
    EXPECT_EQ(external.getObject().pointer(), nullptr);
    EXPECT_FALSE(external.invoke(nullptr, &one));
    EXPECT_FALSE(copy.invoke(nullptr, &one));
    VariableRef value;
    EXPECT_FALSE(get.invoke(value));
    EXPECT_FALSE(set.invoke(VariableRef(1)));
    EXPECT_TRUE(get.invoke().isEmpty());
}

/// Called by its table alone.
class Quiet : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Quiet)
    TAVLIN_DECLARE_DISPATCHER(Quiet)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
    void work(VariableRef *, VRefVector *) { ++works; }
    int works = 0;
};
G_DEFINE_CREATABLE(Quiet, "bound_test::Quiet", UniqueObject, IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(Quiet, IDispatcherImpl)
    TAVLIN_METHOD("Work", work, UNDEFINED)
TAVLIN_END_DISPATCHER()

/// Looks at every call first, without a table of its own.
class Watched : public Quiet {
  public:
    bool invoke(DispParams * params) override {
        ++seen;
        return Quiet::invoke(params);
    }
    int seen = 0;
};

TEST(DynamicCall, ReachesTheInvokeOfADerivedClassWithoutATable) {
    DispParams work(NameLinkID("Work"), nullptr, nullptr, IDispatcher::Method);
    DispParams none(NameLinkID("None"), nullptr, nullptr, IDispatcher::Method);
    TRef<Quiet> const quiet(new Quiet);
    TRef<Watched> const watched(new Watched);
    for (int round = 1; round <= 2; ++round) {
        EXPECT_TRUE(work.call(TRef<Object>(quiet.pointer())));
        EXPECT_FALSE(none.call(TRef<Object>(quiet.pointer())));
        EXPECT_TRUE(work.call(TRef<Object>(watched.pointer())));
        EXPECT_FALSE(none.call(TRef<Object>(watched.pointer())));
        EXPECT_TRUE(quiet->works == round && watched->works == round);
        EXPECT_EQ(watched->seen, 2 * round);
    }
}

} // namespace bound_test
