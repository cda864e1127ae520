#include "resource_support.h"

#include "persistence/GResourceIterator.h"

#include <algorithm>
#include <random>

namespace resource_tests {

G_DEFINE_CREATABLE(Blob, "T::Blob", pstream_tests::Tracked)

void Blob::write(opstream & out) {
    out << static_cast<unsigned int>(bytes.size());
    out.writeBytes(bytes.data(), static_cast<long>(bytes.size()));
}

void Blob::read(ipstream & in) {
    unsigned int left = 0;
    in >> left;
    bytes.clear();
    char piece[1000];
    while (left > 0 && in) {
        long const count = std::min<long>(left, sizeof piece);
        bytes.append(piece, static_cast<std::size_t>(in.readBytes(piece, count)));
        left -= static_cast<unsigned int>(count);
    }
}

GResourceFullName named(std::string const & address) {
    GResourceFullName name;
    name.parse_readable_form(GString(address.c_str()));
    return name;
}

GResourcePath path(std::string const & readable) {
    GResourcePath result;
    result.parse_readable_form(GString(readable.c_str()));
    return result;
}

bool put(ResourceFile & file, std::string const & address, std::string const & content) {
    Blob blob(content);
    return file.put(&blob, named(address), false);
}

std::optional<std::string> get(ResourceFile & file, std::string const & address) {
    std::unique_ptr<GStreamable> const object(file.get(named(address), false));
    auto const * const blob = gcast<Blob>(object.get());
    return blob ? std::optional(blob->bytes) : std::nullopt;
}

namespace {

void gather(ResourceFile & file, GResourcePath const & from, Content & content) {
    for (GResourceTypeIterator type(file, from); type; ++type)
        for (GResourceIterator item(file, GResourceFullName(from, GString(), type.name())); item;
             ++item) {
            std::string const address = item.fullName().get_readable_form().c_str();
            try {
                content[address] = get(file, address).value_or("damaged");
            } catch (InvalidPStream_Exception const &) {
                content[address] = "damaged";
            }
        }
    for (GResourceSubDirectoryIterator directory(file, from); directory; ++directory) {
        GResourcePath below(from);
        below += directory.name();
        gather(file, below, content);
    }
}

} // namespace

Content contentOf(ResourceFile & file) {
    Content content;
    gather(file, GResourcePath(), content);
    return content;
}

Content contentOf(std::string const & fileName) {
    ResourceFile file(fileName.c_str(), GIO::ReadMode);
    return contentOf(file);
}

std::string noise(std::size_t size, unsigned seed) {
    std::minstd_rand random(seed + 1);
    std::string bytes(size, '\0');
    for (char & byte : bytes)
        byte = static_cast<char>(random() >> 8);
    return bytes;
}

} // namespace resource_tests
