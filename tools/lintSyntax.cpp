// Why the grammar does not take a token. The first explanation that fits is told; the last one is
// that the token cannot stand where it does.
#include "LintReader.h"
#include "LintWords.h"

namespace tool {

void LintReader::explainSyntax() {
    if (explainComment() || explainMinus() || explainDropped() || explainOperator() ||
        explainBrace() || explainParenthesis() || explainNeighbours())
        return;
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    AutomatSpan const place = now.endsLine() && former ? former->span : now.span;
    if (now.kind == AutomatToken::Declare)
        add("syntax", place,
            "`:=` declares a variable, so it stands behind one name that "
            "begins a statement");
    else if (former && former->kind == AutomatToken::Goto)
        add("syntax", place, "behind `goto` the name of a state must follow");
    else if (former &&
             (former->kind == AutomatToken::State || former->kind == AutomatToken::Method))
        add("syntax", place,
            "behind " + quoted(former->text) + " a name must follow, and nothing else");
    else if (now.is('='))
        add("syntax", now.span, "only a name can be assigned to");
    else if (now.endsLine())
        add("syntax", place, now.shown() + " comes too early here");
    else
        add("syntax", now.span,
            now.shown() + " cannot stand here; the rest of the line is dropped");
}

/// The token of the next line stands behind a construct whose line end a comment took.
bool LintReader::explainComment() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    if (!comment_ || !former || isBefore(comment_->begin, former->span.end))
        return false;
    if (now.kind != AutomatToken::End) // which is told by itself
        add("comment-line-end", headOf(*comment_),
            "a comment takes its line end along, so " + now.shown() + " in " +
                lineOf(now.span.begin) + " follows " + former->shown() +
                " in one line; put it on a line of its own");
    return true;
}

bool LintReader::explainMinus() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    if (now.isNumber() && now.text[0] == '-' && former && former->endsOperand()) {
        add("glued-minus", now.span,
            "a minus that touches a digit belongs to the number, so " + quoted(now.text) +
                " follows " + former->shown() + "; a difference has a blank behind its minus");
        return true;
    }
    if (!now.is('-') || !former || former->endsOperand() || former->is('-'))
        return false;
    add("unknown-operator", now.span,
        "there is no sign in front of anything but digits; write `0 - ` in front of it");
    return true;
}

bool LintReader::explainDropped() {
    if (droppedBefore_.empty())
        return false;
    Dropped const & dropped = droppedBefore_.front();
    bool const isOperator = isForeignOperator(dropped.character);
    std::string const sign = quoted(dropped.character);
    if (dropped.character == '#')
        judgeDropped();
    else
        add(isOperator ? "unknown-operator" : "syntax", {dropped.place, dropped.place},
            (isOperator ? "there is no operator " + sign + "; it" : sign + " means nothing and") +
                " is dropped, and then " + tokens_.back().shown() + " cannot stand here");
    return true;
}

/// Two operators of the language that touch, which would be one in others.
bool LintReader::explainOperator() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    if (!former || !former->isOperator() || !now.isOperator() ||
        former->span.end.line != now.span.begin.line ||
        former->span.end.column + 1 != now.span.begin.column)
        return false;
    std::string hint;
    if (former->isOrder() && now.is('='))
        hint = "; write `a " + former->text + " b || a == b`";
    else if (former->isArithmetic() && now.is('='))
        hint = "; write `a = a " + former->text + " b`";
    add("unknown-operator", {former->span.begin, now.span.end},
        "there is no operator " + quoted(former->text + now.text) + hint);
    return true;
}

bool LintReader::explainBrace() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    if (former && (former->is('{') || former->is('}'))) {
        if (foreignWord(now.word()))
            add("keyword", now.span, foreignWord(now.word()));
        else
            add("syntax", former->span,
                former->shown() + " stands on a line of its own; " + now.shown() +
                    " cannot follow it");
        return true;
    }
    if (now.is('{') || now.is('}')) {
        add("syntax", now.span,
            now.shown() + " stands on a line of its own, behind the end of the line before");
        return true;
    }
    if (now.is('[') || now.is(']')) {
        add("syntax", now.span, now.shown() + " has no use in scripts: there are no indices");
        return true;
    }
    return false;
}

bool LintReader::explainParenthesis() {
    Token const & now = tokens_.back();
    if (now.is(')') && parentheses_ < 0) {
        add("syntax", now.span, "there is no `(` that this `)` closes");
        return true;
    }
    if (!now.endsLine() || parentheses_ <= 0)
        return false;
    int depth = 0;
    for (auto token = tokens_.rbegin(); token != tokens_.rend(); ++token) {
        depth += token->is(')') ? 1 : token->opens() ? -1 : 0;
        if (depth >= 0)
            continue;
        add("syntax", token->span, "this `(` is not closed before " + now.shown());
        return true;
    }
    return false;
}

bool LintReader::explainNeighbours() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    bool const isWord = now.kind == AutomatToken::Identifier || now.kind == AutomatToken::Call;
    if (isWord && foreignWord(now.word())) {
        add("keyword", now.span, foreignWord(now.word()));
        return true;
    }
    if (former && former->kind == AutomatToken::Identifier) {
        if (foreignWord(former->text)) {
            add("keyword", former->span, foreignWord(former->text));
            return true;
        }
        if (former->text == "if" || former->text == "doAfter")
            return true; // it has been read as a variable, and is told as such
    }
    bool const isOperand = isWord || now.kind == AutomatToken::Constant || now.is('(') ||
                           now.kind == AutomatToken::DoAfter;
    if (former && former->endsOperand() && isOperand) {
        add("syntax", now.span,
            now.shown() + " follows " + former->shown() + " without an operator or a line end");
        return true;
    }
    return false;
}

} // namespace tool
