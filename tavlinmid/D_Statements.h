// Statements and the bodies that hold them: blocks, conditions, methods, states.
#pragma once

#include "tavlinmid/TavlinDOperator.h"

namespace Tavlin {

/// Statements one after the other, up to the first that fails.
class ONDREL_API D_Block : public D_Operator {
    G_DECLARE_CREATABLE(D_Block)
  public:
    D_Block() = default;
    explicit D_Block(TRef<D_Operator> const & statement) { insertOperator(statement); }

    void insertOperator(TRef<D_Operator> const & statement);
    TRefVector<D_Operator> const & getOperators() const { return statements_; }

    /// Runs the statements in order; false from the first that says false.
    bool evaluate(TRef<Automat> const & automat, DispParams * params) override;
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    TRefVector<D_Operator> statements_;
};

/// A block with the name of the event that it answers.
class ONDREL_API D_Method : public D_Block {
    G_DECLARE_CREATABLE(D_Method)
  public:
    D_Method() = default;
    explicit D_Method(NameLinkID name) : name_(name) {}

    NameLinkID getName() const { return name_; }

    /// True whatever the block said: the event was handled.
    bool evaluate(TRef<Automat> const & automat, DispParams * params) override;
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    NameLinkID name_;
};

/// `if`: there is no else.
class ONDREL_API D_Condition : public D_Operator {
    G_DECLARE_CREATABLE(D_Condition)
  public:
    D_Condition() = default;
    D_Condition(TRef<D_Expression> const & condition, TRef<D_Operator> const & block);

    TRef<D_Operator> getBlock() const { return block_; }

    /// True when the condition is zero; else the block's result, false without a block. A
    /// condition without a value stops the enclosing block.
    bool evaluate(TRef<Automat> const & automat, DispParams * params) override;
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    TRef<D_Operator> block_;
    TRef<D_Expression> condition_;
};

/// A state: its name and the methods by which it answers.
class ONDREL_API D_State : public RefCounter {
    G_DECLARE_CREATABLE(D_State)
  public:
    D_State() = default;
    explicit D_State(NameLinkID name) : name_(name) {}

    NameLinkID getName() const { return name_; }
    void insertMethod(TRef<D_Method> const & method) {
        methods_.expand();
        methods_.insert(method);
    }
    TRefVector<D_Method> getMethods() const { return methods_; }
    /// The first method of that name; null when there is none. Not counted.
    D_Method * findMethod(NameLinkID name) const;
    long getMethodCount() const { return methods_.getCount(); }
    D_Method * getMethod(long index) const { return methods_.at(index); }

    /// Runs the method that the call names; false when the state has none of that name.
    virtual bool evaluate(TRef<Automat> const & automat, DispParams * params);
    virtual void dump();
    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    NameLinkID name_;
    TRefVector<D_Method> methods_;
};

} // namespace Tavlin
