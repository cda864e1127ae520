// Evaluation of the expression nodes other than the binary ones.
#include "tavlinmid/D_Expressions.h"

#include "tavlinbase/CallDepth.h"
#include "tavlinbase/DispatcherTextIO.h"
#include "tavlinbase/TavlinTime.h"
#include "tavlinbase/VRefArray.h"
#include "tavlinmid/Automat.h"

#include <bit>
#include <cstdint>

namespace Tavlin {

G_DEFINE_CREATABLE(D_Constant, "Tavlin::D_Constant", D_Expression)
G_DEFINE_CREATABLE(D_Me, "Tavlin::D_Me", D_Expression)
G_DEFINE_CREATABLE(D_Event, "Tavlin::D_Event", D_Expression)
G_DEFINE_CREATABLE(D_Variable, "Tavlin::D_Variable", D_LeftPart)
G_DEFINE_CREATABLE(D_Array, "Tavlin::D_Array", D_LeftPart)
G_DEFINE_CREATABLE(D_Assign, "Tavlin::D_Assign", D_Expression)
G_DEFINE_CLASS(D_Step, "Tavlin::D_Step", D_Expression)
G_DEFINE_CREATABLE(D_Increment, "Tavlin::D_Increment", D_Step)
G_DEFINE_CREATABLE(D_Decrement, "Tavlin::D_Decrement", D_Step)
G_DEFINE_CREATABLE(D_Not, "Tavlin::D_Not", D_Expression)
G_DEFINE_CREATABLE(D_Function, "Tavlin::D_Function", D_Expression)
G_DEFINE_CREATABLE(D_DoAfter, "Tavlin::D_DoAfter", D_Expression)

namespace {

bool isNumber(VariableTypes kind) {
    return kind == INT || kind == FLOAT;
}

bool quickValueOf(_Variable const & variable, QuickValue & value) {
    VariableTypes const kind = variable.type();
    if (!isNumber(kind))
        return false;
    value = {kind, variable.asINT()};
    return true;
}

/// The array that a value holds; null when it is none that can be written.
WritableVRefArray * arrayOf(VariableRef const & value) {
    if (value.type() == OBJECT)
        return gcast<WritableVRefArray>(static_cast<Object *>(value.asOBJECT()));
    if (value.type() == ARRAY)
        return gcast<WritableVRefArray>(static_cast<Object *>(value.asARRAY()));
    return nullptr;
}

bool linkElement(WritableVRefArray * array, int index, VariableRef & result) {
    if (!array || index < 0 || index >= array->getCount())
        return false;
    result.link(array->getItem(index));
    return true;
}

} // namespace

D_Constant::D_Constant(VariableVar const & value) {
    value_.copy(value);
    settle();
}

void D_Constant::settle() {
    mayBeQuick_ = isNumber(value_.type());
    if (!value_.isEmpty())
        value_.setConstant();
}

bool D_Constant::evaluate(TRef<Automat> const &, VariableRef & result) {
    result.link(value_);
    return true;
}

bool D_Constant::quick(Automat &, QuickValue & value) const {
    return quickValueOf(value_, value);
}

void D_Constant::dump() {
    Print("%s", DispatcherTextIO::VarToString(value_, 0).c_str());
}

bool D_Me::evaluate(TRef<Automat> const & automat, VariableRef & result) {
    Object * const root = automat ? automat->getNamelinkRoot() : nullptr;
    GRTTIObject * const object = static_cast<RefCounter *>(root);
    if (result.isConstant())
        result.empty();
    if (!result.isEmpty() && result.type() != GRTTI)
        return false;
    result.asGRTTI(object);
    return true;
}

bool D_Event::evaluate(TRef<Automat> const & automat, VariableRef &) {
    if (!automat)
        return false;
    automat->storeOutEvent(event_);
    return true;
}

VariableRef * D_Variable::find(Automat & automat) const {
    D_Automat const * const definition = automat.definition();
    if (!definition)
        return nullptr;
    if (serial_ != definition->namesSerial()) {
        index_ = definition->indexOfVariable(name_);
        serial_ = definition->namesSerial();
    }
    return automat.variableAt(index_);
}

bool D_Variable::evaluate(TRef<Automat> const & automat, VariableRef & result) {
    VariableRef * const variable = automat ? find(*automat) : nullptr;
    if (!variable)
        return false;
    result.link(*variable);
    return true;
}

bool D_Variable::quick(Automat & automat, QuickValue & value) const {
    VariableRef const * const variable = find(automat);
    return variable && quickValueOf(*variable, value);
}

void D_Variable::dump() {
    Print("\"%s\"", name_.getName().c_str());
}

bool D_Array::evaluate(TRef<Automat> const & automat, VariableRef & result) {
    VariableRef variable;
    if (!automat || !automat->getVariable(name_, variable))
        return false;
    WritableVRefArray * const outer = arrayOf(variable);
    if (!outer)
        return false;
    if (index_[1] < 0)
        return linkElement(outer, index_[0], result);
    VariableRef row;
    if (!linkElement(outer, index_[0], row))
        return false;
    // An access by three indices yields nothing, and goes on.
    return index_[2] >= 0 || linkElement(arrayOf(row), index_[1], result);
}

D_Assign::D_Assign(TRef<D_LeftPart> const & left, TRef<D_Expression> const & right)
    : left_(left), right_(right) {
    adopt(left_);
    adopt(right_);
    settle();
}

void D_Assign::settle() {
    variable_ = static_cast<D_LeftPart *>(left_) && left_->getMetaClass() == D_Variable::metaclass_
                    ? gcast<D_Variable>(static_cast<D_LeftPart *>(left_))
                    : nullptr;
}

// The common case needs no handles on the way: a number that is computed without side effects and
// stored into a variable that holds a number.
bool D_Assign::assignNumber(Automat & automat, VariableRef *& variable) const {
    if (!variable_ || !right_ || !right_->mayBeQuick())
        return false;
    variable = variable_->find(automat);
    QuickValue value;
    if (!variable || !isNumber(variable->type()) || variable->isConstant() ||
        !right_->quick(automat, value))
        return false;
    variable->asINT(value.word);
    return true;
}

bool D_Assign::evaluate(TRef<Automat> const & automat, DispParams * params) {
    VariableRef * variable = nullptr;
    if (automat && assignNumber(*automat, variable)) {
        if (params && params->result)
            params->result->link(*variable);
        return true;
    }
    return D_Expression::evaluate(automat, params);
}

bool D_Assign::evaluate(TRef<Automat> const & automat, VariableRef & result) {
    // Without an automat there is nothing to assign to.
    if (!automat)
        return false;
    VariableRef * variable = nullptr;
    if (assignNumber(*automat, variable)) {
        result.link(*variable);
        return true;
    }
    if (left_)
        left_->evaluate(automat, result);
    VariableRef value;
    script::Evaluate(right_, automat, value);
    return result.tryAssign(value);
}

void D_Assign::dump() {
    Dump(left_);
    Print("=");
    Dump(right_);
}

D_Step::D_Step(TRef<D_LeftPart> const & operand) : operand_(operand) {
    adopt(operand_);
}

bool D_Step::evaluate(TRef<Automat> const & automat, VariableRef & result) {
    if (operand_)
        operand_->evaluate(automat, result);
    if (!isNumber(result.type()))
        return false;
    return script::StoreWord(result, result.type(), stepped(result.asINT()));
}

std::int32_t D_Increment::stepped(std::int32_t word) const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(word) + 1u);
}

std::int32_t D_Decrement::stepped(std::int32_t word) const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(word) - 1u);
}

D_Not::D_Not(TRef<D_Expression> const & operand) : operand_(operand) {
    adopt(operand_);
}

bool D_Not::evaluate(TRef<Automat> const & automat, VariableRef & result) {
    script::Evaluate(operand_, automat, result);
    if (!isNumber(result.type()))
        return false;
    return script::StoreWord(result, result.type(), result.asINT() == 0);
}

void D_Function::insertArgument(TRef<D_Expression> const & argument) {
    arguments_.insert(argument);
    adopt(argument);
}

bool D_Function::evaluate(TRef<Automat> const & automat, VariableRef & result) {
    CallDepth const depth;
    if (!automat || depth.tooDeep())
        return false;
    TRef<Object> target(static_cast<Object *>(static_cast<Automat *>(automat)));
    if (path_.getCount() > 0)
        target = IDispatcher::FindObject(path_, target, automat->getInheritedObject());
    if (!target)
        return false;
    VRefVector arguments;
    int const count = static_cast<int>(arguments_.getCount());
    arguments.setCount(count);
    for (int i = 0; i < count; ++i)
        script::Evaluate(arguments_.at(i), automat, arguments.at(i));
    DispParams params(name_, &result, &arguments, IDispatcher::Method);
    params.call(target);
    return true;
}

void D_Function::dump() {
    Print("call %s to ", name_.getName().c_str());
    for (long i = 0; i < path_.getCount(); ++i)
        Print("%s ", path_.at(i).getName().c_str());
    Print("(");
    for (long i = 0; i < arguments_.getCount(); ++i) {
        if (i > 0)
            Print(",");
        Dump(arguments_.at(i));
    }
    Print(")");
}

namespace {

constinit D_DoAfter::FiredFunction g_fired = nullptr;
constinit void * g_firedData = nullptr;

} // namespace

void D_DoAfter::SetFiredFunction(FiredFunction function, void * data) {
    g_fired = function;
    g_firedData = data;
}

D_DoAfter::D_DoAfter(D_Expression * delay, D_Operator * action) : delay_(delay), action_(action) {
    adopt(delay);
    adopt(action);
}

bool D_DoAfter::evaluate(TRef<Automat> const & automat, VariableRef &) {
    if (!automat)
        return false;
    startFrame_ = static_cast<std::uint32_t>(Time::g_FrameCount);
    startTime_ = Time::g_Time;
    automat->addDoAfterProc(TRef<D_DoAfter>(this));
    return true;
}

bool D_DoAfter::check(TRef<Automat> const & automat, DispParams *) {
    VariableRef delay;
    script::Evaluate(delay_, automat, delay);
    bool elapsed = false;
    if (delay.type() == FLOAT)
        elapsed = Time::g_Time - startTime_ >= delay.asFLOAT();
    else if (delay.type() == INT)
        elapsed = static_cast<std::uint32_t>(Time::g_FrameCount) - startFrame_ >=
                  static_cast<std::uint32_t>(delay.asINT());
    if (!elapsed)
        return false;
    if (g_fired)
        g_fired(automat, *this, g_firedData);
    if (action_) {
        DispParams nothing(NameLinkID(), nullptr, nullptr, IDispatcher::CallType());
        action_->evaluate(automat, &nothing);
    }
    return true;
}

void D_DoAfter::dump() {
    Print("do ");
    Dump(action_);
    Print(" after ");
    Dump(delay_);
}

} // namespace Tavlin
