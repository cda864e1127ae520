// Walks over the directories, types and resources of an open resource file, from the last to the
// first, so that the current one may be removed on the way. An iterator must not outlive the handle
// it was made from, nor the directory or type that it walks.
#pragma once

#include "persistence/GResourcePath.h"
#include "platform/Export.h"

class GCollection;
class GStreamable;
class GResourceDirectory;
class GResourceDirectoryList;
class ResourceCollection;
class ResourceFile;
class ResourceFileServer;
struct ResourceFileBlock;

/// What the walks have in common: the place, and the step to the next one.
class ONDREL_API GResourceWalk {
  public:
    /// There is a current entry.
    explicit operator bool() const { return index_ >= 0; }
    GResourceWalk & operator++() {
        if (index_ >= 0)
            --index_;
        return *this;
    }
    /// -1 at the end.
    long index() const { return index_; }
    /// The size of what is walked; 0 when there is no such thing.
    long count() const;

  protected:
    GResourceWalk(ResourceFileServer * server, GCollection const * collection);
    /// The current entry is still there.
    bool isCurrent() const { return index_ >= 0 && index_ < count(); }

    ResourceFileServer * server_;
    GCollection const * collection_;
    long index_;
};

/// The directories in a directory.
class ONDREL_API GResourceSubDirectoryIterator : public GResourceWalk {
  public:
    /// Those of the current directory.
    explicit GResourceSubDirectoryIterator(ResourceFile const & file);
    GResourceSubDirectoryIterator(ResourceFile const & file, GResourcePath const & path);
    GString name() const;
};

/// The types in a directory.
class ONDREL_API GResourceTypeIterator : public GResourceWalk {
  public:
    /// Those of the current directory.
    explicit GResourceTypeIterator(ResourceFile const & file);
    GResourceTypeIterator(ResourceFile const & file, GResourcePath const & path);
    GString name() const;
};

/// The resources of a type.
class ONDREL_API GResourceIterator : public GResourceWalk {
  public:
    /// In the current directory.
    GResourceIterator(ResourceFile const & file, GString const & type);
    /// The name in `fullName` does not matter.
    GResourceIterator(ResourceFile const & file, GResourceFullName const & fullName);

    GString name() const;
    GResourceFullName fullName() const;
    /// Where it lies, the offset from the base of the section.
    ResourceFileBlock block() const;
    /// As ResourceFile::get.
    GStreamable * get(bool keep);
    /// The object that the file keeps loaded, or null.
    GStreamable * get_loaded() const;

  private:
    GResourceFullName fullName_;
};
