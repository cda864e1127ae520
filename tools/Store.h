// A resource file as the commands see it: which directory counts is what the library says; the
// blocks are read here, to their very end, and nothing that they or the directory say is believed.
// The file is held open for reading, so that nobody writes to it meanwhile.
#pragma once

#include "persistence/GResourceDirectory.h"
#include "persistence/ResourceFile.h"
#include "persistence/zpstream.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tool {

struct Entry {
    GResourceFullName name;
    /// The offset counts from the base.
    ResourceFileBlock block;
};

class Store {
  public:
    enum class Content {
        /// No bytes at all.
        Nothing,
        /// Something else, behind which a section could be appended.
        NoSection,
        /// No resource file, or one whose first bytes are damaged.
        Foreign,
        /// A resource file without a directory that can be read.
        NoDirectory,
        Whole
    };

    /// Throws Failure when the file cannot be read at all.
    explicit Store(std::string const & name);

    std::string const & name() const { return name_; }
    Content content() const { return content_; }
    /// Throws Failure when there is no directory and the file is not empty either.
    void requireDirectory() const;
    bool isOldFormat() const { return isOldFormat_; }

    // In bytes, all but the first from the base.
    long base() const { return base_; }
    /// Of the section and whatever lies behind it.
    long size() const { return size_; }
    long directoryBegin() const { return directoryBegin_; }
    /// Behind the last trailer; what lies there was never committed.
    long end() const { return end_; }

    /// The directory that counts; null when there is none.
    GResourceDirectory * root() const { return root_.get(); }
    /// In the order of their addresses.
    std::vector<Entry> entries() const;
    /// The class of a stored object; empty when the block does not begin with one.
    std::string className(GResourceFullName const & name);

    /// A directory at a position; null when there is no whole one. `end` is where it ends, or -1
    /// when more than the mark of its end follows.
    std::unique_ptr<GResourceDirectory> readDirectory(long position, bool compressed, long & end);

    struct Reading {
        /// Bytes delivered.
        std::int64_t count = 0;
        /// Empty when the block is whole.
        std::string problem;
    };
    /// Delivers the bytes of a block to `to`, which may be null. `decompress` is for compressed
    /// blocks.
    Reading read(ResourceFileBlock const & block, bool decompress, GIO * to);
    /// The same of a compressed block somewhere in front of `end`, whose size it gives; -1 when
    /// there is none.
    long readStream(long begin, long end, Reading & reading, GIO * to);
    /// What stands at a position may be a compressed object: most of what is something else is
    /// turned down, with little effort.
    bool mayBeginObject(long position);
    /// What is wrong with a block of the directory; empty when nothing is.
    std::string verify(ResourceFileBlock const & block);

    izpstream & stream() { return stream_; }

  private:
    void findDirectory();
    bool isWithin(ResourceFileBlock const & block) const;
    void pump(GIO & from, GIO * to, Reading & reading);

    std::string name_;
    izpstream stream_; // before any handle that reads the same file
    GFileIO blocks_;
    ResourceFile file_;
    Content content_ = Content::Nothing;
    bool isOldFormat_ = false;
    long base_ = 0, size_ = 0, end_ = 0, directoryBegin_ = 0;
    std::unique_ptr<GResourceDirectory> root_;
    // The stretch that mayBeginObject looks at.
    std::vector<unsigned char> piece_;
    long pieceBegin_ = 0;
    GHuffmanBufferedIO probe_;
};

/// All resources of a directory and those below it, in the order of their addresses.
std::vector<Entry> entriesOf(GResourceDirectory const & root);

/// Writes the resources of `root`, whose blocks lie in `source`, as the new file `name`, without
/// any dead space, and behind the same bytes in front of the section. The offsets in `root` become
/// those of the new file. Throws Failure, and then there is no new file.
void writeStore(Store & source, GResourceDirectory & root, std::string const & name);

} // namespace tool
