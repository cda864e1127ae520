// The clock and heartbeat of the program. Two clocks advance in one host call: game time, which may
// be scaled and stopped and drives the world, and render time, which always moves. Subscribers
// stand on one list by priority, and the priority 4.5 divides it: those below belong to the game
// step, the others to the render step. The host calls Step once per pass of its main loop.
#pragma once

#include "foundation/GPointer.h"
#include "foundation/GSortedCollection.h"
#include "tavlinbase/Notifyer.h"

class ipstream;
class opstream;

namespace Tavlin {

/// The two clocks of the program and its random stream, all static.
class ONDREL_API Time {
  public:
    /// The list of those whom the steps call. A priority is a slot: it holds one callback.
    class ONDREL_API Notificator : public Notifyer {
      public:
        constexpr Notificator() = default;
        ~Notificator() override;

        /// Displaces what holds this very priority; the displaced object is left alone.
        void addCallback(NotifyCallback * callback, float priority);
        /// Forgets the callback; the object is left alone.
        void removeCallback(NotifyCallback * callback);
        /// Forgets all, and deletes those that do not mind to be killed.
        void removeAll();
        /// How many there are, dead ones included.
        int getCount() const { return static_cast<int>(Callbacks.getCount()); }
        /// Null when it has died.
        NotifyCallback * getCallback(int index) const;
        float getCallbackPriority(int index) const;
        /// The index or -1; null finds the first one that has died.
        int findCallback(NotifyCallback * callback) const;
        /// The place of the priority, a pointer to a float, and whether it is taken.
        bool search(void const * key, long & index) const { return Callbacks.search(key, index); }

      private:
        struct Record {
            float priority;
            TGPointer<NotifyCallback> callback;
        };
        class ONDREL_API Records : public TGSortedCollection<Record> {
          public:
            void const * keyOf(void const * item) const override;
            int compare(void const * a, void const * b) const override;
        };

        Records Callbacks;
    };

    static float Limit;                ///< Upper bound of one render step, in seconds.
    static float GameTimeLimit;        ///< Upper bound of one unscaled game step, in seconds.
    static double Scale;               ///< Game seconds per real second.
    static float g_Tick;               ///< Counter at the last render step, in seconds.
    static float g_TicksPassed;        ///< Length of the last render step.
    static float g_CorrectedTick;      ///< Sum of the bounded render steps.
    static unsigned long g_FrameCount; ///< Render steps so far.
    static float g_Time;               ///< Game time: sum of the game steps.
    static float g_TimeToNextFrame;    ///< Length of the last game step.
    static unsigned long g_GameStep;   ///< Game steps so far.
    static float g_LastGameTime;       ///< Counter at the last game delta.
    static float g_SystemTime;         ///< Wall clock at the last game step, in microseconds.
    static int g_StopperCounter;       ///< How many stops are in force.
    static Notificator g_StepNotifyer;
    static bool g_bRandomizeCalled; ///< Set by a host that wants its seed to stay.
    static int g_nSrandParam;       ///< The last seed.
    static int g_nRandCount;        ///< Numbers drawn since then.

    static float Seconds() { return g_Tick; }
    static float SecondsPassed() { return g_TicksPassed; }
    static float CorrectedSeconds() { return g_CorrectedTick; }
    static unsigned long Frame() { return g_FrameCount; }
    static float GetTime() { return g_Time; }
    static float TimeToNextFrame() { return g_TimeToNextFrame; }
    static unsigned long GameStep() { return g_GameStep; }
    static float SystemTime() { return g_SystemTime; }
    static int GetRandCount() { return g_nRandCount; }
    static int GetRandomizeParam() { return g_nSrandParam; }
    static bool RandomizeCalled() { return g_bRandomizeCalled; }

    /// The counter of the machine in seconds; its zero has no meaning.
    static float QueryCounter();
    /// One pass: a game step of the measured length unless stopped, then a render step.
    static void Step();
    /// One game step, of the measured length or of exactly `delta` seconds.
    static void StepGame() { StepGame(GetGameDelta()); }
    static void StepGame(float delta);
    /// Game seconds since the last call, bounded and scaled. Each call measures from the last one.
    static float GetGameDelta();
    static void StepRender();
    /// Starts anew and empties the list of callbacks. Game steps, limits and the last game delta
    /// stay.
    static void Reset();
    /// They nest, and are not bounded.
    static void Stop() { ++g_StopperCounter; }
    static void Start() { --g_StopperCounter; }

    /// The whole state, and the same with a byte in front. Read raises XStrVer for a version that
    /// it does not know, and leaves the clock as it is when the stream ends too early; after it no
    /// time has passed since the counter was last read.
    static void Write(opstream & out);
    static void Read(ipstream & in);
    static void WriteStatic(opstream & out);
    static void ReadStatic(ipstream & in);
    /// The part of the game clock.
    static void WriteGame(opstream & out);
    static void ReadGame(ipstream & in);

    /// Seeds the random stream, unless g_bRandomizeCalled is set.
    static void Randomize(int seed);
    static void ClearRandomizeState() { g_bRandomizeCalled = false; }
    /// 32 random bits.
    static int Rand();
    /// From `low` to `high`, both included.
    static float Random(float low, float high);
};

} // namespace Tavlin
