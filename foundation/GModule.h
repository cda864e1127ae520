// Modules of the process: functions that run when one starts or stops, and the question which
// module holds an address.
#pragma once

#include "platform/Export.h"
#include "platform/SystemTypes.h"

/// A static of this kind runs `function` while the program starts.
class GModuleCtor {
  public:
    explicit GModuleCtor(void (*function)()) { function(); }
};

/// A static of this kind runs `function` while the program ends.
class GModuleDtor {
  public:
    explicit GModuleDtor(void (*function)()) : function_(function) {}
    ~GModuleDtor() { function_(); }
    GModuleDtor(GModuleDtor const &) = delete;
    GModuleDtor & operator=(GModuleDtor const &) = delete;

  private:
    void (*function_)();
};

/// The module that holds `address`, or null. `name` receives the module's file name, at most
/// `size` bytes with the terminating zero; a null `name` or a zero `size` keeps it private.
ONDREL_API HINSTANCE GetProcHInstance(void const * address, char * name = nullptr,
                                      unsigned long size = 0);

/// Stores what is called when memory runs out and returns the former handler. After the handler
/// returns, std::bad_alloc is thrown, so that the allocation is not tried again; a handler that
/// throws OutOfMemory_Exception decides otherwise. Null restores the language's own way.
ONDREL_API void (*GSetNewHandler(void (*handler)()))();
