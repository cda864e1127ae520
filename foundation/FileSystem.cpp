// Most of this is a question to the platform; the text work is the matching of names and the
// looking for names.
#include "foundation/FileSystem.h"

#include "platform/FileSystem.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

int lower(char c) {
    return std::tolower(static_cast<unsigned char>(c));
}

/// Behind the next dot, or the end.
char const * behindDot(char const * text) {
    char const * const dot = std::strchr(text, '.');
    return dot ? dot + 1 : text + std::strlen(text);
}

} // namespace

GFile FileSystem::GetCurrentDirectoryA() {
    return platform::currentDirectory().c_str();
}

bool FileSystem::SetCurrentDirectoryA(GFile const & directory) {
    return platform::setCurrentDirectory(directory.c_str());
}

bool FileSystem::CreateDirectoryA(GFile directory) {
    directory.expand();
    char const * const name = directory.c_str();
    for (char const * at = name; *at;) {
        at = std::strchr(at + 1, '\\');
        if (!at)
            at = name + directory.length();
        GFile const prefix(name, static_cast<unsigned int>(at - name));
        if (!prefix.exists() && platform::createDirectory(prefix.c_str()))
            return false;
    }
    return true;
}

GFile FileSystem::GetTemporaryDirectory() {
    GFile directory(platform::temporaryDirectory().c_str());
    if (!directory.isEmpty())
        return directory;
    directory = platform::systemDirectory().c_str();
    directory.add_name("KVTTMP");
    if (directory.exists() && !directory.isDirectory())
        Remove(directory);
    CreateDirectoryA(directory);
    return directory;
}

bool FileSystem::GetDriveInfo(char const * name, unsigned long & sectorsPerCluster,
                              unsigned long & bytesPerSector, unsigned long & freeClusters,
                              unsigned long & totalClusters) {
    GFile place(name);
    place.expand();
    platform::DiskSpace space;
    while (!platform::diskSpace(place.c_str(), space)) {
        GFile const above = place.get_directory();
        if (place.exists() || above.length() == place.length())
            return false;
        place = above;
    }
    sectorsPerCluster = space.sectorsPerCluster;
    bytesPerSector = space.bytesPerSector;
    freeClusters = space.freeClusters;
    totalClusters = space.totalClusters;
    return true;
}

unsigned long FileSystem::GetDirectoryFreeSpace(char const * name) {
    unsigned long sectors, bytes, available, total;
    if (!GetDriveInfo(name, sectors, bytes, available, total))
        return 0;
    return (available * sectors * bytes) & 0xFFFFFFFFUL;
}

GFile::DriveType FileSystem::GetDriveTypeA(char const * root) {
    switch (platform::driveKind(root)) {
        case platform::DriveRemovable:
            return GFile::RemovableDrive;
        case platform::DriveFixed:
            return GFile::FixedDrive;
        case platform::DriveRemote:
            return GFile::RemoteDrive;
        case platform::DriveCdRom:
            return GFile::CDROMDrive;
        case platform::DriveRamDisk:
            return GFile::RAMDisk;
        default:
            return GFile::UnknownDrive;
    }
}

bool FileSystem::Match(char const * name, char const * mask) {
    if (!name || !mask)
        return false;
    while (*name && *mask) {
        if (*mask == '*') {
            name = behindDot(name);
            mask = behindDot(mask);
            continue;
        }
        if (*mask == '?' ? *name == '.' : lower(*mask) != lower(*name))
            return false;
        ++name;
        ++mask;
    }
    while (*mask == '*')
        ++mask;
    return !*name && !*mask;
}

bool FileSystem::Exists(GFile const & file) {
    return file.exists();
}

bool FileSystem::Remove(GFile const & file) {
    return platform::removeFile(file.c_str());
}

bool FileSystem::Copy(GFile const & from, GFile const & to) {
    return platform::copyFile(from.c_str(), to.c_str());
}

bool FileSystem::Move(GFile const & from, GFile const & to) {
    return platform::moveFile(from.c_str(), to.c_str());
}

bool FileSystem::SetTime(char const * name, std::tm const & time) {
    return platform::setFileTime(name, time);
}

bool FileSystem::SearchFile(char const * pathList, GFile & file) {
    if (!pathList)
        return false;
    for (char const * at = pathList;;) {
        std::size_t const n = std::strcspn(at, ";");
        GFile candidate(at, static_cast<unsigned int>(n));
        if (!candidate.isEmpty() && candidate.add_name(file.get_name()).exists()) {
            file = candidate;
            return true;
        }
        at += n;
        if (!*at++)
            return false;
    }
}

bool FileSystem::UniqueName(GFile & file, char placeholder) {
    if (file.isEmpty())
        return false;
    std::vector<unsigned int> places;
    for (unsigned int i = 0; i < file.length(); ++i)
        if (file.at(i) == placeholder)
            places.push_back(i);
    auto const fill = [&](auto letter) {
        for (unsigned int const place : places)
            static_cast<GString &>(file).at(place, letter());
    };
    fill([] { return 'a'; });
    while (file.exists()) {
        if (places.empty())
            return false;
        fill([] { return static_cast<char>('a' + std::rand() % 26); });
    }
    return true;
}
