// Marks what leaves the shared library. Everything else in it is hidden, so a class or function
// that a host may use carries ONDREL_API. The static library keeps the marks where they are mere
// visibility, so that a program can hand the library on to modules of its own.
#pragma once

#if defined(_WIN32) && defined(ONDREL_STATIC)
#define ONDREL_API
#elif defined(_WIN32)
#if defined(ONDREL_BUILDING)
#define ONDREL_API __declspec(dllexport)
#else
#define ONDREL_API __declspec(dllimport)
#endif
#else
#define ONDREL_API __attribute__((visibility("default")))
#endif
