// The registry of scene objects as a dispatcher.
#include "tavlinbase/TavlinSceneObject.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"

#include <vector>

namespace Tavlin {

G_DEFINE_CREATABLE(DispObjectRegistrar, "Tavlin::DispObjectRegistrar", UniqueObject, IDispatcher)
G_DEFINE_CREATABLE(SceneObject, "Tavlin::SceneObject", DispObjectRegistrar)

DispObjectRegistrar::~DispObjectRegistrar() {
    clear();
}

// One by one, each out of the list before it is released: an object that ends may take itself and
// others out of the registry.
void DispObjectRegistrar::clear() {
    while (objects_.getCount() > 0)
        objects_.removeAt(objects_.getCount() - 1);
}

bool DispObjectRegistrar::regObject(NameLinkID name, TRef<Object> const & object) {
    return object && objects_.insert(name, object);
}

bool DispObjectRegistrar::unregObject(NameLinkID name) {
    return objects_.remove(name);
}

bool DispObjectRegistrar::unregObject(TRef<Object> const & object) {
    for (long i = objects_.getCount() - 1; i >= 0; --i) {
        if (objects_.valueAt(i).pointer() != object.pointer())
            continue;
        objects_.removeAt(i);
        return true;
    }
    return false;
}

TRef<Object> DispObjectRegistrar::findObject(NameLinkID name) const {
    auto const * const found = objects_.find(name);
    return found ? *found : TRef<Object>();
}

TRef<Object> DispObjectRegistrar::findObject(TGVector<NameLinkID> & path, int index) {
    return FindObjectRecursive(path, index, TRef<Object>(this), 0);
}

bool DispObjectRegistrar::broadcast(DispParams * params) {
    // A copy, since a call may change the registry. Scenes have few objects, and scripts call them
    // at every step: only a large registry takes memory for it.
    constexpr long few = 16;
    TRef<Object> local[few];
    std::vector<TRef<Object>> many;
    long const count = objects_.getCount();
    if (count > few)
        many.resize(static_cast<std::size_t>(count));
    TRef<Object> * const objects = count > few ? many.data() : local;
    for (long i = 0; i < count; ++i)
        objects[i] = objects_.valueAt(i);
    bool taken = false;
    for (long i = count - 1; i >= 0; --i)
        taken |= params->call(objects[i]);
    return taken;
}

bool DispObjectRegistrar::invoke(DispParams * params) {
    if (params->type == IDispatcher::Method)
        return broadcast(params);
    if (params->type != IDispatcher::PropertyGet)
        return false;
    TRef<Object> const object = findObject(params->name);
    return object && (!params->result || params->result->asOBJECT(object));
}

IDispatcher::Info const * DispObjectRegistrar::getTypeInfo() {
    return this;
}

int DispObjectRegistrar::getNamesCount() const {
    return static_cast<int>(objects_.getCount());
}

bool DispObjectRegistrar::getNameInfo(int index, NameLinkID * name, CallType * type, int *, void **,
                                      VariableTypes * returnType) const {
    if (index < 0 || index >= objects_.getCount())
        return false;
    if (name)
        *name = objects_.keyAt(index);
    if (type)
        *type = IDispatcher::PropertyGet;
    if (returnType)
        *returnType = OBJECT;
    return true;
}

void DispObjectRegistrar::write(opstream & out) {
    out.writeByte(0);
    UniqueObject::write(out);
    AUnknown::write(out);
    out.writeDWord(static_cast<unsigned long>(objects_.getCount()));
    for (long i = 0; i < objects_.getCount(); ++i) {
        out << objects_.keyAt(i);
        RefCounterWrite(out, TRef<RefCounter>(objects_.valueAt(i).pointer()));
    }
}

void DispObjectRegistrar::read(ipstream & in) {
    unsigned char const version = in.readByte();
    if (version != 0)
        throw XStrVer("tavlinbase/TavlinSceneObject", __LINE__, version, 0);
    readParts(in);
}

void DispObjectRegistrar::readParts(ipstream & in) {
    UniqueObject::read(in);
    AUnknown::read(in);
    clear();
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        NameLinkID name;
        in >> name;
        ObjectCreator creator(in);
        regObject(name, TRef<Object>(static_cast<Object *>(creator)));
    }
}

void DispObjectRegistrar::onFinalRelease() {
    Object::onFinalRelease();
}

SceneObject::SceneObject() {
    g_sceneObject = this;
}

SceneObject::~SceneObject() {
    if (g_sceneObject == this)
        g_sceneObject = nullptr;
}

SceneObject * SceneObject::Get() {
    return static_cast<SceneObject *>(g_sceneObject);
}

void SceneObject::write(opstream & out) {
    out.writeByte(1);
    DispObjectRegistrar::write(out);
}

// The earlier form had the parts without the inner version.
void SceneObject::read(ipstream & in) {
    if (in.readByte() == 0)
        readParts(in);
    else
        DispObjectRegistrar::read(in);
}

} // namespace Tavlin
