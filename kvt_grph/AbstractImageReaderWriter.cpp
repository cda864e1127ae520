// Finding the codec for a stream or a file name, and the calls that need no more than that.
#include "kvt_grph/AbstractImageReaderWriter.h"

#include "foundation/FileSystem.h"
#include "persistence/pstream.h"

#include <cstring>

G_DEFINE_CLASS(FileImageInfo, "FileImageInfo", GRTTIObject)
G_DEFINE_CLASS(AbstractImageReaderWriter, "AbstractImageReaderWriter", GStreamable)

namespace {

/// Remembers where a stream stands and brings it back as it was: what a test ran into, such as the
/// end of a short stream, is no failure of the stream, and does not throw either.
class StreamProbe {
  public:
    explicit StreamProbe(ipstream & in)
        : in_(in), position_(in.tellg()), state_(in.rdstate()), mask_(in.get_exception_mask()) {}
    StreamProbe(StreamProbe const &) = delete;
    StreamProbe & operator=(StreamProbe const &) = delete;

    bool knows(AbstractImageReaderWriter & codec) {
        if (position_ < 0)
            return false; // it could not be brought back
        MaskGuard const guard(*this);
        return codec.is(in_);
    }
    void rewind() {
        if (position_ >= 0)
            in_.seekg(position_);
    }

  private:
    struct MaskGuard {
        explicit MaskGuard(StreamProbe & probe_) : probe(probe_) {
            probe.in_.generate_exception_on(0);
        }
        ~MaskGuard() {
            probe.rewind();
            probe.in_.clear(probe.state_);
            probe.in_.generate_exception_on(probe.mask_);
        }
        StreamProbe & probe;
    };

    ipstream & in_;
    long position_;
    int state_;
    int mask_;
};

/// The place in the list of the first codec that knows the stream, or -1.
long findReader(ipstream & in, ImageReaderWriterList const & list) {
    StreamProbe probe(in);
    for (long i = 0; i < list.getCount(); ++i)
        if (probe.knows(*list.at(i)))
            return i;
    return -1;
}

/// The codec leaves the list, which no longer owns it.
AbstractImageReaderWriter * take(ImageReaderWriterList & list, long index) {
    if (index < 0)
        return nullptr;
    AbstractImageReaderWriter * const codec = list.at(index);
    list.at_remove(index);
    return codec;
}

AbstractImageReaderWriter * writerFor(GFile const & file, unsigned ability) {
    ImageReaderWriterList list;
    AbstractImageReaderWriter::GetAllInfo(list, ability, 0);
    for (long i = 0; i < list.getCount(); ++i) {
        ImageFileFilter filter;
        list.at(i)->file_name_filter(filter);
        if (AbstractImageReaderWriter::CompareExtensions(file, filter))
            return take(list, i);
    }
    return nullptr;
}

/// Where the text ends, or behind the next bar.
char const * behindBar(char const * text) {
    char const * const bar = std::strchr(text, '|');
    return bar ? bar + 1 : text + std::strlen(text);
}

} // namespace

// The filter.

GString ImageFileFilter::get_display_string() const {
    return left(static_cast<unsigned int>(std::strcspn(c_str(), "|")));
}

GString ImageFileFilter::get_patterns() const {
    GString patterns(behindBar(c_str()));
    patterns.rtrim('|');
    return patterns;
}

void ImageFileFilter::get_extensions(TGVector<GString> & extensions) const {
    extensions.empty();
    GString const patterns = get_patterns();
    for (char const * at = patterns.c_str(); *at;) {
        std::size_t const length = std::strcspn(at, ";");
        if (length > 0)
            extensions.insert(GString(at, static_cast<unsigned int>(length)));
        at += length + (at[length] == ';');
    }
}

GString ImageFileFilter::get_default_extension() const {
    TGVector<GString> extensions;
    get_extensions(extensions);
    return extensions.getCount() > 0 ? extensions.at(0) : GString();
}

// What a codec has by itself.

void FileImageInfo::empty() {
    format = AbstractImage::FormatNone;
    palette.resize(0, 0);
    width = 0;
    height = 0;
}

unsigned AbstractImageReaderWriter::can_do() const {
    return ReadsImages | ReadsParts;
}

void AbstractImageReaderWriter::file_name_filter(ImageFileFilter & filter) const {
    filter.empty();
}

bool AbstractImageReaderWriter::is(ipstream &) {
    return false;
}

GMetaClass const * AbstractImageReaderWriter::get_image_class() const {
    return nullptr;
}

bool AbstractImageReaderWriter::read_image(ipstream & in, AbstractImage & image) {
    return read_part(in, image, GPoint(0, 0), GPoint(-1, -1));
}

bool AbstractImageReaderWriter::read_part(ipstream &, AbstractImage &, GPoint, GPoint) {
    return false;
}

bool AbstractImageReaderWriter::write_image(opstream &, AbstractImage const &) {
    return false;
}

bool AbstractImageReaderWriter::write_info(opstream &, FileImageInfo const &) {
    return false;
}

bool AbstractImageReaderWriter::write_part(opstream &, AbstractImage const &, FileImageInfo &,
                                           GPoint) {
    return false;
}

// All codecs.

int AbstractImageReaderWriter::GetAllInfo(ImageReaderWriterList & list, unsigned required,
                                          unsigned forbidden) {
    list.empty();
    GClassDictionary classes;
    metaclass_.getDerivedClasses(classes, true);
    for (long i = classes.getCount() - 1; i >= 0; --i) {
        GRTTIObject * const object = classes[i]->buildObject();
        auto * const codec = gcast<AbstractImageReaderWriter>(object);
        unsigned const abilities = codec ? codec->can_do() : 0;
        if (codec && (abilities & required) == required && !(abilities & forbidden))
            list.insert(codec);
        else
            DestroyThis(object);
    }
    return static_cast<int>(list.getCount());
}

AbstractImageReaderWriter * AbstractImageReaderWriter::GetReader(ipstream & in) {
    ImageReaderWriterList list;
    GetAllInfo(list, ReadsParts, 0);
    return take(list, findReader(in, list));
}

FileImageInfo * AbstractImageReaderWriter::ReadInfo(ipstream & in, ImageReaderWriterList & list,
                                                    AbstractImageReaderWriter ** used) {
    *used = nullptr;
    long const index = findReader(in, list);
    if (index < 0)
        return nullptr;
    StreamProbe start(in);
    FileImageInfo * const info = list.at(index)->read_info(in);
    start.rewind();
    if (info)
        *used = list.at(index);
    return info;
}

FileImageInfo * AbstractImageReaderWriter::ReadInfo(ipstream & in,
                                                    AbstractImageReaderWriter ** used) {
    ImageReaderWriterList list;
    GetAllInfo(list, ReadsParts, 0);
    FileImageInfo * const info = ReadInfo(in, list, used);
    if (*used)
        list.remove(*used);
    return info;
}

bool AbstractImageReaderWriter::Read(ipstream & in, AbstractImage & image) {
    ImageReaderWriterList list;
    GetAllInfo(list, ReadsImages, 0);
    long const index = findReader(in, list);
    return index >= 0 && list.at(index)->read_image(in, image);
}

bool AbstractImageReaderWriter::ReadPart(ipstream & in, AbstractImage & image, GPoint from,
                                         GPoint size) {
    ImageReaderWriterList list;
    GetAllInfo(list, ReadsParts, 0);
    long const index = findReader(in, list);
    return index >= 0 && list.at(index)->read_part(in, image, from, size);
}

AbstractImageReaderWriter * AbstractImageReaderWriter::GetWriter(GFile const & file) {
    return writerFor(file, WritesImages);
}

AbstractImageReaderWriter * AbstractImageReaderWriter::GetPartWriter(GFile const & file) {
    return writerFor(file, WritesParts);
}

bool AbstractImageReaderWriter::Write(opstream & out, AbstractImage const & image,
                                      GFile const & file) {
    std::unique_ptr<AbstractImageReaderWriter> const codec(GetWriter(file));
    return codec && codec->write_image(out, image);
}

bool AbstractImageReaderWriter::WriteInfo(opstream & out, FileImageInfo const & info,
                                          GFile const & file) {
    std::unique_ptr<AbstractImageReaderWriter> const codec(GetPartWriter(file));
    if (!codec)
        return false;
    std::unique_ptr<FileImageInfo> const own(
        codec->create_image_info(info.width, info.height, info.format, &info.palette));
    return own && codec->write_info(out, *own);
}

bool AbstractImageReaderWriter::WritePart(iopstream & stream, AbstractImage const & image,
                                          GPoint position) {
    ImageReaderWriterList list;
    GetAllInfo(list, WritesParts, 0);
    AbstractImageReaderWriter * codec = nullptr;
    std::unique_ptr<FileImageInfo> const info(ReadInfo(stream, list, &codec));
    if (!info)
        return false;
    StreamProbe start(stream);
    bool const written = codec->write_part(stream, image, *info, position);
    start.rewind();
    return written;
}

bool AbstractImageReaderWriter::CompareExtensions(GFile const & file, GString const & filter) {
    char const * const name = file.get_name();
    char const * at = behindBar(filter.c_str());
    while (*at) {
        std::size_t const length = std::strcspn(at, ";|");
        GString const pattern(at, static_cast<unsigned int>(length));
        if (length > 0 && FileSystem::Match(name, pattern.c_str()))
            return true;
        at += length;
        if (*at == '|')
            at = behindBar(at + 1); // past the text of the next entry
        else if (*at)
            ++at;
    }
    return false;
}
