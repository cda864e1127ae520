// Arithmetic, comparison and logic on pairs of values.
#include "tavlinmid/D_Expression2.h"

#include "platform/DivisionFault.h"
#include "tavlinmid/Automat.h"
#include "tavlinmid/D_Expressions.h"

#include <bit>
#include <limits>

namespace Tavlin {

G_DEFINE_CLASS(D_Expression2, "Tavlin::D_Expression2", D_Expression)
G_DEFINE_CREATABLE(D_Add, "Tavlin::D_Add", D_Expression2)
G_DEFINE_CREATABLE(D_Substruct, "Tavlin::D_Substruct", D_Expression2)
G_DEFINE_CREATABLE(D_Multiplication, "Tavlin::D_Multiplication", D_Expression2)
G_DEFINE_CREATABLE(D_Division, "Tavlin::D_Division", D_Expression2)
G_DEFINE_CREATABLE(D_Modulus, "Tavlin::D_Modulus", D_Expression2)
G_DEFINE_CREATABLE(D_IsEqual, "Tavlin::D_IsEqual", D_Expression2)
G_DEFINE_CREATABLE(D_IsNotEqual, "Tavlin::D_IsNotEqual", D_Expression2)
G_DEFINE_CREATABLE(D_IsGreater, "Tavlin::D_IsGreater", D_Expression2)
G_DEFINE_CREATABLE(D_IsGreaterOrEqual, "Tavlin::D_IsGreaterOrEqual", D_Expression2)
G_DEFINE_CREATABLE(D_IsLess, "Tavlin::D_IsLess", D_Expression2)
G_DEFINE_CREATABLE(D_IsLessOrEqual, "Tavlin::D_IsLessOrEqual", D_Expression2)
G_DEFINE_CREATABLE(D_Or, "Tavlin::D_Or", D_Expression2)
G_DEFINE_CREATABLE(D_And, "Tavlin::D_And", D_Expression2)

namespace {

bool isNumber(VariableRef const & value) {
    return value.type() == INT || value.type() == FLOAT;
}

QuickValue numberOf(VariableRef const & value) {
    return {value.type(), value.asINT()};
}

bool bothInts(QuickValue left, QuickValue right) {
    return left.kind == INT && right.kind == INT;
}

double real(QuickValue value) {
    return static_cast<double>(std::bit_cast<float>(value.word));
}

std::int32_t wrap(std::uint32_t value) {
    return static_cast<std::int32_t>(value);
}

/// Integers wrap in 32 bits; floats go through double and are rounded once.
template <class Whole, class Real>
bool arithmetic(QuickValue left, QuickValue right, QuickValue & value, Whole whole, Real floating) {
    if (left.kind != right.kind)
        return false;
    value.kind = left.kind;
    value.word =
        left.kind == INT
            ? wrap(whole(static_cast<std::uint32_t>(left.word),
                         static_cast<std::uint32_t>(right.word)))
            : std::bit_cast<std::int32_t>(static_cast<float>(floating(real(left), real(right))));
    return true;
}

template <class Relation>
bool order(QuickValue left, QuickValue right, QuickValue & value, Relation relation) {
    if (left.kind != right.kind)
        return false;
    bool const holds =
        left.kind == INT ? relation(left.word, right.word) : relation(real(left), real(right));
    value = {INT, holds};
    return true;
}

/// A relation between plane vectors holds when it holds in both components.
template <class Relation>
bool orderVectors(VariableRef const & left, VariableRef const & right, VariableRef & result,
                  Relation relation) {
    if (left.type() != VECTOR2D || right.type() != VECTOR2D)
        return false;
    Vector2D const & a = left.asVECTOR2D();
    Vector2D const & b = right.asVECTOR2D();
    return script::StoreWord(result, INT, relation(a.x, b.x) && relation(a.y, b.y));
}

bool storeVector(VariableRef & result, Vector2D const & value) {
    if (result.isConstant())
        result.empty();
    if (!result.isEmpty() && result.type() != VECTOR2D)
        return false;
    result.asVECTOR2D(value);
    return true;
}

/// Equality of numbers by the rules of values: an unordered pair of floats counts as equal.
bool equal(QuickValue left, QuickValue right) {
    if (left.kind != right.kind)
        return false;
    if (left.kind == INT)
        return left.word == right.word;
    return !(real(left) < real(right)) && !(real(left) > real(right));
}

struct Greater {
    bool operator()(auto a, auto b) const { return a > b; }
};
struct GreaterOrEqual {
    bool operator()(auto a, auto b) const { return a >= b; }
};
struct Less {
    bool operator()(auto a, auto b) const { return a < b; }
};
struct LessOrEqual {
    bool operator()(auto a, auto b) const { return a <= b; }
};

} // namespace

D_Expression2::D_Expression2(TRef<D_Expression> const & left, TRef<D_Expression> const & right)
    : left_(left), right_(right) {
    adopt(left);
    adopt(right);
    settle();
}

void D_Expression2::settle() {
    mayBeQuick_ = left_ && right_ && left_->mayBeQuick() && right_->mayBeQuick();
    rightNumber_.kind = UNDEFINED;
    auto const * const constant = gcast<D_Constant>(right_.pointer());
    if (constant && constant->mayBeQuick())
        rightNumber_ = {constant->getValue().type(), constant->getValue().asINT()};
}

bool D_Expression2::quick(Automat & automat, QuickValue & value) const {
    QuickValue left, right = rightNumber_;
    return mayBeQuick_ && left_->quick(automat, left) &&
           (right.kind != UNDEFINED || right_->quick(automat, right)) &&
           compute(left, right, value);
}

bool D_Expression2::evaluate(TRef<Automat> const & automat, VariableRef & result) {
    QuickValue value;
    if (mayBeQuick_ && automat && quick(*automat, value))
        return script::StoreWord(result, value.kind, value.word);
    VariableRef left, right;
    script::Evaluate(left_, automat, left);
    script::Evaluate(right_, automat, right);
    if (!isNumber(left) || !isNumber(right))
        return apply(left, right, result) || neverFails();
    if (!compute(numberOf(left), numberOf(right), value))
        return neverFails();
    return script::StoreWord(result, value.kind, value.word);
}

bool D_Expression2::apply(VariableRef const &, VariableRef const &, VariableRef &) const {
    return false;
}

void D_Expression2::dump() {
    Print("(");
    Dump(left_);
    Print(" %s ", getClassName());
    Dump(right_);
    Print(")");
}

bool D_Add::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    auto const sum = [](auto a, auto b) { return a + b; };
    return arithmetic(left, right, value, sum, sum);
}

bool D_Add::apply(VariableRef const & left, VariableRef const & right, VariableRef & result) const {
    return left.type() == VECTOR2D && right.type() == VECTOR2D &&
           storeVector(result, left.asVECTOR2D() + right.asVECTOR2D());
}

bool D_Substruct::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    auto const difference = [](auto a, auto b) { return a - b; };
    return arithmetic(left, right, value, difference, difference);
}

bool D_Substruct::apply(VariableRef const & left, VariableRef const & right,
                        VariableRef & result) const {
    return left.type() == VECTOR2D && right.type() == VECTOR2D &&
           storeVector(result, left.asVECTOR2D() - right.asVECTOR2D());
}

bool D_Multiplication::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    auto const product = [](auto a, auto b) { return a * b; };
    return arithmetic(left, right, value, product, product);
}

bool D_Division::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    if (bothInts(left, right)) {
        if (right.word == 0)
            return false;
        // The one quotient that does not fit wraps, as sums and products do.
        value = {INT, right.word == -1 ? wrap(0u - static_cast<std::uint32_t>(left.word))
                                       : left.word / right.word};
        return true;
    }
    if (left.kind != right.kind || real(right) == 0.0)
        return false;
    value = {FLOAT, std::bit_cast<std::int32_t>(static_cast<float>(real(left) / real(right)))};
    return true;
}

bool D_Modulus::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    if (!bothInts(left, right))
        return false;
    if (right.word == 0)
        platform::divisionFault();
    value = {INT, right.word == -1 ? 0 : left.word % right.word};
    return true;
}

bool D_IsEqual::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    value = {INT, equal(left, right)};
    return true;
}

bool D_IsEqual::apply(VariableRef const & left, VariableRef const & right,
                      VariableRef & result) const {
    return script::StoreWord(result, INT, left == right);
}

bool D_IsNotEqual::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    value = {INT, !equal(left, right)};
    return true;
}

bool D_IsNotEqual::apply(VariableRef const & left, VariableRef const & right,
                         VariableRef & result) const {
    return script::StoreWord(result, INT, left != right);
}

#define D_DEFINE_ORDER_(Class, Relation)                                                           \
    bool Class::compute(QuickValue left, QuickValue right, QuickValue & value) const {             \
        return order(left, right, value, Relation());                                              \
    }                                                                                              \
    bool Class::apply(VariableRef const & left, VariableRef const & right, VariableRef & result)   \
        const {                                                                                    \
        return orderVectors(left, right, result, Relation());                                      \
    }

D_DEFINE_ORDER_(D_IsGreater, Greater)
D_DEFINE_ORDER_(D_IsGreaterOrEqual, GreaterOrEqual)
D_DEFINE_ORDER_(D_IsLess, Less)
D_DEFINE_ORDER_(D_IsLessOrEqual, LessOrEqual)

#undef D_DEFINE_ORDER_

bool D_Or::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    value = {INT, left.word || right.word};
    return bothInts(left, right);
}

bool D_And::compute(QuickValue left, QuickValue right, QuickValue & value) const {
    value = {INT, left.word && right.word};
    return bothInts(left, right);
}

} // namespace Tavlin
