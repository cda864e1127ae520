// Prints the names of all classes, without a word about any: what nobody mentions must be linked
// all the same.
#include "foundation/GMetaClass.h"

#include <cstdio>

int main() {
    for (char const * name :
         {"PixelMap", "TGAReaderWriter", "GResourceDirectoryList", "VRefChannelSource",
          "Tavlin::D_IsGreaterOrEqual", "Tavlin::TextDictionary", "Tavlin::ProcedureInstruction"})
        if (!GMetaClass::FindByName(name)) {
            std::fprintf(stderr, "registry: there is no class %s\n", name);
            return 1;
        }
    for (long i = 0; i < GMetaClass::GetCount(); ++i)
        std::puts(GMetaClass::At(i)->getName());
}
