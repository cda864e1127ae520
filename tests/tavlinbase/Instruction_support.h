// An instruction that records what happens to it, and does what a test gives it to do.
#pragma once

#include "ObjectKernel_support.h"
#include "tavlinbase/InstructionList.h"

#include <functional>

namespace kernel_test {

class Command : public Instruction {
    G_DECLARE_CREATABLE(Command)
  public:
    explicit Command(std::string text = "", std::function<void(Command &)> task = {})
        : name(std::move(text)), work(std::move(task)) {
        ++alive;
    }
    ~Command() override { --alive; }
    void execute() override { run(name); }
    void skip() override { run("-" + name); }
    using Instruction::getData;
    using Instruction::iSkip;
    using Instruction::iStopSkip;

    std::string name;
    std::function<void(Command &)> work;
    static std::string log;
    static int alive;
    /// What has been recorded since the last call.
    static std::string taken() { return std::exchange(log, ""); }

  private:
    void run(std::string const & entry) {
        log += (log.empty() ? "" : " ") + entry;
        if (work)
            work(*this);
    }
};

inline TRef<Instruction> command(std::string const & name,
                                 std::function<void(Command &)> work = {}) {
    return TRef<Instruction>(new Command(name, std::move(work)));
}

inline TRef<Instruction> flagged(unsigned long flags) {
    TRef<Instruction> const instruction(new Instruction);
    instruction->setFlags(flags);
    return instruction;
}

using Flags = std::vector<unsigned long>;

/// Makes it a list of instructions with these flags.
inline void fill(TRef<IInstructionVector> const & list, Flags const & flags) {
    list->deleteAllInstructions();
    for (unsigned long const value : flags)
        list->addInstruction(flagged(value));
}

/// The flags in a list, 99 for a null.
inline Flags flagsIn(TRef<IInstructionVector> const & list) {
    Flags result;
    for (int i = 0; i < list->getInstructionCount(); ++i)
        result.push_back(list->getInstruction(i) ? list->getInstruction(i)->getFlags() : 99);
    return result;
}

template <class T>
TRef<T> readReference(std::string const & bytes) {
    Input in(bytes);
    return TRef<T>(in->readPointer<T>());
}

inline std::string writtenReference(GStreamable * object) {
    return written([&](opstream & out) { out.writePointer(object); });
}

} // namespace kernel_test
