// Running scripts: where events go, what a jump does, and when delayed actions fire.
#include "ScriptTest.h"

#include "diagnostics/TavlinError.h"
#include "persistence/mpstream.h"

namespace Tavlin {

class AutomatTest : public ScriptTest {
  protected:
    /// An agent that has the automat as its only component.
    TRef<AgentShell> agentOf(TRef<Automat> const & automat) {
        TRef<AgentShell> const agent(new AgentShell);
        agent->addComponent(TRef<AgentComponent>(automat.pointer()));
        return agent;
    }
    static void frame(TRef<AgentShell> const & agent, float seconds) {
        Time::g_Time += seconds;
        ++Time::g_FrameCount;
        agent->passStep(seconds);
    }
};

TEST_F(AutomatTest, EventGoesToTheStateThenTheGlobalMethodsThenTheInheritedObject) {
    TRef<Automat> const automat =
        run("who := 0\nMethod Hello\n{\nwho = 2\n}\nState A\n{\nMethod Hello\n{\nwho = 1\n}\n"
            "Method Leave\n{\ngoto B\nwho = 9\n}\n}\nState B\n{\n}\n");
    EXPECT_EQ(variable(automat, "who"), "2") << "global methods run once at the making";
    EXPECT_TRUE(send(automat, "Hello"));
    EXPECT_EQ(variable(automat, "who"), "1");
    send(automat, "Leave");
    EXPECT_EQ(state(automat), "B");
    EXPECT_EQ(variable(automat, "who"), "1") << "a jump ends the body";
    send(automat, "Hello");
    EXPECT_EQ(variable(automat, "who"), "2");
    EXPECT_TRUE(send(automat, "Other"));
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"Other()"}));
    automat->setInheritedObject(TRef<Object>());
    EXPECT_FALSE(send(automat, "Other"));
}

TEST_F(AutomatTest, JumpInsideAConditionStopsAllBlocksAroundIt) {
    TRef<Automat> const automat = run("a := 0\nState A\n{\nMethod Go\n{\nif (1)\n{\nif (1.5)\n{\n"
                                      "goto Nowhere\n}\na = 1\n}\na = 2\n}\n}\n");
    send(automat, "Go");
    EXPECT_EQ(state(automat), "A") << "an unknown state leaves everything as it is";
    EXPECT_EQ(variable(automat, "a"), "0");
}

TEST_F(AutomatTest, ConditionWithoutAValueStopsTheBlock) {
    TRef<Automat> const automat = run(
        "a := 0\nState A\n{\nMethod Go\n{\nif (missing)\n{\na = 1\n}\na = 2\n}\nMethod Zero\n{\n"
        "if (0)\n{\na = 1\n}\na = 3\n}\n}\n");
    send(automat, "Go");
    EXPECT_EQ(variable(automat, "a"), "0");
    send(automat, "Zero");
    EXPECT_EQ(variable(automat, "a"), "3");
}

TEST_F(AutomatTest, DelayedActionsFireByFramesAndBySeconds) {
    TRef<Automat> const automat =
        run("State A\n{\nMethod Go\n{\ndoAfter(2, Frames())\n"
            "doAfter(0.5, Seconds())\ndoAfter(\"never\", Never())\n}\n}\n");
    TRef<AgentShell> const agent = agentOf(automat);
    send(automat, "Go");
    std::vector<std::string> fired;
    for (int i = 0; i < 4; ++i) {
        recorder->calls.clear();
        frame(agent, 0.2f);
        for (std::string const & call : recorder->calls)
            if (call != "Step()")
                fired.push_back(std::to_string(i) + call);
    }
    EXPECT_EQ(fired, (std::vector<std::string>{"1Frames()", "2Seconds()"}));
}

TEST_F(AutomatTest, NewestOfTheDueActionsFiresFirstAndNewOnesWait) {
    TRef<Automat> const automat =
        run("State A\n{\nMethod Go\n{\ndoAfter(0, First())\ndoAfter(0.0, Go2())\n}\n"
            "Method Go2\n{\nShow()\ndoAfter(0, Third())\n}\n}\n");
    TRef<AgentShell> const agent = agentOf(automat);
    send(automat, "Go");
    frame(agent, 0.1f);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"Show()", "First()", "Step()"}));
    recorder->calls.clear();
    frame(agent, 0.1f);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"Third()", "Step()"}));
}

TEST_F(AutomatTest, WaitIsSharedByAllAutomataOfADefinition) {
    TRef<D_Automat> const script = load("State A\n{\nMethod Go\n{\ndoAfter(1.0, Done())\n}\n}\n");
    TRef<Automat> const first = script->createNewAutomat(), second = script->createNewAutomat();
    first->setInheritedObject(TRef<Object>(recorder.pointer()));
    TRef<AgentShell> const agent = agentOf(first);
    send(first, "Go");
    frame(agent, 0.8f);
    send(second, "Go"); // restarts the wait of the first
    frame(agent, 0.8f);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"Step()", "Step()"}));
    frame(agent, 0.8f);
    EXPECT_EQ(recorder->calls[2], "Done()");
}

TEST_F(AutomatTest, ReadingAPropertyGivesAnAliasOfTheVariable) {
    TRef<Automat> const automat = run("a := 1\nMethod a\n{\na = 5\n}\n");
    VariableRef value =
        IDispatcher::GetPropertyOrVar(TRef<Object>(automat.pointer()), NameLinkID("a"));
    ASSERT_EQ(value.type(), INT);
    value = 8;
    EXPECT_EQ(variable(automat, "a"), "8");
    EXPECT_TRUE(automat->setVariable("a", VariableVar(3)));
    EXPECT_EQ(value.asINT(), 3);
    EXPECT_FALSE(automat->setVariable("b", VariableVar(3)));
    EXPECT_TRUE(automat->isVariable("a"));
}

TEST_F(AutomatTest, NonTerminalJumpHandsTheEventOn) {
    TRef<Automat> const automat =
        run("a := 0\nState A\n{\nMethod Go\n{\n}\n}\nState B\n{\nMethod Go\n"
            "{\na = 1\n}\n}\n");
    DispParams go("Go", nullptr, nullptr, IDispatcher::Method);
    TRef<D_Out> const jump(new D_Out(NameLinkID("B"), false));
    EXPECT_TRUE(jump->evaluate(automat, &go));
    EXPECT_EQ(variable(automat, "a"), "1");
    DispParams other("Other", nullptr, nullptr, IDispatcher::Method);
    try {
        jump->evaluate(automat, &other);
        FAIL() << "nobody handles the event";
    } catch (Error const & error) {
        EXPECT_STREQ(error.getMessage().c_str(),
                     "automat: non-terminal leave could not find function ( function=Other; "
                     "state=B )");
    }
    TRef<D_InvokeOut> const event(new D_InvokeOut(NameLinkID("Go"), true));
    EXPECT_FALSE(event->evaluate(automat, &other)) << "a terminal one ends the body";
}

TEST_F(AutomatTest, OutEventsAreKeptUntilAsked) {
    TRef<Automat> const automat = run("State A\n{\n}\n");
    EXPECT_STREQ(automat->getLastOutEvents().c_str(), "");
    VariableRef unused;
    for (char const * name : {"rang", "opened"}) {
        TRef<D_Expression> const event(new D_Event(NameLinkID(name)));
        event->evaluate(automat, unused);
    }
    EXPECT_STREQ(automat->getLastOutEvents().c_str(), "rang opened");
    EXPECT_STREQ(automat->getLastOutEvents().c_str(), "rang opened");
}

TEST_F(AutomatTest, UpdateGivesNewVariablesAndTheFirstState) {
    TRef<Automat> const automat =
        run("a := 1\nState A\n{\nMethod Go\n{\ngoto B\n}\n}\nState B\n{\n}\n");
    send(automat, "Go");
    TRef<D_Automat> const next = load("b := 2\na := 5\nState C\n{\n}\n");
    next->updateAutomat(automat);
    EXPECT_EQ(state(automat), "C");
    EXPECT_EQ(variable(automat, "a"), "5");
    EXPECT_EQ(variable(automat, "b"), "2");
}

TEST_F(AutomatTest, SavedAutomatComesBackWithItsStateAndVariables) {
    TRef<Automat> const automat =
        run("a := 1\nt := \"x\"\nState A\n{\nMethod Go\n{\na = a + 1\nt = \"y\"\n"
            "goto B\n}\n}\nState B\n{\nMethod Go\n{\na = a + 10\n}\n}\n");
    send(automat, "Go");
    mpstream stream;
    RefCounterWrite(stream, TRef<RefCounter>(automat.pointer()));
    stream.seekg(0);
    ObjectCreator creator(stream);
    TRef<Automat> const copy(gcast<Automat>(static_cast<Object *>(creator)));
    ASSERT_TRUE(copy);
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(state(copy), "B");
    EXPECT_EQ(variable(copy, "t"), "\"y\"");
    EXPECT_NE(copy->getDefinition(), automat->getDefinition());
    send(copy, "Go");
    EXPECT_EQ(variable(copy, "a"), "12");
    EXPECT_EQ(variable(automat, "a"), "2");
    EXPECT_TRUE(copy->getInheritedObject());
}

} // namespace Tavlin
