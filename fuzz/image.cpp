// Pictures: whatever codec takes the bytes, into maps of every format, and out again.
#include "Input.h"

#include "ondrel.h"

#include <memory>

int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static InputFolder const folder;
    std::string const name = folder.put("picture", data, size);
    try {
        std::unique_ptr<PixelMap> const map(PixelMapTools::LoadFromFile(name.c_str()));
        if (!map)
            return 0;
        std::unique_ptr<PixelMap> const small(PixelMapTools::Resize(*map, 7, 5, false));
        for (char const * const kind : {"out.bmp", "out.tga"})
            PixelMapTools::SaveToFile(*small, (name + kind).c_str());
    } catch (GException const &) {
    }
    folder.clear();
    return 0;
}
