// The population: in which order it is stepped, linked and called, and what may happen meanwhile.
#include "AgentTest.h"

#include "diagnostics/TavlinError.h"

#include <algorithm>
#include <cstdint>

namespace Tavlin {

class AgentManagerTest : public AgentTest {
  protected:
    TRef<AgentShell> agentOf(char const * name, TRef<Part> * part = nullptr) {
        TRef<AgentShell> const agent(new AgentShell);
        agent->setMemberNameID(NameLinkID(name));
        TRef<Part> const added = add(agent, name);
        if (part)
            *part = added;
        agent->start();
        return agent;
    }
};

TEST_F(AgentManagerTest, ClockStepsTheRunningAgentsFromTheLastToTheFirst) {
    TRef<AgentShell> const a = agentOf("a"), b = agentOf("b"), c = agentOf("c");
    Time::StepGame(0.1f);
    EXPECT_EQ(taken(), "") << "not before start";
    manager->start();
    EXPECT_EQ(manager->getLastTime(), Time::g_Time);
    b->stop();
    Time::StepGame(0.1f);
    EXPECT_EQ(taken(), "c:step a:step");
    b->start();
    Time::StepGame(0.1f);
    EXPECT_EQ(taken(), "b:step c:step a:step");
    manager->stop();
    Time::StepGame(0.1f);
    EXPECT_EQ(taken(), "");
}

TEST_F(AgentManagerTest, PausedGameStepsNobody) {
    TRef<AgentShell> const a = agentOf("a");
    manager->start();
    Time::StepGame(0.0f);
    Time::StepGame(0.000009f);
    EXPECT_EQ(taken(), "");
    Time::StepGame(0.00001f);
    EXPECT_EQ(taken(), "a:step");
}

TEST_F(AgentManagerTest, AgentsComeAndGoDuringTheStep) {
    TRef<Part> part;
    TRef<AgentShell> const a = agentOf("a"), b = agentOf("b", &part), c = agentOf("c");
    TRef<AgentShell> d;
    manager->start();
    part->onStep = [&] {
        b->stop();
        d = agentOf("d");
    };
    Time::StepGame(0.1f);
    EXPECT_EQ(taken(), "c:step b:step a:step") << "a new agent waits for the next step";
    part->onStep = nullptr;
    Time::StepGame(0.1f);
    EXPECT_EQ(taken(), "d:step c:step a:step");
}

TEST_F(AgentManagerTest, StepHoldsTheAgentThatItSteps) {
    TRef<Part> part;
    TRef<AgentShell> const a = agentOf("a");
    TRef<AgentShell> b = agentOf("b", &part);
    manager->start();
    part->onStep = [&] { b = TRef<AgentShell>(); };
    Time::StepGame(0.1f);
    EXPECT_EQ(taken(), "b:step a:step");
    EXPECT_EQ(manager->getAgents().getCount(), 1);
    EXPECT_EQ(manager->getStoppedAgents().getCount(), 0);
}

TEST_F(AgentManagerTest, MethodReachesAllAgentsRunningOnesFirst) {
    TRef<AgentShell> const a = agentOf("a"), b = agentOf("b"), c = agentOf("c");
    a->stop();
    TRef<Object> const agents(manager.pointer());
    EXPECT_TRUE(ring(agents));
    EXPECT_EQ(taken(), "b:ring c:ring a:ring");
    DispParams unknown(NameLinkID("Unknown"), nullptr, nullptr, IDispatcher::Method);
    EXPECT_FALSE(unknown.call(agents));
    DispParams unload(NameLinkID("sysUnloadStatic"), nullptr, nullptr, IDispatcher::Method);
    EXPECT_TRUE(unload.call(agents)) << "the manager's own";
}

TEST_F(AgentManagerTest, NameReadFromTheManagerIsAnAgent) {
    TRef<AgentShell> const stopped = agentOf("guard"), running = agentOf("guard");
    stopped->stop();
    TRef<Object> const agents(manager.pointer());
    VariableRef found = IDispatcher::GetPropertyOrVar(agents, NameLinkID("guard"));
    ASSERT_EQ(found.type(), OBJECT);
    EXPECT_EQ(found.asOBJECT().pointer(), static_cast<Object *>(running.pointer()));
    EXPECT_TRUE(IDispatcher::GetPropertyOrVar(agents, NameLinkID("nobody")).isEmpty());
    TRef<Object> const scene_(scene.pointer());
    VariableRef const named = IDispatcher::GetPropertyOrVar(scene_, NameLinkID("Agents"));
    EXPECT_EQ(named.type(), OBJECT);
}

TEST_F(AgentManagerTest, EntersASceneThatIsMadeAfterIt) {
    auto const agentsOf = [](TRef<SceneObject> const & place) {
        return place->findObject("Agents").pointer();
    };
    Object * const self = manager.pointer();
    for (void (*enter)() :
         {+[] { AgentManager2::Get()->start(); }, +[] { AgentManager2::LinkAgents(); }}) {
        TObjectCreator<SceneObject> creator;
        TRef<SceneObject> const later(static_cast<SceneObject *>(creator));
        EXPECT_EQ(agentsOf(later), nullptr);
        enter();
        EXPECT_EQ(agentsOf(later), self);
        EXPECT_TRUE(later->unregObject("Agents"));
        later->regObject("Agents", TRef<Object>(recorder.pointer()));
        enter();
        EXPECT_EQ(agentsOf(later), recorder.pointer()) << "a name that is taken stays";
        manager->stop();
    }
}

TEST_F(AgentManagerTest, SecondOneLeavesTheNameAndItselfAlone) {
    TRef<Object> const first = scene->findObject("Agents");
    TRef<AgentManager2> const second(new AgentManager2);
    EXPECT_EQ(second->getReferenceCount(), 1);
    EXPECT_EQ(scene->findObject("Agents"), first);
}

TEST_F(AgentManagerTest, AgentWhoseLinksFailIsTakenOutOfPlay) {
    TRef<Part> content, longing;
    TRef<AgentShell> const a = agentOf("a", &content), b = agentOf("b", &longing);
    longing->lonely = false;
    AgentManager2::LinkAgents();
    EXPECT_EQ(taken(), "a:linked alone");
    EXPECT_TRUE(a->isRunning());
    EXPECT_FALSE(b->isRunning());
    scene->regObject("friend", TRef<Object>(recorder.pointer()));
    b->resolveAllNamesAsRoot();
    EXPECT_EQ(taken(), "b:linked");
    EXPECT_FALSE(b->isRunning()) << "links that resolve start nobody";
}

TEST_F(AgentManagerTest, AgentsAreLinkedFromTheLastToTheFirstRunningOnesFirst) {
    TRef<AgentShell> const a = agentOf("a"), b = agentOf("b"), c = agentOf("c"), d = agentOf("d");
    a->stop();
    b->stop();
    AgentManager2::LinkAgents();
    EXPECT_EQ(taken(), "d:linked alone c:linked alone b:linked alone a:linked alone");
}

TEST_F(AgentManagerTest, InitFollowsTheFlagAndDeinitForgets) {
    TRef<AgentShell> const a = agentOf("a"), b = agentOf("b");
    b->stop();
    TRefVector<Object> objects;
    for (TRef<AgentShell> const & agent : {a, b})
        objects.insert(objectOf(agent));
    objects.insert(TRef<Object>(recorder.pointer()));
    manager->deinit(objects);
    EXPECT_EQ(manager->getAgents().getCount() + manager->getStoppedAgents().getCount(), 0);
    manager->init(objects);
    ASSERT_EQ(manager->getAgents().getCount(), 1);
    ASSERT_EQ(manager->getStoppedAgents().getCount(), 1);
    EXPECT_EQ(manager->getAgents().at(0), a.pointer());
    EXPECT_EQ(manager->getStoppedAgents().at(0), b.pointer());
}

// The lists remember where each agent was put; a plain vector does not.
TEST_F(AgentManagerTest, ListsAreThoseOfAPlainModel) {
    std::vector<TRef<AgentShell>> agents;
    std::vector<AgentShell *> running;
    for (int i = 0; i < 12; ++i)
        agents.push_back(agentOf("x"));
    for (TRef<AgentShell> const & agent : agents)
        running.push_back(agent.pointer());
    std::uint32_t seed = 1;
    for (int round = 0; round < 2000; ++round) {
        seed = seed * 1664525u + 1013904223u;
        AgentShell * const agent = agents[(seed >> 16) % agents.size()].pointer();
        auto const place = std::find(running.begin(), running.end(), agent);
        if ((seed >> 28) % 2 == 0) {
            agent->start();
            if (place == running.end())
                running.push_back(agent);
        } else {
            agent->stop();
            if (place != running.end())
                running.erase(place);
        }
        ASSERT_EQ(manager->getAgents().getCount(), static_cast<long>(running.size()));
        for (std::size_t i = 0; i < running.size(); ++i)
            ASSERT_EQ(manager->getAgents().at(static_cast<long>(i)), running[i]);
        ASSERT_EQ(manager->getStoppedAgents().getCount(),
                  static_cast<long>(agents.size() - running.size()));
    }
}

TEST_F(AgentManagerTest, StreamHoldsNoAgentsAndOneVersion) {
    std::string const bytes = hex("01  02 00 00 00 00  01 00");
    EXPECT_EQ(digits(written(*manager)), digits(bytes));
    Time::g_Time = 3.5f;
    EXPECT_TRUE(readInto(*manager, bytes));
    EXPECT_EQ(manager->getLastTime(), 3.5f);
    try {
        readInto(*manager, hex("02  02 00 00 00 00  01 00"));
        FAIL() << "a version from the future";
    } catch (XStrVer const & error) {
        EXPECT_NE(std::string(error.getMessage().c_str()).find("(2, when expected 1)"),
                  std::string::npos)
            << error.getMessage().c_str();
    }
}

} // namespace Tavlin
