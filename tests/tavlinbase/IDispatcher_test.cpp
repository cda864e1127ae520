// Calls by name along dotted paths.
#include "tavlinbase/IDispatcherImpl.h"
#include "tavlinbase/TavlinSceneObject.h"

#include <gtest/gtest.h>

namespace Tavlin {

namespace {

class Lamp : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Lamp)
    TAVLIN_DECLARE_DISPATCHER(Lamp)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    void add(VariableRef * result, VRefVector * args) {
        int sum = 0;
        for (int i = 0; i < args->getCount(); ++i)
            sum += args->at(i).asINT();
        if (result)
            *result = sum;
    }
    void getWatts(VariableRef * result) { *result = watts; }
    void setWatts(VariableRef const & value) { watts = value.asINT(); }

    int watts = 60;
    VariableVar colour{7};
};

class Lantern : public Lamp {
    G_DECLARE_CREATABLE(Lantern)
    TAVLIN_DECLARE_DISPATCHER(Lantern)
  public:
    void getWatts(VariableRef * result) { *result = -1; }
    VariableVar next; // an object
};

/// An interface with a name of its own.
class Extra : public IDispatcherImpl {
    G_DECLARE_CREATABLE(Extra)
    TAVLIN_DECLARE_DISPATCHER(Extra)
  public:
    void hello(VariableRef * result, VRefVector *) { *result = 5; }
};

/// One whose name is that of a lamp under the same call type.
class Clash : public IDispatcherImpl {
    G_DECLARE_CREATABLE(Clash)
    TAVLIN_DECLARE_DISPATCHER(Clash)
  public:
    void hello(VariableRef *, VRefVector *) {}
};

G_DEFINE_CREATABLE(Lamp, "Test::Lamp", UniqueObject, IDispatcherImpl)
G_DEFINE_CREATABLE(Lantern, "Test::Lantern", Lamp)
G_DEFINE_CREATABLE(Extra, "Test::Extra", IDispatcherImpl)
G_DEFINE_CREATABLE(Clash, "Test::Clash", IDispatcherImpl)

TAVLIN_BEGIN_DISPATCHER(Lamp, IDispatcherImpl)
    TAVLIN_METHOD("Add", add, INT)
    TAVLIN_PROPERTY_GET("Watts", getWatts, INT)
    TAVLIN_PROPERTY_SET("Watts", setWatts, INT)
    TAVLIN_VARIABLE("colour", colour, INT)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_DISPATCHER(Lantern, Lamp)
    TAVLIN_PROPERTY_GET("Watts", getWatts, INT)
    TAVLIN_VARIABLE("next", next, OBJECT)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_DISPATCHER(Extra, IDispatcherImpl)
    TAVLIN_METHOD("Hello", hello, INT)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_DISPATCHER(Clash, IDispatcherImpl)
    TAVLIN_METHOD("Hello", hello, INT)
TAVLIN_END_DISPATCHER()

NameLinkID id(char const * name) {
    return NameLinkID(name);
}

class IDispatcherTest : public testing::Test {
  protected:
    TRef<Lantern> lantern{new Lantern};
    TRef<Lamp> lamp{new Lamp};
    TRef<Object> object{lantern.pointer()};
    IDispatcherTest() { lantern->next = TRef<Object>(lamp.pointer()); }
    VariableRef find(char const * path) { return IDispatcher::FindVRef(path, object, other); }
    TRef<Object> other;
};

} // namespace

TEST_F(IDispatcherTest, TableAnswersByNameAndCallType) {
    VRefVector args;
    args.insert(VariableRef(2));
    args.insert(VariableRef(3));
    VariableRef result;
    EXPECT_TRUE(IDispatcher::CallMethod("Add", &result, &args, object, other));
    EXPECT_EQ(result.asINT(), 5);
    EXPECT_TRUE(IDispatcher::CallMethod("Add", nullptr, &args, object, other));
    EXPECT_FALSE(IDispatcher::CallMethod("Watts", &result, &args, object, other));
    EXPECT_FALSE(IDispatcher::CallMethod("Nothing", &result, &args, object, other));
    EXPECT_TRUE(IDispatcher::SetVRef(VariableRef(40), "Watts", object, other));
    EXPECT_EQ(lantern->watts, 40);
    EXPECT_EQ(find("Watts").asINT(), -1) << "the derived entry hides that of the base";
    EXPECT_EQ(lantern->getNamesCount(), 6) << "and both are counted";
}

TEST_F(IDispatcherTest, VariableIsAnAliasAndAGetterIsNot) {
    VariableRef colour = find("colour");
    colour = 9;
    EXPECT_EQ(lantern->colour.asINT(), 9);
    EXPECT_TRUE(IDispatcher::SetVRef(VariableRef(11), "colour", object, other));
    EXPECT_EQ(colour.asINT(), 11) << "a write goes into the member's own cell";
    VariableRef watts = find("Watts");
    watts = 5;
    EXPECT_EQ(lantern->watts, 60);
}

TEST_F(IDispatcherTest, PathsWalkAlongObjects) {
    EXPECT_EQ(find("next.Watts").asINT(), 60);
    EXPECT_EQ(find("me.next.colour").asINT(), 7);
    EXPECT_EQ(find("me").asOBJECT().pointer(), object.pointer());
    EXPECT_TRUE(find("colour.Watts").isEmpty()) << "an element that is no object";
    EXPECT_TRUE(find("none.Watts").isEmpty());
    EXPECT_TRUE(find("").isEmpty());
    EXPECT_TRUE(find("12.a").isEmpty()) << "a path that does not parse";
    EXPECT_EQ(IDispatcher::FindObject("next", object, other).pointer(),
              static_cast<Object *>(lamp.pointer()));
    EXPECT_EQ(IDispatcher::FindObject("", object, other).pointer(), object.pointer());
    EXPECT_FALSE(IDispatcher::SetVRef(VariableRef(1), "me", object, other));
    EXPECT_FALSE(IDispatcher::CallMethod("scene", nullptr, nullptr, object, other));
    other = TRef<Object>(lamp.pointer());
    EXPECT_EQ(find("inherited.Watts").asINT(), 60);
}

TEST_F(IDispatcherTest, InterfacesAreAskedBeforeTheObjectAndMayNotClash) {
    EXPECT_TRUE(object->addInterface(TRef<AUnknown>(new Extra)));
    VariableRef result;
    EXPECT_TRUE(IDispatcher::CallMethod("Hello", &result, nullptr, object, other));
    EXPECT_EQ(result.asINT(), 5);
    TRef<AUnknown> const clash(new Clash);
    EXPECT_FALSE(object->addInterface(clash));
    EXPECT_FALSE(clash->getObject());
}

TEST_F(IDispatcherTest, AliasesLeadToTheContextsOfTheCaller) {
    TRef<Lamp> const third(new Lamp);
    third->colour = 30;
    lamp->colour = 20;
    lantern->colour = 10;
    TRef<SceneObject> const scene(new SceneObject);
    scene->regObject(id("colour"), TRef<Object>(third.pointer()));
    other = TRef<Object>(lamp.pointer());
    EXPECT_EQ(find("colour").asINT(), 10) << "a plain name starts at me";
    EXPECT_EQ(find("me.colour").asINT(), 10);
    EXPECT_EQ(find("inherited.colour").asINT(), 20);
    EXPECT_EQ(find("scene.colour.colour").asINT(), 30);
    EXPECT_EQ(find("scene").asOBJECT().pointer(), static_cast<Object *>(scene.pointer()));
    EXPECT_TRUE(find("colour.me").isEmpty()) << "an alias is one at the start only";
    EXPECT_TRUE(IDispatcher::SetVRef(VariableRef(31), "scene.colour.colour", object, other));
    EXPECT_EQ(third->colour.asINT(), 31);
    EXPECT_FALSE(IDispatcher::SetVRef(VariableRef(1), "", object, other));
    EXPECT_FALSE(IDispatcher::SetVRef(VariableRef(1), "next.none.colour", object, other));
    EXPECT_FALSE(IDispatcher::CallMethod("inherited", nullptr, nullptr, object, other));
    EXPECT_FALSE(IDispatcher::CallMethod("12", nullptr, nullptr, object, other));
}

TEST_F(IDispatcherTest, WalkLeavesOutTheTail) {
    TGVector<NameLinkID> path;
    for (char const * part : {"ignored", "next", "colour"})
        path.insert(id(part));
    EXPECT_EQ(IDispatcher::FindObjectRecursive(path, 1, object, 1).pointer(),
              static_cast<Object *>(lamp.pointer()));
    EXPECT_EQ(IDispatcher::FindObjectRecursive(path, 1, object, 0).pointer(), nullptr);
    EXPECT_EQ(IDispatcher::FindObjectRecursive(path, 1, object, 2).pointer(), object.pointer());
    EXPECT_EQ(IDispatcher::FindObjectRecursive(path, 3, object, 0).pointer(), object.pointer());
    EXPECT_EQ(IDispatcher::FindObjectRecursive(path, 1, TRef<Object>(), 0).pointer(), nullptr);
}

TEST_F(IDispatcherTest, ArgumentsAreTheCallersOwnCells) {
    VariableRef cell(4);
    PropertySetParams params(id("x"), cell);
    EXPECT_TRUE(params.params->at(0).sharesCellWith(cell));
    EXPECT_EQ(params.params->getCount(), 1);
    EXPECT_EQ(params.type, IDispatcher::PropertySet);
    EXPECT_EQ(params.result, nullptr);
}

} // namespace Tavlin
