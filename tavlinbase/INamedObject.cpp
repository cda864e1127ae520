// Names of objects and their streamed form: byte 0, the interface part, the name.
#include "tavlinbase/INamedObject.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"

namespace Tavlin {

G_DEFINE_CLASS(INamedObject, "Tavlin::INamedObject", AUnknown)
G_DEFINE_CREATABLE(INamedObjectImpl, "Tavlin::INamedObjectImpl", INamedObject)
G_DEFINE_CREATABLE(IRemovableNamedObject, "Tavlin::IRemovableNamedObject", INamedObjectImpl)

bool INamedObjectImpl::setName(char const * name) {
    if (!isNameOK(name))
        return false;
    name_ = name;
    return true;
}

bool INamedObjectImpl::isNameOK(char const *) {
    return true;
}

void INamedObjectImpl::read(ipstream & in) {
    int const version = in.readByte();
    if (version != 0)
        throw XStrVer("tavlinbase/INamedObject", __LINE__, version, 0);
    AUnknown::read(in);
    in >> name_;
}

void INamedObjectImpl::write(opstream & out) {
    out.writeByte(0);
    AUnknown::write(out);
    out << name_;
}

} // namespace Tavlin
