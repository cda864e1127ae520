// The base of objects that need texts from the module that contains their class.
#pragma once

#include "foundation/GObject.h"
#include "foundation/GString.h"
#include "platform/SystemTypes.h"

/// An object that can load texts from the module of its class.
class ONDREL_API GExternalClass : public GObject {
    G_DECLARE_CLASS(GExternalClass)
  public:
    GExternalClass() = default;

    /// The module of the class's builder, remembered once known; null for a class without one.
    HINSTANCE hinstance();
    /// Loads text `id` of that module; false when there is none.
    bool load_string(GString & text, unsigned int id);

  private:
    HINSTANCE module_ = nullptr;
};
