// Evaluation of expressions: kinds, failures, and what a result that is bound already does.
#include "ScriptTest.h"
#include "tavlinmid/D_Expression2.h"

#include <cmath>
#include <limits>

#include <pthread.h>

namespace Tavlin {

namespace {

using Node = TRef<D_Expression>;

Node constant(VariableVar const & value) {
    return Node(new D_Constant(value));
}

template <class Operation>
std::string result(VariableVar const & left, VariableVar const & right) {
    Node const node(new Operation(constant(left), constant(right)));
    VariableRef value;
    bool const good = node->evaluate(TRef<Automat>(), value);
    if (value.type() == VECTOR2D)
        return std::to_string(int(value.asVECTOR2D().x)) + ';' +
               std::to_string(int(value.asVECTOR2D().y));
    return (good ? "" : "fails ") + Recorder::describe(value);
}

constexpr int least = std::numeric_limits<int>::min();
constexpr int most = std::numeric_limits<int>::max();

} // namespace

TEST(D_Expression2, NumbersOfOneKindCompute) {
    EXPECT_EQ(result<D_Add>(most, 1), std::to_string(least));
    EXPECT_EQ(result<D_Add>(0.1f, 0.2f), "0.3f");
    EXPECT_EQ(result<D_Substruct>(1, 3), "-2");
    EXPECT_EQ(result<D_Multiplication>(65536, 65536), "0");
    EXPECT_EQ(result<D_Division>(-7, 2), "-3");
    EXPECT_EQ(result<D_Division>(least, -1), std::to_string(least));
    EXPECT_EQ(result<D_Division>(1.0f, 4.0f), "0.25f");
    EXPECT_EQ(result<D_Modulus>(-7, 3), "-1");
    EXPECT_EQ(result<D_Modulus>(least, -1), "0");
    EXPECT_EQ(result<D_Add>(Vector2D(1, 2), Vector2D(3, 4)), "4;6");
    EXPECT_EQ(result<D_Substruct>(Vector2D(1, 2), Vector2D(3, 5)), "-2;-3");
}

TEST(D_Expression2, WhatDoesNotFitFails) {
    EXPECT_EQ(result<D_Add>(1, 1.0f), "fails nothing");
    EXPECT_EQ(result<D_Add>("a", "b"), "fails nothing");
    EXPECT_EQ(result<D_Add>(VariableVar(), 1), "fails nothing");
    EXPECT_EQ(result<D_Multiplication>(Vector2D(1, 2), Vector2D(3, 4)), "fails nothing");
    EXPECT_EQ(result<D_Division>(1, 0), "fails nothing");
    EXPECT_EQ(result<D_Division>(1.0f, 0.0f), "fails nothing");
    EXPECT_EQ(result<D_Modulus>(1.0f, 1.0f), "fails nothing");
    EXPECT_EQ(result<D_IsLess>(1, 1.0f), "fails nothing");
    EXPECT_EQ(result<D_IsLess>("a", "b"), "fails nothing");
}

TEST(D_Expression2, ComparisonsGiveOneOrNought) {
    EXPECT_EQ(result<D_IsLess>(-1, 1), "1");
    EXPECT_EQ(result<D_IsGreaterOrEqual>(2.0f, 2.0f), "1");
    EXPECT_EQ(result<D_IsLessOrEqual>(3, 2), "0");
    EXPECT_EQ(result<D_IsGreater>(Vector2D(2, 2), Vector2D(1, 2)), "0") << "strict in both";
    EXPECT_EQ(result<D_IsGreaterOrEqual>(Vector2D(2, 2), Vector2D(1, 2)), "1");
    EXPECT_EQ(result<D_IsEqual>(1, 1.0f), "0") << "no kind is converted";
    EXPECT_EQ(result<D_IsEqual>(std::nanf(""), 5.0f), "1") << "an unordered pair is equal";
    EXPECT_EQ(result<D_IsNotEqual>("a", "b"), "1");
    EXPECT_EQ(result<D_IsEqual>(VariableVar(), VariableVar()), "1");
    EXPECT_EQ(result<D_IsEqual>(VariableVar(), 0), "0");
}

TEST(D_Expression2, LogicNeverFails) {
    EXPECT_EQ(result<D_Or>(0, 2), "1");
    EXPECT_EQ(result<D_And>(1, 0), "0");
    EXPECT_EQ(result<D_Or>("a", 1), "nothing");
    EXPECT_EQ(result<D_And>(1.0f, 1.0f), "nothing");
}

TEST(D_Modulus, ByZeroIsADivisionFault) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(result<D_Modulus>(1, 0), "");
}

TEST(D_Expression2, ResultThatIsBoundKeepsItsCell) {
    VariableRef number(1.0f);
    VariableRef const alias(number);
    Node const sum(new D_Add(constant(2), constant(3)));
    EXPECT_TRUE(sum->evaluate(TRef<Automat>(), number));
    EXPECT_EQ(alias.type(), FLOAT) << "the word is shared by INT and FLOAT";
    EXPECT_EQ(alias.asINT(), 5);

    VariableRef text("seven");
    EXPECT_FALSE(sum->evaluate(TRef<Automat>(), text));
    Node const sameTexts(new D_IsEqual(constant("a"), constant("a")));
    EXPECT_FALSE(sameTexts->evaluate(TRef<Automat>(), text)) << "whatever the operands are";
    EXPECT_STREQ(text.asCHARPTR(), "seven");
}

TEST(D_Constant, IsNeverWrittenTo) {
    Node const seven = constant(7);
    VariableRef result;
    seven->evaluate(TRef<Automat>(), result);
    Node const sum(new D_Add(constant(2), constant(3)));
    EXPECT_TRUE(sum->evaluate(TRef<Automat>(), result));
    EXPECT_EQ(result.asINT(), 5);
    seven->evaluate(TRef<Automat>(), result);
    EXPECT_EQ(result.asINT(), 7);
    result = 9; // as a native method would do with its argument
    VariableRef again;
    seven->evaluate(TRef<Automat>(), again);
    EXPECT_EQ(again.asINT(), 7);
}

class D_Expressions : public ScriptTest {};

TEST_F(D_Expressions, AssignmentWritesThroughAndAnEmptyOneLeavesTheVariable) {
    TRef<Automat> const automat =
        run("a := 1\nb := 2.0\nt := \"x\"\nMethod M\n{\na = 5\nb = b + 1.0\n"
            "a = nowhere\nt = \"longer\"\na = b\n}\n");
    EXPECT_EQ(variable(automat, "b"), "3f");
    EXPECT_EQ(variable(automat, "t"), "\"longer\"");
    VariableRef a;
    automat->getVariable("a", a);
    EXPECT_EQ(a.type(), INT) << "the variable keeps its kind";
    EXPECT_EQ(a.asFLOAT(), 3.0f) << "and takes the bits";
}

TEST_F(D_Expressions, StoreIntoACellOfAnotherKindFailsAndStopsTheBlock) {
    TRef<Automat> const automat = run("t := \"x\"\nn := 'name'\na := 0\nMethod M\n{\nt = 5\na = "
                                      "1\n}\nMethod N\n{\nn = 5\na = 2\n}\n");
    EXPECT_EQ(variable(automat, "t"), "\"x\"");
    EXPECT_EQ(variable(automat, "n"), "'name'");
    EXPECT_EQ(variable(automat, "a"), "0");
}

TEST_F(D_Expressions, NothingShortCircuits) {
    TRef<Automat> const automat = run("a := 0\nb := 0\n");
    automat->setInheritedObject(TRef<Object>(recorder.pointer()));
    TRef<Automat> const other =
        run("Method M\n{\n}\nState S\n{\nMethod Go\n{\n0 && Seven()\n1 || Seven()\n}\n}\n");
    send(other, "Go");
    EXPECT_EQ(recorder->calls.size(), 2u);
}

TEST_F(D_Expressions, LeftOperandIsReadAfterTheRightOneRan) {
    TRef<Automat> const automat = run("x := 1\ny := 0\nMethod M\n{\ny = x + (x = 5)\n}\n");
    EXPECT_EQ(variable(automat, "y"), "10") << "operands are links, not copies";
}

TEST_F(D_Expressions, CallPassesHandlesAndTakesTheResult) {
    TRef<Automat> const automat = run("a := 3\nb := 0\nState S\n{\nMethod Go\n{\nb = Seven()\n"
                                      "Show(a, 1.5, \"t\", 'n', 1 2, missing)\n}\n}\n");
    send(automat, "Go");
    EXPECT_EQ(variable(automat, "b"), "7");
    ASSERT_EQ(recorder->calls.size(), 2u);
    EXPECT_EQ(recorder->calls[1], "Show(3,1.5f,\"t\",'n',1 2,nothing)");
}

TEST_F(D_Expressions, PathsStartAtTheirAlias) {
    scene->regObject("rec", TRef<Object>(recorder.pointer()));
    TRef<Automat> const automat =
        run("a := 0\nState S\n{\nMethod Go\n{\nscene.rec.One()\ninherited.Two()\nme.Three()\n"
            "scene.nobody.Four()\na = 1\n}\n}\n");
    send(automat, "Go");
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"One()", "Two()", "Three()"}));
    EXPECT_EQ(variable(automat, "a"), "0") << "an object that is not found stops the block";
}

// From each depth it would call itself once more, and double.
TEST_F(D_Expressions, ScriptThatCallsItselfTwiceEndsAtOnceAndItsCallerGoesOn) {
    TRef<Automat> const automat = run("State S\n{\nMethod Go\n{\nTwice()\ninherited.Then()\n}\n"
                                      "Method Twice\n{\nTwice()\nTwice()\n}\n}\n");
    EXPECT_TRUE(send(automat, "Go"));
    EXPECT_EQ(recorder->calls, std::vector<std::string>{"Then()"});
}

TEST_F(D_Expressions, ScriptThatCallsItselfWithoutEndIsStopped) {
    TRef<Automat> const automat =
        run("n := 0\nState S\n{\nMethod Again\n{\nn = n + 1\nAgain()\n}\n}\n");
    EXPECT_TRUE(send(automat, "Again"));
    VariableRef n;
    ASSERT_TRUE(automat->getVariable("n", n));
    EXPECT_GT(n.asINT(), 100);

    // On a thread whose whole stack is less than scripts may use elsewhere.
    int const before = n.asINT();
    pthread_attr_t small;
    pthread_attr_init(&small);
    pthread_attr_setstacksize(&small, 512 * 1024);
    auto const body = [](void * argument) -> void * {
        send(*static_cast<TRef<Automat> const *>(argument), "Again");
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &small, body, const_cast<TRef<Automat> *>(&automat)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&small);
    EXPECT_GT(n.asINT(), before + 10);
}

TEST_F(D_Expressions, StepNodesChangeTheVariableItself) {
    TRef<Automat> const automat = run("a := 5\nt := \"x\"\n");
    TRef<D_LeftPart> const a(new D_Variable("a"));
    VariableRef result;
    TRef<D_Expression> const increment(new D_Increment(a));
    EXPECT_TRUE(increment->evaluate(automat, result));
    EXPECT_EQ(variable(automat, "a"), "6");
    VariableRef not_;
    TRef<D_Expression> const negation(new D_Not(TRef<D_Expression>(a.pointer())));
    EXPECT_TRUE(negation->evaluate(automat, not_));
    EXPECT_EQ(variable(automat, "a"), "0");
    VariableRef none;
    TRef<D_Expression> const missing(new D_Decrement(TRef<D_LeftPart>(new D_Variable("missing"))));
    EXPECT_FALSE(missing->evaluate(automat, none));
    VariableRef text;
    TRef<D_Expression> const onText(new D_Increment(TRef<D_LeftPart>(new D_Variable("t"))));
    EXPECT_FALSE(onText->evaluate(automat, text));
    EXPECT_EQ(variable(automat, "t"), "\"x\"");
}

} // namespace Tavlin
