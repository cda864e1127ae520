// The texts that a player sees, in one dictionary for the whole process: they are reached by name,
// and a change of language replaces one table. A name without a text is shown as `<name>`, so that
// what was forgotten catches the eye.
#pragma once

#include "foundation/BitSet.h"
#include "foundation/GString.h"
#include "foundation/TSCDictionary.h"
#include "platform/Export.h"
#include "tavlinbase/NameLink.h"
#include "tavlinbase/TRef.h"
#include "tavlinbase/TavlinObject.h"

#include <cstdint>
#include <memory>

namespace Tavlin {

/// A text of 16-bit units. Copies share the units, which are replaced and never changed.
class ONDREL_API UString : public RefCounter {
    G_DECLARE_CREATABLE(UString)
  public:
    UString() = default;
    explicit UString(StreamableInit init) : RefCounter(init) {}

    /// Ends in a zero unit; null as long as there was no text. Valid until the text is replaced.
    unsigned short const * getPointer() const { return text_.get(); }
    /// Each byte becomes a unit by its value as a signed character: 0xE9 becomes 0xFFE9. For texts
    /// beyond ASCII use the other form.
    void init(GString const & text);
    /// `text` ends at its first zero unit; null takes the text away.
    void init(unsigned short const * text);

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    long length() const;

    std::shared_ptr<unsigned short[]> text_;
};

/// A handle on the one dictionary; all of them show the same texts.
class ONDREL_API TextDictionary : public UniqueObject {
    G_DECLARE_CREATABLE(TextDictionary)
  public:
    TextDictionary() = default;

    /// False when the key has a text already, which stays.
    bool addItem(NameLinkID id, TRef<UString> const & text);
    /// False when there was none.
    bool removeItem(NameLinkID id);
    /// Takes out the first entry with this very text; false when there is none.
    bool removeItem(TRef<UString> const & text);
    long getCount() const;
    /// Entry `index`, from 0 to getCount() - 1, in an order that differs from run to run. True.
    bool getItemInfo(int index, NameLinkID * id, TRef<UString> * text) const;

    /// The text in the system's 8-bit code, or the name in angle brackets.
    static GString GetString(NameLinkID id);
    static void EmptyDictionary();
    /// The dictionary without an object around it. Read replaces all texts.
    static void Write(opstream & out);
    static void Read(ipstream & in);

    /// The same texts as an object's own form.
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    using Texts = TSCDictionary<NameLinkID, TRef<UString>>;
    static Texts & m_dictionary();
    static void WritePairs(opstream & out);
    static void ReadPairs(ipstream & in);
};

/// How a text is drawn. The library keeps it and gives it no meaning: that is the business of the
/// code that draws.
class ONDREL_API DrawTextAttributes : public GStreamable {
    G_DECLARE_CREATABLE(DrawTextAttributes)
  public:
    DrawTextAttributes();
    explicit DrawTextAttributes(StreamableInit) : DrawTextAttributes() {}

    void read(ipstream & in) override;
    void write(opstream & out) override;

    GString font{"Arial"};
    std::int32_t a = 20;
    std::int32_t b = 10;
    std::int32_t c = 1;
    std::int32_t d = 400;
    bool e = false;
    bool f = false;
    bool g = false;
    std::int32_t h = 1;
    std::int32_t i = 0;
    bool j = true;
    bool k = true;
    std::int32_t l = 255;
    std::int32_t m = 2; ///< not saved
    std::int32_t n = 1; ///< not saved
    BitSet mask{255};   ///< all on
    std::int32_t o = 0;
};

} // namespace Tavlin
