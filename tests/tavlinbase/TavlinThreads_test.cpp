#include "tavlinbase/TavlinThreads.h"

#include "diagnostics/TavlinError.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using Tavlin::EventCallback;
using Tavlin::Thread;
using Tavlin::Timer;

constexpr unsigned long aMinute = 60000;

class TestEvent {
  public:
    TestEvent() : handle(platform::createEvent(nullptr, false)) {}
    ~TestEvent() { platform::closeEvent(handle); }
    void set() { platform::setEvent(handle); }
    bool wait(unsigned long milliseconds = aMinute) {
        return platform::wait(handle, milliseconds) == 0;
    }
    HANDLE handle;
};

/// What callbacks report, and what holds them.
struct Calls {
    TestEvent called, goOn;
    std::atomic<int> count{0};
    std::atomic<bool> left{false};
};

void count(void * argument) {
    auto & calls = *static_cast<Calls *>(argument);
    ++calls.count;
    calls.called.set();
}

void countAndHold(void * argument) {
    auto & calls = *static_cast<Calls *>(argument);
    ++calls.count;
    calls.called.set();
    calls.goOn.wait();
    calls.left = true;
}

TEST(CriticalSection, CountsHowDeepItIsHeld) {
    static constinit Tavlin::CriticalSection section("test");
    section.lock();
    section.lock();
    EXPECT_EQ(section.lockCount(), 2);
    section.unlock();
    EXPECT_EQ(section.lockCount(), 1);
    section.unlock();
    EXPECT_EQ(section.lockCount(), 0);
}

class Worker : public Thread {
  public:
    Worker(Calls & calls, TestEvent & deleted, bool autoDestroy)
        : Thread("worker", true, 0, autoDestroy), calls_(calls), deleted_(deleted) {}
    ~Worker() override { deleted_.set(); }

  private:
    void run() override { count(&calls_); }
    Calls & calls_;
    TestEvent & deleted_;
};

TEST(Thread, RunsOnceItIsResumedAndCanBeWaitedFor) {
    Calls calls;
    TestEvent deleted;
    Worker worker(calls, deleted, false);
    EXPECT_EQ(worker.wait(0), Thread::TimedOut);
    EXPECT_EQ(calls.count, 0);
    EXPECT_EQ(worker.resume(), 1ul);
    EXPECT_EQ(worker.wait(aMinute), Thread::Ended);
    EXPECT_EQ(calls.count, 1);
}

TEST(Thread, WithAutoDestroyDeletesItselfAfterItsRun) {
    Calls calls;
    TestEvent deleted;
    (new Worker(calls, deleted, true))->resume();
    EXPECT_TRUE(deleted.wait());
    EXPECT_EQ(calls.count, 1);
}

TEST(Thread, TerminatedBehindItsGateItNeverRuns) {
    Calls calls;
    TestEvent deleted;
    Worker worker(calls, deleted, false);
    EXPECT_TRUE(worker.terminate(3));
    EXPECT_EQ(worker.wait(aMinute), Thread::Ended);
    EXPECT_EQ(calls.count, 0);
}

TEST(EventCallback, CallsForEachSignalOfANamedEvent) {
    HANDLE const event = platform::createEvent("EventCallback.named", false);
    Calls calls;
    {
        EventCallback callback("EventCallback.named", count, &calls, "caller", false, 0, true,
                               false);
        for (int expected = 1; expected <= 3; ++expected) {
            platform::setEvent(event);
            ASSERT_TRUE(calls.called.wait());
            EXPECT_EQ(calls.count, expected);
        }
        callback.done();
        platform::setEvent(event);
        EXPECT_EQ(callback.wait(0), Thread::Ended);
    }
    EXPECT_EQ(calls.count, 3);
    platform::closeEvent(event);
    EXPECT_EQ(platform::openEvent("EventCallback.named"), nullptr) << "all handles are given back";
}

TEST(EventCallback, OutlivesTheHandleItWasGiven) {
    HANDLE const event = platform::createEvent("EventCallback.handle", false);
    Calls calls;
    EventCallback callback(event, count, &calls, "caller", false, 0, true, false);
    platform::closeEvent(event);
    HANDLE const same = platform::openEvent("EventCallback.handle");
    ASSERT_NE(same, nullptr);
    platform::setEvent(same);
    EXPECT_TRUE(calls.called.wait());
    callback.done();
    platform::closeEvent(same);
}

TEST(EventCallback, WithoutAutoResetEndsAfterItsFirstSignal) {
    TestEvent event;
    Calls calls;
    EventCallback callback(event.handle, count, &calls, "caller", false, 0, false, false);
    event.set();
    EXPECT_EQ(callback.wait(aMinute), Thread::Ended);
    EXPECT_EQ(calls.count, 1);
}

struct Ender : Thread {
    Ender(EventCallback & ended, TestEvent & about, std::atomic<bool> & callLeft)
        : Thread("ender", true, 0, false), ended_(ended), about_(about), callLeft_(callLeft) {}
    void run() override {
        about_.set();
        ended_.done();
        leftBefore = callLeft_.load();
    }
    std::atomic<bool> leftBefore{false};

  private:
    EventCallback & ended_;
    TestEvent & about_;
    std::atomic<bool> & callLeft_;
};

TEST(EventCallback, DoneWaitsForARunningCall) {
    TestEvent event, about;
    Calls calls;
    EventCallback callback(event.handle, countAndHold, &calls, "caller", false, 0, true, false);
    event.set();
    ASSERT_TRUE(calls.called.wait());
    Ender ender(callback, about, calls.left);
    ender.resume();
    ASSERT_TRUE(about.wait());
    EXPECT_EQ(ender.wait(20), Thread::TimedOut) << "done returned during a call";
    calls.goOn.set();
    EXPECT_EQ(ender.wait(aMinute), Thread::Ended);
    EXPECT_TRUE(ender.leftBefore);
    event.set();
    EXPECT_EQ(callback.wait(0), Thread::Ended);
    EXPECT_EQ(calls.count, 1);
}

TEST(EventCallback, DoneFromWithinTheCallMakesItTheLast) {
    struct Self {
        TestEvent event;
        std::atomic<EventCallback *> callback{nullptr};
        int count = 0;
    } self;
    EventCallback callback(
        self.event.handle,
        [](void * argument) {
            auto & mine = *static_cast<Self *>(argument);
            ++mine.count;
            mine.event.set();
            mine.callback.load()->done();
        },
        &self, "caller", false, 0, true, false);
    self.callback = &callback;
    self.event.set();
    EXPECT_EQ(callback.wait(aMinute), Thread::Ended);
    EXPECT_EQ(self.count, 1);
}

TEST(EventCallback, DoneEndsOneThatNeverBegan) {
    TestEvent event;
    Calls calls;
    EventCallback callback(event.handle, count, &calls, "caller", true, 0, true, false);
    event.set();
    callback.done();
    EXPECT_EQ(callback.wait(0), Thread::Ended);
    EXPECT_EQ(calls.count, 0);
}

TEST(EventCallback, WithAutoDestroyGivesAllBackAfterItsSignal) {
    HANDLE const event = platform::createEvent("EventCallback.auto", false);
    Calls calls;
    new EventCallback(event, count, &calls, "caller", false, 0, false, true);
    platform::setEvent(event);
    EXPECT_TRUE(calls.called.wait());
    platform::closeEvent(event);
}

// Its thread may end, and take the object with it, at any moment of the call.
TEST(EventCallback, DoneEndsOneThatDestroysItself) {
    TestEvent event, deleted;
    Calls calls;
    struct Counted : EventCallback {
        Counted(TestEvent & event, TestEvent & ended, Calls & counted)
            : EventCallback(event.handle, count, &counted, "", true, 0, true, true), ended_(ended) {
        }
        ~Counted() override { ended_.set(); }
        TestEvent & ended_;
    };
    for (int i = 0; i < 200; ++i) {
        auto * const callback = new Counted(event, deleted, calls);
        if (i % 3 > 0)
            callback->resume();
        event.set();
        if (i % 3 > 1) {
            ASSERT_TRUE(calls.called.wait());
        }
        callback->done();
        ASSERT_TRUE(deleted.wait(0)) << "done returned before the end";
    }
}

TEST(EventCallback, AMissingEventIsToldByName) {
    auto messageOf = [](auto make) -> GString {
        try {
            make();
        } catch (Tavlin::Error const & error) {
            return error.getMessage();
        }
        return "nothing raised";
    };
    Calls calls;
    EXPECT_STREQ(messageOf([&] {
                     EventCallback callback("no such event", count, &calls, "", false, 0, true,
                                            false);
                 }).c_str(),
                 "Can not find event <no such event>");
    EXPECT_STREQ(messageOf([&] {
                     EventCallback callback(static_cast<void *>(&calls), count, &calls, "", false,
                                            0, true, false);
                 }).c_str(),
                 "Can not duplicate event");
}

TEST(Timer, RepeatsUntilItIsDone) {
    Calls calls;
    Timer timer;
    EXPECT_FALSE(timer.is_started());
    timer.start(0.001f, count, &calls);
    EXPECT_TRUE(timer.is_started());
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(calls.called.wait());
    timer.done();
    int const atEnd = calls.count;
    EXPECT_GE(atEnd, 3);
    EXPECT_EQ(timer.wait(0), Thread::Ended);
    timer.done();
}

TEST(Timer, ResetDuringTheCallStopsItUntilTheNextStart) {
    Calls calls;
    Timer timer;
    timer.start(0.0f, countAndHold, &calls);
    ASSERT_TRUE(calls.called.wait());
    timer.reset();
    EXPECT_FALSE(timer.is_started());
    calls.goOn.set();
    EXPECT_FALSE(calls.called.wait(20));
    timer.start(0.0f, count, &calls);
    EXPECT_TRUE(calls.called.wait());
}

// The timer's thread reaches its gates when it likes: told often enough, some of the orders in
// which the two threads meet come up.
TEST(Timer, NeitherStartNorDoneRightAfterTheConstructorIsLost) {
    for (int i = 0; i < 100; ++i) {
        Calls calls;
        Timer started;
        started.start(0.0f, count, &calls);
        ASSERT_TRUE(calls.called.wait()) << i;
        Timer ended;
        ended.set_auto_reset(i % 2 == 0);
        ended.done();
        ASSERT_EQ(ended.wait(0), Thread::Ended) << i;
    }
}

TEST(Timer, WithoutAutoResetEachShotTakesStartAndOneResume) {
    for (int i = 0; i < 50; ++i) {
        Calls calls;
        Timer timer;
        timer.set_auto_reset(false);
        for (int shot = 1; shot <= 3; ++shot) {
            timer.start(0.0f, count, &calls);
            if (i % 10 == 0) {
                ASSERT_FALSE(calls.called.wait(5)) << "the second gate stood open";
            }
            timer.resume();
            ASSERT_TRUE(calls.called.wait()) << "round " << i << ", shot " << shot;
            // The shot ends by a reset of its own; what is told before that is forgotten by it.
            while (timer.is_started())
                std::this_thread::yield();
        }
        timer.done();
        ASSERT_EQ(calls.count, 3);
    }
}

TEST(Timer, DoneOpensTheSecondGateWithoutAShot) {
    Calls calls;
    Timer timer;
    timer.set_auto_reset(false);
    timer.start(0.0f, count, &calls);
    timer.done();
    EXPECT_EQ(timer.wait(0), Thread::Ended);
    EXPECT_EQ(calls.count, 0);
}

} // namespace
