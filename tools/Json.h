// Writes one JSON value, piece by piece, for scripts that read what the program says.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

/// The length of the well-formed UTF-8 sequence that `text`, which is not empty, begins with; 0
/// when it does not.
std::size_t sequenceLength(std::string_view text);

/// Commas and the ends of lines come by themselves; who opens an object or array closes it.
class Json {
  public:
    Json & beginObject() { return open('{'); }
    Json & endObject() { return close('}'); }
    Json & beginArray() { return open('['); }
    Json & endArray() { return close(']'); }
    /// The name of the next value.
    Json & key(std::string_view name);
    /// Bytes that are no UTF-8 become U+FFFD.
    Json & value(std::string_view text);
    Json & value(char const * text) { return value(std::string_view(text)); }
    Json & value(std::int64_t number);
    Json & value(bool truth);
    /// A number that is given as JSON writes it.
    Json & number(std::string_view text);
    Json & null();
    template <typename Value>
    Json & member(std::string_view name, Value const & content) {
        return key(name).value(content);
    }

    /// Prints what there is to standard output, with a line feed.
    void print() const;
    std::string const & text() const { return text_; }

  private:
    Json & open(char bracket);
    Json & close(char bracket);
    void separate();
    void quote(std::string_view text);

    std::string text_;
    bool isFirst_ = true;
};

} // namespace tool
