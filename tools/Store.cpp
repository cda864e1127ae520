#include "Store.h"

#include "Address.h"
#include "Command.h"
#include "Terminal.h"

#include "persistence/GFlateBufferedIO.h"
#include "persistence/HuffmanFormat.h"
#include "persistence/ResourceFileFormat.h"
#include "persistence/ResourceFileServer.h"
#include "platform/FileSystem.h"

#include <algorithm>

namespace tool {

using namespace resource_file;

namespace {

constexpr long bufferSize = 65536;
constexpr long probeSize = 512;
constexpr unsigned short level = 3; // that of the blocks and directories of the library

/// A stretch of a file, as if it were one.
class Slice : public GIO {
  public:
    Slice(GFileIO & file, long begin, long size) : file_(file), begin_(begin), size_(size) {}

    long gseek(long offset, IOSeekDirection direction) override {
        long const from = direction == FromStart ? 0 : direction == FromEnd ? size_ : now_;
        if (offset < -from || offset > size_ - from)
            return -1;
        return now_ = from + offset;
    }
    long gwrite(void const *, long) override { return 0; }
    long gread(void * data, long count) override {
        count = std::min(count, size_ - now_);
        if (count <= 0 || file_.gseek(begin_ + now_, FromStart) < 0)
            return 0;
        long const got = file_.gread(data, count);
        now_ += got;
        return got;
    }

  private:
    GFileIO & file_;
    long const begin_, size_;
    long now_ = 0;
};

void gather(GResourceDirectory const & directory, GResourcePath const & path,
            std::vector<Entry> & entries) {
    for (long i = 0; i < directory.getCount(); ++i) {
        ResourceCollection const * const items = directory.at(i)->items();
        for (long j = 0; items && j < items->getCount(); ++j)
            entries.push_back(
                {GResourceFullName(path, items->at(j)->key(), directory.at(i)->name()),
                 *items->at(j)});
    }
    GResourceDirectoryList const * const list = directory.subdirectories();
    for (long i = 0; list && i < list->getCount(); ++i) {
        GResourcePath below(path);
        below += list->at(i)->name();
        gather(*list->at(i), below, entries);
    }
}

void gatherItems(GResourceDirectory const & directory, std::vector<ResourceItem *> & all) {
    for (long i = 0; i < directory.getCount(); ++i) {
        ResourceCollection const * const items = directory.at(i)->items();
        for (long j = 0; items && j < items->getCount(); ++j)
            all.push_back(items->at(j));
    }
    GResourceDirectoryList const * const list = directory.subdirectories();
    for (long i = 0; list && i < list->getCount(); ++i)
        gatherItems(*list->at(i), all);
}

void startAt(izpstream & stream, long position) {
    stream.clear();
    stream.seekg(position);
    // An error of a former reading would be taken for one of this.
    if (stream.rdbuf()->getError() != GIO::NoError)
        stream.rdbuf()->gread(nullptr, 0);
}

} // namespace

Store::Store(std::string const & name) : name_(name) {
    platform::FileStatus status;
    if (!platform::fileStatus(name.c_str(), status))
        throw Failure(NotDone, name + ": there is no such file");
    if (status.directory || status.special)
        throw Failure(NotDone, name + " is no file");
    stream_.open(name.c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead, level);
    if (!stream_.is_open() ||
        !blocks_.open(name.c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead))
        throw Failure(NotDone, name + " cannot be read, or is being written by another program");
    stream_.turn_to_norm();
    if (sizeOf(stream_) == 0)
        return;
    stream_.seekg(0);
    bool found = false;
    base_ = findBase(stream_, found);
    stream_.clear();
    size_ = sizeOf(stream_) - std::max(base_, 0L);
    if (!found) {
        content_ = base_ > 0 ? Content::NoSection : Content::Foreign;
        base_ = std::max(base_, 0L);
        return;
    }
    file_.open(name.c_str(), GIO::ReadMode);
    content_ = file_.is_open() && file_.server()->end_position() > headerSize
                   ? Content::Whole
                   : Content::NoDirectory;
    if (content_ == Content::Whole)
        findDirectory();
}

void Store::requireDirectory() const {
    switch (content_) {
        case Content::Foreign:
            throw Failure(Damaged, name_ + " is no resource file, or its first bytes are damaged");
        case Content::NoDirectory:
            throw Failure(Damaged, name_ + " has no directory that can be read; what it holds may "
                                           "be got back with: ondrel pack recover");
        default:
            return;
    }
}

/// Where the directory lies that the library has read.
void Store::findDirectory() {
    end_ = file_.server()->end_position();
    long end = -1;
    startAt(stream_, base_ + 4);
    auto const word = static_cast<std::uint32_t>(stream_.readDWord());
    if (word != currentFormat) {
        directoryBegin_ = static_cast<long>(std::min<std::uint32_t>(word, greatestPosition));
        root_ = readDirectory(directoryBegin_, false, end);
        isOldFormat_ = root_ != nullptr;
    }
    Trailer trailer;
    std::uint32_t position = 0;
    startAt(stream_, base_ + end_ - trailerSize);
    if (!root_ && stream_.readBytes(trailer.data(), trailerSize) == trailerSize &&
        readTrailer(trailer.data(), position) && position < static_cast<std::uint32_t>(end_)) {
        directoryBegin_ = static_cast<long>(position);
        root_ = readDirectory(directoryBegin_, true, end);
    }
    if (!root_)
        content_ = Content::NoDirectory;
}

std::unique_ptr<GResourceDirectory> Store::readDirectory(long position, bool compressed,
                                                         long & end) {
    end = -1;
    if (position < headerSize || position >= size_)
        return nullptr;
    startAt(stream_, base_ + position);
    std::unique_ptr<GResourceDirectory> directory;
    try {
        stream_.turn_to_comp(compressed);
        directory.reset(stream_.readPointer<GResourceDirectory>());
        if (directory && stream_.good()) {
            bool const hasEnded = !compressed || stream_.rdbuf()->readByte() < 0;
            long const now = stream_.turn_to_norm() - base_;
            end = hasEnded ? now : -1;
            return directory;
        }
        directory.release(); // a part of what is destroyed below
    } catch (...) {          // whatever it is, it is no directory
    }
    GResourceDirectory::DestroyUnfinished(stream_);
    stream_.turn_to_norm();
    return nullptr;
}

std::vector<Entry> entriesOf(GResourceDirectory const & root) {
    std::vector<Entry> entries;
    gather(root, GResourcePath(), entries);
    std::vector<std::pair<std::string, std::size_t>> order;
    for (Entry const & entry : entries)
        order.emplace_back(addressOf(entry.name), order.size());
    std::sort(order.begin(), order.end());
    std::vector<Entry> sorted;
    for (auto const & [address, index] : order)
        sorted.push_back(entries[index]);
    return sorted;
}

std::vector<Entry> Store::entries() const {
    return root_ ? entriesOf(*root_) : std::vector<Entry>();
}

std::string Store::className(GResourceFullName const & name) {
    std::unique_ptr<char[]> const text(file_.read_class_name(name));
    return text ? text.get() : "";
}

bool Store::isWithin(ResourceFileBlock const & block) const {
    return block.offset >= headerSize && block.size >= 0 && block.offset <= size_ &&
           block.size <= size_ - block.offset;
}

void Store::pump(GIO & from, GIO * to, Reading & reading) {
    std::vector<unsigned char> piece(bufferSize);
    for (long got; (got = from.gread(piece.data(), bufferSize)) > 0;) {
        stopIfInterrupted();
        if (to)
            to->gwrite(piece.data(), got);
        reading.count += got;
    }
}

Store::Reading Store::read(ResourceFileBlock const & block, bool decompress, GIO * to) {
    Reading reading;
    if (!isWithin(block)) {
        reading.problem = "lies outside the file";
        return reading;
    }
    if (!decompress) {
        GBufferedIO plain(new Slice(blocks_, base_ + block.offset, block.size), bufferSize);
        pump(plain, to, reading);
        if (reading.count < block.size)
            reading.problem = "cannot be read to its end";
        return reading;
    }
    long const size = readStream(block.offset, long{block.offset} + block.size, reading, to);
    if (size < 0)
        reading.problem = "is damaged or cut off after " + std::to_string(reading.count) + " bytes";
    else if (size < block.size)
        reading.problem = "has bytes behind its end";
    // Blocks that were copied in compressed as they were have the compressed length there.
    else if (block.rawSize >= 0 && reading.count != block.rawSize && block.rawSize != block.size)
        reading.problem = "has " + std::to_string(reading.count) + " bytes instead of " +
                          std::to_string(block.rawSize);
    return reading;
}

long Store::readStream(long begin, long end, Reading & reading, GIO * to) {
    GFlateBufferedIO flate(
        new GBufferedIO(new Slice(blocks_, base_ + begin, end - begin), bufferSize));
    pump(flate, to, reading);
    if (flate.getHuffmanIO()->getError() != GIO::EndOfFile)
        return -1;
    flate.flush();
    return flate.getBufferedIO()->gtell();
}

bool Store::mayBeginObject(long position) {
    constexpr long wanted = 4;
    if (position + wanted > size_)
        return false;
    if (position < pieceBegin_ ||
        position + wanted > pieceBegin_ + static_cast<long>(piece_.size())) {
        piece_.assign(static_cast<std::size_t>(bufferSize), 0);
        pieceBegin_ = position;
        if (blocks_.gseek(base_ + position, GIO::FromStart) >= 0)
            blocks_.gread(piece_.data(), bufferSize);
    }
    unsigned char const * const at = &piece_[static_cast<std::size_t>(position - pieceBegin_)];
    std::uint32_t bits = 0;
    for (int i = 0; i < wanted; ++i)
        bits |= std::uint32_t{at[i]} << (8 * i);
    std::uint32_t const type = bits & ((1u << huffman::typeBits) - 1);
    bits >>= huffman::typeBits + huffman::plainCountBits;
    // The first item is the byte that every object begins with. Plain items stand there as such.
    if (type == huffman::PlainBlock)
        return (bits & ((1u << huffman::plainCodeBits) - 1)) == ipstream::NewObject;
    if (type != huffman::CodedBlock)
        return false;
    long const begin = base_ + position;
    probe_.setBufferedIO(
        new GBufferedIO(new Slice(blocks_, begin, base_ + size_ - begin), probeSize));
    unsigned short distance = 0;
    unsigned char value = 0;
    return probe_.readCode(distance, value) == GIO::NoError && distance == 0 &&
           value == ipstream::NewObject;
}

std::string Store::verify(ResourceFileBlock const & block) {
    if (!isWithin(block) || block.size > end_ - block.offset)
        return "lies outside the section";
    return read(block, block.compressed != 0, nullptr).problem;
}

void writeStore(Store & source, GResourceDirectory & root, std::string const & name) {
    std::vector<ResourceItem *> items;
    gatherItems(root, items);
    std::stable_sort(
        items.begin(), items.end(),
        [](ResourceItem const * a, ResourceItem const * b) { return a->offset < b->offset; });
    GFileIO in(source.name().c_str(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    ozpstream out(name.c_str(), GIO::WriteMode, GFileIO::NewOnly, GFileIO::ShareNone, level);
    if (!in.is_opened() || !out.is_open())
        throw Failure(NotDone, name + " cannot be written");
    Progress progress(source.name(), source.size());
    try {
        out.turn_to_norm();
        std::vector<unsigned char> piece(bufferSize);
        auto const copy = [&](long from, long size) {
            in.gseek(from, GIO::FromStart);
            for (long left = size; left > 0;) {
                stopIfInterrupted();
                long const count = in.gread(piece.data(), std::min(left, bufferSize));
                if (count <= 0)
                    throw Failure(Damaged, source.name() + " cannot be read to its end");
                out.writeBytes(piece.data(), count);
                left -= count;
            }
        };
        copy(0, source.base());
        writeMagic(out);
        out.writeDWord(currentFormat);
        std::int64_t end = headerSize;
        for (ResourceItem * const item : items) {
            copy(source.base() + item->offset, item->size);
            item->offset = static_cast<std::int32_t>(end);
            end += item->size;
            progress.show(end);
            if (end > greatestPosition || !out.good())
                break;
        }
        out.turn_to_comp(true);
        out.writePointer(&root);
        out.turn_to_norm();
        Trailer const trailer = makeTrailer(static_cast<std::uint32_t>(end));
        out.writeBytes(trailer.data(), trailerSize);
        out.writeBytes(trailer.data(), trailerSize);
        out.flush();
        if (end > greatestPosition || !out.good())
            throw Failure(NotDone, name + " cannot be written; perhaps the disk is full");
        out.close();
        GFileIO whole(name.c_str(), GIO::WriteMode, GFileIO::ExistingOnly, GFileIO::ShareBoth);
        if (!whole.is_opened() || !platform::syncFile(whole.handle()))
            throw Failure(NotDone, name + " cannot be brought to the disk");
    } catch (...) {
        out.close();
        platform::removeFile(name.c_str());
        throw;
    }
}

} // namespace tool
