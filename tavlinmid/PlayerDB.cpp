// Names and types for the records, and their streamed forms.
#include "tavlinmid/PlayerDB.h"

#include "persistence/GResourceIterator.h"
#include "persistence/pstream.h"
#include "tavlinbase/TRef.h"

#include <cstring>
#include <memory>

namespace Tavlin {

G_DEFINE_CLASS(PlayerDBResource, "Tavlin::PlayerDBResource", GStreamable)
G_DEFINE_CREATABLE(PlayerResourceFullPath, "Tavlin::PlayerResourceFullPath", PlayerDBResource)

GString const PlayerResourceFullPath::TypeName(GetType());

void PlayerDBResource::write(opstream & out) {
    out.writeByte(0);
    out << name_;
}

void PlayerDBResource::read(ipstream & in) {
    in.readByte();
    in >> name_;
}

void PlayerResourceFullPath::write(opstream & out) {
    out.writeByte(0);
    PlayerDBResource::write(out);
    out << file_ << firstText_ << secondText_;
}

void PlayerResourceFullPath::read(ipstream & in) {
    in.readByte();
    PlayerDBResource::read(in);
    in >> file_ >> firstText_ >> secondText_;
}

namespace {

GResourceFullName inRoot(GString const & type, GString const & name) {
    return GResourceFullName(GResourcePath(), name, type);
}

GResourceFullName inDirectory(GString const & dir, GString const & type, GString const & name) {
    GResourcePath path;
    path.parse_readable_form(dir);
    return GResourceFullName(path, name, type);
}

/// A record read from the file; anything else is given up unless the file keeps it.
template <class T>
T * recordOf(GStreamable * object, bool keep) {
    T * const record = gcast<T>(object);
    if (record || !object || keep)
        return record;
    // A counted one ends by its count: it may be a part of something that has come along.
    if (auto * const counter = gcast<RefCounter>(object))
        TRef<RefCounter>{counter};
    else
        GStreamable::Destroy(object);
    return nullptr;
}

} // namespace

void PlayerDB::get_types(TGVector<GString> & types) {
    for (GResourceTypeIterator i(*this, GResourcePath()); i; ++i)
        types.insert(i.name());
}

void PlayerDB::get_names(GString const & type, TGVector<GString> & names) {
    for (GResourceIterator i(*this, inRoot(type, GString())); i; ++i)
        names.insert(i.name());
}

bool PlayerDB::exists(PlayerDBResource const & resource) {
    return exists(resource.get_type(), resource.get_name());
}

bool PlayerDB::exists(GString const & type, GString const & name) {
    return exist(inRoot(type, name));
}

bool PlayerDB::exists(GString const & dir, GString const & type, GString const & name) {
    return exist(inDirectory(dir, type, name));
}

bool PlayerDB::put(PlayerDBResource * resource, bool keep) {
    return ResourceFile::put(resource, inRoot(resource->get_type(), resource->get_name()), keep);
}

bool PlayerDB::put(GString const & dir, PlayerDBResource * resource, bool keep) {
    GResourceFullName const name = inDirectory(dir, resource->get_type(), resource->get_name());
    if (!directory_exists(name.path()))
        create_directory(name.path());
    return ResourceFile::put(resource, name, keep);
}

PlayerDBResource * PlayerDB::get(GString const & type, GString const & name, bool keep) {
    return recordOf<PlayerDBResource>(ResourceFile::get(inRoot(type, name), keep), keep);
}

PlayerDBResource * PlayerDB::get(GString const & dir, GString const & type, GString const & name,
                                 bool keep) {
    return recordOf<PlayerDBResource>(ResourceFile::get(inDirectory(dir, type, name), keep), keep);
}

bool PlayerDB::rename(GString const & type, GString const & from, GString const & to) {
    return ResourceFile::rename(inRoot(type, from), inRoot(type, to));
}

bool PlayerDB::remove(GString const & type, GString const & name) {
    return ResourceFile::remove(inRoot(type, name));
}

bool PlayerDB::remove(GString const & dir, GString const & type, GString const & name) {
    return ResourceFile::remove(inDirectory(dir, type, name));
}

bool PlayerDB::remove_type(GString const & type) {
    bool const removed = ResourceFile::remove_type(inRoot(type, GString()));
    mark_as_modified();
    return removed;
}

bool PlayerDB::is_the_same_as(GFile const & file) const {
    GFile own = get_filename(), other = file;
    return std::strcmp(own.just_name().c_str(), other.just_name().c_str()) == 0;
}

bool PlayerDB::extract_to(opstream & target, GString const & type, GString const & name,
                          bool decompress) {
    return ResourceFile::extract_to(target, inRoot(type, name), decompress);
}

GString PlayerDB::read_class_name(GString const & type, GString const & name) {
    std::unique_ptr<char[]> const text(ResourceFile::read_class_name(inRoot(type, name)));
    return GString(text.get());
}

bool PlayerDB::path_exists(GString const & name) {
    return exists(PlayerResourceFullPath::GetType(), name);
}

PlayerResourceFullPath * PlayerDB::get_path(GString const & name) {
    return recordOf<PlayerResourceFullPath>(
        ResourceFile::get(inRoot(PlayerResourceFullPath::GetType(), name), false), false);
}

} // namespace Tavlin
