// The class description of the component for tests.
#include "AgentTest.h"

namespace Tavlin {

G_DEFINE_CREATABLE(Part, "Test::Part", AgentComponent)

std::vector<std::string> Part::log;

ConnectionPointInfo * Part::macroTableHelper(int index) {
    ConnectionTableWalk walk_(this, index, 0);
    TAVLIN_CONNECTION("scene.friend", friend_, ConnectionObject, !lonely)
    return walk_.end();
}

} // namespace Tavlin
