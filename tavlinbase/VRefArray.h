// Arrays of values as objects: what a value of kind ARRAY holds. The two interfaces let any object
// be such an array; WritableVRefArray is the one that scripts and text forms make.
#pragma once

#include "platform/Export.h"
#include "tavlinbase/AUnknown.h"
#include "tavlinbase/TavlinObject.h"
#include "tavlinbase/VRefVector.h"

namespace Tavlin {

/// An array that can be read.
class ONDREL_API IVRefArray : public virtual AUnknown {
    G_DECLARE_CLASS(IVRefArray)
  public:
    virtual int getCount() = 0;
    /// A handle on element `index`.
    virtual VariableRef getItem(int index) = 0;
    /// The first element of the kind of `value` that equals it, or -1.
    virtual int indexOf(VariableRef value);
};

/// An array that can be changed as well.
class ONDREL_API IWritableVRefArray : public IVRefArray {
    G_DECLARE_CLASS(IWritableVRefArray)
  public:
    /// What an index out of range does is up to the class; IWritableVRefArrayImpl ignores it.
    virtual void atRemove(int index) = 0;
    virtual void atInsert(int index, VariableRef value) = 0;
    /// Writes the value of element `index`.
    virtual void setItem(int index, VariableRef value) = 0;
    /// Appends; returns the index.
    virtual int insert(VariableRef value);
    /// Removes what indexOf finds; returns its former index or -1.
    virtual int remove(VariableRef value);
    /// Makes this array equal to that of `source`, an object with IVRefArray; any other counts as
    /// an empty array.
    virtual void copy(TRef<Object> const & source);
};

/// The interface over a VRefVector. An index that is out of range changes nothing and reads as
/// empty, since scripts choose it.
class ONDREL_API IWritableVRefArrayImpl : public IWritableVRefArray {
    G_DECLARE_CLASS(IWritableVRefArrayImpl)
  public:
    VRefVector & getVector() { return vector_; }
    VRefVector const & getVector() const { return vector_; }

    int getCount() override { return vector_.getCount(); }
    /// Shares the element: a write through the handle shows in the array.
    VariableRef getItem(int index) override;
    void atRemove(int index) override;
    void atInsert(int index, VariableRef value) override;
    /// A write into the element's own cell, which its aliases see; a value of a kind that does not
    /// fit there gets a cell of its own.
    void setItem(int index, VariableRef value) override;

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    bool has(int index) const { return index >= 0 && index < vector_.getCount(); }

    VRefVector vector_;
};

/// An object that is its own array. Built by its metaclass: WritableVRefArray::Create, or its name.
class ONDREL_API WritableVRefArray : public UniqueObject, public IWritableVRefArrayImpl {
    G_DECLARE_CREATABLE(WritableVRefArray)
  public:
    /// A new registered array, built through the metaclass.
    static TRef<WritableVRefArray> Create();

    using IWritableVRefArrayImpl::remove;
    /// Element `index`, in range.
    VariableRef & operator[](int index) { return getVector()[index]; }

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override;

  protected:
    WritableVRefArray() = default;

  private:
    template <class T>
    friend T * ondrel_detail::buildDefault();
};

/// Walks over an array. Its size is read once, so it must not change during the walk.
class ONDREL_API VRefArrayIterator {
  public:
    /// At the end of nothing.
    VRefArrayIterator() = default;
    /// On the first element; at the end at once when the object is null or offers no IVRefArray.
    explicit VRefArrayIterator(TRef<Object> const & object);
    explicit VRefArrayIterator(TRef<IVRefArray> const & array);

    /// In front of the first element of another array.
    void fromObject(TRef<Object> const & object);
    void fromIVRefArray(TRef<IVRefArray> const & array);

    void first();
    /// At the end it stays there, and the current handle keeps its last cell.
    void next();
    VRefArrayIterator & operator++() {
        next();
        return *this;
    }
    explicit operator bool() const { return index_ < total_; }
    bool isEmpty() const { return index_ >= total_; }

    /// The index of the current element.
    int counter() const { return index_; }
    int getCount() const { return total_; }
    /// A handle on the current element.
    VariableRef get() const { return current_; }
    VariableRef * operator->() { return &current_; }
    /// Takes over array and position of another; the current handle is then shared.
    void copy(VRefArrayIterator const & other);
    VRefArrayIterator(VRefArrayIterator const & other) { copy(other); }
    VRefArrayIterator & operator=(VRefArrayIterator const & other) {
        copy(other);
        return *this;
    }

  private:
    int index_ = 0;
    int total_ = 0;
    VariableRef current_;
    TRef<IVRefArray> array_;
};

} // namespace Tavlin
