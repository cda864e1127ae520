// A resource file: opened, walked through, read, added to, packed.
#include "Input.h"

#include "ondrel.h"

namespace {

void readAll(ResourceFile & file, GResourcePath const & path, int depth) {
    for (GResourceTypeIterator type(file, path); type; ++type)
        for (GResourceIterator item(file, GResourceFullName(path, "", type.name())); item; ++item)
            try {
                delete[] file.read_class_name(item.fullName());
                GStreamable * const object = item.get(false);
                if (!object || !object->isKindOf(&Tavlin::RefCounter::metaclass_))
                    delete object;
            } catch (GException const &) {
            }
    for (GResourceSubDirectoryIterator folder(file, path); folder && depth < 20; ++folder) {
        GResourcePath below(path);
        below += folder.name();
        readAll(file, below, depth + 1);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static InputFolder const folder;
    std::string const name = folder.put("store", data, size);
    try {
        ResourceFile file(name.c_str(), GIO::ReadMode);
        if (file.is_open())
            readAll(file, GResourcePath(), 0);
        file.close();
        ResourceFile changed(name.c_str(), GIO::ReadWriteMode);
        GStringCollection text;
        changed.put(&text, "added", "text", false);
        changed.flush();
        changed.pack();
    } catch (GException const &) {
    }
    folder.clear();
    return 0;
}
