// Between a codec and an image: they move lines and convert them when the layouts, or the palettes
// of two index layouts, differ. A helper can stand for a window of the file only.
#pragma once

#include "foundation/GPoint.h"
#include "kvt_grph/AbstractImage.h"

#include <memory>

class PixelMap;
struct RGBA_Color;

/// What both directions have in common: the layouts of file and image, and the window.
class ONDREL_API ImageDecodingHelper {
  public:
    ImageDecodingHelper(ImageDecodingHelper const &) = delete;
    ImageDecodingHelper & operator=(ImageDecodingHelper const &) = delete;
    /// The left top corner of the window in the file, and its size.
    GPoint const & origin() const { return origin_; }
    GPoint const & size() const { return size_; }

  protected:
    using MapFormat = AbstractImage::MapFormat;
    /// Converts `count` pixels.
    using Conversion = void (ImageDecodingHelper::*)(int count, unsigned char const * source,
                                                     unsigned char * target) const;

    ImageDecodingHelper(int width, int height, GPoint origin, GPoint size);
    ~ImageDecodingHelper();
    void prepare_convert(MapFormat sourceFormat, GPalette const * sourcePalette,
                         MapFormat targetFormat, GPalette const * targetPalette);
    void convert_RGB_to_Index(int count, unsigned char const * source,
                              unsigned char * target) const;
    void convert_RGBAlpha_to_Index(int count, unsigned char const * source,
                                   unsigned char * target) const;
    void convert_Index_to_RGB(int count, unsigned char const * source,
                              unsigned char * target) const;
    void convert_RGBAlpha_to_RGB(int count, unsigned char const * source,
                                 unsigned char * target) const;
    void convert_Index_to_RGBAlpha(int count, unsigned char const * source,
                                   unsigned char * target) const;
    void convert_RGB_to_RGBAlpha(int count, unsigned char const * source,
                                 unsigned char * target) const;
    void convert_Index_to_Index(int count, unsigned char const * source,
                                unsigned char * target) const;
    /// The image when its rows may be accessed without asking it for lines, in a file whose rows
    /// are `width` pixels long; else null.
    PixelMap const * plainMap(AbstractImage const & image, int width) const;
    /// The scratch line, for at least `count` pixels of the layout.
    unsigned char * lineBuffer(int count, MapFormat layout);

    GPoint origin_, size_;
    Conversion convert_ = nullptr;                 // null when nothing is to be converted
    GPalette const * palette_ = nullptr;           // that the conversion uses
    std::unique_ptr<unsigned char[]> decodeTable_; // from index to index
    std::unique_ptr<RGBA_Color[]> colors_;         // of the source's indices
    MapFormat sourceLayout_ = 0;
    MapFormat targetLayout_ = 0;
    std::unique_ptr<unsigned char[]> lineBuffer_;
    int lineCapacity_ = 0; // pixels
};

/// From a file into an image, which is told to start with the construction and to stop with the end
/// of the helper. The image and the palette must outlive it.
class ONDREL_API ImageReadHelper : public ImageDecodingHelper {
  public:
    ImageReadHelper(AbstractImage & image, MapFormat fileFormat, int width, int height,
                    GPalette const * palette);
    /// Only a window of the file; a negative size means all of it.
    ImageReadHelper(AbstractImage & image, MapFormat fileFormat, int width, int height,
                    GPalette const * palette, GPoint origin, GPoint size);
    ~ImageReadHelper();
    /// Whether the image can take the lines; false when it has no room for the window.
    bool ready() const;
    /// Takes `count` pixels in the layout of the file; (x, y) counts in the file. What lies outside
    /// of the window is left out.
    void set_line(int x, int y, int count, unsigned char * pixels);
    /// Where set_line would copy the `width` pixels of row `y` of the file, for callers that read
    /// them there themselves. Null when it would do more, or less, than copy them.
    unsigned char * row_address(int y, int width);

  private:
    void init(MapFormat fileFormat, GPalette const * palette);
    AbstractImage & image_;
};

/// From an image into a file.
class ONDREL_API ImageWriteHelper : public ImageDecodingHelper {
  public:
    ImageWriteHelper(AbstractImage const & image, MapFormat fileFormat, int width, int height,
                     GPalette const * palette);
    ImageWriteHelper(AbstractImage const & image, MapFormat fileFormat, int width, int height,
                     GPalette const * palette, GPoint origin, GPoint size);
    ~ImageWriteHelper();
    /// Fetches `count` pixels in the layout of the file; (x, y) counts in the file. Those outside
    /// of the window are left as they are.
    void get_line(int x, int y, int count, unsigned char * pixels);
    /// The `width` pixels of row `y` of the file as they stand in the image. Null when get_line
    /// would do more, or less, than copy them.
    unsigned char const * row_address(int y, int width) const;

  private:
    void init(MapFormat fileFormat, GPalette const * palette);
    AbstractImage const & image_;
};
