// What the bindings look up.
#include "tavlinbase/BoundInvoke.h"

#include "tavlinbase/InterfaceIterator.h"

namespace Tavlin::detail {

namespace {

TRef<ExternalRefCounter> counterOf(TRef<Object> const & object) {
    if (!object)
        return TRef<ExternalRefCounter>();
    return TRef<ExternalRefCounter>(gcast<ExternalRefCounter>(
        object->querySafeInterface(&ExternalRefCounter::metaclass_).pointer()));
}

} // namespace

BoundExternalRef::BoundExternalRef(TRef<Object> const & object) : ExternalRef(counterOf(object)) {}

BoundExternalRef & BoundExternalRef::operator=(TRef<Object> const & object) {
    ExternalRef::operator=(counterOf(object));
    return *this;
}

bool findBoundTarget(TRef<Object> const & object, NameLinkID name, IDispatcher::CallType type,
                     BoundTarget & target) {
    for (TInterfaceIterator<IDispatcher> dispatcher(object, true); dispatcher; ++dispatcher) {
        IDispatcher::Info const * const info = dispatcher->getTypeInfo();
        int offset = 0;
        // A description may leave the function alone.
        target.function = nullptr;
        if (!info || !info->findNameInfo(name, type, &offset, &target.function, nullptr))
            continue;
        target.thisPointer = static_cast<char *>(static_cast<void *>(dispatcher.get())) + offset;
        return true;
    }
    target = BoundTarget();
    return false;
}

} // namespace Tavlin::detail
