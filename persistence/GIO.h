// A byte device: a file, a block of memory, or a layer upon another device.
#pragma once

#include "platform/Export.h"

/// The interface of all byte devices. Failures are kept in a field and never thrown.
class ONDREL_API GIO {
  public:
    enum IOOpenMode { ReadMode = 1, WriteMode = 2, ReadWriteMode = 3 };
    /// What went wrong last: a read that found the end, a write that was cut short, bytes that are
    /// no data of this device, no device below, a write that failed.
    enum IOErrors {
        NoError = 0,
        EndOfFile = 1,
        IncompleteWrite = 4,
        BadData = 5,
        NoDevice = 7,
        FailedWrite = 8
    };
    enum IOSeekDirection { FromStart = 0, FromCurrent = 1, FromEnd = 2 };

    GIO() = default;
    GIO(GIO const &) = delete;
    GIO & operator=(GIO const &) = delete;
    virtual ~GIO() = default;

    /// Moves the position; the new one in bytes from the start, -1 on failure.
    virtual long gseek(long offset, IOSeekDirection direction) = 0;
    virtual long gtell() { return gseek(0, FromCurrent); }
    /// The number of bytes written or read; fewer than asked for at an end or a failure.
    virtual long gwrite(void const * data, long count) = 0;
    virtual long gread(void * data, long count) = 0;
    virtual void flush() {}

    IOOpenMode open_mode() const { return openMode_; }
    /// The last error.
    IOErrors getError() const { return error_; }

  protected:
    void store_open_mode(IOOpenMode mode) { openMode_ = mode; }
    void setError(IOErrors error) { error_ = error; }

  private:
    IOOpenMode openMode_ = ReadMode;
    IOErrors error_ = NoError;
};
