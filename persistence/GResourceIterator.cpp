// Each look at the tree takes the server's lock.
#include "persistence/GResourceIterator.h"

#include "persistence/ResourceFileServer.h"

GResourceWalk::GResourceWalk(ResourceFileServer * server, GCollection const * collection)
    : server_(server), collection_(collection), index_(count() - 1) {}

long GResourceWalk::count() const {
    return collection_ ? collection_->getCount() : 0;
}

GResourceSubDirectoryIterator::GResourceSubDirectoryIterator(ResourceFile const & file)
    : GResourceSubDirectoryIterator(file, file.get_current_directory()) {}

GResourceSubDirectoryIterator::GResourceSubDirectoryIterator(ResourceFile const & file,
                                                             GResourcePath const & path)
    : GResourceWalk(file.server(),
                    file.server() ? file.server()->walk_directories(path) : nullptr) {}

GString GResourceSubDirectoryIterator::name() const {
    if (!server_)
        return GString();
    GSingleLock const lock(server_->lock_);
    return isCurrent()
               ? static_cast<GResourceDirectoryList const *>(collection_)->at(index_)->name()
               : GString();
}

GResourceTypeIterator::GResourceTypeIterator(ResourceFile const & file)
    : GResourceTypeIterator(file, file.get_current_directory()) {}

GResourceTypeIterator::GResourceTypeIterator(ResourceFile const & file, GResourcePath const & path)
    : GResourceWalk(file.server(), file.server() ? file.server()->walk_types(path) : nullptr) {}

GString GResourceTypeIterator::name() const {
    if (!server_)
        return GString();
    GSingleLock const lock(server_->lock_);
    return isCurrent() ? static_cast<GResourceDirectory const *>(collection_)->at(index_)->name()
                       : GString();
}

GResourceIterator::GResourceIterator(ResourceFile const & file, GString const & type)
    : GResourceIterator(file, GResourceFullName(file.get_current_directory(), GString(), type)) {}

GResourceIterator::GResourceIterator(ResourceFile const & file, GResourceFullName const & fullName)
    : GResourceWalk(file.server(), file.server() ? file.server()->walk_items(fullName) : nullptr),
      fullName_(fullName) {}

GString GResourceIterator::name() const {
    if (!server_)
        return GString();
    GSingleLock const lock(server_->lock_);
    return isCurrent() ? static_cast<ResourceCollection const *>(collection_)->at(index_)->key()
                       : GString();
}

GResourceFullName GResourceIterator::fullName() const {
    return GResourceFullName(fullName_, name(), fullName_.type);
}

ResourceFileBlock GResourceIterator::block() const {
    if (!server_)
        return {};
    GSingleLock const lock(server_->lock_);
    if (!isCurrent())
        return {};
    return *static_cast<ResourceCollection const *>(collection_)->at(index_);
}

GStreamable * GResourceIterator::get(bool keep) {
    if (!server_)
        return nullptr;
    GSingleLock const lock(server_->lock_);
    return isCurrent() ? server_->get_from_item(
                             static_cast<ResourceCollection const *>(collection_)->at(index_), keep)
                       : nullptr;
}

GStreamable * GResourceIterator::get_loaded() const {
    if (!server_)
        return nullptr;
    GSingleLock const lock(server_->lock_);
    return isCurrent() ? static_cast<ResourceCollection const *>(collection_)->at(index_)->object()
                       : nullptr;
}
