// Strings: sharing and copying on write, the block in front of the text, editing against a plain
// model, the message table and the number helpers.
#include "foundation/GString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Header {
    std::int32_t references;
    std::uint32_t length, capacity;
};

/// The three words that stand in front of the text.
Header headerOf(GString const & string) {
    Header header;
    std::memcpy(&header, string.c_str() - sizeof header, sizeof header);
    return header;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string trimmed(char const * text, void (*change)(GString &)) {
    GString string(text);
    change(string);
    return string.c_str();
}

struct Source {
    std::string text;
    int calls = 0;
};

/// Knows text 700 only, and copies what fits, as a string resource does.
unsigned int loadFrom(unsigned int id, char * buffer, unsigned int size, void * data) {
    auto & source = *static_cast<Source *>(data);
    ++source.calls;
    if (id != 700)
        return 0;
    std::size_t const count = std::min<std::size_t>(source.text.size(), size - 1);
    std::memcpy(buffer, source.text.c_str(), count);
    buffer[count] = '\0';
    return static_cast<unsigned int>(count);
}

/// Load functions cannot be taken back, so all tests share these two.
Source & earlierSource() {
    static Source source;
    static bool const once = (GString::AddLoadStringFunc(loadFrom, &source), true);
    static_cast<void>(once);
    return source;
}

} // namespace

TEST(GString, ACopySharesItsBlockUntilOneIsWritten) {
    GString a("door");
    GString b(a);
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_EQ(headerOf(a).references, 2);
    b.at(1, 'e');
    EXPECT_STREQ(a.c_str(), "door");
    EXPECT_STREQ(b.c_str(), "deor");
    EXPECT_EQ(headerOf(a).references, 1);
    GString c(a);
    c.at(2, '\0'); // cuts the copy only
    EXPECT_EQ(c.length(), 2u);
    EXPECT_EQ(a.length(), 4u);
    a.at(4, 'x'); // behind the end
    EXPECT_STREQ(a.c_str(), "door");
}

TEST(GString, TheEmptyBlockStaysAsItIs) {
    GString empty;
    GString source;
    GString const copy(source);
    source += "text";
    EXPECT_TRUE(copy.isEmpty());
    for (GString const & string : {GString(""), GString(static_cast<char const *>(nullptr)),
                                   GString("abc", 0), GString('x', 0), GString('\0', 5)})
        EXPECT_EQ(string.c_str(), empty.c_str());
    Header const header = headerOf(empty);
    EXPECT_EQ(header.length, 0u);
    EXPECT_EQ(header.capacity, 0u);
    EXPECT_EQ(*empty.c_str(), '\0');
}

TEST(GString, RoomGrowsInStepsOfSixteen) {
    for (auto const & [length, capacity] :
         {std::pair(1u, 16u), {14u, 16u}, {15u, 32u}, {16u, 32u}, {30u, 32u}, {31u, 48u}})
        EXPECT_EQ(headerOf(GString('x', length)).capacity, capacity) << length;
    GString string('x', 100);
    string.setLength(3);
    string.freeExtra();
    EXPECT_EQ(headerOf(string).capacity, 112u) << "a block of one's own keeps its room";
    GString other(string);
    other.freeExtra();
    EXPECT_EQ(headerOf(other).capacity, 16u) << "a shared one does not";
}

TEST(GString, TextOfTheOwnBlockIsASafeSource) {
    GString string("abcdef");
    string = string.c_str() + 2;
    EXPECT_STREQ(string.c_str(), "cdef");
    string += string;
    EXPECT_STREQ(string.c_str(), "cdefcdef");
    string += string.c_str() + 6;
    EXPECT_STREQ(string.c_str(), "cdefcdefef");
    string.insert(1, string.c_str() + 8);
    EXPECT_STREQ(string.c_str(), "cefdefcdefef");
    string.insert(0, string);
    EXPECT_EQ(string.length(), 24u);
    string.replace(0, 22, string.c_str() + 21);
    EXPECT_STREQ(string.c_str(), "fefef");
    EXPECT_EQ(string.replace(string.c_str() + 3, string.c_str(), true), 6);
    EXPECT_STREQ(string.c_str(), "ffefeffefef") << "ef twice, each by the whole";
    string = string;
    EXPECT_EQ(string.length(), 11u);
}

TEST(GString, LengthsThatCannotBeFailAndChangeNothing) {
    GString string("0123456789abcdef");
    EXPECT_THROW(string *= 0x10000000u, std::bad_alloc); // would wrap to 0
    EXPECT_THROW(string *= 0x10000001u, std::bad_alloc);
    EXPECT_THROW(string.insert(std::numeric_limits<unsigned int>::max(), "x"), std::bad_alloc);
    EXPECT_THROW(string.setLength(0x7FFFFFF0u), std::bad_alloc);
    EXPECT_STREQ(string.c_str(), "0123456789abcdef");
    string.grow(std::numeric_limits<int>::min());
    EXPECT_TRUE(string.isEmpty());
}

TEST(GString, OrderIsByUnsignedBytes) {
    GString const a("ab"), b("a\xE9"), c("abc");
    EXPECT_LT(a, b);
    EXPECT_LT(a, c);
    EXPECT_GT(b, c);
    EXPECT_TRUE(GString() == static_cast<char const *>(nullptr));
    EXPECT_TRUE("ab" == a && a == "ab" && "abc" != a && a != c);
    EXPECT_EQ(GString::UCcompare("DoOr", "dOoR"), 0);
    EXPECT_EQ(GString::UCcompare("A", "c"), 'a' - 'c');
    EXPECT_GT(GString::UCcompare("ab", "A"), 0);
}

TEST(GString, ReplacingGoesOnBehindWhatItInserted) {
    struct {
        char const *text, *what, *with;
        bool all;
        int place;
        char const * result;
    } const cases[] = {
        {"aa", "a", "aa", true, 2, "aaaa"},    {"aa", "a", "aa", false, 0, "aaa"},
        {"abcabc", "bc", "", true, 2, "aa"},   {"aaa", "aa", "b", true, 0, "ba"},
        {"abc", "x", "y", true, -1, "abc"},    {"abc", nullptr, "y", true, -1, "abc"},
        {"abc", "a", nullptr, true, -1, "abc"}};
    for (auto const & test : cases) {
        GString string(test.text);
        EXPECT_EQ(string.replace(test.what, test.with, test.all), test.place) << test.text;
        EXPECT_STREQ(string.c_str(), test.result);
    }
}

TEST(GString, SegmentsAreCountedRuns) {
    struct {
        unsigned int k;
        char const *excluding, *including;
    } const cases[] = {{0, "one", ", "},
                       {1, "two", ";;"},
                       {2, "three", ""},
                       {3, "", ""},
                       {std::numeric_limits<unsigned int>::max(), "", ""}};
    GString const list("one, two;;three");
    for (auto const & test : cases) {
        EXPECT_STREQ(list.getSegmentExcluding(",; ", test.k).c_str(), test.excluding) << test.k;
        EXPECT_STREQ(list.getSegmentIncluding(",; ", test.k).c_str(), test.including) << test.k;
    }
    EXPECT_STREQ(GString("/usr/lib").getSegmentExcluding('/', 0).c_str(), "usr");
    EXPECT_STREQ(GString("a//b").getSegmentIncluding('/', 0).c_str(), "//");
}

TEST(GString, EditsByTheirRules) {
    EXPECT_EQ(trimmed("  \tx y ", [](GString & s) { s.trim(isBlank); }), "x y");
    EXPECT_EQ(trimmed("..x!.", [](GString & s) { s.trim(".!"); }), "x");
    EXPECT_EQ(trimmed("--x--", [](GString & s) { s.ltrim('-'); }), "x--");
    EXPECT_EQ(trimmed(" x ", [](GString & s) { s.trim(static_cast<char const *>(nullptr)); }),
              " x ");
    EXPECT_EQ(trimmed("a\tb\t", [](GString & s) { s.detab(3); }), "a   b   ");
    EXPECT_EQ(trimmed("abcab", [](GString & s) { s.translate("abc", "xy"); }), "xycxy");
    EXPECT_EQ(trimmed("ab", [](GString & s) { s.insert(4, "cd"); }), "ab  cd");
    EXPECT_EQ(trimmed("abcdef", [](GString & s) { s.extract(2, 4); }), "cd");
    EXPECT_EQ(trimmed("abcdef", [](GString & s) { s.grow(-2); }), "abcd");
    EXPECT_EQ(trimmed("GrOw", [](GString & s) { s.toUpper(); }), "GROW");
    GString const text("abc");
    EXPECT_EQ(text.right(3).c_str(), text.c_str()) << "the whole shares the block";
    EXPECT_STREQ(text.right(2).c_str(), "bc");
    EXPECT_STREQ(text(1, std::numeric_limits<unsigned int>::max()).c_str(), "bc");
    EXPECT_STREQ(text.mid(9).c_str(), "");
    EXPECT_STREQ(('<' + text + '>').c_str(), "<abc>");
    EXPECT_STREQ(("x" + text * 2).c_str(), "xabcabc");
}

TEST(GString, AWrittenBufferEndsAtItsZero) {
    GString string("former text");
    std::strcpy(string.getBuffer(40), "new");
    string.releaseBuffer();
    EXPECT_EQ(string.length(), 3u);
    std::memcpy(string.getBuffer(6), "abcdef", 6);
    string.releaseBuffer(4);
    EXPECT_STREQ(string.c_str(), "abcd");
    string.getBuffer(8);
    string.releaseBuffer(0);
    EXPECT_EQ(string.c_str(), GString().c_str());
}

TEST(GString, RandomEditsAgreeWithAPlainModel) {
    std::mt19937 random(7);
    auto const below = [&](unsigned int n) { return static_cast<unsigned int>(random() % n); };
    GString string;
    std::string model;
    std::vector<std::pair<GString, std::string>> kept; // shared copies must not change
    for (int round = 0; round < 20000; ++round) {
        std::string const piece(below(20), static_cast<char>('a' + below(26)));
        auto const from = below(unsigned(model.size()) + 3), to = from + below(6);
        std::size_t const first = std::min<std::size_t>(from, model.size());
        switch (below(8)) {
            case 0:
                string += piece.c_str();
                model += piece;
                break;
            case 1:
                if (!piece.empty() && from > model.size())
                    model.resize(from, ' ');
                string.insert(from, piece.c_str());
                model.insert(std::min<std::size_t>(from, model.size()), piece);
                break;
            case 2:
                string.remove(from, to);
                model.erase(first, to - from);
                break;
            case 3:
                if (!piece.empty() && from > model.size())
                    model.resize(from, ' ');
                string.replace(from, to, piece.c_str());
                model.replace(std::min<std::size_t>(from, model.size()), to - from, piece);
                break;
            case 4:
                string.setLength(from, '#');
                model.resize(from, '#');
                break;
            case 5:
                string.at(from, '!');
                if (from < model.size())
                    model[from] = '!';
                break;
            case 6:
                kept.emplace_back(string, model);
                if (kept.size() > 8)
                    kept.erase(kept.begin() + below(8));
                break;
            case 7:
                if (model.size() > 200) {
                    string.extract(150);
                    model.erase(0, 150);
                }
                break;
        }
        ASSERT_EQ(string.c_str(), model) << "round " << round;
        ASSERT_EQ(string.length(), model.size());
        ASSERT_LT(string.length(), headerOf(string).capacity + (model.empty() ? 1 : 0));
        for (auto const & [copy, text] : kept)
            ASSERT_EQ(copy.c_str(), text) << "round " << round;
    }
}

TEST(GString, CopiesMayBeMadeAndDroppedOnManyThreads) {
    GString const shared("shared text");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&shared] {
            for (int round = 0; round < 20000; ++round) {
                GString copy(shared);
                GString second;
                second = copy;
                copy += 'x';
            }
        });
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(headerOf(shared).references, 1);
    EXPECT_STREQ(shared.c_str(), "shared text");
}

TEST(GString, FormattingIsCutAndMayUseItsOwnText) {
    GString string("seven");
    string.format("%s %d", string.c_str(), 7);
    EXPECT_STREQ(string.c_str(), "seven 7");
    string.format("%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(string.length(), 4095u);
    EXPECT_STREQ(GString::Format("%c%s", 'a', "b").c_str(), "ab");
    string.format(701u, 1);
    EXPECT_TRUE(string.isEmpty()) << "nobody knows message 701";
}

TEST(GString, MessagesComeFromTheLatestFunctionThatKnowsThem) {
    static Source later;
    Source & earlier = earlierSource();
    earlier.text = "earlier %d";
    GString::AddLoadStringFunc(nullptr, nullptr);
    char const * const id = reinterpret_cast<char const *>(700);
    EXPECT_STREQ(GString(id).c_str(), "earlier %d");
    EXPECT_STREQ(GString::Format(700u, 5).c_str(), "earlier 5");
    GString::AddLoadStringFunc(loadFrom, &later);
    later.text = "later";
    EXPECT_STREQ(GString(id).c_str(), "later");
    later.text.clear();
    EXPECT_STREQ(GString(id).c_str(), "earlier %d") << "0 means that it is not known";
    EXPECT_TRUE(GString(reinterpret_cast<char const *>(14999)).isEmpty());
}

TEST(GString, LongMessagesAreLoadedAgainWithMoreRoom) {
    Source & source = earlierSource();
    for (unsigned int const length : {253u, 254u, 255u, 256u, 509u, 510u, 700u, 5000u}) {
        source.text.assign(length, 'm');
        source.calls = 0;
        GString string;
        ASSERT_TRUE(string.loadString(700u));
        EXPECT_EQ(string.length(), length);
        // Fewer than three bytes free in the last round ask for another one.
        EXPECT_EQ(source.calls, int(length + 2) / 256 + 1) << length;
    }
    source.text.clear();
}

TEST(GString, ALoaderThatAlwaysWantsMoreIsGivenUp) {
    static bool active = true;
    GString::AddLoadStringFunc(
        [](unsigned int id, char * buffer, unsigned int size, void *) -> unsigned int {
            if (!active || id != 702)
                return 0;
            buffer[0] = '\0';
            return size + 100;
        },
        nullptr);
    GString string("x");
    EXPECT_FALSE(string.loadString(702u));
    EXPECT_TRUE(string.isEmpty());
    active = false;
}

TEST(GString, WideTextThatDoesNotConvertIsEmpty) {
    unsigned short const wide[] = {'d', 'o', 'o', 'r', 0};
    EXPECT_STREQ(GString(wide).c_str(), "door");
    unsigned short const half[] = {'a', 0xD800, 0};
    EXPECT_TRUE(GString(half).isEmpty());
    EXPECT_TRUE(GString(static_cast<unsigned short const *>(nullptr)).isEmpty());
}

TEST(GString, APairOfSurrogatesIsOneCharacter) {
    if (!std::setlocale(LC_CTYPE, "C.UTF-8"))
        GTEST_SKIP() << "no locale here has a form for the character";
    unsigned short const pair[] = {'a', 0xD83D, 0xDE00, 'b', 0};
    EXPECT_STREQ(GString(pair).c_str(), "a\xF0\x9F\x98\x80"
                                        "b");
    unsigned short const wrongWay[] = {0xDE00, 0xD83D, 0};
    EXPECT_TRUE(GString(wrongWay).isEmpty());
    std::setlocale(LC_CTYPE, "C");
}

TEST(GNewStr, CopiesAndToleratesNull) {
    EXPECT_EQ(gnewstr(nullptr), nullptr);
    std::unique_ptr<char[]> const copy(gnewstr("text"));
    EXPECT_STREQ(copy.get(), "text");
}

void checkNumbers() {
    struct {
        char const * text;
        double value;
        long stop;
    } const cases[] = {{"1.5", 1.5, 3},     {" -2.25e2x", -225, 8}, {"1.2.3", 1.2, 3},
                       {".5", 0.5, 2},      {"7.", 7, 2},           {"x", 0, 0},
                       {"0x1.8p1", 3.0, 7}, {"1e5.5", 1e5, 3}};
    for (auto const & test : cases) {
        char * end = nullptr;
        EXPECT_EQ(gstr2d(test.text, &end), test.value) << test.text;
        EXPECT_EQ(end - test.text, test.stop) << test.text;
    }
    EXPECT_EQ(gstr2d("1.5", nullptr), 1.5);
}

TEST(GStr2d, StopsWhereTheNumberDoes) {
    checkNumbers();
}

TEST(GStr2d, PointIsThePointInEveryLocale) {
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8"))
        GTEST_SKIP() << "there is no locale with a comma";
    checkNumbers();
    EXPECT_STREQ(std::localeconv()->decimal_point, ",") << "the locale stays as it was";
    std::setlocale(LC_NUMERIC, "C");
}
