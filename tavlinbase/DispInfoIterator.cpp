// The walks over names.
#include "tavlinbase/DispInfoIterator.h"

namespace Tavlin {

DispInfoIterator::DispInfoIterator(IDispatcher::Info const * info, IDispatcher::CallType mask)
    : info_(info), flags_(mask) {
    firstName();
}

void DispInfoIterator::reset(IDispatcher::Info const * info, IDispatcher::CallType mask) {
    info_ = info;
    flags_ = mask;
    first();
}

void DispInfoIterator::info(IDispatcher::Info const * info) {
    info_ = info;
    first();
}

void DispInfoIterator::flags(IDispatcher::CallType mask) {
    flags_ = mask;
    first();
}

void DispInfoIterator::first() {
    firstName();
}

void DispInfoIterator::next() {
    nextName();
}

void DispInfoIterator::firstName() {
    index_ = 0;
    count_ = info_ ? info_->getNamesCount() : 0;
    advance();
}

void DispInfoIterator::nextName() {
    if (index_ >= count_)
        return;
    ++index_;
    advance();
}

void DispInfoIterator::advance() {
    for (; index_ < count_; ++index_) {
        // A description may leave these two alone; they must not be those of the name before.
        thisOffset_ = 0;
        function_ = nullptr;
        if (info_->getNameInfo(index_, &name_, &callType_, &thisOffset_, &function_,
                               &returnType_) &&
            (callType_ & flags_) != 0)
            return;
    }
}

void DispInfoIterator::params(DispParams & params) const {
    params.name = name_;
    params.type = callType_;
}

bool DispInfoIterator::call(TRef<Object> const & object, VRefVector * args, VariableRef * result) {
    if (isEmpty())
        return false;
    DispParams params(name_, result, args, callType_);
    return params.call(object);
}

DispObjectInfoIterator::DispObjectInfoIterator(TRef<Object> const & object,
                                               IDispatcher::CallType mask)
    : DispInfoIterator(nullptr, mask), interfaces_(object, true) {
    settle();
}

void DispObjectInfoIterator::first() {
    interfaces_.first();
    settle();
}

void DispObjectInfoIterator::next() {
    nextName();
    if (!isEmpty() || !interfaces_)
        return;
    ++interfaces_;
    settle();
}

/// Goes on from the present interface to the first one that has a name.
void DispObjectInfoIterator::settle() {
    for (; interfaces_; ++interfaces_) {
        current_ = interfaces_.get();
        setInfo(current_->getTypeInfo());
        firstName();
        if (!isEmpty())
            return;
    }
    setInfo(nullptr);
    firstName();
    current_.empty();
}

} // namespace Tavlin
