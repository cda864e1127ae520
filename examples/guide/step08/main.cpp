// Step 8: the world is saved into a file, dropped, and read back.
#include "Harbour.h"

#include <cstdio>
#include <filesystem>

using namespace Tavlin;
using Guide::Harbour;

bool save(Harbour & harbour, char const * path) {
    ofpstream out(path, GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone);
    out.writeStreamable(harbour);
    out.flush();
    return out.good();
}

/// False, and an empty harbour, when the file cannot be read.
bool load(Harbour & harbour, char const * path) {
    ifpstream in(path, GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    try {
        in.readStreamable(harbour);
        if (in.good() && harbour.lamp()) // what begins with an unknown class is stepped over
            return true;
    } catch (GLibraryException const & exception) {
        std::fprintf(stderr, "%s\n", exception.getMessage().c_str());
    }
    harbour.drop();
    return false;
}

int main() {
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
    Error::InitializeHandler();
    Time::Reset();

    char const * const path = "guide_step08.world";
    Harbour harbour;
    if (!harbour.build(EXAMPLE_DIR "/keeper.aut"))
        return 1;
    harbour.start();
    for (int i = 0; i < 4; ++i)
        harbour.pass();
    harbour.print();
    std::printf("saved: %s\n", save(harbour, path) ? "yes" : "no");

    for (int i = 0; i < 4; ++i)
        harbour.pass();
    harbour.print();

    harbour.drop();
    if (load(harbour, path)) {
        harbour.print();
        harbour.start();
        for (int i = 0; i < 4; ++i)
            harbour.pass();
        harbour.print();
    }

    harbour.drop();
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    std::printf("half a file: %s\n", load(harbour, path) ? "loaded" : "refused");
    std::filesystem::remove(path);
    return 0;
}
