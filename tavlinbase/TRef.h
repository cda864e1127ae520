// The pointer by which counted objects are held. Its size is one word, and taking or dropping a
// reference is one addition and a test in line.
#pragma once

#include "tavlinbase/RefCounter.h"

#include <cassert>
#include <utility>

namespace Tavlin {

/// Null is a valid value. T is a RefCounter, by a normal or a virtual base.
template <class T>
class TRef {
  public:
    TRef(T * pointer = nullptr) : pointer_(pointer) {
        if (pointer_)
            counter()->addref();
    }
    TRef(TRef const & other) : TRef(other.pointer_) {}
    TRef(TRef && other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    // Asks the conversion itself, not a trait: a trait asked once too early, while a class is only
    // declared, would say no for good.
    template <class U, class = decltype(std::declval<void (&)(T *)>()(std::declval<U *>()))>
    TRef(TRef<U> const & other) : TRef(other.pointer()) {}
    ~TRef() {
        if (pointer_)
            counter()->release();
    }

    /// Takes the new reference before it drops the old one, which may end an object.
    TRef & operator=(TRef const & other) {
        TRef(other).swap(*this);
        return *this;
    }
    TRef & operator=(TRef && other) noexcept {
        TRef(std::move(other)).swap(*this);
        return *this;
    }

    T * pointer() const { return pointer_; }
    operator T *() const { return pointer_; }
    T * operator->() const {
        assert(pointer_);
        return pointer_;
    }
    T & operator*() const {
        assert(pointer_);
        return *pointer_;
    }

    /// Drops the reference; null afterwards.
    void empty() { TRef().swap(*this); }
    void swap(TRef & other) noexcept { std::swap(pointer_, other.pointer_); }

  private:
    friend class Object;

    RefCounter * counter() const { return pointer_; }
    /// Gives the reference up without ending the object, whoever is to answer for it.
    T * handOver() {
        --counter()->count_;
        return std::exchange(pointer_, nullptr);
    }

    T * pointer_;
};

} // namespace Tavlin
