// UTF-16 to UTF-8.
#include "platform/WideText.h"

#include <cstdint>

namespace platform {

namespace {

bool isLead(std::uint32_t unit) {
    return (unit & 0xFC00) == 0xD800;
}

bool isTrail(std::uint32_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

void append(std::string & text, std::uint32_t code) {
    auto const tail = [&](int shift) {
        text += static_cast<char>(0x80 | ((code >> shift) & 0x3F));
    };
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0 | (code >> 6));
        tail(0);
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0 | (code >> 12));
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xF0 | (code >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

} // namespace

std::string narrowText(unsigned short const * text) {
    std::string result;
    for (; text && *text; ++text) {
        std::uint32_t code = *text;
        if (isLead(code) && isTrail(text[1]))
            code = 0x10000 + ((code & 0x3FF) << 10) + (*++text & 0x3FFu);
        else if (isLead(code) || isTrail(code))
            code = 0xFFFD;
        append(result, code);
    }
    return result;
}

} // namespace platform
