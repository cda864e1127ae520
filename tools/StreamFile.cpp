#include "StreamFile.h"

#include "Address.h"
#include "Command.h"
#include "Files.h"
#include "Store.h"
#include "Terminal.h"

#include "persistence/GFlateBufferedIO.h"
#include "persistence/GMemoryIO.h"
#include "persistence/HuffmanFormat.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <map>

namespace tool {

namespace {

constexpr std::size_t pieceSize = 65536;
/// Where it does not occur, there is no resource file.
constexpr std::string_view sectionMagic = "FBPR";
constexpr std::size_t greatestSize = 0x7FFFFFFF;
/// What has to be decompressed to see whether an object begins there.
constexpr std::size_t leastSight = 7 + 1023;
/// How many places behind an object are tried, and how many in a whole file.
constexpr std::size_t placesInGap = 64;
constexpr std::size_t placesInFile = 4096;
/// How many places that begin with an object may turn out to be none.
constexpr int greatestFailures = 16;

/// All the bytes, as long as they are as many as positions can tell.
std::string contentOf(std::string const & name) {
    Source source(name);
    auto const refuseBeyond = [&](std::int64_t size) {
        if (size > std::int64_t{greatestSize})
            throw Failure(NotDone, source.name() + " is too large, " +
                                       std::to_string(greatestSize) + " bytes are the most");
    };
    refuseBeyond(source.size());
    std::string bytes, piece(pieceSize, '\0');
    bytes.reserve(static_cast<std::size_t>(std::max(source.size(), std::int64_t{})));
    for (long got; (got = source.gread(piece.data(), static_cast<long>(piece.size()))) > 0;) {
        stopIfInterrupted();
        bytes.append(piece, 0, static_cast<std::size_t>(got));
        refuseBeyond(static_cast<std::int64_t>(bytes.size()));
    }
    source.check();
    return bytes;
}

/// What comes through a pipe cannot be read anew, as a resource file has to be.
bool isPassing(std::string const & name) {
    platform::FileStatus status;
    return isStandard(name) || (platform::fileStatus(name.c_str(), status) && status.special);
}

/// Bytes that lie in a file until it has been opened: whatever ends the program, even that nobody
/// reads its output any more, leaves nothing behind.
class Spool {
  public:
    explicit Spool(std::string const & bytes)
        : name_(platform::createTemporaryFile(platform::temporaryDirectory().c_str(), "ondrel-")) {
        GFileIO file;
        if (name_.empty() ||
            !file.open(name_.c_str(), GIO::WriteMode, GFileIO::ExistingOnly, GFileIO::ShareNone) ||
            file.gwrite(bytes.data(), static_cast<long>(bytes.size())) !=
                static_cast<long>(bytes.size())) {
            file.close();
            remove();
            throw Failure(NotDone, "there is no room for a temporary file");
        }
    }
    ~Spool() { remove(); }
    Spool(Spool const &) = delete;
    Spool & operator=(Spool const &) = delete;

    std::string const & name() const { return name_; }

  private:
    void remove() {
        if (!name_.empty())
            platform::removeFile(name_.c_str());
    }

    std::string const name_;
};

/// Decompresses a stream that begins at a place of some bytes.
class Inflater {
  public:
    Inflater(std::string const & bytes, std::size_t begin)
        : begin_(begin), flate_(new GBufferedIO(
                             new GMemoryIO(const_cast<char *>(bytes.data()) + begin,
                                           static_cast<long>(bytes.size() - begin), GIO::ReadMode),
                             512)) {}

    /// Decompresses up to so many bytes in all.
    void readTo(std::size_t count) {
        std::size_t const old = content_.size();
        if (count <= old)
            return;
        content_.resize(count);
        long const got = flate_.gread(content_.data() + old, static_cast<long>(count - old));
        content_.resize(old + static_cast<std::size_t>(std::max(got, 0L)));
    }
    void readAll() {
        for (std::size_t old = ~content_.size(); old != content_.size();) {
            stopIfInterrupted();
            old = content_.size();
            if (old > greatestSize)
                throw Failure(NotDone, "the content is too large");
            readTo(old + pieceSize);
        }
    }

    bool isWhole() { return flate_.getHuffmanIO()->getError() == GIO::EndOfFile; }
    /// Where it ends in the bytes, once all was read.
    std::size_t end() {
        flate_.flush();
        return begin_ + static_cast<std::size_t>(std::max(flate_.getBufferedIO()->gtell(), 0L));
    }
    std::string & content() { return content_; }

  private:
    std::size_t begin_;
    std::string content_;
    GFlateBufferedIO flate_;
};

StreamPart inflated(Inflater & inflater, std::size_t begin, std::size_t size) {
    StreamPart part;
    inflater.readAll();
    part.compressed = true;
    part.storedBegin = begin;
    part.storedEnd = inflater.isWhole() ? inflater.end() : size;
    if (!inflater.isWhole())
        part.problem = "the compressed stream at byte " + std::to_string(begin) +
                       " is damaged or cut off after " + std::to_string(inflater.content().size()) +
                       " bytes of its content";
    part.storage = std::make_shared<std::string const>(std::move(inflater.content()));
    part.end = part.storage->size();
    part.tree = scanFrames(part.bytes());
    return part;
}

class Splitter {
  public:
    explicit Splitter(std::string bytes)
        : bytes_(std::make_shared<std::string const>(std::move(bytes))),
          whole_(scanFrames(*bytes_)) {}

    std::vector<StreamPart> asTheyAre() {
        addPlain(0, bytes_->size());
        return std::move(parts_);
    }

    std::vector<StreamPart> inflateAll() {
        for (std::size_t at = 0; at < bytes_->size() || parts_.empty();) {
            Inflater inflater(*bytes_, at);
            parts_.push_back(inflated(inflater, at, bytes_->size()));
            at = std::max(parts_.back().storedEnd, at + 1);
        }
        return std::move(parts_);
    }

    /// Looks for compressed parts where no object stands.
    std::vector<StreamPart> find() {
        std::size_t plain = 0;
        std::vector<Frame> const & frames = whole_.frames;
        for (std::size_t i = 0, gap = 0;; i = frames[i].next) {
            bool const isLast = i == frames.size();
            std::size_t const gapEnd = isLast ? bytes_->size() : frames[i].head();
            findIn(gap, gapEnd, plain);
            if (isLast)
                break;
            gap = frames[i].end;
        }
        addPlain(plain, bytes_->size());
        return std::move(parts_);
    }

  private:
    /// `plain` is where the part began that is not yet added.
    void findIn(std::size_t begin, std::size_t end, std::size_t & plain) {
        std::size_t tried = 0;
        for (std::size_t at = begin; at < end && tried < placesInGap;) {
            std::size_t const next = mayBegin(at) ? inflateAt(at, end, plain) : at;
            tried = next == at ? tried + 1 : 0;
            at = next == at ? at + 1 : next;
        }
    }

    bool mayBegin(std::size_t at) const {
        auto const type =
            static_cast<unsigned char>((*bytes_)[at]) & ((1u << huffman::typeBits) - 1);
        return type == huffman::PlainBlock || type == huffman::CodedBlock;
    }

    /// Where the part ends that was found at a place, or that place.
    std::size_t inflateAt(std::size_t at, std::size_t end, std::size_t & plain) {
        if (places_ >= placesInFile || failures_ >= greatestFailures)
            return at;
        ++places_;
        Inflater inflater(*bytes_, at);
        inflater.readTo(leastSight);
        if (!beginsObject(inflater.content()))
            return at;
        StreamPart part = inflated(inflater, at, bytes_->size());
        if (part.tree.frames.empty() || part.storedEnd > end ||
            (!part.problem.empty() && end < bytes_->size())) {
            ++failures_;
            return at;
        }
        addPlain(plain, at);
        plain = part.storedEnd;
        parts_.push_back(std::move(part));
        return plain;
    }

    void addPlain(std::size_t begin, std::size_t end) {
        if (begin >= end)
            return;
        StreamPart part;
        part.storage = bytes_;
        part.begin = begin;
        part.end = end;
        auto const & all = whole_.frames;
        auto const isBefore = [](Frame const & frame, std::size_t place) {
            return frame.begin < place;
        };
        auto const first = std::lower_bound(all.begin(), all.end(), begin, isBefore);
        auto const last = std::lower_bound(first, all.end(), end, isBefore);
        part.tree.frames.assign(first, last);
        auto const shift = static_cast<std::size_t>(first - all.begin());
        for (Frame & frame : part.tree.frames) {
            frame.next -= shift;
            if (frame.parent != Frame::none)
                frame.parent -= shift;
        }
        for (std::size_t const at : whole_.strays)
            if (at >= begin && at < end)
                part.tree.strays.push_back(at);
        parts_.push_back(std::move(part));
    }

    std::shared_ptr<std::string const> const bytes_;
    FrameTree const whole_;
    std::vector<StreamPart> parts_;
    std::size_t places_ = 0;
    int failures_ = 0;
};

/// All that takes a number counts, wherever it stands and whether or not it is sound.
void number(ObjectStream & stream) {
    for (std::size_t part = 0; part < stream.parts.size(); ++part) {
        std::vector<Frame> & frames = stream.parts[part].tree.frames;
        for (std::size_t frame = 0; frame < frames.size(); ++frame) {
            if (frames[frame].isNull())
                continue;
            stream.objects.push_back({part, frame});
            frames[frame].number = static_cast<std::uint32_t>(stream.objects.size());
        }
    }
}

} // namespace

bool ObjectStream::isSound() const {
    return std::all_of(parts.begin(), parts.end(),
                       [](StreamPart const & part) { return part.isSound(); });
}

Frame const * ObjectStream::object(std::uint32_t number) const {
    if (number == 0 || number > objects.size())
        return nullptr;
    Place const place = objects[number - 1];
    return &parts[place.part].tree.frames[place.frame];
}

std::size_t ObjectStream::countBefore(std::size_t part, std::size_t frame) const {
    auto const isBefore = [](Place const & a, Place const & b) {
        return a.part != b.part ? a.part < b.part : a.frame < b.frame;
    };
    return static_cast<std::size_t>(
        std::lower_bound(objects.begin(), objects.end(), Place{part, frame}, isBefore) -
        objects.begin());
}

ObjectStream streamOf(std::string bytes, Inflating inflating) {
    ObjectStream stream;
    Splitter splitter(std::move(bytes));
    stream.parts = inflating == Inflating::All    ? splitter.inflateAll()
                   : inflating == Inflating::Find ? splitter.find()
                                                  : splitter.asTheyAre();
    number(stream);
    return stream;
}

void reportBreaks(ObjectStream const & stream, std::string const & file) {
    constexpr std::size_t greatestCount = 10;
    std::size_t count = 0;
    std::string const where = (isStandard(file) ? "standard input" : file) +
                              (stream.resource.empty() ? std::string() : " " + stream.resource);
    auto const report = [&](std::string const & text) {
        if (++count <= greatestCount)
            std::fprintf(stderr, "ondrel: %s: %s\n", where.c_str(), text.c_str());
    };
    for (StreamPart const & part : stream.parts) {
        if (!part.problem.empty())
            report(part.problem);
        // In their order, since the first one may have brought about all the others.
        std::multimap<std::size_t, Frame const *> breaks;
        for (Frame const & frame : part.tree.frames)
            if (frame.fault != Frame::Fault::None)
                breaks.emplace(frame.faultAt, &frame);
        for (std::size_t const at : part.tree.strays)
            breaks.emplace(at, nullptr);
        for (auto const & [at, frame] : breaks)
            report("at byte " + std::to_string(at) + ": " +
                   (frame ? faultText(*frame, part.bytes()) : "a suffix without a prefix"));
    }
    if (count > greatestCount)
        std::fprintf(stderr, "ondrel: %s: %zu breaks more\n", where.c_str(), count - greatestCount);
}

struct StreamFile::Resources {
    explicit Resources(std::string const & name) : store(name) {}
    explicit Resources(Spool const & spool) : store(spool.name()), isPassing(true) {}

    Store store;
    bool const isPassing = false;
    std::vector<Entry> entries;
};

StreamFile::StreamFile(std::string const & name, Inflating inflating)
    : name_(name), inflating_(inflating) {
    bool const mayHold = inflating == Inflating::Find;
    bool const passes = isPassing(name);
    if (mayHold && !passes && take(std::make_unique<Resources>(name)))
        return;
    content_ = contentOf(name);
    if (mayHold && passes && content_.find(sectionMagic) != content_.npos &&
        take(std::make_unique<Resources>(Spool(content_))))
        content_ = std::string();
}

/// False when it is no resource file.
bool StreamFile::take(std::unique_ptr<Resources> resources) {
    Store::Content const content = resources->store.content();
    if (content == Store::Content::NoDirectory) {
        if (resources->isPassing)
            throw Failure(Damaged, "standard input is a resource file, but has no directory that "
                                   "can be read");
        resources->store.requireDirectory();
    }
    if (content != Store::Content::Whole)
        return false;
    resources->entries = resources->store.entries();
    store_ = std::move(resources);
    return true;
}

StreamFile::~StreamFile() = default;

std::vector<std::string> StreamFile::resources() const {
    std::vector<std::string> addresses;
    if (store_)
        for (Entry const & entry : store_->entries)
            addresses.push_back(addressOf(entry.name));
    return addresses;
}

ObjectStream StreamFile::read(std::string const & address) {
    if (!store_) {
        if (!address.empty())
            throw Failure(NotDone, name_ + " is no resource file");
        return streamOf(std::move(content_), inflating_);
    }
    GResourceFullName const name = resourceAt(address);
    for (Entry const & entry : store_->entries) {
        if (!(entry.name == name))
            continue;
        GMemoryIO memory(0);
        Store::Reading const reading =
            store_->store.read(entry.block, entry.block.compressed != 0, &memory);
        std::string bytes;
        if (memory.size() > 0)
            bytes.assign(static_cast<char const *>(memory.buffer()),
                         static_cast<std::size_t>(memory.size()));
        ObjectStream stream = streamOf(
            std::move(bytes), entry.block.compressed != 0 ? Inflating::Nothing : Inflating::Find);
        stream.resource = addressOf(entry.name);
        if (!reading.problem.empty()) {
            if (stream.parts.empty())
                stream.parts.emplace_back().storage = std::make_shared<std::string const>();
            stream.parts.back().problem = "the resource " + reading.problem;
        }
        return stream;
    }
    throw Failure(NotDone, name_ + " has no resource " + address);
}

} // namespace tool
