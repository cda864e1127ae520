// The nodes of a compiled script. A script is a tree of small counted objects that is built once
// and shared by every automat that runs it; an evaluation gets the automat as an argument and
// keeps nothing in the node.
//
// A node has two ways to be run. The statement form serves a line of a method body: true goes on
// with the next line, false stops the enclosing block. The value form computes into a handle: it
// writes through what the handle is bound to, so an expression can change what it was handed.
// Nothing here reports an error: what cannot be computed says false and leaves the handle alone.
//
// Numbers take a third, hidden way: a subtree that only reads variables and constants and computes
// with integers and floats has no side effect and needs no cells, so `quick` computes it in
// registers. It must give exactly what the value form would give, and says false where only the
// value form can decide; calling it costs nothing but time.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"
#include "tavlinbase/DynamicVariable.h"
#include "tavlinbase/IDispatcher.h"
#include "tavlinbase/NameLink.h"
#include "tavlinbase/RefCounter.h"
#include "tavlinbase/TRef.h"
#include "tavlinbase/TRefVector.h"

#include <cstdint>

namespace Tavlin {

class Automat;

/// A number outside any cell: INT or FLOAT, and its 32 bits.
struct QuickValue {
    VariableTypes kind;
    std::int32_t word;
};

/// The root of all nodes of a script.
class ONDREL_API D_Operator : public RefCounter {
    G_DECLARE_CLASS(D_Operator)
  public:
    D_Operator() = default;
    D_Operator(D_Operator const &) = default;
    D_Operator & operator=(D_Operator const &) = default;

    /// Runs the node as a statement; false stops the enclosing block.
    virtual bool evaluate(TRef<Automat> const & automat, DispParams * params) = 0;
    /// Prints the node's text to the dump sink.
    virtual void dump();

    void read(ipstream & in) override;
    void write(opstream & out) override;

    /// Where dump prints: `sink` gets each piece of text with `data`; null drops the text.
    static void SetDumpSink(void (*sink)(char const * text, void * data), void * data);

    /// The height of the tree below and including this node, and how many nodes a full walk
    /// visits. Trees from streams are refused beyond the limits, since a walk recurses.
    int depth() const { return depth_; }
    std::uint32_t size() const { return size_; }
    static constexpr int maxDepth = 1000;
    static constexpr std::uint32_t maxSize = 1u << 24;

    /// Hands the formatted text to the dump sink.
    static void Print(char const * format, ...);
    /// Dumps `node` if there is one.
    static void Dump(D_Operator * node);

  protected:
    /// Accounts for a child that has become part of this node.
    void adopt(D_Operator const * child);
    /// A node that is being read counts as incomplete, so that a child which turns out to be one
    /// of its own parents is found.
    void beginRead() { depth_ = 0; }
    /// Checks `child` against the limits; raises InvalidPStream_Exception.
    void adoptRead(D_Operator const * child);
    void endRead() { ++depth_; }
    /// Reads a reference to a node of class T, accounted for; null when it is something else.
    template <class T>
    void readChild(ipstream & in, TRef<T> & child) {
        TRef<RefCounter> const read = RefCounterRead(in, &T::metaclass_);
        T * const node = gcast<T>(static_cast<RefCounter *>(read));
        // Before it is kept: a node that held itself would never end.
        adoptRead(node);
        child = TRef<T>(node);
    }
    static void WriteChild(opstream & out, RefCounter * child) {
        RefCounterWrite(out, TRef<RefCounter>(child));
    }

  private:
    int depth_ = 1;
    std::uint32_t size_ = 1;
};

/// A node that has a value.
class ONDREL_API D_Expression : public D_Operator {
    G_DECLARE_CLASS(D_Expression)
  public:
    /// The value form with the caller's result, or with a handle of its own that is dropped.
    bool evaluate(TRef<Automat> const & automat, DispParams * params) override;
    /// Computes into `result`; false, with `result` untouched, when the value cannot be computed.
    virtual bool evaluate(TRef<Automat> const & automat, VariableRef & result) = 0;
    /// The value as a plain number, without cells and side effects; false when only the value
    /// form can tell.
    virtual bool quick(Automat & automat, QuickValue & value) const;
    /// Whether quick can ever succeed; spares a walk that is bound to fail.
    bool mayBeQuick() const { return mayBeQuick_; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    bool mayBeQuick_ = false;
};

/// What can stand on the left of an assignment.
class ONDREL_API D_LeftPart : public D_Expression {
    G_DECLARE_CLASS(D_LeftPart)
  public:
    using D_Expression::evaluate;
    void read(ipstream & in) override;
    void write(opstream & out) override;
};

/// `goto`: makes another state the current one.
class ONDREL_API D_Out : public D_Operator {
    G_DECLARE_CREATABLE(D_Out)
  public:
    D_Out() = default;
    /// A terminal jump ends the method body; a jump that is not hands the event that is being
    /// handled on to the new state at once.
    D_Out(GString const & target, bool terminal);
    D_Out(NameLinkID target, bool terminal);

    bool evaluate(TRef<Automat> const & automat, DispParams * params) override;
    /// The jump itself.
    virtual bool p_evaluate(TRef<Automat> const & automat);
    void dump() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

    NameLinkID getTarget() const { return target_; }
    bool isTerminal() const { return terminal_; }

    /// Whether the streams being read have the version byte of the base in their jumps.
    static bool newVersion;

  protected:
    NameLinkID target_;
    bool terminal_ = false;
};

/// A jump whose target is an event: the automat is called by that name.
class ONDREL_API D_InvokeOut : public D_Out {
    G_DECLARE_CREATABLE(D_InvokeOut)
  public:
    D_InvokeOut() = default;
    D_InvokeOut(NameLinkID event, bool terminal) : D_Out(event, terminal) {}

    bool p_evaluate(TRef<Automat> const & automat) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;
};

namespace script {

/// Writes a number as a script writes a result: a fresh cell where `result` is empty or bound to
/// a constant, else into the cell it is bound to, if that is a number's. False, with nothing
/// written, for a cell of any other kind.
ONDREL_API bool StoreWord(VariableRef & result, VariableTypes kind, std::int32_t word);

/// Runs `node` into `result` if there is a node.
inline bool Evaluate(TRef<D_Expression> const & node, TRef<Automat> const & automat,
                     VariableRef & result) {
    return node && node->evaluate(automat, result);
}

} // namespace script

} // namespace Tavlin
