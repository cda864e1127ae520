// A reference that does not keep its target alive: when the object goes, all ExternalRefs to it
// become null. The object carries an ExternalRefCounter interface, which knows them.
#pragma once

#include "foundation/GCollection.h"
#include "tavlinbase/AUnknown.h"

namespace Tavlin {

class ExternalRef;

/// Does not go into streams.
class ONDREL_API ExternalRefCounter : public AUnknown {
    G_DECLARE_CREATABLE(ExternalRefCounter)
  public:
    ExternalRefCounter();
    ~ExternalRefCounter() override;
    ExternalRefCounter(ExternalRefCounter const &) = delete;
    ExternalRefCounter & operator=(ExternalRefCounter const &) = delete;

    /// The object's own count; 0 when detached.
    long internalCount() const;
    /// How many outside references there are.
    long externalCount() const { return getReferenceCount(); }

    /// Always true: cuts all ExternalRefs that point here.
    bool canDestroyObject() override;

  private:
    friend class ExternalRef;
    TGCollection<ExternalRef> references_;
};

/// The reference that does not hold: null once its object has gone.
class ONDREL_API ExternalRef {
  public:
    ExternalRef() = default;
    ExternalRef(TRef<ExternalRefCounter> const & counter);
    /// `counter` must be an ExternalRefCounter or null.
    ExternalRef(TRef<AUnknown> const & counter);
    /// For passing by value: keeps the counter, but is not cut when the target goes; it finds the
    /// target gone all the same.
    ExternalRef(ExternalRef const & other) : counter_(other.counter_) {}
    ~ExternalRef() { empty(); }
    ExternalRef & operator=(ExternalRef const & other);
    ExternalRef & operator=(TRef<ExternalRefCounter> const & counter);
    ExternalRef & operator=(TRef<AUnknown> const & counter);

    /// Leaves the target; null afterwards.
    void empty();
    /// The target's own count; 0 when null.
    long internalCount() const { return counter_ ? counter_->internalCount() : 0; }
    /// How many outside references the target has; 0 when null.
    long externalCount() const { return counter_ ? counter_->externalCount() : 0; }

  protected:
    /// The target; null when it has gone.
    Object * pointer() const { return counter_ ? counter_->objectPointer() : nullptr; }

  private:
    friend class ExternalRefCounter;
    void pointAt(TRef<ExternalRefCounter> counter);

    TRef<ExternalRefCounter> counter_;
};

} // namespace Tavlin
