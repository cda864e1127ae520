#include "Address.h"

#include "Command.h"
#include "Json.h"

#include <cstdio>
#include <string_view>

namespace tool {

namespace {

constexpr std::string_view separators = "/\\";
constexpr std::string_view reserved = "/\\,%";

std::string encoded(GString const & text) {
    std::string result;
    for (std::string_view rest = text.c_str(); !rest.empty();) {
        std::size_t const length = sequenceLength(rest);
        auto const byte = static_cast<unsigned char>(rest.front());
        bool const isPlain = length > 1 || (length == 1 && byte > 0x20 && byte != 0x7F &&
                                            reserved.find(rest.front()) == reserved.npos);
        if (isPlain) {
            result += rest.substr(0, length);
        } else {
            char escape[4];
            std::snprintf(escape, sizeof escape, "%%%02X", unsigned{byte});
            result += escape;
        }
        rest.remove_prefix(isPlain ? length : 1);
    }
    return result;
}

int digit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

GString decoded(std::string_view text) {
    return GString(decodedAddress(text).c_str());
}

/// Appends what stands in front of the last separator, and takes it from `rest`.
void takePath(std::string_view & rest, GResourcePath & path) {
    for (std::size_t end; (end = rest.find_first_of(separators)) != rest.npos;) {
        path += decoded(rest.substr(0, end));
        rest.remove_prefix(end + 1);
    }
}

} // namespace

std::string decodedAddress(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        int const high = i + 2 < text.size() ? digit(text[i + 1]) : -1;
        int const low = i + 2 < text.size() ? digit(text[i + 2]) : -1;
        if (high < 0 || low < 0 || high + low == 0)
            throw Failure(WrongUsage, "a % in an address is followed by two hexadecimal digits");
        result += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return result;
}

std::string addressOf(GResourceFullName const & name) {
    std::string result;
    for (int i = 0; i < name.getCount(); ++i)
        result += encoded(name[i]) + '/';
    return result + encoded(name.name) + ',' + encoded(name.type);
}

bool isDirectoryAddress(std::string const & address) {
    return !address.empty() && separators.find(address.back()) != separators.npos;
}

GResourceFullName resourceAt(std::string const & address) {
    std::string_view rest = address;
    GResourceFullName name;
    takePath(rest, name);
    std::size_t const comma = rest.find(',');
    if (comma == rest.npos)
        throw Failure(WrongUsage, address + " is no address; write directory/name,type");
    name.name = decoded(rest.substr(0, comma));
    name.type = decoded(rest.substr(comma + 1));
    return name;
}

GResourcePath directoryAt(std::string const & address) {
    std::string_view rest = address;
    GResourcePath path;
    takePath(rest, path);
    if (!rest.empty())
        throw Failure(WrongUsage, address + " is no directory; it ends in /");
    return path;
}

} // namespace tool
