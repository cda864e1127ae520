// The class description of the recording object.
#include "ScriptTest.h"

namespace Tavlin {

G_DEFINE_CREATABLE(Recorder, "Test::Recorder", UniqueObject, IDispatcher)

} // namespace Tavlin
