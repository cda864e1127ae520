// A shift-reduce parser over one explicit stack. What is on top of the stack, and what is right
// below it, decides; where a reduction is possible and the next token cannot go on, it reduces
// first and finds the error later, so a declaration counts even if nonsense follows it.
#include "tavlinmid/AutomatParser.h"

#include "tavlinmid/D_Expression2.h"

#include <cstdio>

namespace Tavlin {

namespace {

constexpr std::size_t deepestStack = 10000;

constexpr AutomatToken character(char c) {
    return static_cast<AutomatToken>(c);
}

// Tokens of one character have its code as their value, and no enumerator.
constexpr int code(AutomatToken token) {
    return static_cast<int>(token);
}

bool startsOperand(AutomatToken token) {
    return token == AutomatToken::Identifier || token == AutomatToken::Constant ||
           token == AutomatToken::Call || token == AutomatToken::DoAfter || token == character('(');
}

/// How strongly a binary operator binds; 0 for anything else.
int strength(AutomatToken token) {
    switch (code(token)) {
        case code(AutomatToken::Or):
        case code(AutomatToken::And):
            return 2;
        case code(AutomatToken::Equal):
        case code(AutomatToken::NotEqual):
        case '<':
        case '>':
            return 3;
        case '+':
        case '-':
            return 4;
        case '*':
        case '/':
            return 5;
        default:
            return 0;
    }
}

D_Expression * makeBinary(AutomatToken token, TRef<D_Expression> const & left,
                          TRef<D_Expression> const & right) {
    switch (code(token)) {
        case code(AutomatToken::Or):
            return new D_Or(left, right);
        case code(AutomatToken::And):
            return new D_And(left, right);
        case code(AutomatToken::Equal):
            return new D_IsEqual(left, right);
        case code(AutomatToken::NotEqual):
            return new D_IsNotEqual(left, right);
        case '<':
            return new D_IsLess(left, right);
        case '>':
            return new D_IsGreater(left, right);
        case '+':
            return new D_Add(left, right);
        case '-':
            return new D_Substruct(left, right);
        case '*':
            return new D_Multiplication(left, right);
        default:
            return new D_Division(left, right);
    }
}

} // namespace

calc_parser::calc_parser(calc_lexer & lexer, TRef<D_Automat> const & target)
    : lexer_(lexer), observer_(lexer.observer()), target_(target) {
    stack_.push_back({Kind::Script, AutomatToken::End, {}, {}, {}});
}

int calc_parser::parse() {
    AutomatToken token = lexer_.next();
    for (;;) {
        switch (act(token)) {
            case Step::Shift:
                if (stack_.size() >= deepestStack) {
                    tellError(AutomatError::ScriptTooDeep, lexer_.span());
                    return 1;
                }
                shift(token);
                token = lexer_.next();
                break;
            case Step::Reduced:
                break;
            case Step::Accept:
                return 0;
            case Step::Error:
                tellError(AutomatError::Syntax, lexer_.span());
                [[fallthrough]];
            case Step::Broken:
                if (recover(token))
                    break;
                tellError(AutomatError::EndInError, lexer_.span());
                return 1;
            case Step::Abort:
                return 1;
        }
    }
}

void calc_parser::tellError(AutomatError error, AutomatSpan const & span) {
    bool const isCounted = error < AutomatError::ScriptTooDeep;
    errors_ += isCounted;
    if (observer_)
        observer_->onError(error, span);
    else if (isCounted)
        std::fputs("syntax error\n", stderr);
    else if (error == AutomatError::ScriptTooDeep)
        std::fputs("yacc stack overflow\n", stderr);
}

/// What the topmost `count` entries cover.
AutomatSpan calc_parser::spanOf(std::size_t count) {
    return {top(count - 1).span.begin, top().span.end};
}

/// Drops everything up to the next NEWLINE; false when the script ends before it.
bool calc_parser::recover(AutomatToken & token) {
    stack_.resize(1);
    while (token != AutomatToken::Newline) {
        if (token == AutomatToken::End)
            return false;
        token = lexer_.next();
    }
    token = lexer_.next();
    return true;
}

void calc_parser::shift(AutomatToken token) {
    Entry entry{Kind::Token, token, {}, {}, lexer_.span(), arguments_.size()};
    if (token == AutomatToken::Constant) {
        entry.kind = Kind::Expression;
        entry.node = lexer_.constant();
    } else if (token == AutomatToken::Identifier || token == AutomatToken::Call) {
        entry.text = lexer_.text();
    }
    stack_.push_back(std::move(entry));
}

calc_parser::Step calc_parser::act(AutomatToken token) {
    switch (top().kind) {
        case Kind::Script:
            return onScript(token);
        case Kind::Token:
            return onToken(token);
        case Kind::Expression:
            return onExpression(token);
        case Kind::Arguments:
            return onArguments(token);
    }
    return Step::Abort;
}

calc_parser::Step calc_parser::onScript(AutomatToken token) {
    switch (code(token)) {
        case code(AutomatToken::End):
            return Step::Accept;
        case code(AutomatToken::State):
        case code(AutomatToken::Method):
        case code(AutomatToken::Goto):
        case code(AutomatToken::If):
        case code(AutomatToken::Newline):
        case '{':
        case '}':
            return Step::Shift;
        default:
            return startsOperand(token) ? Step::Shift : Step::Error;
    }
}

/// The statement that the topmost `count` entries make is done.
calc_parser::Step calc_parser::statement(std::size_t count) {
    pop(count);
    return Step::Reduced;
}

calc_parser::Step calc_parser::onToken(AutomatToken token) {
    switch (code(top().token)) {
        case code(AutomatToken::Newline):
            // The end of a statement, or a line with nothing in it.
            if (isToken(1, character('{'))) {
                ++depth_;
                if (observer_)
                    observer_->onOpenBrace(top(1).span);
                return statement(2);
            }
            if (isToken(1, character('}'))) {
                --depth_;
                if (observer_)
                    observer_->onCloseBrace(top(1).span);
                closeBlock();
                return statement(2);
            }
            if (top(1).kind == Kind::Expression) {
                append(TRef<D_Operator>(top(1).node.pointer()), top(1).span);
                return statement(2);
            }
            if (isToken(1, AutomatToken::Identifier)) {
                if (isToken(2, AutomatToken::State))
                    openState(top(1));
                else
                    openMethod(top(1));
                return statement(3);
            }
            return statement(1);
        case code(AutomatToken::State):
        case code(AutomatToken::Method):
        case code(AutomatToken::Goto):
            return token == AutomatToken::Identifier ? Step::Shift : Step::Error;
        case code(AutomatToken::Identifier):
            return onIdentifier(token);
        case '{':
        case '}':
            return token == AutomatToken::Newline ? Step::Shift : Step::Error;
        case ')':
            if (isToken(2, AutomatToken::If)) {
                TRef<D_Expression> const condition = top(1).node;
                AutomatSpan const span = spanOf(3);
                pop(3);
                openCondition(condition, span);
                return Step::Reduced;
            }
            if (isToken(2, character('('))) {
                TRef<D_Expression> const inner = top(1).node;
                return replaceBy(3, inner);
            }
            if (top(1).kind == Kind::Arguments)
                return reduceCall();
            return replaceBy(5, new D_DoAfter(top(3).node, top(1).node));
        case code(AutomatToken::Call):
            if (startsOperand(token))
                return Step::Shift;
            stack_.push_back({Kind::Arguments, AutomatToken::End, {}, {}, top().span});
            return Step::Reduced;
        default:
            return startsOperand(token) ? Step::Shift : Step::Error;
    }
}

calc_parser::Step calc_parser::onIdentifier(AutomatToken token) {
    if (isToken(1, AutomatToken::Goto)) {
        append(TRef<D_Operator>(new D_Out(GString(top().text.c_str()), true)), spanOf(2));
        if (observer_)
            observer_->onGoto(top().text, top().span);
        return statement(2);
    }
    if (isToken(1, AutomatToken::State) || isToken(1, AutomatToken::Method))
        return token == AutomatToken::Newline ? Step::Shift : Step::Error;
    if (token == character('=') || (token == AutomatToken::Declare && top(1).kind == Kind::Script))
        return Step::Shift;
    if (observer_)
        observer_->onVariable(top().text, false, top().span);
    return replaceBy(1, new D_Variable(NameLinkID(top().text.c_str())));
}

/// Puts an expression in the place of the topmost `count` entries; one that has become too deep
/// to be evaluated is an error.
calc_parser::Step calc_parser::replaceBy(std::size_t count, D_Expression * node) {
    TRef<D_Expression> const kept(node);
    AutomatSpan const span = spanOf(count);
    pop(count);
    stack_.push_back({Kind::Expression, AutomatToken::End, kept, {}, span});
    if (!node || node->depth() <= deepestExpression)
        return Step::Reduced;
    tellError(AutomatError::ExpressionTooDeep, span);
    return Step::Broken;
}

calc_parser::Step calc_parser::onExpression(AutomatToken token) {
    int const next = strength(token);
    if (next == 0)
        return onExpressionEnd(token);
    if (top(1).kind == Kind::Token && strength(top(1).token) >= next)
        return reduceBinary();
    return Step::Shift;
}

calc_parser::Step calc_parser::onExpressionEnd(AutomatToken token) {
    if (top(1).kind == Kind::Script)
        return token == AutomatToken::Newline ? Step::Shift : Step::Error;
    AutomatToken const before = top(1).token;
    if (strength(before) > 0)
        return reduceBinary();
    switch (code(before)) {
        case '=': {
            NameLinkID const name(top(2).text.c_str());
            if (observer_)
                observer_->onVariable(top(2).text, true, top(2).span);
            return replaceBy(3, new D_Assign(TRef<D_LeftPart>(new D_Variable(name)), top().node));
        }
        case code(AutomatToken::Declare): {
            NameLinkID const name(top(2).text.c_str());
            target_->addVariable(name, TRef<D_Operator>(top().node.pointer()));
            if (observer_)
                observer_->onDeclaration(top(2).text, top(2).span);
            return statement(3);
        }
        case ',':
            if (top(2).kind == Kind::Arguments) {
                arguments_.push_back(top().node);
                return statement(2);
            }
            return token == character(')') ? Step::Shift : Step::Error;
        case code(AutomatToken::Call):
            arguments_.push_back(top().node);
            pop(1);
            stack_.push_back({Kind::Arguments, AutomatToken::End, {}, {}, top().span});
            return Step::Reduced;
        case code(AutomatToken::DoAfter):
            return token == character(',') ? Step::Shift : Step::Error;
        default: // IF and '('
            return token == character(')') ? Step::Shift : Step::Error;
    }
}

calc_parser::Step calc_parser::onArguments(AutomatToken token) {
    return token == character(')') || token == character(',') ? Step::Shift : Step::Error;
}

calc_parser::Step calc_parser::reduceBinary() {
    return replaceBy(3, makeBinary(top(1).token, top(2).node, top().node));
}

// A call takes all arguments that are in the collector, also those that its neighbours in an
// outer call have left there: f(1, g(2)) is f(g(1, 2)).
calc_parser::Step calc_parser::reduceCall() {
    if (observer_)
        observer_->onCall(top(2).text, static_cast<long>(top(2).waiting), top(2).span);
    NameLinkIDs path;
    path.setName(top(2).text.c_str());
    long const last = path.getCount() - 1;
    NameLinkID const name = last >= 0 ? path.at(last) : NameLinkID(top(2).text.c_str());
    if (last >= 0)
        path.at_remove(last);
    auto * const call = new D_Function(path, name);
    TRef<D_Expression> const kept(call);
    for (TRef<D_Expression> const & argument : arguments_)
        call->insertArgument(argument);
    arguments_.clear();
    return replaceBy(3, call);
}

void calc_parser::openState(Entry const & name) {
    state_ = TRef<D_State>(new D_State(NameLinkID(name.text.c_str())));
    target_->insertState(state_);
    if (observer_)
        observer_->onState(name.text, name.span);
}

// A method without a state to belong to is dropped with its body.
void calc_parser::openMethod(Entry const & name) {
    TRef<D_Method> const method(new D_Method(NameLinkID(name.text.c_str())));
    if (depth_ == 0)
        target_->insertMethod(method);
    else if (state_)
        state_->insertMethod(method);
    else
        tellError(AutomatError::MethodOutsideState, name.span);
    if (observer_)
        observer_->onMethod(name.text, depth_ == 0, name.span);
    blocks_.push_back({TRef<D_Block>(method.pointer()), 0});
}

void calc_parser::openCondition(TRef<D_Expression> const & condition, AutomatSpan const & span) {
    TRef<D_Block> const block(new D_Block);
    int const depth = blocks_.empty() ? 0 : blocks_.back().depth + 1;
    if (depth > deepestBlock)
        tellError(AutomatError::ConditionTooDeep, span);
    else
        append(TRef<D_Operator>(new D_Condition(condition, TRef<D_Operator>(block.pointer()))),
               span);
    if (observer_)
        observer_->onCondition(span);
    blocks_.push_back({block, depth});
}

void calc_parser::closeBlock() {
    if (!blocks_.empty())
        blocks_.pop_back();
}

void calc_parser::append(TRef<D_Operator> const & operation, AutomatSpan const & span) {
    if (observer_)
        observer_->onStatement(span);
    if (blocks_.empty())
        tellError(AutomatError::OutsideMethod, span);
    else
        blocks_.back().block->insertOperator(operation);
}

} // namespace Tavlin
