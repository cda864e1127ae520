// The walk over the sets of registered objects.
#include "tavlinbase/ObjectIterator.h"

namespace Tavlin {

ObjectIterator::ObjectIterator(GMetaClass const * metaClass) : metaClass_(metaClass) {
    first();
}

void ObjectIterator::first() {
    setIndex_ = 0;
    itemIndex_ = 0;
    settle();
}

void ObjectIterator::next() {
    if (!current_)
        return;
    ClassExemplarSet const & set = *ClassSet::Global().at(setIndex_);
    if (++itemIndex_ < set.getCount()) {
        current_ = set.at(itemIndex_);
        return;
    }
    ++setIndex_;
    itemIndex_ = 0;
    settle();
}

// The first object of the first matching set from setIndex_ on.
void ObjectIterator::settle() {
    ClassSet const & sets = ClassSet::Global();
    current_ = nullptr;
    for (; setIndex_ < sets.getCount(); ++setIndex_) {
        ClassExemplarSet const & set = *sets.at(setIndex_);
        if (set.getCount() > 0 && set.metaClass()->isKindOf(metaClass_)) {
            current_ = set.at(0);
            return;
        }
    }
}

} // namespace Tavlin
