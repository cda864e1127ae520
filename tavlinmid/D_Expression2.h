// The nodes with two operands. Both are always evaluated, the left one first, each into a handle
// of its own, before any kind is looked at: nothing short-circuits. No kind is converted.
#pragma once

#include "foundation/Vector2D.h"
#include "tavlinmid/TavlinDOperator.h"

namespace Tavlin {

/// The base of all nodes with two operands.
class ONDREL_API D_Expression2 : public D_Expression {
    G_DECLARE_CLASS(D_Expression2)
  public:
    using D_Expression::evaluate;
    bool evaluate(TRef<Automat> const & automat, VariableRef & result) override;
    bool quick(Automat & automat, QuickValue & value) const override;
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    D_Expression2() = default;
    D_Expression2(TRef<D_Expression> const & left, TRef<D_Expression> const & right);

    /// The operation on two numbers of any two kinds; false when it fails on them.
    virtual bool compute(QuickValue left, QuickValue right, QuickValue & value) const = 0;
    /// The operation on what is not two numbers.
    virtual bool apply(VariableRef const & left, VariableRef const & right,
                       VariableRef & result) const;
    /// Whether a failing operation still lets the block go on, with nothing stored.
    virtual bool neverFails() const { return false; }
    /// The version byte of the node's own level.
    virtual unsigned char version() const { return 0; }

  private:
    void settle();
    TRef<D_Expression> left_;
    TRef<D_Expression> right_;
    // The right operand where it is a number constant, which never changes.
    QuickValue rightNumber_{UNDEFINED, 0};
};

#define D_DECLARE_BINARY_(Class, ...)                                                              \
    class ONDREL_API Class : public D_Expression2 {                                                \
        G_DECLARE_CREATABLE(Class)                                                                 \
      public:                                                                                      \
        Class() = default;                                                                         \
        Class(TRef<D_Expression> const & left, TRef<D_Expression> const & right)                   \
            : D_Expression2(left, right) {}                                                        \
                                                                                                   \
      protected:                                                                                   \
        bool compute(QuickValue left, QuickValue right, QuickValue & value) const override;        \
        __VA_ARGS__                                                                                \
    };

#define D_APPLY_                                                                                   \
    bool apply(VariableRef const & left, VariableRef const & right, VariableRef & result)          \
        const override;

/// Sums and differences of two INT, two FLOAT or two VECTOR2D.
D_DECLARE_BINARY_(
    D_Add, D_APPLY_ unsigned char version() const override { return 1; })
D_DECLARE_BINARY_(
    D_Substruct, D_APPLY_ unsigned char version() const override { return 1; })
/// Products and quotients of two INT or two FLOAT; a zero divisor fails.
D_DECLARE_BINARY_(D_Multiplication)
D_DECLARE_BINARY_(D_Division)
/// The remainder of two INT. A zero divisor is the machine's division fault.
D_DECLARE_BINARY_(D_Modulus)
/// Equality of any two values; INT 1 or 0. Fails only where the result's cell takes no number.
D_DECLARE_BINARY_(D_IsEqual, D_APPLY_)
D_DECLARE_BINARY_(D_IsNotEqual, D_APPLY_)
/// Order of two INT, two FLOAT, or two VECTOR2D in both components; INT 1 or 0.
D_DECLARE_BINARY_(D_IsGreater, D_APPLY_)
D_DECLARE_BINARY_(D_IsGreaterOrEqual, D_APPLY_)
D_DECLARE_BINARY_(D_IsLess, D_APPLY_)
D_DECLARE_BINARY_(D_IsLessOrEqual, D_APPLY_)
/// Logic on two INT; anything else stores nothing and still goes on.
D_DECLARE_BINARY_(
    D_Or, bool neverFails() const override { return true; })
D_DECLARE_BINARY_(
    D_And, bool neverFails() const override { return true; })

#undef D_DECLARE_BINARY_
#undef D_APPLY_

} // namespace Tavlin
