// The text of values and of objects, what is read back from it, and texts that mean harm.
#include "tavlinbase/DispatcherTextIO.h"

#include "tavlinbase/IDispatcherImpl.h"
#include "tavlinbase/VRefArray.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>

using namespace Tavlin;

namespace dispatcher_text_test {

/// Some variables, a property, and objects below.
class Car : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CLASS(Car)
    TAVLIN_DECLARE_DISPATCHER(Car)
  public:
    Car() = default;
    void read(ipstream &) override {}
    void write(opstream &) override {}
    void onFinalRelease() override { Object::onFinalRelease(); }

    void getDoors(VariableRef * result) { *result = doors; }
    void setDoors(VariableRef const & value) { doors = value.asINT(); }

    int doors = 4;
    VariableVar name = VariableVar("red");
    VariableVar speed = VariableVar(-2.0f);
    VariableVar secret = VariableVar(static_cast<GRTTIObject const *>(nullptr));
    VariableVar trailer;
    VariableVar engine;
};

} // namespace dispatcher_text_test

G_DEFINE_CLASS(dispatcher_text_test::Car, "dt::Car", Tavlin::UniqueObject, Tavlin::IDispatcherImpl)

namespace dispatcher_text_test {

TAVLIN_BEGIN_DISPATCHER(Car, Tavlin::IDispatcherImpl)
    TAVLIN_VARIABLE("trailer", trailer, Tavlin::OBJECT)
    TAVLIN_VARIABLE("name", name, Tavlin::CHARPTR)
    TAVLIN_PROPERTY_GET("doors", getDoors, Tavlin::INT)
    TAVLIN_PROPERTY_SET("doors", setDoors, Tavlin::INT)
    TAVLIN_VARIABLE("secret", secret, Tavlin::GRTTI)
    TAVLIN_VARIABLE("speed", speed, Tavlin::FLOAT)
    TAVLIN_VARIABLE("engine", engine, Tavlin::OBJECT)
TAVLIN_END_DISPATCHER()

TRef<WritableVRefArray> arrayOf(std::initializer_list<VariableRef> values) {
    TRef<WritableVRefArray> array = WritableVRefArray::Create();
    for (VariableRef const & value : values)
        array->insert(value);
    return array;
}

VariableRef arrayValue(std::initializer_list<VariableRef> values) {
    return VariableRef::AsARRAY(TRef<Object>(arrayOf(values)));
}

std::string text(_Variable const & value, int flags = 0) {
    return DispatcherTextIO::VarToString(value, flags).c_str();
}

TEST(DispatcherTextIO, ShowsEachKind) {
    _D3DMATRIX matrix{};
    matrix.m[0][1] = 0.5f;
    matrix.m[3][3] = -1;
    float const inf = std::numeric_limits<float>::infinity();
    struct {
        VariableRef value;
        char const * shown;
        char const * withType;
    } const cases[] = {
        {VariableRef(), "NULL", "UNDEFINED( NULL )"},
        {VariableRef(-7), "-7", "INT( -7 )"},
        {VariableRef(1.5f), "1.5", "FLOAT( 1.5 )"},
        {VariableRef("a \"b\""), "\"a \"b\"\"", "CHARPTR( \"a \"b\"\" )"},
        {VariableRef(_D3DVECTOR{1, -2.5f, 1e6f}), "{1;-2.5;1e+006}", "VECTOR3D( {1;-2.5;1e+006} )"},
        {VariableRef(Vector2D(1e-7, 1e100)), "{1e-007;1e+100}", "VECTOR2D( {1e-007;1e+100} )"},
        {VariableRef(TRef<Object>()), "<object>", "OBJECT( <object> )"},
        {VariableRef(static_cast<GRTTIObject const *>(nullptr)), "<grtti>", "GRTTI( <grtti> )"},
        {VariableRef(GPoint(3, -4)), "{3;-4}", "GPOINT( {3;-4} )"},
        {VariableRef(NameLinkID("door")), "'door'", "NAMELINKID( 'door' )"},
        {VariableRef(matrix), "{{0;0.5;0;0};{0;0;0;0};{0;0;0;0};{0;0;0;-1}}",
         "D3DMATRIX( {{0;0.5;0;0};{0;0;0;0};{0;0;0;0};{0;0;0;-1}} )"},
        {arrayValue({1, "x", VariableRef()}), "{ 1, \"x\", NULL }",
         "ARRAY( { INT( 1 ), CHARPTR( \"x\" ), UNDEFINED( NULL ) } )"},
        {VariableRef::AsARRAY(TRef<Object>()), "<invalid array>", "ARRAY( <invalid array> )"},
        {VariableRef::AsARRAY(TRef<Object>(new Car)), "<invalid array>",
         "ARRAY( <invalid array> )"},
        {VariableRef::AsREF(TRef<RefCounter>()), "<ref>", "REF( <ref> )"},
        {VariableRef(2.0f), "2.0", "FLOAT( 2.0 )"},
        {VariableRef(1e6f), "1e+006.0", "FLOAT( 1e+006.0 )"},
        {VariableRef(1234567.0f), "1.23457e+006", "FLOAT( 1.23457e+006 )"},
        {VariableRef(-1e-20f), "-1e-020.0", "FLOAT( -1e-020.0 )"},
        {VariableRef(inf), "inf.0", "FLOAT( inf.0 )"},
    };
    for (auto const & item : cases) {
        EXPECT_EQ(text(item.value), item.shown);
        EXPECT_EQ(text(item.value, DispatcherTextIO::WithTypes), item.withType);
    }
}

TEST(DispatcherTextIO, ReadsValues) {
    VariableTypes const tell = UNDEFINED;
    struct {
        char const * given;
        VariableTypes kind;
        VariableRef value;
    } const cases[] = {
        {"5", tell, 5},
        {" \t5\r\n", tell, 5},
        {"-5", tell, VariableRef()},
        {"-5", INT, -5},
        {"INT( -5 )", tell, -5},
        {"INT(-5)", FLOAT, -5},
        {"UNDEFINED( 5 )", CHARPTR, 5},
        {"OTHER( 5 )", tell, 5},
        {"5 apples", INT, 5},
        {"apples", INT, 0},
        {"99999999999", INT, 2147483647},
        {"1e3", tell, 1000.0f},
        {"1.5", tell, 1.5f},
        {"1e+006.0", tell, 1e6f},
        {"-2.5", FLOAT, -2.5f},
        {"+2.5", FLOAT, 2.5f},
        {"+-2.5", FLOAT, 0.0f},
        {"", FLOAT, 0.0f},
        {"1e999", FLOAT, std::numeric_limits<float>::infinity()},
        {"\"a, (b)\"", tell, "a, (b)"},
        {"bare", CHARPTR, "bare"},
        {"bare", tell, VariableRef()},
        {"'door'", tell, NameLinkID("door")},
        {"NULL", tell, VariableRef()},
        {"", tell, VariableRef()},
        {nullptr, tell, VariableRef()},
        {"{1;2}", tell, VariableRef()},
        {"VECTOR2D( {1; -2e-007} )", tell, Vector2D(1, -2e-7)},
        {"{1;2;3}", VECTOR3D, _D3DVECTOR{1, 2, 3}},
        {"{1;2", VECTOR3D, _D3DVECTOR{1, 2, 2}},
        {"{-1;2}", GPOINT, GPoint(-1, 2)},
        {"{}", GPOINT, GPoint(0, 0)},
        {"<object>", OBJECT, VariableRef()},
        {"<grtti>", GRTTI, VariableRef()},
        {"REF( <ref> )", tell, VariableRef()},
        {")", tell, VariableRef()},
        {"(", CHARPTR, "("},
    };
    for (auto const & item : cases) {
        VariableRef const read = DispatcherTextIO::InputVariable(item.given, item.kind);
        EXPECT_EQ(read, item.value) << item.given << " gives " << text(read, 1);
    }
}

TEST(DispatcherTextIO, ReadsMatricesRowByRow) {
    VariableRef const read = DispatcherTextIO::InputVariable(
        "D3DMATRIX( {{1;2;3;4};{5;6;7;8};{9;10;11;12};{13;14;15;16}} )", UNDEFINED);
    ASSERT_EQ(read.type(), D3DMATRIX);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(read.asD3DMATRIX().m[i / 4][i % 4], float(i + 1));
}

TEST(DispatcherTextIO, ArraysComeBack) {
    VariableRef const values[] = {
        arrayValue({}),
        arrayValue({1}),
        arrayValue({1, "a, } b", 2.5f, NameLinkID("it's")}),
        arrayValue({arrayValue({1, arrayValue({2, "}, {"})}), Vector2D(1, -2), GPoint(3, 4)}),
    };
    int const flags = DispatcherTextIO::WithTypes;
    for (VariableRef const & value : values) {
        std::string const shown = text(value, flags);
        VariableRef const read = DispatcherTextIO::InputVariable(shown.c_str(), UNDEFINED);
        EXPECT_EQ(read.type(), ARRAY);
        EXPECT_EQ(text(read, flags), shown);
    }
    EXPECT_EQ(text(DispatcherTextIO::InputVariable("{1,\"x,y\",,'n',}", ARRAY)),
              "{ 1, \"x,y\", NULL, 'n' }");
}

TEST(DispatcherTextIO, TextsAndArraysWithoutEndEnd) {
    TRef<WritableVRefArray> const array = arrayOf({1});
    array->insert(VariableRef::AsARRAY(TRef<Object>(array)));
    array->insert(VariableRef::AsARRAY(TRef<Object>(array)));
    std::string const shown = text(VariableRef::AsARRAY(TRef<Object>(array)));
    EXPECT_NE(shown.find("<invalid array>"), std::string::npos);
    EXPECT_LT(shown.size(), 100u << 20);
    array->getVector().empty();

    std::string nested;
    for (int i = 0; i < 100000; ++i)
        nested += "ARRAY( { ";
    for (int i = 0; i < 100000; ++i)
        nested += " } )";
    VariableRef const read = DispatcherTextIO::InputVariable(nested.c_str(), UNDEFINED);
    EXPECT_EQ(read.type(), ARRAY);

    std::string const braces(100000, '{');
    DispatcherTextIO::InputGroupedVariables(("a " + braces).c_str(), TRef<Object>(new Car));
    DispatcherTextIO::InputGroupedVariables("} } } =", TRef<Object>(new Car));
    DispatcherTextIO::InputGroupedVariables(nullptr, TRef<Object>());
}

std::string output(TRef<Car> const & car, int flags, int indent = 0) {
    std::ostringstream out;
    DispatcherTextIO::OutputVariables(out, TRef<Object>(car), flags, indent);
    return out.str();
}

TRef<Car> carWithTrailer() {
    TRef<Car> const car(new Car), trailer(new Car);
    trailer->name = "grey";
    trailer->doors = 1;
    car->trailer = trailer;
    car->engine = TRef<Object>();
    return car;
}

TEST(DispatcherTextIO, FlatFormHasDottedNames) {
    TRef<Car> const car = carWithTrailer();
    EXPECT_EQ(output(car, 0), "trailer.trailer = NULL\n"
                              "trailer.name = \"grey\"\n"
                              "trailer.doors = 1\n"
                              "trailer.speed = -2.0\n"
                              "trailer.engine = NULL\n"
                              "name = \"red\"\n"
                              "doors = 4\n"
                              "speed = -2.0\n");
    car->trailer.empty();
    EXPECT_EQ(output(car, DispatcherTextIO::WithTypes, 2), "  trailer = UNDEFINED( NULL )\n"
                                                           "  name = CHARPTR( \"red\" )\n"
                                                           "  doors = INT( 4 )\n"
                                                           "  speed = FLOAT( -2.0 )\n");
    EXPECT_EQ(output(TRef<Car>(), 0), "");
}

TEST(DispatcherTextIO, GroupedFormHasBlocks) {
    TRef<Car> const car = carWithTrailer();
    EXPECT_EQ(output(car, DispatcherTextIO::Grouped), "name = \"red\"\n"
                                                      "doors = 4\n"
                                                      "speed = -2.0\n"
                                                      "trailer\n"
                                                      "{\n"
                                                      "  trailer = NULL\n"
                                                      "  name = \"grey\"\n"
                                                      "  doors = 1\n"
                                                      "  speed = -2.0\n"
                                                      "  engine = NULL\n"
                                                      "}\n");
    EXPECT_EQ(output(TRef<Car>(), DispatcherTextIO::Grouped), "");
}

TEST(DispatcherTextIO, ObjectsInsideThemselvesAreShownOnce) {
    TRef<Car> const car(new Car);
    car->trailer = car;
    car->engine = car;
    EXPECT_EQ(output(car, 0), "name = \"red\"\ndoors = 4\nspeed = -2.0\n");
    EXPECT_EQ(output(car, DispatcherTextIO::Grouped), "name = \"red\"\ndoors = 4\nspeed = -2.0\n");
    car->trailer.empty();
    car->engine.empty();
}

TEST(DispatcherTextIO, GroupedFormIsReadBack) {
    TRef<Car> const car = carWithTrailer();
    car->speed = 1e-20f;
    std::string const shown = output(car, DispatcherTextIO::Grouped);
    TRef<Car> const other = carWithTrailer();
    TRef<Car> const trailer(gcast<Car>(other->trailer.asOBJECT().pointer()));
    other->name = "x";
    other->doors = trailer->doors = 0;
    trailer->speed = 0.0f;
    VariableRef alias(other->speed);
    DispatcherTextIO::InputGroupedVariables(shown.c_str(), TRef<Object>(other));
    EXPECT_EQ(output(other, DispatcherTextIO::Grouped), shown);
    EXPECT_EQ(alias.asFLOAT(), 1e-20f) << "members keep their cells";
    EXPECT_EQ(trailer->doors, 1);
}

TEST(DispatcherTextIO, WhatDoesNotFitTheTreeIsPassedOver) {
    TRef<Car> const car = carWithTrailer();
    std::string const before = output(car, 0);
    DispatcherTextIO::InputGroupedVariables(
        "unknown = 5\n"
        "unknown2 { name = \"lost\"\n }\n"
        "name { doors = 9\n inner { doors = 9\n } doors = 9\n }\n"
        "trailer = <object>\n"
        "secret = 77\n"
        "doors = -x\n",
        TRef<Object>(car));
    EXPECT_EQ(car->doors, 0) << "a bad number is what could be read of it";
    car->doors = 4;
    EXPECT_EQ(output(car, 0), before);
    DispatcherTextIO::InputGroupedVariables("trailer { doors = 3\n } doors = -5",
                                            TRef<Object>(car));
    EXPECT_EQ(car->doors, -5);
    EXPECT_EQ(gcast<Car>(car->trailer.asOBJECT().pointer())->doors, 3);
}

} // namespace dispatcher_text_test
