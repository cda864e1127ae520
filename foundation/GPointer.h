// Weak pointers: they own nothing and go null when the object dies. All pointers of the process
// stand in one list, which the end of each GObject walks; so they are for the few places that must
// notice a death, not for every reference.
#pragma once

#include "foundation/GObject.h"

#include <cstddef>

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

/// A GPointer to a class that descends from GObject.
template <class T>
class TGPointer : public GPointer {
  public:
    TGPointer() = default;
    TGPointer(T * object) : GPointer(object), typed_(object) {}
    TGPointer(TGPointer const & other) : GPointer(other), typed_(other.typed_) {}
    TGPointer & operator=(TGPointer const & other) { return *this = other.typed_; }
    TGPointer & operator=(T * object) {
        GPointer::operator=(object);
        typed_ = object;
        return *this;
    }

    T * pointer() const { return typed_; }
    operator T *() const { return typed_; }
    T * operator->() const { return typed_; }
    T & operator*() const { return *typed_; }
    template <class U>
    bool operator==(U * object) const {
        return typed_ == object;
    }
    bool operator==(std::nullptr_t) const { return typed_ == nullptr; }
    bool operator==(TGPointer const & other) const { return typed_ == other.typed_; }

    void object_destroyed() override {
        GPointer::object_destroyed();
        typed_ = nullptr;
    }

  private:
    T * typed_ = nullptr;
};
