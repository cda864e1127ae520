// A tokenizer by a TextMate grammar, as editors have it: at each place the leftmost match of all
// patterns, and of several there the first. Rules with begin and end hold across lines. Left out is
// what the grammar at hand does not need, such as patterns within captures.
#pragma once

#include <nlohmann/json.hpp>

#include <list>
#include <regex>
#include <string>
#include <vector>

/// Files of editors are of UTF-8, and the grammar counts characters.
std::wstring wide(std::string const & utf8);

class Grammar {
  public:
    /// Throws for a pattern that does not compile, for an #include of nothing, and for a key that
    /// is not understood.
    explicit Grammar(nlohmann::json const & grammar);

    struct Token {
        std::wstring text;
        std::string scope; ///< the innermost one, without the language's name at its end
    };
    /// All that has a scope, of one line; a comment that is open at its end goes on with the next.
    std::vector<Token> tokenize(std::wstring const & line);

  private:
    struct Rule {
        std::wregex match; ///< or what begins the rule
        std::wregex end;
        bool isRange = false;
        std::string name;
        std::vector<std::string> captures; ///< by number
    };
    void add(nlohmann::json const & grammar, nlohmann::json const & patterns);
    static void give(Rule const & rule, std::wsmatch const & found, std::vector<Token> & tokens);

    std::list<Rule> rules_;
    Rule const * open_ = nullptr;
};
