// The objects of an object stream, found by their frames alone: no class need be known, nothing is
// built, and nothing that the bytes say is believed. A suffix tells with its length where its
// prefix must stand; a frame counts when prefix, suffix, length and both names agree, so the bytes
// of a prefix or a suffix may well occur in data. What agrees in part is a broken frame, and what
// does not agree with the frames around it is data. Time and memory are those of the bytes, however
// deep or wrong they are.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct Frame {
    static constexpr std::size_t none = ~std::size_t{};

    enum class Fault : unsigned char {
        None,
        /// The first four bytes are not those of a prefix; all else agrees.
        Prefix,
        /// The same of the suffix.
        Suffix,
        /// The names differ.
        Names,
        /// The suffix has another length than stands there.
        Length,
        /// There is no suffix before what stands around it ends.
        NoSuffix,
        /// There is none before the end.
        CutOff
    };

    // Positions: the prefix, the data behind the first name, the suffix, and the end of all. What
    // is missing is empty.
    std::size_t begin = 0, data = 0, dataEnd = 0, end = 0;
    /// Of the class; empty for an object that was not to be written.
    std::string_view name;
    /// The index of the frame around it, or none.
    std::size_t parent = none;
    /// The index behind those of all frames in it.
    std::size_t next = 0;
    /// In the stream, from 1; 0 for what takes none.
    std::uint32_t number = 0;
    Fault fault = Fault::None;
    /// Where it breaks.
    std::size_t faultAt = 0;
    /// Numbers in the stream are big-endian.
    bool swapped = false;
    /// The byte in front is the marker of a pointer.
    bool byPointer = false;

    bool isNull() const { return name.empty(); }
    /// Where it begins with its marker.
    std::size_t head() const { return begin - byPointer; }
    std::size_t size() const { return end - begin; }
};

/// A stretch of objects and of what lies between them.
struct FrameTree {
    /// In the order of their prefixes, which is that of their numbers.
    std::vector<Frame> frames;
    /// Suffixes outside all frames that stand alone.
    std::vector<std::size_t> strays;

    bool isSound() const;
};

/// The names in it point into `bytes`, which must not change. Throws Failure when the user has
/// broken off.
FrameTree scanFrames(std::string_view bytes);

/// Whether an object begins there, by pointer or in place, as far as its first name tells.
bool beginsObject(std::string_view bytes);

/// The class of an object that perhaps begins there in the older frame, from "{" to "]"; empty when
/// none does. Where it ends nobody knows who does not know the class.
std::string_view olderClassAt(std::string_view bytes, std::size_t at);

/// What is wrong with a broken frame, in words.
std::string faultText(Frame const & frame, std::string_view bytes);

/// The four bytes at `position`, the least significant first.
std::uint32_t littleEndianAt(std::string_view bytes, std::size_t position);

} // namespace tool
