#include "tavlinbase/RefCounter.h"

#include "persistence/ResourceFile.h"
#include "persistence/pstream.h"
#include "tavlinbase/TRef.h"
#include "tests/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using Tavlin::FinalReleasePause;
using Tavlin::RefCounter;
using Tavlin::TRef;

std::vector<int> g_ended;

class Counted : public RefCounter {
  public:
    explicit Counted(int number) : number_(number) {}
    ~Counted() override {
        TRef<Counted> const goodbye(this); // a last look must not end it twice
        g_ended.push_back(number_);
    }
    TRef<Counted> next;

  private:
    int number_;
};
class Virtual : public virtual RefCounter {};
class Joined : public Virtual, public virtual RefCounter {};

class RefCounterTest : public testing::Test {
  protected:
    RefCounterTest() { g_ended.clear(); }
};
using Ended = std::vector<int>;

TEST_F(RefCounterTest, LastReferenceEndsTheObject) {
    auto * const object = new Counted(1);
    EXPECT_EQ(object->getReferenceCount(), 0);
    TRef<Counted> first(object);
    TRef<Counted> second = first;
    EXPECT_EQ(object->getReferenceCount(), 2);
    TRef<Counted> moved = std::move(second);
    EXPECT_EQ(object->getReferenceCount(), 2);
    first.empty();
    EXPECT_EQ(first, nullptr);
    EXPECT_TRUE(g_ended.empty());
    moved = nullptr;
    EXPECT_EQ(g_ended, Ended{1});
}

TEST_F(RefCounterTest, AssignmentIsSafeWhenTheOldObjectHoldsTheNewOne) {
    TRef<Counted> list(new Counted(1));
    list->next = new Counted(2);
    TRef<Counted> const & same = list;
    list = same;
    EXPECT_TRUE(g_ended.empty());
    list = list->next;
    EXPECT_EQ(g_ended, Ended{1});
    EXPECT_EQ(list->getReferenceCount(), 1);
}

// A file can hold such a chain without any nesting, each object naming the one before it.
TEST_F(RefCounterTest, ALongChainEndsWithinTheStack) {
    constexpr int length = 300000;
    TRef<Counted> first;
    for (int i = length; i > 0; --i) {
        TRef<Counted> const fresh(new Counted(i));
        fresh->next = first;
        first = fresh;
    }
    TRef<Counted> const kept = first->next;
    first.empty();
    EXPECT_EQ(g_ended, Ended{1});
    {
        TRef<Counted> rest = std::move(kept->next);
        RefCounter::PauseFinalRelease();
        rest.empty();
        EXPECT_EQ(g_ended.size(), 1u);
        RefCounter::ResumeFinalRelease();
    }
    ASSERT_EQ(g_ended.size(), std::size_t(length - 1));
    for (int i = 1; i < length - 1; ++i)
        ASSERT_EQ(g_ended[std::size_t(i)], i + 2);
}

TEST_F(RefCounterTest, ReferencesToPartsShareTheCountOfAVirtualBase) {
    TRef<Joined> const whole(new Joined);
    TRef<Virtual> const part(whole);
    TRef<RefCounter> const base(part);
    EXPECT_EQ(whole->getReferenceCount(), 3);
    EXPECT_EQ(base, whole);
}

TEST_F(RefCounterTest, PauseKeepsWhatFallsToZeroUntilResume) {
    auto * const lost = new Counted(1);
    auto * const found = new Counted(2);
    RefCounter::PauseFinalRelease();
    TRef<Counted>(lost).empty();
    TRef<Counted>(found).empty();
    EXPECT_EQ(lost->getReferenceCount(), 1);
    TRef<Counted> const again(found);
    RefCounter::ResumeFinalRelease();
    EXPECT_EQ(g_ended, Ended{1});
    EXPECT_EQ(found->getReferenceCount(), 1);
}

TEST_F(RefCounterTest, OutermostResumeEndsTheLastFirst) {
    RefCounter::PauseFinalRelease();
    {
        FinalReleasePause const inner;
        EXPECT_EQ(RefCounter::IsFinalReleasePaused(), 2);
        for (int i = 1; i <= 3; ++i)
            TRef<Counted>(new Counted(i)).empty();
    }
    EXPECT_TRUE(g_ended.empty());
    RefCounter::ResumeFinalRelease();
    EXPECT_EQ(g_ended, (Ended{3, 2, 1}));
    EXPECT_EQ(RefCounter::IsFinalReleasePaused(), 0);
}

TEST_F(RefCounterTest, AnObjectThatPassesThePauseTwiceEndsOnce) {
    auto * const object = new Counted(1);
    RefCounter::PauseFinalRelease();
    TRef<Counted>(object).empty();
    {
        TRef<Counted> const again(object);
        EXPECT_EQ(object->getReferenceCount(), 2);
    }
    RefCounter::ResumeFinalRelease();
    EXPECT_EQ(g_ended, Ended{1});
}

TEST_F(RefCounterTest, WhatEndsAtResumeEndsItsOwnReferencesAtOnce) {
    RefCounter::PauseFinalRelease();
    {
        TRef<Counted> const owner(new Counted(1));
        owner->next = new Counted(2);
    }
    RefCounter::ResumeFinalRelease();
    EXPECT_EQ(g_ended, (Ended{1, 2}));
}

TEST_F(RefCounterTest, PauseOfOneThreadLeavesOthersAlone) {
    FinalReleasePause const pause;
    std::thread([] {
        EXPECT_EQ(RefCounter::IsFinalReleasePaused(), 0);
        TRef<Counted>(new Counted(7)).empty();
    }).join();
    EXPECT_EQ(g_ended, Ended{7});
}

TEST_F(RefCounterTest, CopyTakesTheCountAlong) {
    TRef<Virtual> const original(new Virtual);
    Virtual const copy(*original);
    EXPECT_EQ(copy.getReferenceCount(), 1);
}

/// Does not like what it reads, and may let something else hold it meanwhile.
class Picky : public RefCounter {
    G_DECLARE_CREATABLE(Picky)
  public:
    Picky() = default;
    ~Picky() override { g_ended.push_back(1); }
    void read(ipstream & in) override {
        if (isHeld)
            holder = this;
        in.setstate(pstream::ReadFailedBit);
    }
    static bool isHeld;
    static TRef<Picky> holder;
};
bool Picky::isHeld = false;
TRef<Picky> Picky::holder;
G_DEFINE_CREATABLE(Picky, "T::Picky", RefCounter)

TEST_F(RefCounterTest, WhatAResourceFileCouldNotReadWholeEndsByItsCount) {
    TemporaryDirectory const directory;
    ResourceFile file(directory.name("file.res").c_str(), GIO::ReadWriteMode);
    file.put(TRef<Picky>(new Picky).pointer(), "g", "T", false);
    g_ended.clear();
    for (bool const isHeld : {false, true}) {
        Picky::isHeld = isHeld;
        EXPECT_EQ(file.get("g", "T", false), nullptr);
        EXPECT_EQ(g_ended, isHeld ? Ended{} : Ended{1});
        g_ended.clear();
    }
    EXPECT_EQ(Picky::holder->getReferenceCount(), 1);
    Picky::holder = nullptr;
    EXPECT_EQ(g_ended, Ended{1});
}

} // namespace
