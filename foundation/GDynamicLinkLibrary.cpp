// A module handle with an owner.
#include "foundation/GDynamicLinkLibrary.h"

#include "platform/Modules.h"

bool GDynamicLinkLibrary::load(char const * name) {
    unload();
    if (name)
        module_ = platform::loadModule(name);
    return loaded();
}

void GDynamicLinkLibrary::unload() {
    if (module_)
        platform::unloadModule(module_);
    module_ = nullptr;
}

GString GDynamicLinkLibrary::get_name() const {
    char name[260];
    // A null handle would name the program.
    if (!module_ || platform::moduleFileName(module_, name, sizeof name) == 0)
        return {};
    return name;
}
