// The byte code, one operation after the other; the end of the code is success:
//
//   '$' '.' '^'               end of the text, any character, the attempt began at index 0
//   'c' x                     the character x
//   '[' n list, ']' n list    a character that is, or is not, among the n of the list
//   '*' n body, '+', '?'      a repetition of the n bytes of body
//   '|' first 'e' second      alternatives; 'e' also ends the last one and does nothing else
//
// A list of 128 characters and more counts as empty: the length byte is signed. Patterns come from
// code and data, so the matcher bounds its recursion: where the bound is met the match fails. A
// body that matches nothing ends its repetition, since it would do so for ever.
#include "foundation/RegularExpression.h"

#include <cstring>
#include <string>
#include <string_view>

namespace {

using Code = std::string;

constexpr std::size_t longestBody = 254;
constexpr std::size_t longestList = 255;
constexpr int deepestGroup = 200;
constexpr int deepestMatch = 4000;
constexpr long mostSteps = 4000000; // of one attempt; some patterns would try for ever

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
    Matcher(char const * text, char const * attempt) : text_(text), cursor_(attempt) {
        attempt_ = attempt;
    }

    char const * cursor() const { return cursor_; }

    bool match(std::string_view code) {
        if (depth_ >= deepestMatch || ++steps_ > mostSteps)
            return false;
        ++depth_;
        bool const found = walk(code);
        --depth_;
        return found;
    }

  private:
    bool walk(std::string_view code) {
        while (!code.empty()) {
            char const operation = code[0];
            switch (operation) {
                case 'e':
                    code.remove_prefix(1);
                    break;
                case '$':
                    if (*cursor_)
                        return false;
                    code.remove_prefix(1);
                    break;
                case '^':
                    if (attempt_ != text_)
                        return false;
                    code.remove_prefix(1);
                    break;
                case '.':
                    if (!*cursor_)
                        return false;
                    ++cursor_;
                    code.remove_prefix(1);
                    break;
                case 'c':
                    if (*cursor_ != code[1] || !*cursor_)
                        return false;
                    ++cursor_;
                    code.remove_prefix(2);
                    break;
                case '[':
                case ']':
                    if (!inClass(code))
                        return false;
                    ++cursor_;
                    code.remove_prefix(2 + bodySize(code));
                    break;
                case '|':
                    return alternatives(code.substr(1));
                default:
                    return repetition(operation, code.substr(2, bodySize(code)),
                                      code.substr(2 + bodySize(code)));
            }
        }
        return true;
    }

    static std::size_t bodySize(std::string_view code) {
        return static_cast<unsigned char>(code[1]);
    }

    bool inClass(std::string_view code) const {
        if (!*cursor_)
            return false;
        int const size = static_cast<signed char>(code[1]);
        std::string_view const members =
            size > 0 ? code.substr(2, static_cast<std::size_t>(size)) : std::string_view();
        bool const listed = members.find(*cursor_) != members.npos;
        return listed == (code[0] == '[');
    }

    bool repetition(char operation, std::string_view body, std::string_view rest) {
        char const * const start = cursor_;
        if (operation == '?') {
            if (match(std::string(body) + std::string(rest)))
                return true;
            cursor_ = start;
            return match(rest);
        }
        if (isOneCharacter(body))
            return run(operation, body, rest);
        if (!match(body)) {
            cursor_ = start;
            return operation == '*' && match(rest);
        }
        char const * const behind = cursor_;
        if (behind != start && again(operation, body, rest))
            return true;
        cursor_ = behind;
        return match(rest);
    }

    /// One more round, which counts as a level of its own.
    bool again(char operation, std::string_view body, std::string_view rest) {
        if (depth_ >= deepestMatch)
            return false;
        ++depth_;
        bool const found = repetition(operation, body, rest);
        --depth_;
        return found;
    }

    static bool isOneCharacter(std::string_view body) {
        return body == "." || (body.size() == 2 && body[0] == 'c') ||
               (body.size() >= 2 && std::strchr("[]", body[0]) &&
                body.size() == 2 + bodySize(body));
    }

    /// The same for a body of one character, without a level for each: the longest run is taken
    /// and given back one character at a time.
    bool run(char operation, std::string_view body, std::string_view rest) {
        char const * const least = cursor_ + (operation == '+');
        char const * const start = cursor_;
        char const * end = start;
        while (walk(body))
            end = cursor_;
        for (; end >= least; --end) {
            cursor_ = end;
            if (match(rest))
                return true;
        }
        cursor_ = start;
        return false;
    }

    bool alternatives(std::string_view code) {
        std::size_t const end = endOfAlternative(code);
        std::string_view const second = code.substr(end);
        std::string first(code.substr(0, end));
        // What follows the whole alternation follows the first alternative too.
        first += second.substr(endOfChain(second));
        char const * const start = cursor_;
        bool const firstFound = match(first);
        char const * const firstEnd = cursor_;
        if (firstFound && !*cursor_)
            return true;
        cursor_ = start;
        bool const secondFound = match(second);
        if (firstFound && (!secondFound || cursor_ < firstEnd))
            cursor_ = firstEnd;
        return firstFound || secondFound;
    }

    /// Behind the 'e' that closes the alternative which begins here.
    static std::size_t endOfAlternative(std::string_view code) {
        std::size_t at = 0;
        for (int depth = 1; at < code.size() && depth > 0;) {
            char const operation = code[at];
            if (operation == '|')
                ++depth;
            if (operation == 'e')
                --depth;
            at += operation == 'c'                  ? 2
                  : std::strchr("[]*+?", operation) ? 2 + static_cast<unsigned char>(code[at + 1])
                                                    : 1;
        }
        return at;
    }

    /// Behind the last alternative of a chain whose second or later one begins here.
    static std::size_t endOfChain(std::string_view code) { return endOfAlternative(code); }

    char const * text_;
    char const * attempt_;
    char const * cursor_;
    int depth_ = 0;
    long steps_ = 0;
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
    pattern_.setLength(static_cast<unsigned int>(code.size()), ' ');
    if (!code.empty()) {
        std::memcpy(pattern_.getBuffer(static_cast<unsigned int>(code.size())), code.data(),
                    code.size());
        pattern_.releaseBuffer(static_cast<unsigned int>(code.size()));
    }
    return *this;
}

bool RegularExpression::index(char const * text, int & start, int & length) const {
    start = length = 0;
    if (!text)
        return false;
    std::string_view const code(pattern_.c_str(), pattern_.length());
    for (char const * attempt = text; *attempt; ++attempt) {
        Matcher matcher(text, attempt);
        if (!matcher.match(code))
            continue;
        start = static_cast<int>(attempt - text);
        length = static_cast<int>(matcher.cursor() - attempt);
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
