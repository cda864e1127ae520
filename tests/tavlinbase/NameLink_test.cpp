// Names: one word for one text, their order, paths, and the three forms in which they are streamed.
#include "foundation/GStringCollection.h"
#include "persistence/mpstream.h"
#include "tavlinbase/NameLink.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using namespace Tavlin;
using namespace std::string_literals;

namespace {

// Resolved while the program starts, before or after whatever else starts here.
NameLinkID const g_early("resolved while starting");

std::string bytesOf(ompstream & out) {
    out.flush();
    auto const size = static_cast<std::size_t>(out.tellp());
    return std::string(static_cast<char const *>(out.data()), size);
}

std::string dword(std::uint32_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

/// An input stream on bytes of its own.
class Input {
  public:
    explicit Input(std::string bytes)
        : bytes_(std::move(bytes)),
          stream_(bytes_.data(), static_cast<long>(bytes_.size()), GIO::ReadMode) {}
    operator ipstream &() { return stream_; }
    ipstream * operator->() { return &stream_; }
    NameLinkID name() {
        NameLinkID name("not read");
        stream_ >> name;
        return name;
    }

  private:
    std::string bytes_;
    impstream stream_;
};

std::vector<std::string> parts(char const * path, bool & valid) {
    TGVector<NameLinkID> names;
    valid = NameLink::ParseDottedSequence(path, names);
    std::vector<std::string> texts;
    for (NameLinkID const name : names)
        texts.push_back(name.c_str());
    return texts;
}

} // namespace

TEST(NameLink, OneTextIsOneWord) {
    NameLinkID const ab("ab"), ba("ba"); // one bucket
    std::string const other("ab");
    EXPECT_EQ(ab, NameLinkID(other.c_str()));
    EXPECT_EQ(ab.c_str(), NameLinkID(other.c_str()).c_str());
    EXPECT_NE(ab, ba);
    EXPECT_STREQ(ba.getName().c_str(), "ba");
    EXPECT_STREQ(NameLink::Get()->resolve(ab).c_str(), "ab");
    EXPECT_EQ(g_early, NameLinkID("resolved while starting"));
    EXPECT_EQ(NameLinkID("\xE9t\xE9"), NameLinkID("\xE9t\xE9")) << "bytes are signed in the hash";
}

TEST(NameLink, TheEmptyTextIsANameAndNullIsNone) {
    EXPECT_FALSE(NameLinkID().isValid());
    EXPECT_TRUE(NameLinkID("").isValid());
    EXPECT_NE(NameLinkID(), NameLinkID(""));
    EXPECT_TRUE(NameLinkID().getName().isEmpty());
    EXPECT_EQ(NameLinkID().offset(), 0);
}

TEST(NameLink, OrderIsThatOfTheFirstMeeting) {
    NameLinkID const first("zz order"), second("aa order");
    EXPECT_LT(first, second);
    EXPECT_LT(first.offset(), second.offset());
    EXPECT_LT(NameLinkID(), first);
    EXPECT_EQ(second.offset() - first.offset(), 4 + 9) << "a link, and the text with its zero";
}

TEST(NameLink, TheDictionaryLendsItsTexts) {
    NameLinkID const name("in the dictionary");
    GStringCollection texts(0, 16, 1);
    NameLink::Get()->getDictionary(texts);
    EXPECT_FALSE(texts.shouldDelete());
    long const at = texts.index_of(const_cast<char *>("in the dictionary"));
    ASSERT_GE(at, 0);
    EXPECT_EQ(texts.at(at), name.c_str());
    for (long i = 1; i < texts.getCount(); ++i)
        ASSERT_LT(std::strcmp(texts.at(i - 1), texts.at(i)), 0);
}

TEST(NameLink, AnIdentifierNeedsOneLetter) {
    for (char const * const text : {"_a1", "1a", "a.b", "_", "12 Z"})
        EXPECT_TRUE(NameLink::IsValidIdentifier(text)) << text;
    for (char const * const text : {"", "123", ".", "1 2"})
        EXPECT_FALSE(NameLink::IsValidIdentifier(text)) << text;
}

TEST(NameLink, PathsAreTakenApartAtTheirDots) {
    using Texts = std::vector<std::string>;
    bool valid = false;
    EXPECT_EQ(parts("a..b", valid), (Texts{"a", "b"}));
    EXPECT_TRUE(valid);
    EXPECT_EQ(parts(".a.1b.c.", valid), (Texts{"a", "1b", "c"}));
    EXPECT_TRUE(valid);
    EXPECT_EQ(parts("", valid), Texts());
    EXPECT_TRUE(valid);
    EXPECT_EQ(parts("a.12.c", valid), (Texts{"a"}));
    EXPECT_FALSE(valid);

    NameLinkIDs path("me.door..lock");
    EXPECT_STREQ(path.getName().c_str(), "me.door.lock");
    EXPECT_FALSE(path.setName("x.1"));
    EXPECT_STREQ(path.getName().c_str(), "x");
    EXPECT_STREQ(NameLinkIDs(NameLinkID("one")).getName().c_str(), "one");
}

TEST(NameLinkStream, ByTextUnlessAScopeSaysOtherwise) {
    ompstream out;
    out << NameLinkID("door") << NameLinkID();
    EXPECT_EQ(bytesOf(out), "\0\1\0\0\0\4\0door\0\0\0\0\0"s);
    Input in(bytesOf(out));
    EXPECT_EQ(in.name(), NameLinkID("door"));
    EXPECT_EQ(in.name(), NameLinkID());
    EXPECT_TRUE(in->good());
}

TEST(NameLinkStream, ByWordInTheSameMemory) {
    NameLinkID const name("by word");
    ompstream out;
    {
        NameLinkID::SameMemorySerialize scope;
        NameLinkID::SameMemorySerialize inner;
        out << name << NameLinkID();
    }
    out << NameLinkID(); // by text again
    EXPECT_EQ(bytesOf(out), "\1"s + dword(std::uint32_t(name.offset())) + "\1\0\0\0\0\0\0\0\0\0"s);
    Input in(bytesOf(out));
    EXPECT_EQ(in.name(), name);
    EXPECT_EQ(in.name(), NameLinkID());
    EXPECT_EQ(in.name(), NameLinkID());
    EXPECT_TRUE(in->good());
}

TEST(NameLinkStream, ByPlaceBehindADump) {
    NameLinkID const first("the first of the scene");
    NameLinkID const second("the second of the scene");
    ompstream out;
    {
        NameLinkID::FastSceneWrite scope(out);
        NameLinkID::FastSceneWrite inner(out); // writes no second dump
        out << second << NameLinkID() << second << first;
    }
    std::string const bytes = bytesOf(out);
    std::uint32_t used = 0;
    std::memcpy(&used, bytes.data(), sizeof used); // the tests run on little-endian machines
    std::string const dump = bytes.substr(4, used);
    std::string const entry = "\0\0\0\0the second of the scene\0"s;
    ASSERT_EQ(dump.substr(dump.size() - entry.size()), entry) << "links are cleared";
    std::string const at = dword(std::uint32_t(dump.size() - entry.size()));
    ASSERT_EQ(bytes.substr(4 + used, 15), "\2" + at + "\2" + dword(std::uint32_t(-4)) + "\2" + at);

    Input in(bytes);
    NameLinkID::FastSceneRead scope(in);
    EXPECT_EQ(in.name(), second);
    EXPECT_EQ(in.name(), NameLinkID());
    EXPECT_EQ(in.name(), second);
    EXPECT_EQ(in.name(), first);
    EXPECT_TRUE(in->good());
}

TEST(NameLinkStream, ADumpOfAnotherProcessIsResolvedByItsTexts) {
    // Two entries at 0 and 10; names by place, and one by text, which reads in every scope.
    std::string const dump = "\0\0\0\0apple\0\0\0\0\0pear\0"s;
    Input in(dword(std::uint32_t(dump.size())) + dump + "\2" + dword(10) + "\2" + dword(0) + "\2" +
             dword(10) + "\0\1\0\0\0\3\0fig"s);
    NameLinkID::FastSceneRead scope(in);
    for (char const * const text : {"pear", "apple", "pear", "fig"})
        EXPECT_STREQ(in.name().c_str(), text);
    EXPECT_TRUE(in->good());
}

TEST(NameLinkStream, ANameYoungerThanTheDumpIsNotLost) {
    ompstream out;
    {
        NameLinkID::FastSceneWrite scope(out);
        out << NameLinkID("met only while the scene was being written");
    }
    Input in(bytesOf(out));
    NameLinkID::FastSceneRead scope(in);
    EXPECT_STREQ(in.name().c_str(), "met only while the scene was being written");
}

TEST(NameLinkStream, ScopesBelongToTheirThread) {
    ompstream out;
    NameLinkID::SameMemorySerialize scope;
    std::thread([&out] { out << NameLinkID(); }).join();
    EXPECT_EQ(bytesOf(out), "\0\0\0\0\0"s);
}

TEST(NameLinkStream, ANameThatCannotBeHadIsNullAndSetsTheReadBit) {
    std::string const middle = dword(std::uint32_t(NameLinkID("middle of a text").offset() + 3));
    struct {
        char const * what;
        std::string bytes;
    } const cases[] = {{"an unknown form", "\3"s + dword(1)},
                       {"a word behind the pool", "\1"s + dword(0x7FFFFFFF)},
                       {"a word into a link", "\1"s + dword(2)},
                       {"a word into a text", "\1"s + middle},
                       {"a place without a dump", "\2"s + dword(0)},
                       {"a text that ends early", "\0\1\0\0\0\7\0ab"s}};
    for (auto const & test : cases) {
        Input in(test.bytes);
        NameLinkID const name = in.name();
        EXPECT_TRUE(!name.isValid() || test.bytes[0] == '\0') << test.what;
        EXPECT_TRUE(in->fail()) << test.what;
    }
}

TEST(NameLinkStream, HostileDumps) {
    std::string const dump = "\0\0\0\0ab\0\7\0\0\0c"s; // a link that is not clear, no last zero
    for (std::uint32_t const place : {7u, 8u, 11u, 12u, 13u, 0x7FFFFFFFu}) {
        Input in(dword(std::uint32_t(dump.size())) + dump + "\2" + dword(place));
        NameLinkID::FastSceneRead scope(in);
        NameLinkID const name = in.name();
        EXPECT_TRUE(name.isValid() == in->good()) << place;
        EXPECT_LE(name.getName().length(), 1u) << place;
    }
    Input in(dword(0xFFFFFFFF) + "\0\0\0\0ab"s); // 4 GB are announced
    in->generate_exception_on(pstream::ReadFailedBit);
    EXPECT_ANY_THROW(NameLinkID::FastSceneRead scope(in));
    ompstream out;
    out << NameLinkID();
    EXPECT_EQ(bytesOf(out), "\0\0\0\0\0"s) << "the scope that failed is not left open";
}

TEST(NameLinkStream, PathsAreACountAndTheirNames) {
    ompstream out;
    out << NameLinkIDs("a.b");
    EXPECT_EQ(bytesOf(out), "\2\0\0\0\0\1\0\0\0\1\0a\0\1\0\0\0\1\0b"s);
    NameLinkIDs path("former");
    Input in(bytesOf(out));
    in.operator ipstream &() >> path;
    EXPECT_STREQ(path.getName().c_str(), "a.b");

    Input bomb(dword(0xFFFFFFFF) + "\0\0\0\0\0"s);
    bomb.operator ipstream &() >> path;
    EXPECT_TRUE(bomb->fail());
    EXPECT_LE(path.getCount(), 2);
}

TEST(NamedTypeInfo, IsFoundWhileItLives) {
    NameLinkID const name("TestType");
    EXPECT_EQ(NamedTypeInfo::FindByName(name), nullptr);
    {
        NamedTypeInfo const first(nullptr, "TestType"), other(nullptr, "OtherType");
        EXPECT_EQ(NamedTypeInfo::FindByName(name), &first);
        EXPECT_EQ(NamedTypeInfo::g_allTypeInfos, &other);
        NamedTypeInfo const second(nullptr, "TestType");
        EXPECT_EQ(NamedTypeInfo::FindByName(name), &second) << "the latest comes first";
    }
    EXPECT_EQ(NamedTypeInfo::FindByName(name), nullptr);
}

TEST(Namespaces, HoldTheirFixedNames) {
    using Scene = _nmlmnk_namespace_SceneNames;
    using Events = _nmlmnk_namespace_SysEvents;
    EXPECT_TRUE(Events::has("_terminate") && Events::has("sysReadyToPlay"));
    EXPECT_FALSE(Events::has("sysReset") || Events::has(NameLinkID()));
    EXPECT_TRUE(Scene::has("Environment") && Scene::has("TeleportedObjects"));
    EXPECT_EQ(Events::names[1], NameLinkID("sysUnloadStatic"));
    EXPECT_EQ(Scene::names[5], NameLinkID("Agent007"));
}
