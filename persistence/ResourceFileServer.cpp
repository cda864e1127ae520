// Operations on an open resource file: the tree, the blocks, and committing. Opening and packing
// have files of their own.
#include "persistence/ResourceFileServer.h"

#include "persistence/ResourceFileFormat.h"
#include "persistence/ResourceFileServerStream.h"
#include "persistence/fpstream.h"
#include "persistence/mpstream.h"

#include <algorithm>

using namespace resource_file;

ResourceFileServer::~ResourceFileServer() {
    try {
        flush();
    } catch (...) { // nobody is left to be told
    }
}

GFile ResourceFileServer::GetNameUsed(char const * name) {
    return GFile(fpbase::redirected_name(name)).expand();
}

bool ResourceFileServer::isNameEquals(char const * name) const {
    return name && *name && !fileName_.isEmpty() && fileName_.compare(GetNameUsed(name)) == 0;
}

int ResourceFileServer::error() const {
    GSingleLock const lock(lock_);
    return stream_->rdstate();
}

bool ResourceFileServer::is_modified() const {
    GSingleLock const lock(lock_);
    return modified_;
}

bool ResourceFileServer::is_durable() const {
    GSingleLock const lock(lock_);
    return durable_;
}

bool ResourceFileServer::set_durable(bool durable) {
    GSingleLock const lock(lock_);
    if (durable && !durable_ && writable() && !stream_->sync())
        return false;
    durable_ = durable;
    return true;
}

void ResourceFileServer::mark_as_modified() {
    GSingleLock const lock(lock_);
    modified_ = true;
}

// Committing.

/// For reading or for writing. An error of an earlier operation stays with the device until it is
/// started again, and would be taken for one of the next compressed stream.
bool ResourceFileServer::seek_to(long position, GIO::IOOpenMode mode) {
    if (busy_)
        return false;
    bool const writes = mode == GIO::WriteMode;
    stream_->clear();
    long const target = basePosition_ + position;
    if ((writes ? stream_->seekp(target) : stream_->seekg(target)) < 0)
        return false;
    GAbstractBufferedIO & device = *stream_->pstream::rdbuf();
    if (device.getError() != GIO::NoError)
        writes ? device.gwrite(nullptr, 0) : device.gread(nullptr, 0);
    return true;
}

bool ResourceFileServer::flush() {
    {
        GSingleLock const lock(lock_);
        if (!modified_)
            return true;
        if (!commit())
            return false;
    }
    ResourceFile::Reason_BaseInfo info{this};
    ResourceFile::EvokeCallback(ResourceFile::Reason_Flushed, info);
    return true;
}

/// The directory and its two trailers, behind everything there is. Until the first trailer is whole
/// the former directory counts, and nothing of it has been touched.
bool ResourceFileServer::commit() {
    if (header_ == Header::Missing && !write_header())
        return false;
    long const directory = endPosition_;
    if (!seek_to_write(directory))
        return false;
    {
        Plain const plain(*this, true);
        stream_->writePointer(root_.get());
    }
    stream_->flush();
    // What a trailer leads to is there before it, whatever order the system writes in.
    if (!ends_in_reach(stream_->tellp() - basePosition_, 2 * trailerSize) || !reaches_medium())
        return false;
    if (!write_trailers(directory) || !reaches_medium()) {
        // The first one may be whole. It must not lead into what will be written here next. While
        // packing, the directory that counts may lie behind.
        stream_->change_size(basePosition_ + std::max(directory, committedEnd_));
        stream_->setstate(pstream::WriteFailedBit);
        return false;
    }
    endPosition_ = committedEnd_ = stream_->tellp() - basePosition_;
    // Until then the old directory counts.
    if (header_ == Header::OldFormat && !write_header())
        return false;
    modified_ = false;
    return true;
}

/// Where the host wants it, waits for the medium.
bool ResourceFileServer::reaches_medium() {
    if (!durable_ || stream_->sync())
        return true;
    stream_->setstate(pstream::WriteFailedBit);
    return false;
}

bool ResourceFileServer::write_trailers(long directory) {
    Trailer const trailer = makeTrailer(static_cast<std::uint32_t>(directory));
    stream_->writeBytes(trailer.data(), trailerSize);
    stream_->writeBytes(trailer.data(), trailerSize);
    stream_->flush();
    return stream_->good();
}

/// What was written up to `end`, and `more` behind it, is whole and can be led to. Otherwise it is
/// taken off again when it reaches too far: where a long has 32 bits such a file would not open.
bool ResourceFileServer::ends_in_reach(long end, long more) {
    if (stream_->good() && end >= endPosition_ && end <= greatestPosition - more)
        return true;
    // A position that does not fit into a long cannot be told.
    if (end < endPosition_ || end > greatestPosition - more)
        stream_->change_size(basePosition_ + std::max(endPosition_, committedEnd_));
    stream_->setstate(pstream::WriteFailedBit);
    return false;
}

/// The last step out of the old format is the one word that says so: before it, the old directory
/// counts, and still lies where it was.
bool ResourceFileServer::write_header() {
    bool const whole = header_ == Header::Missing;
    if (!seek_to_write(whole ? 0 : 4))
        return false;
    if (whole)
        writeMagic(*stream_);
    stream_->writeDWord(currentFormat);
    stream_->flush();
    if (!stream_->good() || !reaches_medium())
        return false;
    header_ = Header::Current;
    return true;
}

// The tree.

GResourceDirectory * ResourceFileServer::find_directory(GResourcePath const & path) const {
    GResourceDirectory * directory = root_.get();
    for (int i = 0; directory && i < path.getCount(); ++i)
        directory = directory->get_subdirectory(path[i]);
    return directory;
}

GResourceDirectory * ResourceFileServer::find_or_create_directory(GResourcePath const & path,
                                                                  Created & created) {
    if (path.getCount() > maxDepth)
        return nullptr;
    GResourceDirectory * directory = root_.get();
    for (int i = 0; i < path.getCount(); ++i) {
        bool existed = true;
        directory = directory->create_subdirectory(path[i], existed);
        if (!existed)
            created.directory = modified_ = true;
    }
    return directory;
}

ResourceTypeItem * ResourceFileServer::find_type(GResourceFullName const & fullName) const {
    GResourceDirectory const * const directory = find_directory(fullName);
    return directory ? directory->find(fullName.type.c_str()) : nullptr;
}

ResourceTypeItem * ResourceFileServer::find_or_create_type(GResourceFullName const & fullName,
                                                           Created & created) {
    GResourceDirectory * const directory = find_or_create_directory(fullName, created);
    if (!directory)
        return nullptr;
    long index = 0;
    if (directory->search(fullName.type.c_str(), index))
        return directory->at(index);
    auto * const type = new ResourceTypeItem(fullName.type);
    directory->at_insert(index, type);
    created.type = modified_ = true;
    return type;
}

ResourceItem * ResourceFileServer::find_item(GResourceFullName const & fullName) const {
    ResourceTypeItem const * const type = find_type(fullName);
    return type && type->items() ? type->items()->find(fullName.name.c_str()) : nullptr;
}

ResourceItem * ResourceFileServer::find_or_create_item(GResourceFullName const & fullName,
                                                       Created & created) {
    ResourceTypeItem * const type = find_or_create_type(fullName, created);
    if (!type)
        return nullptr;
    ResourceCollection & items = type->makeItems();
    long index = 0;
    if (items.search(fullName.name.c_str(), index))
        return items.at(index);
    auto * const item = new ResourceItem(fullName.name);
    items.at_insert(index, item);
    modified_ = true;
    return item;
}

/// Drops an item that was made for a block which then could not be written.
void ResourceFileServer::forget_unwritten(GResourceFullName const & fullName) {
    ResourceItem const * const item = find_item(fullName);
    if (item && !item->hasBlock() && !item->object())
        remove_item(fullName);
}

bool ResourceFileServer::remove_item(GResourceFullName const & fullName) {
    ResourceTypeItem const * const type = find_type(fullName);
    long index = 0;
    if (!type || !type->items() || !type->items()->search(fullName.name.c_str(), index))
        return false;
    type->items()->at_free(index);
    modified_ = true;
    return true;
}

bool ResourceFileServer::remove_directory_below(GResourcePath const & path) {
    GResourceDirectory * const parent = find_directory(path.subpath(0, path.getCount() - 1));
    if (!parent || !parent->remove_subdirectory(path[path.getCount() - 1]))
        return false;
    modified_ = true;
    return true;
}

void ResourceFileServer::tell(Created const & created, GResourceFullName const & fullName) {
    if (created.directory) {
        ResourceFile::Reason_DirectoryInfo info{{this}, fullName};
        ResourceFile::EvokeCallback(ResourceFile::Reason_DirectoryCreated, info);
    }
    if (created.type) {
        ResourceFile::Reason_FullNameInfo info{{this}, fullName};
        ResourceFile::EvokeCallback(ResourceFile::Reason_TypeCreated, info);
    }
}

namespace {

void gatherNames(GResourceDirectory const & directory, GResourcePath const & path,
                 std::vector<GResourceFullName> & names) {
    for (long i = directory.getCount() - 1; i >= 0; --i) {
        ResourceCollection const * const items = directory.at(i)->items();
        for (long j = items ? items->getCount() - 1 : -1; j >= 0; --j)
            names.emplace_back(path, items->at(j)->key(), directory.at(i)->name());
    }
    GResourceDirectoryList const * const list = directory.subdirectories();
    for (long i = list ? list->getCount() - 1 : -1; i >= 0; --i) {
        GResourcePath below(path);
        below += list->at(i)->name();
        gatherNames(*list->at(i), below, names);
    }
}

} // namespace

std::vector<GResourceFullName> ResourceFileServer::names_below(GResourcePath const & path) const {
    GSingleLock const lock(lock_);
    std::vector<GResourceFullName> names;
    if (GResourceDirectory const * const directory = find_directory(path))
        gatherNames(*directory, path, names);
    return names;
}

GCollection const * ResourceFileServer::walk_directories(GResourcePath const & path) const {
    GSingleLock const lock(lock_);
    GResourceDirectory * const directory = find_directory(path);
    return directory ? directory->get_subdirectories(false) : nullptr;
}

GCollection const * ResourceFileServer::walk_types(GResourcePath const & path) const {
    GSingleLock const lock(lock_);
    return find_directory(path);
}

GCollection const * ResourceFileServer::walk_items(GResourceFullName const & fullName) const {
    GSingleLock const lock(lock_);
    ResourceTypeItem const * const type = find_type(fullName);
    return type ? type->items() : nullptr;
}

bool ResourceFileServer::directory_exists(GResourcePath const & path) const {
    GSingleLock const lock(lock_);
    return find_directory(path) != nullptr;
}

bool ResourceFileServer::create_directory(GResourcePath const & path) {
    Created created;
    bool made = false;
    {
        GSingleLock const lock(lock_);
        made = !busy_ && find_or_create_directory(path, created) != nullptr;
    }
    tell(created, GResourceFullName(path, GString(), GString()));
    return made;
}

bool ResourceFileServer::remove_directory(GResourcePath const & path) {
    if (!writable() || path.getCount() == 0)
        return false;
    {
        GSingleLock const lock(lock_);
        if (busy_ || !remove_directory_below(path))
            return false;
    }
    ResourceFile::Reason_DirectoryInfo info{{this}, path};
    ResourceFile::EvokeCallback(ResourceFile::Reason_DirectoryRemoved, info);
    return true;
}

namespace {

/// Levels of directories below `directory`, not looking deeper than `most`.
int depthBelow(GResourceDirectory const & directory, int most) {
    GResourceDirectoryList const * const list = directory.subdirectories();
    int depth = 0;
    for (long i = 0; list && most > 0 && i < list->getCount(); ++i)
        depth = std::max(depth, 1 + depthBelow(*list->at(i), most - 1));
    return depth;
}

} // namespace

bool ResourceFileServer::rename_directory(GResourcePath const & from, GResourcePath const & to) {
    // A directory cannot go into itself.
    if (!writable() || from.getCount() == 0 || to.getCount() == 0 || to.is_subdirectory(from, true))
        return false;
    Created created;
    bool replaced = false;
    GResourcePath const target = to.subpath(0, to.getCount() - 1);
    {
        GSingleLock const lock(lock_);
        GResourceDirectory * const directory = busy_ ? nullptr : find_directory(from);
        if (!directory || to.getCount() + depthBelow(*directory, maxDepth) > maxDepth)
            return false;
        GResourceDirectory * const parent = find_or_create_directory(target, created);
        GResourceDirectoryList & former = *directory->parent()->get_subdirectories(true);
        former.at_remove(former.index_of(directory));
        replaced = remove_directory_below(to);
        directory->set_name(to[to.getCount() - 1]);
        parent->get_subdirectories(true)->insert(directory);
        directory->set_parent(parent);
        modified_ = true;
    }
    tell(created, GResourceFullName(target, GString(), GString()));
    if (replaced) {
        ResourceFile::Reason_DirectoryInfo info{{this}, to};
        ResourceFile::EvokeCallback(ResourceFile::Reason_DirectoryRemoved, info);
    }
    ResourceFile::Reason_DirectoryRenamedInfo info{{this}, from, to};
    ResourceFile::EvokeCallback(ResourceFile::Reason_DirectoryRenamed, info);
    return true;
}

bool ResourceFileServer::remove_type(GResourceFullName const & fullName) {
    if (!writable())
        return false;
    {
        GSingleLock const lock(lock_);
        GResourceDirectory * const directory = busy_ ? nullptr : find_directory(fullName);
        long index = 0;
        if (!directory || !directory->search(fullName.type.c_str(), index))
            return false;
        directory->at_free(index);
    }
    ResourceFile::Reason_FullNameInfo info{{this}, fullName};
    ResourceFile::EvokeCallback(ResourceFile::Reason_TypeRemoved, info);
    return true;
}

void ResourceFileServer::empty() {
    if (!writable())
        return;
    GSingleLock const lock(lock_);
    if (busy_)
        return;
    root_->empty();
    root_->remove_subdirectories();
    ResourceFile::Reason_DirectoryInfo info{{this}, GResourcePath()};
    ResourceFile::EvokeCallback(ResourceFile::Reason_DirectoryEmptied, info);
}

bool ResourceFileServer::exist(GResourceFullName const & fullName) const {
    GSingleLock const lock(lock_);
    return find_item(fullName) != nullptr;
}

bool ResourceFileServer::remove(GResourceFullName const & fullName) {
    if (!writable())
        return false;
    {
        GSingleLock const lock(lock_);
        if (busy_ || !remove_item(fullName))
            return false;
    }
    ResourceFile::Reason_FullNameInfo info{{this}, fullName};
    ResourceFile::EvokeCallback(ResourceFile::Reason_ItemRemoved, info);
    return true;
}

bool ResourceFileServer::rename(GResourceFullName const & from, GResourceFullName const & to) {
    if (!writable() || from == to || to.getCount() > maxDepth)
        return false;
    Created created;
    bool replaced = false;
    {
        GSingleLock const lock(lock_);
        ResourceItem * const item = busy_ ? nullptr : find_item(from);
        if (!item)
            return false;
        ResourceCollection & former = *find_type(from)->items();
        former.at_remove(former.index_of(item));
        replaced = remove_item(to);
        item->set_key(to.name);
        find_or_create_type(to, created)->makeItems().insert(item);
        modified_ = true;
    }
    if (replaced) {
        ResourceFile::Reason_FullNameInfo info{{this}, to};
        ResourceFile::EvokeCallback(ResourceFile::Reason_ItemRemoved, info);
    }
    tell(created, to);
    ResourceFile::Reason_ItemRenamedInfo info{{this}, from, to};
    ResourceFile::EvokeCallback(ResourceFile::Reason_ItemRenamed, info);
    return true;
}

// Blocks.

/// Nothing is written behind the end, so a block that reaches there was never whole.
bool ResourceFileServer::is_within(ResourceFileBlock const & block) const {
    return block.offset >= headerSize && block.size >= 0 && block.offset <= endPosition_ &&
           block.size <= endPosition_ - block.offset;
}

bool ResourceFileServer::put(GStreamable * object, GResourceFullName const & fullName, bool keep) {
    Created created;
    bool stored = false;
    {
        GSingleLock const lock(lock_);
        if (!seek_to_write(endPosition_))
            return false;
        ResourceItem * const item = find_or_create_item(fullName, created);
        if (!item)
            return false;
        try {
            Storing storing(*this, item->compressed != 0);
            stream_->writePointer(object);
            stored = storing.finish(*item);
        } catch (...) { // from the object; the file is as it was
            forget_unwritten(fullName);
            throw;
        }
        // An object that was got with `keep` stays with the item when it is put back without.
        if (!stored)
            forget_unwritten(fullName);
        else if (keep || object != item->object())
            item->set_object(keep ? object : nullptr);
    }
    tell(created, fullName);
    if (stored) {
        ResourceFile::Reason_ItemPutInfo info{{{this}, fullName}, object};
        ResourceFile::EvokeCallback(ResourceFile::Reason_ItemPut, info);
    }
    return stored;
}

GStreamable * ResourceFileServer::get(GResourceFullName const & fullName, bool keep) {
    GSingleLock const lock(lock_);
    return get_from_item(find_item(fullName), keep);
}

namespace {

/// What is not whole is for nobody. One that counts who holds it may be held by something that came
/// along, and ends with that.
void endUnfinished(GStreamable * object) {
    auto const & care = ondrel_detail::g_readingCare;
    if (void * const cared = care.begin ? care.begin(*object) : nullptr)
        care.end(cared, false);
    else
        GStreamable::Destroy(object);
}

} // namespace

GStreamable * ResourceFileServer::get_from_item(ResourceItem * item, bool keep) {
    if (!item)
        return nullptr;
    if (keep && item->object())
        return item->object();
    if (busy_)
        return nullptr;
    if (!is_within(*item)) {
        stream_->setstate(pstream::ReadFailedBit);
        return nullptr;
    }
    if (!seek_to_read(item->offset))
        return nullptr;
    GStreamable * object = nullptr;
    try {
        Plain const plain(*this, item->compressed != 0);
        object = stream_->readPointer<GStreamable>();
        item->rawSize = static_cast<std::int32_t>(stream_->countOfReadBytes());
    } catch (...) {
        GResourceDirectory::DestroyUnfinished(*stream_);
        throw;
    }
    if (object && !*stream_) {
        endUnfinished(object);
        return nullptr;
    }
    // In an object of an unknown class whatever looks like an object is built: also a directory,
    // where the bytes run into one.
    if (!object)
        GResourceDirectory::DestroyUnfinished(*stream_);
    if (keep)
        item->set_object(object);
    return object;
}

char * ResourceFileServer::read_class_name(GResourceFullName const & fullName) {
    GSingleLock const lock(lock_);
    ResourceItem const * const item = find_item(fullName);
    if (!item || !is_within(*item) || !seek_to_read(item->offset))
        return nullptr;
    try {
        Plain const plain(*this, item->compressed != 0);
        std::unique_ptr<char[]> name(stream_->read_class_name_from_pointer());
        return *stream_ ? name.release() : nullptr;
    } catch (...) {
        return nullptr;
    }
}

ResourceFileBlock ResourceFileServer::get_resource_block(GResourceFullName const & fullName) const {
    GSingleLock const lock(lock_);
    ResourceItem const * const item = find_item(fullName);
    if (!item)
        return {};
    ResourceFileBlock block = *item;
    block.offset = static_cast<std::int32_t>(static_cast<std::uint32_t>(block.offset) +
                                             static_cast<std::uint32_t>(basePosition_));
    return block;
}

// Raw bytes.

namespace {

/// Copies `size` bytes, or what there is of them; false when there are fewer, or one of the streams
/// fails.
bool copyBytes(ipstream & from, opstream & to, long size) {
    std::vector<unsigned char> piece(static_cast<std::size_t>(std::clamp(size, 0L, pieceSize)));
    for (long left = size; left > 0;) {
        long const count = std::min(left, pieceSize);
        if (from.readBytes(piece.data(), count) < count ||
            to.writeBytes(piece.data(), count) < count)
            return false;
        left -= count;
    }
    return true;
}

} // namespace

bool ResourceFileServer::copy_from(GResourceFullName const & fullName, ipstream & source, long size,
                                   unsigned flags) {
    return copy_block(fullName, source, size, flags, nullptr);
}

/// `rawSize` is what it was before compression, when that is known.
bool ResourceFileServer::copy_block(GResourceFullName const & fullName, ipstream & source,
                                    long size, unsigned flags, std::int32_t const * rawSize) {
    Created created;
    bool stored = false;
    {
        GSingleLock const lock(lock_);
        if (busy_)
            return false;
        if (size < 0) {
            long const start = source.tellg();
            long const end = source.seekg(0, GIO::FromEnd);
            if (start < 0 || end < start || source.seekg(start) < 0)
                return false;
            size = end - start;
        }
        // One stream cannot be at two places.
        if (static_cast<pstream *>(&source) == stream_.get()) {
            std::vector<unsigned char> bytes;
            if (!read_bytes(size, bytes))
                return false;
            impstream memory(bytes.data(), size, GIO::ReadMode);
            return copy_block(fullName, memory, size, flags, rawSize);
        }
        if (!seek_to_write(endPosition_))
            return false;
        ResourceItem * const item = find_or_create_item(fullName, created);
        if (!item)
            return false;
        try {
            Storing storing(*this, (flags & ResourceFile::CopyCompress) != 0);
            stored = copyBytes(source, *stream_, size) && storing.finish(*item);
        } catch (...) { // from the source, when its exception mask asks for it
            forget_unwritten(fullName);
            throw;
        }
        if (stored) {
            item->compressed = flags != 0;
            if (rawSize)
                item->rawSize = *rawSize;
        } else {
            forget_unwritten(fullName);
        }
    }
    tell(created, fullName);
    if (stored) {
        ResourceFile::Reason_FullNameInfo info{{this}, fullName};
        ResourceFile::EvokeCallback(ResourceFile::Reason_ItemCopied, info);
    }
    return stored;
}

/// From where the stream stands; the room grows with what there is.
bool ResourceFileServer::read_bytes(long size, std::vector<unsigned char> & bytes) {
    while (static_cast<long>(bytes.size()) < size) {
        std::size_t const before = bytes.size();
        long const count = std::min(size - static_cast<long>(before),
                                    std::max(static_cast<long>(before), pieceSize));
        bytes.resize(before + static_cast<std::size_t>(count));
        if (stream_->readBytes(bytes.data() + before, count) < count)
            return false;
    }
    return true;
}

/// The bytes of a block as they lie. The offset is taken from the start of the file: which is right
/// for plain files, and is how such copies have always been made.
bool ResourceFileServer::read_raw(GResourceFullName const & fullName,
                                  std::vector<unsigned char> & bytes, ResourceFileBlock & block) {
    GSingleLock const lock(lock_);
    ResourceItem const * const item = find_item(fullName);
    if (!item || !is_within(*item))
        return false;
    block = *item;
    return seek_to_read(block.offset - basePosition_) && read_bytes(block.size, bytes);
}

bool ResourceFileServer::put_raw(GResourceFullName const & fullName,
                                 std::vector<unsigned char> & bytes,
                                 ResourceFileBlock const & block) {
    auto const size = static_cast<long>(bytes.size());
    impstream source(bytes.data(), size, GIO::ReadMode);
    return copy_block(fullName, source, size, block.compressed ? ResourceFile::CopyCompressed : 0u,
                      block.compressed ? &block.rawSize : nullptr);
}

bool ResourceFileServer::extract_to(opstream & target, GResourceFullName const & fullName,
                                    bool decompress) {
    GSingleLock const lock(lock_);
    ResourceItem const * const item = find_item(fullName);
    if (!item || !is_within(*item))
        return false;
    long const size = decompress ? item->rawSize : item->size;
    if (size < 0 || !seek_to_read(item->offset))
        return false;
    bool copied = false;
    {
        Plain const plain(*this, decompress && item->compressed != 0);
        copied = copyBytes(*stream_, target, size);
    }
    return copied && stream_->good() && target.good();
}
