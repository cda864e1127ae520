#include "tavlinbase/InterfaceIterator.h"

#include "ObjectKernel_support.h"
#include "tavlinbase/ObjectIterator.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using namespace kernel_test;

template <class Iterator>
std::vector<int> values(Iterator it) {
    std::vector<int> result;
    for (; it; ++it)
        result.push_back(gcast<ILabel>(it.get())->value);
    return result;
}

TEST(InterfaceIterator, WalksFromTheLastToTheObjectItself) {
    TRef<Speaker> const speaker(new Speaker);
    speaker->value = 1;
    for (int i = 2; i <= 4; ++i)
        speaker->addInterface(TRef<AUnknown>(new ILabel(i)));
    TInterfaceIterator<ILabel> it(speaker, true);
    EXPECT_EQ(values(it), (std::vector<int>{4, 3, 2, 1}));
    EXPECT_EQ(values(TInterfaceIterator<ILabel>(speaker, false)), (std::vector<int>{4, 3, 2}));
    EXPECT_EQ(values(InterfaceIterator(speaker, &AUnknown::metaclass_, true)),
              (std::vector<int>{4, 3, 2, 1}));
    EXPECT_TRUE(InterfaceIterator(speaker, &ISpecialLabel::metaclass_, true).is_empty());
    for (int i = 0; i < 6; ++i)
        it.next(); // beyond the end it stays there
    EXPECT_FALSE(it);
    it.first();
    EXPECT_EQ(it->value, 4);
}

TEST(InterfaceIterator, IsEmptyWithoutMatchesAndWithoutObject) {
    TRef<Thing> const thing(new Thing);
    EXPECT_FALSE(TInterfaceIterator<ILabel>(thing, false));
    EXPECT_FALSE(TInterfaceIterator<ILabel>(thing, true));
    EXPECT_FALSE(TInterfaceIterator<ILabel>(nullptr, true));
}

TEST(InterfaceIterator, SurvivesTheRemovalOfInterfaces) {
    TRef<Thing> const thing(new Thing);
    for (int i = 1; i <= 4; ++i)
        thing->addInterface(TRef<AUnknown>(new ILabel(i)));
    TInterfaceIterator<ILabel> it(thing, false);
    thing->removeAllInterfaces(&ILabel::metaclass_);
    it.next();
    EXPECT_FALSE(it);
}

TEST(ObjectIterator, VisitsTheObjectsOfAllDerivedClasses) {
    std::vector<Object *> expected, visited;
    std::vector<TRef<Object>> held;
    for (int i = 0; i < 3; ++i) {
        TRef<Thing> const thing(i == 1 ? new SpecialThing : new Thing);
        thing->reg();
        held.emplace_back(thing);
        expected.push_back(thing);
    }
    TRef<Datum> const other(new Datum(1));
    other->reg();
    for (ObjectIterator it(&Thing::metaclass_); it; ++it)
        visited.push_back(it.get());
    std::sort(expected.begin(), expected.end());
    std::sort(visited.begin(), visited.end());
    EXPECT_EQ(visited, expected);
    EXPECT_EQ(ObjectIterator(&SpecialThing::metaclass_).get(), held[1]);
    EXPECT_TRUE(ObjectIterator(&Speaker::metaclass_).is_empty());
}

} // namespace
