// The value model of the engine. Whatever crosses the reflective boundary (a property, an argument,
// a variable of a script, an element of an array) is one of twelve kinds of value in a small
// reference-counted cell. Two handles stand on that cell and differ only in what an assignment
// means: a VariableRef is an alias that writes through to everybody on the cell, a VariableVar is a
// value that leaves a shared cell before it writes. Both are one pointer wide and have no virtual
// operations, so that vectors of them move by blocks. Cells come from a pool that keeps them and
// their boxes for reuse: values come and go at every step of a script without touching the heap.
// Nothing here is locked: all handles belong to one thread at a time.
#pragma once

#include "foundation/GPoint.h"
#include "foundation/Vector2D.h"
#include "platform/Export.h"
#include "platform/Prefetch.h"
#include "platform/SystemTypes.h"
#include "tavlinbase/NameLink.h"
#include "tavlinbase/TRef.h"

#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

class GRTTIObject;
class ipstream;
class opstream;

namespace Tavlin {

class Object;

/// The kinds of value. The numbers stand in files and in dispatcher tables.
enum VariableTypes : std::int32_t {
    UNDEFINED = -1, ///< a handle without a cell
    INT = 0,        ///< int
    FLOAT = 1,      ///< float
    CHARPTR = 2,    ///< char const *, a private copy
    VECTOR3D = 3,   ///< _D3DVECTOR
    VECTOR2D = 4,   ///< Vector2D
    OBJECT = 5,     ///< TRef<Object>
    GRTTI = 6,      ///< GRTTIObject *, borrowed: neither counted nor freed
    GPOINT = 7,     ///< GPoint, 32 bits each
    NAMELINKID = 8, ///< NameLinkID
    D3DMATRIX = 9,  ///< _D3DMATRIX
    ARRAY = 10,     ///< TRef<Object> to an object that offers IVRefArray
    REF = 11        ///< TRef<RefCounter>
};

/// The cell that handles share. `value` is the value itself or the pointer to its text or box; the
/// kinds of 32 bits use its low half and clear the rest, so that "the word is zero" means the same
/// everywhere.
struct VariableData {
    std::int32_t refCount; ///< handles on the cell; 0 in the pool
    VariableTypes type;    ///< never changes while the cell is out of the pool
    union {
        std::uintptr_t value;
        NameLinkID name;
    };
    /// The next cell in the pool. Out of the pool it is null, or the cell itself as the mark of a
    /// constant.
    VariableData * nextFree;

    explicit VariableData(VariableTypes kind)
        : refCount(0), type(kind), value(0), nextFree(nullptr) {}
    template <class T>
    T * box() const {
        return reinterpret_cast<T *>(value);
    }
};
static_assert(sizeof(NameLinkID) == sizeof(void *) && std::is_trivially_copyable_v<NameLinkID>);
static_assert(sizeof(void *) != 4 ||
                  (sizeof(VariableData) == 16 && offsetof(VariableData, type) == 4 &&
                   offsetof(VariableData, value) == 8 && offsetof(VariableData, nextFree) == 12),
              "a cell is four words of 32 bits");

/// The one pool of cells: a free list per kind. It can be used while statics start, and its memory
/// is given back at exit once every cell has come home.
class ONDREL_API DynamicVariablesManager {
  public:
    static constexpr int kinds = REF + 1;

    virtual ~DynamicVariablesManager();
    DynamicVariablesManager(DynamicVariablesManager const &) = delete;
    DynamicVariablesManager & operator=(DynamicVariablesManager const &) = delete;

    static inline DynamicVariablesManager & Get();

    /// A cell with one share, for the caller to store in. What it held before is still in it.
    VariableData * take(VariableTypes kind) {
        assert(kind >= 0 && kind < kinds);
        VariableData * cell = heads_[kind];
        if (!cell) [[unlikely]]
            cell = grow(kind);
        heads_[kind] = cell->nextFree;
        cell->nextFree = nullptr;
        cell->refCount = 1;
        return cell;
    }
    /// Drops one share; null is tolerated. The last one frees text and references, after which the
    /// cell goes home. That may run any destructor.
    void drop(VariableData * cell) {
        if (!cell || --cell->refCount != 0)
            return;
        if (owningKinds >> cell->type & 1) [[unlikely]]
            releaseValue(cell);
        cell->nextFree = heads_[cell->type];
        heads_[cell->type] = cell;
    }

    /// How many cells of a kind there are, at home or out: never less than were out at once.
    long getCellCount(VariableTypes kind) const { return cellCounts_[kind]; }
    /// How many of them are at home; counts them one by one.
    long getFreeCount(VariableTypes kind) const;

  private:
    struct Block;
    friend union DynamicVariablesStorage;
    friend struct DynamicVariablesCloser;

    static constexpr unsigned owningKinds = 1u << CHARPTR | 1u << OBJECT | 1u << ARRAY | 1u << REF;

    constexpr DynamicVariablesManager() = default;
    VariableData * grow(VariableTypes kind);
    void release();
    static void releaseValue(VariableData * cell);

    VariableData * heads_[kinds] = {};
    Block * blocks_ = nullptr;
    std::int32_t cellCounts_[kinds] = {};
};

/// Keeps the pool's place for as long as the process lives, whatever the order of statics.
union DynamicVariablesStorage {
    DynamicVariablesManager manager;
    constexpr DynamicVariablesStorage() : manager() {}
    ~DynamicVariablesStorage() {}
};
ONDREL_API extern DynamicVariablesStorage g_dynamicVariables;

inline DynamicVariablesManager & DynamicVariablesManager::Get() {
    return g_dynamicVariables.manager;
}

/// What the two handles have in common. Readers return the stored bits without a look at the kind,
/// and need a cell: whoever does not know tests type() first.
class ONDREL_API _Variable {
  public:
    VariableTypes type() const { return data_ ? data_->type : UNDEFINED; }
    bool isEmpty() const { return data_ == nullptr; }
    bool operator==(_Variable const & other) const {
        return data_ == other.data_ || (data_ && other.data_ && equalCells(*data_, *other.data_));
    }
    bool operator!=(_Variable const & other) const { return !(*this == other); }

    /// A new cell, whatever the handle holds: only for an empty one. Its value is what the pool
    /// left in it, so store at once.
    void create(VariableTypes kind) { data_ = pool().take(kind); }
    void createIfEmpty(VariableTypes kind) {
        if (!data_)
            create(kind);
    }
    /// Drops the share in the cell.
    void empty() { dispose(); }
    /// Shares the cell of the other; empty if that is. Takes the new share before it drops the old.
    void link(_Variable const & other) {
        VariableData * const old = data_;
        data_ = share(other.data_);
        pool().drop(old);
    }

    int asINT() const { return static_cast<std::int32_t>(static_cast<std::uint32_t>(word())); }
    float asFLOAT() const { return std::bit_cast<float>(static_cast<std::uint32_t>(word())); }
    char const * asCHARPTR() const { return reinterpret_cast<char const *>(word()); }
    /// References into the cell, valid as long as it lives.
    _D3DVECTOR const & asVECTOR3D() const { return boxed<_D3DVECTOR>(VECTOR3D); }
    Vector2D const & asVECTOR2D() const { return boxed<Vector2D>(VECTOR2D); }
    TRef<Object> const & asOBJECT() const { return boxed<TRef<Object>>(OBJECT); }
    GRTTIObject * asGRTTI() const { return reinterpret_cast<GRTTIObject *>(word()); }
    GPoint const & asGPOINT() const { return boxed<GPoint>(GPOINT); }
    NameLinkID const & asNAMELINKID() const {
        assert(data_);
        return data_->name;
    }
    _D3DMATRIX const & asD3DMATRIX() const { return boxed<_D3DMATRIX>(D3DMATRIX); }
    TRef<Object> const & asARRAY() const { return boxed<TRef<Object>>(ARRAY); }
    TRef<RefCounter> const & asREF() const { return boxed<TRef<RefCounter>>(REF); }

    operator int() const { return asINT(); }
    operator float() const { return asFLOAT(); }
    operator char const *() const { return asCHARPTR(); }
    operator _D3DVECTOR const &() const { return asVECTOR3D(); }
    operator Vector2D const &() const { return asVECTOR2D(); }
    operator TRef<Object> const &() const { return asOBJECT(); }
    operator GRTTIObject *() const { return asGRTTI(); }
    operator GPoint const &() const { return asGPOINT(); }
    operator NameLinkID const &() const { return asNAMELINKID(); }
    operator _D3DMATRIX const &() const { return asD3DMATRIX(); }

    /// Has the cell at hand soon.
    void prefetchCell() const { platform::prefetch(data_); }
    /// Whether the value word is zero, the truth that scripts go by: for a text or a box it is not.
    bool isZero() const { return word() == 0; }

    /// Copy-on-write writers: a shared cell is left for a new one of the value's kind. A handle
    /// that is alone stores in its own cell, INT and FLOAT in each other's as well (they share the
    /// word, and the kind stays); where the value does not fit the cell, a new one takes its place.
    void asINT(int value) { ownCell(INT)->value = static_cast<std::uint32_t>(value); }
    void asFLOAT(float value) { ownCell(FLOAT)->value = std::bit_cast<std::uint32_t>(value); }
    /// The old text goes first, so `text` must not be the handle's own. Null counts as empty.
    void asCHARPTR(char const * text);
    void asVECTOR3D(_D3DVECTOR const & value) { storeOwn(VECTOR3D, value); }
    void asVECTOR2D(Vector2D const & value) { storeOwn(VECTOR2D, value); }
    void asOBJECT(TRef<Object> const & value);
    void asGRTTI(GRTTIObject const * value) { ownCell(GRTTI)->value = wordOf(value); }
    void asGPOINT(GPoint const & value) { storeOwn(GPOINT, value); }
    void asNAMELINKID(NameLinkID value) { ownCell(NAMELINKID)->name = value; }
    void asD3DMATRIX(_D3DMATRIX const & value) { storeOwn(D3DMATRIX, value); }
    void asARRAY(TRef<Object> const & value);
    void asREF(TRef<RefCounter> const & value);

    /// The same writers, chosen by the type of the value.
    void copy(int value) { asINT(value); }
    void copy(float value) { asFLOAT(value); }
    void copy(char const * value) { asCHARPTR(value); }
    void copy(_D3DVECTOR const & value) { asVECTOR3D(value); }
    void copy(Vector2D const & value) { asVECTOR2D(value); }
    void copy(TRef<Object> const & value) { asOBJECT(value); }
    void copy(GRTTIObject const * value) { asGRTTI(value); }
    void copy(GPoint const & value) { asGPOINT(value); }
    void copy(NameLinkID value) { asNAMELINKID(value); }
    void copy(_D3DMATRIX const & value) { asD3DMATRIX(value); }
    /// The other's value through the writer of its kind; an empty one empties this handle.
    void copy(_Variable const & other);

    /// Marks the cell as a constant that many share: from then on a write in place through any
    /// VariableRef leaves it and goes to a new cell of that handle.
    void setConstant() {
        assert(data_);
        data_->nextFree = data_;
    }
    bool isConstant() const { return data_ && data_->nextFree; }
    /// Moves a handle that stands on a constant to a cell of its own with the same value. Whoever
    /// hands out aliases of what he keeps does this first, or writes through them would be lost.
    void leaveConstant() {
        if (isConstant()) [[unlikely]]
            copyConstant();
    }
    /// For tests and tools: whether both stand on one cell.
    bool sharesCellWith(_Variable const & other) const { return data_ && data_ == other.data_; }

  protected:
    _Variable() = default;
    _Variable(_Variable const & other) : data_(share(other.data_)) {}
    _Variable(_Variable && other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
    _Variable & operator=(_Variable const &) = delete;
    /// Values take a cell of the matching kind; a TRef<Object> gives OBJECT.
    explicit _Variable(int value) : data_(pool().take(INT)) {
        data_->value = static_cast<std::uint32_t>(value);
    }
    explicit _Variable(float value) : data_(pool().take(FLOAT)) {
        data_->value = std::bit_cast<std::uint32_t>(value);
    }
    explicit _Variable(char const * value) { asCHARPTR(value); }
    explicit _Variable(_D3DVECTOR const & value) { asVECTOR3D(value); }
    explicit _Variable(Vector2D const & value) { asVECTOR2D(value); }
    explicit _Variable(TRef<Object> const & value) { asOBJECT(value); }
    explicit _Variable(GRTTIObject const * value) : data_(pool().take(GRTTI)) {
        data_->value = wordOf(value);
    }
    explicit _Variable(GPoint const & value) { asGPOINT(value); }
    explicit _Variable(NameLinkID value) : data_(pool().take(NAMELINKID)) { data_->name = value; }
    explicit _Variable(_D3DMATRIX const & value) { asD3DMATRIX(value); }
    ~_Variable() { pool().drop(data_); }

    /// The handle is empty before anything that the cell held is released.
    void dispose() { pool().drop(std::exchange(data_, nullptr)); }
    /// Leaves a shared cell; afterwards there is one.
    void assureUniqueAndValid(VariableTypes kind) {
        if (data_ && data_->refCount >= 2)
            dispose();
        createIfEmpty(kind);
    }

    static DynamicVariablesManager & pool() { return DynamicVariablesManager::Get(); }
    static VariableData * share(VariableData * cell) {
        if (cell)
            ++cell->refCount;
        return cell;
    }
    static std::uintptr_t wordOf(void const * pointer) {
        return reinterpret_cast<std::uintptr_t>(pointer);
    }
    static bool equalCells(VariableData const & a, VariableData const & b);
    /// Whether a cell of kind `cell` can hold the bits of a value of kind `value`.
    static constexpr bool fits(VariableTypes value, VariableTypes cell) {
        return value == cell || (value <= FLOAT && cell <= FLOAT) ||
               ((value == OBJECT || value == ARRAY) && (cell == OBJECT || cell == ARRAY));
    }

    std::uintptr_t word() const {
        assert(data_);
        return data_->value;
    }
    template <class T>
    T const & boxed([[maybe_unused]] VariableTypes kind) const {
        assert(data_ && fits(kind, data_->type));
        return *data_->box<T>();
    }
    /// The cell that a copy-on-write writer stores in.
    VariableData * ownCell(VariableTypes kind) {
        if (!data_)
            create(kind);
        else if (data_->refCount != 1 || data_->type != kind) [[unlikely]]
            leaveCell(kind);
        return data_;
    }
    template <class T>
    void storeOwn(VariableTypes kind, T const & value) {
        T const copied = value; // it may lie in the cell that is being left
        *ownCell(kind)->box<T>() = copied;
    }
    void leaveCell(VariableTypes kind);
    void copyConstant();

    VariableData * data_ = nullptr;
};

/// An alias of a cell: what a dispatcher hands out for a member, and what scripts write through.
/// Construction shares, `link` binds anew, and every assignment is a write into the cell that all
/// handles on it see. A write that would not fit the cell (a text is no number, a box no other box)
/// leaves it as it is, so no script can bring the cell out of order; INT and FLOAT share the word,
/// OBJECT and ARRAY the reference, and the kind of the cell stays.
class ONDREL_API VariableRef : public _Variable {
  public:
    VariableRef() = default;
    VariableRef(VariableRef const & other) : _Variable(other) {}
    VariableRef(VariableRef && other) noexcept : _Variable(std::move(other)) {}
    VariableRef(_Variable const & other) : _Variable(other) {}
    VariableRef(int value) : _Variable(value) {}
    VariableRef(float value) : _Variable(value) {}
    VariableRef(char const * value) : _Variable(value) {}
    VariableRef(_D3DVECTOR const & value) : _Variable(value) {}
    VariableRef(Vector2D const & value) : _Variable(value) {}
    VariableRef(TRef<Object> const & value) : _Variable(value) {}
    template <class T, class = std::enable_if_t<std::is_base_of_v<Object, T>>>
    VariableRef(TRef<T> const & value) : _Variable(TRef<Object>(value)) {}
    VariableRef(GRTTIObject const * value) : _Variable(value) {}
    VariableRef(GPoint const & value) : _Variable(value) {}
    VariableRef(NameLinkID value) : _Variable(value) {}
    VariableRef(_D3DMATRIX const & value) : _Variable(value) {}

    /// A value of exactly that kind.
    static VariableRef AsINT(int value) { return value; }
    static VariableRef AsFLOAT(float value) { return value; }
    static VariableRef AsCHARPTR(char const * value) { return value; }
    static VariableRef AsVECTOR3D(_D3DVECTOR const & value) { return value; }
    static VariableRef AsVECTOR2D(Vector2D const & value) { return value; }
    static VariableRef AsOBJECT(TRef<Object> const & value) { return value; }
    static VariableRef AsGRTTI(GRTTIObject const * value) { return value; }
    static VariableRef AsGPOINT(GPoint const & value) { return value; }
    static VariableRef AsNAMELINKID(NameLinkID value) { return value; }
    static VariableRef AsD3DMATRIX(_D3DMATRIX const & value) { return value; }
    static VariableRef AsARRAY(TRef<Object> const & value);
    static VariableRef AsREF(TRef<RefCounter> const & value);

    using _Variable::asINT, _Variable::asFLOAT, _Variable::asCHARPTR, _Variable::asVECTOR3D,
        _Variable::asVECTOR2D, _Variable::asOBJECT, _Variable::asGRTTI, _Variable::asGPOINT,
        _Variable::asNAMELINKID, _Variable::asD3DMATRIX, _Variable::asARRAY, _Variable::asREF;

    /// Writers in place; an empty handle gets a cell first. False: the value does not fit the cell,
    /// and nothing has changed.
    bool asINT(int value) {
        VariableData * const cell = cellFor(INT);
        return cell && (cell->value = static_cast<std::uint32_t>(value), true);
    }
    bool asFLOAT(float value) {
        VariableData * const cell = cellFor(FLOAT);
        return cell && (cell->value = std::bit_cast<std::uint32_t>(value), true);
    }
    /// Copies first and frees the old text afterwards, which may be `text`. Null counts as empty.
    bool asCHARPTR(char const * text);
    bool asVECTOR3D(_D3DVECTOR const & value) { return storeIn(VECTOR3D, value); }
    bool asVECTOR2D(Vector2D const & value) { return storeIn(VECTOR2D, value); }
    bool asOBJECT(TRef<Object> const & value);
    bool asGRTTI(GRTTIObject const * value) {
        VariableData * const cell = cellFor(GRTTI);
        return cell && (cell->value = wordOf(value), true);
    }
    bool asGPOINT(GPoint const & value) { return storeIn(GPOINT, value); }
    bool asNAMELINKID(NameLinkID value) {
        VariableData * const cell = cellFor(NAMELINKID);
        return cell && (cell->name = value, true);
    }
    bool asD3DMATRIX(_D3DMATRIX const & value) { return storeIn(D3DMATRIX, value); }
    bool asARRAY(TRef<Object> const & value);
    bool asREF(TRef<RefCounter> const & value);

    /// The same writers, chosen by the type of the value.
    VariableRef & operator=(int value) { return asINT(value), *this; }
    VariableRef & operator=(float value) { return asFLOAT(value), *this; }
    VariableRef & operator=(char const * value) { return asCHARPTR(value), *this; }
    VariableRef & operator=(_D3DVECTOR const & value) { return asVECTOR3D(value), *this; }
    VariableRef & operator=(Vector2D const & value) { return asVECTOR2D(value), *this; }
    VariableRef & operator=(TRef<Object> const & value) { return asOBJECT(value), *this; }
    template <class T, class = std::enable_if_t<std::is_base_of_v<Object, T>>>
    VariableRef & operator=(TRef<T> const & value) {
        return asOBJECT(TRef<Object>(value)), *this;
    }
    VariableRef & operator=(GRTTIObject const * value) { return asGRTTI(value), *this; }
    VariableRef & operator=(GPoint const & value) { return asGPOINT(value), *this; }
    VariableRef & operator=(NameLinkID value) { return asNAMELINKID(value), *this; }
    VariableRef & operator=(_D3DMATRIX const & value) { return asD3DMATRIX(value), *this; }
    /// Writes the other's value in place. From an empty one this handle goes empty, and its cell
    /// stays as it is for the others on it.
    VariableRef & operator=(VariableRef const & other) { return assign(other), *this; }
    VariableRef & operator=(_Variable const & other) { return assign(other), *this; }

    /// What operator= does. False: the value does not fit the cell, and nothing has changed.
    bool assign(_Variable const & other);
    /// The assignment of scripts: only between equal kinds, or between INT and FLOAT. False: the
    /// kinds do not meet, and nothing has changed.
    bool tryAssign(_Variable const & other);

  private:
    /// The cell that a writer in place stores in; null when the value would not fit.
    VariableData * cellFor(VariableTypes kind) {
        VariableData * const cell = data_;
        if (!cell)
            return data_ = pool().take(kind);
        if (cell->type == kind && !cell->nextFree) [[likely]]
            return cell;
        return otherCellFor(kind);
    }
    VariableData * otherCellFor(VariableTypes kind);
    template <class T>
    bool storeIn(VariableTypes kind, T const & value) {
        T const copied = value; // it may lie in the cell that is being left
        VariableData * const cell = cellFor(kind);
        return cell && (*cell->box<T>() = copied, true);
    }
};

/// A value: assignments between two of them share the cell until one is written, and all others
/// copy. What a host keeps as a reflected member.
class ONDREL_API VariableVar : public _Variable {
  public:
    VariableVar() = default;
    /// Constructors share.
    VariableVar(VariableVar const & other) : _Variable(other) {}
    VariableVar(VariableVar && other) noexcept : _Variable(std::move(other)) {}
    VariableVar(_Variable const & other) : _Variable(other) {}
    VariableVar(int value) : _Variable(value) {}
    VariableVar(float value) : _Variable(value) {}
    VariableVar(char const * value) : _Variable(value) {}
    VariableVar(_D3DVECTOR const & value) : _Variable(value) {}
    VariableVar(Vector2D const & value) : _Variable(value) {}
    VariableVar(TRef<Object> const & value) : _Variable(value) {}
    template <class T, class = std::enable_if_t<std::is_base_of_v<Object, T>>>
    VariableVar(TRef<T> const & value) : _Variable(TRef<Object>(value)) {}
    VariableVar(GRTTIObject const * value) : _Variable(value) {}
    VariableVar(GPoint const & value) : _Variable(value) {}
    VariableVar(NameLinkID value) : _Variable(value) {}
    VariableVar(_D3DMATRIX const & value) : _Variable(value) {}

    /// The copy-on-write writer of the value's type.
    VariableVar & operator=(int value) { return copy(value), *this; }
    VariableVar & operator=(float value) { return copy(value), *this; }
    VariableVar & operator=(char const * value) { return copy(value), *this; }
    VariableVar & operator=(_D3DVECTOR const & value) { return copy(value), *this; }
    VariableVar & operator=(Vector2D const & value) { return copy(value), *this; }
    VariableVar & operator=(TRef<Object> const & value) { return copy(value), *this; }
    template <class T, class = std::enable_if_t<std::is_base_of_v<Object, T>>>
    VariableVar & operator=(TRef<T> const & value) {
        return copy(TRef<Object>(value)), *this;
    }
    VariableVar & operator=(GRTTIObject const * value) { return copy(value), *this; }
    VariableVar & operator=(GPoint const & value) { return copy(value), *this; }
    VariableVar & operator=(NameLinkID value) { return copy(value), *this; }
    VariableVar & operator=(_D3DMATRIX const & value) { return copy(value), *this; }
    /// Shares the cell.
    VariableVar & operator=(VariableVar const & other) { return link(other), *this; }
    /// Copies the value; what an assignment from a VariableRef does.
    VariableVar & operator=(_Variable const & other) { return copy(other), *this; }
};

static_assert(sizeof(VariableRef) == sizeof(void *) && sizeof(VariableVar) == sizeof(void *));

/// Byte 0, the kind in 32 bits (-1 for empty, which ends the record), the value. An unknown version
/// or kind raises XStrVer. A GRTTI value goes as a pointer to its object, which must be a
/// GStreamable: of another object nothing is written behind the kind, and no reader can follow.
ONDREL_API opstream & operator<<(opstream & out, VariableVar & variable);
ONDREL_API ipstream & operator>>(ipstream & in, VariableVar & variable);
ONDREL_API opstream & operator<<(opstream & out, VariableRef & variable);
/// A value of the kind that the handle has goes into its cell, where all aliases see it; another
/// one gets a cell of its own.
ONDREL_API ipstream & operator>>(ipstream & in, VariableRef & variable);

} // namespace Tavlin
