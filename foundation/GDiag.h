// The diagnostics file: a plain text file that code may write to at any time, opened at first use.
#pragma once

#include "platform/Export.h"

#include <iosfwd>

/// Names the file, at most 255 characters; null or an empty name selects "gdiag.out". The stream
/// is closed, so that the next use opens the new file.
ONDREL_API void GDiagSetFileName(char const * name);
/// The stream, opened if it is not.
ONDREL_API std::ostream & GDiagStream();
/// The same with "file function line: " written to it.
ONDREL_API std::ostream & GDiagStream(char const * file, char const * function, unsigned int line);
