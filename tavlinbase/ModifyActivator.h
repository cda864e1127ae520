// Activators: small objects that watch a source and act on a destination whenever the source fires.
// They keep the source and not the destination, so a world can drop what they act on.
#pragma once

#include "foundation/GPointer.h"
#include "tavlinbase/ExternalRef.h"
#include "tavlinbase/Notifyer.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

class ModifyActivator;

/// What makes an object a source.
class ONDREL_API ISetModifyActivator : public virtual AUnknown {
    G_DECLARE_CLASS(ISetModifyActivator)
  public:
    /// On which the activators hang.
    virtual Notifyer & getNotifyer() = 0;

    /// Has the activator act when this fires; it is not held. Neither may be null.
    void addActivator(ModifyActivator * activator);
    void removeActivator(ModifyActivator * activator);
};

/// Watches a source and acts on a destination when the source fires.
class ONDREL_API ModifyActivator : public Object {
    G_DECLARE_CLASS(ModifyActivator)
  public:
    /// The member that hangs on the notifier of the source.
    class ONDREL_API Callback : public NotifyCallback {
        G_DECLARE_CLASS(Callback)
      public:
        explicit Callback(ModifyActivator * activator) : NotifyCallback(true), owner(activator) {}
        void notify(Notifyer const & subject) override;

        ModifyActivator * const owner; ///< not counted
    };

    ~ModifyActivator() override;

    using Object::compare;
    int compare(Object const & other) const override;
    bool needToCompare() const override { return true; }

    /// What happens when the source fires, and a step right behind it.
    virtual void act(Notifyer const & subject) = 0;
    virtual void acted() = 0;
    /// Asked once there is a source.
    virtual bool canBeDestination(TRef<Object> const & object) = 0;

    /// Moves the activator from its present source to this one, which must have an
    /// ISetModifyActivator, or be null. Always true.
    bool setSource(TRef<Object> const & object);
    /// False, with nothing changed, when there is a source and the object, which may be null,
    /// cannot be the destination. The object gets the interface that tells when it goes, if it has
    /// none.
    bool setDestination(TRef<Object> const & object);
    TRef<Object> const & getSource() const { return source_; }
    /// Null when there is none, or it has gone.
    TRef<Object> getDestination() const { return TRef<Object>(destination_.pointer()); }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    ModifyActivator();

  private:
    friend class ISetModifyActivator;

    /// An ExternalRef that lets its owner reach the target.
    class Destination : public ExternalRef {
      public:
        using ExternalRef::operator=;
        Object * pointer() const { return ExternalRef::pointer(); }
    };

    void bindDestination(TRef<Object> const & object);

    Destination destination_;
    TRef<Object> source_;
    Callback callback_;
};

/// Walks over the activators of a source, the oldest first; other callbacks on its notifier are
/// passed over. Activators may come and go meanwhile; the source must stay. Where the one it stands
/// on ends together with one before it, the next may be passed over.
class ONDREL_API ActivatorIterator {
  public:
    /// Stands on the first one. An object without ISetModifyActivator, or null, has none.
    explicit ActivatorIterator(TRef<Object> const & object);

    void first();
    void operator++(int);
    explicit operator bool() const { return index_ >= 0; }
    /// Null at the end, and when the one that the walk stands on has gone.
    TRef<ModifyActivator> get() const;

  private:
    void find(int from);

    int index_ = -1;
    Notifyer * notifyer_ = nullptr;
    TGPointer<ModifyActivator::Callback> current_;
};

} // namespace Tavlin
