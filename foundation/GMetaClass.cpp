// Class descriptions and their registry. The registry comes to life with the first class and goes
// with the last, so that neither needs to know in which order the parts of a program start.
#include "foundation/GMetaClass.h"

#include "foundation/GCastCache.h"
#include "foundation/GException.h"
#include "foundation/GRTTIObject.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <vector>

namespace {

constinit GClassDictionary * g_dictionary = nullptr;
constinit unsigned long g_registryVersion = 1;

constexpr long dictionaryStep = 16;

} // namespace

GMetaClass::GMetaClass(std::type_info const & type, char const * name, Builder builder,
                       Destroyer destroyer, GMetaClass const * base)
    : type_(&type), name_(name), builder_(builder), destroyer_(destroyer) {
    ancestors_.single = base;
    ancestorsCount_ = base ? 1 : 0;
    init();
}

GMetaClass::GMetaClass(std::type_info const & type, char const * name, Builder builder,
                       Destroyer destroyer, int count, GMetaClass const * first, ...)
    : type_(&type), name_(name), builder_(builder), destroyer_(destroyer) {
    std::vector<GMetaClass const *> bases{first};
    va_list more;
    va_start(more, first);
    for (int i = 1; i < count; ++i)
        bases.push_back(va_arg(more, GMetaClass const *));
    va_end(more);
    setAncestors(bases);
    init();
}

GMetaClass::GMetaClass(std::type_info const & type, char const * name, Builder builder,
                       Destroyer destroyer, std::span<GMetaClass const * const> bases)
    : type_(&type), name_(name), builder_(builder), destroyer_(destroyer) {
    setAncestors(bases);
    init();
}

GMetaClass::GMetaClass(GMetaClass const & real, char const * name)
    : GMetaClass(real, name, nullptr, nullptr) {}

GMetaClass::GMetaClass(GMetaClass const & real, char const * name, Builder builder,
                       Destroyer destroyer)
    : name_(name), builder_(builder), destroyer_(destroyer) {
    ancestors_.single = &real;
    ancestorsCount_ = -1;
    init();
}

GMetaClass::~GMetaClass() {
    GCastCache::Forget(); // the class may go with its module, and another may take its place
    if (ancestorsCount_ > 1)
        delete[] ancestors_.several;
    if (!g_dictionary)
        return;
    ++g_registryVersion;
    g_dictionary->remove(name_);
    if (g_dictionary->getCount() == 0) {
        delete g_dictionary;
        g_dictionary = nullptr;
    }
}

void GMetaClass::setAncestors(std::span<GMetaClass const * const> bases) {
    if (bases.size() > 1) {
        ancestors_.several = new GMetaClass const *[bases.size()];
        std::copy(bases.begin(), bases.end(), ancestors_.several);
        ancestorsCount_ = static_cast<long>(bases.size());
        return;
    }
    ancestors_.single = bases.empty() ? nullptr : bases[0];
    ancestorsCount_ = ancestors_.single ? 1 : 0;
}

void GMetaClass::init() {
    if (!g_dictionary)
        g_dictionary = new GClassDictionary;
    long index = 0;
    if (!g_dictionary->search(name_, index)) {
        ++g_registryVersion;
        g_dictionary->insertAt(index, *this);
        return;
    }
    // The same class seen through two modules is welcome; two classes of one name are not.
    if (g_dictionary->at(index)->builder_ == builder_)
        return;
    if (ancestorsCount_ > 1)
        delete[] ancestors_.several;
    throw DuplicatedTypes_Exception(name_);
}

GMetaClass const * GMetaClass::getClassIdentifier() const {
    GMetaClass const * metaClass = this;
    while (metaClass->ancestorsCount_ < 0)
        metaClass = metaClass->ancestors_.single;
    return metaClass;
}

GMetaClass const * GMetaClass::getAncestor(long index) const {
    GMetaClass const * self = getClassIdentifier();
    if (index < 0 || index >= self->ancestorsCount_)
        return nullptr;
    return self->ancestorsCount_ == 1 ? self->ancestors_.single : self->ancestors_.several[index];
}

bool GMetaClass::operator==(GMetaClass const & other) const {
    return getClassIdentifier() == other.getClassIdentifier();
}

GMetaClass const * GMetaClass::isKindOf(GMetaClass const & other) const {
    GMetaClass const * self = getClassIdentifier();
    GMetaClass const * wanted = other.getClassIdentifier();
    if (self == wanted)
        return wanted;
    for (long i = self->ancestorsCount_ - 1; i >= 0; --i)
        if (GMetaClass const * found = self->getAncestor(i)->isKindOf(*wanted))
            return found;
    return nullptr;
}

GMetaClass const * GMetaClass::isKindOf(GMetaClass const * other) const {
    return other ? isKindOf(*other) : nullptr;
}

GMetaClass const * GMetaClass::getBaseDerivedFrom(GMetaClass const & base) const {
    GMetaClass const * wanted = base.getClassIdentifier();
    for (long i = getAncestorsCount() - 1; i >= 0; --i)
        if (getAncestor(i)->getClassIdentifier() == wanted)
            return wanted;
    return nullptr;
}

void GMetaClass::getBaseClasses(GClassDictionary & out, bool recursive) const {
    out.empty();
    for (long i = getAncestorsCount() - 1; i >= 0; --i) {
        GMetaClass const * ancestor = getAncestor(i);
        out.insert(*ancestor);
        if (recursive)
            ancestor->getBaseClasses(out, true);
    }
}

void GMetaClass::getDerivedClasses(GClassDictionary & out, bool recursive) const {
    GetApplicationClasses(out);
    for (long i = out.getCount() - 1; i >= 0; --i) {
        GMetaClass const & candidate = *out.at(i);
        bool const wanted = recursive ? candidate != *this && candidate.isKindOf(*this) != nullptr
                                      : candidate.getBaseDerivedFrom(*this) != nullptr;
        if (candidate.isOldClass() || !wanted)
            out.at_remove(i);
    }
}

GRTTIObject * GMetaClass::buildObject() const {
    Builder const builder = getBuilder();
    return builder ? builder() : nullptr;
}

void GMetaClass::destroyObject(GRTTIObject * object) const {
    if (!object)
        return;
    if (Destroyer const destroyer = getDestroyer())
        destroyer(object);
    else
        delete object;
}

long GMetaClass::GetCount() {
    return g_dictionary->getCount();
}

unsigned long GMetaClass::RegistryVersion() {
    return g_registryVersion;
}

GMetaClass const * GMetaClass::At(long index) {
    return g_dictionary->at(index);
}

GMetaClass const * GMetaClass::FindByName(char const * name) {
    if (!name || !g_dictionary)
        return nullptr;
    long const index = g_dictionary->index_of(name);
    return index < 0 ? nullptr : g_dictionary->at(index);
}

GMetaClass const * GMetaClass::FindByTypeInfo(std::type_info const & type) {
    if (!g_dictionary)
        return nullptr;
    for (long i = g_dictionary->getCount() - 1; i >= 0; --i)
        if (g_dictionary->at(i)->getTypeInfo() == type)
            return g_dictionary->at(i);
    return nullptr;
}

GRTTIObject * GMetaClass::BuildByName(char const * name) {
    GMetaClass const * metaClass = FindByName(name);
    return metaClass ? metaClass->buildObject() : nullptr;
}

void GMetaClass::GetApplicationClasses(GClassDictionary & out) {
    if (g_dictionary)
        out = *g_dictionary;
    else
        out.empty();
}

GClassDictionary::GClassDictionary(GClassDictionary const & other) {
    *this = other;
}

GClassDictionary & GClassDictionary::operator=(GClassDictionary const & other) {
    if (this == &other)
        return *this;
    auto const items =
        other.limit_ ? new GMetaClass const *[static_cast<std::size_t>(other.limit_)] : nullptr;
    delete[] items_;
    items_ = items;
    count_ = other.count_;
    limit_ = other.limit_;
    std::copy_n(other.items_, count_, items_);
    return *this;
}

GClassDictionary::~GClassDictionary() {
    delete[] items_;
}

long GClassDictionary::insert(GMetaClass const & metaClass) {
    long index = 0;
    if (!search(metaClass.getName(), index))
        insertAt(index, metaClass);
    return index;
}

long GClassDictionary::remove(char const * name) {
    long const index = index_of(name);
    if (index >= 0)
        at_remove(index);
    return index;
}

void GClassDictionary::at_remove(long index) {
    std::copy(items_ + index + 1, items_ + count_, items_ + index);
    --count_;
}

long GClassDictionary::index_of(char const * name) const {
    long index = 0;
    return search(name, index) ? index : -1;
}

// The bounds must cross before the search stops. A name stands at most once, so the place that is
// left is that of the equal name, or where it belongs.
bool GClassDictionary::search(char const * name, long & index) const {
    long left = 0, right = count_ - 1;
    bool found = false;
    while (left <= right) {
        long const middle = (left + right) >> 1;
        int const order = std::strcmp(items_[middle]->name_, name);
        if (order > 0) {
            left = middle + 1;
        } else {
            right = middle - 1;
            found = found || order == 0;
        }
    }
    index = left;
    return found;
}

void GClassDictionary::insertAt(long index, GMetaClass const & metaClass) {
    if (count_ == limit_) {
        auto const grown =
            new GMetaClass const *[static_cast<std::size_t>(limit_ + dictionaryStep)];
        std::copy_n(items_, count_, grown);
        delete[] items_;
        items_ = grown;
        limit_ += dictionaryStep;
    }
    std::copy_backward(items_ + index, items_ + count_, items_ + count_ + 1);
    items_[index] = &metaClass;
    ++count_;
}
