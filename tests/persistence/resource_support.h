// What the tests of the resource store share: an object of any bytes, and a store's content as a
// plain map.
#pragma once

#include "persistence/ResourceFile.h"
#include "pstream_support.h"

#include <map>
#include <optional>
#include <string>

namespace resource_tests {

/// Bytes.
class Blob : public pstream_tests::Tracked {
    G_DECLARE_CREATABLE(Blob)
  public:
    explicit Blob(std::string start = "") : bytes(std::move(start)) {}
    void read(ipstream & in) override;
    void write(opstream & out) override;
    std::string bytes;
};

/// Address, as `dir\name,type`, to content.
using Content = std::map<std::string, std::string>;

/// From the readable form; one without a backslash lies in the root.
GResourceFullName named(std::string const & address);
GResourcePath path(std::string const & readable);
bool put(ResourceFile & file, std::string const & address, std::string const & content);
/// Nothing when there is no such Blob, or its block is damaged.
std::optional<std::string> get(ResourceFile & file, std::string const & address);
/// All Blobs of the file; a resource that cannot be read has the content "damaged".
Content contentOf(ResourceFile & file);
/// The same of a file by name, opened for reading and closed again; the handle must not be open.
Content contentOf(std::string const & fileName);

/// Bytes that do not compress.
std::string noise(std::size_t size, unsigned seed);

/// The fixture of all tests on objects in files.
class ResourceTest : public pstream_tests::PStream {};

} // namespace resource_tests
