// Windows bitmap files with the 40-byte information header: 1, 4 and 8 bits per pixel with a
// palette, raw or run-length coded, and 24 bits. What is written is never run-length coded.
#pragma once

#include "kvt_grph/AbstractImageReaderWriter.h"

/// The reader and writer of Windows bitmap files. It is found by its class: nobody registers it.
class ONDREL_API BMPReaderWriter : public AbstractImageReaderWriter {
    G_DECLARE_CREATABLE(BMPReaderWriter)
  public:
    /// `compressed`: see below.
    explicit BMPReaderWriter(bool compressed = false) : compressed_(compressed) {}
    explicit BMPReaderWriter(StreamableInit) {}

    /// Whether an image in colours that has no more than 256 of them is written with a palette,
    /// in 1, 4 or 8 bits per pixel. It comes back the same, but for alpha, which no BMP keeps.
    bool compressed() const { return compressed_; }
    void compressed(bool value) { compressed_ = value; }

    unsigned can_do() const override;
    void file_name_filter(ImageFileFilter & filter) const override;
    bool is(ipstream & in) override;
    FileImageInfo * read_info(ipstream & in) override;
    /// False for a head that makes no sense, or promises what the stream cannot hold; the image is
    /// then left alone. False too for an image that has no room. What is missing behind a good head
    /// is zero.
    bool read_part(ipstream & in, AbstractImage & image, GPoint from, GPoint size) override;
    /// An image of indices needs a palette, the window of which begins at slot 0. False without
    /// one, or when not all could be written.
    bool write_image(opstream & out, AbstractImage const & image) override;
    /// Always one of 24 bits.
    FileImageInfo * create_image_info(int width, int height, MapFormat format,
                                      GPalette const * palette) override;
    /// A black file of 24 bits.
    bool write_info(opstream & out, FileImageInfo const & info) override;
    /// Only into files of 24 bits.
    bool write_part(opstream & out, AbstractImage const & image, FileImageInfo & info,
                    GPoint position) override;

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    bool compressed_ = false;
};
