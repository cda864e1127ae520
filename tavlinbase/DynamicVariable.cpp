// The pool, what the handles do off their short ways, and the streamed form of values. A block of
// cells has the box of each cell behind it, so that a new high-water mark costs one allocation for
// many cells and a cell lies beside its value.
#include "tavlinbase/DynamicVariable.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"
#include "tavlinbase/AUnknown.h"
#include "tavlinbase/TavlinObject.h"
#include "tavlinbase/TavlinThreads.h"

#include <cstring>
#include <new>

namespace Tavlin {

constinit DynamicVariablesStorage g_dynamicVariables;

namespace {

/// Guards nothing by itself: for hosts that hand values from one thread to another.
[[maybe_unused]] constinit CriticalSection g_guard{"DynamicVarManager"};

char const sourceName[] = "tavlinbase/DynamicVariable";
constexpr std::size_t blockBytes = 8192;

constexpr std::size_t aligned(std::size_t size) {
    constexpr std::size_t unit = alignof(std::max_align_t);
    return (size + unit - 1) / unit * unit;
}

constexpr std::size_t boxSize(VariableTypes kind) {
    switch (kind) {
        case VECTOR3D:
            return sizeof(_D3DVECTOR);
        case VECTOR2D:
            return sizeof(Vector2D);
        case GPOINT:
            return sizeof(GPoint);
        case D3DMATRIX:
            return sizeof(_D3DMATRIX);
        case OBJECT:
        case ARRAY:
            return sizeof(TRef<Object>);
        case REF:
            return sizeof(TRef<RefCounter>);
        default:
            return 0;
    }
}

void makeBox(VariableTypes kind, void * place) {
    switch (kind) {
        case VECTOR3D:
            new (place) _D3DVECTOR{};
            break;
        case VECTOR2D:
            new (place) Vector2D;
            break;
        case GPOINT:
            new (place) GPoint;
            break;
        case D3DMATRIX:
            new (place) _D3DMATRIX{};
            break;
        case OBJECT:
        case ARRAY:
            new (place) TRef<Object>;
            break;
        case REF:
            new (place) TRef<RefCounter>;
            break;
        default:
            break;
    }
}

char * textOf(VariableData const * cell) {
    return reinterpret_cast<char *>(cell->value);
}

void setText(VariableData * cell, char * text) {
    cell->value = reinterpret_cast<std::uintptr_t>(text);
}

char * copyOf(char const * text) {
    std::size_t const size = std::strlen(text) + 1;
    return static_cast<char *>(std::memcpy(new char[size], text, size));
}

/// An unordered pair counts as equal.
template <class T>
bool equalNumbers(T a, T b) {
    return !(a < b) && !(a > b);
}

bool equalNumbers(float const * a, float const * b, int count) {
    for (int i = 0; i < count; ++i)
        if (!equalNumbers(a[i], b[i]))
            return false;
    return true;
}

template <class T>
bool equalBoxes(VariableData const & a, VariableData const & b) {
    return a.box<TRef<T>>()->pointer() == b.box<TRef<T>>()->pointer();
}

} // namespace

struct DynamicVariablesManager::Block {
    Block * next;
};

/// Made when the first block is, so that it goes after every static which had a value by then.
struct DynamicVariablesCloser {
    ~DynamicVariablesCloser() { g_dynamicVariables.manager.release(); }
};

DynamicVariablesManager::~DynamicVariablesManager() {
    release();
}

VariableData * DynamicVariablesManager::grow(VariableTypes kind) {
    static DynamicVariablesCloser const closer;
    constexpr std::size_t header = aligned(sizeof(Block));
    std::size_t const stride = aligned(sizeof(VariableData) + boxSize(kind));
    std::size_t const count = (blockBytes - header) / stride;
    auto * const memory = static_cast<std::byte *>(::operator new(header + count * stride));
    blocks_ = new (memory) Block{blocks_};
    // From the last to the first, so that cells are taken in the order of their addresses.
    VariableData * next = heads_[kind];
    for (std::size_t i = count; i-- > 0;) {
        std::byte * const place = memory + header + i * stride;
        auto * const cell = new (place) VariableData(kind);
        if (boxSize(kind) != 0) {
            void * const box = place + sizeof(VariableData);
            makeBox(kind, box);
            cell->value = reinterpret_cast<std::uintptr_t>(box);
        }
        cell->nextFree = next;
        next = cell;
    }
    cellCounts_[kind] += static_cast<std::int32_t>(count);
    return heads_[kind] = next;
}

long DynamicVariablesManager::getFreeCount(VariableTypes kind) const {
    long count = 0;
    for (VariableData const * cell = heads_[kind]; cell; cell = cell->nextFree)
        ++count;
    return count;
}

/// A handle that outlives this finds the pool as it was: while a cell is out, nothing is freed.
void DynamicVariablesManager::release() {
    for (int kind = REF; kind >= INT; --kind)
        if (getFreeCount(VariableTypes(kind)) != cellCounts_[kind])
            return;
    for (int kind = REF; kind >= INT; --kind) {
        heads_[kind] = nullptr;
        cellCounts_[kind] = 0;
    }
    while (Block * const block = blocks_) {
        blocks_ = block->next;
        ::operator delete(block);
    }
}

/// What is released may run any destructor: by then the cell holds nothing any more.
void DynamicVariablesManager::releaseValue(VariableData * cell) {
    switch (cell->type) {
        case CHARPTR: {
            char * const text = textOf(cell);
            cell->value = 0;
            delete[] text;
            break;
        }
        case OBJECT:
        case ARRAY:
            cell->box<TRef<Object>>()->empty();
            break;
        case REF:
            cell->box<TRef<RefCounter>>()->empty();
            break;
        default:
            break;
    }
}

bool _Variable::equalCells(VariableData const & a, VariableData const & b) {
    if (a.type != b.type)
        return false;
    switch (a.type) {
        case FLOAT:
            return equalNumbers(std::bit_cast<float>(static_cast<std::uint32_t>(a.value)),
                                std::bit_cast<float>(static_cast<std::uint32_t>(b.value)));
        case CHARPTR:
            return std::strcmp(textOf(&a), textOf(&b)) == 0;
        case VECTOR3D: {
            auto const & v = *a.box<_D3DVECTOR>();
            auto const & w = *b.box<_D3DVECTOR>();
            return equalNumbers(v.x, w.x) && equalNumbers(v.y, w.y) && equalNumbers(v.z, w.z);
        }
        case VECTOR2D: {
            auto const & v = *a.box<Vector2D>();
            auto const & w = *b.box<Vector2D>();
            return equalNumbers(v.x, w.x) && equalNumbers(v.y, w.y);
        }
        case GPOINT:
            return *a.box<GPoint>() == *b.box<GPoint>();
        case D3DMATRIX:
            return equalNumbers(a.box<_D3DMATRIX>()->m[0], b.box<_D3DMATRIX>()->m[0], 4) &&
                   equalNumbers(a.box<_D3DMATRIX>()->m[1], b.box<_D3DMATRIX>()->m[1], 4) &&
                   equalNumbers(a.box<_D3DMATRIX>()->m[2], b.box<_D3DMATRIX>()->m[2], 4) &&
                   equalNumbers(a.box<_D3DMATRIX>()->m[3], b.box<_D3DMATRIX>()->m[3], 4);
        case OBJECT:
        case ARRAY:
            return equalBoxes<Object>(a, b);
        case REF:
            return equalBoxes<RefCounter>(a, b);
        case NAMELINKID:
            return a.name == b.name;
        default:
            return a.value == b.value;
    }
}

void _Variable::leaveCell(VariableTypes kind) {
    if (data_->refCount == 1 && fits(kind, data_->type))
        return;
    pool().drop(std::exchange(data_, pool().take(kind)));
}

void _Variable::copyConstant() {
    VariableRef own;
    own = *this;
    link(own);
}

void _Variable::asCHARPTR(char const * text) {
    if (data_ && data_->refCount == 1 && data_->type == CHARPTR) {
        char * const old = textOf(data_);
        setText(data_, nullptr);
        delete[] old;
        setText(data_, copyOf(text ? text : ""));
        return;
    }
    char * const fresh = copyOf(text ? text : "");
    setText(ownCell(CHARPTR), fresh);
}

void _Variable::asOBJECT(TRef<Object> const & value) {
    TRef<Object> copied = value; // it may stand in the cell that is being left
    ownCell(OBJECT)->box<TRef<Object>>()->swap(copied);
}

void _Variable::asARRAY(TRef<Object> const & value) {
    TRef<Object> copied = value;
    ownCell(ARRAY)->box<TRef<Object>>()->swap(copied);
}

void _Variable::asREF(TRef<RefCounter> const & value) {
    TRef<RefCounter> copied = value;
    ownCell(REF)->box<TRef<RefCounter>>()->swap(copied);
}

namespace {

/// Calls the writer of `target` for the kind that `value` has; an empty one empties it. What a
/// writer returns, if anything, tells whether it fits.
template <class Target>
auto writeByKind(Target & target, _Variable const & value) {
    using Result = decltype(target.asINT(0));
    switch (value.type()) {
        case INT:
            return target.asINT(value.asINT());
        case FLOAT:
            return target.asFLOAT(value.asFLOAT());
        case CHARPTR:
            return target.asCHARPTR(value.asCHARPTR());
        case VECTOR3D:
            return target.asVECTOR3D(value.asVECTOR3D());
        case VECTOR2D:
            return target.asVECTOR2D(value.asVECTOR2D());
        case OBJECT:
            return target.asOBJECT(value.asOBJECT());
        case GRTTI:
            return target.asGRTTI(value.asGRTTI());
        case GPOINT:
            return target.asGPOINT(value.asGPOINT());
        case NAMELINKID:
            return target.asNAMELINKID(value.asNAMELINKID());
        case D3DMATRIX:
            return target.asD3DMATRIX(value.asD3DMATRIX());
        case ARRAY:
            return target.asARRAY(value.asARRAY());
        case REF:
            return target.asREF(value.asREF());
        case UNDEFINED:
            break;
    }
    target.empty();
    return static_cast<Result>(true);
}

} // namespace

void _Variable::copy(_Variable const & other) {
    if (&other != this)
        writeByKind(*this, other);
}

/// For a cell that is a constant, or of another kind than the value.
VariableData * VariableRef::otherCellFor(VariableTypes kind) {
    if (data_->nextFree) {
        pool().drop(std::exchange(data_, pool().take(kind)));
        return data_;
    }
    return fits(kind, data_->type) ? data_ : nullptr;
}

bool VariableRef::asCHARPTR(char const * text) {
    if (data_ && !data_->nextFree && data_->type != CHARPTR)
        return false;
    char * const fresh = copyOf(text ? text : "");
    VariableData * const cell = cellFor(CHARPTR);
    // A cell out of the pool comes without a text.
    char * const old = textOf(cell);
    setText(cell, fresh);
    delete[] old;
    return true;
}

bool VariableRef::asOBJECT(TRef<Object> const & value) {
    TRef<Object> copied = value;
    VariableData * const cell = cellFor(OBJECT);
    return cell && (cell->box<TRef<Object>>()->swap(copied), true);
}

bool VariableRef::asARRAY(TRef<Object> const & value) {
    TRef<Object> copied = value;
    VariableData * const cell = cellFor(ARRAY);
    return cell && (cell->box<TRef<Object>>()->swap(copied), true);
}

bool VariableRef::asREF(TRef<RefCounter> const & value) {
    TRef<RefCounter> copied = value;
    VariableData * const cell = cellFor(REF);
    return cell && (cell->box<TRef<RefCounter>>()->swap(copied), true);
}

VariableRef VariableRef::AsARRAY(TRef<Object> const & value) {
    VariableRef result;
    result.asARRAY(value);
    return result;
}

VariableRef VariableRef::AsREF(TRef<RefCounter> const & value) {
    VariableRef result;
    result.asREF(value);
    return result;
}

bool VariableRef::assign(_Variable const & other) {
    return writeByKind(*this, other);
}

bool VariableRef::tryAssign(_Variable const & other) {
    VariableTypes const from = other.type();
    VariableTypes const to = isConstant() ? UNDEFINED : type();
    bool const meet =
        from == to || from == UNDEFINED || to == UNDEFINED || (from <= FLOAT && to <= FLOAT);
    return meet && assign(other);
}

namespace {

void writeGRTTI(opstream & out, GRTTIObject * object) {
    auto * const streamable = gcast<GStreamable>(object);
    // Nothing stands for an object that cannot be written; null is no such object.
    if (streamable || !object)
        out.writePointer(streamable);
}

void writePoint(opstream & out, GPoint const & point) {
    std::int32_t const wire[2] = {static_cast<std::int32_t>(point.x),
                                  static_cast<std::int32_t>(point.y)};
    out.writeBytes(wire, sizeof wire);
}

void writeValue(opstream & out, VariableVar const & variable) {
    switch (variable.type()) {
        case INT:
            out << variable.asINT();
            break;
        case FLOAT:
            out << variable.asFLOAT();
            break;
        case CHARPTR:
            out.writeString(variable.asCHARPTR());
            break;
        case VECTOR3D:
            out.writeBytes(&variable.asVECTOR3D(), sizeof(_D3DVECTOR));
            break;
        case VECTOR2D:
            out.writeBytes(&variable.asVECTOR2D(), sizeof(Vector2D));
            break;
        case GPOINT:
            writePoint(out, variable.asGPOINT());
            break;
        case D3DMATRIX:
            out.writeBytes(&variable.asD3DMATRIX(), sizeof(_D3DMATRIX));
            break;
        case OBJECT:
        case ARRAY:
            RefCounterWrite(out, variable.asOBJECT());
            break;
        case REF:
            RefCounterWrite(out, variable.asREF());
            break;
        case GRTTI:
            writeGRTTI(out, variable.asGRTTI());
            break;
        case NAMELINKID:
            out << variable.asNAMELINKID();
            break;
        case UNDEFINED:
            break;
    }
}

/// A record whose bytes stand in the stream as they stand in memory.
template <class T>
T readRaw(ipstream & in) {
    static_assert(std::is_trivially_copyable_v<T>);
    T value;
    in.readBytes(&value, sizeof value);
    return value;
}

struct OwnedText {
    char * text;
    ~OwnedText() { delete[] text; }
};

TRef<Object> readObject(ipstream & in) {
    ObjectCreator creator(in);
    return TRef<Object>(static_cast<Object *>(creator));
}

void readValue(ipstream & in, VariableTypes kind, VariableVar & variable) {
    switch (kind) {
        case INT:
            return variable.asINT(static_cast<std::int32_t>(in.readDWord()));
        case FLOAT: {
            float value = 0;
            in >> value;
            return variable.asFLOAT(value);
        }
        case CHARPTR: {
            OwnedText const owned{in.readCharString()};
            return variable.asCHARPTR(owned.text);
        }
        case VECTOR3D:
            return variable.asVECTOR3D(readRaw<_D3DVECTOR>(in));
        case VECTOR2D:
            return variable.asVECTOR2D(readRaw<Vector2D>(in));
        case GPOINT: {
            struct Wire {
                std::int32_t x, y;
            };
            auto const wire = readRaw<Wire>(in);
            return variable.asGPOINT(GPoint(wire.x, wire.y));
        }
        case D3DMATRIX:
            return variable.asD3DMATRIX(readRaw<_D3DMATRIX>(in));
        case OBJECT:
            return variable.asOBJECT(readObject(in));
        case ARRAY:
            return variable.asARRAY(readObject(in));
        case REF:
            return variable.asREF(RefCounterRead(in, &RefCounter::metaclass_));
        case GRTTI:
            return variable.asGRTTI(in.readPointer<GStreamable>());
        case NAMELINKID: {
            NameLinkID name;
            in >> name;
            return variable.asNAMELINKID(name);
        }
        case UNDEFINED:
            return;
    }
}

} // namespace

opstream & operator<<(opstream & out, VariableVar & variable) {
    out.writeByte(0);
    out << static_cast<std::int32_t>(variable.type());
    writeValue(out, variable);
    return out;
}

ipstream & operator>>(ipstream & in, VariableVar & variable) {
    int const version = in.readByte();
    if (version != 0)
        throw XStrVer(sourceName, __LINE__, version, 0);
    variable.empty();
    auto const kind = static_cast<std::int32_t>(in.readDWord());
    if (kind < UNDEFINED || kind > REF)
        throw XStrVer(sourceName, __LINE__, -1, -1);
    readValue(in, VariableTypes(kind), variable);
    return in;
}

opstream & operator<<(opstream & out, VariableRef & variable) {
    VariableVar shared(variable);
    return out << shared;
}

ipstream & operator>>(ipstream & in, VariableRef & variable) {
    VariableVar read;
    in >> read;
    if (read.type() != variable.type())
        variable.empty();
    if (!read.isEmpty())
        variable = read;
    return in;
}

} // namespace Tavlin
