// The older way to say how a stream is opened: one integer, with the directions in its low two bits
// and what may happen to a file that is there, or is not, in others.
#pragma once

#include "persistence/GFileIO.h"

/// The bits of the older open mode, and what they mean for a file.
struct OlderOpenMode {
    enum Bits { Truncating = 16, NoCreation = 0x20, NoReplacing = 0x40 };

    explicit OlderOpenMode(int bits)
        : valid((bits & (NoCreation | NoReplacing)) != (NoCreation | NoReplacing)),
          mode(bits & GIO::ReadWriteMode ? static_cast<GIO::IOOpenMode>(bits & GIO::ReadWriteMode)
                                         : GIO::ReadMode),
          create(createOf(bits)) {}

    /// False when the bits contradict themselves.
    bool valid;
    GIO::IOOpenMode mode;
    GFileIO::IOCreateMode create;

  private:
    static GFileIO::IOCreateMode createOf(int bits) {
        if (bits & NoReplacing)
            return GFileIO::NewOnly;
        if (bits & Truncating)
            return GFileIO::CreateAndTruncate;
        return bits & NoCreation ? GFileIO::ExistingOnly : GFileIO::OpenOrCreate;
    }
};
