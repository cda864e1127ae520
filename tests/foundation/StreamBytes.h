// Streams on memory for the tests of streamed forms, and bytes written out by hand.
#pragma once

#include "persistence/mpstream.h"

#include <string>

namespace stream_bytes {

/// Bytes from hexadecimal digits; blanks are for the eye.
inline std::string hex(std::string const & digits) {
    std::string bytes;
    for (std::size_t i = 0; i < digits.size();) {
        if (digits[i] == ' ') {
            ++i;
            continue;
        }
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
        i += 2;
    }
    return bytes;
}

/// What `write` puts into a stream.
template <class Write>
std::string written(Write write) {
    ompstream out;
    write(static_cast<opstream &>(out));
    auto const size = static_cast<std::size_t>(out.tellp());
    return std::string(static_cast<char const *>(out.data()), size);
}

/// A stream that gives those bytes.
class Input {
  public:
    explicit Input(std::string const & bytes)
        : bytes_(bytes), stream_(bytes_.data(), static_cast<long>(bytes_.size()), GIO::ReadMode) {}
    ipstream & operator*() { return stream_; }
    ipstream * operator->() { return &stream_; }

  private:
    std::string bytes_;
    impstream stream_;
};

} // namespace stream_bytes
