// A file is an 18-byte head, an identification text, the colour map, and rows in an order that the
// head tells; colours are blue, green, red, alpha. Run-length packets know nothing of rows.
#include "kvt_grph/Tga_rdwr.h"

#include "kvt_grph/Colors.h"
#include "kvt_grph/ImageFileBytes.h"
#include "kvt_grph/ImageHelpers.h"

#include <climits>

G_DEFINE_CREATABLE(TGAReaderWriter, "TGAReaderWriter", AbstractImageReaderWriter)

using namespace ondrel_detail;

namespace {

constexpr long headSize = 18;
constexpr long mostPixels = 65535; // in a row or a column

enum ImageType : unsigned {
    NoImage = 0,
    Mapped = 1,
    TrueColour = 2,
    RunLength = 8 // added to the others
};
enum Descriptor : unsigned { RightToLeft = 0x10, TopToBottom = 0x20 };

struct TgaHead {
    unsigned idLength = 0;
    unsigned mapType = 0; // 1 with a colour map
    unsigned imageType = TrueColour;
    unsigned mapFirst = 0;
    unsigned mapLength = 0;
    unsigned mapBits = 0; // per colour
    int width = 0;
    int height = 0;
    unsigned bits = 24; // per pixel
    unsigned descriptor = TopToBottom;

    /// False when these bytes are not the head of a file that is known.
    bool read(ipstream & in);
    bool write(opstream & out) const;

    bool isMapped() const { return imageType == Mapped || imageType == (Mapped | RunLength); }
    bool isCoded() const { return (imageType & RunLength) != 0; }
    /// Of the pixels in the file; index pixels are bytes whatever the head says.
    std::size_t fileBytes() const { return isMapped() ? 1 : (bits + 7) / 8; }
    AbstractImage::MapFormat format() const {
        if (imageType == NoImage || (!isMapped() && bits == 8))
            return AbstractImage::FormatNone;
        return isMapped()   ? AbstractImage::FormatIndex
               : bits == 32 ? AbstractImage::FormatRGBAlpha
                            : AbstractImage::FormatRGB;
    }
    bool isTopDown() const { return (descriptor & TopToBottom) != 0; }
    bool isMirrored() const { return (descriptor & RightToLeft) != 0; }
    int targetRow(int row) const { return isTopDown() ? row : height - 1 - row; }
};

bool TgaHead::read(ipstream & in) {
    unsigned char bytes[headSize];
    if (in.readBytes(bytes, headSize) < headSize)
        return false;
    idLength = bytes[0];
    mapType = bytes[1];
    imageType = bytes[2];
    mapFirst = readLittle16(bytes + 3);
    mapLength = readLittle16(bytes + 5);
    mapBits = bytes[7];
    width = static_cast<int>(readLittle16(bytes + 12));
    height = static_cast<int>(readLittle16(bytes + 14));
    bits = bytes[16];
    descriptor = bytes[17];
    auto const isColour = [](unsigned n) { return n == 15 || n == 16 || n == 24 || n == 32; };
    bool const mapMakesSense =
        mapType == 1 ? isColour(mapBits) : mapType == 0 && mapFirst == 0 && mapLength == 0;
    return mapMakesSense && mapFirst <= 256 && mapLength <= 256 && (bits == 8 || isColour(bits)) &&
           (imageType & ~unsigned{RunLength}) <= TrueColour && imageType != (NoImage | RunLength);
}

bool TgaHead::write(opstream & out) const {
    unsigned char bytes[headSize] = {};
    bytes[2] = static_cast<unsigned char>(imageType);
    writeLittle16(bytes + 12, static_cast<unsigned>(width));
    writeLittle16(bytes + 14, static_cast<unsigned>(height));
    bytes[16] = static_cast<unsigned char>(bits);
    bytes[17] = static_cast<unsigned char>(descriptor);
    return out.writeBytes(bytes, headSize) == headSize;
}

/// The five bits of each colour become the high ones of a byte.
RGB_Color fromWord(unsigned char const * at) {
    return RGB_Color(static_cast<unsigned char>((at[1] & 0xFC) << 1),
                     static_cast<unsigned char>(((at[0] >> 2) & 0x38) | at[1] << 6),
                     static_cast<unsigned char>(at[0] << 3));
}

/// Fills the slots that the map has; what reaches past the last slot is dropped.
bool readMap(ipstream & in, TgaHead const & head, GPalette & palette) {
    unsigned char bytes[4 * 256];
    std::size_t const size = (head.mapBits + 7) / 8;
    auto const all = static_cast<long>(size * head.mapLength);
    if (in.readBytes(bytes, all) < all)
        return false;
    unsigned const fitting = std::min(head.mapLength, 256 - head.mapFirst);
    palette.resize(static_cast<int>(fitting), static_cast<int>(std::min(head.mapFirst, 255u)));
    for (unsigned i = 0; i < fitting; ++i) {
        unsigned char const * const at = bytes + i * size;
        palette.set_color(static_cast<unsigned char>(head.mapFirst + i),
                          size == 2 ? fromWord(at) : RGB_Color(at[2], at[1], at[0]));
    }
    return true;
}

class TgaFileImageInfo : public FileImageInfo {
    G_DECLARE_CLASS(TgaFileImageInfo)
  public:
    TgaFileImageInfo() = default;
    TgaFileImageInfo(int width_, int height_, AbstractImage::MapFormat wanted) {
        bool const alpha = AbstractImage::layoutOf(wanted) == AbstractImage::FormatRGBAlpha;
        format = alpha ? AbstractImage::FormatRGBAlpha : AbstractImage::FormatRGB;
        width = head.width = width_;
        height = head.height = height_;
        head.bits = alpha ? 32 : 24;
    }

    /// Takes over the head and the colour map, up to the pixels.
    bool read(ipstream & in) {
        if (!head.read(in) || in.skipBytes(head.idLength) < static_cast<long>(head.idLength) ||
            (head.mapType && !readMap(in, head, palette)))
            return false;
        if (!head.isMapped())
            palette.resize(0, 0); // a map that no pixel uses
        format = head.format();
        width = head.width;
        height = head.height;
        return true;
    }

    TgaHead head;
};
G_DEFINE_CLASS(TgaFileImageInfo, "TgaFileImageInfo", FileImageInfo)

template <std::size_t size>
void mirrorPixels(unsigned char * row, int width) {
    struct Pixel {
        unsigned char bytes[size];
    };
    auto * const pixels = reinterpret_cast<Pixel *>(row);
    std::reverse(pixels, pixels + width);
}

void mirror(unsigned char * row, int width, std::size_t size) {
    switch (size) {
        case 1:
            return mirrorPixels<1>(row, width);
        case 2:
            return mirrorPixels<2>(row, width);
        case 3:
            return mirrorPixels<3>(row, width);
        default:
            return mirrorPixels<4>(row, width);
    }
}

/// Brings rows, as they stand in the file, to where they belong.
class RowPlacer {
  public:
    RowPlacer(TgaHead const & head, ImageReadHelper & helper)
        : head_(head), helper_(helper), size_(head.fileBytes()),
          line_(size_ == 2 ? static_cast<std::size_t>(head.width) : 0) {}

    void place(int row, unsigned char * pixels) {
        if (head_.isMirrored())
            mirror(pixels, head_.width, size_);
        if (size_ == 2) {
            for (std::size_t i = 0; i < line_.size(); ++i)
                line_[i] = fromWord(pixels + 2 * i);
            pixels = reinterpret_cast<unsigned char *>(line_.data());
        }
        helper_.set_line(0, head_.targetRow(row), head_.width, pixels);
    }

    /// Where the row belongs as it stands in the file; null when it has to be changed.
    unsigned char * address(int row) {
        return head_.isMirrored() || size_ == 2
                   ? nullptr
                   : helper_.row_address(head_.targetRow(row), head_.width);
    }

  private:
    TgaHead const & head_;
    ImageReadHelper & helper_;
    std::size_t size_;
    std::vector<RGB_Color> line_; // of words that became colours
};

/// Packets of a pixel that is repeated, or of pixels as they are; those that do not fit in a row go
/// on in the next.
class PacketDecoder {
  public:
    PacketDecoder(ipstream & in, std::size_t pixelSize) : in_(in), size_(pixelSize) {}

    /// Fills `bytes` bytes, a whole number of pixels.
    void decode(unsigned char * to, std::size_t bytes) {
        while (bytes > 0) {
            if (left_ == 0 && !startPacket()) {
                std::memset(to, 0, bytes);
                return;
            }
            std::size_t const piece = std::min(bytes, left_);
            if (repeating_)
                repeat(to, piece);
            else
                in_.bytes(to, piece);
            to += piece;
            bytes -= piece;
            left_ -= piece;
        }
    }

  private:
    bool startPacket() {
        unsigned char const code = in_.byte();
        if (in_.ended())
            return false;
        left_ = ((code & 0x7F) + 1u) * size_;
        repeating_ = (code & 0x80) != 0;
        if (repeating_)
            in_.bytes(pixel_, size_);
        return true;
    }
    void repeat(unsigned char * to, std::size_t bytes) {
        if (size_ == 1) {
            std::memset(to, pixel_[0], bytes);
            return;
        }
        if (size_ == 4) {
            for (std::size_t done = 0; done < bytes; done += 4)
                std::memcpy(to + done, pixel_, 4);
            return;
        }
        // Copies what is filled already, twice as much each time.
        std::memcpy(to, pixel_, size_);
        for (std::size_t done = size_; done < bytes; done *= 2)
            std::memcpy(to + done, to, std::min(done, bytes - done));
    }

    WindowReader in_;
    std::size_t size_;
    std::size_t left_ = 0; // bytes of the packet
    bool repeating_ = false;
    unsigned char pixel_[4] = {};
};

bool writeFooter(opstream & out) {
    static constexpr char footer[] = "\0\0\0\0\0\0\0\0TRUEVISION-TARGA."; // and a zero byte
    return out.writeBytes(footer, sizeof footer) == static_cast<long>(sizeof footer);
}

/// False when the format cannot tell such a size.
bool makeHead(TgaHead & head, int width, int height, AbstractImage::MapFormat format) {
    head.width = width;
    head.height = height;
    head.bits = AbstractImage::layoutOf(format) == AbstractImage::FormatRGBAlpha ? 32 : 24;
    return width >= 0 && width <= mostPixels && height >= 0 && height <= mostPixels;
}

constexpr unsigned char version = 0;

} // namespace

unsigned TGAReaderWriter::can_do() const {
    return ReadsImages | WritesImages | ReadsParts | WritesParts;
}

void TGAReaderWriter::file_name_filter(ImageFileFilter & filter) const {
    setFilter(filter, 39);
}

bool TGAReaderWriter::is(ipstream & in) {
    return TgaHead().read(in);
}

FileImageInfo * TGAReaderWriter::read_info(ipstream & in) {
    auto info = std::make_unique<TgaFileImageInfo>();
    if (!info->read(in) || info->format == AbstractImage::FormatNone)
        return nullptr;
    return info.release();
}

bool TGAReaderWriter::read_part(ipstream & in, AbstractImage & image, GPoint from, GPoint size) {
    TgaFileImageInfo info;
    if (!info.read(in))
        return false;
    TgaHead const & head = info.head;
    if (head.imageType == NoImage)
        return true;
    if (info.format == AbstractImage::FormatNone ||
        !canHoldImage(in, head.width, head.height,
                      head.isCoded() ? pixelsPerRunByte : pixelsPerRawByte))
        return false;
    ImageReadHelper helper(image, info.format, head.width, head.height,
                           head.isMapped() && head.mapType ? &info.palette : nullptr, from, size);
    if (!helper.ready())
        return false;
    RowPlacer placer(head, helper);
    std::size_t const rowBytes = head.fileBytes() * static_cast<std::size_t>(head.width);
    if (!head.isCoded()) {
        readRows(
            in, rowBytes, head.height, [&](int row) { return placer.address(row); },
            [&](int row, unsigned char * pixels) { placer.place(row, pixels); });
        return true;
    }
    PacketDecoder decoder(in, head.fileBytes());
    std::vector<unsigned char> pixels(rowBytes);
    for (int row = 0; row < head.height; ++row) {
        decoder.decode(pixels.data(), rowBytes);
        placer.place(row, pixels.data());
    }
    return true;
}

bool TGAReaderWriter::write_image(opstream & out, AbstractImage const & image) {
    TgaHead head;
    if (!makeHead(head, image.get_width(), image.get_height(), image.get_format()) ||
        !head.write(out))
        return false;
    ImageWriteHelper helper(image, head.format(), head.width, head.height, nullptr);
    return writeRows(
               out, head.fileBytes() * static_cast<std::size_t>(head.width), head.height,
               [&](int row) { return helper.row_address(row, head.width); },
               [&](int row, unsigned char * to) { helper.get_line(0, row, head.width, to); }) &&
           writeFooter(out);
}

FileImageInfo * TGAReaderWriter::create_image_info(int width, int height, MapFormat format,
                                                   GPalette const *) {
    return new TgaFileImageInfo(width, height, format);
}

bool TGAReaderWriter::write_info(opstream & out, FileImageInfo const & info) {
    TgaHead head;
    return makeHead(head, info.width, info.height, info.format) && head.write(out) &&
           writeRows(out, head.fileBytes() * static_cast<std::size_t>(head.width), head.height,
                     nowhere, [](int, unsigned char *) {}) &&
           writeFooter(out);
}

bool TGAReaderWriter::write_part(opstream & out, AbstractImage const & image, FileImageInfo & info,
                                 GPoint position) {
    auto const * const own = gcast<TgaFileImageInfo>(&info);
    if (!own || own->head.imageType != TrueColour || own->head.fileBytes() < 3)
        return false;
    TgaHead const & head = own->head;
    PartOfFile const part(image, position, head.width, head.height);
    if (part.isEmpty())
        return true;
    ImageWriteHelper helper(image, head.format(), image.get_width(), image.get_height(), nullptr);
    std::size_t const size = head.fileBytes();
    std::vector<unsigned char> line(size * static_cast<std::size_t>(part.columns));
    auto const count = static_cast<long>(line.size());
    int const column = head.isMirrored() ? head.width - part.x - part.columns : part.x;
    int const firstRow = head.isTopDown() ? part.y : head.height - part.y - part.rows;
    std::int64_t const stride = static_cast<std::int64_t>(size) * head.width;
    std::int64_t skipped = headSize + stride * firstRow + static_cast<std::int64_t>(size) * column;
    for (int row = 0; row < part.rows; ++row, skipped = stride - count) {
        int const y = head.isTopDown() ? row : part.rows - 1 - row;
        helper.get_line(part.fromX, part.fromY + y, part.columns, line.data());
        if (head.isMirrored())
            mirror(line.data(), part.columns, size);
        if (skipped > LONG_MAX || out.seekp(static_cast<long>(skipped), GIO::FromCurrent) < 0 ||
            out.writeBytes(line.data(), count) < count)
            return false;
    }
    return true;
}

void TGAReaderWriter::read(ipstream & in) {
    in.readByte();
    AbstractImageReaderWriter::read(in);
}

void TGAReaderWriter::write(opstream & out) {
    out.writeByte(version);
    AbstractImageReaderWriter::write(out);
}
