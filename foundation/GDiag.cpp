// The stream is made at first use and never destroyed: whoever still has something to say while the
// program ends finds it open. What stands in it then goes to the file at once.
#include "foundation/GDiag.h"

#include <cstring>
#include <fstream>

namespace {

constexpr char defaultName[] = "gdiag.out";

constinit char g_name[256] = {};

struct AtExit {
    std::ofstream & file;
    ~AtExit() { file << std::unitbuf << std::flush; }
};

std::ofstream & stream() {
    static std::ofstream & file = *new std::ofstream;
    static AtExit const atExit{file};
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
