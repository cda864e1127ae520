// Text work on names; what needs the disk asks the platform.
#include "foundation/GFile.h"

#include "platform/FileSystem.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

constinit GFile::Redirector g_redirector = nullptr;

/// The length of the drive in front.
unsigned int driveLength(GFile const & file) {
    return file.length() > 1 && file.at(1) == ':' ? 2 : 0;
}

/// Where the last component begins.
unsigned int nameStart(GFile const & file) {
    return static_cast<unsigned int>(file.get_name() - file.c_str());
}

std::vector<std::string> components(char const * path) {
    std::vector<std::string> parts;
    std::string part;
    for (; *path; ++path) {
        if (*path != '\\') {
            part += *path;
        } else {
            if (!part.empty())
                parts.push_back(part);
            part.clear();
        }
    }
    if (!part.empty())
        parts.push_back(part);
    return parts;
}

} // namespace

void GFile::SetRedirector(Redirector redirector) {
    g_redirector = redirector;
}

GString GFile::RedirectedName(char const * name, unsigned char mustExist) {
    return g_redirector ? g_redirector(name, mustExist) : GString(name);
}

GFile::GFile(GString const & name) : GString(name) {
    convert();
}

GFile::GFile(char const * name) : GString(name) {
    convert();
}

GFile::GFile(char const * name, unsigned int n) : GString(name, n) {
    convert();
}

GFile & GFile::operator=(char const * name) {
    GString::operator=(name);
    convert();
    return *this;
}

GFile & GFile::operator=(GString const & name) {
    GString::operator=(name);
    convert();
    return *this;
}

void GFile::convert() {
    if (std::strchr(c_str(), '/')) // else a shared text stays shared
        translate('/', '\\');
}

bool GFile::valid() const {
    return std::strpbrk(c_str(), "<>|") == nullptr;
}

bool GFile::isMask() const {
    return std::strpbrk(c_str(), "*?") != nullptr;
}

bool GFile::exists() const {
    platform::FileStatus status;
    return !isEmpty() && !isMask() && platform::fileStatus(c_str(), status);
}

bool GFile::isDirectory() const {
    if (isMask())
        return false;
    GString bare(*this);
    bare.rtrim('\\');
    if (bare.isEmpty() && !isEmpty())
        bare = "\\";
    platform::FileStatus status;
    return platform::fileStatus(bare.c_str(), status) && status.directory;
}

bool GFile::isDrive() const {
    if (length() != 2 || at(1) != ':')
        return false;
    int const letter = (at(0) | 0x20) - 'a';
    return letter >= 0 && letter < 26 && (platform::logicalDrives() >> letter & 1) != 0;
}

bool GFile::isRelativePath() const {
    return isEmpty() || (at(0) != '\\' && !(length() > 1 && at(1) == ':'));
}

bool GFile::equals_to(char const * other) const {
    GFile a(*this), b(other);
    return a.expand().compare(b.expand()) == 0;
}

char const * GFile::get_extension() const {
    char const * const dot = std::strrchr(c_str(), '.');
    return dot && !std::strchr(dot, '\\') ? dot + 1 : c_str() + length();
}

char const * GFile::get_name() const {
    if (char const * const separator = std::strrchr(c_str(), '\\'))
        return separator + 1;
    if (char const * const colon = std::strchr(c_str(), ':'))
        return colon + 1;
    return c_str();
}

GFile GFile::get_directory() const {
    GFile result(*this);
    result.just_directory();
    return result;
}

GFile GFile::get_drive() const {
    GFile result(*this);
    result.just_drive();
    return result;
}

GFile & GFile::just_extension() {
    return *this = GString(get_extension());
}

GFile & GFile::just_name() {
    return *this = GString(get_name());
}

GFile & GFile::just_directory() {
    remove(nameStart(*this));
    // The root keeps its separator, which is all its name.
    if (length() > driveLength(*this) + 1 && at(length() - 1) == '\\')
        remove(length() - 1);
    return *this;
}

GFile & GFile::just_drive() {
    remove(driveLength(*this));
    return *this;
}

GFile & GFile::add_extension(char const * extension) {
    GString const kept(extension); // it may be a portion of this name
    *this += '.';
    *this += kept;
    convert();
    return *this;
}

GFile & GFile::remove_extension() {
    char const * const extension = get_extension();
    if (*extension || (!isEmpty() && at(length() - 1) == '.'))
        remove(static_cast<unsigned int>(extension - c_str()) - 1);
    return *this;
}

GFile & GFile::replace_extension(char const * extension) {
    GString const kept(extension);
    return remove_extension().add_extension(kept.c_str());
}

GFile & GFile::add_name(char const * name) {
    GString const kept(name);
    if (isEmpty() || at(length() - 1) != '\\')
        *this += '\\';
    *this += kept;
    convert();
    return *this;
}

GFile & GFile::replace_name(char const * name) {
    GString const kept(name);
    remove(nameStart(*this));
    *this += kept;
    convert();
    return *this;
}

GFile & GFile::expand() {
    if (isEmpty())
        return *this = platform::fullPath(".\\").c_str();
    return *this = platform::fullPath(c_str()).c_str();
}

GFile & GFile::shrink() {
    return shrink(platform::currentDirectory().c_str());
}

GFile & GFile::shrink(char const * baseName) {
    GFile base(baseName);
    if (!base.isDirectory() && !base.isDrive())
        base.just_directory();
    base.expand();
    expand();
    if (get_drive() != base.get_drive())
        return *this;
    // The letter of the drive is the same in either case; all else is compared byte for byte.
    std::vector<std::string> const mine = components(c_str() + driveLength(*this));
    std::vector<std::string> const theirs = components(base.c_str() + driveLength(base));
    std::size_t common = 0;
    while (common < mine.size() && common < theirs.size() && mine[common] == theirs[common])
        ++common;
    std::string result;
    for (std::size_t i = common; i < theirs.size(); ++i)
        result += result.empty() ? ".." : "\\..";
    for (std::size_t i = common; i < mine.size(); ++i)
        result += (result.empty() ? "" : "\\") + mine[i];
    return *this = result.c_str();
}

GFile & GFile::redirect() {
    if (!g_redirector || exists())
        return *this;
    GString name(get_name());
    name.ltrim(' ');
    GFile const found(g_redirector(name.c_str(), 1));
    if (found.exists())
        *this = found;
    return *this;
}
