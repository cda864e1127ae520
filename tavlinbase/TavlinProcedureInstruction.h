// Procedures: instructions that run a list of their own under a name, so that lists nest, and paths
// like `outer/inner` lead to a list within lists.
#pragma once

#include "tavlinbase/INamedObject.h"
#include "tavlinbase/InstructionList.h"
#include "tavlinbase/NameLink.h"

namespace Tavlin {

/// An instruction that is a named list of instructions.
class ONDREL_API ProcedureInstruction : public Instruction {
    G_DECLARE_CREATABLE(ProcedureInstruction)
  public:
    /// Has an empty body.
    ProcedureInstruction();

    /// Runs the body.
    void execute() override;
    /// The instructions that it runs; never null.
    TRef<InstructionList> const & body() const { return body_; }

    /// The name lies in the object's INamedObject; where there is none, both attach an
    /// IRemovableNamedObject. False when the name is not accepted.
    bool setName(GString const & name);
    GString getName();

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    TRef<INamedObject> naming();

    TRef<InstructionList> body_;
};

/// The body of a ProcedureInstruction, with a current find: the index of the instruction that was
/// found last, -1 when none was. What changes the list does not move it.
class ONDREL_API IProcedureList : public IInstructionList {
    G_DECLARE_CREATABLE(IProcedureList)
  public:
    IProcedureList() = default;

    /// False when the object is no ProcedureInstruction.
    bool attach() override;
    TRefVector<Instruction> & getVector() override;

    /// The first instruction of the class, or with all bits of `flags`; null if none.
    TRef<Instruction> findFirst(GMetaClass const * metaClass);
    TRef<Instruction> findFirst(int flags);
    /// The same behind the current find.
    TRef<Instruction> findNext(GMetaClass const * metaClass);
    TRef<Instruction> findNext(int flags);
    /// The index of that very instruction; -1 if it is not there.
    int find(TRef<Instruction> const & instruction);
    /// Makes instruction `index` the current find.
    void setActive(int index) { found_ = index; }

    /// All four need a current find, and raise TGVector_IndexOutOfRange_Exception without one. The
    /// new instruction takes over the bits of `mask` that the found one has.
    void insertAfterFound(TRef<Instruction> instruction, int mask);
    void insertBeforeFound(TRef<Instruction> instruction, int mask);
    void replaceFound(TRef<Instruction> instruction, int mask);
    void removeFound();

    /// The procedure at a path of names that stand within each other, `outer/inner`; null if none.
    /// The procedures on the way are given an IProcedureList each, at need.
    TRef<ProcedureInstruction> get(GString const & path);
    /// Takes a procedure out of this list. Throws Error when there is none of that name.
    void remove(NameLinkID name);

  private:
    TRef<ProcedureInstruction> findProcedure(GString const & name);
    void handFoundFlagsOver(TRef<Instruction> const & taker, int mask);

    int found_ = -1;
};

} // namespace Tavlin
