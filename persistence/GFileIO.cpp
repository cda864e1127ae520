// The modes and the position of files in terms of the platform's calls.
#include "persistence/GFileIO.h"

#include <algorithm>
#include <limits>

GFileIO::GFileIO(char const * name, IOOpenMode mode, IOCreateMode create, IOShareMode share) {
    open(name, mode, create, share);
}

GFileIO::~GFileIO() {
    close();
}

bool GFileIO::open(char const * name, IOOpenMode mode, IOCreateMode create, IOShareMode share) {
    if (is_opened())
        return false;
    auto const creation = create == ExistingOnly ? platform::FileCreation::Existing
                          : create == NewOnly    ? platform::FileCreation::New
                                                 : platform::FileCreation::Always;
    handle_ = platform::openFile(name, static_cast<unsigned>(mode), creation,
                                 static_cast<unsigned>(share));
    store_open_mode(mode);
    createMode_ = create;
    shareMode_ = share;
    position_ = reached_ = 0;
    keepsPosition_ = is_opened() && platform::seekFile(handle_, 0, platform::FileSeek::Start) == 0;
    if (is_opened() && create == CreateAndTruncate)
        change_size(0);
    return is_opened();
}

void GFileIO::close() {
    if (is_opened())
        platform::closeFile(handle_);
    handle_ = platform::noFile;
    keepsPosition_ = false;
}

bool GFileIO::change_size(long size) {
    return gseek(size, FromStart) == size && platform::resizeFile(handle_, size);
}

bool GFileIO::sync() {
    return is_opened() && platform::syncFile(handle_);
}

platform::FileHandle GFileIO::handle() const {
    if (keepsPosition_)
        platform::seekFile(handle_, position_, platform::FileSeek::Start);
    keepsPosition_ = false;
    return handle_;
}

long GFileIO::gseek(long offset, IOSeekDirection direction) {
    if (!is_opened())
        return -1;
    auto from = direction == FromStart ? platform::FileSeek::Start
                : direction == FromEnd ? platform::FileSeek::End
                                       : platform::FileSeek::Current;
    std::int64_t target = offset;
    if (keepsPosition_ && direction == FromCurrent) {
        if (offset > std::numeric_limits<std::int64_t>::max() - position_)
            return -1;
        target += position_;
        from = platform::FileSeek::Start;
    }
    bool const isKnown =
        keepsPosition_ && direction != FromEnd && target >= 0 && target <= reached_;
    std::int64_t const position = isKnown ? target : platform::seekFile(handle_, target, from);
    if (position < 0)
        return -1;
    position_ = position;
    reached_ = std::max(reached_, position);
    return position > std::numeric_limits<long>::max() ? -1 : static_cast<long>(position);
}

void GFileIO::step(long done) {
    position_ += done;
    reached_ = std::max(reached_, position_);
}

long GFileIO::gwrite(void const * data, long count) {
    if (!is_opened())
        return 0;
    long const done =
        std::max(0L, keepsPosition_ ? platform::writeFileAt(handle_, position_, data, count)
                                    : platform::writeFile(handle_, data, count));
    step(done);
    return done;
}

long GFileIO::gread(void * data, long count) {
    if (!is_opened())
        return 0;
    long const done =
        std::max(0L, keepsPosition_ ? platform::readFileAt(handle_, position_, data, count)
                                    : platform::readFile(handle_, data, count));
    step(done);
    return done;
}
