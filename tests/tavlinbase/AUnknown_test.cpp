#include "tavlinbase/AUnknown.h"

#include "ObjectKernel_support.h"

#include <gtest/gtest.h>

namespace {

using namespace kernel_test;

class AUnknownTest : public testing::Test {
  protected:
    AUnknownTest() : things_(Thing::alive), labels_(ILabel::alive) {}
    int things() const { return Thing::alive - things_; }
    int labels() const { return ILabel::alive - labels_; }

  private:
    int things_, labels_;
};

TEST_F(AUnknownTest, DetachedOneDiesByItsOwnCount) {
    TRef<ILabel> label(new ILabel);
    label.empty();
    EXPECT_EQ(labels(), 0);
}

TEST_F(AUnknownTest, AttachedOneIsNotCountedAndDiesWithItsObject) {
    TRef<Thing> thing(new Thing);
    auto * const label = new ILabel;
    EXPECT_TRUE(thing->addInterface(TRef<AUnknown>(label)));
    EXPECT_EQ(label->getReferenceCount(), 0);
    EXPECT_EQ(label->getObject(), thing);
    EXPECT_EQ(label->getInterface(&ILabel::metaclass_), label);
    thing.empty();
    EXPECT_EQ(things(), 0);
    EXPECT_EQ(labels(), 0);
}

TEST_F(AUnknownTest, HeldInterfaceKeepsItsObjectAndEndsItAtLast) {
    TRef<Thing> thing(new Thing);
    Thing * const pointer = thing;
    TRef<AUnknown> label(new ILabel);
    thing->addInterface(label);
    thing.empty();
    ASSERT_EQ(things(), 1);
    EXPECT_EQ(pointer->getReferenceCount(), 0);
    label.empty();
    EXPECT_EQ(things(), 0);
    EXPECT_EQ(labels(), 0);
}

TEST_F(AUnknownTest, AttachingDoesNotEndAnObjectThatNobodyHoldsYet) {
    class Curious : public ILabel {
      public:
        bool attach() override { return getObject() != nullptr; }
    };
    auto * const thing = new Thing;
    EXPECT_TRUE(thing->addInterface(TRef<AUnknown>(new Curious)));
    ASSERT_EQ(things(), 1);
    TRef<Thing>(thing).empty();
    EXPECT_EQ(things(), 0);
    EXPECT_EQ(labels(), 0);
}

TEST_F(AUnknownTest, InterfaceThatLetsGoOfAnotherWhenAskedEndsTheObjectOnce) {
    class Holder : public ILabel {
      public:
        bool canDestroyObject() override {
            held.empty();
            return true;
        }
        TRef<AUnknown> held;
    };
    TRef<Thing> thing(new Thing);
    auto * const holder = new Holder;
    holder->held = new ILabel;
    thing->addInterface(holder->held);
    thing->addInterface(TRef<AUnknown>(holder));
    thing.empty();
    EXPECT_EQ(things(), 0);
    EXPECT_EQ(labels(), 0);
}

TEST_F(AUnknownTest, DetachingEndsAnInterfaceThatNobodyHolds) {
    TRef<Thing> const thing(new Thing);
    TRef<ILabel> const held(new ILabel);
    thing->addInterface(TRef<AUnknown>(new ILabel));
    thing->addInterface(held);
    EXPECT_EQ(thing->removeAllInterfaces(&ILabel::metaclass_), 2);
    EXPECT_EQ(labels(), 1);
    EXPECT_EQ(held->detached, 1);
    EXPECT_EQ(held->getObject(), nullptr);
    EXPECT_EQ(held->getInterface(&ILabel::metaclass_), nullptr);
}

TEST_F(AUnknownTest, RefusedOneIsReleased) {
    TRef<Thing> const thing(new Thing);
    TRef<ILabel> label(new ILabel);
    label->refuses = true;
    EXPECT_FALSE(thing->addInterface(label));
    EXPECT_EQ(label->getObject(), nullptr);
    label.empty();
    EXPECT_EQ(labels(), 0);
    EXPECT_EQ(thing->queryInterface(&ILabel::metaclass_), nullptr);
}

TEST_F(AUnknownTest, AddingTwiceOrElsewhereLeavesOneOwner) {
    TRef<Thing> first(new Thing);
    TRef<Thing> second(new Thing);
    auto * const label = new ILabel;
    first->addInterface(TRef<AUnknown>(label));
    EXPECT_TRUE(first->addInterface(TRef<AUnknown>(label)));
    EXPECT_EQ(label->attached, 1);
    EXPECT_TRUE(second->addInterface(TRef<AUnknown>(label)));
    EXPECT_EQ(label->objectPointer(), second);
    EXPECT_EQ(first->queryInterface(&ILabel::metaclass_), nullptr);
    first.empty();
    second.empty();
    EXPECT_EQ(labels(), 0);
}

// ---- Streams ----

TEST_F(AUnknownTest, InterfaceReferenceIsWrittenAsItsObject) {
    TRef<Thing> const thing(new Thing);
    TRef<ILabel> const label(new ILabel(0x1234));
    thing->addInterface(label);
    Bytes expected;
    expected.byte(2).open("test::Thing").byte(2).dword(1);
    expected.byte(2).open("test::ILabel").byte(1).byte(1).word(1).dword(0x1234).close();
    expected.close();
    expected.byte(0);
    std::string const bytes = written([&](opstream & out) {
        RefCounterWrite(out, label);
        RefCounterWrite(out, TRef<RefCounter>(new ILabel)); // detached: nothing to refer to
    });
    EXPECT_EQ(bytes, expected.str());

    Input in(bytes);
    TRef<RefCounter> const read = RefCounterRead(in, &ILabel::metaclass_);
    auto * const copy = gcast<ILabel>(read.pointer());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->value, 0x1234);
    EXPECT_EQ(copy->getReferenceCount(), 1);
    EXPECT_TRUE(copy->getObject()->isKindOf(&Thing::metaclass_));
    EXPECT_EQ(RefCounterRead(in, &ILabel::metaclass_), nullptr);
}

TEST_F(AUnknownTest, ObjectReferenceIsRegisteredAndAnyOtherIsReadPlainly) {
    TRef<Thing> const thing(new Thing);
    TRef<ILabel> const plain(new ILabel(5));
    std::string const bytes = written([&](opstream & out) {
        RefCounterWrite(out, thing);
        RefCounterWrite(out, TRef<RefCounter>());
        out.writePointer(plain.pointer());
    });
    Input in(bytes);
    TRef<RefCounter> const first = RefCounterRead(in, &Object::metaclass_);
    auto * const copy = gcast<Thing>(first.pointer());
    ASSERT_TRUE(copy);
    EXPECT_GE(ClassSet::Global().find(&Thing::metaclass_)->index_of(copy), 0);
    EXPECT_EQ(RefCounterRead(in, &Object::metaclass_), nullptr);
    TRef<RefCounter> const second = RefCounterRead(in, &RefCounter::metaclass_);
    ASSERT_TRUE(gcast<ILabel>(second.pointer()));
    EXPECT_EQ(gcast<ILabel>(second.pointer())->value, 5);
}

// An interface that comes first brings its object along, and with it comes to itself.
TEST_F(AUnknownTest, InterfaceThatIsReadFirstIsTakenByItsObjectOnce) {
    TRef<Thing> thing(new Thing);
    auto * const label = new ILabel(8);
    thing->addInterface(TRef<AUnknown>(label));
    std::string const bytes = written([&](opstream & out) { out.writePointer(label); });
    thing.empty();

    Input in(bytes);
    TRef<ILabel> const copy(in->readPointer<ILabel>());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->value, 8);
    TRef<Object> object = copy->getObject();
    ASSERT_TRUE(object);
    EXPECT_EQ(object->removeAllInterfaces(&ILabel::metaclass_), 1);
    object.empty();
    EXPECT_EQ(things(), 0);
    EXPECT_EQ(labels(), 1);
}

// Both objects name the same interface, and one names it twice.
TEST_F(AUnknownTest, DamagedStreamGivesAnInterfaceOneOwner) {
    Bytes bytes;
    bytes.byte(2).open("test::Thing").byte(2).dword(2);
    bytes.byte(2).open("test::ILabel").byte(1).byte(1).word(1).dword(0).close();
    bytes.byte(1).word(2).close();
    bytes.byte(2).open("test::Thing").byte(2).dword(1).byte(1).word(2).close();
    Input in(bytes.str());
    TRef<Object> first(in->readPointer<Object>());
    TRef<Object> second(in->readPointer<Object>());
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(first->queryInterface(&ILabel::metaclass_));
    EXPECT_FALSE(second->queryInterface(&ILabel::metaclass_));
    second.empty();
    first.empty();
    EXPECT_EQ(things(), 0);
    EXPECT_EQ(labels(), 0);
}

// What stands in an object of an unknown class is the stream's until its end.
TEST_F(AUnknownTest, InterfaceOfAnEndedObjectStaysWithTheStreamThatHoldsIt) {
    Bytes bytes;
    bytes.byte(2).open("test::Unknown");
    bytes.open("test::ILabel").byte(1).byte(0).dword(7).close().close();
    bytes.byte(2).open("test::Thing").byte(2).dword(1).byte(1).word(1).close();
    {
        Input in(bytes.str());
        EXPECT_EQ(in->readPointer<Object>(), nullptr);
        TRef<Object> thing(in->readPointer<Object>());
        ASSERT_TRUE(thing && thing->queryInterface(&ILabel::metaclass_));
        thing.empty();
        EXPECT_EQ(things(), 0);
        EXPECT_EQ(labels(), 1);
    }
    EXPECT_EQ(labels(), 0);
}

// An object that is an interface by its class ends by itself, whoever lists it.
TEST_F(AUnknownTest, DamagedStreamGivesAnObjectNoOtherObjectAsAnInterface) {
    Bytes bytes;
    bytes.byte(2).open("test::Thing").byte(2).dword(1);
    bytes.byte(2).open("test::Speaker").byte(2).dword(0).byte(1).byte(0).dword(7).close().close();
    bytes.byte(1).word(2);
    Input in(bytes.str());
    FinalReleasePause const pause;
    TRef<Object> thing(in->readPointer<Object>());
    TRef<Object> const speaker(in->readPointer<Object>());
    ASSERT_TRUE(thing && speaker);
    EXPECT_FALSE(thing->queryInterface(&ILabel::metaclass_));
    EXPECT_TRUE(speaker->queryInterface(&ILabel::metaclass_));
}

// The interface claims an object that does not list it; it must not outlive that object unknown.
TEST_F(AUnknownTest, InterfaceThatClaimsAnObjectGoesWithIt) {
    Bytes bytes;
    bytes.byte(2).open("test::Thing").byte(2).dword(0).close();
    bytes.byte(2).open("test::ILabel").byte(1).byte(1).word(1).dword(0).close();
    Input in(bytes.str());
    TRef<Object> object(in->readPointer<Object>());
    auto * const label = in->readPointer<ILabel>();
    ASSERT_TRUE(object && label);
    EXPECT_EQ(label->objectPointer(), object);
    object.empty();
    EXPECT_EQ(things(), 0);
    EXPECT_EQ(labels(), 0);
}

} // namespace
