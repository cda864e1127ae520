// The records of the system's video interfaces that interfaces of the library mention. On Windows
// they agree with the system's own; elsewhere these are the only ones.
#pragma once

#include "platform/SystemTypes.h"

#if !defined(_WIN32) || !defined(_INC_VFW)
/// What a program and a compressor agree on. A file holds it as sixteen words of 32 bits.
struct COMPVARS {
    long cbSize;
    unsigned long dwFlags;
    HANDLE hic;
    unsigned long fccType;    ///< "vidc"
    unsigned long fccHandler; ///< the four characters of the compressor
    BITMAPINFO * lpbiIn;
    BITMAPINFO * lpbiOut;
    void * lpBitsOut;
    void * lpBitsPrev;
    long lFrame;
    long lKey;      ///< frames from one key frame to the next
    long lDataRate; ///< thousands of bytes per second
    long lQ;        ///< quality, 0 to 10000
    long lKeyCount;
    void * lpState;
    long cbState; ///< bytes at lpState
};
/// The settings of a compressor, as a movie file has them.
struct AVICOMPRESSOPTIONS {
    unsigned long fccType;
    unsigned long fccHandler;
    unsigned long dwKeyFrameEvery;
    unsigned long dwQuality;
    unsigned long dwBytesPerSecond;
    unsigned long dwFlags;
    void * lpFormat;
    unsigned long cbFormat;
    void * lpParms;
    unsigned long cbParms;
    unsigned long dwInterleaveEvery;
};
#endif
