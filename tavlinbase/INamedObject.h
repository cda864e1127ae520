// The interface that gives an object a text name.
#pragma once

#include "foundation/GString.h"
#include "tavlinbase/AUnknown.h"

namespace Tavlin {

/// An interface with a name for its object.
class ONDREL_API INamedObject : public virtual AUnknown {
    G_DECLARE_CLASS(INamedObject)
  public:
    /// False when the name is not accepted, which leaves the present one.
    virtual bool setName(char const * name) = 0;
    virtual GString getName() = 0;
};

/// Keeps the name.
class ONDREL_API INamedObjectImpl : public INamedObject {
    G_DECLARE_CREATABLE(INamedObjectImpl)
  public:
    INamedObjectImpl() = default;
    explicit INamedObjectImpl(char const * name) : name_(name) {}

    bool setName(char const * name) override;
    GString getName() override { return name_; }
    /// Whether setName takes the name; here any.
    virtual bool isNameOK(char const * name);

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    GString name_;
};

/// A name that data may take away again.
class ONDREL_API IRemovableNamedObject : public INamedObjectImpl {
    G_DECLARE_CREATABLE(IRemovableNamedObject)
  public:
    using INamedObjectImpl::INamedObjectImpl;
};

} // namespace Tavlin
