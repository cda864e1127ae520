// A class's builder lies in the class's module, so its address leads there.
#include "foundation/GExternalClass.h"

#include "foundation/GModule.h"

G_DEFINE_CLASS(GExternalClass, "GExternalClass", GObject)

HINSTANCE GExternalClass::hinstance() {
    if (!module_)
        if (GMetaClass::Builder const builder = getMetaClass().getBuilder())
            module_ = GetProcHInstance(reinterpret_cast<void const *>(builder));
    return module_;
}

bool GExternalClass::load_string(GString & text, unsigned int id) {
    return text.loadString(hinstance(), id);
}
