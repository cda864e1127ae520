#include "tavlinbase/Instruction.h"

#include "Instruction_support.h"
#include "tavlinbase/TavlinLibrary.h"

#include <gtest/gtest.h>

namespace kernel_test {

G_DEFINE_CREATABLE(Command, "test::Command", Instruction)

std::string Command::log;
int Command::alive = 0;

namespace {

TRef<InstructionData> dataNamed(char const * name) {
    ObjectCreator creator(&InstructionData::metaclass_);
    static_cast<InstructionData *>(creator.operator->())->setInitialName(name);
    return TRef<InstructionData>(static_cast<InstructionData *>(static_cast<Object *>(creator)));
}

/// A data object as it stands behind a reference.
Bytes & data(Bytes & bytes, char const * name) {
    bytes.byte(2).open("Tavlin::InstructionData").byte(2).dword(0).byte(0).text(name).close();
    return bytes;
}

TEST(Instruction, DataOfOneNameIsOneObject) {
    TRef<InstructionData> const guard = dataNamed("guard"), other = dataNamed("Guard");
    EXPECT_EQ(dataNamed("guard"), guard);
    EXPECT_NE(other, guard) << "case counts";
    EXPECT_EQ(guard->compare(*other), 1);
    EXPECT_EQ(other->compare(*guard), -1);
    EXPECT_EQ(dataNamed("gu\xE4")->compare(*guard), 1) << "bytes have no sign";

    Bytes bytes;
    EXPECT_EQ(writtenReference(guard), data(bytes, "guard").str());
    Input in(bytes.str());
    ObjectCreator creator(in);
    EXPECT_EQ(static_cast<Object *>(creator), guard.pointer()) << "a loaded one gives way";
}

TEST(Instruction, ReadsEveryVersion) {
    TRef<Instruction> const instruction = flagged(0x80000012);
    EXPECT_EQ(writtenReference(instruction), Bytes()
                                                 .byte(2)
                                                 .open("Tavlin::Instruction")
                                                 .byte(2)
                                                 .byte(2)
                                                 .dword(0)
                                                 .dword(0x80000012)
                                                 .close()
                                                 .str());
    struct {
        Bytes bytes;
        unsigned long flags;
    } const cases[] = {
        {Bytes().byte(2).byte(2).dword(0).dword(0xF0000001), 0xF0000001},
        {Bytes().byte(1).dword(5), 5},
        {Bytes().byte(0), 9},
        {Bytes().byte(3), 9},
    };
    for (auto const & c : cases) {
        TRef<Instruction> const read = flagged(9);
        Input in(c.bytes.str());
        read->read(in);
        EXPECT_EQ(read->getFlags(), c.flags);
        EXPECT_TRUE(in->good());
        EXPECT_EQ(in->tellg(), long(c.bytes.str().size()));
    }
}

TEST(Instruction, SetDataStreamsItsDataAsALibraryReference) {
    TRef<InstructionData> const guard = dataNamed("guard");
    TRef<SetDataInstruction> const set(new SetDataInstruction), same(new SetDataInstruction);
    set->init(guard);
    EXPECT_NE(set->compare(*same), 0);
    same->init(guard);
    EXPECT_EQ(set->compare(*same), 0);

    Bytes expected;
    expected.byte(2).byte(2).dword(0).dword(0).byte(1).byte(0);
    std::string const bytes = written([&](opstream & out) { set->write(out); });
    EXPECT_EQ(bytes, data(expected, "guard").str());
    TRef<SetDataInstruction> const copy(new SetDataInstruction);
    Input in(bytes);
    copy->read(in);
    EXPECT_EQ(copy->get(), guard);

    guard->querySafeInterface(&IBookMark::metaclass_);
    guard->queryInterface<IBookMark>()->setPath(GFile("data.lib"), NameLinkID("guard,Data"));
    guard->queryInterface<IBookMark>()->setFlags(IBookMark::Shared);
    std::string const marked = written([&](opstream & out) { set->write(out); });
    EXPECT_EQ(marked.substr(10, 2), std::string("\x01\x01", 2)) << "own byte, then by bookmark";
    EXPECT_EQ(marked.find("InstructionData"), std::string::npos);
}

TEST(Instruction, SetDataOfAnotherKindIsNone) {
    int const before = Thing::alive;
    Bytes bytes;
    bytes.byte(1).dword(0).byte(1).byte(0);
    bytes.byte(2).open("test::Thing").byte(2).dword(0).close();
    Input in(bytes.str());
    TRef<SetDataInstruction> const set(new SetDataInstruction);
    set->init(dataNamed("guard"));
    set->read(in);
    EXPECT_FALSE(set->get());
    EXPECT_EQ(Thing::alive, before);
}

} // namespace
} // namespace kernel_test
