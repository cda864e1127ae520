// Library files: resource files of named objects that streams refer to by bookmarks. A shelf is one
// such file; it hands out one shared instance per name where the object's bookmark says so, and a
// fresh copy otherwise. The catalogue keeps every shelf that was asked for open until the host
// shuts it down.
#pragma once

#include "foundation/GFile.h"
#include "persistence/ResourceFile.h"
#include "platform/Export.h"
#include "tavlinbase/TRefVector.h"
#include "tavlinbase/TavlinLibrary.h"

#include <memory>
#include <vector>

namespace Tavlin {

/// One library file and the objects that came from it.
class ONDREL_API LibraryShelf : public RefCounter {
    G_DECLARE_CLASS(LibraryShelf)
  public:
    /// Opens the file, if it is there, for reading.
    explicit LibraryShelf(GFile const & file);
    ~LibraryShelf() override;

    /// The object stored under `name`, the readable form of a full resource name:
    /// `houses\inn,House`. Null when a null pointer, or something that is no Object, is stored
    /// there. Throws Error when there is no such resource and when its load comes back to it, since
    /// such a load has no end; and the exceptions of streams when it cannot be read.
    virtual TRef<Object> get(NameLinkID name);
    /// Stores `object` under `name`, gives it a bookmark to there with these flags, and commits and
    /// packs the file, which is made at need. An object that stood under another name here is now
    /// known by this one. Throws Error when it cannot be written, and the exceptions of streams;
    /// the object's bookmark is as before then.
    virtual void put(TRef<Object> const & object, NameLinkID name, unsigned long flags);

    GFile const & getFileName() const { return fileName_; }
    /// How many calls of `get` are under way, one within the other.
    int getBusy() const { return static_cast<int>(underWay_.size()); }

  private:
    friend class LibraryCatalogue;
    class Loading;

    TRef<Object> load(NameLinkID name);
    void store(Object & object, NameLinkID name);
    void enter(TRef<IBookMark> const & mark);

    std::unique_ptr<ResourceFile> resourceFile_;
    TRefKeySortedVector<IBookMark, NameLinkID> loaded_; // one per shared object
    GFile fileName_;
    std::vector<NameLinkID> underWay_; // names whose objects are being loaded
};

/// The open shelves of the process. Not locked: it belongs to the thread of the game.
class ONDREL_API LibraryCatalogue {
  public:
    LibraryCatalogue();
    virtual ~LibraryCatalogue() = default;

    /// The shelf of `file`, opened at need. Names are compared byte by byte: two spellings are two
    /// shelves. Never null.
    static TRef<LibraryShelf> Get(GFile const & file);
    static int GetLoadedCount();
    /// The file name of shelf `index`, in the order of opening.
    static GFile const & GetLoadedName(int index);
    /// Releases all shelves. Objects that others hold stay.
    static void ShutDown();

  private:
    friend class LibraryShelf;

    static LibraryCatalogue & g_lcLibrary();
    static void Forget(IBookMark const * mark);

    TRefVector<LibraryShelf> shelves_;
};

} // namespace Tavlin
