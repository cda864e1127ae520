// Object streams on files. A name that must exist goes through the redirection file first, which
// maps bare names to search directories.
#pragma once

#include "persistence/GFileIO.h"
#include "persistence/pstream.h"

class RedirectionFile;

class ONDREL_API fpbase : public virtual pstream {
  public:
    fpbase();
    fpbase(char const * name, int mode);
    fpbase(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
           GFileIO::IOShareMode share);

    /// State 2 when a file is open already, 4 when this one cannot be opened, else 0.
    void open(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share);
    /// The older form: 1 read, 2 write, 3 both; 16 cuts the file; 0x20 never creates, 0x40 never
    /// replaces, and both together open nothing.
    void open(char const * name, int mode);
    void close();
    bool is_open() const { return file_->is_opened(); }
    GIO::IOOpenMode io_mode() const { return file_->open_mode(); }
    GBufferedIO * rdbuf() { return &device_; }

    /// Loads the redirection file, or takes one over; null for none.
    static void SetRedirectionFile(char const * name);
    static void SetRedirectionFile(RedirectionFile * file);
    static RedirectionFile * GetRedirectionFile();
    static GString RedirectedName(char const * name, unsigned char mustExist);
    static GString redirected_name(char const * name) { return RedirectedName(name, 1); }

  protected:
    bool change_size(long size);

  private:
    GFileIO * file_; // owned by the device
    GBufferedIO device_;
};

class ONDREL_API ifpstream : public fpbase, public ipstream {
  public:
    ifpstream() = default;
    ifpstream(char const * name, int mode) : fpbase(name, mode) {}
    ifpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share)
        : fpbase(name, mode, create, share) {}
    using fpbase::rdbuf;
};

class ONDREL_API ofpstream : public fpbase, public opstream {
  public:
    ofpstream() = default;
    ofpstream(char const * name, int mode) : fpbase(name, mode) {}
    ofpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
              GFileIO::IOShareMode share)
        : fpbase(name, mode, create, share) {}
    ~ofpstream() override { flush(); }
    using fpbase::rdbuf;
    /// Flushes, then cuts or lengthens the file.
    bool change_size(long size);
};

class ONDREL_API fpstream : public fpbase, public iopstream {
  public:
    fpstream() = default;
    fpstream(char const * name, int mode) : fpbase(name, mode) {}
    fpstream(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
             GFileIO::IOShareMode share)
        : fpbase(name, mode, create, share) {}
    ~fpstream() override { flush(); }
    using fpbase::rdbuf;
    bool change_size(long size);
};
