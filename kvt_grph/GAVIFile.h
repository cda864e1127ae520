// Movies in AVI files, one frame after the other: GOutputAVIFile writes them from pixel maps and
// GInputAVIFile reads them into such. Frames are stored as they are (1, 4, 8, 16, 24 or 32 bits a
// pixel are read, 8, 24 and 32 are written) or as runs of 256 colours.
#pragma once

#include "kvt_grph/GAVICompressionOptions.h"
#include "kvt_grph/GPalette.h"
#include "kvt_grph/PixelMap.h"
#include "persistence/GFileIO.h"

#include <cstdint>
#include <vector>

/// The open file of a movie, in either direction.
class ONDREL_API GAVIFile {
  public:
    virtual ~GAVIFile();
    GAVIFile(GAVIFile const &) = delete;
    GAVIFile & operator=(GAVIFile const &) = delete;

    virtual void close();
    /// False when a file is open already, and when this one cannot be.
    virtual bool open(char const * name) = 0;
    bool is_open() const { return file_.is_opened(); }

  protected:
    GAVIFile() = default;
    /// 0x20 in `mode` opens an existing file for reading; anything else makes a new one.
    bool open_file(char const * name, unsigned int mode);

    GFileIO file_;
    long position_ = -1; // the frame decoded last, or the next one to be written
};

/// Reads the frames of a movie into pixel maps, by number or one after the other.
class ONDREL_API GInputAVIFile : public GAVIFile {
  public:
    GInputAVIFile() = default;
    explicit GInputAVIFile(char const * name) { open(name); }
    ~GInputAVIFile() override { GInputAVIFile::close(); }

    /// False, with nothing open, when this is no movie, or one whose frames are stored in a way
    /// that is not known here.
    bool open(char const * name) override;
    void close() override;

    int get_width() const { return width_; }
    int get_height() const { return height_; }
    long get_frame_count() const { return static_cast<long>(frames_.size()); }
    /// The colours of an 8-bit movie.
    GPalette const & get_palette() const { return palette_; }
    /// The last frame up to `frame` that does not need those before it; -1 when there is none.
    long get_nearest_key_frame(long frame) const;
    /// Reads the stored bytes of a frame; false when they are not there in full, and what there is
    /// of them has been read.
    bool read_compressed_frame(long frame);
    std::vector<unsigned char> const & get_compressed_bits() const { return compressed_; }
    /// The frame as a map that the caller owns: FormatIndex for 8 bits, FormatRGBAlpha for 32,
    /// FormatRGB otherwise. Cheapest for one frame after the other. Null past the end. A frame
    /// whose bytes are damaged shows what could be decoded over the frame before.
    PixelMap * get_map(long frame);

  private:
    struct Frame {
        std::int64_t offset; // of its bytes in the file
        std::uint32_t size;
        bool key;
    };
    /// A piece of the file: four characters, a size, and content.
    struct Chunk {
        std::uint32_t id;
        std::uint32_t listType;  // of a RIFF or LIST
        std::int64_t begin, end; // of the content, behind the type of a list
    };

    bool readHead();
    bool nextChunk(std::int64_t & at, std::int64_t end, Chunk & chunk);
    void scan(std::int64_t begin, std::int64_t end, int depth);
    void addFrame(Chunk const & chunk);
    void readList(Chunk const & list, int depth);
    void readStreamHeader(Chunk const & chunk);
    void readFormat(Chunk const & chunk);
    void readIndex(Chunk const & chunk);
    bool isFrameOfStream(std::uint32_t id) const;
    bool canDecode() const;
    void decode();
    std::size_t read(std::int64_t offset, void * data, std::size_t size);

    int width_ = 0;
    int height_ = 0;
    bool topDown_ = false;
    std::uint32_t compression_ = 0;
    int bits_ = 0;
    int stride_ = 0; // of the decoded frame
    GPalette palette_;
    int streams_ = 0;      // seen so far
    int videoStream_ = -1; // which of them holds the frames
    bool inVideo_ = false; // the stream header that was read last was that of the video
    std::int64_t fileSize_ = 0;
    std::vector<Frame> frames_;
    std::vector<unsigned char> compressed_;
    std::vector<unsigned char> decoded_; // the bottom row first
};

/// Writes pixel maps as the frames of a movie.
class ONDREL_API GOutputAVIFile : public GAVIFile {
  public:
    /// Frames a second, of every movie that is written.
    static constexpr int rate = 15;
    /// Files grow to this many bytes at most, which old readers still play.
    static constexpr std::int64_t mostBytes = 0x40000000;

    GOutputAVIFile() : options_(GetDefaultOptions()) {}
    explicit GOutputAVIFile(char const * name) : GOutputAVIFile() { open(name); }
    /// Closes the file.
    ~GOutputAVIFile() override { GOutputAVIFile::close(); }

    bool open(char const * name) override;
    /// Writes the index and completes the head. Most readers, ours among them, play a movie that
    /// was not closed all the same, as far as it was written.
    void close() override;

    /// Adds a frame. The first one determines size and format; false when another differs, when the
    /// file would grow beyond `mostBytes`, or when it could not be written in full, and the movie
    /// ends in front of it.
    bool put_map(PixelMap const & map);
    /// A bitmap of the system; false where there are none.
    bool put_map(HBITMAP bitmap);
    /// Whether the file was refused a frame because it would have grown too large.
    bool is_full() const { return full_; }
    /// For movies whose first frame is still to come.
    void set_options(GAVICompressionOptions const & options) { options_ = options; }

    /// What is copied when an object is made.
    static GAVICompressionOptions const & GetDefaultOptions();
    static void SetDefaultOptions(GAVICompressionOptions const & options);

  private:
    bool begin(PixelMap const & map);
    std::vector<unsigned char> head(bool closed) const;
    bool writeFrame(unsigned char const * data, std::size_t size);
    bool writeAll(void const * data, std::size_t size);

    GAVICompressionOptions options_;
    bool begun_ = false;
    bool runs_ = false;
    bool full_ = false;
    std::int64_t end_ = 0;              // of the last whole frame
    std::int64_t moviBegin_ = 0;        // of the list of frames: its type
    std::vector<std::uint32_t> sizes_;  // of the frames, in bytes
    std::vector<unsigned char> packed_; // a frame in runs
};
