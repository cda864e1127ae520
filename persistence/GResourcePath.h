// The address of a stored resource: a path of directories, a name and a type. Paths are values that
// share their components: a copy, a parent or any stretch of a path is a window on the same
// representation, and only appending to a window copies it.
#pragma once

#include "foundation/GString.h"
#include "foundation/TGVector.h"
#include "platform/Export.h"

#include <atomic>

class ipstream;
class opstream;

/// The components that some paths share; counted by those paths.
class GResourcePathRep : public TGVector<GString> {
  public:
    GResourcePathRep() : TGVector<GString>(0, 4, true) {}
    std::atomic<int> references{1};
};

/// A list of directory names. The value itself belongs to one thread; what it shares may be shared
/// between threads.
class ONDREL_API GResourcePath {
  public:
    GResourcePath() noexcept = default;
    GResourcePath(GResourcePath const & other) noexcept;
    /// One component, whatever the text holds.
    GResourcePath(GString const & component);
    ~GResourcePath() { release(); }
    GResourcePath & operator=(GResourcePath const & other) noexcept;
    GResourcePath & operator=(GString const & component);

    int getCount() const { return count_; }
    /// Component `index`; not checked beyond an assert.
    GString const & operator[](int index) const { return rep_->at(first_ + index); }
    /// Lets go of all components.
    void empty();

    /// Appends one component, which leaves every other path as it is.
    GResourcePath & operator+=(GString const & component);
    GResourcePath & operator+=(GResourcePath const & path);

    /// Drops the last component, if there is one.
    GResourcePath & parent();
    /// A window of at most `length` components from `start`, which is at least 0.
    GResourcePath subpath(int start, int length) const;
    GResourcePath subpath(int start) const { return subpath(start, count_); }

    /// How many leading components the two have in common.
    int find_difference(GResourcePath const & other) const;
    /// The path leads to something below `root`; with `or_equal` also to `root` itself.
    bool is_subdirectory(GResourcePath const & root, bool or_equal) const;
    /// Puts `to` in place of the leading part `from`; false when the path does not begin with it.
    bool rename_path_from_root(GResourcePath const & from, GResourcePath const & to);

    /// Each component with a backslash behind it.
    GString get_readable_form() const;
    /// The reverse; the last backslash may be missing.
    void parse_readable_form(GString const & text);

    friend bool operator==(GResourcePath const & a, GResourcePath const & b) {
        return a.count_ == b.count_ && a.find_difference(b) == a.count_;
    }

  private:
    void release() noexcept;
    void makeOwn();

    GResourcePathRep * rep_ = nullptr;
    int first_ = 0;
    int count_ = 0;
};

/// The full address: directory, name and type.
class ONDREL_API GResourceFullName : public GResourcePath {
  public:
    GResourceFullName() = default;
    GResourceFullName(GResourcePath const & path, GString const & resourceName,
                      GString const & resourceType)
        : GResourcePath(path), name(resourceName), type(resourceType) {}

    GResourcePath const & path() const { return *this; }
    bool is_empty() const { return name.isEmpty() && type.isEmpty() && getCount() == 0; }
    void empty();

    /// The path's form, the name, a comma, the type.
    GString get_readable_form() const;
    /// A text whose last component has no comma is a path, and leaves name and type as they are.
    void parse_readable_form(GString const & text);

    friend bool operator==(GResourceFullName const & a, GResourceFullName const & b) {
        return a.name == b.name && a.type == b.type && a.path() == b.path();
    }

    GString name;
    GString type;
};

/// A stream holds at most 65535 components. Reading appends to what is there.
ONDREL_API opstream & operator<<(opstream & out, GResourcePath const & path);
ONDREL_API ipstream & operator>>(ipstream & in, GResourcePath & path);
ONDREL_API opstream & operator<<(opstream & out, GResourceFullName const & fullName);
ONDREL_API ipstream & operator>>(ipstream & in, GResourceFullName & fullName);
