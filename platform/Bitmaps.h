// Bitmaps, palettes and drawing of the system, where it has such. Where it has none, every handle
// comes out null and nothing is drawn: whoever asks falls back to memory of his own.
#pragma once

#include "platform/SystemTypes.h"

namespace platform {

/// A palette of `count` entries, owned by the caller. Null where the system has none or refuses.
HPALETTE createPalette(PALETTEENTRY const * entries, int count);
/// Null is allowed.
void deletePalette(HPALETTE palette);

/// The colours that the screen shows, of which the system keeps `reserved` for itself, half of them
/// at each end.
struct SystemPalette {
    bool onlyBlackAndWhiteKept = false; ///< a program gave up the other reserved colours
    int reserved = 0;                   ///< 0 where the system has no palette
    PALETTEENTRY entries[256] = {};
};
SystemPalette systemPalette();

/// The head of a bitmap with room for all its colours.
struct BitmapHead {
    BITMAPINFOHEADER header = {};
    tagRGBQUAD colors[256] = {};
};

/// A bitmap whose pixels the program sees, bottom row first, rows padded to four bytes. The caller
/// owns the bitmap and with it the pixels. Null in both where the system has none or refuses.
struct BitmapSection {
    HBITMAP bitmap = nullptr;
    unsigned char * pixels = nullptr;
};
BitmapSection createBitmapSection(BitmapHead const & head);
/// A bitmap of the screen's own form with these pixels, owned by the caller; null as above.
HBITMAP createScreenBitmap(BitmapHead const & head, unsigned char const * pixels);
/// Null is allowed.
void deleteBitmap(HBITMAP bitmap);
/// Copies the part `source` of a bitmap over `target`, scaled where the sizes differ.
void stretchBitmap(HDC context, RECT const & target, HBITMAP bitmap, RECT const & source);

} // namespace platform
