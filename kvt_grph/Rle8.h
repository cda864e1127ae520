// Runs of pixels of one byte, as bitmaps and movies of 256 colours have them: pairs of a count and
// a value; a count of 0 begins an escape: 0 ends a row, 1 the picture, 2 moves right and up by two
// bytes, and any other number is that of pixels that follow as they are, padded to an even number.
// Rows come from the bottom up.
#pragma once

#include "platform/Export.h"

#include <cstddef>
#include <vector>

namespace ondrel_detail {

/// Decodes into rows of `stride` bytes, the bottom one first; pixels that the data passes over
/// stay. What would lie outside of the picture is left out, and decoding ends where the data does.
ONDREL_API void decodeRle8(unsigned char const * data, std::size_t size, unsigned char * pixels,
                           int width, int height, int stride);
/// The whole picture as runs.
ONDREL_API void encodeRle8(unsigned char const * pixels, int width, int height, int stride,
                           std::vector<unsigned char> & data);

} // namespace ondrel_detail
