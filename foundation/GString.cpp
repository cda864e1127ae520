// Blocks are one allocation: the header and the capacity behind it. Every change first makes sure
// of an unshared block with room (allocate_buffer); text that lies in the string's own block is
// kept alive meanwhile by an extra reference, which also forces the change onto a new block.
#include "foundation/GString.h"

#include "foundation/RegularExpression.h"
#include "platform/ModuleText.h"

#include <algorithm>
#include <cassert>
#include <cctype>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>
#include <utility>

namespace {

constexpr unsigned int formatLimit = 4096;
constexpr unsigned int loadStep = 256;
constexpr unsigned int longestMessage = 0x100000; // a load function that wants more is mistaken
constexpr unsigned int longestText = 0x7FFFFFE0;  // what the rule for the capacity can count
constexpr std::uintptr_t firstAddress = 0x10000;  // below it, a text pointer is a message id

constexpr unsigned int loaderDelta = 4;

struct Loader {
    GString::LoadStringFunc function;
    void * data;
};

// Plain words, so that messages can be asked for before this file has started and after it ended.
constinit Loader * g_loaders = nullptr;
constinit unsigned int g_loaderCount = 0;

struct LoaderKeeper {
    ~LoaderKeeper() {
        g_loaderCount = 0;
        delete[] std::exchange(g_loaders, nullptr);
    }
};

unsigned int lengthOf(char const * s) {
    std::size_t const length = s ? std::strlen(s) : 0;
    if (length > longestText)
        throw std::bad_alloc();
    return static_cast<unsigned int>(length);
}

unsigned char lower(char c) {
    return static_cast<unsigned char>(std::tolower(static_cast<unsigned char>(c)));
}

} // namespace

constinit GString::EmptyBlock GString::g_empty = {{0, 0, 0}, {0, 0, 0, 0}};

/// Keeps a block alive, and shared, for as long as text inside of it is the source of a change.
class GString::Keeper {
  public:
    Keeper(GString const & owner, char const * source)
        : text_(owner.overlaps(source) ? owner.text_ : nullptr) {
        if (text_)
            Share(text_);
    }
    ~Keeper() {
        if (text_ && text_ != EmptyText())
            Release(text_);
    }
    Keeper(Keeper const &) = delete;
    Keeper & operator=(Keeper const &) = delete;

  private:
    char * text_;
};

char * GString::Allocate(std::uint32_t capacity) {
    auto * const header = static_cast<Header *>(::operator new(sizeof(Header) + capacity));
    *header = {1, 0, capacity};
    char * const text = reinterpret_cast<char *>(header + 1);
    *text = '\0';
    return text;
}

void GString::Release(char * text) {
    Header * const header = reinterpret_cast<Header *>(text) - 1;
    if (std::atomic_ref(header->references).fetch_sub(1, std::memory_order_acq_rel) == 1)
        ::operator delete(header);
}

// An unshared block with room stays as it is; anything else moves to a new block, whose capacity
// is the next multiple of 16.
void GString::allocate_buffer(std::uint64_t n, bool keep) {
    Header const & old = *header();
    if (std::atomic_ref(header()->references).load(std::memory_order_acquire) == 1 &&
        n < old.capacity)
        return;
    if (n > longestText)
        throw std::bad_alloc();
    std::uint32_t const capacity = ((static_cast<std::uint32_t>(n) + 1) & 0x7FFFFFF0u) + 16;
    char * const text = Allocate(capacity);
    if (keep) {
        std::uint32_t const length = std::min(old.length, capacity - 1);
        std::memcpy(text, text_, length);
        text[length] = '\0';
        (reinterpret_cast<Header *>(text) - 1)->length = length;
    }
    release();
    text_ = text;
}

void GString::setEnd(unsigned int n) {
    header()->length = n;
    text_[n] = '\0';
}

bool GString::overlaps(char const * s) const {
    auto const at = reinterpret_cast<std::uintptr_t>(s);
    auto const begin = reinterpret_cast<std::uintptr_t>(text_);
    return at >= begin && at <= begin + length();
}

GString::GString(char const * s) : GString() {
    auto const value = reinterpret_cast<std::uintptr_t>(s);
    if (value && value < firstAddress)
        loadString(static_cast<unsigned int>(value));
    else if (s)
        assign(s, lengthOf(s));
}

GString::GString(char const * s, unsigned int n) : GString() {
    if (s && *s)
        assign(s, n);
}

GString::GString(char c, unsigned int n) : GString() {
    if (c)
        setLength(n, c);
}

GString::GString(unsigned short const * w) : GString() {
    if (!w || !*w)
        return;
    std::mbstate_t state{};
    char piece[MB_LEN_MAX > 16 ? MB_LEN_MAX : 16];
    std::string text;
    for (; *w; ++w) {
        std::uint32_t code = *w;
        // Where a wide character holds it, a pair of surrogates is one.
        if (sizeof(wchar_t) > 2 && (code & 0xFC00) == 0xD800 && (w[1] & 0xFC00) == 0xDC00)
            code = 0x10000 + ((code & 0x3FF) << 10) + (*++w & 0x3FFu);
        std::size_t const count = std::wcrtomb(piece, static_cast<wchar_t>(code), &state);
        if (count == static_cast<std::size_t>(-1))
            return;
        text.append(piece, count);
    }
    assign(text.c_str(), static_cast<unsigned int>(text.size()));
}

GString & GString::operator=(GString const & other) noexcept {
    GString copy(other);
    std::swap(text_, copy.text_);
    return *this;
}

GString & GString::operator=(GString && other) noexcept {
    std::swap(text_, other.text_);
    return *this;
}

GString & GString::operator=(char const * s) {
    assign(s, lengthOf(s));
    return *this;
}

GString & GString::operator=(char c) {
    assign(&c, c ? 1 : 0);
    return *this;
}

void GString::assign(char const * s, unsigned int n) {
    if (!s || n == 0) {
        empty();
        return;
    }
    Keeper const keeper(*this, s);
    allocate_buffer(n, false);
    std::memcpy(text_, s, n);
    setEnd(n);
}

void GString::empty() {
    release();
    text_ = EmptyText();
}

void GString::at(unsigned int i, char c) {
    if (i >= length() || text_[i] == c)
        return;
    allocate_buffer(length(), true);
    text_[i] = c;
    if (c == '\0')
        header()->length = i;
}

void GString::append(char const * s, unsigned int n) {
    if (n == 0)
        return;
    Keeper const keeper(*this, s);
    unsigned int const old = length();
    allocate_buffer(std::uint64_t(old) + n, true);
    std::memcpy(text_ + old, s, n);
    setEnd(old + n);
}

GString & GString::operator+=(GString const & other) {
    if (this == &other)
        return *this *= 2;
    append(other.text_, other.length());
    return *this;
}

GString & GString::operator+=(char const * s) {
    append(s, lengthOf(s));
    return *this;
}

GString & GString::operator+=(char c) {
    append(&c, c ? 1 : 0);
    return *this;
}

GString & GString::operator*=(unsigned int n) {
    if (n == 0) {
        empty();
        return *this;
    }
    unsigned int const piece = length();
    if (piece == 0 || n == 1)
        return *this;
    allocate_buffer(std::uint64_t(piece) * n, true);
    for (unsigned int i = 1; i < n; ++i)
        std::memcpy(text_ + i * piece, text_, piece);
    setEnd(piece * n);
    return *this;
}

GString GString::operator+(GString const & other) const {
    GString result(*this);
    result.append(other.text_, other.length());
    return result;
}

GString GString::operator+(char const * s) const {
    GString result(*this);
    result += s;
    return result;
}

GString GString::operator+(char c) const {
    GString result(*this);
    result += c;
    return result;
}

GString GString::operator*(unsigned int n) const {
    GString result(*this);
    result *= n;
    return result;
}

GString operator+(char const * a, GString const & b) {
    GString result(a);
    result += b;
    return result;
}

GString operator+(char a, GString const & b) {
    GString result(a, 1);
    result += b;
    return result;
}

void GString::setLength(unsigned int n, char fill) {
    unsigned int const old = length();
    if (n == old)
        return;
    if (n == 0) {
        empty();
        return;
    }
    allocate_buffer(n, true);
    // Nothing longer has passed allocate_buffer, which the compiler cannot see on 32 bits.
    if (n > old)
        std::memset(text_ + old, fill, std::min(n, longestText) - old);
    setEnd(n);
}

void GString::expandTo(unsigned int n, char fill) {
    if (length() < n)
        setLength(n, fill);
}

void GString::grow(int delta) {
    if (delta > 0)
        expandTo(length() + static_cast<unsigned int>(delta), ' ');
    else if (unsigned int const cut = 0u - static_cast<unsigned int>(delta); cut > length())
        empty();
    else
        setLength(length() - cut, ' ');
}

void GString::insert(unsigned int pos, char const * s, unsigned int n) {
    if (!s || n == 0)
        return;
    Keeper const keeper(*this, s);
    unsigned int const old = length();
    allocate_buffer(std::uint64_t(std::max(pos, old)) + n, true);
    if (pos > old)
        std::memset(text_ + old, ' ', pos - old);
    else
        std::memmove(text_ + pos + n, text_ + pos, old - pos);
    setEnd(std::max(pos, old) + n);
    std::memcpy(text_ + pos, s, n);
}

void GString::insert(unsigned int pos, char c) {
    insert(pos, &c, c ? 1 : 0);
}

void GString::insert(unsigned int pos, char const * s) {
    insert(pos, s, lengthOf(s));
}

void GString::insert(unsigned int pos, GString const & s) {
    insert(pos, s.text_, s.length());
}

void GString::remove(unsigned int from, unsigned int to) {
    unsigned int const old = length();
    to = std::min(to, old);
    if (from >= to)
        return;
    allocate_buffer(old, true);
    std::memmove(text_ + from, text_ + to, old - to);
    setEnd(old - (to - from));
}

void GString::extract(unsigned int from, unsigned int to) {
    remove(to);
    remove(0, from);
}

void GString::extract(unsigned int from) {
    remove(0, from);
}

void GString::replace(unsigned int from, unsigned int to, char const * with) {
    Keeper const keeper(*this, with);
    remove(from, to);
    insert(from, with);
}

void GString::replace(unsigned int from, unsigned int to, GString const & with) {
    GString const kept(with);
    remove(from, to);
    insert(from, kept);
}

/// `find` looks for the next match in a text and tells where it is and how long. The result is put
/// together aside, in one pass, so that many replacements in a long text stay cheap.
template <class Find>
int GString::replaceMatches(Find find, char const * with, bool all) {
    GString const source(*this); // also keeps alive what `find` and `with` may have of this text
    std::size_t const withLength = lengthOf(with);
    std::string result;
    int last = -1;
    unsigned int from = 0, start = 0, count = 0;
    while (from < source.length() && find(source.text_ + from, start, count)) {
        result.append(source.text_ + from, start);
        last = static_cast<int>(result.size());
        result.append(with, withLength);
        from += start + count;
        if (!all)
            break;
        // A match of nothing must not be found again at the same place.
        if (count == 0 && from < source.length())
            result += source.text_[from++];
    }
    if (last < 0)
        return -1;
    result.append(source.text_ + from, source.length() - from);
    if (result.size() > longestText)
        throw std::bad_alloc();
    assign(result.data(), static_cast<unsigned int>(result.size()));
    return last;
}

int GString::replace(char const * what, char const * with, bool all) {
    unsigned int const length = lengthOf(what);
    if (!what || !with || length == 0)
        return -1;
    return replaceMatches(
        [&](char const * text, unsigned int & start, unsigned int & count) {
            char const * const found = std::strstr(text, what);
            start = found ? static_cast<unsigned int>(found - text) : 0;
            count = length;
            return found != nullptr;
        },
        with, all);
}

int GString::replace(GString const & what, char const * with, bool all) {
    return replace(what.text_, with, all);
}

int GString::replace(RegularExpression const & what, char const * with, bool all) {
    return replaceMatches(
        [&](char const * text, unsigned int & start, unsigned int & count) {
            int at = 0, size = 0;
            bool const found = what.index(text, at, size);
            start = static_cast<unsigned int>(at);
            count = static_cast<unsigned int>(size);
            return found;
        },
        with ? with : "", all);
}

void GString::translate(char const * from, char const * to) {
    if (!from || !to)
        return;
    unsigned int const known = lengthOf(to);
    for (unsigned int i = 0; i < length(); ++i) {
        char const * const found = std::strchr(from, text_[i]);
        if (found && static_cast<unsigned int>(found - from) < known)
            at(i, to[found - from]);
    }
}

void GString::translate(char from, char to) {
    for (unsigned int i = 0; i < length(); ++i)
        if (text_[i] == from)
            at(i, to);
}

void GString::detab(unsigned int tab) {
    GString const blanks(' ', tab);
    replace("\t", blanks.text_, true);
}

unsigned int GString::char_count(char c) const {
    return static_cast<unsigned int>(std::count(text_, text_ + length(), c));
}

template <class Drop>
void GString::trimLeft(Drop drop) {
    unsigned int n = 0;
    while (n < length() && drop(text_[n]))
        ++n;
    remove(0, n);
}

template <class Drop>
void GString::trimRight(Drop drop) {
    unsigned int n = length();
    while (n > 0 && drop(text_[n - 1]))
        --n;
    remove(n);
}

void GString::ltrim(char c) {
    trimLeft([c](char x) { return x == c; });
}

void GString::rtrim(char c) {
    trimRight([c](char x) { return x == c; });
}

void GString::trim(char c) {
    rtrim(c);
    ltrim(c);
}

void GString::ltrim(char const * set) {
    if (set)
        trimLeft([set](char x) { return std::strchr(set, x) != nullptr; });
}

void GString::rtrim(char const * set) {
    if (set)
        trimRight([set](char x) { return std::strchr(set, x) != nullptr; });
}

void GString::trim(char const * set) {
    rtrim(set);
    ltrim(set);
}

void GString::ltrim(bool (*drop)(char)) {
    trimLeft(drop);
}

void GString::rtrim(bool (*drop)(char)) {
    trimRight(drop);
}

void GString::trim(bool (*drop)(char)) {
    rtrim(drop);
    ltrim(drop);
}

void GString::changeCase(void (*change)(char *)) {
    if (isEmpty())
        return;
    allocate_buffer(length(), true);
    change(text_);
}

void GString::ToLower(char * s) {
    for (; s && *s; ++s)
        *s = static_cast<char>(lower(*s));
}

void GString::ToUpper(char * s) {
    for (; s && *s; ++s)
        *s = static_cast<char>(std::toupper(static_cast<unsigned char>(*s)));
}

int GString::UCcompare(char const * a, char const * b) {
    a = a ? a : "";
    b = b ? b : "";
    while (*a && lower(*a) == lower(*b)) {
        ++a;
        ++b;
    }
    return lower(*a) - lower(*b);
}

GString GString::substr(unsigned int from) const {
    GString result(*this);
    result.extract(from);
    return result;
}

GString GString::substr(unsigned int from, unsigned int count) const {
    GString result(*this);
    unsigned int const rest = length() - std::min(from, length());
    result.extract(from, from + std::min(count, rest));
    return result;
}

GString GString::right(unsigned int n) const {
    return n >= length() ? *this : substr(length() - n);
}

// The text is seen as runs of characters outside and inside of `set` by turns.
void GString::segment(char const * set, unsigned int k, bool including) {
    if (!set || isEmpty())
        return;
    auto const outside = including ? std::strcspn : std::strspn;
    auto const inside = including ? std::strspn : std::strcspn;
    char const * at = text_ + outside(text_, set);
    for (; k > 0 && *at; --k) {
        at += inside(at, set);
        at += outside(at, set);
    }
    auto const from = static_cast<unsigned int>(at - text_);
    extract(from, from + static_cast<unsigned int>(inside(at, set)));
}

void GString::segmentIncluding(char const * set, unsigned int k) {
    segment(set, k, true);
}

void GString::segmentExcluding(char const * set, unsigned int k) {
    segment(set, k, false);
}

void GString::segmentIncluding(char c, unsigned int k) {
    char const set[2] = {c, '\0'};
    segment(set, k, true);
}

void GString::segmentExcluding(char c, unsigned int k) {
    char const set[2] = {c, '\0'};
    segment(set, k, false);
}

GString GString::getSegmentIncluding(char const * set, unsigned int k) const {
    GString result(*this);
    result.segmentIncluding(set, k);
    return result;
}

GString GString::getSegmentExcluding(char const * set, unsigned int k) const {
    GString result(*this);
    result.segmentExcluding(set, k);
    return result;
}

GString GString::getSegmentIncluding(char c, unsigned int k) const {
    GString result(*this);
    result.segmentIncluding(c, k);
    return result;
}

GString GString::getSegmentExcluding(char c, unsigned int k) const {
    GString result(*this);
    result.segmentExcluding(c, k);
    return result;
}

char * GString::getBuffer(unsigned int n) {
    allocate_buffer(n, false);
    return text_;
}

void GString::releaseBuffer() {
    Header const & block = *header();
    void const * const end = std::memchr(text_, '\0', block.capacity);
    if (end)
        releaseBuffer(static_cast<unsigned int>(static_cast<char const *>(end) - text_));
    else if (block.capacity > 0)
        releaseBuffer(block.capacity - 1);
}

void GString::releaseBuffer(unsigned int n) {
    if (text_ != EmptyText()) {
        assert(n < header()->capacity);
        setEnd(n);
    }
    freeExtra();
}

void GString::freeExtra() {
    if (isEmpty())
        empty();
    else
        allocate_buffer(length(), true);
}

void GString::vformat(char const * fmt, va_list arguments) {
    char area[formatLimit];
    if (!fmt || std::vsnprintf(area, sizeof area, fmt, arguments) < 0)
        area[0] = '\0';
    *this = static_cast<char const *>(area);
}

void GString::vformat(unsigned int id, va_list arguments) {
    GString fmt;
    if (fmt.loadString(id))
        vformat(fmt.c_str(), arguments);
    else
        empty();
}

void GString::vformat(HINSTANCE module, unsigned int id, va_list arguments) {
    GString fmt;
    if (fmt.loadString(module, id))
        vformat(fmt.c_str(), arguments);
    else
        empty();
}

void GString::format(char const * fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    vformat(fmt, arguments);
    va_end(arguments);
}

void GString::format(unsigned int id, ...) {
    va_list arguments;
    va_start(arguments, id);
    vformat(id, arguments);
    va_end(arguments);
}

void GString::format(HINSTANCE module, unsigned int id, ...) {
    va_list arguments;
    va_start(arguments, id);
    vformat(module, id, arguments);
    va_end(arguments);
}

GString GString::Format(char const * fmt, ...) {
    GString result;
    va_list arguments;
    va_start(arguments, fmt);
    result.vformat(fmt, arguments);
    va_end(arguments);
    return result;
}

GString GString::Format(unsigned int id, ...) {
    GString result;
    va_list arguments;
    va_start(arguments, id);
    result.vformat(id, arguments);
    va_end(arguments);
    return result;
}

GString GString::Format(HINSTANCE module, unsigned int id, ...) {
    GString result;
    va_list arguments;
    va_start(arguments, id);
    result.vformat(module, id, arguments);
    va_end(arguments);
    return result;
}

// A loader cuts what does not fit, so less than three bytes to spare mean that more may follow.
/// A text that leaves fewer than three bytes free may have been cut, so it is loaded again with
/// more room.
template <class Load>
bool GString::load(Load const & loader) {
    empty();
    char first[loadStep];
    unsigned int size = loadStep;
    unsigned int length = loader(first, size);
    if (length < size - 2) {
        assign(first, length);
        return length > 0;
    }
    do {
        size += loadStep;
        if (size > longestMessage) {
            empty();
            return false;
        }
        length = loader(getBuffer(size), size);
    } while (length >= size - 2);
    releaseBuffer(length);
    return length > 0;
}

bool GString::loadString(unsigned int id) {
    for (unsigned int i = g_loaderCount; i-- > 0;) {
        Loader const entry = g_loaders[i];
        if (load([&](char * buffer, unsigned int size) {
                return entry.function(id, buffer, size, entry.data);
            }))
            return true;
    }
    empty();
    return false;
}

bool GString::loadString(HINSTANCE module, unsigned int id) {
    return load([&](char * buffer, unsigned int size) {
        return platform::moduleString(module, id, buffer, size);
    });
}

void GString::AddLoadStringFunc(LoadStringFunc function, void * data) {
    static LoaderKeeper const keeper;
    if (!function)
        return;
    if (g_loaderCount % loaderDelta == 0) {
        Loader * const more = new Loader[g_loaderCount + loaderDelta];
        std::copy_n(g_loaders, g_loaderCount, more);
        delete[] std::exchange(g_loaders, more);
    }
    g_loaders[g_loaderCount++] = {function, data};
}

int GString::compare(GString const & other) const {
    unsigned int const common = std::min(length(), other.length());
    int const order = std::memcmp(text_, other.text_, common);
    if (order != 0)
        return order;
    return length() < other.length() ? -1 : length() > other.length();
}

int GString::compare(char const * other) const {
    return std::strcmp(text_, other ? other : "");
}

char * gnewstr(char const * s) {
    if (!s)
        return nullptr;
    std::size_t const size = std::strlen(s) + 1;
    return static_cast<char *>(std::memcpy(new char[size], s, size));
}

double gstr2d(char const * text, char ** end) {
    char * stop = nullptr;
    double value = std::strtod(text, &stop);
    char const * const point = *stop == '.' ? std::localeconv()->decimal_point : ".";
    if (std::strcmp(point, ".") != 0 && !std::memchr(text, '.', std::size_t(stop - text))) {
        // The number once more with the locale's own sign: the locale belongs to the whole process
        // and is not ours to change, even for a moment.
        std::string number(text, std::size_t(stop - text));
        std::size_t const whole = number.size();
        number += point;
        std::size_t const behindPoint = number.size();
        number.append(stop + 1, std::strspn(stop + 1, "0123456789abcdefABCDEFpPxX+-"));
        char * further = nullptr;
        double const again = std::strtod(number.c_str(), &further);
        auto const used = static_cast<std::size_t>(further - number.c_str());
        if (used > whole) {
            value = again;
            stop += 1 + (used - behindPoint);
        }
    }
    if (end)
        *end = stop;
    return value;
}
