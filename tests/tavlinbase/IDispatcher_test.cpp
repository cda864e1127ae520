// Calls by name: tables and their chain, paths, bindings, and the walks over names.
#include "persistence/mpstream.h"
#include "tavlinbase/BoundInvoke.h"
#include "tavlinbase/DispInfoIterator.h"
#include "tavlinbase/IDispatcherImpl.h"
#include "tavlinbase/TavlinSceneObject.h"
#include "tavlinbase/VRefArray.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

TEST_F(IDispatcherTest, BindingsCallDirectlyOrFallBack) {
    BoundPropertyGet get;
    EXPECT_TRUE(get.bind(object, id("Watts")));
    EXPECT_TRUE(get.isBound());
    EXPECT_EQ(get.invoke().asINT(), -1);
    EXPECT_FALSE(get.bind(object, id("colour"))) << "a variable has no native getter";
    EXPECT_EQ(get.invoke().asINT(), 7);
    BoundPropertySet set;
    EXPECT_TRUE(set.bind(object, id("Watts")));
    EXPECT_TRUE(set.invoke(VariableRef(25)));
    EXPECT_EQ(lantern->watts, 25);
    BoundMethod method;
    EXPECT_FALSE(method.bind(object, id("None")));
    EXPECT_FALSE(method.isEmpty());
    EXPECT_FALSE(method.invoke(nullptr, nullptr));
    method.empty();
    EXPECT_TRUE(method.isEmpty());
    EXPECT_EQ(method.getNameLinkID(), id("None")) << "the name stays";
}

TEST_F(IDispatcherTest, ExternalBindingOutlivesItsObject) {
    TRef<Object> gone(new Lamp);
    ExternalBoundMethod method;
    VRefVector args;
    VariableRef result;
    EXPECT_TRUE(method.bind(gone, id("Add")));
    EXPECT_TRUE(method.invoke(&result, &args));
    gone.empty();
    EXPECT_TRUE(method.isEmpty());
    EXPECT_FALSE(method.invoke(&result, &args));
}

TEST_F(IDispatcherTest, IteratorsSelectNamesByCallType) {
    object->addInterface(TRef<AUnknown>(new Extra));
    std::vector<std::string> names;
    DispObjectInfoIterator readable(object, IDispatcher::PropertyGet | IDispatcher::Variable);
    for (; readable; ++readable)
        names.push_back(readable.name().c_str());
    EXPECT_EQ(names, (std::vector<std::string>{"Watts", "next", "Watts", "colour"}));
    DispInfoIterator methods(lantern.pointer(), IDispatcher::Method);
    EXPECT_EQ(methods.name(), id("Add"));
    VRefVector args;
    VariableRef result;
    EXPECT_TRUE(methods.call(object, &args, &result));
    ++methods;
    EXPECT_TRUE(methods.isEmpty());
    EXPECT_FALSE(methods.call(object, &args, &result));
}

TEST(SceneObject, KeepsObjectsByNameAndBroadcastsMethods) {
    TRef<SceneObject> scene(new SceneObject);
    TRef<Lamp> const first(new Lamp), second(new Lamp);
    EXPECT_TRUE(scene->regObject(id("first"), TRef<Object>(first.pointer())));
    EXPECT_FALSE(scene->regObject(id("first"), TRef<Object>(second.pointer())));
    EXPECT_FALSE(scene->regObject(id("none"), TRef<Object>()));
    EXPECT_TRUE(scene->regObject(id("second"), TRef<Object>(second.pointer())));
    TRef<Object> const nobody;
    EXPECT_EQ(IDispatcher::FindVRef("scene.first.Watts", nobody, nobody).asINT(), 60);
    EXPECT_EQ(IDispatcher::FindObject("scene.second", nobody, nobody).pointer(),
              static_cast<Object *>(second.pointer()));
    VRefVector args;
    args.insert(VariableRef(1));
    VariableRef result;
    EXPECT_TRUE(DispParams(id("Add"), &result, &args, IDispatcher::Method)
                    .call(TRef<Object>(scene.pointer())));
    EXPECT_FALSE(
        PropertySetParams(id("first"), VariableRef(1)).call(TRef<Object>(scene.pointer())));
    EXPECT_TRUE(scene->unregObject(TRef<Object>(first.pointer())));
    EXPECT_FALSE(scene->unregObject(id("first")));
    EXPECT_EQ(scene->getNamesCount(), 1);
    EXPECT_EQ(SceneObject::Get(), scene.pointer());
    {
        TRef<SceneObject> const newer(new SceneObject);
        scene.empty();
        EXPECT_EQ(SceneObject::Get(), newer.pointer()) << "the former one no longer clears it";
    }
    EXPECT_EQ(SceneObject::Get(), nullptr);
    EXPECT_FALSE(IDispatcher::FindObject("scene.second", nobody, nobody));
}

TEST(SceneObject, EarlierFormIsStillRead) {
    TRef<SceneObject> const scene(new SceneObject);
    TRef<Lamp> const lamp(new Lamp);
    scene->regObject(id("lamp"), TRef<Object>(lamp.pointer()));
    mpstream stream;
    scene->write(stream);
    stream.flush();
    auto * const bytes = static_cast<unsigned char *>(stream.data());
    std::vector<unsigned char> form(bytes, bytes + stream.safe_get_position());
    EXPECT_EQ(form[0], 1);
    EXPECT_EQ(form[1], 0);
    TRef<SceneObject> const now(new SceneObject), before(new SceneObject);
    impstream in(form.data(), static_cast<long>(form.size()), GIO::ReadMode);
    now->read(in);
    EXPECT_TRUE(now->findObject(id("lamp")));
    form.erase(form.begin());
    impstream old(form.data(), static_cast<long>(form.size()), GIO::ReadMode);
    before->read(old);
    EXPECT_TRUE(before->findObject(id("lamp")));
}

} // namespace Tavlin
