// Inventories: what slots take and give, where calls go, what may happen meanwhile, and the bytes.
#include "tavlinmid/AgentInventory.h"

#include "AgentTest.h"

#include <map>

namespace Tavlin {

/// An item with one property, "Weight".
class Ware : public UniqueObject, public IDispatcher {
    G_DECLARE_CREATABLE(Ware)
  public:
    explicit Ware(int heavy = 0) : weight(heavy) { ++alive; }
    ~Ware() override { --alive; }
    bool invoke(DispParams * params) override {
        if (params->name != NameLinkID("Weight"))
            return false;
        log += std::to_string(params->type) + ":" + std::to_string(weight) + " ";
        if (onAsk)
            onAsk();
        if (params->type == IDispatcher::PropertyGet && weight)
            *params->result = weight;
        return weight != 0;
    }
    IDispatcher::Info const * getTypeInfo() override { return nullptr; }
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    int weight; ///< 0 answers to nothing
    std::function<void()> onAsk;
    static int alive;
    static std::string log;
};
G_DEFINE_CREATABLE(Ware, "Test::Ware", UniqueObject, IDispatcher)

int Ware::alive = 0;
std::string Ware::log;

/// A slot that can be rung.
class BellSlot : public InventorySingleSlot {
    G_DECLARE_CREATABLE(BellSlot)
  public:
    bool invoke(DispParams * params) override {
        if (params->type != IDispatcher::Method || params->name != NameLinkID("Ring"))
            return InventorySingleSlot::invoke(params);
        Part::log.emplace_back(getMemberNameID().c_str());
        if (onRing)
            onRing();
        return answers;
    }
    std::function<void()> onRing;
    bool answers = true;
};
G_DEFINE_CREATABLE(BellSlot, "Test::BellSlot", InventorySingleSlot)

namespace {

TRef<Object> ware(int weight) {
    return TRef<Object>(new Ware(weight));
}

struct AgentInventoryTest : AgentTest {
    using AgentTest::ring;
    ~AgentInventoryTest() override {
        slots.clear();
        inventory.empty();
        EXPECT_EQ(Ware::alive, 0);
    }
    template <class Slot = BellSlot>
    TRef<Slot> addSlot(char const * name) {
        TRef<Slot> const slot(new Slot);
        slot->setMemberName(name);
        inventory->addSlot(TRef<InventorySlot>(slot.pointer()));
        return slot;
    }
    void remove(char const * name) {
        inventory->removeSlot(TRef<InventorySlot>(slots[name].pointer()));
    }
    TRef<Object> object() const { return TRef<Object>(inventory.pointer()); }
    static std::string weight(InventorySlot & slot) {
        Ware::log.clear();
        return Recorder::describe(
            IDispatcher::GetPropertyOrVar(TRef<Object>(&slot), NameLinkID("Weight")));
    }

    TRef<AgentInventory> inventory{new AgentInventory};
    std::map<std::string, TRef<BellSlot>> slots;
};

TEST_F(AgentInventoryTest, SingleSlotHoldsOneItem) {
    TRef<InventorySingleSlot> const slot(new InventorySingleSlot);
    TRef<Object> const first = ware(1), second = ware(2);
    EXPECT_FALSE(slot->getItem());
    EXPECT_TRUE(slot->removeItem(TRef<Object>())) << "nothing is what an empty slot holds";
    EXPECT_FALSE(slot->removeItem(first));
    EXPECT_TRUE(slot->addItem(first));
    EXPECT_FALSE(slot->addItem(second));
    EXPECT_EQ(slot->getItem(), first.pointer());
    EXPECT_EQ(slot->getItem(7), first.pointer());
    EXPECT_EQ(slot->getItemCount(), 1);
    EXPECT_FALSE(slot->removeItem(second));
    EXPECT_FALSE(slot->removeItem(TRef<Object>()));
    EXPECT_TRUE(slot->removeItem(first));
    EXPECT_EQ(slot->getItemCount(), 0);
}

TEST_F(AgentInventoryTest, MultiSlotHoldsItemsInOrderAndSeveralTimes) {
    TRef<InventoryMultiSlot> const slot(new InventoryMultiSlot);
    TRef<Object> const a = ware(1), b = ware(2);
    EXPECT_FALSE(slot->getItem());
    for (TRef<Object> const & item : {a, b, a})
        EXPECT_TRUE(slot->addItem(item));
    EXPECT_TRUE(slot->removeItem(ware(3)));
    EXPECT_EQ(slot->getItemCount(), 3);
    EXPECT_TRUE(slot->removeItem(slot->getItem()));
    ASSERT_EQ(slot->getItemCount(), 2);
    EXPECT_EQ(slot->getItem(), b.pointer());
    EXPECT_EQ(slot->getItem(1), a.pointer());
}

TEST_F(AgentInventoryTest, SlotsAreMembersOfTheTree) {
    TRef<AgentShell> const agent(new AgentShell);
    agent->addComponent(TRef<AgentComponent>(inventory.pointer()));
    TRef<BellSlot> const hand = addSlot("hand");
    EXPECT_EQ(IDispatcher::FindObject("Inventory.hand", objectOf(agent), TRef<Object>()),
              hand.pointer());
    hand->addItem(ware(9));
    EXPECT_EQ(Recorder::describe(
                  IDispatcher::FindVRef("Inventory.hand.Weight", objectOf(agent), TRef<Object>())),
              "9");
    hand->setMemberNameID(NameLinkID());
    EXPECT_EQ(inventory->findMemberNode(NameLinkID("Slot")), hand.pointer())
        << "without a name by its type";
    inventory->removeSlot(TRef<InventorySlot>(new InventorySingleSlot));
    EXPECT_EQ(inventory->getNodeCount(), 1);
    inventory->removeSlot(TRef<InventorySlot>(hand.pointer()));
    EXPECT_EQ(inventory->getNodeCount(), 0);
    EXPECT_EQ(hand->getReferenceCount(), 1);
    EXPECT_EQ(hand->compare(*hand), 0);
    EXPECT_NE(hand->compare(*TRef<BellSlot>(new BellSlot)), 0);
}

TEST_F(AgentInventoryTest, ReadsAndWritesReachTheFirstItemThatAnswers) {
    TRef<InventoryMultiSlot> const slot = addSlot<InventoryMultiSlot>("basket");
    EXPECT_EQ(weight(*slot), "nothing");
    for (int const heavy : {0, 5, 6})
        slot->addItem(ware(heavy));
    slot->addItem(TRef<Object>());
    EXPECT_EQ(weight(*slot), "5");
    EXPECT_EQ(Ware::log, "2:0 2:5 ");
    Ware::log.clear();
    VariableRef value;
    value = 3;
    EXPECT_TRUE(PropertySetParams(NameLinkID("Weight"), value).call(TRef<Object>(slot.pointer())));
    EXPECT_EQ(Ware::log, "4:0 4:5 ");
    Ware::log.clear();
    DispParams method(NameLinkID("Weight"), nullptr, nullptr, IDispatcher::Method);
    EXPECT_FALSE(method.call(TRef<Object>(slot.pointer())));
    EXPECT_FALSE(method.call(object()));
    EXPECT_EQ(Ware::log, "") << "a method stays with the slot";
    EXPECT_EQ(IDispatcher::GetPropertyOrVar(object(), NameLinkID("Weight")).type(), UNDEFINED);
    EXPECT_EQ(Ware::log, "") << "an inventory passes methods only";
}

TEST_F(AgentInventoryTest, ItemMayEndWhileTheSlotAsksIt) {
    TRef<InventoryMultiSlot> slot = addSlot<InventoryMultiSlot>("basket");
    for (int const heavy : {0, 0, 7})
        slot->addItem(ware(heavy));
    auto & first = static_cast<Ware &>(*slot->getItem(0));
    first.onAsk = [&] {
        int const before = Ware::alive;
        TRef<Object> const self = slot->getItem(0);
        EXPECT_TRUE(slot->removeItem(self));
        EXPECT_EQ(Ware::alive, before);
    };
    EXPECT_EQ(weight(*slot), "7");
    EXPECT_EQ(Ware::log, "2:0 2:7 ") << "the one behind it slips through";
    EXPECT_EQ(Ware::alive, 2);

    auto & last = static_cast<Ware &>(*slot->getItem(1));
    last.onAsk = [&] {
        inventory->removeSlot(TRef<InventorySlot>(slot.pointer()));
        slot->removeItem(slot->getItem(1));
        slot.empty();
    };
    InventorySlot & dropped = *slot;
    EXPECT_EQ(weight(dropped), "7");
    EXPECT_EQ(Ware::alive, 0);
}

TEST_F(AgentInventoryTest, SlotMayLieInItself) {
    TRef<InventoryMultiSlot> const slot = addSlot<InventoryMultiSlot>("bag");
    TRef<Object> const self(slot.pointer());
    slot->addItem(self);
    slot->addItem(self);
    EXPECT_EQ(weight(*slot), "nothing");
    slot->removeItem(self);
    slot->addItem(ware(4));
    slot->removeItem(self);
    slot->addItem(self);
    EXPECT_EQ(weight(*slot), "4");
    slot->removeItem(self);
    EXPECT_EQ(weight(*slot), "4") << "what was broken off is over";

    TRef<InventoryMultiSlot> const around(new InventoryMultiSlot);
    around->addItem(TRef<Object>(around.pointer()));
    around->addItem(ware(6));
    EXPECT_EQ(weight(*around), "6") << "who lies behind it is reached";
    around->removeItem(TRef<Object>(around.pointer()));
}

TEST_F(AgentInventoryTest, SlotsThatLieInSlotsAreAskedOnceInASearch) {
    TRef<InventoryMultiSlot> const inner(new InventoryMultiSlot);
    TRef<InventoryMultiSlot> outer = inner;
    for (int i = 0; i < 60; ++i) { // 2 to the power of 60 ways lead to the inner one
        TRef<InventoryMultiSlot> const next(new InventoryMultiSlot);
        next->addItem(TRef<Object>(outer.pointer()));
        next->addItem(TRef<Object>(outer.pointer()));
        outer = next;
    }
    EXPECT_EQ(weight(*outer), "nothing");
    TRef<Object> const mute = ware(0);
    inner->addItem(mute);
    EXPECT_EQ(weight(*outer), "nothing");
    EXPECT_EQ(Ware::log, "2:0 ");
    inner->addItem(ware(8));
    static_cast<Ware &>(*mute).onAsk = [&, once = false]() mutable {
        if (std::exchange(once, true))
            return;
        EXPECT_EQ(weight(*outer), "8") << "a search of its own";
    };
    EXPECT_EQ(weight(*outer), "8");
}

TEST_F(AgentInventoryTest, MethodRunsInEverySlotTheLatestFirst) {
    EXPECT_FALSE(ring(object()));
    for (char const * name : {"a", "b", "c"})
        slots[name] = addSlot(name);
    slots["c"]->answers = false;
    slots["a"]->answers = false;
    EXPECT_TRUE(ring(object())) << "one answer is enough";
    EXPECT_EQ(taken(), "c b a");
    slots["b"]->answers = false;
    EXPECT_FALSE(ring(object()));
}

TEST_F(AgentInventoryTest, SlotsMayComeAndGoWhileAMethodIsCalled) {
    struct Case {
        char const * what;
        std::function<void(AgentInventoryTest &)> change; // in the turn of c
        char const * called;
    } const cases[] = {
        {"itself", [](auto & t) { t.remove("c"); }, "d c b a"},
        {"the one before it", [](auto & t) { t.remove("d"); }, "d c b a"},
        {"the next", [](auto & t) { t.remove("b"); }, "d c a"},
        {"the last to be called", [](auto & t) { t.remove("a"); }, "d c b"},
        {"all, with their references",
         [](auto & t) {
             for (char const * name : {"a", "b", "c", "d"})
                 t.remove(name);
             t.slots.clear();
         },
         "d c"},
        {"one more", [](auto & t) { t.addSlot("e"); }, "d c b a"},
        {"a call within",
         [](auto & t) {
             ring(t.object());
             t.remove("b");
         },
         "d c d c b a a"},
        {"the inventory", [](auto & t) { t.inventory.empty(); }, "d c b a"},
    };
    for (Case const & c : cases) {
        inventory = new AgentInventory;
        for (char const * name : {"a", "b", "c", "d"})
            slots[name] = addSlot(name);
        slots["c"]->onRing = [this, &c, once = false]() mutable {
            if (!std::exchange(once, true))
                c.change(*this);
        };
        ring(object());
        EXPECT_EQ(taken(), c.called) << c.what;
    }
}

// In each class the own version, that of the base, and so on down to the node.
TEST_F(AgentInventoryTest, Bytes) {
    TRef<InventorySingleSlot> const hand = addSlot<InventorySingleSlot>("hand");
    TRef<InventoryMultiSlot> const basket = addSlot<InventoryMultiSlot>("basket");
    basket->addItem(ware(1));
    basket->addItem(TRef<Object>());
    auto const node = [](char const * member) {
        return hex("02  02 00 00 00 00  00") + name(member) + hex("00 00 00 00 00  01 00");
    };
    std::string const item = Tavlin::object("Test::Ware", hex("02 00 00 00 00"));
    auto const bytes = [&](char const * version, std::string const & inHand) {
        return hex(version) + hex("02") + emptyNode + hex("00 00 00 3F") + number(2, 4) +
               Tavlin::object("Tavlin::InventorySingleSlot",
                              hex(version) + hex(version) + node("hand") + inHand) +
               Tavlin::object("Tavlin::InventoryMultiSlot", hex(version) + hex(version) +
                                                                node("basket") + number(2, 4) +
                                                                item + hex("00"));
    };
    EXPECT_EQ(digits(written(*inventory)), digits(bytes("00", hex("00"))));

    for (std::string const & inHand : {hex("00"), item}) {
        TRef<AgentInventory> const copy(new AgentInventory);
        copy->addSlot(TRef<InventorySlot>(hand.pointer()));
        ASSERT_TRUE(readInto(*copy, bytes("05", inHand))) << "no version is refused";
        ASSERT_EQ(copy->getNodeCount(), 2) << "what was there has gone";
        auto * const single = gcast<InventorySlot>(copy->getNode(0).pointer());
        auto * const multi = gcast<InventorySlot>(copy->getNode(1).pointer());
        EXPECT_EQ(single->getItemCount(), inHand.size() > 1);
        EXPECT_EQ(multi->getMemberNameID(), NameLinkID("basket"));
        ASSERT_EQ(multi->getItemCount(), 2);
        EXPECT_TRUE(gcast<Ware>(multi->getItem(0).pointer()));
        EXPECT_FALSE(multi->getItem(1));
    }
}

TEST_F(AgentInventoryTest, BadStreamsAreTakenForWhatTheyHold) {
    std::string const head = hex("00 02") + emptyNode + hex("00 00 00 3F");
    std::string const item = Tavlin::object("Test::Ware", hex("02 00 00 00 00"));
    EXPECT_TRUE(readInto(*inventory, head + number(1, 4) + item)) << "a Ware is no slot";
    EXPECT_EQ(inventory->getNodeCount(), 0);
    EXPECT_EQ(Ware::alive, 0);
    EXPECT_FALSE(readInto(*inventory, head + hex("FF FF FF FF")));
    EXPECT_EQ(inventory->getNodeCount(), 0);

    TRef<InventoryMultiSlot> const slot(new InventoryMultiSlot);
    EXPECT_FALSE(readInto(*slot, hex("00 00") + emptyNode + hex("FF FF FF 7F") + item));
    EXPECT_LT(slot->getItemCount(), 3);
    EXPECT_TRUE(readInto(*slot, hex("00 00") + emptyNode + number(0, 4)));
    EXPECT_EQ(slot->getItemCount(), 0);
}

} // namespace
} // namespace Tavlin
