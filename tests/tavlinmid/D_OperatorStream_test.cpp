// The streamed forms of scripts against bytes written out by hand, the older forms that are still
// read, and streams that mean harm.
#include "ScriptTest.h"
#include "StreamBytes.h"

#include "tavlinbase/ObjectIterator.h"
#include "tavlinmid/D_Expression2.h"

namespace Tavlin {

namespace {

/// Nothing on either side: two null references.
std::string const nulls = hex("00 00");

template <class T>
void expectBytes(std::string const & bytes) {
    TRef<T> const node(new T);
    EXPECT_EQ(digits(written(*node)), digits(bytes)) << T::metaclass_.getName();
    EXPECT_TRUE(readInto(*node, bytes)) << T::metaclass_.getName();
    EXPECT_EQ(digits(written(*node)), digits(bytes)) << T::metaclass_.getName() << " read back";
}

/// `depth` negations within each other.
std::string negations(int depth) {
    std::string nested = hex("00");
    for (int i = 0; i < depth; ++i)
        nested = object("Tavlin::D_Not", hex("00 00 00") + nested);
    return nested;
}

} // namespace

TEST(D_OperatorStream, EachNodeHasTheBytesOfItsLevels) {
    std::string const null = hex("00 00 00 00 00");
    expectBytes<D_Out>(hex("00 00 00 00 00 00") + null);
    expectBytes<D_InvokeOut>(hex("00 00 00 00 00 00 00") + null);
    expectBytes<D_Add>(hex("00 00 01") + nulls);
    expectBytes<D_Substruct>(hex("00 00 01") + nulls);
    expectBytes<D_Multiplication>(hex("00 00 00") + nulls);
    expectBytes<D_Division>(hex("00 00 00") + nulls);
    expectBytes<D_Modulus>(hex("00 00 00") + nulls);
    expectBytes<D_Or>(hex("00 00 00") + nulls);
    expectBytes<D_And>(hex("00 00 00") + nulls);
    expectBytes<D_IsEqual>(hex("00 00 00") + nulls);
    expectBytes<D_IsNotEqual>(hex("00 00 00") + nulls);
    expectBytes<D_IsGreater>(hex("00 00 00") + nulls);
    expectBytes<D_IsGreaterOrEqual>(hex("00 00 00") + nulls);
    expectBytes<D_IsLess>(hex("00 00 00") + nulls);
    expectBytes<D_IsLessOrEqual>(hex("00 00 00") + nulls);
    expectBytes<D_Assign>(hex("00 00 00") + nulls);
    expectBytes<D_Not>(hex("00 00 00 00"));
    expectBytes<D_Increment>(hex("00 00 00 00"));
    expectBytes<D_Decrement>(hex("00 00 00 00"));
    expectBytes<D_Function>(hex("00 00 01") + null + hex("00 00 00 00  00 00 00 00"));
    expectBytes<D_DoAfter>(hex("00 00 00") + nulls + hex("00 00 00 00  00 00 00 00"));
    expectBytes<D_Constant>(hex("00 00 00  00 FF FF FF FF"));
    expectBytes<D_Event>(hex("00 00 00") + null);
    expectBytes<D_Me>(hex("00 00 00"));
    expectBytes<D_Variable>(hex("00 00 00 00") + null);
    expectBytes<D_Array>(hex("00 00 00 00") + null + hex("FFFFFFFF FFFFFFFF FFFFFFFF"));
    expectBytes<D_Block>(hex("00  00 00 00 00"));
    expectBytes<D_Method>(hex("02") + null + hex("00  00 00 00 00"));
    expectBytes<D_Condition>(hex("00 03") + nulls);
    expectBytes<D_State>(hex("00") + null + hex("00 00 00 00"));
}

TEST(D_OperatorStream, FieldsStandInTheirOrder) {
    TRef<D_Out> const jump(new D_Out(NameLinkID("Open"), true));
    EXPECT_EQ(digits(written(*jump)), digits(hex("00 00  01 00 00 00") + name("Open")));
    TGVector<NameLinkID> path;
    path.insert(NameLinkID("scene"));
    TRef<D_Function> const call(new D_Function(path, NameLinkID("Ring")));
    call->insertArgument(TRef<D_Expression>(new D_Constant(VariableVar(5))));
    std::string const five = object("Tavlin::D_Constant", hex("00 00 00") + integer(5));
    EXPECT_EQ(digits(written(*call)), digits(hex("00 00 01") + name("Ring") + number(1, 4) + five +
                                             number(1, 4) + name("scene")));
    TRef<D_Array> const element(new D_Array(NameLinkID("a"), 2, 3));
    EXPECT_EQ(digits(written(*element)),
              digits(hex("00 00 00 00") + name("a") + hex("02000000 03000000 FFFFFFFF")));
    TRef<D_Expression> const constant(new D_Constant(VariableVar(5)));
    TRef<D_Condition> const condition(new D_Condition(constant, TRef<D_Operator>(new D_Block)));
    EXPECT_EQ(digits(written(*condition)),
              digits(hex("00 03") + five + object("Tavlin::D_Block", hex("00 00 00 00 00"))));
}

class ScriptStream : public ScriptTest {
  protected:
    static std::string saved(RefCounter * object) {
        ompstream out;
        RefCounterWrite(out, TRef<RefCounter>(object));
        long const size = out.size();
        return std::string(static_cast<char const *>(out.data()), static_cast<std::size_t>(size));
    }

    TRef<D_Automat> const script = load("a := 7\nMethod Hello\n{\n}\nState S\n{\nMethod M\n{\n"
                                        "goto S\n}\n}\n");
    std::string const global =
        object("Tavlin::D_Method", hex("02") + name("Hello") + hex("00 00 00 00 00"));
    std::string const jump = object("Tavlin::D_Out", hex("00 00 01 00 00 00") + name("S"));
    std::string const state =
        object("Tavlin::D_State", hex("00") + name("S") + number(1, 4) +
                                      object("Tavlin::D_Method", hex("02") + name("M") + hex("00") +
                                                                     number(1, 4) + jump));
    std::string const front = hex("02 00 00 00 00");
    std::string const middle = number(1, 4) + integer(7) + number(1, 4) + global + number(1, 4) +
                               name("a") + number(1, 4) + state;
    std::string const definition =
        object("Tavlin::D_Automat", front + hex("02") + middle + number(0, 4));
};

TEST_F(ScriptStream, DefinitionIsThatOfTheBytes) {
    EXPECT_EQ(digits(saved(script.pointer())), digits(definition));
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const copy(static_cast<D_Automat *>(creator));
    EXPECT_TRUE(readInto(*copy, front + hex("02") + middle + number(0, 4)));
    EXPECT_EQ(dumped(copy), dumped(script));
}

TEST_F(ScriptStream, FirstVersionOfADefinitionStartsInItsFirstState) {
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const copy(static_cast<D_Automat *>(creator));
    EXPECT_TRUE(readInto(*copy, front + hex("01") + middle));
    EXPECT_EQ(ScriptTest::state(copy->createNewAutomat()), "S");
}

TEST_F(ScriptStream, RunningAutomatRefersToItsStateByNumber) {
    TRef<Automat> const automat = script->createNewAutomat();
    automat->setVariable(NameLinkID("a"), VariableVar(8));
    // The automat is number 1, its definition 2, the global method 3, the state 4.
    std::string const component = hex("02") + emptyNode + hex("00 00 00 3F");
    EXPECT_EQ(
        digits(saved(automat.pointer())),
        digits(object("Tavlin::Automat", component + hex("04") + definition + hex("01 04 00  00") +
                                             number(1, 4) + integer(8))));
}

// Two automata of one definition, so that there are references as well.
TEST_F(ScriptStream, AutomatWhoseStreamIsCutLeavesNothingBehind) {
    std::string whole;
    {
        ompstream out;
        for (int i = 0; i < 2; ++i)
            RefCounterWrite(out, TRef<RefCounter>(script->createNewAutomat().pointer()));
        whole.assign(static_cast<char const *>(out.data()), static_cast<std::size_t>(out.size()));
    }
    auto const alive = [](GMetaClass const & metaClass) {
        long count = 0;
        for (ObjectIterator i(&metaClass); i; ++i)
            ++count;
        return count;
    };
    long const automata = alive(Automat::metaclass_), definitions = alive(D_Automat::metaclass_);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        std::string bytes = whole.substr(0, length);
        impstream in(bytes.data(), static_cast<long>(length), GIO::ReadMode);
        try {
            TRef<RefCounter> const first = RefCounterRead(in, &Object::metaclass_);
            TRef<RefCounter> const second = RefCounterRead(in, &Object::metaclass_);
            EXPECT_FALSE(in.good()) << length;
        } catch (GException const &) {
        }
        ASSERT_EQ(alive(Automat::metaclass_), automata) << length;
        ASSERT_EQ(alive(D_Automat::metaclass_), definitions) << length;
    }
}

TEST_F(ScriptStream, AutomatOfAnOlderVersionHasJumpsWithoutTheirBase) {
    std::string const oldJump = object("Tavlin::D_Out", hex("00 01 00 00 00") + name("S"));
    std::string const oldState =
        object("Tavlin::D_State", hex("00") + name("S") + number(1, 4) +
                                      object("Tavlin::D_Method", hex("02") + name("M") + hex("00") +
                                                                     number(1, 4) + oldJump));
    std::string const old =
        object("Tavlin::D_Automat", front + hex("01") + number(0, 4) + number(0, 4) + number(0, 4) +
                                        number(1, 4) + oldState);
    std::string const rest = hex("03") + old + hex("00 00") + number(0, 4);
    TRef<Automat> const automat = script->createNewAutomat();
    EXPECT_TRUE(readInto(*automat, hex("02") + emptyNode + hex("00 00 00 3F") + rest));
    EXPECT_FALSE(D_Out::newVersion);
    EXPECT_EQ(dumped(automat->getDefinition()),
              "STATES:\nState = S\n{\nMETHODS:\nMethod= M\n{\ngoto S\n}\n}\nMETHODS:\nVARS:\n");
    Automat::newVersion = false;
    EXPECT_TRUE(readInto(*automat, front + hex("00 00000000 00000000 00000000 01 00") + rest));
    Automat::newVersion = true;
    D_Out::newVersion = true;
}

TEST_F(ScriptStream, OldestCallHasNoPath) {
    TGVector<NameLinkID> path;
    path.insert(NameLinkID("scene"));
    TRef<D_Function> const call(new D_Function(path, NameLinkID("Ring")));
    EXPECT_TRUE(readInto(*call, hex("00 00 00") + name("Hop") + number(0, 4)));
    EXPECT_EQ(call->getPath().getCount(), 0);
    EXPECT_EQ(call->getName(), NameLinkID("Hop"));
}

TEST(D_OperatorStreamHostile, NodeThatContainsItselfIsRefused) {
    std::string const inNot = object("Tavlin::D_Not", hex("00 00 00  01 01 00"));
    EXPECT_EQ(refusal(inNot), "A script node contains itself");
    std::string const inBlock =
        object("Tavlin::D_Block",
               hex("00") + number(1, 4) + object("Tavlin::D_Condition", hex("00 03 00 01 01 00")));
    EXPECT_EQ(refusal(inBlock), "A script node contains itself");
}

TEST(D_OperatorStreamHostile, TreeThatIsTooDeepIsRefused) {
    EXPECT_EQ(refusal(negations(D_Operator::maxDepth + 1)), "Objects are nested too deeply");
    EXPECT_EQ(refusal(negations(100)), "");
}

// Each level holds the one below twice, so a walk would visit two to the power of 40 nodes.
TEST(D_OperatorStreamHostile, TreeThatIsSmallToReadAndEndlessToWalkIsRefused) {
    std::string nested = object("Tavlin::D_Constant", hex("00 00 00") + integer(1));
    constexpr int levels = 40;
    for (int i = 0; i < levels; ++i) {
        // The level below is numbered behind all that stand around it.
        std::size_t const below = static_cast<std::size_t>(levels - i + 1);
        nested = object("Tavlin::D_Add", hex("00 00 01") + nested + hex("01") + number(below, 2));
    }
    EXPECT_EQ(refusal(nested), "Objects are nested too deeply");
}

TEST(D_OperatorStreamHostile, CountsThatTheStreamDoesNotHoldEndWithIt) {
    auto const endsAtOnce = [](auto & node, std::string const & bytes) {
        std::string copy = bytes + hex("FF FF FF FF");
        impstream in(copy.data(), static_cast<long>(copy.size()), GIO::ReadMode);
        node.read(in);
        return in.fail();
    };
    TRef<D_Block> const block(new D_Block);
    EXPECT_TRUE(endsAtOnce(*block, hex("00")));
    EXPECT_LE(block->getOperators().getCount(), 1);
    TRef<D_Function> const call(new D_Function);
    EXPECT_TRUE(endsAtOnce(*call, hex("00 00 01") + name("f")));
    EXPECT_TRUE(endsAtOnce(*call, hex("00 00 01") + name("f") + number(0, 4)));
    TRef<D_State> const state(new D_State);
    EXPECT_TRUE(endsAtOnce(*state, hex("00") + name("s")));
    TObjectCreator<D_Automat> creator;
    TRef<D_Automat> const definition(static_cast<D_Automat *>(creator));
    std::string bytes = hex("02 00 00 00 00  02");
    for (int list = 0; list < 4; ++list, bytes += number(0, 4)) {
        EXPECT_TRUE(endsAtOnce(*definition, bytes)) << list;
        EXPECT_LE(definition->getNamesCount(), 2) << "names and values go side by side";
    }
}

} // namespace Tavlin
