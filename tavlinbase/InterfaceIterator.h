// The walk over the interfaces of one object that are of some class, the last attached first, and
// the object itself at the end when it is one. It stands on the path of every call by name, so it
// takes no memory and casts through the cache.
#pragma once

#include "foundation/GCastCache.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

/// The untyped walk, by the description of the class.
class InterfaceIterator {
  public:
    /// Stands on the first interface. `includeObject` lets the object itself be the last one. A
    /// null object has no interfaces.
    InterfaceIterator(TRef<Object> object, GMetaClass const * metaClass, bool includeObject)
        : metaClass_(metaClass), object_(std::move(object)), includeObject_(includeObject) {
        first();
    }

    void first() {
        index_ = object_ ? int(object_->interfaces_.getCount()) : 0;
        next();
    }
    void next() {
        current_ = nullptr;
        found_ = nullptr;
        if (!object_)
            return;
        while (--index_ >= 0)
            if (settle(interfaceAt(index_)))
                return;
        if (index_ == -1 && includeObject_)
            settleOnObject();
    }
    InterfaceIterator & operator++() {
        next();
        return *this;
    }

    explicit operator bool() const { return current_ != nullptr; }
    bool is_empty() const { return current_ == nullptr; }
    AUnknown * get() const { return current_; }
    AUnknown * operator->() const { return current_; }
    AUnknown & operator*() const { return *current_; }
    InterfaceIterator copy() const { return *this; }

    /// For a walk that has its own way to look at each interface: how many places there are, and
    /// what stands at one; null when nothing does, also behind the end.
    static int Places(Object const & object) { return int(object.interfaces_.getCount()); }
    static AUnknown * At(Object const & object, int index) {
        return index < object.interfaces_.getCount() ? object.interfaces_.at(index) : nullptr;
    }

  protected:
    /// The current interface as the class that was asked for.
    void * found() const { return found_; }

  private:
    /// An interface may take others out while the walk stands on it.
    AUnknown * interfaceAt(int index) const { return At(*object_, index); }
    bool settle(AUnknown * iface) {
        if (!iface || !(found_ = GCastCache::Cast(iface, metaClass_)))
            return false;
        current_ = iface;
        return true;
    }
    void settleOnObject() {
        found_ = GCastCache::Cast(object_.pointer(), metaClass_);
        if (found_)
            current_ = gcast_cached<AUnknown>(object_.pointer());
    }

    GMetaClass const * metaClass_;
    TRef<Object> object_;
    int index_ = 0;
    AUnknown * current_ = nullptr;
    void * found_ = nullptr;
    bool includeObject_;
};

/// The walk over the interfaces of class T.
template <class T>
class TInterfaceIterator : public InterfaceIterator {
  public:
    TInterfaceIterator(TRef<Object> object, bool includeObject)
        : InterfaceIterator(std::move(object), &T::metaclass_, includeObject) {}
    TInterfaceIterator(TRef<Object> object, GMetaClass const * metaClass, bool includeObject)
        : InterfaceIterator(std::move(object), metaClass, includeObject),
          other_(metaClass != &T::metaclass_) {}

    T * get() const {
        return other_ ? gcast_cached<T>(InterfaceIterator::get()) : static_cast<T *>(found());
    }
    T * operator->() const { return get(); }
    T & operator*() const { return *get(); }
    TInterfaceIterator & operator++() {
        next();
        return *this;
    }
    TInterfaceIterator copy() const { return *this; }

  private:
    bool other_ = false; // walks another class than T
};

} // namespace Tavlin
