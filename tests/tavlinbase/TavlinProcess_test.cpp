#include "tavlinbase/TavlinProcess.h"

#include "ObjectKernel_support.h"
#include "diagnostics/GEmergencyLog.h"
#include "diagnostics/TavlinError.h"
#include "platform/Clock.h"
#include "tavlinbase/TavlinTime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cstdio>
#include <functional>
#include <map>
#include <stdexcept>
#include <thread>

namespace kernel_test {

class Worker : public Process {
    G_DECLARE_CREATABLE(Worker)
  public:
    explicit Worker(std::string const & text = "w") : name(text) { ++alive; }
    ~Worker() override { --alive; }
    using Object::reg;
    using Process::lastStep;
    using Process::passed;

    std::string name;
    std::function<void(Worker &)> onStep;
    float lastNow = -1;
    static int alive;
    static std::string log;
    static std::string taken() { return std::exchange(log, ""); }

  protected:
    void step(float now) override {
        log += (log.empty() ? "" : " ") + name;
        lastNow = now;
        if (onStep)
            onStep(*this);
    }
};
G_DEFINE_CREATABLE(Worker, "test::Worker", Process)

int Worker::alive = 0;
std::string Worker::log;

namespace {

double counter = 0;

struct ProcessTest : testing::Test {
    void SetUp() override {
        counter = 100;
        platform::setCounterSource([] { return counter; });
        Time::Reset();
        Time::g_GameStep = 0;
        Time::GetGameDelta();
        ProcessManager::FullInit();
        Worker::taken();
    }
    void TearDown() override {
        ProcessManager::StopTiming();
        workers.clear();
        ProcessManager::Destroy();
        Time::Reset();
        platform::setCounterSource(nullptr);
        EXPECT_EQ(Worker::alive, 0);
    }
    /// A process that runs at every step of the clock.
    Worker & add(std::string const & name, Process::Type type = Process::Frames,
                 float frequency = 0) {
        workers[name] = new Worker(name);
        workers[name]->init(type, frequency);
        return *workers[name];
    }
    static std::string frame() {
        Time::StepRender();
        return Worker::taken();
    }
    std::map<std::string, TRef<Worker>> workers;
};

TEST_F(ProcessTest, ClocksFollowOneAnotherAndEachRunsTheLatestFirst) {
    for (char const * name : {"f1", "f2"})
        add(name, Process::Frames);
    for (char const * name : {"t1", "t2"})
        add(name, Process::RenderSeconds);
    for (char const * name : {"g1", "g2"})
        add(name, Process::GameSeconds);
    counter += 0.125;
    Time::Step();
    EXPECT_EQ(Worker::taken(), "g2 g1 t2 t1 f2 f1");
    EXPECT_EQ(workers["f1"]->lastNow, 1);
    EXPECT_EQ(workers["t1"]->lastNow, 100.125f);
    EXPECT_EQ(workers["g1"]->lastNow, 0.125f);
    Time::Stop();
    Time::Step();
    EXPECT_EQ(Worker::taken(), "t2 t1 f2 f1") << "a stopped game, and a step of no length";
    Time::Start();
    ProcessManager::StopTiming();
    Time::Step();
    EXPECT_EQ(Worker::taken(), "");
}

TEST_F(ProcessTest, OvershotIntervalIsNotCarriedOver) {
    Worker & worker = add("g", Process::GameSeconds, 0.5f);
    std::string runs;
    for (int i = 1; i <= 10; ++i) {
        Time::StepGame(0.2f);
        if (!Worker::taken().empty())
            runs += std::to_string(i) + " ";
    }
    EXPECT_EQ(runs, "3 6 9 ");
    EXPECT_FLOAT_EQ(worker.lastStep(), 1.8f);
    EXPECT_FLOAT_EQ(worker.passed(), 0.2f);
}

TEST_F(ProcessTest, StopAndReInitBeginTheIntervalAnew) {
    Worker & worker = add("g", Process::GameSeconds, 0.5f);
    Time::StepGame(0.25f);
    worker.stop();
    EXPECT_EQ(worker.lastStep(), 0.25f);
    Time::StepGame(5);
    EXPECT_EQ(Worker::taken(), "");
    worker.reInit();
    EXPECT_EQ(worker.lastStep(), 5.25f);
    Time::StepGame(0.25f);
    EXPECT_EQ(Worker::taken(), "");
    Time::StepGame(0.25f);
    EXPECT_EQ(Worker::taken(), "g");
}

// What one process does to the lists in its turn: the round that is under way neither misses
// anybody for it nor runs one twice.
TEST_F(ProcessTest, ListMayChangeInTheMiddleOfARound) {
    struct Case {
        char const * what;
        char const * who;
        std::function<void(ProcessTest &)> change;
        char const * round;
        char const * next;
    } const cases[] = {
        {"stops itself", "c", [](auto & t) { t.workers["c"]->stop(); }, "d c b a", "d b a"},
        {"stops the one before it", "c", [](auto & t) { t.workers["d"]->stop(); }, "d c b a",
         "c b a"},
        {"stops the next", "c", [](auto & t) { t.workers["b"]->stop(); }, "d c a", "d c a"},
        {"stops a later one", "d", [](auto & t) { t.workers["a"]->stop(); }, "d c b", "d c b"},
        {"stops several", "d",
         [](auto & t) {
             for (char const * name : {"d", "b", "c"})
                 t.workers[name]->stop();
         },
         "d a", "a"},
        {"releases all", "c", [](auto & t) { t.workers.clear(); }, "d c", ""},
        {"releases itself and the next", "c",
         [](auto & t) {
             t.workers.erase("b");
             t.workers.erase("c");
         },
         "d c a", "d a"},
        {"begins anew", "b",
         [](auto & t) {
             t.workers["b"]->stop();
             t.workers["b"]->reInit();
         },
         "d c b a", "b d c a"},
        {"adds another", "c", [](auto & t) { t.add("e"); }, "d c b a", "e d c b a"},
        {"runs a round within", "c", [](auto &) { ProcessManager::PM->frame_step(); },
         "d c d c b a b a", "d c b a"},
        {"stops several in a round within", "d",
         [](auto & t) {
             t.workers["b"]->onStep = [&t](Worker &) {
                 for (char const * name : {"b", "c", "d"})
                     t.workers[name]->stop();
             };
             ProcessManager::PM->frame_step();
         },
         "d d c b a a", "a"},
    };
    for (Case const & c : cases) {
        for (char const * name : {"a", "b", "c", "d"})
            add(name);
        workers[c.who]->onStep = [&](Worker & worker) {
            auto const change = c.change;
            worker.onStep = {};
            change(*this);
        };
        EXPECT_EQ(frame(), c.round) << c.what;
        EXPECT_EQ(frame(), c.next) << c.what;
        workers.clear();
        EXPECT_EQ(Worker::alive, 0) << c.what;
    }
}

TEST_F(ProcessTest, ReleasedByAllInItsStepEndsBehindIt) {
    add("a").onStep = [&](Worker & worker) {
        workers.clear();
        EXPECT_EQ(Worker::alive, 1);
        EXPECT_EQ(worker.getReferenceCount(), 1);
    };
    EXPECT_EQ(frame(), "a");
    EXPECT_EQ(Worker::alive, 0);
}

TEST_F(ProcessTest, ManagerMayEndInARound) {
    add("a");
    add("b").onStep = [](Worker &) { ProcessManager::Destroy(); };
    EXPECT_EQ(frame(), "b");
    EXPECT_EQ(frame(), "");
    Worker without("w");
    without.init(Process::Frames, 0);
    without.stop();
    ProcessManager::FullInit();
    EXPECT_EQ(frame(), "") << "who was in the lists is idle";
    workers["a"]->reInit();
    EXPECT_EQ(frame(), "a");
}

TEST_F(ProcessTest, EntriesOfACarelessHostLeaveWithTheProcess) {
    add("a").init(Process::Frames, 0);
    EXPECT_EQ(frame(), "a a");
    workers["a"]->stop();
    EXPECT_EQ(frame(), "a");
    workers["a"]->init(Process::GameSeconds, 0); // without a stop under the old type
    workers["a"]->init(Process::GameSeconds, 0);
    EXPECT_THROW(workers["a"]->init(static_cast<Process::Type>(3), 1), Error);
    workers.clear();
    Time::Step();
    EXPECT_EQ(Worker::taken(), "");
}

TEST_F(ProcessTest, InvalidTypeIsRaisedAndByTheDestructorOnlyLogged) {
    std::string const file = testing::TempDir() + "ondrel_process_log";
    GEmergencyLog & log = GEmergencyLog::Get();
    log.setFile(file.c_str());
    log.enable(true);
    auto const logged = [&](char const * line) {
        std::string const section = log.lastSection();
        log.clearLastSection();
        return section.find("Invalid Step Type") != std::string::npos &&
               section.find("tavlinbase/TavlinProcess") != std::string::npos &&
               section.find(line) != std::string::npos;
    };
    {
        Worker worker;
        try {
            worker.init(static_cast<Process::Type>(3), 7);
            ADD_FAILURE() << "3 is no clock";
        } catch (Error const & error) {
            EXPECT_STREQ(error.getMessage().c_str(), "Invalid Step Type");
        }
        EXPECT_TRUE(logged("85"));
        EXPECT_EQ(worker.getFrequency(), 7);
        EXPECT_THROW(worker.stop(), Error);
        EXPECT_TRUE(logged("108"));
        EXPECT_THROW(worker.reInit(), Error);
        log.clearLastSection();
        Input in(Bytes().byte(2).dword(0).byte(0).dword(3).dword(0).dword(0).str());
        EXPECT_THROW(worker.read(in), Error);
        EXPECT_TRUE(logged("152"));
    }
    EXPECT_TRUE(logged("59"));
    log.enable(false);
    log.close_session();
    log.setFile("");
    std::remove(file.c_str());
}

TEST_F(ProcessTest, StepThatThrowsKeepsItsProcessAlive) {
    add("a");
    Worker * const thrower = &add("b");
    thrower->onStep = [&](Worker &) {
        workers.erase("b");
        throw std::runtime_error("no");
    };
    EXPECT_THROW(Time::StepRender(), std::runtime_error);
    ASSERT_EQ(Worker::alive, 2);
    EXPECT_EQ(thrower->getReferenceCount(), 1);
    Worker::taken();
    thrower->onStep = {};
    EXPECT_EQ(frame(), "b a");
    delete thrower;
    EXPECT_EQ(frame(), "a");
}

TEST_F(ProcessTest, StartTimingLinesTheClocksUp) {
    Worker & ahead = add("ahead", Process::GameSeconds, 1000);
    Time::g_Time = 50;
    ahead.stop();
    ahead.reInit();
    Time::g_Time = 30;
    Worker & behind = add("behind", Process::GameSeconds, 1000);
    Worker & frames = add("frames", Process::Frames, 1000);
    Worker & seconds = add("seconds", Process::RenderSeconds, 1000);
    ProcessManager::StopTiming();
    EXPECT_EQ(Time::g_StepNotifyer.getCount(), 0);
    Time::g_Time = 40;
    Time::g_FrameCount = 9;
    Time::g_CorrectedTick = 7;
    ProcessManager::StartTiming();
    EXPECT_EQ(ahead.lastStep(), 40);
    EXPECT_EQ(behind.lastStep(), 30);
    EXPECT_EQ(frames.lastStep(), 9);
    EXPECT_EQ(seconds.lastStep(), 7);
    std::uint32_t const priorities[] = {0x40400000, 0x40933333, 0x40966666};
    ASSERT_EQ(Time::g_StepNotifyer.getCount(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(std::bit_cast<std::uint32_t>(Time::g_StepNotifyer.getCallbackPriority(i)),
                  priorities[i]);
}

// The object part, the byte, the clock, the frequency, the last run.
TEST_F(ProcessTest, ProcessThatIsReadRuns) {
    Worker & saved = add("saved", Process::GameSeconds, 0.5f);
    Time::StepGame(0.75f);
    Worker::taken();
    auto const bytes = [](std::uint32_t type, int byte) {
        return Bytes().byte(2).dword(0).byte(byte).dword(type).dword(0x3F000000).dword(0x3F400000);
    };
    EXPECT_EQ(written([&](opstream & out) { saved.write(out); }), bytes(4, 0).str());
    saved.stop();

    workers["r"] = new Worker("r");
    Input in(bytes(4, 9).str());
    workers["r"]->read(in);
    EXPECT_EQ(workers["r"]->getType(), Process::GameSeconds);
    EXPECT_EQ(workers["r"]->getFrequency(), 0.5f);
    EXPECT_EQ(workers["r"]->lastStep(), 0.75f);
    Time::StepGame(0.25f);
    EXPECT_EQ(Worker::taken(), "");
    Time::StepGame(0.25f);
    EXPECT_EQ(Worker::taken(), "r");

    for (std::string const & bad :
         {bytes(3, 0).str(), bytes(0x80000001, 0).str(), bytes(4, 0).str().substr(0, 6)}) {
        Worker wrong;
        Input broken(bad);
        EXPECT_THROW(wrong.read(broken), Error);
    }
    ProcessManager::Destroy();
    Worker alone;
    Input again(bytes(1, 0).str());
    alone.read(again);
    EXPECT_EQ(alone.getType(), Process::Frames);
}

// A release on another thread waits for the round before it takes the lock of all objects, which
// the round needs as well.
TEST_F(ProcessTest, ReleaseOnAnotherThreadDoesNotBlockARound) {
    std::atomic<bool> started = false;
    TRef<Worker> last(new Worker("last"));
    last->addInterface(TRef<AUnknown>(new ILabel));
    ILabel::asked = 0;
    std::thread releasing;
    add("a").onStep = [&](Worker &) {
        releasing = std::thread([&] {
            started = true;
            last.empty();
        });
        while (!started)
            std::this_thread::yield();
        for (int i = 0; i < 1000 && ILabel::asked == 0; ++i)
            std::this_thread::yield();
        EXPECT_EQ(ILabel::asked, 0) << "it ends, and so has the lock of the objects";
    };
    EXPECT_EQ(frame(), "a");
    releasing.join();
    EXPECT_EQ(ILabel::asked, 1);
}

TEST_F(ProcessTest, ActivatorsActBehindEachRun) {
    struct Echo : ModifyActivator {
        void act(Notifyer const &) override { Worker::log += "!"; }
        void acted() override {}
        bool canBeDestination(TRef<Object> const &) override { return true; }
    };
    Worker & worker = add("a", Process::Frames, 2);
    TRef<Echo> const echo(new Echo);
    echo->setSource(TRef<Object>(&worker));
    EXPECT_EQ(frame(), "");
    EXPECT_EQ(frame(), "a!");
    workers.clear();
    EXPECT_EQ(frame(), "");
    EXPECT_EQ(frame(), "a!") << "the activator holds its source";
}

TEST_F(ProcessTest, UnregistrationStillSeesTheProcess) {
    struct Listener : ObjectUnRegCallback {
        Listener() : ObjectUnRegCallback(&Process::metaclass_, true, true) {}
        void notify(Notifyer const & subject) override {
            TRef<Object> const object(ClassExemplarSetNof::Of(subject));
            seen += gcast<Process>(object.pointer()) != nullptr;
        }
        int seen = 0;
    } listener;
    workers["a"] = new Worker("a");
    workers["a"]->reg();
    workers.clear();
    EXPECT_EQ(listener.seen, 1);
    EXPECT_EQ(Worker::alive, 0);
}

} // namespace
} // namespace kernel_test
