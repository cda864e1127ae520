// How events find their method, how delayed actions fire, and what of it is saved.
#include "tavlinmid/Automat.h"

#include "diagnostics/GEmergencyLog.h"
#include "persistence/pstream.h"
#include "platform/Prefetch.h"

#include <algorithm>

namespace Tavlin {

G_DEFINE_CREATABLE(Automat, "Tavlin::Automat", AgentComponent)

NamedTypeInfo Automat::g_namedTypeInfo_(&Automat::metaclass_, "Automat");
bool Automat::newVersion = true;

Automat::Automat(StreamableInit) {}

Automat::~Automat() = default;

void Automat::step(float) {
    TRef<Automat> const self(this);
    fireDoAfters(self);
    // The same for all automata and every step.
    static DispParams event("Step", nullptr, nullptr, IDispatcher::Method);
    invoke(&event);
}

void Automat::prefetchStep(int round) const {
    constexpr int mostVariables = 16;
    int const count = std::min(variables_.getCount(), mostVariables);
    if (count == 0)
        return;
    if (round == 0)
        platform::prefetch(&variables_.at(0), static_cast<std::size_t>(count) * sizeof(void *));
    else
        for (int i = 0; i < count; ++i)
            variables_.at(i).prefetchCell();
}

// Actions that a fired action adds stand above the index, and wait for the next step.
void Automat::fireDoAfters(TRef<Automat> const & self) {
    for (long i = doAfters_.getCount() - 1; i >= 0; --i) {
        if (i >= doAfters_.getCount())
            continue;
        TRef<D_DoAfter> const action = doAfters_.at(i);
        if (action->check(self, nullptr) && i < doAfters_.getCount())
            doAfters_.at_remove(i);
    }
}

bool Automat::invoke(DispParams * params) {
    if (params->type == IDispatcher::PropertyGet)
        return params->result && getVariable(params->name, *params->result);
    GEmergencyContext const context(params->name.c_str());
    TRef<Automat> const self(this);
    TRef<D_State> const state = nowState_;
    if (state && state->evaluate(self, params))
        return true;
    TRef<D_Automat> const definition = definition_;
    if (D_Method * const method = definition ? definition->findMethod(params->name) : nullptr)
        return method->evaluate(self, params);
    return inherited_ && params->call(inherited_);
}

IDispatcher::Info const * Automat::getTypeInfo() {
    return static_cast<D_Automat *>(definition_);
}

bool Automat::getVariable(NameLinkID name, VariableRef & variable) {
    VariableRef const * const found =
        definition_ ? variableAt(definition_->indexOfVariable(name)) : nullptr;
    if (!found)
        return false;
    variable.link(*found);
    return true;
}

bool Automat::setVariable(NameLinkID name, VariableVar const & value) {
    VariableRef * const found =
        definition_ ? variableAt(definition_->indexOfVariable(name)) : nullptr;
    if (!found)
        return false;
    *found = value;
    return true;
}

bool Automat::isVariable(NameLinkID name) const {
    return definition_ && definition_->indexOfVariable(name) >= 0;
}

bool Automat::setNowState(NameLinkID name) {
    D_State * const state = definition_ ? definition_->findState(name) : nullptr;
    if (!state)
        return false;
    nowState_ = TRef<D_State>(state);
    return true;
}

GString Automat::getLastOutEvents() const {
    GString names;
    for (long i = 0; i < outEvents_.getCount(); ++i) {
        names += outEvents_.at(i).getName();
        names += ' ';
    }
    names.trim(' ');
    return names;
}

void Automat::write(opstream & out) {
    AgentComponent::write(out);
    out.writeByte(4);
    RefCounterWrite(out, TRef<RefCounter>(static_cast<D_Automat *>(definition_)));
    RefCounterWrite(out, TRef<RefCounter>(static_cast<D_State *>(nowState_)));
    RefCounterWrite(out, TRef<RefCounter>(static_cast<Object *>(inherited_)));
    out.writeDWord(static_cast<std::uint32_t>(variables_.getCount()));
    for (int i = 0; i < variables_.getCount(); ++i)
        out << variables_.at(i);
}

// The form before an automat was a component.
void Automat::readOldBase(ipstream & in) {
    Object::read(in);
    in.readByte();
    in.readDWord();
    float unused;
    in >> unused >> unused;
    AUnknown::read(in);
}

void Automat::read(ipstream & in) {
    if (newVersion)
        AgentComponent::read(in);
    else
        readOldBase(in);
    D_Out::newVersion = in.readByte() >= 4;
    definition_ = TRef<D_Automat>(
        gcast<D_Automat>(static_cast<RefCounter *>(RefCounterRead(in, &D_Automat::metaclass_))));
    nowState_ = TRef<D_State>(
        gcast<D_State>(static_cast<RefCounter *>(RefCounterRead(in, &D_State::metaclass_))));
    ObjectCreator inherited(in);
    inherited_ = TRef<Object>(static_cast<Object *>(inherited));
    variables_.empty();
    for (std::uint32_t count = in.readDWord(); count > 0 && in.good(); --count) {
        VariableRef variable;
        in >> variable;
        variables_.insert(variable);
    }
}

void Automat::onFinalRelease() {
    Object::onFinalRelease();
}

} // namespace Tavlin
