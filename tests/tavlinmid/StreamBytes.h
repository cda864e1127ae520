// What tests of streamed forms share: bytes written out by hand, and loads that are meant to fail.
#pragma once

#include "diagnostics/GEmergencyLog.h"
#include "diagnostics/TavlinError.h"
#include "persistence/PStreamExceptions.h"
#include "persistence/mpstream.h"
#include "tavlinbase/AUnknown.h"
#include "tavlinbase/RefCounter.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace Tavlin {

/// Bytes from hexadecimal digits; blanks are for the eye.
inline std::string hex(char const * digits) {
    std::string bytes;
    for (char const * at = digits; *at; ++at) {
        if (*at == ' ')
            continue;
        bytes += static_cast<char>(std::stoi(std::string(at, 2), nullptr, 16));
        ++at;
    }
    return bytes;
}

/// The digits again, for messages that can be read.
inline std::string digits(std::string const & bytes) {
    std::string text;
    for (char const c : bytes) {
        char piece[4];
        std::snprintf(piece, sizeof piece, "%02X ", static_cast<unsigned char>(c));
        text += piece;
    }
    return text;
}

inline std::string number(std::size_t value, int width) {
    std::string bytes;
    for (int i = 0; i < width; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

inline std::string text(std::string const & characters) {
    return number(characters.size(), 2) + characters;
}

/// A name by its text.
inline std::string name(std::string const & characters) {
    return hex("00 01 00 00 00") + text(characters);
}

/// A reference to an object that has not been in the stream yet.
inline std::string object(std::string const & className, std::string const & body) {
    std::string const frame = hex("B1 B5 0F CF") + text(className) + body + hex("EF 80 4A 29");
    return hex("02") + frame + number(frame.size(), 4) + text(className);
}

inline std::string integer(std::int32_t value) {
    return hex("00 00 00 00 00") + number(static_cast<std::uint32_t>(value), 4);
}

/// A node of the typed tree without a name: its version, no interfaces, the null name, no private
/// table, no owner.
inline std::string const emptyNode = hex("02  02 00 00 00 00  00 00 00 00 00 00  00 00 00 00 00"
                                         "  01 00");

/// What `object.write` gives.
template <class T>
std::string written(T & object) {
    ompstream out;
    object.write(out);
    long const size = out.size();
    return std::string(static_cast<char const *>(out.data()), static_cast<std::size_t>(size));
}

/// Reads `bytes` by `object.read`; true when they were all taken and no more was wanted.
template <class T>
bool readInto(T & object, std::string bytes) {
    impstream in(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode);
    object.read(in);
    return in.good() && in.tellg() == static_cast<long>(bytes.size());
}

/// How `object.read` refuses the version in `bytes`, as the log has it: "unit(line): text".
template <class T>
std::string versionError(T & object, std::string const & bytes) {
    auto const file = testing::TempDir() + "version_error_" + std::to_string(getpid());
    GEmergencyLog & log = GEmergencyLog::Get();
    log.setFile(file.c_str());
    log.enable(true);
    std::string told = "no error";
    try {
        readInto(object, bytes);
    } catch (XStrVer const &) {
        std::istringstream section(log.lastSection());
        std::string text;
        std::getline(section, told); // the tag
        std::getline(section, told);
        std::getline(section, text);
        told += ": " + text;
    }
    log.enable(false);
    log.close_session();
    log.setFile("");
    log.clearLastSection(); // a crash later on would take it for its reason
    std::filesystem::remove(file);
    return told;
}

/// Reads a reference that is meant to be refused, as a careful host does: what the load leaves
/// behind is ended. Returns the text of the exception, "" when there was none.
inline std::string refusal(std::string bytes) {
    impstream in(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode);
    FinalReleasePause const pause;
    try {
        RefCounterRead(in, nullptr);
        return "";
    } catch (InvalidPStream_Exception const & exception) {
        for (long i = 0; i < in.getObjectCount(); ++i) {
            auto * const left = gcast<RefCounter>(in.getObject(i));
            if (left && left->getReferenceCount() == 0)
                left->onFinalRelease();
        }
        return exception.getMessage().c_str();
    }
}

} // namespace Tavlin
