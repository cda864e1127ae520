// Values and whole objects as text and back: for dumps, and for small data written by hand. It is
// the only place where a value is converted from or to text.
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"
#include "tavlinbase/DynamicVariable.h"

#include <iosfwd>

namespace Tavlin {

/// Static functions: values and objects to text and back.
class ONDREL_API DispatcherTextIO {
  public:
    /// Flags.
    enum : int {
        WithTypes = 1, ///< FLOAT( 1.5 ) in place of 1.5
        Grouped = 2    ///< blocks in braces in place of dotted names
    };

    /// The text of one value; arrays that contain arrays are followed to a depth of 64.
    static GString VarToString(_Variable const & value, int flags);
    /// Writes the readable names of `object` and of the objects below it, each line behind `indent`
    /// blanks. An object inside itself is not entered again.
    static void OutputVariables(std::ostream & out, TRef<Object> object, int flags, int indent);
    /// The value that `text` shows; UNDEFINED lets the text tell its kind. What has no text form,
    /// or does not tell, gives an empty handle.
    static VariableRef InputVariable(char const * text, VariableTypes kind);
    /// Reads what the grouped form shows, and writes the values into the objects by their names.
    static void InputGroupedVariables(char const * text, TRef<Object> object);
};

} // namespace Tavlin
