// Targa files: with a colour map, and in 15, 16, 24 and 32 bits per pixel, raw or run-length coded.
// What is written is raw, of 24 or 32 bits, with the footer of the newer format.
#pragma once

#include "kvt_grph/AbstractImageReaderWriter.h"

/// The reader and writer of Targa files. It is found by its class: nobody registers it.
class ONDREL_API TGAReaderWriter : public AbstractImageReaderWriter {
    G_DECLARE_CREATABLE(TGAReaderWriter)
  public:
    TGAReaderWriter() = default;
    explicit TGAReaderWriter(StreamableInit) {}

    unsigned can_do() const override;
    void file_name_filter(ImageFileFilter & filter) const override;
    /// The format has no mark: goes by whether the head makes sense. Greys are not known.
    bool is(ipstream & in) override;
    FileImageInfo * read_info(ipstream & in) override;
    /// False for a head that makes no sense, or promises what the stream cannot hold; the image is
    /// then left alone, as it is by a file that says to have no pixels, which is no failure. False
    /// too for an image that has no room. What is missing behind a good head is zero.
    bool read_part(ipstream & in, AbstractImage & image, GPoint from, GPoint size) override;
    /// With alpha where the image has it. False for sizes above 65535, or when not all could be
    /// written.
    bool write_image(opstream & out, AbstractImage const & image) override;
    FileImageInfo * create_image_info(int width, int height, MapFormat format,
                                      GPalette const * palette) override;
    /// A black file, with alpha where the information says so.
    bool write_info(opstream & out, FileImageInfo const & info) override;
    /// Only into raw files of 24 or 32 bits without an identification text.
    bool write_part(opstream & out, AbstractImage const & image, FileImageInfo & info,
                    GPoint position) override;

    void read(ipstream & in) override;
    void write(opstream & out) override;
};
