#include "Json.h"

#include <cstdio>

namespace tool {

std::size_t sequenceLength(std::string_view text) {
    auto const at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned const first = at(0);
    if (first < 0x80)
        return 1;
    std::size_t const length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((at(i) & 0xC0) != 0x80)
            return 0;
    // Too long a form, a surrogate, or beyond the last character there is.
    bool const isWrong = (first == 0xE0 && at(1) < 0xA0) || (first == 0xED && at(1) >= 0xA0) ||
                         (first == 0xF0 && at(1) < 0x90) || (first == 0xF4 && at(1) >= 0x90);
    return isWrong ? 0 : length;
}

Json & Json::key(std::string_view name) {
    separate();
    quote(name);
    text_ += ": ";
    isFirst_ = true;
    return *this;
}

Json & Json::value(std::string_view text) {
    separate();
    quote(text);
    return *this;
}

Json & Json::value(std::int64_t number) {
    separate();
    text_ += std::to_string(number);
    return *this;
}

Json & Json::value(bool truth) {
    separate();
    text_ += truth ? "true" : "false";
    return *this;
}

Json & Json::number(std::string_view text) {
    separate();
    text_ += text;
    return *this;
}

Json & Json::null() {
    separate();
    text_ += "null";
    return *this;
}

void Json::print() const {
    std::fwrite(text_.data(), 1, text_.size(), stdout);
    std::putchar('\n');
}

Json & Json::open(char bracket) {
    separate();
    text_ += bracket;
    isFirst_ = true;
    return *this;
}

Json & Json::close(char bracket) {
    text_ += bracket;
    isFirst_ = false;
    return *this;
}

/// In front of every value and every key.
void Json::separate() {
    if (!isFirst_)
        text_ += ", ";
    isFirst_ = false;
}

void Json::quote(std::string_view text) {
    text_ += '"';
    while (!text.empty()) {
        std::size_t const length = sequenceLength(text);
        char const first = text.front();
        if (length == 0) {
            text_ += "\\ufffd";
        } else if (length == 1 && static_cast<unsigned char>(first) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(first));
            text_ += escape;
        } else {
            if (first == '"' || first == '\\')
                text_ += '\\';
            text_ += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    text_ += '"';
}

} // namespace tool
