// The table of texts and the streamed forms.
#include "tavlinmid/TextDictionary.h"

#include "persistence/pstream.h"
#include "platform/WideText.h"
#include "tavlinbase/AUnknown.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace Tavlin {

G_DEFINE_CREATABLE(UString, "Tavlin::UString", RefCounter)
G_DEFINE_CREATABLE(TextDictionary, "Tavlin::TextDictionary", UniqueObject)
G_DEFINE_CREATABLE(DrawTextAttributes, "Tavlin::DrawTextAttributes", GStreamable)

namespace {

/// `length` units from `at`, each made by `unit`, and a zero.
template <class Unit>
std::shared_ptr<unsigned short[]> terminated(std::size_t length, Unit unit) {
    std::shared_ptr<unsigned short[]> text(new unsigned short[length + 1]);
    for (std::size_t i = 0; i < length; ++i)
        text[i] = unit(i);
    text[length] = 0;
    return text;
}

long lengthOf(unsigned short const * text) {
    long length = 0;
    while (text && text[length])
        ++length;
    return length;
}

} // namespace

void UString::init(GString const & text) {
    char const * const bytes = text.c_str();
    text_ = terminated(text.length(), [bytes](std::size_t i) {
        return static_cast<unsigned short>(static_cast<signed char>(bytes[i]));
    });
}

void UString::init(unsigned short const * text) {
    text_ = text ? terminated(static_cast<std::size_t>(lengthOf(text)),
                              [text](std::size_t i) { return text[i]; })
                 : nullptr;
}

long UString::length() const {
    return lengthOf(text_.get());
}

void UString::write(opstream & out) {
    long const count = length();
    out.writeByte(0);
    out.writeDWord(static_cast<unsigned long>(count));
    out.writeBytes(text_.get(), count * 2);
}

void UString::read(ipstream & in) {
    in.readByte();
    auto const wanted = static_cast<std::int32_t>(in.readDWord());
    // A length is only believed as far as units arrive.
    constexpr std::size_t piece = 4096;
    std::vector<unsigned short> units;
    for (auto left = static_cast<std::size_t>(std::max(wanted, 0)); left > 0 && in;) {
        std::size_t const count = std::min(left, piece);
        std::size_t const before = units.size();
        units.resize(before + count);
        long const bytes = in.readBytes(&units[before], static_cast<long>(count * 2));
        if (bytes < static_cast<long>(count * 2)) {
            units.resize(before + static_cast<std::size_t>(std::max(bytes, 0L)) / 2);
            break;
        }
        left -= count;
    }
    text_ = terminated(units.size(), [&units](std::size_t i) { return units[i]; });
}

TextDictionary::Texts & TextDictionary::m_dictionary() {
    static Texts texts;
    return texts;
}

bool TextDictionary::addItem(NameLinkID id, TRef<UString> const & text) {
    return m_dictionary().insert(id, text);
}

bool TextDictionary::removeItem(NameLinkID id) {
    return m_dictionary().remove(id);
}

bool TextDictionary::removeItem(TRef<UString> const & text) {
    for (long i = 0; i < m_dictionary().getCount(); ++i)
        if (m_dictionary().valueAt(i) == text) {
            m_dictionary().removeAt(i);
            return true;
        }
    return false;
}

long TextDictionary::getCount() const {
    return m_dictionary().getCount();
}

bool TextDictionary::getItemInfo(int index, NameLinkID * id, TRef<UString> * text) const {
    assert(index >= 0 && index < getCount());
    *id = m_dictionary().keyAt(index);
    *text = m_dictionary().valueAt(index);
    return true;
}

GString TextDictionary::GetString(NameLinkID id) {
    TRef<UString> const * const text = m_dictionary().find(id);
    if (!text)
        return GString("<") + id.c_str() + ">";
    return *text ? GString(platform::narrowText((*text)->getPointer()).c_str()) : GString();
}

void TextDictionary::EmptyDictionary() {
    m_dictionary().empty();
}

void TextDictionary::WritePairs(opstream & out) {
    Texts & texts = m_dictionary();
    out.writeDWord(static_cast<unsigned long>(texts.getCount()));
    for (long i = 0; i < texts.getCount(); ++i) {
        out << texts.keyAt(i);
        RefCounterWrite(out, TRef<RefCounter>(texts.valueAt(i).pointer()));
    }
}

void TextDictionary::ReadPairs(ipstream & in) {
    // The order of the names is that of this run; also when the stream breaks off, so that what
    // has come is found.
    struct Sorting {
        ~Sorting() { m_dictionary().resort(); }
    } const sorting;
    Texts & texts = m_dictionary();
    texts.empty();
    for (unsigned long count = in.readDWord(); count > 0 && in; --count) {
        NameLinkID id;
        in >> id;
        TRef<UString> const text(
            gcast<UString>(RefCounterRead(in, &UString::metaclass_).pointer()));
        if (in)
            texts.append(id, text);
    }
}

void TextDictionary::Write(opstream & out) {
    out.writeByte(0);
    bool const any = m_dictionary().getCount() > 0;
    out.writeByte(any ? 1 : 0);
    if (any)
        WritePairs(out);
}

void TextDictionary::Read(ipstream & in) {
    in.readByte();
    if (in.readByte() == 0)
        m_dictionary().empty();
    else
        ReadPairs(in);
}

void TextDictionary::write(opstream & out) {
    out.writeByte(0);
    WritePairs(out);
}

void TextDictionary::read(ipstream & in) {
    in.readByte();
    ReadPairs(in);
}

DrawTextAttributes::DrawTextAttributes() {
    mask.enable_all();
}

// `j` stands twice, for readers of before; the second one counts.
void DrawTextAttributes::write(opstream & out) {
    out.writeByte(3);
    out << font << a << b << c << std::int32_t{e} << d;
    for (bool const flag : {f, g, j})
        out << std::int32_t{flag};
    out << h << i << std::int32_t{j} << o << std::int32_t{k} << l << mask;
}

void DrawTextAttributes::read(ipstream & in) {
    auto const flag = [&in] { return in.readDWord() != 0; };
    in.readByte();
    in >> font >> a >> b >> c;
    e = flag();
    in >> d;
    f = flag();
    g = flag();
    flag();
    in >> h >> i;
    j = flag();
    in >> o;
    k = flag();
    in >> l >> mask;
}

} // namespace Tavlin
