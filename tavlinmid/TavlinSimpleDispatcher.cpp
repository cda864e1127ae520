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
    // Data may make a group its own handler.
    NestedRun const run;
    TRef<HandlerCollectionObject> const hold(getReferenceCount() > 0 ? this : nullptr);
    DispParams params(g_name_default, result, args, IDispatcher::Method);
    // The list as it is now. A message inside this one finds no room and makes its own.
    TRefVector<Object> round(std::move(round_));
    for (long i = 0; i < handlers_.getCount(); ++i)
        round.insert(handlers_.at(i));
    bool all = true;
    for (long i = 0; i < round.getCount() && !run.isBroken(); ++i)
        if (isListed(round.at(i), i))
            all &= params.call(round.at(i));
    round.empty();
    round_ = std::move(round);
    return all && !run.isBroken();
}

/// `index` is where the handler was when the message came, and mostly still is.
bool HandlerCollectionObject::isListed(Object const * handler, long index) const {
    return (index < handlers_.getCount() && handlers_.at(index).pointer() == handler) ||
           handlers_.index_of(handler) >= 0;
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

// A group may list a handler that knows this board, and then its name has not been read yet when
// the board is: so the order, and which of two groups of one name is the first, are settled at
// first use.
void SimpleDispatcher::settle() const {
    unsettled_ = false;
    TRefVector<SimpleDispatcherFunctionGroup> const groups(functions_);
    functions_.empty();
    for (long i = 0; i < groups.getCount(); ++i)
        functions_.insert(groups.at(i));
}

bool SimpleDispatcher::invoke(DispParams * params) {
    long index = 0;
    if (params->type != IDispatcher::Method || !functions().searchKey(params->name, index))
        return false;
    GEmergencyContext const context("dispatching message (see below)");
    GEmergencyContext const message(params->name.c_str());
    return params->call(TRef<Object>(functions_.at(index).pointer()));
}

bool SimpleDispatcher::getNameInfo(int index, NameLinkID * name, IDispatcher::CallType * type,
                                   int * thisOffset, void ** function,
                                   VariableTypes * returnType) const {
    if (index < 0 || index >= getNamesCount())
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
    out.writeDWord(static_cast<unsigned long>(functions().getCount()));
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
    unsettled_ = true;
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        TRef<Object> const object = version == 0 ? readPlain(in) : LREAD_RESOURCE(in);
        TRef<SimpleDispatcherFunctionGroup> const group(
            gcast<SimpleDispatcherFunctionGroup>(object.pointer()));
        functions_.expand();
        if (group)
            functions_.at_insert(functions_.getCount(), group);
    }
}

} // namespace Tavlin
