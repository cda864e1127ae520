// A loaded script: the variables with their initial values, the global methods and the states.
// Many running automata share one definition, so it is built once and only read afterwards.
#pragma once

#include "foundation/GCollection.h"
#include "foundation/TGVector.h"
#include "tavlinbase/IDispatcher.h"
#include "tavlinbase/TavlinObject.h"
#include "tavlinmid/D_Statements.h"

namespace Tavlin {

class AutomatObserver;

/// The definition of a script, which all its automata share.
class ONDREL_API D_Automat : public UniqueObject, public IDispatcher::Info {
    G_DECLARE_CREATABLE(D_Automat)
  public:
    D_Automat();
    explicit D_Automat(StreamableInit);
    ~D_Automat() override;

    /// Reads a script file and adds what it holds. A missing file and errors that the parser got
    /// past are no failure; false only when the text ends in the middle of an error.
    bool load(char const * path) { return load(path, nullptr); }
    /// The same with somebody who looks on, and is told what would go to standard error. May be
    /// null; must outlive the call.
    bool load(char const * path, AutomatObserver * observer);

    void insertMethod(TRef<D_Method> const & method) {
        methods_.expand();
        methods_.insert(method);
    }
    void insertState(TRef<D_State> const & state) {
        states_.expand();
        states_.insert(state);
    }
    /// State `index`, unchecked.
    TRef<D_State> getState(int index) const { return states_.at(index); }
    TRefVector<D_State> getStates() const { return states_; }
    TRefVector<D_Method> getMethods() const { return methods_; }
    /// The names of the variables, in order.
    TGVector<NameLinkID> getNames() const { return names_; }
    /// The initial value of variable `index`, unchecked.
    VariableVar const & getValue(long index) const { return *values_.at(index); }

    /// Adds a variable and takes ownership of `value`; a name may stand several times, and the
    /// first counts. Always true.
    bool addVariable(NameLinkID name, VariableVar * value);
    /// The same with the value that `initialiser` gives when run without an automat: constants
    /// and arithmetic on them; anything else leaves the variable empty.
    bool addVariable(NameLinkID name, TRef<D_Operator> const & initialiser);

    /// A new automat with its own copies of the variables, in the first state, on which each
    /// global method has been run once.
    TRef<Automat> createNewAutomat();
    /// Gives a running automat this definition, its variables and its first state; no method is
    /// run and pending delayed actions stay.
    void updateAutomat(TRef<Automat> const & automat);
    void dump();

    int getNamesCount() const override;
    bool getNameInfo(int index, NameLinkID * name, IDispatcher::CallType * type, int * thisOffset,
                     void ** function, VariableTypes * returnType) const override;

    /// The first variable, state or global method of that name; -1 or null when there is none.
    long indexOfVariable(NameLinkID name) const;
    D_State * findState(NameLinkID name) const;
    D_Method * findMethod(NameLinkID name) const;
    /// Changes whenever the names do, and is never the same for two definitions; what a
    /// remembered index is checked against. Never 0.
    std::uint64_t namesSerial() const { return serial_; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    void renewSerial();
    void fillVariables(Automat & automat) const;
    TRef<D_State> firstState() const;

    TGVector<NameLinkID> names_;
    TGCollection<VariableVar> values_;
    TRefVector<D_Method> methods_;
    TRefVector<D_State> states_;
    int firstState_ = 0;
    std::uint64_t serial_ = 0;
};

} // namespace Tavlin
