// The one list of callbacks of all resource files, for the store's own files.
#pragma once

#include "foundation/GCallBackList.h"

namespace ondrel_detail {

/// Made at first use; who uses it to the end asks for it early.
GCallBackList & resourceFileCallbacks();

} // namespace ondrel_detail
