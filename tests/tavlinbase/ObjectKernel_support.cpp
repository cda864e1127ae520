#include "ObjectKernel_support.h"

namespace kernel_test {

G_DEFINE_CREATABLE(Thing, "test::Thing", Tavlin::UniqueObject)
G_DEFINE_CREATABLE(SpecialThing, "test::SpecialThing", Thing)
G_DEFINE_CREATABLE(Datum, "test::Datum", Tavlin::Object)
G_DEFINE_CREATABLE(ILabel, "test::ILabel", Tavlin::AUnknown)
G_DEFINE_CREATABLE(ISpecialLabel, "test::ISpecialLabel", ILabel)
G_DEFINE_CREATABLE(INowhere, "test::INowhere", Tavlin::AUnknown)
G_DEFINE_CREATABLE(Speaker, "test::Speaker", Tavlin::UniqueObject, ILabel)

int Thing::alive = 0;
int Datum::alive = 0;
int ILabel::alive = 0;
int ILabel::asked = 0;

int Datum::compare(Object const & other) const {
    return value - static_cast<Datum const &>(other).value;
}

void Datum::read(ipstream & in) {
    Object::read(in);
    in >> value;
}

void Datum::write(opstream & out) {
    Object::write(out);
    out << value;
}

bool ILabel::attach() {
    ++attached;
    return !refuses;
}

void ILabel::detach() {
    ++detached;
}

bool ILabel::canDestroyObject() {
    ++asked;
    // Looks at its object, as interfaces do: that reference must not end the object once more.
    return getObject() && !holdsBack && AUnknown::canDestroyObject();
}

void ILabel::read(ipstream & in) {
    AUnknown::read(in);
    in >> value;
}

void ILabel::write(opstream & out) {
    AUnknown::write(out);
    out << value;
}

void Speaker::read(ipstream & in) {
    UniqueObject::read(in);
    ILabel::read(in);
}

void Speaker::write(opstream & out) {
    UniqueObject::write(out);
    ILabel::write(out);
}

Bytes & Bytes::byte(int value) {
    bytes_ += char(value);
    return *this;
}

Bytes & Bytes::word(int value) {
    return byte(value & 0xFF).byte(value >> 8);
}

Bytes & Bytes::dword(std::uint32_t value) {
    return word(int(value & 0xFFFF)).word(int(value >> 16));
}

Bytes & Bytes::text(std::string const & value) {
    word(int(value.size()));
    bytes_ += value;
    return *this;
}

Bytes & Bytes::open(std::string const & className) {
    open_.emplace_back(bytes_.size(), className);
    byte(0xB1).byte(0xB5).byte(0x0F).byte(0xCF);
    return text(className);
}

Bytes & Bytes::close() {
    auto const [start, className] = open_.back();
    open_.pop_back();
    byte(0xEF).byte(0x80).byte(0x4A).byte(0x29);
    dword(std::uint32_t(bytes_.size() - start));
    return text(className);
}

} // namespace kernel_test
