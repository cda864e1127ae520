// Packing: blocks from behind go into the gaps, and the file is cut behind a new directory. While
// it runs the directory on disk may name a place that another block has taken, so this is the one
// operation that must not be broken off.
#include "persistence/ResourceFileServer.h"

#include "foundation/MSort.h"
#include "persistence/ResourceFileFormat.h"

#include <algorithm>

using namespace resource_file;

namespace {

long endOf(ResourceItem const & item) {
    return long{item.offset} + item.size;
}

} // namespace

/// Types without items stay, too.
void ResourceFileServer::collect(GResourceDirectory & directory, Items & items) {
    for (long i = directory.getCount() - 1; i >= 0; --i) {
        ResourceCollection const * const type = directory.at(i)->items();
        for (long j = type ? type->getCount() - 1 : -1; j >= 0; --j)
            if (type->at(j)->hasBlock())
                items.insert(type->at(j));
    }
    GResourceDirectoryList * const list = directory.get_subdirectories(false);
    for (long i = list ? list->getCount() - 1 : -1; i >= 0; --i)
        collect(*list->at(i), items);
}

/// No block overlaps another or reaches behind `end`: otherwise the file is damaged, and moving its
/// blocks would do more of it.
bool ResourceFileServer::lie_in_order(Items const & items, long end) {
    long now = headerSize;
    for (long i = 0; i < items.getCount(); ++i) {
        ResourceItem const & item = *items.at(i);
        if (item.offset < now || item.offset > end || item.size < 0 ||
            item.size > end - item.offset)
            return false;
        now = endOf(item);
    }
    return true;
}

bool ResourceFileServer::move_block(ResourceItem & item, long to) {
    std::vector<unsigned char> piece(
        static_cast<std::size_t>(std::clamp(long{item.size}, 0L, pieceSize)));
    for (long done = 0; done < item.size;) {
        long const count = std::min(item.size - done, pieceSize);
        if (!seek_to_read(item.offset + done) || stream_->readBytes(piece.data(), count) < count ||
            !seek_to_write(to + done) || stream_->writeBytes(piece.data(), count) < count)
            return false;
        stream_->flush();
        if (!stream_->good())
            return false;
        done += count;
    }
    item.offset = static_cast<std::int32_t>(to);
    modified_ = true;
    return true;
}

/// Into each gap the largest block from behind that fits; of several the first.
bool ResourceFileServer::close_gaps(Items & items) {
    for (long i = 0; i < items.getCount(); ++i) {
        long const start = i == 0 ? headerSize : endOf(*items.at(i - 1));
        long const gap = items.at(i)->offset - start;
        if (gap <= 0)
            continue;
        long best = -1;
        for (long j = i; j < items.getCount(); ++j) {
            long const size = items.at(j)->size;
            if (size <= gap && (best < 0 || size > items.at(best)->size))
                best = j;
            if (size == gap)
                break;
        }
        if (best < 0)
            continue;
        ResourceItem * const item = items.at(best);
        if (!move_block(*item, start))
            return false;
        items.at_remove(best);
        items.at_insert(i, item);
    }
    return true;
}

bool ResourceFileServer::pack() {
    if (!writable())
        return false;
    int commits = 0;
    bool packed = false;
    {
        GSingleLock const lock(lock_);
        packed = !busy_ && pack(commits);
    }
    ResourceFile::Reason_BaseInfo info{this};
    while (commits-- > 0)
        ResourceFile::EvokeCallback(ResourceFile::Reason_Flushed, info);
    return packed;
}

/// Counts the directories that it commits.
bool ResourceFileServer::pack(int & commits) {
    auto const committed = [&] { return !modified_ || (commit() && ++commits > 0); };
    Items items(0, 64, 0);
    collect(*root_, items);
    if (!committed())
        return false;
    MSort::HSort(
        items.getCount(),
        [](long i, long j, void * data) -> int {
            auto const & all = *static_cast<Items *>(data);
            // A block without bytes may share its place with the next one.
            return all.at(i)->offset != all.at(j)->offset ? all.at(i)->offset < all.at(j)->offset
                                                          : all.at(i)->size < all.at(j)->size;
        },
        [](long i, long j, void * data) {
            auto & all = *static_cast<Items *>(data);
            ResourceItem * const item = all.at(i);
            all.at_put(i, all.at(j));
            all.at_put(j, item);
        },
        &items);
    long root = -1, end = endPosition_;
    if (!find_root_directory_position(root, end) || !lie_in_order(items, root))
        return false;
    if (items.getCount() == 0) {
        endPosition_ = headerSize;
        modified_ = true;
    } else if (close_gaps(items)) {
        // Room for a directory as long as the one on disk, which stays untouched meanwhile.
        long const dataEnd = endOf(*items.at(items.getCount() - 1));
        if (root - dataEnd >= end - root + trailerSize) {
            endPosition_ = dataEnd;
            modified_ = true;
        }
    }
    if (!committed()) {
        endPosition_ = end; // behind the directory that still counts
        return false;
    }
    return stream_->change_size(basePosition_ + endPosition_);
}
