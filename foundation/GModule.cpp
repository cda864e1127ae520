// Modules are found through the platform; the out-of-memory handler through the language.
#include "foundation/GModule.h"

#include "platform/Modules.h"

#include <cstdint>
#include <new>

namespace {

using NewHandler = void (*)();
constinit NewHandler g_newHandler = nullptr;

void callNewHandler() {
    g_newHandler();
    throw std::bad_alloc();
}

} // namespace

HINSTANCE GetProcHInstance(void const * address, char * name, unsigned long size) {
    char privateName[260];
    if (!name || size == 0) {
        name = privateName;
        size = sizeof privateName;
    }
    auto base = reinterpret_cast<std::uintptr_t>(platform::moduleOfAddress(address));
    // Some loaders tag a handle by taking one from a page address.
    if ((base & 0xFFF) == 0xFFF)
        ++base;
    auto const module = reinterpret_cast<HINSTANCE>(base);
    if (!module || platform::moduleFileName(module, name, size) == 0)
        return nullptr;
    return module;
}

void (*GSetNewHandler(void (*handler)()))() {
    void (*former)() = g_newHandler;
    g_newHandler = handler;
    std::set_new_handler(handler ? &callNewHandler : nullptr);
    return former;
}
