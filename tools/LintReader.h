// Looks on while the library reads a script, and judges what it is told. The parser's own structure
// is mirrored here: bodies that methods and conditions open and braces close, and the braces
// themselves, so that a message can name the line where the two part ways.
//
// One mistake often brings others along. A line with a broken text is silent about the rest, a
// line after a syntax error about what is skipped, and braces that do not match are told once.
#pragma once

#include "Lint.h"

#include "tavlinmid/AutomatLexer.h"
#include "tavlinmid/D_Automat.h"

#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace tool {

using Tavlin::AutomatError;
using Tavlin::AutomatPlace;
using Tavlin::AutomatSpan;
using Tavlin::AutomatToken;

bool isBefore(AutomatPlace const & a, AutomatPlace const & b);
/// The first line of a span that goes beyond it.
AutomatSpan headOf(AutomatSpan const & span);

struct Token {
    AutomatToken kind;
    std::string text;
    AutomatSpan span;

    bool is(char c) const { return kind == static_cast<AutomatToken>(c); }
    bool endsLine() const { return kind == AutomatToken::Newline || kind == AutomatToken::End; }
    bool isNumber() const {
        return kind == AutomatToken::Constant && text[0] != '"' && text[0] != '\'';
    }
    bool isPoint() const { return isNumber() && text.find(' ') != std::string::npos; }
    bool endsOperand() const {
        return kind == AutomatToken::Constant || kind == AutomatToken::Identifier || is(')');
    }
    bool isArithmetic() const { return is('+') || is('-') || is('*') || is('/'); }
    bool isOrder() const { return is('<') || is('>'); }
    bool isOperator() const {
        return isArithmetic() || isOrder() || is('=') || kind == AutomatToken::Equal ||
               kind == AutomatToken::NotEqual;
    }
    bool opens() const {
        return is('(') || kind == AutomatToken::Call || kind == AutomatToken::If ||
               kind == AutomatToken::DoAfter;
    }
    /// Without the parenthesis of a call.
    std::string word() const { return text.substr(0, text.find_first_of(" (")); }
    /// As a message names it.
    std::string shown() const;
};

struct Dropped {
    char character;
    AutomatPlace place;
};

/// A method or condition whose body is open.
struct Body {
    AutomatSpan span;
    int method = -1;                  // its index; -1 for a condition
    std::optional<AutomatSpan> first; // the statement that came in place of the brace
};

enum class Header { Nothing, State, Method, Condition };

struct Method {
    std::string name;
    int state; // -1 for a global one
    AutomatSpan span;
    bool isSure; // that it belongs there
};

struct Named {
    std::string name;
    AutomatSpan span;
};

struct Jump {
    std::string target;
    int method; // -1 when it stands nowhere
    AutomatSpan span;
};

struct Use {
    AutomatSpan span;
    bool isAssigned;
    std::size_t count;
};

struct Variable {
    std::string name;
    bool isAssigned;
    AutomatSpan span;
};

class LintReader : public Tavlin::AutomatObserver {
  public:
    LintReader(std::string const & script, Tavlin::D_Automat const & definition,
               std::vector<Finding> & findings)
        : script_(script), definition_(definition), findings_(findings) {}

    void onFile(File result, int file, char const * path, AutomatSpan const & include) override;
    void onToken(AutomatToken kind, std::string const & text, AutomatSpan const & span) override;
    void onDropped(char character, AutomatPlace const & place) override;
    void onComment(Comment how, AutomatSpan const & span) override;
    void onError(AutomatError error, AutomatSpan const & span) override;
    void onState(std::string const & name, AutomatSpan const & span) override;
    void onMethod(std::string const & name, bool isGlobal, AutomatSpan const & span) override;
    void onOpenBrace(AutomatSpan const & span) override;
    void onCloseBrace(AutomatSpan const & span) override;
    void onCondition(AutomatSpan const & span) override;
    void onStatement(AutomatSpan const & span) override;
    void onGoto(std::string const & state, AutomatSpan const & span) override;
    void onDeclaration(std::string const & name, AutomatSpan const & span) override;
    void onVariable(std::string const & name, bool isAssigned, AutomatSpan const & span) override;
    void onCall(std::string const & path, long foreign, AutomatSpan const & span) override;

    /// What only the whole script tells; `isLoaded` is what load said.
    void finish(bool isLoaded);

  private:
    void add(char const * rule, AutomatSpan const & span, std::string const & message);
    std::string_view sourceLine(AutomatPlace const & place) const;
    std::string_view restOfLine(AutomatPlace const & place) const;
    bool isIncludeLine(AutomatPlace const & place) const;
    bool beginsLine(AutomatPlace const & place) const;
    /// A line as one is told of it at another place.
    std::string lineOf(AutomatPlace const & place, AutomatPlace const & seenFrom) const;
    std::string near(std::string const & name, std::set<std::string> const & names);
    void judgeInclude(AutomatSpan const & span);
    void keepUses();
    void silence(AutomatPlace const & place) { silent_.insert({place.file, place.line}); }

    void judgeDropped();
    void judgeQuote(Dropped const & dropped);
    void judgeToken();
    void judgeNumber();
    void explainSyntax();
    void dropRestOfLine();
    void noteLost();
    void loseBraces() { areBracesTold_ = isStructureLost_ = true; }
    std::vector<Token> lineFrom(AutomatPlace const & place) const;
    void explainOutside(AutomatSpan const & span);
    bool explainForeignWord();
    bool explainComment();
    bool explainMinus();
    bool explainDropped();
    bool explainOperator();
    bool explainBrace();
    bool explainParenthesis();
    bool explainNeighbours();
    bool bodyIsMissing(AutomatSpan const & span);
    void bracesMustBeClosed(std::size_t depth, std::string const & what, AutomatSpan const & span);
    void finishBraces();
    void finishStates();
    void finishMethods();
    void finishVariables();
    void findWays();
    void reach(int state);
    int openMethod() const;
    Token const * before(std::size_t distance) const {
        return tokens_.size() > distance ? &tokens_[tokens_.size() - 1 - distance] : nullptr;
    }

    std::string const script_;
    Tavlin::D_Automat const & definition_;
    std::vector<Finding> & findings_;
    std::map<int, SourceFile> files_;
    std::set<std::pair<int, int>> silent_; // file and line

    std::vector<Token> tokens_; // of the present line, or what the language takes for one
    std::vector<Token> former_; // and of the one before
    int parentheses_ = 0;       // open ones among them
    std::vector<Dropped> dropped_, droppedBefore_; // in front of the next token, and of the last
    std::optional<AutomatSpan> comment_;           // took a line end within tokens_
    bool isSkipping_ = false;                      // the rest of a line after an error
    bool isOutsideTold_ = false;

    Header header_ = Header::Nothing; // wants a brace next
    std::vector<Body> bodies_;
    std::vector<AutomatSpan> braces_; // the open ones
    bool areBracesTold_ = false;
    bool isStructureLost_ = false; // what belongs to what is not sure any more
    bool isForeign_ = false;       // the last statement is of another language
    bool hasForeignWord_ = false;  // the one being read
    bool isDeepTold_ = false;
    bool isEndTold_ = false;  // why the script cannot be loaded
    bool isCutShort_ = false; // the rest of the script is not known
    bool isAllThere_ = true;  // no include is missing
    std::size_t suggestions_ = 0;
    int told_ = 0;

    // In lines that are left out, and told; who asks for them is not told again.
    std::set<std::string> lostStates_, lostTargets_, lostVariables_;
    std::vector<Named> states_;
    std::vector<Method> methods_;
    std::vector<Jump> jumps_;
    std::map<std::string, AutomatSpan> declared_; // by the first
    long declarations_ = 0;                       // all of them
    std::vector<Variable> present_, pending_;     // of the present statement and the one before
    std::map<std::string, Use> uses_;
    std::vector<Named> words_;     // variables that other languages have as words
    std::vector<Named> calls_;     // and calls
    std::multimap<int, int> ways_; // from a state, or -1 for any, to a state
    std::set<int> reached_;        // states
};

} // namespace tool
