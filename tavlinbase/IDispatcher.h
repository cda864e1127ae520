// Reflection by name: whoever knows only names reads and writes properties of native objects and
// calls their methods through IDispatcher. An object is a bag of interfaces, and each of them that
// is a dispatcher contributes names. There is no marshalling: the native side receives the caller's
// own result handle and argument vector.
#pragma once

#include "foundation/TGVector.h"
#include "platform/Export.h"
#include "tavlinbase/AUnknown.h"
#include "tavlinbase/DynamicVariable.h"
#include "tavlinbase/NameLink.h"
#include "tavlinbase/TRef.h"
#include "tavlinbase/VRefVector.h"

namespace Tavlin {

class Object;
struct DispParams;

/// An interface that answers by name; and the functions that walk along paths of names.
class ONDREL_API IDispatcher : public virtual AUnknown {
    G_DECLARE_CLASS(IDispatcher)
  public:
    /// The kind of a call; a mask where names are selected.
    enum CallType : int {
        Method = 1,      ///< arguments in a vector, the result optional
        PropertyGet = 2, ///< read through a native getter
        PropertySet = 4, ///< write through a native setter
        Variable = 8     ///< a data member that is read and written without native code
    };

    /// Describes the names that a dispatcher answers to. Every output pointer may be null.
    class ONDREL_API Info {
      public:
        virtual ~Info();
        virtual int getNamesCount() const = 0;
        /// Name `index` of 0 to getNamesCount() - 1; false past the end. `function` and
        /// `thisOffset` serve BoundInvoke: a null function has no fast path.
        virtual bool getNameInfo(int index, NameLinkID * name, CallType * type, int * thisOffset,
                                 void ** function, VariableTypes * returnType) const = 0;
        /// The first name that equals `name` and whose type is exactly `type`.
        virtual bool findNameInfo(NameLinkID name, CallType type, int * thisOffset,
                                  void ** function, VariableTypes * returnType) const;
    };

    /// Performs the call if the dispatcher knows its name under its type; false otherwise.
    virtual bool invoke(DispParams * params) = 0;
    /// The names of this dispatcher; null when it does not tell them.
    virtual Info const * getTypeInfo() = 0;

    /// Refuses an interface that offers a name under a call type which another interface of the
    /// object offers already.
    bool attach() override;

    /// The first names of a path that stand for an object of the caller: "me", "scene" and
    /// "inherited".
    inline static NameLinkID const g_me_alias{"me"};
    inline static NameLinkID const g_scene_alias{"scene"};
    inline static NameLinkID const g_inherited_alias{"inherited"};
    /// What "scene" leads to; kept by SceneObject, not counted.
    static Object * g_sceneObject;

    /// The object at which a path starts; `startIndex` becomes the index of the first name that
    /// is looked up on it. `path` is not empty.
    static TRef<Object> GetRootObject(int & startIndex, TGVector<NameLinkID> const & path,
                                      TRef<Object> const & me, TRef<Object> const & inherited);
    /// The object named by a path; an empty path names `me`. Null when an element is no object.
    static TRef<Object> FindObject(TGVector<NameLinkID> const & path, TRef<Object> const & me,
                                   TRef<Object> const & inherited);
    static TRef<Object> FindObject(char const * path, TRef<Object> const & me,
                                   TRef<Object> const & inherited);
    /// Walks from `current` along the names from `index` on, leaving out the last `tail` names.
    static TRef<Object> FindObjectRecursive(TGVector<NameLinkID> const & path, int index,
                                            TRef<Object> const & current, int tail);
    /// The value of a name on one object; empty when there is none. The handle of a `Variable` is
    /// an alias of the member.
    static VariableRef GetPropertyOrVar(TRef<Object> const & object, NameLinkID name);
    /// The value at the end of a path; an alias of the member when the last name is a `Variable`,
    /// a handle of kind OBJECT when the path is "me", "scene" or "inherited" alone.
    static VariableRef FindVRef(TGVector<NameLinkID> const & path, TRef<Object> const & me,
                                TRef<Object> const & inherited);
    static VariableRef FindVRef(char const * path, TRef<Object> const & me,
                                TRef<Object> const & inherited);
    /// Writes to the name at the end of a path; false when nobody has the name. Whether the value
    /// was to the taste of its setter, or fitted the kind of its variable, is not told.
    static bool SetVRef(VariableRef const & value, TGVector<NameLinkID> const & path,
                        TRef<Object> const & me, TRef<Object> const & inherited);
    static bool SetVRef(VariableRef const & value, char const * path, TRef<Object> const & me,
                        TRef<Object> const & inherited);
    /// Calls the method at the end of a path; false when nobody has it.
    static bool CallMethod(TGVector<NameLinkID> const & path, VariableRef * result,
                           VRefVector * args, TRef<Object> const & me,
                           TRef<Object> const & inherited);
    static bool CallMethod(char const * path, VariableRef * result, VRefVector * args,
                           TRef<Object> const & me, TRef<Object> const & inherited);
};

constexpr IDispatcher::CallType operator|(IDispatcher::CallType a, IDispatcher::CallType b) {
    return IDispatcher::CallType(int(a) | int(b));
}

/// One call: what is called, and the caller's own result and arguments.
struct ONDREL_API DispParams {
    DispParams(NameLinkID callName, VariableRef * callResult, VRefVector * callParams,
               IDispatcher::CallType callType)
        : name(callName), result(callResult), params(callParams), type(callType) {}

    /// Offers the call to the interfaces of `object`, the last attached first and the object
    /// itself at the end; true from the first that takes it. Null gives false.
    bool call(TRef<Object> const & object);

    NameLinkID name;
    VariableRef * result; ///< where a getter or method puts its result; may be null
    VRefVector * params;  ///< the arguments; may be null
    IDispatcher::CallType type;
};

/// The read of a property into the caller's handle.
struct PropertyGetParams : DispParams {
    PropertyGetParams(NameLinkID callName, VariableRef * callResult)
        : DispParams(callName, callResult, nullptr, IDispatcher::PropertyGet) {}
};

/// Carries the value in a vector of its own, whose one element aliases the caller's cell.
struct ONDREL_API PropertySetParams : DispParams {
    PropertySetParams(NameLinkID callName, VariableRef const & value);
    PropertySetParams(PropertySetParams const &) = delete;
    PropertySetParams & operator=(PropertySetParams const &) = delete;

  private:
    VRefVector values_;
};

} // namespace Tavlin
