// The grammar is made flat when it is read: there is one list of rules, as no rule has others in
// it.
#include "tests/editors/Grammar.h"

#include <stdexcept>

namespace {

using Json = nlohmann::json;

/// "keyword.control.automat" without its last part, which is always the language.
std::string shortScope(std::string const & scope) {
    std::size_t const point = scope.rfind('.');
    if (scope.substr(point + 1) != "automat")
        throw std::runtime_error(scope + " does not end in the name of the language");
    return scope.substr(0, point);
}

std::wregex compiled(std::string const & pattern) {
    try {
        return std::wregex(wide(pattern));
    } catch (std::regex_error const & error) {
        throw std::runtime_error(pattern + ": " + error.what());
    }
}

} // namespace

std::wstring wide(std::string const & utf8) {
    std::wstring text;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        unsigned char const c = static_cast<unsigned char>(utf8[i]);
        int const more = c < 0x80 ? 0 : c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
        unsigned long code = more == 0 ? c : c & (0x3FU >> more);
        for (int k = 0; k < more; ++k)
            code = code << 6 | (static_cast<unsigned char>(utf8.at(++i)) & 0x3FU);
        text += static_cast<wchar_t>(code);
    }
    return text;
}

Grammar::Grammar(Json const & grammar) {
    add(grammar, grammar.at("patterns"));
}

void Grammar::add(Json const & grammar, Json const & patterns) {
    for (Json const & pattern : patterns) {
        if (pattern.contains("include")) {
            std::string const name = pattern.at("include");
            add(grammar, grammar.at("repository").at(name.substr(1)).at("patterns"));
            continue;
        }
        Rule rule;
        for (auto const & [key, value] : pattern.items()) {
            if (key == "match" || key == "begin") {
                rule.match = compiled(value);
            } else if (key == "end") {
                rule.end = compiled(value);
                rule.isRange = true;
            } else if (key == "name") {
                rule.name = shortScope(value);
            } else if (key == "captures") {
                for (auto const & [number, capture] : value.items()) {
                    std::size_t const index = std::stoul(number);
                    rule.captures.resize(std::max(rule.captures.size(), index + 1));
                    rule.captures[index] = shortScope(capture.at("name"));
                }
            } else if (key != "comment" && key != "beginCaptures" && key != "endCaptures") {
                throw std::runtime_error(key + " is not understood");
            }
        }
        for (std::size_t i = rule.match.mark_count() + 1; i < rule.captures.size(); ++i)
            throw std::runtime_error("There is no group " + std::to_string(i));
        rules_.push_back(rule);
    }
}

void Grammar::give(Rule const & rule, std::wsmatch const & found, std::vector<Token> & tokens) {
    if (rule.captures.empty()) {
        tokens.push_back({found.str(), rule.name});
        return;
    }
    for (std::size_t i = 1; i < found.size(); ++i) {
        std::string const scope = i < rule.captures.size() ? rule.captures[i] : "";
        if (found.length(i) > 0 && !(scope.empty() && rule.name.empty()))
            tokens.push_back({found.str(i), scope.empty() ? rule.name : scope});
    }
}

std::vector<Grammar::Token> Grammar::tokenize(std::wstring const & line) {
    std::vector<Token> tokens;
    auto at = line.begin();
    for (;;) {
        std::wsmatch best;
        if (open_) {
            bool const ends = std::regex_search(at, line.end(), best, open_->end);
            auto const stop = ends ? best[0].second : line.end();
            if (tokens.empty())
                tokens.push_back({std::wstring(at, stop), open_->name});
            else
                tokens.back().text.append(at, stop);
            if (!ends)
                return tokens;
            open_ = nullptr;
            at = stop;
            continue;
        }
        Rule const * first = nullptr;
        for (Rule const & rule : rules_) {
            std::wsmatch found;
            if (std::regex_search(at, line.end(), found, rule.match) &&
                (!first || found.position() < best.position())) {
                first = &rule;
                best = found;
            }
        }
        if (!first)
            return tokens;
        if (best.length() == 0)
            throw std::runtime_error("A rule matches nothing");
        at = best[0].second;
        if (first->isRange) {
            open_ = first;
            tokens.push_back({best.str(), first->name});
        } else {
            give(*first, best, tokens);
        }
    }
}
