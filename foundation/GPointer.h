// Weak pointers: they own nothing and go null when the object dies. All pointers of the process
// stand in one list, which the end of each GObject walks; so they are for the few places that must
// notice a death, not for every reference.
#pragma once

#include "foundation/GObject.h"

#include <cstddef>

/// A weak pointer: null once its object has died. It is one thread's; making and ending one is
/// locked.
class ONDREL_API GPointer {
  public:
    GPointer() : GPointer(static_cast<GObject *>(nullptr)) {}
    GPointer(GObject * object);
    GPointer(GPointer const & other) : GPointer(other.object_) {}
    virtual ~GPointer();
    GPointer & operator=(GPointer const & other) {
        object_ = other.object_;
        return *this;
    }
    GPointer & operator=(GObject * object) {
        object_ = object;
        return *this;
    }

    GObject * pointer() const { return object_; }
    operator GObject *() const { return object_; }
    GObject * operator->() const { return object_; }
    GObject & operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }
    bool operator!() const { return object_ == nullptr; }

    /// The object is dying: forgets it. It runs under the lock of the list; an override may make
    /// and destroy pointers and objects.
    virtual void object_destroyed();

  private:
    friend class GObject;
    /// Tells all pointers to `object` that it dies.
    static void ObjectDestroyed(GObject * object);

    GObject * object_;
    GPointer * next_ = nullptr;
    GPointer * previous_ = nullptr;
};

/// A GPointer to a class that descends from GObject. It keeps nothing of its own, so it stays right
/// when it is changed as the GPointer that it is.
template <class T>
class TGPointer : public GPointer {
  public:
    TGPointer() = default;
    TGPointer(T * object) : GPointer(object) {}
    TGPointer & operator=(T * object) {
        GPointer::operator=(object);
        return *this;
    }

    T * pointer() const { return static_cast<T *>(GPointer::pointer()); }
    operator T *() const { return pointer(); }
    T * operator->() const { return pointer(); }
    T & operator*() const { return *pointer(); }
    template <class U>
    bool operator==(U * object) const {
        return pointer() == object;
    }
    bool operator==(std::nullptr_t) const { return pointer() == nullptr; }
    bool operator==(TGPointer const & other) const { return pointer() == other.pointer(); }
};
