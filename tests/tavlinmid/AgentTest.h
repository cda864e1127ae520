// What tests of agents share: a component that keeps what happens to it, and asks for more when
// told to.
#pragma once

#include "ScriptTest.h"
#include "StreamBytes.h"

#include <functional>

namespace Tavlin {

class Part : public AgentComponent {
    G_DECLARE_CREATABLE(Part)
    TAVLIN_DECLARE_CONNECTIONS(Part)
  public:
    bool invoke(DispParams * params) override {
        if (params->type != IDispatcher::Method || params->name != NameLinkID("Ring"))
            return AgentComponent::invoke(params);
        note("ring");
        return answers;
    }
    NamedTypeInfo const * getNamedTypeInfo() const override { return nullptr; }
    void onLinkComplete() override { note(friend_ ? "linked" : "linked alone"); }
    void read(ipstream & in) override { AgentComponent::read(in); }
    void write(opstream & out) override { AgentComponent::write(out); }

    void note(std::string const & what) {
        log.push_back(std::string(getMemberNameID().c_str()) + ":" + what);
    }

    std::function<void()> onStep;
    bool answers = true;
    bool lonely = true; // wants no link
    float lastDelta = -1;
    static std::vector<std::string> log;

  protected:
    void step(float delta) override {
        lastDelta = delta;
        note("step");
        if (onStep)
            onStep();
    }

  private:
    TRef<Object> friend_;
};

class AgentTest : public ScriptTest {
  protected:
    AgentTest() { Part::log.clear(); }
    ~AgentTest() override { Part::log.clear(); }

    TRef<Part> add(TRef<AgentShell> const & agent, char const * name, float priority = 0.5f) {
        TObjectCreator<Part> creator;
        TRef<Part> const part(static_cast<Part *>(creator));
        agent->addComponent(TRef<AgentComponent>(part.pointer()), NameLinkID(name), priority);
        return part;
    }
    static std::string taken() {
        std::string text;
        for (std::string const & entry : Part::log)
            text += (text.empty() ? "" : " ") + entry;
        Part::log.clear();
        return text;
    }
    static bool ring(TRef<Object> const & object) {
        DispParams params(NameLinkID("Ring"), nullptr, nullptr, IDispatcher::Method);
        return params.call(object);
    }
    static TRef<Object> objectOf(TRef<AgentShell> const & agent) {
        return TRef<Object>(agent.pointer());
    }
};

} // namespace Tavlin
