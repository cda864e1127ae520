// What the tests of object streams share: streams in memory, bytes written out by hand, and a few
// classes to save.
#pragma once

#include "foundation/GStreamable.h"
#include "persistence/GBufferedIO.h"
#include "persistence/GMemoryIO.h"
#include "persistence/PStreamExceptions.h"
#include "persistence/pstream.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

namespace pstream_tests {

/// Bytes from hexadecimal digits; blanks are for the eye.
std::string hex(char const * digits);
/// The digits again, for messages that can be read.
std::string digits(std::string const & bytes);

/// A frame as it must stand in a little-endian stream, built without the code under test.
std::string framed(std::string const & className, std::string const & body);

/// A stream on its own memory.
class Memory {
  public:
    Memory();
    explicit Memory(std::string const & content);
    ~Memory();
    iopstream & operator*() { return *stream_; }
    iopstream * operator->() { return stream_.get(); }
    /// All that the memory holds.
    std::string bytes();

  private:
    GMemoryIO * memory_;
    GBufferedIO io_;
    std::unique_ptr<iopstream> stream_;
};

/// Streams own no object, and a load that throws leaves some behind: each is listed here, and the
/// fixture ends those that are left.
class Tracked : public GStreamable {
    G_DECLARE_CLASS(Tracked)
  public:
    Tracked();
    ~Tracked() override;
    static std::set<Tracked *> alive;
};

/// One byte.
class Leaf : public Tracked {
    G_DECLARE_CREATABLE(Leaf)
  public:
    explicit Leaf(unsigned char start = 0) : value(start) {}
    void read(ipstream & in) override { in >> value; }
    void write(opstream & out) override { out << value; }
    unsigned char value;
};

/// A number and two references.
class Node : public Tracked {
    G_DECLARE_CREATABLE(Node)
  public:
    explicit Node(int start = 0, GStreamable * l = nullptr, GStreamable * r = nullptr)
        : value(start), left(l), right(r) {}
    void read(ipstream & in) override;
    void write(opstream & out) override;
    int value;
    GStreamable * left;
    GStreamable * right;
    GMetaClass const * seenClass = nullptr;
};

/// Known by name, but cannot be built.
class Shape : public Tracked {
    G_DECLARE_CLASS(Shape)
  public:
    void read(ipstream &) override {}
    void write(opstream &) override {}
};

class PStream : public testing::Test {
  protected:
    static void SetUpTestSuite();
    void TearDown() override;
};

/// The message of what `act` throws; its class must be `Exception`.
template <class Exception, class Act>
std::string thrownText(Act act) {
    try {
        act();
    } catch (Exception const & exception) {
        return exception.getMessage().c_str();
    } catch (GLibraryException const & exception) {
        return std::string("another exception: ") + exception.getMessage().c_str();
    }
    return "nothing was thrown";
}

} // namespace pstream_tests
