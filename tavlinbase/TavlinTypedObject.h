// Trees of named members with links by name. Loading takes two phases: streams build the members
// with their plain data, and links are kept as connection points, each of which names a path and
// the native member that is to receive what stands there. Once the whole tree exists, its root
// resolves all points, checks them, and only then announces completion, children first.
#pragma once

#include "foundation/GString.h"
#include "foundation/TGVector.h"
#include "platform/Export.h"
#include "tavlinbase/IDispatcherImpl.h"
#include "tavlinbase/NameLink.h"
#include "tavlinbase/TavlinObject.h"

#include <cstdint>

class GCollection;

namespace Tavlin {

/// A part of a tree: known by its name, or by that of its type as long as it has none.
class ONDREL_API NamedMember : public virtual RefCounter {
    G_DECLARE_CLASS(NamedMember)
  public:
    /// A static of the class, which names all its objects that have no name of their own.
    virtual NamedTypeInfo const * getNamedTypeInfo() const = 0;

    void setMemberName(char const * name);
    void setMemberNameID(NameLinkID name) { memberNameID_ = name; }
    /// The own name, or that of the type.
    NameLinkID getMemberNameID() const;

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    NameLinkID memberNameID_;
};

/// What the member behind a connection point is, and what it accepts.
enum ConnectionPointType {
    ConnectionObject = 0,   ///< a TRef<Object>; takes an object
    ConnectionVariable = 1, ///< a VariableRef or VariableVar; is linked to the value's cell
    ConnectionPointer = 2, ///< an Object * or GRTTIObject *, whichever the value holds; not counted
    ConnectionInterface = 3, ///< a pointer to an interface of an object; not counted
    ConnectionIndex = 4,     ///< an int; the place of a name in a NamedItemCollectionEnumerator
    ConnectionArray = 5      ///< a VRefVector; takes an array, whose texts are resolved as names
};

/// One link: the path, which is this vector, and the member that receives its target.
class ONDREL_API ConnectionPointInfo : public TGVector<NameLinkID> {
  public:
    ConnectionPointInfo();
    /// A path that does not parse leaves the point without one, and so it resolves to nothing.
    /// `offset` is counted from the NameLinkResolver sub-object.
    ConnectionPointInfo(char const * path, int offset, ConnectionPointType pointType,
                        bool isTemporary, bool isRequired,
                        GMetaClass const * pointInterface = nullptr);

    /// Replaces the path.
    void makeIndexes(char const * path);
    /// The path with points between its names.
    GString getStringName() const;

    int memberOffset = 0;
    ConnectionPointType type = ConnectionObject;
    bool temporary = false; ///< made on the heap for one use, and deleted after it
    bool required = false;  ///< a failure is an error and not a warning
    GMetaClass const * interfaceClass = nullptr; ///< for ConnectionInterface
};

/// Offers collections of NamedMember items, so that a link can hold the place of an item.
class ONDREL_API NamedItemCollectionEnumerator : public virtual RefCounter {
    G_DECLARE_CLASS(NamedItemCollectionEnumerator)
  public:
    /// How often getNICollection is to be asked.
    virtual int getNICollectionCount();
    /// Steps through the collections by itself: each call gives the next one. May be null. Its
    /// items are stored as NamedMember pointers, as a TGCollection<NamedMember> does.
    virtual GCollection * getNICollection();
};

/// A member that has links.
class ONDREL_API NameLinkResolver : public virtual RefCounter {
    G_DECLARE_CLASS(NameLinkResolver)
  public:
    NameLinkResolver() = default;
    NameLinkResolver(NameLinkResolver const & other);
    NameLinkResolver & operator=(NameLinkResolver const & other);
    ~NameLinkResolver() override;

    /// Resolves every point and stores what was found, null or an empty handle where nothing was;
    /// reports nothing.
    virtual void resolveConnectionPoints();
    /// False when a required point does not resolve, and then the points behind it are not looked
    /// at; `log` receives the messages, those of optional points only with `reportWarnings`. What
    /// was resolved stays as it is, but for an index that its name no longer leads to, which
    /// becomes -1.
    virtual bool checkConnectionPoints(GString & log, bool reportWarnings);
    virtual int getConnectionPointCount();
    /// A point that is `temporary` belongs to the caller.
    virtual ConnectionPointInfo * getConnectionPointInfo(int index);
    /// All links of the tree are in place.
    virtual void onLinkComplete();
    virtual void onInit();
    /// Initialise from `source`, the like-named part of another tree; onInit by default.
    virtual void onInitBy(VariableRef & source);
    virtual void onDispose();
    /// The points of the class. Index -1 gives their count as an integer in the pointer's place,
    /// any other index a new temporary record.
    virtual ConnectionPointInfo * macroTableHelper(int index);

    /// The root of the tree, set while names are resolved; null before.
    Object * getNamelinkRoot() const { return namelinkRoot_; }
    void setNamelinkRoot(Object * root) { namelinkRoot_ = root; }
    /// The address `offset` bytes into this resolver.
    void * getPointer(int offset) { return reinterpret_cast<char *>(this) + offset; }

    /// An instance may have points of its own in place of those of its class.
    bool hasPrivateTable() const { return privateTable_ != nullptr; }
    TGVector<ConnectionPointInfo> * getPrivateTable() { return privateTable_; }
    /// Builds the table first if there is none.
    TGVector<ConnectionPointInfo> * getSafePrivateTable();
    /// Replaces any table by a copy of the points of the class.
    void buildPrivateTable();
    void killPrivateTable();

    void resolveConnectionPoint(ConnectionPointInfo * info);
    /// Adds a message to `log` when the point does not resolve; false only if it is required.
    /// Stores nothing, but leaves an index at -1: it waits for the next resolve.
    bool checkConnectionPoint(ConnectionPointInfo * info, GString & log, bool reportWarnings);
    /// The value that a name leads to: "me" and "scene" start at the root of the tree, any other
    /// name at this member. Empty when there is none.
    VariableRef resolveName(char const * path);
    VariableRef resolveName(TGVector<NameLinkID> const & path);

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    int findIndex(ConnectionPointInfo const & info);
    int & indexAt(ConnectionPointInfo const & info);
    bool passes(ConnectionPointInfo const & info, GString & log, bool reportWarnings);
    void setConnectionPoint(ConnectionPointInfo const & info, VariableRef const & value);
    void fillArray(VRefVector & target, VariableRef const & value);
    void report(ConnectionPointInfo const & info, GString & log, bool hasValue);

    Object * namelinkRoot_ = nullptr;
    TGVector<ConnectionPointInfo> * privateTable_ = nullptr;
};

class TypedObjectNode;

/// A named part of a tree that is no object of its own.
class ONDREL_API TypedObjectLeaf : public NamedMember, public NameLinkResolver {
    G_DECLARE_CLASS(TypedObjectLeaf)
  public:
    /// What a path leads to, null when that is no node or leaf.
    TRef<TypedObjectNode> resolveNode(char const * path);
    TypedObjectLeaf * resolveLeaf(char const * path);

    void read(ipstream & in) override;
    void write(opstream & out) override;
};

/// An object with named parts: its child nodes, its leaves, and those of its interfaces that are
/// leaves. Each of them reads as a property of its name, so that dotted paths run through the tree.
class ONDREL_API TypedObjectNode : public Object,
                                   public NamedMember,
                                   public NameLinkResolver,
                                   public IDispatcherImpl {
    G_DECLARE_CLASS(TypedObjectNode)
  public:
    /// The first child of that name; null when there is none.
    virtual TRef<TypedObjectNode> findMemberNode(NameLinkID name);
    virtual TypedObjectLeaf * findMemberLeaf(NameLinkID name);
    /// A class shows its children by these four; there are none by default.
    virtual int getNodeCount() const;
    virtual TRef<TypedObjectNode> getNode(int index) const;
    virtual int getLeafCount() const;
    virtual TypedObjectLeaf * getLeaf(int index) const;

    /// What a path leads to, null when that is no node or leaf.
    TRef<TypedObjectNode> resolveNode(char const * path);
    TypedObjectLeaf * resolveLeaf(char const * path);

    /// Call onInit, onInitBy or onDispose on the whole tree, children before their parent.
    void callInitAsRoot();
    void callInitByAsRoot(VariableRef & source);
    void callDisposeAsRoot();
    /// checkConnectionPoints on the whole tree; all parts are visited even after a failure.
    bool checkConnectionPointsDown(GString & log, bool reportWarnings);

    bool invoke(DispParams * params) override;
    int getNamesCount() const override;
    /// Nodes, leaves and interface leaves first, then the names of the tables.
    bool getNameInfo(int index, NameLinkID * name, CallType * type, int * thisOffset,
                     void ** function, VariableTypes * returnType) const override;
    bool findNameInfo(NameLinkID name, CallType type, int * thisOffset, void ** function,
                      VariableTypes * returnType) const override;

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override;

  protected:
    /// Makes `root` the root of all parts and resolves their points. May be repeated while targets
    /// appear.
    void resolveAllNamesWithRoot(TypedObjectNode * root);
    void onLinkCompleteRecursive();
    void callInitRecursive();
    void callInitByRecursive(VariableRef & source);
    void callDisposeRecursive();
};

/// The walk over the points that the TAVLIN_CONNECTION macros list.
class ConnectionTableWalk {
  public:
    ConnectionTableWalk(NameLinkResolver * resolver, int wanted, int position)
        : resolver_(resolver), wanted_(wanted), position_(position) {}
    bool here() { return position_++ == wanted_; }
    ConnectionPointInfo * make(char const * path, void const * member, ConnectionPointType type,
                               bool required, GMetaClass const * interfaceClass = nullptr) const {
        auto const offset =
            static_cast<char const *>(member) - reinterpret_cast<char const *>(resolver_);
        return new ConnectionPointInfo(path, int(offset), type, true, required, interfaceClass);
    }
    ConnectionPointInfo * end() const {
        return wanted_ == -1 ? reinterpret_cast<ConnectionPointInfo *>(std::intptr_t(position_))
                             : nullptr;
    }

  private:
    NameLinkResolver * resolver_;
    int wanted_;
    int position_;
};

} // namespace Tavlin

/// In the body of a class that lists connection points.
#define TAVLIN_DECLARE_CONNECTIONS(Class)                                                          \
  public:                                                                                          \
    ::Tavlin::ConnectionPointInfo * macroTableHelper(int index) override;                          \
                                                                                                   \
  private:

/// In the source file: the points of the class.
#define TAVLIN_BEGIN_CONNECTIONS(Class)                                                            \
    ::Tavlin::ConnectionPointInfo * Class::macroTableHelper(int index) {                           \
        ::Tavlin::ConnectionTableWalk walk_(this, index, 0);

/// The same with the points of `Base` in front.
#define TAVLIN_BEGIN_CONNECTIONS_DERIVED(Class, Base)                                              \
    ::Tavlin::ConnectionPointInfo * Class::macroTableHelper(int index) {                           \
        int const inherited_ = int(reinterpret_cast<std::intptr_t>(Base::macroTableHelper(-1)));   \
        if (index >= 0 && index < inherited_)                                                      \
            return Base::macroTableHelper(index);                                                  \
        ::Tavlin::ConnectionTableWalk walk_(this, index, inherited_);

/// The path, the member, its ConnectionPointType, and whether the link must resolve.
#define TAVLIN_CONNECTION(path, member, type, required)                                            \
    if (walk_.here())                                                                              \
        return walk_.make(path, &this->member, type, required);

/// A pointer member to the interface of that metaclass.
#define TAVLIN_CONNECTION_INTERFACE(path, member, interfaceMetaClass, required)                    \
    if (walk_.here())                                                                              \
        return walk_.make(path, &this->member, ::Tavlin::ConnectionInterface, required,            \
                          &interfaceMetaClass);

#define TAVLIN_END_CONNECTIONS()                                                                   \
    return walk_.end();                                                                            \
    }
