// Modules by the dynamic linker. A handle is the load address, so that the answer to "who holds
// this address" and what a load returned are the same; the linker's own handle is found by name.
#include "platform/Modules.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

namespace platform {

namespace {

void * baseOf(void const * address) {
    Dl_info info;
    return address && dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

/// The program's own headers, which the kernel tells, lie in the program.
void * programBase() {
    return baseOf(reinterpret_cast<void const *>(getauxval(AT_PHDR)));
}

/// Copies with backslashes, cut to `size` with the terminating zero.
unsigned long copyName(char const * from, std::size_t length, char * to, unsigned long size) {
    if (size == 0)
        return 0;
    unsigned long count = 0;
    for (; count < length && count + 1 < size; ++count)
        to[count] = from[count] == '/' ? '\\' : from[count];
    to[count] = 0;
    return count;
}

/// One more of the linker's handles for a module that is loaded; null for the program itself.
void * linkerHandle(HINSTANCE module) {
    Dl_info info;
    if (!module || module == reinterpret_cast<HINSTANCE>(programBase()))
        return nullptr;
    if (dladdr(module, &info) == 0 || !info.dli_fname || info.dli_fbase != module)
        return nullptr;
    return dlopen(info.dli_fname, RTLD_NOLOAD | RTLD_LAZY);
}

} // namespace

HINSTANCE moduleOfAddress(void const * address) {
    return reinterpret_cast<HINSTANCE>(baseOf(address));
}

unsigned long programPath(char * name, unsigned long size) {
    char path[PATH_MAX];
    ssize_t const length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? copyName(path, static_cast<std::size_t>(length), name, size) : 0;
}

unsigned long moduleFileName(HINSTANCE module, char * name, unsigned long size) {
    // The linker knows the program only by the words it was started with.
    if (!module || module == reinterpret_cast<HINSTANCE>(programBase()))
        return programPath(name, size);
    Dl_info info;
    if (dladdr(module, &info) == 0 || info.dli_fbase != module || !info.dli_fname)
        return 0;
    char path[PATH_MAX];
    // Libraries found through a relative search path are known by a relative name.
    char const * full =
        info.dli_fname[0] != '/' && realpath(info.dli_fname, path) ? path : info.dli_fname;
    return copyName(full, std::strlen(full), name, size);
}

HINSTANCE loadModule(char const * name) {
    if (!name || !*name)
        return nullptr;
    std::string path(name);
    for (char & letter : path)
        if (letter == '\\')
            letter = '/';
    void * const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        return nullptr;
    // The linker's record of the module points at its dynamic section, which lies in it.
    link_map * map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || !map) {
        dlclose(handle);
        return nullptr;
    }
    return moduleOfAddress(map->l_ld);
}

bool unloadModule(HINSTANCE module) {
    void * const handle = linkerHandle(module);
    if (!handle)
        return false;
    // Once for the handle just taken, once for the load that is given back.
    dlclose(handle);
    return dlclose(handle) == 0;
}

void * moduleSymbol(HINSTANCE module, char const * symbol) {
    void * const handle = linkerHandle(module);
    void * const address = dlsym(handle ? handle : RTLD_DEFAULT, symbol);
    if (handle)
        dlclose(handle);
    return address;
}

} // namespace platform
