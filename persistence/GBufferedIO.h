// A buffer on a device, itself a device, so that layers stack. It is idle, reading or writing; any
// change between the two goes through idle, which brings the device to the logical position, so
// reading and writing may be mixed freely. Inside the window, reading and writing are steps of a
// pointer; the device is reached only where the window ends.
#pragma once

#include "persistence/GIO.h"

#include <cstdint>

/// The window that streams read and write in, and the states of a buffer.
class ONDREL_API GAbstractBufferedIO : public GIO {
  public:
    enum SBState { Idle = 0, Reading = 1, Writing = 2 };

    GAbstractBufferedIO() { setError(NoDevice); }
    /// Deletes the device.
    ~GAbstractBufferedIO() override;

    /// Flushes, deletes the former device and takes over `device`, which may be null. The device
    /// that is here already is kept.
    virtual void setIO(GIO * device);
    GIO * getIO() const { return device_; }
    /// For the owner that opens the device after the buffer was put on it.
    using GIO::store_open_mode;

    /// The bytes taken; -1 when writing could not start at all.
    long gwrite(void const * data, long count) override;
    /// The bytes delivered; -1 when reading could not start at all.
    long gread(void * data, long count) override;
    long gseek(long offset, IOSeekDirection direction) override;
    /// Brings the device to the logical position, with everything written.
    void flush() override;

    // What a layer overrides. All tell success by a value that is not 0.
    virtual unsigned char startWrite();
    virtual void stopWrite();
    virtual unsigned char writeBuffer() = 0;
    virtual unsigned char startRead();
    virtual void stopRead();
    virtual unsigned char readBuffer() = 0;

    SBState getState() const { return state_; }
    void setState(SBState state) { state_ = state; }
    unsigned char * getRBegin() const { return readBegin_; }
    unsigned char * getRCurrent() const { return readCurrent_; }
    unsigned char * getREnd() const { return readEnd_; }
    unsigned char * getWBegin() const { return writeBegin_; }
    unsigned char * getWCurrent() const { return writeCurrent_; }
    unsigned char * getWEnd() const { return writeEnd_; }
    void setRBegin(unsigned char * p) { readBegin_ = p; }
    void setRCurrent(unsigned char * p) { readCurrent_ = p; }
    void setREnd(unsigned char * p) { readEnd_ = p; }
    void setWBegin(unsigned char * p) { writeBegin_ = p; }
    void setWCurrent(unsigned char * p) { writeCurrent_ = p; }
    void setWEnd(unsigned char * p) { writeEnd_ = p; }
    void setRPointers(unsigned char * begin, unsigned char * current, unsigned char * end) {
        readBegin_ = begin;
        readCurrent_ = current;
        readEnd_ = end;
    }
    void setWPointers(unsigned char * begin, unsigned char * current, unsigned char * end) {
        writeBegin_ = begin;
        writeCurrent_ = current;
        writeEnd_ = end;
    }

    /// The next byte, or -1.
    int readByte() { return readCurrent_ < readEnd_ ? *readCurrent_++ : readAdditionalByte(); }
    /// The byte, or -1.
    int writeByte(unsigned char value) {
        return writeCurrent_ < writeEnd_ ? (*writeCurrent_++ = value) : writeAdditionalByte(value);
    }
    /// Little-endian; -1 where the bytes end.
    std::int32_t readWord() { return static_cast<std::int32_t>(readLittle(2)); }
    std::int64_t readDWord() { return readLittle(4); }
    bool writeWord(std::uint16_t value) { return writeLittle(value, 2); }
    bool writeDWord(std::uint32_t value) { return writeLittle(value, 4); }

    /// The slow ways: start at need, and reach the device.
    int readAdditionalByte();
    int writeAdditionalByte(unsigned char value);

  private:
    std::int64_t readLittle(int bytes);
    bool writeLittle(std::uint32_t value, int bytes);

    GIO * device_ = nullptr;
    SBState state_ = Idle;
    unsigned char * writeBegin_ = nullptr;
    unsigned char * writeCurrent_ = nullptr;
    unsigned char * writeEnd_ = nullptr;
    unsigned char * readBegin_ = nullptr;
    unsigned char * readCurrent_ = nullptr;
    unsigned char * readEnd_ = nullptr;
};

/// One buffer of memory that serves both directions.
class ONDREL_API GBufferedIO : public GAbstractBufferedIO {
  public:
    /// A size of 0 or less becomes 4. No device: error NoDevice.
    explicit GBufferedIO(long size = 4096);
    /// Keeps a literal 0 from being taken for a null device.
    explicit GBufferedIO(int size) : GBufferedIO(static_cast<long>(size)) {}
    /// Takes over `device`.
    explicit GBufferedIO(GIO * device, long size = 4096);
    ~GBufferedIO() override;

    unsigned char * getBuffer() const { return buffer_; }
    long getBufferSize() const { return size_; }

    /// Lets what is as large as the buffer go between the caller and the device without it. Not for
    /// a layer that changes the bytes on their way.
    void passLargePieces() { passesLargePieces_ = true; }
    long gwrite(void const * data, long count) override;
    long gread(void * data, long count) override;

    unsigned char startWrite() override;
    void stopWrite() override;
    /// A short write leaves what was not written in the window.
    unsigned char writeBuffer() override;
    unsigned char startRead() override;
    /// Seeks the device back over what was read ahead.
    void stopRead() override;
    unsigned char readBuffer() override;

  private:
    bool passes(long count) const { return passesLargePieces_ && count >= size_ && getIO(); }

    unsigned char * buffer_;
    long size_;
    bool passesLargePieces_ = false;
};
