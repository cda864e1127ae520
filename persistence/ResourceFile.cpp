// The handle: it puts names together and passes on.
#include "persistence/ResourceFile.h"

#include "persistence/ResourceFileCallbacks.h"
#include "persistence/ResourceFileFormat.h"
#include "persistence/ResourceFileServerList.h"
#include "persistence/fpstream.h"

#include <vector>

G_DEFINE_CREATABLE(ResourceFile, "ResourceFile", GStreamable)

GCallBackReason const ResourceFile::Reason_Flushed;
GCallBackReason const ResourceFile::Reason_DirectoryCreated;
GCallBackReason const ResourceFile::Reason_DirectoryRemoved;
GCallBackReason const ResourceFile::Reason_DirectoryRenamed;
GCallBackReason const ResourceFile::Reason_DirectoryEmptied;
GCallBackReason const ResourceFile::Reason_CurrentDirectoryChanged;
GCallBackReason const ResourceFile::Reason_TypeCreated;
GCallBackReason const ResourceFile::Reason_TypeRemoved;
GCallBackReason const ResourceFile::Reason_ItemPut;
GCallBackReason const ResourceFile::Reason_ItemRemoved;
GCallBackReason const ResourceFile::Reason_ItemRenamed;
GCallBackReason const ResourceFile::Reason_ItemCopied;

namespace {

constexpr unsigned char version = 2;

} // namespace

void ResourceFile::RegisterCallback(GCallBackFunction function, GCallBackReason reason,
                                    void * data) {
    ResourceFileCallbacks::Get().attach(function, reason, data);
}

void ResourceFile::UnRegisterCallback(GCallBackFunction function, GCallBackReason reason,
                                      void * data) {
    ResourceFileCallbacks::Get().detach(function, reason, data);
}

void ResourceFile::EvokeCallback(GCallBackReason reason, Reason_BaseInfo & info) {
    ResourceFileCallbacks::Get().call(reason, &info);
}

// Opening and closing.

ResourceFile::ResourceFile() {
    RegisterCallback(&DirectoryRenamed, Reason_DirectoryRenamed, this);
}

ResourceFile::ResourceFile(char const * name, GIO::IOOpenMode mode) : ResourceFile() {
    ResourceFile::open(name, mode);
}

ResourceFile::ResourceFile(ResourceFile const & other) : GStreamable(), current_(other.current()) {
    RegisterCallback(&DirectoryRenamed, Reason_DirectoryRenamed, this);
    setDirectory(current_);
    setServer(ResourceFileServerList::Get().share(*this, other));
}

ResourceFile & ResourceFile::operator=(ResourceFile const & other) {
    if (server_ != other.server_) {
        unregister_file();
        setServer(ResourceFileServerList::Get().share(*this, other));
    }
    current_ = other.current();
    setDirectory(current_);
    return *this;
}

ResourceFile::~ResourceFile() {
    UnRegisterCallback(&DirectoryRenamed, Reason_DirectoryRenamed, this);
    try {
        ResourceFile::close();
    } catch (...) { // from the last flush; nobody is left to be told
        unregister_file();
    }
}

void ResourceFile::open(char const * name, GIO::IOOpenMode mode) {
    if (server_ && server_->isNameEquals(name))
        return;
    close();
    setServer(ResourceFileServerList::Get().connect(*this, name, mode));
}

void ResourceFile::close() {
    if (!server_)
        return;
    flush();
    unregister_file();
}

void ResourceFile::setServer(ResourceFileServer * server) {
    server_ = server;
    GSingleLock const lock(followed_.lock);
    followed_.server = server;
}

void ResourceFile::unregister_file() {
    {
        GSingleLock const lock(followed_.lock);
        followed_.server = nullptr;
    }
    ResourceFileServerList::Get().disconnect(*this);
}

void ResourceFile::DirectoryRenamed(GCallBackReason, void * info, void * self) {
    auto const & renamed = *static_cast<Reason_DirectoryRenamedInfo const *>(info);
    auto & followed = static_cast<ResourceFile *>(self)->followed_;
    GSingleLock const lock(followed.lock);
    if (followed.server == renamed.server &&
        followed.directory.rename_path_from_root(renamed.from, renamed.to))
        followed.isRenamed = true;
}

void ResourceFile::write(opstream & out) {
    out << version << static_cast<unsigned char>(is_open());
    if (is_open())
        out << static_cast<unsigned int>(io_mode()) << get_filename() << current();
}

void ResourceFile::read(ipstream & in) {
    unsigned char const written = in.readByte();
    if (in.readByte() == 0)
        return;
    int mode = GIO::ReadWriteMode;
    if (written >= 1)
        in >> mode;
    GFile file;
    in >> file;
    if (!in)
        return;
    file.redirect();
    file.expand();
    open(file.c_str(), static_cast<GIO::IOOpenMode>(mode & GIO::ReadWriteMode));
    if (written >= 2) {
        current_.empty();
        in >> current_;
        setDirectory(current_);
    }
}

bool ResourceFile::IsValidToRead(char const * name) {
    if (FindServer(name))
        return true;
    ifpstream in(name, GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareBoth);
    return in.is_open() && IsValidToRead(in);
}

bool ResourceFile::IsValidToRead(ipstream & in) {
    bool found = false;
    return resource_file::findBase(in, found) >= 0;
}

// The file as a whole.

bool ResourceFile::flush() {
    return server_ && server_->flush();
}

bool ResourceFile::pack() {
    return server_ && server_->pack();
}

GFile ResourceFile::get_filename() const {
    return server_ ? server_->get_filename() : GFile();
}

GIO::IOOpenMode ResourceFile::io_mode() const {
    return server_ ? server_->io_mode() : static_cast<GIO::IOOpenMode>(0);
}

int ResourceFile::error() const {
    return server_ ? server_->error() : 0;
}

bool ResourceFile::is_modified() const {
    return server_ && server_->is_modified();
}

void ResourceFile::mark_as_modified() {
    if (server_)
        server_->mark_as_modified();
}

bool ResourceFile::set_durable(bool durable) {
    return server_ && server_->set_durable(durable);
}

bool ResourceFile::is_durable() const {
    return server_ && server_->is_durable();
}

void ResourceFile::empty() {
    if (server_)
        server_->empty();
}

// Names.

/// The owner of the handle takes over here what another thread has renamed.
GResourceFullName & ResourceFile::current() const {
    if (followed_.isRenamed) {
        GSingleLock const lock(followed_.lock);
        static_cast<GResourcePath &>(current_) = followed_.directory;
        followed_.isRenamed = false;
    }
    return current_;
}

void ResourceFile::setDirectory(GResourcePath const & path) {
    GSingleLock const lock(followed_.lock);
    followed_.directory = static_cast<GResourcePath &>(current_) = path;
    followed_.isRenamed = false;
}

GResourceFullName ResourceFile::inCurrent(GString const & name, GString const & type) const {
    return GResourceFullName(current(), name, type);
}

GResourceFullName ResourceFile::makeCurrent(GString const & name) {
    if (server_)
        current_.name = name;
    return inCurrent(name, current_.type);
}

GResourcePath ResourceFile::below(GResourcePath const & path) const {
    GResourcePath full(current());
    full += path;
    return full;
}

void ResourceFile::set_type(GString const & type) {
    if (server_)
        current_.type = type;
}

void ResourceFile::set_current_directory(GResourcePath const & path) {
    if (!server_ || current().path() == path)
        return;
    Reason_CurrentDirectoryChangedInfo info{{server_}, current_.path(), path, this};
    setDirectory(path);
    EvokeCallback(Reason_CurrentDirectoryChanged, info);
}

// Directories.

bool ResourceFile::directory_exists(GResourcePath const & path) const {
    return server_ && server_->directory_exists(path);
}

bool ResourceFile::create_directory(GResourcePath const & path) {
    return server_ && server_->create_directory(path);
}

bool ResourceFile::remove_directory(GResourcePath const & path) {
    return server_ && server_->remove_directory(path);
}

bool ResourceFile::rename_directory(GResourcePath const & from, GResourcePath const & to) {
    return server_ && server_->rename_directory(from, to);
}

bool ResourceFile::create_subdirectory(GResourcePath const & path) {
    return create_directory(below(path));
}

bool ResourceFile::remove_subdirectory(GResourcePath const & path) {
    return remove_directory(below(path));
}

bool ResourceFile::copy_directory(GResourcePath const & from, GResourcePath const & to) {
    return !(from == to) && copy_directory_from(to, *this, from);
}

bool ResourceFile::copy_directory_from(GResourcePath const & to, ResourceFile const & source,
                                       GResourcePath const & from) {
    if (!server_ || !source.server_)
        return false;
    // All names are gathered first: the copies may go into the very directory.
    bool copied = true;
    for (GResourceFullName const & name : source.server_->names_below(from)) {
        GResourceFullName target(name);
        target.rename_path_from_root(from, to);
        copied = copy_from(target, source, name) && copied;
    }
    return copied;
}

bool ResourceFile::copy_from(ResourceFile const & source) {
    return server_ != source.server_ &&
           copy_directory_from(GResourcePath(), source, GResourcePath());
}

bool ResourceFile::remove_type(GString const & type) {
    return remove_type(inCurrent(GString(), type));
}

bool ResourceFile::remove_type(GResourceFullName const & fullName) {
    return server_ && server_->remove_type(fullName);
}

// Single resources.

bool ResourceFile::exist(GResourceFullName const & fullName) const {
    return server_ && server_->exist(fullName);
}

bool ResourceFile::exist(GString const & name, GString const & type) const {
    return exist(inCurrent(name, type));
}

bool ResourceFile::exist(GString const & name) {
    return exist(makeCurrent(name));
}

bool ResourceFile::put(GStreamable * object, GResourceFullName const & fullName, bool keep) {
    return server_ && server_->put(object, fullName, keep);
}

bool ResourceFile::put(GStreamable * object, GString const & name, GString const & type,
                       bool keep) {
    return put(object, inCurrent(name, type), keep);
}

bool ResourceFile::put(GStreamable * object, GString const & name, bool keep) {
    return put(object, makeCurrent(name), keep);
}

GStreamable * ResourceFile::get(GResourceFullName const & fullName, bool keep) {
    return server_ ? server_->get(fullName, keep) : nullptr;
}

GStreamable * ResourceFile::get(GString const & name, GString const & type, bool keep) {
    return get(inCurrent(name, type), keep);
}

GStreamable * ResourceFile::get(GString const & name, bool keep) {
    return get(makeCurrent(name), keep);
}

bool ResourceFile::remove(GResourceFullName const & fullName) {
    return server_ && server_->remove(fullName);
}

bool ResourceFile::remove(GString const & name, GString const & type) {
    return remove(inCurrent(name, type));
}

bool ResourceFile::remove(GString const & name) {
    return remove(makeCurrent(name));
}

char * ResourceFile::read_class_name(GResourceFullName const & fullName) {
    return server_ ? server_->read_class_name(fullName) : nullptr;
}

char * ResourceFile::read_class_name(GString const & name, GString const & type) {
    return read_class_name(inCurrent(name, type));
}

char * ResourceFile::read_class_name(GString const & name) {
    return read_class_name(makeCurrent(name));
}

ResourceFileBlock ResourceFile::get_resource_block(GResourceFullName const & fullName) const {
    return server_ ? server_->get_resource_block(fullName) : ResourceFileBlock();
}

ResourceFileBlock ResourceFile::get_resource_block(GString const & name,
                                                   GString const & type) const {
    return get_resource_block(inCurrent(name, type));
}

ResourceFileBlock ResourceFile::get_resource_block(GString const & name) {
    return get_resource_block(makeCurrent(name));
}

bool ResourceFile::rename(GResourceFullName const & from, GResourceFullName const & to) {
    return server_ && server_->rename(from, to);
}

bool ResourceFile::rename(GString const & from, GString const & to, GString const & type) {
    return rename(inCurrent(from, type), inCurrent(to, type));
}

bool ResourceFile::rename(GString const & from, GString const & to) {
    return rename(from, to, current_.type);
}

bool ResourceFile::copy(GResourceFullName const & from, GResourceFullName const & to) {
    return !(from == to) && copy_from(to, *this, from);
}

bool ResourceFile::copy_from(GResourceFullName const & to, ResourceFile const & source,
                             GResourceFullName const & from) {
    if (!server_ || !source.server_)
        return false;
    // Read and written in two steps, so that never two servers are locked at once.
    std::vector<unsigned char> bytes;
    ResourceFileBlock block;
    return source.server_->read_raw(from, bytes, block) && server_->put_raw(to, bytes, block);
}

bool ResourceFile::copy_from(GResourceFullName const & to, ipstream & source, long size,
                             unsigned flags) {
    return server_ && server_->copy_from(to, source, size, flags);
}

bool ResourceFile::extract_to(opstream & target, GResourceFullName const & fullName,
                              bool decompress) {
    return server_ && server_->extract_to(target, fullName, decompress);
}
