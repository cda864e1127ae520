// Whole objects in a stream. An object stands between a prefix and a suffix that hold the name of
// its class, and the suffix holds its length, so that a reader without the class finds the end. A
// pointer is a marker byte and then nothing, a number, or a framed object.
#include "foundation/GMetaClass.h"
#include "foundation/GStreamable.h"
#include "persistence/PStreamExceptions.h"
#include "persistence/pstream.h"

#include "diagnostics/GEmergencyLog.h"

#include <algorithm>
#include <bit>

namespace {

constexpr unsigned char prefix[4] = {0xB1, 0xB5, 0x0F, 0xCF};
constexpr unsigned char suffix[4] = {0xEF, 0x80, 0x4A, 0x29};
constexpr signed char nullMarker = ipstream::NullPointer;
constexpr signed char indexMarker = ipstream::KnownObject;
constexpr signed char objectMarker = ipstream::NewObject;
constexpr std::uint32_t longIndex = 0xFFFF;

void littleEndian(std::uint32_t value, unsigned char (&bytes)[4]) {
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

/// A slot for a name in a small table. Names share their beginnings (namespaces) and their
/// endings, rarely both and the length.
std::size_t mix(char const * name, std::size_t length) {
    std::uint64_t head = 0, tail = 0;
    std::size_t const taken = std::min<std::size_t>(length, 8);
    std::memcpy(&head, name, taken);
    std::memcpy(&tail, name + length - taken, taken);
    return ((head ^ std::rotl(tail, 23) ^ length) * 0x9E3779B97F4A7C15u) >> 58;
}

} // namespace

// Writing.

/// Little-endian whatever the order of the stream.
void opstream::putLittleEndian(std::uint32_t value) {
    unsigned char bytes[4];
    littleEndian(value, bytes);
    writeBytes(bytes, 4);
}

void opstream::putIndex(std::uint32_t index) {
    if (index < longIndex) {
        writeWord(static_cast<unsigned short>(index));
        return;
    }
    writeWord(static_cast<unsigned short>(longIndex));
    writeDWord(index);
}

void opstream::writeStreamable(GStreamable & object) {
    NestingGuard const nesting(*this);
    unsigned long const start = countOfWrittenBytes_;
    char const * const name = object.shouldWrite() ? object.getMetaClass().getName() : nullptr;
    writeBytes(prefix, 4);
    writeString(name);
    if (name) {
        pointers_.insert(&object);
        object.write(*this);
    }
    writeBytes(suffix, 4);
    putLittleEndian(static_cast<std::uint32_t>(countOfWrittenBytes_ - start));
    writeString(name);
}

void opstream::writePointer(GStreamable * object, bool force) {
    if (!object || !object->shouldWrite()) {
        writeByte(nullMarker);
        return;
    }
    if (!force) {
        if (std::uint32_t const index = pointers_.find(object)) {
            writeByte(indexMarker);
            putIndex(index);
            return;
        }
    }
    GMetaClass const & metaClass = object->getMetaClass();
    if (!metaClass.getBuilder())
        throw AbstractClass_Exception(metaClass);
    writeByte(objectMarker);
    writeStreamable(*object);
}

void opstream::registerStaticObjectToWrite(GStreamable & object) {
    std::uint32_t index = pointers_.find(&object);
    if (!index)
        index = pointers_.insert(&object);
    writeByte(indexMarker);
    putIndex(index);
}

long opstream::seekp(long offset, GIO::IOSeekDirection direction) {
    long const now = rdbuf() ? rdbuf()->gseek(offset, direction) : -1;
    if (now < 0) {
        setstate(WriteFailedBit);
        return -1;
    }
    pointers_.clear();
    countOfWrittenBytes_ = 0;
    return now;
}

long opstream::tellp() {
    long const now = position();
    if (now < 0)
        setstate(WriteFailedBit);
    return now;
}

// Reading.

/// Holds for the time of a `read`.
class ipstream::ReadingGuard {
  public:
    ReadingGuard(ipstream & stream, GMetaClass const * metaClass)
        : stream_(stream), former_(stream.metaclassOfReadingObject_) {
        stream_.metaclassOfReadingObject_ = metaClass;
    }
    ~ReadingGuard() { stream_.metaclassOfReadingObject_ = former_; }
    ReadingGuard(ReadingGuard const &) = delete;
    ReadingGuard & operator=(ReadingGuard const &) = delete;

  private:
    ipstream & stream_;
    GMetaClass const * former_;
};

/// Holds from the time that an object is built until it has been read.
class ipstream::BuildingGuard {
  public:
    BuildingGuard() = default;
    void begin(GStreamable & built) {
        if (ondrel_detail::g_readingCare.begin)
            care_ = ondrel_detail::g_readingCare.begin(built);
    }
    ~BuildingGuard() {
        if (care_)
            ondrel_detail::g_readingCare.end(care_, whole_);
    }
    BuildingGuard(BuildingGuard const &) = delete;
    BuildingGuard & operator=(BuildingGuard const &) = delete;
    void done() { whole_ = true; }

  private:
    void * care_ = nullptr;
    bool whole_ = false;
};

/// Holds for the time that an object is read which stands in no other one.
class ipstream::KeepingGuard {
  public:
    explicit KeepingGuard(bool outermost)
        : keeps_(outermost && ondrel_detail::g_readingCare.keepAll) {
        if (keeps_)
            ondrel_detail::g_readingCare.keepAll();
    }
    ~KeepingGuard() {
        if (keeps_)
            ondrel_detail::g_readingCare.endKeeping();
    }
    KeepingGuard(KeepingGuard const &) = delete;
    KeepingGuard & operator=(KeepingGuard const &) = delete;

  private:
    bool keeps_;
};

GMetaClass const * ipstream::find_class(char const * name) {
    if (!name)
        return nullptr;
    if (registryVersion_ != GMetaClass::RegistryVersion()) {
        knownClasses_.fill(KnownClass());
        registryVersion_ = GMetaClass::RegistryVersion();
    }
    std::size_t const length = std::strlen(name);
    KnownClass & known = knownClasses_[mix(name, length)];
    if (known.metaClass && known.length == length &&
        std::memcmp(known.metaClass->getName(), name, length) == 0)
        return known.metaClass;
    GMetaClass const * const found = GMetaClass::FindByName(name);
    if (found)
        known = {found, length};
    return found;
}

std::uint32_t ipstream::readIndex() {
    std::uint32_t const index = get<std::uint16_t>();
    return index == longIndex ? get<std::uint32_t>() : index;
}

void * ipstream::readPointer(std::type_info const & type) {
    auto const marker = static_cast<signed char>(readByte());
    void * result = nullptr;
    switch (marker) {
        case nullMarker:
            break;
        case indexMarker: {
            std::uint32_t const index = readIndex();
            GStreamable * const object = objects_.find(index);
            if (!object)
                throw InvalidPStreamIndex_Exception(type, index, position());
            result = object->cast_to_(type);
            if (!result)
                throw NotBaseClass_Exception(type, object->getMetaClass().getTypeInfo(),
                                             position());
            break;
        }
        case objectMarker:
            result = readObject(nullptr, type);
            break;
        default:
            lastPointerMarker_ = marker;
            throw InvalidPStreamMarker_Exception(marker, position());
    }
    lastPointerMarker_ = marker;
    return result;
}

void ipstream::readStreamable(GStreamable & object) {
    readObject(&object, typeid(GStreamable));
}

void * ipstream::readObject(GStreamable * existing, std::type_info const & type) {
    auto const start = static_cast<std::uint32_t>(countOfReadBytes_);
    Format const format = readPrefix();
    return readBody({start, format}, existing, type);
}

ipstream::Format ipstream::readPrefix() {
    unsigned char magic[4] = {readByte()};
    switch (magic[0]) {
        case '{':
            return Format::Braces;
        case '[':
            throw OldPrefix_Exception();
        case prefix[0]:
            readBytes(magic + 1, 3);
            break;
        default:
            break;
    }
    if (!std::equal(magic, magic + 4, prefix))
        throw InvalidPStreamPrefix_Exception(position());
    return Format::Current;
}

/// The rest of an object whose prefix was read.
void * ipstream::readBody(Frame const & frame, GStreamable * existing,
                          std::type_info const & type) {
    NestingGuard const nesting(*this);
    // In this order: what ends with the keeping may have held the object that is handed out.
    BuildingGuard building;
    KeepingGuard const keeping(nesting.isOutermost());
    bool const named = readName();
    GMetaClass const * const metaClass = named ? find_class(name_.data()) : nullptr;
    if (!metaClass) {
        if (named || !existing)
            skipObject(frame.start, named ? GString(name_.data()) : GString());
        else
            readSuffix(frame, "");
        return nullptr;
    }
    void * result = nullptr;
    GStreamable * const object = existing ? existing : buildObject(*metaClass);
    result = object->cast_to_(type);
    if (!result) {
        std::type_info const & own = object->getMetaClass().getTypeInfo();
        if (!existing)
            object->destroyThis();
        throw NotBaseClass_Exception(type, own, position());
    }
    objects_.append(object);
    if (!existing)
        building.begin(*object);
    {
        ReadingGuard const reading(*this, metaClass);
        object->read(*this);
    }
    readSuffix(frame, metaClass->getName());
    building.done();
    return result;
}

GStreamable * ipstream::buildObject(GMetaClass const & metaClass) {
    GRTTIObject * const built = metaClass.buildObject();
    if (GStreamable * const object = gcast<GStreamable>(built))
        return object;
    metaClass.destroyObject(built);
    throw AbstractClass_Exception(metaClass);
}

void ipstream::readSuffix(Frame const & frame, char const * className) {
    if (frame.format == Format::Braces) {
        if (readByte() != ']')
            throw InvalidPStreamSuffix_Exception(position(), className);
        return;
    }
    unsigned char ignored[4], length[4], expected[4];
    readBytes(ignored, 4);
    littleEndian(bytesSince(frame.start), expected);
    readBytes(length, 4);
    if (!std::equal(length, length + 4, expected))
        throw InvalidPStreamSuffix_Exception(position(), className);
    skipString();
}

/// Reads on while the bytes are the wanted ones. Otherwise false, and `broken` is the byte that
/// did not fit: -1 at the end of the stream.
bool ipstream::match(unsigned char const * bytes, int count, int & broken) {
    for (int i = 0; i < count; ++i) {
        broken = nextByte();
        if (broken != bytes[i])
            return false;
    }
    return true;
}

namespace {

/// Holds an object that counts who holds it; one that nobody has taken by then ends with this. Null
/// for one that does not count.
std::shared_ptr<void const> held(GStreamable & object) {
    auto const & care = ondrel_detail::g_readingCare;
    void * const cared = care.begin ? care.begin(object) : nullptr;
    if (!cared)
        return nullptr;
    return std::shared_ptr<void const>(
        cared, [cared](void const *) { ondrel_detail::g_readingCare.end(cared, false); });
}

} // namespace

/// Steps over the data of an object of an unknown class and over its suffix. The objects in it
/// are read, since later references may mean them. The end of the stream is an end, too.
void ipstream::skipObject(std::uint32_t start, GString const & name) {
    GEmergencyLog::Get().put_warning(GString::Format("Skipping object %s", name.c_str()).c_str(),
                                     nullptr, 0);
    int byte = nextByte();
    while (byte >= 0) {
        if (byte == prefix[0]) {
            if (!match(prefix + 1, 3, byte))
                continue;
            void * const inner =
                readBody({static_cast<std::uint32_t>(countOfReadBytes_) - 4, Format::Current},
                         nullptr, typeid(GStreamable));
            if (auto holder = inner ? held(*static_cast<GStreamable *>(inner)) : nullptr)
                keep(std::move(holder));
        } else if (byte == suffix[0]) {
            if (!match(suffix + 1, 3, byte))
                continue;
            unsigned char length[4];
            littleEndian(bytesSince(start), length);
            if (!match(length, 4, byte))
                continue;
            skipString();
            return;
        }
        byte = nextByte();
    }
}

void ipstream::registerStaticObjectToRead(GStreamable & object) {
    auto const marker = static_cast<signed char>(readByte());
    if (marker != indexMarker)
        throw InvalidPStreamMarker_Exception(marker, position());
    if (!objects_.find(readIndex()))
        objects_.append(&object);
}

void ipstream::replaceRegistredStreamable(GStreamable * former, GStreamable * object) {
    // An object that is merged away has just been read, so it stands near the end.
    for (long i = objects_.getCount() - 1; i >= 0; --i) {
        if (objects_.at(i) != former)
            continue;
        objects_.put(i, object);
        return;
    }
}

char * ipstream::read_class_name_from_pointer() {
    return readByte() == objectMarker ? read_class_name_from_reference() : nullptr;
}

char * ipstream::read_class_name_from_reference() {
    unsigned char magic[4] = {readByte()};
    if (magic[0] == '{')
        return readString();
    if (magic[0] != prefix[0])
        return nullptr;
    readBytes(magic + 1, 3);
    return std::equal(magic, magic + 4, prefix) ? readString() : nullptr;
}

long ipstream::seekg(long offset, GIO::IOSeekDirection direction) {
    long const now = rdbuf() ? rdbuf()->gseek(offset, direction) : -1;
    if (now < 0) {
        setstate(ReadFailedBit);
        return -1;
    }
    objects_.clear();
    kept_.clear();
    countOfReadBytes_ = 0;
    return now;
}

long ipstream::tellg() {
    long const now = position();
    if (now < 0)
        setstate(ReadFailedBit);
    return now;
}
