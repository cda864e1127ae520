// Trees of named members: how links are resolved and checked, in what order the parts of a tree are
// told, how names run through it, and the streamed forms.
#include "tavlinbase/TavlinTypedObject.h"

#include "ObjectKernel_support.h"
#include "diagnostics/TavlinError.h"
#include "tavlinbase/DispInfoIterator.h"
#include "tavlinbase/VRefArray.h"

#include <gtest/gtest.h>

namespace tree_test {

using namespace kernel_test;

NameLinkID name(char const * text) {
    return NameLinkID(text);
}

/// What the parts were told, in order.
std::string g_told;

class Gauge : public TypedObjectLeaf {
    G_DECLARE_CREATABLE(Gauge)
  public:
    explicit Gauge(char const * id = nullptr) {
        if (id)
            setMemberName(id);
    }
    NamedTypeInfo const * getNamedTypeInfo() const override { return &typeInfo; }
    void onLinkComplete() override { tell("linked"); }
    void onInit() override { tell("init"); }
    void onInitBy(VariableRef & source) override {
        auto const * const other = gcast<Gauge>(source.asGRTTI());
        g_told += std::string(other ? other->getMemberNameID().c_str() : "?") + ">";
        onInit();
    }
    void onDispose() override { tell("disposed"); }
    TRef<Object> target;
    ConnectionPointInfo * macroTableHelper(int index) override;
    static NamedTypeInfo typeInfo;

  private:
    void tell(char const * what) {
        g_told += std::string(getMemberNameID().c_str()) + ' ' + what + "; ";
    }
};
/// A leaf that is attached to its node.
class IGauge : public AUnknown, public Gauge {
    G_DECLARE_CREATABLE(IGauge)
  public:
    using Gauge::Gauge;
    void read(ipstream &) override {}
    void write(opstream &) override {}
    void onFinalRelease() override { AUnknown::onFinalRelease(); }
};

class Part : public TypedObjectNode {
    G_DECLARE_CREATABLE(Part)
    TAVLIN_DECLARE_DISPATCHER(Part)
  public:
    explicit Part(char const * id = nullptr) {
        if (id)
            setMemberName(id);
    }
    NamedTypeInfo const * getNamedTypeInfo() const override { return &typeInfo; }
    int compare(Object const & other) const override { return this != &other; }
    int getNodeCount() const override { return int(nodes.size()); }
    TRef<TypedObjectNode> getNode(int index) const override { return nodes[std::size_t(index)]; }
    int getLeafCount() const override { return int(leaves.size()); }
    TypedObjectLeaf * getLeaf(int index) const override { return leaves[std::size_t(index)]; }
    void onLinkComplete() override { tell("linked"); }
    void onInit() override { tell("init"); }
    void onDispose() override { tell("disposed"); }
    using TypedObjectNode::onLinkCompleteRecursive;
    using TypedObjectNode::resolveAllNamesWithRoot;

    template <class T>
    T * add(T * part) {
        if constexpr (std::is_base_of_v<TypedObjectNode, T>)
            nodes.push_back(TRef<TypedObjectNode>(part));
        else
            leaves.push_back(TRef<TypedObjectLeaf>(part));
        return part;
    }
    std::vector<TRef<TypedObjectNode>> nodes;
    std::vector<TRef<TypedObjectLeaf>> leaves;
    VariableVar level{3};
    VariableVar names;
    static NamedTypeInfo typeInfo;

  private:
    void tell(char const * what) {
        g_told += std::string(getMemberNameID().c_str()) + ' ' + what + "; ";
    }
};

/// Its collections are stepped through by itself.
class Rack : public Part, public NamedItemCollectionEnumerator {
    G_DECLARE_CREATABLE(Rack)
  public:
    using Part::Part;
    int getNICollectionCount() override { return 2; }
    GCollection * getNICollection() override { return &(++asked_ % 2 ? first : second); }
    TGCollection<NamedMember> first{0, 4, 0}, second{0, 4, 0};

  private:
    int asked_ = 0;
};

class Engine : public Part {
    G_DECLARE_CREATABLE(Engine)
    TAVLIN_DECLARE_CONNECTIONS(Engine)
  public:
    using Part::Part;
    TRef<Object> tank;
    VariableRef fuel;
    Object * wheel = &unset();
    ILabel * label = nullptr;
    int slot = 77;
    VRefVector list;
    static Object & unset() {
        static TRef<Thing> const thing(new Thing);
        return *thing;
    }
};
class Turbine : public Engine {
    G_DECLARE_CREATABLE(Turbine)
    TAVLIN_DECLARE_CONNECTIONS(Turbine)
  public:
    using Engine::Engine;
    TRef<Object> blade;
};

G_DEFINE_CREATABLE(Gauge, "tree_test::Gauge", TypedObjectLeaf)
G_DEFINE_CREATABLE(IGauge, "tree_test::IGauge", AUnknown, Gauge)
G_DEFINE_CREATABLE(Part, "tree_test::Part", TypedObjectNode)
G_DEFINE_CREATABLE(Rack, "tree_test::Rack", Part, NamedItemCollectionEnumerator)
G_DEFINE_CREATABLE(Engine, "tree_test::Engine", Part)
G_DEFINE_CREATABLE(Turbine, "tree_test::Turbine", Engine)
NamedTypeInfo Gauge::typeInfo(&Gauge::metaclass_, "Gauge");
NamedTypeInfo Part::typeInfo(&Part::metaclass_, "Part");

TAVLIN_BEGIN_DISPATCHER(Part, TypedObjectNode)
    TAVLIN_VARIABLE("level", level, INT)
    TAVLIN_VARIABLE("names", names, ARRAY)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_CONNECTIONS(Gauge)
    TAVLIN_CONNECTION("me.engine", target, ConnectionObject, true)
TAVLIN_END_CONNECTIONS()
TAVLIN_BEGIN_CONNECTIONS(Engine)
    TAVLIN_CONNECTION("me.tank", tank, ConnectionObject, true)
    TAVLIN_CONNECTION("me.tank.level", fuel, ConnectionVariable, true)
    TAVLIN_CONNECTION("wheel", wheel, ConnectionPointer, false)
    TAVLIN_CONNECTION_INTERFACE("me.tank", label, ILabel::metaclass_, true)
    TAVLIN_CONNECTION("me.rack.third", slot, ConnectionIndex, true)
    TAVLIN_CONNECTION("names", list, ConnectionArray, true)
TAVLIN_END_CONNECTIONS()
TAVLIN_BEGIN_CONNECTIONS_DERIVED(Turbine, Engine)
    TAVLIN_CONNECTION("me.tank", blade, ConnectionObject, false)
TAVLIN_END_CONNECTIONS()

/// A root with an engine, whose links all lead somewhere.
class TreeTest : public testing::Test {
  protected:
    TreeTest() {
        g_told.clear();
        tank->addInterface(TRef<AUnknown>(new ILabel(6)));
        for (char const * id : {"first", "second"})
            rack->first.insert(items.add(new Gauge(id)));
        for (char const * id : {"other", "another", "third"})
            rack->second.insert(items.add(new Gauge(id)));
        TRef<Object> const list(
            static_cast<Object *>(ObjectCreator(&WritableVRefArray::metaclass_)));
        auto const array = list->queryInterface<IWritableVRefArray>();
        array->insert(VariableRef("me.tank"));
        array->insert(VariableRef(4));
        array->insert(VariableRef("nothing"));
        array->insert(VariableRef("level"));
        engine->names.asARRAY(list);
    }
    void resolve() { root->resolveAllNamesWithRoot(root); }
    GString check(bool warnings, bool expected) {
        GString log;
        EXPECT_EQ(root->checkConnectionPointsDown(log, warnings), expected);
        return log;
    }
    TRef<Part> root{new Part("root")};
    Engine * engine = root->add(new Engine("engine"));
    Part * wheel = engine->add(new Part("wheel"));
    Part * tank = root->add(new Part("tank"));
    Rack * rack = root->add(new Rack("rack"));
    Part items; // keeps what stands in the rack
};

TEST_F(TreeTest, EveryKindOfLinkReceivesItsTarget) {
    resolve();
    EXPECT_EQ(engine->tank.pointer(), tank);
    EXPECT_EQ(engine->wheel, wheel) << "a plain name starts at the member itself";
    ASSERT_TRUE(engine->label);
    EXPECT_EQ(engine->label->value, 6);
    EXPECT_EQ(engine->label->getReferenceCount(), 0) << "the pointer holds no reference";
    EXPECT_EQ(engine->slot, 2) << "the place within its own collection";
    engine->fuel = 12;
    EXPECT_EQ(tank->level.asINT(), 12) << "linked, not copied";
    ASSERT_EQ(engine->list.getCount(), 4);
    EXPECT_EQ(engine->list[0].asOBJECT().pointer(), tank);
    EXPECT_TRUE(engine->list[1].isEmpty()) << "no name: an empty place";
    EXPECT_TRUE(engine->list[2].isEmpty());
    EXPECT_EQ(engine->list[3].asINT(), 3);
    EXPECT_EQ(engine->getNamelinkRoot(), root);
    EXPECT_STREQ(check(true, true).c_str(), "");
}

TEST_F(TreeTest, TargetsThatWentAreCleared) {
    resolve();
    root->nodes.erase(root->nodes.begin() + 1, root->nodes.end());
    engine->nodes.clear();
    resolve();
    EXPECT_EQ(engine->tank.pointer(), nullptr);
    EXPECT_TRUE(engine->fuel.isEmpty());
    EXPECT_EQ(engine->wheel, nullptr);
    EXPECT_EQ(engine->label, nullptr);
    EXPECT_EQ(engine->slot, -1);
}

TEST_F(TreeTest, ValueOfAnotherKindLeavesTheMemberAlone) {
    resolve();
    auto & table = *engine->getSafePrivateTable();
    for (long i : {0L, 2L, 3L, 5L})
        table[i].makeIndexes("level"); // an INT
    resolve();
    EXPECT_EQ(engine->tank.pointer(), tank);
    EXPECT_EQ(engine->wheel, wheel);
    EXPECT_EQ(engine->label->value, 6);
    EXPECT_EQ(engine->list.getCount(), 4);
    table[3].required = false;
    EXPECT_STREQ(check(false, true).c_str(), "") << "there is a value, that is enough";
}

TEST_F(TreeTest, IndexNeedsAPathAndAnEnumerator) {
    for (char const * path : {"third", "me.tank.third", "me.rack.none", "12", "none.third"}) {
        engine->slot = 77;
        (*engine->getSafePrivateTable())[4].makeIndexes(path);
        engine->resolveConnectionPoint(&(*engine->getPrivateTable())[4]);
        EXPECT_EQ(engine->slot, -1) << path;
    }
}

TEST_F(TreeTest, CheckReportsInTheWordsOfTheLog) {
    GString log;
    EXPECT_FALSE(engine->checkConnectionPoints(log, true));
    EXPECT_STREQ(log.c_str(), "no namelink root");

    struct {
        long point;
        bool required;
        bool warnings;
        char const * path;
        char const * message;
    } const cases[] = {
        {0, true, false, "me.gone", "error: unable to resolve 'me.gone' in 'engine'"},
        {0, false, true, "me.gone", "warning: unable to resolve 'me.gone' in 'engine'"},
        {0, false, false, "me.gone", ""},
        {0, true, true, "1.2", "error: unable to resolve '' in 'engine'"},
        {3, true, false, "me.rack",
         "error: unable to resolve interface 'test::ILabel' of 'me.rack' in 'engine'"},
        {3, true, false, "me.gone", "error: unable to resolve 'me.gone' in 'engine'"},
        {4, true, false, "me.rack.none",
         "error: unable to resolve index 'me.rack.none' in 'engine'"},
    };
    for (auto const & c : cases) {
        engine->killPrivateTable();
        auto & point = (*engine->getSafePrivateTable())[c.point];
        point.makeIndexes(c.path);
        point.required = c.required;
        resolve();
        EXPECT_STREQ(check(c.warnings, !c.required).c_str(), c.message);
    }
}

TEST_F(TreeTest, CheckGoesOnWithTheOtherPartsAndJoinsTheirMessages) {
    root->nodes.erase(root->nodes.begin() + 2); // no rack
    auto * const gauge = tank->add(new Gauge);  // known by its type
    resolve();
    EXPECT_EQ(gauge->target.pointer(), engine);
    gauge->getSafePrivateTable()->at(0).makeIndexes("me.nothing");
    tank->removeAllInterfaces(&ILabel::metaclass_);
    EXPECT_STREQ(check(false, false).c_str(),
                 "error: unable to resolve interface 'test::ILabel' of 'me.tank' in 'engine'\r\n"
                 "error: unable to resolve 'me.nothing' in 'Gauge'")
        << "of one part only the first failure";
}

TEST_F(TreeTest, OnePartThatFailsFailsTheTree) {
    // Each of the three groups of parts in turn, with parts behind it that pass.
    auto * const interfaceLeaf = new IGauge("dial");
    tank->addInterface(TRef<AUnknown>(interfaceLeaf));
    for (Gauge * failing : {tank->add(new Gauge("a")), wheel->add(new Gauge("b")),
                            static_cast<Gauge *>(interfaceLeaf)}) {
        tank->add(new Gauge("passes"));
        resolve();
        check(true, true);
        failing->getSafePrivateTable()->at(0).makeIndexes("me.nothing");
        check(true, false);
        failing->killPrivateTable();
    }
}

TEST_F(TreeTest, CheckKeepsWhatWasResolved) {
    resolve();
    TRef<Object> const former = engine->tank;
    auto & table = *engine->getSafePrivateTable();
    table[0].makeIndexes("wheel");
    EXPECT_STREQ(check(true, true).c_str(), "");
    EXPECT_EQ(engine->tank, former);
    EXPECT_EQ(engine->slot, 2);
    table[4].makeIndexes("me.rack.second");
    EXPECT_STREQ(check(true, true).c_str(), "");
    EXPECT_EQ(engine->slot, -1) << "the place of another name";
    resolve();
    EXPECT_EQ(engine->slot, 1);
    GString log;
    EXPECT_TRUE(engine->checkConnectionPoint(&table[4], log, true));
    EXPECT_EQ(engine->slot, -1) << "a check of one point starts it anew";
}

TEST_F(TreeTest, FirstOfTheCollectionsIsSearchedFirstEachTime) {
    rack->second.at_insert(0, items.add(new Gauge("second")));
    for (int i = 0; i < 3; ++i) {
        (*engine->getSafePrivateTable())[4].makeIndexes("me.rack.second");
        resolve();
        EXPECT_EQ(engine->slot, 1);
    }
}

TEST_F(TreeTest, ChildrenAreToldBeforeTheirParent) {
    wheel->add(new Gauge("rim"));
    engine->addInterface(TRef<AUnknown>(new IGauge("dial")));
    root->nodes.resize(1);
    root->onLinkCompleteRecursive();
    EXPECT_EQ(g_told, "rim linked; wheel linked; dial linked; engine linked; root linked; ");
    g_told.clear();
    root->callInitAsRoot();
    EXPECT_EQ(g_told, "rim init; wheel init; dial init; engine init; root init; ");
    g_told.clear();
    root->callDisposeAsRoot();
    EXPECT_EQ(g_told,
              "rim disposed; wheel disposed; dial disposed; engine disposed; root disposed; ");
}

TEST_F(TreeTest, TreeIsInitialisedByAnotherOfItsShape) {
    root->nodes.resize(1);
    engine->add(new Gauge("rim"));
    engine->add(new Gauge("alone"));
    engine->addInterface(TRef<AUnknown>(new IGauge("dial")));
    TRef<Part> const model(new Part("model"));
    auto * const modelEngine = model->add(new Part("engine"));
    modelEngine->add(new Gauge("rim"));
    modelEngine->addInterface(TRef<AUnknown>(new IGauge("dial")));
    VariableRef source{TRef<Object>(model.pointer())};
    root->callInitByAsRoot(source);
    EXPECT_EQ(g_told, "rim>rim init; dial>dial init; engine init; root init; ");
    g_told.clear();
    VariableRef number(1);
    root->callInitByAsRoot(number);
    EXPECT_EQ(g_told, "root init; ") << "no object: the parts are left out";
}

TEST_F(TreeTest, DottedPathsRunThroughNodesLeavesAndInterfaces) {
    Gauge * const rim = wheel->add(new Gauge("rim"));
    auto * const dial = new IGauge("dial");
    wheel->addInterface(TRef<AUnknown>(dial));
    TRef<Object> const start(root.pointer()), nobody;
    auto const find = [&](char const * path) { return IDispatcher::FindVRef(path, start, nobody); };
    EXPECT_EQ(find("engine.wheel").asOBJECT().pointer(), wheel);
    EXPECT_EQ(gcast<Gauge>(find("engine.wheel.rim").asGRTTI()), rim);
    EXPECT_EQ(gcast<Gauge>(find("engine.wheel.dial").asGRTTI()), dial);
    EXPECT_EQ(find("engine.wheel.level").asINT(), 3) << "and on to the table";
    EXPECT_TRUE(find("engine.wheel.rim.level").isEmpty()) << "a leaf is no object";
    EXPECT_EQ(root->resolveNode("engine.wheel").pointer(), wheel);
    EXPECT_EQ(root->resolveLeaf("engine.wheel.rim"), rim);
    EXPECT_EQ(root->resolveLeaf("engine.wheel"), nullptr);
    EXPECT_EQ(root->resolveNode("level").pointer(), nullptr);
    EXPECT_TRUE(PropertyGetParams(name("engine"), nullptr).call(start));
    EXPECT_FALSE(DispParams(name("engine"), nullptr, nullptr, IDispatcher::Method).call(start));

    std::string names;
    DispInfoIterator iterator(wheel, IDispatcher::PropertyGet | IDispatcher::Variable);
    for (; iterator; ++iterator)
        names += std::string(iterator.name().c_str()) + ' ';
    EXPECT_EQ(names, "rim dial level names ");
    EXPECT_TRUE(
        root->findNameInfo(name("tank"), IDispatcher::PropertyGet, nullptr, nullptr, nullptr));
    EXPECT_FALSE(
        root->getNameInfo(root->getNamesCount(), nullptr, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(TreeTest, UnnamedMemberGoesByItsType) {
    Part * const nameless = root->add(new Part);
    EXPECT_EQ(nameless->getMemberNameID(), name("Part"));
    EXPECT_EQ(root->findMemberNode(name("Part")).pointer(), nameless);
    nameless->setMemberName("named");
    EXPECT_EQ(root->findMemberNode(name("Part")).pointer(), nullptr);
}

TEST(NameLinkResolver, TableOfADerivedClassFollowsThatOfItsBase) {
    TRef<Turbine> const turbine(new Turbine);
    ASSERT_EQ(turbine->getConnectionPointCount(), 7);
    EXPECT_EQ(turbine->macroTableHelper(7), nullptr);
    std::unique_ptr<ConnectionPointInfo> const first(turbine->getConnectionPointInfo(0));
    std::unique_ptr<ConnectionPointInfo> const last(turbine->getConnectionPointInfo(6));
    EXPECT_TRUE(first->temporary && last->temporary);
    EXPECT_STREQ(first->getStringName().c_str(), "me.tank");
    EXPECT_EQ(turbine->getPointer(first->memberOffset), static_cast<void *>(&turbine->tank));
    EXPECT_EQ(turbine->getPointer(last->memberOffset), static_cast<void *>(&turbine->blade));
    EXPECT_EQ(TRef<Part>(new Part)->getConnectionPointCount(), 0);
}

TEST(NameLinkResolver, PrivateTableStandsInForThatOfTheClass) {
    TRef<Engine> const engine(new Engine);
    EXPECT_FALSE(engine->hasPrivateTable());
    auto * const table = engine->getSafePrivateTable();
    EXPECT_EQ(engine->getSafePrivateTable(), table);
    ASSERT_EQ(engine->getConnectionPointCount(), 6);
    EXPECT_FALSE(table->at(0).temporary);
    table->at_remove(5);
    EXPECT_EQ(engine->getConnectionPointCount(), 5);
    EXPECT_EQ(engine->getConnectionPointInfo(0), &table->at(0));
    engine->buildPrivateTable();
    EXPECT_EQ(engine->getConnectionPointCount(), 6);
    engine->killPrivateTable();
    EXPECT_EQ(engine->getPrivateTable(), nullptr);
}

// ---- streams ----

Bytes & named(Bytes & bytes, char const * text) {
    return bytes.byte(0).byte(0).dword(1).text(text);
}
/// An object without interfaces, its name, no private table, no owner.
std::string nodeForm(int version, char const * id) {
    Bytes bytes;
    named(bytes.byte(version).byte(2).dword(0), id);
    if (version >= 1)
        bytes.byte(0).dword(0);
    if (version >= 2)
        bytes.byte(1).byte(0);
    return bytes.str();
}

TEST(TypedObjectStream, EveryVersionOfANodeIsRead) {
    TRef<Part> const part(new Part("door"));
    EXPECT_EQ(written([&](opstream & out) { part->write(out); }), nodeForm(2, "door"));
    for (int version : {0, 1, 2}) {
        TRef<Part> const read(new Part);
        Input in(nodeForm(version, "door") + "\x05");
        read->read(in);
        EXPECT_EQ(read->getMemberNameID(), name("door"));
        EXPECT_EQ(in->readByte(), 5) << "version " << version << " ends where it should";
    }
}

TEST(TypedObjectStream, BothVersionsOfALeafAreRead) {
    Bytes now, before;
    named(now.byte(1), "rim").byte(0).dword(0);
    named(before.byte(0), "rim");
    TRef<Gauge> const gauge(new Gauge("rim"));
    EXPECT_EQ(written([&](opstream & out) { gauge->write(out); }), now.str());
    for (std::string const & form : {now.str(), before.str()}) {
        TRef<Gauge> const read(new Gauge);
        Input in(form + "\x05");
        read->read(in);
        EXPECT_EQ(read->getMemberNameID(), name("rim"));
        EXPECT_EQ(in->readByte(), 5);
    }
}

TEST(TypedObjectStream, UnknownVersionsRaise) {
    TRef<Gauge> const gauge(new Gauge);
    Input member(Bytes().byte(1).byte(1).str());
    EXPECT_THROW(gauge->read(member), XStrVer);
    Bytes resolver;
    named(resolver.byte(1), "rim").byte(1);
    Input in(resolver.str());
    try {
        gauge->read(in);
        FAIL();
    } catch (XStrVer const & error) {
        EXPECT_STREQ(error.getMessage().c_str(), "Unsupported stream version (1, when expected 0)");
    }
}

TEST(TypedObjectStream, PrivateTableKeepsItsPathsAndTheClassTheTargets) {
    TRef<Engine> const engine(new Engine);
    auto & table = *engine->getSafePrivateTable();
    while (table.getCount() > 3)
        table.at_remove(3);
    table.at_remove(0); // what is left is for the second and third member
    table[0].makeIndexes("me.fuel");
    table[0].required = false;
    // A point for a member that the class does not list cannot be written.
    table.insert(ConnectionPointInfo("x", 4096, ConnectionObject, false, true));
    std::string const form = Bytes()
                                 .byte(0)
                                 .dword(1)
                                 .dword(2)
                                 .dword(1)
                                 .byte(0)
                                 .dword(2)
                                 .byte(0)
                                 .dword(1)
                                 .text("me")
                                 .byte(0)
                                 .dword(1)
                                 .text("fuel")
                                 .dword(2)
                                 .byte(0)
                                 .dword(1)
                                 .byte(0)
                                 .dword(1)
                                 .text("wheel")
                                 .str();
    EXPECT_EQ(written([&](opstream & out) { engine->NameLinkResolver::write(out); }), form);

    TRef<Engine> const read(new Engine);
    Input in(form);
    read->NameLinkResolver::read(in);
    ASSERT_EQ(read->getConnectionPointCount(), 2);
    ConnectionPointInfo const & fuel = *read->getConnectionPointInfo(0);
    EXPECT_EQ(read->getPointer(fuel.memberOffset), static_cast<void *>(&read->fuel));
    EXPECT_EQ(fuel.type, ConnectionVariable);
    EXPECT_FALSE(fuel.required || fuel.temporary);
    EXPECT_STREQ(fuel.getStringName().c_str(), "me.fuel");
    EXPECT_EQ(read->getPointer(read->getConnectionPointInfo(1)->memberOffset),
              static_cast<void *>(&read->wheel));
}

TEST(TypedObjectStream, EmptyAndDamagedPrivateTables) {
    struct {
        std::string form;
        int points; ///< -1: there is no table
    } const cases[] = {
        {Bytes().byte(0).dword(0).str(), -1},
        {Bytes().byte(0).dword(1).dword(0).str(), 0},
        {Bytes().byte(0).dword(1).dword(0xFFFFFFFFu).str(), 0},
        {Bytes().byte(0).dword(1).dword(1).dword(6).byte(1).dword(0).str(), 0},
        {Bytes().byte(0).dword(1).dword(1).dword(0xFFFFFFFFu).byte(1).dword(0).str(), 0},
        {Bytes().byte(0).dword(1).dword(2).dword(5).byte(1).dword(0).str(), 1},
    };
    for (auto const & c : cases) {
        TRef<Engine> const engine(new Engine);
        engine->buildPrivateTable();
        Input in(c.form);
        engine->NameLinkResolver::read(in);
        EXPECT_EQ(engine->hasPrivateTable() ? engine->getConnectionPointCount() : -1, c.points);
    }
}

} // namespace tree_test
