// Keys, orders and streamed items of the three collections of colours.
#include "kvt_grph/ColorCollection.h"

#include "persistence/pstream.h"

#include <algorithm>
#include <climits>
#include <memory>

G_DEFINE_CREATABLE(ColorCollection, "ColorCollection", GSortedCollection)
G_DEFINE_CREATABLE(PaletteCollection, "PaletteCollection", GSortedCollection)
G_DEFINE_CREATABLE(OrderedColorCollection, "OrderedColorCollection", GSortedCollection)

long ColorCollection::add_color(RGB_Color const & color) {
    long index = 0;
    if (!search(&color, index))
        at_insert(index, new RGB_Color(color));
    return index;
}

int ColorCollection::compare(void const * a, void const * b) const {
    auto const & first = *static_cast<RGB_Color const *>(a);
    auto const & second = *static_cast<RGB_Color const *>(b);
    if (first.red != second.red)
        return first.red - second.red;
    if (first.green != second.green)
        return first.green - second.green;
    return first.blue - second.blue;
}

void * ColorCollection::write_item(void * item, opstream & out) {
    out << *static_cast<RGB_Color *>(item);
    return item;
}

void * ColorCollection::read_item(ipstream & in) {
    auto color = std::make_unique<RGB_Color>();
    in >> *color;
    return color.release();
}

PaletteCollection::PaletteCollection(PaletteCollection const & other)
    : TGSortedCollection<Palette_Item>() {
    *this = other;
}

PaletteCollection & PaletteCollection::operator=(PaletteCollection const & other) {
    if (this == &other)
        return *this;
    empty();
    for (long i = 0; i < other.getCount(); ++i)
        at_insert(i, new Palette_Item(*other.at(i)));
    return *this;
}

void PaletteCollection::write(opstream & out) {
    out.writeByte(0);
    GSortedCollection::write(out);
}

void PaletteCollection::read(ipstream & in) {
    in.readByte();
    GSortedCollection::read(in);
}

void PaletteCollection::add_entry(long id, RGB_Color const & color) {
    Palette_Item const item{static_cast<std::int32_t>(id), color};
    long index = 0;
    if (search(&item.id, index))
        at(index)->color = color;
    else
        at_insert(index, new Palette_Item(item));
}

long PaletteCollection::find_color(long id) const {
    auto const key = static_cast<std::int32_t>(id);
    long index = 0;
    return search(&key, index) ? index : -1;
}

void const * PaletteCollection::keyOf(void const * item) const {
    return &static_cast<Palette_Item const *>(item)->id;
}

/// The difference, cut to the range of an int so that ids far apart keep their order.
int PaletteCollection::compare(void const * a, void const * b) const {
    std::int64_t const difference =
        std::int64_t(*static_cast<std::int32_t const *>(a)) - *static_cast<std::int32_t const *>(b);
    return static_cast<int>(std::clamp<std::int64_t>(difference, -INT_MAX, INT_MAX));
}

void * PaletteCollection::write_item(void * item, opstream & out) {
    auto const & entry = *static_cast<Palette_Item *>(item);
    out << entry.id << entry.color;
    return item;
}

void * PaletteCollection::read_item(ipstream & in) {
    auto entry = std::make_unique<Palette_Item>();
    in >> entry->id >> entry->color;
    return entry.release();
}

void OrderedColor::save(opstream & out) const {
    out << color << position;
}

void OrderedColor::load(ipstream & in) {
    in >> color >> position;
}

OrderedColorCollection::OrderedColorCollection(OrderedColorCollection const & other)
    : TGSortedCollection<OrderedColor>() {
    copy(other);
}

OrderedColorCollection & OrderedColorCollection::operator=(OrderedColorCollection const & other) {
    copy(other);
    return *this;
}

void OrderedColorCollection::copy(OrderedColorCollection const & other) {
    long const common = std::min(getCount(), other.getCount());
    for (long i = 0; i < common; ++i)
        *at(i) = *other.at(i);
    for (long i = common; i < other.getCount(); ++i)
        at_insert(i, new OrderedColor(*other.at(i)));
    while (getCount() > other.getCount())
        at_free(getCount() - 1);
}

bool OrderedColorCollection::operator==(OrderedColorCollection const & other) const {
    if (getCount() != other.getCount())
        return false;
    for (long i = getCount() - 1; i >= 0; --i)
        if (!(*at(i) == *other.at(i)))
            return false;
    return true;
}

void const * OrderedColorCollection::keyOf(void const * item) const {
    return &static_cast<OrderedColor const *>(item)->position;
}

int OrderedColorCollection::compare(void const * a, void const * b) const {
    double const first = *static_cast<double const *>(a), second = *static_cast<double const *>(b);
    return first > second ? 1 : first < second ? -1 : 0;
}

void * OrderedColorCollection::write_item(void * item, opstream & out) {
    static_cast<OrderedColor *>(item)->save(out);
    return item;
}

void * OrderedColorCollection::read_item(ipstream & in) {
    auto color = std::make_unique<OrderedColor>();
    color->load(in);
    return color.release();
}
