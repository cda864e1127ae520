#include "Frames.h"

#include "Terminal.h"

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

using Fault = Frame::Fault;

constexpr std::string_view prefix = "\xB1\xB5\x0F\xCF";
constexpr std::string_view suffix = "\xEF\x80\x4A\x29";
constexpr std::string_view nullName = "\xFF\xFF";
constexpr std::size_t unknown = Frame::none;
/// Longer names than any class has are data.
constexpr std::size_t greatestName = 1023;
/// From the first byte of the prefix to the last of the suffix, without any name.
constexpr std::size_t leastLength = 8 + nullName.size();
/// How many open frames are asked whether a suffix of another length is theirs.
constexpr int greatestSearch = 32;
constexpr std::size_t pieceOfWork = 1 << 20;

bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

/// The name of a class as it stands in a frame.
struct Name {
    bool isValid = false;
    /// Made of what names of classes are made of, for sure.
    bool isPlain = false;
    bool swapped = false;
    std::string_view text; // empty for null
    std::string_view raw;  // with its length
    std::size_t end = 0;
};

Name nameOfLength(std::size_t length, std::string_view bytes, std::size_t at) {
    Name name;
    if (length == 0 || length > greatestName || length > bytes.size() - at - 2)
        return name;
    name.text = bytes.substr(at + 2, length);
    name.raw = bytes.substr(at, length + 2);
    name.end = at + 2 + length;
    bool isAscii = true;
    for (char const c : name.text) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F)
            return name;
        isAscii = isAscii && byte < 0x7F;
    }
    name.isValid = true;
    name.isPlain = isAscii && isLetter(name.text.front());
    return name;
}

Name nameAt(std::string_view bytes, std::size_t at) {
    if (at > bytes.size() || bytes.size() - at < 2)
        return Name();
    auto const first = static_cast<unsigned char>(bytes[at]);
    auto const second = static_cast<unsigned char>(bytes[at + 1]);
    if (first == 0xFF && second == 0xFF)
        return {true, false, false, {}, bytes.substr(at, 2), at + 2};
    Name const name = nameOfLength(first | second << 8, bytes, at);
    if (name.isValid)
        return name;
    Name swapped = nameOfLength(first << 8 | second, bytes, at);
    swapped.swapped = swapped.isValid;
    return swapped.isValid ? swapped : name;
}

/// What is there of a name that the end of all cuts; it is plain if there could be one.
Name cutNameAt(std::string_view bytes, std::size_t at) {
    Name name;
    name.raw = bytes.substr(at);
    name.end = bytes.size();
    if (name.raw.size() < 2) {
        name.isPlain = true;
        return name;
    }
    auto const first = static_cast<unsigned char>(bytes[at]);
    auto const second = static_cast<unsigned char>(bytes[at + 1]);
    name.text = name.raw.substr(2);
    auto const isCut = [&](std::size_t length) {
        return length <= greatestName && length > name.text.size();
    };
    name.swapped = !isCut(first | second << 8);
    name.isPlain = (!name.swapped || isCut(first << 8 | second)) &&
                   (name.text.empty() || isLetter(name.text.front())) &&
                   std::all_of(name.text.begin(), name.text.end(),
                               [](char c) { return c >= 0x20 && c < 0x7F; });
    return name;
}

std::vector<std::size_t> placesOf(std::string_view pattern, std::string_view bytes) {
    std::vector<std::size_t> places;
    for (std::size_t at = 0; (at = bytes.find(pattern, at)) != bytes.npos; at += pattern.size()) {
        if (places.size() % pieceOfWork == 0)
            stopIfInterrupted();
        places.push_back(at);
    }
    return places;
}

class Scanner {
  public:
    explicit Scanner(std::string_view bytes) : bytes_(bytes) {}

    FrameTree scan() {
        for (std::size_t const at : placesOf(prefix, bytes_))
            begins_.push_back({at, unknown, Fault::NoSuffix});
        suffixes_ = placesOf(suffix, bytes_);
        fitSuffixes();
        fitBrokenSuffixes();
        nest();
        return std::move(tree_);
    }

  private:
    /// A prefix, and the suffix that goes with it as far as one is known.
    struct Begin {
        std::size_t at, suffix;
        Fault fault;
    };

    bool has(std::string_view pattern, std::size_t at) const {
        return bytes_.compare(at, pattern.size(), pattern) == 0;
    }

    Begin * findBegin(std::size_t at, std::size_t count) {
        auto const end = begins_.begin() + static_cast<std::ptrdiff_t>(count);
        auto const found =
            std::lower_bound(begins_.begin(), end, at,
                             [](Begin const & b, std::size_t place) { return b.at < place; });
        return found != end && found->at == at ? &*found : nullptr;
    }

    /// Finds the prefix of each suffix; those that have none stay in suffixes_.
    void fitSuffixes() {
        std::size_t const count = begins_.size();
        std::size_t kept = 0;
        for (std::size_t const at : suffixes_)
            if (!fit(at, count))
                suffixes_[kept++] = at;
        suffixes_.resize(kept);
        suffixes_.insert(suffixes_.end(), displaced_.begin(), displaced_.end());
        std::sort(suffixes_.begin(), suffixes_.end());
        std::inplace_merge(begins_.begin(), begins_.begin() + static_cast<std::ptrdiff_t>(count),
                           begins_.end(),
                           [](Begin const & a, Begin const & b) { return a.at < b.at; });
    }

    bool fit(std::size_t at, std::size_t count) {
        if (bytes_.size() - at < 8)
            return false;
        std::size_t const length = littleEndianAt(bytes_, at + 4);
        if (length < leastLength || length > at + 4)
            return false;
        std::size_t const start = at + 4 - length;
        Name const front = nameAt(bytes_, start + 4), back = nameAt(bytes_, at + 8);
        bool const isFrontWhole = front.isValid && front.end <= at;
        bool const areEqual =
            isFrontWhole && has(front.raw, at + 8) && (!front.text.empty() || front.end == at);
        Begin * const begin = findBegin(start, count);
        if (!begin) {
            if (!areEqual || !front.isPlain)
                return false;
            begins_.push_back({start, at, Fault::Prefix});
            return true;
        }
        if (areEqual) {
            // The first one that fits is the one at which a reader ends that skips the object.
            if (begin->fault == Fault::None)
                return true;
            if (begin->suffix != unknown)
                displaced_.push_back(begin->suffix);
            *begin = {start, at, Fault::None};
            return true;
        }
        if (!(isFrontWhole && front.isPlain) && !back.isPlain)
            return false;
        bool const isCut = isFrontWhole && bytes_.size() - (at + 8) < front.raw.size();
        // Otherwise its length is damaged, and leads to another object by chance.
        if (begin->suffix != unknown)
            return false;
        *begin = {start, at, isCut ? Fault::CutOff : Fault::Names};
        return true;
    }

    /// Finds frames whose suffix is not one, by their lengths and names.
    void fitBrokenSuffixes() {
        if (std::none_of(begins_.begin(), begins_.end(),
                         [](Begin const & b) { return b.suffix == unknown; }))
            return;
        for (std::size_t at = leastLength; at + 4 <= bytes_.size(); ++at) {
            if (at % pieceOfWork == 0)
                stopIfInterrupted();
            std::size_t const length = littleEndianAt(bytes_, at);
            if (length < leastLength || length > at || !has(prefix, at - length))
                continue;
            Begin * const begin = findBegin(at - length, begins_.size());
            Name const name = nameAt(bytes_, at - length + 4);
            if (begin && begin->suffix == unknown && name.isPlain && name.end <= at - 4 &&
                has(name.raw, at + 4))
                *begin = {begin->at, at - 4, Fault::Suffix};
        }
    }

    /// From left to right, with a stack of what is open.
    void nest() {
        auto begin = begins_.begin();
        auto lonely = suffixes_.begin();
        for (std::size_t steps = 0; begin != begins_.end() || lonely != suffixes_.end(); ++steps) {
            if (steps % pieceOfWork == 0)
                stopIfInterrupted();
            if (lonely == suffixes_.end() || (begin != begins_.end() && begin->at < *lonely)) {
                closeUpTo(begin->at);
                open(*begin++);
            } else {
                closeUpTo(*lonely);
                matchByName(*lonely++);
            }
        }
        closeUpTo(bytes_.size());
        while (!open_.empty())
            closeTop(bytes_.size(), Fault::CutOff);
    }

    Frame & top() { return tree_.frames[open_.back()]; }
    /// Where the data ends that the next frame may stand in.
    std::size_t limit() const {
        return ended_.empty() ? bytes_.size() : tree_.frames[open_[ended_.back()]].dataEnd;
    }

    void open(Begin const & begin) {
        Frame frame;
        if (begin.at < covered_ || begin.at >= limit() || !measure(begin, frame))
            return;
        if (frame.end != unknown && frame.end > limit() && frame.fault == Fault::None)
            while (frame.end > limit() && tree_.frames[open_[ended_.back()]].fault != Fault::None)
                loseEnd();
        if (frame.end != unknown && frame.end > limit()) {
            if (frame.fault == Fault::None || !nameAt(bytes_, begin.at + 4).isPlain)
                return;
            frame.end = unknown;
        }
        frame.byPointer = begin.at > covered_ && bytes_[begin.at - 1] == 2;
        frame.parent = open_.empty() ? Frame::none : open_.back();
        if (frame.end != unknown)
            ended_.push_back(open_.size());
        open_.push_back(tree_.frames.size());
        tree_.frames.push_back(frame);
        covered_ = frame.data;
    }

    /// False when there is no name that one could go by.
    bool measure(Begin const & begin, Frame & frame) const {
        Name front = nameAt(bytes_, begin.at + 4);
        if (begin.suffix == unknown && !front.isPlain)
            front = cutNameAt(bytes_, begin.at + 4);
        frame.begin = begin.at;
        frame.dataEnd = begin.suffix;
        frame.end = unknown;
        frame.fault = begin.fault;
        Name name = front;
        if (begin.suffix == unknown) {
            if (!front.isPlain)
                return false;
        } else {
            Name const back = nameAt(bytes_, begin.suffix + 8);
            bool const isFrontGood = front.isValid && front.end <= begin.suffix &&
                                     (begin.fault == Fault::None || front.isPlain);
            if (!isFrontGood)
                name = back;
            frame.end = std::min(begin.suffix + 8 + name.raw.size(), bytes_.size());
            if (begin.fault == Fault::Names && isFrontGood && back.isPlain)
                frame.end = back.end;
        }
        frame.name = name.text;
        frame.swapped = name.swapped;
        frame.data = std::min(begin.at + 4 + name.raw.size(), frame.dataEnd);
        frame.faultAt = faultPlace(begin, front);
        return true;
    }

    std::size_t faultPlace(Begin const & begin, Name const & front) const {
        auto const difference = [this](std::size_t at, std::string_view wanted) {
            std::size_t i = 0;
            while (i < wanted.size() && at + i < bytes_.size() && bytes_[at + i] == wanted[i])
                ++i;
            return at + i;
        };
        switch (begin.fault) {
            case Fault::Prefix:
                return difference(begin.at, prefix);
            case Fault::Suffix:
                return difference(begin.suffix, suffix);
            case Fault::Names:
                return front.isValid
                           ? difference(begin.suffix + 8, front.raw)
                           : difference(begin.at + 4, nameAt(bytes_, begin.suffix + 8).raw);
            default:
                return bytes_.size();
        }
    }

    /// The innermost frame with a known end has another one, since a sound frame reaches over it.
    void loseEnd() {
        Frame & frame = tree_.frames[open_[ended_.back()]];
        frame.dataEnd = frame.end = unknown;
        ended_.pop_back();
    }

    void closeUpTo(std::size_t position) {
        while (!ended_.empty() && tree_.frames[open_[ended_.back()]].end <= position) {
            std::size_t const place = ended_.back();
            std::size_t const inner = tree_.frames[open_[place]].dataEnd;
            while (open_.size() > place + 1)
                closeTop(inner, Fault::NoSuffix);
            closeTop(unknown, Fault::None);
        }
    }

    /// `position` is where the data of a frame ends that has no end of its own.
    void closeTop(std::size_t position, Fault fault) {
        Frame & frame = top();
        if (frame.end == unknown) {
            frame.fault = fault;
            frame.faultAt = frame.dataEnd = frame.end = position;
        }
        frame.next = tree_.frames.size();
        covered_ = frame.end;
        if (!ended_.empty() && ended_.back() + 1 == open_.size())
            ended_.pop_back();
        open_.pop_back();
    }

    /// A suffix whose length leads nowhere may be that of an open frame of its name.
    void matchByName(std::size_t at) {
        Name const name = nameAt(bytes_, at + 8);
        if (at < covered_ || at >= limit() || !name.isPlain || name.end > limit())
            return;
        std::size_t const floor = ended_.empty() ? 0 : ended_.back() + 1;
        std::size_t place = open_.size();
        for (int tried = 0; place > floor && tried < greatestSearch; ++tried)
            if (tree_.frames[open_[--place]].name == name.text) {
                while (open_.size() > place + 1)
                    closeTop(at, Fault::NoSuffix);
                Frame & frame = top();
                frame.fault = Fault::Length;
                frame.faultAt = at + 4;
                frame.dataEnd = at;
                frame.end = name.end;
                closeTop(unknown, Fault::None);
                return;
            }
        if (ended_.empty())
            tree_.strays.push_back(at);
    }

    std::string_view const bytes_;
    std::vector<Begin> begins_;
    std::vector<std::size_t> suffixes_;
    std::vector<std::size_t> displaced_; // by others that fit better
    FrameTree tree_;
    std::vector<std::size_t> open_;  // indices of frames
    std::vector<std::size_t> ended_; // places in open_ of those whose ends are known
    std::size_t covered_ = 0;        // where the data goes on
};

} // namespace

std::uint32_t littleEndianAt(std::string_view bytes, std::size_t position) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i > 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[position + i - 1]);
    return value;
}

bool FrameTree::isSound() const {
    return strays.empty() && std::none_of(frames.begin(), frames.end(), [](Frame const & frame) {
               return frame.fault != Fault::None;
           });
}

FrameTree scanFrames(std::string_view bytes) {
    return Scanner(bytes).scan();
}

bool beginsObject(std::string_view bytes) {
    std::size_t const at = !bytes.empty() && bytes[0] == 2;
    return bytes.substr(at, prefix.size()) == prefix && nameAt(bytes, at + prefix.size()).isValid;
}

std::string_view olderClassAt(std::string_view bytes, std::size_t at) {
    if (bytes[at] != '{')
        return {};
    Name const name = nameAt(bytes, at + 1);
    bool const isClass = name.isPlain && name.text.size() > 2 &&
                         std::all_of(name.text.begin(), name.text.end(), [](char c) {
                             return isLetter(c) || (c >= '0' && c <= '9') || c == ':';
                         });
    return isClass ? name.text : std::string_view();
}

std::string faultText(Frame const & frame, std::string_view bytes) {
    auto const number = [](std::size_t value) { return std::to_string(value); };
    switch (frame.fault) {
        case Fault::None:
            return "";
        case Fault::Prefix:
            return "the prefix is damaged; suffix, length and names fit";
        case Fault::Suffix:
            return "the suffix is damaged; length and names fit";
        case Fault::Names: {
            std::size_t const back = frame.dataEnd + 8;
            return frame.faultAt < back
                       ? "the name differs from the one at the end, at byte " + number(back)
                       : "the name differs from the one in front, at byte " +
                             number(frame.begin + 4 + frame.faultAt - back);
        }
        case Fault::Length:
            return "the length is " + number(littleEndianAt(bytes, frame.faultAt)) + ", but " +
                   number(frame.dataEnd + 4 - frame.begin) + " bytes stand there";
        case Fault::NoSuffix:
            return "no suffix for the prefix at byte " + number(frame.begin);
        case Fault::CutOff:
            return "cut off: the object that begins at byte " + number(frame.begin) + " has no end";
    }
    return "";
}

} // namespace tool
