// The description of the root class.
#include "foundation/GRTTIObject.h"

G_DEFINE_ROOT(GRTTIObject, "GRTTIObject")
