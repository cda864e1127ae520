// The list that runs instructions, and the interfaces through which others look at it and extend
// it. Data that is loaded later finds its place by flags: an instruction may open or close a scope,
// and other bits are marks to insert at.
#pragma once

#include "tavlinbase/Instruction.h"
#include "tavlinbase/TRefVector.h"

namespace Tavlin {

/// Instructions that are executed in order, with one current data object.
class ONDREL_API InstructionList : public Object {
    G_DECLARE_CREATABLE(InstructionList)
  public:
    InstructionList() = default;
    ~InstructionList() override;

    /// Drops the instructions and the data.
    virtual void empty();
    /// Calls execute, or skip while one of them has asked for that, of each instruction in order.
    /// Instructions may change the list meanwhile: it runs up to the number of instructions that
    /// there were at the start, or to the end, if that comes earlier. A list that contains itself
    /// breaks off before the stack ends, with all runs that it is in. While an instruction runs,
    /// nobody may let go of a list that had no reference when it was started.
    virtual void execute();

    void add(TRef<Instruction> const & instruction) { instructions_.insert(instruction); }
    InstructionList & operator<<(TRef<Instruction> const & instruction) {
        add(instruction);
        return *this;
    }

    /// In the order of their running; nulls are passed over.
    TRefVector<Instruction> & instructions() { return instructions_; }
    TRefVector<Instruction> const & instructions() const { return instructions_; }
    /// The current data; null at first. It stays from one run to the next.
    TRef<InstructionData> & data() { return data_; }
    TRef<InstructionData> const & data() const { return data_; }
    bool isSkipping() const { return skipping_; }

    using Object::compare;
    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    friend class Instruction;

    TRefVector<Instruction> instructions_;
    TRef<InstructionData> data_;
    bool skipping_ = false;
};

/// Access to a vector of instructions. Wrong indices raise TGVector_IndexOutOfRange_Exception.
class ONDREL_API IInstructionVector : public virtual AUnknown {
    G_DECLARE_CLASS(IInstructionVector)
  public:
    virtual TRefVector<Instruction> & getVector() = 0;

    int getInstructionCount() const { return static_cast<int>(vector().getCount()); }
    /// The index is not checked.
    TRef<Instruction> getInstruction(int index) { return getVector().at(index); }
    /// Adds at the end; the index.
    int addInstruction(TRef<Instruction> const & instruction);
    void putInstruction(int index, TRef<Instruction> const & instruction);
    /// An index beyond the end leaves nulls in between.
    void insertInstructionAt(int index, TRef<Instruction> const & instruction);
    void deleteInstruction(int index);
    void deleteInstruction(TRef<Instruction> const & instruction);
    void deleteAllInstructions();

  protected:
    TRefVector<Instruction> & vector() const {
        return const_cast<IInstructionVector *>(this)->getVector();
    }
    /// The first instruction from `start` on for which `test` holds; -1 if none. Ends behind the
    /// first that closes a scope, if `withinScope` is set.
    template <class Test>
    int firstFrom(int start, bool withinScope, Test test) const;
    bool isOf(int index, GMetaClass const * metaClass) const;
    bool hasAny(int index, unsigned long mask) const;
    /// Gives the bits of `mask` that instruction `index` has to `taker`.
    void handFlagsOver(int index, TRef<Instruction> const & taker, unsigned long mask);
};

/// The instructions of an InstructionList, with scopes and marks. It keeps a current scope, the
/// index of the instruction that opens it; what changes the list does not move that.
class ONDREL_API IInstructionList : public IInstructionVector {
    G_DECLARE_CREATABLE(IInstructionList)
  public:
    IInstructionList() = default;

    /// False when the object is no InstructionList.
    bool attach() override;
    TRefVector<Instruction> & getVector() override;

    TRef<Instruction> operator[](int index) { return getInstruction(index); }

    /// The nearest instruction that opens a scope, from `index` down to the first; it becomes the
    /// current scope. -1 if none.
    int getOpenScopeFor(int index) const;
    /// The nearest instruction that closes a scope, from `index` up; -1 if none.
    int getCloseScopeFor(int index) const;
    /// The first instruction that opens a scope, and the next behind the current scope; it becomes
    /// the current scope. -1 if none.
    int getFirstOpenScope() const;
    int getNextOpenScope() const;
    /// The first instruction of the current scope, its opening and closing included, that has one
    /// of the bits, or is of the class; -1 if none. Without a current scope, from the first on.
    int getFlagSeparator(unsigned long mask) const;
    int findWithinScope(GMetaClass const * metaClass) const;
    /// The first instruction of the class from `start` on; -1 if none.
    int findInWhole(GMetaClass const * metaClass, int start) const;

    /// All four return the index of the new instruction; -1 when the place is not there, and
    /// nothing is inserted then. The scope stays where it is, so that one inserted before its
    /// opening stands there now.
    int insertBeforeOpenScope(TRef<Instruction> const & instruction);
    int insertAfterCloseScope(TRef<Instruction> const & instruction);
    /// At the separator for `mask`; with `moveFlag` the new instruction takes its bits of `mask`
    /// over.
    int insertAfterFlag(TRef<Instruction> const & instruction, unsigned long mask, bool moveFlag);
    int insertBeforeFlag(TRef<Instruction> const & instruction, unsigned long mask, bool moveFlag);

  protected:
    /// A stream attaches without asking; an interface of something else has this list, which is
    /// never run.
    TRefVector<Instruction> strays_;

  private:
    int scopeFrom(int start) const;
    int insertAtFlag(TRef<Instruction> const & instruction, unsigned long mask, bool moveFlag,
                     int offset);

    mutable int scope_ = -1;
};

template <class Test>
int IInstructionVector::firstFrom(int start, bool withinScope, Test test) const {
    for (int i = start < 0 ? 0 : start; i < getInstructionCount(); ++i) {
        if (test(i))
            return i;
        if (withinScope && hasAny(i, Instruction::CloseScope))
            break;
    }
    return -1;
}

} // namespace Tavlin
