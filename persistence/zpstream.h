// Object streams on files whose compression is switched on and off in mid-stream: a file alternates
// between plain stretches and compressed ones, each a whole compressed stream that begins where the
// file position stood. Nothing in the file tells where a stretch ends: whoever reads knows it.
#pragma once

#include "persistence/GFlateBufferedIO.h"
#include "persistence/OlderOpenMode.h"
#include "persistence/pstream.h"

/// A new stream is compressed until it is told otherwise.
class ONDREL_API zpbase : public virtual pstream {
  public:
    zpbase();
    zpbase(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
           GFileIO::IOShareMode share, unsigned short speed);
    zpbase(char const * name, int mode, unsigned short speed);
    ~zpbase() override;

    /// The state is 0 afterwards, 4 when the file cannot be opened, and 2 when one was open
    /// already, which stays. Every name goes through the redirection file. `speed` is the
    /// compression level of all stretches, 1 to 9.
    void open(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share, unsigned short speed);
    /// The same in the older way (OlderOpenMode), shared with nobody. A mode that contradicts
    /// itself does nothing at all.
    void open(char const * name, int mode, unsigned short speed);
    /// As in every stream; what the file did not take of a compressed stretch counts as well.
    void flush();
    /// Waits until what was flushed is on the medium; false when that cannot be told.
    bool sync() { return getFileIO() && getFileIO()->sync(); }
    /// Ends the stretch, writes out what is held back and closes; the state is 0 afterwards. Who
    /// must know whether all was written asks for the state after a flush.
    void close();
    bool is_open() const { return getFileIO() && getFileIO()->is_opened(); }
    GIO::IOOpenMode io_mode() const {
        return getFileIO() ? getFileIO()->open_mode() : GIO::ReadMode;
    }

    bool is_comp() const { return rdbuf() == &flate_; }
    /// Ends what was going on, also when nothing changes: a writing stretch gets its end, a reading
    /// one gives back to the file what was read ahead. Returns the position in the file; -1 on
    /// failure. To be called before every seek out of a compressed stretch.
    long turn_to_comp(bool on);
    long turn_to_norm() { return turn_to_comp(false); }

  protected:
    /// The file; null when another device was put in its place.
    GFileIO * getFileIO() const;
    bool change_size(long size);

  private:
    void forgetError();
    GAbstractBufferedIO * plain() const { return flate_.getBufferedIO(); }

    GFileIO * file_; // owned through the chain of devices
    GFlateBufferedIO flate_;
};

/// Reads objects from a file with compressed stretches.
class ONDREL_API izpstream : public zpbase, public ipstream {
  public:
    izpstream() = default;
    izpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share, unsigned short speed)
        : zpbase(name, mode, create, share, speed) {}
    izpstream(char const * name, int mode, unsigned short speed) : zpbase(name, mode, speed) {}
};

/// Writes objects into a file with compressed stretches.
class ONDREL_API ozpstream : public zpbase, public opstream {
  public:
    ozpstream() = default;
    ozpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share, unsigned short speed)
        : zpbase(name, mode, create, share, speed) {}
    ozpstream(char const * name, int mode, unsigned short speed) : zpbase(name, mode, speed) {}
    /// Cuts or extends the file and leaves the position at its new end.
    bool change_size(long size);
};

/// Reads and writes objects in one file with compressed stretches.
class ONDREL_API zpstream : public zpbase, public iopstream {
  public:
    zpstream() = default;
    zpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
             GFileIO::IOShareMode share, unsigned short speed)
        : zpbase(name, mode, create, share, speed) {}
    zpstream(char const * name, int mode, unsigned short speed) : zpbase(name, mode, speed) {}
    /// The same.
    bool change_size(long size);
};
