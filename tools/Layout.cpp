#include "Layout.h"

#include "Json.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>

namespace tool {

namespace {

// Letters of layouts:
//   b byte   d dword   f float   s text   n name   N dword count and names
//   p pointer   P dword count and pointers   v value   V dword count and values
//   R dword count, and a name and a pointer each   A the components of an agent
//   g name of a file   r object that may be one of a library   S dword count and such objects
// and what the classes have in common:
//   O object   U interface   M member with a name   L links   T node of a tree
//   C component   E expression
char const * const objectPart = "2P";
char const * const interfacePart = "1p";
char const * const memberPart = "0n";
char const * const nodePart = "2OMLU";
char const * const componentPart = "2Tf";

std::map<std::string_view, char const *> const & layouts() {
    static std::map<std::string_view, char const *> const table = {
        {"Tavlin::AgentShell", "4TAb"},
        {"Tavlin::Automat", "C4pppV"},
        {"Tavlin::AgentInventory", "0CP"},
        {"Tavlin::InventorySingleSlot", "00Tp"},
        {"Tavlin::InventoryMultiSlot", "00TP"},
        {"Tavlin::AgentManager2", "1OU"},
        {"Tavlin::DispObjectRegistrar", "0OUR"},
        {"Tavlin::SceneObject", "10OUR"},
        {"Tavlin::BookMark", "0gn"},
        {"Tavlin::IBookMark", "0Upd"},
        {"Tavlin::INamedObjectImpl", "0Us"},
        {"Tavlin::IRemovableNamedObject", "0Us"},
        {"Tavlin::IObjectContainer", "U0P"},
        {"Tavlin::HandlerCollectionObject", "0OS"},
        {"Tavlin::SimpleDispatcherFunctionGroup", "30OSUn"},
        {"Tavlin::SimpleDispatcher", "1OUS"},
        {"Tavlin::Instruction", "2Od"},
        {"Tavlin::InstructionList", "O0P"},
        {"Tavlin::InstructionData", "O0s"},
        {"Tavlin::SetDataInstruction", "2Od1r"},
        {"Tavlin::ProcedureInstruction", "2Od2p"},
        {"Tavlin::IInstructionList", "U"},
        {"Tavlin::IProcedureList", "U"},
        {"Tavlin::ComplexObjectModifier", "00OP"},
        {"Tavlin::MAddInterface", "00Os"},
        {"Tavlin::WritableVRefArray", "0O0UV"},
        {"Tavlin::VRefChannel", "0dpnp"},
        {"Tavlin::VRefObjectChannel", "0O0dpnpU"},
        {"VRefChannelSource", "0P"},
        {"Tavlin::D_Automat", "O2VPNPd"},
        {"Tavlin::D_State", "0nP"},
        {"Tavlin::D_Block", "0P"},
        {"Tavlin::D_Method", "2n0P"},
        {"Tavlin::D_Condition", "03pp"},
        {"Tavlin::D_Out", "00dn"},
        {"Tavlin::D_InvokeOut", "000dn"},
        {"Tavlin::D_Assign", "E0pp"},
        {"Tavlin::D_Not", "E0p"},
        {"Tavlin::D_Increment", "E0p"},
        {"Tavlin::D_Decrement", "E0p"},
        {"Tavlin::D_Function", "E1nPN"},
        {"Tavlin::D_DoAfter", "E0ppdf"},
        {"Tavlin::D_Constant", "E0v"},
        {"Tavlin::D_Me", "E0"},
        {"Tavlin::D_Event", "E0n"},
        {"Tavlin::D_Variable", "E00n"},
        {"Tavlin::D_Array", "E00nddd"},
    };
    return table;
}

/// Of the classes that have one layout.
char const * layoutOf(std::string_view name) {
    auto const found = layouts().find(name);
    if (found != layouts().end())
        return found->second;
    for (char const * const binary :
         {"Add", "Substruct", "Multiplication", "Division", "Modulus", "IsEqual", "IsNotEqual",
          "IsGreater", "IsGreaterOrEqual", "IsLess", "IsLessOrEqual", "Or", "And"})
        if (name.substr(0, 10) == "Tavlin::D_" && name.substr(10) == binary)
            return "Ebpp";
    return nullptr;
}

/// Stands in front of each name of a dump.
constexpr std::string_view link("\0\0\0\0", 4);
constexpr std::size_t linkSize = link.size();
constexpr std::uint64_t effortPerByte = 16;
/// How many components of an agent may be those of a library.
constexpr int greatestMarks = 64;

template <class Real>
std::string shortest(Real number) {
    char text[32];
    auto const result = std::to_chars(text, text + sizeof text, number);
    return std::string(text, result.ptr);
}

} // namespace

NameDump::NameDump(StreamPart const & part)
    : bytes_(part.bytes()), effort_(effortPerByte * bytes_.size()) {
    std::size_t at = part.begin;
    std::vector<std::size_t> open;
    auto const & frames = part.tree.frames;
    for (std::size_t i = 0; i <= frames.size(); ++i) {
        while (!open.empty() && frames[open.back()].next <= i) {
            search(at, frames[open.back()].dataEnd);
            at = frames[open.back()].end;
            open.pop_back();
        }
        search(at, i < frames.size() ? frames[i].head() : part.end);
        if (i < frames.size()) {
            at = frames[i].data;
            open.push_back(i);
        }
    }
}

void NameDump::search(std::size_t begin, std::size_t end) {
    for (std::size_t at = begin; at + 4 + linkSize < end && effort_ > 0;) {
        // Most places are turned down by the link of the first name.
        std::size_t const next = bytes_.compare(at + 4, linkSize, link) == 0 ? dumpAt(at, end) : at;
        at = std::max(next, at + 1);
    }
}

std::size_t NameDump::dumpAt(std::size_t at, std::size_t end) {
    std::size_t const begin = at + 4;
    auto const isPossible = [&](std::size_t size) {
        return size >= linkSize + 2 && size <= end - begin;
    };
    std::uint32_t size = littleEndianAt(bytes_, at);
    if (!isPossible(size))
        size = size << 24 | (size & 0xFF00) << 8 | (size >> 8 & 0xFF00) | size >> 24;
    if (!isPossible(size))
        return at;
    std::size_t name = begin;
    while (name < begin + size) {
        std::size_t const text = name + linkSize;
        std::size_t last = text;
        if (text >= begin + size || bytes_.compare(name, linkSize, link) != 0)
            return at;
        while (last < begin + size && static_cast<unsigned char>(bytes_[last]) >= 0x20)
            ++last;
        effort_ -= std::min<std::uint64_t>(last - name, effort_);
        if (last == text || last == begin + size || bytes_[last] != '\0' || effort_ == 0)
            return at;
        name = last + 1;
    }
    dumps_.push_back({begin, begin + size});
    return begin + size;
}

std::optional<std::string> NameDump::find(std::size_t position, std::uint32_t place) const {
    auto dump =
        std::upper_bound(dumps_.begin(), dumps_.end(), position,
                         [](std::size_t value, Dump const & one) { return value < one.end; });
    // What looks like a dump may be data; then a name hardly begins at that place.
    for (int tried = 0; dump != dumps_.begin() && tried < 8; ++tried) {
        --dump;
        std::size_t const at = dump->begin + place;
        if (at + linkSize >= dump->end || bytes_.compare(at, linkSize, link) != 0 ||
            (place > 0 && bytes_[at - 1] != '\0'))
            continue;
        std::size_t const text = at + linkSize;
        return std::string(bytes_.substr(text, bytes_.find('\0', text) - text));
    }
    return std::nullopt;
}

FrameReader::FrameReader(ObjectStream const & stream, std::size_t part, std::size_t frame,
                         NameDump const * names)
    : bytes_(stream.parts[part].bytes()), frames_(stream.parts[part].tree.frames),
      frame_(frames_[frame]), child_(frame + 1), objects_(stream.countBefore(part, frame_.next)),
      names_(names), at_(frame_.data) {}

void FrameReader::skip(std::size_t count) {
    take(count);
}

/// Only what belongs to the frame itself.
std::string_view FrameReader::take(std::size_t count) {
    std::size_t const end = child_ < frame_.next ? frames_[child_].head() : frame_.dataEnd;
    if (!good_ || end < at_ || count > end - at_) {
        good_ = false;
        return {};
    }
    at_ += count;
    return bytes_.substr(at_ - count, count);
}

std::uint64_t FrameReader::number(std::size_t size) {
    std::string_view const bytes = take(size);
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        value = value << 8 |
                static_cast<unsigned char>(bytes[frame_.swapped ? i : bytes.size() - 1 - i]);
    return value;
}

unsigned char FrameReader::byte() {
    return static_cast<unsigned char>(number(1));
}

float FrameReader::real() {
    return lastReal = std::bit_cast<float>(dword());
}

std::optional<std::string> FrameReader::text() {
    std::uint32_t length = word();
    if (!good_ || length == 0xFFFF)
        return std::nullopt;
    if (length == 0xFFFE) {
        length = dword();
        // Of 16-bit characters, which no class of the library writes.
        if (length == 0xFFFFFFFF)
            fail();
    }
    return std::string(take(length));
}

std::optional<std::string> FrameReader::name() {
    unsigned char const mode = byte();
    std::uint32_t const word = dword();
    lastName.reset();
    if (mode == 0) {
        if (word == 1)
            lastName = text();
        else if (word != 0)
            fail();
    } else if (mode == 2 && word < 0x80000000u) {
        if (names_)
            lastName = names_->find(at_, word);
        if (!lastName)
            lastName = "name " + std::to_string(word);
    } else if (mode == 1 && word != 0) {
        lastName = "name " + std::to_string(word);
    } else if (mode > 2) {
        fail();
    }
    return good_ ? lastName : std::nullopt;
}

std::string FrameReader::file() {
    std::string name;
    byte();
    for (unsigned char tag; (tag = byte()) != 0 && good_;) {
        constexpr std::string_view separators[] = {"\\", ".", "..\\"};
        if (tag <= std::size(separators))
            name += separators[tag - 1];
        else if (tag == 4)
            name += text().value_or("");
        else
            fail();
    }
    return name;
}

Reference FrameReader::pointer() {
    Reference reference;
    reference.at = at_;
    if (good_ && child_ < frame_.next && frames_[child_].head() == at_) {
        Frame const & child = frames_[child_];
        if (!child.byPointer) {
            fail();
            return reference;
        }
        reference.isFrame = true;
        reference.number = child.number;
        at_ = child.end;
        child_ = child.next;
    } else {
        unsigned char const marker = byte();
        if (marker == 1) {
            reference.number = word();
            if (reference.number == 0xFFFF)
                reference.number = dword();
            if (reference.number == 0 || reference.number > objects_)
                fail();
        } else if (marker != 0) {
            fail();
        }
    }
    reference.size = at_ - reference.at;
    if (good_)
        references_.push_back(reference);
    return reference;
}

SavedValue FrameReader::value() {
    SavedValue value;
    if (byte() != 0)
        fail();
    auto const kind = static_cast<std::int32_t>(dword());
    // Records stand as they stood in memory, whatever the order of the stream.
    auto const record = [&](int count, auto sample, auto const & shown) {
        for (int i = 0; i < count && good_; ++i) {
            std::string_view const bytes = take(sizeof sample);
            if (good_)
                std::memcpy(&sample, bytes.data(), sizeof sample);
            value.text += i > 0 ? ", " : "";
            value.text += shown(sample);
        }
    };
    auto const reals = [&](int count) {
        record(count, 0.0f, [](float real) { return textOf(real); });
    };
    auto const optional = [&](std::optional<std::string> const & text) {
        value.isNull = !text;
        value.text = text.value_or("");
    };
    auto const refer = [&](char const * type) {
        value.type = type;
        value.reference = pointer();
    };
    switch (good_ ? kind : -2) {
        case -1:
            value.type = "nothing";
            value.isNull = true;
            break;
        case 0:
            value.type = "int";
            value.text = std::to_string(static_cast<std::int32_t>(dword()));
            value.isNumber = true;
            break;
        case 1:
            value.type = "float";
            value.text = textOf(real());
            // Infinities and what is no number have no form in JSON.
            value.isNumber = value.text.find_first_of("in") == std::string::npos;
            break;
        case 2:
            value.type = "text";
            optional(text());
            break;
        case 3:
            value.type = "vector3d";
            reals(3);
            break;
        case 4:
            value.type = "vector2d";
            record(2, 0.0, [](double real) { return shortest(real); });
            break;
        case 5:
            refer("object");
            break;
        case 6:
            refer("class");
            break;
        case 7:
            value.type = "point";
            record(2, std::int32_t{}, [](std::int32_t whole) { return std::to_string(whole); });
            break;
        case 8:
            value.type = "name";
            optional(name());
            break;
        case 9:
            value.type = "matrix";
            reals(16);
            break;
        case 10:
            refer("array");
            break;
        case 11:
            refer("counted");
            break;
        default:
            fail();
    }
    return value;
}

void FrameReader::read(char const * layout) {
    for (; *layout && good_; ++layout)
        readPiece(*layout);
}

// The layouts that others contain are not deep in each other.
void FrameReader::readPiece(char piece) {
    auto const repeat = [this](auto const & one) {
        for (std::uint32_t count = dword(); count > 0 && good_; --count)
            one();
    };
    switch (piece) {
        case 'b':
            byte();
            break;
        case 'd':
            dword();
            break;
        case 'f':
            real();
            break;
        case 's':
            text();
            break;
        case 'n':
            name();
            break;
        case 'N':
            repeat([this] { name(); });
            break;
        case 'p':
            pointer();
            break;
        case 'P':
            repeat([this] { pointer(); });
            break;
        case 'v':
            value();
            break;
        case 'V':
            repeat([this] { value(); });
            break;
        case 'R':
            repeat([this] { read("np"); });
            break;
        case 'g':
            file();
            break;
        case 'r':
            readResource();
            break;
        case 'S':
            repeat([this] { readResource(); });
            break;
        case 'L':
            read("0");
            if (dword() != 0)
                repeat([this] { read("dbN"); });
            break;
        case 'A':
            readComponents();
            break;
        case 'O':
            read(objectPart);
            break;
        case 'U':
            read(interfacePart);
            break;
        case 'M':
            read(memberPart);
            break;
        case 'T':
            read(nodePart);
            break;
        case 'C':
            read(componentPart);
            break;
        case 'E':
            read("00");
            break;
        default:
            if (byte() != piece - '0')
                fail();
    }
}

/// An object of a library stands there as its bookmark, behind which it may have put data of its
/// own, whose length nobody knows: so nothing is told of what is written so.
void FrameReader::readResource() {
    if (byte() != 0)
        fail();
    pointer();
}

/// Behind each stands how many are left. Behind a bookmark of a library this finds the next one.
void FrameReader::readComponents() {
    effort_ = effortPerByte * (frame_.dataEnd - frame_.data);
    if (!readComponents(dword(), 0))
        fail();
}

bool FrameReader::readComponents(std::uint32_t left, int marks) {
    for (; left > 0; --left) {
        unsigned char const isMark = byte();
        pointer();
        if (!good_ || isMark > 1)
            return false;
        if (isMark == 1)
            return readBehindMark(left, marks + 1);
        if (dword() != left - 1 || !good_)
            return false;
    }
    // One byte is behind the last one.
    return good_ && (marks == 0 || frame_.dataEnd - at_ == 1);
}

/// The next component stands where the rest can be read up to the end of the agent: at once, behind
/// a 0, or behind a 1 and data of any length.
bool FrameReader::readBehindMark(std::uint32_t left, int marks) {
    std::size_t const mark = at_, count = references_.size();
    std::size_t child = child_;
    bool const isNext =
        mark < frame_.dataEnd && (child >= frame_.next || frames_[child].head() > mark);
    auto const dynamic = static_cast<unsigned char>(isNext ? bytes_[mark] : 2);
    for (std::size_t at = mark; at < frame_.dataEnd && marks < greatestMarks && effort_ > 0;) {
        --effort_;
        at_ = at;
        child_ = child;
        good_ = true;
        if (dword() == left - 1 && good_ && readComponents(left - 1, marks))
            return true;
        references_.resize(count);
        if (dynamic > 1 || (dynamic == 0 && at > mark))
            break;
        ++at;
        while (child < frame_.next && at > frames_[child].head()) {
            at = frames_[child].end;
            child = frames_[child].next;
        }
    }
    good_ = false;
    return false;
}

std::optional<std::vector<Reference>> referencesOf(ObjectStream const & stream, std::size_t part,
                                                   std::size_t frame) {
    char const * const layout = layoutOf(stream.parts[part].tree.frames[frame].name);
    if (!layout)
        return std::nullopt;
    FrameReader reader(stream, part, frame);
    reader.read(layout);
    if (!reader.isDone())
        return std::nullopt;
    return reader.references();
}

std::string textOf(float number) {
    return shortest(number);
}

std::string escaped(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        std::size_t const length = sequenceLength(text);
        auto const first = static_cast<unsigned char>(text.front());
        bool const isC1 =
            length == 2 && first == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0;
        if (length == 0 || isC1 || (length == 1 && (first < 0x20 || first == 0x7F))) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", unsigned{first});
            result += escape;
            text.remove_prefix(1);
        } else {
            if (first == '\\')
                result += '\\';
            result += text.substr(0, length);
            text.remove_prefix(length);
        }
    }
    return result;
}

} // namespace tool
