// The tracer and its table. In the registry the table of a project stands under two keys:
// "settings", whose "lastid" is the last number given, and "values", with a text "first|second|
// number|on" for each channel, by the name of its number.
#include "diagnostics/Tracer.h"

#include "platform/Clock.h"
#include "platform/DebugOutput.h"
#include "platform/Registry.h"
#include "platform/TraceTool.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace Tavlin {

Tracer * Tracer::TheTracer = nullptr;

namespace {

constexpr int freshRefreshes = 10;

std::string textOf(char const * text) {
    return text ? text : "";
}

std::string namesOf(char const * first, char const * second) {
    std::string names(1, '[');
    names += textOf(first);
    names += "][";
    names += textOf(second);
    names += ']';
    return names;
}

bool equalIgnoringCase(std::string const & text, char const * word) {
    if (text.size() != std::strlen(word))
        return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(text[i])) != word[i])
            return false;
    return true;
}

/// Cuts off what stands in front of the next bar. Raises TracerError when there is none.
std::string cutField(std::string & text) {
    std::size_t const bar = text.find('|');
    if (bar == std::string::npos)
        throw TracerError();
    std::string const field = text.substr(0, bar);
    text.erase(0, bar + 1);
    return field;
}

} // namespace

TracerError::TracerError() : Error("tracer has performed illegal operation. please reboot.") {}

// ---- The table ----

TracerConfig::Table::~Table() {
    clear();
}

void TracerConfig::Table::clear() {
    while (getCount() > 0) {
        delete valueAt(getCount() - 1);
        removeAt(getCount() - 1);
    }
}

TracerConfig::TracerConfig(char const * project) : project_(project) {
    reread();
}

GString TracerConfig::keyOf(char const * part) const {
    GString key(Tracer::toolKey);
    key += "\\projects\\";
    key += project_;
    key += "\\";
    key += part;
    return key;
}

void TracerConfig::reread() {
    table_.clear();
    platform::RegistryValues values;
    if (!platform::listRegistry(keyOf("values").c_str(), values))
        return;
    for (auto & [name, text] : values) {
        std::string const first = cutField(text);
        std::string const second = cutField(text);
        std::string const number = cutField(text);
        Info info;
        info.on = equalIgnoringCase(text, "on");
        bool const isNumber =
            !number.empty() && (std::isdigit(static_cast<unsigned char>(
                                   number[number.size() > 1 && number[0] == '-'])));
        if (!isNumber || (!info.on && !equalIgnoringCase(text, "off")))
            throw TracerError();
        info.number = std::atoi(number.c_str());
        insert(first.c_str(), second.c_str(), info);
    }
}

void TracerConfig::insert(char const * first, char const * second, Info const & info) {
    Seconds ** found = table_.find(GString(first));
    if (!found) {
        table_.insert(GString(first), new Seconds);
        found = table_.find(GString(first));
    }
    if (Info * const known = (*found)->find(GString(second)))
        *known = info;
    else
        (*found)->insert(GString(second), info);
}

bool TracerConfig::getInfo(char const * first, char const * second, Info & info) const {
    Seconds * const * const seconds = table_.find(GString(first));
    Info const * const found = seconds ? (*seconds)->find(GString(second)) : nullptr;
    if (found)
        info = *found;
    return found != nullptr;
}

bool TracerConfig::write(char const * first, char const * second, Info const & info) const {
    std::string const number = std::to_string(info.number);
    std::string const text =
        textOf(first) + "|" + textOf(second) + "|" + number + "|" + (info.on ? "on" : "off");
    return platform::writeRegistry(keyOf("values").c_str(), number.c_str(), text.c_str());
}

bool TracerConfig::setInfo(char const * first, char const * second, bool on) {
    // A bar would end the name when the table is read.
    if (std::strchr(textOf(first).c_str(), '|') || std::strchr(textOf(second).c_str(), '|'))
        return false;
    Info info;
    if (!getInfo(first, second, info)) {
        if (!platform::countUpRegistry(keyOf("settings").c_str(), "lastid", info.number))
            return false;
    }
    info.on = on;
    if (!write(first, second, info))
        return false;
    insert(first, second, info);
    return true;
}

void TracerConfig::enumerate(void (*callback)(GString const & first, GString const & second,
                                              Info const & info, void * data),
                             void * data) const {
    for (long i = 0; i < table_.getCount(); ++i) {
        Seconds const & seconds = *table_.valueAt(i);
        for (long j = 0; j < seconds.getCount(); ++j)
            callback(table_.keyAt(i), seconds.keyAt(j), seconds.valueAt(j), data);
    }
}

// ---- The tracer ----

Tracer::Tracer() : config_(project) {
    TheTracer = this;
}

Tracer::~Tracer() {
    closeLogFile();
    platform::leaveTraceTool(tool_);
    if (TheTracer == this)
        TheTracer = nullptr;
}

void Tracer::Output(char const * first, char const * second, char const * text) {
    if (TheTracer)
        TheTracer->output(first, second, text);
    else
        sendToDebugger(first, second, text);
}

void Tracer::output(char const * first, char const * second, char const * text) {
    if (logIsOpen_)
        sendToLog(first, second, text);
    if (!tool_) {
        sendToDebugger(first, second, text);
        return;
    }
    TracerConfig::Info info;
    if (!config_.getInfo(first, second, info)) {
        config_.setInfo(first, second, true);
        if (!config_.getInfo(first, second, info))
            throw TracerError();
        platform::sendTrace(tool_, platform::TraceMessage::NewChannel, info.number, "");
    }
    send(info.number, text);
}

void Tracer::refreshState() {
    if (!platform::traceToolListens(tool_)) {
        platform::leaveTraceTool(tool_);
        tool_ = nullptr;
        std::string active;
        if (platform::readRegistry(toolKey, "isActive", active) && active != "on")
            return;
        tool_ = platform::findTraceTool();
        if (!tool_)
            return;
    }
    config_.reread();
    refreshes_ = freshRefreshes;
}

void Tracer::setLogFile(char const * name) {
    closeLogFile();
    log_ = platform::openFile(name, platform::WriteAccess, platform::FileCreation::Always,
                              platform::ReadAccess);
    logIsOpen_ = log_ != platform::noFile;
    if (logIsOpen_)
        platform::resizeFile(log_, 0);
}

void Tracer::closeLogFile() {
    if (logIsOpen_)
        platform::closeFile(log_);
    log_ = platform::noFile;
    logIsOpen_ = false;
}

void Tracer::sendToLog(char const * first, char const * second, char const * text) {
    platform::CalendarTime const now = platform::localTime();
    char when[32];
    std::snprintf(when, sizeof when, "%02d/%02d/%02d %02d:%02d:%02d ", now.month, now.day,
                  now.year % 100, now.hour, now.minute, now.second);
    std::string const line = std::string(when) + namesOf(first, second) + " " + textOf(text);
    platform::writeFile(log_, line.data(), static_cast<long>(line.size()));
    platform::syncFile(log_);
}

void Tracer::sendToDebugger(char const * first, char const * second, char const * text) {
    std::string const line = namesOf(first, second) + " : " + textOf(text);
    platform::debugOutput(line.c_str());
}

void Tracer::send(int number, char const * text) {
    platform::sendTrace(tool_, platform::TraceMessage::Line, number, textOf(text).c_str());
}

} // namespace Tavlin
