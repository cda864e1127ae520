// Work on resource files from the command line. The files are made by the library and by hand, and
// what a command leaves is read by the library.
#include "tests/tools/program_support.h"

#include "foundation/GStringCollection.h"
#include "persistence/ResourceFile.h"
#include "persistence/ResourceFileFormat.h"
#include "persistence/mpstream.h"
#include "persistence/zpstream.h"

#include <nlohmann/json.hpp>

#include <map>
#include <random>

using Names = std::vector<std::string>;
using Json = nlohmann::json;

namespace {

std::string noise(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes;
    while (bytes.size() < size)
        bytes += static_cast<char>(random());
    return bytes;
}

GResourceFullName named(std::string const & readable) {
    GResourceFullName name;
    name.parse_readable_form(GString(("\\" + readable).c_str()));
    return GResourceFullName(name.subpath(1), name.name, name.type);
}

/// Stores bytes, not compressed unless told.
void store(ResourceFile & file, std::string const & address, std::string const & bytes,
           unsigned flags = 0) {
    std::string copy = bytes;
    auto const size = static_cast<long>(copy.size());
    impstream stream(copy.data(), size, GIO::ReadMode);
    ASSERT_TRUE(file.copy_from(named(address), stream, size, flags));
}

class Pack : public testing::Test {
  protected:
    Outcome pack(Names arguments, std::string const & input = "") const {
        arguments.insert(arguments.begin(), "pack");
        return runProgram(directory, arguments, input);
    }
    int status(Names const & arguments) const { return pack(arguments).status; }
    Json json(Names arguments) const {
        arguments.push_back("--json");
        Outcome const outcome = pack(arguments);
        EXPECT_EQ(outcome.err, "");
        return Json::parse(outcome.out, nullptr, false);
    }
    Names addresses(std::string const & name) const {
        Names result;
        Json const listed = json({"list", name})["resources"];
        for (Json const & resource : listed)
            result.push_back(resource["address"]);
        return result;
    }
    std::string bytes(std::string const & name, std::string const & address) const {
        return pack({"get", name, address}).out;
    }
    /// Three generations: a and below/b; a again; an object.
    void makeFile() const {
        ResourceFile file(directory.name("w").c_str(), GIO::ReadWriteMode);
        store(file, "a,T", noise(3000, 1), ResourceFile::CopyCompress);
        store(file, "below\\b,T", noise(2000, 2), ResourceFile::CopyCompress);
        ASSERT_TRUE(file.flush());
        store(file, "a,T", noise(3000, 3), ResourceFile::CopyCompress);
        ASSERT_TRUE(file.flush());
        GStringCollection object;
        ASSERT_TRUE(file.put(&object, named("c,Names"), false));
        ASSERT_TRUE(file.flush());
    }
    /// Changes some bytes of a file.
    void damage(std::string const & name, long at, std::string const & with = "damaged!") const {
        std::string content = directory.content(name);
        content.replace(static_cast<std::size_t>(at), with.size(), with);
        directory.put(name, content);
    }
    /// Its first bits are those of no stream.
    void breakBlock(std::string const & name, std::string const & address) const {
        damage(name, offset(name, address), "\xFF");
    }
    long offset(std::string const & name, std::string const & address) const {
        Json const listed = json({"list", name})["resources"];
        for (Json const & resource : listed)
            if (resource["address"] == address)
                return resource["offset"];
        ADD_FAILURE() << address;
        return 0;
    }

    TemporaryDirectory directory;
};

/// A file whose items lie where they are told, by the name of each.
std::string fileBySay(TemporaryDirectory const & place, std::map<std::string, long> const & offsets,
                      std::int32_t size, std::string const & blocks, bool isOld = false) {
    GResourceDirectory root;
    auto * const type = new ResourceTypeItem(GString("T"));
    root.insert(type);
    for (auto const & [name, at] : offsets) {
        auto * const item = new ResourceItem(GString(name.c_str()));
        item->offset = static_cast<std::int32_t>(at);
        item->size = item->rawSize = size;
        item->compressed = 0;
        type->makeItems().insert(item);
    }
    std::string const name = place.name("bySay");
    auto const position = static_cast<std::uint32_t>(8 + blocks.size());
    ozpstream out(name.c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone, 3);
    out.turn_to_norm();
    resource_file::writeMagic(out);
    out.writeDWord(isOld ? position : resource_file::currentFormat);
    out.writeBytes(blocks.data(), static_cast<long>(blocks.size()));
    out.turn_to_comp(!isOld);
    out.writePointer(&root);
    out.turn_to_norm();
    auto const trailer = resource_file::makeTrailer(position);
    for (int i = 0; i < 2 && !isOld; ++i)
        out.writeBytes(trailer.data(), static_cast<long>(trailer.size()));
    out.flush();
    return "bySay";
}

} // namespace

TEST_F(Pack, BytesGoInAndComeOut) {
    std::string const content = std::string(50000, 'x') + noise(50000, 1);
    directory.put("input", content);
    EXPECT_EQ(status({"put", "new", "houses/north/one,House", "input"}), 0);
    EXPECT_EQ(pack({"put", "new", "two,", "-", "--stored"}, "stored").status, 0);
    EXPECT_EQ(bytes("new", "houses/north/one,House"), content);
    EXPECT_EQ(status({"get", "new", "two,", "-o", "out"}), 0);
    EXPECT_EQ(directory.content("out"), "stored");
    EXPECT_EQ(status({"get", "new", "two,", "-o", "out"}), 3);

    Json const listed = json({"list", "new"})["resources"];
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_EQ(listed[0]["path"], (Names{"houses", "north"}));
    EXPECT_EQ(listed[0]["name"], "one");
    EXPECT_EQ(listed[0]["type"], "House");
    EXPECT_EQ(listed[0]["rawSize"], 100000);
    EXPECT_LT(listed[0]["size"], 70000);
    EXPECT_EQ(listed[0]["compressed"], true);
    EXPECT_EQ(listed[1]["compressed"], false);
    std::string const stored = pack({"get", "new", listed[0]["address"], "--stored"}).out;
    EXPECT_EQ(stored, directory.content("new").substr(listed[0]["offset"], listed[0]["size"]));
    EXPECT_EQ(runProgram(directory, {"inflate", "-"}, stored).out, content);
    EXPECT_EQ(namesIn(directory), (Names{"input", "new", "out"}));
}

TEST_F(Pack, ListsTheClassesOfObjects) {
    makeFile();
    Json const listed = json({"list", "w"})["resources"];
    ASSERT_EQ(listed.size(), 3u);
    EXPECT_TRUE(listed[0]["class"].is_null());
    EXPECT_EQ(listed[2]["class"], "GStringCollection");
    std::string const text = pack({"list", "w"}).out;
    EXPECT_NE(text.find("below/b,T"), std::string::npos) << text;
    EXPECT_NE(text.find("GStringCollection"), std::string::npos) << text;
    // The bytes of an object, stored under another name, are that object.
    EXPECT_EQ(pack({"put", "w", "copy,Names", "-"}, bytes("w", "c,Names")).status, 0);
    ResourceFile file(directory.name("w").c_str(), GIO::ReadMode);
    std::unique_ptr<GStreamable> const object(file.get(named("copy,Names"), false));
    ASSERT_TRUE(object);
    EXPECT_STREQ(object->getMetaClass().getName(), "GStringCollection");
}

TEST_F(Pack, EveryResourceHasAnAddress) {
    {
        ResourceFile file(directory.name("w").c_str(), GIO::ReadWriteMode);
        std::string const odd = "a/b\\c,d%e \n\x80\xC3\xA4";
        impstream stream(const_cast<char *>("x"), 1, GIO::ReadMode);
        GResourcePath path{GString()};
        path += GString(odd.c_str());
        ASSERT_TRUE(file.copy_from(
            GResourceFullName(path, GString(odd.c_str()), GString(odd.c_str())), stream, 1, 0));
    }
    std::string const part = "a%2Fb%5Cc%2Cd%25e%20%0A%80\xC3\xA4";
    std::string const address = "/" + part + "/" + part + "," + part;
    EXPECT_EQ(addresses("w"), (Names{address}));
    EXPECT_EQ(bytes("w", address), "x");
    for (char const * wrong : {"a", "a/", "a%2,b", "a%zz,b", "a,b%00"})
        EXPECT_EQ(status({"get", "w", wrong}), 64) << wrong;
}

TEST_F(Pack, RenamesAndRemoves) {
    makeFile();
    EXPECT_EQ(status({"rename", "w", "a,T", "new/place/a,U"}), 0);
    EXPECT_EQ(status({"rename", "w", "below/", "above/"}), 0);
    EXPECT_EQ(addresses("w"), (Names{"above/b,T", "c,Names", "new/place/a,U"}));
    EXPECT_EQ(status({"rename", "w", "c,Names", "above/b,T"}), 3);
    EXPECT_EQ(status({"rename", "w", "new/", "above/"}), 3);
    EXPECT_EQ(status({"rename", "w", "above/", "above/below/"}), 3);
    EXPECT_EQ(status({"rename", "w", "none,T", "x,T"}), 3);
    EXPECT_EQ(status({"rename", "w", "c,Names", "above/"}), 64);
    EXPECT_EQ(status({"remove", "w", "none,T"}), 3);
    EXPECT_EQ(status({"remove", "w", "none/"}), 3);
    EXPECT_EQ(pack({"put", "w", "c,Names", "-"}, "x").status, 3);
    EXPECT_EQ(addresses("w").size(), 3u);
    EXPECT_EQ(status({"rename", "w", "c,Names", "above/b,T", "--force"}), 0);
    EXPECT_EQ(status({"remove", "w", "new/"}), 0);
    EXPECT_EQ(addresses("w"), (Names{"above/b,T"}));
    EXPECT_EQ(pack({"put", "w", "above/b,T", "-", "-f"}, "new").status, 0);
    EXPECT_EQ(bytes("w", "above/b,T"), "new");
    EXPECT_EQ(status({"remove", "w", "above/b,T"}), 0);
    EXPECT_EQ(addresses("w"), Names());
}

TEST_F(Pack, CheckTellsDeadSpaceFromDamage) {
    makeFile();
    Json found = json({"check", "w"});
    EXPECT_EQ(status({"check", "w"}), 1);
    EXPECT_EQ(found["status"], "dead space");
    EXPECT_EQ(found["resources"], 3);
    EXPECT_GT(found["dead"], 3000);
    EXPECT_EQ(found["behindEnd"], 0);
    directory.put("torn", directory.content("w") + "torn");
    EXPECT_EQ(json({"check", "torn"})["behindEnd"], 4);
    EXPECT_EQ(json({"check", "torn"})["dead"], int(found["dead"]) + 4);

    ASSERT_EQ(status({"compact", "w"}), 0);
    found = json({"check", "w"});
    EXPECT_EQ(status({"check", "w"}), 0);
    EXPECT_EQ(found["dead"], 0);
    EXPECT_EQ(found["damages"], Json::array());

    breakBlock("w", "below/b,T");
    found = json({"check", "w"});
    EXPECT_EQ(status({"check", "w"}), 2);
    EXPECT_EQ(status({"get", "w", "below/b,T", "-o", "out"}), 2);
    EXPECT_FALSE(directory.has("out"));
    EXPECT_EQ(status({"get", "w", "a,T", "-o", "out"}), 0);
    ASSERT_EQ(found["damages"].size(), 1u);
    EXPECT_EQ(found["damages"][0]["address"], "below/b,T");
}

TEST_F(Pack, CheckTellsWhatOverlapsOrLiesOutside) {
    std::string const blocks(30, 'b');
    struct {
        std::map<std::string, long> offsets;
        char const * address;
        char const * problem;
    } const cases[] = {
        {{{"a", 8}, {"b", 18}, {"c", 27}}, "c,T", "overlaps b,T"},
        {{{"a", 8}, {"b", 8}}, "b,T", "overlaps a,T"},
        {{{"a", 7}}, "a,T", "lies outside the section"},
        {{{"a", 33}}, "the directory", "overlaps a,T"},
        {{{"a", 5000}}, "a,T", "lies outside the section"},
        {{{"a", 0x7FFFFFFF}}, "a,T", "lies outside the section"},
    };
    for (auto const & now : cases) {
        std::string const name = fileBySay(directory, now.offsets, 10, blocks);
        Json const damages = json({"check", name})["damages"];
        ASSERT_FALSE(damages.empty()) << now.problem;
        EXPECT_EQ(damages[0]["address"], now.address);
        EXPECT_EQ(damages[0]["problem"], now.problem);
        std::string const before = directory.content(name);
        EXPECT_EQ(status({"compact", name}), 2);
        EXPECT_EQ(directory.content(name), before);
    }
    EXPECT_EQ(status({"check", fileBySay(directory, {{"a", 8}, {"b", 28}, {"c", 18}}, 10, blocks)}),
              0);
    EXPECT_EQ(namesIn(directory), (Names{"bySay"}));
}

TEST_F(Pack, CompactKeepsAllThatIsNeeded) {
    makeFile();
    {
        ResourceFile file(directory.name("w").c_str(), GIO::ReadWriteMode);
        ASSERT_TRUE(file.create_directory(named("empty\\x,y")));
        ASSERT_TRUE(file.flush());
    }
    std::filesystem::permissions(directory.path() / "w", std::filesystem::perms(0640));
    std::string const a = bytes("w", "a,T"), b = bytes("w", "below/b,T"), c = bytes("w", "c,Names");
    Json const sizes = json({"compact", "w"});
    EXPECT_LT(sizes["sizeAfter"], sizes["sizeBefore"]);
    EXPECT_EQ(sizes["sizeAfter"], directory.content("w").size());
    EXPECT_EQ(bytes("w", "a,T"), a);
    EXPECT_EQ(bytes("w", "below/b,T"), b);
    EXPECT_EQ(bytes("w", "c,Names"), c);
    EXPECT_EQ(std::filesystem::status(directory.path() / "w").permissions(),
              std::filesystem::perms(0640));
    ResourceFile file(directory.name("w").c_str(), GIO::ReadMode);
    EXPECT_TRUE(file.directory_exists(named("empty\\x,y")));
    EXPECT_EQ(namesIn(directory), (Names{"w"}));
}

TEST_F(Pack, CompactKeepsWhatStandsInFrontAndLeavesTheOldFormat) {
    makeFile();
    std::string const front("FBxx\4\0\0\0what", 12);
    directory.put("behind", front + directory.content("w"));
    EXPECT_EQ(status({"compact", "behind"}), 0);
    EXPECT_EQ(directory.content("behind").substr(0, 12), front);
    EXPECT_TRUE(bytes("behind", "below/b,T") == noise(2000, 2));
    EXPECT_EQ(json({"check", "behind"})["base"], 12);

    std::string const old = fileBySay(directory, {{"a", 8}, {"b", 11}}, 3, "aaabbb", true);
    EXPECT_EQ(json({"check", old})["oldFormat"], true);
    EXPECT_EQ(status({"check", old}), 0);
    EXPECT_EQ(status({"compact", old}), 0);
    EXPECT_EQ(json({"check", old})["oldFormat"], false);
    EXPECT_EQ(bytes(old, "b,T"), "bbb");
}

TEST_F(Pack, AKilledCompactionLosesNothing) {
    {
        ResourceFile file(directory.name("w").c_str(), GIO::ReadWriteMode);
        for (int i = 0; i < 200; ++i) {
            store(file, std::to_string(i) + ",T", noise(20000, static_cast<unsigned>(i)));
            if (i % 20 == 0)
                file.flush();
        }
    }
    std::mt19937 random(5);
    for (int i = 0; i < 10; ++i) {
        runAndKill(directory, {"pack", "compact", "w"}, static_cast<int>(random() % 60000));
        Json const found = json({"check", "w"});
        EXPECT_EQ(found["resources"], 200);
        EXPECT_EQ(found["damages"], Json::array());
    }
    EXPECT_EQ(status({"compact", "w"}), 0); // whatever lies about
    EXPECT_EQ(status({"check", "w"}), 0);
    EXPECT_TRUE(bytes("w", "17,T") == noise(20000, 17));
}

TEST_F(Pack, ADamagedFileIsNotBegunAnew) {
    makeFile();
    long const end = static_cast<long>(directory.content("w").size());
    directory.put("nothing", "");
    directory.put("text", "some text that is no resource file");
    damage("w", end - 100); // within the newest directory
    std::string const before = directory.content("w");
    for (char const * name : {"w", "text"}) {
        EXPECT_EQ(status({"list", name}), 2) << name;
        EXPECT_EQ(status({"get", name, "a,T"}), 2) << name;
        EXPECT_EQ(pack({"put", name, "x,T", "-"}, "x").status, 2) << name;
        EXPECT_EQ(status({"remove", name, "a,T"}), 2) << name;
        EXPECT_EQ(status({"rename", name, "a,T", "b,T"}), 2) << name;
        EXPECT_EQ(status({"check", name}), 2) << name;
        EXPECT_EQ(status({"compact", name}), 2) << name;
    }
    EXPECT_EQ(directory.content("w"), before);
    EXPECT_EQ(status({"check", "nothing"}), 0);
    EXPECT_EQ(addresses("nothing"), Names());
    EXPECT_EQ(status({"list", "missing"}), 3);
    EXPECT_EQ(status({"remove", "missing", "a,T"}), 3);
    EXPECT_EQ(namesIn(directory), (Names{"nothing", "text", "w"}));
}

TEST_F(Pack, AFileInUseIsLeftAlone) {
    makeFile();
    ResourceFile const file(directory.name("w").c_str(), GIO::ReadWriteMode);
    EXPECT_EQ(pack({"put", "w", "x,T", "-"}, "x").status, 3);
    EXPECT_EQ(status({"compact", "w"}), 3);
    EXPECT_EQ(status({"check", "w"}), 3);
}

TEST_F(Pack, RecoverTakesAnOlderBlockInPlaceOfADamagedOne) {
    makeFile();
    EXPECT_EQ(status({"recover", "w", "whole"}), 0);
    EXPECT_EQ(addresses("whole"), (Names{"a,T", "below/b,T", "c,Names"}));
    ASSERT_EQ(status({"remove", "w", "c,Names"}), 0); // removed for good
    breakBlock("w", "a,T");
    breakBlock("w", "below/b,T");
    Json const found = json({"recover", "w", "out"});
    EXPECT_EQ(found["older"], (Names{"a,T"}));
    EXPECT_EQ(found["lost"], (Names{"below/b,T"}));
    EXPECT_EQ(found["unnamed"], 0);
    EXPECT_EQ(addresses("out"), (Names{"a,T"}));
    EXPECT_TRUE(bytes("out", "a,T") == noise(3000, 1));
    EXPECT_EQ(status({"check", "out"}), 0);
    EXPECT_EQ(status({"recover", "w", "out"}), 3);
    EXPECT_EQ(status({"recover", "w", "out", "-f"}), 2);
    EXPECT_EQ(status({"recover", "w", "w", "-f"}), 64);
}

TEST_F(Pack, RecoverFindsWhatNoReadableDirectoryNames) {
    makeFile();
    std::string const object = bytes("w", "c,Names");
    std::string const whole = directory.content("w");
    long const at = offset("w", "c,Names");
    damage("w", static_cast<long>(whole.size()) - 100);
    Json const found = json({"recover", "w", "out"});
    EXPECT_EQ(found["directoryRead"], false);
    EXPECT_EQ(found["unnamed"], 1);
    std::string const lost = "lost/block-" + std::to_string(at) + ",GStringCollection";
    EXPECT_EQ(addresses("out"), (Names{"a,T", "below/b,T", lost}));
    EXPECT_TRUE(bytes("out", "a,T") == noise(3000, 3));
    EXPECT_EQ(bytes("out", lost), object);

    // The first bytes are gone.
    directory.put("headless", "damaged!" + whole.substr(8));
    EXPECT_EQ(status({"recover", "headless", "all"}), 2);
    EXPECT_EQ(addresses("all"), (Names{"a,T", "below/b,T", "c,Names"}));

    // A directory without a trailer, in a file whose first words lead nowhere else.
    std::string const single = fileBySay(directory, {{"a", 8}}, 10, noise(10, 1));
    directory.put("single",
                  directory.content(single).substr(0, directory.content(single).size() - 2 * 24));
    EXPECT_EQ(status({"recover", "single", "one"}), 2);
    EXPECT_TRUE(bytes("one", "a,T") == noise(10, 1));

    directory.put("noise", noise(20000, 9));
    EXPECT_EQ(status({"recover", "noise", "none"}), 2);
    EXPECT_FALSE(directory.has("none"));
}

TEST_F(Pack, AnyDamageHasAnAnswer) {
    makeFile();
    std::string const whole = directory.content("w");
    std::mt19937 random(11);
    for (int i = 0; i < 40; ++i) {
        std::string content = whole;
        for (unsigned j = random() % 4 + 1; j > 0; --j)
            content[random() % content.size()] = static_cast<char>(random());
        if (i % 3 == 0)
            content.resize(random() % content.size());
        directory.put("w", content);
        for (Names const & arguments :
             {Names{"check", "w"}, Names{"list", "w"}, Names{"recover", "w", "out", "-f"}}) {
            Outcome const outcome = pack(arguments);
            EXPECT_TRUE(outcome.status >= 0 && outcome.status <= 3)
                << i << ' ' << arguments[0] << ' ' << outcome.status << ' ' << outcome.err;
        }
        if (directory.has("out")) {
            EXPECT_EQ(status({"check", "out"}), 0) << i;
        }
        EXPECT_EQ(directory.content("w"), content);
    }
}
