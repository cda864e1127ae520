// Reading and expanding the text, and finding the place of a name.
#include "persistence/RedirectionFile.h"

#include "foundation/FileSystem.h"
#include "foundation/GFile.h"
#include "persistence/GBufferedIO.h"
#include "persistence/GFileIO.h"
#include "persistence/GMemoryIO.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr char const * blanks = " \t\n\r";

/// Calls `use` with each piece of `text` between characters of `separators`, empty ones included.
template <class Use>
void split(char const * text, char const * separators, Use use) {
    for (;;) {
        std::size_t const n = std::strcspn(text, separators);
        use(GString(text, static_cast<unsigned int>(n)));
        text += n;
        if (!*text++)
            return;
    }
}

/// The next line, cut to its greatest length, up to a zero byte. False at the end.
bool readLine(GAbstractBufferedIO & stream, GString & line) {
    char * const text = line.getBuffer(RedirectionFile::maxLineLength);
    long length = 0;
    int byte = stream.readByte();
    bool const any = byte >= 0;
    for (; byte >= 0 && byte != '\n'; byte = stream.readByte())
        if (length < RedirectionFile::maxLineLength)
            text[length++] = static_cast<char>(byte);
    text[length] = 0;
    line.releaseBuffer();
    return any;
}

/// As directories are kept: a file name, so that they compare whichever slash they are written
/// with, and no backslash at the end, unless that is all.
GString bareDirectory(GString const & name) {
    GFile directory(name);
    directory.rtrim('\\');
    return directory.isEmpty() && !name.isEmpty() ? GString("\\") : directory;
}

GFile placeIn(GString const & directory, char const * name) {
    GFile place(directory);
    place.add_name(name);
    return place;
}

} // namespace

RedirectionItem::RedirectionItem(char const * pattern_, char const * directories)
    : TGCollection(0, 4, 1), pattern(pattern_) {
    add_line(directories);
}

RedirectionItem::RedirectionItem(RedirectionItem const & other)
    : TGCollection(other.getCount(), 4, 1), pattern(other.pattern) {
    add_from(other, 0);
}

bool RedirectionItem::match(char const * name) const {
    return FileSystem::Match(name, pattern.c_str());
}

GString RedirectionItem::make_name(char const * name, unsigned char mustExist) const {
    for (long i = 0; i < getCount(); ++i)
        if (GFile const place = placeIn(*at(i), name); place.exists())
            return place;
    for (long i = 0; i < getCount(); ++i)
        if (!mustExist || GFile(*at(i)).exists())
            return placeIn(*at(i), name);
    return name;
}

void RedirectionItem::add_line(char const * directories, long most) {
    split(directories, ";", [this, most](GString piece) {
        piece.trim(blanks);
        if (piece.isEmpty() || getCount() >= most)
            return;
        insert(new GString(bareDirectory(piece)));
    });
}

void RedirectionItem::add_from(RedirectionItem const & other, unsigned char front) {
    long const count = other.getCount();
    for (long i = 0; i < count; ++i)
        at_insert(front ? i : getCount(), new GString(*other.at(i)));
}

RedirectionFileVariables::RedirectionFileVariables() : TGSortedCollection(0, 4, 1) {}

void const * RedirectionFileVariables::keyOf(void const * item) const {
    return static_cast<RedirectionVariableDefinition const *>(item)->name.c_str();
}

int RedirectionFileVariables::compare(void const * a, void const * b) const {
    return std::strcmp(static_cast<char const *>(a), static_cast<char const *>(b));
}

RedirectionVariableDefinition * RedirectionFileVariables::find(char const * name) const {
    long index;
    return search(name, index) ? at(index) : nullptr;
}

RedirectionFile::RedirectionFile()
    : TGCollection(0, 64, 1), variables(new RedirectionFileVariables) {}

RedirectionFile::RedirectionFile(char const * file) : RedirectionFile() {
    load_from_file(file, 0);
}

RedirectionFile::~RedirectionFile() {
    delete_variable_definitions();
    delete variables;
}

void RedirectionFile::delete_variable_definitions() {
    variables->free_all();
}

void RedirectionFile::load_from_file(char const * file, unsigned char add) {
    auto * const device = new GFileIO;
    GBufferedIO stream(device);
    if (device->open(GFile(file).c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareBoth))
        add_from_stream(stream, add);
}

void RedirectionFile::load_from_string(char const * text, unsigned char add) {
    if (!text)
        return;
    std::size_t const length = std::strlen(text);
    long const size = static_cast<long>(
        std::min<std::size_t>(length, static_cast<std::size_t>(std::numeric_limits<long>::max())));
    GBufferedIO stream(new GMemoryIO(const_cast<char *>(text), size, GIO::ReadMode));
    add_from_stream(stream, add);
}

void RedirectionFile::add_from_stream(GAbstractBufferedIO & stream, unsigned char add) {
    if (!add) {
        load_from_stream(stream);
        return;
    }
    RedirectionFile loaded;
    loaded.load_from_stream(stream);
    add_from(loaded, 1);
}

void RedirectionFile::load_from_stream(GAbstractBufferedIO & stream) {
    work_ = maxWork;
    define_cd_drives();
    GStringCollection names(0, 16, 1);
    GString line;
    for (long text = 0; text < maxTextLength && work_ > 0 && readLine(stream, line);
         text += line.length() + 1) {
        if (line.at(0) == ';')
            continue;
        if (line.at(0) == '%') {
            put_var(line.c_str() + 1);
            continue;
        }
        line.trim(blanks);
        if (!line.isEmpty())
            add_one_line(line.c_str(), names);
    }
}

void RedirectionFile::define_cd_drives() {
    cdCount = 0;
    std::uint32_t const drives = platform::logicalDrives();
    for (int i = 0; i < 26; ++i) {
        if ((drives >> i & 1) == 0)
            continue;
        char const letter = static_cast<char>('A' + i);
        if (platform::driveKind(GString::Format("%c:\\", letter).c_str()) == platform::DriveCdRom)
            put_var(GString::Format("CD%d%% = %c:", cdCount++, letter).c_str());
    }
}

void RedirectionFile::add_one_line(char const * line, GStringCollection & names) {
    GString text(line);
    if (char const * const equals = std::strchr(line, '=')) {
        text = equals + 1;
        names.empty();
        GString const patterns(line, static_cast<unsigned int>(equals - line));
        split(patterns.c_str(), blanks, [&names](GString const & piece) {
            if (!piece.isEmpty())
                names.insert(gnewstr(piece.c_str()));
        });
    }
    if (cdCount != 0 && std::strstr(text.c_str(), "%CD%")) {
        // One directory for each of the drives.
        GString all;
        for (int i = 0; i < cdCount; ++i) {
            GString one(text);
            one.replace("%CD%", GString::Format("%%CD%d%%", i).c_str(), true);
            all += one;
            all += ';';
        }
        text = all;
    }
    substitute_values(text);
    for (long i = 0; i < names.getCount(); ++i)
        add_directories(names.at(i), text.c_str());
}

void RedirectionFile::add_directories(char const * name, char const * directories) {
    // Many patterns on one line, each compared with all that are here, for many short lines.
    work_ -= patternLength_ + static_cast<long>(std::strlen(directories));
    if (directoryCount_ >= maxDirectories || work_ <= 0)
        return;
    RedirectionItem * item = find_matched_item(name);
    if (!item && getCount() < maxItems)
        item = insert_item(new RedirectionItem(name, ""));
    if (!item)
        return;
    long const before = item->getCount();
    item->add_line(directories, before + maxDirectories - directoryCount_);
    directoryCount_ += item->getCount() - before;
}

RedirectionItem * RedirectionFile::insert_item(RedirectionItem * item) {
    patternLength_ += item->getPattern().length() + 1;
    insert(item);
    return item;
}

void RedirectionFile::put_var(char const * text) {
    char const * const equals = std::strchr(text, '=');
    if (!equals)
        return;
    GString name(text, static_cast<unsigned int>(equals - text));
    name.trim(blanks);
    name.rtrim('%');
    GString value(equals + 1);
    value.trim(blanks);
    substitute_values(value);
    work_ -= variables->getCount() + static_cast<long>(value.length());
    if (RedirectionVariableDefinition * const known = variables->find(name.c_str()))
        known->value = value;
    else
        variables->insert(new RedirectionVariableDefinition{name, value});
}

bool RedirectionFile::value_of(GString const & name, GString & value) const {
    if (RedirectionVariableDefinition const * const known = variables->find(name.c_str())) {
        value = known->value;
        return true;
    }
    char const * const environment = std::getenv(name.c_str());
    if (environment)
        value = environment;
    return environment != nullptr;
}

void RedirectionFile::substitute_values(GString & text) {
    int replacements = 0;
    char const * open = std::strchr(text.c_str(), '%');
    while (open) {
        char const * const close = std::strchr(open + 1, '%');
        unsigned int const from = static_cast<unsigned int>(open - text.c_str());
        unsigned int const to =
            close ? static_cast<unsigned int>(close - text.c_str()) : text.length();
        work_ -= 64 + static_cast<long>(to - from); // what it takes to look a name up
        if (work_ <= 0)
            return;
        GString value;
        if (value_of(text.substr(from + 1, to - from - 1), value)) {
            // A variable may contain itself, or others many times.
            if (++replacements > maxReplacements ||
                value.length() > maxExpandedLength - std::min(text.length(), maxExpandedLength))
                return;
            work_ -= static_cast<long>(text.length() / 16); // it is moved, not looked at
            text.replace(from, close ? to + 1 : to, value);
            open = std::strchr(text.c_str() + from, '%');
        } else {
            open = close;
        }
        if (!close)
            return;
    }
}

void RedirectionFile::add_from(RedirectionFile const & other, unsigned char front) {
    if (&other == this)
        return;
    work_ = maxWork;
    for (long i = 0; i < other.getCount() && work_ > 0; ++i) {
        RedirectionItem const & theirs = *other.at(i);
        work_ -= patternLength_ + theirs.getCount();
        if (directoryCount_ > maxDirectories - theirs.getCount())
            continue;
        if (RedirectionItem * const mine = find_matched_item(theirs))
            mine->add_from(theirs, front);
        else if (getCount() < maxItems)
            insert_item(new RedirectionItem(theirs));
        else
            continue;
        directoryCount_ += theirs.getCount();
    }
}

RedirectionItem * RedirectionFile::find_matched_item(char const * name) const {
    for (long i = 0; i < getCount(); ++i)
        if (at(i)->match(name))
            return at(i);
    return nullptr;
}

RedirectionItem * RedirectionFile::find_matched_item(RedirectionItem const & item) const {
    return find_matched_item(item.pattern.c_str());
}

GString RedirectionFile::get_name(char const * name, unsigned char mustExist) const {
    if (!name || std::strpbrk(name, "\\/"))
        return name;
    RedirectionItem const * const item = find_matched_item(name);
    return item ? item->make_name(name, mustExist) : GString(name);
}

bool RedirectionFile::exists(char const * name) const {
    return GFile(get_name(name, 1)).exists();
}

bool RedirectionFile::directory_matched(char const * path) const {
    GFile const file(path);
    RedirectionItem const * const item = find_matched_item(file.get_name());
    if (!item)
        return false;
    GString const directory = bareDirectory(file.get_directory());
    for (long i = item->getCount() - 1; i >= 0; --i)
        if (item->at(i)->compare(directory) == 0)
            return true;
    return false;
}
