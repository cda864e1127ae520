// Fetching objects out of library files, and putting them there.
#include "tavlinbase/LibraryCatalogue.h"

#include "diagnostics/TavlinError.h"
#include "foundation/GModule.h"
#include "persistence/mpstream.h"
#include "tavlinbase/TavlinObject.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>
#include <new>

namespace Tavlin {

G_DEFINE_CLASS(LibraryShelf, "Tavlin::LibraryShelf", RefCounter)

namespace {

constexpr char source[] = "tavlinbase/TavlinLibrary";

GResourceFullName fullNameOf(NameLinkID name) {
    GResourceFullName fullName;
    fullName.parse_readable_form(name.c_str());
    return fullName;
}

bool isWritable(ResourceFile const & file) {
    return (file.io_mode() & GIO::WriteMode) != 0;
}

} // namespace

class LibraryShelf::Loading {
  public:
    Loading(LibraryShelf & shelf, NameLinkID name) : names_(shelf.underWay_) {
        names_.push_back(name);
    }
    ~Loading() { names_.pop_back(); }
    Loading(Loading const &) = delete;
    Loading & operator=(Loading const &) = delete;

  private:
    std::vector<NameLinkID> & names_;
};

// For reading only, so that several processes may share a library, and none is made by a look.
LibraryShelf::LibraryShelf(GFile const & file)
    : resourceFile_(new ResourceFile(file.c_str(), GIO::ReadMode)), fileName_(file) {}

LibraryShelf::~LibraryShelf() = default;

TRef<Object> LibraryShelf::get(NameLinkID name) {
    FinalReleasePause const pause;
    if (TRef<IBookMark> const mark = loaded_.find(name))
        return mark->getObject();
    return load(name);
}

TRef<Object> LibraryShelf::load(NameLinkID name) {
    if (std::find(underWay_.begin(), underWay_.end(), name) != underWay_.end())
        throw Error(source, __LINE__, "'%s' object from '%s' contains itself! ", name.c_str(),
                    fileName_.c_str());
    Loading const loading(*this, name);
    if (!resourceFile_->is_open()) // it may have come since
        resourceFile_->open(fileName_.c_str(), GIO::ReadMode);
    mpstream bytes;
    if (!resourceFile_->extract_to(bytes, fullNameOf(name), true))
        throw Error(source, __LINE__, "Could not retrieve '%s' object from '%s'! ", name.c_str(),
                    fileName_.c_str());
    bytes.seekg(0);
    auto * const streamed = bytes.readPointer<GStreamable>();
    ObjectCreator creator(streamed);
    TRef<Object> const object(static_cast<Object *>(creator));
    if (!object) {
        RefCounter::EndUnwanted(bytes, streamed);
        return object;
    }
    TRef<IBookMark> const mark = object->queryInterface<IBookMark>();
    if (mark && (mark->getFlags() & IBookMark::Shared) != 0)
        loaded_.insert(mark);
    return object;
}

/// The lists stand in the order of the names, and that of this mark has changed.
void LibraryShelf::enter(TRef<IBookMark> const & mark) {
    loaded_.remove(mark.pointer());
    LibraryCatalogue::Forget(mark.pointer());
    long index;
    if (loaded_.search(mark, index))
        loaded_.at_put(index, mark);
    else
        loaded_.at_insert(index, mark);
}

void LibraryShelf::store(Object & object, NameLinkID name) {
    if (!isWritable(*resourceFile_)) {
        resourceFile_->close();
        resourceFile_->open(fileName_.c_str(), GIO::ReadWriteMode);
    }
    bool const stored = isWritable(*resourceFile_) &&
                        resourceFile_->put(&object, fullNameOf(name), false) &&
                        resourceFile_->flush();
    if (!stored)
        throw Error(source, __LINE__, "Could not store '%s' object in '%s'! ", name.c_str(),
                    fileName_.c_str());
}

void LibraryShelf::put(TRef<Object> const & object, NameLinkID name, unsigned long flags) {
    assert(object);
    TRef<IBookMark> const former = object->queryInterface<IBookMark>();
    TRef<AUnknown> const safe = object->querySafeInterface(&IBookMark::metaclass_);
    TRef<IBookMark> const mark(gcast<IBookMark>(safe.pointer()));
    TRef<BookMark> const formerPath = mark->getMark();
    unsigned long const formerFlags = mark->getFlags();
    mark->setPath(fileName_, name);
    mark->setFlags(flags);
    try {
        store(*object, name);
    } catch (...) {
        // A bookmark to nothing would be saved in place of the object from now on.
        mark->setPath(formerPath);
        mark->setFlags(formerFlags);
        if (!former)
            object->removeInterface(&IBookMark::metaclass_);
        throw;
    }
    enter(mark);
    resourceFile_->pack();
}

// What shelves need to close their files is made first, and so is there longer than they are.
LibraryCatalogue::LibraryCatalogue() {
    ResourceFile const file;
    ResourceFile::GetCount();
}

// Never destroyed: bookmarks that end while the program does still ask it. The shelves are given
// back before what they need goes.
LibraryCatalogue & LibraryCatalogue::g_lcLibrary() {
    alignas(LibraryCatalogue) static std::byte place[sizeof(LibraryCatalogue)];
    static LibraryCatalogue & made = *new (place) LibraryCatalogue;
    static GModuleDtor const shutDown(&LibraryCatalogue::ShutDown);
    return made;
}

void LibraryCatalogue::Forget(IBookMark const * mark) {
    TRefVector<LibraryShelf> & shelves = g_lcLibrary().shelves_;
    for (long i = 0; i < shelves.getCount(); ++i)
        shelves.at(i)->loaded_.remove(mark);
}

TRef<LibraryShelf> LibraryCatalogue::Get(GFile const & file) {
    TRefVector<LibraryShelf> & shelves = g_lcLibrary().shelves_;
    for (long i = shelves.getCount() - 1; i >= 0; --i)
        if (std::strcmp(shelves.at(i)->getFileName().c_str(), file.c_str()) == 0)
            return shelves.at(i);
    TRef<LibraryShelf> const shelf(new LibraryShelf(file));
    shelves.insert(shelf);
    return shelf;
}

int LibraryCatalogue::GetLoadedCount() {
    return static_cast<int>(g_lcLibrary().shelves_.getCount());
}

GFile const & LibraryCatalogue::GetLoadedName(int index) {
    return g_lcLibrary().shelves_.at(index)->getFileName();
}

void LibraryCatalogue::ShutDown() {
    g_lcLibrary().shelves_.empty();
}

} // namespace Tavlin
