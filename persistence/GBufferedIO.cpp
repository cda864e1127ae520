// The window, and its filling and emptying.
#include "persistence/GBufferedIO.h"

#include <algorithm>
#include <cstring>

GAbstractBufferedIO::~GAbstractBufferedIO() {
    delete device_;
}

void GAbstractBufferedIO::setIO(GIO * device) {
    flush();
    if (device != device_)
        delete device_;
    device_ = device;
    setError(device ? NoError : NoDevice);
    if (device)
        store_open_mode(device->open_mode());
}

long GAbstractBufferedIO::gwrite(void const * data, long count) {
    if (state_ != Writing && !startWrite())
        return -1;
    auto const * from = static_cast<unsigned char const *>(data);
    long done = 0;
    while (done < count) {
        if (writeCurrent_ == writeEnd_ && (!writeBuffer() || writeCurrent_ == writeEnd_))
            break;
        long const piece = std::min<long>(count - done, writeEnd_ - writeCurrent_);
        std::memcpy(writeCurrent_, from + done, static_cast<std::size_t>(piece));
        writeCurrent_ += piece;
        done += piece;
    }
    return done;
}

long GAbstractBufferedIO::gread(void * data, long count) {
    if (state_ != Reading && !startRead())
        return -1;
    auto * const to = static_cast<unsigned char *>(data);
    long done = 0;
    while (done < count) {
        // A refill may succeed and bring nothing: the next one brings more, or fails.
        if (readCurrent_ == readEnd_) {
            if (!readBuffer())
                break;
            continue;
        }
        long const piece = std::min<long>(count - done, readEnd_ - readCurrent_);
        std::memcpy(to + done, readCurrent_, static_cast<std::size_t>(piece));
        readCurrent_ += piece;
        done += piece;
    }
    return done;
}

long GAbstractBufferedIO::gseek(long offset, IOSeekDirection direction) {
    flush();
    return device_ ? device_->gseek(offset, direction) : -1;
}

void GAbstractBufferedIO::flush() {
    if (state_ == Reading)
        stopRead();
    else if (state_ == Writing)
        stopWrite();
    if (device_)
        device_->flush();
}

unsigned char GAbstractBufferedIO::startWrite() {
    flush();
    if ((open_mode() & WriteMode) == 0)
        return 0;
    setError(NoError);
    state_ = Writing;
    return 1;
}

unsigned char GAbstractBufferedIO::startRead() {
    flush();
    if ((open_mode() & ReadMode) == 0)
        return 0;
    setError(NoError);
    state_ = Reading;
    return 1;
}

void GAbstractBufferedIO::stopWrite() {
    state_ = Idle;
    setRPointers(nullptr, nullptr, nullptr);
    setWPointers(nullptr, nullptr, nullptr);
}

void GAbstractBufferedIO::stopRead() {
    GAbstractBufferedIO::stopWrite();
}

int GAbstractBufferedIO::readAdditionalByte() {
    unsigned char byte;
    return gread(&byte, 1) == 1 ? byte : -1;
}

int GAbstractBufferedIO::writeAdditionalByte(unsigned char value) {
    return gwrite(&value, 1) == 1 ? value : -1;
}

std::int64_t GAbstractBufferedIO::readLittle(int bytes) {
    std::int64_t value = 0;
    for (int i = 0; i < bytes; ++i) {
        int const byte = readByte();
        if (byte < 0)
            return -1;
        value |= static_cast<std::int64_t>(byte) << (8 * i);
    }
    return value;
}

bool GAbstractBufferedIO::writeLittle(std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        if (writeByte(static_cast<unsigned char>(value >> (8 * i))) < 0)
            return false;
    return true;
}

GBufferedIO::GBufferedIO(long size)
    : buffer_(new unsigned char[static_cast<std::size_t>(size > 0 ? size : 4)]),
      size_(size > 0 ? size : 4) {}

GBufferedIO::GBufferedIO(GIO * device, long size) : GBufferedIO(size) {
    setIO(device);
}

GBufferedIO::~GBufferedIO() {
    flush();
    delete[] buffer_;
}

long GBufferedIO::gwrite(void const * data, long count) {
    if (!passes(count))
        return GAbstractBufferedIO::gwrite(data, count);
    if (getState() != Writing && !startWrite())
        return -1;
    if (getWCurrent() != getWBegin() && !writeBuffer())
        return GAbstractBufferedIO::gwrite(data, count);
    long const result = getIO()->gwrite(data, count);
    if (result == count)
        return count;
    // What the window would have taken stays in it, as after every short write.
    setError(result < 0 ? FailedWrite : IncompleteWrite);
    long const done = std::max(result, 0L);
    long const kept = std::min(count - done, size_);
    std::memcpy(buffer_, static_cast<unsigned char const *>(data) + done,
                static_cast<std::size_t>(kept));
    setWPointers(buffer_, buffer_ + kept, buffer_ + size_);
    return done + kept;
}

long GBufferedIO::gread(void * data, long count) {
    if (!passes(count))
        return GAbstractBufferedIO::gread(data, count);
    if (getState() != Reading && !startRead())
        return -1;
    auto * const to = static_cast<unsigned char *>(data);
    long done = std::min<long>(count, static_cast<long>(getREnd() - getRCurrent()));
    if (done > 0)
        std::memcpy(to, getRCurrent(), static_cast<std::size_t>(done));
    setRCurrent(getRCurrent() + done);
    while (done < count) {
        long const piece = getIO()->gread(to + done, count - done);
        if (piece <= 0) {
            setError(EndOfFile);
            setRPointers(nullptr, nullptr, nullptr);
            break;
        }
        done += piece;
    }
    return done;
}

unsigned char GBufferedIO::startWrite() {
    if (!GAbstractBufferedIO::startWrite())
        return 0;
    setWPointers(buffer_, buffer_, buffer_ + size_);
    return 1;
}

void GBufferedIO::stopWrite() {
    writeBuffer();
    GAbstractBufferedIO::stopWrite();
}

unsigned char GBufferedIO::writeBuffer() {
    if (!getIO())
        return 0;
    long const count = static_cast<long>(getWCurrent() - getWBegin());
    long const written = count > 0 ? getIO()->gwrite(getWBegin(), count) : 0;
    if (written == count) {
        setWPointers(buffer_, buffer_, buffer_ + size_);
        return 1;
    }
    if (written < 0) {
        setError(FailedWrite);
        return 0;
    }
    setError(IncompleteWrite);
    setWBegin(getWBegin() + written);
    return 0;
}

unsigned char GBufferedIO::startRead() {
    return GAbstractBufferedIO::startRead() && readBuffer() ? 1 : 0;
}

void GBufferedIO::stopRead() {
    long const ahead = static_cast<long>(getREnd() - getRCurrent());
    if (ahead > 0 && getIO())
        getIO()->gseek(-ahead, FromCurrent);
    GAbstractBufferedIO::stopRead();
}

unsigned char GBufferedIO::readBuffer() {
    if (!getIO())
        return 0;
    long const count = getIO()->gread(buffer_, size_);
    if (count > 0) {
        setRPointers(buffer_, buffer_, buffer_ + count);
        return 1;
    }
    setError(EndOfFile);
    setRPointers(nullptr, nullptr, nullptr);
    return 0;
}
