// Object streams: everything saved is a tree of objects, written through an opstream and read back
// through an ipstream. A stream carries plain values and framed objects; a pointer is written once
// and referred to by number from then on, and a reader that does not know a class steps over its
// frame. The bytes are the same on every platform: widths are fixed and the order is
// little-endian, unless the stream swaps. docs/object-stream.md shows every form.
//
// Nothing here throws for a device that fails: reading behind the end gives zeros and sets state
// bits, and the exception mask says which bits shall throw. A broken frame always throws
// (PStreamExceptions.h).
#pragma once

#include "foundation/GString.h"
#include "persistence/GBufferedIO.h"
#include "persistence/PStreamTables.h"
#include "platform/Export.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

class GMetaClass;
class GRTTIObject;
class GStreamable;

/// What all object streams have: a device, a state, and an order of bytes.
class ONDREL_API pstream {
  public:
    /// The order of bytes: little-endian on every platform, or the reverse of that.
    enum EndianType { NativeEndian = 0, SwappedEndian = 1 };
    /// Bits of the state.
    enum StateBits { EofBit = 1, ReadFailedBit = 2, WriteFailedBit = 4 };
    /// How deep objects may stand within each other at first.
    static constexpr int defaultNestingLimit = 10000;

    pstream(pstream const &) = delete;
    pstream & operator=(pstream const &) = delete;
    virtual ~pstream();

    int rdstate() const { return state_; }
    /// Single bits: nothing at all, the end was met, a read failed, a write failed.
    bool good() const { return state_ == 0; }
    bool eof() const { return (state_ & EofBit) != 0; }
    bool fail() const { return (state_ & ReadFailedBit) != 0; }
    bool bad() const { return (state_ & WriteFailedBit) != 0; }
    /// Looks at the two failure bits alone: the end of file by itself is no failure.
    explicit operator bool() const { return (state_ & (ReadFailedBit | WriteFailedBit)) == 0; }
    bool operator!() const { return !static_cast<bool>(*this); }

    /// Sets the state. Both throw NonZeroPStreamState_Exception with the bits of the argument when
    /// these meet the exception mask.
    void clear(int state = 0);
    /// Adds bits to the state.
    void setstate(int bits);
    /// The bits that throw when they are set; none at first.
    void generate_exception_on(int mask) { exceptionMask_ = mask; }
    int get_exception_mask() const { return exceptionMask_; }

    EndianType endian() const { return endian_; }
    /// Sets the order of the bytes in what follows; returns the former one.
    EndianType endian(EndianType type);
    bool need_swap_bytes() const { return endian_ != NativeEndian; }

    /// The deepest nesting of objects that this stream writes or reads. What goes beyond throws
    /// InvalidPStream_Exception "Objects are nested too deeply", and so does what the stack of the
    /// thread has no room for, whatever the limit.
    int nesting_limit() const { return nestingLimit_; }
    void nesting_limit(int limit) { nestingLimit_ = limit; }

    /// The device; null when there is none.
    GAbstractBufferedIO * rdbuf() const { return buffer_; }
    /// Flushes the device, and sets both failure bits when it shows an error.
    void flush();

  protected:
    /// What the reading and the writing half keep at hand: a virtual base is too far away to be
    /// asked for every value.
    struct Side {
        GAbstractBufferedIO * buffer = nullptr;
        bool swap = false;
    };

    pstream() = default;
    /// Puts the stream on a device, which stays the caller's; state and order stay as they are.
    void init(GAbstractBufferedIO * buffer);
    void joinReading(Side & side);
    void joinWriting(Side & side);

    /// Counts the objects that are open within each other.
    class NestingGuard {
      public:
        explicit NestingGuard(pstream & stream);
        ~NestingGuard() { --stream_.nesting_; }
        bool isOutermost() const { return stream_.nesting_ == 1; }
        NestingGuard(NestingGuard const &) = delete;
        NestingGuard & operator=(NestingGuard const &) = delete;

      private:
        pstream & stream_;
    };

    /// Where the device stands, for the texts of exceptions; leaves the state alone.
    long position() const;

  private:
    void share();

    GAbstractBufferedIO * buffer_ = nullptr;
    int state_ = 0;
    int exceptionMask_ = 0;
    EndianType endian_ = NativeEndian;
    int nesting_ = 0;
    int nestingLimit_ = defaultNestingLimit;
    Side * reading_ = nullptr;
    Side * writing_ = nullptr;
};

/// Sets the order of a stream for its life and then restores the former one.
class PStreamEndianSwitcher {
  public:
    PStreamEndianSwitcher(pstream & stream, pstream::EndianType type)
        : stream_(stream), former_(stream.endian(type)) {}
    ~PStreamEndianSwitcher() { stream_.endian(former_); }
    PStreamEndianSwitcher(PStreamEndianSwitcher const &) = delete;
    PStreamEndianSwitcher & operator=(PStreamEndianSwitcher const &) = delete;

  private:
    pstream & stream_;
    pstream::EndianType former_;
};

namespace ondrel_detail {

/// An unsigned value with its bytes as they stand in a stream, or back; its own inverse.
template <class T>
constexpr T wireOrder(T value, bool swap) {
    if (swap == (std::endian::native == std::endian::big))
        return value;
    if constexpr (sizeof(T) == 2)
        return static_cast<T>((value << 8) | (value >> 8));
    T swapped = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        swapped |= static_cast<T>((value >> (8 * i)) & 0xFF) << (8 * (sizeof(T) - 1 - i));
    return swapped;
}

} // namespace ondrel_detail

/// The writing half.
class ONDREL_API opstream : public virtual pstream {
  public:
    /// Writes to `buffer`, which stays the caller's.
    explicit opstream(GAbstractBufferedIO * buffer);
    ~opstream() override;

    void writeByte(unsigned char value) { put(value); }
    void writeWord(unsigned short value) { put(static_cast<std::uint16_t>(value)); }
    /// Always 4 bytes: the low 32 bits.
    void writeDWord(unsigned long value) { put(static_cast<std::uint32_t>(value)); }
    /// A number of 31 bits: 2 bytes when below 32768, otherwise 4.
    void compat_writeDWord(unsigned long value);

    opstream & operator<<(signed char value) { return byte(static_cast<unsigned char>(value)); }
    opstream & operator<<(unsigned char value) { return byte(value); }
    opstream & operator<<(char value) { return byte(static_cast<unsigned char>(value)); }
    opstream & operator<<(bool value) { return byte(value ? 1 : 0); }
    opstream & operator<<(short value) { return word(static_cast<unsigned short>(value)); }
    opstream & operator<<(unsigned short value) { return word(value); }
    opstream & operator<<(int value) { return dword(static_cast<unsigned long>(value)); }
    opstream & operator<<(unsigned int value) { return dword(value); }
    opstream & operator<<(long value) { return dword(static_cast<unsigned long>(value)); }
    opstream & operator<<(unsigned long value) { return dword(value); }
    opstream & operator<<(float value) {
        put(std::bit_cast<std::uint32_t>(value));
        return *this;
    }
    opstream & operator<<(double value) {
        put(std::bit_cast<std::uint64_t>(value));
        return *this;
    }
    /// The name of a class; null is allowed.
    opstream & operator<<(GMetaClass const * metaClass);
    /// Any other pointer would go as a bool: use writePointer or writeString.
    template <class T>
    opstream & operator<<(T const * pointer) = delete;

    /// Raw bytes, never swapped. All three return how many bytes or items were taken.
    long writeBytes(void const * data, long count);
    /// `count` items of `size` bytes, the bytes of each reversed when the stream swaps.
    long writeBytes(void const * items, unsigned int size, long count);
    long fillBytes(long count, unsigned char value);

    /// A text; null is allowed and comes back as null.
    void writeString(char const * text);
    void writeCharString(char const * text) { writeString(text); }
    void writeWideString(unsigned short const * text);

    /// An object in place: its frame and in it what its `write` gives.
    void writeStreamable(GStreamable & object);
    /// A reference: null, the number of an object that went through already, or the whole object.
    /// With `force` the object goes whole though it is known. Throws AbstractClass_Exception for an
    /// object that no reader could build.
    void writePointer(GStreamable * object, bool force = false);
    /// A reference to a long-lived object that the reader has as well; the object is not written.
    /// The reader calls registerStaticObjectToRead at the same place.
    void registerStaticObjectToWrite(GStreamable & object);

    /// Passes through to the device; -1 and the write bit when it fails. A seek that succeeds
    /// forgets all written objects: references cannot cross it.
    long seekp(long offset, GIO::IOSeekDirection direction = GIO::FromStart);
    long tellp();

    /// Bytes since the start or the last seek.
    unsigned long countOfWrittenBytes() const { return countOfWrittenBytes_; }

  protected:
    /// For a class that calls init itself.
    opstream();

  private:
    opstream & byte(unsigned char value) {
        put(value);
        return *this;
    }
    opstream & word(unsigned short value) {
        writeWord(value);
        return *this;
    }
    opstream & dword(unsigned long value) {
        writeDWord(value);
        return *this;
    }
    /// Takes `n` bytes of the device's window; null when there are not so many.
    unsigned char * room(long n) {
        GAbstractBufferedIO * const buffer = side_.buffer;
        if (!buffer)
            return nullptr;
        unsigned char * const at = buffer->getWCurrent();
        if (buffer->getWEnd() - at < n)
            return nullptr;
        buffer->setWCurrent(at + n);
        countOfWrittenBytes_ += static_cast<unsigned long>(n);
        return at;
    }
    template <class T>
    void put(T value) {
        value = ondrel_detail::wireOrder(value, side_.swap);
        if (unsigned char * const at = room(sizeof value))
            std::memcpy(at, &value, sizeof value);
        else
            writeBytes(&value, sizeof value);
    }
    void putLittleEndian(std::uint32_t value);
    void putIndex(std::uint32_t index);

    Side side_;
    unsigned long countOfWrittenBytes_ = 0;
    ondrel_detail::PointerTable pointers_;
};

/// The reading half. What stands in a stream is never trusted: a length takes no more memory than
/// what then arrives, and nesting has a limit.
class ONDREL_API ipstream : public virtual pstream {
  public:
    /// Reads from `buffer`, which stays the caller's.
    explicit ipstream(GAbstractBufferedIO * buffer);
    ~ipstream() override;

    unsigned char readByte() { return get<unsigned char>(); }
    unsigned short readWord() { return get<std::uint16_t>(); }
    unsigned long readDWord() { return get<std::uint32_t>(); }
    unsigned long compat_readDWord();

    ipstream & operator>>(signed char & value) { return to(value, readByte()); }
    ipstream & operator>>(unsigned char & value) { return to(value, readByte()); }
    ipstream & operator>>(char & value) { return to(value, readByte()); }
    ipstream & operator>>(bool & value) { return to(value, readByte() != 0); }
    ipstream & operator>>(short & value) { return to(value, readWord()); }
    ipstream & operator>>(unsigned short & value) { return to(value, readWord()); }
    ipstream & operator>>(int & value) { return to(value, get<std::uint32_t>()); }
    ipstream & operator>>(unsigned int & value) { return to(value, get<std::uint32_t>()); }
    ipstream & operator>>(long & value) {
        return to(value, static_cast<std::int32_t>(get<std::uint32_t>()));
    }
    ipstream & operator>>(unsigned long & value) { return to(value, get<std::uint32_t>()); }
    ipstream & operator>>(float & value) {
        return to(value, std::bit_cast<float>(get<std::uint32_t>()));
    }
    ipstream & operator>>(double & value) {
        return to(value, std::bit_cast<double>(get<std::uint64_t>()));
    }
    /// Null for an unknown class.
    ipstream & operator>>(GMetaClass const *& metaClass);

    /// Raw bytes; what is missing at the end of the stream is zero. All three return how many
    /// bytes or items there were.
    long readBytes(void * data, long count);
    long readBytes(void * items, unsigned int size, long count);
    long skipBytes(long count);

    /// A text in a new array that the caller frees with delete[]; null where null was written or
    /// the text cannot be converted. At the end of the stream it holds what had arrived.
    char * readString();
    char * readCharString() { return readString(); }
    unsigned short * readWideString();

    /// Reads an object in place, into `object`.
    void readStreamable(GStreamable & object);
    /// A reference, as a pointer to the class of `type`; null for a null reference and for an
    /// object of an unknown class. A new object is the caller's.
    void * readPointer(std::type_info const & type);
    template <class T>
    T * readPointer() {
        return static_cast<T *>(readPointer(typeid(T)));
    }
    void registerStaticObjectToRead(GStreamable & object);
    /// From now on the number of `former` stands for `object`: for one that was merged away.
    void replaceRegistredStreamable(GStreamable * former, GStreamable * object);

    /// The class name of the object that follows, in a new array; null when there is none. They do
    /// not throw, and the stream then stands behind what was read.
    char * read_class_name_from_pointer();
    char * read_class_name_from_reference();

    /// Passes through to the device; -1 and the read bit when it fails. A seek that succeeds
    /// forgets all objects that were read.
    long seekg(long offset, GIO::IOSeekDirection direction = GIO::FromStart);
    long tellg();

    /// The class with that name in the stream, or null. Replace it to map names.
    virtual GMetaClass const * find_class(char const * name);

    /// The class as which the innermost object is being read; null outside.
    GMetaClass const * metaclassOfReadingObject() const { return metaclassOfReadingObject_; }
    /// Bytes since the start or the last seek.
    unsigned long countOfReadBytes() const { return countOfReadBytes_; }
    /// What the first byte of a reference tells: that it is null, goes by number, or is a whole
    /// object.
    enum PointerMarker { NullPointer = 0, KnownObject = 1, NewObject = 2 };
    /// The first byte of the last reference.
    int lastPointerMarker() const { return lastPointerMarker_; }
    /// The objects read so far in the order of their numbers; one that has ended is null. The
    /// stream owns none of them. When a load throws, the counted ones that nobody holds end by
    /// themselves; a host can end the others.
    long getObjectCount() const { return objects_.getCount(); }
    GStreamable * getObject(long index) const { return objects_.at(index); }
    /// Keeps something alive as long as numbers may lead to it: until the next seek, or the end of
    /// the stream.
    void keep(std::shared_ptr<void const> held) { kept_.push_back(std::move(held)); }

  protected:
    /// For a class that calls init itself.
    ipstream();

  private:
    enum class Format { Current, Braces };
    struct Frame {
        std::uint32_t start;
        Format format;
    };
    struct KnownClass {
        GMetaClass const * metaClass = nullptr;
        std::size_t length = 0;
    };
    class ReadingGuard;
    class BuildingGuard;
    class KeepingGuard;

    template <class T, class Value>
    ipstream & to(T & target, Value value) {
        target = static_cast<T>(value);
        return *this;
    }
    /// Takes `n` bytes out of the device's window; null when there are not so many.
    unsigned char const * arrived(long n) {
        GAbstractBufferedIO * const buffer = side_.buffer;
        if (!buffer)
            return nullptr;
        unsigned char * const at = buffer->getRCurrent();
        if (buffer->getREnd() - at < n)
            return nullptr;
        buffer->setRCurrent(at + n);
        countOfReadBytes_ += static_cast<unsigned long>(n);
        return at;
    }
    template <class T>
    T get() {
        T value;
        if (unsigned char const * const at = arrived(sizeof value))
            std::memcpy(&value, at, sizeof value);
        else
            readBytes(&value, sizeof value);
        return ondrel_detail::wireOrder(value, side_.swap);
    }
    int nextByte();
    bool match(unsigned char const * bytes, int count, int & broken);
    std::uint32_t readIndex();
    std::uint64_t skip(std::uint64_t count);

    struct StringHead;
    StringHead readStringHead();
    std::vector<unsigned char> readGrowing(std::uint64_t bytes);
    char * narrow(StringHead const & head);
    bool readName();
    void skipString();

    void * readObject(GStreamable * existing, std::type_info const & type);
    Format readPrefix();
    void * readBody(Frame const & frame, GStreamable * existing, std::type_info const & type);
    GStreamable * buildObject(GMetaClass const & metaClass);
    void readSuffix(Frame const & frame, char const * className);
    void skipObject(std::uint32_t start, GString const & name);
    std::uint32_t bytesSince(std::uint32_t start) const {
        return static_cast<std::uint32_t>(countOfReadBytes_) - start;
    }

    Side side_;
    unsigned long countOfReadBytes_ = 0;
    // In front of the table: what ends after it has nothing to be taken out of.
    std::vector<std::shared_ptr<void const>> kept_;
    ondrel_detail::ObjectTable objects_;
    GMetaClass const * metaclassOfReadingObject_ = nullptr;
    int lastPointerMarker_ = 0;
    /// The name that was read last, with its terminating zero.
    std::vector<char> name_;
    /// What find_class answered, by a mixture of the name; true while the registry is unchanged.
    std::array<KnownClass, 64> knownClasses_;
    unsigned long registryVersion_ = 0;
    friend ONDREL_API ipstream & operator>>(ipstream & in, GString & text);
};

/// Both halves on one device. Each keeps its own table, so what was written is read back after a
/// seek.
class ONDREL_API iopstream : public ipstream, public opstream {
  public:
    explicit iopstream(GAbstractBufferedIO * buffer);
    ~iopstream() override;

  protected:
    iopstream();
};

ONDREL_API opstream & operator<<(opstream & out, GString const & text);
ONDREL_API ipstream & operator>>(ipstream & in, GString & text);
