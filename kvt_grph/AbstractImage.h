// The interface through which image files fill or read any image, line by line: a pixel map takes
// the pixels, a palette only the colours. Lines travel in the image's own layout; whoever moves
// them between layouts converts them (kvt_grph/ImageHelpers.h).
#pragma once

#include "platform/Export.h"

class GPalette;

/// What image files fill and read, line by line: the base of pixel maps and palettes.
class ONDREL_API AbstractImage {
  public:
    /// The low two bits tell the layout of the pixels, which is what `layoutOf` returns; bit 2 is a
    /// wish about where they are kept.
    using MapFormat = int;
    enum : MapFormat {
        FormatNone = 0,       ///< no pixels
        FormatIndex = 1,      ///< a byte per pixel, an index into a palette
        FormatRGB = 2,        ///< three bytes per pixel: blue, green, red (RGB_Color)
        FormatRGBAlpha = 3,   ///< four bytes per pixel: blue, green, red, alpha (RGBA_Color)
        FormatPlainMemory = 4 ///< added to the others: never in memory that the system draws from
    };
    static constexpr MapFormat layoutOf(MapFormat format) { return format & 3; }
    /// 0 for FormatNone.
    static constexpr int bytesPerPixel(MapFormat format) {
        constexpr int bytes[4] = {0, 1, 3, 4};
        return bytes[layoutOf(format)];
    }

    virtual ~AbstractImage();
    /// Announces an image of this size that will come in lines of the layout get_format tells
    /// afterwards, which need not be the announced one. A null palette keeps the present one.
    virtual void start_read(MapFormat format, int width, int height, GPalette const * palette) = 0;
    virtual void stop_read();
    virtual void start_write() const;
    virtual void stop_write() const;
    virtual int get_width() const = 0;
    virtual int get_height() const = 0;
    virtual MapFormat get_format() const = 0;
    /// Owned by the image; null when it has none.
    virtual GPalette const * get_palette() const = 0;
    /// Moves `count` pixels from column `x` of row `y`, rows counted from the top, between the
    /// image and `pixels`, without conversion. What lies outside of the image is left out.
    virtual void set_color_line(int x, int y, int count, unsigned char * pixels) = 0;
    virtual void get_color_line(int x, int y, int count, unsigned char * pixels) const = 0;
    /// Whether there is room for what start_read announced. Where there is none, the file counts as
    /// not readable.
    virtual bool has_room() const;
};
