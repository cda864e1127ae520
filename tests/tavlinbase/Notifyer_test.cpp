#include "tavlinbase/Notifyer.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

using namespace Tavlin;

namespace {

std::string log;

class Listener : public NotifyCallback {
  public:
    explicit Listener(char name, bool mind = true) : NotifyCallback(mind), name_(name) {}
    ~Listener() override { log += '~', log += name_; }
    void notify(Notifyer const &) override {
        log += name_;
        if (onNotify)
            onNotify();
    }
    std::function<void()> onNotify;

  private:
    char name_;
};

class Subject : public Notifyer {
  public:
    using Notifyer::lockup;
    using Notifyer::unlock;
};

struct NotifyerTest : testing::Test {
    void SetUp() override { log.clear(); }
    /// What was logged since the last call.
    std::string logged() { return std::exchange(log, std::string()); }
};

} // namespace

TEST_F(NotifyerTest, TellsOncePerOutermostChangeTheLastFirst) {
    Listener a('a'), b('b'), c('c');
    Subject subject;
    subject.addPrior(&a);
    subject.addPrior(&b);
    subject.addPrior(&a);
    subject.addPost(&c);
    EXPECT_EQ(subject.getPriorCount(), 2);
    subject.lockup();
    EXPECT_EQ(logged(), "ba");
    subject.lockup();
    subject.unlock();
    EXPECT_EQ(logged(), "");
    subject.unlock();
    EXPECT_EQ(logged(), "c");
}

TEST_F(NotifyerTest, KeepsTheSlotOfTheDeadUntilTheSweep) {
    Subject subject;
    Listener a('a');
    auto b = std::make_unique<Listener>('b');
    subject.addPrior(b.get());
    subject.addPost(b.get());
    subject.addPrior(&a);
    b.reset();
    EXPECT_EQ(subject.getPrior(0), nullptr);
    EXPECT_EQ(subject.getPrior(1), &a);
    EXPECT_EQ(subject.getPost(0), nullptr);
    logged();
    subject.lockup();
    subject.unlock();
    EXPECT_EQ(logged(), "a");
    EXPECT_EQ(subject.getPriorCount(), 1);
    EXPECT_EQ(subject.getPostCount(), 0);
}

TEST_F(NotifyerTest, LeavesTheWalkWholeWhenACallbackDiesInIt) {
    Subject subject;
    Listener a('a');
    auto b = std::make_unique<Listener>('b');
    Listener c('c');
    for (Listener * listener : {&a, b.get(), &c})
        subject.addPrior(listener);
    c.onNotify = [&] { b.reset(); };
    subject.lockup();
    EXPECT_EQ(logged(), "c~ba");
    subject.unlock();
}

TEST_F(NotifyerTest, LetsACallbackRemoveItselfAndOthers) {
    Subject subject;
    Listener a('a'), b('b'), c('c');
    for (Listener * listener : {&a, &b, &c})
        subject.addPrior(listener);
    c.onNotify = [&] {
        for (Listener * listener : {&a, &b, &c})
            subject.removePrior(listener);
    };
    subject.lockup();
    EXPECT_EQ(logged(), "c");
    subject.unlock();
}

TEST_F(NotifyerTest, TellsEachOnceThoughOthersComeAndGoInTheWalk) {
    Subject subject;
    auto dead = std::make_unique<Listener>('x');
    Listener a('a'), b('b'), c('c'), d('d');
    for (Listener * listener : {dead.get(), &a, &b, &c})
        subject.addPrior(listener);
    dead.reset();
    logged();
    c.onNotify = [&] { subject.addPrior(&d); }; // sweeps the slot of the dead
    bool once = true;
    b.onNotify = [&] {
        if (!std::exchange(once, false))
            return;
        subject.removePrior(&c);
        subject.unlock();
        subject.lockup(); // a round within the round
    };
    a.onNotify = [&] { subject.removePrior(&b); };
    subject.lockup();
    EXPECT_EQ(logged(), "cbdbaa");
    subject.unlock();
}

TEST_F(NotifyerTest, EndsTheWalkWithTheSubject) {
    auto subject = std::make_unique<Subject>();
    Listener a('a'), b('b');
    subject->addPost(&a);
    subject->addPost(&b);
    b.onNotify = [&] { subject.reset(); };
    subject->lockup();
    subject->unlock();
    EXPECT_EQ(logged(), "b");
}

TEST_F(NotifyerTest, DeletesWithTheSubjectThoseWhoDoNotMind) {
    Listener guest('g');
    auto * const owned = new Listener('o', false);
    Subject second;
    {
        Subject first;
        first.addPrior(owned);
        first.addPost(owned);
        first.addPost(&guest);
        second.addPost(owned);
        second.addPost(&guest);
    }
    EXPECT_EQ(logged(), "~o");
    // The other subject has lost the owned one and still tells the guest.
    second.lockup();
    second.unlock();
    EXPECT_EQ(logged(), "g");
    EXPECT_EQ(second.getPostCount(), 1);
}
