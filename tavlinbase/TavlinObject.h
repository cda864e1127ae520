// Object, the root of everything that lives in the game world. It is a bag of interfaces, so that
// behaviour is put together per instance; and once registered it stands in the set of its exact
// class, so that all objects of a class can be walked and observed, and equal ones be merged.
#pragma once

#include "foundation/GCastCache.h"
#include "foundation/GSortedCollection.h"
#include "tavlinbase/AUnknown.h"
#include "tavlinbase/Notifyer.h"

#include <atomic>
#include <cstddef>
#include <vector>

namespace Tavlin {

class ObjectCreator;

/// The root of the objects of the game: a bag of interfaces that can be registered by its class.
class ONDREL_API Object : public virtual RefCounter {
    G_DECLARE_CLASS(Object)
  public:
    /// Takes the object out of the registry and deletes its interfaces; one that others still hold
    /// stays with them, detached.
    ~Object() override;

    /// Attaches an interface; one of another object moves here. False when it refuses.
    bool addInterface(TRef<AUnknown> iface) { return add(std::move(iface)); }
    /// Detaches that interface, which ends when nobody else holds it.
    void removeInterface(TRef<AUnknown> const & iface) { remove(iface); }
    /// Detaches the last attached interface of that class or a derived one; false if none.
    bool removeInterface(GMetaClass const * metaClass);
    /// Detaches all of them and returns how many they were.
    int removeAllInterfaces(GMetaClass const * metaClass);
    /// The last attached interface of that class or a derived one, or else the object itself when
    /// its own class is one, which then is attached at the first query; null if none.
    TRef<AUnknown> queryInterface(GMetaClass const * metaClass);
    /// The same with the type; null if none.
    template <class T>
    TRef<T> queryInterface() {
        return TRef<T>(gcast_cached<T>(queryInterface(&T::metaclass_).pointer()));
    }
    /// queryInterface; when there is none it is built and attached. Null when that fails.
    TRef<AUnknown> querySafeInterface(GMetaClass const * metaClass);

    /// Grows with each interface that leaves. As long as it stays, whoever has found something in
    /// an interface of this object can rely on it.
    unsigned interfacesThatLeft() const { return interfacesThatLeft_; }

    /// 0 when the two are equal, so that one of them will do.
    virtual int compare(Object const & other) const = 0;
    int compare(Object * other) const { return compare(*other); }
    /// Whether registration looks for an equal object. That costs a comparison with each object of
    /// the class; a class without it is searched by address.
    virtual bool needToCompare() const;

    /// Deletes the object if all its interfaces agree, which are all asked.
    void onFinalRelease() override;
    /// Version 2, the number of interfaces, and those, apart from the ones that are not streamed.
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    Object();
    Object(Object const &) = delete;
    Object & operator=(Object const &) = delete;

    bool add(TRef<AUnknown> iface);
    void remove(TRef<AUnknown> const & iface);
    /// Enters the object in the set of its class and returns it, or the equal object that stands
    /// there already; the caller then drops this one.
    Object * reg();
    /// Takes the object out; raises Error when its class has no set.
    void unreg();
    bool isRegistered() const { return registeredClass_ != nullptr; }
    RefCounter * registerCreated() override;
    /// How far `a` stands behind `b`, in things of `size` bytes; 0 only for the same address. The
    /// comparison of objects that are equal to no other.
    static int Distance(void const * a, void const * b, std::size_t size);

  private:
    friend class AUnknown;
    friend class ClassExemplarSet;
    friend class InterfaceIterator;
    friend class ObjectCreator;

    void detachAt(long index);
    void takeLoaded(AUnknown * iface);
    bool isOwnPart(AUnknown const * iface) const {
        return static_cast<RefCounter const *>(iface) == static_cast<RefCounter const *>(this);
    }

    GMetaClass const * registeredClass_ = nullptr; // under which it was registered
    TGCollection<AUnknown> interfaces_{0, 4, 0};   // in order of attachment; may have nulls
    unsigned interfacesThatLeft_ = 0;
};

/// An object that is equal to no other.
class ONDREL_API UniqueObject : public Object {
    G_DECLARE_CLASS(UniqueObject)
  public:
    using Object::compare;
    /// The distance of the two, in objects.
    int compare(Object const & other) const override;
    bool needToCompare() const override;

  protected:
    UniqueObject() = default;
};

class ClassExemplarSet;

/// Sets of classes, sorted by the address of the class.
class ONDREL_API ClassSet : public GSortedCollection {
  public:
    explicit ClassSet(unsigned char shouldDelete) : GSortedCollection(0, 4, shouldDelete) {}
    ~ClassSet() override;

    ClassExemplarSet * at(long index) const;
    /// Null when the class has no set.
    ClassExemplarSet * find(GMetaClass const * metaClass) const;
    void const * keyOf(void const * item) const override;
    int compare(void const * a, void const * b) const override;

    /// All sets there are, apart from the root. Only under the lock, or while no other thread
    /// registers anything.
    static ClassSet & Global();

  protected:
    void freeItem(void * item) override;
};

/// Tells callbacks about one object of a class.
class ONDREL_API ClassExemplarSetNof : public Notifyer {
  public:
    /// The object that is being registered or unregistered, while callbacks are told.
    Object * object() const { return object_; }
    /// The same for a callback, which is given the subject as a Notifyer.
    static Object * Of(Notifyer const & subject) {
        return static_cast<ClassExemplarSetNof const &>(subject).object();
    }

  private:
    friend class ClassExemplarSet;
    Object * object_ = nullptr;
};

/// The registered objects of one exact class, by address; those that were compared follow in the
/// order of registration. Lives as long as there are objects, sets of derived classes or callbacks.
///
/// A load registers its objects in any order of addresses, so they are put in order only when
/// somebody looks: every access through this class does so first. Access through a base class is
/// for code that registers nothing meanwhile.
class ONDREL_API ClassExemplarSet : public TGSortedCollection<Object> {
  public:
    ClassExemplarSet(GMetaClass const * metaClass, ClassExemplarSet * parent);

    GMetaClass const * metaClass() const { return metaClass_; }
    /// The set of the nearest base that is an Object; null for the root.
    ClassExemplarSet * parent() const { return parent_; }
    ClassSet const & children() const { return children_; }
    ClassExemplarSetNof & regNotifier() { return regNotifier_; }
    ClassExemplarSetNof & unregNotifier() { return unregNotifier_; }

    long getCount() const { return settled().TGSortedCollection::getCount(); }
    Object * at(long index) const { return settled().TGSortedCollection::at(index); }
    Object * operator[](long index) const { return at(index); }
    bool search(void const * key, long & index) const {
        return settled().TGSortedCollection::search(key, index);
    }

    int compare(void const * a, void const * b) const override;
    /// Frees arrays that are not in use; for the end of the program.
    void giveBack();

    /// The set of Object itself, which always exists.
    static ClassExemplarSet & Root();
    /// The set of a class, made when there is none yet.
    static ClassExemplarSet & Get(GMetaClass const * metaClass);

  protected:
    long v_index_of(void const * item) const override;
    void v_at_insert(long index, void * item) override;
    void v_at_put(long index, void * item) override;
    long v_insert(void * item) override;
    void v_at_remove(long index) override;

  private:
    friend class Object;
    friend class ObjectRegCallback;
    friend class ObjectUnRegCallback;

    ClassExemplarSet const & settled() const {
        if (unsettled_.load(std::memory_order_acquire))
            const_cast<ClassExemplarSet *>(this)->settle();
        return *this;
    }
    void settle();
    void makeRoomFor(long count);
    void enter(Object * object);
    bool findEqual(Object const & object, long & index) const;
    bool findPlace(Object const & object, long & index) const;
    long placeOf(Object const * object) const;
    bool isIdle();
    static void Prune(ClassExemplarSet * set);
    void tell(ClassExemplarSetNof ClassExemplarSet::*notifier, Object * object);

    GMetaClass const * metaClass_;
    ClassExemplarSet * parent_;
    ClassSet children_{1};
    ClassExemplarSetNof regNotifier_;
    ClassExemplarSetNof unregNotifier_;
    int telling_ = 0;                    // callbacks are being told, so the set must stay
    bool byAddress_ = true;              // the exemplars stand in the order of their addresses
    std::vector<Object *> fresh_;        // exemplars that are still to be put in their places
    std::atomic<bool> unsettled_{false}; // there are such; changed under the lock of the registry
};

/// Hands a new or loaded object over: owns it until registration has told which object survives.
class ONDREL_API ObjectCreator {
  public:
    /// Builds an object; empty when the class is abstract or no Object. `metaClass` must not be
    /// null: who has a name asks GMetaClass::FindByName for it first.
    explicit ObjectCreator(GMetaClass const * metaClass);
    /// Takes the object; empty when it is no Object, which then stays the caller's.
    explicit ObjectCreator(GStreamable * object);
    /// Reads a reference and registers the object at once; if it is merged, later references to it
    /// in the stream are to the survivor. Raises Error when it is no Object.
    explicit ObjectCreator(ipstream & in);
    /// Takes over what the other one owns.
    ObjectCreator(ObjectCreator & other);
    ObjectCreator(ObjectCreator && other) : ObjectCreator(other) {}
    ObjectCreator & operator=(ObjectCreator & other);
    ObjectCreator & operator=(ObjectCreator && other) { return *this = other; }
    /// Deletes what is still owned: an object that lost, or was never asked for.
    virtual ~ObjectCreator();

    /// The registered object, or the new one as long as it is not registered.
    Object * operator->() const { return registered_ ? registered_ : created_; }
    /// Registers the object if need be and gives the one to use, which is the caller's now; null
    /// when empty.
    operator Object *();

  private:
    friend class Modifier;

    void own(Object * object);
    Object * disown();
    void drop();

    Object * created_ = nullptr;    // owned
    Object * registered_ = nullptr; // not owned
};

/// An ObjectCreator for objects of class T.
template <class T>
class TObjectCreator : public ObjectCreator {
  public:
    TObjectCreator() : ObjectCreator(&T::metaclass_) {}
    explicit TObjectCreator(GMetaClass const * metaClass) : ObjectCreator(metaClass) {}
    explicit TObjectCreator(T * object) : ObjectCreator(object) {}
    explicit TObjectCreator(ipstream & in) : ObjectCreator(in) {}

    T * operator->() const { return gcast_cached<T>(ObjectCreator::operator->()); }
    /// Null also when the object is no T; it is not handed over then.
    operator T *() {
        T * const object = operator->();
        return object ? gcast_cached<T>(ObjectCreator::operator Object *()) : nullptr;
    }
};

/// Is told of each object of a class or of the classes derived from it that is registered, from the
/// exact class upward; ClassExemplarSetNof::Of gives the object. It runs under the lock of the
/// registry and must neither throw nor wait for another lock.
class ONDREL_API ObjectRegCallback : public NotifyCallback {
    G_DECLARE_CLASS(ObjectRegCallback)
  protected:
    /// `active` goes to NotifyCallback.
    ObjectRegCallback(GMetaClass const * metaClass, bool attachNow, bool active);
    ~ObjectRegCallback() override;
    void attach(GMetaClass const * metaClass);
    void detach(GMetaClass const * metaClass);

  private:
    std::vector<GMetaClass const *> attached_;
};

/// Is told likewise of each object that is unregistered, from Object downward. Of the object only
/// the part Object still stands.
class ONDREL_API ObjectUnRegCallback : public NotifyCallback {
    G_DECLARE_CLASS(ObjectUnRegCallback)
  protected:
    ObjectUnRegCallback(GMetaClass const * metaClass, bool attachNow, bool active);
    ~ObjectUnRegCallback() override;
    void attach(GMetaClass const * metaClass);
    void detach(GMetaClass const * metaClass);

  private:
    std::vector<GMetaClass const *> attached_;
};

/// A change that can be made to objects, also before they are registered.
class ONDREL_API Modifier : public GRTTIObject {
    G_DECLARE_CLASS(Modifier)
  public:
    bool applyTo(Object & object) { return v_applyTo(object); }
    /// False for null, also in the other forms.
    bool applyTo(TRef<Object> const & object) { return object && v_applyTo(*object); }
    bool applyTo(ObjectCreator & creator) {
        return creator.created_ && v_applyTo(*creator.created_);
    }
    bool isCompatible(Object & object) { return v_isCompatible(object); }
    bool isCompatible(TRef<Object> const & object) { return object && v_isCompatible(*object); }

  protected:
    virtual bool v_applyTo(Object & object) = 0;
    virtual bool v_isCompatible(Object & object) = 0;
};

} // namespace Tavlin
