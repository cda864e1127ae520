// Running of blocks, conditions, methods and states.
#include "tavlinmid/D_Statements.h"

#include "tavlinmid/Automat.h"

namespace Tavlin {

G_DEFINE_CREATABLE(D_Block, "Tavlin::D_Block", D_Operator)
G_DEFINE_CREATABLE(D_Method, "Tavlin::D_Method", D_Block)
G_DEFINE_CREATABLE(D_Condition, "Tavlin::D_Condition", D_Operator)
G_DEFINE_CREATABLE(D_State, "Tavlin::D_State", RefCounter)

void D_Block::insertOperator(TRef<D_Operator> const & statement) {
    statements_.expand();
    statements_.insert(statement);
    adopt(statement);
}

bool D_Block::evaluate(TRef<Automat> const & automat, DispParams * params) {
    for (long i = 0; i < statements_.getCount(); ++i) {
        D_Operator * const statement = statements_.at(i);
        if (statement && !statement->evaluate(automat, params))
            return false;
    }
    return true;
}

void D_Block::dump() {
    Print("{\n");
    for (long i = 0; i < statements_.getCount(); ++i) {
        Dump(statements_.at(i));
        Print("\n");
    }
    Print("}\n");
}

bool D_Method::evaluate(TRef<Automat> const & automat, DispParams * params) {
    D_Block::evaluate(automat, params);
    return true;
}

void D_Method::dump() {
    Print("Method= %s\n", name_.getName().c_str());
    D_Block::dump();
}

D_Condition::D_Condition(TRef<D_Expression> const & condition, TRef<D_Operator> const & block)
    : block_(block), condition_(condition) {
    adopt(condition_);
    adopt(block_);
}

bool D_Condition::evaluate(TRef<Automat> const & automat, DispParams * params) {
    bool holds;
    QuickValue number;
    if (condition_ && automat && condition_->mayBeQuick() && condition_->quick(*automat, number)) {
        holds = number.word != 0;
    } else {
        VariableRef value;
        script::Evaluate(condition_, automat, value);
        if (value.isEmpty())
            return false;
        holds = !value.isZero();
    }
    if (!holds)
        return true;
    return block_ && block_->evaluate(automat, params);
}

void D_Condition::dump() {
    Print("if (");
    Dump(condition_);
    Print(") then\n");
    Dump(block_);
}

D_Method * D_State::findMethod(NameLinkID name) const {
    for (long i = 0; i < methods_.getCount(); ++i) {
        D_Method * const method = methods_.at(i);
        if (method && method->getName() == name)
            return method;
    }
    return nullptr;
}

bool D_State::evaluate(TRef<Automat> const & automat, DispParams * params) {
    D_Method * const method = findMethod(params->name);
    return method && method->evaluate(automat, params);
}

void D_State::dump() {
    D_Operator::Print("State = %s\n{\n", name_.getName().c_str());
    D_Operator::Print("METHODS:\n");
    for (long i = 0; i < methods_.getCount(); ++i)
        D_Operator::Dump(methods_.at(i));
    D_Operator::Print("}\n");
}

} // namespace Tavlin
