// Step 9: generations of the world in one resource file, which keeps what was committed.
#include "../step08/Harbour.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

using namespace Tavlin;
using Guide::Harbour;

namespace {

GResourceFullName nameOf(GString const & generation) {
    return GResourceFullName(GString("worlds"), generation, "Harbour");
}

/// The newest first: their names are numbers of one length.
std::vector<GString> generationsOf(ResourceFile const & file) {
    std::vector<GString> names;
    for (GResourceIterator i(file, nameOf("")); i; ++i)
        names.push_back(i.name());
    return names;
}

/// Puts a new generation into the file, and lets go of those before the last one. Nothing of this
/// counts before the file is flushed.
bool put(ResourceFile & file, Harbour & harbour) {
    std::vector<GString> const former = generationsOf(file);
    int const number = former.empty() ? 1 : std::atoi(former[0].c_str()) + 1;
    if (!file.put(&harbour, nameOf(GString::Format("%06d", number)), false))
        return false;
    for (std::size_t i = 1; i < former.size(); ++i)
        file.remove(nameOf(former[i]));
    return true;
}

void list(char const * what, ResourceFile const & file) {
    std::printf("%s:", what);
    for (GString const & name : generationsOf(file))
        std::printf(" %s", name.c_str());
    std::puts("");
}

/// What a program finds that starts after this one was killed right here.
void listAfterCrash(char const * path) {
    GString const left = GString(path) + ".left";
    std::filesystem::copy_file(path, left.c_str(),
                               std::filesystem::copy_options::overwrite_existing);
    {
        ResourceFile const file(left.c_str(), GIO::ReadMode);
        list("  after a crash", file);
    }
    std::filesystem::remove(left.c_str());
}

int run(char const * path) {
    ResourceFile file(path, GIO::ReadWriteMode);
    if (!file.is_open() || file.io_mode() != GIO::ReadWriteMode)
        return 1;
    file.set_durable(true); // from here on a flush waits for the disk

    Harbour harbour;
    if (!harbour.build(EXAMPLE_DIR "/../step08/keeper.aut"))
        return 1;
    harbour.start();
    for (int generation = 1; generation <= 3; ++generation) {
        harbour.pass();
        harbour.print();
        if (!put(file, harbour))
            return 1;
        listAfterCrash(path);
        if (!file.flush())
            return 1;
        list("committed", file);
        listAfterCrash(path);
    }
    harbour.drop();

    std::unique_ptr<GStreamable> const stored(file.get(nameOf(generationsOf(file)[1]), false));
    auto * const before = gcast<Harbour>(stored.get());
    if (!before)
        return 1;
    before->print();
    return 0;
}

} // namespace

int main() {
    GString::AddLoadStringFunc(GLoadMessage, nullptr);
    Error::InitializeHandler();
    Time::Reset();

    char const * const path = "guide_step09.worlds";
    std::filesystem::remove(path);
    int const result = run(path);
    std::filesystem::remove(path);
    return result;
}
