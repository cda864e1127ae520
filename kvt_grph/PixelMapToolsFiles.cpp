// Pixel maps from and to files in one call.
#include "foundation/GException.h"
#include "kvt_grph/AbstractImageReaderWriter.h"
#include "kvt_grph/PixelMapTools.h"
#include "persistence/fpstream.h"
#include "persistence/zpstream.h"

#include <memory>

namespace {

/// A pixel map in an object stream; null when it is none.
PixelMap * readObject(ipstream & in) {
    try {
        return in.readPointer<PixelMap>();
    } catch (GException const &) {
        return nullptr;
    }
}

} // namespace

PixelMap * PixelMapTools::LoadFromFile(char const * name) {
    {
        ifpstream in(name, GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
        if (!in)
            return nullptr;
        if (PixelMap::IsReadableFile(in)) {
            auto map = std::make_unique<PixelMap>(1, 1, AbstractImage::FormatRGB);
            map->load(in);
            return map.release();
        }
        in.seekg(0);
        if (PixelMap * const map = readObject(in))
            return map;
    }
    izpstream in(name, GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead, 3);
    return in ? readObject(in) : nullptr;
}

bool PixelMapTools::SaveToFile(PixelMap const & map, char const * name) {
    ofpstream out(name, GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone);
    if (!out || !AbstractImageReaderWriter::Write(out, map, GFile(name)))
        return false;
    out.flush();
    return out.good();
}

bool PixelMapTools::SaveToFile(PixelMap const * map, char const * name) {
    return map && SaveToFile(*map, name);
}
