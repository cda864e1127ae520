// The walk over all registered objects of a class and of the classes derived from it. It holds no
// lock and no reference: nothing may be registered or unregistered meanwhile.
#pragma once

#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

/// Walks over all registered objects of a class.
class ONDREL_API ObjectIterator {
  public:
    /// Stands on the first object. The order is by addresses and means nothing.
    explicit ObjectIterator(GMetaClass const * metaClass);

    void first();
    /// Does nothing at the end.
    void next();
    ObjectIterator & operator++() {
        next();
        return *this;
    }

    explicit operator bool() const { return current_ != nullptr; }
    bool is_empty() const { return current_ == nullptr; }
    Object * get() const { return current_; }
    Object * operator->() const { return current_; }
    Object & operator*() const { return *current_; }
    ObjectIterator copy() const { return *this; }

  private:
    void settle();

    GMetaClass const * metaClass_;
    int setIndex_ = 0;
    int itemIndex_ = 0;
    Object * current_ = nullptr;
};

} // namespace Tavlin
