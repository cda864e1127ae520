// What an object stream throws. Each exception enters its text in the emergency log as it is
// built, so that a failed load leaves a trace even where the host swallows the exception. The texts
// stand in the message table; without a load function for it (GLoadMessage) they are empty.
#pragma once

#include "foundation/GException.h"

#include <typeinfo>

class GMetaClass;

/// The root of the exceptions of streams: what was read is no stream, or not this one.
class ONDREL_API InvalidPStream_Exception : public GLibraryException {
  public:
    /// A text, or a message id when the pointer's value is below 0x10000.
    explicit InvalidPStream_Exception(char const * text);
    explicit InvalidPStream_Exception(unsigned int id);

  protected:
    /// For those below, which compose their text and then log it.
    InvalidPStream_Exception() = default;
    void log() const;
};

/// The state of a stream met its exception mask.
class ONDREL_API NonZeroPStreamState_Exception : public InvalidPStream_Exception {
  public:
    explicit NonZeroPStreamState_Exception(int state);
    /// The bits that were set.
    int state() const { return state_; }

  private:
    int state_;
};

/// A reference to an object that was not read before. In all of these `position` is where the
/// stream stood, -1 where the device cannot tell.
class ONDREL_API InvalidPStreamIndex_Exception : public InvalidPStream_Exception {
  public:
    InvalidPStreamIndex_Exception(std::type_info const & type, unsigned long index, long position);
};

/// A pointer that begins with none of 0, 1, 2.
class ONDREL_API InvalidPStreamMarker_Exception : public InvalidPStream_Exception {
  public:
    InvalidPStreamMarker_Exception(int marker, long position);
};

/// The data of an object did not begin as a frame does.
class ONDREL_API InvalidPStreamPrefix_Exception : public InvalidPStream_Exception {
  public:
    explicit InvalidPStreamPrefix_Exception(long position);
};

/// The data of an object did not end where its frame does.
class ONDREL_API InvalidPStreamSuffix_Exception : public InvalidPStream_Exception {
  public:
    InvalidPStreamSuffix_Exception(long position, GMetaClass const & metaClass);
    InvalidPStreamSuffix_Exception(long position, char const * className);
};

/// Not thrown by the frames, which skip an unknown class: for the `read` of classes and for hosts.
class ONDREL_API UnknownStreamableType_Exception : public InvalidPStream_Exception {
  public:
    explicit UnknownStreamableType_Exception(char const * className);
};

/// An object of a class that cannot be built by name.
class ONDREL_API AbstractClass_Exception : public InvalidPStream_Exception {
  public:
    explicit AbstractClass_Exception(GMetaClass const & metaClass);
};

/// A frame of a form that is read no more.
class ONDREL_API OldPrefix_Exception : public InvalidPStream_Exception {
  public:
    OldPrefix_Exception();
};

/// Not thrown by the frames: for the `read` of classes that gave up a version.
class ONDREL_API OldVersionOfClass_Exception : public InvalidPStream_Exception {
  public:
    OldVersionOfClass_Exception(unsigned int version, std::type_info const & type);
};

/// An object of another class than the reader asked for. The text names the object's own class
/// first, the asked one second.
class ONDREL_API NotBaseClass_Exception : public InvalidPStream_Exception {
  public:
    NotBaseClass_Exception(std::type_info const & asked, std::type_info const & own, long position);
};

/// The streamed form of a file name that holds an unknown piece.
class ONDREL_API GFileReadError_Exception : public InvalidPStream_Exception {
  public:
    GFileReadError_Exception();
};
