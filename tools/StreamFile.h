// The object streams in a file: the file itself, or the resources of a resource file. A stream is
// made of parts, since a file may switch compression on and off; nothing in it tells where, so
// compressed parts are found by what they decompress to.
#pragma once

#include "Frames.h"

#include <memory>
#include <string>
#include <vector>

namespace tool {

/// A plain stretch, or a compressed one that was decompressed.
struct StreamPart {
    /// Positions in it are those of the frames; the part is [begin, end) of it.
    std::shared_ptr<std::string const> storage;
    std::size_t begin = 0, end = 0;
    bool compressed = false;
    /// Where a compressed part lies in the file.
    std::size_t storedBegin = 0, storedEnd = 0;
    /// Why its bytes could not all be had; empty when they could.
    std::string problem;
    FrameTree tree;

    std::string_view bytes() const { return *storage; }
    bool isSound() const { return problem.empty() && tree.isSound(); }
};

struct ObjectStream {
    struct Place {
        std::size_t part, frame;
    };

    /// The address of the resource; empty for a file that is one stream.
    std::string resource;
    std::vector<StreamPart> parts;
    /// Where the objects stand, by their numbers less 1.
    std::vector<Place> objects;

    bool isSound() const;
    /// Null when there is no object of that number.
    Frame const * object(std::uint32_t number) const;
    /// How many have begun before a frame of a part.
    std::size_t countBefore(std::size_t part, std::size_t frame) const;
};

enum class Inflating {
    /// Compressed parts are found where they begin with an object.
    Find,
    /// The file is one compressed stream, or several in a row.
    All,
    /// The bytes are taken as they are.
    Nothing
};

class StreamFile {
  public:
    /// `-` is standard input. Throws Failure when there is nothing to read, or when it is a
    /// resource file without a directory.
    StreamFile(std::string const & name, Inflating inflating);
    ~StreamFile();

    bool isResourceFile() const { return store_ != nullptr; }
    /// Of all resources, in order; empty for a file that is one stream.
    std::vector<std::string> resources() const;
    /// The stream of a resource; `address` is empty for a file that is one stream.
    ObjectStream read(std::string const & address);

  private:
    struct Resources;

    bool take(std::unique_ptr<Resources> resources);

    std::string name_;
    Inflating inflating_;
    std::string content_;
    std::unique_ptr<Resources> store_;
};

/// Tells on standard error where a stream of a file breaks, at its first places.
void reportBreaks(ObjectStream const & stream, std::string const & file);

/// The stream that these bytes are.
ObjectStream streamOf(std::string bytes, Inflating inflating);

} // namespace tool
