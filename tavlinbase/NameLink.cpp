// The dictionary: a cheap hash over a table of chains that run through the pool.
#include "tavlinbase/NameLink.h"

#include "foundation/GStringCollection.h"
#include "foundation/RegularExpression.h"
#include "platform/DebugOutput.h"
#include "tavlinbase/NameLinkPool.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <string>

namespace Tavlin {

namespace {

std::uint32_t linkOf(char const * text) {
    std::uint32_t link;
    std::memcpy(&link, text - NameLinkPool::linkSize, sizeof link);
    return link;
}

unsigned int hashOf(char const * text) {
    unsigned int sum = 0;
    for (; *text; ++text)
        sum += static_cast<unsigned int>(static_cast<signed char>(*text));
    return sum & (NameLinkPool::chains - 1);
}

/// Silent in the release form of the library.
void traceInvalid([[maybe_unused]] char const * part) {
#ifndef NDEBUG
    platform::debugOutput(GString::Format("error: invalid identifier %s", part).c_str());
#endif
}

} // namespace

// The pool outlives every static that holds a name, since it is never destroyed; it is memory
// mapped from the system, which takes it back at exit.
NameLinkPool & NameLinkPool::Get() {
    alignas(NameLinkPool) static unsigned char place[sizeof(NameLinkPool)];
    static NameLinkPool * const pool = new (place) NameLinkPool;
    return *pool;
}

NameLink * NameLink::Get() {
    static constinit NameLink instance;
    return &instance;
}

NameLinkID::NameLinkID(char const * text) : NameLinkID(NameLink::Get()->resolve(text)) {}

unsigned int NameLinkID::length() const {
    return static_cast<unsigned int>(std::strlen(c_str()));
}

std::int32_t NameLinkID::offset() const {
    return text_ ? static_cast<std::int32_t>(text_ - NameLinkPool::Get().base()) : 0;
}

NameLinkID NameLink::find(char const * text) const {
    NameLinkPool const & names = NameLinkPool::Get();
    for (std::uint32_t at = names.heads[hashOf(text)]; at != 0; at = linkOf(names.base() + at))
        if (std::strcmp(names.base() + at, text) == 0)
            return NameLinkID(NameLinkID::Text{names.base() + at});
    return NameLinkID();
}

NameLinkID NameLink::resolve(char const * text) {
    assert(text);
    if (NameLinkID const known = find(text); known.isValid())
        return known;
    NameLinkPool & names = NameLinkPool::Get();
    std::uint32_t & head = names.heads[hashOf(text)];
    std::size_t const size = std::strlen(text) + 1;
    if (size > NameLinkPool::reservation)
        throw std::bad_alloc();
    char * const entry = static_cast<char *>(
        names.pool.alloc(static_cast<unsigned long>(NameLinkPool::linkSize + size)));
    std::memcpy(entry, &head, sizeof head);
    char * const copy = entry + NameLinkPool::linkSize;
    std::memcpy(copy, text, size);
    head = static_cast<std::uint32_t>(copy - names.base());
    return NameLinkID(NameLinkID::Text{copy});
}

void NameLink::getDictionary(GStringCollection & names) {
    names.empty();
    names.shouldDelete(0);
    NameLinkPool const & pool = NameLinkPool::Get();
    for (std::uint32_t const head : pool.heads)
        for (std::uint32_t at = head; at != 0; at = linkOf(pool.base() + at))
            names.insert(const_cast<char *>(pool.base() + at));
}

bool NameLink::IsValidIdentifier(char const * text) {
    static RegularExpression const identifier("[A-Za-z_]+[A-Za-z0-9_]*");
    return identifier == text;
}

bool NameLink::ParseDottedSequence(char const * text, TGVector<NameLinkID> & out) {
    std::string part;
    for (;; ++text) {
        if (*text && *text != '.') {
            part += *text;
            continue;
        }
        if (!part.empty()) {
            if (!IsValidIdentifier(part.c_str())) {
                traceInvalid(part.c_str());
                return false;
            }
            out.insert(Get()->resolve(part.c_str()));
            part.clear();
        }
        if (!*text)
            return true;
    }
}

GString NameLinkIDs::getName() const {
    GString path;
    for (long i = 0; i < getCount(); ++i) {
        if (i > 0)
            path += '.';
        path += at(i).c_str();
    }
    return path;
}

bool NameLinkIDs::setName(char const * path) {
    empty();
    return NameLink::ParseDottedSequence(path, *this);
}

constinit NamedTypeInfo * NamedTypeInfo::g_allTypeInfos = nullptr;

NamedTypeInfo::NamedTypeInfo(GMetaClass const * typeClass, char const * typeName)
    : name(typeName), metaClass(typeClass), next(g_allTypeInfos) {
    g_allTypeInfos = this;
}

NamedTypeInfo::~NamedTypeInfo() {
    NamedTypeInfo ** link = &g_allTypeInfos;
    while (*link && *link != this)
        link = &(*link)->next;
    if (*link)
        *link = next;
}

NamedTypeInfo * NamedTypeInfo::FindByName(NameLinkID wanted) {
    NamedTypeInfo * info = g_allTypeInfos;
    while (info && info->name != wanted)
        info = info->next;
    return info;
}

NameLinkID const _nmlmnk_namespace_SceneNames::names[12] = {"Environment",
                                                            "Env",
                                                            "ScenarioController",
                                                            "Camera",
                                                            "BackGround",
                                                            "Agent007",
                                                            "Options",
                                                            "TutorialManager",
                                                            "TextManager",
                                                            "ActiveChar",
                                                            "CurrentMetabolicSystem",
                                                            "TeleportedObjects"};

bool _nmlmnk_namespace_SceneNames::has(NameLinkID name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

NameLinkID const _nmlmnk_namespace_SysEvents::names[4] = {"sysReadyToPlay", "sysUnloadStatic",
                                                          "sysResetGame", "_terminate"};

bool _nmlmnk_namespace_SysEvents::has(NameLinkID name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

} // namespace Tavlin
