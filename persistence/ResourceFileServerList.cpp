// Which files are open. The lock of the list is taken before that of a server, and it is held while
// a file is opened or closed: two servers on one file would each write over what the other wrote.
#include "persistence/ResourceFileServerList.h"

#include "persistence/ResourceFileCallbacks.h"
#include "persistence/fpstream.h"

#include <utility>

namespace {

constexpr unsigned short compressionSpeed = 3;

std::unique_ptr<zpstream> openStream(char const * name, GIO::IOOpenMode mode) {
    auto stream = std::make_unique<zpstream>();
    if (mode == GIO::ReadWriteMode) {
        stream->open(name, mode, GFileIO::ExistingOnly, GFileIO::ShareNone, compressionSpeed);
        if (!stream->is_open()) {
            stream->clear();
            stream->open(name, mode, GFileIO::OpenOrCreate, GFileIO::ShareNone, compressionSpeed);
        }
    }
    if (!stream->is_open()) {
        stream->clear();
        stream->open(name, GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead,
                     compressionSpeed);
    }
    if (!stream->is_open() || !stream->good())
        return nullptr;
    stream->turn_to_norm();
    if (!ResourceFile::IsValidToRead(*stream))
        return nullptr;
    stream->clear();
    stream->seekg(0);
    return stream;
}

} // namespace

ResourceFileServerList::ResourceFileServerList() : TGCollection<ResourceFileServer>(0, 4, 1) {
    ResourceFileCallbacks::Get(); // handles that are closed in the end still use them
}

ResourceFileServerList & ResourceFileServerList::Get() {
    static ResourceFileServerList list;
    return list;
}

ResourceFileServerList::~ResourceFileServerList() {
    GSingleLock const lock(lock_);
    for (long i = getCount() - 1; i >= 0; --i)
        at(i)->used_ = true;
    for (long i = getCount() - 1; i >= 0; --i)
        while (at(i)->clients_.getCount() > 0) {
            ResourceFile * const file = at(i)->clients_.at(at(i)->clients_.getCount() - 1);
            try {
                file->close();
            } catch (...) { // nobody is left to be told
            }
            file->unregister_file(); // also when a derived class does not
        }
    free_all();
}

ResourceFileServer * ResourceFileServerList::find(char const * name) const {
    if (!name || !*name)
        return nullptr;
    GSingleLock const lock(lock_);
    if (getCount() == 0)
        return nullptr;
    GFile const used(ResourceFileServer::GetNameUsed(name));
    for (long i = getCount() - 1; i >= 0; --i)
        if (!at(i)->fileName_.isEmpty() && at(i)->fileName_.compare(used) == 0)
            return at(i);
    return nullptr;
}

ResourceFileServer * ResourceFileServerList::findOrCreate(char const * name, GIO::IOOpenMode mode) {
    GSingleLock const lock(lock_);
    if (ResourceFileServer * const server = find(name))
        return server;
    if (!name || !*name)
        return nullptr;
    std::unique_ptr<zpstream> stream =
        openStream(name, mode == GIO::WriteMode ? GIO::ReadWriteMode : mode);
    if (!stream)
        return nullptr;
    std::unique_ptr<ResourceFileServer> server(new ResourceFileServer(std::move(stream), name));
    if (!server->root_)
        return nullptr;
    insert(server.get());
    return server.release();
}

ResourceFileServer * ResourceFileServerList::connect(ResourceFile & file, char const * name,
                                                     GIO::IOOpenMode mode) {
    ResourceFileServer * server = nullptr;
    {
        GSingleLock const lock(lock_);
        server = findOrCreate(name, mode);
        if (server)
            server->register_resource_file(file);
    }
    tellOpening(server);
    return server;
}

ResourceFileServer * ResourceFileServerList::share(ResourceFile & file,
                                                   ResourceFile const & other) {
    GSingleLock const lock(lock_);
    if (other.server_)
        other.server_->register_resource_file(file);
    return other.server_;
}

void ResourceFileServerList::tellOpening(ResourceFileServer * server) {
    if (!server || !std::exchange(server->committedOnOpening_, false))
        return;
    ResourceFile::Reason_BaseInfo info{server};
    ResourceFile::EvokeCallback(ResourceFile::Reason_Flushed, info);
}

void ResourceFileServerList::disconnect(ResourceFile & file) {
    GSingleLock const lock(lock_);
    ResourceFileServer * const server = std::exchange(file.server_, nullptr);
    if (!server)
        return;
    server->unregister_resource_file(file);
    // An object that closes the last handle on the file that it is being read from leaves a server
    // without handles, which waits for the next one.
    if (server->clients_.getCount() > 0 || server->used_ || server->busy_)
        return;
    remove(server);
    delete server;
}

void ResourceFileServerList::use(ResourceFileServer & server) {
    GSingleLock const lock(lock_);
    server.used_ = true;
    remove(&server);
    insert(&server);
}

ResourceFileServer * ResourceFileServerList::used(long index) const {
    GSingleLock const lock(lock_);
    for (long i = getCount() - 1; i >= 0 && index >= 0; --i)
        if (at(i)->used_ && index-- == 0)
            return at(i);
    return nullptr;
}

// What ResourceFile offers of it.

ResourceFileServer * ResourceFile::Use(char const * name, GIO::IOOpenMode mode) {
    ResourceFileServerList & list = ResourceFileServerList::Get();
    ResourceFileServer * server = nullptr;
    {
        GSingleLock const lock(list.lock());
        server = list.findOrCreate(name, mode);
        if (server)
            list.use(*server);
    }
    ResourceFileServerList::tellOpening(server);
    return server;
}

void ResourceFile::Update(char const * name) {
    if (ResourceFileServer * const server = FindServer(name))
        server->flush();
}

ResourceFileServer * ResourceFile::FindServer(char const * name) {
    return ResourceFileServerList::Get().find(name);
}

bool ResourceFile::Put(GStreamable * object, GString const & name, GString const & type,
                       bool keep) {
    ResourceFileServer * const server = At(0);
    return server && server->put(object, GResourceFullName(GResourcePath(), name, type), keep);
}

GStreamable * ResourceFile::Get(GString const & name, GString const & type, bool keep) {
    GResourceFullName const fullName(GResourcePath(), name, type);
    for (long i = 0; ResourceFileServer * const server = At(i); ++i)
        if (GStreamable * const object = server->get(fullName, keep))
            return object;
    return nullptr;
}

long ResourceFile::GetCount() {
    long count = 0;
    while (At(count))
        ++count;
    return count;
}

ResourceFileServer * ResourceFile::At(long index) {
    return ResourceFileServerList::Get().used(index);
}
