// The expression nodes: leaves (constants, variables, the agent itself), arithmetic and
// comparison, assignment, calls and delayed actions.
#pragma once

#include "tavlinmid/TavlinDOperator.h"

namespace Tavlin {

/// A literal. All who evaluate it share its cell, which is marked as a constant.
class ONDREL_API D_Constant : public D_Expression {
    G_DECLARE_CREATABLE(D_Constant)
  public:
    D_Constant() = default;
    /// Takes a copy, whose cell no script ever writes to: all automata share it.
    explicit D_Constant(VariableVar const & value);

    using D_Expression::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    bool quick(Automat & automat, QuickValue & value) const override;
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

    VariableVar const & getValue() const { return value_; }

  private:
    void settle();
    VariableVar value_;
};

/// The root of the tree that the automat belongs to: its agent.
class ONDREL_API D_Me : public D_Expression {
    G_DECLARE_CREATABLE(D_Me)
  public:
    using D_Expression::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;
};

/// Stores an out event in the automat.
class ONDREL_API D_Event : public D_Expression {
    G_DECLARE_CREATABLE(D_Event)
  public:
    D_Event() = default;
    explicit D_Event(NameLinkID event) : event_(event) {}

    using D_Expression::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

    NameLinkID getEvent() const { return event_; }

  private:
    NameLinkID event_;
};

/// A variable of the automat, by name.
class ONDREL_API D_Variable : public D_LeftPart {
    G_DECLARE_CREATABLE(D_Variable)
  public:
    D_Variable() { mayBeQuick_ = true; }
    explicit D_Variable(NameLinkID name) : name_(name) { mayBeQuick_ = true; }

    using D_LeftPart::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    bool quick(Automat & automat, QuickValue & value) const override;
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

    NameLinkID getName() const { return name_; }
    /// The automat's own handle on the variable; null when it has none of that name.
    VariableRef * find(Automat & automat) const;

  private:
    NameLinkID name_;
    // Where the name stood in the names that carry this serial. A definition's names get a new
    // serial, unique in the process, whenever they change, so a match cannot be stale.
    mutable std::uint64_t serial_ = 0;
    mutable long index_ = -1;
};

/// An element of an array, by up to three indices; a negative one is absent.
class ONDREL_API D_Array : public D_LeftPart {
    G_DECLARE_CREATABLE(D_Array)
  public:
    D_Array() = default;
    explicit D_Array(NameLinkID name, int first, int second = -1, int third = -1)
        : name_(name), index_{first, second, third} {}

    using D_LeftPart::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    NameLinkID name_;
    int index_[3] = {-1, -1, -1};
};

/// Writes the value of the right side into what stands on the left, and gives that.
class ONDREL_API D_Assign : public D_Expression {
    G_DECLARE_CREATABLE(D_Assign)
  public:
    D_Assign() = default;
    D_Assign(TRef<D_LeftPart> const & left, TRef<D_Expression> const & right);

    bool evaluate(TRef<Automat> const & automat, DispParams * params) override;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    /// Does the whole assignment if it is a plain one of a number; else nothing is done.
    bool assignNumber(Automat & automat, VariableRef *& variable) const;
    void settle();
    TRef<D_LeftPart> left_;
    TRef<D_Expression> right_;
    D_Variable const * variable_ = nullptr; // left_ when it is a plain variable
};

/// The nodes that change a number in place.
class ONDREL_API D_Step : public D_Expression {
    G_DECLARE_CLASS(D_Step)
  public:
    using D_Expression::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    D_Step() = default;
    explicit D_Step(TRef<D_LeftPart> const & operand);
    virtual std::int32_t stepped(std::int32_t word) const = 0;

  private:
    TRef<D_LeftPart> operand_;
};

/// Adds 1 in place.
class ONDREL_API D_Increment : public D_Step {
    G_DECLARE_CREATABLE(D_Increment)
  public:
    D_Increment() = default;
    explicit D_Increment(TRef<D_LeftPart> const & operand) : D_Step(operand) {}

  protected:
    std::int32_t stepped(std::int32_t word) const override;
};

/// Takes 1 away in place.
class ONDREL_API D_Decrement : public D_Step {
    G_DECLARE_CREATABLE(D_Decrement)
  public:
    D_Decrement() = default;
    explicit D_Decrement(TRef<D_LeftPart> const & operand) : D_Step(operand) {}

  protected:
    std::int32_t stepped(std::int32_t word) const override;
};

/// Replaces its operand by 1 if that was 0, else by 0; a variable as operand changes itself.
class ONDREL_API D_Not : public D_Expression {
    G_DECLARE_CREATABLE(D_Not)
  public:
    D_Not() = default;
    explicit D_Not(TRef<D_Expression> const & operand);

    using D_Expression::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    TRef<D_Expression> operand_;
};

/// A call by name: of the automat itself, or of the object that a path leads to.
class ONDREL_API D_Function : public D_Expression {
    G_DECLARE_CREATABLE(D_Function)
  public:
    D_Function() = default;
    explicit D_Function(NameLinkID name) : name_(name) {}
    D_Function(TGVector<NameLinkID> const & path, NameLinkID name) : name_(name), path_(path) {}

    using D_Expression::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

    void insertArgument(TRef<D_Expression> const & argument);
    TRefVector<D_Expression> const & getArguments() const { return arguments_; }
    NameLinkID getName() const { return name_; }
    TGVector<NameLinkID> const & getPath() const { return path_; }

  private:
    TRefVector<D_Expression> arguments_;
    NameLinkID name_;
    TGVector<NameLinkID> path_;
};

/// Runs an action later: after so many frames (an integer delay) or seconds of game time (a
/// float). The start of the wait lies in the node, which all automata share, so a new evaluation
/// by any of them restarts every wait on this node; scripts rely on that.
class ONDREL_API D_DoAfter : public D_Expression {
    G_DECLARE_CREATABLE(D_DoAfter)
  public:
    D_DoAfter() = default;
    D_DoAfter(D_Expression * delay, D_Operator * action);

    using D_Expression::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    /// Runs the action if the delay is over, and tells whether it was. `params` is not used.
    bool check(TRef<Automat> const & automat, DispParams * params);
    /// Who is told of each wait that is over, before its action runs; null tells nobody. One for
    /// the program, meant for tools.
    using FiredFunction = void (*)(TRef<Automat> const & automat, D_DoAfter & wait, void * data);
    static void SetFiredFunction(FiredFunction function, void * data);
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    std::uint32_t startFrame_ = 0;
    float startTime_ = 0;
    TRef<D_Expression> delay_;
    TRef<D_Operator> action_;
};

} // namespace Tavlin
