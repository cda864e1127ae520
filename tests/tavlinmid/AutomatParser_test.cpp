// The language: its tokens, its grammar, and what both do with nonsense. Expectations are what a
// dump of the definition prints; a variable is printed as "name".
#include "ScriptTest.h"

namespace Tavlin {

class AutomatParser : public ScriptTest {
  protected:
    /// Runs `load` and returns what it wrote to standard error.
    std::string errorsOf(std::string const & text) {
        testing::internal::CaptureStderr();
        definition = load(text);
        return testing::internal::GetCapturedStderr();
    }
    static std::string times(std::string const & piece, int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += piece;
        return text;
    }
    TRef<D_Automat> definition;
};

TEST_F(AutomatParser, ConstantsAreOfTheKindThatTheyLookLike) {
    struct Case {
        char const * text;
        char const * value;
    } const cases[] = {
        {"7", "7"},
        {"-7", "-7"},
        {"12e3", "12"},
        {"99999999999", "2147483647"},
        {"-99999999999", "-2147483648"},
        {"1.5", "1.5f"},
        {"-.5", "-0.5f"},
        {"2.", "2f"},
        {"1.5e2", "150f"},
        {"10 20", "10 20"},
        {"1 -2", "1 -2"},
        {"1e5 2", "1 0"},
        {"3   4e1", "3 4"},
        {"\"Room 2, left!\"", "\"Room 2, left!\""},
        {"\"\"", "\"\""},
        {"'door'", "'door'"},
        {"1 + 2", "3"},
        {"1 - 2", "-1"},
        {"6 / 4", "1"},
        {"1 + 1.0", "nothing"},
        {"y", "nothing"},
        {"y = 5", "nothing"},
        {"f(1)", "nothing"},
        {"doAfter(1, 2)", "nothing"},
    };
    for (Case const & c : cases) {
        TRef<Automat> const automat = run(std::string("x := ") + c.text + "\n");
        EXPECT_EQ(variable(automat, "x"), c.value) << c.text;
    }
}

TEST_F(AutomatParser, OperatorsBindByTheirLevels) {
    struct Case {
        char const * text;
        char const * printed;
    } const cases[] = {
        {"a = b + c * d", "\"a\"=(\"b\" Tavlin::D_Add (\"c\" Tavlin::D_Multiplication \"d\"));"},
        {"a - b - c", "((\"a\" Tavlin::D_Substruct \"b\") Tavlin::D_Substruct \"c\");"},
        {"a || b && c", "((\"a\" Tavlin::D_Or \"b\") Tavlin::D_And \"c\");"},
        {"a == b < c", "((\"a\" Tavlin::D_IsEqual \"b\") Tavlin::D_IsLess \"c\");"},
        {"a = b = c", "\"a\"=\"b\"=\"c\";"},
        {"a + b = c", "(\"a\" Tavlin::D_Add \"b\"=\"c\");"},
        {"(a + b) / c", "((\"a\" Tavlin::D_Add \"b\") Tavlin::D_Division \"c\");"},
        {"a.b != c", "(\"a.b\" Tavlin::D_IsNotEqual \"c\");"},
        {"doAfter(2.5, Shut())", "do call Shut to () after 2.5;"},
    };
    for (Case const & c : cases)
        EXPECT_EQ(body(c.text), c.printed) << c.text;
}

TEST_F(AutomatParser, NestedCallTakesWhatTheOuterOneHasGathered) {
    EXPECT_EQ(body("f(1, g(2))"), "call f to (call g to (1,2));");
    EXPECT_EQ(body("f(g(1), 2)"), "call f to (call g to (1),2);");
    EXPECT_EQ(body("f( )"), "call f to ();");
    EXPECT_EQ(body("f(,1)"), "call f to (1);");
    EXPECT_EQ(body("scene.door.Open(1)"), "call Open to scene door (1);");
}

TEST_F(AutomatParser, KeywordsAreWholeWords) {
    EXPECT_EQ(body("gotox"), "\"gotox\";");
    EXPECT_EQ(body("if = State1"), "\"if\"=\"State1\";");
    EXPECT_EQ(body("State(1)"), "call State to (1);");
    EXPECT_EQ(body("goto Home"), "goto Home;");
}

TEST_F(AutomatParser, CharactersOfNoTokenAreDropped) {
    EXPECT_EQ(body("a ! = ~ b"), "\"a\"=\"b\";");
    EXPECT_EQ(body("a = \"x/y\""), "\"a\"=(\"x\" Tavlin::D_Division \"y\");");
    EXPECT_EQ(body("a = $'b"), "\"a\"=\"b\";");
    EXPECT_EQ(errorsOf("Method M\n{\na <= b\n}\n"), "syntax error\n");
    EXPECT_EQ(errorsOf("Method M\n{\na -1\n}\n"), "syntax error\n")
        << "a minus that touches a digit belongs to the number";
}

TEST_F(AutomatParser, SemicolonsAndReturnsEndLines) {
    EXPECT_EQ(body("a = 1 ; b = 2"), "\"a\"=1;\"b\"=2;");
    EXPECT_EQ(body("a = 1\r\nb = 2\rc = 3"), "\"a\"=1;\"b\"=2;\"c\"=3;");
    EXPECT_EQ(errorsOf(std::string("x := 1\n\x1Ay := 2\n")), "");
    EXPECT_EQ(definition->getNames().getCount(), 1) << "the character 0x1A ends the file";
    errorsOf("Method M\n{\na = 1\n}");
    EXPECT_EQ(definition->getMethods().getCount(), 1) << "the end of a file ends its line";
}

TEST_F(AutomatParser, LineCommentTakesItsLineEndAlong) {
    EXPECT_EQ(errorsOf("// all comment\nx := 1\n"), "");
    EXPECT_EQ(definition->getNames().getCount(), 1);
    EXPECT_EQ(errorsOf("State A // joins the next line\n{\n"), "syntax error\n");
    EXPECT_EQ(errorsOf("State A // but not here *\n{\n}\n"), "");
    EXPECT_EQ(body("a // x */ = 1"), "\"a\"=1;");
    EXPECT_EQ(body("a // x ; b\n = 1"), "\"a\"=1;") << "a semicolon does not end a comment";
    EXPECT_EQ(body("a /* b\nc */ = 1"), "\"a\"=1;");
}

TEST_F(AutomatParser, BlocksCloseByTheirBracesAlone) {
    EXPECT_EQ(body("if (a)\n{\nb = 1\n}\nc = 2"), "if (\"a\") then;{;\"b\"=1;};;\"c\"=2;");
    EXPECT_EQ(body("if (a) goto b\nc = 2\n}"), "if (\"a\") then;{;goto b;\"c\"=2;};;")
        << "an if without braces stays open";
}

TEST_F(AutomatParser, MethodsBelongToTheStateWhoseBracesAreOpen) {
    load("State A\n{\nMethod One\n{\n}\nMethod Two\n{\n}\n}\nMethod Three\n{\n}\nState B\n{\n}\n");
    TRef<D_Automat> const script = load(
        "State A\n{\nMethod One\n{\n}\nMethod Two\n{\n}\n}\nMethod Three\n{\n}\nState B\n{\n}\n");
    ASSERT_EQ(script->getStates().getCount(), 2);
    EXPECT_EQ(script->getState(0)->getMethodCount(), 2);
    EXPECT_EQ(script->getState(1)->getMethodCount(), 0);
    ASSERT_EQ(script->getMethods().getCount(), 1);
    EXPECT_STREQ(script->getMethods().at(0)->getName().c_str(), "Three");
    EXPECT_EQ(script->getNamesCount(), 3);
}

TEST_F(AutomatParser, StatementWithoutABlockIsToldAndDropped) {
    EXPECT_EQ(errorsOf("a = 1\n"), "syntax error\n");
    EXPECT_EQ(errorsOf("goto A\n"), "syntax error\n");
    EXPECT_EQ(errorsOf("if (a)\n{\nb = 1\n}\nx := 1\n"), "syntax error\n");
    EXPECT_EQ(definition->getNames().getCount(), 1);
    EXPECT_EQ(errorsOf("{\nMethod M\n{\na = 1\n}\n}\n"), "syntax error\n");
    EXPECT_EQ(definition->getMethods().getCount(), 0);
    EXPECT_TRUE(loaded);
}

TEST_F(AutomatParser, ErrorsAreLeftBehindAtTheNextLine) {
    EXPECT_EQ(errorsOf("x := 1 )\ny := 2\n) )\nz := 3\n"), "syntax error\nsyntax error\n");
    EXPECT_TRUE(loaded);
    EXPECT_EQ(definition->getNames().getCount(), 3) << "x was declared before the error";
    EXPECT_EQ(errorsOf("State A B // swallows the last line end"), "syntax error\n");
    EXPECT_FALSE(loaded);
}

TEST_F(AutomatParser, MissingFilesAreNoError) {
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const script(static_cast<D_Automat *>(creator));
    EXPECT_TRUE(script->load(fileOf("", "gone/../none.aut").c_str()));
    EXPECT_EQ(script->getNamesCount(), 0);
    EXPECT_EQ(errorsOf("#include nothing.inc\nx := 1\n"), "");
    EXPECT_EQ(definition->getNames().getCount(), 1);
}

TEST_F(AutomatParser, IncludesStandWhereTheyAreNamed) {
    std::filesystem::path const before = std::filesystem::current_path();
    std::filesystem::current_path(
        std::filesystem::path(fileOf("b := 2\n", "part.inc")).parent_path());
    EXPECT_EQ(errorsOf("a := 1\n#include part.inc\nc := 3\n"), "");
    ASSERT_EQ(definition->getNames().getCount(), 3);
    EXPECT_STREQ(definition->getNames().at(1).c_str(), "b");

    fileOf("#include ring2.inc\nb := 2\n", "ring1.inc");
    fileOf("#include ring1.inc", "ring2.inc"); // closed by the time its include is met
    EXPECT_EQ(errorsOf("#include ring1.inc\nc := 3\n"), "include refused: ring1.inc\n");
    EXPECT_EQ(definition->getNames().getCount(), 2);

    for (int i = 0; i < 80; ++i)
        fileOf("#include n" + std::to_string(i + 1) + ".inc\n", "n" + std::to_string(i) + ".inc");
    EXPECT_EQ(errorsOf("#include n0.inc\nc := 3\n").find("include refused: n6"), 0u);
    EXPECT_EQ(definition->getNames().getCount(), 1);

    // Two includes at each level would double sixty times.
    for (int i = 0; i < 60; ++i) {
        std::string const next = "#include d" + std::to_string(i + 1) + ".inc\n";
        fileOf(next + next, "d" + std::to_string(i) + ".inc");
    }
    EXPECT_NE(errorsOf("#include d0.inc\nc := 3\n").find("include refused: d"), std::string::npos);
    EXPECT_EQ(definition->getNames().getCount(), 1);
    std::filesystem::current_path(before);
}

TEST_F(AutomatParser, HostileTextEndsInErrorsNotInHarm) {
    struct Case {
        char const * what;
        std::string text;
    } const cases[] = {
        {"open brackets", "Method M\n{\na = " + times("(", 100000) + "1\n}\n"},
        {"closed brackets",
         "Method M\n{\na = " + times("(", 3000) + "1" + times(")", 3000) + "\n}\n"},
        {"nested calls", "Method M\n{\n" + times("f(", 100000) + "\n}\n"},
        {"a long sum", "x := 1" + times(" + 1", 100000) + "\n"},
        {"nested conditions", "Method M\n{\n" + times("if (a)\n", 100000)},
        {"one line of 10 MB", "x := \"" + std::string(10 << 20, 'a') + "\n"},
        {"closing braces", times("}\n", 100000)},
        {"quotes", times("\"a", 100000)},
    };
    for (Case const & c : cases) {
        SCOPED_TRACE(c.what);
        errorsOf(c.text);
        definition->createNewAutomat();
    }
    std::string binary;
    for (int i = 0; i < 200000; ++i)
        binary += static_cast<char>((i * 7919u) >> 5);
    errorsOf(binary);
    SUCCEED();
}

} // namespace Tavlin
