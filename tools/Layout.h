// What the library's own classes write, so that their data can be read without building an object.
// A reading counts only when it takes exactly the bytes of the frame and each pointer in it leads
// to a frame or a number that is there; so who is taken for something else shows it.
#pragma once

#include "StreamFile.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// A reference as it stands in data: null, or an object of that number. What stands there itself
/// has its number, too.
struct Reference {
    std::size_t at = 0, size = 0;
    std::uint32_t number = 0;
    bool isFrame = false;
};

/// Names that the objects of a part have in common: a dump of the dictionary in front of them.
class NameDump {
  public:
    /// Looks for dumps in what lies between the objects of a part.
    explicit NameDump(StreamPart const & part);
    /// The name at a place of the last dump in front of `position` that has one there.
    std::optional<std::string> find(std::size_t position, std::uint32_t place) const;

  private:
    struct Dump {
        std::size_t begin, end;
    };
    void search(std::size_t begin, std::size_t end);
    /// Where a dump ends whose size stands at `at`, or `at`.
    std::size_t dumpAt(std::size_t at, std::size_t end);

    std::string_view bytes_;
    std::vector<Dump> dumps_;
    std::uint64_t effort_;
};

/// A value of a script or of a table.
struct SavedValue {
    char const * type = "";
    /// As text; of a reference, null or not, it is empty.
    std::string text;
    std::optional<Reference> reference;
    bool isNumber = false;
    bool isNull = false;
};

/// Reads the data of one frame from its beginning. What cannot be read gives zero and ends all
/// reading.
class FrameReader {
  public:
    /// `names` may be null: names that stand in a dump are numbers then.
    FrameReader(ObjectStream const & stream, std::size_t part, std::size_t frame,
                NameDump const * names = nullptr);

    bool isGood() const { return good_; }
    /// All was read, and nothing is left.
    bool isDone() const { return good_ && at_ == frame_.dataEnd; }
    std::size_t position() const { return at_; }
    /// As if the data began so many bytes behind its begin.
    void skip(std::size_t count);

    unsigned char byte();
    std::uint32_t word() { return static_cast<std::uint32_t>(number(2)); }
    std::uint32_t dword() { return static_cast<std::uint32_t>(number(4)); }
    float real();
    /// Null for a null text.
    std::optional<std::string> text();
    /// Null for a null name.
    std::optional<std::string> name();
    /// The name of a file.
    std::string file();
    Reference pointer();
    SavedValue value();

    /// Reads by a layout, a letter for each piece. Digits are bytes of that value; further letters
    /// stand in Layout.cpp.
    void read(char const * layout);
    /// What `read` met by the letters for names, floats and references.
    std::optional<std::string> lastName;
    float lastReal = 0;
    std::vector<Reference> const & references() const { return references_; }

    void fail() { good_ = false; }

  private:
    std::uint64_t number(std::size_t size);
    std::string_view take(std::size_t count);
    void readPiece(char piece);
    void readResource();
    void readComponents();
    bool readComponents(std::uint32_t left, int marks);
    bool readBehindMark(std::uint32_t left, int marks);

    std::string_view bytes_;
    std::vector<Frame> const & frames_;
    Frame const & frame_;
    std::size_t child_; // the next frame within
    std::size_t objects_;
    NameDump const * names_;
    std::size_t at_;
    bool good_ = true;
    std::vector<Reference> references_;
    std::uint64_t effort_ = 0; // left for what has to be tried
};

/// All references in the data of a frame, by the layout of its class; nothing when the class is not
/// one of the library's, or its data are not those of it.
std::optional<std::vector<Reference>> referencesOf(ObjectStream const & stream, std::size_t part,
                                                   std::size_t frame);

/// The shortest text that reads as that number.
std::string textOf(float number);

/// Bytes that a terminal may show, in their order; control bytes become escapes.
std::string escaped(std::string_view text);

} // namespace tool
