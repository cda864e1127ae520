// Numbered pixel maps, such as the frames of an animation, and handles to one of them. Handles are
// values; the sequences behind them are shared: a handle on a new sequence that is equal to one in
// use ends up on that one, and a sequence lives as long as there is a handle on it. Hosts derive
// the sequences.
#pragma once

#include "foundation/GCollection.h"
#include "foundation/GCriticalSection.h"
#include "foundation/GFile.h"
#include "foundation/GSortedCollection.h"
#include "foundation/GStreamable.h"
#include "foundation/GString.h"
#include "foundation/TGVector.h"
#include "kvt_grph/PixelMap.h"

class PixelMapLocation;

/// The maps by number. A host derives one that knows where they come from.
class ONDREL_API PixelMapSequence : public GStreamable {
    G_DECLARE_CLASS(PixelMapSequence)
  public:
    PixelMapSequence() = default;
    explicit PixelMapSequence(StreamableInit init) : GStreamable(init) {}
    /// A copy has the members of the other, its list of locations included.
    PixelMapSequence(PixelMapSequence const & other);
    PixelMapSequence & operator=(PixelMapSequence const & other);

    virtual long get_map_count() = 0;
    /// Owned by the sequence; `index` from 0 to get_map_count() - 1.
    virtual PixelMap * get_map(long index) = 0;
    /// A name for people, and flags of the host, which may be null.
    virtual void get_readable_name(long index, GString & name, unsigned int * flags);
    /// A location begins or ends to stand on a map: a sequence may count who uses what.
    virtual void fix_map(long index, bool fix);
    virtual bool exists(long index) const;
    /// Told of a map that does not exist.
    virtual void change_not_exists(long index);
    virtual void collect_all_files(long index, TGVector<GFile> & files);
    /// Whether one will do for the other; both are of the same class.
    virtual bool is_same_as(PixelMapSequence const & other) const = 0;
    /// `other`, which is in use, will stand for this one, which ends.
    virtual void adopt(PixelMapSequence & other);

    /// The same class, and the same by is_same_as.
    bool operator==(PixelMapSequence const & other) const;
    /// change_not_exists unless the map exists.
    void check_and_change(long index);

  protected:
    GCriticalSection lock; ///< for the derived class

  private:
    friend class PixelMapLocation;
    PixelMapLocation * locations_ = nullptr; // the newest one
};

/// Locations may be used by several threads, each by one at a time.
class ONDREL_API PixelMapLocation : public GStreamable {
    G_DECLARE_CREATABLE(PixelMapLocation)
  public:
    PixelMapLocation() = default;
    /// See set_sequence.
    explicit PixelMapLocation(PixelMapSequence * sequence);
    PixelMapLocation(PixelMapLocation const & other);
    explicit PixelMapLocation(StreamableInit init) : GStreamable(init) {}
    ~PixelMapLocation() override;
    PixelMapLocation & operator=(PixelMapLocation const & other);

    /// The same map of the same sequence.
    bool operator==(PixelMapLocation const & other) const {
        return index_ == other.index_ && sequence_ == other.sequence_;
    }

    /// Takes the sequence over: it is deleted when an equal one is in use, which is taken then, and
    /// else with its last location. Null leaves the present one.
    void set_sequence(PixelMapSequence * sequence);
    PixelMapSequence * get_sequence() const { return sequence_; }
    /// May be out of range: there is no map then.
    void set_index(long index);
    long get_index() const { return index_; }

    /// Whether all maps of the sequence exist; true without a sequence.
    bool exists() const;
    /// Has the sequence change all maps that do not exist, the last one first.
    void check_and_change();
    /// 0 without a sequence.
    long get_map_count() const;
    /// Null when there is none of that index.
    PixelMap * get_map() const;
    /// `flags` may be null.
    GString get_name(unsigned int * flags) const;
    /// All locations on this sequence, this one included; the collection does not own them.
    void get_siblings(TGCollection<PixelMapLocation> & locations) const;
    void collect_all_files(TGVector<GFile> & files) const;
    /// One location on the first map of each sequence in use.
    static void GetAllLocations(TGVector<PixelMapLocation> & locations);

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    void assign(PixelMapSequence * sequence, bool match);
    void ref();
    void unref();
    bool valid_index() const;
    void fix_map(bool fix);
    static PixelMapSequence * FindMatch(PixelMapSequence const & sequence);
    static PixelMapSequence * ConvertToMatched(PixelMapSequence * sequence);

    PixelMapSequence * sequence_ = nullptr;
    long index_ = 0;
    PixelMapLocation * previous_ = nullptr; // in the list of the sequence
    PixelMapLocation * next_ = nullptr;
};
