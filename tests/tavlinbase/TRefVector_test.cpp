#include "tavlinbase/TRefVector.h"

#include "foundation/GException.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

using Tavlin::RefCounter;
using Tavlin::TRef;

class Item : public RefCounter {
  public:
    explicit Item(int itemKey) : key(itemKey) { ++alive; }
    ~Item() override { --alive; }
    int getCompareKey() const { return key; }
    int key;
    static int alive;
};
int Item::alive = 0;

using Vector = Tavlin::TRefVector<Item>;
using Sorted = Tavlin::TRefKeySortedVector<Item, int>;

TEST(TRefVector, AgreesWithAModelUnderRandomOperations) {
    std::mt19937 random(42);
    {
        Vector vector(0, 3);
        std::vector<TRef<Item>> model;
        for (int step = 0; step < 3000; ++step) {
            long const count = long(model.size());
            long const index = long(random() % (model.size() + 1));
            int const what = int(random() % 5);
            TRef<Item> const item(new Item(step));
            if (what <= 1) {
                vector.at_insert(index, item);
                model.insert(model.begin() + index, item);
            } else if (what == 2) {
                EXPECT_EQ(vector.insert(item), count);
                model.push_back(item);
            } else if (index < count && what == 3) {
                vector.at_put(index, item);
                model[std::size_t(index)] = item;
            } else if (index < count) {
                EXPECT_EQ(vector.remove(model[std::size_t(index)]), index);
                model.erase(model.begin() + index);
            }
            ASSERT_EQ(vector.getCount(), long(model.size()));
            ASSERT_EQ(vector.getLimit() % 3, 0);
        }
        for (std::size_t i = 0; i < model.size(); ++i) {
            EXPECT_EQ(vector[long(i)], model[i]);
            EXPECT_EQ(model[i]->getReferenceCount(), 2);
        }
        Vector const copy(vector);
        vector.empty();
        EXPECT_EQ(copy.getCount(), long(model.size()));
        EXPECT_EQ(vector.getCount(), 0);
    }
    EXPECT_EQ(Item::alive, 0);
}

TEST(TRefVector, InsertBehindTheEndLeavesNulls) {
    Vector vector(0, 4);
    TRef<Item> const item(new Item(1));
    vector.at_insert(5, item);
    EXPECT_EQ(vector.getCount(), 6);
    EXPECT_EQ(vector.getLimit(), 8);
    EXPECT_EQ(vector.index_of(nullptr), 0);
    EXPECT_EQ(vector.index_of(item), 5);
}

TEST(TRefVector, WrongIndicesAreTold) {
    Vector vector;
    TRef<Item> const item(new Item(1));
    vector.insert(item);
    EXPECT_THROW(vector.at_insert(-1, item), TGVector_IndexOutOfRange_Exception);
    EXPECT_THROW(vector.at_put(1, item), TGVector_IndexOutOfRange_Exception);
    EXPECT_THROW(vector.at_remove(1), TGVector_IndexOutOfRange_Exception);
    EXPECT_EQ(vector.getCount(), 1);
}

TEST(TRefVector, AnItemOfTheVectorItselfMayBeInserted) {
    Vector vector(1, 1);
    vector.insert(new Item(1));
    vector.at_insert(0, vector[0]);
    EXPECT_EQ(vector[0], vector[1]);
    EXPECT_EQ(vector[0]->getReferenceCount(), 2);
}

TEST(TRefKeySortedVector, KeepsEachKeyOnceInOrder) {
    Sorted vector;
    for (int key : {5, 1, 9, 3, 7})
        vector.insert(new Item(key));
    EXPECT_EQ(vector.insert(new Item(7)), 3);
    EXPECT_EQ(vector.getCount(), 5);
    EXPECT_EQ(Item::alive, 5);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(vector[i]->key, 1 + 2 * i);
    EXPECT_EQ(vector.find(9)->key, 9);
    EXPECT_EQ(vector.find(4), nullptr);
    long index;
    EXPECT_FALSE(vector.searchKey(100, index));
    EXPECT_EQ(index, 5);
}

TEST(TRefKeySortedVector, ResortFollowsChangedKeys) {
    Sorted vector;
    for (int key = 0; key < 20; ++key)
        vector.insert(new Item(key));
    for (long i = 0; i < 20; ++i)
        vector[i]->key = int(i * 7 % 20);
    vector.resort();
    for (long i = 0; i < 20; ++i)
        EXPECT_EQ(vector[i]->key, i);
}

} // namespace
