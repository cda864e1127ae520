// Opening and closing, and the switch between the two devices of one chain.
#include "persistence/zpstream.h"

#include "foundation/GFile.h"
#include "persistence/fpstream.h"

zpbase::zpbase()
    : file_(new GFileIO), flate_(new GBufferedIO(file_, 4096), GFlateBufferedIO::defaultLevel) {
    init(&flate_);
}

zpbase::zpbase(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
               GFileIO::IOShareMode share, unsigned short speed)
    : zpbase() {
    zpbase::open(name, mode, create, share, speed);
}

zpbase::zpbase(char const * name, int mode, unsigned short speed) : zpbase() {
    zpbase::open(name, mode, speed);
}

zpbase::~zpbase() = default;

GFileIO * zpbase::getFileIO() const {
    return plain() && plain()->getIO() == file_ ? file_ : nullptr;
}

void zpbase::open(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
                  GFileIO::IOShareMode share, unsigned short speed) {
    if (is_open()) {
        clear(ReadFailedBit);
        return;
    }
    GFile const target(fpbase::redirected_name(name));
    bool const opened = getFileIO() && getFileIO()->open(target.c_str(), mode, create, share);
    if (opened)
        forgetError();
    for (GAbstractBufferedIO * layer :
         {static_cast<GAbstractBufferedIO *>(&flate_),
          static_cast<GAbstractBufferedIO *>(flate_.getHuffmanIO()), plain()})
        if (layer)
            layer->store_open_mode(mode);
    flate_.setCompressionSpeed(speed);
    clear(opened ? 0 : WriteFailedBit);
}

void zpbase::open(char const * name, int mode, unsigned short speed) {
    if (OlderOpenMode const older(mode); older.valid)
        open(name, older.mode, older.create, GFileIO::ShareNone, speed);
}

void zpbase::flush() {
    pstream::flush();
    if (is_comp() && plain() && plain()->getError() != GIO::NoError)
        setstate(ReadFailedBit | WriteFailedBit);
}

void zpbase::close() {
    try {
        flush();
    } catch (...) { // the exception mask asks for it; the file is not to stay open for that
        if (getFileIO())
            getFileIO()->close();
        throw;
    }
    if (!getFileIO()) {
        setstate(WriteFailedBit);
        return;
    }
    getFileIO()->close();
    clear(0);
}

long zpbase::turn_to_comp(bool on) {
    if (on && !is_comp()) {
        // What is being written yet may be written in vain: that is one of the stretch, too.
        if (plain() && plain()->getState() != GAbstractBufferedIO::Writing)
            forgetError();
        init(&flate_);
    } else if (!on && is_comp()) {
        init(plain());
    }
    return flate_.gtell();
}

/// An error stays with the device until it is started again, and the compressor does not begin
/// above one that shows an error.
void zpbase::forgetError() {
    if (plain()->getError() != GIO::NoError && plain()->getIO())
        plain()->setIO(plain()->getIO());
}

bool zpbase::change_size(long size) {
    return getFileIO() && getFileIO()->change_size(size);
}

bool ozpstream::change_size(long size) {
    flush();
    return zpbase::change_size(size);
}

bool zpstream::change_size(long size) {
    flush();
    return zpbase::change_size(size);
}
