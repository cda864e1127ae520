// The parts of the `image` subcommand: picture files in and out with the care that the codecs leave
// to their callers. A codec fills up with black what a file lacks; here a file that is cut off is
// told from a whole one, and no picture changes its colours on the way through.
#pragma once

#include "Command.h"

#include "kvt_grph/AbstractImageReaderWriter.h"
#include "kvt_grph/PixelMap.h"
#include "persistence/GBufferedIO.h"
#include "persistence/pstream.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tool {

class Json;
class WatchedSource;

/// A picture file that is open for reading.
class PictureFile {
  public:
    /// Reads the head. Throws Failure when the file is no picture.
    explicit PictureFile(std::string const & name);
    ~PictureFile();

    FileImageInfo const & info() const { return *info_; }
    /// What its kind of file is called, such as "BMP".
    std::string kind() const;
    std::int64_t size() const;
    /// All pixels, in the format that the file has them in. With a palette every index that occurs
    /// lies in its window, which begins at slot 0. To be called once; throws Failure when the file
    /// is not whole. One of many files shows no progress, since there is one bar for all.
    std::unique_ptr<PixelMap> read(bool showsProgress);

  private:
    std::string const name_;
    WatchedSource * const source_; // owned by device_
    GBufferedIO device_;
    ipstream in_;
    std::unique_ptr<AbstractImageReaderWriter> codec_;
    std::unique_ptr<FileImageInfo> info_;
};

/// The codec for files of that name. Throws Failure when there is none, or it has no such way to
/// compress.
std::unique_ptr<AbstractImageReaderWriter> pictureWriter(std::string const & name, bool compressed);
/// Returns the size of the file. It is there whole, or Failure is thrown and all is as before.
std::int64_t writePicture(PixelMap const & map, AbstractImageReaderWriter & codec,
                          std::string const & name, bool replace);

/// The colours of a palette file, or of a picture that has no more than 256.
GPalette readPalette(std::string const & name);
/// A map with indices into the palette, each the nearest to the colour that was there.
std::unique_ptr<PixelMap> mapped(PixelMap const & map, GPalette const & palette);

/// Extends the window of the palette to all indices there are, from slot 0 on: a file may hold no
/// more than the window. Throws Failure when there is no palette; `name` is that of the file.
void completePalette(PixelMap & map, std::string const & name);
/// Throws Failure for a map that there was no memory for.
void checkMade(PixelMap const & map, int width, int height);
/// "index", "rgb" or "rgba".
char const * formatName(AbstractImage::MapFormat format);
/// Width, height and format; `colors` is left out where there is no palette.
void addPicture(Json & json, int width, int height, AbstractImage::MapFormat format, int colors);

/// `film` and its subcommands (imageFilm.cpp). `status` gets the exit status of a film that is cut
/// off.
void addImageFilm(CLI::App & image, int & status);

} // namespace tool
