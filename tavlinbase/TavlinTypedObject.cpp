// Resolving and checking of links, and the walks over a tree.
#include "tavlinbase/TavlinTypedObject.h"

#include "diagnostics/TavlinError.h"
#include "foundation/GCollection.h"
#include "persistence/pstream.h"
#include "platform/DebugOutput.h"
#include "tavlinbase/InterfaceIterator.h"
#include "tavlinbase/VRefArray.h"

#include <memory>

namespace Tavlin {

G_DEFINE_CLASS(NamedMember, "Tavlin::NamedMember", RefCounter)
G_DEFINE_CLASS(NamedItemCollectionEnumerator, "Tavlin::NamedItemCollectionEnumerator", RefCounter)
G_DEFINE_CLASS(NameLinkResolver, "Tavlin::NameLinkResolver", RefCounter)
G_DEFINE_CLASS(TypedObjectLeaf, "Tavlin::TypedObjectLeaf", NamedMember, NameLinkResolver)
G_DEFINE_CLASS(TypedObjectNode, "Tavlin::TypedObjectNode", Object, NamedMember, NameLinkResolver,
               IDispatcherImpl)

namespace {

constexpr char source[] = "tavlinbase/TavlinTypedObject";

/// The object that a value leads to; null for a value of any kind but OBJECT and GRTTI.
GRTTIObject * objectOf(VariableRef const & value) {
    if (value.type() == OBJECT)
        return static_cast<RefCounter *>(value.asOBJECT().pointer());
    return value.type() == GRTTI ? value.asGRTTI() : nullptr;
}

bool holdsObject(VariableRef const & value) {
    return value.type() == OBJECT || value.type() == GRTTI;
}

void * interfaceOf(VariableRef const & value, GMetaClass const * metaClass) {
    Object * const object = gcast<Object>(objectOf(value));
    if (!object || !metaClass)
        return nullptr;
    TRef<AUnknown> const found = object->queryInterface(metaClass);
    return found ? found->fast_cast_to_(metaClass) : nullptr;
}

/// Visits the interfaces of an object that are leaves, itself included.
template <class Visit>
void forInterfaceLeaves(TypedObjectNode & node, Visit visit) {
    InterfaceIterator iterator(TRef<Object>(&node), &AUnknown::metaclass_, true);
    for (; iterator; ++iterator)
        if (TypedObjectLeaf * const leaf = gcast_cached<TypedObjectLeaf>(iterator.get()))
            visit(*leaf);
}

template <class T>
void fill(T * where, T const & value) {
    if (where)
        *where = value;
}

/// Deletes a record that was made for one use.
using InfoHolder = std::unique_ptr<ConnectionPointInfo>;
InfoHolder holderOf(ConnectionPointInfo * info) {
    return InfoHolder(info && info->temporary ? info : nullptr);
}

} // namespace

namespace {

/// Copies of the points of the class, which nobody deletes after use.
TGVector<ConnectionPointInfo> pointsOfClass(NameLinkResolver & resolver) {
    TGVector<ConnectionPointInfo> points;
    auto const count = reinterpret_cast<std::intptr_t>(resolver.macroTableHelper(-1));
    for (int i = 0; i < count; ++i) {
        InfoHolder const info(resolver.macroTableHelper(i));
        if (!info)
            continue;
        ConnectionPointInfo own(*info);
        own.temporary = false;
        points.insert(own);
    }
    return points;
}

/// The point among `points` that is for the same member; -1 when there is none.
long placeOf(ConnectionPointInfo const & info, TGVector<ConnectionPointInfo> const & points) {
    for (long i = 0; i < points.getCount(); ++i) {
        ConnectionPointInfo const & point = points.at(i);
        if (point.memberOffset == info.memberOffset && point.type == info.type &&
            point.interfaceClass == info.interfaceClass)
            return i;
    }
    return -1;
}

} // namespace

void NamedMember::setMemberName(char const * name) {
    memberNameID_ = NameLinkID(name);
}

NameLinkID NamedMember::getMemberNameID() const {
    if (memberNameID_.isValid())
        return memberNameID_;
    NamedTypeInfo const * const type = getNamedTypeInfo();
    return type ? type->name : NameLinkID();
}

void NamedMember::write(opstream & out) {
    out.writeByte(0);
    out << memberNameID_;
}

void NamedMember::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version != 0)
        throw XStrVer(source, __LINE__, version, 0);
    in >> memberNameID_;
}

ConnectionPointInfo::ConnectionPointInfo() : TGVector<NameLinkID>(0, 4, false) {}

ConnectionPointInfo::ConnectionPointInfo(char const * path, int offset,
                                         ConnectionPointType pointType, bool isTemporary,
                                         bool isRequired, GMetaClass const * pointInterface)
    : TGVector<NameLinkID>(0, 4, false), memberOffset(offset), type(pointType),
      temporary(isTemporary), required(isRequired), interfaceClass(pointInterface) {
    makeIndexes(path);
}

void ConnectionPointInfo::makeIndexes(char const * path) {
    empty();
    if (!NameLink::ParseDottedSequence(path, *this))
        empty();
}

GString ConnectionPointInfo::getStringName() const {
    GString name;
    for (long i = 0; i < getCount(); ++i) {
        if (i > 0)
            name += '.';
        name += at(i).c_str();
    }
    return name;
}

int NamedItemCollectionEnumerator::getNICollectionCount() {
    return 0;
}

GCollection * NamedItemCollectionEnumerator::getNICollection() {
    return nullptr;
}

NameLinkResolver::NameLinkResolver(NameLinkResolver const & other)
    : RefCounter(other), namelinkRoot_(other.namelinkRoot_),
      privateTable_(other.privateTable_ ? new TGVector<ConnectionPointInfo>(*other.privateTable_)
                                        : nullptr) {}

NameLinkResolver & NameLinkResolver::operator=(NameLinkResolver const & other) {
    if (this == &other)
        return *this;
    RefCounter::operator=(other);
    namelinkRoot_ = other.namelinkRoot_;
    killPrivateTable();
    if (other.privateTable_)
        privateTable_ = new TGVector<ConnectionPointInfo>(*other.privateTable_);
    return *this;
}

NameLinkResolver::~NameLinkResolver() {
    killPrivateTable();
}

int NameLinkResolver::getConnectionPointCount() {
    return privateTable_ ? static_cast<int>(privateTable_->getCount())
                         : static_cast<int>(reinterpret_cast<std::intptr_t>(macroTableHelper(-1)));
}

ConnectionPointInfo * NameLinkResolver::getConnectionPointInfo(int index) {
    return privateTable_ ? &privateTable_->at(index) : macroTableHelper(index);
}

void NameLinkResolver::onLinkComplete() {}

void NameLinkResolver::onInit() {}

void NameLinkResolver::onInitBy(VariableRef &) {
    onInit();
}

void NameLinkResolver::onDispose() {}

ConnectionPointInfo * NameLinkResolver::macroTableHelper(int) {
    return nullptr;
}

TGVector<ConnectionPointInfo> * NameLinkResolver::getSafePrivateTable() {
    if (!privateTable_)
        buildPrivateTable();
    return privateTable_;
}

void NameLinkResolver::buildPrivateTable() {
    killPrivateTable();
    privateTable_ = new TGVector<ConnectionPointInfo>(pointsOfClass(*this));
}

void NameLinkResolver::killPrivateTable() {
    delete privateTable_;
    privateTable_ = nullptr;
}

void NameLinkResolver::resolveConnectionPoints() {
    int const count = getConnectionPointCount();
    for (int i = 0; i < count; ++i) {
        ConnectionPointInfo * const info = getConnectionPointInfo(i);
        InfoHolder const holder = holderOf(info);
        resolveConnectionPoint(info);
    }
}

VariableRef NameLinkResolver::resolveName(char const * path) {
    TGVector<NameLinkID> names;
    return NameLink::ParseDottedSequence(path, names) ? resolveName(names) : VariableRef();
}

VariableRef NameLinkResolver::resolveName(TGVector<NameLinkID> const & path) {
    if (path.getCount() == 0)
        return VariableRef();
    bool const fromRoot =
        path.at(0) == IDispatcher::g_me_alias || path.at(0) == IDispatcher::g_scene_alias;
    Object * const start = fromRoot ? namelinkRoot_ : gcast<Object>(this);
    return IDispatcher::FindVRef(path, TRef<Object>(start), TRef<Object>());
}

/// The place of the item that the last name of the path names; -1 when there is none.
int NameLinkResolver::findIndex(ConnectionPointInfo const & info) {
    long const last = info.getCount() - 1;
    if (last < 1)
        return -1;
    TGVector<NameLinkID> path(info);
    path.at_remove(last);
    VariableRef const owner = resolveName(path);
    auto * const enumerator = gcast<NamedItemCollectionEnumerator>(objectOf(owner));
    if (!enumerator)
        return -1;
    int found = -1;
    // All collections are asked for, also behind a match: an enumerator that steps through them by
    // itself stands at its first one again when the next search begins.
    for (int left = enumerator->getNICollectionCount(); left > 0; --left) {
        GCollection * const items = enumerator->getNICollection();
        for (long i = 0; items && found < 0 && i < items->getCount(); ++i) {
            auto const * const item = static_cast<NamedMember const *>(items->at(i));
            if (item && item->getMemberNameID() == info.at(last))
                found = static_cast<int>(i);
        }
    }
    return found;
}

void NameLinkResolver::resolveConnectionPoint(ConnectionPointInfo * info) {
    if (!info)
        return;
    if (info->type == ConnectionIndex)
        indexAt(*info) = findIndex(*info);
    else
        setConnectionPoint(*info, resolveName(*info));
}

void NameLinkResolver::setConnectionPoint(ConnectionPointInfo const & info,
                                          VariableRef const & value) {
    void * const member = getPointer(info.memberOffset);
    bool const known = value.isEmpty() || holdsObject(value);
    switch (info.type) {
        case ConnectionObject:
            if (known)
                *static_cast<TRef<Object> *>(member) = TRef<Object>(gcast<Object>(objectOf(value)));
            break;
        case ConnectionVariable:
            static_cast<_Variable *>(member)->link(value);
            break;
        case ConnectionPointer:
            if (value.type() == OBJECT)
                *static_cast<Object **>(member) = value.asOBJECT().pointer();
            else if (known)
                *static_cast<GRTTIObject **>(member) = objectOf(value);
            break;
        case ConnectionInterface:
            if (known)
                *static_cast<void **>(member) = interfaceOf(value, info.interfaceClass);
            break;
        case ConnectionArray:
            fillArray(*static_cast<VRefVector *>(member), value);
            break;
        case ConnectionIndex:
            break;
    }
}

// Elements that are no names, or name nothing, keep their places as empty handles, so that the
// list of names and the vector stay side by side.
void NameLinkResolver::fillArray(VRefVector & target, VariableRef const & value) {
    if (value.type() != ARRAY || !value.asARRAY())
        return;
    TRef<IVRefArray> const array = value.asARRAY()->queryInterface<IVRefArray>();
    target.setCount(0);
    int const count = array ? array->getCount() : 0;
    target.setLimit(count);
    for (int i = 0; i < count; ++i) {
        VariableRef const element = array->getItem(i);
        target.insert(element.type() == CHARPTR ? resolveName(element.asCHARPTR()) : VariableRef());
    }
}

bool NameLinkResolver::checkConnectionPoints(GString & log, bool reportWarnings) {
    if (!namelinkRoot_) {
        if (!log.isEmpty())
            log += "\r\n";
        log += "no namelink root";
        return false;
    }
    bool good = true;
    int const count = getConnectionPointCount();
    for (int i = 0; i < count; ++i) {
        ConnectionPointInfo * const info = getConnectionPointInfo(i);
        InfoHolder const holder = holderOf(info);
        if (good && info)
            good = passes(*info, log, reportWarnings);
    }
    return good;
}

bool NameLinkResolver::checkConnectionPoint(ConnectionPointInfo * info, GString & log,
                                            bool reportWarnings) {
    if (!info)
        return true;
    bool const passed = passes(*info, log, reportWarnings);
    // A check of one point starts an index as a resolve does, and stores nothing.
    if (info->type == ConnectionIndex)
        indexAt(*info) = -1;
    return passed;
}

int & NameLinkResolver::indexAt(ConnectionPointInfo const & info) {
    return *static_cast<int *>(getPointer(info.memberOffset));
}

// The check of a whole tree stands between the resolving and its announcement, so an index that is
// still what its name leads to stays; any other one is stale.
bool NameLinkResolver::passes(ConnectionPointInfo const & info, GString & log,
                              bool reportWarnings) {
    bool resolved;
    bool hasValue = false;
    if (info.type == ConnectionIndex) {
        int const found = findIndex(info);
        if (indexAt(info) != found)
            indexAt(info) = -1;
        resolved = found >= 0;
    } else {
        VariableRef const value = resolveName(info);
        hasValue = resolved = !value.isEmpty();
        if (resolved && info.type == ConnectionInterface)
            resolved = interfaceOf(value, info.interfaceClass) != nullptr;
    }
    if (resolved)
        return true;
    if (info.required || reportWarnings)
        report(info, log, hasValue);
    return !info.required;
}

void NameLinkResolver::report(ConnectionPointInfo const & info, GString & log, bool hasValue) {
    auto const * const member = gcast<NamedMember>(this);
    GString const who = member ? member->getMemberNameID().getName() : GString("<unknown>");
    char const * const severity = info.required ? "error: " : "warning: ";
    GString const name = info.getStringName();
    if (!log.isEmpty())
        log += "\r\n";
    if (info.type == ConnectionIndex)
        log += GString::Format("%sunable to resolve index '%s' in '%s'", severity, name.c_str(),
                               who.c_str());
    else if (info.type == ConnectionInterface && hasValue)
        log += GString::Format("%sunable to resolve interface '%s' of '%s' in '%s'", severity,
                               info.interfaceClass ? info.interfaceClass->getName() : "",
                               name.c_str(), who.c_str());
    else
        log += GString::Format("%sunable to resolve '%s' in '%s'", severity, name.c_str(),
                               who.c_str());
}

// A private table is written as a list of those points that the class has a member for. Each is the
// index of the class's point in 32 bits, a byte that is 1 when it is required, and the path. Where
// a target goes is thus always told by the class and never by the stream.
void NameLinkResolver::write(opstream & out) {
    out.writeByte(0);
    out.writeDWord(privateTable_ != nullptr);
    if (!privateTable_)
        return;
    TGVector<ConnectionPointInfo> const known = pointsOfClass(*this);
    unsigned long count = 0;
    for (ConnectionPointInfo const & info : *privateTable_)
        count += placeOf(info, known) >= 0;
    out.writeDWord(count);
    for (ConnectionPointInfo const & info : *privateTable_) {
        long const place = placeOf(info, known);
        if (place < 0)
            continue;
        out.writeDWord(static_cast<unsigned long>(place));
        out.writeByte(info.required);
        out << static_cast<TGVector<NameLinkID> const &>(info);
    }
}

void NameLinkResolver::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version != 0)
        throw XStrVer(source, __LINE__, version, 0);
    killPrivateTable();
    if (in.readDWord() == 0)
        return;
    privateTable_ = new TGVector<ConnectionPointInfo>;
    TGVector<ConnectionPointInfo> const known = pointsOfClass(*this);
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        unsigned long const place = in.readDWord();
        bool const required = in.readByte() != 0;
        TGVector<NameLinkID> path;
        in >> path;
        // A class may have lost points since.
        if (!in.good() || place >= static_cast<unsigned long>(known.getCount()))
            continue;
        ConnectionPointInfo info(known.at(static_cast<long>(place)));
        info.required = required;
        static_cast<TGVector<NameLinkID> &>(info) = path;
        privateTable_->insert(info);
    }
}

namespace {

template <class Member>
Member * resolveMember(NameLinkResolver & from, char const * path) {
    return gcast<Member>(objectOf(from.resolveName(path)));
}

} // namespace

TRef<TypedObjectNode> TypedObjectLeaf::resolveNode(char const * path) {
    return TRef<TypedObjectNode>(resolveMember<TypedObjectNode>(*this, path));
}

TypedObjectLeaf * TypedObjectLeaf::resolveLeaf(char const * path) {
    return resolveMember<TypedObjectLeaf>(*this, path);
}

void TypedObjectLeaf::write(opstream & out) {
    out.writeByte(1);
    NamedMember::write(out);
    NameLinkResolver::write(out);
}

void TypedObjectLeaf::read(ipstream & in) {
    unsigned char const version = in.readByte();
    NamedMember::read(in);
    if (version >= 1)
        NameLinkResolver::read(in);
}

TRef<TypedObjectNode> TypedObjectNode::findMemberNode(NameLinkID name) {
    int const count = getNodeCount();
    for (int i = 0; i < count; ++i) {
        TRef<TypedObjectNode> const node = getNode(i);
        if (node && node->getMemberNameID() == name)
            return node;
    }
    return TRef<TypedObjectNode>();
}

TypedObjectLeaf * TypedObjectNode::findMemberLeaf(NameLinkID name) {
    int const count = getLeafCount();
    for (int i = 0; i < count; ++i) {
        TypedObjectLeaf * const leaf = getLeaf(i);
        if (leaf && leaf->getMemberNameID() == name)
            return leaf;
    }
    return nullptr;
}

int TypedObjectNode::getNodeCount() const {
    return 0;
}

TRef<TypedObjectNode> TypedObjectNode::getNode(int) const {
    return TRef<TypedObjectNode>();
}

int TypedObjectNode::getLeafCount() const {
    return 0;
}

TypedObjectLeaf * TypedObjectNode::getLeaf(int) const {
    return nullptr;
}

TRef<TypedObjectNode> TypedObjectNode::resolveNode(char const * path) {
    return TRef<TypedObjectNode>(resolveMember<TypedObjectNode>(*this, path));
}

TypedObjectLeaf * TypedObjectNode::resolveLeaf(char const * path) {
    return resolveMember<TypedObjectLeaf>(*this, path);
}

void TypedObjectNode::callInitAsRoot() {
    callInitRecursive();
}

void TypedObjectNode::callInitByAsRoot(VariableRef & from) {
    callInitByRecursive(from);
}

void TypedObjectNode::callDisposeAsRoot() {
    callDisposeRecursive();
}

void TypedObjectNode::resolveAllNamesWithRoot(TypedObjectNode * root) {
    setNamelinkRoot(root);
    resolveConnectionPoints();
    auto const resolveLeaf = [root](TypedObjectLeaf & leaf) {
        leaf.setNamelinkRoot(root);
        leaf.resolveConnectionPoints();
    };
    for (int i = 0; i < getLeafCount(); ++i)
        if (TypedObjectLeaf * const leaf = getLeaf(i))
            resolveLeaf(*leaf);
    for (int i = 0; i < getNodeCount(); ++i)
        if (TRef<TypedObjectNode> const node = getNode(i))
            node->resolveAllNamesWithRoot(root);
    forInterfaceLeaves(*this, resolveLeaf);
}

bool TypedObjectNode::checkConnectionPointsDown(GString & log, bool reportWarnings) {
    bool good = checkConnectionPoints(log, reportWarnings);
    auto const checkLeaf = [&](TypedObjectLeaf & leaf) {
        good &= leaf.checkConnectionPoints(log, reportWarnings);
    };
    for (int i = 0; i < getLeafCount(); ++i)
        if (TypedObjectLeaf * const leaf = getLeaf(i))
            checkLeaf(*leaf);
    for (int i = 0; i < getNodeCount(); ++i)
        if (TRef<TypedObjectNode> const node = getNode(i))
            good &= node->checkConnectionPointsDown(log, reportWarnings);
    forInterfaceLeaves(*this, checkLeaf);
    return good;
}

void TypedObjectNode::onLinkCompleteRecursive() {
    for (int i = 0; i < getNodeCount(); ++i)
        if (TRef<TypedObjectNode> const node = getNode(i))
            node->onLinkCompleteRecursive();
    for (int i = 0; i < getLeafCount(); ++i)
        if (TypedObjectLeaf * const leaf = getLeaf(i))
            leaf->onLinkComplete();
    forInterfaceLeaves(*this, [](TypedObjectLeaf & leaf) { leaf.onLinkComplete(); });
    onLinkComplete();
}

void TypedObjectNode::callInitRecursive() {
    for (int i = 0; i < getNodeCount(); ++i)
        if (TRef<TypedObjectNode> const node = getNode(i))
            node->callInitRecursive();
    for (int i = 0; i < getLeafCount(); ++i)
        if (TypedObjectLeaf * const leaf = getLeaf(i))
            leaf->onInit();
    forInterfaceLeaves(*this, [](TypedObjectLeaf & leaf) { leaf.onInit(); });
    onInit();
}

void TypedObjectNode::callDisposeRecursive() {
    for (int i = 0; i < getNodeCount(); ++i)
        if (TRef<TypedObjectNode> const node = getNode(i))
            node->callDisposeRecursive();
    for (int i = 0; i < getLeafCount(); ++i)
        if (TypedObjectLeaf * const leaf = getLeaf(i))
            leaf->onDispose();
    forInterfaceLeaves(*this, [](TypedObjectLeaf & leaf) { leaf.onDispose(); });
    onDispose();
}

void TypedObjectNode::callInitByRecursive(VariableRef & from) {
    if (from.type() == OBJECT) {
        TRef<Object> const model = from.asOBJECT();
        auto const warn = [](char const * format, NameLinkID name) {
            platform::debugOutput(GString::Format(format, name.c_str()).c_str());
        };
        auto const initLeaf = [&](TypedObjectLeaf & leaf, char const * format) {
            NameLinkID const name = leaf.getMemberNameID();
            VariableRef value = IDispatcher::GetPropertyOrVar(model, name);
            if (value.type() == GRTTI)
                leaf.onInitBy(value);
            else
                warn(format, name);
        };
        for (int i = 0; i < getNodeCount(); ++i) {
            TRef<TypedObjectNode> const node = getNode(i);
            if (!node)
                continue;
            NameLinkID const name = node->getMemberNameID();
            VariableRef value = IDispatcher::GetPropertyOrVar(model, name);
            if (value.type() == OBJECT)
                node->callInitByRecursive(value);
            else
                warn("warning: no match for node '%s' in init by", name);
        }
        for (int i = 0; i < getLeafCount(); ++i)
            if (TypedObjectLeaf * const leaf = getLeaf(i))
                initLeaf(*leaf, "warning: no match for leaf '%s' in init by");
        forInterfaceLeaves(*this, [&](TypedObjectLeaf & leaf) {
            initLeaf(leaf, "warning: no match for interface leaf '%s' in init by");
        });
    }
    onInitBy(from);
}

namespace {

/// A leaf of that name, or else an interface leaf.
TypedObjectLeaf * findAnyLeaf(TypedObjectNode & node, NameLinkID name) {
    TypedObjectLeaf * found = node.findMemberLeaf(name);
    if (!found)
        forInterfaceLeaves(node, [&](TypedObjectLeaf & leaf) {
            if (!found && leaf.getMemberNameID() == name)
                found = &leaf;
        });
    return found;
}

} // namespace

bool TypedObjectNode::invoke(DispParams * params) {
    if (params->type == IDispatcher::PropertyGet) {
        VariableRef member;
        if (TRef<TypedObjectNode> const node = findMemberNode(params->name))
            member = VariableRef::AsOBJECT(TRef<Object>(node.pointer()));
        else if (TypedObjectLeaf * const leaf = findAnyLeaf(*this, params->name))
            member =
                VariableRef::AsGRTTI(static_cast<RefCounter *>(static_cast<NamedMember *>(leaf)));
        if (!member.isEmpty()) {
            if (params->result)
                params->result->link(member);
            return true;
        }
    }
    return IDispatcherImpl::invoke(params);
}

int TypedObjectNode::getNamesCount() const {
    int interfaceLeaves = 0;
    forInterfaceLeaves(const_cast<TypedObjectNode &>(*this),
                       [&](TypedObjectLeaf &) { ++interfaceLeaves; });
    return getNodeCount() + getLeafCount() + interfaceLeaves + IDispatcherImpl::getNamesCount();
}

bool TypedObjectNode::getNameInfo(int index, NameLinkID * name, CallType * type, int * thisOffset,
                                  void ** function, VariableTypes * returnType) const {
    if (index < 0)
        return false;
    auto const describe = [&](NameLinkID memberName, VariableTypes kind) {
        fill(name, memberName);
        fill(type, IDispatcher::PropertyGet);
        fill(thisOffset, 0);
        fill(function, static_cast<void *>(nullptr));
        fill(returnType, kind);
        return true;
    };
    if (index < getNodeCount()) {
        TRef<TypedObjectNode> const node = getNode(index);
        return node && describe(node->getMemberNameID(), OBJECT);
    }
    index -= getNodeCount();
    if (index < getLeafCount()) {
        TypedObjectLeaf const * const leaf = getLeaf(index);
        return leaf && describe(leaf->getMemberNameID(), GRTTI);
    }
    index -= getLeafCount();
    TypedObjectLeaf * found = nullptr;
    forInterfaceLeaves(const_cast<TypedObjectNode &>(*this), [&](TypedObjectLeaf & leaf) {
        if (index-- == 0)
            found = &leaf;
    });
    if (found)
        return describe(found->getMemberNameID(), GRTTI);
    return IDispatcherImpl::getNameInfo(index, name, type, thisOffset, function, returnType);
}

bool TypedObjectNode::findNameInfo(NameLinkID name, CallType type, int * thisOffset,
                                   void ** function, VariableTypes * returnType) const {
    return IDispatcher::Info::findNameInfo(name, type, thisOffset, function, returnType);
}

void TypedObjectNode::write(opstream & out) {
    out.writeByte(2);
    Object::write(out);
    NamedMember::write(out);
    NameLinkResolver::write(out);
    AUnknown::write(out);
}

void TypedObjectNode::read(ipstream & in) {
    unsigned char const version = in.readByte();
    Object::read(in);
    NamedMember::read(in);
    if (version >= 1)
        NameLinkResolver::read(in);
    if (version >= 2)
        AUnknown::read(in);
}

void TypedObjectNode::onFinalRelease() {
    Object::onFinalRelease();
}

} // namespace Tavlin
