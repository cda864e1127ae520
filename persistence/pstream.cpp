// The plain side of object streams: states, bytes, numbers and texts. What concerns whole objects
// stands in pstreamObjects.cpp.
#include "persistence/pstream.h"

#include "foundation/GMetaClass.h"
#include "persistence/PStreamExceptions.h"
#include "platform/Stack.h"

#include <algorithm>
#include <climits>
#include <cwchar>

namespace {

constexpr unsigned short nullString = 0xFFFF;
constexpr unsigned short longString = 0xFFFE;
constexpr std::uint32_t sizedString = 0xFFFFFFFF;
constexpr unsigned short nullClass = 0x0FFF;
constexpr long pieceSize = 4096;

long atMost(std::uint64_t count, long limit) {
    return count < static_cast<std::uint64_t>(limit) ? static_cast<long>(count) : limit;
}

/// 8-bit text from 16-bit characters by the run-time's conversion; empty when one has no form in
/// the current locale. A pair of surrogates is one character where wchar_t can hold it.
bool toNarrow(std::vector<unsigned short> const & wide, std::vector<char> & out) {
    std::mbstate_t state{};
    char bytes[MB_LEN_MAX];
    for (std::size_t i = 0; i < wide.size() && wide[i]; ++i) {
        std::uint32_t code = wide[i];
        if (sizeof(wchar_t) > 2 && (code & 0xFC00) == 0xD800 && i + 1 < wide.size() &&
            (wide[i + 1] & 0xFC00) == 0xDC00)
            code = 0x10000 + ((code & 0x3FF) << 10) + (wide[++i] & 0x3FFu);
        std::size_t const length = std::wcrtomb(bytes, static_cast<wchar_t>(code), &state);
        if (length == static_cast<std::size_t>(-1))
            return false;
        out.insert(out.end(), bytes, bytes + length);
    }
    return true;
}

bool toWide(std::vector<unsigned char> const & narrow, std::vector<unsigned short> & out) {
    std::mbstate_t state{};
    auto const * at = reinterpret_cast<char const *>(narrow.data());
    char const * const end = at + narrow.size();
    while (at < end && *at) {
        wchar_t character = 0;
        std::size_t const length =
            std::mbrtowc(&character, at, static_cast<std::size_t>(end - at), &state);
        if (length > static_cast<std::size_t>(end - at))
            return false;
        at += length;
        auto const code = static_cast<std::uint32_t>(character);
        if (code > 0xFFFF) {
            out.push_back(static_cast<unsigned short>(0xD800 + ((code - 0x10000) >> 10)));
            out.push_back(static_cast<unsigned short>(0xDC00 + (code & 0x3FF)));
        } else {
            out.push_back(static_cast<unsigned short>(code));
        }
    }
    return true;
}

std::vector<unsigned short> charactersOf(std::vector<unsigned char> const & bytes) {
    std::vector<unsigned short> wide(bytes.size() / 2);
    for (std::size_t i = 0; i < wide.size(); ++i)
        wide[i] = static_cast<unsigned short>(bytes[2 * i] | bytes[2 * i + 1] << 8);
    return wide;
}

/// The caller's own array, with a terminating zero.
template <class Character, class Items>
Character * terminated(Items const & items) {
    auto * const text = new Character[items.size() + 1];
    std::copy(items.begin(), items.end(), text);
    text[items.size()] = 0;
    return text;
}

} // namespace

pstream::~pstream() = default;

void pstream::clear(int state) {
    state_ = state;
    if (state & exceptionMask_)
        throw NonZeroPStreamState_Exception(state);
}

void pstream::setstate(int bits) {
    state_ |= bits;
    if (bits & exceptionMask_)
        throw NonZeroPStreamState_Exception(bits);
}

pstream::EndianType pstream::endian(EndianType type) {
    EndianType const former = endian_;
    endian_ = type;
    share();
    return former;
}

void pstream::flush() {
    if (buffer_)
        buffer_->flush();
    if (!buffer_ || buffer_->getError() != GIO::NoError)
        setstate(ReadFailedBit | WriteFailedBit);
}

void pstream::init(GAbstractBufferedIO * buffer) {
    buffer_ = buffer;
    share();
}

void pstream::joinReading(Side & side) {
    reading_ = &side;
    share();
}

void pstream::joinWriting(Side & side) {
    writing_ = &side;
    share();
}

void pstream::share() {
    for (Side * const side : {reading_, writing_})
        if (side)
            *side = {buffer_, need_swap_bytes()};
}

long pstream::position() const {
    return buffer_ ? buffer_->gtell() : -1;
}

pstream::NestingGuard::NestingGuard(pstream & stream) : stream_(stream) {
    if (stream_.nesting_ >= stream_.nestingLimit_ || platform::stackIsLow())
        throw InvalidPStream_Exception("Objects are nested too deeply");
    ++stream_.nesting_;
}

// Writing.

opstream::opstream() {
    joinWriting(side_);
}

opstream::opstream(GAbstractBufferedIO * buffer) : opstream() {
    init(buffer);
}

opstream::~opstream() = default;

void opstream::compat_writeDWord(unsigned long value) {
    if (value < 32768) {
        writeWord(static_cast<unsigned short>(value));
        return;
    }
    writeWord(
        static_cast<unsigned short>((((value >> 24) & 0x7F) | 0x80) << 8 | ((value >> 16) & 0xFF)));
    writeWord(static_cast<unsigned short>(value & 0xFFFF));
}

long opstream::writeBytes(void const * data, long count) {
    if (count <= 0)
        return 0;
    if (unsigned char * const at = room(count)) {
        std::memcpy(at, data, static_cast<std::size_t>(count));
        return count;
    }
    long const done = side_.buffer ? std::max(side_.buffer->gwrite(data, count), 0L) : 0;
    countOfWrittenBytes_ += static_cast<unsigned long>(done);
    if (done < count)
        setstate(WriteFailedBit);
    return done;
}

long opstream::writeBytes(void const * items, unsigned int size, long count) {
    auto const * at = static_cast<unsigned char const *>(items);
    if (size == 0 || count <= 0)
        return std::max(count, 0L);
    if (!side_.swap && count <= LONG_MAX / static_cast<long>(size))
        return writeBytes(items, count * static_cast<long>(size)) / static_cast<long>(size);
    for (long done = 0; done < count; ++done, at += size) {
        long written = 0;
        if (side_.swap && size >= 2)
            for (unsigned int i = size; i > 0; --i)
                written += writeBytes(at + i - 1, 1);
        else
            written = writeBytes(at, static_cast<long>(size));
        if (written < static_cast<long>(size))
            return done;
    }
    return count;
}

long opstream::fillBytes(long count, unsigned char value) {
    unsigned char piece[pieceSize];
    std::memset(piece, value, sizeof piece);
    long done = 0;
    while (done < count) {
        long const wanted = std::min(count - done, pieceSize);
        long const written = writeBytes(piece, wanted);
        done += written;
        if (written < wanted)
            break;
    }
    return done;
}

void opstream::writeString(char const * text) {
    if (!text) {
        writeWord(nullString);
        return;
    }
    std::size_t const length = std::strlen(text);
    if (length < longString) {
        writeWord(static_cast<unsigned short>(length));
    } else {
        writeWord(longString);
        writeDWord(static_cast<unsigned long>(length));
    }
    writeBytes(text, static_cast<long>(length));
}

void opstream::writeWideString(unsigned short const * text) {
    if (!text) {
        writeWord(nullString);
        return;
    }
    std::size_t length = 0;
    while (text[length])
        ++length;
    writeWord(longString);
    writeDWord(sizedString);
    writeByte(2);
    writeDWord(static_cast<unsigned long>(length));
    for (std::size_t i = 0; i < length; ++i) {
        writeByte(static_cast<unsigned char>(text[i]));
        writeByte(static_cast<unsigned char>(text[i] >> 8));
    }
}

opstream & opstream::operator<<(GMetaClass const * metaClass) {
    if (!metaClass)
        return word(nullClass);
    std::size_t const length = std::strlen(metaClass->getName());
    writeWord(static_cast<unsigned short>(length));
    writeBytes(metaClass->getName(), static_cast<long>(length));
    return *this;
}

opstream & operator<<(opstream & out, GString const & text) {
    out.writeString(text.c_str());
    return out;
}

// Reading.

ipstream::ipstream() {
    joinReading(side_);
}

ipstream::ipstream(GAbstractBufferedIO * buffer) : ipstream() {
    init(buffer);
}

ipstream::~ipstream() = default;

unsigned long ipstream::compat_readDWord() {
    unsigned long const word = readWord();
    return word < 32768 ? word : (word & 0x7FFF) << 16 | readWord();
}

long ipstream::readBytes(void * data, long count) {
    if (count <= 0)
        return 0;
    if (unsigned char const * const at = arrived(count)) {
        std::memcpy(data, at, static_cast<std::size_t>(count));
        return count;
    }
    long const done = side_.buffer ? std::max(side_.buffer->gread(data, count), 0L) : 0;
    countOfReadBytes_ += static_cast<unsigned long>(done);
    if (done < count) {
        std::memset(static_cast<char *>(data) + done, 0, static_cast<std::size_t>(count - done));
        setstate(EofBit | ReadFailedBit);
    }
    return done;
}

long ipstream::readBytes(void * items, unsigned int size, long count) {
    auto * at = static_cast<unsigned char *>(items);
    if (size == 0 || count <= 0)
        return std::max(count, 0L);
    if (!side_.swap && count <= LONG_MAX / static_cast<long>(size))
        return readBytes(items, count * static_cast<long>(size)) / static_cast<long>(size);
    long done = 0;
    for (long i = 0; i < count; ++i, at += size) {
        // A short item is the last one; those behind it are filled with zeros all the same.
        bool const whole = readBytes(at, static_cast<long>(size)) == static_cast<long>(size);
        done += whole && done == i;
        if (side_.swap && size >= 2)
            std::reverse(at, at + size);
    }
    return done;
}

long ipstream::skipBytes(long count) {
    return count <= 0 ? 0 : static_cast<long>(skip(static_cast<std::uint64_t>(count)));
}

std::uint64_t ipstream::skip(std::uint64_t count) {
    unsigned char piece[pieceSize];
    std::uint64_t done = 0;
    while (done < count) {
        long const wanted = atMost(count - done, pieceSize);
        if (arrived(wanted)) {
            done += static_cast<std::uint64_t>(wanted);
            continue;
        }
        long const read = readBytes(piece, wanted);
        done += static_cast<std::uint64_t>(read);
        if (read < wanted)
            break;
    }
    return done;
}

/// The next byte, or -1 at the end of the stream.
int ipstream::nextByte() {
    if (unsigned char const * const at = arrived(1))
        return *at;
    unsigned char byte = 0;
    return readBytes(&byte, 1) == 1 ? byte : -1;
}

/// What stands in front of the characters of a text.
struct ipstream::StringHead {
    bool isNull = false;
    unsigned char size = 1; // of a character
    std::uint32_t length = 0;
    std::uint64_t bytes() const { return static_cast<std::uint64_t>(size) * length; }
};

ipstream::StringHead ipstream::readStringHead() {
    StringHead head;
    unsigned short const word = readWord();
    if (word == nullString) {
        head.isNull = true;
    } else if (word != longString) {
        head.length = word;
    } else {
        head.length = get<std::uint32_t>();
        if (head.length == sizedString) {
            head.size = readByte();
            head.length = get<std::uint32_t>();
        }
    }
    return head;
}

/// As many of `bytes` as there are. The room grows with them: a length can lie.
std::vector<unsigned char> ipstream::readGrowing(std::uint64_t bytes) {
    std::vector<unsigned char> data;
    while (data.size() < bytes) {
        std::size_t const before = data.size();
        long const room = static_cast<long>(std::max<std::size_t>(before, pieceSize));
        long const wanted = atMost(bytes - before, room);
        data.resize(before + static_cast<std::size_t>(wanted));
        long const read = readBytes(data.data() + before, wanted);
        if (read < wanted) {
            data.resize(before + static_cast<std::size_t>(read));
            break;
        }
    }
    return data;
}

char * ipstream::readString() {
    StringHead const head = readStringHead();
    return head.isNull ? nullptr : narrow(head);
}

char * ipstream::narrow(StringHead const & head) {
    if (head.size == 2) {
        std::vector<char> text;
        bool const converted = toNarrow(charactersOf(readGrowing(head.bytes())), text);
        return converted ? terminated<char>(text) : nullptr;
    }
    if (head.size != 1) {
        skip(head.bytes());
        return nullptr;
    }
    if (unsigned char const * const at =
            head.length <= 0x7FFFFFFF ? arrived(static_cast<long>(head.length)) : nullptr) {
        char * const text = new char[std::size_t{head.length} + 1];
        std::memcpy(text, at, head.length);
        text[head.length] = '\0';
        return text;
    }
    return terminated<char>(readGrowing(head.length));
}

unsigned short * ipstream::readWideString() {
    StringHead const head = readStringHead();
    if (head.isNull)
        return nullptr;
    if (head.size == 2)
        return terminated<unsigned short>(charactersOf(readGrowing(head.bytes())));
    if (head.size != 1) {
        skip(head.bytes());
        return nullptr;
    }
    std::vector<unsigned short> text;
    return toWide(readGrowing(head.length), text) ? terminated<unsigned short>(text) : nullptr;
}

void ipstream::skipString() {
    skip(readStringHead().bytes());
}

/// Reads a text into name_; false for null.
bool ipstream::readName() {
    StringHead const head = readStringHead();
    char const * text = nullptr;
    std::size_t length = 0;
    GString converted;
    std::vector<unsigned char> grown;
    if (head.isNull)
        return false;
    if (head.size != 1) {
        char * const other = narrow(head);
        if (!other)
            return false;
        converted = other;
        delete[] other;
        text = converted.c_str();
        length = converted.length();
    } else if (unsigned char const * const at =
                   head.length <= pieceSize ? arrived(static_cast<long>(head.length)) : nullptr) {
        text = reinterpret_cast<char const *>(at);
        length = head.length;
    } else {
        grown = readGrowing(head.length);
        text = reinterpret_cast<char const *>(grown.data());
        length = grown.size();
    }
    name_.assign(text, text + length);
    name_.push_back('\0');
    return true;
}

ipstream & ipstream::operator>>(GMetaClass const *& metaClass) {
    metaClass = nullptr;
    unsigned short const length = readWord() & nullClass;
    if (length == nullClass)
        return *this;
    name_.assign(std::size_t{length} + 1, '\0');
    readBytes(name_.data(), length);
    metaClass = find_class(name_.data());
    return *this;
}

ipstream & operator>>(ipstream & in, GString & text) {
    ipstream::StringHead const head = in.readStringHead();
    if (head.isNull) {
        text.empty();
        return in;
    }
    // The usual case: a short text that is all in the window.
    unsigned char const * const at =
        head.size == 1 && head.length <= pieceSize ? in.arrived(head.length) : nullptr;
    if (at) {
        auto const * const begin = reinterpret_cast<char const *>(at);
        text.assign(begin, static_cast<unsigned int>(strnlen(begin, head.length)));
        return in;
    }
    char * const read = in.narrow(head);
    text = static_cast<char const *>(read);
    delete[] read;
    return in;
}

// Both.

iopstream::iopstream() = default;

iopstream::iopstream(GAbstractBufferedIO * buffer) {
    init(buffer);
}

iopstream::~iopstream() = default;
