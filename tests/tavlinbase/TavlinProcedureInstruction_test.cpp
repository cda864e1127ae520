#include "tavlinbase/TavlinProcedureInstruction.h"

#include "Instruction_support.h"
#include "diagnostics/TavlinError.h"
#include "persistence/PStreamExceptions.h"

#include <gtest/gtest.h>

namespace kernel_test {
namespace {

TRef<ProcedureInstruction> procedure(char const * name) {
    TRef<ProcedureInstruction> const made(new ProcedureInstruction);
    made->setName(name);
    return made;
}

TRef<IProcedureList> listOf(TRef<ProcedureInstruction> const & procedure) {
    return TRef<IProcedureList>(gcast<IProcedureList>(
        procedure->querySafeInterface(&IProcedureList::metaclass_).pointer()));
}

TRef<Instruction> instruction(TRef<ProcedureInstruction> const & procedure) {
    return TRef<Instruction>(procedure.pointer());
}

class ProcedureTest : public testing::Test {
  protected:
    ProcedureTest() { Command::taken(); }

    TRef<ProcedureInstruction> main_ = procedure("main");
    TRef<IProcedureList> list_ = listOf(main_);
};

TEST_F(ProcedureTest, RunsItsBodyWhateverTheOuterListSkips) {
    main_->body()->add(command("a", [](Command & self) { self.iSkip(); }));
    main_->body()->add(command("b"));
    InstructionList & outer = *new InstructionList;
    TRef<InstructionList> const held(&outer);
    outer << command("x",
                     [&](Command & self) {
                         self.iSkip();
                         main_->execute();
                     })
          << command("y", [](Command & self) { self.iStopSkip(); }) << instruction(main_)
          << command("z");
    outer.execute();
    EXPECT_EQ(Command::taken(), "x a -b -y a -b z");
}

TEST_F(ProcedureTest, NameLiesInAnInterfaceThatIsMadeAtFirstUse) {
    TRef<ProcedureInstruction> const fresh(new ProcedureInstruction);
    EXPECT_FALSE(fresh->queryInterface<INamedObject>());
    EXPECT_STREQ(fresh->getName().c_str(), "");
    EXPECT_TRUE(fresh->queryInterface<IRemovableNamedObject>());

    TRef<ProcedureInstruction> const given(new ProcedureInstruction);
    given->addInterface(TRef<AUnknown>(new INamedObjectImpl("given")));
    EXPECT_TRUE(given->setName("taken"));
    EXPECT_STREQ(given->getName().c_str(), "taken");
    EXPECT_FALSE(given->queryInterface<IRemovableNamedObject>());
}

TEST_F(ProcedureTest, PathsLeadToProceduresWithinOthers) {
    auto const outer = procedure("outer"), inner = procedure("inner"), leaf = procedure("leaf");
    list_->addInstruction(command("inner"));
    list_->addInstruction(instruction(outer));
    outer->body()->add(instruction(procedure("other")));
    outer->body()->add(instruction(inner));
    inner->body()->add(instruction(leaf));

    EXPECT_EQ(list_->get("outer"), outer);
    EXPECT_FALSE(outer->queryInterface<IProcedureList>()) << "nobody went through it";
    EXPECT_EQ(list_->get("outer/"), outer);
    EXPECT_EQ(list_->get("outer/inner"), inner);
    TRef<IProcedureList> const level = outer->queryInterface<IProcedureList>();
    ASSERT_TRUE(level);
    EXPECT_EQ(list_->get("outer/inner/leaf"), leaf);
    EXPECT_EQ(outer->queryInterface<IProcedureList>(), level) << "it has one already";
    for (char const * path : {"", "/", "inner", "outer/Inner", "outer/leaf", "outer/inner/leaf/x",
                              "/outer", "outer//inner", "oute"})
        EXPECT_FALSE(list_->get(path)) << path;
}

TEST_F(ProcedureTest, ListGoesWithProceduresOnly) {
    TRef<InstructionList> const list(new InstructionList);
    EXPECT_FALSE(list->addInterface(TRef<AUnknown>(new IProcedureList)));
    EXPECT_FALSE(main_->addInterface(TRef<AUnknown>(new IInstructionList)));
    EXPECT_EQ(main_->queryInterface<IInstructionList>(), list_);
    list_->addInstruction(flagged(4));
    EXPECT_EQ(main_->body()->instructions().getCount(), 1);
}

TEST_F(ProcedureTest, FindsByClassAndByAllFlags) {
    fill(list_, {4, 4 + 8, 8, 4 + 8 + 16});
    EXPECT_EQ(list_->findFirst(4 + 8), (*list_)[1]);
    EXPECT_EQ(list_->findNext(4 + 8), (*list_)[3]);
    EXPECT_FALSE(list_->findNext(4 + 8));
    EXPECT_EQ(list_->findNext(4), (*list_)[0]) << "from the start again";
    EXPECT_EQ(list_->find((*list_)[2]), 2);
    EXPECT_EQ(list_->findNext(8), (*list_)[3]);
    EXPECT_EQ(list_->find(flagged(4)), -1);

    list_->putInstruction(2, instruction(procedure("p")));
    EXPECT_EQ(list_->findFirst(&ProcedureInstruction::metaclass_), (*list_)[2]);
    EXPECT_FALSE(list_->findNext(&ProcedureInstruction::metaclass_));
    list_->setActive(1);
    EXPECT_EQ(list_->findNext(&Instruction::metaclass_), (*list_)[2]);
}

TEST_F(ProcedureTest, InsertionAtTheFindMovesTheFlags) {
    struct {
        void (IProcedureList::*operation)(TRef<Instruction>, int);
        Flags expected;
    } const cases[] = {
        {&IProcedureList::insertAfterFound, {1, 16, 32 + 4 + 8, 2}},
        {&IProcedureList::insertBeforeFound, {1, 32 + 4 + 8, 16, 2}},
        {&IProcedureList::replaceFound, {1, 32 + 4 + 8, 2}},
    };
    for (auto const & c : cases) {
        fill(list_, {1, 4 + 8 + 16, 2});
        list_->setActive(1);
        ((*list_).*c.operation)(flagged(32), 4 + 8 + 64);
        EXPECT_EQ(flagsIn(list_), c.expected);
        list_->setActive(-1);
        EXPECT_THROW(((*list_).*c.operation)(flagged(32), 4), GException);
        EXPECT_EQ(flagsIn(list_), c.expected);
    }
    EXPECT_THROW(list_->removeFound(), GException);
    list_->setActive(1);
    list_->removeFound();
    EXPECT_EQ(flagsIn(list_), (Flags{1, 2}));
}

TEST_F(ProcedureTest, RemovesByName) {
    list_->addInstruction(instruction(procedure("a")));
    list_->addInstruction(flagged(4));
    list_->addInstruction(instruction(procedure("b")));
    list_->remove("b");
    EXPECT_EQ(flagsIn(list_), (Flags{0, 4}));
    try {
        list_->remove("b");
        FAIL();
    } catch (Error const & error) {
        EXPECT_STREQ(error.getMessage().c_str(), "remove: Procedure not found!");
    }
}

/// A procedure of these flags, with one instruction in its body.
Bytes & streamed(Bytes & bytes, unsigned flags) {
    bytes.byte(2).open("Tavlin::ProcedureInstruction").byte(2).byte(2).dword(0).dword(flags);
    bytes.byte(2).byte(2).open("Tavlin::InstructionList").byte(2).dword(0).byte(0).dword(1);
    bytes.byte(2).open("Tavlin::Instruction").byte(2).byte(2).dword(0).dword(4).close();
    return bytes.close().close();
}

TEST_F(ProcedureTest, StreamsTheBodyBehindTheInstruction) {
    TRef<ProcedureInstruction> const plain(new ProcedureInstruction);
    plain->setFlags(1);
    plain->body()->add(flagged(4));
    Bytes expected;
    EXPECT_EQ(writtenReference(plain), streamed(expected, 1).str());
    TRef<ProcedureInstruction> const copy = readReference<ProcedureInstruction>(expected.str());
    EXPECT_EQ(copy->getFlags(), 1u);
    ASSERT_EQ(copy->body()->instructions().getCount(), 1);
    EXPECT_EQ(copy->body()->instructions().at(0)->getFlags(), 4u);

    listOf(copy)->addInstruction(instruction(procedure("inner")));
    TRef<ProcedureInstruction> const again =
        readReference<ProcedureInstruction>(writtenReference(copy));
    EXPECT_TRUE(again->queryInterface<IProcedureList>()->get("inner"))
        << "names and lists go along";
}

TEST_F(ProcedureTest, WithoutABodyInTheStreamTheEmptyOneStays) {
    for (bool const null : {true, false}) {
        Bytes bytes;
        bytes.byte(2).byte(2).dword(0).dword(7).byte(2);
        if (null)
            bytes.byte(0);
        else
            bytes.byte(2).open("test::Thing").byte(2).dword(0).close();
        Input in(bytes.str());
        main_->read(in);
        EXPECT_EQ(main_->getFlags(), 7u);
        main_->execute();
    }
    EXPECT_EQ(Thing::alive, 0);
}

TEST_F(ProcedureTest, ProcedureThatContainsItselfEndsItsRun) {
    Bytes bytes; // twice, so that each depth would double the work
    bytes.byte(2).open("Tavlin::ProcedureInstruction").byte(2).byte(2).dword(0).dword(0);
    bytes.byte(2).byte(2).open("Tavlin::InstructionList").byte(2).dword(0).byte(0).dword(2);
    bytes.byte(1).word(1).byte(1).word(1).close().close();
    TRef<ProcedureInstruction> const endless = readReference<ProcedureInstruction>(bytes.str());
    ASSERT_EQ(endless->body()->instructions().at(1), instruction(endless));
    endless->execute();
    EXPECT_FALSE(listOf(endless)->get("a/b"));
    endless->setName("a");
    EXPECT_EQ(listOf(endless)->get("a/a/a/a"), endless);
    endless->body()->empty();
}

TEST_F(ProcedureTest, DeepNestsAreRefusedByStreamsAndEndInTheirRuns) {
    TRef<ProcedureInstruction> outermost = procedure("");
    for (int i = 0; i < 100000; ++i) {
        TRef<ProcedureInstruction> const next(new ProcedureInstruction);
        next->body()->add(instruction(outermost));
        outermost = next;
    }
    outermost->execute();
    EXPECT_THROW(writtenReference(outermost), InvalidPStream_Exception);
}

} // namespace
} // namespace kernel_test
