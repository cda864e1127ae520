// Runs of lists, which the instructions may change or end meanwhile, and the ways to find places in
// them. The streamed form of a list is the object part, byte 0, a dword count, and the references.
#include "tavlinbase/InstructionList.h"

#include "persistence/pstream.h"
#include "tavlinbase/CallDepth.h"
#include "tavlinbase/ObjectListStream.h"

#include <algorithm>

namespace Tavlin {

G_DEFINE_CREATABLE(InstructionList, "Tavlin::InstructionList", Object)
G_DEFINE_CLASS(IInstructionVector, "Tavlin::IInstructionVector", AUnknown)
G_DEFINE_CREATABLE(IInstructionList, "Tavlin::IInstructionList", IInstructionVector)

/// One instruction's turn in a list. An instruction that already runs, in this list or another, is
/// given back to that one, which may outlive this.
class Instruction::Turn {
  public:
    Turn(TRef<Instruction> const & instruction, InstructionList * list)
        : instruction_(instruction), former_(instruction->list_) {
        instruction_->list_ = list;
        ++instruction_->turns_;
    }
    ~Turn() {
        if (--instruction_->turns_ > 0)
            instruction_->list_ = former_;
    }
    Turn(Turn const &) = delete;
    Turn & operator=(Turn const &) = delete;

    Instruction * operator->() const { return instruction_; }

  private:
    TRef<Instruction> instruction_; // it may take itself out of the list
    InstructionList * former_;
};

InstructionList::~InstructionList() {
    for (long i = 0; i < instructions_.getCount(); ++i)
        if (Instruction * const instruction = instructions_.at(i))
            if (instruction->list_ == this)
                instruction->list_ = nullptr;
}

void InstructionList::empty() {
    data_.empty();
    instructions_.empty();
    skipping_ = false;
}

void InstructionList::execute() {
    NestedRun const run;
    TRef<InstructionList> const held(getReferenceCount() > 0 ? this : nullptr);
    skipping_ = false;
    long const count = instructions_.getCount();
    for (long i = 0; i < count && i < instructions_.getCount() && !run.isBroken(); ++i) {
        if (!instructions_.at(i))
            continue;
        Instruction::Turn const turn(instructions_.at(i), this);
        if (skipping_)
            turn->skip();
        else
            turn->execute();
    }
}

int InstructionList::compare(Object const & other) const {
    return Distance(static_cast<Object const *>(this), &other, sizeof(InstructionList));
}

void InstructionList::read(ipstream & in) {
    Object::read(in);
    in.readByte();
    readObjects(in, instructions_);
}

void InstructionList::write(opstream & out) {
    Object::write(out);
    out.writeByte(0);
    writeObjects(out, instructions_);
}

// ---- IInstructionVector ----

int IInstructionVector::addInstruction(TRef<Instruction> const & instruction) {
    return static_cast<int>(getVector().insert(instruction));
}

void IInstructionVector::putInstruction(int index, TRef<Instruction> const & instruction) {
    getVector().at_put(index, instruction);
}

void IInstructionVector::insertInstructionAt(int index, TRef<Instruction> const & instruction) {
    getVector().at_insert(index, instruction);
}

void IInstructionVector::deleteInstruction(int index) {
    getVector().at_remove(index);
}

void IInstructionVector::deleteInstruction(TRef<Instruction> const & instruction) {
    getVector().remove(instruction);
}

void IInstructionVector::deleteAllInstructions() {
    getVector().empty();
}

bool IInstructionVector::isOf(int index, GMetaClass const * metaClass) const {
    Instruction const * const instruction = vector().at(index);
    return instruction && GCastCache::Cast(instruction, metaClass);
}

bool IInstructionVector::hasAny(int index, unsigned long mask) const {
    Instruction const * const instruction = vector().at(index);
    return instruction && (instruction->getFlags() & mask) != 0;
}

void IInstructionVector::handFlagsOver(int index, TRef<Instruction> const & taker,
                                       unsigned long mask) {
    TRef<Instruction> const giver = vector().at(index);
    if (!giver || !taker || giver == taker)
        return;
    taker->setFlags(taker->getFlags() | (giver->getFlags() & mask));
    giver->setFlags(giver->getFlags() & ~mask);
}

// ---- IInstructionList ----

bool IInstructionList::attach() {
    return gcast_cached<InstructionList>(objectPointer()) != nullptr;
}

TRefVector<Instruction> & IInstructionList::getVector() {
    auto * const owner = gcast_cached<InstructionList>(objectPointer());
    return owner ? owner->instructions() : strays_;
}

int IInstructionList::getOpenScopeFor(int index) const {
    for (scope_ = std::min(index, getInstructionCount() - 1); scope_ >= 0; --scope_)
        if (hasAny(scope_, Instruction::OpenScope))
            return scope_;
    return scope_ = -1;
}

int IInstructionList::getCloseScopeFor(int index) const {
    return firstFrom(index, false, [&](int i) { return hasAny(i, Instruction::CloseScope); });
}

int IInstructionList::scopeFrom(int start) const {
    scope_ = firstFrom(start, false, [&](int i) { return hasAny(i, Instruction::OpenScope); });
    return scope_;
}

int IInstructionList::getFirstOpenScope() const {
    return scopeFrom(0);
}

int IInstructionList::getNextOpenScope() const {
    return scopeFrom(scope_ + 1);
}

int IInstructionList::getFlagSeparator(unsigned long mask) const {
    return firstFrom(scope_, true, [&](int i) { return hasAny(i, mask); });
}

int IInstructionList::findWithinScope(GMetaClass const * metaClass) const {
    return firstFrom(scope_, true, [&](int i) { return isOf(i, metaClass); });
}

int IInstructionList::findInWhole(GMetaClass const * metaClass, int start) const {
    return firstFrom(start, false, [&](int i) { return isOf(i, metaClass); });
}

int IInstructionList::insertBeforeOpenScope(TRef<Instruction> const & instruction) {
    if (scope_ >= 0)
        insertInstructionAt(scope_, instruction);
    return scope_;
}

int IInstructionList::insertAfterCloseScope(TRef<Instruction> const & instruction) {
    int const close = scope_ < 0 ? -1 : getCloseScopeFor(scope_);
    if (close < 0)
        return -1;
    insertInstructionAt(close + 1, instruction);
    return close + 1;
}

int IInstructionList::insertAtFlag(TRef<Instruction> const & instruction, unsigned long mask,
                                   bool moveFlag, int offset) {
    int const separator = getFlagSeparator(mask);
    if (separator < 0)
        return -1;
    if (moveFlag)
        handFlagsOver(separator, instruction, mask);
    insertInstructionAt(separator + offset, instruction);
    return separator + offset;
}

int IInstructionList::insertAfterFlag(TRef<Instruction> const & instruction, unsigned long mask,
                                      bool moveFlag) {
    return insertAtFlag(instruction, mask, moveFlag, 1);
}

int IInstructionList::insertBeforeFlag(TRef<Instruction> const & instruction, unsigned long mask,
                                       bool moveFlag) {
    return insertAtFlag(instruction, mask, moveFlag, 0);
}

} // namespace Tavlin
