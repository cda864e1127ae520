// The colour table, its forms in streams, and the program palette.
#include "kvt_grph/GPalette.h"

#include "kvt_grph/NearestColors.h"
#include "persistence/pstream.h"
#include "platform/Bitmaps.h"

#include <algorithm>
#include <cstring>

G_DEFINE_CREATABLE(GPalette, "GPalette", GStreamable)

namespace {

constexpr int slots = 256;
constexpr std::uint32_t pltMark = 0x33544C50; // "PLT3"
constexpr unsigned char noCollapse = 4; // the system must not merge the entry with an equal one

PALETTEENTRY entryOf(RGB_Color const & color) {
    return {color.red, color.green, color.blue, 0};
}

bool sameColor(PALETTEENTRY const & a, PALETTEENTRY const & b) {
    return a.peRed == b.peRed && a.peGreen == b.peGreen && a.peBlue == b.peBlue;
}

struct ProgramPalette {
    GPalette palette;
    GCallBackList changes;
};

/// Made at the first use, so that code that runs while the program starts may use it.
ProgramPalette & program() {
    static ProgramPalette instance;
    return instance;
}

} // namespace

GPalette::GPalette() = default;

GPalette::GPalette(GPalette const & other) : GStreamable(other), AbstractImage(other) {
    set(other);
}

GPalette::GPalette(int count, int first) {
    resize(count, first);
}

GPalette::GPalette(RGB_Color const * colors, int count, int first) {
    set(colors, count, first);
}

GPalette::GPalette(PALETTEENTRY const * colors, int count, int first) {
    set(colors, count, first);
}

GPalette::GPalette(StreamableInit init) : GStreamable(init) {}

GPalette::~GPalette() {
    platform::deletePalette(handle_);
}

void GPalette::changed() {
    platform::deletePalette(handle_);
    handle_ = nullptr;
    if (nearest_)
        nearest_->forget();
}

void GPalette::resize_no_fill(int count, int first) {
    first = std::clamp(first, 0, slots - 1);
    first_ = static_cast<unsigned char>(first);
    count_ = static_cast<std::uint16_t>(std::clamp(count, 0, slots - first));
    changed();
}

void GPalette::resize(int count, int first) {
    std::fill_n(entries_, slots, PALETTEENTRY());
    resize_no_fill(count, first);
}

void GPalette::resize_and_fill_borders(int count, int first) {
    resize_no_fill(count, first);
    std::fill(entries_, entries_ + first_, PALETTEENTRY());
    std::fill(entries_ + first_ + count_, entries_ + slots, PALETTEENTRY());
}

void GPalette::set(RGB_Color const * colors, int count, int first) {
    resize_and_fill_borders(count, first);
    std::transform(colors, colors + count_, entries_ + first_, entryOf);
}

void GPalette::set(PALETTEENTRY const * colors, int count, int first) {
    resize_no_fill(count, first);
    // Moved before the borders are blackened: the colours may be those of this very palette.
    if (count_ != 0)
        std::memmove(entries_ + first_, colors, count_ * sizeof *colors);
    resize_and_fill_borders(count, first);
}

void GPalette::set(GPalette const & other) {
    set(other.entries_ + other.first_, other.count_, other.first_);
}

GPalette & GPalette::operator=(GPalette const & other) {
    if (this != &other)
        set(other);
    return *this;
}

void GPalette::set_entry(unsigned char slot, PALETTEENTRY const & entry) {
    entries_[slot] = entry;
    changed();
}

void GPalette::set_color(unsigned char slot, RGB_Color const & color) {
    PALETTEENTRY entry = entryOf(color);
    entry.peFlags = entries_[slot].peFlags;
    set_entry(slot, entry);
}

void GPalette::set_peflags(unsigned char slot, unsigned char flags) {
    PALETTEENTRY entry = entries_[slot];
    entry.peFlags = flags;
    set_entry(slot, entry);
}

unsigned char GPalette::get_index(RGB_Color color) const {
    if (count_ == 0)
        return 0;
    if (!nearest_)
        nearest_ = std::make_unique<ondrel_detail::NearestColors>();
    return nearest_->find(color, entries_, count_);
}

HPALETTE GPalette::get_HPALETTE() const {
    if (!handle_)
        handle_ = create_HPALETTE();
    return handle_;
}

HPALETTE GPalette::create_HPALETTE() const {
    return platform::createPalette(entries_, count_);
}

void GPalette::make_identity_palette() {
    resize_no_fill(slots, 0);
    platform::SystemPalette const system = platform::systemPalette();
    int const kept = system.onlyBlackAndWhiteKept ? 1 : std::clamp(system.reserved / 2, 0, 128);
    for (int i = 0; i < slots; ++i) {
        if (i >= kept && i < slots - kept)
            entries_[i].peFlags = noCollapse;
        else if (system.onlyBlackAndWhiteKept)
            entries_[i] = entryOf(i == 0 ? RGB_Color() : ~RGB_Color());
        else
            entries_[i] = {system.entries[i].peRed, system.entries[i].peGreen,
                           system.entries[i].peBlue, 0};
    }
}

void GPalette::savePLT(opstream & out) const {
    out.writeDWord(pltMark);
    out.writeWord(count_);
    for (int i = 0; i < count_; ++i)
        out << (*this)[static_cast<unsigned char>(i)];
}

void GPalette::loadPLT(ipstream & in) {
    in.readDWord();
    int const count = in.readWord();
    resize(count, 0);
    // A count that is too great still tells how many colours there are to be stepped over; those
    // come round to slot 0.
    for (int i = 0; i < count && in; ++i) {
        RGB_Color color;
        in >> color;
        entries_[i % slots] = entryOf(color);
    }
}

void GPalette::write(opstream & out) {
    out.writeByte(1);
    savePLT(out);
}

void GPalette::read(ipstream & in) {
    in.readByte();
    loadPLT(in);
}

void GPalette::start_read(MapFormat, int, int, GPalette const * palette) {
    if (palette)
        *this = *palette;
}

void GPalette::SetProgramPalette(GPalette const & palette, unsigned char identity) {
    program().palette = palette;
    if (identity)
        program().palette.make_identity_palette();
    program().changes.call(GCallBackReason(0), nullptr);
}

GPalette const & GPalette::GetProgramPalette() {
    return program().palette;
}

HPALETTE GPalette::GetProgramHPALETTE() {
    return program().palette.get_HPALETTE();
}

void GPalette::SetCallbackOnChangeProgramPalette(GCallBackFunction function, void * data) {
    program().changes.attach_callback(function, GCallBackReason(0), data);
}

void GPalette::RemoveCallbackOnChangeProgramPalette(GCallBackFunction function, void * data) {
    program().changes.detach_callback(function, GCallBackReason(0), data);
}

bool GPalette::CompareRGB(GPalette const * a, GPalette const * b) {
    if (a == b)
        return true;
    if (!a || !b || a->count_ != b->count_ || a->first_ != b->first_)
        return false;
    PALETTEENTRY const * const from = a->entries_ + a->first_;
    return std::equal(from, from + a->count_, b->entries_ + b->first_, sameColor);
}

void GPalette::ConstructDecodeTable(GPalette const * to, GPalette const * from,
                                    unsigned char * table) {
    if (!to || !from) {
        std::memset(table, 0, slots);
        return;
    }
    for (int i = 0; i < slots; ++i) {
        auto const slot = static_cast<unsigned char>(i);
        bool const inWindow = i >= to->first_ && i < to->first_ + to->count_;
        table[i] = inWindow && sameColor(to->entries_[i], from->entries_[i])
                       ? slot
                       : to->get_index((*from)[slot]);
    }
}
