// A handle on a resource file: many objects in one file, each found by directory, name and type.
// All handles on one file share one server, which does the work; the handle adds a current
// directory, name and type.
//
// The file is a log. Objects are appended, `flush` appends the directory, and only then do they
// count: what was flushed survives whatever happens to the process or the disk later, but for
// `pack`, which alone rewrites in place. Whether it also survives a loss of power is a matter of
// set_durable.
#pragma once

#include "foundation/GCallBackList.h"
#include "foundation/GCriticalSection.h"
#include "foundation/GFile.h"
#include "foundation/GStreamable.h"
#include "persistence/GIO.h"
#include "persistence/GResourceDirectory.h"
#include "persistence/GResourcePath.h"

#include <atomic>

class ResourceFileServer;

/// Every operation does nothing on a closed handle, and gives false, 0 or null; so does one that an
/// object calls on its own file while it is read or written. A handle belongs to one thread; the
/// file behind it may be shared with handles of others. Where another thread renames a directory,
/// the current directory of this handle follows with its next use.
class ONDREL_API ResourceFile : public GStreamable {
    G_DECLARE_CREATABLE(ResourceFile)
  public:
    /// Closed.
    ResourceFile();
    explicit ResourceFile(StreamableInit) : ResourceFile() {}
    ResourceFile(char const * name, GIO::IOOpenMode mode);
    /// Another handle on the same file, with the same current names.
    ResourceFile(ResourceFile const & other);
    ResourceFile & operator=(ResourceFile const & other);
    ~ResourceFile() override;

    void read(ipstream & in) override;
    /// The name of the file and the current names, not what is in the file.
    void write(opstream & out) override;

    /// Opens the file, making it when it is to be written and not there; one that cannot be written
    /// is opened for reading. A name that leads to no resource file leaves the handle closed. The
    /// file that is open already stays.
    virtual void open(char const * name, GIO::IOOpenMode mode);
    /// Flushes first. The last handle closes the file.
    virtual void close();
    virtual void set_type(GString const & type);
    /// Commits what has changed, if anything has; false when it could not be written, and then
    /// everything is as if it had not been tried.
    virtual bool flush();
    /// Closes the gaps and cuts the file. The one operation that may lose the file when it is
    /// broken off.
    virtual bool pack();

    bool is_open() const { return server_ != nullptr; }
    ResourceFileServer * server() const { return server_; }
    GFile get_filename() const;
    GIO::IOOpenMode io_mode() const;
    /// The state of the file's stream after the last operation: bits of pstream.
    int error() const;
    bool is_modified() const;
    /// Makes the next flush write.
    void mark_as_modified();

    /// Whether a flush waits until what it commits is on the medium, and so outlives a loss of
    /// power as well as the end of the process. It takes a flush as long as the medium needs,
    /// twice. Off at first; it holds for all handles on the file while the file is open. When it is
    /// turned on, what was committed before is brought there; false when that fails.
    bool set_durable(bool durable);
    bool is_durable() const;

    void set_current_directory(GResourcePath const & path);
    GResourcePath const & get_current_directory() const { return current(); }
    GString const & get_current_name() const { return current_.name; }
    GString const & get_current_type() const { return current_.type; }

    // Directories, from the root.

    bool directory_exists(GResourcePath const & path) const;
    /// With all that are missing on the way; true also when it is there already, false when it
    /// would stand deeper than ResourceFileServer::maxDepth.
    bool create_directory(GResourcePath const & path);
    /// With all that is in it; false when there is none.
    bool remove_directory(GResourcePath const & path);
    /// Moves it with all that is in it; what has the new path already is removed. False when there
    /// is none, or it would go into itself or too deep.
    bool rename_directory(GResourcePath const & from, GResourcePath const & to);
    /// The same from the current directory.
    bool create_subdirectory(GResourcePath const & path);
    bool remove_subdirectory(GResourcePath const & path);
    /// All resources in and below a directory. Directories without any are left out.
    bool copy_directory(GResourcePath const & from, GResourcePath const & to);
    bool copy_directory_from(GResourcePath const & to, ResourceFile const & source,
                             GResourcePath const & from);

    /// A removal of a type, and `empty`, reach the file with the next other change, or with
    /// mark_as_modified.
    bool remove_type(GString const & type);
    bool remove_type(GResourceFullName const & fullName);
    /// Removes everything.
    void empty();

    // Single resources: by full name, by name and type in the current directory, or by name alone,
    // which becomes the current name, with the current type.
    bool exist(GResourceFullName const & fullName) const;
    bool exist(GString const & name, GString const & type) const;
    bool exist(GString const & name);
    /// Stores `object`, null allowed, in place of what has that name. With `keep` the object goes
    /// over to the file and `get` gives it back. False when it could not be written: what was
    /// there in the file stays, and the object stays the caller's.
    bool put(GStreamable * object, GResourceFullName const & fullName, bool keep);
    bool put(GStreamable * object, GString const & name, GString const & type, bool keep);
    bool put(GStreamable * object, GString const & name, bool keep);
    /// The `keep` cannot be left out: a text would be taken for it.
    bool put(GStreamable * object, GString const & name, char const * type) = delete;
    /// Null when there is none or its block is damaged; a block that reads as something else throws
    /// InvalidPStream_Exception. The object is the caller's, or with `keep` the file's, which then
    /// gives the same one again.
    GStreamable * get(GResourceFullName const & fullName, bool keep);
    GStreamable * get(GString const & name, GString const & type, bool keep);
    GStreamable * get(GString const & name, bool keep);
    bool remove(GResourceFullName const & fullName);
    bool remove(GString const & name, GString const & type);
    bool remove(GString const & name);
    /// The class of a stored object, in a new array; null when there is none.
    char * read_class_name(GResourceFullName const & fullName);
    char * read_class_name(GString const & name, GString const & type);
    char * read_class_name(GString const & name);
    /// Where the resource lies, the offset from the start of the file; a default block when there
    /// is none.
    ResourceFileBlock get_resource_block(GResourceFullName const & fullName) const;
    ResourceFileBlock get_resource_block(GString const & name, GString const & type) const;
    ResourceFileBlock get_resource_block(GString const & name);

    /// What has the new name already is removed.
    bool rename(GResourceFullName const & from, GResourceFullName const & to);
    bool rename(GString const & from, GString const & to, GString const & type);
    bool rename(GString const & from, GString const & to);
    bool copy(GResourceFullName const & from, GResourceFullName const & to);
    /// Everything in another file.
    bool copy_from(ResourceFile const & source);
    /// The bytes of one resource as they lie. They are looked for from the start of the source
    /// file: what lies in a section behind an executable is not found this way.
    bool copy_from(GResourceFullName const & to, ResourceFile const & source,
                   GResourceFullName const & from);
    /// Bits of `flags`: 1 for bytes that are compressed already, 2 to compress them.
    enum CopyFlags : unsigned { CopyCompressed = 1, CopyCompress = 2 };
    /// `size` bytes from a stream, or all to its end when negative. They should be the stream of
    /// one pointer to be read by `get`. False, and nothing is stored, when there are not so many.
    bool copy_from(GResourceFullName const & to, ipstream & source, long size, unsigned flags);
    /// The bytes of a resource; with `decompress` those of the object. False when there is no such
    /// resource, its length before compression is not known, or one of the files fails.
    bool extract_to(opstream & target, GResourceFullName const & fullName, bool decompress);

    /// The file has a resource section, or could have one appended.
    static bool IsValidToRead(char const * name);
    static bool IsValidToRead(ipstream & in);

    // Servers. A resident one, made by Use, outlives its handles, and all of them together are a
    // search path, the one used last in front.

    static ResourceFileServer * Use(char const * name, GIO::IOOpenMode mode);
    /// Flushes the file when it is open.
    static void Update(char const * name);
    /// The server of an open file, or null.
    static ResourceFileServer * FindServer(char const * name);
    /// Writes to the first resident file, in its root.
    static bool Put(GStreamable * object, GString const & name, GString const & type, bool keep);
    /// From the first resident file that gives one.
    static GStreamable * Get(GString const & name, GString const & type, bool keep);
    /// Resident servers.
    static long GetCount();
    static ResourceFileServer * At(long index);

    // One list of callbacks for all files. They run when the lock of the server is left, but for
    // that of an emptied directory, and get the record that is named with the reason. Threads may
    // be in the same function at once; no thread is in one any more that was unregistered, but for
    // one that unregisters itself.

    /// What a callback gets: the file, and in the records below what it happened to.
    struct Reason_BaseInfo {
        ResourceFileServer * server;
    };
    /// A directory, from the root.
    struct Reason_DirectoryInfo : Reason_BaseInfo {
        GResourcePath path;
    };
    /// A directory with its former and its new path.
    struct Reason_DirectoryRenamedInfo : Reason_BaseInfo {
        GResourcePath from, to;
    };
    /// A handle with its former and its new current directory.
    struct Reason_CurrentDirectoryChangedInfo : Reason_BaseInfo {
        GResourcePath from, to;
        ResourceFile * file;
    };
    /// A resource, or a type by its directory and its type.
    struct Reason_FullNameInfo : Reason_BaseInfo {
        GResourceFullName fullName;
    };
    /// A resource and the object that was put.
    struct Reason_ItemPutInfo : Reason_FullNameInfo {
        GStreamable * object;
    };
    /// A resource by its former and its new name.
    struct Reason_ItemRenamedInfo : Reason_BaseInfo {
        GResourceFullName item, newName;
    };

    static GCallBackReason const Reason_Flushed;                 ///< Reason_BaseInfo
    static GCallBackReason const Reason_DirectoryCreated;        ///< Reason_DirectoryInfo
    static GCallBackReason const Reason_DirectoryRemoved;        ///< Reason_DirectoryInfo
    static GCallBackReason const Reason_DirectoryRenamed;        ///< Reason_DirectoryRenamedInfo
    static GCallBackReason const Reason_DirectoryEmptied;        ///< Reason_DirectoryInfo
    static GCallBackReason const Reason_CurrentDirectoryChanged; ///< the record of that name
    static GCallBackReason const Reason_TypeCreated;             ///< Reason_FullNameInfo
    static GCallBackReason const Reason_TypeRemoved;             ///< Reason_FullNameInfo
    static GCallBackReason const Reason_ItemPut;                 ///< Reason_ItemPutInfo
    static GCallBackReason const Reason_ItemRemoved;             ///< Reason_FullNameInfo
    static GCallBackReason const Reason_ItemRenamed;             ///< Reason_ItemRenamedInfo
    static GCallBackReason const Reason_ItemCopied;              ///< Reason_FullNameInfo

    static void RegisterCallback(GCallBackFunction function, GCallBackReason reason, void * data);
    static void UnRegisterCallback(GCallBackFunction function, GCallBackReason reason, void * data);
    static void EvokeCallback(GCallBackReason reason, Reason_BaseInfo & info);

  private:
    friend class ResourceFileServerList;

    GResourceFullName inCurrent(GString const & name, GString const & type) const;
    GResourceFullName makeCurrent(GString const & name);
    GResourcePath below(GResourcePath const & path) const;
    GResourceFullName & current() const;
    void setDirectory(GResourcePath const & path);
    void setServer(ResourceFileServer * server);
    void unregister_file();
    static void DirectoryRenamed(GCallBackReason reason, void * info, void * self);

    /// What the thread that renames a directory may see and change of a handle of another one.
    struct Followed {
        GCriticalSection lock;
        ResourceFileServer * server = nullptr;
        GResourcePath directory;
        std::atomic<bool> isRenamed{false};
    };

    ResourceFileServer * server_ = nullptr;
    mutable GResourceFullName current_; // the directory is read through current()
    mutable Followed followed_;
};
