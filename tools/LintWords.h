// The words of the linter's messages that more than one of them needs.
#pragma once

#include <set>
#include <string>

namespace tool {

std::string quoted(std::string const & text);
/// A byte that is no plain character is described.
std::string quoted(char c);
/// The keyword that a word is but for its letters' case or a `#`; null for any other word.
char const * keywordFor(std::string const & word);
/// " (did you mean `x`?)" for the nearest of some names, when one is near.
std::string suggestion(std::string const & name, std::set<std::string> const & names);
/// What is said to who uses a word that other languages have; null for any other word.
char const * foreignWord(std::string const & word);
/// A character that other languages have operators of.
bool isForeignOperator(char c);

} // namespace tool
