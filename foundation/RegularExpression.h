// A small matcher: a pattern is compiled once to a byte code held in a string, and a backtracking
// matcher walks that code over a text.
//
// Known: `.` any character, `[abc]` `[a-z]` `[^abc]` classes, `*` `+` `?` greedy repetitions,
// `(...)` grouping, `a|b` alternatives, `^` at the front, `$`, `\b \f \n \r \t` and octal `\101`
// escapes. What to know besides:
//
// - A match may lie anywhere in the text, unless `^` holds it at the start.
// - A wrong pattern is not reported. It compiles to the empty pattern, which matches with length 0
//   at the start of any text that is not empty. Wrong are also a second operator behind the first,
//   as in `a**`, and a `^` that does not lead.
// - Of two alternatives the one that leads further through the text is taken, not the first.
// - The body of `*` or `+` is matched by itself, with no regard to what follows it.
// - A group inside of an alternative is no fence for its own `|`: `a|(b|c)d` reads as `(a|b|c)d`.
// - A class of 128 characters or more behaves as an empty one.
// - Effort is bounded: where a pattern would need millions of steps, or thousands of decisions
//   open at one time, there is no match.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"

class ipstream;
class opstream;

/// A compiled pattern.
class ONDREL_API RegularExpression {
  public:
    RegularExpression() = default;
    explicit RegularExpression(char const * source);
    explicit RegularExpression(GString const & source);
    RegularExpression & operator=(char const * source);
    RegularExpression & operator=(GString const & source);

    GString const & getSource() const { return source_; }
    /// False for a pattern that was empty or did not compile.
    bool isCompiled() const { return !pattern_.isEmpty(); }

    /// Finds the first match: its place and length, both 0 when there is none. A null or empty text
    /// has no match.
    bool index(char const * text, int & start, int & length) const;
    /// Whether there is a match anywhere in the text.
    bool operator==(char const * text) const;
    bool operator==(GString const & text) const { return *this == text.c_str(); }
    bool operator!=(char const * text) const { return !(*this == text); }
    bool operator!=(GString const & text) const { return !(*this == text.c_str()); }

    /// Whether the text holds a character with a meaning in patterns.
    static bool IsIt(char const * text);

  private:
    GString source_;
    GString pattern_;
};

/// A byte 0 and the source, never the compiled form; any byte is accepted.
ONDREL_API opstream & operator<<(opstream & out, RegularExpression const & expression);
ONDREL_API ipstream & operator>>(ipstream & in, RegularExpression & expression);
