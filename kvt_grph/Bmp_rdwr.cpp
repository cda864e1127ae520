// A file is a 14-byte file header, a 40-byte information header, the palette in four bytes per
// colour, and rows from the bottom to the top, each padded to four bytes. What lies between the
// palette and the first row is skipped.
#include "kvt_grph/Bmp_rdwr.h"

#include "kvt_grph/ColorCollection.h"
#include "kvt_grph/ImageFileBytes.h"
#include "kvt_grph/ImageHelpers.h"

#include <array>
#include <climits>

G_DEFINE_CREATABLE(BMPReaderWriter, "BMPReaderWriter", AbstractImageReaderWriter)

using namespace ondrel_detail;

namespace {

using MapFormat = AbstractImage::MapFormat;

constexpr unsigned magic = 0x4D42; // "BM"
constexpr std::uint32_t infoSize = 40;
constexpr std::uint32_t headersSize = 14 + infoSize;

/// Both headers, as far as they say anything.
struct BmpHead {
    unsigned type = magic;
    std::uint32_t fileSize = headersSize;
    std::uint32_t pixelsAt = headersSize; // from the start of the file
    std::uint32_t size = infoSize;
    std::int32_t width = 0;
    std::int32_t height = 0;
    unsigned planes = 1;
    unsigned bits = 24; // per pixel
    std::uint32_t compression = 0;
    std::uint32_t codedSize = 0;
    std::uint32_t colors = 0; // in the palette; 0 means all that the bits allow

    bool read(ipstream & in);
    bool write(opstream & out) const;

    bool hasPalette() const { return bits == 1 || bits == 4 || bits == 8; }
    std::uint32_t paletteSize() const {
        return !hasPalette() ? 0 : colors ? colors : std::uint32_t{1} << bits;
    }
    bool isReadable() const {
        return width >= 1 && height >= 1 && (hasPalette() || bits == 24) && paletteSize() <= 256 &&
               pixelsAt >= headersSize + 4 * paletteSize();
    }
    std::int64_t stride() const { return (std::int64_t{width} * bits + 31) / 32 * 4; }
    bool isPadded() const { return stride() * 8 != std::int64_t{width} * bits; }
    /// Completes the sizes; false when the format cannot tell them.
    bool computeSizes() {
        pixelsAt = headersSize + 4 * colors;
        if (width < 0 || height < 0 || stride() > 0x7FFFFFFF ||
            (height > 0 && stride() > (0xFFFFFFFF - std::int64_t{pixelsAt}) / height))
            return false;
        fileSize = static_cast<std::uint32_t>(pixelsAt + stride() * height);
        return true;
    }
};

bool BmpHead::read(ipstream & in) {
    unsigned char bytes[headersSize];
    if (in.readBytes(bytes, sizeof bytes) < static_cast<long>(sizeof bytes))
        return false;
    type = readLittle16(bytes);
    fileSize = readLittle32(bytes + 2);
    pixelsAt = readLittle32(bytes + 10);
    size = readLittle32(bytes + 14);
    width = static_cast<std::int32_t>(readLittle32(bytes + 18));
    height = static_cast<std::int32_t>(readLittle32(bytes + 22));
    planes = readLittle16(bytes + 26);
    bits = readLittle16(bytes + 28);
    compression = readLittle32(bytes + 30);
    codedSize = readLittle32(bytes + 34);
    colors = readLittle32(bytes + 46);
    return type == magic && size == infoSize;
}

bool BmpHead::write(opstream & out) const {
    unsigned char bytes[headersSize] = {};
    writeLittle16(bytes, type);
    writeLittle32(bytes + 2, fileSize);
    writeLittle32(bytes + 10, pixelsAt);
    writeLittle32(bytes + 14, size);
    writeLittle32(bytes + 18, static_cast<std::uint32_t>(width));
    writeLittle32(bytes + 22, static_cast<std::uint32_t>(height));
    writeLittle16(bytes + 26, planes);
    writeLittle16(bytes + 28, bits);
    writeLittle32(bytes + 30, compression);
    writeLittle32(bytes + 34, codedSize);
    writeLittle32(bytes + 46, colors);
    return out.writeBytes(bytes, sizeof bytes) == static_cast<long>(sizeof bytes);
}

bool readPalette(ipstream & in, GPalette & palette, std::uint32_t count) {
    unsigned char bytes[4 * 256];
    auto const size = static_cast<long>(4 * count);
    if (in.readBytes(bytes, size) < size)
        return false;
    palette.resize(static_cast<int>(count), 0);
    for (std::uint32_t i = 0; i < count; ++i)
        palette.set_color(static_cast<unsigned char>(i),
                          RGB_Color(bytes[4 * i + 2], bytes[4 * i + 1], bytes[4 * i]));
    return true;
}

bool writePalette(opstream & out, GPalette const & palette, std::uint32_t count) {
    unsigned char bytes[4 * 256] = {};
    for (std::uint32_t i = 0; i < count; ++i) {
        RGB_Color const color = palette[static_cast<unsigned char>(i)];
        std::memcpy(bytes + 4 * i, &color, sizeof color);
    }
    auto const size = static_cast<long>(4 * count);
    return out.writeBytes(bytes, size) == size;
}

class BmpFileImageInfo : public FileImageInfo {
    G_DECLARE_CLASS(BmpFileImageInfo)
  public:
    BmpFileImageInfo() = default;
    BmpFileImageInfo(int width_, int height_) {
        format = AbstractImage::FormatRGB;
        width = head.width = width_;
        height = head.height = height_;
        head.computeSizes();
    }

    /// Takes over the head, and the palette behind it.
    bool read(ipstream & in) {
        if (!head.read(in) || !head.isReadable() || !readPalette(in, palette, head.paletteSize()))
            return false;
        format = head.hasPalette() ? AbstractImage::FormatIndex : AbstractImage::FormatRGB;
        width = head.width;
        height = head.height;
        return true;
    }

    BmpHead head;
};
G_DEFINE_CLASS(BmpFileImageInfo, "BmpFileImageInfo", FileImageInfo)

// Pixels of less than a byte, the leftmost in the highest bits.

template <int bits>
using PixelsOfByte = std::array<unsigned char, 8 / bits>;

template <int bits>
constexpr std::array<PixelsOfByte<bits>, 256> pixelsOfBytes() {
    std::array<PixelsOfByte<bits>, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte)
        for (unsigned i = 0; i < 8 / bits; ++i)
            table[byte][i] =
                static_cast<unsigned char>(byte >> (8 - bits * (i + 1)) & ((1u << bits) - 1));
    return table;
}

/// `pixels` has room for all those of `bytes` bytes.
template <int bits>
void unpack(unsigned char const * from, std::size_t bytes, unsigned char * pixels) {
    static constexpr auto table = pixelsOfBytes<bits>();
    for (std::size_t i = 0; i < bytes; ++i, pixels += 8 / bits)
        std::memcpy(pixels, table[from[i]].data(), 8 / bits);
}

void packBits(unsigned char const * pixels, int count, unsigned char * to) {
    std::memset(to, 0, static_cast<std::size_t>(count + 7) / 8);
    for (int i = 0; i < count; ++i)
        if (pixels[i])
            to[i / 8] = static_cast<unsigned char>(to[i / 8] | 0x80 >> (i % 8));
}

void packNibbles(unsigned char const * pixels, int count, unsigned char * to) {
    for (int i = 0; i + 1 < count; i += 2)
        *to++ = static_cast<unsigned char>(pixels[i] << 4 | (pixels[i + 1] & 15));
    if (count % 2)
        *to = static_cast<unsigned char>(pixels[count - 1] << 4);
}

template <int bits>
void readPacked(ipstream & in, BmpHead const & head, ImageReadHelper & helper) {
    auto const bytes = (static_cast<std::size_t>(head.width) * bits + 7) / 8;
    std::vector<unsigned char> line(bytes * (8 / bits));
    readRows(in, static_cast<std::size_t>(head.stride()), head.height, nowhere,
             [&](int row, unsigned char * from) {
                 unpack<bits>(from, bytes, line.data());
                 helper.set_line(0, head.height - 1 - row, head.width, line.data());
             });
}

void readWhole(ipstream & in, BmpHead const & head, ImageReadHelper & helper) {
    auto const place = [&](int row) {
        return head.isPadded() ? nullptr : helper.row_address(head.height - 1 - row, head.width);
    };
    readRows(in, static_cast<std::size_t>(head.stride()), head.height, place,
             [&](int row, unsigned char * pixels) {
                 helper.set_line(0, head.height - 1 - row, head.width, pixels);
             });
}

/// A pen that walks over the picture. Runs that touch each other reach the image as one line, and
/// what the pen steps over is not touched.
class RunDecoder {
  public:
    RunDecoder(ipstream & in, BmpHead const & head, ImageReadHelper & helper)
        : in_(in), helper_(helper), fourBits_(head.bits == 4), width_(head.width),
          budget_(head.codedSize), y_(head.height - 1),
          line_(static_cast<std::size_t>(head.width) + shortRun) {}

    /// Goes on until the end code, the end of the coded size, or that of the stream.
    void decode() {
        while (budget_ > 0) {
            unsigned char const first = in_.byte();
            unsigned char const second = in_.byte();
            if (in_.ended())
                break;
            budget_ -= 2;
            if (first > 0)
                run(first, second);
            else if (second == 0)
                moveTo(0, y_ - 1);
            else if (second == 1)
                break;
            else if (second == 2)
                step();
            else
                literal(second);
        }
        flush();
    }

  private:
    /// How many of `count` pixels at the pen lie in the picture.
    std::size_t inside(unsigned count) const {
        return y_ < 0 ? 0
                      : static_cast<std::size_t>(std::clamp<std::int64_t>(width_ - x_, 0, count));
    }
    void run(unsigned count, unsigned char value) {
        std::size_t const visible = inside(count);
        unsigned char * const to = line_.data() + (visible ? x_ : 0);
        if (visible == 0) {
            // The pen moves on all the same.
        } else if (!fourBits_) {
            // What is to the right of the pen is not drawn yet, so a short run may be filled as one
            // of a fixed size.
            if (visible <= shortRun)
                std::memset(to, value, shortRun);
            else
                std::memset(to, value, visible);
        } else {
            unsigned char const pair[2] = {static_cast<unsigned char>(value >> 4),
                                           static_cast<unsigned char>(value & 15)};
            for (std::size_t i = 0; i < visible; ++i)
                to[i] = pair[i & 1];
        }
        x_ += count;
    }
    void literal(unsigned count) {
        std::size_t const bytes = fourBits_ ? (count + 1) / 2 : count;
        std::size_t const padded = (bytes + 1) & ~std::size_t{1};
        std::size_t const visible = inside(count);
        unsigned char * const to = line_.data() + (visible ? x_ : 0);
        if (fourBits_) {
            unsigned char packed[128], pixels[256];
            in_.bytes(packed, bytes);
            unpack<4>(packed, bytes, pixels);
            std::memcpy(to, pixels, visible);
            in_.skip(padded - bytes);
        } else {
            in_.bytes(to, visible);
            in_.skip(padded - visible);
        }
        x_ += count;
        budget_ -= static_cast<std::int64_t>(padded);
    }
    void step() {
        unsigned char const dx = in_.byte();
        unsigned char const dy = in_.byte();
        budget_ -= 2;
        moveTo(x_ + dx, y_ - dy);
    }
    void moveTo(std::int64_t x, std::int64_t y) {
        flush();
        x_ = from_ = x;
        y_ = y;
    }
    /// Hands over what was drawn since the pen was moved.
    void flush() {
        std::int64_t const end = std::min(x_, width_);
        if (y_ >= 0 && from_ < end)
            helper_.set_line(static_cast<int>(from_), static_cast<int>(y_),
                             static_cast<int>(end - from_), line_.data() + from_);
        from_ = x_;
    }

    static constexpr std::size_t shortRun = 16;

    WindowReader in_;
    ImageReadHelper & helper_;
    bool fourBits_;
    std::int64_t width_;
    std::int64_t budget_; // coded bytes left
    std::int64_t x_ = 0;
    std::int64_t from_ = 0; // line_ holds pixels from here to x_
    std::int64_t y_;
    std::vector<unsigned char> line_;
};

/// The colours of the image in order; false when there are more than 256.
bool findColors(AbstractImage const & image, GPalette & palette) {
    ColorCollection colors;
    // The keys of the colours that are in the collection, each at the first free slot.
    constexpr std::uint32_t free = ~std::uint32_t{0}, slots = 1024;
    std::array<std::uint32_t, slots> known;
    known.fill(free);
    int const width = image.get_width();
    auto const size = static_cast<std::size_t>(AbstractImage::bytesPerPixel(image.get_format()));
    std::vector<unsigned char> line(static_cast<std::size_t>(width) * size);
    for (int y = 0; y < image.get_height(); ++y) {
        image.get_color_line(0, y, width, line.data());
        for (std::size_t at = 0; at < line.size(); at += size) {
            std::uint32_t const key =
                readLittle16(&line[at]) | static_cast<std::uint32_t>(line[at + 2]) << 16;
            std::uint32_t slot = key * 0x9E3779B1u >> 22;
            while (known[slot] != key && known[slot] != free)
                slot = (slot + 1) % slots;
            if (known[slot] == key)
                continue;
            if (colors.getCount() == 256)
                return false;
            known[slot] = key;
            colors.add_color(RGB_Color(line[at + 2], line[at + 1], line[at]));
        }
    }
    palette.resize(static_cast<int>(colors.getCount()), 0);
    for (long i = 0; i < colors.getCount(); ++i)
        palette.set_color(static_cast<unsigned char>(i), *colors.at(i));
    return true;
}

BmpHead headFor(AbstractImage const & image) {
    BmpHead head;
    head.width = image.get_width();
    head.height = image.get_height();
    return head;
}

bool writeColors(opstream & out, AbstractImage const & image) {
    BmpHead head = headFor(image);
    if (!head.computeSizes() || !head.write(out))
        return false;
    ImageWriteHelper helper(image, AbstractImage::FormatRGB, head.width, head.height, nullptr);
    auto const place = [&](int row) {
        return head.isPadded() ? nullptr : helper.row_address(head.height - 1 - row, head.width);
    };
    return writeRows(out, static_cast<std::size_t>(head.stride()), head.height, place,
                     [&](int row, unsigned char * to) {
                         helper.get_line(0, head.height - 1 - row, head.width, to);
                     });
}

bool writeIndices(opstream & out, AbstractImage const & image, GPalette const & palette) {
    BmpHead head = headFor(image);
    // These two agree for a window that begins at slot 0. Maps with another one lose pixels, as
    // they always have: what is in the file depends on it.
    int const used = palette.getCount() - palette.getFirst();
    head.bits = used < 3 ? 1 : used < 17 ? 4 : 8;
    head.colors = static_cast<std::uint32_t>(palette.getCount() + palette.getFirst());
    // A reader would take 0 for all that the bits allow.
    if (head.colors == 0 || !head.computeSizes() || !head.write(out) ||
        !writePalette(out, palette, head.colors))
        return false;
    ImageWriteHelper helper(image, AbstractImage::FormatIndex, head.width, head.height, &palette);
    std::vector<unsigned char> line(static_cast<std::size_t>(head.width));
    auto const place = [&](int row) {
        return head.bits < 8 || head.isPadded()
                   ? nullptr
                   : helper.row_address(head.height - 1 - row, head.width);
    };
    return writeRows(out, static_cast<std::size_t>(head.stride()), head.height, place,
                     [&](int row, unsigned char * to) {
                         int const y = head.height - 1 - row;
                         helper.get_line(0, y, head.width, head.bits == 8 ? to : line.data());
                         if (head.bits == 1)
                             packBits(line.data(), head.width, to);
                         else if (head.bits == 4)
                             packNibbles(line.data(), head.width, to);
                     });
}

constexpr unsigned char version = 0;

} // namespace

unsigned BMPReaderWriter::can_do() const {
    return ReadsImages | WritesImages | ReadsParts | WritesParts;
}

void BMPReaderWriter::file_name_filter(ImageFileFilter & filter) const {
    setFilter(filter, 32);
}

bool BMPReaderWriter::is(ipstream & in) {
    unsigned char bytes[18];
    return in.readBytes(bytes, sizeof bytes) == static_cast<long>(sizeof bytes) &&
           readLittle16(bytes) == magic && readLittle32(bytes + 14) == infoSize;
}

FileImageInfo * BMPReaderWriter::read_info(ipstream & in) {
    auto info = std::make_unique<BmpFileImageInfo>();
    return info->read(in) ? info.release() : nullptr;
}

bool BMPReaderWriter::read_part(ipstream & in, AbstractImage & image, GPoint from, GPoint size) {
    BmpFileImageInfo info;
    if (!info.read(in))
        return false;
    BmpHead const & head = info.head;
    bool const coded = head.compression != 0 && (head.bits == 4 || head.bits == 8);
    if (!skipFar(in, std::int64_t{head.pixelsAt} - headersSize - 4 * head.paletteSize()) ||
        !canHoldImage(in, head.width, head.height, coded ? pixelsPerRunByte : pixelsPerRawByte))
        return false;
    ImageReadHelper helper(image, info.format, head.width, head.height,
                           head.hasPalette() ? &info.palette : nullptr, from, size);
    if (!helper.ready())
        return false;
    if (coded)
        RunDecoder(in, head, helper).decode();
    else if (head.bits == 1)
        readPacked<1>(in, head, helper);
    else if (head.bits == 4)
        readPacked<4>(in, head, helper);
    else
        readWhole(in, head, helper);
    return true;
}

bool BMPReaderWriter::write_image(opstream & out, AbstractImage const & image) {
    MapFormat const layout = AbstractImage::layoutOf(image.get_format());
    if (layout == AbstractImage::FormatNone || image.get_width() < 0 || image.get_height() < 0)
        return false;
    if (layout == AbstractImage::FormatIndex)
        return image.get_palette() && writeIndices(out, image, *image.get_palette());
    GPalette palette;
    if (compressed_ && findColors(image, palette) && palette.getCount() > 0)
        return writeIndices(out, image, palette);
    return writeColors(out, image);
}

FileImageInfo * BMPReaderWriter::create_image_info(int width, int height, MapFormat,
                                                   GPalette const *) {
    return new BmpFileImageInfo(width, height);
}

bool BMPReaderWriter::write_info(opstream & out, FileImageInfo const & info) {
    BmpHead head;
    head.width = info.width;
    head.height = info.height;
    return head.computeSizes() && head.write(out) &&
           writeRows(out, static_cast<std::size_t>(head.stride()), head.height, nowhere,
                     [](int, unsigned char *) {});
}

bool BMPReaderWriter::write_part(opstream & out, AbstractImage const & image, FileImageInfo & info,
                                 GPoint position) {
    auto const * const own = gcast<BmpFileImageInfo>(&info);
    if (!own || own->head.type != magic || own->head.bits != 24)
        return false;
    BmpHead const & head = own->head;
    PartOfFile const part(image, position, head.width, head.height);
    long const start = out.tellp();
    if (part.isEmpty() || start < 0)
        return start >= 0;
    ImageWriteHelper helper(image, AbstractImage::FormatRGB, image.get_width(), image.get_height(),
                            nullptr);
    std::vector<unsigned char> line(3 * static_cast<std::size_t>(part.columns));
    auto const size = static_cast<long>(line.size());
    std::int64_t at = start + std::int64_t{head.pixelsAt} + 3 * std::int64_t{part.x} +
                      head.stride() * (std::int64_t{head.height} - part.y - part.rows);
    for (int row = part.rows - 1; row >= 0; --row, at += head.stride()) {
        helper.get_line(part.fromX, part.fromY + row, part.columns, line.data());
        if (at > LONG_MAX || out.seekp(static_cast<long>(at)) < 0 ||
            out.writeBytes(line.data(), size) < size)
            return false;
    }
    return true;
}

void BMPReaderWriter::read(ipstream & in) {
    in.readByte();
    AbstractImageReaderWriter::read(in);
    compressed_ = in.readByte() != 0;
}

void BMPReaderWriter::write(opstream & out) {
    out.writeByte(version);
    AbstractImageReaderWriter::write(out);
    out << compressed_;
}
