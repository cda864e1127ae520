// The life of a map, its palette, single pixels, and what the system draws of it.
#include "kvt_grph/PixelMap.h"

#include "foundation/GMetaClass.h"
#include "persistence/PStreamExceptions.h"
#include "persistence/pstream.h"
#include "platform/Bitmaps.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

G_DEFINE_CREATABLE(PixelMap, "PixelMap", GStreamable)

namespace {

constexpr unsigned char version = 3;
constexpr unsigned char bitmapFile = 0x42; // "B": older files held a whole BMP in this place

constexpr std::int64_t mostBytes = std::numeric_limits<std::int32_t>::max();

/// The head of a bitmap of the system for such a map. Indices without a palette are greys.
platform::BitmapHead headOf(PixelMap const & map) {
    platform::BitmapHead head;
    head.header.biSize = sizeof head.header;
    head.header.biWidth = map.get_width();
    head.header.biHeight = map.get_height();
    head.header.biPlanes = 1;
    head.header.biBitCount =
        static_cast<std::uint16_t>(8 * AbstractImage::bytesPerPixel(map.get_format()));
    if (AbstractImage::layoutOf(map.get_format()) != AbstractImage::FormatIndex)
        return head;
    for (int i = 0; i < 256; ++i) {
        auto const slot = static_cast<unsigned char>(i);
        head.colors[i] = map.get_palette() ? (*map.get_palette())[slot].rgbquad()
                                           : RGB_Color(slot, slot, slot).rgbquad();
    }
    return head;
}

} // namespace

PixelMap::PixelMap(int width, int height, MapFormat format) {
    init(width, height, format, nullptr);
}

PixelMap::PixelMap(int width, int height, MapFormat format, GPalette const * palette) {
    init(width, height, format, palette);
}

PixelMap::PixelMap(PixelMap const & other) : GStreamable(other), AbstractImage(other) {
    init(other.width_, other.height_, other.format_, other.palette_.get());
    put_map(0, 0, other);
}

PixelMap::PixelMap(StreamableInit init) : GStreamable(init) {}

PixelMap::~PixelMap() {
    done();
}

PixelMap & PixelMap::operator=(PixelMap const & other) {
    copy(other);
    return *this;
}

void PixelMap::copy(PixelMap const & other) {
    if (&other != this && width_ == other.width_ && height_ == other.height_)
        put_map(0, 0, other);
}

PixelMap * PixelMap::clone() {
    return new PixelMap(*this);
}

void PixelMap::set_format(MapFormat format) {
    init(width_, height_, format, nullptr);
}

void PixelMap::resize(int width, int height) {
    init(width, height, format_, nullptr);
}

void PixelMap::start_read(MapFormat, int width, int height, GPalette const * palette) {
    init(width, height, format_, palette);
}

void PixelMap::init(int width, int height, MapFormat format, GPalette const * palette) {
    bool const same = width == width_ && height == height_ && format == format_;
    std::unique_ptr<GPalette> kept;
    if (!palette || palette == palette_.get()) {
        kept = std::move(palette_);
        palette = kept.get();
    }
    if (same && (plainMemory_ || layout() != FormatIndex)) {
        set_palette(palette, 0);
        return;
    }
    // The palette may be that of another map, but not one that goes with the own pixels.
    done();
    format_ = format;
    if (width < 1 || height < 1 || layout() == FormatNone)
        return;
    std::int64_t const stride =
        (std::int64_t(width) * bytesPerPixel(format) + 3) & ~std::int64_t(3);
    auto const rowWithAddress = stride + static_cast<std::int64_t>(sizeof(unsigned char *));
    if (height > mostBytes / rowWithAddress)
        return;
    set_palette(palette, 0);
    width_ = width;
    height_ = height;
    stride_ = static_cast<int>(stride);
    size_ = static_cast<long>(stride * height);
    if (!makePixels()) {
        done();
        format_ = format;
    }
}

/// Makes pixels of the present size, all 0; false when there is no memory for them.
bool PixelMap::makePixels() {
    if (!(format_ & FormatPlainMemory)) {
        platform::BitmapSection const section = platform::createBitmapSection(headOf(*this));
        if (section.pixels) {
            bitmap_ = section.bitmap;
            pixels_ = section.pixels;
            plainMemory_ = false;
        }
    }
    if (!pixels_) {
        plainMemory_ = true;
        pixels_ = static_cast<unsigned char *>(std::calloc(static_cast<std::size_t>(size_), 1));
    }
    if (!rows_)
        rows_.reset(new (std::nothrow) unsigned char *[static_cast<std::size_t>(height_)]);
    if (!pixels_ || !rows_)
        return false;
    unsigned char * row = pixels_;
    for (int y = height_ - 1; y >= 0; --y, row += stride_)
        rows_[static_cast<std::size_t>(y)] = row;
    return true;
}

void PixelMap::freePixels() {
    dropBitmap();
    if (plainMemory_)
        std::free(pixels_);
    pixels_ = nullptr;
    plainMemory_ = true;
}

void PixelMap::done() {
    freePixels();
    rows_.reset();
    palette_.reset();
    width_ = height_ = stride_ = 0;
    size_ = 0;
    format_ = FormatNone;
}

void PixelMap::dropBitmap() {
    platform::deleteBitmap(bitmap_);
    bitmap_ = nullptr;
}

unsigned char PixelMap::set_palette(GPalette const * palette, unsigned char remap) {
    if (format_ != FormatIndex || !palette)
        return 0;
    if (GPalette::CompareRGB(palette, palette_.get()))
        return 1;
    unsigned char table[256];
    if (remap && pixels_)
        GPalette::ConstructDecodeTable(palette, palette_.get(), table);
    palette_ = std::make_unique<GPalette>(*palette);
    if (!pixels_)
        return 1;
    if (!plainMemory_) {
        // The colours of a bitmap that the system draws from are those it was made with.
        std::vector<unsigned char> const former(pixels_, pixels_ + size_);
        freePixels();
        if (!makePixels()) {
            done();
            format_ = FormatIndex;
            return 1;
        }
        std::memcpy(pixels_, former.data(), former.size());
    }
    if (remap)
        for (long i = 0; i < size_; ++i)
            pixels_[i] = table[pixels_[i]];
    image_modified();
    return 1;
}

unsigned char * PixelMap::get_pixels_address() {
    image_modified();
    return pixels_;
}

unsigned char * PixelMap::get_pixels_address(int y) {
    image_modified();
    return y >= 0 && y < height_ ? rows_[static_cast<std::size_t>(y)] : nullptr;
}

// Single pixels.

RGB_Color PixelMap::get_pixel(int x, int y) const {
    return RGB_Color(get_rgba(x, y));
}

RGBA_Color PixelMap::get_rgba(int x, int y) const {
    if (!contains(x, y))
        return RGBA_Color();
    switch (layout()) {
        case FormatRGBAlpha:
            return get_rgba_direct(x, y);
        case FormatRGB:
            return get_rgb_direct(x, y);
        default:
            return palette_ ? (*palette_)[get_index_direct(x, y)] : RGB_Color();
    }
}

unsigned char PixelMap::get_index(int x, int y) const {
    return layout() == FormatIndex && contains(x, y) ? get_index_direct(x, y) : 0;
}

void PixelMap::set_pixel(int x, int y, RGBA_Color const & color) {
    if (layout() != FormatRGBAlpha) {
        set_pixel(x, y, RGB_Color(color));
        return;
    }
    if (!contains(x, y))
        return;
    set_rgba_direct(x, y, color);
    image_modified();
}

void PixelMap::set_pixel(int x, int y, RGB_Color const & color) {
    if (!contains(x, y))
        return;
    switch (layout()) {
        case FormatRGBAlpha:
            set_rgba_direct(x, y, color);
            break;
        case FormatRGB:
            set_rgb_direct(x, y, color);
            break;
        default:
            if (palette_)
                set_index_direct(x, y, palette_->get_index(color));
            break;
    }
    image_modified();
}

void PixelMap::set_pixel(int x, int y, unsigned char index) {
    if (layout() != FormatIndex || !contains(x, y))
        return;
    set_index_direct(x, y, index);
    image_modified();
}

void PixelMap::xor_pixel(int x, int y, RGBA_Color const & color) {
    xor_pixel(x, y, RGB_Color(color));
}

void PixelMap::xor_pixel(int x, int y, RGB_Color const & color) {
    if (!contains(x, y))
        return;
    switch (layout()) {
        case FormatRGBAlpha:
            xor_rgba_direct(x, y, color);
            break;
        case FormatRGB:
            xor_rgb_direct(x, y, color);
            break;
        default:
            if (palette_)
                xor_index_direct(x, y, palette_->get_index(color));
            break;
    }
    image_modified();
}

void PixelMap::xor_pixel(int x, int y, unsigned char index) {
    if (layout() != FormatIndex || !contains(x, y))
        return;
    xor_index_direct(x, y, index);
    image_modified();
}

// What the system draws.

PixelMap::operator HBITMAP() const {
    bool const drawable = size_ > 0 && (layout() != FormatIndex || palette_);
    if (!bitmap_ && drawable)
        bitmap_ = platform::createScreenBitmap(headOf(*this), pixels_);
    return bitmap_;
}

void PixelMap::draw(HDC context, int x, int y) const {
    draw(context, x, y, GRect(0, 0, width_, height_));
}

void PixelMap::draw(HDC context, int x, int y, GRect const & part) const {
    stretch(context, GRect(x, y, part.w, part.h), part);
}

void PixelMap::stretch(HDC context, GRect const & target) const {
    stretch(context, target, GRect(0, 0, width_, height_));
}

void PixelMap::stretch(HDC context, GRect const & target, GRect const & part) const {
    if (HBITMAP const bitmap = *this)
        platform::stretchBitmap(context, target, bitmap, part);
}

// The description of a map in a stream.

void PixelMap::write(opstream & out) {
    out.writeByte(version);
    out.writeByte(static_cast<unsigned char>(format_));
    out.writePointer(palette_.get());
}

void PixelMap::read(ipstream & in) {
    unsigned char const found = in.readByte();
    if (found == bitmapFile)
        throw OldVersionOfClass_Exception(found, typeid(PixelMap));
    done();
    format_ = in.readByte();
    if (found < 2)
        format_ = layoutOf(format_) == 2 ? FormatIndex : FormatRGB;
    if (found >= 3) {
        auto * const palette = in.readPointer<GPalette>();
        // One that came before belongs to somebody else.
        if (palette && in.lastPointerMarker() == ipstream::KnownObject)
            palette_ = std::make_unique<GPalette>(*palette);
        else
            palette_.reset(palette);
    }
    // The form ends with a byte that the writer leaves to whoever streams the map.
    if (found != 0)
        in.readByte();
}
