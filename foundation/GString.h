// The one string type: 8-bit text, one pointer wide, shared by reference count and copied on
// write. The pointer leads to the text; a header of three 32-bit words (references, length,
// capacity) stands in front of it, so that reading costs nothing and a string fits in a word.
// The empty string is one static block that is never counted down, so empty strings cost nothing.
//
// A `char const *` with a value below 0x10000 given to the constructor is no text but the number
// of a message, which is loaded through the functions given to AddLoadStringFunc.
#pragma once

#include "platform/Export.h"
#include "platform/SystemTypes.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>

class RegularExpression;

/// The text of the library: one word, copied on write, counted across threads.
class ONDREL_API GString {
  public:
    /// Loads text `id` into `buffer` of `size` bytes and returns its length; 0 when unknown.
    using LoadStringFunc = unsigned int (*)(unsigned int id, char * buffer, unsigned int size,
                                            void * data);

    GString() noexcept : text_(EmptyText()) {}
    GString(GString const & other) noexcept : text_(other.text_) {
        if (text_ != EmptyText()) // it is never freed, so nobody has to count on it
            Share(text_);
    }
    GString(GString && other) noexcept : text_(other.text_) { other.text_ = EmptyText(); }
    /// A copy of the text, empty for null; a value below 0x10000 is a message id.
    GString(char const * s);
    /// A copy of `n` bytes; empty when `s` is null or begins with a zero byte.
    GString(char const * s, unsigned int n);
    /// `n` times `c`; empty when either is zero.
    GString(char c, unsigned int n);
    /// The multibyte form of a text of 16-bit characters; empty when it does not convert.
    GString(unsigned short const * w);
    ~GString() { release(); }

    GString & operator=(GString const & other) noexcept;
    GString & operator=(GString && other) noexcept;
    GString & operator=(char const * s);
    GString & operator=(char c);
    /// The first `n` bytes of `s`, which may lie in this very string; empty when `s` is null.
    void assign(char const * s, unsigned int n);
    void empty();
    void Empty() { empty(); }

    /// The text, terminated; valid until the string changes.
    char const * c_str() const { return text_; }
    unsigned int length() const { return header()->length; }
    bool isEmpty() const { return length() == 0; }

    /// Character `i`, unchecked.
    char at(unsigned int i) const { return text_[i]; }
    /// Stores `c`; ignored past the end. A zero byte cuts the string there.
    void at(unsigned int i, char c);

    GString & operator+=(GString const & other);
    GString & operator+=(char const * s);
    GString & operator+=(char c);
    GString & operator*=(unsigned int n);
    GString operator+(GString const & other) const;
    GString operator+(char const * s) const;
    GString operator+(char c) const;
    GString operator*(unsigned int n) const;

    /// Cuts, or lengthens by `fill`.
    void setLength(unsigned int n, char fill = ' ');
    /// Only when the string is shorter.
    void expandTo(unsigned int n, char fill = ' ');
    /// Lengthens by blanks, or cuts for a negative `delta`.
    void grow(int delta);

    /// A position past the end first pads with blanks.
    void insert(unsigned int pos, char const * s, unsigned int n);
    void insert(unsigned int pos, char c);
    void insert(unsigned int pos, char const * s);
    void insert(unsigned int pos, GString const & s);
    /// Removes from `from` up to but excluding `to`.
    void remove(unsigned int from, unsigned int to = 0x7FFFFFFF);
    /// Keeps only that range.
    void extract(unsigned int from, unsigned int to);
    void extract(unsigned int from);
    void replace(unsigned int from, unsigned int to, char const * with);
    void replace(unsigned int from, unsigned int to, GString const & with);
    /// Replaces the first occurrence, or all, each search going on behind the inserted text; the
    /// place of the last replacement, or -1. An empty text is found nowhere, a null argument gives
    /// -1; for a pattern null is an empty replacement.
    int replace(char const * what, char const * with, bool all = false);
    int replace(GString const & what, char const * with, bool all = false);
    int replace(RegularExpression const & what, char const * with, bool all = false);
    /// Each character of `from` becomes the one of `to` at the same place, where there is one.
    void translate(char const * from, char const * to);
    void translate(char from, char to);
    /// Each tab becomes `tab` blanks; there are no tab stops.
    void detab(unsigned int tab);
    unsigned int char_count(char c) const;

    /// Take away from the left end, the right end or both, as long as they stand there: the
    /// character, any of `set` (null takes none), or what `drop` says yes to.
    void ltrim(char c = ' ');
    void rtrim(char c = ' ');
    void trim(char c = ' ');
    void ltrim(char const * set);
    void rtrim(char const * set);
    void trim(char const * set);
    void ltrim(bool (*drop)(char));
    void rtrim(bool (*drop)(char));
    void trim(bool (*drop)(char));

    /// By the locale of the C library, byte by byte; the static forms in place, null is tolerated.
    void toLower() { changeCase(ToLower); }
    void toUpper() { changeCase(ToUpper); }
    static void ToLower(char * s);
    static void ToUpper(char * s);
    /// The difference of the lower-cased bytes where the two first differ; 0 when they do not. Null
    /// counts as empty.
    static int UCcompare(char const * a, char const * b);

    /// Parts as texts of their own: to the end, or `count` characters. What reaches past the end is
    /// cut, and a part that begins there is empty.
    GString substr(unsigned int from) const;
    GString substr(unsigned int from, unsigned int count) const;
    GString operator()(unsigned int from) const { return substr(from); }
    GString operator()(unsigned int from, unsigned int count) const { return substr(from, count); }
    GString left(unsigned int n) const { return substr(0, n); }
    GString mid(unsigned int from) const { return substr(from); }
    GString mid(unsigned int from, unsigned int n) const { return substr(from, n); }
    GString right(unsigned int n) const;

    /// Cut the string to its `k`-th run, from 0, of characters inside, or outside, of `set`; empty
    /// when there are not so many.
    void segmentIncluding(char const * set, unsigned int k);
    void segmentExcluding(char const * set, unsigned int k);
    void segmentIncluding(char c, unsigned int k);
    void segmentExcluding(char c, unsigned int k);
    GString getSegmentIncluding(char const * set, unsigned int k) const;
    GString getSegmentExcluding(char const * set, unsigned int k) const;
    GString getSegmentIncluding(char c, unsigned int k) const;
    GString getSegmentExcluding(char c, unsigned int k) const;

    /// Room for `n` characters to write to, the old text gone; releaseBuffer ends the writing.
    char * getBuffer(unsigned int n);
    void releaseBuffer();
    void releaseBuffer(unsigned int n);
    void freeExtra();

    /// printf's language; the text is cut at 4095 characters.
    void format(char const * fmt, ...);
    void vformat(char const * fmt, va_list arguments);
    /// The same with message `id` as the format; empty when it is unknown.
    void format(unsigned int id, ...);
    void vformat(unsigned int id, va_list arguments);
    void format(HINSTANCE module, unsigned int id, ...);
    void vformat(HINSTANCE module, unsigned int id, va_list arguments);
    static GString Format(char const * fmt, ...);
    static GString Format(unsigned int id, ...);
    static GString Format(HINSTANCE module, unsigned int id, ...);

    /// Asks the load functions, the last registered first; false and empty when none knows `id`.
    bool loadString(unsigned int id);
    bool loadString(HINSTANCE module, unsigned int id);
    /// Null is ignored. Not locked: functions are registered before they are used.
    static void AddLoadStringFunc(LoadStringFunc function, void * data);

    /// The order is that of unsigned bytes.
    int compare(GString const & other) const;
    int compare(char const * other) const;
    friend bool operator==(GString const & a, GString const & b) {
        return a.text_ == b.text_ || a.compare(b) == 0;
    }
    friend bool operator==(GString const & a, char const * b) { return a.compare(b) == 0; }
    friend bool operator<(GString const & a, GString const & b) { return a.compare(b) < 0; }
    friend bool operator>(GString const & a, GString const & b) { return a.compare(b) > 0; }
    friend bool operator<=(GString const & a, GString const & b) { return a.compare(b) <= 0; }
    friend bool operator>=(GString const & a, GString const & b) { return a.compare(b) >= 0; }

  private:
    struct Header {
        std::int32_t references;
        std::uint32_t length;
        std::uint32_t capacity;
    };
    struct EmptyBlock {
        Header header;
        char text[4];
    };
    static EmptyBlock g_empty;
    static char * EmptyText() { return g_empty.text; }

    class Keeper;
    Header * header() const { return reinterpret_cast<Header *>(text_) - 1; }
    static char * Allocate(std::uint32_t capacity);
    static void Share(char * text) {
        std::atomic_ref(reinterpret_cast<Header *>(text)[-1].references)
            .fetch_add(1, std::memory_order_relaxed);
    }
    static void Release(char * text);
    void release() {
        if (text_ != EmptyText())
            Release(text_);
    }
    void allocate_buffer(std::uint64_t n, bool keep);
    void setEnd(unsigned int n);
    bool overlaps(char const * s) const;
    void append(char const * s, unsigned int n);
    void changeCase(void (*change)(char *));
    template <class Drop>
    void trimLeft(Drop drop);
    template <class Drop>
    void trimRight(Drop drop);
    template <class Find>
    int replaceMatches(Find find, char const * with, bool all);
    template <class Load>
    bool load(Load const & loader);
    void segment(char const * set, unsigned int k, bool including);

    char * text_;
};

static_assert(sizeof(GString) == sizeof(void *));

ONDREL_API GString operator+(char const * a, GString const & b);
ONDREL_API GString operator+(char a, GString const & b);

/// A copy in a new array that the caller frees with delete[]; null for null.
ONDREL_API char * gnewstr(char const * s);
/// strtod with a point as the decimal sign whatever the locale, which it leaves alone; `end`, which
/// may be null, receives where the number stopped.
ONDREL_API double gstr2d(char const * text, char ** end);
