// Lines are parsed whenever they are looked at: files of settings are small and rarely asked, and
// so no line can be told from its text.
#include "foundation/GInitializationFile.h"

#include "foundation/GFile.h"
#include "foundation/GModule.h"
#include "platform/FileHandle.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace {

constexpr char const * blanks = " \t\n\r";

enum class LineKind { Comment, Topic, Key };

/// A line without the blanks in front and the CR of its end.
std::string_view contentOf(char const * line) {
    if (!line)
        return {};
    std::string_view content(line + std::strspn(line, blanks));
    if (!content.empty() && content.back() == '\r')
        content.remove_suffix(1);
    return content;
}

LineKind kindOf(char const * line) {
    if (!line)
        return LineKind::Comment;
    switch (line[std::strspn(line, blanks)]) {
        case '\0':
        case ';':
            return LineKind::Comment;
        case '[':
            return LineKind::Topic;
        default:
            return LineKind::Key;
    }
}

std::string_view topicName(char const * line) {
    std::string_view const content = contentOf(line).substr(1);
    return content.substr(0, content.find(']'));
}

std::string_view keyName(char const * line) {
    std::string_view const content = contentOf(line);
    std::string_view const key = content.substr(0, content.find('='));
    return key.substr(0, key.find_last_not_of(blanks) + 1);
}

GString textOf(std::string_view text) {
    return GString(text.data(), static_cast<unsigned int>(text.size()));
}

std::string_view viewOf(char const * text) {
    return text ? text : std::string_view();
}

void append(GStringCollection & list, std::string_view text) {
    list.at_insert(list.getCount(), gnewstr(textOf(text).c_str()));
}

void startList(GStringCollection & list) {
    list.empty();
    list.shouldDelete(1);
}

bool beginsWithOneOf(GString const & text, std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(), [&](std::string_view word) {
        return std::string_view(text.c_str()).starts_with(word);
    });
}

/// False when it is no file of bytes, too large, or cannot be read to its end.
bool readText(char const * name, platform::FileStatus const & status, std::string & text) {
    constexpr std::size_t most = GInitializationFile::maxFileSize;
    if (status.directory || status.special || status.size > GInitializationFile::maxFileSize)
        return false;
    platform::FileHandle const file =
        platform::openFile(name, platform::ReadAccess, platform::FileCreation::Existing);
    if (file == platform::noFile)
        return false;
    // The size may have changed since, so the text grows with what is there.
    std::size_t room = static_cast<std::size_t>(status.size) + 1;
    std::size_t used = 0;
    long count = 0;
    do {
        text.resize(used + room);
        count = platform::readFile(file, text.data() + used, static_cast<long>(room));
        used += static_cast<std::size_t>(std::max(count, 0L));
        room = 0x10000;
    } while (count > 0 && used <= most);
    platform::closeFile(file);
    text.resize(used);
    return count == 0;
}

GInitializationFile * g_file = nullptr;
GModuleDtor const g_endFile([] { GInitializationFile::SetFile(nullptr); });

} // namespace

GInitializationFile::GInitializationFile(char const * name)
    : GStringCollection(0, 10, 1), fileName_(name) {
    if (fileName_.isEmpty())
        return;
    fileName_ = GFile::RedirectedName(fileName_.c_str(), 1);
    load();
}

GInitializationFile::~GInitializationFile() {
    try {
        update();
    } catch (...) {
        // Out of memory for the text: the file of before stays.
    }
    GInitializationFile::shut_down();
}

GInitializationFile * GInitializationFile::GetFile() {
    return g_file;
}

void GInitializationFile::SetFile(char const * name) {
    GString const kept(name); // it may be the name of the one that ends
    delete std::exchange(g_file, nullptr);
    if (name)
        g_file = new GInitializationFile(kept.c_str());
}

void GInitializationFile::freeItem(void * item) {
    if (!linesWithZeros_.empty())
        linesWithZeros_.erase(static_cast<char const *>(item));
    GStringCollection::freeItem(item);
}

void GInitializationFile::load() {
    platform::FileStatus status;
    if (!platform::fileStatus(fileName_.c_str(), status))
        return;
    std::string text;
    unreadable_ = !readText(fileName_.c_str(), status, text) ||
                  std::count(text.begin(), text.end(), '\n') >= maxLines;
    if (!unreadable_)
        insertText(0, text.data(), text.size());
}

// A last line without a line feed is a line.
void GInitializationFile::insertText(long index, char const * text, std::size_t size) {
    char const * const end = text + size;
    setLimit(std::max(getLimit(), getCount() + 1 + static_cast<long>(std::count(text, end, '\n'))));
    while (text != end) {
        char const * const lineEnd = std::find(text, end, '\n');
        insertLine(index++, text, static_cast<std::size_t>(lineEnd - text));
        text = lineEnd == end ? end : lineEnd + 1;
    }
}

void GInitializationFile::insertLine(long index, char const * line, std::size_t size) {
    char * const copy = new char[size + 1];
    std::copy_n(line, size, copy);
    copy[size] = '\0';
    if (std::find(line, line + size, '\0') != line + size)
        linesWithZeros_[copy].assign(line, size);
    at_insert(index, copy);
}

bool GInitializationFile::hasReturn(long index) const {
    return index >= 0 && index < getCount() && viewOf(at(index)).ends_with('\r');
}

long GInitializationFile::findTopic(char const * name) const {
    std::string_view const wanted = viewOf(name);
    long index = getCount() - 1;
    while (index >= 0 && !(kindOf(at(index)) == LineKind::Topic && topicName(at(index)) == wanted))
        --index;
    return index;
}

// Where the next topic begins.
long GInitializationFile::endOfTopic(long header) const {
    long index = header + 1;
    while (index < getCount() && kindOf(at(index)) != LineKind::Topic)
        ++index;
    return index;
}

// `start` is the header, or -1 for none; so is the result.
long GInitializationFile::findKey(char const * name, long start) const {
    if (start < 0)
        return -1;
    std::string_view const wanted = viewOf(name);
    long const end = endOfTopic(start);
    for (long index = start + 1; index < end; ++index)
        if (kindOf(at(index)) == LineKind::Key && keyName(at(index)) == wanted)
            return index;
    return -1;
}

bool GInitializationFile::getValue(char const * topic, char const * key, GString & value) const {
    long const index = findKey(topic, key);
    if (index < 0)
        return false;
    std::string_view const content = contentOf(at(index));
    std::size_t const sign = content.find('=');
    value = sign == std::string_view::npos ? GString() : textOf(content.substr(sign + 1));
    return true;
}

bool GInitializationFile::getValue(char const * topic, char const * key, long & value) const {
    GString text;
    if (!getValue(topic, key, text))
        return false;
    value = std::strtol(text.c_str(), nullptr, 10);
    return true;
}

bool GInitializationFile::getBoolean(char const * topic, char const * key,
                                     unsigned char & value) const {
    GString text;
    if (!getValue(topic, key, text))
        return false;
    text.ltrim(blanks);
    text.toLower();
    if (beginsWithOneOf(text, {"true", "on", "1", "yes"}))
        value = 1;
    else if (beginsWithOneOf(text, {"false", "off", "0", "no"}))
        value = 0;
    else
        return false;
    return true;
}

void GInitializationFile::setValue(char const * topic, char const * key, char const * value) {
    GString line(key);
    line += '=';
    line += value;
    long const header = findTopic(topic);
    long const index = findKey(key, header);
    if (index >= 0) {
        bool const carriageReturn = hasReturn(index);
        at_free(index);
        addLine(index, line, carriageReturn);
    } else {
        long const place = header >= 0 ? header : addTopic(topic);
        addLine(place + 1, line, hasReturn(place));
    }
    modified_ = 1;
}

void GInitializationFile::setValue(char const * topic, char const * key, long value) {
    setValue(topic, key, std::to_string(value).c_str());
}

void GInitializationFile::setBoolean(char const * topic, char const * key, unsigned char value) {
    setValue(topic, key, value ? "yes" : "no");
}

void GInitializationFile::addLine(long index, GString line, bool carriageReturn) {
    if (carriageReturn)
        line += '\r';
    insertLine(index, line.c_str(), line.length());
}

long GInitializationFile::addTopic(char const * name) {
    GString header("[");
    header += name;
    header += ']';
    long const index = getCount();
    addLine(index, header, hasReturn(index - 1));
    return index;
}

void GInitializationFile::getTopicList(GStringCollection & topics) const {
    startList(topics);
    for (long i = 0; i < getCount(); ++i)
        if (kindOf(at(i)) == LineKind::Topic)
            append(topics, topicName(at(i)));
}

void GInitializationFile::getKeyList(char const * topic, GStringCollection & keys) const {
    startList(keys);
    long const header = findTopic(topic);
    long const end = header < 0 ? 0 : endOfTopic(header);
    for (long i = header + 1; i < end; ++i)
        if (kindOf(at(i)) == LineKind::Key)
            append(keys, keyName(at(i)));
}

// Squeezed out in one go: a topic may be most of a large file.
void GInitializationFile::removeLines(long from, long to) {
    if (from == to)
        return;
    for (long i = from; i < to; ++i) {
        freeItem(at(i));
        at_put(i, nullptr);
    }
    pack();
}

bool GInitializationFile::removeTopic(char const * topic, unsigned char withHeader) {
    long const header = findTopic(topic);
    if (header < 0)
        return false;
    removeLines(withHeader ? header : header + 1, endOfTopic(header));
    modified_ = 1;
    return true;
}

bool GInitializationFile::removeKey(char const * topic, char const * key) {
    long const index = findKey(topic, key);
    if (index < 0)
        return false;
    at_free(index);
    modified_ = 1;
    return true;
}

bool GInitializationFile::getTopic(char const * topic, GString & text) const {
    long const header = findTopic(topic);
    std::string lines;
    long const end = header < 0 ? 0 : endOfTopic(header);
    for (long i = header + 1; i < end; ++i) {
        lines += viewOf(at(i));
        lines += '\n';
    }
    text = lines.c_str();
    return header >= 0;
}

void GInitializationFile::setTopic(char const * topic, char const * text) {
    std::string const kept(viewOf(text)); // it may be a line of this file
    long header = findTopic(topic);
    if (header < 0)
        header = addTopic(topic);
    else
        removeLines(header + 1, endOfTopic(header));
    insertText(header + 1, kept.data(), kept.size());
    modified_ = 1;
}

void GInitializationFile::appendLine(std::string & text, long index) const {
    std::string_view const line = viewOf(at(index));
    auto const whole =
        linesWithZeros_.empty() ? linesWithZeros_.end() : linesWithZeros_.find(at(index));
    // The address may be that of another line by now, if a host has taken the first one out.
    if (whole != linesWithZeros_.end() && line == whole->second.c_str())
        text += whole->second;
    else
        text += line;
    text += '\n';
}

bool GInitializationFile::update() {
    if (!modified_)
        return true;
    if (unreadable_)
        return false;
    std::string text;
    for (long i = 0; i < getCount(); ++i)
        appendLine(text, i);
    if (!platform::replaceContent(fileName_.c_str(), text.data(), text.size()))
        return false;
    modified_ = 0;
    return true;
}

void GInitializationFile::setFileName(char const * name) {
    fileName_ = name;
    unreadable_ = false;
    modified_ = 1;
}
