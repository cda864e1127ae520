// The classes and helpers of the object stream tests.
#include "pstream_support.h"

namespace pstream_tests {

G_DEFINE_CLASS(Tracked, "T::Tracked", GStreamable)
G_DEFINE_CREATABLE(Leaf, "T::Leaf", Tracked)
G_DEFINE_CREATABLE(Node, "T::Node", Tracked)
G_DEFINE_CLASS(Shape, "T::Shape", Tracked)

std::set<Tracked *> Tracked::alive;

Tracked::Tracked() {
    alive.insert(this);
}

Tracked::~Tracked() {
    alive.erase(this);
}

void Node::read(ipstream & in) {
    in >> value;
    left = in.readPointer<GStreamable>();
    right = in.readPointer<GStreamable>();
    seenClass = in.metaclassOfReadingObject();
}

void Node::write(opstream & out) {
    out << value;
    out.writePointer(left);
    out.writePointer(right);
}

std::string hex(char const * digits) {
    std::string bytes;
    for (char const * at = digits; *at; ++at) {
        if (*at == ' ')
            continue;
        bytes.push_back(static_cast<char>(std::stoi(std::string(at, 2), nullptr, 16)));
        ++at;
    }
    return bytes;
}

std::string digits(std::string const & bytes) {
    std::string text;
    for (char const c : bytes) {
        char piece[4];
        std::snprintf(piece, sizeof piece, "%02X ", static_cast<unsigned char>(c));
        text += piece;
    }
    return text;
}

std::string framed(std::string const & className, std::string const & body) {
    auto const number = [](std::size_t value, int width) {
        std::string bytes;
        for (int i = 0; i < width; ++i)
            bytes.push_back(static_cast<char>(value >> (8 * i)));
        return bytes;
    };
    std::string const name = number(className.size(), 2) + className;
    std::string frame = hex("B1 B5 0F CF") + name + body + hex("EF 80 4A 29");
    return frame + number(frame.size(), 4) + name;
}

Memory::Memory()
    : memory_(new GMemoryIO(0)), io_(memory_), stream_(std::make_unique<iopstream>(&io_)) {}

Memory::Memory(std::string const & content) : Memory() {
    io_.gwrite(content.data(), static_cast<long>(content.size()));
    io_.gseek(0, GIO::FromStart);
}

Memory::~Memory() = default;

std::string Memory::bytes() {
    io_.flush();
    long const position = memory_->gtell();
    long const size = memory_->gseek(0, GIO::FromEnd);
    memory_->gseek(position, GIO::FromStart);
    return size > 0 ? std::string(static_cast<char const *>(memory_->buffer()),
                                  static_cast<std::size_t>(size))
                    : std::string();
}

void PStream::SetUpTestSuite() {
    static bool const once = [] {
        GString::AddLoadStringFunc(GLoadMessage, nullptr);
        return true;
    }();
    static_cast<void>(once);
}

void PStream::TearDown() {
    while (!Tracked::alive.empty())
        delete *Tracked::alive.begin();
}

} // namespace pstream_tests
