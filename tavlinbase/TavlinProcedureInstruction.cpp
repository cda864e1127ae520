// Procedures and the search for them. The streamed form of a procedure is the instruction part,
// byte 2, and the reference to the body; the name goes with the interfaces.
#include "tavlinbase/TavlinProcedureInstruction.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"

#include <cstring>

namespace Tavlin {

G_DEFINE_CREATABLE(ProcedureInstruction, "Tavlin::ProcedureInstruction", Instruction)
G_DEFINE_CREATABLE(IProcedureList, "Tavlin::IProcedureList", IInstructionList)

ProcedureInstruction::ProcedureInstruction() {
    TObjectCreator<InstructionList> creator;
    body_ = static_cast<InstructionList *>(creator);
}

void ProcedureInstruction::execute() {
    body_->execute();
}

TRef<INamedObject> ProcedureInstruction::naming() {
    if (TRef<INamedObject> const present = queryInterface<INamedObject>())
        return present;
    return TRef<INamedObject>(gcast_cached<INamedObject>(
        querySafeInterface(&IRemovableNamedObject::metaclass_).pointer()));
}

bool ProcedureInstruction::setName(GString const & name) {
    return naming()->setName(name.c_str());
}

GString ProcedureInstruction::getName() {
    return naming()->getName();
}

void ProcedureInstruction::read(ipstream & in) {
    Instruction::read(in);
    in.readByte();
    TRef<RefCounter> const read = RefCounterRead(in, &InstructionList::metaclass_);
    // A stream that gives no list leaves the empty one.
    if (auto * const body = gcast_cached<InstructionList>(read.pointer()))
        body_ = body;
}

void ProcedureInstruction::write(opstream & out) {
    Instruction::write(out);
    out.writeByte(2);
    RefCounterWrite(out, TRef<RefCounter>(body_.pointer()));
}

// ---- IProcedureList ----

bool IProcedureList::attach() {
    return gcast_cached<ProcedureInstruction>(objectPointer()) != nullptr;
}

TRefVector<Instruction> & IProcedureList::getVector() {
    auto * const owner = gcast_cached<ProcedureInstruction>(objectPointer());
    return owner ? owner->body()->instructions() : strays_;
}

TRef<Instruction> IProcedureList::findFirst(GMetaClass const * metaClass) {
    found_ = -1;
    return findNext(metaClass);
}

TRef<Instruction> IProcedureList::findFirst(int flags) {
    found_ = -1;
    return findNext(flags);
}

TRef<Instruction> IProcedureList::findNext(GMetaClass const * metaClass) {
    found_ = findInWhole(metaClass, found_ + 1);
    return found_ < 0 ? TRef<Instruction>() : getInstruction(found_);
}

TRef<Instruction> IProcedureList::findNext(int flags) {
    auto const wanted = static_cast<std::uint32_t>(flags);
    found_ = firstFrom(found_ + 1, false, [&](int i) {
        Instruction const * const instruction = vector().at(i);
        return instruction && (instruction->getFlags() & wanted) == wanted;
    });
    return found_ < 0 ? TRef<Instruction>() : getInstruction(found_);
}

int IProcedureList::find(TRef<Instruction> const & instruction) {
    return found_ = static_cast<int>(vector().index_of(instruction));
}

void IProcedureList::insertAfterFound(TRef<Instruction> instruction, int mask) {
    handFoundFlagsOver(instruction, mask);
    insertInstructionAt(found_ + 1, instruction);
}

void IProcedureList::insertBeforeFound(TRef<Instruction> instruction, int mask) {
    handFoundFlagsOver(instruction, mask);
    insertInstructionAt(found_, instruction);
}

void IProcedureList::replaceFound(TRef<Instruction> instruction, int mask) {
    handFoundFlagsOver(instruction, mask);
    putInstruction(found_, instruction);
}

void IProcedureList::handFoundFlagsOver(TRef<Instruction> const & taker, int mask) {
    if (found_ < 0 || found_ >= getInstructionCount())
        ondrel_detail::throwVectorIndex(found_, getInstructionCount());
    handFlagsOver(found_, taker, static_cast<std::uint32_t>(mask));
}

void IProcedureList::removeFound() {
    deleteInstruction(found_);
}

TRef<ProcedureInstruction> IProcedureList::findProcedure(GString const & name) {
    GMetaClass const * const procedures = &ProcedureInstruction::metaclass_;
    TRef<Instruction> found = findFirst(procedures);
    while (found) {
        TRef<ProcedureInstruction> const procedure(
            gcast_cached<ProcedureInstruction>(found.pointer()));
        if (procedure->getName() == name)
            return procedure;
        found = findNext(procedures);
    }
    return nullptr;
}

TRef<ProcedureInstruction> IProcedureList::get(GString const & path) {
    TRef<IProcedureList> below;
    IProcedureList * level = this;
    char const * rest = path.c_str();
    for (;;) {
        char const * const slash = std::strchr(rest, '/');
        GString const head =
            slash ? GString(rest, static_cast<unsigned int>(slash - rest)) : GString(rest);
        TRef<ProcedureInstruction> const procedure = level->findProcedure(head);
        if (!procedure || !slash || slash[1] == '\0')
            return procedure;
        below = gcast_cached<IProcedureList>(
            procedure->querySafeInterface(&IProcedureList::metaclass_).pointer());
        level = below;
        rest = slash + 1;
    }
}

void IProcedureList::remove(NameLinkID name) {
    if (!findProcedure(name.getName()))
        throw Error("remove: Procedure not found!");
    removeFound();
}

} // namespace Tavlin
