// Sequences in use and the locations that keep them.
#include "kvt_grph/PixelMapSequence.h"

#include "persistence/pstream.h"

#include <cstdint>
#include <typeinfo>

G_DEFINE_CLASS(PixelMapSequence, "PixelMapSequence", GStreamable)
G_DEFINE_CREATABLE(PixelMapLocation, "PixelMapLocation", GStreamable)

namespace {

/// One lock for the registry and for all lists of locations.
constinit GCriticalSection guard;

/// All sequences in use, by address.
class Registry : public TGSortedCollection<PixelMapSequence> {
  public:
    Registry() : TGSortedCollection<PixelMapSequence>(0, 4, 0) {}
};

Registry & registry() {
    static Registry sequences;
    return sequences;
}

} // namespace

PixelMapSequence::PixelMapSequence(PixelMapSequence const & other)
    : GStreamable(other), locations_(other.locations_) {}

PixelMapSequence & PixelMapSequence::operator=(PixelMapSequence const & other) {
    GStreamable::operator=(other);
    locations_ = other.locations_;
    return *this;
}

void PixelMapSequence::get_readable_name(long, GString & name, unsigned int * flags) {
    name = GString();
    if (flags)
        *flags = 0;
}

void PixelMapSequence::fix_map(long, bool) {}

bool PixelMapSequence::exists(long) const {
    return true;
}

void PixelMapSequence::change_not_exists(long) {}

void PixelMapSequence::collect_all_files(long, TGVector<GFile> &) {}

void PixelMapSequence::adopt(PixelMapSequence &) {}

bool PixelMapSequence::operator==(PixelMapSequence const & other) const {
    return typeid(*this) == typeid(other) && is_same_as(other);
}

void PixelMapSequence::check_and_change(long index) {
    if (!exists(index))
        change_not_exists(index);
}

PixelMapLocation::PixelMapLocation(PixelMapSequence * sequence) {
    set_sequence(sequence);
}

PixelMapLocation::PixelMapLocation(PixelMapLocation const & other) : GStreamable(other) {
    *this = other;
}

PixelMapLocation::~PixelMapLocation() {
    assign(nullptr, false);
}

PixelMapLocation & PixelMapLocation::operator=(PixelMapLocation const & other) {
    assign(other.sequence_, false);
    set_index(other.index_);
    return *this;
}

void PixelMapLocation::set_sequence(PixelMapSequence * sequence) {
    assign(sequence, true);
}

void PixelMapLocation::assign(PixelMapSequence * sequence, bool match) {
    GSingleLock const lock(guard);
    if (sequence == sequence_)
        return;
    if (match && (sequence = ConvertToMatched(sequence)) == sequence_)
        return;
    unref();
    sequence_ = sequence;
    ref();
}

/// The sequence in use that this one is, or is equal to; null if there is none.
PixelMapSequence * PixelMapLocation::FindMatch(PixelMapSequence const & sequence) {
    Registry & all = registry();
    // One in use stays, even if it has become equal to another: there are locations on it.
    for (long i = all.getCount() - 1; i >= 0; --i)
        if (all.at(i) == &sequence)
            return all.at(i);
    for (long i = all.getCount() - 1; i >= 0; --i)
        if (*all.at(i) == sequence)
            return all.at(i);
    return nullptr;
}

PixelMapSequence * PixelMapLocation::ConvertToMatched(PixelMapSequence * sequence) {
    GSingleLock const lock(guard);
    if (!sequence)
        return nullptr;
    PixelMapSequence * const match = FindMatch(*sequence);
    if (!match)
        registry().insert(sequence);
    if (!match || match == sequence)
        return sequence;
    sequence->adopt(*match);
    delete sequence;
    return match;
}

void PixelMapLocation::ref() {
    if (!sequence_)
        return;
    GSingleLock const lock(guard);
    previous_ = nullptr;
    next_ = sequence_->locations_;
    if (next_)
        next_->previous_ = this;
    sequence_->locations_ = this;
    fix_map(true);
}

void PixelMapLocation::unref() {
    if (!sequence_)
        return;
    GSingleLock const lock(guard);
    (previous_ ? previous_->next_ : sequence_->locations_) = next_;
    if (next_)
        next_->previous_ = previous_;
    previous_ = next_ = nullptr;
    fix_map(false);
    PixelMapSequence * const left = sequence_;
    sequence_ = nullptr;
    if (left->locations_)
        return;
    if (long const index = registry().index_of(left); index >= 0)
        registry().at_remove(index);
    delete left;
}

bool PixelMapLocation::valid_index() const {
    return index_ >= 0 && index_ < get_map_count();
}

void PixelMapLocation::fix_map(bool fix) {
    if (valid_index())
        sequence_->fix_map(index_, fix);
}

void PixelMapLocation::set_index(long index) {
    if (index == index_)
        return;
    fix_map(false);
    index_ = index;
    fix_map(true);
}

bool PixelMapLocation::exists() const {
    for (long i = get_map_count() - 1; i >= 0; --i)
        if (!sequence_->exists(i))
            return false;
    return true;
}

void PixelMapLocation::check_and_change() {
    for (long i = get_map_count() - 1; i >= 0; --i)
        sequence_->check_and_change(i);
}

long PixelMapLocation::get_map_count() const {
    return sequence_ ? sequence_->get_map_count() : 0;
}

PixelMap * PixelMapLocation::get_map() const {
    return valid_index() ? sequence_->get_map(index_) : nullptr;
}

GString PixelMapLocation::get_name(unsigned int * flags) const {
    GString name;
    unsigned int own = 0;
    if (sequence_)
        sequence_->get_readable_name(index_, name, &own);
    if (flags)
        *flags = own;
    return name;
}

void PixelMapLocation::get_siblings(TGCollection<PixelMapLocation> & locations) const {
    GSingleLock const lock(guard);
    locations.empty();
    locations.shouldDelete(0);
    for (PixelMapLocation * i = sequence_ ? sequence_->locations_ : nullptr; i; i = i->next_)
        locations.insert(i);
}

void PixelMapLocation::collect_all_files(TGVector<GFile> & files) const {
    if (sequence_)
        sequence_->collect_all_files(index_, files);
}

void PixelMapLocation::GetAllLocations(TGVector<PixelMapLocation> & locations) {
    GSingleLock const lock(guard);
    locations.empty();
    for (long i = 0; i < registry().getCount(); ++i)
        locations.insert(PixelMapLocation(registry().at(i)));
}

void PixelMapLocation::write(opstream & out) {
    out.writeByte(0);
    out.writePointer(sequence_);
    out.writeDWord(static_cast<std::uint32_t>(index_));
}

void PixelMapLocation::read(ipstream & in) {
    in.readByte();
    auto * const sequence = in.readPointer<PixelMapSequence>();
    auto const index = static_cast<std::int32_t>(in.readDWord());
    {
        GSingleLock const lock(guard);
        // A location that comes later in the stream gets the sequence that this one ends for.
        PixelMapSequence * const match = sequence ? FindMatch(*sequence) : nullptr;
        if (match && match != sequence)
            in.replaceRegistredStreamable(sequence, match);
        set_sequence(sequence);
    }
    set_index(index);
}
