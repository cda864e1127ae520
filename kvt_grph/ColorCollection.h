// Sorted collections of colours, which own their items and hold none twice: the distinct colours
// of a picture, a palette by numbers, and a ramp by positions.
#pragma once

#include "foundation/GSortedCollection.h"
#include "kvt_grph/Colors.h"

#include <cstdint>

/// Ordered by red, then green, then blue.
class ONDREL_API ColorCollection : public TGSortedCollection<RGB_Color> {
    G_DECLARE_CREATABLE(ColorCollection)
  public:
    constexpr ColorCollection() = default;
    explicit ColorCollection(StreamableInit init) : TGSortedCollection(init) {}

    /// The place of the colour, which is added when it is not there.
    long add_color(RGB_Color const & color);

    int compare(void const * a, void const * b) const override;

  protected:
    void * write_item(void * item, opstream & out) override;
    void * read_item(ipstream & in) override;
};

/// A colour with its number.
struct Palette_Item {
    std::int32_t id = 0;
    RGB_Color color;
};

/// Ordered by id.
class ONDREL_API PaletteCollection : public TGSortedCollection<Palette_Item> {
    G_DECLARE_CREATABLE(PaletteCollection)
  public:
    constexpr PaletteCollection() = default;
    explicit PaletteCollection(StreamableInit init) : TGSortedCollection(init) {}
    /// Copies are deep.
    PaletteCollection(PaletteCollection const & other);
    PaletteCollection & operator=(PaletteCollection const & other);

    void read(ipstream & in) override;
    void write(opstream & out) override;

    /// Gives the number this colour, in place of the one it may have had.
    void add_entry(long id, RGB_Color const & color);
    /// The index of the item; -1 when there is none.
    long find_color(long id) const;

    void const * keyOf(void const * item) const override;
    int compare(void const * a, void const * b) const override;

  protected:
    void * write_item(void * item, opstream & out) override;
    void * read_item(ipstream & in) override;
};

/// A colour at a position.
struct ONDREL_API OrderedColor {
    RGB_Color color;
    double position = 0;

    constexpr OrderedColor() = default;
    constexpr OrderedColor(RGB_Color const & color_, double position_)
        : color(color_), position(position_) {}
    friend constexpr bool operator==(OrderedColor const &, OrderedColor const &) = default;

    /// The colour and the position.
    void save(opstream & out) const;
    void load(ipstream & in);
};

/// Ordered by position.
class ONDREL_API OrderedColorCollection : public TGSortedCollection<OrderedColor> {
    G_DECLARE_CREATABLE(OrderedColorCollection)
  public:
    constexpr OrderedColorCollection() = default;
    explicit OrderedColorCollection(StreamableInit init) : TGSortedCollection(init) {}
    OrderedColorCollection(OrderedColorCollection const & other);
    OrderedColorCollection & operator=(OrderedColorCollection const & other);

    /// Makes the items equal to those of the other, in the same memory as far as it reaches.
    void copy(OrderedColorCollection const & other);
    bool operator==(OrderedColorCollection const & other) const;

    void const * keyOf(void const * item) const override;
    int compare(void const * a, void const * b) const override;

  protected:
    void * write_item(void * item, opstream & out) override;
    void * read_item(ipstream & in) override;
};
