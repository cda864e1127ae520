// How a movie is to be compressed: the form of the frames that come in, and the compressor. Without
// the video interfaces of Windows there are two compressors, both of our own: none, and the runs of
// 256-colour frames.
#pragma once

#include "kvt_grph/PixelMap.h"
#include "platform/VideoTypes.h"

#include <vector>

/// The frames' form, the compressor, and its settings, as a value.
class ONDREL_API GAVICompressionOptions {
  public:
    /// Frames as they are.
    GAVICompressionOptions();

    /// The form of the frames; a palette is cut to 256 colours.
    void set_source_format(BITMAPINFOHEADER const * header);
    void set_source_format(HBITMAP bitmap);
    void set_source_format(PixelMap const & map);
    BITMAPINFOHEADER const & source_header() const { return source_.header; }
    /// The form that the compressor makes; its biCompression chooses the compressor: 0 none, 1
    /// runs, for frames of 256 colours. Null for none.
    void set_output_format(BITMAPINFO const * format);
    /// Whether frames are to be stored as runs.
    bool wants_runs() const;

    /// Take over and tell what a compressor is set to. Pointers that come out belong to the options
    /// and live as long as these are not changed.
    void set_options(COMPVARS const & options);
    void get_options(COMPVARS & options);
    void get_options(AVICOMPRESSOPTIONS & options);
    /// Lets the user choose; false where the system has no such dialog.
    bool choose_compressor(HWND window);

    friend ONDREL_API opstream & operator<<(opstream & out, GAVICompressionOptions const & options);
    friend ONDREL_API ipstream & operator>>(ipstream & in, GAVICompressionOptions & options);

  private:
    friend class GOutputAVIFile;

    /// A bitmap's head and 256 colours: 1064 bytes.
    struct SourceFormat {
        BITMAPINFOHEADER header;
        tagRGBQUAD colors[256];
    };
    static_assert(sizeof(SourceFormat) == 1064);

    SourceFormat source_ = {};
    COMPVARS compressor_ = {};          // its pointers are null: what they lead to stands below
    std::vector<unsigned char> output_; // a BITMAPINFO; empty for none
    std::vector<unsigned char> state_;  // of the compressor
};
