// A fault inside a native call of a script ends in the emergency log, which tells what the engine
// was doing: the step, the component, the event.
#include "ScriptTest.h"

#include "diagnostics/GEmergencyLog.h"
#include "diagnostics/TavlinError.h"

#include <csignal>
#include <sstream>

namespace Tavlin {

namespace {

class Faulty : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Faulty)
    TAVLIN_DECLARE_DISPATCHER(Faulty)
  public:
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
    void fail(VariableRef *, VRefVector *) { std::raise(SIGILL); }
};

G_DEFINE_CREATABLE(Faulty, "Test::Faulty", UniqueObject, IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(Faulty, IDispatcherImpl)
    TAVLIN_METHOD("Fail", fail, UNDEFINED)
TAVLIN_END_DISPATCHER()

} // namespace

class ScriptFault : public ScriptTest {};

TEST_F(ScriptFault, LeavesTheStackOfContextsInTheLog) {
    // A forked child, which writes to the log of this very test.
    GTEST_FLAG_SET(death_test_style, "fast");
    std::string const log = fileOf("", "fault.log");
    TRef<Automat> const automat = run("State A\n{\nMethod Step\n{\nFail()\n}\n}\n");
    TRef<Faulty> const faulty(new Faulty);
    automat->setInheritedObject(TRef<Object>(faulty.pointer()));
    TRef<AgentShell> const agent(new AgentShell);
    agent->addComponent(TRef<AgentComponent>(automat.pointer()), NameLinkID("Brain"), 0.5f);
    agent->start();
    manager->start();
    std::remove(log.c_str());
    EXPECT_EXIT(
        {
            GEmergencyLog::SetFile(log.c_str());
            GEmergencyLog::Enable(true);
            Error::InitializeHandler();
            Time::StepGame(0.1f);
        },
        [](int) { return true; }, "");
    std::stringstream text;
    text << std::ifstream(log).rdbuf();
    EXPECT_NE(text.str().find("<UNHANDLED TIME="), std::string::npos) << text.str();
    EXPECT_NE(text.str().find("<context>\nFail\nStep\nBrain\nagents step\nmodelling step\n"),
              std::string::npos)
        << text.str();
    std::remove(log.c_str());
    manager->stop();
}

} // namespace Tavlin
