// `stream`: the objects of an object stream as a tree, told by their frames. References are told
// for sure where the class is one of the library's and its data are what it writes; in the data of
// others what could be a reference is shown as such.
#include "Command.h"
#include "Json.h"
#include "Layout.h"
#include "StreamFile.h"
#include "Terminal.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

namespace tool {

namespace {

using Position = std::int64_t;

/// Deeper lines are not indented further, so that what is deep stays as long as it is.
constexpr std::size_t greatestIndent = 24;
constexpr std::size_t excerptSize = 32;
/// Of the references that perhaps stand in one stretch of data, so many are shown as text.
constexpr std::size_t greatestGuesses = 6;

struct Options {
    std::string file, resource;
    bool json = false;
    bool data = false;
    bool inflate = false;
    bool raw = false;
};

/// What perhaps stands in data.
struct Guesses {
    std::vector<Reference> references;
    /// Where objects in the older frame begin.
    std::vector<std::size_t> older;
};

/// What the two forms of output make of a stream.
class Teller {
  public:
    virtual ~Teller() = default;
    virtual void beginStream(ObjectStream const & stream) = 0;
    virtual void endStream() = 0;
    virtual void beginPart(StreamPart const & part) = 0;
    virtual void endPart(StreamPart const & part) = 0;
    /// `isKnown`: its class tells what its data are.
    virtual void beginObject(Frame const & frame, bool isKnown) = 0;
    virtual void endObject(Frame const & frame) = 0;
    virtual void tellData(std::size_t begin, std::size_t end, Guesses const & guesses) = 0;
    virtual void tellReference(Reference const & reference) = 0;
};

/// Goes through a part without recursion.
class Walk {
  public:
    Walk(ObjectStream const & stream, std::size_t part, Teller & teller)
        : stream_(stream), index_(part), part_(stream.parts[part]), teller_(teller),
          begun_(stream.countBefore(part, 0)) {}

    void go() {
        auto const & frames = part_.tree.frames;
        std::size_t at = part_.begin;
        for (std::size_t i = 0;;) {
            stopIfInterrupted();
            bool const isWithin =
                i < frames.size() && (open_.empty() || i < frames[open_.back().frame].next);
            if (isWithin) {
                tellGap(at, frames[i].head());
                begin(i);
                at = frames[i++].data;
                continue;
            }
            tellGap(at, open_.empty() ? part_.end : frames[open_.back().frame].dataEnd);
            if (open_.empty())
                return;
            Frame const & frame = frames[open_.back().frame];
            teller_.endObject(frame);
            at = frame.end;
            open_.pop_back();
        }
    }

  private:
    struct Open {
        std::size_t frame;
        std::optional<std::vector<Reference>> references;
        std::size_t told; // of these
    };

    void begin(std::size_t index) {
        Frame const & frame = part_.tree.frames[index];
        begun_ += frame.number != 0;
        if (!frame.isNull())
            swapped_ = frame.swapped;
        open_.push_back({index, referencesOf(stream_, index_, index), 0});
        teller_.beginObject(frame, open_.back().references.has_value());
    }

    void tellGap(std::size_t begin, std::size_t end) {
        if (open_.empty() || !open_.back().references) {
            if (begin < end)
                teller_.tellData(begin, end, guesses(begin, end));
            return;
        }
        Open & open = open_.back();
        for (; open.told < open.references->size(); ++open.told) {
            Reference const & reference = (*open.references)[open.told];
            if (reference.isFrame && reference.at < end)
                continue;
            if (reference.at >= end)
                break;
            if (begin < reference.at)
                teller_.tellData(begin, reference.at, {});
            teller_.tellReference(reference);
            begin = reference.at + reference.size;
        }
        if (begin < end)
            teller_.tellData(begin, end, {});
    }

    /// Bytes that are those of references to objects which have begun, or of an older frame.
    Guesses guesses(std::size_t begin, std::size_t end) const {
        Guesses found;
        std::string_view const bytes = part_.bytes();
        auto const number = [&](std::size_t at, std::size_t size) {
            std::uint32_t value = 0;
            for (std::size_t i = 0; i < size; ++i)
                value = value << 8 |
                        static_cast<unsigned char>(bytes[at + (swapped_ ? i : size - 1 - i)]);
            return value;
        };
        for (std::size_t at = begin; at + 3 <= end; ++at) {
            std::size_t const older = olderClassAt(bytes, at).size();
            if (older > 0 && at + 3 + older <= end)
                found.older.push_back(at);
            if (bytes[at] != 1)
                continue;
            Reference guess{at, 3, number(at + 1, 2), false};
            if (guess.number == 0xFFFF && at + 7 <= end)
                guess = {at, 7, number(at + 3, 4), false};
            if (guess.number > 0 && guess.number <= begun_)
                found.references.push_back(guess);
        }
        return found;
    }

    ObjectStream const & stream_;
    std::size_t const index_;
    StreamPart const & part_;
    Teller & teller_;
    std::vector<Open> open_;
    std::size_t begun_;
    bool swapped_ = false; // as the last frame that tells
};

std::string excerptHex(std::string_view bytes) {
    std::string text;
    for (char const c : bytes) {
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02x", unsigned{static_cast<unsigned char>(c)});
        text += text.empty() ? "" : " ";
        text += hex;
    }
    return text;
}

std::string excerptText(std::string_view bytes) {
    std::string text(bytes);
    for (char & c : text)
        if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7F)
            c = '.';
    return text;
}

class TextTeller : public Teller {
  public:
    explicit TextTeller(Options const & options) : options_(options) {}

    void beginStream(ObjectStream const & stream) override {
        stream_ = &stream;
        if (stream.resource.empty())
            return;
        std::printf("%s\n", escaped(stream.resource).c_str());
        ++depth_;
    }
    void endStream() override { depth_ = 0; }

    void beginPart(StreamPart const & part) override {
        bytes_ = part.bytes();
        if (!part.compressed)
            return;
        begin();
        std::printf("compressed at %zu, %zu bytes, of %zu bytes\n", part.storedBegin,
                    part.storedEnd - part.storedBegin, part.end);
        ++depth_;
    }
    void endPart(StreamPart const & part) override {
        for (std::size_t const at : part.tree.strays) {
            begin();
            std::printf("! at %zu: a suffix without a prefix\n", at);
        }
        depth_ -= part.compressed;
        if (part.problem.empty())
            return;
        begin();
        std::printf("! %s\n", part.problem.c_str());
    }

    void beginObject(Frame const & frame, bool) override {
        begin();
        if (frame.isNull())
            std::printf("no object at %zu, %zu bytes", frame.begin, frame.size());
        else
            std::printf("#%u %s at %zu, %zu bytes", unsigned{frame.number},
                        escaped(frame.name).c_str(), frame.begin, frame.size());
        std::printf("%s%s\n", frame.byPointer ? "" : ", in place",
                    frame.swapped ? ", swapped" : "");
        ++depth_;
    }
    void endObject(Frame const & frame) override {
        if (frame.fault != Frame::Fault::None) {
            begin();
            std::printf("! at %zu: %s\n", frame.faultAt, faultText(frame, bytes_).c_str());
        }
        --depth_;
    }

    void tellData(std::size_t from, std::size_t to, Guesses const & guesses) override {
        begin();
        std::printf("data at %zu, %zu bytes", from, to - from);
        if (options_.data) {
            std::string_view const excerpt = bytes_.substr(from, std::min(to - from, excerptSize));
            std::printf(": %s%s  %s", excerptHex(excerpt).c_str(),
                        to - from > excerptSize ? " ..." : "", excerptText(excerpt).c_str());
        }
        std::putchar('\n');
        tellSome(guesses.references, [this](Reference const & guess) {
            std::printf("-> %s at %zu", nameOf(guess).c_str(), guess.at);
        });
        tellSome(guesses.older, [this](std::size_t at) {
            std::printf("an older frame of %s at %zu", escaped(olderClassAt(bytes_, at)).c_str(),
                        at);
        });
    }

    void tellReference(Reference const & reference) override {
        begin();
        std::printf("-> %s at %zu\n", nameOf(reference).c_str(), reference.at);
    }

  private:
    template <class Guess, class Tell>
    void tellSome(std::vector<Guess> const & guesses, Tell const & tell) const {
        for (std::size_t i = 0; i < std::min(guesses.size(), greatestGuesses); ++i) {
            begin();
            std::printf("  perhaps ");
            tell(guesses[i]);
            std::putchar('\n');
        }
        if (guesses.size() > greatestGuesses) {
            begin();
            std::printf("  perhaps %zu more\n", guesses.size() - greatestGuesses);
        }
    }

    void begin() const {
        std::printf("%*s", static_cast<int>(2 * std::min(depth_, greatestIndent)), "");
        if (depth_ > greatestIndent)
            std::printf("[%zu] ", depth_);
    }

    std::string nameOf(Reference const & reference) const {
        Frame const * const frame = stream_->object(reference.number);
        return frame ? "#" + std::to_string(reference.number) + " " + escaped(frame->name) : "null";
    }

    Options const & options_;
    ObjectStream const * stream_ = nullptr;
    std::string_view bytes_;
    std::size_t depth_ = 0;
};

class JsonTeller : public Teller {
  public:
    explicit JsonTeller(Options const & options) : options_(options) {
        json_.beginObject().member("file", options.file).key("streams").beginArray();
    }

    void finish(bool isSound) { json_.endArray().member("sound", isSound).endObject().print(); }

    void beginStream(ObjectStream const & stream) override {
        stream_ = &stream;
        json_.beginObject().key("resource");
        if (stream.resource.empty())
            json_.null();
        else
            json_.value(stream.resource);
        json_.member("objects", static_cast<Position>(stream.objects.size()));
        json_.key("parts").beginArray();
    }
    void endStream() override { json_.endArray().endObject(); }

    void beginPart(StreamPart const & part) override {
        bytes_ = part.bytes();
        json_.beginObject().member("offset", static_cast<Position>(part.begin));
        json_.member("size", static_cast<Position>(part.end - part.begin));
        json_.member("compressed", part.compressed);
        if (part.compressed) {
            json_.member("storedOffset", static_cast<Position>(part.storedBegin));
            json_.member("storedSize", static_cast<Position>(part.storedEnd - part.storedBegin));
        }
        json_.key("items").beginArray();
    }
    void endPart(StreamPart const & part) override {
        json_.endArray();
        if (!part.tree.strays.empty()) {
            json_.key("strays").beginArray();
            for (std::size_t const at : part.tree.strays)
                json_.value(static_cast<Position>(at));
            json_.endArray();
        }
        if (!part.problem.empty())
            json_.member("problem", part.problem);
        json_.endObject();
    }

    void beginObject(Frame const & frame, bool isKnown) override {
        beginItem("object", frame.begin, frame.size());
        tellObject(frame.number);
        json_.member("pointer", frame.byPointer).member("swapped", frame.swapped);
        json_.member("known", isKnown);
        json_.key("items").beginArray();
    }
    void endObject(Frame const & frame) override {
        json_.endArray();
        if (frame.fault != Frame::Fault::None) {
            json_.key("fault").beginObject().member("at", static_cast<Position>(frame.faultAt));
            json_.member("text", faultText(frame, bytes_)).endObject();
        }
        json_.endObject();
    }

    void tellData(std::size_t from, std::size_t to, Guesses const & guesses) override {
        beginItem("data", from, to - from);
        if (options_.data) {
            std::string_view const excerpt = bytes_.substr(from, std::min(to - from, excerptSize));
            json_.member("hex", excerptHex(excerpt)).member("text", excerptText(excerpt));
        }
        if (!guesses.references.empty()) {
            json_.key("perhaps").beginArray();
            for (Reference const & guess : guesses.references)
                tellReference(guess);
            json_.endArray();
        }
        if (!guesses.older.empty()) {
            json_.key("older").beginArray();
            for (std::size_t const at : guesses.older)
                json_.beginObject()
                    .member("offset", static_cast<Position>(at))
                    .member("class", olderClassAt(bytes_, at))
                    .endObject();
            json_.endArray();
        }
        json_.endObject();
    }

    void tellReference(Reference const & reference) override {
        beginItem(reference.number ? "reference" : "null", reference.at, reference.size);
        if (reference.number)
            tellObject(reference.number);
        json_.endObject();
    }

  private:
    void beginItem(char const * kind, std::size_t offset, std::size_t size) {
        json_.beginObject().member("kind", kind);
        json_.member("offset", static_cast<Position>(offset));
        json_.member("size", static_cast<Position>(size));
    }

    void tellObject(std::uint32_t number) {
        Frame const * const frame = stream_->object(number);
        if (frame)
            json_.member("class", frame->name).member("number", Position{number});
        else
            json_.key("class").null().key("number").null();
    }

    Options const & options_;
    Json json_;
    ObjectStream const * stream_ = nullptr;
    std::string_view bytes_;
};

void tell(ObjectStream const & stream, Teller & teller) {
    teller.beginStream(stream);
    for (std::size_t i = 0; i < stream.parts.size(); ++i) {
        teller.beginPart(stream.parts[i]);
        Walk(stream, i, teller).go();
        teller.endPart(stream.parts[i]);
    }
    teller.endStream();
}

/// Tells all streams; true when all are sound.
bool tellAll(Options const & options, Teller & teller) {
    StreamFile file(options.file, options.raw       ? Inflating::Nothing
                                  : options.inflate ? Inflating::All
                                                    : Inflating::Find);
    std::vector<std::string> addresses;
    if (!options.resource.empty() || !file.isResourceFile())
        addresses.push_back(options.resource);
    else
        addresses = file.resources();
    std::size_t broken = 0;
    for (std::string const & address : addresses) {
        ObjectStream const stream = file.read(address);
        tell(stream, teller);
        if (stream.isSound())
            continue;
        ++broken;
        reportBreaks(stream, options.file);
    }
    return broken == 0;
}

void run(Options const & options, int & status) {
    bool isSound = false;
    if (options.json) {
        JsonTeller teller(options);
        isSound = tellAll(options, teller);
        teller.finish(isSound);
    } else {
        TextTeller teller(options);
        isSound = tellAll(options, teller);
    }
    if (!isSound)
        status = Damaged;
}

} // namespace

void addStream(CLI::App & program, int & status) {
    auto const options = std::make_shared<Options>();
    CLI::App * const command = program.add_subcommand(
        "stream", "Show the objects of a saved stream as a tree, whatever their classes");
    command->add_option("FILE", options->file, "The file, - for standard input")->required();
    command->add_option("RESOURCE", options->resource,
                        "directory/name,type in a resource file; all of them when nothing is said");
    command->add_flag("--data", options->data, "Show how the data between objects begins");
    auto * const inflate = command->add_flag("--inflate", options->inflate,
                                             "The file is compressed from its first byte on");
    command->add_flag("--raw", options->raw, "Look for nothing compressed, and for no resources")
        ->excludes(inflate);
    command->add_flag("--json", options->json, "As JSON");
    command->callback([options, &status] { run(*options, status); });
}

} // namespace tool
