// Message boards.
#include "tavlinmid/TavlinSimpleDispatcher.h"

#include "diagnostics/GEmergencyLog.h"
#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"
#include "tavlinbase/CallDepth.h"
#include "tavlinbase/TavlinLibrary.h"

namespace Tavlin {

G_DEFINE_CREATABLE(HandlerCollectionObject, "Tavlin::HandlerCollectionObject", Object)
G_DEFINE_CREATABLE(SimpleDispatcherFunctionGroup, "Tavlin::SimpleDispatcherFunctionGroup",
                   HandlerCollectionObject, IDispatcher)
G_DEFINE_CREATABLE(SimpleDispatcher, "Tavlin::SimpleDispatcher", UniqueObject, IDispatcher)

NameLinkID const HandlerCollectionObject::g_name_default("default");

namespace {

constexpr char source[] = "tavlinmid/TavlinSimpleDispatcher";

TRef<Object> readPlain(ipstream & in) {
    ObjectCreator creator(in);
    return TRef<Object>(static_cast<Object *>(creator));
}

void tellName(NameLinkID text, NameLinkID * name, IDispatcher::CallType * type, int * thisOffset,
              void ** function, VariableTypes * returnType) {
    if (name)
        *name = text;
    if (type)
        *type = IDispatcher::Method;
    if (thisOffset)
        *thisOffset = 0;
    if (function)
        *function = nullptr;
    if (returnType)
        *returnType = UNDEFINED;
}

} // namespace

int HandlerCollectionObject::compare(Object const & other) const {
    return Distance(this, &other, sizeof(HandlerCollectionObject));
}

bool HandlerCollectionObject::invoke_handlers() {
    VariableRef result;
    VRefVector args;
    return invoke_handlers(&result, &args);
}

bool HandlerCollectionObject::invoke_handlers(VariableRef * result, VRefVector * args) {
    TRef<HandlerCollectionObject> const hold(getReferenceCount() > 0 ? this : nullptr);
    DispParams params(g_name_default, result, args, IDispatcher::Method);
    bool all = true;
    // Data may make a group for "default" that is among its own handlers.
    NestedRun const run;
    for (long i = 0; i < handlers_.getCount() && !run.isBroken();) {
        TRef<Object> const handler = handlers_.at(i);
        all &= params.call(handler);
        // A handler may take itself and others from the list: go on behind where it stands now.
        if (i < handlers_.getCount() && handlers_.at(i).pointer() == handler.pointer())
            ++i;
        else if (long const now = handlers_.index_of(handler.pointer()); now >= 0)
            i = now + 1;
    }
    return all && !run.isBroken();
}

void HandlerCollectionObject::write(opstream & out) {
    out.writeByte(0);
    Object::write(out);
    out.writeDWord(static_cast<unsigned long>(handlers_.getCount()));
    for (long i = 0; i < handlers_.getCount(); ++i)
        LWRITE_RESOURCE(out, handlers_.at(i), true);
}

void HandlerCollectionObject::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version != 0)
        throw XStrVer(source, 65, version, 0);
    Object::read(in);
    handlers_.empty();
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        handlers_.expand();
        handlers_.insert(LREAD_RESOURCE(in));
    }
}

bool SimpleDispatcherFunctionGroup::invoke(DispParams * params) {
    if (params->type != IDispatcher::Method || params->name != name_)
        return false;
    invoke_handlers(params->result, params->params);
    return true;
}

bool SimpleDispatcherFunctionGroup::getNameInfo(int index, NameLinkID * name,
                                                IDispatcher::CallType * type, int * thisOffset,
                                                void ** function,
                                                VariableTypes * returnType) const {
    if (index != 0)
        return false;
    tellName(name_, name, type, thisOffset, function, returnType);
    return true;
}

void SimpleDispatcherFunctionGroup::onFinalRelease() {
    Object::onFinalRelease();
}

void SimpleDispatcherFunctionGroup::write(opstream & out) {
    out.writeByte(3);
    HandlerCollectionObject::write(out);
    AUnknown::write(out);
    out << name_;
}

void SimpleDispatcherFunctionGroup::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version > 3)
        throw XStrVer(source, 124, -1, -1);
    handlers().empty();
    if (version == 3)
        HandlerCollectionObject::read(in);
    else
        Object::read(in);
    AUnknown::read(in);
    in >> name_;
    if (version > 1)
        return;
    // The first two forms have the handlers behind the name.
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        handlers().expand();
        handlers().insert(version == 0 ? readPlain(in) : LREAD_RESOURCE(in));
    }
}

NameLinkID
SimpleDispatcher::Functions::keyOf(TRef<SimpleDispatcherFunctionGroup> const & group) const {
    return group->getName();
}

int SimpleDispatcher::Functions::compare(NameLinkID a, NameLinkID b) const {
    return a < b ? -1 : a > b;
}

bool SimpleDispatcher::invoke(DispParams * params) {
    long index = 0;
    if (params->type != IDispatcher::Method || !functions_.searchKey(params->name, index))
        return false;
    GEmergencyContext const context("dispatching message (see below)");
    GEmergencyContext const message(params->name.c_str());
    return params->call(TRef<Object>(functions_.at(index).pointer()));
}

bool SimpleDispatcher::getNameInfo(int index, NameLinkID * name, IDispatcher::CallType * type,
                                   int * thisOffset, void ** function,
                                   VariableTypes * returnType) const {
    if (index < 0 || index >= functions_.getCount())
        return false;
    tellName(functions_.at(index)->getName(), name, type, thisOffset, function, returnType);
    return true;
}

void SimpleDispatcher::onFinalRelease() {
    Object::onFinalRelease();
}

void SimpleDispatcher::write(opstream & out) {
    out.writeByte(1);
    Object::write(out);
    AUnknown::write(out);
    out.writeDWord(static_cast<unsigned long>(functions_.getCount()));
    for (long i = 0; i < functions_.getCount(); ++i)
        LWRITE_RESOURCE(out, TRef<Object>(functions_.at(i).pointer()), true);
}

void SimpleDispatcher::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version > 1)
        throw XStrVer(source, 196, -1, -1);
    Object::read(in);
    AUnknown::read(in);
    functions_.empty();
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        TRef<Object> const object = version == 0 ? readPlain(in) : LREAD_RESOURCE(in);
        TRef<SimpleDispatcherFunctionGroup> const group(
            gcast<SimpleDispatcherFunctionGroup>(object.pointer()));
        functions_.expand();
        if (group)
            functions_.insert(group);
    }
}

} // namespace Tavlin
