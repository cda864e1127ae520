// The singleton that knows all agents and steps the running ones once per game step. In the scene
// it is "Agents": a method called on it reaches every agent, a name read from it is an agent.
#pragma once

#include "tavlinbase/Notifyer.h"
#include "tavlinmid/AgentShell.h"

namespace Tavlin {

/// A list of agents that are not owned. Each agent knows in which of the lists it stands and where
/// it was put, so that moving one does not search the whole population: places only move down,
/// when agents in front leave, and most agents leave from one of the ends.
class ONDREL_API AgentList : public TGCollection<AgentShell> {
  public:
    /// The lists an agent can stand in.
    enum Which { Running = 0, Stopped = 1 };
    explicit AgentList(Which which) : TGCollection<AgentShell>(0, 64, 0), which_(which) {}

  protected:
    long v_index_of(void const * item) const override;
    void v_at_insert(long index, void * item) override;
    void v_at_put(long index, void * item) override;
    void v_at_remove(long index) override;

  private:
    void note(void * item, long place);
    Which which_;
};

/// The one list of all agents, which steps those that run.
class ONDREL_API AgentManager2 : public Object, public IDispatcherImpl {
    G_DECLARE_CREATABLE(AgentManager2)
    TAVLIN_DECLARE_DISPATCHER(AgentManager2)
  public:
    /// Stands in the scene as "Agents": at once when there is a scene, else from the first start or
    /// LinkAgents that finds one. A name that is taken stays with its object.
    AgentManager2();
    ~AgentManager2() override;

    /// The one manager; null when there is none.
    static AgentManager2 * Get() { return g_object; }

    /// The agents in the order in which they were started, and those that are not stepped. The
    /// lists own nothing: an agent lives by its references.
    TGCollection<AgentShell> & getAgents() { return agents_; }
    TGCollection<AgentShell> & getStoppedAgents() { return stopped_; }

    /// Subscribe to the clock, and leave it; the lists stay.
    void start();
    void stop();
    /// Resolves the links of all agents before any of them finishes, so that agents may refer to
    /// each other.
    static void LinkAgents();
    /// Puts an agent in the list that its own flag says.
    void init(TRef<AgentShell> const & agent);
    void init(TRefVector<Object> & objects);
    /// Takes an agent out of both lists.
    void deinit(TRef<AgentShell> const & agent);
    void deinit(TRefVector<Object> & objects);
    /// Game time when the manager was started or read.
    float getLastTime() const { return lastTime_; }

    bool invoke(DispParams * params) override;
    /// The event "sysUnloadStatic", for which nothing is to be done here; it goes on to the agents.
    void onSysUnloadStatic(VariableRef * result, VRefVector * args);

    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }
    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override;

  private:
    friend class AgentShell;

    /// What the clock calls.
    class cb : public NotifyCallback {
      public:
        explicit cb(AgentManager2 & manager) : NotifyCallback(true), manager_(manager) {}
        void notify(Notifyer const &) override { manager_.step(); }

      private:
        AgentManager2 & manager_;
    };

    void step();
    void enterScene();
    void setRunning(AgentShell * agent);
    void setStopped(AgentShell * agent);
    void forget(AgentShell * agent);

    static AgentManager2 * g_object;

    AgentList agents_{AgentList::Running};
    AgentList stopped_{AgentList::Stopped};
    cb timeCallback_;
    float lastTime_ = 0;
};

} // namespace Tavlin
