// Values: who sees a write, what the pool keeps, what a wrong kind may not do, and the bytes.
#include "tavlinbase/DynamicVariable.h"

#include "diagnostics/TavlinError.h"
#include "persistence/mpstream.h"
#include "tavlinbase/TavlinObject.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace Tavlin;

namespace dynamic_variable_test {

/// Streams nothing of its own, and can do something when it goes.
class Node : public UniqueObject {
    G_DECLARE_CREATABLE(Node)
  public:
    Node() = default;
    ~Node() override {
        if (onEnd)
            onEnd();
    }
    void read(ipstream &) override {}
    void write(opstream &) override {}

    std::function<void()> onEnd;
};

/// Described, but no part of any stream.
class Plain : public GRTTIObject {
    G_DECLARE_CLASS(Plain)
};

class Counted : public RefCounter {
    G_DECLARE_CREATABLE(Counted)
  public:
    Counted() = default;
};

} // namespace dynamic_variable_test

G_DEFINE_CREATABLE(dynamic_variable_test::Node, "dv::Node", Tavlin::UniqueObject)
G_DEFINE_CLASS(dynamic_variable_test::Plain, "dv::Plain", GRTTIObject)
G_DEFINE_CREATABLE(dynamic_variable_test::Counted, "dv::Counted", Tavlin::RefCounter)

namespace dynamic_variable_test {

VariableVar const g_static("made while statics start");

_D3DMATRIX matrixFrom(float first) {
    _D3DMATRIX matrix;
    for (int i = 0; i < 16; ++i)
        matrix.m[i / 4][i % 4] = first + float(i);
    return matrix;
}

/// One value of each kind, in the order of the kinds; two calls give values that differ.
std::vector<VariableRef> oneOfEach(int n) {
    static Plain plain[2];
    return {VariableRef(7 + n),
            VariableRef(1.5f + float(n)),
            VariableRef(n ? "other" : "text"),
            VariableRef(_D3DVECTOR{1, 2, 3.5f + float(n)}),
            VariableRef(Vector2D(4, 5.5 + n)),
            VariableRef(TRef<Object>(new Node)),
            VariableRef(&plain[n]),
            VariableRef(GPoint(-8, 9 + n)),
            VariableRef(NameLinkID(n ? "otherName" : "someName")),
            VariableRef(matrixFrom(float(n))),
            VariableRef::AsARRAY(TRef<Object>(new Node)),
            VariableRef::AsREF(TRef<RefCounter>(new Counted))};
}

VariableRef copyOf(VariableRef const & value) {
    VariableRef copy;
    copy = value;
    return copy;
}

TEST(DynamicVariable, EachKindIsHeldUnderItsNumber) {
    auto const values = oneOfEach(0);
    for (int kind = 0; kind < int(values.size()); ++kind) {
        EXPECT_EQ(values[kind].type(), kind);
        EXPECT_EQ(copyOf(values[kind]), values[kind]) << kind;
        VariableVar copied;
        copied = values[kind];
        EXPECT_EQ(copied.type(), kind);
        EXPECT_EQ(copied, values[kind]) << kind;
        EXPECT_FALSE(copied.sharesCellWith(values[kind])) << kind;
    }
    EXPECT_EQ(VariableRef().type(), UNDEFINED);
    EXPECT_STREQ(g_static.asCHARPTR(), "made while statics start");
}

TEST(DynamicVariable, ReadersGiveWhatWasStored) {
    EXPECT_EQ(VariableRef(INT_MIN).asINT(), INT_MIN);
    EXPECT_EQ(int(VariableVar(-3)), -3);
    EXPECT_EQ(float(VariableVar(-0.5f)), -0.5f);
    std::string text = "private copy";
    VariableRef copied(text.c_str());
    text[0] = 'X';
    EXPECT_STREQ(copied, "private copy");
    EXPECT_STREQ(VariableRef(static_cast<char const *>(nullptr)).asCHARPTR(), "");
    _D3DVECTOR const & v = VariableRef(_D3DVECTOR{1, 2, 3});
    EXPECT_EQ(v.z, 3);
    VariableVar const point(GPoint(INT_MIN, INT_MAX));
    EXPECT_EQ(point.asGPOINT(), GPoint(INT_MIN, INT_MAX));
    NameLinkID const & name = VariableRef(NameLinkID("n"));
    EXPECT_EQ(name, NameLinkID("n"));
    TRef<Node> const node(new Node);
    EXPECT_EQ(VariableRef(node).asOBJECT().pointer(), node.pointer());
    EXPECT_EQ(VariableRef(matrixFrom(0)).asD3DMATRIX().m[3][2], 14);
}

// Scripts take the value word for truth: the upper half of a wide word may not spoil it.
TEST(DynamicVariable, InlineKindsUseTheLowHalfOfTheWord) {
    VariableRef value(-1);
    EXPECT_FALSE(value.isZero());
    value = 0;
    EXPECT_TRUE(value.isZero());
    value = 1.0f;
    EXPECT_EQ(value.type(), INT) << "INT and FLOAT share the word, the kind stays";
    EXPECT_EQ(value.asINT(), 0x3F800000);
    EXPECT_TRUE(VariableRef(0.0f).isZero());
    EXPECT_FALSE(VariableRef(-0.0f).isZero());
    EXPECT_FALSE(VariableRef("").isZero());
    EXPECT_FALSE(VariableRef(TRef<Object>()).isZero()) << "the word leads to the box";
    EXPECT_TRUE(VariableRef(NameLinkID()).isZero());
    EXPECT_TRUE(VariableRef(static_cast<GRTTIObject const *>(nullptr)).isZero());
}

TEST(DynamicVariable, RefWritesThroughAndVarWritesApart) {
    VariableRef a(1), b(a);
    b = 2;
    EXPECT_EQ(a.asINT(), 2);

    VariableVar c(1), d(c);
    EXPECT_TRUE(c.sharesCellWith(d));
    d = 2;
    EXPECT_EQ(c.asINT(), 1);

    c = d; // between two values: shares
    EXPECT_TRUE(c.sharesCellWith(d));
    c = a; // from an alias: copies
    a = 5;
    EXPECT_EQ(c.asINT(), 2);
    VariableRef onC(c);
    c = 9; // the alias keeps the cell, the value leaves it
    EXPECT_EQ(onC.asINT(), 2);
}

TEST(DynamicVariable, EmptySourceEmptiesTheHandleAlone) {
    VariableRef a(1), b(a);
    a = VariableRef();
    EXPECT_TRUE(a.isEmpty());
    EXPECT_EQ(b.asINT(), 1);
    VariableVar v(b);
    v.copy(VariableRef());
    EXPECT_TRUE(v.isEmpty());
    b.link(VariableRef());
    EXPECT_TRUE(b.isEmpty());
}

TEST(DynamicVariable, OwnValueIsASafeSource) {
    for (VariableRef const & value : oneOfEach(0)) {
        VariableRef const before = copyOf(value);
        VariableRef handle(value);
        handle = handle;
        handle = value;
        handle.link(handle);
        EXPECT_EQ(handle, before);
        VariableVar own;
        own = value;
        own.copy(own);
        EXPECT_EQ(own, before);
        VariableVar sharing(own);
        sharing.copy(own);
        EXPECT_EQ(sharing, before);
        EXPECT_EQ(own, before);
    }
    VariableRef text("tail of a text");
    text.asCHARPTR(text.asCHARPTR() + 5);
    EXPECT_STREQ(text, "of a text");
}

TEST(DynamicVariable, Equality) {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(VariableRef(), VariableVar());
    EXPECT_NE(VariableRef(), VariableRef(0));
    EXPECT_NE(VariableRef(1), VariableRef(1.0f));
    EXPECT_EQ(VariableRef(nan), VariableRef(5.0f)) << "an unordered pair is equal";
    EXPECT_EQ(VariableRef(_D3DVECTOR{nan, 1, 2}), VariableRef(_D3DVECTOR{0, 1, 2}));
    EXPECT_NE(VariableRef("a"), VariableRef("A"));
    EXPECT_EQ(VariableRef(0.0f), VariableRef(-0.0f));
    TRef<Object> const node(new Node);
    EXPECT_NE(VariableRef::AsOBJECT(node), VariableRef::AsARRAY(node));
    auto const first = oneOfEach(0), second = oneOfEach(1);
    for (std::size_t i = 0; i < first.size(); ++i)
        for (std::size_t j = 0; j < second.size(); ++j) {
            EXPECT_NE(first[i], second[j]) << i << ' ' << j;
            EXPECT_EQ(first[i] == first[j], i == j) << i << ' ' << j;
        }
    for (int component = 0; component < 16; ++component) {
        _D3DMATRIX other = matrixFrom(0);
        other.m[component / 4][component % 4] += 0.5f;
        EXPECT_NE(VariableRef(other), VariableRef(matrixFrom(0))) << component;
    }
}

// A script may store anything anywhere. The cell that its aliases see must stay sound.
TEST(DynamicVariable, AWriteThatDoesNotFitChangesNothing) {
    auto const fits = [](int value, int cell) {
        bool const numbers = value <= FLOAT && cell <= FLOAT;
        bool const references =
            (value == OBJECT || value == ARRAY) && (cell == OBJECT || cell == ARRAY);
        return value == cell || numbers || references;
    };
    for (int cell = 0; cell <= REF; ++cell)
        for (int kind = 0; kind <= REF; ++kind) {
            VariableRef target = oneOfEach(0)[cell];
            VariableRef const value = oneOfEach(1)[kind];
            VariableRef const before = copyOf(target), alias(target);
            EXPECT_EQ(target.assign(value), fits(kind, cell)) << kind << " into " << cell;
            EXPECT_TRUE(alias.sharesCellWith(target));
            EXPECT_EQ(alias.type(), cell);
            if (!fits(kind, cell)) {
                EXPECT_EQ(alias, before) << kind << " into " << cell;
            }
            if (kind == cell) {
                EXPECT_EQ(alias, value) << kind;
            }

            VariableRef script = oneOfEach(0)[cell];
            EXPECT_EQ(script.tryAssign(value), kind == cell || (kind <= FLOAT && cell <= FLOAT));

            VariableVar var;
            var = oneOfEach(0)[cell];
            var = value;
            EXPECT_EQ(var.type(), fits(kind, cell) ? cell : kind);
        }
}

TEST(DynamicVariable, AConstantIsLeftInPlaceOfBeingWritten) {
    for (int kind = 0; kind <= REF; ++kind) {
        VariableRef constant = oneOfEach(0)[kind];
        VariableRef const before = copyOf(constant);
        constant.setConstant();
        VariableRef result(constant);
        result = oneOfEach(1)[kind];
        EXPECT_EQ(constant, before) << kind;
        EXPECT_NE(result, before) << kind;
        EXPECT_FALSE(result.isConstant());

        VariableRef other(constant);
        EXPECT_TRUE(other.tryAssign(VariableRef("of any kind")));
        EXPECT_STREQ(other, "of any kind");
        EXPECT_EQ(constant, before) << kind;
    }
    // The mark does not follow the cell through the pool.
    {
        VariableRef constant(1);
        constant.setConstant();
    }
    EXPECT_FALSE(VariableRef(2).isConstant());
}

TEST(DynamicVariable, CellsAndBoxesAreUsedAgain) {
    DynamicVariablesManager const & pool = DynamicVariablesManager::Get();
    { auto const warm = oneOfEach(0); }
    long cells[REF + 1];
    for (int kind = 0; kind <= REF; ++kind)
        cells[kind] = pool.getCellCount(VariableTypes(kind));
    for (int i = 0; i < 2000; ++i)
        auto const values = oneOfEach(i % 2);
    for (int kind = 0; kind <= REF; ++kind)
        EXPECT_EQ(pool.getCellCount(VariableTypes(kind)), cells[kind]) << kind;

    void const * box;
    {
        VariableRef const value(_D3DVECTOR{1, 2, 3});
        box = &value.asVECTOR3D();
    }
    VariableRef again;
    again.create(VECTOR3D);
    EXPECT_EQ(&again.asVECTOR3D(), box);
    EXPECT_EQ(again.asVECTOR3D().z, 3) << "what the cell held is still in it";
}

TEST(DynamicVariable, AllCellsComeHome) {
    DynamicVariablesManager const & pool = DynamicVariablesManager::Get();
    long const out = pool.getCellCount(INT) - pool.getFreeCount(INT);
    {
        std::vector<VariableVar> many;
        for (int i = 0; i < 5000; ++i)
            many.emplace_back(i);
        EXPECT_EQ(pool.getCellCount(INT) - pool.getFreeCount(INT), out + 5000);
        for (int i = 0; i < 5000; ++i)
            ASSERT_EQ(many[i].asINT(), i);
    }
    EXPECT_EQ(pool.getCellCount(INT) - pool.getFreeCount(INT), out);
}

// The end of an object may drop and take values, and even touch the handle that let it go.
TEST(DynamicVariable, ReleasingAnObjectMayUseThePool) {
    VariableRef handle;
    std::vector<VariableRef> held;
    {
        TRef<Node> node(new Node);
        for (int i = 0; i < 10; ++i)
            held.push_back(TRef<Object>(new Node));
        node->onEnd = [&] {
            held.clear();
            EXPECT_TRUE(handle.isEmpty());
            handle = 42;
        };
        handle = node;
    }
    handle.empty();
    EXPECT_EQ(handle.type(), INT);
    EXPECT_EQ(handle.asINT(), 42);

    VariableRef linked;
    {
        TRef<Node> node(new Node);
        node->onEnd = [&] { EXPECT_EQ(linked.asINT(), 42); };
        linked = node;
    }
    linked.link(handle); // the new cell is there before the old one goes
    EXPECT_TRUE(linked.sharesCellWith(handle));
    VariableRef const a(TRef<Object>(new Node)), b(TRef<Object>(new Node));
    EXPECT_NE(&a.asOBJECT(), &b.asOBJECT());
    EXPECT_NE(a, b);
}

TEST(DynamicVariable, HoldsOneReference) {
    TRef<Node> const node(new Node);
    TRef<Counted> const counted(new Counted);
    {
        VariableRef const object(node), alias(object);
        VariableRef const array = VariableRef::AsARRAY(TRef<Object>(node));
        VariableRef const ref = VariableRef::AsREF(TRef<RefCounter>(counted));
        VariableVar apart;
        apart = object;
        EXPECT_EQ(node->getReferenceCount(), 4);
        EXPECT_EQ(counted->getReferenceCount(), 2);
    }
    EXPECT_EQ(node->getReferenceCount(), 1);
    EXPECT_EQ(counted->getReferenceCount(), 1);
}

// Random work on handles of both sorts, against cells that are counted pointers.
TEST(DynamicVariable, AgreesWithAModelOfSharedCells) {
    struct Cell {
        VariableTypes kind;
        std::string value;
    };
    constexpr int handles = 8;
    std::array<VariableRef, handles> refs;
    std::array<VariableVar, handles> vars;
    std::array<std::shared_ptr<Cell>, 2 * handles> model;
    std::mt19937 random(2);
    auto const pick = [&random](int n) { return int(random() % unsigned(n)); };
    auto const handle = [&](int i) -> _Variable & {
        return i < handles ? static_cast<_Variable &>(refs[i]) : vars[i - handles];
    };
    for (int step = 0; step < 30000; ++step) {
        int const i = pick(2 * handles), j = pick(2 * handles);
        switch (pick(5)) {
            case 0: // write a number
                if (model[i] && model[i]->kind != INT)
                    break;
                if (i < handles)
                    refs[i] = step;
                else
                    vars[i - handles] = step;
                if (!model[i] || (i >= handles && model[i].use_count() > 1))
                    model[i] = std::make_shared<Cell>();
                *model[i] = {INT, std::to_string(step)};
                break;
            case 1: { // write a text
                if (model[i] && model[i]->kind != CHARPTR)
                    break;
                std::string const text(std::size_t(pick(40)), 'x');
                if (i < handles)
                    refs[i] = text.c_str();
                else
                    vars[i - handles] = text.c_str();
                if (!model[i] || (i >= handles && model[i].use_count() > 1))
                    model[i] = std::make_shared<Cell>();
                *model[i] = {CHARPTR, text};
                break;
            }
            case 2:
                handle(i).link(handle(j));
                model[i] = model[j];
                break;
            case 3:
                handle(i).empty();
                model[i].reset();
                break;
            case 4: // assign an alias
                if (i >= handles || (model[i] && model[j] && model[i]->kind != model[j]->kind))
                    break;
                refs[i] = handle(j);
                if (!model[j])
                    model[i].reset();
                else if (!model[i])
                    model[i] = std::make_shared<Cell>(*model[j]);
                else
                    *model[i] = *model[j];
                break;
        }
        for (int k = 0; k < 2 * handles; ++k) {
            ASSERT_EQ(handle(k).isEmpty(), !model[k]);
            if (!model[k])
                continue;
            ASSERT_EQ(handle(k).type(), model[k]->kind);
            std::string const value =
                model[k]->kind == INT ? std::to_string(handle(k).asINT()) : handle(k).asCHARPTR();
            ASSERT_EQ(value, model[k]->value) << "step " << step << " handle " << k;
        }
    }
}

// The bytes.

using Bytes = std::string;

Bytes hex(char const * text) {
    Bytes bytes;
    for (char const * p = text; *p;) {
        if (*p == ' ') {
            ++p;
        } else if (*p == '\'') {
            for (++p; *p != '\''; ++p)
                bytes += *p;
            ++p;
        } else {
            bytes += char(std::stoi(std::string(p, 2), nullptr, 16));
            p += 2;
        }
    }
    return bytes;
}

template <class T>
Bytes written(T & value) {
    ompstream out;
    out << value;
    char const * const data = static_cast<char const *>(out.data());
    return Bytes(data, static_cast<std::size_t>(out.safe_get_position()));
}

template <class T>
bool readFrom(Bytes bytes, T & value) {
    impstream in(bytes.data(), long(bytes.size()), GIO::ReadMode);
    try {
        in >> value;
    } catch (...) {
        // A stream that breaks off leaves what it had built to its host.
        for (long i = 0; i < in.getObjectCount(); ++i)
            delete in.getObject(i);
        throw;
    }
    return in.good();
}

struct Golden {
    char const * name;
    VariableRef value;
    char const * bytes;
};

std::vector<Golden> golden() {
    TRef<Object> const node(new Node);
    _D3DMATRIX matrix{};
    matrix.m[0][1] = 1;
    matrix.m[3][3] = -2;
    return {
        {"empty", VariableRef(), "00 FFFFFFFF"},
        {"INT", VariableRef(-2), "00 00000000 FEFFFFFF"},
        {"FLOAT", VariableRef(1.5f), "00 01000000 0000C03F"},
        {"CHARPTR", VariableRef("Hi"), "00 02000000 0200 'Hi'"},
        {"empty CHARPTR", VariableRef(""), "00 02000000 0000"},
        {"VECTOR3D", VariableRef(_D3DVECTOR{1, -2, 0.5f}),
         "00 03000000 0000803F 000000C0 0000003F"},
        {"VECTOR2D", VariableRef(Vector2D(1, -2)), "00 04000000 000000000000F03F 00000000000000C0"},
        {"OBJECT", VariableRef::AsOBJECT(node),
         "00 05000000 02 B1B50FCF 0800 'dv::Node' EF804A29 12000000 0800 'dv::Node'"},
        {"null OBJECT", VariableRef(TRef<Object>()), "00 05000000 00"},
        {"null GRTTI", VariableRef(static_cast<GRTTIObject const *>(nullptr)), "00 06000000 00"},
        {"GPOINT", VariableRef(GPoint(1, -1)), "00 07000000 01000000 FFFFFFFF"},
        {"NAMELINKID", VariableRef(NameLinkID("ab")), "00 08000000 00 01000000 0200 'ab'"},
        {"null NAMELINKID", VariableRef(NameLinkID()), "00 08000000 00 00000000"},
        {"D3DMATRIX", VariableRef(matrix),
         "00 09000000 00000000 0000803F 00000000 00000000 00000000 00000000 00000000 00000000"
         "00000000 00000000 00000000 00000000 00000000 00000000 00000000 000000C0"},
        {"ARRAY", VariableRef::AsARRAY(node),
         "00 0A000000 02 B1B50FCF 0800 'dv::Node' EF804A29 12000000 0800 'dv::Node'"},
        {"REF", VariableRef::AsREF(TRef<RefCounter>(new Counted)),
         "00 0B000000 02 B1B50FCF 0B00 'dv::Counted' EF804A29 15000000 0B00 'dv::Counted'"},
        {"null REF", VariableRef::AsREF(TRef<RefCounter>()), "00 0B000000 00"},
    };
}

TEST(DynamicVariableStream, EachKindHasItsBytes) {
    for (Golden & item : golden()) {
        EXPECT_EQ(written(item.value), hex(item.bytes)) << item.name;
        VariableVar value(item.value);
        EXPECT_EQ(written(value), hex(item.bytes)) << item.name;
    }
}

TEST(DynamicVariableStream, EachKindComesBack) {
    for (Golden const & item : golden()) {
        VariableRef read(99);
        EXPECT_TRUE(readFrom(hex(item.bytes), read)) << item.name;
        EXPECT_EQ(read.type(), item.value.type()) << item.name;
        bool const object = std::string(item.bytes).find("dv::") != std::string::npos;
        if (!object)
            EXPECT_EQ(read, item.value) << item.name;
        else if (read.type() == REF)
            EXPECT_TRUE(gcast<Counted>(read.asREF().pointer()));
        else
            EXPECT_TRUE(gcast<Node>(read.asOBJECT().pointer()));
    }
}

TEST(DynamicVariableStream, APlainGRTTIObjectLeavesNothingBehindItsKind) {
    Plain plain;
    VariableVar value(&plain);
    EXPECT_EQ(written(value), hex("00 06000000"));
}

TEST(DynamicVariableStream, AGRTTIValueBorrowsTheObjectItReads) {
    Bytes const bytes =
        hex("00 06000000 02 B1B50FCF 0B00 'dv::Counted' EF804A29 15000000 0B00 'dv::Counted'");
    Counted counted;
    VariableVar value(static_cast<GRTTIObject const *>(&counted));
    EXPECT_EQ(written(value), bytes);
    ASSERT_TRUE(readFrom(bytes, value));
    EXPECT_NE(value.asGRTTI(), &counted);
    std::unique_ptr<Counted> const owned(gcast<Counted>(value.asGRTTI()));
    ASSERT_TRUE(owned);
    EXPECT_EQ(owned->getReferenceCount(), 0);
}

// Loading restores a member in place: the value of its own kind lands in its cell.
TEST(DynamicVariableStream, AnAliasIsReadThroughOnlyByItsOwnKind) {
    VariableRef member(1), alias(member);
    readFrom(hex("00 00000000 05000000"), alias);
    EXPECT_EQ(member.asINT(), 5);
    readFrom(hex("00 01000000 0000C03F"), alias);
    EXPECT_EQ(member.asINT(), 5);
    EXPECT_EQ(alias.asFLOAT(), 1.5f);
    alias.link(member);
    readFrom(hex("00 FFFFFFFF"), alias);
    EXPECT_TRUE(alias.isEmpty());
    EXPECT_EQ(member.asINT(), 5);
}

TEST(DynamicVariableStream, UnknownVersionsAndKindsRaise) {
    struct {
        char const * bytes;
        char const * text;
    } const cases[] = {
        {"01 00000000 05000000", "Unsupported stream version (1, when expected 0)"},
        {"00 0C000000 05000000", "Unsupported stream version"},
        {"00 FEFFFFFF", "Unsupported stream version"},
    };
    for (auto const & item : cases) {
        VariableVar value(3);
        try {
            readFrom(hex(item.bytes), value);
            ADD_FAILURE() << item.bytes;
        } catch (XStrVer const & error) {
            EXPECT_STREQ(error.getMessage().c_str(), item.text);
        }
    }
    VariableVar kept(3);
    EXPECT_THROW(readFrom(hex("01 00000000"), kept), XStrVer);
    EXPECT_EQ(kept.asINT(), 3) << "an unknown version is found before the target is touched";
}

TEST(DynamicVariableStream, ACutRecordIsNeverHalfAValue) {
    for (Golden const & item : golden()) {
        Bytes const whole = hex(item.bytes);
        for (std::size_t size = 0; size < whole.size(); ++size) {
            VariableVar value;
            try {
                EXPECT_FALSE(readFrom(whole.substr(0, size), value)) << item.name << ' ' << size;
            } catch (GException const &) {
                EXPECT_TRUE(value.isEmpty()) << item.name << ' ' << size;
            }
        }
    }
}

} // namespace dynamic_variable_test
