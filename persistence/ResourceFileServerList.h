// The open resource files of the process, for the store's own files. The last one was used last.
#pragma once

#include "persistence/ResourceFileServer.h"

class ResourceFileServerList : public TGCollection<ResourceFileServer> {
  public:
    static ResourceFileServerList & Get();

    /// Closes every handle first, so that none leads to a server that is gone.
    ~ResourceFileServerList() override;

    ResourceFileServer * find(char const * name) const;
    /// Null when the name leads to no file that is or could be made a resource file.
    ResourceFileServer * findOrCreate(char const * name, GIO::IOOpenMode mode);
    /// The same, with `file` among its handles; tells what opening has written.
    ResourceFileServer * connect(ResourceFile & file, char const * name, GIO::IOOpenMode mode);
    /// The server of `other`, with `file` among its handles.
    ResourceFileServer * share(ResourceFile & file, ResourceFile const & other);
    /// The handle gives up its server, which ends with its last one, unless it is resident.
    void disconnect(ResourceFile & file);
    void use(ResourceFileServer & server);
    /// Resident server `index` from the one used last; null when there are not so many.
    ResourceFileServer * used(long index) const;
    /// Tells what the opening of a file has written, once.
    static void tellOpening(ResourceFileServer * server);

    GCriticalSection & lock() const { return lock_; }

  private:
    ResourceFileServerList();

    mutable GCriticalSection lock_;
};
