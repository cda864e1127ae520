// Object streams on memory: a block that grows, or a given one.
#pragma once

#include "persistence/GMemoryIO.h"
#include "persistence/pstream.h"

class ONDREL_API mpbase : public virtual pstream {
  public:
    mpbase();
    /// On a given block, which stays the caller's.
    mpbase(void * buffer, long size, GIO::IOOpenMode mode);

    GBufferedIO * rdbuf() { return &device_; }
    /// The block with everything written; valid until the next write.
    void * data();
    /// Where the memory device stands, in bytes.
    long safe_get_position() const { return memory_->gtell(); }

  private:
    GMemoryIO * memory_; // owned by the device
    GBufferedIO device_;
};

class ONDREL_API impstream : public mpbase, public ipstream {
  public:
    impstream() = default;
    impstream(void * buffer, long size, GIO::IOOpenMode mode) : mpbase(buffer, size, mode) {}
    using mpbase::rdbuf;
};

class ONDREL_API ompstream : public mpbase, public opstream {
  public:
    ompstream() = default;
    ompstream(void * buffer, long size, GIO::IOOpenMode mode) : mpbase(buffer, size, mode) {}
    ~ompstream() override { flush(); }
    using mpbase::rdbuf;
};

class ONDREL_API mpstream : public mpbase, public iopstream {
  public:
    mpstream() = default;
    mpstream(void * buffer, long size, GIO::IOOpenMode mode) : mpbase(buffer, size, mode) {}
    ~mpstream() override { flush(); }
    using mpbase::rdbuf;
};
