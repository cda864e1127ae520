// The end of a GObject is what weak pointers listen to.
#include "foundation/GObject.h"

#include "foundation/GPointer.h"
#include "foundation/SuspendedDestruction.h"

G_DEFINE_CLASS(GObject, "GObject", GRTTIObject)

GObject::~GObject() {
    GPointer::ObjectDestroyed(this);
}

void GObject::condemn() {
    SuspendedDestruction::Put(this);
}
