// The records and handles of the operating system that interfaces of the library mention.
// They are declared here so that no public header has to include a system header. On Windows each
// declaration agrees with the system's own, so that both may meet in one source file; elsewhere
// these are the only ones, with the same field names and, where files hold them, the same widths.
#pragma once

#include <cstdint>

using HANDLE = void *;
using HINSTANCE = struct HINSTANCE__ *;
using HBITMAP = struct HBITMAP__ *;
using HDC = struct HDC__ *;
using HRGN = struct HRGN__ *;
using HPALETTE = struct HPALETTE__ *;
using HWND = struct HWND__ *;

#if defined(_WIN32)
using COLORREF = unsigned long;
#else
using COLORREF = std::uint32_t;
#endif

#if !defined(_WIN32) || !defined(_WINDEF_)
/// The system's rectangle; right and bottom are exclusive.
struct tagRECT {
    long left, top, right, bottom;
};
/// The system's point.
struct tagPOINT {
    long x, y;
};
/// The system's size.
struct tagSIZE {
    long cx, cy;
};
#endif
using RECT = tagRECT;
using POINT = tagPOINT;
using SIZE = tagSIZE;

#if !defined(_WIN32) || !defined(_WINGDI_)
/// A colour of a palette, red first, with its flags.
struct tagPALETTEENTRY {
    unsigned char peRed, peGreen, peBlue, peFlags;
};
/// A colour of a bitmap's table, blue first.
struct tagRGBQUAD {
    unsigned char rgbBlue, rgbGreen, rgbRed, rgbReserved;
};
/// A pixel of 24 bits, blue first.
struct tagRGBTRIPLE {
    unsigned char rgbtBlue, rgbtGreen, rgbtRed;
};
/// The 40 bytes that tell the form of a bitmap.
struct tagBITMAPINFOHEADER {
    std::uint32_t biSize;
    std::int32_t biWidth, biHeight;
    std::uint16_t biPlanes, biBitCount;
    std::uint32_t biCompression, biSizeImage;
    std::int32_t biXPelsPerMeter, biYPelsPerMeter;
    std::uint32_t biClrUsed, biClrImportant;
};
/// The head of a bitmap and the first of its colours.
struct tagBITMAPINFO {
    tagBITMAPINFOHEADER bmiHeader;
    tagRGBQUAD bmiColors[1];
};
#endif
using PALETTEENTRY = tagPALETTEENTRY;
using BITMAPINFOHEADER = tagBITMAPINFOHEADER;
using BITMAPINFO = tagBITMAPINFO;

#if !defined(_WIN32) || (!defined(D3DVECTOR_DEFINED) && !defined(_D3DTYPES_H_))
#define D3DVECTOR_DEFINED
#define D3DMATRIX_DEFINED
/// A vector of space.
struct _D3DVECTOR {
    float x, y, z;
};
/// A matrix of space, row by row.
struct _D3DMATRIX {
    float m[4][4];
};
#endif
