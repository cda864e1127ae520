// Looks on while a script is read. What the language does with a text is often silent: characters
// are dropped, line ends swallowed, arguments taken by a neighbour. An observer is told each of
// these as it happens, with its place, by the very lexer and parser that build the script; so a
// tool that explains a script cannot disagree with them.
//
// The parser looks one token ahead: what it has understood is told after the token behind it.
#pragma once

#include "platform/Export.h"

#include <string>

namespace Tavlin {

enum class AutomatToken : int;

/// Where a byte of a script stands.
struct AutomatPlace {
    int file = -1;  // as told to onFile; -1 for nowhere
    int line = 0;   // from 1, by the line feeds of this file
    int column = 0; // in bytes, from 1
};

/// The bytes from `begin` to `end`, both included.
struct AutomatSpan {
    AutomatPlace begin, end;
};

/// Why something of a script is left out.
enum class AutomatError {
    Syntax,             // the token cannot stand here; the rest of the line is dropped
    OutsideMethod,      // a statement has no body to go to, and is dropped
    MethodOutsideState, // a method in braces before any state; it is dropped with its body
    ConditionTooDeep,   // conditions within conditions; the condition is dropped with its body
    ExpressionTooDeep,  // operators within operators; the rest of the line is dropped
    ScriptTooDeep,      // reading ends here
    EndInError          // the script ends in the middle of an error
};

/// All operations do nothing until they are overridden. None may change the script.
class ONDREL_API AutomatObserver {
  public:
    enum class File {
        Opened,
        Missing, // there is none of that name; it is skipped
        Refused  // it is being read already, or too many have been
    };
    enum class Comment {
        ToLineEnd,          // of two slashes; its line end went with it
        ToLineEndDelivered, // the same, but its last character is a star: the line end came through
        Closed,             // by a star and a slash, whichever way it began
        Unclosed            // everything to the end of the script
    };

    virtual ~AutomatObserver() = default;

    /// `file` is the number by which places name an opened one, and -1 for others; `include` is
    /// nowhere for the first.
    virtual void onFile(File /*result*/, int /*file*/, char const * /*path*/,
                        AutomatSpan const & /*include*/) {}
    /// `text` as it stands in the script, but every end of a line is a line feed; so is the end of
    /// a file.
    virtual void onToken(AutomatToken, std::string const & /*text*/, AutomatSpan const &) {}
    /// A character that fits no rule, blanks and tabs apart.
    virtual void onDropped(char, AutomatPlace const &) {}
    /// With the line end, where that went along.
    virtual void onComment(Comment, AutomatSpan const &) {}

    virtual void onError(AutomatError, AutomatSpan const &) {}
    virtual void onState(std::string const & /*name*/, AutomatSpan const &) {}
    virtual void onMethod(std::string const & /*name*/, bool /*isGlobal*/, AutomatSpan const &) {}
    virtual void onOpenBrace(AutomatSpan const &) {}
    /// Closes the innermost method or condition that is open, if there is one.
    virtual void onCloseBrace(AutomatSpan const &) {}
    /// Opens a body, which lasts to its closing brace.
    virtual void onCondition(AutomatSpan const &) {}
    /// A condition, a jump, or an expression by itself; before what else is told of it.
    virtual void onStatement(AutomatSpan const &) {}
    virtual void onGoto(std::string const & /*state*/, AutomatSpan const &) {}
    /// A variable is in the definition, last, with its value.
    virtual void onDeclaration(std::string const & /*name*/, AutomatSpan const &) {}
    virtual void onVariable(std::string const & /*name*/, bool /*isAssigned*/,
                            AutomatSpan const &) {}
    /// `foreign` of its arguments were written in front of it, for other calls.
    virtual void onCall(std::string const & /*path*/, long /*foreign*/, AutomatSpan const &) {}
};

} // namespace Tavlin
