// There are no bitmaps, palettes or device contexts here.
#include "platform/Bitmaps.h"

namespace platform {

HPALETTE createPalette(PALETTEENTRY const *, int) {
    return nullptr;
}

void deletePalette(HPALETTE) {}

SystemPalette systemPalette() {
    return {};
}

BitmapSection createBitmapSection(BitmapHead const &) {
    return {};
}

HBITMAP createScreenBitmap(BitmapHead const &, unsigned char const *) {
    return nullptr;
}

void deleteBitmap(HBITMAP) {}

void stretchBitmap(HDC, RECT const &, HBITMAP, RECT const &) {}

} // namespace platform
