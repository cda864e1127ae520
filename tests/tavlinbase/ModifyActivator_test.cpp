#include "tavlinbase/ModifyActivator.h"

#include "ObjectKernel_support.h"

#include <gtest/gtest.h>

#include <functional>

namespace kernel_test {

/// An object that can be watched.
class Watched : public UniqueObject, public ISetModifyActivator {
    G_DECLARE_CREATABLE(Watched)
  public:
    class Subject : public Notifyer {
      public:
        void change() {
            lockup();
            unlock();
        }
    };
    Notifyer & getNotifyer() override { return subject; }
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
    Subject subject;
};
G_DEFINE_CREATABLE(Watched, "test::Watched", UniqueObject, ISetModifyActivator)

class Echo : public ModifyActivator {
    G_DECLARE_CREATABLE(Echo)
  public:
    Echo() { ++alive; }
    ~Echo() override { --alive; }
    std::string name;
    bool accepts = true;
    std::function<void()> onAct;
    static int alive;
    static std::string log;
    static std::string taken() { return std::exchange(log, ""); }

    void act(Notifyer const & subject) override {
        auto * const watched = gcast<Watched>(getSource().pointer());
        log += name + (watched && &subject == &watched->subject ? "+" : "?");
        if (onAct)
            onAct();
    }
    void acted() override { log += name + "- "; }
    bool canBeDestination(TRef<Object> const &) override { return accepts; }
};
G_DEFINE_CREATABLE(Echo, "test::Echo", ModifyActivator)

int Echo::alive = 0;
std::string Echo::log;

namespace {

TRef<Echo> echo(char const * name, TRef<Watched> const & source) {
    TRef<Echo> const made(new Echo);
    made->name = name;
    EXPECT_TRUE(made->setSource(TRef<Object>(source.pointer())));
    return made;
}

std::string names(TRef<Object> const & object) {
    std::string text;
    for (ActivatorIterator at(object); at; at++)
        text += gcast<Echo>(at.get().pointer())->name;
    return text;
}

TEST(ModifyActivator, NotificationRunsBothStepsNewestActivatorFirst) {
    TRef<Watched> const source(new Watched), other(new Watched);
    TRef<Echo> const a = echo("a", source), b = echo("b", source);
    a->setSource(TRef<Object>(source.pointer()));
    source->subject.change();
    EXPECT_EQ(Echo::taken(), "a+a- b+b- ") << "a has come anew, and is told once";
    b->setSource(TRef<Object>(other.pointer()));
    source->subject.change();
    EXPECT_EQ(Echo::taken(), "a+a- ");
    other->subject.change();
    EXPECT_EQ(Echo::taken(), "b+b- ");
    EXPECT_TRUE(b->setSource(TRef<Object>()));
    other->subject.change();
    EXPECT_EQ(Echo::taken(), "");
    EXPECT_EQ(other->getReferenceCount(), 1) << "the former source is let go";
}

TEST(ModifyActivator, EndsWhileItIsTold) {
    int const before = Echo::alive;
    TRef<Watched> source(new Watched);
    TRef<Echo> a = echo("a", source), b = echo("b", source), c = echo("c", source);
    c->onAct = [&] {
        b.empty();
        c.empty();
    };
    source->subject.change();
    EXPECT_EQ(Echo::taken(), "c+c- a+a- ");
    EXPECT_EQ(Echo::alive, before + 1);
    a->onAct = [&] {
        source.empty(); // the activator was the last to hold it
        a.empty();
    };
    source->subject.change();
    EXPECT_EQ(Echo::taken(), "a+a- ");
    EXPECT_EQ(Echo::alive, before);

    source = new Watched;
    Echo unowned;
    unowned.name = "u";
    unowned.setSource(TRef<Object>(source.pointer()));
    source->subject.change();
    EXPECT_EQ(Echo::taken(), "u+u- ");
}

TEST(ModifyActivator, FormerSourceMayTakeTheActivatorAlong) {
    struct Keeper : Watched {
        TRef<Echo> kept;
    };
    int const before = Echo::alive;
    TRef<Keeper> keeper(new Keeper);
    keeper->kept = echo("a", TRef<Watched>(keeper.pointer()));
    Echo * const activator = keeper->kept;
    keeper.empty();
    EXPECT_EQ(Echo::alive, before + 1) << "the two hold each other";
    EXPECT_TRUE(activator->setSource(TRef<Object>()));
    EXPECT_EQ(Echo::alive, before);
}

TEST(ModifyActivator, DestinationCanBeRefusedAndIsNotHeld) {
    TRef<Watched> const source(new Watched);
    TRef<Thing> first(new Thing), second(new Thing);
    TRef<Echo> const unbound(new Echo), bound = echo("a", source);
    unbound->accepts = false;
    EXPECT_TRUE(unbound->setDestination(TRef<Object>(first.pointer()))) << "nobody is asked yet";
    EXPECT_TRUE(bound->setDestination(TRef<Object>(first.pointer())));
    bound->accepts = false;
    EXPECT_FALSE(bound->setDestination(TRef<Object>(second.pointer())));
    EXPECT_EQ(bound->getDestination(), first.pointer());
    first.empty();
    EXPECT_FALSE(bound->getDestination());
    EXPECT_FALSE(unbound->getDestination());
    bound->accepts = true;
    EXPECT_TRUE(bound->setDestination(TRef<Object>(second.pointer())));
    EXPECT_TRUE(bound->setDestination(TRef<Object>()));
    EXPECT_FALSE(bound->getDestination());
}

TEST(ModifyActivator, IteratorSkipsOtherCallbacksAndTheDead) {
    class Other : public NotifyCallback {
      public:
        Other() : NotifyCallback(true) {}
        void notify(Notifyer const &) override {}
    } other;
    TRef<Watched> const source(new Watched);
    TRef<Object> const object(source.pointer());
    EXPECT_EQ(names(object), "");
    EXPECT_EQ(names(TRef<Object>()), "");
    EXPECT_EQ(names(TRef<Object>(TRef<Thing>(new Thing).pointer())), "");
    source->subject.addPost(&other);
    TRef<Echo> a = echo("a", source), b = echo("b", source), c = echo("c", source);
    EXPECT_EQ(names(object), "abc");

    ActivatorIterator at(object);
    at++;
    ASSERT_EQ(at.get(), b.pointer());
    a.empty();
    b.empty();
    EXPECT_FALSE(at.get());
    at.first();
    EXPECT_EQ(at.get(), c.pointer());
    b = echo("b", source);
    c.empty();
    at++;
    EXPECT_EQ(at.get(), b.pointer()) << "it stands where the dead one stood";
    at++;
    EXPECT_FALSE(at);
    EXPECT_FALSE(at.get());
}

TEST(ModifyActivator, BytesOfDestinationAndSource) {
    TRef<Watched> const source(new Watched);
    TRef<Thing> thing(new Thing);
    TRef<Echo> const a = echo("a", source);
    a->setDestination(TRef<Object>(thing.pointer()));
    auto const emptyObject = [](Bytes & bytes, char const * of) {
        bytes.byte(2).open(of).byte(2).dword(0).close();
    };
    auto const bytes = [&](char const * destination, char const * watched) {
        Bytes expected;
        expected.byte(2).dword(0).byte(0);
        for (char const * of : {destination, watched})
            *of ? emptyObject(expected, of) : void(expected.byte(0));
        return expected.str();
    };
    auto const now = [&] { return written([&](opstream & out) { a->write(out); }); };
    EXPECT_EQ(now(), bytes("test::Thing", "test::Watched"));
    thing.empty();
    EXPECT_EQ(now(), bytes("", "test::Watched"));

    {
        FinalReleasePause const pause; // as a load does, since nothing else holds the destination
        TRef<Echo> const copy = echo("copy", source);
        copy->accepts = false;
        Input in(bytes("test::Thing", "test::Watched"));
        copy->read(in);
        EXPECT_TRUE(gcast<Thing>(copy->getDestination().pointer())) << "read without being asked";
        auto * const loaded = gcast<Watched>(copy->getSource().pointer());
        ASSERT_TRUE(loaded);
        ASSERT_NE(loaded, source.pointer());
        loaded->subject.change();
        EXPECT_EQ(Echo::taken(), "copy+copy- ");
        source->subject.change();
        EXPECT_EQ(Echo::taken(), "a+a- ");
    }
    int const before = Thing::alive;
    TRef<Echo> const wrong = echo("w", source);
    Input in(bytes("", "test::Thing"));
    wrong->read(in);
    source->subject.change();
    EXPECT_EQ(Echo::taken(), "a+a- ") << "nobody tells it, since a Thing cannot be watched";
    wrong->setSource(TRef<Object>());
    EXPECT_EQ(Thing::alive, before);
    Input cut(bytes("", "test::Watched").substr(0, 8));
    EXPECT_ANY_THROW(wrong->read(cut));
}

} // namespace
} // namespace kernel_test
