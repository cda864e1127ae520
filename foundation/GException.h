// The exceptions of the library: plain values, thrown and caught by value, each with a text. The
// texts of the library's own failures stand in a message table that is reached by number through
// the load functions of GString; a host makes it known with one call,
// GString::AddLoadStringFunc(GLoadMessage, nullptr).
#pragma once

#include "foundation/GString.h"
#include "platform/Export.h"

#include <cstdarg>

/// The root of everything that the library throws.
class ONDREL_API GException {
  public:
    GException() = default;
    GException(GException const &) = default;
    GException & operator=(GException const &) = default;
    virtual ~GException() = default;
};

/// An exception with a text: what a host catches.
class ONDREL_API GLibraryException : public GException {
  public:
    /// A text, or a message id when the pointer's value is below 0x10000.
    GLibraryException(char const * text);
    /// Message `id`; empty when no load function knows it.
    GLibraryException(unsigned int id);
    ~GLibraryException() override;

    GString const & getMessage() const { return message_; }
    /// Replace the text by the formatted result.
    void message(char const * format, ...);
    void message(unsigned int id, ...);

  protected:
    GLibraryException() = default;
    void vmessage(char const * format, va_list arguments);

  private:
    GString message_;
};

/// For a host's new-handler; the library itself lets std::bad_alloc pass.
class ONDREL_API OutOfMemory_Exception : public GLibraryException {
  public:
    OutOfMemory_Exception();
};

/// Two classes of one name.
class ONDREL_API DuplicatedTypes_Exception : public GLibraryException {
  public:
    explicit DuplicatedTypes_Exception(char const * className);
    char const * className() const { return className_; }

  private:
    char const * className_;
};

/// What the two range exceptions have in common: the index and the range that it missed.
class ONDREL_API GIndexOutOfRange_Exception : public GLibraryException {
  public:
    long index() const { return index_; }
    long low() const { return low_; }
    long high() const { return high_; }

  protected:
    GIndexOutOfRange_Exception(unsigned int id, long index, long low, long high);

  private:
    long index_, low_, high_;
};

/// An index that a collection does not have.
class ONDREL_API GCollection_IndexOutOfRange_Exception : public GIndexOutOfRange_Exception {
  public:
    GCollection_IndexOutOfRange_Exception(long index, long low, long high);
};

/// An index that a vector does not have.
class ONDREL_API TGVector_IndexOutOfRange_Exception : public GIndexOutOfRange_Exception {
  public:
    TGVector_IndexOutOfRange_Exception(long index, long low, long high);
};

/// A file that must be there and is not.
class ONDREL_API FileIsAbsent_Exception : public GLibraryException {
  public:
    explicit FileIsAbsent_Exception(char const * fileName);
};

/// A file that is none of the kind it is taken for.
class ONDREL_API InvalidFileFormat_Exception : public GLibraryException {
  public:
    InvalidFileFormat_Exception();
    explicit InvalidFileFormat_Exception(char const * text);
};

/// A broken promise in the code itself. The library raises none; they serve code built upon it.
class ONDREL_API GDiagException : public GLibraryException {
  public:
    GDiagException(char const * kind, char const * expression, char const * file,
                   unsigned int line);
};

/// A check that failed.
class ONDREL_API GCheckException : public GDiagException {
  public:
    GCheckException(char const * expression, char const * file, unsigned int line);
};

/// A caller that broke a promise.
class ONDREL_API GPreconditionException : public GDiagException {
  public:
    GPreconditionException(char const * expression, char const * file, unsigned int line);
};

/// The library's message table in the form of a load function: copies as much of message `id` as
/// `size` bytes hold with their terminating zero, and returns how many characters that were; 0
/// for an unknown id. The last argument is not used.
ONDREL_API unsigned int GLoadMessage(unsigned int id, char * buffer, unsigned int size, void *);
