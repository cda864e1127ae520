// A file as a byte device. It keeps the position itself and reads and writes at it: seeks and
// questions for the position, of which layers above make many, then cost no call of the system.
#pragma once

#include "persistence/GIO.h"
#include "platform/FileHandle.h"

#include <cstdint>

/// A file of the system as a byte device.
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
    /// The system's own handle, which stands where the device does. Whoever has it may move it, so
    /// from the first call on the device asks the system where it stands.
    platform::FileHandle handle() const;
    IOCreateMode create_mode() const { return createMode_; }
    IOShareMode share_mode() const { return shareMode_; }
    /// Cuts or lengthens the file; the position is at its end afterwards.
    bool change_size(long size);
    /// Waits until what was written is on the medium.
    bool sync();

    long gseek(long offset, IOSeekDirection direction) override;
    /// 0 when nothing could be done.
    long gwrite(void const * data, long count) override;
    long gread(void * data, long count) override;

  private:
    void step(long done);

    platform::FileHandle handle_ = platform::noFile;
    /// False where the position is the handle's: it was given out, or the file has none.
    mutable bool keepsPosition_ = false;
    std::int64_t position_ = 0;
    /// The system is known to accept positions up to here; it says how far a file may reach.
    std::int64_t reached_ = 0;
    IOCreateMode createMode_ = ExistingOnly;
    IOShareMode shareMode_ = ShareNone;
};
