// Each rule looks ahead only as long as a longer token is possible. That shows: the character
// behind the word of an include has been read by then and comes before the included text.
#include "tavlinmid/AutomatLexer.h"

#include "foundation/GFile.h"
#include "persistence/GFileIO.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace Tavlin {

namespace {

constexpr int endOfInput = -1;
constexpr int endOfFile = -2;
constexpr char endOfText = 0x1A;

bool isDigit(int c) {
    return c >= '0' && c <= '9';
}

bool isLetter(int c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool startsWord(int c) {
    return isLetter(c) || c == '_';
}

bool isWord(int c) {
    return startsWord(c) || isDigit(c);
}

bool isInString(int c) {
    return isWord(c) || (c > 0 && std::strchr(" !,-.:?", c)) || (c >= 0xC0 && c <= 0xFF);
}

/// The number at the front of the text, held at the ends of the range.
int toInt(char const * text) {
    long long const value = std::strtoll(text, nullptr, 10);
    if (value > std::numeric_limits<std::int32_t>::max())
        return std::numeric_limits<std::int32_t>::max();
    if (value < std::numeric_limits<std::int32_t>::min())
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<int>(value);
}

} // namespace

/// A file being read, and the file that included it, which may be closed by now.
struct calc_lexer::Source {
    GFileIO file;
    GString name;
    std::shared_ptr<Source> includer;
    int depth = 0;
    AutomatPlace place{-1, 1, 1}; // of the next character
    unsigned char buffer[4096];
    long filled = 0;
    long used = 0;

    int raw() {
        if (used == filled) {
            filled = file.gread(buffer, sizeof buffer);
            used = 0;
            if (filled <= 0) {
                filled = 0;
                return endOfFile;
            }
        }
        ++place.column;
        return buffer[used++];
    }
    /// As a file is read in text mode: a carriage return in front of a line feed is not there,
    /// and the character 0x1A ends the file.
    int character() {
        int c = raw();
        if (c == '\r') {
            c = raw();
            if (c != '\n' && c != endOfFile) {
                --used;
                --place.column;
            }
            if (c != '\n')
                return '\r';
        }
        if (c == '\n') {
            ++place.line;
            place.column = 1;
        }
        return c == endOfText ? endOfFile : c;
    }
};

calc_lexer::calc_lexer(char const * path, AutomatObserver * observer) : observer_(observer) {
    open(path);
}

calc_lexer::~calc_lexer() = default;

void calc_lexer::open(char const * name) {
    GFile file(name);
    file.redirect();
    GFile full(file);
    full.expand();
    int depth = 1;
    for (std::shared_ptr<Source> above = origin_; above; above = above->includer, ++depth) {
        if (above->name != full.c_str() && depth < deepestInclude)
            continue;
        tellFile(AutomatObserver::File::Refused, -1, name);
        return;
    }
    // Depth alone does not bound the work: files that include two others each double at every
    // level.
    if (opened_ >= mostFiles) {
        tellFile(AutomatObserver::File::Refused, -1, name);
        return;
    }
    auto const source = std::make_shared<Source>();
    source->place.file = opened_++;
    if (!source->file.open(file.c_str(), GIO::ReadMode, GFileIO::ExistingOnly,
                           GFileIO::ShareBoth)) {
        tellFile(AutomatObserver::File::Missing, -1, name);
        return;
    }
    source->name = full;
    source->includer = origin_;
    files_.push_back(source);
    tellFile(AutomatObserver::File::Opened, source->place.file, file.c_str());
}

void calc_lexer::tellFile(AutomatObserver::File result, int file, char const * path) {
    if (observer_)
        observer_->onFile(result, file, path, span_);
    else if (result == AutomatObserver::File::Refused)
        std::fprintf(stderr, "include refused: %s\n", path);
}

void calc_lexer::endLine() {
    ++line_;
    if (!lineComment_)
        return;
    lineComment_ = false;
    inComment_ = false;
}

int calc_lexer::read() {
    if (files_.empty())
        return endOfInput;
    origin_ = files_.back();
    readAt_ = origin_->place;
    int const c = origin_->character();
    switch (c) {
        case endOfFile:
            files_.pop_back();
            endLine();
            return '\n';
        case '\n':
            endLine();
            return '\n';
        case '\r':
        case ';':
            return '\n';
        default:
            return c;
    }
}

// Bytes are kept as they are; the end of input is never kept, it is met again each time.
int calc_lexer::peek(std::size_t ahead) {
    while (aheadUsed_ + ahead >= ahead_.size()) {
        int const c = read();
        if (c == endOfInput)
            return endOfInput;
        ahead_ += static_cast<char>(c);
        if (observer_)
            places_.push_back(readAt_);
    }
    return static_cast<unsigned char>(ahead_[aheadUsed_ + ahead]);
}

std::string calc_lexer::take(std::size_t count) {
    std::string const text = ahead_.substr(aheadUsed_, count);
    if (observer_ && count > 0) {
        if (taken_.empty())
            span_.begin = places_[aheadUsed_];
        span_.end = places_[aheadUsed_ + count - 1];
        taken_ += text;
    }
    aheadUsed_ += count;
    if (aheadUsed_ == ahead_.size()) {
        ahead_.clear();
        places_.clear();
        aheadUsed_ = 0;
    }
    return text;
}

AutomatToken calc_lexer::next() {
    AutomatToken const token = nextToken();
    if (!observer_)
        return token;
    if (token == AutomatToken::End) {
        span_ = {readAt_, readAt_};
        if (comment_)
            tellComment(AutomatObserver::Comment::Unclosed);
    }
    observer_->onToken(token, taken_, span_);
    return token;
}

void calc_lexer::tellComment(AutomatObserver::Comment how) {
    if (!comment_)
        return;
    observer_->onComment(how, *comment_);
    comment_.reset();
}

// The state that counts is that from before the character is read: reading a line feed ends a line
// comment, which still swallows it.
AutomatToken calc_lexer::nextToken() {
    AutomatToken token = AutomatToken::End;
    for (;;) {
        bool const comment = inComment_;
        taken_.clear();
        if (peek(0) == endOfInput)
            return AutomatToken::End;
        if (comment) {
            skipComment();
            continue;
        }
        tellComment(AutomatObserver::Comment::ToLineEndDelivered);
        if (match(token))
            return token;
    }
}

void calc_lexer::skipComment() {
    bool const closed = peek(0) == '*' && peek(1) == '/';
    if (closed)
        inComment_ = false;
    take(closed ? 2 : 1);
    if (!comment_)
        return;
    comment_->end = span_.end;
    if (closed)
        tellComment(AutomatObserver::Comment::Closed);
    else if (!inComment_ && aheadUsed_ == ahead_.size())
        tellComment(AutomatObserver::Comment::ToLineEnd);
}

/// False when what stands here is no token.
bool calc_lexer::match(AutomatToken & token) {
    int const first = peek(0);
    if (first == '/' && matchComment())
        return false;
    if ((isDigit(first) || first == '-' || first == '.') && matchNumber(token, first))
        return true;
    if (first == '"' && matchString(token))
        return true;
    if (first == '\'' && matchName(token))
        return true;
    if (startsWord(first))
        return matchWord(token);
    if (first == '#' && matchInclude(token))
        return true;
    if (matchOperator(token, first))
        return true;
    take(1);
    if (observer_ && first != ' ' && first != '\t')
        observer_->onDropped(static_cast<char>(first), span_.begin);
    return false;
}

bool calc_lexer::matchComment() {
    int const second = peek(1);
    if (second != '/' && second != '*')
        return false;
    lineComment_ = lineComment_ || second == '/';
    inComment_ = true;
    take(2);
    if (observer_)
        comment_ = span_;
    return true;
}

std::size_t calc_lexer::digits(std::size_t at) {
    while (isDigit(peek(at)))
        ++at;
    return at;
}

std::size_t calc_lexer::blanks(std::size_t at) {
    while (peek(at) == ' ')
        ++at;
    return at;
}

/// Behind an exponent that stands at `at`; `at` itself when there is none.
std::size_t calc_lexer::exponent(std::size_t at) {
    if (peek(at) != 'e' && peek(at) != 'E')
        return at;
    std::size_t const sign = peek(at + 1) == '+' || peek(at + 1) == '-' ? 1 : 0;
    std::size_t const begin = at + 1 + sign;
    std::size_t const end = digits(begin);
    return end > begin ? end : at;
}

AutomatToken calc_lexer::makeConstant(VariableVar const & value) {
    constant_ = TRef<D_Expression>(new D_Constant(value));
    return AutomatToken::Constant;
}

bool calc_lexer::matchNumber(AutomatToken & token, int first) {
    std::size_t const begin = first == '-' ? 1 : 0;
    std::size_t const whole = digits(begin);
    if (peek(whole) == '.') {
        std::size_t const fraction = digits(whole + 1);
        if (whole > begin || fraction > whole + 1) {
            std::string const text = take(exponent(fraction));
            token = makeConstant(static_cast<float>(gstr2d(text.c_str(), nullptr)));
            return true;
        }
    }
    if (whole == begin)
        return false;
    std::size_t const end = exponent(whole);
    // Two integers with blanks between them are a point.
    std::size_t const second = blanks(end);
    if (second > end) {
        std::size_t const secondBegin = peek(second) == '-' ? second + 1 : second;
        std::size_t const secondEnd = digits(secondBegin);
        if (secondEnd > secondBegin) {
            std::string const text = take(exponent(secondEnd));
            // Read like two decimal numbers: an exponent of the first ends the reading.
            int const y = end == whole ? toInt(text.c_str() + second) : 0;
            token = makeConstant(GPoint(toInt(text.c_str()), y));
            return true;
        }
    }
    token = makeConstant(toInt(take(end).c_str()));
    return true;
}

bool calc_lexer::matchString(AutomatToken & token) {
    std::size_t end = 1;
    while (isInString(peek(end)))
        ++end;
    if (peek(end) != '"')
        return false;
    std::string const text = take(end + 1);
    token = makeConstant(text.substr(1, end - 1).c_str());
    return true;
}

bool calc_lexer::matchName(AutomatToken & token) {
    std::size_t end = 1;
    if (!startsWord(peek(end)))
        return false;
    while (isWord(peek(end)))
        ++end;
    if (peek(end) != '\'')
        return false;
    std::string const text = take(end + 1);
    token = makeConstant(NameLinkID(text.substr(1, end - 1).c_str()));
    return true;
}

/// Behind an identifier that stands at `at`; a point may end it.
std::size_t calc_lexer::identifier(std::size_t at) {
    if (!startsWord(peek(at)))
        return at;
    for (;;) {
        while (isWord(peek(at)))
            ++at;
        if (peek(at) != '.')
            return at;
        ++at;
        if (!startsWord(peek(at)))
            return at;
    }
}

bool calc_lexer::matchWord(AutomatToken & token) {
    std::size_t const end = identifier(0);
    std::size_t const bracket = blanks(end);
    bool const call = peek(bracket) == '(';
    text_ = take(end);
    if (text_.size() > longestWord) {
        token = AutomatToken::Unreadable;
        return true;
    }
    if (call) {
        take(bracket - end + 1);
        token = text_ == "if"        ? AutomatToken::If
                : text_ == "doAfter" ? AutomatToken::DoAfter
                                     : AutomatToken::Call;
        return true;
    }
    token = text_ == "goto"     ? AutomatToken::Goto
            : text_ == "State"  ? AutomatToken::State
            : text_ == "Method" ? AutomatToken::Method
                                : AutomatToken::Identifier;
    return true;
}

bool calc_lexer::matchInclude(AutomatToken & token) {
    constexpr char keyword[] = "#include";
    constexpr std::size_t size = sizeof keyword - 1;
    for (std::size_t i = 0; i < size; ++i)
        if (peek(i) != keyword[i])
            return false;
    std::size_t const begin = blanks(size);
    std::size_t const end = begin > size ? identifier(begin) : begin;
    if (end == begin)
        return false;
    std::string const text = take(end);
    open(text.c_str() + begin);
    token = AutomatToken::Newline;
    return true;
}

bool calc_lexer::matchOperator(AutomatToken & token, int first) {
    struct Pair {
        char text[3];
        AutomatToken token;
    };
    constexpr Pair pairs[] = {{":=", AutomatToken::Declare},
                              {"==", AutomatToken::Equal},
                              {"!=", AutomatToken::NotEqual},
                              {"||", AutomatToken::Or},
                              {"&&", AutomatToken::And}};
    for (Pair const & pair : pairs) {
        if (first != pair.text[0] || peek(1) != pair.text[1])
            continue;
        take(2);
        token = pair.token;
        return true;
    }
    if (first == '\n') {
        take(1);
        token = AutomatToken::Newline;
        return true;
    }
    if (first == 0 || !std::strchr("=<>+-*/()[]{},", first))
        return false;
    take(1);
    token = static_cast<AutomatToken>(first);
    return true;
}

} // namespace Tavlin
