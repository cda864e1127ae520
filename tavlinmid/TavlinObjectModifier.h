// Reversible changes to objects, kept as data: a modifier tells whether it can be applied to an
// object or undone, and does so. Modifiers are put together of others.
#pragma once

#include "tavlinbase/TRefVector.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

/// A change that can be made to an object and taken back.
class ONDREL_API ObjectModifier : public Object {
    G_DECLARE_CLASS(ObjectModifier)
  public:
    /// Whether a call of apply, or of undo, makes sense now.
    virtual bool canApply(TRef<Object> const & object) = 0;
    virtual bool canUndo(TRef<Object> const & object) = 0;
    /// Both go ahead without asking whether they can; false when that failed.
    bool apply(TRef<Object> const & object) { return v_apply(object); }
    bool undo(TRef<Object> const & object) { return v_undo(object); }

    using Object::compare;
    /// No two modifiers are equal.
    int compare(Object const & other) const override;
    bool needToCompare() const override { return false; }
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    ObjectModifier() = default;

    /// The change and its reverse; false when it could not be made.
    virtual bool v_apply(TRef<Object> const & object) = 0;
    virtual bool v_undo(TRef<Object> const & object) = 0;
};

/// Applies a list of modifiers in order, and undoes them in the reverse one. One that fails does
/// not stop the others, and nothing is rolled back. A modifier that contains itself fails.
class ONDREL_API ComplexObjectModifier : public ObjectModifier {
    G_DECLARE_CREATABLE(ComplexObjectModifier)
  public:
    ComplexObjectModifier() = default;

    /// Nulls are passed over.
    TRefVector<ObjectModifier> & vector() { return vector_; }
    TRefVector<ObjectModifier> const & vector() const { return vector_; }

    /// Whether all can; the last one is asked first, and none behind the first that cannot.
    bool canApply(TRef<Object> const & object) override;
    bool canUndo(TRef<Object> const & object) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    /// Whether all succeeded.
    bool v_apply(TRef<Object> const & object) override;
    bool v_undo(TRef<Object> const & object) override;

  private:
    TRefVector<ObjectModifier> vector_;
};

/// Applies its list to other objects, which a derived class finds from the one that is given.
class ONDREL_API ComplexComponentModifier : public ComplexObjectModifier {
    G_DECLARE_CLASS(ComplexComponentModifier)
  public:
    bool canApply(TRef<Object> const & object) override;
    bool canUndo(TRef<Object> const & object) override;
    /// The object that the next modifier is to work on, asked before each of them; null passes that
    /// one over, as a success.
    virtual TRef<Object> getTargetObject(TRef<Object> const & object) = 0;

    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    ComplexComponentModifier() = default;

    bool v_apply(TRef<Object> const & object) override;
    bool v_undo(TRef<Object> const & object) override;
};

/// Adds a new interface of some class to the object. Nothing can be applied or undone as long as it
/// has no class.
class ONDREL_API MAddInterface : public ObjectModifier {
    G_DECLARE_CREATABLE(MAddInterface)
  public:
    MAddInterface() = default;

    /// A class that can be built and is an AUnknown.
    void init(GMetaClass const * interfaceId) { interfaceId_ = interfaceId; }
    GMetaClass const * getInterfaceId() const { return interfaceId_; }

    /// Whether there is no interface of exactly that class yet.
    bool canApply(TRef<Object> const & object) override;
    /// Whether there is one.
    bool canUndo(TRef<Object> const & object) override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    /// Adds another one also where canApply says no. False when the class gives no interface or
    /// the interface refuses.
    bool v_apply(TRef<Object> const & object) override;
    /// Takes the last attached one out; false when there is none.
    bool v_undo(TRef<Object> const & object) override;

  private:
    AUnknown * find(TRef<Object> const & object) const;

    GMetaClass const * interfaceId_ = nullptr;
};

} // namespace Tavlin
