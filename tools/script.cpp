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
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
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
        else
            missing_.push_back(pathForUser(path, script_));
    }
    void onError(AutomatError error, AutomatSpan const & span) override {
        ++errors_;
        complain(span.begin, error == AutomatError::Syntax ? "syntax error"
                             : error == AutomatError::EndInError
                                 ? "the script ends in the middle of an error"
                                 : "this cannot stand here and is dropped");
    }
    std::map<int, std::string> const & files() const { return files_; }
    std::vector<std::string> const & missing() const { return missing_; }
    int errors() const { return errors_; }

  private:
    void complain(AutomatPlace const & place, std::string const & words) const {
        auto const file = files_.find(place.file);
        std::fprintf(stderr, "%s:%d:%d: %s\n",
                     file == files_.end() ? script_.c_str() : file->second.c_str(), place.line,
                     place.column, words.c_str());
    }

    std::string const script_;
    std::map<int, std::string> files_;
    std::vector<std::string> missing_; // includes
    int errors_ = 0;
};

/// `loading` may know more of it afterwards.
TRef<D_Automat> loadScript(std::string const & file, Loading & loading) {
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const script(static_cast<D_Automat *>(creator));
    if (!readScript(file, *script, loading))
        throw Failure(Damaged, file + " cannot be read to its end");
    return script;
}

/// Waits as long as the game would, but not for who breaks off.
void pause(double seconds) {
    using Clock = std::chrono::steady_clock;
    auto const end = Clock::now() + std::chrono::duration<double>(seconds);
    for (;;) {
        stopIfInterrupted();
        std::chrono::duration<double> const rest = end - Clock::now();
        if (rest.count() <= 0)
            return;
        std::this_thread::sleep_for(std::min(rest, std::chrono::duration<double>(0.1)));
    }
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
        if (!std::isfinite(options.dt))
            throw Failure(WrongUsage, "a step must take some seconds");
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
                pause(options_.dt);
        }
        for (; next_ < planned_.size() && !ended_; ++next_)
            std::fprintf(stderr, "the run ends before event %s at %g seconds\n",
                         planned_[next_].name.c_str(), planned_[next_].time);
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
            TRef<D_Automat> const script = loadScript(options_.file, loading);
            noteTimes(loading);
            // While a file is written it may be read half, or empty.
            bool const isBroken = loading.errors() > 0 || script->getNamesCount() == 0;
            if (isBroken && script_ && !isBroken_)
                throw Failure(Damaged, "the changed script has errors or is empty; the former one "
                                       "goes on");
            isBroken_ = isBroken;
            return script;
        } catch (Failure const &) {
            noteTimes(loading);
            throw;
        }
    }

    void noteTimes(Loading const & loading) {
        times_.clear();
        goneSince_.reset();
        times_[options_.file] = timeOf(options_.file);
        for (auto const & [number, file] : loading.files())
            times_[file] = timeOf(file);
        for (std::string const & file : loading.missing())
            times_[file] = timeOf(file);
    }

    /// 0 while there is no such file.
    static std::int64_t timeOf(std::string const & file) {
        std::error_code failed;
        auto const time = std::filesystem::last_write_time(file, failed);
        return failed ? 0 : static_cast<std::int64_t>(time.time_since_epoch().count());
    }

    /// An editor may take a file away for a moment to put a new one in its place.
    bool hasChanged() {
        constexpr std::chrono::seconds moment(1);
        bool changed = false, gone = false;
        for (auto const & [file, former] : times_) {
            std::int64_t const time = timeOf(file);
            changed = changed || time != former;
            gone = gone || (time == 0 && former != 0);
        }
        if (!gone) {
            goneSince_.reset();
            return changed;
        }
        auto const now = std::chrono::steady_clock::now();
        if (!goneSince_)
            goneSince_ = now;
        return now - *goneSince_ > moment;
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
    std::map<std::string, std::int64_t> times_;                      // of the script's files
    std::optional<std::chrono::steady_clock::time_point> goneSince_; // one of them
    bool isBroken_ = false;                                          // the script has errors
    bool ended_ = false;
};

void dump(Options const & options) {
    Loading loading(options.file);
    TRef<D_Automat> const script = loadScript(options.file, loading);
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
    run->callback([options] { Run(*options).go(); });

    auto const shown = std::make_shared<Options>();
    CLI::App * const dumping =
        program.add_subcommand("dump", "Print a script as the library understood it");
    dumping->add_option("SCRIPT", shown->file, "The script")->required();
    dumping->callback([shown] { dump(*shown); });
}

} // namespace tool
