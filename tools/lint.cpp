// `lint`: tells what the language does with a script where that is likely not what was meant.
#include "Lint.h"
#include "Command.h"
#include "Json.h"
#include "Terminal.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>

namespace tool {

namespace {

struct Options {
    std::vector<std::string> files;
    std::vector<std::string> leftOut;
    bool rules = false;
    bool json = false;
    std::string color = "auto";
};

int digitsOf(int number) {
    return static_cast<int>(std::to_string(number).size());
}

/// Blanks, or tabs where the line has tabs, so that what follows stands below the place. Bytes
/// that continue a character of UTF-8 take no room.
std::string indentation(std::string const & line, int column) {
    std::string blanks;
    std::size_t const end = std::min(line.size(), static_cast<std::size_t>(column - 1));
    for (std::size_t i = 0; i < end; ++i)
        if ((static_cast<unsigned char>(line[i]) & 0xC0) != 0x80)
            blanks += line[i] == '\t' ? '\t' : ' ';
    return blanks;
}

/// Characters that would steer a terminal are shown as blanks.
std::string printable(std::string text) {
    for (char & c : text)
        if ((static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F)
            c = ' ';
    return text;
}

void printJson(std::vector<Finding> const & findings, std::int64_t errors) {
    Json json;
    json.beginObject().member("errors", errors);
    json.member("warnings", static_cast<std::int64_t>(findings.size()) - errors);
    json.key("findings").beginArray();
    for (Finding const & finding : findings) {
        json.beginObject().member("file", finding.file);
        json.member("line", std::int64_t{finding.span.begin.line});
        json.member("column", std::int64_t{finding.span.begin.column});
        json.member("endLine", std::int64_t{finding.span.end.line});
        json.member("endColumn", std::int64_t{finding.span.end.column});
        json.member("severity", finding.rule->isError ? "error" : "warning");
        json.member("rule", finding.rule->name).member("message", finding.message).endObject();
    }
    json.endArray().endObject().print();
}

void printRules() {
    for (Rule const & rule : lintRules())
        std::printf("%-20s %-8s %s\n", rule.name, rule.isError ? "error" : "warning", rule.meaning);
}

bool wantsColour(std::string const & wish) {
    return wish == "always" || (wish == "auto" && isTerminal(stdout));
}

std::string counted(std::int64_t count, char const * what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

int lint(Options const & options) {
    if (options.rules) {
        printRules();
        return Done;
    }
    if (options.files.empty())
        throw Failure(WrongUsage, "name a script");
    for (std::string const & name : options.leftOut)
        if (!findLintRule(name))
            throw Failure(WrongUsage, "there is no rule " + name + "; --rules lists them");
    std::vector<Finding> findings;
    bool isComplete = true;
    for (std::string const & file : options.files) {
        stopIfInterrupted();
        try {
            lintScript(file, findings);
        } catch (Failure const & failure) { // the others are worth reading all the same
            std::fprintf(stderr, "ondrel: %s\n", failure.what());
            isComplete = false;
        }
    }
    tidyFindings(findings, {options.leftOut.begin(), options.leftOut.end()});
    std::int64_t const errors =
        std::count_if(findings.begin(), findings.end(),
                      [](Finding const & finding) { return finding.rule->isError; });
    if (options.json) {
        printJson(findings, errors);
    } else {
        for (Finding const & finding : findings)
            std::fputs(findingAsText(finding, wantsColour(options.color)).c_str(), stdout);
        if (!findings.empty())
            std::fprintf(stderr, "%s, %s\n", counted(errors, "error").c_str(),
                         counted(std::int64_t(findings.size()) - errors, "warning").c_str());
    }
    if (!isComplete)
        return NotDone;
    return errors > 0 ? Damaged : findings.empty() ? Done : Remarks;
}

} // namespace

SourceFile::SourceFile(std::string const & path, std::string const & shownPath) : path_(shownPath) {
    std::ifstream in(path, std::ios::binary);
    for (std::string line; std::getline(in, line); lines_.push_back(line))
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
}

std::string_view SourceFile::line(int number) const {
    bool const isThere = number >= 1 && static_cast<std::size_t>(number) <= lines_.size();
    return isThere ? lines_[static_cast<std::size_t>(number) - 1] : std::string_view();
}

void tidyFindings(std::vector<Finding> & findings, std::set<std::string> const & leftOut) {
    auto const key = [](Finding const & one) {
        return std::make_tuple(std::cref(one.file), one.span.begin.line, one.span.begin.column,
                               one.rule, std::cref(one.message));
    };
    std::erase_if(findings, [&](Finding const & one) { return leftOut.count(one.rule->name) > 0; });
    std::stable_sort(findings.begin(), findings.end(),
                     [&](Finding const & a, Finding const & b) { return key(a) < key(b); });
    findings.erase(
        std::unique(findings.begin(), findings.end(),
                    [&](Finding const & a, Finding const & b) { return key(a) == key(b); }),
        findings.end());
}

std::string findingAsText(Finding const & finding, bool isColoured) {
    char const * const strong = isColoured ? "\033[1m" : "";
    char const * const shade = !isColoured ? "" : finding.rule->isError ? "\033[31m" : "\033[35m";
    char const * const plain = isColoured ? "\033[0m" : "";
    Tavlin::AutomatPlace const begin = finding.span.begin, end = finding.span.end;
    std::string text = strong + finding.file + ':' + std::to_string(begin.line) + ':' +
                       std::to_string(begin.column) + ": " + plain + shade + strong;
    text += finding.rule->isError ? "error: " : "warning: ";
    text += plain + printable(finding.message) + " [" + finding.rule->name + "]\n";
    std::string const line = printable(finding.source);
    int const width = std::max(5, digitsOf(begin.line) + 1);
    std::string const number = std::to_string(begin.line);
    text += std::string(static_cast<std::size_t>(width) - number.size(), ' ') + number + " | " +
            line + '\n';
    int const first = begin.column - finding.sourceBegin;
    std::string const before = indentation(line, first);
    int const last = std::min(end.line == begin.line ? end.column - finding.sourceBegin : first,
                              std::max(first, static_cast<int>(line.size())));
    std::string const marked = indentation(line, last + 1);
    text += std::string(static_cast<std::size_t>(width), ' ') + " | " + before + shade + '^';
    if (marked.size() > before.size() + 1)
        text += std::string(marked.size() - before.size() - 1, '~');
    text += plain;
    return text + '\n';
}

void addLint(CLI::App & program, int & status) {
    auto const options = std::make_shared<Options>();
    CLI::App * const command = program.add_subcommand(
        "lint", "Tell where a script does something else than it seems to say");
    command->add_option("SCRIPT", options->files, "The scripts; what they include is read, too");
    command
        ->add_option("--without", options->leftOut, "Leave a rule out; may be given several times")
        ->allow_extra_args(false);
    command->add_flag("--rules", options->rules, "List the rules and end");
    command->add_flag("--json", options->json, "Print one JSON value");
    command->add_option("--color", options->color, "auto (on a terminal), always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    command->footer("Exit statuses: 0 nothing found, 1 warnings, 2 errors, 3 a script cannot be "
                    "read.");
    command->callback([options, &status] { status = lint(*options); });
}

} // namespace tool
