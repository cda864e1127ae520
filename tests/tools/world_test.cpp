// Saved worlds of hosts whose classes the program does not know.
#include "tests/tools/program_support.h"

#include "ondrel.h"

#include <nlohmann/json.hpp>

#include <set>
#include <sstream>

using namespace Tavlin;
using Names = std::vector<std::string>;
using Json = nlohmann::json;

namespace {

/// A component of the host's.
class Body : public AgentComponent {
    G_DECLARE_CREATABLE(Body)
  public:
    Body() = default;
    NamedTypeInfo const * getNamedTypeInfo() const override { return nullptr; }
    void read(ipstream &) override {}
    void write(opstream & out) override {
        out.writeByte(0);
        AgentComponent::write(out);
        out << 1 << 2;
    }
    void onFinalRelease() override { Object::onFinalRelease(); }
};

/// A component that comes from a library and has data of its own there, among it an object and what
/// could be the number behind a component.
class Stock : public AgentComponent, public IDynamicDataReadWrite {
    G_DECLARE_CREATABLE(Stock)
  public:
    NamedTypeInfo const * getNamedTypeInfo() const override { return nullptr; }
    void read(ipstream & in) override { AgentComponent::read(in); }
    void write(opstream & out) override { AgentComponent::write(out); }
    void readDynamic(ipstream &) override {}
    void writeDynamic(opstream & out) override {
        for (int number = 0; number < 6; ++number)
            out << number;
        TRef<BookMark> const other(new BookMark(GFile("other"), NameLinkID("other")));
        RefCounterWrite(out, TRef<RefCounter>(other.pointer()));
        out << 7;
    }
    void onFinalRelease() override { Object::onFinalRelease(); }
};

/// What a host saves. Its parts stand in objects that the program does not know.
class Save : public GStreamable {
    G_DECLARE_CREATABLE(Save)
  public:
    void read(ipstream &) override {}
    void write(opstream & out) override {
        std::unique_ptr<NameLinkID::FastSceneWrite> names;
        if (withDump)
            names = std::make_unique<NameLinkID::FastSceneWrite>(out);
        out.writeDWord(static_cast<unsigned long>(agents.size()));
        for (TRef<AgentShell> const & agent : agents)
            RefCounterWrite(out, TRef<RefCounter>(agent.pointer()));
    }

    std::vector<TRef<AgentShell>> agents;
    bool withDump = false;
};

G_DEFINE_CREATABLE(Body, "Test::Body", AgentComponent)
G_DEFINE_CREATABLE(Stock, "Test::Stock", AgentComponent, IDynamicDataReadWrite)
G_DEFINE_CREATABLE(Save, "Test::Save", GStreamable)

char const * const script = "count := 3\nspeed := 2.5\nword := \"\"\nmood := 'calm'\n"
                            "place := 10 20\nwho := 0\nspot := 0\n"
                            "State Asleep\n{\nMethod Wake\n{\ngoto Awake\n}\n}\n"
                            "State Awake\n{\nMethod Sleep\n{\ngoto Asleep\n}\n}\n";

class SavedWorld : public testing::Test {
  protected:
    SavedWorld() : scene(new SceneObject), manager(new AgentManager2) {
        directory.put("script.aut", script);
        TObjectCreator<D_Automat> creator;
        definition = static_cast<D_Automat *>(creator);
        EXPECT_TRUE(definition->load(directory.name("script.aut").c_str()));
        add("Bread, \"fresh\"");
        add("Second");
        automats[0]->setVariable("count", VariableVar(41));
        automats[0]->setVariable("word", VariableVar("a\x1B\\b"));
        // Kinds that no script writes down.
        VariableRef & who = *automats[0]->variableAt(5);
        VariableRef & spot = *automats[0]->variableAt(6);
        who.empty();
        who = TRef<Object>(save.agents[1].pointer());
        spot.empty();
        spot = Vector2D(0.5f, -1);
        automats[0]->setNowState("Awake");
        save.agents[1]->start();
    }
    ~SavedWorld() override {
        save.agents.clear();
        automats.clear();
        manager->stop();
    }

    void add(char const * name) {
        TObjectCreator<AgentShell> shell;
        TRef<AgentShell> const agent(static_cast<AgentShell *>(shell));
        TRef<Automat> const automat = definition->createNewAutomat();
        TRef<Body> const body(new Body);
        agent->setMemberName(name);
        agent->addComponent(TRef<AgentComponent>(body.pointer()), "Frame", 0.25f);
        agent->addComponent(TRef<AgentComponent>(automat.pointer()), 0.75f);
        automat->setInheritedObject(TRef<Object>(body.pointer()));
        automats.push_back(automat);
        save.agents.push_back(agent);
    }

    /// To the first agent. A shared one has no data of its own.
    void addOfLibrary(TRef<AgentComponent> const & component, char const * name, bool isShared,
                      float priority) {
        auto * const mark = new IBookMark;
        mark->setPath(GFile("goods.lib"), NameLinkID(name));
        mark->setFlags(isShared ? IBookMark::Shared : 0);
        component->addInterface(TRef<AUnknown>(mark));
        save.agents[0]->addComponent(component, priority);
    }

    Outcome world(Names arguments) const {
        arguments.insert(arguments.begin(), "world");
        return runProgram(directory, arguments);
    }
    Json json(Names arguments) const {
        arguments.push_back("--json");
        Outcome const shown = world(arguments);
        EXPECT_EQ(shown.err, "");
        EXPECT_EQ(shown.status, 0);
        return Json::parse(shown.out, nullptr, false);
    }

    TemporaryDirectory directory;
    TRef<SceneObject> scene;
    TRef<AgentManager2> manager;
    TRef<D_Automat> definition;
    std::vector<TRef<Automat>> automats;
    Save save;
};

Json valueOf(Json const & component, char const * name) {
    for (Json const & variable : component["variables"])
        if (variable["name"] == name)
            return variable["value"];
    return "no such variable";
}

TEST_F(SavedWorld, IsShownOutOfAPlainStream) {
    for (bool const withDump : {false, true}) {
        save.withDump = withDump;
        ofpstream out(directory.name("s").c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                      GFileIO::ShareNone);
        // The village has its dump in the usual order.
        out.endian(withDump ? pstream::SwappedEndian : pstream::NativeEndian);
        out.writePointer(&save);
        out.close();
        Json const shown = json({"s"});
        Json const & agents = shown["agents"];
        ASSERT_EQ(agents.size(), 2u) << shown.dump();
        EXPECT_EQ(agents[0]["name"], "Bread, \"fresh\"");
        EXPECT_EQ(agents[0]["running"], false);
        EXPECT_EQ(agents[1]["running"], true);
        Json const & body = agents[0]["components"][0];
        EXPECT_EQ(body["class"], "Test::Body");
        EXPECT_EQ(body["name"], "Frame");
        EXPECT_EQ(body["priority"], 0.25);
        Json const & first = agents[0]["components"][1];
        EXPECT_EQ(first["priority"], 0.75);
        EXPECT_EQ(first["state"], "Awake");
        EXPECT_EQ(first["inherits"]["number"], body["number"]);
        EXPECT_EQ(valueOf(first, "count"), 41);
        EXPECT_EQ(valueOf(first, "speed"), 2.5);
        EXPECT_EQ(valueOf(first, "word"), "a\x1B\\b");
        EXPECT_EQ(valueOf(first, "mood"), "calm");
        EXPECT_EQ(valueOf(first, "place"), "10, 20");
        EXPECT_EQ(valueOf(first, "spot"), "0.5, -1");
        EXPECT_EQ(valueOf(first, "who")["number"], agents[1]["number"]);
        Json const & second = agents[1]["components"][1];
        EXPECT_EQ(second["state"], "Asleep");
        EXPECT_EQ(valueOf(second, "count"), 3);
        EXPECT_EQ(valueOf(second, "who"), 0);

        std::string const text = world({"s", "--agent", "Second"}).out;
        EXPECT_EQ(text.find("Bread"), std::string::npos) << text;
        EXPECT_NE(text.find("    state Asleep\n    count = 3 (int)\n"), std::string::npos) << text;
        EXPECT_EQ(text.find('\x1B'), std::string::npos) << text;
    }
    EXPECT_EQ(world({"s", "--agent", "Nobody"}).status, 3);
    EXPECT_EQ(world({"s", "--generation", "1"}).status, 3);
    directory.put("empty", "nothing");
    EXPECT_EQ(json({"empty"})["agents"].size(), 0u);
}

TEST_F(SavedWorld, GoesOnBehindComponentsOfALibrary) {
    TRef<AgentComponent> const body(new Body);
    auto const stock = [] { return TRef<AgentComponent>(new Stock); };
    // Others before, between and behind the ones that were there, whose priorities are 0.25, 0.75.
    addOfLibrary(stock(), "shared", true, 0.1f);
    addOfLibrary(stock(), "with data", false, 0.5f);
    addOfLibrary(body, "without", false, 0.6f);
    for (bool const isShared : {true, false}) {
        addOfLibrary(stock(), "last", isShared, isShared ? 0.8f : 0.9f);
        {
            ofpstream out(directory.name("s").c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                          GFileIO::ShareNone);
            out.writePointer(&save);
        }
        Json const agent = json({"s"})["agents"][0];
        Names names;
        for (Json const & component : agent["components"]) {
            names.push_back(component["name"]);
            EXPECT_EQ(component.value("library", "none"),
                      component["class"] == "Tavlin::BookMark" ? "goods.lib" : "none");
        }
        Names wanted{"shared", "Frame", "with data", "without", "", "last"};
        if (!isShared)
            wanted.push_back("last");
        EXPECT_EQ(names, wanted) << agent;
        EXPECT_EQ(valueOf(agent["components"][4], "count"), 41);
        EXPECT_EQ(agent["running"], false);
        EXPECT_FALSE(agent.contains("problem")) << agent;
    }
}

TEST_F(SavedWorld, ShowsTheLastGenerationOrTheOneAskedFor) {
    {
        ResourceFile file(directory.name("s").c_str(), GIO::ReadWriteMode);
        GString const worlds("worlds");
        for (int const count : {9, 10}) {
            automats[0]->setVariable("count", VariableVar(count));
            std::string const name = "save" + std::to_string(count);
            ASSERT_TRUE(file.put(&save, GResourceFullName(worlds, name.c_str(), "World"), false));
        }
        ASSERT_TRUE(file.put(scene.pointer(), GResourceFullName(worlds, "save99", "W"), false));
        ASSERT_TRUE(file.flush());
    }
    auto const count = [&](Names const & arguments) {
        return valueOf(json(arguments)["agents"][0]["components"][1], "count");
    };
    EXPECT_EQ(count({"s"}), 10);
    EXPECT_EQ(count({"s", "--generation", "save9"}), 9);
    Outcome const piped = runProgram(directory, {"world", "-"}, directory.content("s"));
    EXPECT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.out, world({"s"}).out);
    EXPECT_EQ(count({"s", "--generation", "worlds/save9,World"}), 9);
    EXPECT_EQ(json({"s", "--generation", "save99"})["agents"].size(), 0u);
    EXPECT_EQ(world({"s", "--generation", "save"}).status, 3);

    // An older one is not shown in silence.
    std::string bytes = directory.content("s");
    std::string const stored =
        runProgram(directory, {"pack", "get", "--stored", "s", "worlds/save10,World", "-o", "-"})
            .out;
    std::size_t const block = bytes.find(stored);
    ASSERT_LT(block, bytes.size());
    bytes.replace(block, 30, 30, '\xFF');
    directory.put("s", bytes);
    Outcome const older = world({"s"});
    EXPECT_EQ(older.status, 2);
    EXPECT_EQ(older.out.find("worlds/save9,World\n"), 0u) << older.out;
    EXPECT_NE(older.err.find("worlds/save10,World: "), std::string::npos) << older.err;
}

TEST_F(SavedWorld, ShowsWhatDamageHasLeft) {
    {
        ofpstream out(directory.name("s").c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                      GFileIO::ShareNone);
        out.writePointer(&save);
    }
    std::string bytes = directory.content("s");
    // In the second agent: in front of the value of its first variable, and in its length.
    std::size_t const second = bytes.find("Second");
    std::size_t const length = bytes.rfind("\xEF\x80\x4A\x29", bytes.rfind("Tavlin::AgentShell"));
    ASSERT_LT(second, length);
    bytes[length + 4] = '\x7F';
    directory.put("s", bytes);
    Outcome const shown = world({"s", "--json"});
    EXPECT_EQ(shown.status, 2);
    EXPECT_NE(shown.err.find("at byte " + std::to_string(length + 4)), std::string::npos)
        << shown.err;
    Json const tree = Json::parse(shown.out, nullptr, false);
    EXPECT_EQ(tree["sound"], false);
    ASSERT_EQ(tree["agents"].size(), 2u);
    EXPECT_EQ(valueOf(tree["agents"][0]["components"][1], "count"), 41);
    EXPECT_EQ(valueOf(tree["agents"][1]["components"][1], "count"), 3);

    // Cut within the second agent, the first one is whole.
    directory.put("s", bytes.substr(0, second + 10));
    Outcome const cut = world({"s"});
    EXPECT_EQ(cut.status, 2);
    EXPECT_NE(cut.out.find("count = 41 (int)"), std::string::npos) << cut.out;
    EXPECT_NE(cut.out.find("  ! "), std::string::npos) << cut.out;
}

/// What the program believes about classes of the library is what these write.
TEST(SavedObjects, OfTheLibraryAreKnown) {
    TemporaryDirectory const directory;
    TRef<AgentManager2> const manager(new AgentManager2);
    std::istringstream names(
        "AgentShell Automat AgentInventory InventorySingleSlot InventoryMultiSlot "
        "DispObjectRegistrar BookMark IBookMark INamedObjectImpl IObjectContainer "
        "IRemovableNamedObject SimpleDispatcher SimpleDispatcherFunctionGroup "
        "HandlerCollectionObject Instruction InstructionList InstructionData SetDataInstruction "
        "ProcedureInstruction IInstructionList IProcedureList ComplexObjectModifier MAddInterface "
        "WritableVRefArray VRefChannel VRefObjectChannel D_Array D_Automat D_State D_Block "
        "D_Method D_Condition D_Out D_InvokeOut D_Assign D_Not D_Increment "
        "D_Decrement D_Function D_DoAfter D_Constant D_Me D_Event D_Variable D_Or "
        "D_IsNotEqual");
    for (std::string name; names >> name;) {
        SCOPED_TRACE(name);
        GMetaClass const * const metaClass = GMetaClass::FindByName(("Tavlin::" + name).c_str());
        ASSERT_NE(metaClass, nullptr);
        ofpstream out(directory.name("s").c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                      GFileIO::ShareNone);
        GRTTIObject * const built = metaClass->buildObject();
        out.writePointer(gcast<GStreamable>(built));
        out.close();
        metaClass->destroyObject(built);
        Outcome const shown = runProgram(directory, {"stream", "s", "--json"});
        EXPECT_NE(shown.out.find("\"known\": true"), std::string::npos) << shown.out;
    }
}

int expectKnown(Json const & items) {
    int count = 0;
    for (Json const & item : items)
        if (item["kind"] == "object") {
            std::string const name = item["class"];
            bool const isOfHost = name.find("Village::") == 0;
            EXPECT_EQ(item["known"], !isOfHost) << name << " at " << item["offset"];
            count += 1 + expectKnown(item["items"]);
        }
    return count;
}

/// Empty ones do not show in which order the parts stand. These are what the village does not hold.
TEST(SavedObjects, OfTheLibraryAreKnownWithContent) {
    TemporaryDirectory const directory;
    TRef<InstructionData> const data(new InstructionData);
    data->setInitialName("data");
    TRef<SetDataInstruction> const set(new SetDataInstruction);
    set->init(data);
    TRef<ProcedureInstruction> const procedure(new ProcedureInstruction);
    EXPECT_TRUE(procedure->setName("procedure"));
    procedure->body()->add(TRef<Instruction>(set.pointer()));
    TRef<MAddInterface> const adding(new MAddInterface);
    adding->init(&INamedObjectImpl::metaclass_);
    TRef<ComplexObjectModifier> const modifier(new ComplexObjectModifier);
    modifier->vector().insert(TRef<ObjectModifier>(adding.pointer()));
    auto * const container = new IObjectContainer;
    procedure->addInterface(TRef<AUnknown>(container));
    container->insertObject(TRef<Object>(modifier.pointer()));
    TRef<WritableVRefArray> const array = WritableVRefArray::Create();
    array->addInterface(TRef<AUnknown>(new INamedObjectImpl("array")));
    for (VariableVar value : {VariableVar(1), VariableVar(2.5f), VariableVar("text")})
        array->atInsert(0, value);
    array->atInsert(0, VariableVar(TRef<Object>(procedure.pointer())));
    for (bool const swapped : {false, true}) {
        ofpstream out(directory.name("s").c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate,
                      GFileIO::ShareNone);
        out.endian(swapped ? pstream::SwappedEndian : pstream::NativeEndian);
        out.writePointer(array.pointer());
        out.close();
        Outcome const shown = runProgram(directory, {"stream", "s", "--json"});
        Json const tree = Json::parse(shown.out, nullptr, false);
        EXPECT_EQ(expectKnown(tree["streams"][0]["parts"][0]["items"]), 10) << tree.dump(1);
    }
}

#ifdef ONDREL_VILLAGE
TEST(SavedVillage, IsShownWithoutItsClasses) {
    TemporaryDirectory const directory;
    Outcome const made =
        runProgram(directory, {"--agents", "4", "--minutes", "1", "--quiet", "--keep", "kept"}, "",
                   ONDREL_VILLAGE);
    ASSERT_EQ(made.status, 0) << made.err;
    std::set<std::string> generations;
    int loaves = 0;
    for (char const * const generation : {"", "000002", "000003", "000004"}) {
        Names arguments = {"world", "kept/village.world", "--json"};
        if (*generation)
            arguments.insert(arguments.end(), {"--generation", generation});
        Outcome const shown = runProgram(directory, arguments);
        ASSERT_EQ(shown.status, 0) << shown.err;
        Json const tree = Json::parse(shown.out, nullptr, false);
        generations.insert(tree["resource"]);
        Names names;
        for (Json const & agent : tree["agents"]) {
            names.push_back(agent["name"]);
            ASSERT_EQ(agent["components"].size(), 3u);
            EXPECT_EQ(agent["components"][0]["class"], "Village::Villager");
            Json const & goods = agent["components"][1];
            EXPECT_EQ(goods["name"], "Goods");
            ASSERT_EQ(goods["slots"].size(), 2u) << goods;
            EXPECT_EQ(goods["slots"][0]["name"], "Basket") << "of a class of the host's";
            EXPECT_EQ(goods["slots"][1]["name"], "Hand");
            for (Json const & slot : goods["slots"]) {
                EXPECT_EQ(slot["known"], true) << slot;
                for (Json const & item : slot["items"])
                    loaves += item["class"] == "Village::Loaf";
            }
            Json const & automat = agent["components"][2];
            EXPECT_TRUE(automat["state"].is_string()) << automat;
            EXPECT_TRUE(valueOf(automat, "hunger").is_number_float()) << automat;
            EXPECT_EQ(automat["inherits"]["number"], agent["components"][0]["number"]);
        }
        EXPECT_EQ(names, (Names{"Anna", "Boris", "Clara", "Dmitri"}));
        EXPECT_EQ(tree["scene"].size(), 5u);
    }
    EXPECT_GT(loaves, 0);
    EXPECT_EQ(generations.size(), 3u) << "the newest one is one of them";
    Outcome const stream = runProgram(directory, {"stream", "kept/village.world", "--json"});
    EXPECT_EQ(stream.status, 0) << stream.err;
    Json const streams = Json::parse(stream.out, nullptr, false)["streams"];
    for (Json const & one : streams)
        expectKnown(one["parts"][0]["items"]);
}
#endif

} // namespace
