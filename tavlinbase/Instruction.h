// Instructions: small commands that a list runs one after the other. A list has one current data
// object, which an instruction changes for those behind it, and an instruction may have the list
// skip the ones that follow.
#pragma once

#include "foundation/GString.h"
#include "tavlinbase/TavlinObject.h"

#include <cstdint>

namespace Tavlin {

class InstructionList;

/// What the instructions of a list work on; a host derives from it. Two of the same name are the
/// same: one that is registered later, or loaded, gives way to the first.
class ONDREL_API InstructionData : public Object {
    G_DECLARE_CREATABLE(InstructionData)
  public:
    InstructionData() = default;

    GString const & getInitialName() const { return initialName_; }
    /// Data that is registered keeps its place, also when another has that name already.
    void setInitialName(GString const & name) { initialName_ = name; }

    using Object::compare;
    /// Of the names, byte by byte: -1, 0 or 1.
    int compare(Object const & other) const override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    GString initialName_;
};

/// A command; here one that does nothing. An instruction may stand in several lists.
class ONDREL_API Instruction : public Object {
    G_DECLARE_CREATABLE(Instruction)
  public:
    /// Flags that the list interfaces know; the others are free, as marks between instructions.
    static constexpr unsigned long OpenScope = 1;
    static constexpr unsigned long CloseScope = 2;

    Instruction() = default;

    /// Called by a list whose turn this is.
    virtual void execute();
    /// Called in place of it while the list skips.
    virtual void skip();

    /// 32 bits.
    unsigned long getFlags() const { return flags_; }
    void setFlags(unsigned long flags) { flags_ = static_cast<std::uint32_t>(flags); }

    using Object::compare;
    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    /// These three concern the list that runs this instruction, or ran it last: they are for use
    /// while it runs.
    TRef<InstructionData> & getData() const;
    /// Has the list call skip of the instructions that follow, until one of them stops that.
    void iSkip();
    void iStopSkip();

  private:
    friend class InstructionList;
    class Turn;

    InstructionList * list_ = nullptr; // not counted
    std::uint32_t flags_ = 0;
    int turns_ = 0; // under way, one within the other
};

/// Makes other data the current data of its list.
class ONDREL_API SetDataInstruction : public Instruction {
    G_DECLARE_CREATABLE(SetDataInstruction)
  public:
    SetDataInstruction() = default;

    void execute() override;
    virtual void init(TRef<InstructionData> const & data);
    TRef<InstructionData> const & get() const { return data_; }

    using Object::compare;
    /// 0 when both set the same data.
    int compare(Object const & other) const override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    TRef<InstructionData> data_;
};

} // namespace Tavlin
