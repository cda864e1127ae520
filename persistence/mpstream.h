// Object streams on memory: a block of their own that grows, or a given one.
#pragma once

#include "persistence/GMemoryIO.h"
#include "persistence/pstream.h"

/// The memory side of a stream on memory.
class ONDREL_API mpbase : public virtual pstream {
  public:
    /// On a block of its own, empty, for reading and writing.
    mpbase();
    /// On a given block, which stays the caller's; all its bytes count as content.
    mpbase(void * buffer, long size, GIO::IOOpenMode mode);
    ~mpbase() override;

    GBufferedIO * rdbuf() { return &device_; }
    /// Writes out what is held back; then the first byte, until the next write.
    void * data();
    /// Writes out what is held back; then the bytes of content.
    long size();
    /// Where the memory stands, which may be ahead of or behind the stream by what is buffered;
    /// asking changes nothing.
    long safe_get_position() const { return memory() ? memory()->gtell() : -1; }

  private:
    /// The memory; null when another device was put in its place.
    GMemoryIO * memory() const { return device_.getIO() == memory_ ? memory_ : nullptr; }

    GMemoryIO * memory_; // owned by device_
    GBufferedIO device_;
};

/// Reads objects from memory.
class ONDREL_API impstream : public mpbase, public ipstream {
  public:
    impstream() = default;
    impstream(void * buffer, long size, GIO::IOOpenMode mode) : mpbase(buffer, size, mode) {}
};

/// Writes objects into memory.
class ONDREL_API ompstream : public mpbase, public opstream {
  public:
    ompstream() = default;
    ompstream(void * buffer, long size, GIO::IOOpenMode mode) : mpbase(buffer, size, mode) {}
};

/// Reads and writes objects in one block of memory.
class ONDREL_API mpstream : public mpbase, public iopstream {
  public:
    mpstream() = default;
    mpstream(void * buffer, long size, GIO::IOOpenMode mode) : mpbase(buffer, size, mode) {}
};
