// Scripts that are run and shown without a host.
#include "tests/tools/program_support.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

std::string const lamp = "#include more.inc\n"
                         "lit := 0\n"
                         "State Dark\n{\n"
                         "Method Switch\n{\nlit = 1\nClick(2.5, \"on\")\ngoto Bright\n}\n}\n"
                         "State Bright\n{\n"
                         "Method Step\n{\ncount = count + 1\n}\n}\n";

Outcome run(TemporaryDirectory const & folder, std::vector<std::string> arguments,
            std::string const & input = "") {
    arguments.insert(arguments.begin(), {"run", "lamp.aut"});
    return runProgram(folder, arguments, input);
}

TEST(RunScript, TellsEventsCallsStatesAndValuesInTheirOrder) {
    TemporaryDirectory const folder;
    folder.put("lamp.aut", lamp);
    folder.put("more.inc", "count := 7\n");
    Outcome const done = run(folder, {"--steps", "4", "--dt", "0.5", "--event", "Switch@1"});
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.out, "    0.000  state  Dark\n"
                        "    0.000  value  count = 7\n"
                        "    0.000  value  lit = 0\n"
                        "    1.000  event  Switch\n"
                        "    1.000  call   Click(2.5, \"on\")\n"
                        "    1.000  state  Dark -> Bright\n"
                        "    1.000  value  lit = 1\n"
                        "    1.500  value  count = 8\n"
                        "    2.000  value  count = 9\n");
}

TEST(RunScript, TakesEventsFromThePromptUntilToldToQuit) {
    TemporaryDirectory const folder;
    folder.put("lamp.aut", lamp);
    Outcome const done = run(folder, {"--steps", "1000000", "--prompt"}, "Switch\nUnknown\nquit\n");
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_NE(done.out.find("state  Dark -> Bright"), std::string::npos) << done.out;
    EXPECT_NE(done.out.find("call   Unknown()"), std::string::npos);
}

TEST(RunScript, TellsWaitsThatAreOver) {
    TemporaryDirectory const folder;
    folder.put("lamp.aut", "Method Start\n{\ndoAfter(0.5, Ring())\n}\n");
    Outcome const done = run(folder, {"--steps", "3", "--dt", "0.25"});
    EXPECT_EQ(done.out, "    0.000  state  none\n"
                        "    0.500  after  do call Ring to () after 0.5\n"
                        "    0.500  call   Ring()\n");
}

TEST(RunScript, ReadsAChangedIncludeAgainAndKeepsValues) {
    TemporaryDirectory const folder;
    folder.put("lamp.aut", lamp);
    folder.put("more.inc", "count := 7\n");
    auto const change = [&] {
        folder.put("more.inc", "count := 1\nextra := 5\n");
        // A file system may keep time in steps as long as this test.
        std::filesystem::path const file = folder.path() / "more.inc";
        std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) +
                                                   std::chrono::seconds(2));
    };
    auto const empty = [&] { folder.put("lamp.aut", ""); };
    Outcome const done =
        talk(folder, {"run", "lamp.aut", "--watch", "--prompt", "--steps", "2000000000"},
             {{"count = 7", {}, "Switch"},
              {"count = 8", change, ""},
              {"extra = 5", empty, ""},
              {"the former one goes on", {}, "quit"}});
    EXPECT_EQ(done.status, 0);
    std::size_t const again = done.out.find("the script has changed and is read again");
    ASSERT_NE(again, std::string::npos) << done.out;
    EXPECT_EQ(done.out.find("count = 1\n", again), std::string::npos);
    EXPECT_NE(done.out.find("lit = 1\n", again), std::string::npos);
}

TEST(RunScript, WatchesForAnIncludeThatIsMissingAndForOneThatIsTakenAway) {
    TemporaryDirectory const folder;
    folder.put("a;b *.c/lamp.aut", lamp);
    std::string const name = "a;b *.c/more.inc";
    Outcome const done =
        talk(folder, {"run", "a;b *.c/lamp.aut", "--watch", "--prompt", "--steps", "2000000000"},
             {{"lit = 0", [&] { folder.put(name, "count := 7\n"); }, ""},
              {"count = 7", [&] { std::filesystem::remove(folder.path() / name); }, ""},
              {"is read again", {}, "quit"}});
    EXPECT_EQ(done.status, 0) << done.out;
}

TEST(RunScript, TellsEventsThatTheRunDoesNotReach) {
    TemporaryDirectory const folder;
    folder.put("lamp.aut", lamp);
    Outcome const done = run(folder, {"--steps", "2", "--event", "Switch@5"});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.err, "the run ends before event Switch at 5 seconds\n");
    EXPECT_EQ(run(folder, {"--dt", "nan"}).status, 64);
}

TEST(RunScript, RefusesWhatItCannotReadOrUnderstand) {
    TemporaryDirectory const folder;
    EXPECT_EQ(run(folder, {}).status, 3);
    folder.put("lamp.aut", "State A B // swallows the last line end");
    Outcome const bad = run(folder, {"--steps", "1"});
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.err.find("lamp.aut:1:9: syntax error\n"), 0u) << bad.err;
    for (char const * const event : {"Switch", "@1", "Switch@", "Switch@soon", "Switch@-1"})
        EXPECT_EQ(run(folder, {"--event", event}).status, 64) << event;
}

TEST(DumpScript, PrintsWhatWasUnderstood) {
    TemporaryDirectory const folder;
    folder.put("lamp.aut", lamp);
    Outcome const shown = runProgram(folder, {"dump", "lamp.aut"});
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_NE(shown.out.find("goto Bright"), std::string::npos) << shown.out;
    EXPECT_EQ(runProgram(folder, {"dump", "absent.aut"}).status, 3);
}

} // namespace
