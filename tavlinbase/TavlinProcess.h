// Work that wants to be done at an interval on one of three clocks. The manager keeps one list of
// processes per clock and steps them when the clock of the program does: processes of the game stop
// with it, those of frames and render seconds always run.
//
// A host derives from Process and overrides `step`. Its main loop: Time::Reset and
// ProcessManager::FullInit at the start, Time::Step once per pass, ProcessManager::StopTiming at
// the end, then the world is released, then ProcessManager::Destroy. After a load StopTiming and
// StartTiming line the clocks up.
#pragma once

#include "tavlinbase/ModifyActivator.h"

namespace Tavlin {

/// A process is idle until init or read. Modify activators that hang on it act after each run.
class ONDREL_API Process : public Object, public ISetModifyActivator {
    G_DECLARE_CLASS(Process)
  public:
    /// The clocks, as they also stand in streams.
    enum Type : int {
        Frames = 1,        ///< Time::Frame
        RenderSeconds = 2, ///< Time::CorrectedSeconds
        GameSeconds = 4    ///< Time::GetTime
    };

    /// Leaves the lists of the manager.
    ~Process() override;

    Type getType() const { return type_; }
    /// The least interval between runs, in units of the clock; at 0 it runs at every step.
    float getFrequency() const { return frequency_; }

    /// Enters the list of the clock; the first run comes an interval from now. One that is there
    /// already is then run twice per step: stop comes first. Raises Error for an invalid type.
    void init(Type type, float frequency);
    /// Leaves the list; a running step is finished. Raises Error for an invalid type.
    void stop();
    /// init with what was given before.
    void reInit() { init(type_, frequency_); }

    /// Fires after each run.
    Notifyer & getNotifyer() override { return ran_; }

    using Object::compare;
    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }
    void onFinalRelease() override;
    /// A process that is read runs without init, if there is a manager.
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    Process() = default;
    /// Runs the step if its interval is over. An interval that was overshot is not carried over. A
    /// process that nobody holds when its turn is over ends then.
    void go(float now);
    /// The work, at `now` of the clock. It may stop or release this and any other process.
    virtual void step(float now) = 0;
    /// The value of the clock at the last run, and the distance from there at the last `go`.
    float lastStep() const { return lastStep_; }
    float passed() const { return passed_; }

  private:
    friend class ProcessManager;
    friend class ProcessList;
    void leaveAll();

    class Ran : public Notifyer {
      public:
        void fire() {
            lockup();
            unlock();
        }
    };

    float lastStep_ = 0;
    float passed_ = 0;
    Type type_ = Frames;
    float frequency_ = 0;
    int entries_ = 0; // how many times it stands in lists
    Ran ran_;
};

/// The processes of one clock, in the order in which they came. The list owns nothing.
class ONDREL_API ProcessList : public TGCollection<Process> {
  public:
    ProcessList() : TGCollection<Process>(0, 16, 0) {}
    ~ProcessList() override;

    void enter(Process * process);
    /// Takes one entry out; false when there is none.
    bool leave(Process * process);
    /// Lets all that are due at `now` run, the last one first, each once; those that come meanwhile
    /// wait for the next round.
    void run(float now);

  private:
    /// A round that is under way: the entries below `next` are still to be run.
    struct Round {
        // Not inlined: the compiler would warn of an address that stays behind, and cannot know
        // that it does so only in a list that has gone.
        [[gnu::noinline]] explicit Round(ProcessList & l)
            : list(l), next(l.getCount()), outer(l.rounds_) {
            l.rounds_ = this;
        }
        ~Round() {
            if (!ended)
                list.rounds_ = outer;
        }
        Round(Round const &) = delete;
        Round & operator=(Round const &) = delete;

        ProcessList & list;
        long next;
        Round * outer;
        bool ended = false; // the list has gone
    };

    Round * rounds_ = nullptr; // the innermost
};

class ProcessManager;

/// What the clock calls, for each of the three lists.
class ONDREL_API FrameStep : public NotifyCallback {
  protected:
    explicit FrameStep(ProcessManager & manager) : NotifyCallback(true), manager_(manager) {}
    void notify(Notifyer const &) override;

  private:
    ProcessManager & manager_;
};

/// The subscriber for processes of render seconds.
class ONDREL_API TimeStep : public NotifyCallback {
  protected:
    explicit TimeStep(ProcessManager & manager) : NotifyCallback(true), manager_(manager) {}
    void notify(Notifyer const &) override;

  private:
    ProcessManager & manager_;
};

/// The subscriber for processes of the game.
class ONDREL_API GameStep : public NotifyCallback {
  protected:
    explicit GameStep(ProcessManager & manager) : NotifyCallback(true), manager_(manager) {}
    void notify(Notifyer const &) override;

  private:
    ProcessManager & manager_;
};

/// Its lists may be changed from any thread; steps run under the lock of the clock and then that of
/// the lists, and a thread that takes both must keep to this order.
class ONDREL_API ProcessManager : public FrameStep, public TimeStep, public GameStep {
  public:
    /// The one manager; null before Create and after Destroy.
    static ProcessManager * PM;

    /// Makes the manager, unless there is one.
    static void Create();
    /// Processes that are still in its lists stay idle.
    static void Destroy();
    /// Subscribes to the clock and lines the processes up with it: those of the game keep their
    /// phase, but for one that lies ahead of the clock; the others start their intervals anew.
    static void StartTiming();
    static void StopTiming();
    /// Create and StartTiming.
    static void FullInit();

    void frame_step();
    void time_step();
    void game_step();

  private:
    friend class Process;

    ProcessManager() : FrameStep(*this), TimeStep(*this), GameStep(*this) {}
    /// Null for an invalid type.
    ProcessList * listOf(Process::Type type);

    ProcessList frames_, times_, games_;
};

} // namespace Tavlin
