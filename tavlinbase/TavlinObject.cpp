// Objects, the bag of interfaces that each of them is, and the registry in which they stand by
// class. One lock guards the registry and the end of every object.
#include "tavlinbase/TavlinObject.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"
#include "tavlinbase/TavlinThreads.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <functional>
#include <mutex>
#include <new>
#include <utility>

namespace Tavlin {

G_DEFINE_CLASS(Object, "Tavlin::Object", RefCounter)
G_DEFINE_CLASS(UniqueObject, "Tavlin::UniqueObject", Object)
G_DEFINE_CLASS(ObjectRegCallback, "Tavlin::ObjectRegCallback", NotifyCallback)
G_DEFINE_CLASS(ObjectUnRegCallback, "Tavlin::ObjectUnRegCallback", NotifyCallback)
G_DEFINE_CLASS(Modifier, "Tavlin::Modifier", GRTTIObject)

namespace {

constinit CriticalSection g_registryLock("QQQ");

struct Registry {
    ClassSet classes{0};
    ClassExemplarSet root{&Object::metaclass_, nullptr};
};

// Made at first use and never destroyed, since objects that statics hold leave it at any time; at
// exit it gives its memory back as soon as it is empty.
Registry & registry() {
    alignas(Registry) static std::byte place[sizeof(Registry)];
    static Registry & made = *new (place) Registry;
    return made;
}

constinit bool g_exiting = false;

struct AtExit {
    ~AtExit() {
        std::lock_guard const lock(g_registryLock);
        g_exiting = true;
        registry().classes.setLimit(0);
        registry().root.giveBack();
    }
} const g_atExit;

ClassExemplarSet * findSet(GMetaClass const * metaClass) {
    if (metaClass == &Object::metaclass_)
        return &registry().root;
    return registry().classes.find(metaClass);
}

// The first of `count` places for which `before` does not hold.
template <class Before>
long partitionPoint(long count, Before before) {
    long left = 0;
    while (left < count) {
        long const middle = left + (count - left) / 2;
        if (before(middle))
            left = middle + 1;
        else
            count = middle;
    }
    return left;
}

int compareAddresses(void const * a, void const * b) {
    return std::less<>()(a, b) ? -1 : std::less<>()(b, a) ? 1 : 0;
}

// Keeps a count for a scope and takes it back without ending the object, so that references which
// come and go meanwhile do not end one that nobody holds yet, such as one under construction.
class ObjectHold {
  public:
    explicit ObjectHold(long & count) : count_(count) { ++count_; }
    ~ObjectHold() { --count_; }
    ObjectHold(ObjectHold const &) = delete;
    ObjectHold & operator=(ObjectHold const &) = delete;

  private:
    long & count_;
};

} // namespace

// ---- Object: interfaces ----

Object::Object() = default;

Object::~Object() {
    ending_ = true;
    if (registeredClass_)
        unreg();
    while (long const count = interfaces_.getCount()) {
        AUnknown * const iface = interfaces_.at(count - 1);
        interfaces_.at_remove(count - 1);
        if (!iface || iface->ending_)
            continue;
        iface->listed_ = false;
        // Whoever still holds an interface keeps it, without the object; so does a stream that has
        // to answer for it.
        if (iface->getReferenceCount() > 0 || iface->creators_ > 0)
            iface->object_ = nullptr;
        else
            iface->RefCounter::onFinalRelease();
    }
}

bool Object::add(TRef<AUnknown> iface) {
    AUnknown * const added = iface;
    if (!added)
        return false;
    if (added->listed_ && added->object_ == this)
        return true;
    ObjectHold const hold(count_);
    if (added->listed_ && added->object_)
        added->object_->remove(iface);
    added->object_ = this;
    if (!added->attach()) {
        added->object_ = nullptr;
        return false;
    }
    if (isOwnPart(added))
        return true;
    interfaces_.insert(added);
    added->listed_ = true;
    iface.handOver();
    return true;
}

// The interface ends here when nobody else holds it.
void Object::detachAt(long index) {
    ObjectHold const hold(count_);
    TRef<AUnknown> const iface(interfaces_.at(index));
    iface->detach();
    if (!iface->listed_ || iface->object_ != this)
        return; // detach has moved it to another object
    iface->object_ = nullptr;
    iface->listed_ = false;
    interfaces_.remove(iface.pointer());
    ++interfacesThatLeft_;
}

void Object::remove(TRef<AUnknown> const & iface) {
    AUnknown const * const wanted = iface;
    for (long i = interfaces_.getCount() - 1; i >= 0; --i)
        if (wanted && i < interfaces_.getCount() && interfaces_.at(i) == wanted)
            detachAt(i);
}

bool Object::removeInterface(GMetaClass const * metaClass) {
    for (long i = interfaces_.getCount() - 1; i >= 0; --i) {
        AUnknown const * const iface = interfaces_.at(i);
        if (iface && GCastCache::Cast(iface, metaClass)) {
            detachAt(i);
            return true;
        }
    }
    return false;
}

int Object::removeAllInterfaces(GMetaClass const * metaClass) {
    int removed = 0;
    for (long i = interfaces_.getCount() - 1; i >= 0; --i) {
        if (i >= interfaces_.getCount())
            continue; // the end of one interface has taken others along
        AUnknown const * const iface = interfaces_.at(i);
        if (iface && GCastCache::Cast(iface, metaClass)) {
            detachAt(i);
            ++removed;
        }
    }
    return removed;
}

TRef<AUnknown> Object::queryInterface(GMetaClass const * metaClass) {
    for (long i = interfaces_.getCount() - 1; i >= 0; --i) {
        AUnknown * const iface = interfaces_.at(i);
        if (iface && GCastCache::Cast(iface, metaClass))
            return iface;
    }
    if (!GCastCache::Cast(this, metaClass))
        return nullptr;
    auto * const self = gcast_cached<AUnknown>(this);
    if (self && !self->object_) {
        ObjectHold const hold(count_);
        self->object_ = this;
        self->attach();
    }
    return self;
}

TRef<AUnknown> Object::querySafeInterface(GMetaClass const * metaClass) {
    if (TRef<AUnknown> found = queryInterface(metaClass))
        return found;
    GRTTIObject * const built = metaClass->buildObject();
    auto * const iface = gcast_cached<AUnknown>(built);
    if (!iface) {
        GRTTIObject::DestroyThis(built);
        return nullptr;
    }
    TRef<AUnknown> added(iface);
    return add(added) ? added : nullptr;
}

// ---- Object: end and streams ----

void Object::onFinalRelease() {
    std::lock_guard const lock(g_registryLock);
    if (ending_ || creators_ > 0)
        return;
    ending_ = true;
    bool agreed = true;
    for (long i = interfaces_.getCount() - 1; i >= 0; --i) {
        if (i >= interfaces_.getCount())
            continue; // the answer of one interface has taken others out
        AUnknown * const iface = interfaces_.at(i);
        if (iface && !iface->canDestroyObject())
            agreed = false;
    }
    ending_ = false;
    if (agreed)
        RefCounter::onFinalRelease();
}

void Object::read(ipstream & in) {
    in.readByte();
    ObjectHold const hold(count_);
    // A count beyond what the stream holds ends with the stream; only a small one sizes the array.
    unsigned long count = in.readDWord();
    interfaces_.setLimit(interfaces_.getCount() + long(std::min(count, 64ul)));
    for (; count > 0 && in.good(); --count) {
        auto * const iface = in.readPointer<AUnknown>();
        if (!iface)
            interfaces_.insert(nullptr);
        else
            takeLoaded(iface);
    }
}

// In a damaged stream an interface may be named by several objects, or by one several times; it is
// the first one's, once. One that is part of another object lives and ends with that.
void Object::takeLoaded(AUnknown * iface) {
    if (isOwnPart(iface)) {
        iface->object_ = this;
        return;
    }
    if (gcast_cached<Object>(iface))
        return;
    if (iface->listed_) {
        if (iface->object_ != this)
            return;
        // It has come through its own reference to this object: now it has its place.
        interfaces_.remove(iface);
    }
    iface->listed_ = true;
    iface->object_ = this;
    interfaces_.insert(iface);
}

void Object::write(opstream & out) {
    auto const isWritten = [](AUnknown const * iface) { return !iface || iface->shouldWrite(); };
    long const total = interfaces_.getCount();
    unsigned long written = 0;
    for (long i = 0; i < total; ++i)
        written += isWritten(interfaces_.at(i));
    out.writeByte(2);
    out.writeDWord(written);
    for (long i = 0; i < total; ++i)
        if (isWritten(interfaces_.at(i)))
            out.writePointer(interfaces_.at(i));
}

// ---- Object: registration ----

bool Object::needToCompare() const {
    return true;
}

Object * Object::reg() {
    std::lock_guard const lock(g_registryLock);
    GMetaClass const * const metaClass = &getMetaClass();
    bool const isNew = registeredClass_ == nullptr;
    if (!isNew && registeredClass_ != metaClass)
        unreg(); // a constructor of a base class has registered it as that class
    bool const compared = needToCompare();
    // What is registered stands in its set, so there is nothing to look for. Every reference to an
    // object that a stream gives comes this way.
    if (!compared && registeredClass_)
        return this;
    ClassExemplarSet & set = ClassExemplarSet::Get(metaClass);
    if (!compared && set.byAddress_) {
        registeredClass_ = metaClass;
        ObjectHold const hold(count_);
        set.enter(this);
        return this;
    }
    long index;
    bool const found = compared ? set.findEqual(*this, index) : set.findPlace(*this, index);
    if (found) {
        // One that lost has nothing to take out when it ends, perhaps long after the survivor.
        return set.at(index);
    }
    registeredClass_ = metaClass;
    ObjectHold const hold(count_);
    set.at_insert(index, this);
    return this;
}

void Object::unreg() {
    std::lock_guard const lock(g_registryLock);
    ClassExemplarSet * const set = findSet(registeredClass_);
    if (!set)
        throw Error("Not registered type found");
    long const index = set->placeOf(this);
    if (index >= 0) {
        ObjectHold const hold(count_);
        set->at_remove(index);
    }
    registeredClass_ = nullptr;
    ClassExemplarSet::Prune(set);
}

RefCounter * Object::registerCreated() {
    return reg();
}

int Object::Distance(void const * a, void const * b, std::size_t size) {
    auto const bytes = static_cast<char const *>(a) - static_cast<char const *>(b);
    if (bytes == 0)
        return 0;
    // Two objects are never nearer than their size; the sign is kept whatever the division gives.
    auto const things = bytes / std::ptrdiff_t(size);
    auto const cut = std::clamp<std::ptrdiff_t>(things, -0x7FFFFFFF, 0x7FFFFFFF);
    return cut != 0 ? int(cut) : bytes < 0 ? -1 : 1;
}

int UniqueObject::compare(Object const & other) const {
    return Distance(static_cast<Object const *>(this), &other, sizeof(UniqueObject));
}

bool UniqueObject::needToCompare() const {
    return false;
}

// ---- The registry ----

ClassSet::~ClassSet() {
    shut_down();
}

ClassExemplarSet * ClassSet::at(long index) const {
    return static_cast<ClassExemplarSet *>(GCollection::at(index));
}

ClassExemplarSet * ClassSet::find(GMetaClass const * metaClass) const {
    long const index = partitionPoint(
        getCount(), [&](long i) { return std::less<>()(at(i)->metaClass(), metaClass); });
    return index < getCount() && at(index)->metaClass() == metaClass ? at(index) : nullptr;
}

void const * ClassSet::keyOf(void const * item) const {
    return static_cast<ClassExemplarSet const *>(item)->metaClass();
}

int ClassSet::compare(void const * a, void const * b) const {
    return compareAddresses(a, b);
}

void ClassSet::freeItem(void * item) {
    delete static_cast<ClassExemplarSet *>(item);
}

ClassSet & ClassSet::Global() {
    return registry().classes;
}

ClassExemplarSet::ClassExemplarSet(GMetaClass const * metaClass, ClassExemplarSet * parent)
    : TGSortedCollection<Object>(32, 128, 0), metaClass_(metaClass), parent_(parent) {}

int ClassExemplarSet::compare(void const * a, void const * b) const {
    return compareAddresses(a, b);
}

ClassExemplarSet & ClassExemplarSet::Root() {
    return registry().root;
}

ClassExemplarSet & ClassExemplarSet::Get(GMetaClass const * metaClass) {
    std::lock_guard const lock(g_registryLock);
    metaClass = metaClass->getClassIdentifier();
    if (ClassExemplarSet * const present = findSet(metaClass))
        return *present;
    ClassExemplarSet * parent = &registry().root;
    for (long i = metaClass->getAncestorsCount() - 1; i >= 0; --i)
        if (metaClass->getAncestor(i)->isKindOf(Object::metaclass_)) {
            parent = &Get(metaClass->getAncestor(i));
            break;
        }
    auto * const made = new ClassExemplarSet(metaClass, parent);
    registry().classes.insert(made);
    parent->children_.insert(made);
    return *made;
}

// Called last on the set: it may be gone afterwards.
void ClassExemplarSet::Prune(ClassExemplarSet * set) {
    Registry & all = registry();
    while (set != &all.root && set->isIdle()) {
        ClassExemplarSet * const parent = set->parent_;
        all.classes.remove(set);
        parent->children_.remove(set);
        delete set;
        if (parent != &all.root && !all.classes.find(parent->metaClass_))
            throw Error("Not registred type found");
        set = parent;
    }
    if (g_exiting && all.classes.getCount() == 0) {
        all.classes.setLimit(0);
        all.root.giveBack();
    }
}

bool ClassExemplarSet::isIdle() {
    return getCount() == 0 && children_.getCount() == 0 && telling_ == 0 &&
           regNotifier_.getPriorCount() == 0 && regNotifier_.getPostCount() == 0 &&
           unregNotifier_.getPriorCount() == 0 && unregNotifier_.getPostCount() == 0;
}

void ClassExemplarSet::giveBack() {
    setLimit(0);
    children_.setLimit(0);
}

bool ClassExemplarSet::findEqual(Object const & object, long & index) const {
    for (index = 0; index < getCount(); ++index)
        if (at(index)->compare(object) == 0)
            return true;
    return false;
}

bool ClassExemplarSet::findPlace(Object const & object, long & index) const {
    index = partitionPoint(getCount(),
                           [&](long i) { return std::less<Object const *>()(at(i), &object); });
    return index < getCount() && at(index) == &object;
}

// By identity. An object stands at most once in a set, so where the order is known the search by
// address finds what a walk from the end would find.
long ClassExemplarSet::placeOf(Object const * object) const {
    long index;
    if (byAddress_)
        return findPlace(*object, index) ? index : -1;
    index = getCount() - 1;
    while (index >= 0 && at(index) != object)
        --index;
    return index;
}

/// Takes an object that is in no set. One whose address is the greatest is in its place at once.
void ClassExemplarSet::enter(Object * object) {
    long const count = TGSortedCollection::getCount();
    if (fresh_.empty() &&
        (count == 0 || std::less<Object const *>()(TGSortedCollection::at(count - 1), object))) {
        v_at_insert(count, object);
        return;
    }
    fresh_.push_back(object);
    unsettled_.store(true, std::memory_order_release);
    tell(&ClassExemplarSet::regNotifier_, object);
}

/// Grows faster than by the delta: a world registers some hundred thousand objects of one class.
void ClassExemplarSet::makeRoomFor(long count) {
    if (long const limit = getLimit(); count > limit)
        setLimit(std::max(count, limit + std::max(getDelta(), limit / 2)));
}

void ClassExemplarSet::settle() {
    std::lock_guard const lock(g_registryLock);
    if (fresh_.empty())
        return;
    auto const freshCount = static_cast<long>(fresh_.size());
    long old = TGSortedCollection::getCount();
    makeRoomFor(old + freshCount);
    std::sort(fresh_.begin(), fresh_.end(), std::less<>());
    long place = old + freshCount;
    for (long i = old; i < place; ++i)
        GCollection::v_at_insert(i, nullptr);
    // From the end, so that what stands in front of all fresh ones is not touched.
    for (long fresh = freshCount; fresh > 0;) {
        Object * const last = fresh_[static_cast<std::size_t>(fresh - 1)];
        bool const stays = old == 0 || std::less<>()(TGSortedCollection::at(old - 1), last);
        GCollection::v_at_put(--place, stays ? last : TGSortedCollection::at(old - 1));
        --(stays ? fresh : old);
    }
    fresh_ = {};
    unsettled_.store(false, std::memory_order_release);
}

long ClassExemplarSet::v_index_of(void const * item) const {
    return settled().TGSortedCollection::v_index_of(item);
}

void ClassExemplarSet::v_at_put(long index, void * item) {
    settled();
    TGSortedCollection::v_at_put(index, item);
}

long ClassExemplarSet::v_insert(void * item) {
    settled();
    return TGSortedCollection::v_insert(item);
}

void ClassExemplarSet::v_at_insert(long index, void * item) {
    makeRoomFor(getCount() + 1);
    GCollection::v_at_insert(index, item);
    auto * const object = static_cast<Object *>(item);
    std::less<Object const *> const before;
    byAddress_ = byAddress_ && (index == 0 || before(at(index - 1), object)) &&
                 (index == getCount() - 1 || before(object, at(index + 1)));
    tell(&ClassExemplarSet::regNotifier_, object);
}

void ClassExemplarSet::v_at_remove(long index) {
    Object * const object = at(index);
    GCollection::v_at_remove(index);
    if (getCount() == 0)
        byAddress_ = true;
    tell(&ClassExemplarSet::unregNotifier_, object);
    if (object)
        object->registeredClass_ = nullptr;
}

// Prior callbacks from the exact class upward, then post callbacks from the root downward.
void ClassExemplarSet::tell(ClassExemplarSetNof ClassExemplarSet::*notifier, Object * object) {
    ClassExemplarSetNof & subject = this->*notifier;
    ++telling_;
    Object * const before = std::exchange(subject.object_, object);
    subject.lockup();
    if (parent_)
        parent_->tell(notifier, object);
    subject.unlock();
    subject.object_ = before;
    --telling_;
}

// ---- ObjectCreator ----

ObjectCreator::ObjectCreator(GMetaClass const * metaClass) {
    GRTTIObject * const built = metaClass->buildObject();
    if (auto * const object = gcast_cached<Object>(built))
        own(object);
    else
        GRTTIObject::DestroyThis(built);
}

ObjectCreator::ObjectCreator(GStreamable * object) {
    own(gcast_cached<Object>(object));
}

ObjectCreator::ObjectCreator(ipstream & in) {
    auto * const streamed = in.readPointer<GStreamable>();
    if (!streamed)
        return;
    auto * const object = gcast_cached<Object>(streamed);
    if (!object) {
        RefCounter::EndUnwanted(in, streamed);
        throw Error("Invalid class type");
    }
    own(object);
    registered_ = object->reg();
    if (registered_ != object)
        in.replaceRegistredStreamable(object, registered_);
}

ObjectCreator::ObjectCreator(ObjectCreator & other) : registered_(other.registered_) {
    own(other.disown());
}

ObjectCreator & ObjectCreator::operator=(ObjectCreator & other) {
    if (this != &other) {
        drop();
        own(other.disown());
        registered_ = other.registered_;
    }
    return *this;
}

ObjectCreator::~ObjectCreator() {
    drop();
}

ObjectCreator::operator Object *() {
    if (!registered_) {
        if (!created_)
            return nullptr;
        registered_ = created_->reg();
    }
    if (created_ == registered_)
        disown();
    return registered_;
}

// While a creator answers for an object, references that come and go do not end it.
void ObjectCreator::own(Object * object) {
    created_ = object;
    if (object)
        ++object->creators_;
}

Object * ObjectCreator::disown() {
    if (created_)
        --created_->creators_;
    return std::exchange(created_, nullptr);
}

void ObjectCreator::drop() {
    Object * const object = disown();
    // A stream gives an object again that others hold already: those keep it.
    if (!object || object->creators_ > 0 || object->getReferenceCount() > 0)
        return;
    // Under a pause it waits with the others, since numbers in the stream may still lead to it.
    if (RefCounter::IsFinalReleasePaused())
        object->finalRelease();
    else
        object->RefCounter::onFinalRelease();
}

// ---- Callbacks ----

namespace {

void noteAttached(std::vector<GMetaClass const *> & attached, GMetaClass const * metaClass) {
    if (std::find(attached.begin(), attached.end(), metaClass) == attached.end())
        attached.push_back(metaClass);
}

} // namespace

ObjectRegCallback::ObjectRegCallback(GMetaClass const * metaClass, bool attachNow, bool active)
    : NotifyCallback(active) {
    if (attachNow)
        attach(metaClass);
}

ObjectRegCallback::~ObjectRegCallback() {
    while (!attached_.empty())
        detach(attached_.back());
}

void ObjectRegCallback::attach(GMetaClass const * metaClass) {
    std::lock_guard const lock(g_registryLock);
    ClassExemplarSet::Get(metaClass).regNotifier_.addPrior(this);
    noteAttached(attached_, metaClass);
}

void ObjectRegCallback::detach(GMetaClass const * metaClass) {
    std::lock_guard const lock(g_registryLock);
    std::erase(attached_, metaClass);
    if (ClassExemplarSet * const set = findSet(metaClass->getClassIdentifier())) {
        set->regNotifier_.removePrior(this);
        ClassExemplarSet::Prune(set);
    }
}

ObjectUnRegCallback::ObjectUnRegCallback(GMetaClass const * metaClass, bool attachNow, bool active)
    : NotifyCallback(active) {
    if (attachNow)
        attach(metaClass);
}

ObjectUnRegCallback::~ObjectUnRegCallback() {
    while (!attached_.empty())
        detach(attached_.back());
}

void ObjectUnRegCallback::attach(GMetaClass const * metaClass) {
    std::lock_guard const lock(g_registryLock);
    ClassExemplarSet::Get(metaClass).unregNotifier_.addPost(this);
    noteAttached(attached_, metaClass);
}

void ObjectUnRegCallback::detach(GMetaClass const * metaClass) {
    std::lock_guard const lock(g_registryLock);
    std::erase(attached_, metaClass);
    if (ClassExemplarSet * const set = findSet(metaClass->getClassIdentifier())) {
        set->unregNotifier_.removePost(this);
        ClassExemplarSet::Prune(set);
    }
}

} // namespace Tavlin
