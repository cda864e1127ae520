// The stream is made at first use and ends with the process.
#include "foundation/GDiag.h"

#include <cstring>
#include <fstream>

namespace {

constexpr char defaultName[] = "gdiag.out";

constinit char g_name[256] = {};

std::ofstream & stream() {
    static std::ofstream file;
    return file;
}

} // namespace

void GDiagSetFileName(char const * name) {
    std::strncpy(g_name, name && *name ? name : defaultName, sizeof g_name - 1);
    if (stream().is_open())
        stream().close();
}

std::ostream & GDiagStream() {
    if (!*g_name)
        std::strcpy(g_name, defaultName);
    if (!stream().is_open())
        stream().open(g_name);
    return stream();
}

std::ostream & GDiagStream(char const * file, char const * function, unsigned int line) {
    return GDiagStream() << file << ' ' << function << ' ' << std::dec << line << ": ";
}
