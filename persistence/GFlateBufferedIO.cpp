// The window between the caller on one side and the search or the decoder on the other.
#include "persistence/GFlateBufferedIO.h"

#include "persistence/FlateDecoder.h"
#include "persistence/FlateMatcher.h"

#include <algorithm>
#include <cstring>

static constexpr long bufferSize = FlateMatcher::windowSize + FlateMatcher::slackSize;

GFlateBufferedIO::GFlateBufferedIO(int level) : GFlateBufferedIO(nullptr, level) {}

GFlateBufferedIO::GFlateBufferedIO(GAbstractBufferedIO * device, int level)
    : GBufferedIO(bufferSize), decoder_(new FlateDecoder(getBuffer())), used_(bufferSize) {
    GAbstractBufferedIO::setIO(new GHuffmanBufferedIO);
    setError(NoDevice);
    setCompressionSpeed(level);
    if (device)
        setBufferedIO(device);
}

GFlateBufferedIO::~GFlateBufferedIO() {
    flush();
}

void GFlateBufferedIO::setBufferedIO(GAbstractBufferedIO * device) {
    flush();
    getHuffmanIO()->setBufferedIO(device);
    setError(getHuffmanIO()->getError());
    if (device)
        store_open_mode(device->open_mode());
}

void GFlateBufferedIO::setIO(GIO * device) {
    GHuffmanBufferedIO & inner = *getHuffmanIO();
    inner.setIO(device);
    flush();
    if (inner.getIO()) {
        inner.setIO(device);
        store_open_mode(inner.open_mode());
    }
    setError(NoDevice);
}

unsigned char GFlateBufferedIO::startWrite() {
    if (!GBufferedIO::startWrite())
        return 0;
    if (!getHuffmanIO()->startWrite()) {
        GAbstractBufferedIO::stopWrite();
        return 0;
    }
    if (!matcher_)
        matcher_ = std::make_unique<FlateMatcher>(getBuffer());
    // The search compares behind the data, so what lies there must not come from another stream.
    std::memset(getBuffer(), 0, static_cast<std::size_t>(used_));
    used_ = 0;
    matcher_->start(level_);
    endOfData_ = false;
    setWEnd(getBuffer() + FlateMatcher::windowSize);
    return 1;
}

void GFlateBufferedIO::stopWrite() {
    if (getState() != Writing)
        return;
    endOfData_ = true;
    GBufferedIO::stopWrite();
}

unsigned char GFlateBufferedIO::writeBuffer() {
    if (getState() != Writing)
        return 0;
    long const filled = static_cast<long>(getWCurrent() - getBuffer());
    used_ = std::max(used_, filled);
    matcher_->code(filled, endOfData_, *getHuffmanIO());
    if (!endOfData_)
        setWPointers(getBuffer(), getBuffer() + matcher_->makeRoom(),
                     getBuffer() + FlateMatcher::windowSize);
    return 1;
}

unsigned char GFlateBufferedIO::startRead() {
    flush();
    decoder_->start();
    endOfData_ = false;
    return GBufferedIO::startRead();
}

void GFlateBufferedIO::stopRead() {
    GAbstractBufferedIO::stopRead();
}

unsigned char GFlateBufferedIO::readBuffer() {
    if (getState() != Reading)
        return 0;
    if (endOfData_) {
        setError(EndOfFile);
        return 0;
    }
    used_ = bufferSize;
    long const count = decoder_->decode(*getHuffmanIO());
    endOfData_ = decoder_->hasEnded();
    setRPointers(getBuffer(), getBuffer(), getBuffer() + count);
    return 1;
}
