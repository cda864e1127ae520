#include "platform/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

namespace {

/// An event that a test waits for; a minute is as good as never.
class TestEvent {
  public:
    explicit TestEvent(bool manualReset = false)
        : handle(platform::createEvent(nullptr, manualReset)) {}
    ~TestEvent() { platform::closeEvent(handle); }
    void set() { platform::setEvent(handle); }
    bool wait() { return platform::wait(handle, 60000) == 0; }
    bool isSet() { return platform::wait(handle, 0) == 0; }
    HANDLE handle;
};

struct Shared {
    TestEvent first, second;
    std::atomic<int> steps{0};
    HANDLE self = nullptr;
};

TEST(RecursiveMutex, KeepsCountersOfManyThreadsExact) {
    static constinit platform::RecursiveMutex mutex;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&counter] {
            for (int n = 0; n < 500; ++n) {
                std::lock_guard const outer(mutex);
                std::lock_guard const inner(mutex);
                // Others get their chance between the read and the write.
                long const seen = counter;
                std::this_thread::yield();
                counter = seen + 1;
            }
        });
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(counter, 2000);
}

TEST(RecursiveMutex, StaysTakenUntilTheOutermostUnlock) {
    platform::RecursiveMutex mutex;
    auto otherThreadGetsIt = [&mutex] {
        bool got = false;
        std::thread([&] {
            got = mutex.try_lock();
            if (got)
                mutex.unlock();
        }).join();
        return got;
    };
    mutex.lock();
    mutex.lock();
    EXPECT_FALSE(otherThreadGetsIt());
    mutex.unlock();
    EXPECT_FALSE(otherThreadGetsIt());
    mutex.unlock();
    EXPECT_TRUE(otherThreadGetsIt());
}

TEST(Events, AutoResetPassesOneWaitAndManualResetAll) {
    TestEvent once(false), always(true);
    once.set();
    EXPECT_TRUE(once.isSet());
    EXPECT_FALSE(once.isSet());
    always.set();
    EXPECT_TRUE(always.isSet());
    EXPECT_TRUE(always.isSet());
    platform::resetEvent(always.handle);
    EXPECT_FALSE(always.isSet());
}

TEST(Events, ANameLeadsToOneEventUntilItsLastHandleCloses) {
    EXPECT_EQ(platform::openEvent("Events.name"), nullptr);
    HANDLE const made = platform::createEvent("Events.name", false);
    HANDLE const again = platform::createEvent("Events.name", true);
    HANDLE const opened = platform::openEvent("Events.name");
    platform::closeEvent(made);
    platform::setEvent(again);
    EXPECT_EQ(platform::wait(opened, 0), 0);
    EXPECT_EQ(platform::wait(opened, 0), platform::waitTimedOut) << "the first maker's kind holds";
    platform::closeEvent(again);
    platform::closeEvent(opened);
    EXPECT_EQ(platform::openEvent("Events.name"), nullptr);
}

TEST(Events, ADuplicateOutlivesItsOriginalAndNonsenseHasNone) {
    HANDLE const original = platform::createEvent(nullptr, true);
    HANDLE const copy = platform::duplicateEvent(original);
    platform::closeEvent(original);
    EXPECT_TRUE(platform::setEvent(copy));
    EXPECT_EQ(platform::wait(copy, 0), 0);
    platform::closeEvent(copy);

    int nothing = 0;
    EXPECT_EQ(platform::duplicateEvent(nullptr), nullptr);
    EXPECT_EQ(platform::duplicateEvent(&nothing), nullptr);
    EXPECT_EQ(platform::duplicateEvent(copy), nullptr);
    EXPECT_FALSE(platform::setEvent(nullptr));
    EXPECT_EQ(platform::wait(nullptr, 0), platform::waitFailed);
}

TEST(Events, WaitForAnyTellsTheLowestThatIsSet) {
    TestEvent a, b;
    HANDLE const both[] = {a.handle, b.handle};
    EXPECT_EQ(platform::waitForAny(both, 2, 0), platform::waitTimedOut);
    b.set();
    a.set();
    EXPECT_EQ(platform::waitForAny(both, 2, 60000), 0);
    EXPECT_EQ(platform::waitForAny(both, 2, 60000), 1) << "a passed signal of another is kept";
    EXPECT_EQ(platform::waitForAny(both, 2, 1), platform::waitTimedOut) << "it was taken";
}

TEST(Events, OneSignalWakesOneOfSeveralWaiters) {
    TestEvent signal, passed;
    std::atomic<int> woken{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            platform::wait(signal.handle, platform::waitForever);
            ++woken;
            passed.set();
        });
    for (int expected = 1; expected <= 3; ++expected) {
        signal.set();
        ASSERT_TRUE(passed.wait());
        EXPECT_EQ(woken, expected);
    }
    for (std::thread & thread : threads)
        thread.join();
}

TEST(Threads, ReturnTheirBodysResultToWhoeverWaits) {
    std::uint32_t id = 0;
    HANDLE const thread = platform::startThread([](void *) { return 42ul; }, nullptr, false, &id);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(platform::wait(thread, 60000), 0);
    EXPECT_EQ(platform::wait(thread, 0), 0) << "an ended thread stays ended";
    unsigned long code = 0;
    EXPECT_TRUE(platform::threadExitCode(thread, code));
    EXPECT_EQ(code, 42ul);
    platform::closeThread(thread);
}

unsigned long step(void * argument) {
    auto & shared = *static_cast<Shared *>(argument);
    ++shared.steps;
    shared.first.set();
    platform::wait(shared.second.handle, platform::waitForever);
    ++shared.steps;
    return 1;
}

TEST(Threads, SuspensionsCountAndHoldTheThreadAtItsGates) {
    Shared shared;
    HANDLE const thread = platform::startThread(step, &shared, true, nullptr);
    EXPECT_EQ(platform::suspendThread(thread), 1ul);
    EXPECT_EQ(platform::resumeThread(thread), 2ul);
    EXPECT_EQ(shared.steps, 0);
    EXPECT_EQ(platform::resumeThread(thread), 1ul);
    ASSERT_TRUE(shared.first.wait());
    // Suspended in its wait it takes the signal and still does not get past the gate.
    EXPECT_EQ(platform::suspendThread(thread), 0ul);
    shared.second.set();
    EXPECT_EQ(platform::wait(thread, 20), platform::waitTimedOut);
    EXPECT_EQ(shared.steps, 1);
    platform::resumeThread(thread);
    EXPECT_EQ(platform::wait(thread, 60000), 0);
    EXPECT_EQ(shared.steps, 2);
    platform::closeThread(thread);
}

TEST(Threads, KeptResumesLetAsManySuspensionsPass) {
    Shared shared;
    auto body = [](void * argument) {
        auto & mine = *static_cast<Shared *>(argument);
        platform::wait(mine.first.handle, platform::waitForever);
        platform::suspendThread(mine.self);
        platform::suspendThread(mine.self);
        ++mine.steps;
        mine.second.set();
        platform::suspendThread(mine.self);
        return 0ul;
    };
    shared.self = platform::startThread(body, &shared, false, nullptr);
    platform::keepResumes(shared.self, true);
    platform::resumeThread(shared.self);
    platform::resumeThread(shared.self);
    shared.first.set();
    EXPECT_TRUE(shared.second.wait());
    EXPECT_FALSE(platform::takeKeptResume(shared.self));
    EXPECT_EQ(platform::wait(shared.self, 20), platform::waitTimedOut);
    platform::resumeThread(shared.self);
    EXPECT_EQ(platform::wait(shared.self, 60000), 0);
    platform::closeThread(shared.self);
}

/// Counts what unwinding destroys.
struct Witness {
    std::atomic<int> & count;
    ~Witness() { ++count; }
};

TEST(Threads, TerminateEndsAThreadThatWaitsSleepsOrIsSuspended) {
    struct Case {
        char const * name;
        platform::ThreadBody body;
        bool suspended;
        int destroyed;
    };
    Case const cases[] = {
        {"waits",
         [](void * argument) {
             auto & shared = *static_cast<Shared *>(argument);
             Witness const witness{shared.steps};
             shared.first.set();
             platform::wait(shared.second.handle, platform::waitForever);
             return 0ul;
         },
         false, 1},
        {"sleeps",
         [](void * argument) {
             auto & shared = *static_cast<Shared *>(argument);
             Witness const witness{shared.steps};
             shared.first.set();
             platform::sleepThread(platform::waitForever);
             return 0ul;
         },
         false, 1},
        {"never began", [](void *) { return 0ul; }, true, 0},
    };
    for (Case const & tested : cases) {
        SCOPED_TRACE(tested.name);
        Shared shared;
        HANDLE const thread =
            platform::startThread(tested.body, &shared, tested.suspended, nullptr);
        if (!tested.suspended) {
            ASSERT_TRUE(shared.first.wait());
        }
        EXPECT_TRUE(platform::terminateThread(thread, 7));
        EXPECT_EQ(platform::wait(thread, 60000), 0);
        unsigned long code = 0;
        EXPECT_TRUE(platform::threadExitCode(thread, code));
        EXPECT_EQ(code, 7ul);
        EXPECT_EQ(shared.steps, tested.destroyed);
        EXPECT_FALSE(platform::terminateThread(thread, 8)) << "it has ended";
        platform::closeThread(thread);
    }
}

TEST(Threads, ExitRunsDestructorsAndSetsTheCode) {
    Shared shared;
    auto body = [](void * argument) -> unsigned long {
        Witness const witness{static_cast<Shared *>(argument)->steps};
        platform::exitThread(9);
    };
    HANDLE const thread = platform::startThread(body, &shared, false, nullptr);
    EXPECT_EQ(platform::wait(thread, 60000), 0);
    unsigned long code = 0;
    EXPECT_TRUE(platform::threadExitCode(thread, code));
    EXPECT_EQ(code, 9ul);
    EXPECT_EQ(shared.steps, 1);
    platform::closeThread(thread);
}

} // namespace
