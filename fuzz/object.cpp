// Counted objects from a stream, as a saved world has them: every class of the library, references,
// and what the reader steps over.
#include "Input.h"

#include "ondrel.h"

#include <vector>

using namespace Tavlin;

int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    static TRef<SceneObject> const scene(new SceneObject);
    static TRef<AgentManager2> const manager(new AgentManager2);
    std::vector<std::uint8_t> bytes(data, data + size);
    impstream in(bytes.data(), static_cast<long>(size), GIO::ReadMode);
    FinalReleasePause const pause;
    std::vector<TRef<RefCounter>> objects;
    try {
        for (int i = 0; i < 100 && in.rdstate() == 0; ++i)
            objects.emplace_back(in.readPointer<RefCounter>());
    } catch (GException const &) {
    }
    return 0;
}
