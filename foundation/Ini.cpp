// A chain of files of settings.
#include "foundation/Ini.h"

#include "foundation/GFile.h"
#include "platform/FileSystem.h"
#include "platform/Modules.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <string>

namespace Tavlin {

namespace {

/// No name of a file is longer.
constexpr std::size_t longestName = 4096;

Ini * g_default = nullptr;

GFile programSettings() {
    std::vector<char> path(longestName + 1);
    platform::programPath(path.data(), path.size());
    GFile name(path.data());
    return name.replace_extension("INI");
}

/// As %g prints it, whatever the locale.
GString textOf(float value) {
    char buffer[32];
    auto const end = std::to_chars(buffer, buffer + sizeof buffer, static_cast<double>(value),
                                   std::chars_format::general, 6);
    return GString(buffer, static_cast<unsigned int>(end.ptr - buffer));
}

float numberIn(GString const & text) {
    return static_cast<float>(gstr2d(text.c_str(), nullptr));
}

} // namespace

Ini::Ini(char const * name) : defaultSection_("Game"), files_(0, 4, 1) {
    setStorage(name);
}

Ini::Ini() : Ini(nullptr) {}

Ini::~Ini() {
    if (g_default == this)
        g_default = nullptr;
}

void Ini::setDefault() {
    g_default = this;
}

Ini * Ini::Get() {
    return g_default;
}

void Ini::setStorage(char const * name) {
    GFile file;
    if (name)
        file = GFile(name).redirect();
    else
        file = programSettings();
    files_.empty();
    identities_.clear();
    includesLeft_ = maxIncludes;
    readIncludes(*addFile(file.c_str()), 0);
}

GInitializationFile * Ini::addFile(char const * name) {
    auto * const file = new GInitializationFile(name);
    files_.insert(file);
    platform::FileStatus status;
    if (platform::fileStatus(file->getFileName().c_str(), status))
        identities_.emplace_back(status.volume, status.number);
    return file;
}

// The names stand in a line each; what follows one behind a `;` or a tab is taken for one more.
void Ini::readIncludes(GInitializationFile const & file, int depth) {
    GString names;
    if (!supportIncludes_ || depth >= maxDepth || !file.getTopic("Include", names))
        return;
    char const * at = names.c_str();
    while (*(at += std::strspn(at, "\n\t;"))) {
        std::size_t length = std::strcspn(at, "\n\t;");
        char const * const name = at;
        at += length;
        // Blanks at the end are no part of a name, nor is the CR of a line's end.
        while (length > 0 && (name[length - 1] == ' ' || name[length - 1] == '\r'))
            --length;
        if (length == 0 || length > longestName)
            continue;
        if (--includesLeft_ < 0)
            return;
        include(GFile(name, static_cast<unsigned int>(length)), file, depth);
    }
}

// A relative name starts from the directory of the file that names it.
void Ini::include(GFile name, GInitializationFile const & from, int depth) {
    if (!name.valid())
        return;
    name.redirect();
    if (name.isRelativePath()) {
        GFile path(GFile(from.getFileName()).get_directory().expand());
        name = path.add_name(name.c_str()).expand();
    }
    platform::FileStatus status;
    if (!name.exists() || !platform::fileStatus(name.c_str(), status) || status.directory ||
        status.special)
        return;
    std::pair const identity(status.volume, status.number);
    if (std::find(identities_.begin(), identities_.end(), identity) == identities_.end())
        readIncludes(*addFile(name.c_str()), depth + 1);
}

char const * Ini::sectionOf(char const * section) const {
    return section ? section : defaultSection_.c_str();
}

GInitializationFile * Ini::fileWith(char const * section, char const * key) const {
    GString ignored;
    for (long i = 0; i < files_.getCount(); ++i)
        if (files_[i]->getValue(section, key, ignored))
            return files_[i];
    return nullptr;
}

GInitializationFile & Ini::fileToWrite(char const * section, char const * key) const {
    GInitializationFile * const file = fileWith(section, key);
    return file ? *file : *files_[0];
}

int Ini::getInt(char const * section, char const * key, int value, bool noWrite) {
    long number = 0;
    if (getValue(section, key, number)) // the same on every platform, whatever a long is
        return static_cast<int>(std::clamp(number, long{INT_MIN}, long{INT_MAX}));
    if (keepsDefault(noWrite))
        writeInt(section, key, value);
    return value;
}

bool Ini::getBool(char const * section, char const * key, bool value, bool noWrite) {
    unsigned char flag = value;
    if (GInitializationFile const * const file = fileWith(sectionOf(section), key))
        file->getBoolean(sectionOf(section), key, flag);
    else if (keepsDefault(noWrite))
        writeBool(section, key, value);
    return flag != 0;
}

GString Ini::getString(char const * section, char const * key, char const * value, bool noWrite) {
    GString text;
    if (getValue(section, key, text))
        return text;
    if (keepsDefault(noWrite))
        writeString(section, key, value);
    return GString(value);
}

float Ini::getFloat(char const * section, char const * key, float value, bool noWrite) {
    GString const text = getString(section, key, textOf(value).c_str(), noWrite);
    return numberIn(text);
}

bool Ini::writeInt(char const * section, char const * key, int value) {
    return setValue(section, key, long{value});
}

bool Ini::writeBool(char const * section, char const * key, bool value) {
    return writeString(section, key, value ? "yes" : "no");
}

bool Ini::writeString(char const * section, char const * key, char const * value) {
    GInitializationFile & file = fileToWrite(sectionOf(section), key);
    file.setValue(sectionOf(section), key, value);
    file.update();
    return true;
}

bool Ini::writeFloat(char const * section, char const * key, float value) {
    return writeString(section, key, textOf(value).c_str());
}

bool Ini::getValue(char const * section, char const * key, GString & value) const {
    GInitializationFile const * const file = fileWith(sectionOf(section), key);
    return file && file->getValue(sectionOf(section), key, value);
}

bool Ini::getValue(char const * section, char const * key, long & value) const {
    GInitializationFile const * const file = fileWith(sectionOf(section), key);
    return file && file->getValue(sectionOf(section), key, value);
}

bool Ini::getValue(char const * section, char const * key, float & value) const {
    GString text;
    if (!getValue(section, key, text))
        return false;
    value = numberIn(text);
    return true;
}

bool Ini::getBoolean(char const * section, char const * key, unsigned char & value) const {
    GInitializationFile const * const file = fileWith(sectionOf(section), key);
    return file && file->getBoolean(sectionOf(section), key, value);
}

bool Ini::setValue(char const * section, char const * key, char const * value) {
    return writeString(section, key, value);
}

bool Ini::setValue(char const * section, char const * key, long value) {
    return writeString(section, key, std::to_string(value).c_str());
}

bool Ini::setBoolean(char const * section, char const * key, unsigned char value) {
    return writeBool(section, key, value != 0);
}

void Ini::getKeyList(char const * section, GStringCollection & keys) const {
    keys.empty();
    keys.shouldDelete(1);
    for (long i = 0; i < files_.getCount(); ++i) {
        GStringCollection own;
        files_[i]->getKeyList(sectionOf(section), own);
        own.shouldDelete(0); // its texts move
        for (long k = 0; k < own.getCount(); ++k)
            keys.at_insert(keys.getCount(), own[k]);
    }
}

bool Ini::getTopic(char const * section, GString & text) const {
    return files_[0]->getTopic(sectionOf(section), text);
}

void Ini::setTopic(char const * section, char const * text) {
    files_[0]->setTopic(sectionOf(section), text);
}

} // namespace Tavlin
