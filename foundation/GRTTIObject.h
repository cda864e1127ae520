// The root of all reflective classes and the macros by which a class describes itself. Casting
// goes by the descriptions: each class knows its direct bases and asks them in turn, so no cast
// depends on the compiler's own tables.
#pragma once

#include "foundation/GMetaClass.h"
#include "platform/Export.h"

#include <type_traits>
#include <typeinfo>

/// The one value that selects the constructor which leaves everything to a following read.
enum class GStreamableInit { streamableInit };

/// The root of all reflective classes: an object that knows its class.
class ONDREL_API GRTTIObject {
  public:
    static GMetaClass const metaclass_;

    GRTTIObject() = default;
    GRTTIObject(GRTTIObject const &) = default;
    GRTTIObject & operator=(GRTTIObject const &) = default;
    virtual ~GRTTIObject() = default;
    virtual GMetaClass const & getMetaClass() const;
    /// This object as the class described by `type`, the first that is met walking the bases in
    /// the order of their declaration; null when it is none of that class.
    virtual void * cast_to_(std::type_info const & type) const;
    /// The same by the identity of the description; an alias description is never met.
    virtual void * fast_cast_to_(GMetaClass const * metaClass) const;

    char const * getClassName() const { return getMetaClass().getName(); }
    GMetaClass const * getClassIdentifier() const { return &getMetaClass(); }
    /// Identity rules: an alias gives false.
    bool isKindOf(GMetaClass const * metaClass) const {
        return fast_cast_to_(metaClass) != nullptr;
    }
    /// False for an unknown name and for that of an alias.
    bool isKindOf(char const * name) const { return isKindOf(GMetaClass::FindByName(name)); }
    /// Goes by the type, so an alias counts as its class; null gives false.
    bool isKindOfOld(GMetaClass const * metaClass) const {
        return metaClass && cast_to_(metaClass->getTypeInfo()) != nullptr;
    }
    bool hasTheSameClassAs(GMetaClass const * metaClass) const {
        return metaClass && getMetaClass() == *metaClass;
    }
    bool hasTheSameClassAs(GRTTIObject const * object) const {
        return object && getMetaClass() == object->getMetaClass();
    }
    bool hasTheSameClassAs(char const * name) const {
        return hasTheSameClassAs(GMetaClass::FindByName(name));
    }
    /// Destroys the object as its class says.
    void destroyThis() { getMetaClass().destroyObject(this); }
    /// The same for a pointer that may be null.
    static void DestroyThis(GRTTIObject * object) {
        if (object)
            object->destroyThis();
    }
};

/// `object` as a T, or null; `object` may be null.
template <class T, class Source>
T * gcast(Source * object) {
    return object ? static_cast<T *>(object->fast_cast_to_(&T::metaclass_)) : nullptr;
}

namespace ondrel_detail {

/// The walk over the direct bases of `Self`, and the list of their descriptions.
template <class Self, class... Bases>
struct ClassBases {
    static constexpr GMetaClass const * list[sizeof...(Bases)] = {&Bases::metaclass_...};

    static void * cast(Self const * self, std::type_info const & type) {
        if (typeid(Self) == type)
            return const_cast<Self *>(self);
        void * found = nullptr;
        static_cast<void>(
            ((found = static_cast<Bases const *>(self)->Bases::cast_to_(type)) || ...));
        return found;
    }
    static void * fastCast(Self const * self, GMetaClass const * metaClass) {
        if (&Self::metaclass_ == metaClass)
            return const_cast<Self *>(self);
        void * found = nullptr;
        static_cast<void>(
            ((found = static_cast<Bases const *>(self)->Bases::fast_cast_to_(metaClass)) || ...));
        return found;
    }
};

template <class T>
T * buildDefault() {
    if constexpr (std::is_constructible_v<T, GStreamableInit>)
        return new T(GStreamableInit::streamableInit);
    else
        return new T;
}

} // namespace ondrel_detail

/// In the body of a class without bases.
#define G_DECLARE_ROOT(Class)                                                                      \
  public:                                                                                          \
    static GMetaClass const metaclass_;                                                            \
    virtual GMetaClass const & getMetaClass() const;                                               \
    virtual void * cast_to_(std::type_info const & type) const;                                    \
    virtual void * fast_cast_to_(GMetaClass const * metaClass) const;                              \
                                                                                                   \
  private:

/// In the body of a class that is known by name but not built by it.
#define G_DECLARE_CLASS(Class)                                                                     \
  public:                                                                                          \
    static GMetaClass const metaclass_;                                                            \
    GMetaClass const & getMetaClass() const override;                                              \
    void * cast_to_(std::type_info const & type) const override;                                   \
    void * fast_cast_to_(GMetaClass const * metaClass) const override;                             \
                                                                                                   \
  private:

/// In the body of a class that streams and data can build by its name. The builder uses the
/// constructor from StreamableInit when there is a public one, else the default constructor.
#define G_DECLARE_CREATABLE(Class)                                                                 \
  public:                                                                                          \
    static GRTTIObject * ClassBuilder_();                                                          \
    static void ClassDestroyer_(GRTTIObject * object);                                             \
    G_DECLARE_CLASS(Class)

#define G_DEFINE_CASTS_(Class, ...)                                                                \
    GMetaClass const & Class::getMetaClass() const {                                               \
        return metaclass_;                                                                         \
    }                                                                                              \
    void * Class::cast_to_(std::type_info const & type) const {                                    \
        return ondrel_detail::ClassBases<Class, __VA_ARGS__>::cast(this, type);                    \
    }                                                                                              \
    void * Class::fast_cast_to_(GMetaClass const * metaClass) const {                              \
        return ondrel_detail::ClassBases<Class, __VA_ARGS__>::fastCast(this, metaClass);           \
    }

/// The source side of G_DECLARE_ROOT: the class and its name in files.
#define G_DEFINE_ROOT(Class, name)                                                                 \
    GMetaClass const Class::metaclass_(typeid(Class), name, nullptr, nullptr, nullptr);            \
    GMetaClass const & Class::getMetaClass() const {                                               \
        return metaclass_;                                                                         \
    }                                                                                              \
    void * Class::cast_to_(std::type_info const & type) const {                                    \
        return typeid(Class) == type ? const_cast<Class *>(this) : nullptr;                        \
    }                                                                                              \
    void * Class::fast_cast_to_(GMetaClass const * metaClass) const {                              \
        return &metaclass_ == metaClass ? const_cast<Class *>(this) : nullptr;                     \
    }

/// The source side of G_DECLARE_CLASS: the class, its name in files, its direct bases in order.
#define G_DEFINE_CLASS(Class, name, ...)                                                           \
    GMetaClass const Class::metaclass_(typeid(Class), name, nullptr, nullptr,                      \
                                       ondrel_detail::ClassBases<Class, __VA_ARGS__>::list);       \
    G_DEFINE_CASTS_(Class, __VA_ARGS__)

/// The source side of G_DECLARE_CREATABLE.
#define G_DEFINE_CREATABLE(Class, name, ...)                                                       \
    GMetaClass const Class::metaclass_(typeid(Class), name, &Class::ClassBuilder_,                 \
                                       &Class::ClassDestroyer_,                                    \
                                       ondrel_detail::ClassBases<Class, __VA_ARGS__>::list);       \
    GRTTIObject * Class::ClassBuilder_() {                                                         \
        return static_cast<GRTTIObject *>(                                                         \
            ondrel_detail::buildDefault<Class>()->Class::cast_to_(typeid(GRTTIObject)));           \
    }                                                                                              \
    void Class::ClassDestroyer_(GRTTIObject * object) {                                            \
        if (object)                                                                                \
            delete static_cast<Class *>(object->cast_to_(typeid(Class)));                          \
    }                                                                                              \
    G_DEFINE_CASTS_(Class, __VA_ARGS__)
