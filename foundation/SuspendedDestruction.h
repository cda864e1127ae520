// Objects that cannot be destroyed at the point where they are condemned: while suspension is on
// they wait in a queue, which knows them by weak pointers, so one that dies first is forgotten.
#pragma once

#include "platform/Export.h"

class GObject;

/// The queue of the condemned.
class ONDREL_API SuspendedDestruction {
  public:
    /// Destroys what waits, then switches suspension on or off; it is off at the start.
    static void Enable(unsigned char enabled);
    static bool IsEnabled();
    /// Queues `object`, or destroys it at once while suspension is off; null is ignored. A
    /// GStreamable goes through GStreamable::Destroy, any other object as its class says.
    static void Put(GObject * object);
    /// Destroys what waits, the oldest first, also what is condemned meanwhile.
    static void DestroyAll();
};
