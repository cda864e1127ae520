// Image files. Each format is a class derived from AbstractImageReaderWriter; deriving is all the
// registration there is, since the framework finds the classes through their descriptions, builds
// one of each, and asks what it can do and whether a stream is of its format.
#pragma once

#include "foundation/GCollection.h"
#include "foundation/GException.h"
#include "foundation/GFile.h"
#include "foundation/GPoint.h"
#include "foundation/GStreamable.h"
#include "foundation/TGVector.h"
#include "kvt_grph/AbstractImage.h"
#include "kvt_grph/GPalette.h"

#include <memory>

class iopstream;

/// One entry of the filter of a file dialog: a text to show, a bar, patterns with semicolons
/// between them, a bar.
class ONDREL_API ImageFileFilter : public GString {
  public:
    using GString::GString;
    ImageFileFilter() = default;
    GString get_display_string() const;
    GString get_patterns() const;
    /// One pattern after the other.
    void get_extensions(TGVector<GString> & extensions) const;
    /// The first pattern; empty when there is none.
    GString get_default_extension() const;
};

/// What the head of an image file tells. A codec derives it to keep more.
class ONDREL_API FileImageInfo : public GRTTIObject {
    G_DECLARE_CLASS(FileImageInfo)
  public:
    FileImageInfo() = default;
    virtual void empty();

    AbstractImage::MapFormat format = AbstractImage::FormatNone;
    GPalette palette;
    int width = 0;
    int height = 0;
};

class AbstractImageReaderWriter;
using ImageReaderWriterList = TGCollection<AbstractImageReaderWriter>;

/// Streams stand anywhere: an image begins at the present position.
class ONDREL_API AbstractImageReaderWriter : public GStreamable {
    G_DECLARE_CLASS(AbstractImageReaderWriter)
  public:
    using MapFormat = AbstractImage::MapFormat;
    /// What can_do answers.
    enum Ability : unsigned {
        ReadsImages = 1,
        WritesImages = 2,
        ReadsParts = 4, ///< and the head
        WritesParts = 8
    };

    virtual unsigned can_do() const;
    /// Which file names are of this format.
    virtual void file_name_filter(ImageFileFilter & filter) const;
    /// Whether the stream is of this format; the position may move.
    virtual bool is(ipstream & in);
    /// The class that an object read from such a file has; null for a PixelMap.
    virtual GMetaClass const * get_image_class() const;
    /// The head of the file, owned by the caller; null when it cannot be read.
    virtual FileImageInfo * read_info(ipstream & in) = 0;
    virtual bool read_image(ipstream & in, AbstractImage & image);
    virtual bool read_part(ipstream & in, AbstractImage & image, GPoint from, GPoint size);
    virtual bool write_image(opstream & out, AbstractImage const & image);
    /// What write_info needs for such an image, owned by the caller; null when parts are not
    /// written.
    virtual FileImageInfo * create_image_info(int width, int height, MapFormat format,
                                              GPalette const * palette) = 0;
    virtual bool write_info(opstream & out, FileImageInfo const & info);
    virtual bool write_part(opstream & out, AbstractImage const & image, FileImageInfo & info,
                            GPoint position);

    bool can_read() const { return can_do() & ReadsImages; }
    bool can_write() const { return can_do() & WritesImages; }
    bool can_read_part() const { return can_do() & ReadsParts; }
    bool can_write_part() const { return can_do() & WritesParts; }

    void read(ipstream &) override {}
    void write(opstream &) override {}

    /// Fills the list, which owns them, with one codec of each class that has all the abilities
    /// `required` and none of `forbidden`; returns their number.
    static int GetAllInfo(ImageReaderWriterList & list, unsigned required, unsigned forbidden);
    /// The codec for a stream, whose position stays; owned by the caller, null when there is none.
    static AbstractImageReaderWriter * GetReader(ipstream & in);
    /// The head of the file in the stream, whose position stays. `used` receives the codec: one of
    /// the list, or in the second form one that the caller owns. Both are null when no codec knows
    /// the stream, or the one that does cannot read it.
    static FileImageInfo * ReadInfo(ipstream & in, ImageReaderWriterList & list,
                                    AbstractImageReaderWriter ** used);
    static FileImageInfo * ReadInfo(ipstream & in, AbstractImageReaderWriter ** used);
    /// False when no codec knows the stream, or the one that does cannot read it.
    static bool Read(ipstream & in, AbstractImage & image);
    static bool ReadPart(ipstream & in, AbstractImage & image, GPoint from, GPoint size);
    /// The codec for a file name, owned by the caller; null when there is none.
    static AbstractImageReaderWriter * GetWriter(GFile const & file);
    static AbstractImageReaderWriter * GetPartWriter(GFile const & file);
    static bool Write(opstream & out, AbstractImage const & image, GFile const & file);
    static bool WriteInfo(opstream & out, FileImageInfo const & info, GFile const & file);
    /// Writes over a part of the image file in the stream, whose position stays.
    static bool WritePart(iopstream & stream, AbstractImage const & image, GPoint position);
    /// Whether the name matches one of the patterns of the filter.
    static bool CompareExtensions(GFile const & file, GString const & filter);

  protected:
    AbstractImageReaderWriter() = default;
};
