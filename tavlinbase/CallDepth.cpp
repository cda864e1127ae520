// Where the runs of this thread began, and whether they are being broken off.
#include "tavlinbase/CallDepth.h"

#include "platform/Stack.h"

namespace Tavlin {

constinit thread_local std::uintptr_t CallDepth::base_ = 0;
constinit thread_local int NestedRun::nesting_ = 0;
constinit thread_local bool NestedRun::broken_ = false;

NestedRun::NestedRun() {
    ++nesting_;
    if (depth_.tooDeep() || platform::stackIsLow())
        broken_ = true;
}

NestedRun::~NestedRun() {
    if (--nesting_ == 0)
        broken_ = false;
}

} // namespace Tavlin
