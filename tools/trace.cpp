// `trace`: the debug tool that programs send their trace lines to. It shows the channels that are
// switched on, and switches them while it runs; the switches stand in the registry that programs
// and the tool share, so they hold from one run to the next.
#include "Command.h"
#include "Json.h"
#include "Terminal.h"

#include "diagnostics/Tracer.h"
#include "platform/Clock.h"
#include "platform/Registry.h"
#include "platform/TraceTool.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

namespace tool {

namespace {

using Tavlin::Tracer;
using Tavlin::TracerConfig;

struct Options {
    std::string project = Tracer::project;
    std::string log;
    std::vector<std::string> only; // FIRST, or FIRST/SECOND
    std::string color = "auto";
    long lines = 0; // to end after; 0 for no end
    std::string first, second;
    bool json = false;
};

struct Channel {
    std::string first, second;
    bool on = false;
    int number = -1;
};

std::vector<Channel> channelsOf(TracerConfig const & config) {
    std::vector<Channel> channels;
    config.enumerate(
        [](GString const & first, GString const & second, TracerConfig::Info const & info,
           void * data) {
            static_cast<std::vector<Channel> *>(data)->push_back(
                {first.c_str(), second.c_str(), info.on, info.number});
        },
        &channels);
    return channels;
}

/// The listening tool; programs keep silent when it has gone.
class Listener {
  public:
    Listener() : tool_(platform::openTraceTool()) {
        if (!tool_)
            throw Failure(NotDone, "nothing can listen at " + platform::traceToolPlace() +
                                       ": another trace runs, or the place cannot be used");
        platform::writeRegistry(Tracer::toolKey, "isActive", "on");
    }
    ~Listener() {
        platform::writeRegistry(Tracer::toolKey, "isActive", "off");
        platform::closeTraceTool(tool_);
    }
    Listener(Listener const &) = delete;
    Listener & operator=(Listener const &) = delete;
    bool receive(platform::TraceRecord & record) {
        constexpr int glance = 100; // milliseconds between looks at the keyboard
        return platform::receiveTrace(tool_, record, glance);
    }

  private:
    HANDLE tool_;
};

/// What a program sends must not steer the terminal.
std::string harmless(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    for (char & c : text)
        if ((static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n') || c == 0x7F)
            c = '?';
    return text;
}

class Show {
  public:
    explicit Show(Options const & options)
        : options_(options), config_(options.project.c_str()),
          colored_(options.color == "always" || (options.color == "auto" && isTerminal(stdout))) {
        if (!options.log.empty()) {
            log_.open(options.log, std::ios::app);
            if (!log_)
                throw Failure(NotDone, options.log + " cannot be written");
        }
        remember();
    }

    void run() {
        Listener listener;
        Keyboard keyboard;
        std::fprintf(stderr, "listening at %s; on FIRST SECOND, off FIRST SECOND, list, quit\n",
                     platform::traceToolPlace().c_str());
        platform::TraceRecord record;
        while (!ended_) {
            stopIfInterrupted();
            if (listener.receive(record))
                take(record);
            for (std::string line; keyboard.next(line);)
                obey(line);
        }
    }

  private:
    void remember() {
        channels_.clear();
        for (Channel const & channel : channelsOf(config_))
            channels_[channel.number] = channel;
    }

    void take(platform::TraceRecord const & record) {
        // Another program, or another tool, may have changed the table.
        if (record.message == platform::TraceMessage::NewChannel ||
            channels_.find(record.number) == channels_.end()) {
            config_.reread();
            remember();
        }
        if (record.message != platform::TraceMessage::Line)
            return;
        Channel const channel = channels_.count(record.number)
                                    ? channels_[record.number]
                                    : Channel{"?", std::to_string(record.number), true, -1};
        if (channel.on && isWanted(channel))
            print(channel, harmless(record.text));
    }

    bool isWanted(Channel const & channel) const {
        for (std::string const & name : options_.only)
            if (name == channel.first || name == channel.first + "/" + channel.second)
                return true;
        return options_.only.empty();
    }

    void print(Channel const & channel, std::string const & text) {
        std::string const names =
            "[" + harmless(channel.first) + "][" + harmless(channel.second) + "]";
        if (colored_)
            std::printf("\033[1;%dm%s\033[0m %s\n", 31 + (channel.number + 6) % 6, names.c_str(),
                        text.c_str());
        else
            std::printf("%s %s\n", names.c_str(), text.c_str());
        std::fflush(stdout);
        if (log_.is_open()) {
            platform::CalendarTime const now = platform::localTime();
            char when[32];
            std::snprintf(when, sizeof when, "%04d-%02d-%02d %02d:%02d:%02d", now.year, now.month,
                          now.day, now.hour, now.minute, now.second);
            log_ << when << ' ' << names << ' ' << text << std::endl;
        }
        ended_ = ++shown_ == options_.lines;
    }

    void obey(std::string const & line) {
        std::istringstream words(line);
        std::string verb, first, second;
        words >> verb >> first >> second;
        if (verb == "quit") {
            ended_ = true;
        } else if (verb == "list") {
            for (auto const & [number, channel] : channels_)
                std::fprintf(stderr, "%s %s %s\n", channel.on ? "on " : "off",
                             channel.first.c_str(), channel.second.c_str());
        } else if ((verb == "on" || verb == "off") && !second.empty()) {
            if (!config_.setInfo(first.c_str(), second.c_str(), verb == "on"))
                std::fprintf(stderr, "ondrel: the switch cannot be kept in %s\n",
                             platform::registryPlace().c_str());
            remember();
        } else if (!verb.empty()) {
            std::fprintf(stderr, "on FIRST SECOND, off FIRST SECOND, list, quit\n");
        }
    }

    Options const & options_;
    TracerConfig config_;
    std::map<int, Channel> channels_;
    bool const colored_;
    std::ofstream log_;
    long shown_ = 0;
    bool ended_ = false;
};

void list(Options const & options) {
    std::vector<Channel> const channels = channelsOf(TracerConfig(options.project.c_str()));
    if (!options.json) {
        for (Channel const & channel : channels)
            std::printf("%s %d %s %s\n", channel.on ? "on " : "off", channel.number,
                        channel.first.c_str(), channel.second.c_str());
        return;
    }
    Json json;
    json.beginArray();
    for (Channel const & channel : channels) {
        json.beginObject().member("first", channel.first).member("second", channel.second);
        json.member("number", std::int64_t(channel.number)).member("on", channel.on).endObject();
    }
    json.endArray().print();
}

void turn(Options const & options, bool on) {
    TracerConfig config(options.project.c_str());
    if (!config.setInfo(options.first.c_str(), options.second.c_str(), on))
        throw Failure(NotDone, "the switch cannot be kept in " + platform::registryPlace());
}

/// The library's words for a damaged table tell nobody which.
template <class Work>
void withTable(Options const & options, Work work) {
    try {
        work();
    } catch (Tavlin::TracerError const &) {
        throw Failure(Damaged, "the table of channels of " + options.project + " in " +
                                   platform::registryPlace() + " is damaged");
    }
}

} // namespace

void addTrace(CLI::App & program) {
    auto const options = std::make_shared<Options>();
    CLI::App * const trace =
        program.add_subcommand("trace", "Show the trace lines of running programs as they come");
    trace->add_option("--project", options->project, "Whose table of channels (QX)");
    trace->add_option("--log", options->log, "Add the lines to a file, with their times");
    trace->add_option("--only", options->only,
                      "Only this channel, FIRST or FIRST/SECOND; may be given several times");
    trace->add_option("--color", options->color, "When lines have colours (auto)")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    trace->add_option("--lines", options->lines, "End after so many lines")
        ->check(CLI::PositiveNumber);
    trace->require_subcommand(0, 1);

    CLI::App * const listing = trace->add_subcommand("list", "Print the channels and end");
    listing->add_flag("--json", options->json, "Print them as JSON");
    listing->callback([options] { withTable(*options, [&] { list(*options); }); });
    for (bool const on : {true, false}) {
        CLI::App * const turning = trace->add_subcommand(
            on ? "on" : "off", on ? "Switch a channel on and end" : "Switch a channel off and end");
        turning->add_option("FIRST", options->first, "The first name of the channel")->required();
        turning->add_option("SECOND", options->second, "The second name")->required();
        turning->callback([options, on] { withTable(*options, [&] { turn(*options, on); }); });
    }
    trace->callback([trace, options] {
        if (trace->get_subcommands().empty())
            withTable(*options, [&] { Show(*options).run(); });
    });
}

} // namespace tool
