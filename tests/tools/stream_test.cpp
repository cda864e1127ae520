// The trees of object streams: of bytes by hand, of what the library writes for classes that the
// program does not know, and of streams that are damaged or made to mislead.
#include "tests/tools/program_support.h"

#include "foundation/GMetaClass.h"
#include "foundation/GStreamable.h"
#include "persistence/ResourceFile.h"
#include "persistence/fpstream.h"
#include "persistence/zpstream.h"

#include <nlohmann/json.hpp>

#include <memory>

using Names = std::vector<std::string>;
using Json = nlohmann::json;
using namespace std::string_literals;

namespace {

std::string const prefix = "\xB1\xB5\x0F\xCF", suffix = "\xEF\x80\x4A\x29";

std::string number(std::size_t value, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

std::string text(std::string const & characters) {
    return number(characters.size(), 2) + characters;
}

std::string frame(std::string const & name, std::string const & data) {
    std::string bytes = prefix + text(name) + data + suffix;
    return bytes + number(bytes.size(), 4) + text(name);
}

/// Notes where its data begins when it is written, where that can be asked: in a compressed stretch
/// the question would end it.
class Parcel : public GStreamable {
    G_DECLARE_CREATABLE(Parcel)
  public:
    explicit Parcel(int size = 0) : content_(static_cast<std::size_t>(size), '\x01') {}
    void read(ipstream &) override {}
    void write(opstream & out) override {
        if (dynamic_cast<ofpstream *>(&out))
            begins.push_back(out.tellp());
        out << static_cast<int>(content_.size());
        out.writeBytes(content_.data(), static_cast<long>(content_.size()));
        for (Parcel * const other : others)
            out.writePointer(other);
    }

    std::vector<Parcel *> others;
    static inline std::vector<long> begins;

  private:
    std::string content_;
};

G_DEFINE_CREATABLE(Parcel, "Test::Parcel", GStreamable)
constexpr long frontSize = 4 + 2 + 12; // prefix and name of a parcel

class Stream : public testing::Test {
  protected:
    Stream() { Parcel::begins.clear(); }

    Outcome show(std::string const & bytes, Names options = {}) const {
        directory.put("s", bytes);
        return showFile(std::move(options));
    }
    Outcome showFile(Names options = {}) const {
        options.insert(options.begin(), {"stream", "s"});
        return runProgram(directory, options);
    }
    Json parsed(Outcome const & outcome) const { return Json::parse(outcome.out, nullptr, false); }

    TemporaryDirectory directory;
};

/// All objects under an item, from left to right.
void gather(Json const & items, std::vector<Json> & objects) {
    for (Json const & item : items)
        if (item["kind"] == "object") {
            objects.push_back(item);
            gather(item["items"], objects);
        }
}

std::vector<Json> objectsOf(Json const & stream) {
    std::vector<Json> objects;
    for (Json const & part : stream["parts"])
        gather(part["items"], objects);
    return objects;
}

TEST_F(Stream, ShowsWhatStandsInBytesWrittenByHand) {
    std::string const leaf = frame("T::Leaf", "*");
    std::string const unwritten = prefix + "\xFF\xFF" + suffix + number(10, 4) + "\xFF\xFF";
    std::string const node =
        frame("T::Node", number(5, 4) + '\x02' + leaf + number(0x000201, 3) + unwritten);
    Outcome const shown = show("raw" + ('\x02' + node) + leaf + "\x1B[1m\n", {"--data"});
    EXPECT_EQ(shown.err, "");
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.out, "data at 0, 3 bytes: 72 61 77  raw\n"
                         "#1 T::Node at 4, 85 bytes\n"
                         "  data at 17, 4 bytes: 05 00 00 00  ....\n"
                         "  #2 T::Leaf at 22, 31 bytes\n"
                         "    data at 35, 1 bytes: 2a  *\n"
                         "  data at 53, 3 bytes: 01 02 00  ...\n"
                         "    perhaps -> #2 T::Leaf at 53\n"
                         "  no object at 56, 16 bytes, in place\n"
                         "#3 T::Leaf at 89, 31 bytes, in place\n"
                         "  data at 102, 1 bytes: 2a  *\n"
                         "data at 120, 5 bytes: 1b 5b 31 6d 0a  .[1m.\n");
    // A length of one character reads as one of 256 in the other order.
    std::string const swapped = prefix + "\0\x01S"s + suffix;
    EXPECT_EQ(show(swapped + number(swapped.size(), 4) + "\0\x01S"s).out,
              "#1 S at 0, 18 bytes, in place, swapped\n");
    EXPECT_EQ(show("\x02{" + text("T::Node") + "*]{\x01").out,
              "data at 0, 15 bytes\n  perhaps an older frame of T::Node at 1\n");
    // Names are those of a file, and may be made to steer a terminal.
    EXPECT_EQ(show(frame("T::\xC2\x9BX", "")).out, "#1 T::\\xc2\\x9bX at 0, 28 bytes, in place\n");
}

TEST_F(Stream, TakesNoDataForFrames) {
    std::string const cases[] = {
        suffix + number(0, 4),
        suffix + number(23, 4) + text("T::Other"), // its length fits by chance, the name does not
        prefix,
        prefix + number(0xFFF0, 2) + "no name",
        prefix + text("a\nb"),
        prefix + prefix + suffix + suffix,
    };
    for (std::string const & data : cases) {
        Json const tree = parsed(show(frame("Unknown", data), {"--json"}));
        EXPECT_EQ(objectsOf(tree["streams"][0]).size(), 1u) << tree.dump();
    }
}

TEST_F(Stream, TellsTheByteAtWhichItBreaks) {
    // T::Outer at 1, T::Inner at 18 (its data 32, suffix 35, length 39, name 43), "cd" at 53,
    // suffix of T::Outer at 55; T::Last at 74, without data.
    std::string const good = '\x02' +
                             frame("T::Outer", "ab\x02" + frame("T::Inner", "xyz") + "cd") +
                             '\x02' + frame("T::Last", "");
    ASSERT_EQ(good.substr(18, 4) + good.substr(35, 4) + good.substr(55, 4) + good.substr(74, 4),
              prefix + suffix + suffix + prefix);
    auto const flip = [&](std::size_t at) {
        std::string bytes = good;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x20);
        return bytes;
    };
    struct Case {
        char const * what;
        std::string bytes;
        std::size_t at;
        char const * text;
        std::size_t objects;
    };
    std::string lost = good, grown = good, led = good;
    led[91] = 90;
    lost.replace(35, 18, 18, '\0');
    grown.insert(33, "12345");
    std::size_t const end = good.size();
    Case const cases[] = {
        {"cut in the last name", good.substr(0, end - 1), end - 1, "cut off", 3},
        {"cut in data", good.substr(0, 33), 33, "cut off", 2},
        {"cut behind a first name", good.substr(0, 32), 32, "cut off", 2},
        {"cut in a first name", good.substr(0, end - 24), end - 24, "begins at byte 74", 3},
        {"length", flip(39), 39, "the length is 53, but 21 bytes stand there", 3},
        {"length that leads to another prefix", led, 91, "the length is 90, but 17 bytes", 3},
        {"name at the end", flip(47), 47, "differs from the one in front, at byte 26", 3},
        {"name in front", flip(27), 48, "differs from the one in front, at byte 27", 3},
        {"length of the name in front", flip(23), 23, "one at the end, at byte 43", 3},
        {"suffix", flip(36), 36, "the suffix is damaged", 3},
        {"prefix", flip(21), 21, "the prefix is damaged", 3},
        {"outer prefix", flip(1), 1, "the prefix is damaged", 3},
        {"no suffix at all", lost, 55, "no suffix for the prefix at byte 18", 3},
        {"bytes that were not there", grown, 44, "the length is 21, but 26 bytes stand there", 3},
        {"front lost", good.substr(10), 45, "a suffix without a prefix", 2},
    };
    for (Case const & one : cases) {
        SCOPED_TRACE(one.what);
        Outcome const shown = show(one.bytes, {"--json"});
        EXPECT_EQ(shown.status, 2);
        std::string const place = "ondrel: s: at byte " + std::to_string(one.at) + ": ";
        EXPECT_NE(shown.err.find(place), std::string::npos) << shown.err;
        EXPECT_NE(shown.err.find(one.text), std::string::npos) << shown.err;
        Json const tree = parsed(shown);
        EXPECT_EQ(tree["sound"], false);
        EXPECT_EQ(objectsOf(tree["streams"][0]).size(), one.objects) << shown.out;
    }
    EXPECT_EQ(show(good).status, 0);
}

TEST_F(Stream, FindsEachObjectWhereTheLibraryWroteIt) {
    Parcel first(3), second(40), third(0);
    first.others = {&second, &first, nullptr, &third};
    second.others = {&first};
    third.others = {&second};
    for (bool const swapped : {false, true}) {
        Parcel::begins.clear();
        ofpstream out(directory.name("s").c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                      GFileIO::ShareNone);
        out.endian(swapped ? pstream::SwappedEndian : pstream::NativeEndian);
        out.writeDWord(7);
        out.writePointer(&first);
        out.writeDWord(8);
        out.writePointer(&third);
        out.writePointer(&third, true);
        out.writeString("end");
        out.close();
        Json const tree = parsed(showFile({"--json"}));
        std::vector<Json> const objects = objectsOf(tree["streams"][0]);
        ASSERT_EQ(objects.size(), Parcel::begins.size()) << tree.dump();
        for (std::size_t i = 0; i < objects.size(); ++i) {
            EXPECT_EQ(objects[i]["offset"], Parcel::begins[i] - frontSize);
            EXPECT_EQ(objects[i]["number"], i + 1);
            EXPECT_EQ(objects[i]["class"], "Test::Parcel");
            EXPECT_EQ(objects[i]["swapped"], swapped);
        }
        // Three bytes of 1 and a pointer behind them; the second and the first object stand there.
        Json const & items = tree["streams"][0]["parts"][0]["items"];
        EXPECT_EQ(items[2]["size"], 4 + 3) << "a number, and a reference to the third";
        Json const & guesses = items[2]["perhaps"];
        ASSERT_EQ(guesses.size(), 1u) << items[2];
        EXPECT_EQ(guesses[0]["number"], 3);
    }
}

/// A file of a number, a compressed object, a plain one and a compressed one that refers to it.
void writeMixed(std::string const & name, std::vector<long> & switches) {
    Parcel first(500), second(5), third(0);
    third.others = {&second};
    ozpstream out(name.c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone, 4);
    out.turn_to_norm();
    out.writeDWord(0x12345678);
    switches.push_back(out.turn_to_comp(true));
    out.writePointer(&first);
    switches.push_back(out.turn_to_norm());
    out.writePointer(&second);
    switches.push_back(out.turn_to_comp(true));
    out.writePointer(&third);
    switches.push_back(out.turn_to_norm());
    out.close();
}

TEST_F(Stream, FindsWhereCompressionWasSwitched) {
    std::vector<long> switches;
    writeMixed(directory.name("s"), switches);
    Outcome const shown = showFile({"--json"});
    EXPECT_EQ(shown.status, 0) << shown.err;
    Json const parts = parsed(shown)["streams"][0]["parts"];
    ASSERT_EQ(parts.size(), 4u) << parts.dump();
    EXPECT_EQ(parts[0]["size"], 4);
    EXPECT_EQ(parts[1]["storedOffset"], switches[0]);
    EXPECT_EQ(parts[1]["storedSize"], switches[1] - switches[0]);
    EXPECT_EQ(parts[2]["offset"], switches[1]);
    EXPECT_EQ(parts[3]["storedOffset"], switches[2]);
    EXPECT_EQ(parts[3]["storedSize"], switches[3] - switches[2]);
    EXPECT_EQ(parts[1]["items"][0]["number"], 1);
    EXPECT_EQ(parts[2]["items"][0]["number"], 2);
    Json const & third = parts[3]["items"][0];
    EXPECT_EQ(third["number"], 3);
    EXPECT_EQ(third["items"][0]["perhaps"].back()["number"], 2) << third;
    EXPECT_EQ(objectsOf(parsed(showFile({"--raw", "--json"}))["streams"][0]).size(), 1u);

    std::string const mixed = directory.content("s");
    std::string const stream = mixed.substr(static_cast<std::size_t>(switches[2]));
    for (Names const & options : {Names{}, Names{"--inflate"}}) {
        EXPECT_EQ(show(stream, options).status, 0);
        Outcome const cut = show(stream.substr(0, stream.size() - 1), options);
        EXPECT_EQ(cut.status, 2);
        EXPECT_NE(cut.err.find("damaged or cut off"), std::string::npos) << cut.err;
        EXPECT_NE(cut.out.find("#1 Test::Parcel at 1"), std::string::npos) << cut.out;
    }
    EXPECT_EQ(show("no stream", {"--inflate"}).status, 2);
    EXPECT_EQ(runProgram(directory, {"stream", "-"}, mixed).out, show(mixed).out);
}

TEST_F(Stream, ShowsOneResourceOrAll) {
    {
        ResourceFile file(directory.name("s").c_str(), GIO::ReadWriteMode);
        Parcel one(10), two(2);
        ASSERT_TRUE(file.put(&one, GResourceFullName(GString("d"), "one", "P"), false));
        ASSERT_TRUE(file.put(&two, GResourceFullName(GString("d"), "two", "P"), false));
        ASSERT_TRUE(file.flush());
    }
    Outcome const all = showFile();
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_EQ(all.out.find("d/one,P\n  #1 Test::Parcel at 1, "), 0u) << all.out;
    EXPECT_NE(all.out.find("d/two,P\n  #1 Test::Parcel at 1, "), std::string::npos) << all.out;
    EXPECT_EQ(showFile({"d/two,P"}).out, all.out.substr(all.out.find("d/two,P")));
    EXPECT_EQ(showFile({"d/three,P"}).status, 3);
    EXPECT_EQ(runProgram(directory, {"stream", "missing"}).status, 3);

    std::string bytes = directory.content("s");
    bytes[8 + 102] = '\xFF'; // the first block, behind an empty directory
    Outcome const damaged = show(bytes);
    EXPECT_EQ(damaged.status, 2);
    EXPECT_NE(damaged.err.find("ondrel: s d/one,P: "), std::string::npos) << damaged.err;
    EXPECT_EQ(damaged.err.find("d/two,P"), std::string::npos) << damaged.err;
    EXPECT_EQ(show(bytes, {"d/two,P"}).status, 0);
}

/// Whatever takes more than linear time does not end within that of a test.
TEST_F(Stream, EndsWithStreamsThatAreMadeToTakeLong) {
    std::size_t const count = 100000;
    std::string const front = prefix + text("T");
    auto const nested = [&](std::size_t depth) {
        std::string bytes, back;
        for (std::size_t i = 0; i < depth; ++i) {
            bytes += front;
            back += suffix;
            back += number(7 * depth + 11 * i + 4 - 7 * (depth - 1 - i), 4) + text("T");
        }
        return bytes + back;
    };
    Outcome const deep = show(nested(count));
    EXPECT_EQ(deep.status, 0) << deep.err;
    EXPECT_NE(deep.out.find("#100000 T at 699993, 18 bytes"), std::string::npos);
    EXPECT_LT(deep.out.size(), 200 * count);
    EXPECT_TRUE(Json::accept(show(nested(5000), {"--json"}).out));

    Outcome const open = show(nested(count).substr(0, 7 * count));
    EXPECT_EQ(open.status, 2);
    EXPECT_NE(open.err.find("99990 breaks more"), std::string::npos) << open.err;

    // Suffixes that all lead to one prefix, or to none; and names that are compared to their ends.
    std::string const name = std::string(1000, 'n');
    std::string many = prefix + text(name);
    for (std::size_t i = 0; i < count; ++i) {
        many += suffix;
        many += number(i % 3 == 0 ? many.size() : i, 4);
        if (i % 200 == 0)
            many += text(name.substr(1) + 'm');
    }
    EXPECT_EQ(show(many).status, 2);
    // Blocks that begin like compressed ones at every place.
    EXPECT_EQ(show(std::string(count, '\x02')).status, 0);
}

} // namespace
