// The grammar of Automat scripts. Nothing is kept of the text: reductions make the nodes and put
// them into the definition at once, so what was read before an error stays.
//
// Bodies are not nested by the grammar. A method, and an `if`, opens a block on a stack when it is
// met, `}` closes the one on top, and `{` only counts; so an `if` without braces stays open until
// the next `}`.
#pragma once

#include "tavlinmid/AutomatLexer.h"
#include "tavlinmid/D_Automat.h"

#include <string>
#include <vector>

namespace Tavlin {

/// Reads tokens and builds the nodes of a definition.
class ONDREL_API calc_parser {
  public:
    /// `target` receives what the script holds. Told are the observer of the lexer, or standard
    /// error where there is none.
    calc_parser(calc_lexer & lexer, TRef<D_Automat> const & target);

    /// 0 when the end of the script was reached; 1 when it was reached in the middle of an error,
    /// or the script is nested too deeply to be read.
    int parse();
    /// Errors told so far.
    int errorCount() const { return errors_; }

    /// How deep conditions within each other and operators within each other may go.
    static constexpr int deepestBlock = 200;
    static constexpr int deepestExpression = 500;

  private:
    enum class Kind { Script, Token, Expression, Arguments };
    struct Entry {
        Kind kind;
        AutomatToken token = AutomatToken::End;
        TRef<D_Expression> node;
        std::string text;
        AutomatSpan span;
        std::size_t waiting = 0; // arguments of others, when a call begins
    };
    enum class Step {
        Shift,
        Reduced,
        Accept,
        Error,
        Broken,
        Abort
    }; // Broken: an error, told already
    struct OpenBlock {
        TRef<D_Block> block;
        int depth; // conditions since the method
    };

    Step act(AutomatToken token);
    Step onScript(AutomatToken token);
    Step onToken(AutomatToken token);
    Step onIdentifier(AutomatToken token);
    Step onExpression(AutomatToken token);
    Step onExpressionEnd(AutomatToken token);
    Step onArguments(AutomatToken token);

    Entry & top(std::size_t below = 0) { return stack_[stack_.size() - 1 - below]; }
    bool isToken(std::size_t below, AutomatToken token) {
        return top(below).kind == Kind::Token && top(below).token == token;
    }
    void pop(std::size_t count) { stack_.resize(stack_.size() - count); }
    void shift(AutomatToken token);
    Step replaceBy(std::size_t count, D_Expression * node);
    Step statement(std::size_t count);

    Step reduceBinary();
    Step reduceCall();
    void openState(Entry const & name);
    void openMethod(Entry const & name);
    void openCondition(TRef<D_Expression> const & condition, AutomatSpan const & span);
    void closeBlock();
    void append(TRef<D_Operator> const & operation, AutomatSpan const & span);
    void tellError(AutomatError error, AutomatSpan const & span);
    AutomatSpan spanOf(std::size_t count);
    bool recover(AutomatToken & token);

    calc_lexer & lexer_;
    AutomatObserver * const observer_; // the lexer's
    TRef<D_Automat> target_;
    std::vector<Entry> stack_;
    int depth_ = 0; // of braces
    int errors_ = 0;
    TRef<D_State> state_;
    std::vector<TRef<D_Expression>> arguments_; // one collector for all calls
    std::vector<OpenBlock> blocks_;
};

} // namespace Tavlin
