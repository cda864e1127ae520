// The tokens of an Automat script. Characters come through a stack of open files, with includes on
// top of what includes them, and every way of ending a line is made one before the token rules see
// it. The longest token wins, and a character that fits no rule is dropped in silence.
//
// A comment of two slashes lasts to the next line feed, which normally belongs to it: a line that
// is all comment gives no NEWLINE. Scripts have grown up with that, so it is the language.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"
#include "tavlinmid/AutomatObserver.h"
#include "tavlinmid/D_Expressions.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Tavlin {

/// What a token is. Operators and brackets are named by their own character where they have one.
enum class AutomatToken : int {
    End = 0,
    Unreadable = 1, // a word too long to be a name; fits no rule
    Newline = 256,
    Constant,
    Goto,
    If,      // with its parenthesis
    DoAfter, // with its parenthesis
    State,
    Method,
    Call, // with its parenthesis
    Identifier,
    Declare, // :=
    Equal,   // ==
    NotEqual,
    Or,
    And
};

/// Reads a script and its includes as tokens.
class ONDREL_API calc_lexer {
  public:
    /// Opens the first file; one that cannot be opened gives an empty script. `observer` may be
    /// null, stays with its owner, and is told what would go to standard error.
    explicit calc_lexer(char const * path, AutomatObserver * observer = nullptr);
    ~calc_lexer();
    calc_lexer(calc_lexer const &) = delete;
    calc_lexer & operator=(calc_lexer const &) = delete;

    AutomatToken next();
    /// The text of a Call or an Identifier.
    std::string const & text() const { return text_; }
    /// The node of a Constant.
    TRef<D_Expression> const & constant() const { return constant_; }
    /// Line feeds delivered so far, plus one.
    int line() const { return line_; }
    AutomatObserver * observer() const { return observer_; }
    /// Where the last token stands; nowhere without an observer.
    AutomatSpan const & span() const { return span_; }

    /// Files that may be open within each other.
    static constexpr int deepestInclude = 64;
    /// Files that one script may open in all.
    static constexpr int mostFiles = 1000;
    /// Characters of an identifier; names are kept for good, so they are not taken at any length.
    static constexpr std::size_t longestWord = 1000;

  private:
    struct Source;

    void open(char const * name);
    void tellFile(AutomatObserver::File result, int file, char const * path);
    AutomatToken nextToken();
    int read();
    void endLine();
    int peek(std::size_t ahead);
    std::string take(std::size_t count);

    void skipComment();
    void tellComment(AutomatObserver::Comment how);
    bool match(AutomatToken & token);
    bool matchComment();
    bool matchNumber(AutomatToken & token, int first);
    bool matchString(AutomatToken & token);
    bool matchName(AutomatToken & token);
    bool matchWord(AutomatToken & token);
    bool matchInclude(AutomatToken & token);
    bool matchOperator(AutomatToken & token, int first);

    std::size_t digits(std::size_t at);
    std::size_t exponent(std::size_t at);
    std::size_t identifier(std::size_t at);
    std::size_t blanks(std::size_t at);
    AutomatToken makeConstant(VariableVar const & value);

    std::vector<std::shared_ptr<Source>> files_; // the open ones, the innermost last
    std::shared_ptr<Source> origin_;             // the file that the last character came from
    std::string ahead_;                          // read, but not yet part of a token
    std::size_t aheadUsed_ = 0;
    bool inComment_ = false;
    bool lineComment_ = false;
    int line_ = 1;
    int opened_ = 0;
    std::string text_;
    TRef<D_Expression> constant_;

    // For the observer alone.
    AutomatObserver * const observer_;
    AutomatPlace readAt_;                // of the character that was read last
    std::vector<AutomatPlace> places_;   // of those in ahead_
    std::string taken_;                  // what has been taken of the present token
    AutomatSpan span_;                   // where that stands
    std::optional<AutomatSpan> comment_; // the open one
};

} // namespace Tavlin
