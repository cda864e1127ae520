#include "foundation/GCollection.h"

#include "StreamBytes.h"
#include "foundation/GException.h"
#include "foundation/GStringCollection.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace stream_bytes;

namespace {

/// Writes its name to a log when it ends.
struct Mourned {
    Mourned(char name, std::string & log) : name_(name), log_(log) {}
    ~Mourned() { log_ += name_; }
    char name_;
    std::string & log_;
};

template <class T>
std::vector<T *> items(TGCollection<T> const & collection) {
    std::vector<T *> result;
    for (long i = 0; i < collection.getCount(); ++i)
        result.push_back(collection.at(i));
    return result;
}

using Ints = TGCollection<int>;

class Numbers : public TGSortedCollection<int> {
  public:
    using TGSortedCollection<int>::TGSortedCollection;
    int compare(void const * a, void const * b) const override {
        return *static_cast<int const *>(a) - *static_cast<int const *>(b);
    }
};

class ByName : public TGSortedCollection<Mourned> {
  public:
    int compare(void const * a, void const * b) const override {
        return static_cast<Mourned const *>(a)->name_ - static_cast<Mourned const *>(b)->name_;
    }
};

struct OutOfRange {
    long index, low, high;
};

template <class Act>
OutOfRange thrownBy(Act act) {
    try {
        act();
    } catch (GCollection_IndexOutOfRange_Exception const & e) {
        return {e.index(), e.low(), e.high()};
    }
    return {-99, -99, -99};
}

} // namespace

TEST(GCollection, FillsTheGapInFrontOfAnInsertBeyondTheEnd) {
    int a = 0;
    Ints collection(0, 4, 0);
    collection.at_insert(5, &a);
    std::vector<int *> const expected{nullptr, nullptr, nullptr, nullptr, nullptr, &a};
    EXPECT_EQ(items(collection), expected);
    EXPECT_EQ(collection.getLimit(), 8) << "growth goes by delta, step by step";
}

TEST(GCollection, RefusesIndicesOutsideWithTheRangeThatWasThere) {
    int a = 0;
    Ints collection(0, 4, 0);
    OutOfRange const negative = thrownBy([&] { collection.at_insert(-1, &a); });
    EXPECT_EQ(negative.index, -1);
    EXPECT_EQ(negative.low, 0);
    EXPECT_EQ(negative.high, -1);
    collection.insert(&a);
    EXPECT_EQ(thrownBy([&] { collection.at_put(1, &a); }).index, 1);
    EXPECT_EQ(thrownBy([&] { collection.at_remove(1); }).high, 0);
    EXPECT_EQ(thrownBy([&] { collection.at_free(-2); }).index, -2);
    EXPECT_EQ(collection.getCount(), 1);
}

TEST(GCollection, FreesOwnedItemsFromTheLastToTheFirst) {
    std::string log;
    {
        TGCollection<Mourned> owner;
        for (char name : std::string("abc"))
            owner.insert(new Mourned(name, log));
        owner.at_free(1);
        EXPECT_EQ(log, "b");
        owner.insert(nullptr);
    }
    EXPECT_EQ(log, "bca");

    Mourned guest('x', log);
    {
        TGCollection<Mourned> borrower(0, 1, 0);
        borrower.insert(&guest);
        borrower.empty();
        EXPECT_EQ(borrower.getCount(), 0);
        borrower.insert(&guest);
    }
    EXPECT_EQ(log, "bca");
}

TEST(GCollection, FindsByIdentityFromTheEnd) {
    int a = 1, b = 1;
    Ints collection(0, 4, 0);
    collection + &a + &b + &a;
    EXPECT_EQ(collection.index_of(&a), 2);
    EXPECT_EQ(collection.remove(&a), 2);
    EXPECT_EQ(items(collection), (std::vector<int *>{&a, &b}));
    collection - &a;
    EXPECT_EQ(collection.remove(&a), -1);
    EXPECT_EQ(collection.free(&a), -1);
}

TEST(GCollection, PacksWithoutTouchingOrderOrLimit) {
    int a = 0, b = 0;
    Ints collection(10, 4, 0);
    collection + nullptr + &a + nullptr + nullptr + &b;
    collection.pack();
    EXPECT_EQ(items(collection), (std::vector<int *>{&a, &b}));
    EXPECT_EQ(collection.getLimit(), 10);
    collection.setLimit(1);
    EXPECT_EQ(collection.getLimit(), 2) << "never below the count";
    collection.setDelta(0);
    EXPECT_EQ(collection.getDelta(), 4);
}

// Removals in front leave free slots there, which later inserts at either end must find again.
TEST(GCollection, BehavesLikeASequenceWhileItemsComeAndGoAtBothEnds) {
    int values[64] = {};
    for (int favoured = 0; favoured < 4; ++favoured) {
        Ints collection(0, 3, 0);
        std::vector<int *> model;
        unsigned random = 99;
        for (int step = 0; step < 4000; ++step) {
            random = random * 1664525 + 1013904223;
            long const count = long(model.size());
            long const anywhere = long(random >> 20) % (count + 1);
            // Out at the front, in at the end or the front, or either anywhere.
            long const in = favoured == 0 ? count : favoured == 1 ? 0 : anywhere;
            long const out = favoured <= 1 ? 0 : anywhere;
            if (random >> 31 && out < count) {
                collection.at_remove(out);
                model.erase(model.begin() + out);
            } else if (count < 40) {
                collection.at_insert(in, &values[step % 64]);
                model.insert(model.begin() + in, &values[step % 64]);
            }
            if (step % 50 == 0)
                collection.setLimit(count + step % 7);
            ASSERT_EQ(items(collection), model);
        }
    }
}

TEST(GSortedCollection, ReturnsTheOldItemsPlaceAndFreesTheNewOne) {
    std::string log;
    ByName owner;
    owner.insert(new Mourned('c', log));
    owner.insert(new Mourned('a', log));
    Mourned * const stays = owner.at(1);
    EXPECT_EQ(owner.insert(new Mourned('c', log)), 1);
    EXPECT_EQ(log, "c");
    EXPECT_EQ(owner.at(1), stays);
}

TEST(GSortedCollection, FreesTheItemThatItTookOutNotTheKey) {
    std::string log;
    ByName owner;
    owner.insert(new Mourned('c', log));
    Mourned key('c', log);
    EXPECT_EQ(owner.free(&key), 0);
    EXPECT_EQ(log, "c");
    EXPECT_EQ(owner.getCount(), 0);
}

TEST(GSortedCollection, PutsAnEqualItemInFrontAndFindsEachByIdentity) {
    int first = 7, second = 7, third = 7, stranger = 7, other = 8;
    Numbers numbers(0, 4, 0);
    numbers.setDuplicates(1);
    numbers + &other + &first + &second + &third;
    EXPECT_EQ(numbers.at(0), &third);
    EXPECT_EQ(numbers.at(2), &first);
    EXPECT_EQ(numbers.index_of(&first), 2);
    EXPECT_EQ(numbers.index_of(&stranger), -1);
}

TEST(GSortedCollection, BehavesLikeAMultisetUnderRandomOperations) {
    for (unsigned char duplicates : {0, 1}) {
        Numbers numbers(0, 3, 1);
        numbers.setDuplicates(duplicates);
        std::multiset<int> model;
        unsigned random = 12345;
        for (int step = 0; step < 4000; ++step) {
            random = random * 1664525 + 1013904223;
            int const value = static_cast<int>(random >> 16) % 50;
            if (random >> 31) {
                numbers.insert(new int(value));
                if (duplicates || !model.count(value))
                    model.insert(value);
                continue;
            }
            long index = 0;
            bool const found = numbers.search(&value, index);
            ASSERT_EQ(found, model.count(value) > 0);
            ASSERT_EQ(index, std::distance(model.begin(), model.lower_bound(value)));
            if (found) {
                numbers.at_free(index);
                model.erase(model.find(value));
            }
        }
        ASSERT_EQ(numbers.getCount(), static_cast<long>(model.size()));
        long index = 0;
        for (int value : model)
            EXPECT_EQ(*numbers.at(index++), value);
    }
}

TEST(GSortedCollection, ResortsAfterKeysChanged) {
    std::vector<int> values(101);
    Numbers numbers(0, 16, 0);
    for (int i = 0; i < 101; ++i) {
        values[static_cast<std::size_t>(i)] = i;
        numbers.insert(&values[static_cast<std::size_t>(i)]);
    }
    for (int & value : values)
        value = value * 37 % 101;
    numbers.resort();
    for (int i = 0; i < 101; ++i)
        EXPECT_EQ(*numbers.at(i), i);
}

TEST(GSortedCollection, OrdersByAddressUnlessTold) {
    GSortedCollection plain;
    auto const at = [](std::uintptr_t value) { return reinterpret_cast<void *>(value); };
    EXPECT_EQ(plain.compare(at(100), at(96)), 4);
    EXPECT_LT(plain.compare(at(1), at(~std::uintptr_t(0))), 0);
    EXPECT_GT(plain.compare(at(~std::uintptr_t(0)), at(1)), 0);
}

TEST(GStringCollection, CopiesOwnedTextsAndSharesBorrowedOnes) {
    GStringCollection owner;
    for (char const * text : {"pear", "apple", "apple", "fig"})
        owner.insert(gnewstr(text));
    ASSERT_EQ(owner.getCount(), 3);
    EXPECT_STREQ(owner.at(0), "apple");
    EXPECT_EQ(owner.index_of("pear"), 2);
    owner.at_insert(3, nullptr);

    GStringCollection copy(owner);
    EXPECT_STREQ(copy.at(1), "fig");
    EXPECT_NE(copy.at(1), owner.at(1));
    EXPECT_EQ(copy.at(3), nullptr);

    owner.shouldDelete(0);
    copy = owner;
    EXPECT_EQ(copy.at(1), owner.at(1));
    owner.shouldDelete(1);
}

TEST(GCollectionStream, WritesCompactNumbersFlagsAndItems) {
    GStringCollection texts(3, 40000, 1);
    texts.setDuplicates(1);
    texts.insert(gnewstr("b"));
    texts.insert(gnewstr("a"));
    std::string const bytes = hex("0200 0300 0080 409C 01 0100 61 0100 62 01");
    EXPECT_EQ(written([&](opstream & out) { texts.write(out); }), bytes);

    Input in(bytes);
    GStringCollection back;
    back.insert(gnewstr("dropped by the read"));
    back.read(*in);
    ASSERT_EQ(back.getCount(), 2);
    EXPECT_STREQ(back.at(1), "b");
    EXPECT_EQ(back.getLimit(), 3);
    EXPECT_EQ(back.getDelta(), 40000);
    EXPECT_EQ(back.getDuplicates(), 1);
    EXPECT_TRUE(in->good());
}

TEST(GCollectionStream, FillsAllSlotsOfACollectionThatLostItemsInFront) {
    GStringCollection texts(4, 4, 1);
    for (char const * text : {"a", "b", "c", "d"})
        texts.insert(gnewstr(text));
    texts.at_free(0);
    texts.at_free(0);
    Input in(hex("0400 0400 0400 01 0100 65 0100 66 0100 67 0100 68 00"));
    texts.read(*in);
    ASSERT_EQ(texts.getCount(), 4);
    EXPECT_STREQ(texts.at(0), "e");
    EXPECT_STREQ(texts.at(3), "h");
}

TEST(GCollectionStream, DoesNotBelieveCountsThatNothingFollows) {
    // The greatest numbers of the form: first with one text behind them, then cut off.
    for (char const * bytes : {"FFFF FFFF FFFF FFFF FFFF FFFF 01 0100 61", "FFFF FFFF"}) {
        Input in(hex(bytes));
        GStringCollection texts;
        texts.read(*in);
        EXPECT_TRUE(in->fail());
        EXPECT_LE(texts.getCount(), 3);
        EXPECT_LE(texts.getLimit(), 2000);
        EXPECT_LE(texts.getDelta(), 65536);
    }
}

TEST(GCollectionStream, BoundsItemsThatTakeNoBytes) {
    Input in(hex("FFFF FFFF 0000 0400 00") + std::string(64, '\0'));
    GCollection plain;
    plain.read(*in);
    EXPECT_TRUE(in->fail());
    EXPECT_LE(plain.getCount(), 65536);
}
