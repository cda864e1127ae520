// The byte code, one operation after the other; the end of the code is success:
//
//   '$' '.' '^'               end of the text, any character, the attempt began at index 0
//   'c' x                     the character x
//   '[' n list, ']' n list    a character that is, or is not, among the n of the list
//   '*' n body, '+', '?'      a repetition of the n bytes of body
//   '|' first 'e' second      alternatives; 'e' also ends the last one and does nothing else
//
// A group leaves no mark in the code, and the end of an alternative is found by counting '|' up and
// 'e' down. A list of 128 characters and more counts as empty: the length byte is signed. Patterns
// come from code and data, so recursion and effort are bounded; where a bound is met the search
// finds nothing. A body that matches nothing ends its repetition, since it would do so for ever.
#include "foundation/RegularExpression.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Code = std::string;

constexpr std::size_t longestBody = 254;
constexpr std::size_t longestList = 255;
constexpr int deepestGroup = 200;
constexpr int deepestMatch = 2000;

// Some patterns would try for ever. A search may take so many steps, and so many more for each
// place at which it tries, in proportion to the pattern.
constexpr long firstSteps = 4000000;
constexpr long leastPerAttempt = 64;
constexpr long mostPerAttempt = 1024;

class Compiler {
  public:
    explicit Compiler(char const * source) : at_(source) {}

    /// The code of the whole source; empty when it is no pattern.
    Code compile() {
        Code code;
        if (!*at_ || !alternation(code) || *at_)
            code.clear();
        return code;
    }

  private:
    bool alternation(Code & code) {
        if (++depth_ > deepestGroup)
            return false;
        bool good = alternatives(code);
        --depth_;
        return good;
    }

    bool alternatives(Code & code) {
        Code piece;
        if (!sequence(piece))
            return false;
        while (*at_ == '|') {
            ++at_;
            code += '|';
            code += piece;
            code += 'e';
            piece.clear();
            if (!sequence(piece))
                return false;
        }
        code += piece;
        code += 'e';
        return true;
    }

    bool sequence(Code & code) {
        if (*at_ == '^')
            code += *at_++;
        while (*at_ && !std::strchr("^|)]+?*", *at_))
            if (!repeated(code))
                return false;
        return true;
    }

    bool repeated(Code & code) {
        Code body;
        if (!atom(body))
            return false;
        if (*at_ != '*' && *at_ != '+' && *at_ != '?') {
            code += body;
            return true;
        }
        if (body.size() > longestBody)
            return false;
        code += *at_++;
        code += static_cast<char>(body.size());
        code += body;
        return true;
    }

    bool atom(Code & code) {
        char const c = *at_++;
        if (c == '$' || c == '.') {
            code += c;
            return true;
        }
        if (c == '(')
            return alternation(code) && *at_ == ')' && at_++;
        if (c == '[')
            return list(code) && *at_ == ']' && at_++;
        char literal = c;
        if (c == '\\' && !escape(literal))
            return false;
        code += 'c';
        code += literal;
        return true;
    }

    bool escape(char & literal) {
        if (!*at_)
            return false;
        if (*at_ >= '0' && *at_ <= '7') {
            int value = 0;
            for (int digits = 0; digits < 3 && *at_ >= '0' && *at_ <= '7'; ++digits)
                value = value * 8 + (*at_++ - '0');
            literal = static_cast<char>(value);
            return true;
        }
        constexpr std::string_view names = "bfnrt", values = "\b\f\n\r\t";
        char const c = *at_++;
        std::size_t const known = names.find(c);
        literal = known == names.npos ? c : values[known];
        return true;
    }

    bool list(Code & code) {
        bool const negated = *at_ == '^';
        if (negated)
            ++at_;
        Code members;
        bool first = true;
        for (; *at_ && *at_ != ']'; first = false) {
            char c = *at_++;
            if (c == '-' && !first && *at_ && *at_ != ']') {
                char last = *at_++;
                if (last == '\\' && !escape(last))
                    return false;
                for (int next = static_cast<signed char>(members.back()) + 1;
                     next <= static_cast<signed char>(last); ++next)
                    members += static_cast<char>(next);
            } else {
                if (c == '\\' && !escape(c))
                    return false;
                members += c;
            }
            if (members.size() > longestList)
                return false;
        }
        code += negated ? ']' : '[';
        code += static_cast<char>(members.size());
        code += members;
        return true;
    }

    char const * at_;
    int depth_ = 0;
};

class Matcher {
  public:
    Matcher(std::string_view code, char const * text) : code_(code), text_(text) {
        perAttempt_ =
            std::min(leastPerAttempt + 16 * static_cast<long>(code.size()), mostPerAttempt);
    }

    /// The end of the match that begins at `attempt`; null when there is none.
    char const * matchAt(char const * attempt) {
        attempt_ = attempt;
        steps_ += perAttempt_;
        return match({code_.data(), code_.data() + code_.size(), nullptr}, attempt);
    }
    bool spent() const { return steps_ < 0; }

  private:
    /// A stretch of the code that is to be matched, and what is to be matched behind it.
    struct Range {
        char const * at;
        char const * end;
        Range const * next;
    };

    char const * match(Range const & range, char const * cursor) {
        if (depth_ >= deepestMatch)
            steps_ = -1; // no answer would be right now
        ++depth_;
        char const * const end = walk(range, cursor);
        --depth_;
        return end;
    }

    char const * walk(Range range, char const * cursor) {
        while (--steps_ >= 0) {
            if (range.at == range.end) {
                if (!range.next)
                    return cursor;
                range = *range.next;
                continue;
            }
            switch (*range.at) {
                case 'e':
                    ++range.at;
                    break;
                case '$':
                    if (*cursor)
                        return nullptr;
                    ++range.at;
                    break;
                case '^':
                    if (attempt_ != text_)
                        return nullptr;
                    ++range.at;
                    break;
                case '?': {
                    // Body and what follows it stand side by side in the code.
                    char const * const behind = range.at + sizeOf(range.at);
                    if (char const * const end =
                            match({range.at + 2, range.end, range.next}, cursor))
                        return end;
                    range.at = behind;
                    break;
                }
                case '*':
                case '+':
                    return repetition(range, cursor);
                case '|':
                    return alternatives(range, cursor);
                default:
                    if (!takes(range.at, *cursor))
                        return nullptr;
                    ++cursor;
                    range.at += sizeOf(range.at);
            }
        }
        return nullptr;
    }

    /// Bytes of the operation with its operands; those of an alternation are its alternatives' own.
    static std::ptrdiff_t sizeOf(char const * operation) {
        if (*operation == 'c')
            return 2;
        return std::strchr("[]*+?", *operation) ? 2 + static_cast<unsigned char>(operation[1]) : 1;
    }

    /// Whether an operation for one character takes `c`; none takes the end of the text.
    static bool takes(char const * operation, char c) {
        if (c == '\0' || *operation == '.')
            return c != '\0';
        if (*operation == 'c')
            return operation[1] == c;
        int const size = static_cast<signed char>(operation[1]);
        std::string_view const members(operation + 2, static_cast<std::size_t>(std::max(size, 0)));
        return (members.find(c) != members.npos) == (*operation == '[');
    }

    /// The most rounds are made that the body allows, each matched by itself, and then given back
    /// one by one until what follows matches too. None of this is recursion over the text.
    char const * repetition(Range const & range, char const * cursor) {
        char const * const body = range.at + 2;
        char const * const behind = range.at + sizeOf(range.at);
        Range const rest{behind, range.end, range.next};
        bool const atLeastOnce = *range.at == '+';
        if (body < behind && std::strchr(".c[]", *body) && body + sizeOf(body) == behind) {
            char const * end = cursor;
            for (; takes(body, *end); --steps_)
                ++end;
            for (char const * const least = cursor + atLeastOnce; end >= least; --end)
                if (char const * const found = match(rest, end))
                    return found;
            return nullptr;
        }
        std::vector<char const *> ends;
        if (!atLeastOnce)
            ends.push_back(cursor);
        while (char const * const end = match({body, behind, nullptr}, cursor)) {
            bool const advanced = end != cursor;
            if (advanced || ends.empty())
                ends.push_back(end);
            if (!advanced) // one more round of nothing, and there would be no end of it
                break;
            cursor = end;
        }
        for (; !ends.empty(); ends.pop_back())
            if (char const * const found = match(rest, ends.back()))
                return found;
        return nullptr;
    }

    /// Of two alternatives, each with all that follows the whole alternation, the one that leads
    /// further wins. The second one may be an alternation again, which is the same question.
    char const * alternatives(Range range, char const * cursor) {
        char const * best = nullptr;
        auto const further = [&best](char const * end) {
            if (end && (!best || end > best))
                best = end;
        };
        char const * const chain = range.at + 1;
        char const * const behind = endOfAlternative(endOfAlternative(chain, range.end), range.end);
        Range const rest{behind, range.end, range.next};
        steps_ -= behind - chain;
        // The counting ends at the same place from every member of a chain.
        while (range.at < behind && *range.at == '|') {
            char const * const first = range.at + 1;
            char const * const second = endOfAlternative(first, behind);
            further(match({first, second, &rest}, cursor));
            if (spent() || (best && !*best))
                return best;
            range.at = second;
        }
        further(match(range, cursor));
        return best;
    }

    /// Behind the 'e' that closes the alternative, or chain of them, which begins at `at`.
    static char const * endOfAlternative(char const * at, char const * end) {
        for (int open = 1; at < end && open > 0; at += sizeOf(at)) {
            if (*at == '|')
                ++open;
            if (*at == 'e')
                --open;
        }
        return at;
    }

    std::string_view code_;
    char const * text_;
    char const * attempt_ = nullptr;
    long perAttempt_;
    long steps_ = firstSteps;
    int depth_ = 0;
};

} // namespace

RegularExpression::RegularExpression(char const * source) {
    *this = source;
}

RegularExpression::RegularExpression(GString const & source) {
    *this = source;
}

RegularExpression & RegularExpression::operator=(char const * source) {
    return *this = GString(source);
}

RegularExpression & RegularExpression::operator=(GString const & source) {
    source_ = source;
    Code const code = Compiler(source_.c_str()).compile();
    pattern_.assign(code.data(), static_cast<unsigned int>(code.size()));
    return *this;
}

bool RegularExpression::index(char const * text, int & start, int & length) const {
    start = length = 0;
    if (!text)
        return false;
    Matcher matcher({pattern_.c_str(), pattern_.length()}, text);
    for (char const * attempt = text; *attempt && !matcher.spent(); ++attempt) {
        char const * const end = matcher.matchAt(attempt);
        if (!end || matcher.spent())
            continue;
        start = static_cast<int>(attempt - text);
        length = static_cast<int>(end - attempt);
        return true;
    }
    return false;
}

bool RegularExpression::operator==(char const * text) const {
    int start, length;
    return index(text, start, length);
}

bool RegularExpression::IsIt(char const * text) {
    return text && std::strpbrk(text, "?*+.[]^$\\()|");
}
