#include "tavlinbase/InstructionList.h"

#include "Instruction_support.h"

#include <gtest/gtest.h>

namespace kernel_test {
namespace {

class InstructionListTest : public testing::Test {
  protected:
    InstructionListTest() { Command::taken(); }
    ~InstructionListTest() override {
        list_.empty();
        EXPECT_EQ(Command::alive, 0);
    }
    std::string run() {
        list_->execute();
        return Command::taken();
    }
    static void skip(Command & command) { command.iSkip(); }
    static void stopSkip(Command & command) { command.iStopSkip(); }

    TRef<InstructionList> list_{new InstructionList};
};

TEST_F(InstructionListTest, SkippedInstructionsAreToldUntilOneStopsThat) {
    *list_ << command("a", skip) << command("b") << nullptr << command("c", stopSkip)
           << command("d", skip) << command("e");
    EXPECT_EQ(run(), "a -b -c d -e");
    EXPECT_TRUE(list_->isSkipping());
    EXPECT_EQ(run(), "a -b -c d -e") << "a run begins without";
    list_->empty();
    EXPECT_FALSE(list_->isSkipping());
    EXPECT_EQ(run(), "");
}

TEST_F(InstructionListTest, LaterInstructionsSeeTheDataThatWasSet) {
    TRef<InstructionData> const data(new InstructionData);
    TRef<SetDataInstruction> const set(new SetDataInstruction);
    set->init(data);
    std::vector<InstructionData *> seen;
    auto const look = [&](Command & command) { seen.push_back(command.getData()); };
    *list_ << command("a", look) << TRef<Instruction>(set.pointer()) << command("b", look);
    list_->execute();
    list_->execute();
    EXPECT_EQ(seen, (std::vector<InstructionData *>{nullptr, data, data, data}));
    list_->empty();
    EXPECT_FALSE(list_->data());
}

TEST_F(InstructionListTest, MayBeChangedWhileItRuns) {
    auto const all = [&]() -> TRefVector<Instruction> & { return list_->instructions(); };
    using Work = std::function<void(Command &)>;
    struct {
        char const * name;
        Work work; // of the second of four
        char const * ran;
    } const cases[] = {
        {"takes itself out", [&](Command & self) { all().remove(&self); }, "a b d"},
        {"takes out what follows",
         [&](Command &) {
             all().at_remove(3);
             all().at_remove(2);
         },
         "a b"},
        {"takes all out, then skips",
         [&](Command & self) {
             list_->empty();
             self.iSkip();
         },
         "a b"},
        {"adds at the end", [&](Command &) { list_->add(command("x")); }, "a b c d"},
        {"inserts in front", [&](Command &) { all().at_insert(2, command("x")); }, "a b x c"},
        {"lets go of the list",
         [&](Command & self) {
             list_.empty();
             self.iSkip();
         },
         "a b -c -d"},
    };
    for (auto const & c : cases) {
        SCOPED_TRACE(c.name);
        list_ = new InstructionList;
        *list_ << command("a") << command("b", c.work) << command("c") << command("d");
        EXPECT_EQ(run(), c.ran);
    }
}

TEST_F(InstructionListTest, InstructionOfTwoListsIsGivenBackToTheOuterOne) {
    TRef<Instruction> const shared = command("s", [&](Command & self) {
        if (Command::log != "s")
            return;
        TRef<InstructionList> const inner(new InstructionList);
        inner->add(TRef<Instruction>(&self));
        inner->execute();
        self.iSkip();
    });
    *list_ << shared << command("a");
    EXPECT_EQ(run(), "s s -a");
    static_cast<Command &>(*shared).work = nullptr;
}

TEST_F(InstructionListTest, ListThatContainsItselfTwiceBreaksOffAsAWhole) {
    int runs = 0;
    auto const again = [&](Command &) {
        ++runs;
        list_->execute();
    };
    *list_ << command("", again) << command("", again);
    list_->execute();
    EXPECT_GT(runs, 100);
    EXPECT_LT(runs, 100000);
    int const first = std::exchange(runs, 0);
    list_->execute(); // nothing is left of the break
    EXPECT_EQ(runs, first);
    Command::taken();
}

TEST_F(InstructionListTest, StreamsTheInstructionsAsReferences) {
    TRef<Instruction> const twice = flagged(4);
    *list_ << twice << nullptr << twice;
    Bytes expected;
    expected.byte(2).dword(0).byte(0).dword(3).byte(2).open("Tavlin::Instruction");
    expected.byte(2).byte(2).dword(0).dword(4).close().byte(0).byte(1).word(1);
    std::string const bytes = written([&](opstream & out) { list_->write(out); });
    EXPECT_EQ(bytes, expected.str());

    for (int round = 0; round < 2; ++round) { // the second replaces the first
        Input in(bytes);
        list_->read(in);
    }
    ASSERT_EQ(list_->instructions().getCount(), 3);
    EXPECT_EQ(list_->instructions().at(0)->getFlags(), 4u);
    EXPECT_FALSE(list_->instructions().at(1));
    EXPECT_EQ(list_->instructions().at(2), list_->instructions().at(0));
    EXPECT_NE(list_->instructions().at(0), twice);
}

TEST_F(InstructionListTest, HostileStreamsEndInBoundedLists) {
    int const things = Thing::alive;
    Bytes kinds; // something that is no instruction, in the middle
    kinds.byte(2).dword(0).byte(0).dword(3).byte(0);
    kinds.byte(2).open("test::Thing").byte(2).dword(0).close();
    kinds.byte(2).open("Tavlin::Instruction").byte(1).dword(8).close();
    long const nulls = 1 << 20; // many enough to tell when each fourth one copies all
    std::string const huge = Bytes().byte(2).dword(0).byte(0).dword(0xFFFFFFFF).str() +
                             std::string(std::size_t(nulls), '\0');
    for (auto const & [bytes, count] : {std::pair(kinds.str(), 3L), std::pair(huge, nulls + 1)}) {
        Input in(bytes);
        list_->read(in);
        EXPECT_LE(list_->instructions().getCount(), count);
        list_->execute();
    }
    EXPECT_EQ(Thing::alive, things);

    Bytes stray; // the interface at an object that has no list
    stray.byte(2).open("test::Thing").byte(2).dword(1);
    stray.byte(2).open("Tavlin::IInstructionList").byte(1).byte(1).word(1).close().close();
    TRef<Thing> const thing = readReference<Thing>(stray.str());
    TRef<IInstructionList> const list = thing->queryInterface<IInstructionList>();
    ASSERT_TRUE(list);
    EXPECT_EQ(list->getInstructionCount(), 0);
    EXPECT_EQ(list->addInstruction(flagged(0)), 0);
}

class IInstructionListTest : public testing::Test {
  protected:
    IInstructionListTest() { list_->addInterface(face_); }

    TRef<InstructionList> list_{new InstructionList};
    TRef<IInstructionList> face_{new IInstructionList};
};

TEST_F(IInstructionListTest, GoesWithListsOnly) {
    TRef<Thing> const thing(new Thing);
    EXPECT_FALSE(thing->addInterface(TRef<AUnknown>(new IInstructionList)));
    EXPECT_EQ(list_->queryInterface<IInstructionVector>(), face_);
}

TEST_F(IInstructionListTest, ChangesTheVector) {
    fill(face_, {4, 8});
    face_->insertInstructionAt(3, flagged(16)); // leaves a null in front
    face_->putInstruction(0, flagged(32));
    EXPECT_EQ(flagsIn(face_), (Flags{32, 8, 99, 16}));
    face_->deleteInstruction(1);
    face_->deleteInstruction((*face_)[2]);
    face_->deleteInstruction(flagged(32)); // not there
    EXPECT_EQ(flagsIn(face_), (Flags{32, 99}));
    EXPECT_EQ(list_->instructions().getCount(), 2);
}

TEST_F(IInstructionListTest, FindsScopes) {
    EXPECT_EQ(face_->getFirstOpenScope(), -1);
    fill(face_, {4, 1, 4, 2, 4, 1, 4, 2, 4});
    EXPECT_EQ(face_->getFirstOpenScope(), 1);
    EXPECT_EQ(face_->getNextOpenScope(), 5);
    EXPECT_EQ(face_->getNextOpenScope(), -1);
    EXPECT_EQ(face_->getNextOpenScope(), 1) << "from the start again";
    EXPECT_EQ(face_->getOpenScopeFor(8), 5);
    EXPECT_EQ(face_->getOpenScopeFor(4), 1);
    EXPECT_EQ(face_->getOpenScopeFor(0), -1);
    EXPECT_EQ(face_->getCloseScopeFor(0), 3);
    EXPECT_EQ(face_->getCloseScopeFor(3), 3);
    EXPECT_EQ(face_->getCloseScopeFor(8), -1);
}

TEST_F(IInstructionListTest, LooksForMarksAndClassesUpToTheEndOfTheScope) {
    fill(face_, {1, 4, 2, 1, 8, 18, 4});
    list_->instructions().at_put(4, TRef<Instruction>(new SetDataInstruction));
    face_->getFirstOpenScope();
    EXPECT_EQ(face_->getFlagSeparator(4 | 16), 1);
    EXPECT_EQ(face_->getFlagSeparator(16), -1) << "behind the scope";
    EXPECT_EQ(face_->findWithinScope(&SetDataInstruction::metaclass_), -1);
    EXPECT_EQ(face_->findInWhole(&SetDataInstruction::metaclass_, 0), 4);
    EXPECT_EQ(face_->findInWhole(&SetDataInstruction::metaclass_, 5), -1);
    face_->getNextOpenScope();
    EXPECT_EQ(face_->getFlagSeparator(16), 5) << "the closing one belongs to it";
    EXPECT_EQ(face_->getFlagSeparator(4), -1);
    EXPECT_EQ(face_->findWithinScope(&SetDataInstruction::metaclass_), 4);
}

TEST_F(IInstructionListTest, InsertsAroundTheScope) {
    fill(face_, {4, 1, 4, 2});
    EXPECT_EQ(face_->insertBeforeOpenScope(flagged(32)), -1);
    EXPECT_EQ(face_->insertAfterCloseScope(flagged(32)), -1);
    face_->getFirstOpenScope();
    EXPECT_EQ(face_->insertAfterCloseScope(flagged(32)), 4);
    EXPECT_EQ(face_->insertBeforeOpenScope(flagged(64)), 1);
    EXPECT_EQ(flagsIn(face_), (Flags{4, 64, 1, 4, 2, 32}));
}

TEST_F(IInstructionListTest, InsertsAtMarksAndMovesThem) {
    struct {
        bool after, move;
        Flags expected;
    } const cases[] = {
        {true, true, {1, 8, 32 + 4, 2}},
        {false, true, {1, 32 + 4, 8, 2}},
        {true, false, {1, 4 + 8, 32, 2}},
        {false, false, {1, 32, 4 + 8, 2}},
    };
    for (auto const & c : cases) {
        fill(face_, {1, 4 + 8, 2});
        face_->getFirstOpenScope();
        auto const insert =
            c.after ? &IInstructionList::insertAfterFlag : &IInstructionList::insertBeforeFlag;
        EXPECT_EQ(((*face_).*insert)(flagged(32), 4 | 16, c.move), c.after ? 2 : 1);
        EXPECT_EQ(flagsIn(face_), c.expected);
        EXPECT_EQ(((*face_).*insert)(flagged(32), 64, c.move), -1);
        EXPECT_EQ(flagsIn(face_), c.expected);
    }
}

} // namespace
} // namespace kernel_test
