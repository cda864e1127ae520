// A running script: a component with its own copies of the script's variables, a current state,
// and the delayed actions that wait. Anything that can call a dispatcher can send it events, which
// are method calls by name; nothing is queued, the method runs on the caller's stack.
#pragma once

#include "tavlinbase/VRefVector.h"
#include "tavlinmid/AgentShell.h"
#include "tavlinmid/D_Automat.h"
#include "tavlinmid/D_Expressions.h"

namespace Tavlin {

/// A running script.
class ONDREL_API Automat : public AgentComponent {
    G_DECLARE_CREATABLE(Automat)
  public:
    static NamedTypeInfo g_namedTypeInfo_;
    /// Selects the layout of the base class in streams that are read.
    static bool newVersion;

    explicit Automat(StreamableInit);
    ~Automat() override;

    NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

    /// Runs a method: the current state's, else a global one, else what the inherited object
    /// does. A read of a property looks at the variables alone.
    bool invoke(DispParams * params) override;
    /// The names of the definition; null without one.
    IDispatcher::Info const * getTypeInfo() override;

    /// Links `variable` to the automat's own of that name; false when there is none.
    bool getVariable(NameLinkID name, VariableRef & variable);
    /// Writes into the variable; false when there is none of that name.
    bool setVariable(NameLinkID name, VariableVar const & value);
    bool isVariable(NameLinkID name) const;
    /// Makes the first state of that name current; false, with nothing changed, if there is none.
    bool setNowState(NameLinkID name);
    TRef<D_State> getNowState() const { return nowState_; }

    /// Notes an event for the host to look at; nothing is called, and the notes are not saved.
    void storeOutEvent(NameLinkID event) { outEvents_.insert(event); }
    /// The out events since the automat was made, oldest first, with blanks between them.
    GString getLastOutEvents() const;

    /// Lets `action` wait for its time; the same one may wait several times.
    void addDoAfterProc(TRef<D_DoAfter> const & action) { doAfters_.insert(action); }

    /// The object that receives what the script does not handle, and that the path "inherited"
    /// leads to; null by default.
    void setInheritedObject(TRef<Object> const & object) { inherited_ = object; }
    TRef<Object> const & getInheritedObject() const { return inherited_; }
    TRef<D_Automat> const & getDefinition() const { return definition_; }

    /// What nodes reach on every evaluation, not counted.
    D_Automat const * definition() const { return definition_; }
    /// Null when there is no variable of that index.
    VariableRef * variableAt(long index) {
        return index >= 0 && index < variables_.getCount() ? &variables_.at(static_cast<int>(index))
                                                           : nullptr;
    }

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override;

  protected:
    void step(float delta) override;
    void prefetchStep(int round) const override;

  private:
    friend class D_Automat;

    void clearVariables() { variables_.empty(); }
    void insertVariable(VariableRef const & variable) { variables_.insert(variable); }
    void setDefinition(TRef<D_Automat> const & definition) { definition_ = definition; }
    void setState(TRef<D_State> const & state) { nowState_ = state; }
    void fireDoAfters(TRef<Automat> const & self);
    void readOldBase(ipstream & in);

    TRef<Object> inherited_;
    VRefVector variables_;
    TGVector<NameLinkID> outEvents_;
    TRef<D_State> nowState_;
    TRef<D_Automat> definition_;
    TRefVector<D_DoAfter> doAfters_;
};

} // namespace Tavlin
