// What only the whole script tells: bodies that stay open, states that are never reached, names
// that lead nowhere. Of a script that is not known to its end, or without one of its includes,
// little can be said.
#include "LintReader.h"
#include "LintWords.h"

namespace tool {

std::string LintReader::near(std::string const & name, std::set<std::string> const & names) {
    constexpr std::size_t most = 200; // more would take too long
    return suggestions_++ < most ? suggestion(name, names) : std::string();
}

void LintReader::finish(bool isLoaded) {
    judgeDropped();
    droppedBefore_ = std::exchange(dropped_, {});
    judgeDropped();
    keepUses();
    if (!isLoaded && !isEndTold_) {
        add("too-many-names", tokens_.empty() ? AutomatSpan{} : tokens_.back().span,
            "there are more names than the library has room for; the script cannot be loaded");
        isCutShort_ = true;
    }
    if (!isCutShort_)
        finishBraces();
    finishStates();
    finishMethods();
    finishVariables();
}

void LintReader::finishBraces() {
    for (Body const & body : bodies_)
        if (body.first)
            add("open-if", body.span,
                "this `if` has no `{`, so all that follows belongs to it, to the end");
    if (header_ == Header::State || header_ == Header::Method)
        bodyIsMissing({});
    if (!braces_.empty() && !areBracesTold_)
        add("braces", braces_.back(), "this `{` is not closed");
}

void LintReader::findWays() {
    std::map<std::string, int> states; // of each name the first
    for (std::size_t i = 0; i < states_.size(); ++i)
        states.emplace(states_[i].name, static_cast<int>(i));
    for (Jump const & jump : jumps_) {
        auto const target = states.find(jump.target);
        if (jump.method < 0 || target == states.end())
            continue;
        Method const & method = methods_[static_cast<std::size_t>(jump.method)];
        ways_.emplace(method.isSure ? method.state : -1, target->second);
    }
    for (std::string const & name : lostTargets_)
        if (auto const target = states.find(name); target != states.end())
            ways_.emplace(-1, target->second);
}

/// Notes what can be reached from a state.
void LintReader::reach(int state) {
    std::vector<int> open{state};
    while (!open.empty()) {
        int const from = open.back();
        open.pop_back();
        if (!reached_.insert(from).second)
            continue;
        for (auto [way, end] = ways_.equal_range(from); way != end; ++way)
            open.push_back(way->second);
    }
}

// A state that nothing leads to is told; what can be reached only from there is not told again.
void LintReader::finishStates() {
    std::set<std::string> names;
    std::vector<std::size_t> distinct;
    for (std::size_t i = 0; i < states_.size(); ++i)
        if (names.insert(states_[i].name).second)
            distinct.push_back(i);
        else if (!isStructureLost_)
            add("hidden", states_[i].span,
                "there is a state " + quoted(states_[i].name) +
                    " already, and `goto` leads to the first");
    if (isCutShort_ || !isAllThere_)
        return;
    for (Jump const & jump : jumps_)
        if (names.count(jump.target) == 0 && lostStates_.count(jump.target) == 0)
            add("unknown-state", jump.span,
                "there is no state " + quoted(jump.target) + near(jump.target, names) +
                    "; this ends the method and changes nothing");
    findWays();
    reach(-1);
    reach(0);
    std::set<int> entered;
    for (auto const & [from, to] : ways_)
        if (from != to)
            entered.insert(to);
    for (bool const isEntered : {false, true})
        for (std::size_t const i : distinct) {
            int const state = static_cast<int>(i);
            if ((entered.count(state) > 0) != isEntered || reached_.count(state) > 0)
                continue;
            add("unreachable-state", states_[i].span,
                "no `goto` leads to " + quoted(states_[i].name) + " from where the script starts");
            reach(state);
        }
}

void LintReader::finishMethods() {
    std::map<std::pair<int, std::string>, AutomatSpan> known;
    for (Method const & method : methods_) {
        auto const [first, isNew] =
            known.emplace(std::pair(method.state, method.name), method.span);
        if (!isNew && method.isSure)
            add("hidden", method.span,
                "there is a method " + quoted(method.name) + " in " +
                    lineOf(first->second.begin, method.span.begin) +
                    (method.state < 0 ? " already" : " of this state already") +
                    ", and only the first answers");
    }
    std::set<std::string> names;
    for (Method const & method : methods_)
        names.insert(method.name);
    for (Named const & call : calls_)
        if (names.count(call.name) == 0)
            add("keyword", call.span,
                std::string(foreignWord(call.name)) + "; this calls a method of that name");
}

void LintReader::finishVariables() {
    std::set<std::string> names;
    for (auto const & [name, span] : declared_)
        names.insert(name);
    for (Named const & word : words_)
        if (names.count(word.name) == 0)
            add("keyword", word.span, foreignWord(word.name));
    for (auto const & [name, use] : uses_) {
        if (names.count(name) > 0 || lostVariables_.count(name) > 0)
            continue;
        if (name == "if" || name == "doAfter") {
            add("keyword", use.span, quoted(name) + " wants a parenthesis");
            continue;
        }
        if (isCutShort_ || !isAllThere_)
            continue;
        std::string message = quoted(name) + " is declared nowhere" + near(name, names);
        message += use.isAssigned ? "; what is assigned to it is lost" : "; it has no value";
        if (name.find('.') != std::string::npos)
            message += ", as a path leads to calls only";
        if (use.count > 1)
            message += " (" + std::to_string(use.count) + " places)";
        add("undeclared-variable", use.span, message);
    }
}

} // namespace tool
