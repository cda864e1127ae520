// A table of 256 colours of which a window is in use, and the search for the nearest of them, to
// which every mapping of colours to indices comes down. The program palette is the one that a host
// draws with when it does not say another.
#pragma once

#include "foundation/GCallBackList.h"
#include "foundation/GStreamable.h"
#include "kvt_grph/AbstractImage.h"
#include "kvt_grph/Colors.h"

#include <cstdint>
#include <memory>

namespace ondrel_detail {
class NearestColors;
}

/// 256 colours with a window of those in use, and the nearest of them to any colour.
class ONDREL_API GPalette : public GStreamable, public AbstractImage {
    G_DECLARE_CREATABLE(GPalette)
  public:
    GPalette();
    GPalette(GPalette const & other);
    /// `count` slots from `first` on, all black; what would reach past slot 255 is cut.
    explicit GPalette(int count, int first = 0);
    GPalette(RGB_Color const * colors, int count, int first = 0);
    GPalette(PALETTEENTRY const * colors, int count, int first = 0);
    explicit GPalette(StreamableInit);
    ~GPalette() override;

    /// Makes `count` slots from `first` the window, with these colours, which may be its own; what
    /// would reach past slot 255 is cut, and all other slots become black.
    void set(RGB_Color const * colors, int count, int first = 0);
    void set(PALETTEENTRY const * colors, int count, int first = 0);
    void set(GPalette const & other);
    GPalette & operator=(GPalette const & other);

    int getCount() const { return count_; }
    int getFirst() const { return first_; }
    RGB_Color operator[](unsigned char slot) const {
        return RGB_Color(entries_[slot].peRed, entries_[slot].peGreen, entries_[slot].peBlue);
    }
    PALETTEENTRY const & get_entry(unsigned char slot) const { return entries_[slot]; }
    void set_entry(unsigned char slot, PALETTEENTRY const & entry);
    /// All 256 slots.
    PALETTEENTRY const * get_entry_array() const { return entries_; }
    void set_color(unsigned char slot, RGB_Color const & color);
    unsigned char get_peflags(unsigned char slot) const { return entries_[slot].peFlags; }
    void set_peflags(unsigned char slot, unsigned char flags);

    /// The index of the nearest colour, by the least squared distance of red, green and blue, the
    /// lowest index of several. The colours are those of slots 0 to getCount() - 1, wherever the
    /// window begins. 0 when there are none. The answer is remembered until an entry changes.
    unsigned char get_index(RGB_Color color) const;

    /// Makes `count` slots from `first` the window: the first form makes all slots black, the
    /// second leaves them, the third makes those outside of the window black.
    void resize(int count, int first = 0);
    void resize_no_fill(int count, int first = 0);
    void resize_and_fill_borders(int count, int first = 0);

    /// The palette as a handle of the system, null where there are none. `get` keeps it, and it
    /// lives until the next change; `create` hands a new one to the caller.
    HPALETTE get_HPALETTE() const;
    HPALETTE create_HPALETTE() const;
    /// Takes over the colours that the system keeps for itself.
    void make_identity_palette();

    /// The colours in a stream: a mark, a count, and three bytes for each slot from 0 on.
    void savePLT(opstream & out) const;
    void loadPLT(ipstream & in);
    void read(ipstream & in) override;
    void write(opstream & out) override;

    // As a target of image files a palette takes only their colours.
    void start_read(MapFormat format, int width, int height, GPalette const * palette) override;
    int get_width() const override { return 0; }
    int get_height() const override { return 0; }
    MapFormat get_format() const override { return FormatNone; }
    GPalette const * get_palette() const override { return this; }
    void set_color_line(int, int, int, unsigned char *) override {}
    void get_color_line(int, int, int, unsigned char *) const override {}

    /// Replaces the program palette and tells those who registered.
    static void SetProgramPalette(GPalette const & palette, unsigned char identity);
    static GPalette const & GetProgramPalette();
    static HPALETTE GetProgramHPALETTE();
    static void SetCallbackOnChangeProgramPalette(GCallBackFunction function, void * data);
    static void RemoveCallbackOnChangeProgramPalette(GCallBackFunction function, void * data);

    /// Whether the windows are the same and hold the same colours, flags aside. Null equals only
    /// null.
    static bool CompareRGB(GPalette const * a, GPalette const * b);
    /// Fills `table`, 256 bytes, with the index in `to` for each index in `from`: the same index
    /// where both have the same colour there and it lies in the window of `to`, else that of the
    /// nearest colour. All 0 when one of them is null.
    static void ConstructDecodeTable(GPalette const * to, GPalette const * from,
                                     unsigned char * table);

  private:
    void changed();

    unsigned char first_ = 0;
    std::uint16_t count_ = 0;
    PALETTEENTRY entries_[256] = {};
    mutable HPALETTE handle_ = nullptr;
    mutable std::unique_ptr<ondrel_detail::NearestColors> nearest_; // null before the first search
};
