// The tree and its stream. An item has three forms there; the signs of its first numbers tell them
// apart, because the two older ones had no version.
#include "persistence/GResourceDirectory.h"

#include "persistence/GResourcePath.h"
#include "persistence/pstream.h"

#include <algorithm>
#include <cstring>
#include <memory>

G_DEFINE_CREATABLE(ResourceCollection, "ResourceCollection", GSortedCollection)
G_DEFINE_CREATABLE(GResourceDirectory, "GResourceDirectory", GSortedCollection)
G_DEFINE_CREATABLE(GResourceDirectoryList, "GResourceDirectoryList", GSortedCollection)

namespace {

constexpr char const * oldestName = "ResourceTypeCollection";
/// What directories were called when there was only one in a file.
GMetaClass const g_oldestClass(GResourceDirectory::metaclass_, oldestName);

constexpr unsigned char version = 0;

int compareNames(void const * a, void const * b) {
    return std::strcmp(static_cast<char const *>(a), static_cast<char const *>(b));
}

/// An object that is to have one owner: a reference to one that came before is no such.
template <class T>
T * readOwned(ipstream & in) {
    T * const object = in.readPointer<T>();
    if (in.lastPointerMarker() != ipstream::KnownObject)
        return object;
    in.setstate(pstream::ReadFailedBit);
    return nullptr;
}

/// Undoes what a stream may say about a collection that owns its items and is searched.
void settle(GSortedCollection & collection) {
    collection.shouldDelete(1);
    collection.setDuplicates(0);
    collection.pack();
    for (long i = 1; i < collection.getCount(); ++i) {
        if (collection.compare(collection.keyOf(collection.at(i - 1)),
                               collection.keyOf(collection.at(i))) > 0) {
            collection.resort();
            return;
        }
    }
}

} // namespace

// Items.

/// Memory for items that are read together, each with its name behind it: a large directory costs
/// few allocations. All of them stay in one tree, so the count needs no lock of its own.
class ResourceItem::Row {
  public:
    static Row * Make(std::size_t size) { return ::new (::operator new(size)) Row(size); }

    /// Null when there is no room left.
    ResourceItem * add(GString const & name) {
        std::size_t const length = name.length() + std::size_t{1};
        std::size_t const begin =
            (used_ + alignof(ResourceItem) - 1) & ~(alignof(ResourceItem) - 1);
        if (size_ < begin + sizeof(ResourceItem) || size_ - begin - sizeof(ResourceItem) < length)
            return nullptr;
        char * const at = reinterpret_cast<char *>(this) + begin;
        char * const text = at + sizeof(ResourceItem);
        std::memcpy(text, name.c_str(), length);
        used_ = begin + sizeof(ResourceItem) + length;
        ++users_;
        return ::new (at) ResourceItem(this, text);
    }
    void leave() {
        if (--users_ == 0)
            ::operator delete(this);
    }

  private:
    explicit Row(std::size_t size) : size_(size) {}

    std::size_t size_;
    std::size_t used_ = sizeof(Row);
    std::size_t users_ = 1; // its items, and who fills it
};

ResourceItem::~ResourceItem() {
    GStreamable::Destroy(object_);
}

void ResourceItem::operator delete(ResourceItem * item, std::destroying_delete_t) {
    Row * const row = item->row_;
    item->~ResourceItem();
    if (row)
        row->leave();
    else
        ::operator delete(item);
}

GString ResourceItem::key() const {
    return text_ == key_.c_str() ? key_ : GString(text_);
}

void ResourceItem::set_key(GString const & key) {
    key_ = key;
    text_ = key_.c_str();
}

void ResourceItem::set_object(GStreamable * object) {
    if (object == object_)
        return;
    GStreamable * const former = object_;
    object_ = object;
    GStreamable::Destroy(former);
}

/// Makes the items of one collection while it is read. The rows grow with what has arrived.
class ResourceCollection::Reading {
  public:
    explicit Reading(ResourceCollection & items) : items_(items) { items_.reading_ = this; }
    ~Reading() {
        items_.reading_ = nullptr;
        if (row_)
            row_->leave();
    }
    Reading(Reading const &) = delete;
    Reading & operator=(Reading const &) = delete;

    /// The name of the next item, in one place for all of them.
    GString & name() { return name_; }
    ResourceItem * make() {
        if (name_.length() > longestName)
            return new ResourceItem(name_);
        ResourceItem * item = row_ ? row_->add(name_) : nullptr;
        if (item)
            return item;
        if (row_)
            row_->leave();
        row_ = nullptr;
        row_ = ResourceItem::Row::Make(size_);
        size_ = std::min(2 * size_, largestRow);
        return row_->add(name_);
    }

  private:
    static constexpr std::size_t longestName = 63;
    static constexpr std::size_t firstRow = 192;
    static constexpr std::size_t largestRow = 32768;
    static_assert(sizeof(ResourceItem::Row) + sizeof(ResourceItem) + longestName + 1 <= firstRow);

    ResourceCollection & items_;
    ResourceItem::Row * row_ = nullptr;
    std::size_t size_ = firstRow;
    GString name_;
};

ResourceCollection::~ResourceCollection() {
    free_all();
}

ResourceItem * ResourceCollection::find(char const * key) const {
    long index = 0;
    return search(key, index) ? at(index) : nullptr;
}

void const * ResourceCollection::keyOf(void const * item) const {
    return static_cast<ResourceItem const *>(item)->name();
}

int ResourceCollection::compare(void const * a, void const * b) const {
    return compareNames(a, b);
}

void ResourceCollection::read(ipstream & in) {
    {
        Reading const reading(*this);
        GSortedCollection::read(in);
    }
    settle(*this);
}

void ResourceCollection::write(opstream & out) {
    unsigned long written = 0;
    for (long i = 0; i < getCount(); ++i)
        written += at(i)->hasBlock();
    out.compat_writeDWord(written);
    out.compat_writeDWord(static_cast<unsigned long>(getLimit()));
    out.compat_writeDWord(static_cast<unsigned long>(getDelta()));
    out.writeByte(shouldDelete());
    for (long i = 0; i < getCount(); ++i)
        if (at(i)->hasBlock())
            write_item(at(i), out);
    out.writeByte(getDuplicates());
}

void * ResourceCollection::write_item(void * item, opstream & out) {
    auto const & resource = *static_cast<ResourceItem const *>(item);
    out.writeString(resource.name());
    out << static_cast<int>(0u - static_cast<std::uint32_t>(resource.offset)) << version
        << resource.size << resource.rawSize
        << static_cast<unsigned char>(resource.compressed != 0);
    return item;
}

void * ResourceCollection::read_item(ipstream & in) {
    if (!reading_) { // somebody calls the reading of the base class
        Reading const reading(*this);
        return ResourceCollection::read_item(in);
    }
    int first = 0, second = 0;
    in >> reading_->name() >> first;
    std::unique_ptr<ResourceItem> item(reading_->make());
    if (first < 0) {
        in.readByte();
        item->offset = static_cast<int>(0u - static_cast<std::uint32_t>(first));
        in >> item->size >> item->rawSize;
        item->compressed = in.readByte() != 0;
        return item.release();
    }
    in >> second;
    item->offset = first;
    item->compressed = second < 0;
    item->size = second < 0 ? static_cast<int>(0u - static_cast<std::uint32_t>(second)) : second;
    item->rawSize = second < 0 ? -1 : second;
    return item.release();
}

// Types.

ResourceCollection & ResourceTypeItem::makeItems() {
    if (!items_)
        items_ = new ResourceCollection;
    return *items_;
}

ResourceTypeItem * GResourceDirectory::find(char const * type) const {
    long index = 0;
    return search(type, index) ? at(index) : nullptr;
}

void const * GResourceDirectory::keyOf(void const * item) const {
    return static_cast<ResourceTypeItem const *>(item)->name().c_str();
}

int GResourceDirectory::compare(void const * a, void const * b) const {
    return compareNames(a, b);
}

void * GResourceDirectory::write_item(void * item, opstream & out) {
    auto const & type = *static_cast<ResourceTypeItem const *>(item);
    out << type.name();
    out.writePointer(type.items());
    return item;
}

void * GResourceDirectory::read_item(ipstream & in) {
    auto type = std::make_unique<ResourceTypeItem>();
    in >> type->name_;
    type->items_ = readOwned<ResourceCollection>(in);
    return type.release();
}

// Directories.

GResourceDirectory::~GResourceDirectory() {
    free_all();
    delete subdirectories_;
}

GResourceDirectoryList * GResourceDirectory::get_subdirectories(bool create) {
    if (!subdirectories_ && create)
        subdirectories_ = new GResourceDirectoryList;
    return subdirectories_;
}

void GResourceDirectory::remove_subdirectories() {
    delete subdirectories_;
    subdirectories_ = nullptr;
}

GResourceDirectory * GResourceDirectory::get_subdirectory(GString const & name) const {
    long index = 0;
    return subdirectories_ && subdirectories_->search(name.c_str(), index)
               ? subdirectories_->at(index)
               : nullptr;
}

GResourceDirectory * GResourceDirectory::create_subdirectory(GString const & name, bool & existed) {
    GResourceDirectoryList & list = *get_subdirectories(true);
    long index = 0;
    existed = list.search(name.c_str(), index);
    if (existed)
        return list.at(index);
    auto * const directory = new GResourceDirectory;
    directory->set_name(name);
    directory->set_parent(this);
    list.at_insert(index, directory);
    return directory;
}

bool GResourceDirectory::remove_subdirectory(GString const & name) {
    long index = 0;
    if (!subdirectories_ || !subdirectories_->search(name.c_str(), index))
        return false;
    subdirectories_->at_free(index);
    return true;
}

void GResourceDirectory::build_path(GResourcePath & path) const {
    if (parent_)
        parent_->build_path(path);
    else
        path.empty();
    path += name_;
}

void GResourceDirectory::write(opstream & out) {
    out << version;
    GSortedCollection::write(out);
    out << name_;
    out.writePointer(subdirectories_);
}

void GResourceDirectory::read(ipstream & in) {
    remove_subdirectories();
    GMetaClass const * const asClass = in.metaclassOfReadingObject();
    bool const oldest = asClass && std::strcmp(asClass->getName(), oldestName) == 0;
    if (!oldest)
        in.readByte();
    GSortedCollection::read(in);
    settle(*this);
    if (!oldest)
        readParts(in);
}

void GResourceDirectory::readParts(ipstream & in) {
    in >> name_;
    subdirectories_ = readOwned<GResourceDirectoryList>(in);
    for (long i = 0; subdirectories_ && i < subdirectories_->getCount(); ++i)
        subdirectories_->at(i)->set_parent(this);
}

void GResourceDirectory::DestroyUnfinished(ipstream & in) {
    long const count = in.getObjectCount();
    // First nobody owns anything any more, then each part goes by itself.
    for (long i = 0; i < count; ++i) {
        GStreamable * const object = in.getObject(i);
        if (auto * const directory = gcast<GResourceDirectory>(object)) {
            for (long j = 0; j < directory->getCount(); ++j)
                directory->at(j)->items_ = nullptr;
            directory->subdirectories_ = nullptr;
        } else if (auto * const list = gcast<GResourceDirectoryList>(object)) {
            list->remove_all();
        }
    }
    for (long i = 0; i < count; ++i) {
        GStreamable * const object = in.getObject(i);
        if (gcast<GResourceDirectory>(object) || gcast<GResourceDirectoryList>(object) ||
            gcast<ResourceCollection>(object))
            object->destroyThis();
    }
}

GResourceDirectoryList::~GResourceDirectoryList() {
    free_all();
}

void const * GResourceDirectoryList::keyOf(void const * item) const {
    return static_cast<GResourceDirectory const *>(item)->name().c_str();
}

int GResourceDirectoryList::compare(void const * a, void const * b) const {
    return compareNames(a, b);
}

void GResourceDirectoryList::read(ipstream & in) {
    GSortedCollection::read(in);
    settle(*this);
}

void * GResourceDirectoryList::write_item(void * item, opstream & out) {
    out.writePointer(static_cast<GResourceDirectory *>(item));
    return item;
}

void * GResourceDirectoryList::read_item(ipstream & in) {
    return readOwned<GResourceDirectory>(in);
}
