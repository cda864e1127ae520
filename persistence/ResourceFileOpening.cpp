// Finding the directory of a file that may have been broken off anywhere, and what becomes of one
// that has none.
#include "persistence/ResourceFileServer.h"

#include "persistence/ResourceFileFormat.h"
#include "persistence/ResourceFileServerStream.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <cstring>
#include <utility>

using namespace resource_file;

namespace {

/// Trailers that are looked at before a file is given up: one that was stored as the bytes of a
/// resource may bring many of its own. Those lead nowhere; where one leads to much that can be
/// read, that much counts for more than one.
constexpr unsigned long greatestTries = 4096;
constexpr unsigned long bytesOfOneTry = 4096;
constexpr int greatestCopies = 1000;

/// The end of the last block of a directory and all below, of those in front of `most`.
long endOfBlocks(GResourceDirectory const & directory, long most) {
    long end = 0;
    for (long i = 0; i < directory.getCount(); ++i) {
        ResourceCollection const * const items = directory.at(i)->items();
        for (long j = 0; items && j < items->getCount(); ++j) {
            ResourceItem const & item = *items->at(j);
            if (item.offset >= 0 && item.size >= 0 && item.offset <= most &&
                item.size <= most - item.offset)
                end = std::max(end, long{item.offset} + item.size);
        }
    }
    GResourceDirectoryList const * const list = directory.subdirectories();
    for (long i = 0; list && i < list->getCount(); ++i)
        end = std::max(end, endOfBlocks(*list->at(i), most));
    return end;
}

} // namespace

ResourceFileServer::ResourceFileServer(std::unique_ptr<zpstream> stream, char const * name)
    : stream_(std::move(stream)) {
    stream_->turn_to_norm();
    if (name)
        fileName_ = GetNameUsed(name);
    if (FindBasePosAndMagic(*stream_, basePosition_) && seek_to_read(4)) {
        auto const word = static_cast<std::uint32_t>(stream_->readDWord());
        if (word == currentFormat) {
            header_ = Header::Current;
            open_new_format_file();
        } else {
            open_old_format_file(word);
        }
    }
    if (!root_)
        make_new_section();
}

bool ResourceFileServer::FindBasePosAndMagic(ipstream & in, long & base) {
    bool found = false;
    base = std::max(findBase(in, found), 0L);
    return found;
}

/// Null when there is no whole directory. `end` is where its bytes end.
GResourceDirectory * ResourceFileServer::read_directory(long position, bool compressed,
                                                        long & end) {
    end = -1;
    if (position < headerSize || !seek_to_read(position))
        return nullptr;
    GResourceDirectory * directory = nullptr;
    try {
        Plain const plain(*this, compressed);
        directory = stream_->readPointer<GResourceDirectory>();
        if (directory && stream_->good()) {
            // Nothing but the mark of its end may follow in a compressed stream.
            bool const ended = !compressed || stream_->rdbuf()->readByte() < 0;
            long const now = stream_->turn_to_norm() - basePosition_;
            end = ended ? now : -1;
            return directory;
        }
    } catch (...) { // whatever it is that the file says, it is no directory
    }
    GResourceDirectory::DestroyUnfinished(*stream_);
    return nullptr;
}

bool ResourceFileServer::directory_begins_at(long position) {
    if (position < headerSize || !seek_to_read(position))
        return false;
    try {
        Plain const plain(*this, true);
        std::unique_ptr<char[]> const name(stream_->read_class_name_from_pointer());
        return name && *stream_ &&
               GMetaClass::FindByName(name.get()) == &GResourceDirectory::metaclass_;
    } catch (...) {
        return false;
    }
}

/// The last trailer that ends at or before `end`, or before the end of the file when that is
/// negative. False when there is none; `root` is what it says, or -1 when that cannot be.
bool ResourceFileServer::find_root_directory_position(long & root, long & end) {
    stream_->clear();
    if (end < 0)
        end = sizeOf(*stream_) - basePosition_;
    std::uint32_t directory = 0;
    Trailer trailer;
    // Nearly always it is the very end.
    bool const atEnd = end >= headerSize + trailerSize && seek_to_read(end - trailerSize) &&
                       stream_->readBytes(trailer.data(), trailerSize) == trailerSize &&
                       readTrailer(trailer.data(), directory);
    if (!atEnd) {
        stream_->clear();
        end = findTrailer(*stream_, basePosition_, end - 1, directory);
    }
    root =
        end >= 0 && directory < static_cast<std::uint32_t>(end) ? static_cast<long>(directory) : -1;
    return end >= 0;
}

/// A directory counts that is followed at once by the trailer that leads to it. A trailer may be
/// part of a stored block, a resource file put into this one: it leads nowhere here, and the search
/// goes on. One that leads to the beginning of a directory is this file's own, and when that
/// directory is broken, older ones are not taken in its place: the file is damaged.
void ResourceFileServer::open_new_format_file() {
    std::unique_ptr<GResourceDirectory> loose;
    long looseEnd = -1, root = -1, end = -1, passedOver = -1;
    for (unsigned long tries = 0; tries < greatestTries; ++tries, --end) {
        if (!find_root_directory_position(root, end))
            break;
        long directoryEnd = -1;
        std::unique_ptr<GResourceDirectory> directory(read_directory(root, true, directoryEnd));
        tries += stream_->countOfReadBytes() / bytesOfOneTry;
        long const between = end - directoryEnd;
        if (directory && directoryEnd >= 0 &&
            (between == trailerSize || between == 2 * trailerSize)) {
            take_directory(std::move(directory), end, passedOver);
            return;
        }
        if (!directory && directory_begins_at(root))
            break;
        if (directory && !loose) {
            loose = std::move(directory);
            looseEnd = end;
        }
        passedOver = std::max(passedOver, root);
    }
    if (loose)
        take_directory(std::move(loose), looseEnd, -1);
}

/// A trailer further behind that leads to a place behind this directory may have been a generation
/// of this file, unrecognisable now. What it held is kept beside before it is written over.
void ResourceFileServer::take_directory(std::unique_ptr<GResourceDirectory> directory, long end,
                                        long passedOver) {
    if (writable() && passedOver >= end) {
        if (!keep_damaged_file())
            return;
        stream_->change_size(basePosition_ + end);
    }
    root_ = std::move(directory);
    endPosition_ = committedEnd_ = end;
}

void ResourceFileServer::open_old_format_file(std::uint32_t directory) {
    long end = -1;
    long const size = sizeOf(*stream_) - basePosition_;
    if (size > 0 && directory < static_cast<std::uint32_t>(size))
        root_.reset(read_directory(static_cast<long>(directory), false, end));
    if (root_) {
        endPosition_ = std::max(end, endOfBlocks(*root_, size));
    } else {
        // The word may have been broken while it was changed, which is the last step of conversion.
        open_new_format_file();
        if (!root_)
            return;
    }
    header_ = Header::OldFormat;
    if (!writable())
        return;
    modified_ = true;
    committedOnOpening_ = commit();
}

/// The old content may hold something that a person wants back.
bool ResourceFileServer::keep_damaged_file() {
    GString const copy = fileName_ + ".damaged";
    for (int i = 0; i < greatestCopies; ++i) {
        GFile const name(i == 0 ? copy : copy + GString::Format(".%d", i));
        platform::FileStatus there;
        if (!platform::fileStatus(name.c_str(), there))
            return platform::copyFile(fileName_.c_str(), name.c_str());
    }
    return false;
}

void ResourceFileServer::make_new_section() {
    header_ = Header::Missing;
    endPosition_ = headerSize;
    if (writable()) {
        stream_->clear();
        long const size = sizeOf(*stream_);
        if (size > basePosition_ + headerSize && !keep_damaged_file())
            return; // without a root: the file stays as it is
        if (size > basePosition_)
            stream_->change_size(basePosition_);
    }
    root_ = std::make_unique<GResourceDirectory>();
    modified_ = writable();
    committedOnOpening_ = writable() && commit();
    if (!writable())
        stream_->setstate(pstream::WriteFailedBit);
}
