// The general compressor: a buffered device whose bytes lie compressed on the device below. What
// is written is searched for repetitions of the last 32 KiB, and goes as literals and matches to a
// GHuffmanBufferedIO, which this object owns and which owns the real device. Each flush of a
// writing object ends a compressed stream; what is written then begins another, with no history.
// The bytes on the medium depend on the data and the level alone, not on how the writes were cut
// nor on what the object did before.
#pragma once

#include "persistence/GHuffmanBufferedIO.h"

class FlateDecoder;
class FlateMatcher;

/// The compressing device: matches of the last 32 KiB, coded by a GHuffmanBufferedIO.
class ONDREL_API GFlateBufferedIO : public GBufferedIO {
  public:
    static constexpr int defaultLevel = 4;

    /// No device: error NoDevice. Levels go from 1, the fastest, to 9, the smallest; those outside
    /// are taken for the nearest, a negative one for 9.
    explicit GFlateBufferedIO(int level = defaultLevel);
    /// Takes over `device`, and takes its open mode.
    explicit GFlateBufferedIO(GAbstractBufferedIO * device, int level = defaultLevel);
    /// Ends the stream that is being written.
    ~GFlateBufferedIO() override;

    /// Ends the stream that is being written, deletes the former device below the Huffman object
    /// and takes over `device`, which may be null, with its open mode.
    void setBufferedIO(GAbstractBufferedIO * device);
    GAbstractBufferedIO * getBufferedIO() const { return getHuffmanIO()->getBufferedIO(); }
    GHuffmanBufferedIO * getHuffmanIO() const { return static_cast<GHuffmanBufferedIO *>(getIO()); }
    /// The level from the next stream on.
    void setCompressionSpeed(int level) { level_ = static_cast<unsigned char>(level); }
    /// Puts `device` underneath the buffered device, which stays. The error is NoDevice until the
    /// next start, whatever came of it.
    void setIO(GIO * device) override;

    /// Beginning to write and writing nothing is an empty stream, of four bytes.
    unsigned char startWrite() override;
    void stopWrite() override;
    /// Codes what the window holds, but for the last bytes, and makes room. A device that fails
    /// tells it by the error of the object below.
    unsigned char writeBuffer() override;
    unsigned char startRead() override;
    /// What was decoded ahead stays consumed.
    void stopRead() override;
    /// Decodes the next bytes, which may be none. The error is EndOfFile where the stream ends or
    /// cannot be read on; the object below tells which.
    unsigned char readBuffer() override;

  private:
    std::unique_ptr<FlateMatcher> matcher_;
    std::unique_ptr<FlateDecoder> decoder_;
    /// Leading bytes of the window that may not be zero.
    long used_;
    unsigned char level_;
    /// Writing: no data follows. Reading: the stream has ended.
    bool endOfData_ = true;
};
