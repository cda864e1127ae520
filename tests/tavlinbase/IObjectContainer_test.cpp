#include "tavlinbase/IObjectContainer.h"

#include "ObjectKernel_support.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using namespace kernel_test;

class IObjectContainerTest : public testing::Test {
  protected:
    IObjectContainerTest() {
        for (TRef<Object> & object : object_)
            object = new Thing;
        object_[3] = new Datum(3);
        object_[0]->addInterface(list_);
    }
    /// The list as indices into object_.
    std::vector<int> list() const {
        std::vector<int> result;
        for (int i = 0; i < list_->getObjectCount(); ++i)
            result.push_back(int(
                std::find(std::begin(object_), std::end(object_), list_->objectAt(i)) - object_));
        return result;
    }
    using List = std::vector<int>;

    TRef<Object> object_[5];
    TRef<IObjectContainer> list_{new IObjectContainer};
};

TEST_F(IObjectContainerTest, OwnerIsTheFirst) {
    EXPECT_EQ(list(), List{0});
    EXPECT_EQ(list_->insertObject(object_[1]), 1);
    EXPECT_EQ(list_->insertObject(object_[2]), 2);
    EXPECT_EQ(list_->indexOfObject(object_[0]), 0);
    EXPECT_EQ(list_->indexOfObject(object_[2]), 2);
    EXPECT_EQ(list_->indexOfObject(object_[4]), 0); // not there
}

TEST_F(IObjectContainerTest, InsertsAroundAReference) {
    list_->insertObject(object_[1]);
    EXPECT_EQ(list_->insertObjectAfter(object_[0], object_[2]), 1);
    EXPECT_EQ(list_->insertObjectBefore(object_[1], object_[3]), 2);
    EXPECT_EQ(list_->insertObjectAfter(object_[4], object_[4]), 4);
    EXPECT_EQ(list(), (List{0, 2, 3, 1, 4}));
}

TEST_F(IObjectContainerTest, ChangeOfTheFirstMovesTheContainer) {
    list_->insertObject(object_[1]);
    EXPECT_EQ(list_->insertObjectBefore(object_[0], object_[2]), 0);
    EXPECT_EQ(list(), (List{2, 0, 1}));
    EXPECT_EQ(object_[2]->queryInterface<IObjectContainer>(), list_);
    EXPECT_FALSE(object_[0]->queryInterface<IObjectContainer>());

    list_->putObjectAt(0, object_[3]);
    EXPECT_EQ(list(), (List{3, 0, 1}));
    list_->replaceObjectBy(object_[1], object_[2]);
    list_->replaceObjectBy(object_[4], object_[1]); // not there: the owner is replaced
    EXPECT_EQ(list(), (List{1, 0, 2}));
}

TEST_F(IObjectContainerTest, RemovedOwnerHandsOverToTheNextWhoStaysInTheList) {
    list_->insertObject(object_[1]);
    list_->insertObject(object_[2]);
    list_->removeObject(object_[0]);
    EXPECT_EQ(list(), (List{1, 1, 2}));
    list_->removeObject(object_[2]);
    list_->removeObjectAt(1);
    EXPECT_EQ(list(), List{1});
    list_->removeObject(object_[4]); // not there
    EXPECT_EQ(list(), List{1});
}

TEST_F(IObjectContainerTest, ContainerThatNobodyHoldsEndsWithoutAnOwner) {
    IObjectContainer * const list = list_;
    list_.empty();
    list->removeObjectAt(0);
    EXPECT_FALSE(object_[0]->queryInterface<IObjectContainer>());
}

TEST_F(IObjectContainerTest, FormerOwnerThatOnlyTheContainerKeptEnds) {
    for (bool const replaced : {true, false}) {
        object_[1]->addInterface(list_);
        int const before = Thing::alive;
        TRef<Object>(new Thing)->addInterface(list_); // moves the container, and lets go
        EXPECT_EQ(Thing::alive, before + 1);
        if (replaced)
            list_->putObjectAt(0, object_[2]);
        else
            list_->removeObjectAt(0);
        EXPECT_EQ(Thing::alive, before);
        EXPECT_EQ(list_->getObject(), replaced ? object_[2] : TRef<Object>());
    }
}

TEST_F(IObjectContainerTest, SearchByClassNeverGivesTheOwner) {
    list_->insertObjectAt(2, object_[3]); // leaves a null in front
    list_->insertObject(object_[1]);
    list_->insertObject(object_[2]);
    EXPECT_EQ(list_->getObject(&Thing::metaclass_), object_[1]);
    EXPECT_EQ(list_->getNext(&Thing::metaclass_), object_[2]);
    EXPECT_EQ(list_->getNext(&Thing::metaclass_), nullptr);
    EXPECT_EQ(list_->getObject(&Datum::metaclass_), object_[3]);
    EXPECT_EQ(list_->getObject(&Speaker::metaclass_), nullptr);
}

TEST_F(IObjectContainerTest, StreamsTheOthersBehindTheInterface) {
    list_->insertObject(object_[1]);
    list_->insertObject(object_[0]);
    Bytes expected;
    expected.byte(2).open("test::Thing").byte(2).dword(1);
    expected.byte(2).open("Tavlin::IObjectContainer").byte(1).byte(1).word(1).byte(0).dword(2);
    expected.byte(2).open("test::Thing").byte(2).dword(0).close();
    expected.byte(1).word(1).close().close();
    std::string const bytes =
        written([&](opstream & out) { out.writePointer(object_[0].pointer()); });
    EXPECT_EQ(bytes, expected.str());
    list_->removeObjectAt(2); // a list that holds its own owner never ends

    Input in(bytes);
    TRef<Object> const copy(in->readPointer<Object>());
    ASSERT_TRUE(copy);
    TRef<IObjectContainer> const list = copy->queryInterface<IObjectContainer>();
    ASSERT_TRUE(list);
    ASSERT_EQ(list->getObjectCount(), 3);
    EXPECT_EQ(list->objectAt(0), copy);
    EXPECT_TRUE(list->objectAt(1)->isKindOf(&Thing::metaclass_));
    EXPECT_EQ(list->objectAt(2), copy);
    list->removeObjectAt(2);
}

} // namespace
