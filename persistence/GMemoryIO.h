// A block of memory as a byte device: one of its own that grows, or a given one that does not.
#pragma once

#include "persistence/GIO.h"

/// A block of memory as a byte device.
class ONDREL_API GMemoryIO : public GIO {
  public:
    /// A block of its own; `capacity` may be 0.
    explicit GMemoryIO(long capacity);
    /// A given block of `size` bytes, all of them content; it stays the caller's.
    GMemoryIO(void * block, long size, IOOpenMode mode);
    ~GMemoryIO() override;

    /// As the constructors, in place of what was open.
    void open(long capacity);
    void open(void * block, long size, IOOpenMode mode);
    /// Gives an own block back; empty afterwards.
    void close();

    /// -1, with the position unchanged, for a place outside the content.
    long gseek(long offset, IOSeekDirection direction) override;
    long gtell() override { return position_; }
    /// What does not fit in a given block is cut.
    long gwrite(void const * data, long count) override;
    long gread(void * data, long count) override;

    void * buffer() const { return buffer_; }
    bool expandable() const { return expandable_; }
    /// Bytes of content, and of room for it.
    long size() const { return size_; }
    long capacity() const { return capacity_; }

  private:
    bool reserve(long size);

    unsigned char * buffer_ = nullptr;
    long position_ = 0;
    long size_ = 0;
    long capacity_ = 0;
    long delta_ = 256;
    bool expandable_ = false;
};
