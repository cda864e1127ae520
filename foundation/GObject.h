// The class that weak pointers (GPointer) may point at: its end clears all of them.
#pragma once

#include "foundation/GRTTIObject.h"

/// An object that weak pointers may point at.
class ONDREL_API GObject : public GRTTIObject {
    G_DECLARE_CLASS(GObject)
  public:
    GObject() = default;
    GObject(GObject const &) = default;
    GObject & operator=(GObject const &) = default;
    ~GObject() override;

    /// Destroys the object, at once or when the suspended destructions are done; see
    /// SuspendedDestruction.
    void condemn();
};
