// What tests of scripts share: a scene with its manager, scripts from texts, and a native object
// that keeps what scripts call it with.
#pragma once

#include "foundation/GException.h"
#include "tavlinbase/TavlinSceneObject.h"
#include "tavlinbase/TavlinTime.h"
#include "tavlinmid/AgentShell.h"
#include "tavlinmid/Automat.h"
#include "tavlinmid/TavlinAgentManager.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace Tavlin {

/// Keeps calls of any name as text: name(argument,argument).
class Recorder : public UniqueObject, public IDispatcher {
    G_DECLARE_CREATABLE(Recorder)
  public:
    bool invoke(DispParams * params) override {
        if (params->type != IDispatcher::Method)
            return false;
        std::string text = params->name.c_str();
        text += '(';
        for (int i = 0; params->params && i < params->params->getCount(); ++i)
            text += (i ? "," : "") + describe(params->params->at(i));
        calls.push_back(text + ')');
        if (params->name == NameLinkID("Seven"))
            *params->result = 7;
        return true;
    }
    IDispatcher::Info const * getTypeInfo() override { return nullptr; }
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    static std::string describe(VariableRef const & value) {
        char text[64];
        switch (value.type()) {
            case INT:
                return std::to_string(value.asINT());
            case FLOAT:
                std::snprintf(text, sizeof text, "%gf", static_cast<double>(value.asFLOAT()));
                return text;
            case CHARPTR:
                return std::string("\"") + value.asCHARPTR() + '"';
            case NAMELINKID:
                return std::string("'") + value.asNAMELINKID().c_str() + '\'';
            case GPOINT:
                return std::to_string(value.asGPOINT().x) + ' ' +
                       std::to_string(value.asGPOINT().y);
            case UNDEFINED:
                return "nothing";
            default:
                return "?";
        }
    }

    std::vector<std::string> calls;
};

class ScriptTest : public testing::Test {
  protected:
    ScriptTest() {
        static bool const once = (GString::AddLoadStringFunc(GLoadMessage, nullptr), true);
        static_cast<void>(once);
        Time::Reset();
        // Tests run side by side in processes of their own, often with the same addresses.
        folder_ =
            std::filesystem::path(testing::TempDir()) / ("script_" + std::to_string(getpid()));
        std::filesystem::create_directories(folder_);
    }
    ~ScriptTest() override { std::filesystem::remove_all(folder_); }

    std::string fileOf(std::string const & text, std::string const & name = "test.aut") {
        std::filesystem::path const path = folder_ / name;
        std::ofstream(path, std::ios::binary) << text;
        return path.string();
    }

    /// The definition that a text gives; `loaded` is what load said.
    TRef<D_Automat> load(std::string const & text) {
        TObjectCreator<D_Automat> creator;
        TRef<D_Automat> const definition(static_cast<D_Automat *>(creator));
        loaded = definition->load(fileOf(text).c_str());
        return definition;
    }

    /// A running automat whose unhandled events go to `recorder`.
    TRef<Automat> run(std::string const & text) {
        TRef<Automat> const automat = load(text)->createNewAutomat();
        automat->setInheritedObject(TRef<Object>(recorder.pointer()));
        return automat;
    }

    static bool send(TRef<Automat> const & automat, char const * event,
                     VariableRef * result = nullptr) {
        DispParams params(NameLinkID(event), result, nullptr, IDispatcher::Method);
        return params.call(TRef<Object>(automat.pointer()));
    }

    static std::string variable(TRef<Automat> const & automat, char const * name) {
        VariableRef value;
        return automat->getVariable(NameLinkID(name), value) ? Recorder::describe(value) : "none";
    }

    static std::string state(TRef<Automat> const & automat) {
        TRef<D_State> const now = automat->getNowState();
        return now ? now->getName().c_str() : "none";
    }

    /// The definition as dump prints it.
    static std::string dumped(TRef<D_Automat> const & definition) {
        std::string text;
        D_Operator::SetDumpSink(
            [](char const * piece, void * data) { *static_cast<std::string *>(data) += piece; },
            &text);
        definition->dump();
        D_Operator::SetDumpSink(nullptr, nullptr);
        return text;
    }

    /// What the first global method does, as dump prints it, without braces and line ends.
    std::string body(std::string const & lines) {
        std::string const text = dumped(load("Method M\n{\n" + lines + "\n}\n"));
        std::size_t const begin = text.find("{\n") + 2;
        std::string inner = text.substr(begin, text.find("}\nVARS:") - begin);
        for (char & c : inner)
            if (c == '\n')
                c = ';';
        return inner;
    }

    TRef<SceneObject> scene{new SceneObject};
    TRef<AgentManager2> manager{new AgentManager2};
    TRef<Recorder> recorder{new Recorder};
    bool loaded = false;

  private:
    std::filesystem::path folder_;
};

} // namespace Tavlin
