// What is told of a script besides errors of the grammar.
#include "LintReader.h"

#include "Command.h"
#include "LintWords.h"
#include "Script.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace tool {

using namespace Tavlin;

namespace {

bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Whether one message serves both: the same sign, or letters beyond ASCII.
bool areAlike(char a, char b) {
    return a == b ||
           (static_cast<unsigned char>(a) >= 0x80 && static_cast<unsigned char>(b) >= 0x80);
}

bool mayStandInText(char c) {
    return isLetter(c) || isDigit(c) || (c && std::strchr(" !,-.:?", c)) ||
           static_cast<unsigned char>(c) >= 0xC0;
}

} // namespace

bool isBefore(AutomatPlace const & a, AutomatPlace const & b) {
    return a.line != b.line ? a.line < b.line : a.column < b.column;
}

AutomatSpan headOf(AutomatSpan const & span) {
    return {span.begin, {span.begin.file, span.begin.line, std::numeric_limits<int>::max()}};
}

std::string Token::shown() const {
    return kind == AutomatToken::End          ? "the end of the script"
           : kind == AutomatToken::Newline    ? "the end of the line"
           : kind == AutomatToken::Unreadable ? "a word of more than 1000 letters"
                                              : quoted(text);
}

void LintReader::add(char const * rule, AutomatSpan const & span, std::string const & message) {
    constexpr int enough = 10000;
    AutomatPlace const & place = span.begin;
    if (told_ > enough || silent_.count({place.file, place.line}) > 0)
        return;
    if (++told_ > enough) {
        findings_.push_back({findLintRule("too-many-findings"), script_, span,
                             "there is more to tell of this script than anybody reads", "", 0});
        return;
    }
    auto const file = files_.find(place.file);
    std::string_view const line = sourceLine(place);
    constexpr int most = 240, before = 120;
    int cut = line.size() > most ? std::max(0, place.column - before) : 0;
    while (cut > 0 && (static_cast<unsigned char>(line.substr(cut)[0]) & 0xC0) == 0x80)
        --cut; // not within a character of UTF-8
    findings_.push_back({findLintRule(rule), file == files_.end() ? script_ : file->second.path(),
                         span, message, std::string(line.substr(cut, most)), cut});
}

std::string_view LintReader::sourceLine(AutomatPlace const & place) const {
    auto const file = files_.find(place.file);
    return file == files_.end() ? std::string_view() : file->second.line(place.line);
}

std::string_view LintReader::restOfLine(AutomatPlace const & place) const {
    std::string_view const line = sourceLine(place);
    return line.substr(std::min(line.size(), static_cast<std::size_t>(place.column - 1)));
}

bool LintReader::isIncludeLine(AutomatPlace const & place) const {
    std::string_view const line = sourceLine(place);
    std::size_t const begin = line.find_first_not_of(" \t");
    return begin != line.npos && line.compare(begin, 8, "#include") == 0;
}

bool LintReader::beginsLine(AutomatPlace const & place) const {
    std::string_view const line = sourceLine(place);
    return line.find_first_not_of(" \t") == static_cast<std::size_t>(place.column - 1);
}

std::string LintReader::lineOf(AutomatPlace const & place, AutomatPlace const & seenFrom) const {
    std::string text = "line " + std::to_string(place.line);
    auto const file = files_.find(place.file);
    if (place.file != seenFrom.file && file != files_.end())
        text += " of " + file->second.path();
    return text;
}

void LintReader::onFile(File result, int file, char const * path, AutomatSpan const & include) {
    if (result == File::Opened) {
        std::string text = path;
        std::replace(text.begin(), text.end(), '\\', '/');
        bool const isFirst = include.begin.file < 0;
        files_.emplace(file, SourceFile(text, isFirst ? script_ : pathForUser(path, script_)));
    } else if (include.begin.file >= 0) {
        isAllThere_ = isAllThere_ && result != File::Missing;
        AutomatPlace behind = include.end;
        ++behind.column;
        std::string_view const rest = restOfLine(behind);
        if (result == File::Refused)
            add("include", include,
                quoted(path) + " is being read already, or includes go too deep; it is refused");
        else if (!rest.empty() && !std::strchr(" \t;\r", rest[0]) && rest.compare(0, 2, "//") != 0)
            judgeInclude(include);
        else
            add("include", include,
                "there is no file " + quoted(path) +
                    " beside the script that can be read; the include is skipped");
    }
}

void LintReader::judgeInclude(AutomatSpan const & span) {
    add("include", span,
        "the name of an include is a plain word of letters, digits, `_` and `.`, after a blank and "
        "without quotes; this includes nothing");
    isAllThere_ = false;
    silence(span.begin);
}

// The parser has judged the token before this one when the next arrives, so what is to be said of
// a pair of tokens unless it is an error waits as long.
void LintReader::onToken(AutomatToken kind, std::string const & text, AutomatSpan const & span) {
    judgeDropped();
    droppedBefore_ = std::exchange(dropped_, {});
    if (!tokens_.empty() && tokens_.back().endsLine()) {
        former_ = std::exchange(tokens_, {});
        parentheses_ = 0;
        comment_.reset();
    }
    tokens_.push_back({kind, text, span});
    parentheses_ += tokens_.back().opens() ? 1 : tokens_.back().is(')') ? -1 : 0;
    if (!isSkipping_) {
        judgeToken();
        return;
    }
    noteLost();
    isSkipping_ = !tokens_.back().endsLine();
}

void LintReader::onDropped(char character, AutomatPlace const & place) {
    if (isSkipping_ || silent_.count({place.file, place.line}) > 0)
        return;
    bool const isByteOrderMark = place.line == 1 && place.column <= 3 &&
                                 sourceLine(place).compare(0, 3, "\xEF\xBB\xBF") == 0;
    if (isByteOrderMark)
        return;
    if (character == '"' || character == '\'')
        judgeQuote({character, place});
    else
        dropped_.push_back({character, place});
}

void LintReader::onComment(Comment how, AutomatSpan const & span) {
    bool const isLine = restOfLine(span.begin).compare(0, 2, "//") == 0;
    isCutShort_ = isCutShort_ || how == Comment::Unclosed;
    if (how == Comment::Unclosed)
        add("open-comment", {span.begin, span.begin},
            "this comment is never closed: everything after it is part of it");
    else if (how == Comment::ToLineEnd && isLine &&
             restOfLine(span.begin).find('\r') != std::string_view::npos)
        add("comment-line-end", {span.begin, span.begin},
            "this comment goes on past a carriage return, as only a line feed ends it: everything "
            "up to there is left out");
    else if (how == Comment::Closed && isLine)
        add("comment-closed", {span.end, span.end},
            "`*/` ends a comment of two slashes, too: what follows is read as script");
    else if (how == Comment::ToLineEnd && !tokens_.empty() && !tokens_.back().endsLine())
        comment_ = span;
}

/// A quote that begins nothing is dropped, and what it was to hold is read as script.
void LintReader::judgeQuote(Dropped const & quote) {
    if (isIncludeLine(quote.place))
        return; // its `#` is told
    std::string_view const line = sourceLine(quote.place);
    std::size_t const begin = static_cast<std::size_t>(quote.place.column);
    std::size_t const end = line.find(quote.character, begin);
    AutomatSpan span{quote.place, quote.place};
    bool const isText = quote.character == '"';
    char const * const rule = isText ? "broken-text" : "broken-name";
    if (end == std::string::npos) {
        add(rule, span,
            isText ? "this text does not end on its line; the quote is dropped"
                   : "this name does not end on its line; the quote is dropped");
    } else {
        span.end.column = static_cast<int>(end) + 1;
        if (isText) {
            auto const bad = std::find_if_not(line.begin() + static_cast<std::ptrdiff_t>(begin),
                                              line.end(), mayStandInText);
            span.begin.column = static_cast<int>(bad - line.begin()) + 1;
            span.end = span.begin;
            bool const isLetterByte = static_cast<unsigned char>(*bad) >= 0x80;
            add(rule, span,
                quoted(*bad) + " cannot stand in a text" +
                    (isLetterByte ? " of a file in UTF-8, only one byte from C0 to FF can" : "") +
                    ", so this is none: the quotes are dropped, and what is between them is read "
                    "as script");
        } else {
            add(rule, span,
                "a name is one word of letters, digits and `_`; this is none, so its quotes are "
                "dropped");
        }
    }
    silence(quote.place);
    std::size_t const structure = line.find_first_of("{};/", begin);
    if (structure < end)
        loseBraces();
}

/// Characters that did no harm to the grammar.
void LintReader::judgeDropped() {
    for (std::size_t i = 0; i < droppedBefore_.size(); ++i) {
        Dropped const & first = droppedBefore_[i];
        AutomatSpan span{first.place, first.place};
        while (i + 1 < droppedBefore_.size() &&
               areAlike(droppedBefore_[i + 1].character, first.character) &&
               droppedBefore_[i + 1].place.column == span.end.column + 1)
            span.end = droppedBefore_[++i].place;
        if (restOfLine(first.place).compare(0, 8, "#include") == 0) {
            judgeInclude(span);
        } else if (first.character == '#' && beginsLine(first.place)) {
            add("syntax", span,
                "a `#` begins nothing but `#include`; it is dropped, and what follows it is read "
                "as script; a comment begins with `//`");
            silence(first.place);
        } else if (isForeignOperator(first.character))
            add("unknown-operator", span,
                "there is no operator " + quoted(first.character) + "; it is dropped in silence");
        else
            add("dropped-character", span,
                quoted(first.character) + " means nothing here; it is dropped in silence");
    }
    droppedBefore_.clear();
}

void LintReader::judgeToken() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    if (now.isNumber())
        judgeNumber();
    if (former && former->isPoint() && (now.isArithmetic() || now.isOrder()))
        add("glued-point", former->span,
            quoted(former->text) + " is a point, and points have no arithmetic and no order");
    if (now.is(',') && former && former->kind == AutomatToken::Call)
        add("empty-argument", now.span,
            "nothing stands in front of this comma, so the next argument becomes the first");
    // Not before it is sure that it is no unknown operator.
    Token const * const name = before(2);
    bool const inCondition =
        tokens_.front().kind == AutomatToken::If && parentheses_ > (now.opens() ? 1 : 0);
    if (former && former->is('=') && inCondition && name &&
        name->kind == AutomatToken::Identifier && !now.isOperator() && droppedBefore_.empty())
        add("assignment", former->span, "this assigns; a comparison is written `==`");
}

void LintReader::judgeNumber() {
    Token const & now = tokens_.back();
    Token const * const former = before(1);
    std::size_t const blank = now.text.find(' ');
    if (now.isPoint()) {
        std::string const second = now.text.substr(now.text.find_last_of(' ') + 1);
        std::string const first = now.text.substr(0, blank);
        bool const isDeclared = former && former->kind == AutomatToken::Declare;
        if (second[0] == '-' && !isDeclared) // a negative one cannot be written in another way
            add("glued-point", now.span,
                quoted(now.text) + " is the point (" + first + ", " + second +
                    "); a subtraction is written " + quoted(first + " - " + second.substr(1)));
        else if (former && (former->isArithmetic() || former->isOrder()))
            add("glued-point", now.span,
                quoted(now.text) + " is a point, and points have no arithmetic and no order");
        else if (former && (former->kind == AutomatToken::Call || former->is(',')))
            add("point-argument", now.span,
                "this is one argument, the point (" + first + ", " + second +
                    "); two are written " + quoted(first + ", " + second));
        return;
    }
    bool const isFloat = now.text.find('.') != std::string::npos;
    long long const value = std::strtoll(now.text.c_str(), nullptr, 10);
    if (!isFloat && now.text.find_first_of("eE") != std::string::npos)
        add("number", now.span,
            "an integer has no exponent: this is " + std::to_string(value) +
                "; with a point it is a float");
    else if (!isFloat && (value > std::numeric_limits<std::int32_t>::max() ||
                          value < std::numeric_limits<std::int32_t>::min()))
        add("number", now.span, "an integer has 32 bits: this becomes the nearest that fits");
}

void LintReader::onError(AutomatError error, AutomatSpan const & span) {
    switch (error) {
        case AutomatError::Syntax:
            explainSyntax();
            dropRestOfLine();
            break;
        case AutomatError::OutsideMethod:
            explainOutside(span);
            break;
        case AutomatError::MethodOutsideState:
            if (!isStructureLost_)
                add("outside-method", span,
                    "a method in braces must follow a state; it is dropped with its body");
            break;
        case AutomatError::ConditionTooDeep:
            if (!isDeepTold_)
                add("too-deep", span,
                    "conditions stand too deep in each other; this one is dropped");
            isDeepTold_ = true;
            break;
        case AutomatError::ExpressionTooDeep:
            add("too-deep", span, "this expression is nested too deeply; its line is dropped");
            dropRestOfLine();
            break;
        case AutomatError::ScriptTooDeep:
            add("too-deep", span, "this is nested too deeply; the script cannot be loaded");
            isEndTold_ = isCutShort_ = true;
            break;
        case AutomatError::EndInError:
            isEndTold_ = true;
            if (tokens_.size() > 1 && comment_)
                add("comment-line-end", headOf(*comment_),
                    "a comment takes the last line end along, so the script ends in an error and "
                    "cannot be loaded");
            else
                add("syntax", span,
                    "the script ends in the middle of an error, and cannot be loaded");
            break;
    }
}

void LintReader::onState(std::string const & name, AutomatSpan const & span) {
    bodyIsMissing(span);
    bracesMustBeClosed(0, "state", span);
    states_.push_back({name, span});
    header_ = Header::State;
}

void LintReader::onMethod(std::string const & name, bool isGlobal, AutomatSpan const & span) {
    bodyIsMissing(span);
    bracesMustBeClosed(isGlobal ? 0 : 1, "method", span);
    int const state = isGlobal ? -1 : static_cast<int>(states_.size()) - 1;
    methods_.push_back({name, state, span, !isStructureLost_});
    bodies_.push_back({span, static_cast<int>(methods_.size()) - 1, {}});
    header_ = Header::Method;
    isOutsideTold_ = false;
}

/// Something stands where the brace of a header should be.
bool LintReader::bodyIsMissing(AutomatSpan const & span) {
    Header const header = std::exchange(header_, Header::Nothing);
    if (header == Header::Condition && !bodies_.empty())
        bodies_.back().first = span; // it is told when it is known where the condition ends
    if ((header != Header::State && header != Header::Method) || areBracesTold_)
        return false;
    AutomatSpan const & name = header == Header::State ? states_.back().span : methods_.back().span;
    add("braces", name, "a line with `{` must follow here");
    loseBraces();
    return true;
}

void LintReader::bracesMustBeClosed(std::size_t depth, std::string const & what,
                                    AutomatSpan const & span) {
    if (braces_.size() <= depth || areBracesTold_)
        return;
    add("braces", span,
        "this " + what + " begins while the `{` of " + lineOf(braces_.back().begin, span.begin) +
            " is open: a `}` is missing");
    loseBraces();
}

void LintReader::onOpenBrace(AutomatSpan const & span) {
    Header const header = std::exchange(header_, Header::Nothing);
    if (header == Header::Nothing && !areBracesTold_) {
        if (!isForeign_) // that is told
            add("braces", span,
                "this `{` belongs to no state, method or `if`; its `}` will close the body around "
                "it");
        loseBraces();
    }
    braces_.push_back(span);
}

void LintReader::onCloseBrace(AutomatSpan const & span) {
    bodyIsMissing(span);
    bool const hadBrace = !braces_.empty();
    if (hadBrace)
        braces_.pop_back();
    if (!bodies_.empty()) {
        Body const body = bodies_.back();
        bodies_.pop_back();
        if (body.first) {
            add("open-if", body.span,
                "this `if` has no `{`, so all that follows belongs to it, up to the `}` in " +
                    lineOf(span.begin, body.span.begin) +
                    ", which it takes from the body around it");
            areBracesTold_ = true;
        }
    }
    if (!hadBrace && !areBracesTold_) {
        add("braces", span, "there is no `{` that this `}` closes");
        loseBraces();
    }
}

void LintReader::onCondition(AutomatSpan const & span) {
    bodies_.push_back({span, -1, {}});
    header_ = Header::Condition;
}

void LintReader::onStatement(AutomatSpan const & span) {
    keepUses();
    pending_ = std::exchange(present_, {});
    isForeign_ = std::exchange(hasForeignWord_, false);
    bodyIsMissing(span);
}

int LintReader::openMethod() const {
    for (auto body = bodies_.rbegin(); body != bodies_.rend(); ++body)
        if (body->method >= 0)
            return body->method;
    return -1;
}

void LintReader::onGoto(std::string const & state, AutomatSpan const & span) {
    jumps_.push_back({state, openMethod(), span});
}

void LintReader::onDeclaration(std::string const & name, AutomatSpan const & span) {
    auto const [first, isNew] = declared_.emplace(name, span);
    if (!isNew)
        add("hidden", span,
            quoted(name) + " is declared in " + lineOf(first->second.begin, span.begin) +
                " already, and the first declaration counts");
    else if (definition_.getValue(declarations_).isEmpty())
        add("empty-variable", span,
            quoted(name) + " stays empty for good: its first value is worked out while the script "
                           "is read, from constants of one kind");
    ++declarations_;
    keepUses();
    pending_ = std::exchange(present_, {});
}

void LintReader::onVariable(std::string const & name, bool isAssigned, AutomatSpan const & span) {
    present_.push_back({name, isAssigned, span});
    hasForeignWord_ = hasForeignWord_ || foreignWord(name);
}

/// What a statement uses counts when it is known that it is in the script.
void LintReader::keepUses() {
    for (Variable const & one : pending_) {
        if (silent_.count({one.span.begin.file, one.span.begin.line}) > 0)
            continue;
        if (foreignWord(one.name)) {
            words_.push_back({one.name, one.span});
            continue;
        }
        auto const use = uses_.try_emplace(one.name, Use{one.span, one.isAssigned, 0}).first;
        ++use->second.count;
    }
    pending_.clear();
}

void LintReader::onCall(std::string const & path, long foreign, AutomatSpan const & span) {
    // What a broken line has left over goes to the next call; the line is told.
    bool const isNested = std::any_of(tokens_.begin(), tokens_.end(), [&](Token const & token) {
        return token.kind == AutomatToken::Call && isBefore(token.span.begin, span.begin);
    });
    if (foreign > 0 && isNested)
        add("foreign-arguments", span,
            quoted(path) + " also takes the " +
                (foreign == 1 ? "argument that stands"
                              : std::to_string(foreign) + " arguments that stand") +
                " in front of it; keep its result in a variable first");
    hasForeignWord_ = hasForeignWord_ || foreignWord(path);
    if (path == "goto" || path == "State" || path == "Method")
        add("keyword", span, "with a parenthesis " + quoted(path) + " is the call of a method");
    else if (foreignWord(path))
        calls_.push_back({path, span});
}

void lintScript(std::string const & script, std::vector<Finding> & findings) {

    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const definition(static_cast<D_Automat *>(creator));
    LintReader reader(script, *definition, findings);
    reader.finish(readScript(script, *definition, reader));
}

} // namespace tool
