// Objects under names, and the streamed forms byte by byte.
#include "tavlinbase/TavlinSceneObject.h"

#include "ObjectKernel_support.h"
#include "diagnostics/TavlinError.h"
#include "persistence/PStreamExceptions.h"

#include <gtest/gtest.h>

namespace scene_test {

using namespace kernel_test;

NameLinkID name(char const * text) {
    return NameLinkID(text);
}

/// Writes down who was called, and may change the registry meanwhile.
class Listener : public UniqueObject, public IDispatcher {
    G_DECLARE_CREATABLE(Listener)
  public:
    explicit Listener(std::string id = "", bool takes = true) : id_(std::move(id)), takes_(takes) {}
    bool invoke(DispParams * params) override {
        if (params->type != Method)
            return false;
        heard += id_;
        if (leaves)
            leaves->unregObject(TRef<Object>(this));
        return takes_;
    }
    Info const * getTypeInfo() override { return nullptr; }
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    DispObjectRegistrar * leaves = nullptr;
    static std::string heard;

  private:
    std::string id_;
    bool takes_;
};
std::string Listener::heard;
G_DEFINE_CREATABLE(Listener, "scene_test::Listener", UniqueObject, IDispatcher)

class RegistrarTest : public testing::Test {
  protected:
    RegistrarTest() {
        Listener::heard.clear();
        name("a"), name("b"), name("c"); // the order of the entries is that of the names
    }
    Listener * add(char const * id, bool takes) {
        auto * const listener = new Listener(id, takes);
        EXPECT_TRUE(registrar->regObject(name(id), TRef<Object>(listener)));
        return listener;
    }
    bool call(IDispatcher::CallType type, char const * what, VariableRef * result = nullptr) {
        return DispParams(name(what), result, nullptr, type).call(object);
    }
    TRef<DispObjectRegistrar> registrar{new DispObjectRegistrar};
    TRef<Object> object{registrar.pointer()};
};

TEST_F(RegistrarTest, MethodReachesAllObjectsLastFirst) {
    EXPECT_FALSE(call(IDispatcher::Method, "Event")) << "nobody is there";
    add("a", false);
    add("b", true);
    add("c", true);
    EXPECT_TRUE(call(IDispatcher::Method, "Event"));
    EXPECT_EQ(Listener::heard, "cba");
}

TEST_F(RegistrarTest, MethodNobodyTakesIsFalse) {
    add("a", false);
    EXPECT_FALSE(call(IDispatcher::Method, "Event"));
    EXPECT_EQ(Listener::heard, "a");
}

TEST_F(RegistrarTest, CalledObjectsMayLeave) {
    // More than one of the two ways of copying takes.
    std::string expected;
    for (int i = 0; i < 40; ++i) {
        std::string const id = "m" + std::to_string(i);
        add(id.c_str(), true)->leaves = registrar.pointer();
        expected = id + expected;
        if (i != 15 && i != 16 && i != 39)
            continue;
        Listener::heard.clear();
        EXPECT_TRUE(call(IDispatcher::Method, "Event"));
        EXPECT_EQ(Listener::heard, expected);
        EXPECT_EQ(registrar->getNamesCount(), 0);
        expected.clear();
    }
}

/// Takes itself, and another one, out of the registry as it ends.
class Tidy : public UniqueObject {
    G_DECLARE_CREATABLE(Tidy)
  public:
    ~Tidy() override {
        for (char const * id : {"a", "b", "c"})
            if (registrar)
                registrar->unregObject(name(id));
        ++ended;
    }
    DispObjectRegistrar * registrar = nullptr;
    static int ended;
};
int Tidy::ended = 0;
G_DEFINE_CREATABLE(Tidy, "scene_test::Tidy", UniqueObject)

TEST_F(RegistrarTest, ObjectsMayUnregisterAsTheyEnd) {
    auto const fill = [this] {
        for (char const * id : {"a", "b", "c"}) {
            auto * const tidy = new Tidy;
            tidy->registrar = registrar.pointer();
            registrar->regObject(name(id), TRef<Object>(tidy));
        }
        Tidy::ended = 0;
    };
    fill();
    EXPECT_TRUE(registrar->unregObject(name("b")));
    EXPECT_EQ(Tidy::ended, 3);
    fill();
    Bytes empty;
    empty.byte(0).byte(2).dword(0).byte(1).byte(0).dword(0);
    Input in(empty.str());
    registrar->read(in);
    EXPECT_EQ(Tidy::ended, 3);
    EXPECT_EQ(registrar->getNamesCount(), 0);
    fill();
    object.empty();
    registrar.empty();
    EXPECT_EQ(Tidy::ended, 3);
}

TEST_F(RegistrarTest, ObjectsReadAsPropertiesAndTakeNoWrites) {
    TRef<Object> const listener(add("a", true));
    VariableRef result;
    EXPECT_TRUE(call(IDispatcher::PropertyGet, "a", &result));
    EXPECT_EQ(result.asOBJECT().pointer(), listener.pointer());
    EXPECT_TRUE(call(IDispatcher::PropertyGet, "a")) << "a question without a result";
    EXPECT_FALSE(call(IDispatcher::PropertyGet, "b", &result));
    EXPECT_FALSE(call(IDispatcher::Variable, "a", &result));
    EXPECT_FALSE(PropertySetParams(name("a"), VariableRef(1)).call(object));
    NameLinkID told;
    IDispatcher::CallType type{};
    VariableTypes kind = UNDEFINED;
    EXPECT_TRUE(registrar->getNameInfo(0, &told, &type, nullptr, nullptr, &kind));
    EXPECT_EQ(told, name("a"));
    EXPECT_EQ(type, IDispatcher::PropertyGet);
    EXPECT_EQ(kind, OBJECT);
    EXPECT_FALSE(registrar->getNameInfo(1, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_FALSE(registrar->getNameInfo(-1, nullptr, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(RegistrarTest, TakenNameKeepsItsObjectAndAnObjectLeavesItsLastEntry) {
    TRef<Object> const thing(new Thing), other(new Thing);
    EXPECT_FALSE(registrar->regObject(name("a"), TRef<Object>()));
    EXPECT_TRUE(registrar->regObject(name("a"), thing));
    EXPECT_FALSE(registrar->regObject(name("a"), other));
    EXPECT_TRUE(registrar->regObject(name("c"), thing));
    EXPECT_FALSE(registrar->unregObject(other));
    EXPECT_TRUE(registrar->unregObject(thing));
    EXPECT_EQ(registrar->findObject(name("a")).pointer(), thing.pointer());
    EXPECT_EQ(registrar->findObject(name("c")).pointer(), nullptr);
    EXPECT_FALSE(registrar->unregObject(name("c")));
    EXPECT_TRUE(registrar->unregObject(name("a")));
    EXPECT_EQ(thing->getReferenceCount(), 1);
}

TEST_F(RegistrarTest, PathRunsThroughRegistrars) {
    TRef<DispObjectRegistrar> const inner(new DispObjectRegistrar);
    TRef<Object> const thing(new Thing);
    inner->regObject(name("b"), thing);
    registrar->regObject(name("a"), TRef<Object>(inner.pointer()));
    TGVector<NameLinkID> path;
    for (char const * part : {"skipped", "a", "b"})
        path.insert(name(part));
    EXPECT_EQ(registrar->findObject(path, 1).pointer(), thing.pointer());
    EXPECT_EQ(registrar->findObject(path, 3).pointer(), object.pointer());
    EXPECT_EQ(registrar->findObject(path, 0).pointer(), nullptr);
}

// ---- streams ----

/// The parts of an object without interfaces: version 2 and no interface; version 1 and no owner.
Bytes & parts(Bytes & bytes) {
    return bytes.byte(2).dword(0).byte(1).byte(0);
}
Bytes & entry(Bytes & bytes, char const * text) {
    bytes.byte(0).dword(1).text(text);
    return bytes.byte(2).open("test::Thing").byte(2).dword(0).close();
}
std::string registrarForm() {
    Bytes bytes;
    parts(bytes.byte(0)).dword(2);
    entry(bytes, "a");
    entry(bytes, "b");
    return bytes.str();
}

TEST_F(RegistrarTest, StreamedFormIsReadBack) {
    registrar->regObject(name("b"), TRef<Object>(new Thing));
    registrar->regObject(name("a"), TRef<Object>(new Thing));
    EXPECT_EQ(written([&](opstream & out) { registrar->write(out); }), registrarForm());

    TRef<DispObjectRegistrar> const read(new DispObjectRegistrar);
    read->regObject(name("c"), TRef<Object>(new Thing));
    Input in(registrarForm());
    read->read(in);
    EXPECT_EQ(read->getNamesCount(), 2) << "what was there before is gone";
    EXPECT_TRUE(gcast<Thing>(read->findObject(name("b")).pointer()));
    EXPECT_EQ(read->findObject(name("a"))->getReferenceCount(), 2);
}

TEST_F(RegistrarTest, DamagedFormEndsInTheAnswersOfTheFormat) {
    Bytes bytes;
    parts(bytes.byte(0)).dword(2);
    for (char const * text : {"a", "b"})
        bytes.byte(0).dword(1).text(text).byte(0); // an entry whose object is null
    std::string form = bytes.str();
    for (std::size_t size = 0; size <= form.size(); ++size) {
        Input in(form.substr(0, size));
        registrar->read(in);
        EXPECT_EQ(in->good(), size == form.size());
        EXPECT_EQ(registrar->getNamesCount(), 0) << "nobody is nobody under any name";
    }
    form[0] = 1;
    Input in(form);
    EXPECT_THROW(registrar->read(in), XStrVer);
    Bytes endless;
    parts(endless.byte(0)).dword(0xFFFFFFFFu);
    Input longer(endless.str());
    registrar->read(longer);
    EXPECT_FALSE(longer->good());
}

// A scene with a registrar in it, cut everywhere: also inside the frames of their objects.
TEST_F(RegistrarTest, SceneThatIsCutLeavesNothingBehind) {
    TRef<DispObjectRegistrar> inner(new DispObjectRegistrar);
    TRef<SceneObject> scene(new SceneObject);
    inner->regObject(name("b"), TRef<Object>(new Thing));
    scene->regObject(name("a"), TRef<Object>(inner.pointer()));
    scene->regObject(name("c"), TRef<Object>(new Thing));
    std::string const whole =
        written([&](opstream & out) { RefCounterWrite(out, TRef<RefCounter>(scene.pointer())); });
    inner.empty();
    scene.empty();
    int const things = Thing::alive;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        Input in(whole.substr(0, size));
        try {
            TRef<RefCounter> const read = RefCounterRead(in, &Object::metaclass_);
            EXPECT_EQ(in->good(), size == whole.size()) << size;
        } catch (InvalidPStream_Exception const &) {
        }
        ASSERT_EQ(Thing::alive, things) << size;
        ASSERT_EQ(SceneObject::Get(), nullptr) << size;
    }
}

TEST(SceneObject, BothVersionsOfItsFormAreRead) {
    std::string const now = Bytes().byte(1).str() + registrarForm();
    std::string const before = registrarForm(); // its version byte is the scene's own, 0
    for (std::string const & form : {now, before}) {
        TRef<SceneObject> const scene(new SceneObject);
        Input in(form);
        scene->read(in);
        EXPECT_EQ(scene->getNamesCount(), 2);
        EXPECT_TRUE(in->good());
        EXPECT_EQ(written([&](opstream & out) { scene->write(out); }), now);
    }
    TRef<SceneObject> const scene(new SceneObject);
    Input in(Bytes().byte(1).byte(1).str());
    EXPECT_THROW(scene->read(in), XStrVer);
}

TEST(SceneObject, LastOneBuiltIsInForceUntilItGoes) {
    TRef<Object> const nobody, thing(new Thing);
    EXPECT_EQ(SceneObject::Get(), nullptr);
    TRef<SceneObject> first(new SceneObject);
    first->regObject(name("a"), thing);
    EXPECT_EQ(IDispatcher::FindObject("scene", nobody, nobody).pointer(), first.pointer());
    EXPECT_EQ(IDispatcher::FindVRef("scene.a", nobody, nobody).asOBJECT().pointer(),
              thing.pointer());
    {
        TRef<SceneObject> const second(new SceneObject);
        EXPECT_EQ(SceneObject::Get(), second.pointer());
        first.empty();
        EXPECT_EQ(SceneObject::Get(), second.pointer());
    }
    EXPECT_EQ(SceneObject::Get(), nullptr);
    EXPECT_EQ(IDispatcher::FindObject("scene.a", nobody, nobody).pointer(), nullptr);
    VariableRef const root = IDispatcher::FindVRef("scene", nobody, nobody);
    EXPECT_EQ(root.type(), OBJECT);
    EXPECT_EQ(root.asOBJECT().pointer(), nullptr);
}

} // namespace scene_test
