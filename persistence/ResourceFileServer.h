// The one who works on an open resource file: the stream, the directory tree and the place where
// the next block goes. Handles (ResourceFile) share it, and its lock makes each operation one.
//
// Blocks and directories are only ever written behind the last committed trailer, so whatever
// breaks off leaves the last committed directory and all that it names.
#pragma once

#include "foundation/GCriticalSection.h"
#include "foundation/GFile.h"
#include "persistence/GResourceDirectory.h"
#include "persistence/GResourcePath.h"
#include "persistence/ResourceFile.h"
#include "persistence/zpstream.h"

#include <memory>
#include <vector>

/// The worker behind the handles on one resource file.
class ONDREL_API ResourceFileServer {
  public:
    /// Directories within each other; a deeper tree could not be relied on to be written.
    static constexpr int maxDepth = 1000;

    ResourceFileServer(ResourceFileServer const &) = delete;
    ResourceFileServer & operator=(ResourceFileServer const &) = delete;

    /// The full name of the file that a name leads to.
    static GFile GetNameUsed(char const * name);
    bool isNameEquals(char const * name) const;
    GFile const & get_filename() const { return fileName_; }

    zpstream * get_stream() { return stream_.get(); }
    /// The registered handles.
    TGCollection<ResourceFile> & clients() { return clients_; }
    /// The state of the stream.
    int error() const;
    GIO::IOOpenMode io_mode() const { return stream_->io_mode(); }
    bool is_modified() const;
    void mark_as_modified();
    bool is_durable() const;
    bool set_durable(bool durable);
    /// Where the section begins in the file, and where in the section the next block goes.
    long base_position() const { return basePosition_; }
    long end_position() const { return endPosition_; }

    // As in ResourceFile, all with full names.
    /// The operations of the handles of those names; ResourceFile says what they do.
    bool flush();
    bool pack();
    bool directory_exists(GResourcePath const & path) const;
    bool create_directory(GResourcePath const & path);
    bool remove_directory(GResourcePath const & path);
    bool rename_directory(GResourcePath const & from, GResourcePath const & to);
    bool remove_type(GResourceFullName const & fullName);
    void empty();
    bool exist(GResourceFullName const & fullName) const;
    bool put(GStreamable * object, GResourceFullName const & fullName, bool keep);
    GStreamable * get(GResourceFullName const & fullName, bool keep);
    bool remove(GResourceFullName const & fullName);
    bool rename(GResourceFullName const & from, GResourceFullName const & to);
    char * read_class_name(GResourceFullName const & fullName);
    ResourceFileBlock get_resource_block(GResourceFullName const & fullName) const;
    bool copy_from(GResourceFullName const & fullName, ipstream & source, long size,
                   unsigned flags);
    bool extract_to(opstream & target, GResourceFullName const & fullName, bool decompress);

  private:
    friend class ResourceFile;
    friend class ResourceFileServerList;
    friend class GResourceSubDirectoryIterator;
    friend class GResourceTypeIterator;
    friend class GResourceIterator;
    friend class TGCollection<ResourceFileServer>;
    friend struct std::default_delete<ResourceFileServer>;

    /// What a search had to make, to be told when the lock is left.
    struct Created {
        bool directory = false, type = false;
    };
    /// What stands at the base of the section.
    enum class Header { Missing, OldFormat, Current };
    class Plain;
    class Storing;
    using Items = TGCollection<ResourceItem>;

    /// Takes over the stream, which stands at the start of an open file. There is no root when the
    /// file could not be made fit for use.
    ResourceFileServer(std::unique_ptr<zpstream> stream, char const * name);
    ~ResourceFileServer();

    bool writable() const { return (io_mode() & GIO::WriteMode) != 0; }
    void register_resource_file(ResourceFile & file) { clients_.insert(&file); }
    void unregister_resource_file(ResourceFile & file) { clients_.remove(&file); }

    // Opening (ResourceFileOpening.cpp).
    static bool FindBasePosAndMagic(ipstream & in, long & base);
    void open_new_format_file();
    void take_directory(std::unique_ptr<GResourceDirectory> directory, long end, long passedOver);
    void open_old_format_file(std::uint32_t directory);
    void make_new_section();
    bool keep_damaged_file();
    bool find_root_directory_position(long & root, long & end);
    GResourceDirectory * read_directory(long position, bool compressed, long & end);
    bool directory_begins_at(long position);

    // Committing.
    bool commit();
    bool write_trailers(long directory);
    bool reaches_medium();
    bool write_header();
    bool ends_in_reach(long end, long more);
    bool seek_to(long position, GIO::IOOpenMode mode);
    bool seek_to_write(long position) { return seek_to(position, GIO::WriteMode); }
    bool seek_to_read(long position) { return seek_to(position, GIO::ReadMode); }

    // Blocks.
    bool is_within(ResourceFileBlock const & block) const;
    GStreamable * get_from_item(ResourceItem * item, bool keep);
    bool read_raw(GResourceFullName const & fullName, std::vector<unsigned char> & bytes,
                  ResourceFileBlock & block);
    bool put_raw(GResourceFullName const & fullName, std::vector<unsigned char> & bytes,
                 ResourceFileBlock const & block);
    bool copy_block(GResourceFullName const & fullName, ipstream & source, long size,
                    unsigned flags, std::int32_t const * rawSize);
    bool read_bytes(long size, std::vector<unsigned char> & bytes);
    void forget_unwritten(GResourceFullName const & fullName);

    // The tree. Null when there is no such thing, or when it cannot be made.
    ResourceItem * find_item(GResourceFullName const & fullName) const;
    ResourceItem * find_or_create_item(GResourceFullName const & fullName, Created & created);
    ResourceTypeItem * find_type(GResourceFullName const & fullName) const;
    ResourceTypeItem * find_or_create_type(GResourceFullName const & fullName, Created & created);
    GResourceDirectory * find_directory(GResourcePath const & path) const;
    GResourceDirectory * find_or_create_directory(GResourcePath const & path, Created & created);
    // What iterators walk; null when there is no such thing.
    GCollection const * walk_directories(GResourcePath const & path) const;
    GCollection const * walk_types(GResourcePath const & path) const;
    GCollection const * walk_items(GResourceFullName const & fullName) const;
    /// The full names of all resources in and below a directory, from the last to the first, each
    /// directory before those below it.
    std::vector<GResourceFullName> names_below(GResourcePath const & path) const;
    bool remove_item(GResourceFullName const & fullName);
    bool remove_directory_below(GResourcePath const & path);
    void tell(Created const & created, GResourceFullName const & fullName);

    // Packing (ResourceFilePack.cpp).
    bool pack(int & commits);
    void collect(GResourceDirectory & directory, Items & items);
    static bool lie_in_order(Items const & items, long end);
    bool close_gaps(Items & items);
    bool move_block(ResourceItem & item, long to);

    std::unique_ptr<zpstream> stream_;
    std::unique_ptr<GResourceDirectory> root_;
    GFile fileName_;
    long basePosition_ = 0;
    long endPosition_ = 0;
    long committedEnd_ = 0; // of the last trailer, as far as it is known
    TGCollection<ResourceFile> clients_{0, 2, 0};
    bool modified_ = false;
    bool durable_ = false; // commits wait for the medium
    bool used_ = false;
    bool busy_ = false; // a block is under way
    bool committedOnOpening_ = false;
    Header header_ = Header::Missing;
    mutable GCriticalSection lock_;
};
