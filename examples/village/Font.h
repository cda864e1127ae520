// A small font of five by seven dots, for captions in pictures.
#pragma once

#include "ondrel.h"

namespace Village {

/// Draws capital letters, digits and a few signs; others are blanks, and small letters are drawn as
/// capitals. (x, y) is the left top corner; each character takes six columns.
void drawText(PixelMap & map, int x, int y, char const * text, RGB_Color color);

} // namespace Village
