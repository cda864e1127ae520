// References to objects that live in library files. An object that came from a library carries an
// IBookMark, and a composite object then writes the bookmark in place of it; every other object is
// written inline. What an object of a library has of its own goes through IDynamicDataReadWrite.
#pragma once

#include "foundation/GFile.h"
#include "platform/Export.h"
#include "tavlinbase/AUnknown.h"
#include "tavlinbase/NameLink.h"
#include "tavlinbase/TRef.h"

namespace Tavlin {

class BookMark;
class Object;

/// Replaces the file names that bookmarks are written with, while it is active; a host uses it to
/// save references into libraries of another place.
class ONDREL_API BookMarkRedirection {
  public:
    explicit BookMarkRedirection(bool active = false);
    BookMarkRedirection(BookMarkRedirection const &) = delete;
    BookMarkRedirection & operator=(BookMarkRedirection const &) = delete;
    virtual ~BookMarkRedirection();

    /// The file name to write for `mark`.
    virtual GString mapFile(BookMark const & mark) = 0;
    void activate();
    /// Does nothing when another redirection has taken over.
    void deactivate();
};

/// Where an object stands: a library file and a name in it.
class ONDREL_API BookMark : public RefCounter {
    G_DECLARE_CREATABLE(BookMark)
  public:
    BookMark() = default;
    BookMark(GFile const & file, NameLinkID name) : file_(file), name_(name) {}

    void setPath(GFile const & file, NameLinkID name);
    GFile const & getFile() const { return file_; }
    NameLinkID getName() const { return name_; }

    /// The object out of the library file; null when a null reference is stored there. Throws
    /// Error when the file does not have it.
    TRef<Object> retrieveObject() const;
    /// Whether retrieveObject gives one; throws what it throws.
    bool exist() const;

    void read(ipstream & in) override;
    void write(opstream & out) override;

    /// The active redirection, or null.
    static BookMarkRedirection * g_pRedirect;
    /// Replaces who fetches objects out of library files, for a host that keeps them elsewhere;
    /// null restores the LibraryCatalogue.
    using Retriever = TRef<Object> (*)(GFile const & file, NameLinkID name);
    static void SetRetriever(Retriever retriever);

  private:
    GFile file_;
    NameLinkID name_;
};

/// Marks its object as one that came from a library.
class ONDREL_API IBookMark : public virtual AUnknown {
    G_DECLARE_CREATABLE(IBookMark)
  public:
    /// Set in the flags: one instance per name serves all readers, and nothing of its own is saved.
    static constexpr unsigned long Shared = 1;

    IBookMark() = default;

    void setPath(TRef<BookMark> const & mark);
    void setPath(GFile const & file, NameLinkID name);
    TRef<BookMark> const & getMark() const { return mark_; }
    unsigned long getFlags() const { return flags_; }
    void setFlags(unsigned long flags) { flags_ = flags; }
    /// The name in the library; null without a mark.
    NameLinkID getCompareKey() const;

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    unsigned long flags_ = 0;
    TRef<BookMark> mark_;
};

/// Implemented by objects of a library that have state of their own on top of the library form.
class ONDREL_API IDynamicDataReadWrite : public virtual AUnknown {
    G_DECLARE_CLASS(IDynamicDataReadWrite)
  public:
    virtual void readDynamic(ipstream & in) = 0;
    virtual void writeDynamic(opstream & out) = 0;
};

/// Writes `object` inline, or its bookmark when it has one; then its own state too, if
/// `writeDynamic` is set and the library object is not shared.
ONDREL_API void LWRITE_RESOURCE(opstream & out, TRef<Object> const & object, bool writeDynamic);
/// Reads what LWRITE_RESOURCE wrote. Throws Error when a library does not give its object.
ONDREL_API TRef<Object> LREAD_RESOURCE(ipstream & in);
/// LWRITE_RESOURCE for the object of an interface.
ONDREL_API void LWRITE_INTERFACE(opstream & out, TRef<AUnknown> const & iface, bool writeDynamic);

} // namespace Tavlin
