// The roots of the script nodes, the jumps, and where dumps go.
#include "tavlinmid/TavlinDOperator.h"

#include "diagnostics/TavlinError.h"
#include "persistence/PStreamExceptions.h"
#include "tavlinmid/Automat.h"
#include "tavlinmid/D_Statements.h"

#include <algorithm>
#include <cstdarg>

namespace Tavlin {

G_DEFINE_CLASS(D_Operator, "Tavlin::D_Operator", RefCounter)
G_DEFINE_CLASS(D_Expression, "Tavlin::D_Expression", D_Operator)
G_DEFINE_CLASS(D_LeftPart, "Tavlin::D_LeftPart", D_Expression)
G_DEFINE_CREATABLE(D_Out, "Tavlin::D_Out", D_Operator)
G_DEFINE_CREATABLE(D_InvokeOut, "Tavlin::D_InvokeOut", D_Out)

namespace {

using DumpSink = void (*)(char const *, void *);
constinit DumpSink g_dumpSink = nullptr;
constinit void * g_dumpData = nullptr;

} // namespace

void D_Operator::SetDumpSink(void (*sink)(char const *, void *), void * data) {
    g_dumpSink = sink;
    g_dumpData = data;
}

void D_Operator::Print(char const * format, ...) {
    if (!g_dumpSink)
        return;
    GString text;
    va_list arguments;
    va_start(arguments, format);
    text.vformat(format, arguments);
    va_end(arguments);
    g_dumpSink(text.c_str(), g_dumpData);
}

void D_Operator::dump() {}

void D_Operator::Dump(D_Operator * node) {
    if (node)
        node->dump();
}

void D_Operator::adopt(D_Operator const * child) {
    if (!child)
        return;
    depth_ = std::max(depth_, child->depth_ + 1);
    size_ = std::min(size_ + child->size_, maxSize);
}

void D_Operator::adoptRead(D_Operator const * child) {
    if (!child)
        return;
    if (child->depth_ == 0)
        throw InvalidPStream_Exception("A script node contains itself");
    depth_ = std::max(depth_, child->depth_);
    size_ += child->size_;
    if (depth_ >= maxDepth || size_ >= maxSize)
        throw InvalidPStream_Exception("Objects are nested too deeply");
}

bool D_Expression::evaluate(TRef<Automat> const & automat, DispParams * params) {
    if (params && params->result)
        return evaluate(automat, *params->result);
    VariableRef dropped;
    return evaluate(automat, dropped);
}

bool D_Expression::quick(Automat &, QuickValue &) const {
    return false;
}

D_Out::D_Out(GString const & target, bool terminal)
    : target_(target.c_str()), terminal_(terminal) {}

D_Out::D_Out(NameLinkID target, bool terminal) : target_(target), terminal_(terminal) {}

bool D_Out::newVersion = true;

bool D_Out::evaluate(TRef<Automat> const & automat, DispParams * params) {
    p_evaluate(automat);
    if (terminal_)
        return false;
    TRef<D_State> const state = automat->getNowState();
    if (!params || !state || !state->evaluate(automat, params))
        throw Error("tavlinmid/TavlinDOperator", 42,
                    "automat: non-terminal leave could not find function ( function=%s; state=%s )",
                    params ? params->name.getName().c_str() : "", target_.getName().c_str());
    return true;
}

bool D_Out::p_evaluate(TRef<Automat> const & automat) {
    return automat->setNowState(target_);
}

void D_Out::dump() {
    Print("goto %s", target_.getName().c_str());
}

bool D_InvokeOut::p_evaluate(TRef<Automat> const & automat) {
    DispParams event(target_, nullptr, nullptr, IDispatcher::Method);
    return automat->invoke(&event);
}

bool script::StoreWord(VariableRef & result, VariableTypes kind, std::int32_t word) {
    if (result.isEmpty() || result.isConstant()) {
        result.empty();
        result.create(kind);
    } else if (result.type() != INT && result.type() != FLOAT) {
        return false;
    }
    result.asINT(word);
    return true;
}

} // namespace Tavlin
