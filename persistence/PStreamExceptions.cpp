// The texts of the stream exceptions and their way to the emergency log.
#include "persistence/PStreamExceptions.h"

#include "diagnostics/GEmergencyLog.h"
#include "foundation/GMetaClass.h"

#include <cstring>

namespace {

/// The name that the class has in files; for a type without a description what the compiler says.
char const * nameOf(std::type_info const & type) {
    GMetaClass const * metaClass = GMetaClass::FindByTypeInfo(type);
    return metaClass ? metaClass->getClassIdentifier()->getName() : type.name();
}

/// Alternative `index` of a text that lists several with '|' between them.
GString alternative(char const * list, int index) {
    for (; index > 0; --index) {
        char const * const bar = std::strchr(list, '|');
        if (!bar)
            return GString();
        list = bar + 1;
    }
    return GString(list, static_cast<unsigned int>(std::strcspn(list, "|")));
}

} // namespace

InvalidPStream_Exception::InvalidPStream_Exception(char const * text) : GLibraryException(text) {
    log();
}

InvalidPStream_Exception::InvalidPStream_Exception(unsigned int id) : GLibraryException(id) {
    log();
}

void InvalidPStream_Exception::log() const {
    GEmergencyLog::Get().put_exception(getMessage().c_str(), nullptr, 0);
}

NonZeroPStreamState_Exception::NonZeroPStreamState_Exception(int state) : state_(state) {
    int const which = state & 4 ? 0 : state & 2 ? 1 : state & 1 ? 2 : 3;
    GString list;
    list.loadString(14);
    message("%s", alternative(list.c_str(), which).c_str());
    log();
}

InvalidPStreamIndex_Exception::InvalidPStreamIndex_Exception(std::type_info const & type,
                                                             unsigned long index, long position) {
    message(4u, index, nameOf(type), position);
    log();
}

InvalidPStreamMarker_Exception::InvalidPStreamMarker_Exception(int marker, long position) {
    message(5u, marker, position);
    log();
}

InvalidPStreamPrefix_Exception::InvalidPStreamPrefix_Exception(long position) {
    message(6u, position);
    log();
}

InvalidPStreamSuffix_Exception::InvalidPStreamSuffix_Exception(long position,
                                                               GMetaClass const & metaClass)
    : InvalidPStreamSuffix_Exception(position, metaClass.getName()) {}

InvalidPStreamSuffix_Exception::InvalidPStreamSuffix_Exception(long position,
                                                               char const * className) {
    message(8u, position, className);
    log();
}

UnknownStreamableType_Exception::UnknownStreamableType_Exception(char const * className) {
    message(7u, className);
    log();
}

AbstractClass_Exception::AbstractClass_Exception(GMetaClass const & metaClass) {
    message(9u, metaClass.getName());
    log();
}

OldPrefix_Exception::OldPrefix_Exception() : InvalidPStream_Exception(10u) {}

OldVersionOfClass_Exception::OldVersionOfClass_Exception(unsigned int version,
                                                         std::type_info const & type) {
    message(11u, version, nameOf(type));
    log();
}

NotBaseClass_Exception::NotBaseClass_Exception(std::type_info const & asked,
                                               std::type_info const & own, long position) {
    message(12u, nameOf(own), nameOf(asked), position);
    log();
}

GFileReadError_Exception::GFileReadError_Exception() : InvalidPStream_Exception(13u) {}
