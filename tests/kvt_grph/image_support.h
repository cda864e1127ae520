// An image of plain vectors, to see what codecs and helpers do with one.
#pragma once

#include "kvt_grph/AbstractImage.h"
#include "kvt_grph/GPalette.h"

#include <memory>
#include <string>
#include <vector>

/// Takes lines in `format`, or in that of the file when it is FormatNone. It fails a test that
/// gives it a line it must not see.
class PlainImage : public AbstractImage {
  public:
    explicit PlainImage(MapFormat format = FormatNone) : wanted_(format) {}
    PlainImage(MapFormat format, int width, int height, std::string const & bytes,
               GPalette const * palette = nullptr)
        : wanted_(format) {
        start_read(format, width, height, palette);
        starts = 0;
        bytes_ = bytes;
    }

    void start_read(MapFormat format, int width, int height, GPalette const * palette) override;
    void stop_read() override { ++stops; }
    void start_write() const override { ++starts; }
    void stop_write() const override { ++stops; }
    int get_width() const override { return width_; }
    int get_height() const override { return height_; }
    MapFormat get_format() const override { return format_; }
    GPalette const * get_palette() const override { return palette_.get(); }
    void set_color_line(int x, int y, int count, unsigned char * pixels) override;
    void get_color_line(int x, int y, int count, unsigned char * pixels) const override;

    /// All rows from the top, without padding.
    std::string const & bytes() const { return bytes_; }
    std::string row(int y) const;

    mutable int starts = 0;
    mutable int stops = 0;
    int lines = 0;

  private:
    std::size_t offset(int x, int y, int count) const;

    MapFormat wanted_;
    MapFormat format_ = FormatNone;
    int width_ = 0;
    int height_ = 0;
    std::unique_ptr<GPalette> palette_;
    std::string bytes_;
};

/// A palette of these colours from slot 0 on.
GPalette paletteOf(std::vector<RGB_Color> const & colors);
