// Why the grammar does not take a token. The first explanation that fits is told; the last one is
// that the token cannot stand where it does.
#include "LintReader.h"
#include "LintWords.h"

namespace tool {

void LintReader::explainSyntax() {
    if (explainComment() || explainForeignWord() || explainMinus() || explainDropped() ||
        explainOperator() || explainBrace() || explainParenthesis() || explainNeighbours())
        return;
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    AutomatSpan const place = now.endsLine() && former ? former->span : now.span;
    if (now.kind == AutomatToken::Declare)
        add("syntax", place,
            "`:=` declares a variable, so it follows one name that begins a statement");
    else if (former && former->kind == AutomatToken::Goto)
        add("syntax", place,
            "after `goto` the plain name of a state must follow, without quotes or parentheses");
    else if (former &&
             (former->kind == AutomatToken::State || former->kind == AutomatToken::Method))
        add("syntax", place,
            "after " + quoted(former->text) +
                " a plain name must follow, without quotes, parentheses or anything else");
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
                lineOf(now.span.begin, comment_->begin) + " follows " + former->shown() +
                " in one line; put it on a line of its own");
    return true;
}

/// A line that begins as another language would have it.
bool LintReader::explainForeignWord() {
    std::size_t const begin = tokens_.front().is('}') && tokens_.size() > 1 ? 1 : 0;
    Token const & first = tokens_[begin];
    bool const isWord = first.kind == AutomatToken::Identifier || first.kind == AutomatToken::Call;
    bool const hasNext = tokens_.size() > begin + 1;
    if (!isWord)
        return false;
    std::string const word = first.word();
    bool const isName = hasNext && tokens_[begin + 1].kind == AutomatToken::Identifier;
    if (foreignWord(word)) {
        add("keyword", first.span, foreignWord(word));
        if (isName)
            lostVariables_.insert(tokens_[begin + 1].text);
    } else if (char const * const keyword = keywordFor(word); keyword && isName) {
        add("keyword", first.span, quoted(word) + " means nothing here; write " + quoted(keyword));
        (*keyword == 'S' ? lostStates_ : lostTargets_).insert(tokens_[begin + 1].text);
    } else {
        return false;
    }
    silence(first.span.begin);
    loseBraces();
    return true;
}

bool LintReader::explainMinus() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    if (now.isNumber() && now.text[0] == '-' && former && former->endsOperand()) {
        add("glued-minus", now.span,
            "a minus that touches a digit belongs to the number, so " + quoted(now.text) +
                " follows " + former->shown() + "; a subtraction needs a blank after its minus");
        return true;
    }
    if (!now.is('-') || !former || former->endsOperand() || former->is('-'))
        return false;
    add("unknown-operator", now.span,
        "a minus sign can only stand in front of digits; write `0 - `, or `0.0 - ` for a float");
    return true;
}

bool LintReader::explainDropped() {
    if (droppedBefore_.empty())
        return false;
    Dropped const & dropped = droppedBefore_.front();
    bool const isOperator = isForeignOperator(dropped.character);
    std::string const sign = quoted(dropped.character);
    if (isIncludeLine(dropped.place))
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
            now.shown() + " stands on a line of its own, after the end of the line before");
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
        if (former->text == "if" || former->text == "doAfter") {
            add("keyword", former->span, quoted(former->text) + " wants a parenthesis");
            return true;
        }
    }
    if (former && former->isPoint() && now.isNumber() && now.text[0] == '.') {
        add("syntax", {former->span.begin, now.span.end},
            "this is the point " + former->shown() + " and then " + now.shown() +
                "; points are made of integers, and arguments have a comma between them");
        return true;
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

/// What the parser leaves out after an error. A header among it takes its name along, and its
/// braces are told no more.
void LintReader::dropRestOfLine() {
    droppedBefore_.clear();
    dropped_.clear();
    isSkipping_ = !tokens_.back().endsLine();
    header_ = Header::Nothing;
    present_.clear();
    hasForeignWord_ = false;
    std::vector<Token> const line = std::exchange(tokens_, {});
    for (Token const & token : line) {
        tokens_.push_back(token);
        noteLost();
    }
}

/// The last token is in a line that is left out.
void LintReader::noteLost() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    AutomatToken const kind = former ? former->kind : AutomatToken::End;
    if (now.kind == AutomatToken::State || now.kind == AutomatToken::Method ||
        now.kind == AutomatToken::If || now.is('{') || now.is('}'))
        loseBraces();
    if (kind == AutomatToken::State)
        lostStates_.insert(now.word());
    else if (kind == AutomatToken::Declare && before(2))
        lostVariables_.insert(before(2)->text);
    else if (kind == AutomatToken::Goto && now.kind == AutomatToken::Constant)
        lostTargets_.insert(now.text.substr(1, now.text.size() - 2));
    else if (kind == AutomatToken::Goto)
        lostTargets_.insert(now.word());
}

/// The tokens of a line from a place on, as long as they are known.
std::vector<Token> LintReader::lineFrom(AutomatPlace const & place) const {
    for (std::vector<Token> const * const line : {&tokens_, &former_})
        for (auto token = line->begin(); token != line->end(); ++token)
            if (token->span.begin.file == place.file && token->span.begin.line == place.line &&
                token->span.begin.column == place.column)
                return {line->begin(), line->end()};
    return {};
}

void LintReader::explainOutside(AutomatSpan const & span) {
    pending_.clear();
    std::vector<Token> const line = lineFrom(span.begin);
    bool const isFirst = !line.empty() && !isBefore(line[0].span.begin, span.begin);
    if (!isFirst && line.size() > 1 && line[1].kind == AutomatToken::Declare) {
        add("syntax", span, "the declaration in front of this is complete; this is dropped");
    } else if (isFirst && line.size() > 1 && line[1].is('=') && !areBracesTold_) {
        add("outside-method", span,
            "a statement outside any method is dropped; a variable is declared with `:=`");
        lostVariables_.insert(line[0].text);
    } else {
        if (!isOutsideTold_ && !areBracesTold_)
            add("outside-method", span,
                "a statement outside any method is dropped, and so are those that follow it");
        isOutsideTold_ = true;
    }
}

} // namespace tool
