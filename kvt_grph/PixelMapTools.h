// What is done with whole pixel maps: other sizes, masks, and files in one call.
#pragma once

#include "kvt_grph/PixelMap.h"

/// Static functions on pixel maps.
class ONDREL_API PixelMapTools {
  public:
    /// A map of the source's format and palette in the new size, owned by the caller.
    static PixelMap * Resize(PixelMap const & source, long width, long height, bool fast);
    /// Fills `target` with the source in its size. Each pixel is the average of the area that it
    /// covers, exact but for a remainder that is dropped; alpha becomes 0. With `fast`, and in the
    /// same format, it is the pixel at its upper left corner. An empty source leaves the target.
    static void Resize(PixelMap const & source, PixelMap & target, bool fast);
    /// The colour between four pixels; u and v run from 0 at the first to 1 at the last column and
    /// row. Black for an empty map.
    static GFColor BilinearApproximation(PixelMap const & map, float u, float v);
    /// White where the map is not black; owned by the caller.
    static PixelMap * ConvertToMask(PixelMap const & map);

    /// An image file, or a pixel map in an object stream, plain or compressed; owned by the caller,
    /// null when it is none of these. Raises InvalidFileFormat_Exception for an image file that its
    /// codec cannot read.
    static PixelMap * LoadFromFile(char const * name);
    /// By the codec that the extension tells; false when there is none, or the file cannot be
    /// written.
    static bool SaveToFile(PixelMap const & map, char const * name);
    static bool SaveToFile(PixelMap const * map, char const * name);
};
