// A shared library that is loaded as long as the object lives.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"
#include "platform/SystemTypes.h"

/// A module that is loaded by name and unloaded with the object.
class ONDREL_API GDynamicLinkLibrary {
  public:
    GDynamicLinkLibrary() = default;
    explicit GDynamicLinkLibrary(char const * name) { load(name); }
    ~GDynamicLinkLibrary() { unload(); }
    GDynamicLinkLibrary(GDynamicLinkLibrary const &) = delete;
    GDynamicLinkLibrary & operator=(GDynamicLinkLibrary const &) = delete;

    /// Unloads what was loaded, then loads `name` unless it is null. Whether a module is held.
    bool load(char const * name);
    void unload();
    bool loaded() const { return module_ != nullptr; }
    operator HINSTANCE() const { return module_; }
    /// The file of the module, at most 259 characters; empty when none is held.
    GString get_name() const;

  private:
    HINSTANCE module_ = nullptr;
};
