// The walk asks the platform for the entries of a directory and lets through what was asked for.
#include "foundation/FileFind.h"

#include "foundation/FileSystem.h"
#include "platform/FileSystem.h"

#include <cstring>

struct FileFind::Search {
    explicit Search(char const * directory) : walk(platform::startDirectoryWalk(directory)) {}
    ~Search() { platform::endDirectoryWalk(walk); }
    Search(Search const &) = delete;
    Search & operator=(Search const &) = delete;

    platform::DirectoryWalk * walk;
    platform::DirectoryEntry entry; // kept, so that its text is not allocated for each
    bool parentDone = false;
};

namespace {

/// Broken-down universal time, as a file of the system's own would carry it: months from 1.
std::tm fileTime(std::int64_t seconds) {
    std::int64_t const day = 24 * 60 * 60;
    std::int64_t days = seconds / day;
    std::int64_t rest = seconds % day;
    if (rest < 0) {
        rest += day;
        --days;
    }
    // The calendar repeats after 400 years; a year that begins in March has its odd day last.
    std::int64_t const shifted = days + 719468;
    std::int64_t const era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    std::int64_t const dayOfEra = shifted - era * 146097;
    std::int64_t const yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    std::int64_t const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    std::int64_t const month = (5 * dayOfYear + 2) / 153;
    std::tm time = {};
    time.tm_mday = static_cast<int>(dayOfYear - (153 * month + 2) / 5 + 1);
    time.tm_mon = static_cast<int>(month < 10 ? month + 3 : month - 9);
    time.tm_year = static_cast<int>(yearOfEra + era * 400 + (time.tm_mon <= 2 ? 1 : 0) - 1900);
    time.tm_hour = static_cast<int>(rest / 3600);
    time.tm_min = static_cast<int>(rest / 60 % 60);
    time.tm_sec = static_cast<int>(rest % 60);
    return time;
}

bool isRoot(GFile directory) {
    directory.expand();
    directory.rtrim('\\');
    return directory.isEmpty() || (directory.length() == 2 && directory.at(1) == ':');
}

} // namespace

FileInfo::FileInfo() {
    time.tm_mday = 1;
}

FileFind::FileFind() = default;

FileFind::FileFind(char const * path, unsigned char mode, bool bareNames) {
    first(path, mode, bareNames);
}

FileFind::~FileFind() = default;

bool FileFind::first(char const * path, unsigned char mode, bool bareNames) {
    bareNames_ = bareNames;
    mode_ = mode;
    drive_ = 'A';
    directory_ = path;
    mask_ = "";
    // What is neither a mask nor there at all is taken for a directory, which has no entries.
    bool const there = directory_.isEmpty() || directory_.isMask() || directory_.exists();
    if (!directory_.isDirectory()) {
        mask_ = directory_.get_name();
        directory_.just_directory();
    }
    search_.reset();
    if (there && (mode_ & (Files | Directories)) != 0)
        search_ = std::make_unique<Search>(directory_.isEmpty() ? "." : directory_.c_str());
    ++*this;
    return isValid();
}

FileFind & FileFind::operator++() {
    valid_ = nextEntry() || nextDrive() ? 1 : 0;
    return *this;
}

bool FileFind::nextEntry() {
    if (!search_ || !search_->walk)
        return false;
    platform::DirectoryEntry & entry = search_->entry;
    while (platform::nextDirectoryEntry(*search_->walk, entry)) {
        if (!accepts(entry))
            continue;
        search_->parentDone |= entry.name == "..";
        take(entry);
        return true;
    }
    if ((mode_ & Directories) == 0 || search_->parentDone || isRoot(directory_))
        return false;
    search_->parentDone = true;
    entry = {};
    entry.directory = true;
    entry.name = "..";
    take(entry);
    return true;
}

bool FileFind::accepts(platform::DirectoryEntry const & entry) const {
    char const * const bare = entry.name.c_str();
    if (entry.directory)
        return (mode_ & Directories) != 0 && (bare[0] != '.' || bare[1] == '.');
    return (mode_ & Files) != 0 && !entry.special &&
           (mask_.isEmpty() || FileSystem::Match(bare, mask_.c_str()));
}

void FileFind::take(platform::DirectoryEntry const & entry) {
    type = entry.directory ? Directory : File;
    time = fileTime(entry.writeTime);
    size = entry.directory ? 0 : static_cast<std::uint32_t>(entry.size);
    name = bareNames_ || directory_.isEmpty() ? GFile() : directory_;
    if (name.isEmpty())
        name = entry.name.c_str();
    else
        name.add_name(entry.name.c_str());
}

bool FileFind::nextDrive() {
    if ((mode_ & Drives) == 0)
        return false;
    std::uint32_t const present = platform::logicalDrives();
    for (; drive_ <= 'Z'; ++drive_) {
        if ((present >> (drive_ - 'A') & 1) == 0)
            continue;
        char const letter[] = {drive_++, ':', 0};
        type = Drive;
        time = {};
        time.tm_mday = time.tm_mon = 1;
        time.tm_year = 80;
        size = 0;
        name = letter;
        return true;
    }
    return false;
}
