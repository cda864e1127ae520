// The streamed forms of the script nodes. A node writes a byte for each level of its class above
// it (operator, expression, left part), then its own version byte and fields; children go as
// counted references. Version bytes are read and, but for the two noted, ignored.
//
// What is read is checked as it comes: a tree that would be too deep or too large to walk, or
// that contains itself, is refused, since evaluation recurses and trusts its nodes.
#include "persistence/pstream.h"
#include "tavlinmid/D_Automat.h"
#include "tavlinmid/D_Expression2.h"
#include "tavlinmid/D_Expressions.h"
#include "tavlinmid/D_Statements.h"

namespace Tavlin {

namespace {

/// Reads up to `count` references of class T, stopping where the stream ends.
template <class T, class Take>
void readReferences(ipstream & in, Take take) {
    std::uint32_t count = in.readDWord();
    for (; count > 0 && in.good(); --count) {
        TRef<RefCounter> const read = RefCounterRead(in, &T::metaclass_);
        take(TRef<T>(gcast<T>(static_cast<RefCounter *>(read))));
    }
}

template <class T>
void writeReferences(opstream & out, TRefVector<T> const & items) {
    out.writeDWord(static_cast<std::uint32_t>(items.getCount()));
    for (long i = 0; i < items.getCount(); ++i)
        RefCounterWrite(out, TRef<RefCounter>(static_cast<T *>(items.at(i))));
}

} // namespace

void D_Operator::read(ipstream & in) {
    in.readByte();
}

void D_Operator::write(opstream & out) {
    out.writeByte(0);
}

void D_Expression::read(ipstream & in) {
    D_Operator::read(in);
    in.readByte();
}

void D_Expression::write(opstream & out) {
    D_Operator::write(out);
    out.writeByte(0);
}

void D_LeftPart::read(ipstream & in) {
    D_Expression::read(in);
    in.readByte();
}

void D_LeftPart::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(0);
}

void D_Out::read(ipstream & in) {
    if (newVersion)
        D_Operator::read(in);
    in.readByte();
    terminal_ = in.readDWord() != 0;
    in >> target_;
}

void D_Out::write(opstream & out) {
    D_Operator::write(out);
    out.writeByte(0);
    out.writeDWord(terminal_);
    out << target_;
}

void D_InvokeOut::read(ipstream & in) {
    in.readByte();
    D_Out::read(in);
}

void D_InvokeOut::write(opstream & out) {
    out.writeByte(0);
    D_Out::write(out);
}

void D_Expression2::read(ipstream & in) {
    beginRead();
    D_Expression::read(in);
    in.readByte();
    readChild(in, left_);
    readChild(in, right_);
    settle();
    endRead();
}

void D_Expression2::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(version());
    WriteChild(out, left_);
    WriteChild(out, right_);
}

void D_Assign::read(ipstream & in) {
    beginRead();
    D_Expression::read(in);
    in.readByte();
    readChild(in, left_);
    readChild(in, right_);
    settle();
    endRead();
}

void D_Assign::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(0);
    WriteChild(out, left_);
    WriteChild(out, right_);
}

void D_Not::read(ipstream & in) {
    beginRead();
    D_Expression::read(in);
    in.readByte();
    readChild(in, operand_);
    endRead();
}

void D_Not::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(0);
    WriteChild(out, operand_);
}

void D_Step::read(ipstream & in) {
    beginRead();
    D_Expression::read(in);
    in.readByte();
    readChild(in, operand_);
    endRead();
}

void D_Step::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(0);
    WriteChild(out, operand_);
}

void D_Function::read(ipstream & in) {
    beginRead();
    D_Expression::read(in);
    unsigned char const version = in.readByte();
    in >> name_;
    arguments_.empty();
    readReferences<D_Expression>(in, [this](TRef<D_Expression> const & argument) {
        adoptRead(argument);
        arguments_.insert(argument);
    });
    path_.empty();
    if (version != 0)
        in >> path_;
    endRead();
}

void D_Function::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(1);
    out << name_;
    writeReferences(out, arguments_);
    out << path_;
}

void D_DoAfter::read(ipstream & in) {
    beginRead();
    D_Expression::read(in);
    in.readByte();
    readChild(in, delay_);
    readChild(in, action_);
    startFrame_ = in.readDWord();
    in >> startTime_;
    endRead();
}

void D_DoAfter::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(0);
    WriteChild(out, delay_);
    WriteChild(out, action_);
    out.writeDWord(startFrame_);
    out << startTime_;
}

void D_Constant::read(ipstream & in) {
    D_Expression::read(in);
    in.readByte();
    VariableVar value;
    in >> value;
    value_.empty();
    value_.copy(value);
    settle();
}

void D_Constant::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(0);
    out << value_;
}

void D_Me::read(ipstream & in) {
    D_Expression::read(in);
    in.readByte();
}

void D_Me::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(0);
}

void D_Event::read(ipstream & in) {
    D_Expression::read(in);
    in.readByte();
    in >> event_;
}

void D_Event::write(opstream & out) {
    D_Expression::write(out);
    out.writeByte(0);
    out << event_;
}

void D_Variable::read(ipstream & in) {
    D_LeftPart::read(in);
    in.readByte();
    in >> name_;
    serial_ = 0;
}

void D_Variable::write(opstream & out) {
    D_LeftPart::write(out);
    out.writeByte(0);
    out << name_;
}

void D_Array::read(ipstream & in) {
    D_LeftPart::read(in);
    in.readByte();
    in >> name_;
    for (int & index : index_)
        index = static_cast<std::int32_t>(in.readDWord());
}

void D_Array::write(opstream & out) {
    D_LeftPart::write(out);
    out.writeByte(0);
    out << name_;
    for (int const index : index_)
        out.writeDWord(static_cast<std::uint32_t>(index));
}

void D_Block::read(ipstream & in) {
    beginRead();
    in.readByte();
    statements_.empty();
    readReferences<D_Operator>(in, [this](TRef<D_Operator> const & statement) {
        adoptRead(statement);
        statements_.expand();
        statements_.insert(statement);
    });
    endRead();
}

void D_Block::write(opstream & out) {
    out.writeByte(0);
    writeReferences(out, statements_);
}

void D_Method::read(ipstream & in) {
    in.readByte();
    in >> name_;
    D_Block::read(in);
}

void D_Method::write(opstream & out) {
    out.writeByte(2);
    out << name_;
    D_Block::write(out);
}

void D_Condition::read(ipstream & in) {
    beginRead();
    D_Operator::read(in);
    in.readByte();
    readChild(in, condition_);
    readChild(in, block_);
    endRead();
}

void D_Condition::write(opstream & out) {
    D_Operator::write(out);
    out.writeByte(3);
    WriteChild(out, condition_);
    WriteChild(out, block_);
}

void D_State::read(ipstream & in) {
    in.readByte();
    in >> name_;
    methods_.empty();
    readReferences<D_Method>(in, [this](TRef<D_Method> const & method) { insertMethod(method); });
}

void D_State::write(opstream & out) {
    out.writeByte(0);
    out << name_;
    writeReferences(out, methods_);
}

void D_Automat::read(ipstream & in) {
    UniqueObject::read(in);
    unsigned char const version = in.readByte();
    values_.free_all();
    names_.empty();
    for (std::uint32_t count = in.readDWord(); count > 0 && in.good(); --count) {
        auto * const value = new VariableVar;
        values_.insert(value);
        in >> *value;
    }
    methods_.empty();
    readReferences<D_Method>(in, [this](TRef<D_Method> const & method) {
        if (method)
            insertMethod(method);
    });
    in >> names_;
    states_.empty();
    readReferences<D_State>(in, [this](TRef<D_State> const & state) {
        if (state)
            insertState(state);
    });
    firstState_ = version > 1 ? static_cast<std::int32_t>(in.readDWord()) : 0;
    // Names and values stand side by side; a damaged stream must not leave one without the other.
    while (names_.getCount() > values_.getCount())
        names_.at_remove(names_.getCount() - 1);
    while (values_.getCount() > names_.getCount())
        values_.at_free(values_.getCount() - 1);
    renewSerial();
}

void D_Automat::write(opstream & out) {
    UniqueObject::write(out);
    out.writeByte(2);
    out.writeDWord(static_cast<std::uint32_t>(values_.getCount()));
    for (long i = 0; i < values_.getCount(); ++i)
        out << *values_.at(i);
    writeReferences(out, methods_);
    out << names_;
    writeReferences(out, states_);
    out.writeDWord(static_cast<std::uint32_t>(firstState_));
}

} // namespace Tavlin
