// Opening and closing, and the one redirection file that all streams share.
#include "persistence/fpstream.h"

#include "foundation/GFile.h"
#include "foundation/GModule.h"
#include "persistence/RedirectionFile.h"

#include <utility>

namespace {

/// Owned; null when names are not redirected. Constant to begin with, so that a stream may be
/// opened while the program starts.
constinit RedirectionFile * g_redirectionFile = nullptr;

GModuleCtor const g_connect([] { GFile::SetRedirector(&fpbase::RedirectedName); });
GModuleDtor const g_release([] { delete std::exchange(g_redirectionFile, nullptr); });

} // namespace

fpbase::fpbase() : file_(new GFileIO), device_(file_) {
    device_.passLargePieces();
    init(&device_);
}

fpbase::fpbase(char const * name, int mode) : fpbase() {
    fpbase::open(name, mode);
}

fpbase::fpbase(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
               GFileIO::IOShareMode share)
    : fpbase() {
    fpbase::open(name, mode, create, share);
}

fpbase::~fpbase() = default;

void fpbase::open(char const * name, GIO::IOOpenMode mode, GFileIO::IOCreateMode create,
                  GFileIO::IOShareMode share) {
    if (is_open()) {
        clear(ReadFailedBit);
        return;
    }
    GFile target(name);
    if (create == GFileIO::ExistingOnly)
        target.redirect();
    bool const opened = file() && file()->open(target.c_str(), mode, create, share);
    if (opened)
        device_.setIO(file_); // an error of the file before is not one of this
    device_.store_open_mode(opened ? mode : GIO::ReadMode);
    clear(opened ? 0 : WriteFailedBit);
}

void fpbase::open(char const * name, int mode) {
    if (OlderOpenMode const older(mode); older.valid)
        open(name, older.mode, older.create, GFileIO::ShareNone);
}

void fpbase::close() {
    try {
        flush();
    } catch (...) { // the exception mask asks for it; the file is not to stay open for that
        if (file())
            file()->close();
        throw;
    }
    if (!file()) {
        setstate(WriteFailedBit);
        return;
    }
    file()->close();
    clear(0);
}

bool fpbase::change_size(long size) {
    return file() && file()->change_size(size);
}

void fpbase::SetRedirectionFile(char const * file) {
    SetRedirectionFile(file ? new RedirectionFile(file) : static_cast<RedirectionFile *>(nullptr));
}

void fpbase::SetRedirectionFile(RedirectionFile * file) {
    if (file != g_redirectionFile)
        delete std::exchange(g_redirectionFile, file);
}

RedirectionFile * fpbase::GetRedirectionFile() {
    return g_redirectionFile;
}

GString fpbase::RedirectedName(char const * name, unsigned char mustExist) {
    return name && g_redirectionFile ? g_redirectionFile->get_name(name, mustExist) : GString(name);
}

bool ofpstream::change_size(long size) {
    flush();
    return fpbase::change_size(size);
}

bool fpstream::change_size(long size) {
    flush();
    return fpbase::change_size(size);
}
