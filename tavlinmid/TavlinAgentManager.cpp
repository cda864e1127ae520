// The walk over the agents, and the calls that are passed on to them.
#include "tavlinmid/TavlinAgentManager.h"

#include "diagnostics/GEmergencyLog.h"
#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"
#include "tavlinbase/TavlinSceneObject.h"
#include "tavlinbase/TavlinTime.h"

#include <bit>
#include <cstdint>

namespace Tavlin {

G_DEFINE_CREATABLE(AgentManager2, "Tavlin::AgentManager2", Object, IDispatcherImpl)

TAVLIN_BEGIN_DISPATCHER(AgentManager2, IDispatcherImpl)
    TAVLIN_METHOD("sysUnloadStatic", onSysUnloadStatic, UNDEFINED)
TAVLIN_END_DISPATCHER()

constinit AgentManager2 * AgentManager2::g_object = nullptr;

namespace {

/// Just behind 2.0: other subscribers of the game step can stand in front and behind.
constexpr float stepPriority = std::bit_cast<float>(0x400001A3u);

/// A shorter step is that of a paused game.
constexpr float leastDelta = 0.00001f;

} // namespace

// An agent stands in a list at most once by the manager's own doing, so the place that it noted is
// that of its last insertion, and where it is now lies at or below it. An agent whose note is
// empty stands in none; one that somebody has taken out in another way is searched for in vain.
long AgentList::v_index_of(void const * item) const {
    auto const * const agent = static_cast<AgentShell const *>(item);
    long const noted = agent ? agent->listPlace_[which_] : getCount() - 1;
    long high = noted < getCount() ? noted : getCount() - 1;
    for (long low = 0; low <= high; ++low, --high) {
        if (at(high) == agent)
            return high;
        if (at(low) == agent)
            return low;
    }
    return -1;
}

void AgentList::note(void * item, long place) {
    if (item)
        static_cast<AgentShell *>(item)->listPlace_[which_] = place;
}

void AgentList::v_at_insert(long index, void * item) {
    TGCollection<AgentShell>::v_at_insert(index, item);
    // An insertion that is not at the end moves others up, out of reach of their notes.
    for (long i = index; i < getCount(); ++i)
        note(at(i), i);
}

void AgentList::v_at_put(long index, void * item) {
    TGCollection<AgentShell>::v_at_put(index, item);
    note(item, index);
}

void AgentList::v_at_remove(long index) {
    check_index(index);
    AgentShell * const agent = at(index);
    TGCollection<AgentShell>::v_at_remove(index);
    note(agent, -1);
}

AgentManager2::AgentManager2() : timeCallback_(*this) {
    g_object = this;
    enterScene();
}

AgentManager2::~AgentManager2() {
    stop();
    if (g_object == this)
        g_object = nullptr;
}

void AgentManager2::enterScene() {
    // Where the name is taken it stays so; and a reference that nobody took over would end this
    // object while it is being built.
    SceneObject * const scene = SceneObject::Get();
    if (scene && !scene->findObject("Agents"))
        scene->regObject("Agents", TRef<Object>(this));
}

void AgentManager2::start() {
    enterScene();
    Time::g_StepNotifyer.addCallback(&timeCallback_, stepPriority);
    lastTime_ = Time::g_Time;
}

void AgentManager2::stop() {
    Time::g_StepNotifyer.removeCallback(&timeCallback_);
}

void AgentManager2::step() {
    float const delta = Time::g_TimeToNextFrame;
    if (delta < leastDelta)
        return;
    GEmergencyContext const context("agents step");
    // Agents ahead in the walk, the furthest in the first round.
    auto const prefetchAhead = [this](long i) {
        constexpr long distance = 3;
        for (int round = 0; round < AgentShell::prefetchRounds; ++round) {
            long const ahead = i - (AgentShell::prefetchRounds - round) * distance;
            if (ahead >= 0 && ahead < agents_.getCount())
                agents_.at(ahead)->prefetchStep(round);
        }
    };
    for (long i = agents_.getCount() - 1; i >= 0; --i) {
        prefetchAhead(i);
        // Agents may leave the list while it is walked.
        if (i >= agents_.getCount())
            continue;
        TRef<AgentShell> const agent(agents_.at(i));
        agent->passStep(delta);
    }
}

void AgentManager2::LinkAgents() {
    AgentManager2 * const manager = Get();
    if (!manager)
        return;
    manager->enterScene();
    TGCollection<AgentShell> * const lists[] = {&manager->agents_, &manager->stopped_};
    auto const forEach = [&lists](void (AgentShell::*operation)()) {
        for (TGCollection<AgentShell> * list : lists)
            for (long i = list->getCount() - 1; i >= 0; --i) {
                if (i >= list->getCount())
                    continue;
                TRef<AgentShell> const agent(list->at(i));
                (static_cast<AgentShell *>(agent)->*operation)();
            }
    };
    forEach(&AgentShell::tryResolveAsRoot);
    forEach(&AgentShell::finishResolveAsRoot);
}

void AgentManager2::init(TRef<AgentShell> const & agent) {
    if (!agent)
        return;
    if (agent->isRunning())
        agent->start();
    else
        agent->stop();
}

void AgentManager2::init(TRefVector<Object> & objects) {
    for (long i = 0; i < objects.getCount(); ++i)
        init(TRef<AgentShell>(gcast<AgentShell>(static_cast<Object *>(objects.at(i)))));
}

void AgentManager2::deinit(TRef<AgentShell> const & agent) {
    agents_.remove(static_cast<AgentShell *>(agent));
    stopped_.remove(static_cast<AgentShell *>(agent));
}

void AgentManager2::deinit(TRefVector<Object> & objects) {
    for (long i = 0; i < objects.getCount(); ++i)
        if (auto * const agent = gcast<AgentShell>(static_cast<Object *>(objects.at(i))))
            deinit(TRef<AgentShell>(agent));
}

void AgentManager2::setRunning(AgentShell * agent) {
    if (agents_.index_of(agent) < 0)
        agents_.insert(agent);
    stopped_.remove(agent);
}

void AgentManager2::setStopped(AgentShell * agent) {
    agents_.remove(agent);
    if (stopped_.index_of(agent) < 0)
        stopped_.insert(agent);
}

void AgentManager2::forget(AgentShell * agent) {
    agents_.remove(agent);
    stopped_.remove(agent);
}

bool AgentManager2::invoke(DispParams * params) {
    bool taken = IDispatcherImpl::invoke(params);
    TGCollection<AgentShell> * const lists[] = {&agents_, &stopped_};
    if (params->type == IDispatcher::Method) {
        for (TGCollection<AgentShell> * list : lists)
            for (long i = 0; i < list->getCount(); ++i)
                taken |= params->call(TRef<Object>(list->at(i)));
    } else if (params->type == IDispatcher::PropertyGet && params->result) {
        for (TGCollection<AgentShell> * list : lists)
            for (long i = 0; i < list->getCount(); ++i)
                if (list->at(i)->getMemberNameID() == params->name) {
                    params->result->link(VariableRef::AsOBJECT(TRef<Object>(list->at(i))));
                    return true;
                }
    }
    return taken;
}

void AgentManager2::onSysUnloadStatic(VariableRef *, VRefVector *) {}

int AgentManager2::compare(Object const & other) const {
    Object const * const self = this;
    return self == &other ? 0 : self < &other ? -1 : 1;
}

void AgentManager2::write(opstream & out) {
    out.writeByte(1);
    Object::write(out);
    AUnknown::write(out);
}

void AgentManager2::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version != 1)
        throw XStrVer("tavlinmid/TavlinAgentManager", 42, version, 1);
    Object::read(in);
    AUnknown::read(in);
    lastTime_ = Time::g_Time;
}

void AgentManager2::onFinalRelease() {
    Object::onFinalRelease();
}

} // namespace Tavlin
