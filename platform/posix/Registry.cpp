// The store as a text file: a line "[key]" for each key, and a line "name=text" for each name
// behind it. A backslash in front of a character takes its meaning away; "\n" is a line end. A
// change writes a new file in place of the old one, under a lock that holds between processes.
#include "platform/Registry.h"

#include "platform/FileSystem.h"
#include "platform/posix/FileName.h"
#include "platform/posix/Uninterrupted.h"
#include "platform/posix/UserFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>

namespace platform {

namespace {

using Values = std::map<std::string, std::string>;
using Keys = std::map<std::string, Values>;

/// No store of a user is larger; what is in the way in its place may be.
constexpr std::size_t mostBytes = 16u << 20;

std::string storeFile() {
    std::string const named = environment("ONDREL_REGISTRY");
    if (!named.empty())
        return named;
    std::string const folder = settingsFolder();
    return folder.empty() ? folder : folder + "/registry";
}

std::string escaped(std::string const & text) {
    std::string result;
    for (char const c : text) {
        if (c == '\n') {
            result += "\\n";
            continue;
        }
        if (c == '\\' || c == '=' || c == '[' || c == ']')
            result += '\\';
        result += c;
    }
    return result;
}

/// The text up to the character `end`, or to the end of the line; `at` comes to stand behind it.
std::string unescaped(std::string const & line, std::size_t & at, char end) {
    std::string result;
    while (at < line.size() && line[at] != end) {
        if (line[at] == '\\' && at + 1 < line.size()) {
            ++at;
            result += line[at] == 'n' ? '\n' : line[at];
        } else {
            result += line[at];
        }
        ++at;
    }
    ++at;
    return result;
}

/// False when the file is there and cannot be read in full, or is too large.
bool readContent(std::string const & file, std::string & content) {
    content.clear();
    int const handle = uninterrupted([&] { return open(file.c_str(), O_RDONLY | O_CLOEXEC); });
    if (handle < 0)
        return errno == ENOENT;
    char piece[4096];
    ssize_t count = 0;
    while (content.size() <= mostBytes &&
           (count = uninterrupted([&] { return read(handle, piece, sizeof piece); })) > 0)
        content.append(piece, static_cast<std::size_t>(count));
    close(handle);
    return count == 0;
}

Keys parsed(std::string const & content) {
    Keys keys;
    Values * values = nullptr;
    for (std::size_t begin = 0; begin < content.size();) {
        std::size_t const end = std::min(content.find('\n', begin), content.size());
        std::string const line = content.substr(begin, end - begin);
        begin = end + 1;
        std::size_t at = 0;
        if (!line.empty() && line[0] == '[') {
            at = 1;
            values = &keys[unescaped(line, at, ']')];
        } else if (values && !line.empty()) {
            std::string const name = unescaped(line, at, '=');
            if (at <= line.size())
                (*values)[name] = unescaped(line, at, '\n');
        }
    }
    return keys;
}

/// Empty when there is none, or it cannot be read.
Keys load(std::string const & file) {
    std::string content;
    return readContent(file, content) ? parsed(content) : Keys();
}

bool save(std::string const & file, Keys const & keys) {
    std::string content;
    for (auto const & [key, values] : keys) {
        content += '[';
        content += escaped(key) + "]\n";
        for (auto const & [name, text] : values)
            content += escaped(name) + "=" + escaped(text) + "\n";
    }
    return replaceContent(portableName(file).c_str(), content.data(), content.size());
}

void makeFolderOf(std::string const & file) {
    for (std::size_t at = file.find('/', 1); at != std::string::npos; at = file.find('/', at + 1))
        mkdir(file.substr(0, at).c_str(), 0700);
}

/// Keeps other writers out while it lives.
class Lock {
  public:
    explicit Lock(std::string const & file) {
        handle_ = uninterrupted(
            [&] { return open((file + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600); });
        if (handle_ >= 0)
            uninterrupted([&] { return flock(handle_, LOCK_EX); });
    }
    ~Lock() {
        if (handle_ >= 0)
            close(handle_);
    }
    Lock(Lock const &) = delete;
    Lock & operator=(Lock const &) = delete;
    bool holds() const { return handle_ >= 0; }

  private:
    int handle_;
};

/// Lets `work` change what is stored, with other writers kept out.
template <class Work>
bool change(Work work) {
    std::string const file = storeFile();
    if (file.empty())
        return false;
    makeFolderOf(file);
    Lock const lock(file);
    if (!lock.holds())
        return false;
    // What cannot be read must not be replaced by the little that is known of it.
    std::string content;
    if (!readContent(file, content))
        return false;
    Keys keys = parsed(content);
    work(keys);
    return save(file, keys);
}

} // namespace

bool readRegistry(char const * key, char const * name, std::string & text) {
    Keys const keys = load(storeFile());
    auto const values = keys.find(key);
    if (values == keys.end())
        return false;
    auto const found = values->second.find(name);
    if (found == values->second.end())
        return false;
    text = found->second;
    return true;
}

bool writeRegistry(char const * key, char const * name, char const * text) {
    return change([&](Keys & keys) { keys[key][name] = text; });
}

bool countUpRegistry(char const * key, char const * name, int & number) {
    return change([&](Keys & keys) {
        auto const [value, isNew] = keys[key].try_emplace(name);
        // A number that has gone wrong must not overflow.
        number = isNew ? 0 : static_cast<int>(std::atoi(value->second.c_str()) + 1u);
        value->second = std::to_string(number);
    });
}

bool listRegistry(char const * key, RegistryValues & values) {
    values.clear();
    Keys const keys = load(storeFile());
    auto const found = keys.find(key);
    if (found == keys.end())
        return false;
    values.assign(found->second.begin(), found->second.end());
    return true;
}

std::string registryPlace() {
    return storeFile();
}

} // namespace platform
