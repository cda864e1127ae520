// Pixel maps and image files. Which kind of file it is decide the codecs.
#include "kvt_grph/PixelMap.h"

#include "foundation/GMetaClass.h"
#include "kvt_grph/AbstractImageReaderWriter.h"
#include "kvt_grph/Bmp_rdwr.h"
#include "persistence/fpstream.h"

#include <memory>

namespace {

constinit PixelMap::SavingFunction g_defaultSaving = &PixelMap::saveBMP;

ifpstream & opened(ifpstream & in, char const * file) {
    in.open(file, GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
    return in;
}

/// The image that an object is; null when it is none of the known ones.
AbstractImage * imageOf(GRTTIObject * object) {
    if (PixelMap * const map = gcast<PixelMap>(object))
        return map;
    return gcast<GPalette>(object);
}

} // namespace

PixelMap::PixelMap(char const * file, MapFormat format) : PixelMap(0, 0, format) {
    load(file);
}

PixelMap::PixelMap(ipstream & in, MapFormat format) : PixelMap(0, 0, format) {
    load(in);
}

void PixelMap::load(char const * file) {
    ifpstream in;
    if (!opened(in, file))
        throw FileIsAbsent_Exception(file);
    load(in);
}

void PixelMap::load(ipstream & in) {
    if (!AbstractImageReaderWriter::Read(in, *this))
        throw InvalidFileFormat_Exception();
}

void PixelMap::save(char const * file) const {
    ofpstream out(file, GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone);
    if (!out)
        return;
    std::unique_ptr<AbstractImageReaderWriter> const writer(
        AbstractImageReaderWriter::GetWriter(GFile(file)));
    if (writer)
        writer->write_image(out, *this);
    else
        saveBMP(out);
}

void PixelMap::save(opstream & out) const {
    SavingFunction const saving = g_defaultSaving ? g_defaultSaving : &PixelMap::saveBMP;
    (this->*saving)(out);
}

void PixelMap::saveBMP(opstream & out) const {
    BMPReaderWriter(false).write_image(out, *this);
}

void PixelMap::save_compressedBMP(opstream & out) const {
    BMPReaderWriter(true).write_image(out, *this);
}

bool PixelMap::IsReadableFile(char const * file) {
    ifpstream in;
    return opened(in, file) && IsReadableFile(in);
}

bool PixelMap::IsReadableFile(ipstream & in) {
    return std::unique_ptr<AbstractImageReaderWriter>(AbstractImageReaderWriter::GetReader(in)) !=
           nullptr;
}

PixelMap::SavingFunction PixelMap::GetDefaultSavingFunction() {
    return g_defaultSaving;
}

void PixelMap::SetDefaultSavingFunction(SavingFunction function) {
    g_defaultSaving = function;
}

GObjectPixelMapFormat & PixelMap::PixelMapFormat() {
    static GObjectPixelMapFormat format;
    return format;
}

GObjectPixelMapFormat::~GObjectPixelMapFormat() = default;

bool GObjectPixelMapFormat::write_object(char const * file, GStreamable * object) const {
    PixelMap const * const map = gcast<PixelMap>(object);
    if (!map)
        return false;
    map->save(file);
    return true;
}

GStreamable * GObjectPixelMapFormat::read_object(char const * file) const {
    ifpstream in;
    return opened(in, file) ? read_object(in) : nullptr;
}

GStreamable * GObjectPixelMapFormat::read_object(ipstream & in) const {
    std::unique_ptr<AbstractImageReaderWriter> const reader(
        AbstractImageReaderWriter::GetReader(in));
    if (!reader)
        return nullptr;
    GMetaClass const * const imageClass = reader->get_image_class();
    GRTTIObject * const built =
        imageClass ? imageClass->buildObject() : new PixelMap(0, 0, AbstractImage::FormatRGB);
    AbstractImage * const image = imageOf(built);
    if (image && reader->read_image(in, *image))
        return gcast<GStreamable>(built);
    if (built)
        built->getMetaClass().destroyObject(built);
    return nullptr;
}

GString GObjectPixelMapFormat::read_object_class_name(ipstream & in) const {
    std::unique_ptr<AbstractImageReaderWriter> const reader(
        AbstractImageReaderWriter::GetReader(in));
    GMetaClass const * const imageClass = reader ? reader->get_image_class() : nullptr;
    return imageClass ? GString(imageClass->getName()) : GString();
}
