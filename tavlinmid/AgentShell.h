// An agent and its parts. An agent is a named node of the typed tree that hands each game step to
// its components in the order of their priorities; what it does lies entirely in them.
#pragma once

#include "tavlinbase/TRefVector.h"
#include "tavlinbase/TavlinLibrary.h"
#include "tavlinbase/TavlinTypedObject.h"

namespace Tavlin {

/// A part of an agent that is stepped with it.
class ONDREL_API AgentComponent : public TypedObjectNode {
    G_DECLARE_CLASS(AgentComponent)
  public:
    float getPriority() const { return priority_; }
    /// The place in an agent's list stays as it is until the agent's resort.
    void setPriority(float priority) { priority_ = priority; }

    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    AgentComponent() = default;

    /// Called once per game step of the agent; `delta` is the agent's own time in seconds.
    virtual void step(float delta);
    /// Called a few agents ahead of step, first with `round` 0 and then with 1, to have at hand
    /// what step will read: in round 1 what round 0 has fetched may be followed. Must only read.
    virtual void prefetchStep(int round) const;

  private:
    friend class AgentShell;
    static constexpr float defaultPriority = 0.5f;

    float priority_ = defaultPriority;
};

/// An agent: a named list of components.
class ONDREL_API AgentShell : public TypedObjectNode, public IDynamicDataReadWrite {
    G_DECLARE_CREATABLE(AgentShell)
    TAVLIN_DECLARE_DISPATCHER(AgentShell)
  public:
    /// Components by rising priority; equal priorities may stand side by side.
    class ONDREL_API ComponentByPriority : public TRefSortedVectorC<AgentComponent, float> {
      public:
        long insert(TRef<AgentComponent> const & component) override;
        /// Where a component of that priority belongs; an equal one ends the search.
        bool search(TRef<AgentComponent> const & component, long & index) const override;
        float keyOf(TRef<AgentComponent> const & component) const override;
        int compare(float a, float b) const override;
    };

    static NamedTypeInfo g_namedTypeInfo_;

    /// The agent manager must exist; the agent stands in its list of stopped agents.
    AgentShell();
    explicit AgentShell(StreamableInit);
    ~AgentShell() override;

    NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }
    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }

    /// Adds a component, which the agent holds from then on: at its own priority (0.5 at first), or
    /// at the one that it gets here, and under a name. Its links are resolved with those of the
    /// agent. Not while the agent is stepped: another component might be stepped twice.
    void addComponent(TRef<AgentComponent> const & component);
    void addComponent(TRef<AgentComponent> const & component, float priority);
    void addComponent(TRef<AgentComponent> const & component, NameLinkID name, float priority);
    /// Takes out the first component of that name; an unknown name does nothing.
    void removeComponent(NameLinkID name);
    /// Sorts the components anew after priorities were changed.
    void resort() { components_.resort(); }

    /// Steps the components; `delta`, in seconds of game time, is scaled by "speedFactor".
    void passStep(float delta);
    /// Move the agent to the manager's running or stopped agents.
    void start();
    void stop();
    bool isRunning() const { return running_; }

    /// Resolves the links of the whole agent; may be repeated while targets appear.
    void tryResolveAsRoot();
    /// Announces completion if all required links resolved; otherwise stops the agent.
    void finishResolveAsRoot();
    void resolveAllNamesAsRoot();

    int getNodeCount() const override;
    TRef<TypedObjectNode> getNode(int index) const override;
    /// A method goes to every component, and is true when any of them took it; everything else is
    /// answered as a node does.
    bool invoke(DispParams * params) override;

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void readDynamic(ipstream & in) override;
    void writeDynamic(opstream & out) override;
    void onFinalRelease() override;

  private:
    friend class AgentList;
    friend class AgentManager2;
    void enlist();
    /// Fetches what passStep will read, one reference further in each round.
    void prefetchStep(int round) const;
    static constexpr int prefetchRounds = 5;

    ComponentByPriority components_;
    VariableVar speedFactor_;
    bool running_ = false;
    long listPlace_[2] = {-1, -1}; // where it was put in the manager's lists; -1 for nowhere
};

} // namespace Tavlin
