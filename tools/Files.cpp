#include "Files.h"

#include "Command.h"
#include "Terminal.h"
#include "platform/FileSystem.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace tool {

namespace {

constexpr int greatestParts = 100;

std::string textOf(int error) {
    return error ? ": " + std::generic_category().message(error) : std::string();
}

} // namespace

Source::Source(std::string const & name) : name_(isStandard(name) ? "standard input" : name) {
    if (isStandard(name)) {
        stream_ = stdin;
        return;
    }
    platform::FileStatus status;
    if (!platform::fileStatus(name.c_str(), status))
        throw Failure(NotDone, name + ": there is no such file");
    if (status.directory)
        throw Failure(NotDone, name + " is a directory");
    errno = 0;
    if (!file_.open(name.c_str(), ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead))
        throw Failure(NotDone, name + " cannot be read" + textOf(errno));
    if (!status.special)
        size_ = status.size;
}

long Source::gseek(long offset, IOSeekDirection direction) {
    return stream_ ? -1 : file_.gseek(offset, direction);
}

long Source::gread(void * data, long count) {
    errno = 0;
    long got = 0;
    if (stream_) {
        got = static_cast<long>(std::fread(data, 1, static_cast<std::size_t>(count), stream_));
        if (std::ferror(stream_)) {
            error_ = errno ? errno : EIO;
            stopIfInterrupted();
        }
    } else {
        got = platform::readFile(file_.handle(), data, count);
        if (got < 0)
            error_ = errno ? errno : EIO;
    }
    if (got <= 0)
        return 0;
    count_ += got;
    return got;
}

void Source::check() const {
    if (error_)
        throw Failure(NotDone, name_ + " cannot be read" + textOf(error_));
}

Sink::Sink(std::string const & name, bool replace, bool isBinary)
    : name_(isStandard(name) ? name : followLinks(name)), replace_(replace) {
    store_open_mode(WriteMode);
    if (isStandard(name)) {
        if (isBinary && !replace && isTerminal(stdout))
            throw Failure(NotDone, "a terminal cannot show these bytes; --force writes them");
        stream_ = stdout;
        return;
    }
    platform::FileStatus status;
    if (platform::fileStatus(name_.c_str(), status)) {
        if (status.directory)
            throw Failure(NotDone, name + " is a directory");
        if (!replace)
            throw Failure(NotDone, name + " is there already; --force replaces it");
        if (status.special) {
            // A device stays what it is and is written to.
            if (!file_.open(name_.c_str(), WriteMode, GFileIO::ExistingOnly, GFileIO::ShareBoth))
                throw Failure(NotDone, name + " cannot be written" + textOf(errno));
            return;
        }
    }
    openBeside();
}

Sink::~Sink() {
    file_.close();
    if (!part_.empty())
        platform::removeFile(part_.c_str());
}

void Sink::openBeside() {
    std::string const part = nameBeside(name_);
    errno = 0;
    if (!file_.open(part.c_str(), WriteMode, GFileIO::NewOnly, GFileIO::ShareNone))
        throw Failure(NotDone, name_ + " cannot be written" + textOf(errno));
    part_ = part;
}

long Sink::gseek(long offset, IOSeekDirection direction) {
    return stream_ ? -1 : file_.gseek(offset, direction);
}

long Sink::gwrite(void const * data, long count) {
    errno = 0;
    long const done =
        stream_ ? static_cast<long>(std::fwrite(data, 1, static_cast<std::size_t>(count), stream_))
                : file_.gwrite(data, count);
    count_ += done;
    if (done < count && !failed_) {
        failed_ = true;
        error_ = errno;
    }
    return done;
}

void Sink::check() const {
    if (failed_)
        throw Failure(NotDone, (stream_ ? "standard output" : name_) + " cannot be written" +
                                   textOf(error_));
}

void Sink::commit() {
    errno = 0;
    if (stream_ ? std::fflush(stream_) != 0
                : !part_.empty() && !platform::syncFile(file_.handle())) {
        failed_ = true;
        error_ = errno;
    }
    check();
    file_.close();
    if (part_.empty())
        return;
    putInPlace(part_, name_, replace_);
    part_.clear();
}

std::string nameBeside(std::string const & name) {
    platform::FileStatus status;
    for (int i = 0; i < greatestParts; ++i) {
        std::string const part = name + ".part" + (i ? std::to_string(i) : std::string());
        if (!platform::fileStatus(part.c_str(), status))
            return part;
    }
    throw Failure(NotDone,
                  "too many unfinished files beside " + name + ", such as " + name + ".part");
}

void putInPlace(std::string const & part, std::string const & name, bool replace) {
    namespace fs = std::filesystem;
    std::error_code error;
    if (!replace) {
        if (!platform::moveFile(part.c_str(), name.c_str()))
            throw Failure(NotDone, name + " cannot be put in its place; perhaps there is a file "
                                          "of that name now");
        return;
    }
    fs::file_status const status = fs::status(name, error);
    if (fs::exists(status))
        fs::permissions(part, status.permissions(), error);
    fs::rename(part, name, error);
    if (error)
        throw Failure(NotDone, name + " cannot be replaced: " + error.message());
}

std::string followLinks(std::string const & name) {
    std::error_code error;
    std::filesystem::path const target = std::filesystem::canonical(name, error);
    return error ? name : target.string();
}

} // namespace tool
