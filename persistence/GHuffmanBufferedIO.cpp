// The items, and the blocks that they make.
#include "persistence/GHuffmanBufferedIO.h"

#include "persistence/HuffmanReader.h"
#include "persistence/HuffmanWriter.h"

#include <algorithm>

// The buffer has room for the item that only the reader takes.
GHuffmanBufferedIO::GHuffmanBufferedIO()
    : GBufferedIO(blockItems + 1),
      codes_(std::make_unique<unsigned short[]>(static_cast<std::size_t>(blockItems) + 1)) {}

GHuffmanBufferedIO::GHuffmanBufferedIO(GAbstractBufferedIO * device) : GHuffmanBufferedIO() {
    setBufferedIO(device);
}

GHuffmanBufferedIO::~GHuffmanBufferedIO() {
    flush();
}

void GHuffmanBufferedIO::setBufferedIO(GAbstractBufferedIO * device) {
    GAbstractBufferedIO::setIO(device);
}

void GHuffmanBufferedIO::setIO(GIO * device) {
    flush();
    if (GAbstractBufferedIO * const buffer = getBufferedIO()) {
        buffer->setIO(device);
        store_open_mode(buffer->open_mode());
    }
    setError(NoDevice);
}

GIO::IOErrors GHuffmanBufferedIO::noCode(unsigned short & distance) {
    distance = 0;
    return getError() != NoError ? getError() : EndOfFile;
}

void GHuffmanBufferedIO::refuseData() {
    setError(BadData);
    setRPointers(nullptr, nullptr, nullptr);
}

void GHuffmanBufferedIO::openWindow() {
    setWPointers(getBuffer(), getBuffer(), getBuffer() + blockItems);
}

unsigned char GHuffmanBufferedIO::startWrite() {
    setError(NoError);
    if (!GBufferedIO::startWrite())
        return 0;
    openWindow();
    // The writer leaves no word behind; a block that was read may have.
    std::fill_n(codes_.get(), codesRead_, static_cast<unsigned short>(0));
    codesRead_ = 0;
    return 1;
}

void GHuffmanBufferedIO::stopWrite() {
    if (getState() != Writing)
        return;
    writeBuffer();
    if (!writer_)
        writer_ = std::make_unique<huffman::BlockWriter>();
    writer_->writeEnd(getBufferedIO());
    GAbstractBufferedIO::stopRead();
}

unsigned char GHuffmanBufferedIO::writeBuffer() {
    if (getError() != NoError)
        return 0;
    if (!writer_)
        writer_ = std::make_unique<huffman::BlockWriter>();
    long const count = static_cast<long>(getWCurrent() - getWBegin());
    huffman::Items const items = {getBuffer(), codes_.get(), count};
    long const written = writer_->makeCodes(items) ? writer_->writeCoded(getBufferedIO(), items)
                                                   : writer_->writePlain(getBufferedIO(), items);
    std::fill_n(codes_.get(), count, static_cast<unsigned short>(0));
    if (written < 0) {
        setWPointers(nullptr, nullptr, nullptr);
        return 0;
    }
    openWindow();
    return 1;
}

/// The device keeps its position: only the owner of the items knows what was not read of them.
void GHuffmanBufferedIO::stopRead() {
    GAbstractBufferedIO::stopRead();
}

unsigned char GHuffmanBufferedIO::readBuffer() {
    GAbstractBufferedIO * const device = getBufferedIO();
    if (!device || getError() != NoError || device->getError() != NoError)
        return 0;
    if (!reader_)
        reader_ = std::make_unique<huffman::BlockReader>();
    setRPointers(nullptr, nullptr, nullptr);
    unsigned const type = reader_->readType(device);
    long count = -1;
    if (type == huffman::PlainBlock)
        count = reader_->readPlain(getBuffer(), codes_.get(), blockItems + 1);
    else if (type == huffman::CodedBlock)
        count = reader_->readCoded(getBuffer(), codes_.get(), blockItems + 1);
    reader_->finish();
    // Also the words of a block that broke off.
    codesRead_ = std::max(codesRead_, count < 0 ? blockItems + 1 : count);
    if (count < 0 || device->getError() != NoError) {
        setError(type == huffman::EndBlock ? EndOfFile : BadData);
        return 0;
    }
    setRPointers(getBuffer(), getBuffer(), getBuffer() + count);
    return 1;
}
