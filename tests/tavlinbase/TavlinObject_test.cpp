#include "tavlinbase/TavlinObject.h"

#include "ObjectKernel_support.h"
#include "diagnostics/TavlinError.h"
#include "persistence/PStreamExceptions.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <random>

namespace {

using namespace kernel_test;

bool hasSet(GMetaClass const & metaClass) {
    return ClassSet::Global().find(&metaClass) != nullptr;
}

long countOf(GMetaClass const & metaClass) {
    ClassExemplarSet const * const set = ClassSet::Global().find(&metaClass);
    return set ? set->getCount() : 0;
}

// ---- Interfaces ----

TEST(ObjectInterfaces, LastAttachedWinsAndDerivedClassesMatch) {
    TRef<Thing> const thing(new Thing);
    auto * const special = new ISpecialLabel;
    auto * const plain = new ILabel;
    thing->addInterface(TRef<AUnknown>(special));
    EXPECT_EQ(thing->queryInterface<ILabel>(), special);
    thing->addInterface(TRef<AUnknown>(plain));
    EXPECT_EQ(thing->queryInterface<ILabel>(), plain);
    EXPECT_EQ(thing->queryInterface<ISpecialLabel>(), special);
    EXPECT_EQ(thing->queryInterface(&INowhere::metaclass_), nullptr);
    EXPECT_EQ(thing->queryInterface(&Object::metaclass_), nullptr); // an object, but no interface

    EXPECT_TRUE(thing->removeInterface(&ILabel::metaclass_));
    EXPECT_EQ(thing->queryInterface<ILabel>(), special);
    EXPECT_TRUE(thing->removeInterface(&ILabel::metaclass_));
    EXPECT_FALSE(thing->removeInterface(&ILabel::metaclass_));
}

TEST(ObjectInterfaces, InheritedOneIsAttachedAtTheFirstQuery) {
    TRef<Speaker> const speaker(new Speaker);
    EXPECT_EQ(speaker->attached, 0);
    TRef<ILabel> const first = speaker->queryInterface<ILabel>();
    EXPECT_EQ(first.pointer(), speaker.pointer());
    EXPECT_EQ(first->objectPointer(), speaker.pointer());
    EXPECT_EQ(speaker->queryInterface<ILabel>(), first);
    EXPECT_EQ(speaker->attached, 1);
    auto * const label = new ILabel;
    speaker->addInterface(TRef<AUnknown>(label));
    EXPECT_EQ(speaker->queryInterface<ILabel>(), label);
}

TEST(ObjectInterfaces, QuerySafeBuildsOnceAndFailsForWhatRefuses) {
    TRef<Thing> const thing(new Thing);
    TRef<AUnknown> const built = thing->querySafeInterface(&ILabel::metaclass_);
    ASSERT_TRUE(built);
    EXPECT_EQ(thing->querySafeInterface(&ILabel::metaclass_), built);
    EXPECT_EQ(thing->querySafeInterface(&INowhere::metaclass_), nullptr);
    EXPECT_EQ(thing->querySafeInterface(&AUnknown::metaclass_), built);
    EXPECT_EQ(thing->querySafeInterface(&Datum::metaclass_), nullptr); // no interface at all
}

TEST(ObjectInterfaces, AllAreAskedBeforeTheEndAndOneHoldsBack) {
    int const before = Thing::alive;
    TRef<Thing> thing(new Thing);
    Thing * const pointer = thing;
    auto * const last = new ILabel;
    thing->addInterface(TRef<AUnknown>(new ILabel));
    thing->addInterface(TRef<AUnknown>(last));
    last->holdsBack = true;
    ILabel::asked = 0;
    thing.empty();
    EXPECT_EQ(ILabel::asked, 2);
    EXPECT_EQ(Thing::alive, before + 1);
    EXPECT_EQ(pointer->getReferenceCount(), 0);
    last->holdsBack = false;
    TRef<Thing>(pointer).empty();
    EXPECT_EQ(Thing::alive, before);
}

TEST(ObjectInterfaces, DirectEndLeavesAHeldInterfaceToItsHolder) {
    TRef<ILabel> const held(new ILabel);
    auto * const thing = new Thing;
    thing->addInterface(held);
    delete thing;
    EXPECT_EQ(held->objectPointer(), nullptr);
    EXPECT_EQ(held->getReferenceCount(), 1);
}

// ---- Registration ----

TEST(ObjectRegistry, EqualObjectsAreMerged) {
    int const before = Datum::alive;
    ObjectCreator first(new Datum(5));
    TRef<Object> survivor(static_cast<Object *>(first));
    {
        ObjectCreator second(new Datum(5));
        EXPECT_EQ(static_cast<Object *>(second), survivor);
        EXPECT_EQ(Datum::alive, before + 2);
        ObjectCreator other(new Datum(6));
        TRef<Object> const different(static_cast<Object *>(other));
        EXPECT_NE(different, survivor);
    }
    EXPECT_EQ(Datum::alive, before + 1);
    survivor.empty();
    EXPECT_EQ(Datum::alive, before);
    EXPECT_FALSE(hasSet(Datum::metaclass_));
}

TEST(ObjectRegistry, LoserMayOutliveTheSurvivor) {
    TRef<Datum> survivor(new Datum(5));
    survivor->reg();
    ObjectCreator loser(new Datum(5));
    EXPECT_EQ(static_cast<Object *>(loser), survivor);
    survivor.empty();
    EXPECT_FALSE(hasSet(Datum::metaclass_));
}

TEST(ObjectRegistry, UniqueObjectIsFoundByAddressInAnyOrder) {
    std::vector<TRef<Thing>> things;
    for (int i = 0; i < 200; ++i)
        things.emplace_back(new Thing);
    std::shuffle(things.begin(), things.end(), std::mt19937(7));
    for (TRef<Thing> const & thing : things) {
        EXPECT_EQ(thing->reg(), thing);
        EXPECT_EQ(thing->reg(), thing);
        EXPECT_EQ(thing->getReferenceCount(), 1);
    }
    EXPECT_EQ(countOf(Thing::metaclass_), 200);
    std::shuffle(things.begin(), things.end(), std::mt19937(8));
    while (!things.empty()) {
        things.pop_back();
        EXPECT_EQ(countOf(Thing::metaclass_), long(things.size()));
    }
}

// Exemplars come and go at both ends and in between; whenever somebody looks, the set stands in the
// order of addresses, however many have come since the last time.
TEST(ObjectRegistry, SetStaysInOrderWhileAPopulationChanges) {
    std::mt19937 random(11);
    std::vector<TRef<Thing>> things;
    std::vector<TRef<Thing>> waiting; // in the order of their making, to be registered in any other
    for (int step = 0; step < 4000; ++step) {
        auto const end = [&](std::size_t i) { things.erase(things.begin() + long(i)); };
        std::size_t const roll = random() % 5;
        if (things.empty() || roll <= 1 || (roll == 2 && things.size() < 100)) {
            while (waiting.size() < 40)
                waiting.emplace_back(new Thing);
            std::swap(waiting[random() % waiting.size()], waiting.back());
            things.push_back(waiting.back());
            waiting.pop_back();
            EXPECT_EQ(things.back()->reg(), things.back().pointer());
            for (int again = random() % 3 == 0; again > 0; --again)
                EXPECT_EQ(things.back()->reg(), things.back().pointer());
        } else if (random() % 8 != 0) {
            continue;
        } else {
            end(roll == 3 ? 0 : random() % things.size());
        }
        if (random() % 16 != 0)
            continue;
        std::vector<Thing *> expected(things.begin(), things.end());
        std::sort(expected.begin(), expected.end());
        ASSERT_EQ(countOf(Thing::metaclass_), long(expected.size()));
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_EQ(ClassSet::Global().find(&Thing::metaclass_)->at(long(i)), expected[i]);
    }
}

TEST(ObjectRegistry, ComparedObjectsStandInOrderOfRegistration) {
    std::vector<TRef<Datum>> data;
    for (int i = 0; i < 50; ++i)
        data.emplace_back(new Datum(i));
    std::shuffle(data.begin(), data.end(), std::mt19937(9));
    for (TRef<Datum> const & datum : data)
        datum->reg();
    ClassExemplarSet const & set = *ClassSet::Global().find(&Datum::metaclass_);
    for (std::size_t i = 0; i < data.size(); ++i)
        EXPECT_EQ(set.at(long(i)), data[i]);
    data.erase(data.begin() + 10, data.begin() + 40);
    EXPECT_EQ(set.getCount(), 20);
    EXPECT_EQ(set.at(10), data[10]);
}

TEST(ObjectRegistry, SetsArePrunedUpToTheRoot) {
    TRef<SpecialThing> special(new SpecialThing);
    special->reg();
    EXPECT_TRUE(hasSet(Thing::metaclass_));
    EXPECT_TRUE(hasSet(UniqueObject::metaclass_));
    EXPECT_EQ(ClassSet::Global().find(&Thing::metaclass_)->children().getCount(), 1);
    special.empty();
    for (GMetaClass const * gone :
         {&SpecialThing::metaclass_, &Thing::metaclass_, &UniqueObject::metaclass_})
        EXPECT_FALSE(hasSet(*gone)) << gone->getName();
    EXPECT_EQ(ClassExemplarSet::Root().children().find(&UniqueObject::metaclass_), nullptr);
}

TEST(ObjectRegistry, UnregWithoutASetIsAnError) {
    TRef<Thing> const thing(new Thing);
    try {
        thing->unreg();
        FAIL();
    } catch (Error const & error) {
        EXPECT_STREQ(error.getMessage().c_str(), "Not registered type found");
    }
}

// ---- Callbacks ----

std::vector<std::string> g_told;

template <class Base>
class Listener : public Base {
  public:
    Listener(char const * name, GMetaClass const & metaClass)
        : Base(&metaClass, true, true), name_(name) {}
    void notify(Notifyer const & subject) override {
        Object * const object = ClassExemplarSetNof::Of(subject);
        g_told.push_back(name_ + (object ? "" : " without object"));
        TRef<Object>(object).empty(); // must not end it
        if (leaves)
            Base::detach(leaves);
    }
    GMetaClass const * leaves = nullptr;

  private:
    std::string name_;
};
using RegListener = Listener<ObjectRegCallback>;
using UnRegListener = Listener<ObjectUnRegCallback>;
using Told = std::vector<std::string>;

TEST(ObjectCallbacks, RegistrationIsToldUpwardAndUnregistrationDownward) {
    RegListener const rootIn("in Object", Object::metaclass_);
    RegListener const thingIn("in Thing", Thing::metaclass_);
    UnRegListener const rootOut("out Object", Object::metaclass_);
    UnRegListener const thingOut("out Thing", Thing::metaclass_);
    g_told.clear();
    auto * const special = new SpecialThing;
    special->reg();
    EXPECT_EQ(g_told, (Told{"in Thing", "in Object"}));
    TRef<Datum> const other(new Datum(1));
    other->reg();
    EXPECT_EQ(g_told, (Told{"in Thing", "in Object", "in Object"}));
    g_told.clear();
    TRef<Object>(special).empty();
    EXPECT_EQ(g_told, (Told{"out Object", "out Thing"}));
}

TEST(ObjectCallbacks, SetLivesAsLongAsACallbackIsAttached) {
    ASSERT_FALSE(hasSet(Speaker::metaclass_));
    {
        RegListener const listener("in", Speaker::metaclass_);
        EXPECT_TRUE(hasSet(Speaker::metaclass_));
        g_told.clear();
        TRef<Speaker> speaker(new Speaker);
        speaker->reg();
        speaker.empty();
        EXPECT_EQ(g_told, Told{"in"});
        EXPECT_TRUE(hasSet(Speaker::metaclass_));
    }
    EXPECT_FALSE(hasSet(Speaker::metaclass_));
    EXPECT_FALSE(hasSet(UniqueObject::metaclass_));
}

TEST(ObjectCallbacks, CallbackMayLeaveWhileItIsTold) {
    UnRegListener listener("out", Thing::metaclass_);
    listener.leaves = &Thing::metaclass_;
    g_told.clear();
    TRef<Thing> thing(new Thing);
    thing->reg();
    thing.empty();
    EXPECT_EQ(g_told, Told{"out"});
    EXPECT_FALSE(hasSet(Thing::metaclass_));
}

// ---- ObjectCreator and Modifier ----

TEST(ObjectCreator, DeletesWhatNobodyAskedFor) {
    int const before = Thing::alive;
    {
        ObjectCreator creator(&Thing::metaclass_);
        ASSERT_TRUE(creator.operator->());
        // References that come and go do not end what the creator answers for.
        TRef<Object>(creator.operator->()).empty();
        creator->addInterface(TRef<AUnknown>(new ILabel));
        creator->queryInterface(&ILabel::metaclass_);
        EXPECT_EQ(Thing::alive, before + 1);
    }
    EXPECT_EQ(Thing::alive, before);
    EXPECT_FALSE(hasSet(Thing::metaclass_));
}

TEST(ObjectCreator, TransferLeavesTheSourceEmpty) {
    int const before = Thing::alive;
    ObjectCreator source(&Thing::metaclass_);
    ObjectCreator target(source);
    EXPECT_EQ(source.operator->(), nullptr);
    EXPECT_EQ(static_cast<Object *>(source), nullptr);
    TRef<Object> object(static_cast<Object *>(target));
    source = target;
    EXPECT_EQ(static_cast<Object *>(source), object);
    object.empty();
    EXPECT_EQ(Thing::alive, before);
}

TEST(ObjectCreator, IsEmptyForWhatIsNoObject) {
    EXPECT_EQ(ObjectCreator(&ILabel::metaclass_).operator->(), nullptr);
    EXPECT_EQ(ObjectCreator(&Object::metaclass_).operator->(), nullptr);
    TObjectCreator<Thing> typed;
    TRef<Thing> const thing(static_cast<Thing *>(typed));
    EXPECT_TRUE(thing);
    int const before = Thing::alive;
    {
        TObjectCreator<Datum> other(&Thing::metaclass_);
        EXPECT_EQ(static_cast<Datum *>(other), nullptr);
        EXPECT_EQ(Thing::alive, before + 1);
    }
    EXPECT_EQ(Thing::alive, before) << "what was not handed over ends with its creator";
}

// A class that came with a later version, and two objects within; a number behind it means the
// second of them.
TEST(ObjectCreator, WhatNobodyTakesOfAnUnknownObjectEndsWithTheStream) {
    int const before = Datum::alive;
    Bytes bytes;
    bytes.byte(2).open("test::Later");
    for (std::uint32_t const value : {5u, 6u})
        bytes.byte(2).open("test::Datum").byte(2).dword(0).dword(value).close();
    bytes.close().byte(1).word(2);
    std::string content = bytes.str();
    TRef<Object> taken;
    {
        impstream in(content.data(), static_cast<long>(content.size()), GIO::ReadMode);
        EXPECT_EQ(static_cast<Object *>(ObjectCreator(in)), nullptr);
        EXPECT_EQ(Datum::alive, before + 2);
        taken = TRef<Object>(static_cast<Object *>(ObjectCreator(in)));
    }
    ASSERT_TRUE(taken);
    EXPECT_EQ(gcast<Datum>(taken.pointer())->value, 6);
    EXPECT_EQ(Datum::alive, before + 1);
    taken.empty();
    EXPECT_EQ(Datum::alive, before);
}

TEST(ObjectCreator, LoserWaitsForTheEndOfAPause) {
    int const before = Datum::alive;
    TRef<Datum> const present(new Datum(7));
    present->reg();
    RefCounter::PauseFinalRelease();
    {
        ObjectCreator creator(new Datum(7));
        EXPECT_EQ(static_cast<Object *>(creator), present);
    }
    EXPECT_EQ(Datum::alive, before + 2);
    RefCounter::ResumeFinalRelease();
    EXPECT_EQ(Datum::alive, before + 1);
}

TEST(Modifier, ActsOnAnObjectBeforeItsRegistration) {
    class Doubler : public Modifier {
      public:
        bool v_applyTo(Object & object) override {
            static_cast<Datum &>(object).value *= 2;
            return true;
        }
        bool v_isCompatible(Object & object) override {
            return object.isKindOf(&Datum::metaclass_);
        }
    } doubler;
    TRef<Datum> const present(new Datum(8));
    present->reg();
    ObjectCreator creator(new Datum(4));
    EXPECT_TRUE(doubler.applyTo(creator));
    EXPECT_EQ(static_cast<Object *>(creator), present);
    EXPECT_TRUE(doubler.isCompatible(*present));
    EXPECT_FALSE(doubler.isCompatible(TRef<Object>(new Thing)));
    EXPECT_FALSE(doubler.applyTo(TRef<Object>()));
}

// ---- Streams ----

TEST(ObjectStream, WritesVersionAndInterfacesInOrder) {
    TRef<Thing> const thing(new Thing);
    auto * const hidden = new ILabel;
    hidden->shouldWrite(0);
    thing->addInterface(TRef<AUnknown>(new ILabel(0x11)));
    thing->addInterface(TRef<AUnknown>(hidden));
    thing->addInterface(TRef<AUnknown>(new ISpecialLabel));
    Bytes expected;
    expected.byte(2).open("test::Thing").byte(2).dword(2);
    expected.byte(2).open("test::ILabel").byte(1).byte(1).word(1).dword(0x11).close();
    expected.byte(2).open("test::ISpecialLabel").byte(1).byte(1).word(1).dword(0).close();
    expected.close();
    std::string const bytes = written([&](opstream & out) { out.writePointer(thing.pointer()); });
    EXPECT_EQ(bytes, expected.str());

    Input in(bytes);
    TRef<Object> const copy(in->readPointer<Object>());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->getReferenceCount(), 1);
    TRef<ILabel> const last = copy->queryInterface<ILabel>();
    ASSERT_TRUE(last);
    EXPECT_EQ(last->getMetaClass(), ISpecialLabel::metaclass_);
    EXPECT_EQ(last->objectPointer(), copy);
    EXPECT_EQ(last->attached, 0);
    EXPECT_EQ(copy->removeAllInterfaces(&ILabel::metaclass_), 2);
}

TEST(ObjectStream, InheritedInterfaceFindsItsOwnObject) {
    TRef<Speaker> const speaker(new Speaker);
    speaker->queryInterface<ILabel>();
    Bytes expected;
    expected.byte(2).open("test::Speaker").byte(2).dword(0);
    expected.byte(1).byte(1).word(1).dword(0).close();
    std::string const bytes = written([&](opstream & out) { out.writePointer(speaker.pointer()); });
    EXPECT_EQ(bytes, expected.str());
    Input in(bytes);
    TRef<Speaker> const copy(in->readPointer<Speaker>());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->objectPointer(), copy.pointer());
}

TEST(ObjectStream, InterfaceOfAnUnknownClassLeavesAnEmptySlot) {
    Bytes bytes;
    bytes.byte(2).open("test::Thing").byte(2).dword(2);
    bytes.byte(2).open("test::Nobody").byte(1).byte(0).close();
    bytes.byte(2).open("test::ILabel").byte(1).byte(0).dword(3).close().close();
    Input in(bytes.str());
    TRef<Object> const object(in->readPointer<Object>());
    ASSERT_TRUE(object);
    EXPECT_EQ(object->queryInterface<ILabel>()->value, 3);
    EXPECT_EQ(object->queryInterface<ILabel>()->objectPointer(), object);
    Bytes again;
    again.byte(2).open("test::Thing").byte(2).dword(2).byte(0);
    again.byte(2).open("test::ILabel").byte(1).byte(1).word(1).dword(3).close().close();
    EXPECT_EQ(written([&](opstream & out) { out.writePointer(object.pointer()); }), again.str());
}

TEST(ObjectStream, MergedObjectStandsForLaterReferences) {
    int const before = Datum::alive;
    TRef<Datum> const present(new Datum(7));
    present->reg();
    Datum stored(7);
    std::string const bytes = written([&](opstream & out) {
        out.writePointer(&stored);
        out.writePointer(&stored);
    });
    Input in(bytes);
    {
        ObjectCreator first(in);
        EXPECT_EQ(static_cast<Object *>(first), present);
    }
    ObjectCreator second(in);
    EXPECT_EQ(static_cast<Object *>(second), present);
    EXPECT_EQ(Datum::alive, before + 2);
}

TEST(ObjectStream, CreatorDoesNotDeleteWhatOthersHold) {
    TRef<Thing> const thing(new Thing);
    std::string const bytes = written([&](opstream & out) {
        out.writePointer(thing.pointer());
        out.writePointer(thing.pointer());
    });
    Input in(bytes);
    ObjectCreator first(in);
    TRef<Object> const held(static_cast<Object *>(first));
    { ObjectCreator const second(in); }
    EXPECT_EQ(held->getReferenceCount(), 1);
    EXPECT_TRUE(held->isKindOf(&Thing::metaclass_));
}

// Without a pause an object ends with its last reference, also while the stream is still read.
TEST(ObjectStream, NumberOfAnEndedObjectLeadsNowhere) {
    Bytes bytes;
    bytes.byte(2).open("test::Thing").byte(2).dword(0).close();
    bytes.byte(1).word(1);
    bytes.byte(2).open("test::Thing").byte(2).dword(1).byte(1).word(1).close();
    Input in(bytes.str());
    // The object has no such interface, and nobody holds it.
    EXPECT_EQ(RefCounterRead(in, &ILabel::metaclass_), nullptr);
    EXPECT_EQ(in->getObject(0), nullptr);
    EXPECT_THROW(RefCounterRead(in, &Object::metaclass_), InvalidPStreamIndex_Exception);
    EXPECT_THROW(RefCounterRead(in, &Object::metaclass_), InvalidPStreamIndex_Exception);
}

/// Shows itself to others while it is read, and goes on reading.
class Showy : public Thing {
    G_DECLARE_CREATABLE(Showy)
  public:
    void read(ipstream & in) override {
        Thing::read(in);
        TRef<Object>(this).empty();
        if (TRef<ILabel> const label = queryInterface<ILabel>())
            label->getObject().empty();
        next = gcast<Showy>(RefCounterRead(in, &Object::metaclass_).pointer());
    }
    void write(opstream &) override {}
    TRef<Showy> next;
};
G_DEFINE_CREATABLE(Showy, "test::Showy", Thing)

TEST(ObjectStream, ObjectStandsWhileItIsRead) {
    int const before = Thing::alive;
    Bytes bytes;
    bytes.byte(2).open("test::Showy").byte(2).dword(1);
    bytes.byte(2).open("test::ILabel").byte(1).byte(1).word(1).dword(0).close();
    bytes.byte(2).open("test::Showy").byte(2).dword(0).byte(0).close();
    bytes.close();
    Input in(bytes.str());
    TRef<Showy> showy(in->readPointer<Showy>());
    ASSERT_EQ(Thing::alive, before + 2);
    EXPECT_EQ(showy->getReferenceCount(), 1);
    EXPECT_EQ(showy->next->getReferenceCount(), 1);
    showy.empty();
    EXPECT_EQ(Thing::alive, before);
}

// Objects within each other, one with an interface that leads back, cut everywhere; under a pause
// and without.
TEST(ObjectStream, LoadThatIsCutLeavesNothingBehind) {
    Bytes bytes;
    bytes.byte(2).open("test::Showy").byte(2).dword(1);
    bytes.byte(2).open("test::ILabel").byte(1).byte(1).word(1).dword(0).close();
    bytes.byte(2).open("test::Showy").byte(2).dword(1);
    bytes.byte(2).open("test::ISpecialLabel").byte(1).byte(1).word(3).dword(0).close();
    bytes.byte(2).open("test::Showy").byte(2).dword(0).byte(0).close();
    bytes.close().close();
    int const things = Thing::alive, labels = ILabel::alive;
    for (bool const paused : {false, true})
        for (std::size_t length = 1; length < bytes.str().size(); ++length) {
            Input in(bytes.str().substr(0, length));
            if (paused)
                RefCounter::PauseFinalRelease();
            try {
                ObjectCreator const creator(in);
                EXPECT_FALSE(in->good()) << length;
            } catch (InvalidPStream_Exception const &) {
            }
            if (paused)
                RefCounter::ResumeFinalRelease();
            ASSERT_EQ(Thing::alive, things) << length << " paused " << paused;
            ASSERT_EQ(ILabel::alive, labels) << length << " paused " << paused;
            ASSERT_FALSE(hasSet(Showy::metaclass_)) << length;
        }
}

TEST(ObjectStream, NullGivesAnEmptyCreatorAndANonObjectAnError) {
    int const before = ILabel::alive;
    Bytes bytes;
    bytes.byte(0).byte(2).open("test::ILabel").byte(1).byte(0).dword(0).close();
    Input in(bytes.str());
    ObjectCreator empty(in);
    EXPECT_EQ(static_cast<Object *>(empty), nullptr);
    try {
        ObjectCreator const wrong(in);
        FAIL();
    } catch (Error const & error) {
        EXPECT_STREQ(error.getMessage().c_str(), "Invalid class type");
    }
    EXPECT_EQ(ILabel::alive, before) << "what nobody can take has ended";
}

// Where something counted is wanted, a stream may hold a thing that is not.
TEST(ObjectStream, WhatIsNotCountedEndsUnlessItStandsElsewhere) {
    Bytes bytes;
    bytes.byte(2).open("GCollection").word(0).word(0).word(4).byte(1).close();
    Input in(bytes.str() + bytes.str() + Bytes().byte(1).word(2).str());
    EXPECT_EQ(RefCounterRead(in, &RefCounter::metaclass_), nullptr);
    EXPECT_TRUE(in->good());
    ASSERT_EQ(in->getObjectCount(), 1);
    EXPECT_EQ(in->getObject(0), nullptr);
    std::unique_ptr<GStreamable> const held(in->readPointer<GStreamable>());
    EXPECT_EQ(RefCounterRead(in, &RefCounter::metaclass_), nullptr);
    EXPECT_EQ(in->getObject(1), held.get());
}

TEST(ObjectStream, CountBeyondTheStreamEndsWithIt) {
    Input in(Bytes().byte(2).dword(0x7FFFFFFF).byte(0).byte(0).str());
    TRef<Thing> const thing(new Thing);
    thing->read(in);
    EXPECT_FALSE(in->good());
    EXPECT_EQ(thing->queryInterface<ILabel>(), nullptr);
}

} // namespace
