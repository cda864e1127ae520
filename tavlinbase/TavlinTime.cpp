// The clock: its two steps, its list of callbacks, the random stream of the world.
#include "tavlinbase/TavlinTime.h"

#include "diagnostics/GEmergencyLog.h"
#include "diagnostics/TavlinError.h"
#include "foundation/RandomNumberGenerator.h"
#include "persistence/pstream.h"
#include "platform/Clock.h"
#include "tavlinbase/TavlinThreads.h"

#include <mutex>

namespace Tavlin {

namespace {

/// Below it a callback belongs to the game step, from it on to the render step.
constexpr float threshold = 4.5f;
constexpr unsigned char version = 2;

constinit CriticalSection stepGuard("TimeStepGuard");
constinit RandomNumberGenerator generator;

/// The limit comes first: a host, or a stream, may have set one that is itself below 0.
float bounded(float passed, float limit) {
    if (passed > limit)
        return limit;
    return passed < 0 ? 0 : passed;
}

/// What streams hold of the clock. It takes effect only when all of it was there: limits and a
/// scale of 0, which is what a stream gives behind its end, would stop the clock for good.
struct SavedState {
    float limit = Time::Limit, gameTimeLimit = Time::GameTimeLimit;
    double scale = Time::Scale;
    float correctedTick = Time::g_CorrectedTick, ticksPassed = Time::g_TicksPassed;
    float time = Time::g_Time, timeToNextFrame = Time::g_TimeToNextFrame;
    unsigned long frameCount = Time::g_FrameCount, gameStep = Time::g_GameStep;

    void readGame(ipstream & in) {
        in >> scale >> gameTimeLimit >> timeToNextFrame >> time >> gameStep;
    }
    void applyGame() const {
        Time::Scale = scale;
        Time::GameTimeLimit = gameTimeLimit;
        Time::g_TimeToNextFrame = timeToNextFrame;
        Time::g_Time = time;
        Time::g_GameStep = gameStep;
    }
    void apply() const {
        applyGame();
        Time::Limit = limit;
        Time::g_CorrectedTick = correctedTick;
        Time::g_TicksPassed = ticksPassed;
        Time::g_FrameCount = frameCount;
    }
};

} // namespace

constinit float Time::Limit = 1.0f / 6;
constinit float Time::GameTimeLimit = 1.0f / 6;
constinit double Time::Scale = 1;
constinit float Time::g_Tick = 0;
constinit float Time::g_TicksPassed = 1;
constinit float Time::g_CorrectedTick = 0;
constinit unsigned long Time::g_FrameCount = 0;
constinit float Time::g_Time = 0;
constinit float Time::g_TimeToNextFrame = 1.0f / 12;
constinit unsigned long Time::g_GameStep = 0;
constinit float Time::g_LastGameTime = 0;
constinit float Time::g_SystemTime = 0;
constinit int Time::g_StopperCounter = 0;
constinit Time::Notificator Time::g_StepNotifyer;
constinit bool Time::g_bRandomizeCalled = false;
constinit int Time::g_nSrandParam = 0;
constinit int Time::g_nRandCount = 0;

void const * Time::Notificator::Records::keyOf(void const * item) const {
    return &static_cast<Record const *>(item)->priority;
}

int Time::Notificator::Records::compare(void const * a, void const * b) const {
    float const first = *static_cast<float const *>(a);
    float const second = *static_cast<float const *>(b);
    return first < second ? -1 : first > second ? 1 : 0;
}

Time::Notificator::~Notificator() = default;

void Time::Notificator::addCallback(NotifyCallback * callback, float priority) {
    long index = 0;
    if (Callbacks.search(&priority, index))
        Callbacks.at_free(index);
    Callbacks.insert(new Record{priority, callback});
}

void Time::Notificator::removeCallback(NotifyCallback * callback) {
    int const index = findCallback(callback);
    if (index >= 0)
        Callbacks.at_free(index);
}

void Time::Notificator::removeAll() {
    for (int i = getCount() - 1; i >= 0; --i) {
        // The end of a callback may remove others.
        NotifyCallback * const callback = i < getCount() ? getCallback(i) : nullptr;
        if (callback && !callback->wouldYouMindToBeKilled())
            delete callback;
    }
    Callbacks.free_all();
}

NotifyCallback * Time::Notificator::getCallback(int index) const {
    return Callbacks.at(index)->callback.pointer();
}

float Time::Notificator::getCallbackPriority(int index) const {
    return Callbacks.at(index)->priority;
}

int Time::Notificator::findCallback(NotifyCallback * callback) const {
    int const count = getCount();
    for (int i = 0; i < count; ++i)
        if (getCallback(i) == callback)
            return i;
    return -1;
}

float Time::QueryCounter() {
    return static_cast<float>(platform::counterSeconds());
}

void Time::Step() {
    if (g_StopperCounter < 1)
        StepGame();
    StepRender();
}

float Time::GetGameDelta() {
    float const now = QueryCounter();
    float const passed = now - g_LastGameTime;
    g_LastGameTime = now;
    return static_cast<float>(bounded(passed, GameTimeLimit) * Scale);
}

void Time::StepGame(float delta) {
    GEmergencyContext const context("modelling step");
    std::lock_guard const lock(stepGuard);
    g_SystemTime = static_cast<float>(static_cast<double>(platform::systemFileTime()) * 0.1);
    g_TimeToNextFrame = delta;
    ++g_GameStep;
    g_Time += delta;
    int dead = 0;
    // The count is read again each round: callbacks may add others.
    for (int i = 0; i < g_StepNotifyer.getCount(); ++i) {
        NotifyCallback * const callback = g_StepNotifyer.getCallback(i);
        if (!callback)
            ++dead;
        else if (g_StepNotifyer.getCallbackPriority(i) < threshold)
            callback->notify(g_StepNotifyer);
    }
    for (; dead > 0; --dead)
        g_StepNotifyer.removeCallback(nullptr);
}

void Time::StepRender() {
    GEmergencyContext const context("render step");
    std::lock_guard const lock(stepGuard);
    float const now = QueryCounter();
    g_TicksPassed = bounded(now - g_Tick, Limit);
    g_Tick = now;
    g_CorrectedTick += g_TicksPassed;
    ++g_FrameCount;
    long first = 0;
    g_StepNotifyer.search(&threshold, first);
    for (int i = static_cast<int>(first); i < g_StepNotifyer.getCount(); ++i)
        if (NotifyCallback * const callback = g_StepNotifyer.getCallback(i))
            callback->notify(g_StepNotifyer);
}

void Time::Reset() {
    g_Tick = g_CorrectedTick = QueryCounter();
    g_TicksPassed = 1;
    g_FrameCount = 0;
    g_TimeToNextFrame = 1.0f / 12;
    g_Time = 0;
    Scale = 1;
    g_StopperCounter = 0;
    g_StepNotifyer.removeAll();
}

void Time::Randomize(int seed) {
    if (g_bRandomizeCalled)
        return;
    g_nRandCount = 0;
    g_nSrandParam = seed;
    generator.SetSeed(static_cast<unsigned int>(seed));
}

int Time::Rand() {
    ++g_nRandCount;
    return static_cast<int>(generator.GetInteger());
}

float Time::Random(float low, float high) {
    ++g_nRandCount;
    return static_cast<float>(generator.GetFloat() * (high - low) + low);
}

void Time::Write(opstream & out) {
    out << version << g_FrameCount << Limit << g_CorrectedTick << g_Tick << g_TicksPassed << Scale
        << GameTimeLimit << g_TimeToNextFrame << g_Time << g_GameStep;
}

void Time::Read(ipstream & in) {
    unsigned char found = 0;
    in >> found;
    SavedState saved;
    float skipped = 0;
    if (found == 1) {
        in >> saved.time >> skipped >> saved.timeToNextFrame >> skipped >> saved.scale >>
            saved.frameCount >> saved.ticksPassed >> skipped >> skipped >> saved.correctedTick;
    } else if (found == version) {
        in >> saved.frameCount >> saved.limit >> saved.correctedTick >> skipped >>
            saved.ticksPassed;
        saved.readGame(in);
    } else {
        throw XStrVer("tavlinbase/TavlinTime", 283, found, -1);
    }
    if (in.good())
        saved.apply();
    // However long ago the save was, no time has passed.
    g_Tick = g_LastGameTime = QueryCounter();
}

void Time::WriteStatic(opstream & out) {
    out << static_cast<unsigned char>(0);
    Write(out);
}

void Time::ReadStatic(ipstream & in) {
    unsigned char ignored = 0;
    in >> ignored;
    Read(in);
}

void Time::WriteGame(opstream & out) {
    out << static_cast<unsigned char>(0) << Scale << GameTimeLimit << g_TimeToNextFrame << g_Time
        << g_GameStep;
}

void Time::ReadGame(ipstream & in) {
    unsigned char ignored = 0;
    in >> ignored;
    SavedState saved;
    saved.readGame(in);
    if (in.good())
        saved.applyGame();
}

} // namespace Tavlin
