// Interned names. Every name of the engine (of properties, methods, objects, events, states) is one
// word: equal names are equal words, and comparing names never touches text. The dictionary is one
// pool that only grows, so a name's word leads straight to its text and stays good until exit.
#pragma once

#include "foundation/GString.h"
#include "foundation/TGVector.h"
#include "platform/Export.h"

#include <compare>
#include <cstdint>

class GMetaClass;
class GStringCollection;
class ipstream;
class opstream;

namespace Tavlin {

class NameLinkID;
/// A byte for the form, then by the scope of the thread the text, the word, or the place in the
/// dictionary.
ONDREL_API opstream & operator<<(opstream & out, NameLinkID name);
/// Reads every form in every scope. Null, with the read bit set, for a form or a place that is
/// none.
ONDREL_API ipstream & operator>>(ipstream & in, NameLinkID & name);

/// An interned name, one word long.
class ONDREL_API NameLinkID {
  public:
    /// The null name.
    constexpr NameLinkID() = default;
    /// The name of that text, interned at need; `text` must not be null. An empty text is a name
    /// like any other.
    NameLinkID(char const * text);

    bool isValid() const { return text_ != nullptr; }
    GString getName() const { return GString(c_str(), length()); }
    /// The text, good until exit; empty for the null name.
    char const * c_str() const { return text_ ? text_ : ""; }
    /// Where the text stands in the pool: the order in which names were first met. 0 for the null
    /// name, which so is less than every other.
    std::int32_t offset() const;

    friend bool operator==(NameLinkID a, NameLinkID b) { return a.text_ == b.text_; }
    friend std::strong_ordering operator<=>(NameLinkID a, NameLinkID b) {
        // Names lie in one pool that grows upward, so their addresses are in order too.
        return reinterpret_cast<std::uintptr_t>(a.text_) <=>
               reinterpret_cast<std::uintptr_t>(b.text_);
    }

    /// While one of these lives, names are streamed by the thread as words that are good in this
    /// process only. Scopes of all three kinds nest; the outermost decides.
    class ONDREL_API SameMemorySerialize {
      public:
        SameMemorySerialize();
        ~SameMemorySerialize();
        SameMemorySerialize(SameMemorySerialize const &) = delete;
        SameMemorySerialize & operator=(SameMemorySerialize const &) = delete;
    };
    /// Writes the whole dictionary once, and from then on names as places in it.
    class ONDREL_API FastSceneWrite {
      public:
        explicit FastSceneWrite(opstream & out);
        ~FastSceneWrite();
        FastSceneWrite(FastSceneWrite const &) = delete;
        FastSceneWrite & operator=(FastSceneWrite const &) = delete;
    };
    /// Reads what FastSceneWrite wrote in front and holds it for the names that follow.
    class ONDREL_API FastSceneRead {
      public:
        explicit FastSceneRead(ipstream & in);
        ~FastSceneRead();
        FastSceneRead(FastSceneRead const &) = delete;
        FastSceneRead & operator=(FastSceneRead const &) = delete;
    };

  private:
    friend class NameLink;
    friend struct NameLinkPool;
    struct Text {
        char const * value;
    };
    explicit constexpr NameLinkID(Text text) : text_(text.value) {}
    unsigned int length() const;

    char const * text_ = nullptr;
};

/// The dictionary. It comes to life with the first name, so a static may resolve names whatever
/// the order of start-up. Not locked: names are interned on one thread, or during start-up.
class ONDREL_API NameLink {
  public:
    static NameLink * Get();

    /// The name of that text, interned at need; `text` must not be null. Throws std::bad_alloc when
    /// the pool, 8 MiB for all names, is full.
    NameLinkID resolve(char const * text);
    /// The text; empty for the null name.
    GString resolve(NameLinkID name) { return name.getName(); }
    /// Fills `names` with all texts, sorted; it borrows them.
    void getDictionary(GStringCollection & names);

    /// Whether [A-Za-z_]+[A-Za-z0-9_]* matches anywhere in the text. It is not anchored, so every
    /// text with a letter or an underscore will do; data relies on that.
    static bool IsValidIdentifier(char const * text);
    /// Splits the text at its dots, adds the parts to `out` and returns true; false at the first
    /// part that is no identifier, with the parts before it in `out`.
    static bool ParseDottedSequence(char const * text, TGVector<NameLinkID> & out);

  private:
    friend struct NameLinkPool;
    NameLink() = default;
    /// The name of that text if there is one already; otherwise null.
    NameLinkID find(char const * text) const;
};

/// A dotted path.
class ONDREL_API NameLinkIDs : public TGVector<NameLinkID> {
  public:
    NameLinkIDs() : TGVector<NameLinkID>(0, 4, false) {}
    explicit NameLinkIDs(NameLinkID name) : NameLinkIDs() { insert(name); }
    explicit NameLinkIDs(char const * path) : NameLinkIDs() { setName(path); }

    /// The parts with dots between them.
    GString getName() const;
    /// Replaces the path; false when a part is no identifier.
    bool setName(char const * path);
};

/// The count in 32 bits, then each name.
ONDREL_API opstream & operator<<(opstream & out, TGVector<NameLinkID> const & names);
ONDREL_API ipstream & operator>>(ipstream & in, TGVector<NameLinkID> & names);

/// A class that data can name by a short name. One static for each such class.
class ONDREL_API NamedTypeInfo {
  public:
    NamedTypeInfo(GMetaClass const * metaClass, char const * name);
    ~NamedTypeInfo();
    NamedTypeInfo(NamedTypeInfo const &) = delete;
    NamedTypeInfo & operator=(NamedTypeInfo const &) = delete;

    /// Null when no class has the name.
    static NamedTypeInfo * FindByName(NameLinkID name);

    NameLinkID name;
    GMetaClass const * metaClass;
    NamedTypeInfo * next;
    static NamedTypeInfo * g_allTypeInfos; ///< the newest first
};

/// The objects that a scene can name.
class ONDREL_API _nmlmnk_namespace_SceneNames {
  public:
    static NameLinkID const names[12];
    static bool has(NameLinkID name);
};

/// The events that the system itself sends.
class ONDREL_API _nmlmnk_namespace_SysEvents {
  public:
    static NameLinkID const names[4];
    static bool has(NameLinkID name);
};

} // namespace Tavlin
