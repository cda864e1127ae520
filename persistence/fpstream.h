// Object streams on files: fpbase brings the buffered file, the classes derived from it the
// directions. A file that must exist is looked for through the redirection file.
#pragma once

#include "persistence/GFileIO.h"
#include "persistence/OlderOpenMode.h"
#include "persistence/pstream.h"

class RedirectionFile;

/// The file side of a stream on a file, and the redirection of names.
class ONDREL_API fpbase : public virtual pstream {
  public:
    /// Bits of the older open mode, besides GIO::IOOpenMode in the low two.
    enum OpenBits {
        Truncating = OlderOpenMode::Truncating,
        NoCreation = OlderOpenMode::NoCreation,
        NoReplacing = OlderOpenMode::NoReplacing
    };

    fpbase();
    fpbase(char const * name, int mode);
    fpbase(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
           GFileIO::IOShareMode share);
    ~fpbase() override;

    /// The state is 0 afterwards, 4 when the file cannot be opened, and 2 when one was open
    /// already, which stays. With ExistingOnly the name goes through GFile::redirect.
    void open(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share);
    /// The same in the older way, shared with nobody. NoCreation and NoReplacing together do
    /// nothing at all.
    void open(char const * name, int mode);
    /// Writes out what is held back and closes; the state is 0 afterwards. Who must know whether
    /// all was written asks for the state after a flush.
    void close();
    bool is_open() const { return file() && file()->is_opened(); }
    GIO::IOOpenMode io_mode() const { return file() ? file()->open_mode() : GIO::ReadMode; }
    GBufferedIO * rdbuf() { return &device_; }

    /// Loads a redirection file, for all streams; null for none.
    static void SetRedirectionFile(char const * file);
    /// Takes the ownership; null for none.
    static void SetRedirectionFile(RedirectionFile * file);
    static RedirectionFile * GetRedirectionFile();
    /// The place of a bare name by the redirection file; the name itself when there is none.
    static GString RedirectedName(char const * name, unsigned char mustExist);
    static GString redirected_name(char const * name) { return RedirectedName(name, 1); }

  protected:
    bool change_size(long size);

  private:
    /// The file; null when another device was put in its place.
    GFileIO * file() const { return device_.getIO() == file_ ? file_ : nullptr; }

    GFileIO * file_; // owned by device_
    GBufferedIO device_;
};

/// Reads objects from a file.
class ONDREL_API ifpstream : public fpbase, public ipstream {
  public:
    ifpstream() = default;
    ifpstream(char const * name, int mode) : fpbase(name, mode) {}
    ifpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share)
        : fpbase(name, mode, create, share) {}
};

/// Writes objects into a file.
class ONDREL_API ofpstream : public fpbase, public opstream {
  public:
    ofpstream() = default;
    ofpstream(char const * name, int mode) : fpbase(name, mode) {}
    ofpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share)
        : fpbase(name, mode, create, share) {}
    /// Cuts or extends the file and leaves the position at its new end.
    bool change_size(long size);
};

/// Reads and writes objects in one file.
class ONDREL_API fpstream : public fpbase, public iopstream {
  public:
    fpstream() = default;
    fpstream(char const * name, int mode) : fpbase(name, mode) {}
    fpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
             GFileIO::IOShareMode share)
        : fpbase(name, mode, create, share) {}
    /// The same.
    bool change_size(long size);
};
