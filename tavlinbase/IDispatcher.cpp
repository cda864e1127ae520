// Lookup by path, and the dynamic call.
#include "tavlinbase/IDispatcher.h"

#include "tavlinbase/InterfaceIterator.h"

namespace Tavlin {

G_DEFINE_CLASS(IDispatcher, "Tavlin::IDispatcher", AUnknown)

constinit Object * IDispatcher::g_sceneObject = nullptr;

IDispatcher::Info::~Info() = default;

namespace {

bool isAlias(TGVector<NameLinkID> const & path) {
    NameLinkID const first = path.at(0);
    return first == IDispatcher::g_me_alias || first == IDispatcher::g_scene_alias ||
           first == IDispatcher::g_inherited_alias;
}

/// Whether the path names something beyond its root.
bool namesMember(TGVector<NameLinkID> const & path) {
    return path.getCount() > (path.getCount() > 0 && isAlias(path) ? 1 : 0);
}

/// The object that the path's last name is looked up on.
TRef<Object> holder(TGVector<NameLinkID> const & path, TRef<Object> const & me,
                    TRef<Object> const & inherited) {
    int start = 0;
    TRef<Object> const root = IDispatcher::GetRootObject(start, path, me, inherited);
    return IDispatcher::FindObjectRecursive(path, start, root, 1);
}

NameLinkID lastName(TGVector<NameLinkID> const & path) {
    return path.at(path.getCount() - 1);
}

} // namespace

bool IDispatcher::Info::findNameInfo(NameLinkID name, CallType type, int * thisOffset,
                                     void ** function, VariableTypes * returnType) const {
    int const count = getNamesCount();
    for (int i = 0; i < count; ++i) {
        NameLinkID candidate;
        CallType candidateType{};
        if (getNameInfo(i, &candidate, &candidateType, nullptr, nullptr, nullptr) &&
            candidate == name && candidateType == type)
            // Only now, so that nothing of the names before it is left in the outputs.
            return getNameInfo(i, nullptr, nullptr, thisOffset, function, returnType);
    }
    return false;
}

bool IDispatcher::attach() {
    Info const * const mine = getTypeInfo();
    if (!mine)
        return true;
    TInterfaceIterator<IDispatcher> others(getObject(), true);
    for (; others; ++others) {
        IDispatcher * const other = others.get();
        Info const * const theirs = other == this ? nullptr : other->getTypeInfo();
        if (!theirs)
            continue;
        for (int i = 0; i < mine->getNamesCount(); ++i) {
            NameLinkID name;
            CallType type{};
            if (mine->getNameInfo(i, &name, &type, nullptr, nullptr, nullptr) &&
                theirs->findNameInfo(name, type, nullptr, nullptr, nullptr))
                return false;
        }
    }
    return true;
}

TRef<Object> IDispatcher::GetRootObject(int & startIndex, TGVector<NameLinkID> const & path,
                                        TRef<Object> const & me, TRef<Object> const & inherited) {
    startIndex = isAlias(path) ? 1 : 0;
    if (path.at(0) == g_scene_alias)
        return TRef<Object>(g_sceneObject);
    return path.at(0) == g_inherited_alias ? inherited : me;
}

TRef<Object> IDispatcher::FindObjectRecursive(TGVector<NameLinkID> const & path, int index,
                                              TRef<Object> const & current, int tail) {
    TRef<Object> object = current;
    for (; index < path.getCount() - tail; ++index) {
        if (!object)
            return object;
        VariableRef const value = GetPropertyOrVar(object, path.at(index));
        if (value.type() != OBJECT)
            return TRef<Object>();
        object = value.asOBJECT();
    }
    return object;
}

TRef<Object> IDispatcher::FindObject(TGVector<NameLinkID> const & path, TRef<Object> const & me,
                                     TRef<Object> const & inherited) {
    if (path.getCount() == 0)
        return me;
    int start = 0;
    TRef<Object> const root = GetRootObject(start, path, me, inherited);
    return FindObjectRecursive(path, start, root, 0);
}

TRef<Object> IDispatcher::FindObject(char const * path, TRef<Object> const & me,
                                     TRef<Object> const & inherited) {
    TGVector<NameLinkID> names;
    return NameLink::ParseDottedSequence(path, names) ? FindObject(names, me, inherited)
                                                      : TRef<Object>();
}

VariableRef IDispatcher::GetPropertyOrVar(TRef<Object> const & object, NameLinkID name) {
    VariableRef value;
    PropertyGetParams params(name, &value);
    return params.call(object) ? value : VariableRef();
}

VariableRef IDispatcher::FindVRef(TGVector<NameLinkID> const & path, TRef<Object> const & me,
                                  TRef<Object> const & inherited) {
    if (path.getCount() == 0)
        return VariableRef();
    if (!namesMember(path)) {
        int start = 0;
        return VariableRef::AsOBJECT(GetRootObject(start, path, me, inherited));
    }
    TRef<Object> const object = holder(path, me, inherited);
    return object ? GetPropertyOrVar(object, lastName(path)) : VariableRef();
}

VariableRef IDispatcher::FindVRef(char const * path, TRef<Object> const & me,
                                  TRef<Object> const & inherited) {
    TGVector<NameLinkID> names;
    return NameLink::ParseDottedSequence(path, names) ? FindVRef(names, me, inherited)
                                                      : VariableRef();
}

bool IDispatcher::SetVRef(VariableRef const & value, TGVector<NameLinkID> const & path,
                          TRef<Object> const & me, TRef<Object> const & inherited) {
    if (!namesMember(path))
        return false;
    TRef<Object> const object = holder(path, me, inherited);
    return object && PropertySetParams(lastName(path), value).call(object);
}

bool IDispatcher::SetVRef(VariableRef const & value, char const * path, TRef<Object> const & me,
                          TRef<Object> const & inherited) {
    TGVector<NameLinkID> names;
    return NameLink::ParseDottedSequence(path, names) && SetVRef(value, names, me, inherited);
}

bool IDispatcher::CallMethod(TGVector<NameLinkID> const & path, VariableRef * result,
                             VRefVector * args, TRef<Object> const & me,
                             TRef<Object> const & inherited) {
    if (!namesMember(path))
        return false;
    TRef<Object> const object = holder(path, me, inherited);
    return object && DispParams(lastName(path), result, args, Method).call(object);
}

bool IDispatcher::CallMethod(char const * path, VariableRef * result, VRefVector * args,
                             TRef<Object> const & me, TRef<Object> const & inherited) {
    TGVector<NameLinkID> names;
    return NameLink::ParseDottedSequence(path, names) &&
           CallMethod(names, result, args, me, inherited);
}

PropertySetParams::PropertySetParams(NameLinkID callName, VariableRef const & value)
    : DispParams(callName, nullptr, &values_, IDispatcher::PropertySet), values_(1, 4) {
    values_.insert(value);
}

} // namespace Tavlin
