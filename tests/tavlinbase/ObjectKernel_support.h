// Objects and interfaces that the tests of the object kernel share, and bytes written out by hand.
#pragma once

#include "persistence/mpstream.h"
#include "tavlinbase/TavlinObject.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kernel_test {

using namespace Tavlin;

/// An object that is equal to no other.
class Thing : public UniqueObject {
    G_DECLARE_CREATABLE(Thing)
  public:
    Thing() { ++alive; }
    ~Thing() override { --alive; }
    using Object::reg;
    using Object::unreg;
    static int alive;
};
class SpecialThing : public Thing {
    G_DECLARE_CREATABLE(SpecialThing)
};

/// An object that is equal to those of the same value.
class Datum : public Object {
    G_DECLARE_CREATABLE(Datum)
  public:
    explicit Datum(int number = 0) : value(number) { ++alive; }
    ~Datum() override { --alive; }
    using Object::compare;
    int compare(Object const & other) const override;
    void read(ipstream & in) override;
    void write(opstream & out) override;
    using Object::reg;
    int value;
    static int alive;
};

/// An interface that counts what is done to it.
class ILabel : public AUnknown {
    G_DECLARE_CREATABLE(ILabel)
  public:
    explicit ILabel(int number = 0) : value(number) { ++alive; }
    ~ILabel() override { --alive; }
    bool attach() override;
    void detach() override;
    bool canDestroyObject() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

    int value;
    int attached = 0;
    int detached = 0;
    bool refuses = false;
    bool holdsBack = false;
    static int alive;
    static int asked; ///< calls of canDestroyObject
};
class ISpecialLabel : public ILabel {
    G_DECLARE_CREATABLE(ISpecialLabel)
};
/// Cannot be attached.
class INowhere : public AUnknown {
    G_DECLARE_CREATABLE(INowhere)
  public:
    bool attach() override { return false; }
};

/// An object that is an interface by its own class.
class Speaker : public UniqueObject, public ILabel {
    G_DECLARE_CREATABLE(Speaker)
  public:
    using Object::reg;
    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override { Object::onFinalRelease(); }
};

/// Bytes as they stand in a stream.
class Bytes {
  public:
    Bytes & byte(int value);
    Bytes & word(int value);
    Bytes & dword(std::uint32_t value);
    /// Length as a word, then the characters.
    Bytes & text(std::string const & value);
    /// The frame of an object of that class: `open` the prefix, `close` the suffix.
    Bytes & open(std::string const & className);
    Bytes & close();
    std::string const & str() const { return bytes_; }

  private:
    std::string bytes_;
    std::vector<std::pair<std::size_t, std::string>> open_;
};

/// What `write` puts into a stream.
template <class Write>
std::string written(Write write) {
    ompstream out;
    write(static_cast<opstream &>(out));
    long const size = out.tellp();
    return std::string(static_cast<char const *>(out.data()), std::size_t(size));
}

/// A stream that gives those bytes.
class Input {
  public:
    explicit Input(std::string const & bytes)
        : bytes_(bytes), stream_(bytes_.data(), long(bytes_.size()), GIO::ReadMode) {}
    operator ipstream &() { return stream_; }
    ipstream * operator->() { return &stream_; }

  private:
    std::string bytes_;
    impstream stream_;
};

} // namespace kernel_test
