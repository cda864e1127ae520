// A small matcher: a pattern is compiled once to a byte code held in a string, and a backtracking
// matcher walks that code over a text.
//
// Known: `.` any character, `[abc]` `[a-z]` `[^abc]` classes, `*` `+` `?` greedy repetitions,
// `(...)` grouping, `a|b` alternatives (the one that reaches further wins), `^` at the front, `$`,
// `\b \f \n \r \t` and octal `\101` escapes. A pattern that does not compile is empty, and an empty
// pattern matches nothing at the start of any text that is not empty.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"

class ipstream;
class opstream;

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

    /// Finds the first match: its place and length, both 0 when there is none.
    bool index(char const * text, int & start, int & length) const;
    /// Whether there is a match anywhere in the text.
    bool operator==(char const * text) const;
    bool operator!=(char const * text) const { return !(*this == text); }
    bool operator!=(GString const & text) const { return !(*this == text.c_str()); }

    /// Whether the text holds a character with a meaning in patterns.
    static bool IsIt(char const * text);

  private:
    GString source_;
    GString pattern_;
};

/// The source is stored, never the compiled form.
ONDREL_API opstream & operator<<(opstream & out, RegularExpression const & expression);
ONDREL_API ipstream & operator>>(ipstream & in, RegularExpression & expression);
