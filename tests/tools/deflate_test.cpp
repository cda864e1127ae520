// Compressing and restoring files from the command line, and what must be left when it fails.
#include "platform/Version.h"
#include "tests/tools/program_support.h"

#include <nlohmann/json.hpp>

#include <random>

using Names = std::vector<std::string>;

namespace {

/// Text that repeats itself, then bytes that do not.
std::string mixed(std::size_t size) {
    std::mt19937 random(7);
    std::string text;
    while (text.size() < size / 2)
        text += "villager " + std::to_string(random() % 500) + " goes to the bakery\n";
    while (text.size() < size)
        text += static_cast<char>(random());
    return text;
}

} // namespace

TEST(Deflate, AFileComesBackAndTheOriginalStays) {
    TemporaryDirectory directory;
    std::string const content = mixed(300000);
    directory.put("world", content);
    EXPECT_EQ(runProgram(directory, {"deflate", "world", "-l", "9"}).status, 0);
    EXPECT_EQ(directory.content("world"), content);
    EXPECT_LT(directory.content("world.flate").size(), content.size() * 3 / 4);
    std::filesystem::remove(directory.path() / "world");
    EXPECT_EQ(runProgram(directory, {"inflate", "world.flate"}).status, 0);
    EXPECT_EQ(directory.content("world"), content);
    EXPECT_EQ(namesIn(directory), (Names{"world", "world.flate"}));
}

TEST(Deflate, WorksBetweenPipes) {
    TemporaryDirectory directory;
    std::string const content = mixed(100000);
    Outcome const compressed = runProgram(directory, {"deflate", "-"}, content);
    EXPECT_EQ(compressed.status, 0);
    Outcome const restored = runProgram(directory, {"inflate", "-", "-o", "-"}, compressed.out);
    EXPECT_EQ(restored.status, 0);
    EXPECT_EQ(restored.out, content);
    EXPECT_EQ(runProgram(directory, {"deflate", "-"}, "").out, std::string("\2\0\0\1", 4));
}

TEST(Deflate, DamagedInputLeavesNoOutput) {
    TemporaryDirectory directory;
    directory.put("world", mixed(200000));
    ASSERT_EQ(runProgram(directory, {"deflate", "world", "-o", "whole"}).status, 0);
    std::string const whole = directory.content("whole");
    std::string broken = whole;
    for (std::size_t i = 1000; i < 1100; ++i)
        broken[i] = static_cast<char>(broken[i] ^ 0x55);
    directory.put("former", "as it was");
    for (std::string const & bytes : {std::string(), whole.substr(0, 1), whole.substr(0, 70000),
                                      whole.substr(0, whole.size() - 1), whole + "x", broken}) {
        directory.put("damaged.flate", bytes);
        Outcome const run = runProgram(directory, {"inflate", "damaged.flate"});
        EXPECT_EQ(run.status, 2) << bytes.size();
        EXPECT_NE(run.err.find("damaged.flate"), std::string::npos) << run.err;
        EXPECT_EQ(runProgram(directory, {"inflate", "damaged.flate", "-fo", "former"}).status, 2);
    }
    EXPECT_EQ(directory.content("former"), "as it was");
    EXPECT_EQ(namesIn(directory), (Names{"damaged.flate", "former", "whole", "world"}));
}

TEST(Deflate, ReplacesNothingUnlessForced) {
    TemporaryDirectory directory;
    directory.put("a", "new");
    directory.put("a.flate", "old");
    std::filesystem::permissions(directory.path() / "a.flate", std::filesystem::perms(0640));
    std::filesystem::create_symlink("a.flate", directory.path() / "link");
    Outcome const refused = runProgram(directory, {"deflate", "a"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_NE(refused.err.find("--force"), std::string::npos) << refused.err;
    EXPECT_EQ(directory.content("a.flate"), "old");
    EXPECT_EQ(runProgram(directory, {"deflate", "a", "-o", "link", "--force"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(directory.path() / "link"));
    EXPECT_EQ(std::filesystem::status(directory.path() / "a.flate").permissions(),
              std::filesystem::perms(0640));
    EXPECT_EQ(runProgram(directory, {"inflate", "a.flate", "-o", "-"}).out, "new");
    // An output that is the input itself.
    EXPECT_EQ(runProgram(directory, {"inflate", "a.flate", "-o", "a.flate", "-f"}).status, 0);
    EXPECT_EQ(directory.content("a.flate"), "new");
    EXPECT_EQ(namesIn(directory), (Names{"a", "a.flate", "link"}));
}

TEST(Deflate, TellsWhatCannotBeDone) {
    TemporaryDirectory directory;
    directory.put("a", "content");
    directory.put("below/b");
    struct {
        Names arguments;
        int status;
        char const * text;
    } const cases[] = {
        {{"deflate", "nothing"}, 3, "nothing: there is no such file"},
        {{"deflate", "below"}, 3, "below is a directory"},
        {{"deflate", "a", "-o", "below", "-f"}, 3, "below is a directory"},
        {{"deflate", "a", "-o", "nowhere/a"}, 3, "nowhere/a cannot be written"},
        {{"deflate", "a", "-o", "/dev/full", "-f"}, 3, "/dev/full cannot be written"},
        {{"inflate", "a"}, 64, "-o"},
        {{"deflate", "a", "-l", "10"}, 64, "--level"},
        {{"deflate", "a", "-o", "-", "--json"}, 64, "--json"},
        {{"deflate", "a", "--sideways"}, 64, "--sideways"},
        {{"deflate"}, 64, "FILE"},
        {{}, 64, "subcommand"},
    };
    for (auto const & now : cases) {
        Outcome const run = runProgram(directory, now.arguments);
        EXPECT_EQ(run.status, now.status) << now.text;
        EXPECT_NE(run.err.find(now.text), std::string::npos) << run.err;
        EXPECT_EQ(run.out, "") << now.text;
    }
    EXPECT_EQ(namesIn(directory), (Names{"a", "below"}));
}

TEST(Deflate, LeavesNothingWhenItIsBrokenOff) {
    TemporaryDirectory directory;
    directory.put("out", "as it was");
    EXPECT_EQ(stopAtFile(directory, {"deflate", "-", "-fo", "out"}, "out.part"), 130);
    EXPECT_EQ(directory.content("out"), "as it was");
    EXPECT_EQ(namesIn(directory), (Names{"out"}));
}

TEST(Deflate, TellsSizesToScripts) {
    TemporaryDirectory directory;
    directory.put("\"a\"\n\xFF", std::string(5000, 'x'));
    Outcome const run = runProgram(directory, {"deflate", "\"a\"\n\xFF", "-o", "b", "--json"});
    EXPECT_EQ(run.status, 0) << run.err;
    auto const json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json["input"], "\"a\"\n\xEF\xBF\xBD");
    EXPECT_EQ(json["output"], "b");
    EXPECT_EQ(json["inputSize"], 5000);
    EXPECT_EQ(json["outputSize"], directory.content("b").size());
}

TEST(Deflate, ShowsABarForLargeFilesOnATerminalOnly) {
    if (!terminalsExist())
        GTEST_SKIP() << "there are no pseudo-terminals here";
    TemporaryDirectory directory;
    directory.put("large", mixed(8 << 20));
    directory.put("small", "small");
    Outcome const shown = runOnTerminal(directory, {"deflate", "large"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_NE(shown.err.find("large ["), std::string::npos) << shown.err; // however fast it was
    EXPECT_EQ(shown.err.substr(shown.err.size() - 4), "\r\x1b[K");        // it goes in the end
    EXPECT_EQ(runOnTerminal(directory, {"deflate", "small"}).err, "");
    EXPECT_EQ(runProgram(directory, {"inflate", "large.flate", "-f"}).err, "");
}

TEST(Program, ExplainsItself) {
    TemporaryDirectory directory;
    EXPECT_EQ(runProgram(directory, {"--version"}).out, "ondrel " ONDREL_VERSION "\n");
    for (Names const & arguments :
         {Names{"--help"}, Names{"deflate", "--help"}, Names{"inflate", "-h"}}) {
        Outcome const run = runProgram(directory, arguments);
        EXPECT_EQ(run.status, 0);
        EXPECT_NE(run.out.find("Usage: "), std::string::npos) << run.out;
        EXPECT_NE(run.out.find("Exit statuses"), std::string::npos) << run.out;
    }
}
