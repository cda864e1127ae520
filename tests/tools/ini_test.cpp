// Settings from the command line, and that a change touches nothing else.
#include "tests/tools/program_support.h"

#include <nlohmann/json.hpp>

using Names = std::vector<std::string>;

namespace {

std::string const content = "; the game\r\n"
                            "\n"
                            "  stray words\n"
                            "[Game]\n"
                            "Speed = 3 ; fast\n"
                            "  Name=\tMill\r\n"
                            "[Sound]\n"
                            "=\n"
                            "no sign\n"
                            "[Game]\n"
                            "Speed=4\n"
                            "a/b=slash\n"
                            "50%=half\n" +
                            std::string("bin\0ary\n", 8) + "[Include]\nmore.ini ; and\nlast";

Outcome ini(TemporaryDirectory const & directory, Names arguments) {
    arguments.insert(arguments.begin(), "ini");
    return runProgram(directory, arguments);
}

std::string replaced(std::string text, std::string const & former, std::string const & now) {
    return text.replace(text.find(former), former.size(), now);
}

} // namespace

TEST(Ini, GetsWhatAProgramWouldRead) {
    TemporaryDirectory directory;
    directory.put("a.ini", content);
    directory.put("more.ini", "[Game]\nSpeed=9\nDepth= 7\n");
    struct {
        char const * address;
        char const * value;
    } const cases[] = {
        {"Game/Speed", "4\n"},  {"Game/a/b", "slash\n"}, {"Game/50%25", "half\n"},
        {"Game/Depth", " 7\n"}, {"Sound/no sign", "\n"}, {"G%61me/a%2Fb", "slash\n"},
        {"Include/last", "\n"},
    };
    for (auto const & c : cases) {
        Outcome const run = ini(directory, {"get", "a.ini", c.address});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, c.value);
    }
    Outcome const json = ini(directory, {"get", "a.ini", "Game/Depth", "--json"});
    EXPECT_EQ(nlohmann::json::parse(json.out),
              (nlohmann::json{
                  {"file", "a.ini"}, {"section", "Game"}, {"key", "Depth"}, {"value", " 7"}}));
    Outcome const alone = ini(directory, {"get", "a.ini", "Game/Depth", "--alone"});
    EXPECT_EQ(alone.status, 3);
    EXPECT_EQ(alone.err, "ondrel: a.ini has no Game/Depth\n");
    EXPECT_EQ(directory.content("a.ini"), content);
}

TEST(Ini, SetTouchesOneLineOnly) {
    TemporaryDirectory directory;
    std::string const whole = content + "\n"; // the last line gets its end
    struct {
        char const * address;
        char const * value;
        char const * former; // what it stands in place of
        char const * now;
    } const cases[] = {
        {"Game/Speed", "-5", "Speed=4\n", "Speed=-5\n"},
        {"Game/New one", "a = b;c", "Speed=4\n", "New one=a = b;c\nSpeed=4\n"},
        {"Sound/no sign", "now", "no sign\n", "no sign=now\n"},
        {"Game/a/b", "x", "a/b=slash\n", "a/b=x\n"},
        {"Other/Key", "1", "last\n", "last\n[Other]\nKey=1\n"},
    };
    for (auto const & c : cases) {
        directory.put("a.ini", content);
        Outcome const run = ini(directory, {"set", "a.ini", c.address, c.value});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(directory.content("a.ini"), replaced(whole, c.former, c.now)) << c.address;
    }
    EXPECT_EQ(namesIn(directory), (Names{"a.ini"}));
}

TEST(Ini, SetKeepsWhatIsKnownOfTheFile) {
    TemporaryDirectory directory;
    directory.put("a.ini", "[G]\r\nk=1\r\n");
    std::filesystem::permissions(directory.path() / "a.ini", std::filesystem::perms(0640));
    std::filesystem::create_symlink("a.ini", directory.path() / "link");
    EXPECT_EQ(ini(directory, {"set", "link", "G/k", "2"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(directory.path() / "link"));
    EXPECT_EQ(directory.content("a.ini"), "[G]\r\nk=2\r\n");
    EXPECT_EQ(std::filesystem::status(directory.path() / "a.ini").permissions(),
              std::filesystem::perms(0640));

    auto const before =
        std::filesystem::last_write_time(directory.path() / "a.ini") - std::chrono::hours(1);
    std::filesystem::last_write_time(directory.path() / "a.ini", before);
    Outcome const same = ini(directory, {"set", "a.ini", "G/k", "2", "--json"});
    EXPECT_EQ(nlohmann::json::parse(same.out)["former"], "2");
    EXPECT_EQ(std::filesystem::last_write_time(directory.path() / "a.ini"), before);

    Outcome const made = ini(directory, {"set", "new.ini", "G/k", "--json", "--", "--v"});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_FALSE(nlohmann::json::parse(made.out).contains("former"));
    EXPECT_EQ(directory.content("new.ini"), "[G]\nk=--v\n");
}

TEST(Ini, TellsWhatCannotBeDone) {
    TemporaryDirectory directory;
    directory.put("a.ini", "[G]\nk=1\n");
    directory.put("below/b");
    {
        std::ofstream large(directory.path() / "large", std::ios::binary);
        large.seekp(64L << 20);
        large << "[G]\n";
    }
    struct {
        Names arguments;
        int status;
        char const * text;
    } const cases[] = {
        {{"get", "nothing", "G/k"}, 3, "nothing: there is no such file"},
        {{"get", "below", "G/k"}, 3, "below is a directory"},
        {{"get", "large", "G/k"}, 3, "large cannot be read"},
        {{"get", "/dev/null", "G/k"}, 3, "/dev/null is no plain file"},
        {{"get", "a.ini", "G/K"}, 3, "a.ini has no G/K"},
        {{"get", "a.ini", "k"}, 64, "SECTION/KEY"},
        {{"get", "a.ini", "G/"}, 64, "SECTION/KEY"},
        {{"get", "a.ini", "G/k%"}, 64, "hexadecimal"},
        {{"get", "a.ini"}, 64, "SECTION/KEY"},
        {{"set", "large", "G/k", "2"}, 3, "large cannot be read"},
        {{"set", "below", "G/k", "2"}, 3, "below is a directory"},
        {{"set", "nowhere/a.ini", "G/k", "2"}, 3, "nowhere/a.ini cannot be written: No such file"},
        {{"set", "a.ini", "G/k", "1\nm=2"}, 64, "one line"},
        {{"set", "a.ini", "G/k=l", "2"}, 64, "a key has no ="},
        {{"set", "a.ini", "G/ k", "2"}, 64, "a key has no ="},
        {{"set", "a.ini", "G/;k", "2"}, 64, "a key has no ="},
        {{"set", "a.ini", "G/k%0Am", "2"}, 64, "a key has no ="},
        {{"set", "a.ini", "G]/k", "2"}, 64, "a section has no ]"},
        {{"set", "a.ini", "G/k"}, 64, "VALUE"},
        {{}, 64, "subcommand"},
    };
    for (auto const & now : cases) {
        Outcome const run = ini(directory, now.arguments);
        EXPECT_EQ(run.status, now.status) << now.text;
        EXPECT_NE(run.err.find(now.text), std::string::npos) << run.err;
        EXPECT_EQ(run.out, "") << now.text;
    }
    EXPECT_EQ(directory.content("a.ini"), "[G]\nk=1\n");
    EXPECT_EQ(namesIn(directory), (Names{"a.ini", "below", "large"}));
}
