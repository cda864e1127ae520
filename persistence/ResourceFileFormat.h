// What a resource file looks like from outside, shared by those who read and write one. All numbers
// are little-endian, and every position in a section counts from the section's base.
#pragma once

#include "platform/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>

class ipstream;
class opstream;

namespace resource_file {

/// The first blocks lie behind the magic and one more word.
constexpr long headerSize = 8;
/// That word, when directories are found by their trailers. In the old format it is the position of
/// the one directory there is.
constexpr std::uint32_t currentFormat = 0xFFFFFFFF;
/// Positions are 31 bits wide.
constexpr long greatestPosition = 0x7FFFFFFF;
constexpr long trailerSize = 24;
constexpr long pieceSize = 16384;

/// The end of every trailer, and what a search for trailers looks for.
constexpr std::array<unsigned char, 16> signature = {
    0x4F, 0x62, 0x6A, 0xBF, 0x08, 0xB4, 0x52, 0x65, 0x73, 0x6F, 0x75, 0x72, 0x63, 0x65, 0x73, 0x00};

/// Reflected, beginning with all ones and inverted in the end.
ONDREL_API std::uint32_t crc32(unsigned char const * data, std::size_t size);

using Trailer = std::array<unsigned char, trailerSize>;
ONDREL_API Trailer makeTrailer(std::uint32_t directory);
/// `trailer` has the bytes of one; false when the check sum is wrong.
ONDREL_API bool readTrailer(unsigned char const * trailer, std::uint32_t & directory);

ONDREL_API void writeMagic(opstream & out);
/// From where the stream stands, steps over an executable and foreign chunks to where a section is
/// or may begin; -1 when the file is something else. `found` tells whether there is one.
ONDREL_API long findBase(ipstream & in, bool & found);
/// -1 when the stream cannot tell. The position changes.
ONDREL_API long sizeOf(ipstream & in);
/// The end of the last whole trailer that ends at or before `end`, both counted from `base`; -1
/// when there is none.
ONDREL_API long findTrailer(ipstream & in, long base, long end, std::uint32_t & directory);

} // namespace resource_file
