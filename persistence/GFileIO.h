// A file as a byte device.
#pragma once

#include "persistence/GIO.h"
#include "platform/FileHandle.h"

class ONDREL_API GFileIO : public GIO {
  public:
    enum IOCreateMode {
        ExistingOnly = 0,
        NewOnly = 1,
        OpenOrCreate = 2,
        CreateAndTruncate = 3 ///< opened or created, and cut to no bytes
    };
    /// What others may do with the file meanwhile. It binds those who open files with this class.
    enum IOShareMode { ShareNone = 0, ShareRead = 1, ShareWrite = 2, ShareBoth = 3 };

    GFileIO() = default;
    GFileIO(char const * name, IOOpenMode mode, IOCreateMode create, IOShareMode share);
    ~GFileIO() override;

    /// False when a file is open already, which stays, and when this one cannot be opened.
    bool open(char const * name, IOOpenMode mode, IOCreateMode create, IOShareMode share);
    void close();
    bool is_opened() const { return handle_ != platform::noFile; }
    platform::FileHandle handle() const { return handle_; }
    IOCreateMode create_mode() const { return createMode_; }
    IOShareMode share_mode() const { return shareMode_; }
    /// Cuts or lengthens the file; the position is at its end afterwards.
    bool change_size(long size);

    long gseek(long offset, IOSeekDirection direction) override;
    /// 0 when nothing could be done.
    long gwrite(void const * data, long count) override;
    long gread(void * data, long count) override;

  private:
    platform::FileHandle handle_ = platform::noFile;
    IOCreateMode createMode_ = ExistingOnly;
    IOShareMode shareMode_ = ShareNone;
};
