// The run-time description of a class and the registry of all of them. A class has one static
// GMetaClass named metaclass_; its constructor enters the class in the registry while the program
// starts, which is all it takes to make the class known by name to streams and scripts.
#pragma once

#include "platform/Export.h"

#include <span>
#include <typeinfo>

class GRTTIObject;
class GClassDictionary;

/// The description of one class: its name, its bases, how it is built and destroyed.
class ONDREL_API GMetaClass {
  public:
    /// Makes an object with `new`, and ends one that was made so.
    using Builder = GRTTIObject * (*)();
    using Destroyer = void (*)(GRTTIObject *);

    /// A class with one base, or with none when `base` is null. `name` is a static text, not
    /// copied. All constructors register the class and throw DuplicatedTypes_Exception when another
    /// class of that name with another builder is there already.
    GMetaClass(std::type_info const & type, char const * name, Builder builder, Destroyer destroyer,
               GMetaClass const * base);
    /// A class with `count` bases, in the order of their declaration.
    GMetaClass(std::type_info const & type, char const * name, Builder builder, Destroyer destroyer,
               int count, GMetaClass const * first, ...);
    /// The same with the bases in a list; what the class macros use.
    GMetaClass(std::type_info const & type, char const * name, Builder builder, Destroyer destroyer,
               std::span<GMetaClass const * const> bases);
    /// A second name for `real`, so that files written under a former class name still load.
    GMetaClass(GMetaClass const & real, char const * name);
    /// The same; builder and destroyer count only when two registrations of one name are compared.
    GMetaClass(GMetaClass const & real, char const * name, Builder builder, Destroyer destroyer);
    ~GMetaClass();
    GMetaClass(GMetaClass const &) = delete;
    GMetaClass & operator=(GMetaClass const &) = delete;

    /// The name as it stands in files, namespaces included.
    char const * getName() const { return name_; }
    /// The class itself; for an alias the class that it stands for.
    GMetaClass const * getClassIdentifier() const;
    std::type_info const & getTypeInfo() const { return *getClassIdentifier()->type_; }
    Builder getBuilder() const { return getClassIdentifier()->builder_; }
    Destroyer getDestroyer() const { return getClassIdentifier()->destroyer_; }
    /// The number of direct bases.
    long getAncestorsCount() const { return getClassIdentifier()->ancestorsCount_; }
    /// Direct base `index`; null when there is none of that index.
    GMetaClass const * getAncestor(long index) const;
    bool isOldClass() const { return ancestorsCount_ < 0; }

    /// Identity of the two classes, aliases resolved.
    bool operator==(GMetaClass const & other) const;
    bool operator!=(GMetaClass const & other) const { return !(*this == other); }

    /// `other`'s identifier when this class is it or descends from it; otherwise null.
    GMetaClass const * isKindOf(GMetaClass const & other) const;
    GMetaClass const * isKindOf(GMetaClass const * other) const;
    /// `base`'s identifier if it is a direct base of this class; otherwise null.
    GMetaClass const * getBaseDerivedFrom(GMetaClass const & base) const;
    /// Fills `out` with the direct bases. Every call begins by emptying `out`, the recursive ones
    /// included, so that a recursive call always ends with an empty dictionary.
    void getBaseClasses(GClassDictionary & out, bool recursive) const;
    /// Fills `out` with the classes derived from this one: directly, or at any depth when
    /// `recursive`. Neither the class itself nor any alias is among them.
    void getDerivedClasses(GClassDictionary & out, bool recursive) const;

    /// A new object of the class, owned by the caller; null for an abstract class.
    GRTTIObject * buildObject() const;
    /// Destroys an object of the class; null is tolerated.
    void destroyObject(GRTTIObject * object) const;

    /// The number of registered names; a class must be registered.
    static long GetCount();
    /// Changes whenever a name is registered or goes: what was remembered of FindByName is true
    /// while this stays the same.
    static unsigned long RegistryVersion();
    /// Registered class `index`, unchecked; names descend, so At(0) has the greatest.
    static GMetaClass const * At(long index);
    /// Null for a null or unknown name.
    static GMetaClass const * FindByName(char const * name);
    /// May find an alias in place of its class, whichever comes later in the order of the registry.
    static GMetaClass const * FindByTypeInfo(std::type_info const & type);
    /// Null when the name is unknown or the class abstract.
    static GRTTIObject * BuildByName(char const * name);
    /// Copies the registry to `out`.
    static void GetApplicationClasses(GClassDictionary & out);

  private:
    friend class GClassDictionary;
    void init();
    void setAncestors(std::span<GMetaClass const * const> bases);

    std::type_info const * type_ = nullptr;
    char const * name_;
    Builder builder_ = nullptr;
    Destroyer destroyer_ = nullptr;
    union {
        GMetaClass const * single;   // one base, or the class that an alias stands for
        GMetaClass const ** several; // an owned array
    } ancestors_ = {nullptr};
    long ancestorsCount_ = 0; // -1 marks an alias
};

/// Classes sorted by name in DESCENDING byte order, each name once. It does not own the classes.
class ONDREL_API GClassDictionary {
  public:
    GClassDictionary() = default;
    GClassDictionary(GClassDictionary const & other);
    GClassDictionary & operator=(GClassDictionary const & other);
    ~GClassDictionary();

    long getCount() const { return count_; }
    GMetaClass const * at(long index) const { return items_[index]; }
    GMetaClass const * operator[](long index) const { return items_[index]; }
    /// Its position, also when the name is there already (the entry then stays as it is).
    long insert(GMetaClass const & metaClass);
    /// The former position, or -1.
    long remove(GMetaClass const & metaClass) { return remove(metaClass.getName()); }
    long remove(char const * name);
    void at_remove(long index);
    /// The position, or -1.
    long index_of(GMetaClass const & metaClass) const { return index_of(metaClass.getName()); }
    long index_of(char const * name) const;
    /// Forgets all classes and keeps the storage.
    void empty() { count_ = 0; }

  private:
    friend class GMetaClass;
    bool search(char const * name, long & index) const;
    void insertAt(long index, GMetaClass const & metaClass);

    GMetaClass const ** items_ = nullptr;
    long count_ = 0;
    long limit_ = 0;
};
