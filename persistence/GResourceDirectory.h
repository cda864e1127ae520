// The directory tree of a resource store as it stands in memory and in its stream. A directory
// holds types by name, a type holds items by name, and an item says where in the file its object
// lies. What is read is not trusted: whatever the stream says, each part belongs to one owner, and
// nothing is null that a search would look at.
#pragma once

#include "foundation/GSortedCollection.h"
#include "foundation/GString.h"

#include <cstdint>
#include <new>

class GResourceDirectoryList;
class GResourcePath;

/// Where the bytes of a resource lie.
struct ResourceFileBlock {
    /// Relative to the resource section. No block lies at 0: that is an item without one.
    std::int32_t offset = 0;
    /// Bytes in the file.
    std::int32_t size = 0;
    /// Bytes of the object's stream before compression; -1 when unknown.
    std::int32_t rawSize = -1;
    /// Not 0 when the bytes are a compressed stream.
    std::int32_t compressed = 1;
};

/// A resource: its name, where it lies, and the object that is kept for it.
class ONDREL_API ResourceItem : public ResourceFileBlock {
  public:
    ResourceItem() = default;
    explicit ResourceItem(GString const & key) : key_(key), text_(key_.c_str()) {}
    /// Destroys the object.
    ~ResourceItem();
    /// Items that were read together have their memory together; it goes with the last of them.
    static void operator delete(ResourceItem * item, std::destroying_delete_t);
    ResourceItem(ResourceItem const &) = delete;
    ResourceItem & operator=(ResourceItem const &) = delete;

    /// The resource name. Who changes it sees to the order of the collection.
    GString key() const;
    /// Its text.
    char const * name() const { return text_; }
    void set_key(GString const & key);
    /// The loaded object, which the item owns; null when there is none.
    GStreamable * object() const { return object_; }
    /// Destroys the former object, unless it is this one.
    void set_object(GStreamable * object);
    /// Something was written for it.
    bool hasBlock() const { return offset != 0; }

  private:
    friend class ResourceCollection;
    class Row;
    ResourceItem(Row * row, char const * text) : text_(text), row_(row) {}

    GString key_; // unless the text stands in the row
    char const * text_ = key_.c_str();
    GStreamable * object_ = nullptr;
    Row * row_ = nullptr; // where the item lies; null when it has memory of its own
};

/// The items of one type, by name in byte order.
class ONDREL_API ResourceCollection : public TGSortedCollection<ResourceItem> {
    G_DECLARE_CREATABLE(ResourceCollection)
  public:
    ResourceCollection() : TGSortedCollection<ResourceItem>(0, 4, 1) {}
    ~ResourceCollection() override;

    /// Null when there is none of that name.
    ResourceItem * find(char const * key) const;

    void read(ipstream & in) override;
    /// Items without a block are left out.
    void write(opstream & out) override;
    void const * keyOf(void const * item) const override;
    int compare(void const * a, void const * b) const override;

  protected:
    void * write_item(void * item, opstream & out) override;
    void * read_item(ipstream & in) override;

  private:
    class Reading;
    Reading * reading_ = nullptr; // while a stream is being read
};

/// A type of a directory.
class ONDREL_API ResourceTypeItem {
  public:
    /// For reading: no collection yet.
    ResourceTypeItem() = default;
    explicit ResourceTypeItem(GString const & typeName)
        : name_(typeName), items_(new ResourceCollection) {}
    ~ResourceTypeItem() { delete items_; }
    ResourceTypeItem(ResourceTypeItem const &) = delete;
    ResourceTypeItem & operator=(ResourceTypeItem const &) = delete;

    GString const & name() const { return name_; }
    /// May be null in a directory that was read.
    ResourceCollection * items() const { return items_; }
    /// Made when there is none.
    ResourceCollection & makeItems();

  private:
    friend class GResourceDirectory;
    GString name_;
    ResourceCollection * items_ = nullptr;
};

/// The types by name in byte order; besides, the directories below.
class ONDREL_API GResourceDirectory : public TGSortedCollection<ResourceTypeItem> {
    G_DECLARE_CREATABLE(GResourceDirectory)
  public:
    GResourceDirectory() : TGSortedCollection<ResourceTypeItem>(0, 4, 1) {}
    ~GResourceDirectory() override;

    /// Empty for the root.
    GString const & name() const { return name_; }
    /// Who changes it sees to the order of the list.
    void set_name(GString const & name) { name_ = name; }
    /// Null for the root.
    GResourceDirectory * parent() const { return parent_; }
    void set_parent(GResourceDirectory * parent) { parent_ = parent; }

    /// The list of the directories below, which belongs to the directory; null when there is none
    /// and none is to be made.
    GResourceDirectoryList * get_subdirectories(bool create);
    GResourceDirectoryList const * subdirectories() const { return subdirectories_; }
    void remove_subdirectories();
    /// Null when there is none of that name.
    GResourceDirectory * get_subdirectory(GString const & name) const;
    /// Makes it unless it `existed`.
    GResourceDirectory * create_subdirectory(GString const & name, bool & existed);
    /// False when there is none of that name.
    bool remove_subdirectory(GString const & name);
    /// The names from the root to here. That of the root is empty and comes first.
    void build_path(GResourcePath & path) const;

    /// The type of that name, or null.
    ResourceTypeItem * find(char const * type) const;

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void const * keyOf(void const * item) const override;
    int compare(void const * a, void const * b) const override;

    /// Ends what a reading left behind that threw: the parts of directories that the stream has
    /// built since the last seek, whoever owns them. Nothing of them is usable afterwards.
    static void DestroyUnfinished(ipstream & in);

  protected:
    void * write_item(void * item, opstream & out) override;
    void * read_item(ipstream & in) override;

  private:
    void readParts(ipstream & in);

    GString name_;
    GResourceDirectory * parent_ = nullptr;
    GResourceDirectoryList * subdirectories_ = nullptr;
};

/// Directories side by side, by name in byte order.
class ONDREL_API GResourceDirectoryList : public TGSortedCollection<GResourceDirectory> {
    G_DECLARE_CREATABLE(GResourceDirectoryList)
  public:
    GResourceDirectoryList() : TGSortedCollection<GResourceDirectory>(0, 4, 1) {}
    ~GResourceDirectoryList() override;

    void read(ipstream & in) override;
    void const * keyOf(void const * item) const override;
    int compare(void const * a, void const * b) const override;

  protected:
    void * write_item(void * item, opstream & out) override;
    void * read_item(ipstream & in) override;
};
