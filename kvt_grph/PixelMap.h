// The raster image in memory. Its rows have the layout of bitmap files and of the system's bitmaps,
// the bottom row first and padded to four bytes, while y counts from the top: a table of row
// addresses turns one into the other, so that a pixel is one load and one addition away.
//
// A map belongs to one thread. Every operation but those that end in _direct is clipped: what lies
// outside of the map is left out when written and 0 when read.
#pragma once

#include "foundation/GRect.h"
#include "foundation/GString.h"
#include "kvt_grph/AbstractImage.h"
#include "kvt_grph/Colors.h"
#include "kvt_grph/GPalette.h"

#include <memory>

class AbstractImageReaderWriter;

/// How files of pixel maps are read and written where only "an object" is known.
class ONDREL_API GObjectPixelMapFormat {
  public:
    virtual ~GObjectPixelMapFormat();
    /// False, with nothing written, when the object is no PixelMap.
    virtual bool write_object(char const * file, GStreamable * object) const;
    /// The image of the file, owned by the caller; null when no codec knows it.
    virtual GStreamable * read_object(char const * file) const;
    virtual GStreamable * read_object(ipstream & in) const;
    /// The class that the codec of the stream builds; empty when it names none.
    virtual GString read_object_class_name(ipstream & in) const;
};

/// A raster image with its drawing operations and its files.
class ONDREL_API PixelMap : public GStreamable, public AbstractImage {
    G_DECLARE_CREATABLE(PixelMap)
  public:
    using SavingFunction = void (PixelMap::*)(opstream &) const;

    /// All bytes start as 0. A size below 1, one that there is no memory for or that takes 2 GB or
    /// more with the table of rows, or FormatNone, makes an empty map that only knows its format.
    PixelMap(int width, int height, MapFormat format);
    PixelMap(int width, int height, MapFormat format, GPalette const * palette);
    PixelMap(PixelMap const & other);
    /// An image file in the given format: see load.
    PixelMap(char const * file, MapFormat format);
    PixelMap(ipstream & in, MapFormat format);
    /// Empty, for a following read.
    explicit PixelMap(StreamableInit);
    ~PixelMap() override;
    /// Puts the pixels of a map of the same size; of another size, nothing.
    PixelMap & operator=(PixelMap const & other);
    void copy(PixelMap const & other);
    /// A copy that belongs to the caller.
    PixelMap * clone() override;

    int get_width() const override { return width_; }
    int get_height() const override { return height_; }
    MapFormat get_format() const override { return format_; }
    GPalette const * get_palette() const override { return palette_.get(); }
    bool contains(int x, int y) const { return x >= 0 && y >= 0 && x < width_ && y < height_; }
    /// Bytes from one row to the next, and of all rows.
    int get_stride() const { return stride_; }
    long get_size() const { return size_; }
    bool is_plain_memory() const { return plainMemory_; }

    /// Drop the pixels and start with a blank buffer when anything changes; nothing is converted.
    /// A palette stays only with pixels in FormatIndex.
    void set_format(MapFormat format);
    void resize(int width, int height);
    /// Only for the format FormatIndex to the letter, with nothing added; otherwise, and for null,
    /// 0. With `remap` each pixel gets the index of the colour nearest to its present one.
    unsigned char set_palette(GPalette const * palette, unsigned char remap);

    /// The buffer, bottom row first, and row `y` in it; null outside. The caller may write.
    unsigned char * get_pixels_address();
    unsigned char * get_pixels_address(int y);
    unsigned char const * get_pixels_address() const { return pixels_; }
    unsigned char const * get_pixels_address(int y) const {
        return y >= 0 && y < height_ ? rows_[y] : nullptr;
    }
    /// To be called after writing through an address: forgets what was derived from the pixels.
    void image_modified() {
        if (bitmap_ && plainMemory_)
            dropBitmap();
    }

    /// Alpha is 0 where the format has none. An index without a palette is black.
    RGB_Color get_pixel(int x, int y) const;
    RGBA_Color get_rgba(int x, int y) const;
    /// 0 in other formats than FormatIndex.
    unsigned char get_index(int x, int y) const;
    /// A colour in FormatIndex becomes its nearest index; nothing happens without a palette.
    void set_pixel(int x, int y, RGBA_Color const & color);
    void set_pixel(int x, int y, RGB_Color const & color);
    /// Only in FormatIndex.
    void set_pixel(int x, int y, unsigned char index);
    /// Change the three colour bytes and leave alpha.
    void xor_pixel(int x, int y, RGBA_Color const & color);
    void xor_pixel(int x, int y, RGB_Color const & color);
    void xor_pixel(int x, int y, unsigned char index);

    // For inner loops: the pixel must lie in the map, and the map must have that format.
    void set_pixel_direct(int x, int y, RGB_Color const & color) { set_pixel(x, y, color); }
    void xor_pixel_direct(int x, int y, RGB_Color const & color) { xor_pixel(x, y, color); }
    void set_rgba_direct(int x, int y, RGBA_Color const & color) { rgba(x, y) = color; }
    void set_rgb_direct(int x, int y, RGB_Color const & color) { rgb(x, y) = color; }
    void set_index_direct(int x, int y, unsigned char index) { rows_[y][x] = index; }
    void xor_rgba_direct(int x, int y, RGBA_Color const & color) { rgba(x, y) ^= RGB_Color(color); }
    void xor_rgb_direct(int x, int y, RGB_Color const & color) { rgb(x, y) ^= color; }
    void xor_index_direct(int x, int y, unsigned char index) { rows_[y][x] ^= index; }
    RGBA_Color get_rgba_direct(int x, int y) const { return rgba(x, y); }
    RGB_Color get_rgb_direct(int x, int y) const { return rgb(x, y); }
    unsigned char get_index_direct(int x, int y) const { return rows_[y][x]; }

    /// Ends are inclusive and may come in any order. With `xorMode` colours are combined with what
    /// is there.
    void line(int x0, int y0, int x1, int y1, RGB_Color color, unsigned char xorMode);
    void hline(int x0, int y, int x1, RGB_Color color, unsigned char xorMode);
    void vline(int x, int y0, int y1, RGB_Color color, unsigned char xorMode);
    void bar(int x0, int y0, int x1, int y1, RGB_Color color, unsigned char xorMode);
    void fill_triangle(int x0, int y0, int x1, int y1, int x2, int y2, RGB_Color color,
                       unsigned char xorMode);
    /// The whole map; alpha becomes 255, where drawing makes it 0.
    void full_fill(RGB_Color color);

    /// `count` pixels of row `y` from column `x` on; those outside of the map come as 0.
    void get_hline(unsigned char * pixels, int x, int y, int count) const;
    void get_hline(RGB_Color * pixels, int x, int y, int count) const;
    void get_hline(RGBA_Color * pixels, int x, int y, int count) const;
    /// Indices go into FormatIndex only, and raw. `key` is a colour that is not written.
    void put_hline(unsigned char const * pixels, int x, int y, int count);
    void put_hline(RGB_Color const * pixels, int x, int y, int count);
    void put_hline(RGBA_Color const * pixels, int x, int y, int count);
    void put_hline(unsigned char const * pixels, int x, int y, int count, unsigned char key);
    void put_hline(RGB_Color const * pixels, int x, int y, int count, RGB_Color key);
    void put_hline(RGBA_Color const * pixels, int x, int y, int count, RGB_Color key);

    /// Puts a map, or a part of it cut to the map, so that its left top corner comes to (x, y). A
    /// map may be put into itself: what is put are the pixels before. Indices are put as they are,
    /// whatever the palettes, and only into FormatIndex. `key` is a colour that is left
    /// out; for indices, that of their slot in the palette of the source.
    void put_map(int x, int y, PixelMap const & source);
    void put_map(int x, int y, PixelMap const & source, GRect const & part);
    void put_map(int x, int y, PixelMap const & source, RGB_Color key);
    void put_map(int x, int y, PixelMap const & source, GRect const & part, RGB_Color key);

    /// A bitmap of the system with these pixels, owned by the map; null where there are none.
    operator HBITMAP() const;
    /// Draws the map, or a part of it, in a window of the system; nothing where there are none.
    void draw(HDC context, int x, int y) const;
    void draw(HDC context, int x, int y, GRect const & part) const;
    void stretch(HDC context, GRect const & target) const;
    void stretch(HDC context, GRect const & target, GRect const & part) const;

    // Image files. The map keeps its format, the file's pixels are converted to it.
    /// Throws FileIsAbsent_Exception or InvalidFileFormat_Exception.
    void load(char const * file);
    void load(ipstream & in);
    /// The extension of the name tells the kind of file; any that is not known makes a BMP.
    /// Throws nothing; a file that could not be written is left as far as it came.
    void save(char const * file) const;
    /// By the default saving function.
    void save(opstream & out) const;
    void saveBMP(opstream & out) const;
    /// Writes 256 colours when there are no more.
    void save_compressedBMP(opstream & out) const;
    static bool IsReadableFile(char const * file);
    static bool IsReadableFile(ipstream & in);
    static SavingFunction GetDefaultSavingFunction();
    static void SetDefaultSavingFunction(SavingFunction function);
    static GObjectPixelMapFormat & PixelMapFormat();

    /// As an object in a stream a map is its format and its palette; pixels travel in image files.
    /// `read` takes one byte more than `write` puts, so that whoever streams a map puts a byte
    /// behind it; within the frame of an object there is none.
    void read(ipstream & in) override;
    void write(opstream & out) override;

    void start_read(MapFormat format, int width, int height, GPalette const * palette) override;
    void set_color_line(int x, int y, int count, unsigned char * pixels) override;
    void get_color_line(int x, int y, int count, unsigned char * pixels) const override;
    bool has_room() const override { return pixels_ != nullptr; }

  private:
    RGBA_Color & rgba(int x, int y) const { return reinterpret_cast<RGBA_Color *>(rows_[y])[x]; }
    RGB_Color & rgb(int x, int y) const { return reinterpret_cast<RGB_Color *>(rows_[y])[x]; }
    MapFormat layout() const { return layoutOf(format_); }

    /// Null for the palette keeps the present one.
    void init(int width, int height, MapFormat format, GPalette const * palette);
    void done();
    bool makePixels();
    void freePixels();
    void dropBitmap();

    unsigned char * pixels_ = nullptr;
    std::unique_ptr<unsigned char *[]> rows_; // height_ of them, the top one first
    int width_ = 0;
    int height_ = 0;
    int stride_ = 0;
    long size_ = 0;
    MapFormat format_ = FormatNone;
    std::unique_ptr<GPalette> palette_;
    bool plainMemory_ = true; // pixels_ came from the heap, not with a bitmap of the system
    mutable HBITMAP bitmap_ = nullptr;
};
