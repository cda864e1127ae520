#include "foundation/TGVector.h"

#include "foundation/GException.h"
#include "foundation/TSCDictionary.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

/// Counts how many exist, so that one that is lost or ended twice shows.
struct Counted {
    Counted(int number = 0) : value(number) { ++alive; }
    Counted(Counted const & other) : value(other.value) { ++alive; }
    Counted & operator=(Counted const &) = default;
    ~Counted() { --alive; }
    bool operator==(Counted const & other) const { return value == other.value; }
    bool operator<(Counted const & other) const { return value < other.value; }
    int value;
    static int alive;
};
int Counted::alive = 0;

template <class T>
std::vector<T> items(TGVector<T> const & vector) {
    return {vector.begin(), vector.end()};
}

/// The same random edits of a vector and of its model must end alike.
template <class T, class Make>
void expectLikeStdVector(bool bitwise, Make make) {
    TGVector<T> vector(0, 3, bitwise);
    std::vector<T> model;
    unsigned random = 99;
    for (int step = 0; step < 3000; ++step) {
        random = random * 1664525 + 1013904223;
        auto const place = static_cast<long>(random >> 8) % (vector.getCount() + 1);
        T const item = make(static_cast<int>(random >> 20));
        unsigned const act = random >> 30;
        if (act < 2) {
            vector.at_insert(place, item);
            model.insert(model.begin() + place, item);
        } else if (place == vector.getCount()) {
            vector.setLimit(0);
        } else if (act == 2) {
            vector.at_remove(place);
            model.erase(model.begin() + place);
        } else {
            vector.at_put(place, item);
            model[static_cast<std::size_t>(place)] = item;
        }
    }
    EXPECT_EQ(items(vector), model);
}

} // namespace

TEST(TGVector, BehavesLikeAStdVectorHoweverItsItemsMove) {
    expectLikeStdVector<int>(false, [](int n) { return n; });
    expectLikeStdVector<int>(true, [](int n) { return n; });
    // A text that is longer than what a std::string keeps in itself.
    auto const text = [](int n) { return std::string(40, static_cast<char>('a' + n % 26)); };
    expectLikeStdVector<std::string>(false, text);
    // It owns something and may yet move as bytes.
    auto const shared = [](int n) { return std::make_shared<int>(n); };
    expectLikeStdVector<std::shared_ptr<int>>(true, shared);
}

TEST(TGVector, GrowsOnlyWhenFullAndToMultiplesOfDelta) {
    TGVector<int> vector(5, 4);
    for (int i = 0; i < 5; ++i)
        vector.insert(i);
    EXPECT_EQ(vector.getLimit(), 5);
    EXPECT_EQ(vector.insert(5), 5);
    EXPECT_EQ(vector.getLimit(), 8);
    vector.at_insert(9, 9);
    EXPECT_EQ(vector.getLimit(), 12);
    EXPECT_EQ(items(vector), (std::vector<int>{0, 1, 2, 3, 4, 5, 0, 0, 0, 9}));
    vector.setLimit(2);
    EXPECT_EQ(vector.getLimit(), 10);
}

TEST(TGVector, EndsEveryItemItBegan) {
    {
        TGVector<Counted> vector;
        for (int i = 0; i < 10; ++i)
            vector.insert(i);
        vector.at_remove(3);
        EXPECT_EQ(Counted::alive, 9);
        vector.insert(vector[0]);
        TGVector<Counted> copy(vector), moved(std::move(copy));
        EXPECT_EQ(Counted::alive, 20);
        copy = moved;
        vector.empty();
        EXPECT_EQ(items(copy), items(moved));
        EXPECT_EQ(Counted::alive, 20);
        vector = std::move(moved);
        EXPECT_EQ(vector.getCount(), 10);
        EXPECT_EQ(vector.remove(5), 4);
        EXPECT_EQ(vector.remove(55), -1);
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(TGVector, TakesAnItemOfItsOwnWhileItGrows) {
    TGVector<std::string> vector(1, 1);
    vector.insert(std::string(60, 'x'));
    for (int i = 0; i < 5; ++i)
        vector.at_insert(0, vector[vector.getCount() - 1]);
    for (std::string const & item : vector)
        EXPECT_EQ(item, std::string(60, 'x'));
}

TEST(TGVector, RefusesIndicesOutside) {
    TGVector<int> vector;
    EXPECT_THROW(vector.at_insert(-1, 0), TGVector_IndexOutOfRange_Exception);
    vector.insert(1);
    EXPECT_THROW(vector.at_put(1, 0), TGVector_IndexOutOfRange_Exception);
    try {
        vector.at_remove(7);
        FAIL();
    } catch (TGVector_IndexOutOfRange_Exception const & e) {
        EXPECT_EQ(e.index(), 7);
        EXPECT_EQ(e.low(), 0);
        EXPECT_EQ(e.high(), 0);
    }
}

TEST(TGSortedVector, BehavesLikeASet) {
    TGSortedVector<Counted> vector;
    std::set<int> model;
    unsigned random = 4711;
    for (int step = 0; step < 3000; ++step) {
        random = random * 1664525 + 1013904223;
        int const value = static_cast<int>(random >> 16) % 80;
        long const place = std::distance(model.begin(), model.lower_bound(value));
        bool const there = model.count(value) > 0;
        if (random >> 31) {
            TGVector<Counted> & base = vector;
            ASSERT_EQ(base.insert(value), place);
            model.insert(value);
        } else {
            ASSERT_EQ(vector.remove(value), there ? place : -1);
            model.erase(value);
        }
    }
    EXPECT_TRUE(std::equal(vector.begin(), vector.end(), model.begin(), model.end(),
                           [](Counted const & a, int b) { return a.value == b; }));
}

TEST(TSCDictionary, BehavesLikeAMapAndKeepsValuesInPlace) {
    Tavlin::TSCDictionary<std::string, int> dictionary;
    std::map<std::string, int> model;
    dictionary.insert("kept", -1);
    int const * const kept = dictionary.find("kept");
    unsigned random = 31;
    for (int step = 0; step < 2000; ++step) {
        random = random * 1664525 + 1013904223;
        std::string const key = std::to_string(random >> 8 & 127);
        unsigned const act = random >> 30;
        if (act < 2) {
            ASSERT_EQ(dictionary.insert(key, step), model.emplace(key, step).second);
        } else if (act == 2) {
            ASSERT_EQ(dictionary.remove(key), model.erase(key) > 0);
        } else {
            ASSERT_EQ(dictionary.find(key) != nullptr, model.count(key) > 0);
        }
    }
    EXPECT_EQ(dictionary.find("kept"), kept);
    EXPECT_EQ(*kept, -1);
    dictionary.remove("kept");
    ASSERT_EQ(dictionary.getCount(), static_cast<long>(model.size()));
    long index = 0;
    for (auto const & [key, value] : model) {
        EXPECT_EQ(dictionary.keyAt(index), key);
        EXPECT_EQ(dictionary.valueAt(index++), value);
    }
    EXPECT_THROW(dictionary.removeAt(index), GCollection_IndexOutOfRange_Exception);
}

TEST(TSCDictionary, ResortsByTheNewOrder) {
    static bool descending = false;
    struct Key {
        int value;
        bool operator<(Key const & other) const {
            return descending ? other.value < value : value < other.value;
        }
    };
    Tavlin::TSCDictionary<Key, int> dictionary;
    for (int i : {3, 1, 2})
        dictionary.insert({i}, i);
    descending = true;
    dictionary.resort();
    EXPECT_EQ(dictionary.keyAt(0).value, 3);
    ASSERT_NE(dictionary.find({1}), nullptr);
    EXPECT_EQ(*dictionary.find({1}), 1);
}
