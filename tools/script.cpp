// `run` and `dump`: a script without its host. `run` steps it in an agent of its own and tells what
// happens; calls that the host would answer are told and have no value. `dump` prints what the
// library understood.
#include "Script.h"
#include "Command.h"
#include "Terminal.h"

#include "tavlinbase/DispatcherTextIO.h"
#include "tavlinbase/TavlinSceneObject.h"
#include "tavlinbase/TavlinTime.h"
#include "tavlinmid/Automat.h"
#include "tavlinmid/AutomatLexer.h"
#include "tavlinmid/D_Automat.h"
#include "tavlinmid/TavlinAgentManager.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tool {

namespace {

using namespace Tavlin;

struct Options {
    std::string file;
    long steps = 100;
    double dt = 0.1; // seconds of game time
    bool realtime = false;
    bool watch = false;
    bool prompt = false;
    std::vector<std::string> events; // NAME@TIME
};

struct PlannedEvent {
    std::string name;
    double time;
};

PlannedEvent plannedEvent(std::string const & text) {
    std::size_t const at = text.rfind('@');
    char * end = nullptr;
    std::string const number = at == std::string::npos ? "" : text.substr(at + 1);
    double const time = std::strtod(number.c_str(), &end);
    if (at == 0 || number.empty() || *end || !(time >= 0))
        throw Failure(WrongUsage, text + " is no event; write NAME@SECONDS");
    return {text.substr(0, at), time};
}

/// Notes the files of a script, and tells its errors with their places; `lint` explains them.
class Loading : public AutomatObserver {
  public:
    explicit Loading(std::string const & script) : script_(script) {}

    void onFile(File result, int file, char const * path, AutomatSpan const & include) override {
        if (result == File::Opened)
            files_[file] = include.begin.file < 0 ? script_ : pathForUser(path, script_);
        else if (result == File::Refused)
            complain(include.begin, std::string("include refused: ") + path);
    }
    void onError(AutomatError error, AutomatSpan const & span) override {
        complain(span.begin, error == AutomatError::Syntax ? "syntax error"
                             : error == AutomatError::EndInError
                                 ? "the script ends in the middle of an error"
                                 : "this cannot stand here and is dropped");
    }
    std::map<int, std::string> const & files() const { return files_; }

  private:
    void complain(AutomatPlace const & place, std::string const & words) const {
        auto const file = files_.find(place.file);
        std::fprintf(stderr, "%s:%d:%d: %s\n",
                     file == files_.end() ? script_.c_str() : file->second.c_str(), place.line,
                     place.column, words.c_str());
    }

    std::string const script_;
    std::map<int, std::string> files_;
};

/// `loading` may know more of it afterwards.
TRef<D_Automat> readScript(std::string const & file, Loading & loading) {
    requireFile(file);
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const script(static_cast<D_Automat *>(creator));
    if (!script->load(file.c_str(), &loading))
        throw Failure(Damaged, file + " ends in the middle of an error");
    return script;
}

std::string textOf(VariableRef const & value) {
    return value.isEmpty() ? "nothing" : DispatcherTextIO::VarToString(value, 0).c_str();
}

void tell(char const * kind, std::string const & text) {
    std::printf("%9.3f  %-5s  %s\n", static_cast<double>(Time::GetTime()), kind, text.c_str());
}

/// Stands in for the host: takes every call and tells it.
class Stranger : public UniqueObject, public IDispatcher {
    G_DECLARE_CREATABLE(Stranger)
  public:
    Stranger() = default;
    bool invoke(DispParams * params) override {
        if (params->type != IDispatcher::Method)
            return false;
        std::string text = params->name.c_str();
        // Every step sends this one, whether or not the script has it.
        if (text == "Step")
            return false;
        text += '(';
        for (long i = 0; params->params && i < params->params->getCount(); ++i)
            text += (i > 0 ? ", " : "") + textOf(params->params->at(i));
        tell("call", text + ")");
        return true;
    }
    Info const * getTypeInfo() override { return nullptr; }
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
};

G_DEFINE_CREATABLE(Stranger, "Tool::Stranger", UniqueObject, IDispatcher)

class Run {
  public:
    explicit Run(Options const & options) : options_(options) {
        for (std::string const & event : options.events)
            planned_.push_back(plannedEvent(event));
        std::stable_sort(
            planned_.begin(), planned_.end(),
            [](PlannedEvent const & a, PlannedEvent const & b) { return a.time < b.time; });
        Time::Reset();
        scene_ = new SceneObject;
        manager_ = new AgentManager2;
        manager_->start();
        script_ = read();
        D_DoAfter::SetFiredFunction(tellFired, nullptr);
        automat_ = script_->createNewAutomat();
        automat_->setInheritedObject(TRef<Object>(new Stranger));
        TObjectCreator<AgentShell> shell;
        agent_ = static_cast<AgentShell *>(shell);
        agent_->addComponent(TRef<AgentComponent>(automat_.pointer()));
        agent_->start();
    }
    ~Run() {
        D_DoAfter::SetFiredFunction(nullptr, nullptr);
        manager_->stop();
    }
    Run(Run const &) = delete;
    Run & operator=(Run const &) = delete;

    void go() {
        // Who follows a run as it goes may follow it through a pipe.
        if (options_.prompt || options_.watch || options_.realtime)
            std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
        std::unique_ptr<Keyboard> const keyboard(options_.prompt ? new Keyboard : nullptr);
        if (keyboard)
            std::fprintf(stderr, "type events, or quit\n");
        report();
        for (long step = 0; step < options_.steps && !ended_; ++step) {
            stopIfInterrupted();
            if (options_.watch)
                reload();
            while (next_ < planned_.size() && planned_[next_].time <= double(Time::GetTime()))
                send(planned_[next_++].name);
            if (keyboard)
                obey(*keyboard);
            Time::StepGame(static_cast<float>(options_.dt));
            Time::StepRender();
            report();
            if (options_.realtime)
                std::this_thread::sleep_for(std::chrono::duration<double>(options_.dt));
        }
    }

  private:
    void send(std::string const & name) {
        tell("event", name);
        DispParams event(NameLinkID(name.c_str()), nullptr, nullptr, IDispatcher::Method);
        event.call(TRef<Object>(agent_.pointer()));
        report();
    }

    void obey(Keyboard & keyboard) {
        for (std::string line; keyboard.next(line);) {
            if (line == "quit")
                ended_ = true;
            else if (!line.empty())
                send(line);
        }
    }

    /// Tells what has changed since the last report.
    void report() {
        TRef<D_State> const state = automat_->getNowState();
        std::string const name = state ? state->getName().c_str() : "none";
        if (name != state_)
            tell("state", state_.empty() ? name : state_ + " -> " + name);
        state_ = name;
        TGVector<NameLinkID> const names = script_->getNames();
        values_.resize(static_cast<std::size_t>(names.getCount()));
        for (long i = 0; i < names.getCount(); ++i) {
            VariableRef value;
            automat_->getVariable(names.at(i), value);
            std::string & former = values_[static_cast<std::size_t>(i)];
            std::string const now = textOf(value);
            if (now != former)
                tell("value", std::string(names.at(i).c_str()) + " = " + now);
            former = now;
        }
        std::string const out = automat_->getLastOutEvents().c_str();
        if (out.size() > out_.size())
            tell("out", out.substr(out_.empty() ? 0 : out_.size() + 1));
        out_ = out;
    }

    static void tellFired(TRef<Automat> const &, D_DoAfter & wait, void *) {
        std::string text;
        D_Operator::SetDumpSink(
            [](char const * piece, void * data) { *static_cast<std::string *>(data) += piece; },
            &text);
        wait.dump();
        D_Operator::SetDumpSink(nullptr, nullptr);
        tell("after", text);
    }

    TRef<D_Automat> read() {
        Loading loading(options_.file);
        try {
            TRef<D_Automat> const script = readScript(options_.file, loading);
            noteTimes(loading);
            return script;
        } catch (Failure const &) {
            noteTimes(loading);
            throw;
        }
    }

    void noteTimes(Loading const & loading) {
        times_.clear();
        times_[options_.file] = timeOf(options_.file);
        for (auto const & [number, file] : loading.files())
            times_[file] = timeOf(file);
    }

    /// 0 while there is no such file, as when an editor puts a new one in its place.
    static std::int64_t timeOf(std::string const & file) {
        std::error_code failed;
        auto const time = std::filesystem::last_write_time(file, failed);
        return failed ? 0 : static_cast<std::int64_t>(time.time_since_epoch().count());
    }

    bool hasChanged() const {
        bool changed = false;
        for (auto const & [file, former] : times_) {
            std::int64_t const time = timeOf(file);
            if (time == 0)
                return false;
            changed = changed || time != former;
        }
        return changed;
    }

    /// Takes a changed script over; variables of the same name and kind keep their values.
    void reload() {
        if (!hasChanged())
            return;
        TRef<D_Automat> script;
        try {
            script = read();
        } catch (Failure const & failure) {
            tell("file", failure.what());
            return;
        }
        TGVector<NameLinkID> const names = script_->getNames();
        std::vector<VariableRef> former(static_cast<std::size_t>(names.getCount()));
        for (long i = 0; i < names.getCount(); ++i)
            automat_->getVariable(names.at(i), former[static_cast<std::size_t>(i)]);
        NameLinkID const state =
            automat_->getNowState() ? automat_->getNowState()->getName() : NameLinkID();
        script_ = script;
        script_->updateAutomat(automat_);
        automat_->setNowState(state);
        for (long i = 0; i < names.getCount(); ++i) {
            VariableRef const & value = former[static_cast<std::size_t>(i)];
            VariableRef now;
            if (automat_->getVariable(names.at(i), now) && now.type() == value.type())
                automat_->setVariable(names.at(i), VariableVar(value));
        }
        values_.clear();
        tell("file", "the script has changed and is read again");
        report();
    }

    Options const & options_;
    std::vector<PlannedEvent> planned_;
    std::size_t next_ = 0;
    TRef<SceneObject> scene_;
    TRef<AgentManager2> manager_;
    TRef<D_Automat> script_;
    TRef<Automat> automat_;
    TRef<AgentShell> agent_;
    std::string state_, out_;
    std::vector<std::string> values_;
    std::map<std::string, std::int64_t> times_; // of the script's files
    bool ended_ = false;
};

void dump(Options const & options) {
    findIncludesBeside(options.file);
    Loading loading(options.file);
    TRef<D_Automat> const script = readScript(options.file, loading);
    D_Operator::SetDumpSink([](char const * text, void *) { std::fputs(text, stdout); }, nullptr);
    script->dump();
    D_Operator::SetDumpSink(nullptr, nullptr);
}

} // namespace

void addScript(CLI::App & program) {
    auto const options = std::make_shared<Options>();
    CLI::App * const run =
        program.add_subcommand("run", "Run a script without its host and tell what happens");
    run->add_option("SCRIPT", options->file, "The script")->required();
    run->add_option("--steps", options->steps, "How many game steps (100)")
        ->check(CLI::NonNegativeNumber);
    run->add_option("--dt", options->dt, "Seconds of game time in a step (0.1)")
        ->check(CLI::Range(0.0, 3600.0));
    run->add_option("--event", options->events,
                    "Send an event at a time, NAME@SECONDS; may be given several times")
        ->allow_extra_args(false);
    run->add_flag("--realtime", options->realtime, "Take as long as the game would");
    run->add_flag(
        "--watch", options->watch,
        "Read the script again when one of its files changes; variables keep their values");
    run->add_flag("--prompt", options->prompt, "Send the events that are typed, a line each");
    run->callback([options] {
        findIncludesBeside(options->file);
        Run(*options).go();
    });

    auto const shown = std::make_shared<Options>();
    CLI::App * const dumping =
        program.add_subcommand("dump", "Print a script as the library understood it");
    dumping->add_option("SCRIPT", shown->file, "The script")->required();
    dumping->callback([shown] { dump(*shown); });
}

} // namespace tool
