// The modes of files in terms of the platform's calls.
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
    if (is_opened() && create == CreateAndTruncate)
        change_size(0);
    return is_opened();
}

void GFileIO::close() {
    if (is_opened())
        platform::closeFile(handle_);
    handle_ = platform::noFile;
}

bool GFileIO::change_size(long size) {
    return gseek(size, FromStart) == size && platform::resizeFile(handle_, size);
}

long GFileIO::gseek(long offset, IOSeekDirection direction) {
    if (!is_opened())
        return -1;
    auto const from = direction == FromStart ? platform::FileSeek::Start
                      : direction == FromEnd ? platform::FileSeek::End
                                             : platform::FileSeek::Current;
    std::int64_t const position = platform::seekFile(handle_, offset, from);
    return position > std::numeric_limits<long>::max() ? -1 : static_cast<long>(position);
}

long GFileIO::gwrite(void const * data, long count) {
    return is_opened() ? std::max(0L, platform::writeFile(handle_, data, count)) : 0;
}

long GFileIO::gread(void * data, long count) {
    return is_opened() ? std::max(0L, platform::readFile(handle_, data, count)) : 0;
}
