// The rules and the words.
#include "LintWords.h"

#include "Lint.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>

namespace tool {

namespace {

/// How many letters must be changed, added or taken away to make one word of the other.
std::size_t distance(std::string const & a, std::string const & b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t corner = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            std::size_t const change = corner + (a[i] != b[j]);
            corner = row[j + 1];
            row[j + 1] = std::min({change, row[j] + 1, corner + 1});
        }
    }
    return row[b.size()];
}

} // namespace

std::string quoted(std::string const & text) {
    return '`' + text + '`';
}

std::string quoted(char c) {
    if (static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7F)
        return quoted(std::string(1, c));
    if (static_cast<unsigned char>(c) >= 0x80)
        return "a character beyond ASCII";
    constexpr char const digits[] = "0123456789ABCDEF";
    std::string text = "the byte ";
    text += digits[static_cast<unsigned char>(c) >> 4];
    return text + digits[c & 15];
}

bool isForeignOperator(char c) {
    return c && std::strchr("!%&|", c);
}

char const * keywordFor(std::string const & word) {
    for (char const * const keyword : {"State", "Method", "goto", "#include"}) {
        char const * const letters = keyword + (*keyword == '#');
        if (word.size() == std::strlen(letters) &&
            std::equal(word.begin(), word.end(), letters, [](char a, char b) {
                return std::tolower(static_cast<unsigned char>(a)) ==
                       std::tolower(static_cast<unsigned char>(b));
            }))
            return keyword;
    }
    return nullptr;
}

std::string suggestion(std::string const & name, std::set<std::string> const & names) {
    constexpr std::size_t longest = 40;
    constexpr std::size_t most = 1000; // more would take too long
    if (name.size() < 3 || name.size() > longest || names.size() > most)
        return "";
    std::string best;
    std::size_t least = name.size() > 4 ? 3 : 2; // the first that is too far
    for (std::string const & other : names)
        if (other.size() <= longest && distance(name, other) < least) {
            least = distance(name, other);
            best = other;
        }
    return best.empty() ? "" : " (did you mean " + quoted(best) + "?)";
}

char const * foreignWord(std::string const & word) {
    static std::map<std::string, char const *> const words = {
        {"else", "there is no `else`; write a second `if` with the opposite condition"},
        {"elseif", "there is no `elseif`; write a second `if`"},
        {"while", "there are no loops; a method `Step` runs once in every step"},
        {"for", "there are no loops; a method `Step` runs once in every step"},
        {"return", "there is no `return`; only `goto` ends a method early"},
        {"break", "there are no loops to break off"},
        {"true", "there is no `true`; write 1"},
        {"false", "there is no `false`; write 0"},
        {"null", "there is no `null`"},
        {"not", "there is no `not`; compare with `== 0`"},
        {"and", "there is no `and`; write `&&`"},
        {"or", "there is no `or`; write `||`"},
        {"then", "there is no `then`"},
        {"var", "there is no `var`; `name := value` declares"},
        {"int", "there are no types; `name := value` declares"},
        {"float", "there are no types; `name := value` declares"},
        {"If", "`if` is written in small letters"},
        {"IF", "`if` is written in small letters"}};
    auto const found = words.find(word);
    return found == words.end() ? nullptr : found->second;
}

std::vector<Rule> const & lintRules() {
    static std::vector<Rule> const rules = {
        {"assignment", false, "an `=` in a condition, which assigns"},
        {"braces", true, "braces that do not match"},
        {"broken-name", true, "a name in quotes that is none"},
        {"broken-text", true, "a text with a character that makes it none"},
        {"comment-closed", false, "a `//` comment that a `*/` ends early"},
        {"comment-line-end", true, "a comment that took a line end which was needed"},
        {"dropped-character", false, "a character that means nothing"},
        {"empty-argument", false, "a comma in front of the first argument"},
        {"empty-variable", false, "a variable whose first value is not made of constants"},
        {"foreign-arguments", false, "a call that takes the arguments of its neighbour"},
        {"glued-minus", true, "a minus that belongs to the number behind it"},
        {"glued-point", false, "two numbers that became a point where there should be two"},
        {"hidden", false, "a method, state or variable behind another of its name"},
        {"include", true, "an include that includes nothing"},
        {"keyword", true, "a word of another language, or a keyword that is none here"},
        {"number", false, "an integer with an exponent, or out of range"},
        {"open-comment", true, "a comment that is never closed"},
        {"open-if", false, "an `if` without braces, which stays open"},
        {"outside-method", true, "a statement or method that belongs nowhere"},
        {"point-argument", false, "a point as an argument, where two may have been meant"},
        {"syntax", true, "what the grammar does not take"},
        {"too-deep", true, "nesting beyond the limits"},
        {"too-many-findings", true, "findings that are left out, as there are too many"},
        {"too-many-names", true, "more names than the library has room for"},
        {"undeclared-variable", false, "a variable that no script declares"},
        {"unknown-operator", true, "an operator that the language does not have"},
        {"unknown-state", true, "a `goto` to a state that does not exist"},
        {"unreachable-state", false, "a state that nothing leads to"}};
    return rules;
}

Rule const * findLintRule(std::string const & name) {
    for (Rule const & rule : lintRules())
        if (name == rule.name)
            return &rule;
    return nullptr;
}

} // namespace tool
