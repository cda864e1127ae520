// Arrays of values as objects, and the walk over them.
#include "tavlinbase/VRefArray.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"

G_DEFINE_CLASS(Tavlin::IVRefArray, "Tavlin::IVRefArray", Tavlin::AUnknown)
G_DEFINE_CLASS(Tavlin::IWritableVRefArray, "Tavlin::IWritableVRefArray", Tavlin::IVRefArray)
G_DEFINE_CLASS(Tavlin::IWritableVRefArrayImpl, "Tavlin::IWritableVRefArrayImpl",
               Tavlin::IWritableVRefArray)
G_DEFINE_CREATABLE(Tavlin::WritableVRefArray, "Tavlin::WritableVRefArray", Tavlin::UniqueObject,
                   Tavlin::IWritableVRefArrayImpl)

namespace Tavlin {

namespace {

void readVersion(ipstream & in, int line) {
    int const version = in.readByte();
    if (version != 0)
        throw XStrVer("tavlinbase/DynamicVariable", line, version, 0);
}

} // namespace

int IVRefArray::indexOf(VariableRef value) {
    int const count = getCount();
    for (int i = 0; i < count; ++i)
        if (getItem(i) == value) // values of different kinds are never equal
            return i;
    return -1;
}

int IWritableVRefArray::insert(VariableRef value) {
    int const index = getCount();
    atInsert(index, value);
    return index;
}

int IWritableVRefArray::remove(VariableRef value) {
    int const index = indexOf(value);
    if (index >= 0)
        atRemove(index);
    return index;
}

void IWritableVRefArray::copy(TRef<Object> const & source) {
    VRefArrayIterator from(source);
    int const count = getCount();
    int index = 0;
    for (; index < count && from; ++index, ++from)
        setItem(index, from.get());
    for (int i = count - 1; i >= index; --i)
        atRemove(i);
    for (; from; ++from)
        insert(from.get());
}

VariableRef IWritableVRefArrayImpl::getItem(int index) {
    if (!has(index))
        return VariableRef();
    vector_.at(index).leaveConstant();
    return vector_.at(index);
}

void IWritableVRefArrayImpl::atRemove(int index) {
    if (has(index))
        vector_.at_remove(index);
}

void IWritableVRefArrayImpl::atInsert(int index, VariableRef value) {
    if (index >= 0)
        vector_.at_insert(index, value);
}

void IWritableVRefArrayImpl::setItem(int index, VariableRef value) {
    if (!has(index) || vector_.at(index).assign(value))
        return;
    // The cell cannot hold a value of that kind, so the element gets another.
    VariableRef fresh;
    fresh = value;
    vector_.at_put(index, fresh);
}

void IWritableVRefArrayImpl::read(ipstream & in) {
    readVersion(in, __LINE__);
    AUnknown::read(in);
    in >> vector_;
}

void IWritableVRefArrayImpl::write(opstream & out) {
    out.writeByte(0);
    AUnknown::write(out);
    out << vector_;
}

TRef<WritableVRefArray> WritableVRefArray::Create() {
    TObjectCreator<WritableVRefArray> creator;
    return TRef<WritableVRefArray>(static_cast<WritableVRefArray *>(creator));
}

void WritableVRefArray::read(ipstream & in) {
    readVersion(in, __LINE__);
    Object::read(in);
    IWritableVRefArrayImpl::read(in);
}

void WritableVRefArray::write(opstream & out) {
    out.writeByte(0);
    Object::write(out);
    IWritableVRefArrayImpl::write(out);
}

void WritableVRefArray::onFinalRelease() {
    Object::onFinalRelease();
}

VRefArrayIterator::VRefArrayIterator(TRef<Object> const & object) {
    fromObject(object);
    next();
}

VRefArrayIterator::VRefArrayIterator(TRef<IVRefArray> const & array) {
    fromIVRefArray(array);
    next();
}

void VRefArrayIterator::fromObject(TRef<Object> const & object) {
    fromIVRefArray(object ? object->queryInterface<IVRefArray>() : TRef<IVRefArray>());
}

void VRefArrayIterator::fromIVRefArray(TRef<IVRefArray> const & array) {
    array_ = array;
    total_ = array_ ? array_->getCount() : 0;
    index_ = -1;
    current_.empty();
}

void VRefArrayIterator::first() {
    index_ = -1;
    next();
}

void VRefArrayIterator::next() {
    if (index_ >= total_)
        return;
    if (++index_ < total_)
        current_.link(array_->getItem(index_));
}

void VRefArrayIterator::copy(VRefArrayIterator const & other) {
    index_ = other.index_;
    total_ = other.total_;
    current_.link(other.current_);
    array_ = other.array_;
}

} // namespace Tavlin
