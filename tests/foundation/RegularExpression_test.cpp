// Patterns against texts: the language with its peculiarities, and patterns that would run wild.
#include "foundation/RegularExpression.h"
#include "persistence/mpstream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct Case {
    char const *pattern, *text;
    int start, length; // start -1: no match
};

void check(Case const & test) {
    SCOPED_TRACE(std::string(test.pattern) + " on " + test.text);
    int start = 7, length = 7;
    bool const found = RegularExpression(test.pattern).index(test.text, start, length);
    EXPECT_EQ(found, test.start >= 0);
    EXPECT_EQ(start, test.start < 0 ? 0 : test.start);
    EXPECT_EQ(length, test.length);
}

bool isEmptyPattern(char const * source) {
    return !RegularExpression(source).isCompiled();
}

GString replaced(char const * text, char const * pattern, char const * with, int & place) {
    GString string(text);
    place = string.replace(RegularExpression(pattern), with, true);
    return string;
}

std::string repeated(char const * piece, int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += piece;
    return text;
}

} // namespace

TEST(RegularExpression, FindsTheLeftmostMatch) {
    for (Case const & test : {Case{"a", "xay", 1, 1},
                              {"^a", "xay", -1, 0},
                              {"^a", "ay", 0, 1},
                              {"y$", "yxy", 2, 1},
                              {"a.c", "abac", -1, 0},
                              {"a.c", "aabc", 1, 3},
                              {"b+", "abbbc", 1, 3},
                              {"b*", "abbbc", 0, 0},
                              {"ab?c", "ac", 0, 2},
                              {"ab?c", "abbc", -1, 0},
                              {"ab?bc", "abc", 0, 3},
                              {"(ab)+", "xababa", 1, 4},
                              {"(ab)*c", "ababc", 0, 5},
                              {"a.*b", "a1b2b3", 0, 5},
                              {"a*ab", "ab", 0, 2},
                              {"(ab)*ab", "ab", 0, 2},
                              {"$", "abc", -1, 0}})
        check(test);
}

TEST(RegularExpression, AnEmptyTextHasNoMatch) {
    for (char const * const pattern : {"", "a*", "$", "^", "x?"}) {
        check({pattern, "", -1, 0});
        EXPECT_FALSE(RegularExpression(pattern) == static_cast<char const *>(nullptr));
    }
}

TEST(RegularExpression, TheAlternativeThatReachesFurtherWins) {
    for (Case const & test : {Case{"a|ab", "abc", 0, 2},
                              {"ab|a", "abc", 0, 2},
                              {"a|ab|abc|b", "abcd", 0, 3},
                              {"(a|ab)(c|bcd)", "abcd", 0, 4},
                              {"x(a|b|c)+y", "xabcay", 0, 6},
                              {"(a|ab)$", "ab", 0, 2},
                              {"(red|green) door", "a green door", 2, 10},
                              {"a|", "b", 0, 0},
                              {"a|b|c", "xc", 1, 1}})
        check(test);
    // A group is no fence inside of an alternative.
    check({"a|(b|c)d", "ad", 0, 2});
    check({"a|(b|c)d", "ae", -1, 0});
}

TEST(RegularExpression, ARepeatedBodyIsMatchedByItself) {
    // The body takes "ab", its longer alternative, and does not go back to "a".
    check({"(a|ab)+bc", "abbc", 0, 4});
    check({"(a|ab)+bc", "abc", -1, 0});
    check({"(a*)*b", "aab", 0, 3});
    check({"(a?)+b", "aab", 0, 3});
    check({"(x*)+", "y", 0, 0});
}

TEST(RegularExpression, Classes) {
    for (Case const & test : {Case{"[a-c-e]+", "xedcbay", 1, 5},
                              {"[a-c-e]", "-f", -1, 0},
                              {"[-a]+", "-a-", 0, 3},
                              {"[a-]+", "-a-", 0, 3},
                              {"[^x]", "x", -1, 0},
                              {"a[^x]", "a", -1, 0},
                              {"[^a-c]+", "abxyc", 2, 2},
                              {"[c-a]+", "abc", 2, 1},
                              {"[]", "a", -1, 0},
                              {"[^]", "a", 0, 1},
                              {"[\\]a]+", "b]a", 1, 2},
                              {"[\\t-\\r]", "\v", 0, 1},
                              {"[\\101-C]+", "ABCD", 0, 3},
                              {"[.*]+", "a.*", 1, 2},
                              {"[\x80-\x82]", "\x81", 0, 1}})
        check(test);
    // A range runs by signed characters, and 128 members are one too many for a length in a byte.
    std::string const most = "[\\001-~" + std::string("\x80") + "]"; // 127 members
    std::string const tooMany = "[\\001-\\177" + std::string("\x80") + "]";
    EXPECT_TRUE(RegularExpression(most.c_str()) == "b");
    EXPECT_FALSE(RegularExpression(tooMany.c_str()) == "b");
    EXPECT_TRUE(isEmptyPattern(("[" + std::string(256, 'a') + "]").c_str()));
}

TEST(RegularExpression, Escapes) {
    for (Case const & test : {Case{"\\.", "a.", 1, 1},
                              {"\\101\\1011", "AA1", 0, 3},
                              {"\\n\\t\\r\\f\\b", "\n\t\r\f\b", 0, 5},
                              {"a\\0", "a", -1, 0},
                              {"\\(\\|\\)", "(|)", 0, 3},
                              {"\\8", "8", 0, 1}})
        check(test);
}

TEST(RegularExpression, AWrongPatternBecomesTheEmptyOne) {
    for (char const * const source :
         {"", "a**", "a^b", "(a", "[a", "*a", "a)", "a]", "a+?", "()b*)", "\\", "a\\", "[a\\"}) {
        EXPECT_TRUE(isEmptyPattern(source)) << source;
        check({source, "text", 0, 0});
    }
    EXPECT_TRUE(isEmptyPattern(("(" + repeated("a", 128) + ")*").c_str())) << "256 bytes of code";
    EXPECT_FALSE(isEmptyPattern(("(" + repeated("a", 126) + ")*").c_str()));
}

TEST(RegularExpression, TellsPatternsFromPlainTexts) {
    for (char const c : std::string("?*+.[]^$\\()|"))
        EXPECT_TRUE(RegularExpression::IsIt(std::string({'a', c}).c_str())) << c;
    EXPECT_FALSE(RegularExpression::IsIt("plain-text {1}"));
    EXPECT_FALSE(RegularExpression::IsIt(nullptr));
}

TEST(RegularExpression, ReplacesInStrings) {
    int place = 0;
    EXPECT_STREQ(replaced("a1b22c", "[0-9]+", "<2>", place).c_str(), "a<2>b<2>c");
    EXPECT_EQ(place, 5) << "in the text as it is afterwards";
    EXPECT_STREQ(replaced("aaa", "a", "aa", place).c_str(), "aaaaaa") << "no second look";
    EXPECT_STREQ(replaced("a b", " ", nullptr, place).c_str(), "ab");
    EXPECT_STREQ(replaced("abc", "x*", "-", place).c_str(), "-a-b-c");
    EXPECT_STREQ(replaced("abc", "x", "y", place).c_str(), "abc");
    EXPECT_EQ(place, -1);
    GString once("aXbX");
    EXPECT_EQ(once.replace(RegularExpression("X"), "yy"), 1);
    EXPECT_STREQ(once.c_str(), "ayybX");
}

TEST(RegularExpression, LongTextsAreNoDeeperThanShortOnes) {
    std::string const text = repeated("ab", 300000) + "c";
    int start = 0, length = 0;
    ASSERT_TRUE(RegularExpression("^(ab)*c$").index(text.c_str(), start, length));
    EXPECT_EQ(length, 600001);
    ASSERT_TRUE(RegularExpression("^[ab]+c").index(text.c_str(), start, length));
    EXPECT_EQ(length, 600001);
}

TEST(RegularExpression, HostilePatternsComeToAnEnd) {
    std::string const text(20000, 'a');
    // Alternatives and options that double the ways with every step, and one that is just slow.
    for (std::string const & pattern :
         {repeated("(a|a)", 60) + "b", repeated("a?", 60) + repeated("a", 60) + "b",
          std::string("a*a*a*a*a*b"), std::string("((a*)*)*b"), repeated("a?", 200000) + "b"})
        EXPECT_FALSE(RegularExpression(pattern.c_str()) == text.c_str());
    EXPECT_TRUE(isEmptyPattern(repeated("(", 1000000).c_str()));
    EXPECT_TRUE(isEmptyPattern((repeated("(", 5000) + "a" + repeated(")", 5000)).c_str()));
    std::string const many = repeated("xy|", 5000) + "b";
    EXPECT_TRUE(RegularExpression(many.c_str()) == "ab") << "a long chain is no deep one";
}

TEST(RegularExpression, TravelsAsItsSource) {
    unsigned char const bytes[] = {0, 3, 0, 'a', '+', 'b'};
    ompstream out;
    out << RegularExpression("a+b");
    ASSERT_EQ(out.tellp(), long(sizeof bytes));
    EXPECT_EQ(std::memcmp(out.data(), bytes, sizeof bytes), 0);
    unsigned char block[sizeof bytes];
    std::memcpy(block, bytes, sizeof bytes);
    impstream in(block, sizeof block, GIO::ReadMode);
    RegularExpression read("other");
    in >> read;
    EXPECT_STREQ(read.getSource().c_str(), "a+b");
    EXPECT_TRUE(read == "xaab" && read != "xb");
}
