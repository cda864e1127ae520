// Instructions and their data. Their streamed forms:
//   Instruction         byte 2, the object part, dword flags (byte 1: no object part; else nothing)
//   InstructionData     the object part, byte 0, the name
//   SetDataInstruction  the instruction part, byte 1, the data as a library reference
#include "tavlinbase/Instruction.h"

#include "persistence/pstream.h"
#include "tavlinbase/InstructionList.h"
#include "tavlinbase/TavlinLibrary.h"

#include <cassert>

namespace Tavlin {

G_DEFINE_CREATABLE(InstructionData, "Tavlin::InstructionData", Object)
G_DEFINE_CREATABLE(Instruction, "Tavlin::Instruction", Object)
G_DEFINE_CREATABLE(SetDataInstruction, "Tavlin::SetDataInstruction", Instruction)

int InstructionData::compare(Object const & other) const {
    assert(gcast<InstructionData>(&other));
    int const order =
        initialName_.compare(static_cast<InstructionData const &>(other).initialName_);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

void InstructionData::read(ipstream & in) {
    Object::read(in);
    in.readByte();
    in >> initialName_;
}

void InstructionData::write(opstream & out) {
    Object::write(out);
    out.writeByte(0);
    out << initialName_;
}

void Instruction::execute() {}

void Instruction::skip() {}

int Instruction::compare(Object const & other) const {
    return Distance(static_cast<Object const *>(this), &other, sizeof(Instruction));
}

TRef<InstructionData> & Instruction::getData() const {
    assert(list_);
    return list_->data();
}

void Instruction::iSkip() {
    assert(list_);
    list_->skipping_ = true;
}

void Instruction::iStopSkip() {
    assert(list_);
    list_->skipping_ = false;
}

void Instruction::read(ipstream & in) {
    int const version = in.readByte();
    if (version == 2)
        Object::read(in);
    if (version == 1 || version == 2)
        setFlags(in.readDWord());
}

void Instruction::write(opstream & out) {
    out.writeByte(2);
    Object::write(out);
    out.writeDWord(flags_);
}

void SetDataInstruction::execute() {
    Instruction::execute();
    getData() = data_;
}

void SetDataInstruction::init(TRef<InstructionData> const & data) {
    data_ = data;
}

int SetDataInstruction::compare(Object const & other) const {
    assert(gcast<SetDataInstruction>(&other));
    return Distance(data_.pointer(), static_cast<SetDataInstruction const &>(other).data_.pointer(),
                    sizeof(InstructionData));
}

void SetDataInstruction::read(ipstream & in) {
    Instruction::read(in);
    in.readByte();
    TRef<Object> const object = LREAD_RESOURCE(in);
    data_ = gcast_cached<InstructionData>(object.pointer());
}

void SetDataInstruction::write(opstream & out) {
    Instruction::write(out);
    out.writeByte(1);
    LWRITE_RESOURCE(out, TRef<Object>(data_.pointer()), true);
}

} // namespace Tavlin
