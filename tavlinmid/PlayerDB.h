// The player's own records - saves, settings, places of files - by type and name in one resource
// file. PlayerDB adds names and types to ResourceFile and no storage of its own.
#pragma once

#include "foundation/GFile.h"
#include "foundation/GString.h"
#include "foundation/TGVector.h"
#include "persistence/ResourceFile.h"
#include "platform/Export.h"

namespace Tavlin {

/// A record. A host derives its own.
class ONDREL_API PlayerDBResource : public GStreamable {
    G_DECLARE_CLASS(PlayerDBResource)
  public:
    PlayerDBResource() = default;
    explicit PlayerDBResource(StreamableInit init) : GStreamable(init) {}

    /// The type under which the record is stored.
    virtual GString get_type() const = 0;
    GString const & get_name() const { return name_; }
    void set_name(GString const & name) { name_ = name; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    GString name_{"Unnamed"};
};

/// A record that leads to a file. What the two texts are for is the host's business, which derives
/// from this class to reach them.
class ONDREL_API PlayerResourceFullPath : public PlayerDBResource {
    G_DECLARE_CREATABLE(PlayerResourceFullPath)
  public:
    PlayerResourceFullPath() = default;
    explicit PlayerResourceFullPath(StreamableInit init) : PlayerDBResource(init) {}

    static GString const TypeName;
    static GString GetType() { return "PlayerResourcePath"; }
    GString get_type() const override { return GetType(); }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    GFile file_{"Not Defined"};
    GString firstText_{"Not Defined"};
    GString secondText_{"Not Defined"};
};

/// Each operation is for the root of the file; where it takes a `dir`, for that directory, whose
/// path has a backslash between its parts. They answer as those of ResourceFile do; `keep` means
/// what it means there.
class ONDREL_API PlayerDB : public ResourceFile {
  public:
    PlayerDB(GFile const & file, GIO::IOOpenMode mode) : ResourceFile(file.c_str(), mode) {}

    /// Append what is in the root, the last one first.
    void get_types(TGVector<GString> & types);
    void get_names(GString const & type, TGVector<GString> & names);

    bool exists(PlayerDBResource const & resource);
    bool exists(GString const & type, GString const & name);
    bool exists(GString const & dir, GString const & type, GString const & name);

    /// Under the record's own type and name.
    bool put(PlayerDBResource * resource, bool keep);
    /// Makes the directory at need.
    bool put(GString const & dir, PlayerDBResource * resource, bool keep);

    /// Null when there is none, or it is no PlayerDBResource.
    PlayerDBResource * get(GString const & type, GString const & name, bool keep);
    PlayerDBResource * get(GString const & dir, GString const & type, GString const & name,
                           bool keep);

    bool rename(GString const & type, GString const & from, GString const & to);
    bool remove(GString const & type, GString const & name);
    bool remove(GString const & dir, GString const & type, GString const & name);
    bool remove_type(GString const & type);

    /// Whether both have the same bare name; letter case counts, directories do not.
    bool is_the_same_as(GFile const & file) const;

    bool extract_to(opstream & target, GString const & type, GString const & name, bool decompress);
    /// Of a stored record; empty when there is none.
    GString read_class_name(GString const & type, GString const & name);

    bool path_exists(GString const & name);
    /// The caller's; null when there is none.
    PlayerResourceFullPath * get_path(GString const & name);
};

} // namespace Tavlin
