// Building of definitions, and of the automata that run them.
#include "tavlinmid/D_Automat.h"

#include "tavlinbase/DispatcherTextIO.h"
#include "tavlinmid/Automat.h"
#include "tavlinmid/AutomatParser.h"

#include <cstdio>
#include <new>

namespace Tavlin {

G_DEFINE_CREATABLE(D_Automat, "Tavlin::D_Automat", UniqueObject)

namespace {

template <class T>
void fill(T * where, T const & value) {
    if (where)
        *where = value;
}

} // namespace

D_Automat::D_Automat() : values_(0, 16, 1) {
    renewSerial();
}

D_Automat::D_Automat(StreamableInit) : D_Automat() {}

D_Automat::~D_Automat() {
    values_.shut_down();
}

bool D_Automat::load(char const * path, AutomatObserver * observer) {
    try {
        calc_lexer lexer(path, observer);
        calc_parser parser(lexer, TRef<D_Automat>(this));
        return parser.parse() == 0;
    } catch (std::bad_alloc const &) {
        // A script may bring more new names than there is room for.
        std::fputs("out of memory\n", stderr);
        return false;
    }
}

void D_Automat::renewSerial() {
    static constinit std::uint64_t g_serial = 0;
    serial_ = ++g_serial;
}

bool D_Automat::addVariable(NameLinkID name, VariableVar * value) {
    names_.insert(name);
    values_.insert(value);
    renewSerial();
    return true;
}

bool D_Automat::addVariable(NameLinkID name, TRef<D_Operator> const & initialiser) {
    VariableRef result;
    DispParams params(NameLinkID(), &result, nullptr, IDispatcher::CallType());
    if (initialiser)
        initialiser->evaluate(TRef<Automat>(), &params);
    auto * const value = new VariableVar;
    value->copy(result);
    return addVariable(name, value);
}

long D_Automat::indexOfVariable(NameLinkID name) const {
    for (long i = 0; i < names_.getCount(); ++i)
        if (names_.at(i) == name)
            return i;
    return -1;
}

D_State * D_Automat::findState(NameLinkID name) const {
    for (long i = 0; i < states_.getCount(); ++i) {
        D_State * const state = states_.at(i);
        if (state->getName() == name)
            return state;
    }
    return nullptr;
}

D_Method * D_Automat::findMethod(NameLinkID name) const {
    for (long i = 0; i < methods_.getCount(); ++i) {
        D_Method * const method = methods_.at(i);
        if (method->getName() == name)
            return method;
    }
    return nullptr;
}

void D_Automat::fillVariables(Automat & automat) const {
    automat.clearVariables();
    for (long i = 0; i < values_.getCount(); ++i) {
        VariableRef variable;
        variable.copy(*values_.at(i));
        automat.insertVariable(variable);
    }
}

TRef<D_State> D_Automat::firstState() const {
    if (firstState_ < 0 || firstState_ >= states_.getCount())
        return TRef<D_State>();
    return states_.at(firstState_);
}

TRef<Automat> D_Automat::createNewAutomat() {
    TObjectCreator<Automat> creator(&Automat::metaclass_);
    TRef<Automat> const automat(static_cast<Automat *>(creator));
    if (!automat)
        return automat;
    fillVariables(*automat);
    automat->setDefinition(TRef<D_Automat>(this));
    if (states_.getCount() > 0)
        automat->setState(firstState());
    static NameLinkID const creation("x__");
    for (long i = 0; i < methods_.getCount(); ++i) {
        VariableRef result;
        DispParams params(creation, &result, nullptr, IDispatcher::Method);
        methods_.at(i)->evaluate(automat, &params);
    }
    return automat;
}

void D_Automat::updateAutomat(TRef<Automat> const & automat) {
    if (!automat)
        return;
    fillVariables(*automat);
    automat->setDefinition(TRef<D_Automat>(this));
    if (states_.getCount() > 0)
        automat->setState(firstState());
}

void D_Automat::dump() {
    D_Operator::Print("STATES:\n");
    for (long i = 0; i < states_.getCount(); ++i)
        states_.at(i)->dump();
    D_Operator::Print("METHODS:\n");
    for (long i = 0; i < methods_.getCount(); ++i)
        D_Operator::Dump(methods_.at(i));
    D_Operator::Print("VARS:\n");
    for (long i = 0; i < names_.getCount(); ++i)
        D_Operator::Print("%s = %s\n", names_.at(i).getName().c_str(),
                          DispatcherTextIO::VarToString(*values_.at(i), 0).c_str());
}

int D_Automat::getNamesCount() const {
    long count = names_.getCount() + methods_.getCount();
    for (long i = 0; i < states_.getCount(); ++i)
        count += states_.at(i)->getMethodCount();
    return static_cast<int>(count);
}

bool D_Automat::getNameInfo(int index, NameLinkID * name, IDispatcher::CallType * type,
                            int * thisOffset, void ** function, VariableTypes * returnType) const {
    if (index < 0)
        return false;
    long rest = index;
    D_Method const * method = nullptr;
    if (rest < names_.getCount()) {
        fill(name, names_.at(rest));
        fill(type, IDispatcher::Variable);
        fill(returnType, values_.at(rest)->type());
        fill(thisOffset, 0);
        fill(function, static_cast<void *>(nullptr));
        return true;
    }
    rest -= names_.getCount();
    if (rest < methods_.getCount())
        method = methods_.at(rest);
    rest -= methods_.getCount();
    for (long i = 0; !method && i < states_.getCount(); ++i) {
        D_State const & state = *states_.at(i);
        if (rest < state.getMethodCount())
            method = state.getMethod(rest);
        rest -= state.getMethodCount();
    }
    if (!method)
        return false;
    fill(name, method->getName());
    fill(type, IDispatcher::Method);
    fill(thisOffset, 0);
    fill(function, static_cast<void *>(nullptr));
    return true;
}

} // namespace Tavlin
