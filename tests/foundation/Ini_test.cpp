// Chains of files of settings: who wins, what fills itself in, and which files come along.
#include "../TemporaryDirectory.h"
#include "foundation/GFile.h"
#include "foundation/Ini.h"
#include "persistence/RedirectionFile.h"
#include "persistence/fpstream.h"
#include "platform/FileSystem.h"
#include "platform/Modules.h"

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <string>

using Tavlin::Ini;

namespace {

class IniChain : public testing::Test {
  protected:
    /// The keys of the topic Files in the order of the chain: each test file has one of its own.
    std::string files(Ini const & ini) {
        GStringCollection keys;
        ini.getKeyList("Files", keys);
        std::string result;
        for (long i = 0; i < keys.getCount(); ++i)
            result += (i ? " " : "") + std::string(keys[i]);
        return result;
    }
    std::string put(std::string const & name, std::string const & includes) {
        std::string const key = std::filesystem::path(name).stem().string();
        return directory_.put(name, "[Include]\n" + includes + "\n[Files]\n" + key + "\n");
    }

    TemporaryDirectory directory_;
};

} // namespace

TEST_F(IniChain, TakesTheFirstFileThatHasTheKey) {
    directory_.put("more.ini", "[Game]\nspeed=2\nlives=3\nname= Bob\ngravity= 9.5\nhard=on\n");
    Ini ini(directory_.put("game.ini", "[Include]\nmore.ini\n[Game]\nspeed=1\n").c_str());
    EXPECT_EQ(ini.getInt("Game", "speed", 7), 1);
    EXPECT_EQ(ini.getInt("Game", "lives", 7), 3);
    EXPECT_EQ(ini.getString(nullptr, "name", "x"), " Bob") << "null is the default section";
    EXPECT_EQ(ini.getFloat("Game", "gravity", 1), 9.5f);
    EXPECT_TRUE(ini.getBool("Game", "hard", false));

    // A change goes where the key is, a new key into the first file.
    ini.writeInt("Game", "lives", 4);
    ini.writeFloat("Game", "gravity", 1e-7f);
    ini.setBoolean("Game", "hard", 0);
    ini.setValue("Game", "level", 5L);
    EXPECT_EQ(directory_.content("more.ini"),
              "[Game]\nspeed=2\nlives=4\nname= Bob\ngravity=1e-07\nhard=no\n");
    EXPECT_EQ(directory_.content("game.ini"), "[Include]\nmore.ini\n[Game]\nlevel=5\nspeed=1\n");
    float gravity = 0;
    EXPECT_TRUE(ini.getValue("Game", "gravity", gravity));
    EXPECT_EQ(gravity, 1e-7f);
    EXPECT_FALSE(ini.getValue("Game", "nothing", gravity));
}

TEST_F(IniChain, FillsInWhatIsMissing) {
    directory_.put("more.ini", "");
    Ini ini(directory_.put("game.ini", "[Include]\nmore.ini\n").c_str());
    EXPECT_EQ(ini.getInt("Game", "a", 7, true), 7);
    ini.forceVars(false);
    EXPECT_EQ(ini.getString("Game", "b", "x"), "x");
    EXPECT_EQ(directory_.content("game.ini"), "[Include]\nmore.ini\n");
    ini.forceVars(true);
    ini.defaultSection("Own");
    EXPECT_EQ(ini.getInt(nullptr, "c", -7), -7);
    EXPECT_TRUE(ini.getBool(nullptr, "d", true));
    EXPECT_EQ(ini.getString(nullptr, "e", "text"), "text");
    EXPECT_EQ(ini.getFloat(nullptr, "f", 0.25f), 0.25f);
    EXPECT_EQ(directory_.content("game.ini"),
              "[Include]\nmore.ini\n[Own]\nf=0.25\ne=text\nd=yes\nc=-7\n");
    EXPECT_EQ(directory_.content("more.ini"), "");
}

TEST_F(IniChain, LeavesValuesThatItDoesNotUnderstand) {
    std::string const content = "[Game]\nflag=maybe\nbig=99999999999\n";
    Ini ini(directory_.put("game.ini", content).c_str());
    EXPECT_TRUE(ini.getBool("Game", "flag", true));
    EXPECT_FALSE(ini.getBool("Game", "flag", false));
    EXPECT_EQ(ini.getInt("Game", "big", 1), INT_MAX);
    EXPECT_EQ(directory_.content("game.ini"), content);
}

TEST_F(IniChain, FollowsIncludesDepthFirst) {
    put("sub/b.ini", "c.ini\t../d.ini ; behind.ini");
    put("sub/c.ini", "b.ini;../game.ini"); // both are here
    put("d.ini", "");
    put("sub/ behind.ini", "");
    put("e.ini", "a<b.ini\nno such.ini\nsub\n*.ini");
    std::string const includes = "sub/b.ini\r\n" + directory_.name("e.ini") + "\nd.ini";
    Ini ini(put("game.ini", includes).c_str());
    EXPECT_EQ(files(ini), "game b c d behind e");
    ini.supportIncludes(false);
    ini.setStorage(directory_.name("game.ini").c_str());
    EXPECT_EQ(files(ini), "game");
}

TEST_F(IniChain, ReadsAFileOnceUnderWhateverName) {
    namespace fs = std::filesystem;
    put("other.ini", "");
    fs::create_directory_symlink(directory_.path(), directory_.path() / "x");
    fs::create_directory_symlink(directory_.path(), directory_.path() / "y");
    fs::create_hard_link(directory_.name("other.ini"), directory_.path() / "same.ini");
    Ini const ini(put("game.ini", "x/game.ini\ny/game.ini\nx/y/other.ini\nsame.ini").c_str());
    EXPECT_EQ(files(ini), "game other");
}

TEST_F(IniChain, EndsAtADepthAndTakesAThousandFiles) {
    for (int i = 0; i < 70; ++i)
        put("deep/" + std::to_string(i) + ".ini", std::to_string(i + 1) + ".ini");
    Ini ini(directory_.name("deep/0.ini").c_str());
    std::string const chain = files(ini);
    EXPECT_TRUE(chain.ends_with(" 63 64")) << chain;

    std::string includes;
    for (int i = 0; i < 1000; ++i) {
        put("wide/" + std::to_string(i) + ".ini", "");
        includes += std::to_string(i) + ".ini\n";
    }
    for (int i = 0; i < 200000; ++i) // bounded
        includes += "nothing\n";
    ini.setStorage(put("wide/game.ini", includes + "999.ini").c_str());
    EXPECT_TRUE(files(ini).ends_with(" 998 999"));
}

TEST_F(IniChain, AsksTheRedirectionForFilesThatAreNotThere) {
    put("cd/far.ini", "");
    put("cd/game.ini", "nowhere/far.ini");
    std::string const places = "*.ini=" + directory_.name("cd") + "\n";
    fpbase::SetRedirectionFile(directory_.put("redirect.txt", places).c_str());
    EXPECT_EQ(files(Ini("game.ini")), "game far");
    GInitializationFile file("far.ini");
    file.setValue("Files", "added", "");
    EXPECT_TRUE(file.update());
    fpbase::SetRedirectionFile(static_cast<RedirectionFile *>(nullptr));
    EXPECT_EQ(directory_.content("cd/far.ini"), "[Include]\n\n[Files]\nadded=\nfar\n")
        << "it is saved where it was read";
}

TEST_F(IniChain, LiesBesideTheProgramWithoutAName) {
    char program[4096];
    ASSERT_GT(platform::programPath(program, sizeof program), 0ul);
    GFile name(program);
    name.replace_extension("INI");
    ASSERT_FALSE(name.exists()) << name.c_str();
    Ini().writeInt("Game", "a", 1);
    GString text;
    EXPECT_TRUE(GInitializationFile(name.c_str()).getTopic("Game", text));
    EXPECT_EQ(text, "a=1\n");
    platform::removeFile(name.c_str());
}

TEST_F(IniChain, IsTheDefaultAsLongAsItLives) {
    EXPECT_EQ(Ini::Get(), nullptr);
    {
        Ini ini(directory_.name("game.ini").c_str());
        ini.setDefault();
        EXPECT_EQ(Ini::Get(), &ini);
    }
    EXPECT_EQ(Ini::Get(), nullptr);
    EXPECT_FALSE(directory_.has("game.ini")) << "nothing was asked";
}
