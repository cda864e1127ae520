// Table-driven reflection. A class lists its names once, with the TAVLIN_* macros below; the tables
// of a class and of its bases form a chain, the most derived first, so that a name in a derived
// class hides the same name and call type of its base. Each table carries an index of its whole
// chain, so a call finds its entry in one hashed step.
#pragma once

#include "foundation/GCollection.h"
#include "tavlinbase/IDispatcher.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <typeinfo>
#include <vector>

namespace Tavlin {

/// One reflected name of one class, or the terminator of a table. Entries live on an allocator of
/// their own until the library unloads.
class ONDREL_API IDispatcherImplTableEntry {
  public:
    /// The values of IDispatcher::CallType, and the terminator.
    enum Type : int { Terminator = -1, Method = 1, PropertyGet = 2, PropertySet = 4, Variable = 8 };

    /// `function` is called with the address of the IDispatcher sub-object plus `thisOffset`; a
    /// terminator has the table of the base class there, or null.
    IDispatcherImplTableEntry(Type entryType, NameLinkID entryName, void * entryFunction,
                              int entryOffset, VariableTypes entryReturnType)
        : type(entryType), thisOffset(entryOffset), function(entryFunction), name(entryName),
          returnType(entryReturnType) {}
    virtual ~IDispatcherImplTableEntry() = default;

    /// Performs the call; `object` is the IDispatcher sub-object. Nothing here.
    virtual void invoke(void * object, DispParams * params) const;
    /// The member behind a `Variable` entry; null for every other entry.
    virtual _Variable * variable(void * object) const;

    static void * operator new(std::size_t size);
    static void operator delete(void *) {}

    Type const type;
    int const thisOffset; ///< bytes from the IDispatcher sub-object; may be negative
    void * const function;
    NameLinkID const name;
    VariableTypes const returnType;
};

/// The forms of `function`. Addresses of member functions are no addresses that a table could hold,
/// so an entry holds a plain function that knows the class and calls the member.
using DispatcherProperty = void (*)(void * object, VariableRef * value);
using DispatcherMethod = void (*)(void * object, VariableRef * result, VRefVector * args);
/// Finds a data member; a fixed distance would not do for a member of a virtual base.
using DispatcherMember = _Variable * (*)(void * object);

/// A getter: its invoke passes the caller's result.
class ONDREL_API IDispatcherImplTablePGetEntry : public IDispatcherImplTableEntry {
  public:
    IDispatcherImplTablePGetEntry(NameLinkID entryName, void * entryFunction, int entryOffset,
                                  VariableTypes entryReturnType)
        : IDispatcherImplTableEntry(PropertyGet, entryName, entryFunction, entryOffset,
                                    entryReturnType) {}
    void invoke(void * object, DispParams * params) const override;
};

/// Its invoke passes element 0 of the arguments, which must be there.
class ONDREL_API IDispatcherImplTablePSetEntry : public IDispatcherImplTableEntry {
  public:
    IDispatcherImplTablePSetEntry(NameLinkID entryName, void * entryFunction, int entryOffset,
                                  VariableTypes entryReturnType)
        : IDispatcherImplTableEntry(PropertySet, entryName, entryFunction, entryOffset,
                                    entryReturnType) {}
    void invoke(void * object, DispParams * params) const override;
};

/// A method: its invoke passes the caller's result and arguments.
class ONDREL_API IDispatcherImplTableMethodEntry : public IDispatcherImplTableEntry {
  public:
    IDispatcherImplTableMethodEntry(NameLinkID entryName, void * entryFunction, int entryOffset,
                                    VariableTypes entryReturnType)
        : IDispatcherImplTableEntry(Method, entryName, entryFunction, entryOffset,
                                    entryReturnType) {}
    void invoke(void * object, DispParams * params) const override;
};

/// Its invoke links the caller's result to the member, so that the caller holds an alias of it.
class ONDREL_API IDispatcherImplTableVariableEntry : public IDispatcherImplTableEntry {
  public:
    /// A member at a fixed distance from the IDispatcher sub-object; `entryFunction` is null.
    IDispatcherImplTableVariableEntry(NameLinkID entryName, void * entryFunction, int entryOffset,
                                      VariableTypes entryReturnType)
        : IDispatcherImplTableEntry(Variable, entryName, entryFunction, entryOffset,
                                    entryReturnType) {}
    IDispatcherImplTableVariableEntry(NameLinkID entryName, DispatcherMember member,
                                      VariableTypes entryReturnType)
        : IDispatcherImplTableEntry(Variable, entryName, nullptr, 0, entryReturnType),
          member_(member) {}
    void invoke(void * object, DispParams * params) const override;
    _Variable * variable(void * object) const override;

  private:
    DispatcherMember member_ = nullptr;
};

/// The names of one class in the order of their declaration, the terminator last. A table is
/// filled by its constructor, after the tables of the bases, and never changes afterwards; this is
/// what keeps the index true.
class ONDREL_API IDispatcherImplTable : public TGCollection<IDispatcherImplTableEntry> {
  public:
    /// Calls `fill`, which inserts an entry for each name and then the terminator.
    explicit IDispatcherImplTable(void (*fill)(IDispatcherImplTable & table));
    ~IDispatcherImplTable() override;

    /// What `fill` ends with: the terminator that links to `base`, which may be null.
    void terminate(IDispatcherImplTable const * base);
    /// The table of the base class; null at the end of the chain.
    IDispatcherImplTable const * base() const;
    /// The number of names without those of the bases.
    int names() const { return int(getCount()) - 1; }
    IDispatcherImplTableEntry const * entry(int index) const;

    /// The entry of the chain that takes a call: a read is taken by PropertyGet and Variable, a
    /// write by PropertySet and Variable, any other call by its own type. Null if there is none.
    IDispatcherImplTableEntry const * findTaker(NameLinkID name, IDispatcher::CallType type) const;
    /// The first entry of the chain of that name and exactly that type, or null.
    IDispatcherImplTableEntry const * findExact(NameLinkID name, IDispatcher::CallType type) const;

    /// The class whose objects are called by this table and nothing else: it has the `invoke` of
    /// IDispatcherImpl. Null when it has its own, or when that is not known.
    std::type_info const * plainClass() const { return plainClass_; }
    /// For `fill`: tells what plainClass is, for a table of class T.
    template <class T>
    void serves();

  private:
    friend class DispatcherMemory;

    /// By the kind of call: Method, PropertyGet, PropertySet, Variable.
    struct Entries {
        IDispatcherImplTableEntry const * taker[4] = {};
        IDispatcherImplTableEntry const * exact[4] = {};
    };
    void buildIndex();
    void enter(IDispatcherImplTableEntry const * entry);
    Entries const & find(NameLinkID name) const;

    // Open addressing in two arrays, since most look-ups end at the name. Their size is a power of
    // two and never used up; a free place has the null name and no entries.
    std::vector<NameLinkID> names_;
    std::vector<Entries> entries_;
    std::size_t mask_ = 0; // the size less 1
    int shift_ = 0;        // from a hash to a place
    std::type_info const * plainClass_ = nullptr;
};

/// A dispatcher that answers from the tables of its class.
class ONDREL_API IDispatcherImpl : public IDispatcher, public IDispatcher::Info {
    G_DECLARE_CLASS(IDispatcherImpl)
  public:
    bool invoke(DispParams * params) override;
    /// The object itself.
    IDispatcher::Info const * getTypeInfo() override;

    /// The names of all tables, hidden ones included, from the most derived table on.
    int getNamesCount() const override;
    bool getNameInfo(int index, NameLinkID * name, CallType * type, int * thisOffset,
                     void ** function, VariableTypes * returnType) const override;
    bool findNameInfo(NameLinkID name, CallType type, int * thisOffset, void ** function,
                      VariableTypes * returnType) const override;

    /// The end of every chain: no names, no base.
    static IDispatcherImplTable const & DispatcherTable();

  protected:
    /// The table of the most derived reflecting class, the same for all objects of a class; null
    /// when no class reflects.
    virtual IDispatcherImplTable const * getMostRecentDispatcherEntryTable() const;

  private:
    friend class DispatcherMemory;

    void describe(IDispatcherImplTableEntry const & entry, NameLinkID * name, CallType * type,
                  int * thisOffset, void ** function, VariableTypes * returnType) const;
};

template <class T>
void IDispatcherImplTable::serves() {
    // The type of a pointer to a member names the class that the member is of.
    if constexpr (requires {
                      requires std::is_same_v<decltype(&T::invoke),
                                              bool (IDispatcherImpl::*)(DispParams *)>;
                  })
        plainClass_ = &typeid(T);
}

} // namespace Tavlin

/// In the body of a class that reflects; it must derive from IDispatcherImpl, not virtually.
#define TAVLIN_DECLARE_DISPATCHER(Class)                                                           \
  public:                                                                                          \
    static ::Tavlin::IDispatcherImplTable const & DispatcherTable();                               \
                                                                                                   \
  protected:                                                                                       \
    ::Tavlin::IDispatcherImplTable const * getMostRecentDispatcherEntryTable() const override;     \
                                                                                                   \
  private:                                                                                         \
    static void _initialize_dispatcher_table(::Tavlin::IDispatcherImplTable & table);              \
    static ::Tavlin::IDispatcherImplTable const & dispatcherTable_;

/// In the source file: the class, and the base whose names follow its own (IDispatcherImpl or a
/// class derived from it). The table is made at first use, and at the latest at load, so it serves
/// whatever is started first.
#define TAVLIN_BEGIN_DISPATCHER(Class, Base)                                                       \
    ::Tavlin::IDispatcherImplTable const & Class::dispatcherTable_ = Class::DispatcherTable();     \
    ::Tavlin::IDispatcherImplTable const & Class::DispatcherTable() {                              \
        static ::Tavlin::IDispatcherImplTable const table(&Class::_initialize_dispatcher_table);   \
        return table;                                                                              \
    }                                                                                              \
    ::Tavlin::IDispatcherImplTable const * Class::getMostRecentDispatcherEntryTable() const {      \
        return &DispatcherTable();                                                                 \
    }                                                                                              \
    void Class::_initialize_dispatcher_table(::Tavlin::IDispatcherImplTable & table_) {            \
        using Self_ = Class;                                                                       \
        using Base_ = Base;                                                                        \
        table_.serves<Class>();

#define TAVLIN_DISPATCHER_SELF_(object)                                                            \
    static_cast<Self_ *>(static_cast<::Tavlin::IDispatcher *>(object))

/// `member` is called as member(VariableRef * result, VRefVector * args).
#define TAVLIN_METHOD(name, member, kind)                                                          \
    table_.insert(new ::Tavlin::IDispatcherImplTableMethodEntry(                                   \
        ::Tavlin::NameLinkID(name),                                                                \
        reinterpret_cast<void *>(::Tavlin::DispatcherMethod(                                       \
            [](void * object, ::Tavlin::VariableRef * result, ::Tavlin::VRefVector * args) {       \
                TAVLIN_DISPATCHER_SELF_(object)->member(result, args);                             \
            })),                                                                                   \
        0, kind));

/// `member` is called as member(VariableRef * result).
#define TAVLIN_PROPERTY_GET(name, member, kind)                                                    \
    table_.insert(new ::Tavlin::IDispatcherImplTablePGetEntry(                                     \
        ::Tavlin::NameLinkID(name),                                                                \
        reinterpret_cast<void *>(                                                                  \
            ::Tavlin::DispatcherProperty([](void * object, ::Tavlin::VariableRef * value) {        \
                TAVLIN_DISPATCHER_SELF_(object)->member(value);                                    \
            })),                                                                                   \
        0, kind));

/// `member` is called as member(VariableRef const & value).
#define TAVLIN_PROPERTY_SET(name, member, kind)                                                    \
    table_.insert(new ::Tavlin::IDispatcherImplTablePSetEntry(                                     \
        ::Tavlin::NameLinkID(name),                                                                \
        reinterpret_cast<void *>(                                                                  \
            ::Tavlin::DispatcherProperty([](void * object, ::Tavlin::VariableRef * value) {        \
                TAVLIN_DISPATCHER_SELF_(object)->member(                                           \
                    static_cast<::Tavlin::VariableRef const &>(*value));                           \
            })),                                                                                   \
        0, kind));

/// `member` is a VariableRef or VariableVar of the class or of one of its bases.
#define TAVLIN_VARIABLE(name, member, kind)                                                        \
    table_.insert(new ::Tavlin::IDispatcherImplTableVariableEntry(                                 \
        ::Tavlin::NameLinkID(name),                                                                \
        ::Tavlin::DispatcherMember([](void * object) -> ::Tavlin::_Variable * {                    \
            return &TAVLIN_DISPATCHER_SELF_(object)->member;                                       \
        }),                                                                                        \
        kind));

#define TAVLIN_END_DISPATCHER()                                                                    \
    table_.terminate(&Base_::DispatcherTable());                                                   \
    }
