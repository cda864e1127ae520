// What the linter has to say, and where. The rules have names, so that a user can leave one out
// and a program can tell them apart.
#pragma once

#include "tavlinmid/AutomatObserver.h"

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace tool {

struct Rule {
    char const * name;
    bool isError; // the script does not do what it says; a warning is a thing to look at
    char const * meaning;
};

/// In the order of their names.
std::vector<Rule> const & lintRules();
/// Null when there is none of that name.
Rule const * findLintRule(std::string const & name);

struct Finding {
    Rule const * rule;
    std::string file;
    Tavlin::AutomatSpan span; // `file` of the places counts within one script
    std::string message;
    std::string source; // the line in which it begins, or what of a long one is around the place
    int sourceBegin;    // bytes of the line in front of that
};

/// A text file by its lines, for as long as somebody shows places of it.
class SourceFile {
  public:
    /// Without lines when it cannot be read.
    SourceFile(std::string const & path, std::string const & shownPath);

    std::string const & path() const { return path_; }
    /// Line `number`, from 1, without its end; empty where there is none.
    std::string_view line(int number) const;

  private:
    std::string path_;
    std::vector<std::string> lines_;
};

/// Reads `script` and everything that it includes, in which every file and place is known by the
/// library's own lexer and parser, and adds what there is to say. Throws Failure when the script
/// cannot be read.
void lintScript(std::string const & script, std::vector<Finding> & findings);

/// The findings of several scripts: by file and place, and what two scripts have through a common
/// include once.
void tidyFindings(std::vector<Finding> & findings, std::set<std::string> const & leftOut);

/// As compilers do it: file:line:column: error: message [rule], the line, and marks below it.
std::string findingAsText(Finding const & finding, bool isColoured);

} // namespace tool
