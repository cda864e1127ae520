// The player's texts: look-up and what is shown for a missing one, conversion, and bytes.
#include "tavlinmid/TextDictionary.h"

#include "StreamBytes.h"
#include "tavlinbase/AUnknown.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace Tavlin {
namespace {

TRef<UString> textOf(std::vector<unsigned short> units) {
    TRef<UString> const text(new UString);
    units.push_back(0);
    text->init(units.data());
    return text;
}

class TextDictionaryTest : public testing::Test {
  protected:
    TextDictionaryTest() { TextDictionary::EmptyDictionary(); }
    ~TextDictionaryTest() override { TextDictionary::EmptyDictionary(); }

    TRef<TextDictionary> texts{new TextDictionary};
};

std::string shown(char const * name) {
    return TextDictionary::GetString(NameLinkID(name)).c_str();
}

TEST_F(TextDictionaryTest, MissingTextShowsItsName) {
    EXPECT_EQ(shown("hello"), "<hello>");
    EXPECT_TRUE(texts->addItem("hello", textOf({'H', 'i'})));
    EXPECT_EQ(shown("hello"), "Hi");
    EXPECT_FALSE(texts->addItem("hello", textOf({'N', 'o'})));
    EXPECT_EQ(shown("hello"), "Hi") << "a text that is there stays";
    EXPECT_TRUE(texts->addItem("nothing", TRef<UString>(new UString)));
    EXPECT_EQ(shown("nothing"), "");
}

TEST_F(TextDictionaryTest, RemovalOfATextTakesOneEntry) {
    TRef<UString> const text = textOf({'x'});
    TRef<UString> const equal = textOf({'x'});
    texts->addItem("a", text);
    texts->addItem("b", text);
    EXPECT_FALSE(texts->removeItem(equal)) << "the very text is meant, not an equal one";
    EXPECT_TRUE(texts->removeItem(text));
    EXPECT_EQ(texts->getCount(), 1);
    EXPECT_TRUE(texts->removeItem(text));
    EXPECT_FALSE(texts->removeItem(text));
    texts->addItem("a", text);
    EXPECT_TRUE(texts->removeItem(NameLinkID("a")));
    EXPECT_FALSE(texts->removeItem(NameLinkID("a")));
}

TEST_F(TextDictionaryTest, ConvertsUnitsToUtf8) {
    struct {
        std::vector<unsigned short> units;
        char const * bytes;
    } const cases[] = {{{0x7F, 0x80, 0x7FF}, "\x7F\xC2\x80\xDF\xBF"},
                       {{0x800, 0xFFFD}, "\xE0\xA0\x80\xEF\xBF\xBD"},
                       {{0xD83D, 0xDE00}, "\xF0\x9F\x98\x80"},
                       {{0xD83D, 'x'}, "\xEF\xBF\xBDx"},
                       {{0xDE00, 0xD83D}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
                       {{0xDBFF, 0xDFFF}, "\xF4\x8F\xBF\xBF"}};
    for (auto const & [units, bytes] : cases) {
        TextDictionary::EmptyDictionary();
        texts->addItem("t", textOf(units));
        EXPECT_EQ(digits(shown("t")), digits(bytes));
    }
}

TEST_F(TextDictionaryTest, NarrowTextWidensByteByByte) {
    UString text;
    EXPECT_EQ(text.getPointer(), nullptr);
    text.init(GString("a\xE9"));
    UString const copy(text);
    EXPECT_EQ(copy.getPointer(), text.getPointer());
    text.init(GString(""));
    EXPECT_EQ(text.getPointer()[0], 0);
    ASSERT_EQ(copy.getPointer()[0], 'a');
    EXPECT_EQ(copy.getPointer()[1], 0xFFE9);
    EXPECT_EQ(copy.getPointer()[2], 0);
}

TEST_F(TextDictionaryTest, TextHasItsUnitsInTheStream) {
    UString text;
    EXPECT_EQ(digits(written(text)), digits(hex("00 00 00 00 00")));
    text.init(textOf({0x416, 'a'})->getPointer());
    std::string const bytes = hex("00 02 00 00 00 16 04 61 00");
    EXPECT_EQ(digits(written(text)), digits(bytes));

    UString back;
    ASSERT_TRUE(readInto(back, bytes));
    EXPECT_EQ(back.getPointer()[0], 0x416);
    EXPECT_EQ(back.getPointer()[1], 'a');
    EXPECT_EQ(back.getPointer()[2], 0);
    EXPECT_TRUE(readInto(back, hex("07 FF FF FF FF"))) << "less than one unit is no text";
    EXPECT_EQ(back.getPointer()[0], 0);
    EXPECT_FALSE(readInto(back, hex("00 FF FF FF 7F 41 00 42"))) << "a length that is not there";
    EXPECT_EQ(back.getPointer()[0], 'A');
}

TEST_F(TextDictionaryTest, TableComesBackInAnyOrderOfNames) {
    // One entry by hand, for both forms.
    texts->addItem("key", textOf({'v'}));
    std::string const pairs =
        hex("01 00 00 00") + name("key") + object("Tavlin::UString", hex("00 01 00 00 00 76 00"));
    ompstream out;
    TextDictionary::Write(out);
    auto const bytesOf = [](ompstream & stream) {
        long const size = stream.size();
        return std::string(static_cast<char const *>(stream.data()),
                           static_cast<std::size_t>(size));
    };
    EXPECT_EQ(digits(bytesOf(out)), digits(hex("00 01") + pairs));
    EXPECT_EQ(digits(written(*texts.pointer())), digits(hex("00") + pairs));

    for (std::vector<std::string> const & names :
         {std::vector<std::string>{"first", "second", "third"},
          std::vector<std::string>{"third", "second", "first"}}) {
        std::string bytes = hex("00 03 00 00 00");
        for (std::string const & key : names)
            bytes += name(key) + object("Tavlin::UString", hex("00 01 00 00 00") + key[0] + '\0');
        texts->addItem("stale", textOf({'s'}));
        ASSERT_TRUE(readInto(*texts.pointer(), bytes));
        EXPECT_EQ(shown("first"), "f");
        EXPECT_EQ(shown("second"), "s");
        EXPECT_EQ(shown("third"), "t");
        EXPECT_EQ(shown("stale"), "<stale>");
    }

    std::string none = hex("00 00");
    impstream in(none.data(), 2, GIO::ReadMode);
    TextDictionary::Read(in);
    EXPECT_EQ(texts->getCount(), 0);
    ompstream empty;
    TextDictionary::Write(empty);
    EXPECT_EQ(digits(bytesOf(empty)), digits(none));
    EXPECT_FALSE(readInto(*texts.pointer(), hex("00 FF FF FF FF"))) << "ends with the stream";
}

TEST_F(TextDictionaryTest, TextsInFrontOfADamagedPlaceAreFound) {
    std::vector<std::string> const names = {"first", "second", "third", "fourth", "fifth"};
    for (std::string const & key : names)
        NameLinkID{key.c_str()};
    std::string good;
    for (auto key = names.rbegin(); key != names.rend(); ++key)
        good += name(*key) + object("Tavlin::UString", hex("00 01 00 00 00") + (*key)[1] + '\0');
    std::string const head = hex("00 09 00 00 00");
    EXPECT_THROW(readInto(*texts.pointer(), head + good + name("key") + "\x09"), GLibraryException);
    for (std::string const & key : names)
        EXPECT_EQ(shown(key.c_str()), key.substr(1, 1));
    EXPECT_FALSE(readInto(*texts.pointer(), head + good));
    EXPECT_EQ(texts->getCount(), 5) << "what has not come is no entry";
}

TEST_F(TextDictionaryTest, AttributesHaveTheirBytes) {
    DrawTextAttributes attributes;
    std::string const before = hex("03") + text("Arial") +
                               hex("14 00 00 00 0A 00 00 00 01 00 00 00 00 00 00 00"
                                   "90 01 00 00 00 00 00 00 00 00 00 00");
    std::string const hi = hex("01 00 00 00 00 00 00 00");
    std::string const behind = hex("00 00 00 00 01 00 00 00 FF 00 00 00");
    std::string const yes = hex("01 00 00 00"), no = hex("00 00 00 00");
    std::string const mask = hex("FF 00 00 00 08 00 00 00") + std::string(32, '\xFF');
    EXPECT_EQ(digits(written(attributes)), digits(before + yes + hi + yes + behind + mask));

    attributes.m = 9;
    ASSERT_TRUE(readInto(attributes, before + yes + hi + no + behind + mask));
    EXPECT_FALSE(attributes.j) << "the second one counts";
    EXPECT_EQ(attributes.m, 9) << "is not saved";
    ASSERT_TRUE(readInto(attributes, before + no + hi + hex("00 01 00 00") + behind + mask));
    EXPECT_TRUE(attributes.j);
    EXPECT_TRUE(attributes.mask[254]);
}

} // namespace
} // namespace Tavlin
