// The texts of the exceptions, by their numbers in the message table.
#include "foundation/GException.h"

GLibraryException::GLibraryException(char const * text) : message_(text) {}

GLibraryException::GLibraryException(unsigned int id) {
    message_.loadString(id);
}

GLibraryException::~GLibraryException() = default;

void GLibraryException::message(char const * format, ...) {
    va_list arguments;
    va_start(arguments, format);
    message_.vformat(format, arguments);
    va_end(arguments);
}

void GLibraryException::message(unsigned int id, ...) {
    va_list arguments;
    va_start(arguments, id);
    message_.vformat(id, arguments);
    va_end(arguments);
}

void GLibraryException::vmessage(char const * format, va_list arguments) {
    message_.vformat(format, arguments);
}

OutOfMemory_Exception::OutOfMemory_Exception() : GLibraryException(1u) {}

DuplicatedTypes_Exception::DuplicatedTypes_Exception(char const * className)
    : className_(className) {
    message(3u, className);
}

GIndexOutOfRange_Exception::GIndexOutOfRange_Exception(unsigned int id, long index, long low,
                                                       long high)
    : index_(index), low_(low), high_(high) {
    message(id, index, low, high);
}

GCollection_IndexOutOfRange_Exception::GCollection_IndexOutOfRange_Exception(long index, long low,
                                                                             long high)
    : GIndexOutOfRange_Exception(2u, index, low, high) {}

TGVector_IndexOutOfRange_Exception::TGVector_IndexOutOfRange_Exception(long index, long low,
                                                                       long high)
    : GIndexOutOfRange_Exception(15u, index, low, high) {}

FileIsAbsent_Exception::FileIsAbsent_Exception(char const * fileName) {
    message(16u, fileName);
}

InvalidFileFormat_Exception::InvalidFileFormat_Exception() : GLibraryException(17u) {}

InvalidFileFormat_Exception::InvalidFileFormat_Exception(char const * text)
    : GLibraryException(text) {}

GDiagException::GDiagException(char const * kind, char const * expression, char const * file,
                               unsigned int line) {
    message("%s failure: '%s'\non line %u in file '%s'", kind, expression, line, file);
}

GCheckException::GCheckException(char const * expression, char const * file, unsigned int line)
    : GDiagException("Check", expression, file, line) {}

GPreconditionException::GPreconditionException(char const * expression, char const * file,
                                               unsigned int line)
    : GDiagException("Precondition", expression, file, line) {}
