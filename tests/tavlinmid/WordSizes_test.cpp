// A world that a build of 64 bits has written is read by each build, and written again it has the
// same bytes: no width, no sign and no order of bytes depends on the word of the machine.
#include "AgentTest.h"

#include "foundation/GRect.h"
#include "persistence/zpstream.h"
#include "tavlinbase/VRefArray.h"

#include <climits>
#include <iterator>

namespace Tavlin {

namespace {

/// A value of each type that streams know.
struct Freight {
    char letter;
    short few;
    int lot;
    long debt;
    unsigned long worth;
    bool many;
    float share;
    double weight;
    NameLinkID mark;
    GString label;
    GPoint corner;
    Vector2D way;
    GRect box;

    bool operator==(Freight const &) const = default;
};

Freight expectedFreight() {
    return {'x',
            SHRT_MIN,
            INT_MIN,
            -7,
            0xFFFFFFFFUL,
            true,
            1.0f / 3,
            1e300,
            NameLinkID("fragile"),
            "\xC3\x9Cz\xFF",
            GPoint(-1, INT_MAX),
            Vector2D(-0.5, 1e-300),
            GRect(-4, -3, 2, 1)};
}

char const * const scriptText = "trips := 3\n"
                                "rate := 0.1\n"
                                "cry := \"Heave\"\n"
                                "State Ashore\n{\nMethod Step\n{\n}\n}\n"
                                "State Afloat\n{\nMethod Step\n{\n"
                                "trips = trips - 2000000000\nrate = rate * 3.0\n"
                                "doAfter(0.5, Look())\nSay(cry, -1, 0.25)\n"
                                "if (trips < 0)\n{\ngoto Ashore\n}\n}\n}\n";

} // namespace

class Cargo : public AgentComponent {
    G_DECLARE_CREATABLE(Cargo)
  public:
    NamedTypeInfo const * getNamedTypeInfo() const override { return nullptr; }
    void write(opstream & out) override {
        AgentComponent::write(out);
        Freight & f = freight;
        out << f.letter << f.few << f.lot << f.debt << f.worth << f.many << f.share << f.weight
            << f.mark << f.label << f.corner << f.way << f.box << values;
    }
    void read(ipstream & in) override {
        AgentComponent::read(in);
        Freight & f = freight;
        in >> f.letter >> f.few >> f.lot >> f.debt >> f.worth >> f.many >> f.share >> f.weight >>
            f.mark >> f.label >> f.corner >> f.way >> f.box >> values;
    }

    /// One of each kind, in their order, and an empty one.
    std::vector<VariableRef> expectedValues(TRef<Object> const & object) const {
        TRef<WritableVRefArray> const array = WritableVRefArray::Create();
        array->insert(VariableRef(5));
        array->insert(VariableRef("six"));
        _D3DMATRIX turn = {};
        turn.m[3][2] = -2.5f;
        return {VariableRef(INT_MIN),
                VariableRef(-0.1f),
                VariableRef("text"),
                VariableRef(_D3DVECTOR{1, 2, -3.5f}),
                VariableRef(Vector2D(4, -5.5)),
                VariableRef(object),
                VariableRef(static_cast<GRTTIObject const *>(this)),
                VariableRef(GPoint(INT_MIN, 8)),
                VariableRef(NameLinkID("aName")),
                VariableRef(turn),
                VariableRef::AsARRAY(TRef<Object>(array.pointer())),
                VariableRef::AsREF(TRef<RefCounter>(object.pointer())),
                VariableRef()};
    }

    Freight freight{};
    VRefVector values;
};

G_DEFINE_CREATABLE(Cargo, "Test::Cargo", AgentComponent)

class WordSizes : public AgentTest {
  protected:
    /// The world in the file.
    TRef<AgentShell> made() {
        TRef<D_Automat> const definition = load(scriptText);
        TRef<Automat> const automat = definition->createNewAutomat();
        automat->setNowState(NameLinkID("Afloat"));
        TObjectCreator<AgentShell> creator;
        TRef<AgentShell> const agent(creator);
        agent->setMemberName("Heron");
        agent->addComponent(TRef<AgentComponent>(automat.pointer()), NameLinkID("captain"), 0.25f);
        TObjectCreator<Cargo> cargoCreator;
        TRef<Cargo> const cargo(cargoCreator);
        agent->addComponent(TRef<AgentComponent>(cargo.pointer()), NameLinkID("cargo"), 0.75f);
        cargo->freight = expectedFreight();
        for (VariableRef const & value : cargo->expectedValues(TRef<Object>(definition.pointer())))
            cargo->values.insert(value);
        return agent;
    }

    static std::string content(std::string const & path) {
        std::ifstream file(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }

    /// The bytes of a file with the agent in a compressed stretch.
    std::string saved(TRef<AgentShell> const & agent) {
        std::string const path = fileOf("", "world.bin");
        ozpstream out(path.c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone,
                      9);
        out.turn_to_norm();
        out << -2L << 4000000000UL;
        out.turn_to_comp(true);
        RefCounterWrite(out, TRef<RefCounter>(agent.pointer()));
        out.turn_to_norm();
        out << 0.1f << 0.1;
        out.close();
        return digits(content(path));
    }

    static TRef<AgentShell> read(char const * path) {
        izpstream in(path, GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead, 9);
        in.turn_to_norm();
        long below = 0;
        unsigned long above = 0;
        in >> below >> above;
        EXPECT_EQ(below, -2);
        EXPECT_EQ(above, 4000000000UL);
        in.turn_to_comp(true);
        TObjectCreator<AgentShell> creator(in);
        TRef<AgentShell> const agent(creator);
        in.turn_to_norm();
        float narrow = 0;
        double wide = 0;
        in >> narrow >> wide;
        EXPECT_EQ(narrow, 0.1f);
        EXPECT_EQ(wide, 0.1);
        EXPECT_TRUE(in.good());
        return agent;
    }

    /// Its script still acts: it counts, speaks, and goes ashore.
    void expectCaptain(Automat & captain) {
        TRef<Automat> const automat(&captain);
        EXPECT_EQ(automat->getPriority(), 0.25f);
        EXPECT_EQ(state(automat), "Afloat");
        automat->setInheritedObject(TRef<Object>(recorder.pointer()));
        EXPECT_TRUE(send(automat, "Step"));
        EXPECT_EQ(recorder->calls, std::vector<std::string>{"Say(\"Heave\",-1,0.25f)"});
        EXPECT_EQ(variable(automat, "trips"), "-1999999997");
        EXPECT_EQ(variable(automat, "rate"), "0.3f");
        EXPECT_EQ(state(automat), "Ashore");
    }

    static void expectCargo(Cargo const & cargo, D_Automat * definition) {
        EXPECT_TRUE(cargo.freight == expectedFreight());
        auto const expected = cargo.expectedValues(TRef<Object>(definition));
        ASSERT_EQ(cargo.values.getCount(), static_cast<int>(expected.size()));
        for (int i = 0; i < cargo.values.getCount(); ++i) {
            VariableRef const & value = cargo.values.at(i);
            EXPECT_EQ(value.type(), i <= REF ? i : UNDEFINED);
            EXPECT_TRUE(value.type() == ARRAY || value == expected[static_cast<std::size_t>(i)])
                << i;
        }
        auto * const array = gcast<WritableVRefArray>(cargo.values.at(ARRAY).asARRAY().pointer());
        ASSERT_TRUE(array);
        ASSERT_EQ(array->getVector().getCount(), 2);
        EXPECT_EQ((*array)[0].asINT(), 5);
        EXPECT_STREQ((*array)[1].asCHARPTR(), "six");
    }
};

TEST_F(WordSizes, AWorldOfTheOtherWordSizeIsReadAndWrittenAlike) {
    char const * const path = ONDREL_TEST_DATA "/world64.bin";
    std::string const stored = digits(content(path));
    EXPECT_EQ(saved(made()), stored);
    TRef<AgentShell> const agent = read(path);
    ASSERT_TRUE(agent);
    EXPECT_EQ(agent->getMemberNameID(), NameLinkID("Heron"));
    ASSERT_EQ(agent->getNodeCount(), 2);
    EXPECT_EQ(saved(agent), stored);
    auto * const captain = gcast<Automat>(agent->getNode(0).pointer());
    auto * const cargo = gcast<Cargo>(agent->getNode(1).pointer());
    ASSERT_TRUE(captain && cargo);
    expectCargo(*cargo, captain->getDefinition());
    expectCaptain(*captain);
}

} // namespace Tavlin
