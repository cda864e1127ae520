// What the village tells, in the languages that it knows.
#pragma once

#include <string>

namespace Village {

/// Puts the texts of a language, "en" or "de", into the dictionary; false for another one.
bool speak(std::string const & language);

/// The text of `key`; the key in angle brackets when the language has none.
std::string say(char const * key);

/// `say` filled up with blanks to `width` places on the terminal; on the left when negative.
std::string sayIn(char const * key, int width);
std::string padded(std::string const & text, int width);

} // namespace Village
