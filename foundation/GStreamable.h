// The root of everything that can be saved. A class writes itself with write, reads itself back
// with read, and is found by its name when a stream has to build it.
#pragma once

#include "foundation/GObject.h"

class ipstream;
class opstream;

namespace ondrel_detail {
class ObjectTable;
}

/// The root of everything that can be saved.
class ONDREL_API GStreamable : public GObject {
    G_DECLARE_CLASS(GStreamable)
  public:
    /// The argument of the constructor that does nothing which a following read would repeat.
    using StreamableInit = GStreamableInit;
    static constexpr StreamableInit streamableInit = StreamableInit::streamableInit;

    GStreamable() = default;
    explicit GStreamable(StreamableInit) {}
    GStreamable(GStreamable const &) = default;
    GStreamable & operator=(GStreamable const &) = default;
    ~GStreamable() override {
        if (read_)
            leaveStreams();
    }

    /// Lets go of what the object owns while its most derived class is still in force; called
    /// before a delete by Destroy, and by the destructors of owning collections.
    virtual void shut_down();
    /// Reads what write wrote; the frame around it is the stream's business.
    virtual void read(ipstream & in) = 0;
    virtual void write(opstream & out) = 0;
    /// A deep copy, made through a memory stream; owned by the caller.
    virtual GStreamable * clone();

    /// False leaves the object out of streams: a pointer to it is written as null.
    bool shouldWrite() const { return shouldWrite_ != 0; }
    void shouldWrite(unsigned char value) { shouldWrite_ = value; }

    /// shut_down, then delete; null is tolerated.
    static void Destroy(GStreamable * object);
    static void destroy(GStreamable * object) { Destroy(object); }
    /// The same for `n` items that stand side by side, spaced by the size of one GStreamable.
    static void Destroy(unsigned int n, GStreamable * first);
    static void destroy(unsigned int n, GStreamable * first) { Destroy(n, first); }

    /// The time of a build, in hours on a calendar of 31-day months. It never enters a stream.
    static void SetVersionTime(int year, int month, int day, int hour);
    static void GetVersionTime(int & year, int & month, int & day, int & hour);
    static long GetVersionTime();
    /// The same number for now, from the local time.
    static long GetTickCount();

  private:
    friend class ondrel_detail::ObjectTable;
    void leaveStreams();

    unsigned char reserved_ = 0;
    unsigned char shouldWrite_ = 1;
    bool read_ = false; // a stream that was read may know the object
};
