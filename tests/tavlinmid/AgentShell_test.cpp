// Agents: the order of their components, their own time, what they pass on, and their bytes.
#include "AgentTest.h"

namespace Tavlin {

using AgentShellTest = AgentTest;

TEST_F(AgentShellTest, ComponentsStepByRisingPriority) {
    TRef<AgentShell> const agent(new AgentShell);
    agent->passStep(1);
    EXPECT_EQ(taken(), "");
    add(agent, "c", 0.9f);
    TRef<Part> const a = add(agent, "a", 0.1f);
    add(agent, "b", 0.5f);
    agent->passStep(1);
    EXPECT_EQ(taken(), "a:step b:step c:step");
    a->setPriority(2);
    agent->passStep(1);
    EXPECT_EQ(taken(), "a:step b:step c:step") << "a new priority waits for resort";
    agent->resort();
    agent->passStep(1);
    EXPECT_EQ(taken(), "b:step c:step a:step");
}

TEST_F(AgentShellTest, EqualPrioritiesStandWhereTheSearchLands) {
    TRef<AgentShell> const agent(new AgentShell);
    for (char const * name : {"1", "2", "3", "4"})
        add(agent, name);
    agent->passStep(1);
    // 2 goes before 1; then the middle of two is the first place, of three the second.
    EXPECT_EQ(taken(), "3:step 4:step 2:step 1:step");
}

TEST_F(AgentShellTest, ComponentThatIsTakenOutDuringTheStepShiftsTheOthers) {
    TRef<AgentShell> const agent(new AgentShell);
    TRef<Part> const a = add(agent, "a", 0.1f);
    add(agent, "b", 0.2f);
    add(agent, "c", 0.3f);
    a->onStep = [&] {
        agent->removeComponent(NameLinkID("a"));
        agent->removeComponent(NameLinkID("unknown"));
    };
    agent->passStep(1);
    EXPECT_EQ(taken(), "a:step c:step");
    EXPECT_EQ(agent->getNodeCount(), 2);
}

TEST_F(AgentShellTest, SpeedFactorScalesTheTimeOfTheAgent) {
    TRef<AgentShell> const agent(new AgentShell);
    TRef<Part> const part = add(agent, "a");
    VariableRef factor = IDispatcher::GetPropertyOrVar(objectOf(agent), NameLinkID("speedFactor"));
    ASSERT_EQ(factor.type(), FLOAT);
    EXPECT_EQ(factor.asFLOAT(), 1.0f);
    VariableRef half;
    half = 0.5f;
    EXPECT_TRUE(PropertySetParams(NameLinkID("speedFactor"), half).call(objectOf(agent)));
    agent->passStep(3);
    EXPECT_EQ(part->lastDelta, 1.5f);
    half = 0.0f;
    PropertySetParams(NameLinkID("speedFactor"), half).call(objectOf(agent));
    agent->passStep(3);
    EXPECT_EQ(part->lastDelta, 0.0f) << "a frozen agent is stepped all the same";
}

TEST_F(AgentShellTest, MethodReachesEveryComponentAndOneAnswerIsEnough) {
    TRef<AgentShell> const agent(new AgentShell);
    EXPECT_FALSE(ring(objectOf(agent)));
    add(agent, "a", 0.1f);
    add(agent, "b", 0.2f)->answers = false;
    EXPECT_TRUE(ring(objectOf(agent)));
    EXPECT_EQ(taken(), "a:ring b:ring");
    VariableRef const member = IDispatcher::GetPropertyOrVar(objectOf(agent), NameLinkID("b"));
    EXPECT_EQ(member.type(), OBJECT) << "a component is a member of the tree";
}

TEST_F(AgentShellTest, AgentGoesFromListToList) {
    TRef<AgentShell> agent(new AgentShell);
    auto const lists = [this] {
        return std::to_string(manager->getAgents().getCount()) + " " +
               std::to_string(manager->getStoppedAgents().getCount());
    };
    EXPECT_EQ(lists(), "0 1");
    EXPECT_FALSE(agent->isRunning());
    agent->start();
    agent->start();
    EXPECT_EQ(lists(), "1 0");
    EXPECT_TRUE(agent->isRunning());
    agent->stop();
    agent->stop();
    EXPECT_EQ(lists(), "0 1");
    agent->start();
    agent = TRef<AgentShell>();
    EXPECT_EQ(lists(), "0 0") << "an agent that ends leaves its list";
}

// Two nodes of the tree in the agent's; the number that follows each says how many are left.
TEST_F(AgentShellTest, BytesOfAnAgentWithTwoComponents) {
    TRef<AgentShell> const agent(new AgentShell);
    add(agent, "a", 0.25f);
    add(agent, "b", 0.5f);
    agent->setMemberNameID(NameLinkID("guard"));
    agent->start();
    auto const node = [](char const * member) {
        return hex("02  02 00 00 00 00  00") + name(member) + hex("00 00 00 00 00  01 00");
    };
    auto const part = [&](char const * member, char const * priority) {
        return object("Test::Part", hex("02") + node(member) + hex(priority));
    };
    std::string const a = part("a", "00 00 80 3E"), b = part("b", "00 00 00 3F");
    EXPECT_EQ(digits(written(*agent)),
              digits(hex("04") + node("guard") + number(2, 4) + hex("00") + a + number(1, 4) +
                     hex("00") + b + number(0, 4) + hex("01")));

    struct Case {
        char const * what;
        std::string bytes;
        bool running;
    } const cases[] = {
        {"now",
         hex("04") + node("x") + number(2, 4) + hex("00") + a + number(9, 4) + hex("00") + b +
             number(9, 4) + hex("00"),
         false},
        {"3", hex("03") + node("x") + number(2, 4) + hex("00") + a + hex("00") + b + hex("07"),
         true},
        {"2", hex("02") + node("x") + number(2, 4) + a + b + hex("00"), false},
        {"1", hex("01") + node("x") + number(2, 4) + a + b, true},
    };
    for (Case const & c : cases) {
        TRef<AgentShell> const copy(new AgentShell);
        add(copy, "old");
        EXPECT_TRUE(readInto(*copy, c.bytes)) << c.what;
        EXPECT_EQ(copy->isRunning(), c.running) << c.what;
        copy->passStep(1);
        EXPECT_EQ(taken(), "a:step b:step") << c.what;
    }
}

TEST_F(AgentShellTest, ComponentReadsItsOlderVersions) {
    TRef<AgentShell> const agent(new AgentShell);
    TRef<Part> const part = add(agent, "a", 7);
    std::string const objectOnly = hex("02 00 00 00 00"), quarter = hex("00 00 80 3E");
    EXPECT_TRUE(readInto(*part, hex("00") + objectOnly + quarter));
    EXPECT_EQ(part->getPriority(), 0.5f) << "the first version had no priority to keep";
    EXPECT_TRUE(readInto(*part, hex("01") + objectOnly + quarter));
    EXPECT_EQ(part->getPriority(), 0.25f);
}

TEST_F(AgentShellTest, CountOfComponentsIsNotBelieved) {
    for (char const * version : {"04", "03", "02"}) {
        TRef<AgentShell> const agent(new AgentShell);
        EXPECT_FALSE(readInto(*agent, hex(version) + emptyNode + hex("FF FF FF FF"))) << version;
        EXPECT_EQ(agent->getNodeCount(), 0);
    }
}

TEST_F(AgentShellTest, DynamicDataTellsWhichComponentsHaveSome) {
    TRef<AgentShell> const agent(new AgentShell);
    add(agent, "a");
    ompstream out;
    agent->writeDynamic(out);
    long const size = out.size();
    EXPECT_EQ(
        digits(std::string(static_cast<char const *>(out.data()), static_cast<std::size_t>(size))),
        digits(hex("00 01 00 00 00 00")));
}

} // namespace Tavlin
