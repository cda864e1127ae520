// Stepping, linking and saving of agents.
#include "tavlinmid/AgentShell.h"

#include "diagnostics/GEmergencyLog.h"
#include "persistence/pstream.h"
#include "platform/Prefetch.h"
#include "tavlinmid/TavlinAgentManager.h"

#include <algorithm>

namespace Tavlin {

G_DEFINE_CLASS(AgentComponent, "Tavlin::AgentComponent", TypedObjectNode)
G_DEFINE_CREATABLE(AgentShell, "Tavlin::AgentShell", TypedObjectNode, IDynamicDataReadWrite)

TAVLIN_BEGIN_DISPATCHER(AgentShell, IDispatcherImpl)
    TAVLIN_VARIABLE("speedFactor", speedFactor_, FLOAT)
TAVLIN_END_DISPATCHER()

NamedTypeInfo AgentShell::g_namedTypeInfo_(&AgentShell::metaclass_, "Agent");

namespace {

/// Objects that are never equal compare by the distance of their addresses.
int addressDistance(void const * a, void const * b) {
    auto const x = reinterpret_cast<std::uintptr_t>(a), y = reinterpret_cast<std::uintptr_t>(b);
    return x == y ? 0 : x < y ? -1 : 1;
}

/// An inline reference, as all components were written once.
TRef<Object> readInline(ipstream & in) {
    ObjectCreator creator(in);
    return TRef<Object>(static_cast<Object *>(creator));
}

} // namespace

int AgentComponent::compare(Object const & other) const {
    return addressDistance(static_cast<Object const *>(this), &other);
}

void AgentComponent::step(float) {}

void AgentComponent::prefetchStep(int) const {}

void AgentComponent::write(opstream & out) {
    out.writeByte(2);
    TypedObjectNode::write(out);
    out << priority_;
}

void AgentComponent::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version >= 2)
        TypedObjectNode::read(in);
    else
        Object::read(in);
    in >> priority_;
    if (version == 0)
        priority_ = defaultPriority;
}

bool AgentShell::ComponentByPriority::search(TRef<AgentComponent> const & component,
                                             long & index) const {
    float const wanted = keyOf(component);
    long low = 0, high = getCount() - 1;
    while (low <= high) {
        long const middle = (low + high) >> 1;
        int const order = compare(keyOf(at(middle)), wanted);
        if (order == 0) {
            index = middle;
            return true;
        }
        if (order < 0)
            low = middle + 1;
        else
            high = middle - 1;
    }
    index = low;
    return false;
}

long AgentShell::ComponentByPriority::insert(TRef<AgentComponent> const & component) {
    long index = 0;
    search(component, index);
    at_insert(index, component);
    return index;
}

float AgentShell::ComponentByPriority::keyOf(TRef<AgentComponent> const & component) const {
    return component->getPriority();
}

int AgentShell::ComponentByPriority::compare(float a, float b) const {
    return a < b ? -1 : a > b ? 1 : 0;
}

AgentShell::AgentShell() : speedFactor_(1.0f) {
    enlist();
}

AgentShell::AgentShell(StreamableInit) : AgentShell() {}

void AgentShell::enlist() {
    if (AgentManager2 * const manager = AgentManager2::Get())
        manager->getStoppedAgents().insert(this);
}

AgentShell::~AgentShell() {
    if (AgentManager2 * const manager = AgentManager2::Get())
        manager->forget(this);
}

int AgentShell::compare(Object const & other) const {
    return addressDistance(static_cast<Object const *>(this), &other);
}

void AgentShell::addComponent(TRef<AgentComponent> const & component) {
    components_.insert(component);
}

void AgentShell::addComponent(TRef<AgentComponent> const & component, float priority) {
    component->setPriority(priority);
    addComponent(component);
}

void AgentShell::addComponent(TRef<AgentComponent> const & component, NameLinkID name,
                              float priority) {
    component->setMemberNameID(name);
    addComponent(component, priority);
}

void AgentShell::removeComponent(NameLinkID name) {
    for (long i = 0; i < components_.getCount(); ++i) {
        if (components_.at(i)->getMemberNameID() == name) {
            components_.at_remove(i);
            return;
        }
    }
}

void AgentShell::passStep(float delta) {
    float const scaled = speedFactor_.asFLOAT() * delta;
    for (long i = 0; i < components_.getCount(); ++i) {
        TRef<AgentComponent> const component = components_.at(i);
        GEmergencyContext const context(component->getMemberNameID().c_str());
        component->step(scaled);
    }
}

// A population does not fit in the caches, and each step of an agent follows a chain of
// references: agent, list of components, component, its own data. Fetching the links of several
// agents ahead, one link per round, lets those waits overlap.
void AgentShell::prefetchStep(int round) const {
    constexpr long mostComponents = 4;
    constexpr std::size_t componentSize = 320; // of an automat, which is the usual one
    if (round == 0) {
        platform::prefetch(this, sizeof *this);
        return;
    }
    if (round == 1) {
        if (components_.getCount() > 0)
            platform::prefetch(&components_.at(0));
        speedFactor_.prefetchCell();
        return;
    }
    long const count = std::min(components_.getCount(), mostComponents);
    for (long i = 0; i < count; ++i) {
        AgentComponent const * const component = components_.at(i).pointer();
        if (round == 2)
            platform::prefetch(component, componentSize);
        else
            component->prefetchStep(round - 3);
    }
}

void AgentShell::start() {
    running_ = true;
    if (AgentManager2 * const manager = AgentManager2::Get())
        manager->setRunning(this);
}

void AgentShell::stop() {
    running_ = false;
    if (AgentManager2 * const manager = AgentManager2::Get())
        manager->setStopped(this);
}

void AgentShell::tryResolveAsRoot() {
    resolveAllNamesWithRoot(this);
}

void AgentShell::finishResolveAsRoot() {
    GString message;
    if (checkConnectionPointsDown(message, false))
        onLinkCompleteRecursive();
    else
        stop();
}

void AgentShell::resolveAllNamesAsRoot() {
    tryResolveAsRoot();
    finishResolveAsRoot();
}

int AgentShell::getNodeCount() const {
    return static_cast<int>(components_.getCount());
}

TRef<TypedObjectNode> AgentShell::getNode(int index) const {
    return TRef<TypedObjectNode>(static_cast<AgentComponent *>(components_.at(index)));
}

bool AgentShell::invoke(DispParams * params) {
    if (params->type != IDispatcher::Method)
        return TypedObjectNode::invoke(params);
    bool taken = false;
    for (long i = 0; i < components_.getCount(); ++i) {
        TRef<Object> const component(static_cast<AgentComponent *>(components_.at(i)));
        taken |= params->call(component);
    }
    return taken;
}

void AgentShell::write(opstream & out) {
    out.writeByte(4);
    TypedObjectNode::write(out);
    long const count = components_.getCount();
    out.writeDWord(static_cast<std::uint32_t>(count));
    for (long i = 0; i < count; ++i) {
        LWRITE_RESOURCE(out, TRef<Object>(static_cast<AgentComponent *>(components_.at(i))), true);
        out.writeDWord(static_cast<std::uint32_t>(count - 1 - i));
    }
    out.writeByte(running_);
}

void AgentShell::read(ipstream & in) {
    unsigned char const version = in.readByte();
    TypedObjectNode::read(in);
    components_.empty();
    for (std::uint32_t count = in.readDWord(); count > 0 && in.good(); --count) {
        TRef<Object> const object = version >= 3 ? LREAD_RESOURCE(in) : readInline(in);
        if (auto * const component = gcast<AgentComponent>(static_cast<Object *>(object)))
            components_.insert(TRef<AgentComponent>(component));
        components_.expand();
        if (version >= 4)
            in.readDWord();
    }
    running_ = version < 2 || in.readByte() != 0;
    if (running_)
        start();
}

void AgentShell::writeDynamic(opstream & out) {
    out.writeByte(0);
    out.writeDWord(static_cast<std::uint32_t>(components_.getCount()));
    for (long i = 0; i < components_.getCount(); ++i) {
        auto * const dynamic = gcast<IDynamicDataReadWrite>(static_cast<AUnknown *>(
            components_.at(i)->queryInterface(&IDynamicDataReadWrite::metaclass_)));
        out.writeByte(dynamic != nullptr);
        if (dynamic)
            dynamic->writeDynamic(out);
    }
}

void AgentShell::readDynamic(ipstream & in) {
    in.readByte();
    in.readDWord();
    for (long i = 0; i < components_.getCount(); ++i) {
        if (in.readByte() == 0)
            continue;
        TRef<AUnknown> const found =
            components_.at(i)->queryInterface(&IDynamicDataReadWrite::metaclass_);
        if (auto * const dynamic = gcast<IDynamicDataReadWrite>(static_cast<AUnknown *>(found)))
            dynamic->readDynamic(in);
    }
}

void AgentShell::onFinalRelease() {
    Object::onFinalRelease();
}

} // namespace Tavlin
