// The lower half of the compressor: a buffer of coded items upon a buffered device, where they lie
// as blocks of a bit stream, each in the Huffman codes that suit it best. An item is a byte and a
// word: a literal byte with the word 0, or a match, its length less 3 with its distance. A byte
// that is written in the ordinary way is a literal. All state is the object's own, so that as many
// threads compress as have one.
#pragma once

#include "persistence/GBufferedIO.h"

#include <cassert>
#include <memory>

namespace huffman {
class BlockReader;
class BlockWriter;
} // namespace huffman

/// The coding device: literals and matches as blocks in Huffman codes.
class ONDREL_API GHuffmanBufferedIO : public GBufferedIO {
  public:
    /// What the writer gathers for one block; the reader takes one item more.
    static constexpr long blockItems = 32000;
    static constexpr unsigned maxDistance = 32768;

    /// No device: error NoDevice.
    GHuffmanBufferedIO();
    /// Takes over `device`, and takes its open mode.
    explicit GHuffmanBufferedIO(GAbstractBufferedIO * device);
    /// Ends the stream that is being written.
    ~GHuffmanBufferedIO() override;

    /// Ends the stream that is being written, deletes the former device and takes over `device`,
    /// which may be null.
    void setBufferedIO(GAbstractBufferedIO * device);
    GAbstractBufferedIO * getBufferedIO() const {
        return static_cast<GAbstractBufferedIO *>(getIO());
    }
    /// Puts `device` underneath the buffered device, which stays. The error is NoDevice until the
    /// next start, whatever came of it.
    void setIO(GIO * device) override;

    /// One item: a distance of 0 for the literal `value`, else one of 1 to 32768, and `value` is
    /// the length less 3. False when it could not be taken.
    bool writeCode(unsigned short distance, unsigned char value) {
        assert(distance <= maxDistance);
        if (writeByte(value) < 0)
            return false;
        codes_[getWCurrent() - getBuffer() - 1] = distance;
        return true;
    }
    /// The next item. A result that is not NoError means that there was none.
    IOErrors readCode(unsigned short & distance, unsigned char & value) {
        int const byte = readByte();
        value = static_cast<unsigned char>(byte);
        if (byte < 0)
            return noCode(distance);
        distance = codes_[getRCurrent() - getBuffer() - 1];
        return getError();
    }

    /// The words of the items: entry i belongs to byte i of getBuffer(), whichever way the stream
    /// goes. A layer above that works on many items at once reads those of the read window here,
    /// moves the window's current pointer behind them, and calls readBuffer() for more; or it puts
    /// items at the write window's current pointer and moves that. Entries that were not written
    /// are 0, those of literals.
    unsigned short * codes() { return codes_.get(); }
    /// For a layer above that finds an item to be impossible: no item follows, the error is
    /// BadData.
    void refuseData();

    /// Beginning to write and writing nothing is an empty stream, of four bytes.
    unsigned char startWrite() override;
    /// Writes what is buffered and the end of the stream; the device is not flushed.
    void stopWrite() override;
    /// Writes the buffered items as one block, also when there are none. On failure they are lost,
    /// and the error is the device's.
    unsigned char writeBuffer() override;
    /// Leaves the device behind the last block that was read.
    void stopRead() override;
    /// Reads one block, which may be empty. The error is EndOfFile at the end of the stream,
    /// BadData for a block that is malformed or not whole.
    unsigned char readBuffer() override;

  private:
    IOErrors noCode(unsigned short & distance);
    void openWindow();

    std::unique_ptr<unsigned short[]> codes_;
    /// Leading entries of codes_ that a block read may have left.
    long codesRead_ = 0;
    // Made at first need: most objects go one way only.
    std::unique_ptr<huffman::BlockWriter> writer_;
    std::unique_ptr<huffman::BlockReader> reader_;
};
