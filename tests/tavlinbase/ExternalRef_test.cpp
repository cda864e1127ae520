#include "tavlinbase/ExternalRef.h"

#include "ObjectKernel_support.h"

#include <gtest/gtest.h>

namespace {

using namespace kernel_test;

/// Shows the target.
class Ref : public ExternalRef {
  public:
    using ExternalRef::ExternalRef;
    using ExternalRef::operator=;
    using ExternalRef::pointer;
};

TRef<AUnknown> counterOf(TRef<Thing> const & thing) {
    return thing->querySafeInterface(&ExternalRefCounter::metaclass_);
}

TEST(ExternalRef, GoesNullWhenTheTargetGoes) {
    int const before = Thing::alive;
    TRef<Thing> thing(new Thing);
    Ref first(counterOf(thing));
    Ref second(counterOf(thing));
    EXPECT_EQ(first.pointer(), thing);
    EXPECT_EQ(first.internalCount(), 1);
    EXPECT_EQ(first.externalCount(), 2);
    thing.empty();
    EXPECT_EQ(Thing::alive, before);
    for (Ref const * ref : {&first, &second}) {
        EXPECT_EQ(ref->pointer(), nullptr);
        EXPECT_EQ(ref->internalCount(), 0);
        EXPECT_EQ(ref->externalCount(), 0);
    }
}

TEST(ExternalRef, CopyForPassingByValueFindsTheTargetGoneToo) {
    TRef<Thing> thing(new Thing);
    Ref original(counterOf(thing));
    Ref const copy(original);
    EXPECT_EQ(copy.pointer(), thing);
    EXPECT_EQ(original.externalCount(), 2);
    thing.empty();
    EXPECT_EQ(original.externalCount(), 0);
    EXPECT_EQ(copy.pointer(), nullptr);
    EXPECT_EQ(copy.externalCount(), 1);
}

TEST(ExternalRef, AssignmentAndEmptyLeaveTheFormerTarget) {
    TRef<Thing> const first(new Thing);
    TRef<Thing> second(new Thing);
    Ref a(counterOf(first));
    Ref b(counterOf(second));
    a = b;
    EXPECT_EQ(a.pointer(), second);
    EXPECT_EQ(counterOf(first)->getReferenceCount(), 1); // this look at it
    Ref const & same = a;
    a = same;
    EXPECT_EQ(a.externalCount(), 2);
    b.empty();
    EXPECT_EQ(b.pointer(), nullptr);
    second.empty(); // an assigned one is cut, unlike a copy
    EXPECT_EQ(a.externalCount(), 0);
    a = counterOf(first);
    EXPECT_EQ(a.pointer(), first);
    a = TRef<AUnknown>();
    EXPECT_EQ(a.pointer(), nullptr);
}

TEST(ExternalRef, IsCutEvenWhenAnotherInterfaceKeepsTheTarget) {
    TRef<Thing> thing(new Thing);
    TRef<AUnknown> const label(new ILabel);
    thing->addInterface(label);
    Ref const ref(counterOf(thing));
    thing.empty();
    EXPECT_TRUE(label->objectPointer());
    EXPECT_EQ(ref.pointer(), nullptr);
}

TEST(ExternalRef, CounterStaysOutOfStreams) {
    TRef<Thing> const thing(new Thing);
    Ref const ref(counterOf(thing));
    Bytes expected;
    expected.byte(2).open("test::Thing").byte(2).dword(0).close();
    EXPECT_EQ(written([&](opstream & out) { out.writePointer(thing.pointer()); }), expected.str());
}

} // namespace
