#include "tavlinbase/TavlinTime.h"

#include "ObjectKernel_support.h"
#include "diagnostics/GEmergencyLog.h"
#include "diagnostics/TavlinError.h"
#include "platform/Clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

using namespace Tavlin;
using namespace kernel_test;

namespace {

double now = 0;
std::string called;

class Listener : public NotifyCallback {
  public:
    explicit Listener(char name, bool mind = true) : NotifyCallback(mind), name_(name) {}
    ~Listener() override {
        if (onEnd)
            onEnd();
    }
    void notify(Notifyer const & subject) override {
        EXPECT_EQ(&subject, &Time::g_StepNotifyer);
        called += name_;
        if (onNotify)
            onNotify();
    }
    std::function<void()> onNotify, onEnd;

  private:
    char name_;
};

/// Runs on a counter of its own, from 100 seconds on, and leaves the clock as it was at the start.
struct TimeTest : testing::Test {
    void SetUp() override {
        now = 100;
        platform::setCounterSource([] { return now; });
        start();
        called.clear();
    }
    void TearDown() override {
        Time::g_StepNotifyer.removeAll();
        start();
        platform::setCounterSource(nullptr);
    }
    static void start() {
        Time::Reset();
        Time::Limit = Time::GameTimeLimit = 1.0f / 6;
        Time::g_GameStep = 0;
        Time::GetGameDelta();
        Time::g_bRandomizeCalled = false;
    }
    static void add(NotifyCallback & callback, float priority) {
        Time::g_StepNotifyer.addCallback(&callback, priority);
    }
    /// Who was called since the last time it was asked.
    static std::string calls() { return std::exchange(called, std::string()); }
    static void step(double seconds) {
        now += seconds;
        Time::Step();
    }
};

Bytes & real(Bytes & bytes, float value) {
    return bytes.dword(std::bit_cast<std::uint32_t>(value));
}
Bytes & real8(Bytes & bytes, double value) {
    auto const bits = std::bit_cast<std::uint64_t>(value);
    return bytes.dword(std::uint32_t(bits)).dword(std::uint32_t(bits >> 32));
}

} // namespace

TEST_F(TimeTest, CallsByPriorityFirstTheGameThenTheRenderClass) {
    Listener a('a'), b('b'), c('c'), d('d');
    add(d, 4.7f);
    add(c, 4.5f);
    add(a, 2.0001f);
    add(b, 3);
    Time::StepGame(0.1f);
    EXPECT_EQ(calls(), "ab");
    Time::StepRender();
    EXPECT_EQ(calls(), "cd");
    step(0.01);
    EXPECT_EQ(calls(), "abcd");
}

TEST_F(TimeTest, AdvancesBothClocksByTheMeasuredTime) {
    step(0.125);
    EXPECT_FLOAT_EQ(Time::TimeToNextFrame(), 0.125f);
    EXPECT_FLOAT_EQ(Time::GetTime(), 0.125f);
    EXPECT_FLOAT_EQ(Time::SecondsPassed(), 0.125f);
    EXPECT_FLOAT_EQ(Time::CorrectedSeconds(), 100.125f);
    EXPECT_EQ(Time::Frame(), 1u);
    EXPECT_EQ(Time::GameStep(), 1u);
    EXPECT_GT(Time::SystemTime(), 1e16f);
}

TEST_F(TimeTest, BoundsBothStepsAndScalesTheGameOnly) {
    Time::Scale = 2;
    step(10);
    EXPECT_FLOAT_EQ(Time::TimeToNextFrame(), 1.0f / 3);
    EXPECT_FLOAT_EQ(Time::SecondsPassed(), 1.0f / 6);
    step(-5);
    EXPECT_EQ(Time::TimeToNextFrame(), 0);
    EXPECT_EQ(Time::SecondsPassed(), 0);
    EXPECT_EQ(Time::Seconds(), 105);
}

TEST_F(TimeTest, StopsTheGameAloneAndCutsThePauseAfterwards) {
    Time::Stop();
    Time::Stop();
    Time::Start();
    step(1);
    EXPECT_EQ(Time::GetTime(), 0);
    EXPECT_EQ(Time::GameStep(), 0u);
    EXPECT_EQ(Time::Frame(), 1u);
    Time::Start();
    step(0.01);
    EXPECT_FLOAT_EQ(Time::GetTime(), 1.0f / 6);
}

TEST_F(TimeTest, GivesASlotToTheNewcomer) {
    Listener first('f'), second('s');
    add(first, 3);
    add(second, 3);
    EXPECT_EQ(Time::g_StepNotifyer.getCount(), 1);
    step(0.01);
    EXPECT_EQ(calls(), "s");
    EXPECT_EQ(Time::g_StepNotifyer.findCallback(&first), -1);
}

TEST_F(TimeTest, SweepsTheDeadInTheNextGameStep) {
    Listener alive('a');
    auto game = std::make_unique<Listener>('g');
    auto render = std::make_unique<Listener>('r');
    add(*game, 1);
    add(alive, 2);
    add(*render, 5);
    game.reset();
    render.reset();
    Time::StepRender();
    EXPECT_EQ(Time::g_StepNotifyer.getCount(), 3);
    EXPECT_EQ(Time::g_StepNotifyer.findCallback(nullptr), 0);
    Time::StepGame(0.1f);
    EXPECT_EQ(Time::g_StepNotifyer.getCount(), 1);
    EXPECT_EQ(calls(), "a");
}

TEST_F(TimeTest, LetsCallbacksAddAndRemoveWhileItWalks) {
    Listener a('a'), b('b'), late('l');
    a.onNotify = [&] {
        if (Time::g_StepNotifyer.findCallback(&late) < 0)
            add(late, 4);
    };
    b.onNotify = [&] { Time::g_StepNotifyer.removeCallback(&b); };
    add(a, 1);
    add(b, 2);
    Time::StepGame(0.1f);
    Time::StepGame(0.1f);
    // The one that took itself away moved the next into its place, which is not called this time.
    EXPECT_EQ(calls(), "abal");
}

TEST_F(TimeTest, DeletesOnResetThoseWhoDoNotMind) {
    int ended = 0;
    Listener guest('g'), other('o');
    auto * const owned = new Listener('x', false);
    owned->onEnd = [&] {
        ++ended;
        Time::g_StepNotifyer.removeCallback(&other);
    };
    add(guest, 1);
    add(other, 2);
    add(*owned, 3);
    Time::Stop();
    Time::Reset();
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(Time::g_StepNotifyer.getCount(), 0);
    EXPECT_EQ(Time::g_StopperCounter, 0);
    EXPECT_EQ(Time::SecondsPassed(), 1);
    EXPECT_EQ(Time::CorrectedSeconds(), 100);
}

TEST_F(TimeTest, LeavesGuardAndContextWhenACallbackThrows) {
    Listener a('a');
    std::string context;
    a.onNotify = [&] {
        context = GEmergencyContext::Head()->text();
        throw std::runtime_error("from a callback");
    };
    GEmergencyContext * const outside = GEmergencyContext::Head();
    add(a, 1);
    EXPECT_THROW(Time::StepGame(0.1f), std::runtime_error);
    EXPECT_EQ(context, "modelling step");
    EXPECT_EQ(GEmergencyContext::Head(), outside);
    Time::g_StepNotifyer.removeCallback(&a);
    add(a, 5);
    EXPECT_THROW(Time::StepRender(), std::runtime_error);
    EXPECT_EQ(context, "render step");
}

TEST_F(TimeTest, StreamsItsStateAndForgetsThePause) {
    Time::Scale = 2;
    step(0.125);
    Bytes bytes;
    bytes.byte(2).dword(1);
    real(real(real(real(bytes, 1.0f / 6), 100.125f), 100.125f), 0.125f);
    real(real(real(real8(bytes, 2), 1.0f / 6), 0.25f), 0.25f).dword(1);
    EXPECT_EQ(written([](opstream & out) { Time::Write(out); }), bytes.str());
    EXPECT_EQ(written([](opstream & out) { Time::WriteStatic(out); }),
              std::string(1, '\0') + bytes.str());

    now = 500;
    start();
    Input in("\7" + bytes.str());
    Time::ReadStatic(in);
    EXPECT_EQ(Time::Frame(), 1u);
    EXPECT_EQ(Time::CorrectedSeconds(), 100.125f);
    EXPECT_EQ(Time::Scale, 2);
    EXPECT_EQ(Time::GetTime(), 0.25f);
    EXPECT_EQ(Time::Seconds(), 500);
    EXPECT_EQ(Time::GetGameDelta(), 0);
}

TEST_F(TimeTest, ReadsTheFirstVersionAndRefusesOthers) {
    Bytes old;
    real(real(real(real(old.byte(1), 11), -1), 0.5f), -1);
    real(real8(old, 4).dword(77), 0.25f);
    real(real(real(old, -1), -1), 33);
    Input in(old.str());
    Time::Read(in);
    EXPECT_EQ(Time::GetTime(), 11);
    EXPECT_EQ(Time::TimeToNextFrame(), 0.5f);
    EXPECT_EQ(Time::Scale, 4);
    EXPECT_EQ(Time::Frame(), 77u);
    EXPECT_EQ(Time::SecondsPassed(), 0.25f);
    EXPECT_EQ(Time::CorrectedSeconds(), 33);

    Input unknown("\3");
    EXPECT_THROW(Time::Read(unknown), XStrVer);
}

TEST_F(TimeTest, KeepsItsStateWhenTheStreamEndsTooEarly) {
    Time::Scale = 2;
    step(0.125);
    std::string const all = written([](opstream & out) { Time::Write(out); });
    std::string const game = written([](opstream & out) { Time::WriteGame(out); });
    for (std::size_t size = 1; size < all.size(); ++size) {
        Input in(all.substr(0, size));
        Time::Read(in);
        EXPECT_FALSE(in->good());
        Input gameIn(game.substr(0, std::min(size, game.size() - 1)));
        Time::ReadGame(gameIn);
        ASSERT_EQ(written([](opstream & out) { Time::Write(out); }), all) << size;
    }
}

TEST_F(TimeTest, StreamsTheGamePartAlone) {
    step(0.125);
    Bytes bytes;
    real(real(real(real8(bytes.byte(0), 1), 1.0f / 6), 0.125f), 0.125f).dword(1);
    EXPECT_EQ(written([](opstream & out) { Time::WriteGame(out); }), bytes.str());
    step(0.1);
    float const tick = Time::Seconds();
    Input in(bytes.str());
    Time::ReadGame(in);
    EXPECT_EQ(Time::GetTime(), 0.125f);
    EXPECT_EQ(Time::GameStep(), 1u);
    EXPECT_EQ(Time::Seconds(), tick);
    EXPECT_EQ(Time::Frame(), 2u);
}

TEST_F(TimeTest, DrawsTheSameNumbersFromOneSeed) {
    Time::Randomize(42);
    int const first = Time::Rand();
    for (int i = 0; i < 100; ++i) {
        float const value = Time::Random(-2, 3);
        EXPECT_TRUE(value >= -2 && value <= 3);
    }
    EXPECT_EQ(Time::GetRandCount(), 101);
    Time::Randomize(42);
    EXPECT_EQ(Time::GetRandCount(), 0);
    EXPECT_EQ(Time::Rand(), first);
    Time::g_bRandomizeCalled = true;
    Time::Randomize(7);
    EXPECT_EQ(Time::GetRandomizeParam(), 42);
    EXPECT_EQ(Time::GetRandCount(), 1);
    Time::ClearRandomizeState();
    Time::Randomize(7);
    EXPECT_EQ(Time::GetRandomizeParam(), 7);
}
