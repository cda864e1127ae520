// What the linter says of scripts, and where. Each expectation is a place and a rule; the words are
// for people.
#include "tests/tools/program_support.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

nlohmann::json findingsOf(TemporaryDirectory const & folder, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"lint", "--json"});
    Outcome const done = runProgram(folder, arguments);
    EXPECT_EQ(done.err, "");
    return nlohmann::json::parse(done.out).at("findings");
}

/// "line:column rule" of each finding.
std::string placesOf(std::string const & script) {
    TemporaryDirectory const folder;
    folder.put("x.aut", script);
    std::string places;
    for (nlohmann::json const & finding : findingsOf(folder, {"x.aut"})) {
        if (!places.empty())
            places += ", ";
        places += std::to_string(finding.at("line").get<int>()) + ':' +
                  std::to_string(finding.at("column").get<int>()) + ' ' +
                  finding.at("rule").get<std::string>();
    }
    return places;
}

/// Lines in a method of a script that is sound: the first is line 6.
std::string inMethod(std::string const & lines) {
    return "n := 1\nState A\n{\nMethod Step\n{\n" + lines + "\n}\n}\n";
}

TEST(Lint, IsSilentAboutWhatDoesAsItSays) {
    EXPECT_EQ(placesOf("// A door, \"sound\".\n"
                       "home := 10 20; far := -5 -6\n"
                       "name := \"Room 2, left!\"\n"
                       "opened := 0 // a declaration needs no line end\n"
                       "Method Prepare\n{\n}\n"
                       "State Closed\n{\n"
                       "Method Touch\n{\n"
                       "if (opened == 0 && Ready('door'))\n\n{\n"
                       "opened = 1 - opened * (2 + 3)\n"
                       "goto Open /* here */\n"
                       "}\n"
                       "Move(f(1), home, -1)\n"
                       "doAfter(2.5, Shut())\n"
                       "}\n}\n"
                       "State Open\n{\n"
                       "Method Touch\n{\ngoto Closed\n}\n}"),
              "");
}

TEST(Lint, FindsWhatTheLanguageDoesInSilence) {
    struct Case {
        char const * lines;
        char const * places;
    } const cases[] = {
        {"n = 1 -2", "6:5 glued-point"},
        {"n = n + 1 2", "6:9 glued-point"},
        {"n = 1 2 * n", "6:5 glued-point"},
        {"Move(n, 1 2)", "6:9 point-argument"},
        {"Say(\"50%\")", "6:8 broken-text"},
        {"Say(\"http://x\")", "6:11 broken-text"},
        {"Say(\"open)", "6:5 broken-text"},
        {"Say('two words')", "6:5 broken-name"},
        {"n ! = 2", "6:3 unknown-operator"},
        {"n = 2 $$$", "6:7 dropped-character"},
        {"f(1, g(2, 3))", "6:6 foreign-arguments"},
        {"f(1, doAfter(1, g(2)))", "6:17 foreign-arguments"},
        {"if (n) goto A\n}", "6:1 open-if"},
        {"if (n)\nn = 2", "6:1 open-if"},
        {"if (n = 2)\n{\n}", "6:7 assignment"},
        {"goto B", "6:6 unknown-state"},
        {"m = 1\nn = m", "6:1 undeclared-variable"},
        {"n = 1e3 + 3000000000", "6:5 number, 6:11 number"},
        {"else", "6:1 keyword"},
        {"while (n)", "6:1 keyword"},
        {"goto(A)", "6:1 keyword, 6:6 undeclared-variable"},
        {"// a */ n = 2", "6:7 comment-closed"},
        {"// a\rn = 2", "6:1 comment-line-end"},
        {"f(, n)", "6:3 empty-argument"},
        {"if (n =! 2)\n{\n}", "6:8 unknown-operator"},
        {"if (n) f(n)\n}", "6:1 open-if"},
    };
    for (Case const & one : cases)
        EXPECT_EQ(placesOf(inMethod(one.lines)), one.places) << one.lines;
}

TEST(Lint, ExplainsErrorsOfTheGrammar) {
    struct Case {
        char const * lines;
        char const * places;
    } const cases[] = {
        {"n = n -1", "6:7 glued-minus"},
        {"n = n-1", "6:6 glued-minus"},
        {"n = -n", "6:5 unknown-operator"},
        {"if (n <= 2)", "6:7 unknown-operator"},
        {"n += 1", "6:3 unknown-operator"},
        {"n++", "6:2 unknown-operator"},
        {"n = n % 2", "6:7 unknown-operator"},
        {"n = @ @ n @ 2", "6:5 dropped-character, 6:7 dropped-character, 6:11 syntax"},
        {"n = (n", "6:5 syntax"},
        {"f(n))", "6:5 syntax"},
        {"n = n n", "6:7 syntax"},
        {"n[1] = 2", "6:2 syntax"},
        {"f(n) = 2", "6:6 syntax"},
        {"f(n := 2)", "6:5 syntax"},
        {"goto", "6:1 syntax"},
        {"goto 5", "6:6 syntax"},
        {"if n", "6:1 keyword"},
        {"n = 1 2.5", "6:5 syntax"},
        {"if (n => 2)", "6:7 unknown-operator"},
        {"m = 1 -- m", "6:7 unknown-operator"},
        {"# a comment", "6:1 syntax"},
        {"for (i = 0; i < 3; i++)\n{\n}", "6:1 keyword"},
        {"n = 2 // two\nn = 3", "6:7 comment-line-end"},
        {"n = 2 // two", "6:7 comment-line-end"},
        {"if (n)\n{\n} // end\nn = 3", "8:3 comment-line-end"},
    };
    for (Case const & one : cases)
        EXPECT_EQ(placesOf(inMethod(one.lines)), one.places) << one.lines;
}

TEST(Lint, FindsWhatIsWrongWithTheWholeScript) {
    struct Case {
        char const * script;
        char const * places;
    } const cases[] = {
        {"State A // open\n{\n}\n", "1:9 comment-line-end"},
        {"State A\n{\n} // end", "3:3 comment-line-end"},
        {"State A\n{\n", "2:1 braces"},
        {"State A\n{\n}\n}\n", "4:1 braces"},
        {"State A\nMethod M\n{\n}\n", "1:7 braces"},
        {"State A\n{\nMethod M\n{\nMethod N\n{\n}\n}\n", "5:8 braces"},
        {"State A\n{\nMethod M\n{\n}\nState B\n{\n}\n", "6:7 braces, 6:7 unreachable-state"},
        {"Method M\n{\n{\n}\n}\n", "3:1 braces"},
        {"State A {\n}\n", "1:9 syntax"},
        {"x = 1\ny = 2\nMethod M\n{\nx = 2\n}\n", "1:1 outside-method, 2:1 outside-method"},
        {"{\nMethod M\n{\n}\n}\n", "1:1 braces"},
        {"Method M\n{\n}\nMethod M\n{\n}\n", "4:8 hidden"},
        {"x := 1\nx := 2\n", "2:1 hidden"},
        {"State A\n{\n}\nState A\n{\n}\n", "4:7 hidden"},
        {"x := y\n", "1:1 empty-variable, 1:6 undeclared-variable"},
        {"State A\n{\n}\nState B\n{\nMethod M\n{\ngoto C\n}\n}\nState C\n{\n}\n",
         "4:7 unreachable-state"},
        {"State A\n{\n}\nState B\n{\n}\nMethod M\n{\ngoto B\n}\n", ""},
        {"x := 1\n/* open\nx := 2", "2:1 open-comment"},
        {"#include gone.inc\n#include \"x.inc\"\n", "1:1 include, 2:1 include"},
        {"#include 'x.inc'\n#include x/y.inc\n", "1:1 include, 2:1 include"},
    };
    for (Case const & one : cases)
        EXPECT_EQ(placesOf(one.script), one.places) << one.script;
}

TEST(Lint, TellsOneMistakeOnce) {
    struct Case {
        char const * script;
        char const * places;
    } const cases[] = {
        {"\xEF\xBB\xBFx := 1\n", ""},
        // What a file that is not there, or the rest of the script, would have said.
        {"#include gone.inc\nMethod M\n{\nx = 1\ngoto B\n}\n", "1:1 include"},
        {"Method M\n{\n/* open\nx = 1\n}\n", "3:1 open-comment"},
        // A jump, a header or a declaration in a line that is left out.
        {"State A\n{\nMethod M\n{\nif (1 <= 2) goto B\n}\n}\nState B\n{\n}\n",
         "5:7 unknown-operator"},
        {"State A{\nMethod M\n{\n}\n}\nState B{\nMethod M\n{\ngoto A\n}\n}\n",
         "1:8 syntax, 6:8 syntax"},
        {"state A\n{\nMethod M\n{\ngoto A\n}\n}\n", "1:1 keyword"},
        {"var x = 1\nMethod M\n{\nx = 2\n}\n", "1:1 keyword"},
        {"Method M\n{\nif (1)\n{\n}\nelse\n{\n}\n}\n", "6:1 keyword"},
        {"x := 1 2 3\n", "1:10 syntax"},
    };
    for (Case const & one : cases)
        EXPECT_EQ(placesOf(one.script), one.places) << one.script;
}

TEST(Lint, IsNotOverwhelmedByLargeScripts) {
    std::string lines = "n = 1 ";
    for (int i = 0; i < 300000; ++i)
        lines += "/* */ ";
    EXPECT_EQ(placesOf(inMethod(lines + "-1")), "6:1800007 glued-minus");
    std::string states;
    for (int i = 0; i < 20000; ++i)
        states += "State S" + std::to_string(i) + "\n{\nMethod M\n{\ngoto S" +
                  std::to_string((i + 1) % 20000) + "\n}\n}\n";
    EXPECT_EQ(placesOf(states), "");
}

TEST(Lint, ReadsIncludesAndTellsThemOnce) {
    TemporaryDirectory const folder;
    folder.put("scripts/common.inc", "shared := 1\n\xC3\xA4 = #\n");
    folder.put("scripts/a.aut", "#include common.inc\nMethod M\n{\nshared = own\n}\n");
    folder.put("scripts/b.aut", "own := 1\n#include common.inc\n#include b.aut\n");
    nlohmann::json const findings = findingsOf(folder, {"scripts/a.aut", "scripts/b.aut"});
    std::string places;
    for (nlohmann::json const & one : findings)
        places += one.at("file").get<std::string>() + ':' +
                  std::to_string(one.at("line").get<int>()) + ' ' +
                  one.at("rule").get<std::string>() + '\n';
    EXPECT_EQ(places, "scripts/a.aut:4 undeclared-variable\n"
                      "scripts/b.aut:3 include\n"
                      "scripts/common.inc:2 syntax\n");
}

TEST(Lint, PrintsAsCompilersDo) {
    TemporaryDirectory const folder;
    folder.put("x.aut", "Method M\n{\n\tx\xC3\xA4 = 1 -2\n}\n");
    Outcome const done = runProgram(folder, {"lint", "x.aut", "--without", "undeclared-variable",
                                             "--without", "dropped-character"});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.out, "x.aut:3:8: warning: `1 -2` is the point (1, -2); a subtraction is written "
                        "`1 - 2` [glued-point]\n"
                        "    3 | \tx\xC3\xA4 = 1 -2\n"
                        "      | \t     ^~~~\n");
    EXPECT_EQ(done.err, "0 errors, 1 warning\n");
}

TEST(Lint, TellsByItsStatusHowBadItIs) {
    TemporaryDirectory const folder;
    folder.put("good.aut", "x := 1\n");
    folder.put("so.aut", "x := 1e1\n");
    folder.put("bad.aut", "x := (\n");
    EXPECT_EQ(runProgram(folder, {"lint", "good.aut"}).status, 0);
    EXPECT_EQ(runProgram(folder, {"lint", "good.aut", "so.aut"}).status, 1);
    EXPECT_EQ(runProgram(folder, {"lint", "bad.aut", "so.aut"}).status, 2);
    Outcome const part = runProgram(folder, {"lint", "gone.aut", "so.aut"});
    EXPECT_EQ(part.status, 3);
    EXPECT_EQ(part.out.find("so.aut:1:6: warning: "), 0u) << part.out;
    EXPECT_NE(part.err.find("gone.aut"), std::string::npos) << part.err;
    EXPECT_EQ(runProgram(folder, {"lint"}).status, 64);
    EXPECT_EQ(runProgram(folder, {"lint", "good.aut", "--without", "everything"}).status, 64);
}

} // namespace
