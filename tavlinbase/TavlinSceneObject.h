// Objects under names. A registrar reads as if each registered object were one of its properties,
// and passes a method call on to all of them. The one SceneObject is the registrar that paths reach
// under the name "scene".
#pragma once

#include "foundation/TSCDictionary.h"
#include "platform/Export.h"
#include "tavlinbase/IDispatcher.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

/// A list of objects by name, which reads as an object of that many properties.
class ONDREL_API DispObjectRegistrar : public UniqueObject,
                                       public IDispatcher,
                                       public IDispatcher::Info {
    G_DECLARE_CREATABLE(DispObjectRegistrar)
  public:
    DispObjectRegistrar() = default;
    ~DispObjectRegistrar() override;

    /// False for a null object and for a name that is taken, which keeps its object.
    bool regObject(NameLinkID name, TRef<Object> const & object);
    bool unregObject(NameLinkID name);
    /// Takes out the last entry that holds the object; false when there is none.
    bool unregObject(TRef<Object> const & object);
    /// Null when nothing has the name.
    TRef<Object> findObject(NameLinkID name) const;
    /// Walks along the names of `path` from `index` on, starting at this object.
    TRef<Object> findObject(TGVector<NameLinkID> & path, int index);

    /// A method goes to all objects, the last entry first, and is true when any of them took it; a
    /// read gives the object of that name; anything else is refused.
    bool invoke(DispParams * params) override;
    /// The registrar itself.
    IDispatcher::Info const * getTypeInfo() override;
    int getNamesCount() const override;
    /// Leaves `thisOffset` and `function` alone: there is nothing native behind a name.
    bool getNameInfo(int index, NameLinkID * name, CallType * type, int * thisOffset,
                     void ** function, VariableTypes * returnType) const override;

    void read(ipstream & in) override;
    void write(opstream & out) override;
    void onFinalRelease() override;

  protected:
    /// What follows the version byte.
    void readParts(ipstream & in);

  private:
    bool broadcast(DispParams * params);
    void clear();

    TSCDictionary<NameLinkID, TRef<Object>> objects_;
};

/// The root of the name "scene". The last one built is in force until it goes.
class ONDREL_API SceneObject : public DispObjectRegistrar {
    G_DECLARE_CREATABLE(SceneObject)
  public:
    SceneObject();
    ~SceneObject() override;

    /// Null as long as nobody has built one.
    static SceneObject * Get();

    void read(ipstream & in) override;
    void write(opstream & out) override;
};

} // namespace Tavlin
