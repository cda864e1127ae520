// Object streams against bytes written out by hand.
#include "pstream_support.h"

#include "diagnostics/GEmergencyLog.h"
#include "foundation/GMetaClass.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

using namespace pstream_tests;

namespace {

std::string const leafFrame = hex("B1 B5 0F CF  07 00") + "T::Leaf" + hex("2A") +
                              hex("EF 80 4A 29  12 00 00 00  07 00") + "T::Leaf";

template <class T>
std::string written(T const & value, pstream::EndianType order = pstream::NativeEndian) {
    Memory memory;
    memory->endian(order);
    *memory << value;
    return digits(memory.bytes());
}

template <class T>
T read(std::string const & bytes, pstream::EndianType order = pstream::NativeEndian) {
    Memory memory(bytes);
    memory->endian(order);
    T value{};
    *memory >> value;
    EXPECT_TRUE(memory->good());
    return value;
}

} // namespace

// Plain values.

template <class T>
void expectForm(T value, char const * bytes) {
    std::string const native = hex(bytes);
    std::string const swapped(native.rbegin(), native.rend());
    EXPECT_EQ(written(value), digits(native));
    EXPECT_EQ(written(value, pstream::SwappedEndian), digits(swapped));
    EXPECT_EQ(read<T>(native), value);
    EXPECT_EQ(read<T>(swapped, pstream::SwappedEndian), value);
}

TEST_F(PStream, PlainValuesHaveTheirWidthAndOrder) {
    expectForm<signed char>(-2, "FE");
    expectForm<unsigned char>(0xFE, "FE");
    expectForm<bool>(true, "01");
    expectForm<short>(-2, "FE FF");
    expectForm<unsigned short>(0x1234, "34 12");
    expectForm<int>(-2, "FE FF FF FF");
    expectForm<unsigned int>(0x12345678u, "78 56 34 12");
    expectForm<long>(-2, "FE FF FF FF");
    expectForm<unsigned long>(0x92345678ul, "78 56 34 92");
    expectForm<float>(-1.5f, "00 00 C0 BF");
    expectForm<double>(-1.5, "00 00 00 00 00 00 F8 BF");
}

TEST_F(PStream, CompactNumbersTakeTwoOrFourBytes) {
    struct {
        unsigned long value;
        char const * bytes;
    } const cases[] = {{0, "00 00"},
                       {32767, "FF 7F"},
                       {32768, "00 80 00 80"},
                       {0x12345678, "34 92 78 56"},
                       {0x7FFFFFFF, "FF FF FF FF"}};
    for (auto const & c : cases) {
        Memory memory;
        memory->compat_writeDWord(c.value);
        EXPECT_EQ(digits(memory.bytes()), digits(hex(c.bytes)));
        memory->seekg(0);
        EXPECT_EQ(memory->compat_readDWord(), c.value);
    }
}

TEST_F(PStream, RawBytesAreNeverSwappedAndItemsAreReversedOneByOne) {
    Memory memory;
    memory->endian(pstream::SwappedEndian);
    unsigned char const bytes[] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(memory->writeBytes(bytes, 6), 6);
    EXPECT_EQ(memory->writeBytes(bytes, 3u, 2), 2);
    EXPECT_EQ(memory->writeBytes(bytes, 1u, 6), 6);
    EXPECT_EQ(digits(memory.bytes()),
              digits(hex("01 02 03 04 05 06  03 02 01 06 05 04  01 02 03 04 05 06")));
    memory->seekg(6);
    unsigned char back[6] = {};
    EXPECT_EQ(memory->readBytes(back, 3u, 2), 2);
    EXPECT_EQ(std::memcmp(back, bytes, 6), 0);
}

TEST_F(PStream, FillAndSkipGoOverManyWindows) {
    Memory memory;
    EXPECT_EQ(memory->fillBytes(10000, 7), 10000);
    *memory << 42;
    memory->seekg(0);
    EXPECT_EQ(memory->skipBytes(10000), 10000);
    int value = 0;
    *memory >> value;
    EXPECT_EQ(value, 42);
    EXPECT_EQ(memory->countOfReadBytes(), 10004u);
    EXPECT_EQ(memory->skipBytes(5), 0);
}

TEST_F(PStream, SwitcherRestoresTheOrder) {
    Memory memory;
    {
        PStreamEndianSwitcher const switcher(*memory, pstream::SwappedEndian);
        EXPECT_TRUE(memory->need_swap_bytes());
        memory->writeWord(1);
    }
    memory->writeWord(1);
    EXPECT_EQ(digits(memory.bytes()), "00 01 01 00 ");
}

// Strings.

TEST_F(PStream, StringsHaveAFormForEachLength) {
    struct {
        std::string text, head;
    } const cases[] = {{"", hex("00 00")},
                       {"abc", hex("03 00")},
                       {std::string(65533, 'x'), hex("FD FF")},
                       {std::string(65534, 'x'), hex("FE FF  FE FF 00 00")},
                       {std::string(70000, 'x'), hex("FE FF  70 11 01 00")}};
    for (auto const & c : cases) {
        Memory memory;
        memory->writeString(c.text.c_str());
        EXPECT_TRUE(memory.bytes() == c.head + c.text) << c.text.size();
        memory->seekg(0);
        std::unique_ptr<char[]> const text(memory->readString());
        ASSERT_NE(text, nullptr);
        EXPECT_TRUE(text.get() == c.text) << c.text.size();
        memory->seekg(0);
        GString string("before");
        *memory >> string;
        EXPECT_TRUE(string == c.text.c_str());
        EXPECT_TRUE(memory->good());
    }
}

TEST_F(PStream, NullStringsStayNull) {
    Memory memory;
    memory->writeString(nullptr);
    memory->writeWideString(nullptr);
    EXPECT_EQ(digits(memory.bytes()), "FF FF FF FF ");
    memory->seekg(0);
    EXPECT_EQ(memory->readCharString(), nullptr);
    EXPECT_EQ(memory->readWideString(), nullptr);
    memory->seekg(0);
    GString text("before");
    *memory >> text;
    EXPECT_TRUE(text.isEmpty());
}

TEST_F(PStream, WideStringsKeepTheOrderOfTheirCharactersWhenSwapping) {
    unsigned short const text[] = {0x0041, 0x0162, 0};
    Memory native, swapped;
    native->writeWideString(text);
    EXPECT_EQ(digits(native.bytes()),
              digits(hex("FE FF  FF FF FF FF  02  02 00 00 00  41 00 62 01")));
    swapped->endian(pstream::SwappedEndian);
    swapped->writeWideString(text);
    EXPECT_EQ(digits(swapped.bytes()),
              digits(hex("FF FE  FF FF FF FF  02  00 00 00 02  41 00 62 01")));
    swapped->seekg(0);
    std::unique_ptr<unsigned short[]> const back(swapped->readWideString());
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(std::memcmp(back.get(), text, sizeof text), 0);
}

TEST_F(PStream, StringsOfTheOtherSizeAreConverted) {
    Memory wide(hex("FE FF FF FF FF FF 02 02 00 00 00 41 00 62 00"));
    std::unique_ptr<char[]> const narrow(wide->readString());
    EXPECT_STREQ(narrow.get(), "Ab");

    Memory narrowText(hex("02 00") + "Ab" + hex("FE FF FF FF FF FF 01 01 00 00 00") + "c");
    std::unique_ptr<unsigned short[]> const first(narrowText->readWideString());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(std::u16string(first.get(), first.get() + 3), std::u16string(u"Ab\0", 3));
    std::unique_ptr<unsigned short[]> const second(narrowText->readWideString());
    EXPECT_EQ(second[0], 'c');

    // A character without a form in the "C" locale.
    Memory foreign(hex("FE FF FF FF FF FF 02 01 00 00 00 34 12 07"));
    EXPECT_EQ(foreign->readString(), nullptr);
    EXPECT_EQ(foreign->readByte(), 7);
}

TEST_F(PStream, AStringOfAnUnknownCharacterSizeIsSkipped) {
    Memory memory(hex("FE FF FF FF FF FF 03 02 00 00 00 01 02 03 04 05 06  07"));
    EXPECT_EQ(memory->readString(), nullptr);
    EXPECT_EQ(memory->readByte(), 7);
}

// Classes.

TEST_F(PStream, ClassesGoByName) {
    Memory memory;
    *memory << &Leaf::metaclass_ << static_cast<GMetaClass const *>(nullptr);
    EXPECT_EQ(digits(memory.bytes()), digits(hex("07 00") + "T::Leaf" + hex("FF 0F")));
    memory->seekg(0);
    GMetaClass const * metaClass = nullptr;
    *memory >> metaClass;
    EXPECT_EQ(metaClass, &Leaf::metaclass_);
    *memory >> metaClass;
    EXPECT_EQ(metaClass, nullptr);

    // Only twelve bits of the length count, and an unknown name is no error.
    Memory other(hex("07 F0") + "T::Leaf" + hex("01 00") + "?");
    *other >> metaClass;
    EXPECT_EQ(metaClass, &Leaf::metaclass_);
    *other >> metaClass;
    EXPECT_EQ(metaClass, nullptr);
    EXPECT_TRUE(other->good());
}

// Objects.

TEST_F(PStream, ANullPointerAndAnObjectLeftOutAreOneByte) {
    Leaf leaf;
    leaf.shouldWrite(0);
    Memory memory;
    memory->writePointer(nullptr);
    memory->writePointer(&leaf);
    EXPECT_EQ(digits(memory.bytes()), "00 00 ");
    memory->seekg(0);
    EXPECT_EQ(memory->readPointer<Leaf>(), nullptr);
    EXPECT_EQ(memory->lastPointerMarker(), 0);
}

TEST_F(PStream, TheSecondReferenceIsANumber) {
    Leaf leaf(0x2A), left, other(1);
    left.shouldWrite(0);
    Memory memory;
    memory->writePointer(&leaf);
    memory->writeStreamable(left);
    memory->writePointer(&leaf);
    memory->writePointer(&other);
    memory->writePointer(&other);
    // What is left out takes no number, so the other object is the second.
    EXPECT_EQ(digits(memory.bytes()),
              digits(hex("02") + leafFrame +
                     hex("B1 B5 0F CF  FF FF  EF 80 4A 29  0A 00 00 00  FF FF") +
                     hex("01 01 00  02") + framed("T::Leaf", hex("01")) + hex("01 02 00")));

    memory->seekg(0);
    auto * const first = memory->readPointer<Leaf>();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->value, 0x2A);
    left.value = 9;
    memory->readStreamable(left);
    EXPECT_EQ(left.value, 9);
    EXPECT_EQ(memory->readPointer<Tracked>(), first);
    auto * const second = memory->readPointer<Leaf>();
    EXPECT_EQ(memory->lastPointerMarker(), 2);
    EXPECT_EQ(memory->readPointer<Leaf>(), second);
    EXPECT_EQ(memory->lastPointerMarker(), 1);
}

TEST_F(PStream, AnObjectIsKnownWhileItWritesItself) {
    Node node(1);
    node.left = node.right = &node;
    Memory memory;
    memory->writePointer(&node);
    EXPECT_EQ(digits(memory.bytes()),
              digits(hex("02") + framed("T::Node", hex("01 00 00 00  01 01 00  01 01 00"))));
    memory->seekg(0);
    auto * const back = memory->readPointer<Node>();
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->left, back);
    EXPECT_EQ(back->right, back);
    EXPECT_EQ(memory->lastPointerMarker(), 2);
}

TEST_F(PStream, TheOuterObjectHasTheLowerNumber) {
    Leaf leaf(0x2A);
    Node node(1, &leaf);
    Memory memory;
    memory->writePointer(&node);
    memory->writePointer(&leaf);
    memory->writePointer(&node);
    std::string const bytes = memory.bytes();
    EXPECT_EQ(digits(bytes.substr(bytes.size() - 6)), "01 02 00 01 01 00 ");
    memory->seekg(0);
    auto * const back = memory->readPointer<Node>();
    EXPECT_EQ(back->seenClass, &Node::metaclass_);
    EXPECT_EQ(memory->metaclassOfReadingObject(), nullptr);
    EXPECT_EQ(memory->readPointer<Leaf>(), back->left);
    EXPECT_EQ(memory->readPointer<Node>(), back);
}

TEST_F(PStream, SwappingLeavesTheMagicAndTheLengthOfAFrame) {
    Node node(1);
    Memory memory;
    memory->endian(pstream::SwappedEndian);
    memory->writePointer(&node);
    memory->writePointer(&node);
    EXPECT_EQ(digits(memory.bytes()),
              digits(hex("02 B1 B5 0F CF  00 07") + "T::Node" + hex("00 00 00 01 00 00") +
                     hex("EF 80 4A 29  17 00 00 00  00 07") + "T::Node" + hex("01 00 01")));
    memory->seekg(0);
    auto * const back = memory->readPointer<Node>();
    EXPECT_EQ(back->value, 1);
    EXPECT_EQ(memory->readPointer<Node>(), back);
}

TEST_F(PStream, ForcedObjectsGoWholeAndUseUpANumber) {
    Leaf leaf(0x2A), other(1);
    Memory memory;
    memory->writePointer(&leaf);
    memory->writePointer(&leaf, true);
    memory->writePointer(&leaf);
    memory->writePointer(&other);
    memory->writePointer(&other);
    EXPECT_EQ(digits(memory.bytes()),
              digits(hex("02") + leafFrame + hex("02") + leafFrame + hex("01 01 00  02") +
                     framed("T::Leaf", hex("01")) + hex("01 03 00")));
    memory->seekg(0);
    auto * const first = memory->readPointer<Leaf>();
    EXPECT_NE(memory->readPointer<Leaf>(), first);
    EXPECT_EQ(memory->readPointer<Leaf>(), first);
    auto * const third = memory->readPointer<Leaf>();
    EXPECT_EQ(memory->readPointer<Leaf>(), third);
}

TEST_F(PStream, NumbersFrom65535AreLong) {
    std::vector<Leaf> leaves(65536);
    Memory memory;
    for (Leaf & leaf : leaves)
        memory->registerStaticObjectToWrite(leaf);
    memory->seekg(0);
    for (Leaf & leaf : leaves)
        memory->registerStaticObjectToRead(leaf);
    long const before = memory->tellg();
    iopstream & stream = *memory;
    for (std::size_t const index : {std::size_t{65533}, std::size_t{65534}, std::size_t{65535}})
        stream.writePointer(&leaves[index]);
    stream.flush();
    EXPECT_EQ(digits(memory.bytes().substr(static_cast<std::size_t>(before))),
              digits(hex("01 FE FF  01 FF FF FF FF 00 00  01 FF FF 00 00 01 00")));
    // The device stands behind what was written; go back without forgetting the table.
    stream.rdbuf()->gseek(before, GIO::FromStart);
    for (std::size_t const index : {std::size_t{65533}, std::size_t{65534}, std::size_t{65535}})
        EXPECT_EQ(stream.readPointer<Leaf>(), &leaves[index]);
}

TEST_F(PStream, StaticObjectsAreKnownOnBothSides) {
    Leaf written, known;
    Memory memory;
    memory->registerStaticObjectToWrite(written);
    memory->writePointer(&written);
    memory->registerStaticObjectToWrite(written);
    EXPECT_EQ(digits(memory.bytes()), "01 01 00 01 01 00 01 01 00 ");
    memory->seekg(0);
    memory->registerStaticObjectToRead(known);
    EXPECT_EQ(memory->readPointer<Leaf>(), &known);
    memory->registerStaticObjectToRead(known);
    EXPECT_EQ(memory->getObjectCount(), 1);

    Memory wrong(hex("02 01 00"));
    EXPECT_THROW(wrong->registerStaticObjectToRead(known), InvalidPStreamMarker_Exception);
}

TEST_F(PStream, ASeekForgetsTheObjects) {
    Leaf leaf(0x2A);
    Memory memory;
    memory->writePointer(&leaf);
    memory->seekp(0);
    EXPECT_EQ(memory->countOfWrittenBytes(), 0u);
    memory->writePointer(&leaf);
    memory->writePointer(&leaf);
    EXPECT_EQ(digits(memory.bytes()), digits(hex("02") + leafFrame + hex("01 01 00")));
    // A seek that fails leaves them known.
    EXPECT_EQ(memory->seekp(-1), -1);
    EXPECT_EQ(memory->rdstate(), 4);
    memory->writePointer(&leaf);
    EXPECT_EQ(digits(memory.bytes().substr(leafFrame.size() + 1)), "01 01 00 01 01 00 ");

    memory->clear();
    memory->seekg(0);
    EXPECT_NE(memory->readPointer<Leaf>(), nullptr);
    EXPECT_EQ(memory->seekg(-1), -1);
    EXPECT_EQ(memory->rdstate(), 2);
    EXPECT_EQ(memory->getObjectCount(), 1);
    memory->seekg(static_cast<long>(leafFrame.size()) + 1);
    EXPECT_THROW(memory->readPointer<Leaf>(), InvalidPStreamIndex_Exception);
}

TEST_F(PStream, AMergedObjectIsReplacedInLaterReferences) {
    Memory memory(hex("02") + leafFrame + hex("01 01 00"));
    auto * const read = memory->readPointer<Leaf>();
    Leaf survivor;
    memory->replaceRegistredStreamable(read, &survivor);
    EXPECT_EQ(memory->readPointer<Leaf>(), &survivor);
}

// Streams that know the same objects, many times each, against plain lists.
TEST_F(PStream, ObjectsThatEndLeaveAllTheirPlaces) {
    std::mt19937 random(3);
    std::string const known = hex("01 FF FF FF FF FF FF"); // a number that is new: to be appended
    Memory memories[2];
    std::vector<Leaf *> lists[2], alive;
    for (int step = 0; step < 6000; ++step) {
        std::size_t const which = random() % 2;
        Memory & memory = memories[which];
        std::vector<Leaf *> & list = lists[which];
        std::size_t const pick = alive.empty() ? 0 : random() % alive.size();
        unsigned int const roll = random() % 8;
        if (alive.empty() || roll == 0) {
            alive.push_back(new Leaf);
        } else if (roll <= 4) {
            // Written behind the device's back, since a seek would forget the objects.
            memory->rdbuf()->gseek(0, GIO::FromStart);
            memory->rdbuf()->gwrite(known.data(), static_cast<long>(known.size()));
            memory->rdbuf()->gseek(0, GIO::FromStart);
            memory->registerStaticObjectToRead(*alive[pick]);
            list.push_back(alive[pick]);
        } else if (roll == 5) {
            Leaf * const former = alive[random() % alive.size()];
            memory->replaceRegistredStreamable(former, alive[pick]);
            auto const last = std::find(list.rbegin(), list.rend(), former);
            if (last != list.rend())
                *last = alive[pick];
        } else if (roll == 6 || alive.size() > 50) {
            for (std::vector<Leaf *> & each : lists)
                std::replace(each.begin(), each.end(), alive[pick], static_cast<Leaf *>(nullptr));
            delete alive[pick];
            alive.erase(alive.begin() + static_cast<long>(pick));
        } else if (random() % 200 == 0) {
            memory->seekg(0);
            list.clear();
        }
        ASSERT_EQ(memory->getObjectCount(), static_cast<long>(list.size()));
        for (std::size_t i = 0; step % 50 == 0 && i < list.size(); ++i)
            ASSERT_EQ(memory->getObject(static_cast<long>(i)), list[i]) << step;
    }
}

TEST_F(PStream, ClassNamesCanBeReadAhead) {
    Memory memory(hex("00 01 02") + leafFrame);
    EXPECT_EQ(memory->read_class_name_from_pointer(), nullptr);
    EXPECT_EQ(memory->read_class_name_from_pointer(), nullptr);
    std::unique_ptr<char[]> const name(memory->read_class_name_from_pointer());
    EXPECT_STREQ(name.get(), "T::Leaf");
    EXPECT_EQ(memory->readByte(), 0x2A);

    Memory wrong(hex("B1 B5 0F 00  05"));
    EXPECT_EQ(wrong->read_class_name_from_reference(), nullptr);
    EXPECT_EQ(wrong->readByte(), 5);
}

TEST_F(PStream, ASubclassMapsNames) {
    struct Mapping : iopstream {
        using iopstream::iopstream;
        GMetaClass const * find_class(char const * name) override {
            return ipstream::find_class(std::strcmp(name, "Former") == 0 ? "T::Leaf" : name);
        }
    };
    Memory memory(hex("02") + framed("Former", hex("05")));
    Mapping stream(memory->rdbuf());
    auto * const leaf = stream.readPointer<Leaf>();
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->value, 5);
}

TEST_F(PStream, ClassesThatComeAndGoAreNotRemembered) {
    std::string const bytes = hex("02") + framed("T::Alias", hex("05"));
    Memory memory(bytes + bytes + bytes);
    EXPECT_EQ(memory->readPointer<Leaf>(), nullptr);
    {
        GMetaClass const alias(Leaf::metaclass_, "T::Alias");
        auto * const leaf = memory->readPointer<Leaf>();
        ASSERT_NE(leaf, nullptr);
        EXPECT_EQ(leaf->value, 5);
    }
    EXPECT_EQ(memory->readPointer<Leaf>(), nullptr);
    EXPECT_TRUE(memory->good());
}

// Older and foreign frames.

TEST_F(PStream, TheBraceFormatEndsWithOneByte) {
    std::string const good = hex("02") + "{" + hex("07 00") + "T::Leaf" + hex("05") + "]";
    Memory memory(good + hex("09"));
    auto * const leaf = memory->readPointer<Leaf>();
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->value, 5);
    EXPECT_EQ(memory->readByte(), 9);

    Memory wrong(good.substr(0, good.size() - 1) + "}");
    EXPECT_EQ(thrownText<InvalidPStreamSuffix_Exception>([&] { wrong->readPointer<Leaf>(); }),
              "Invalid suffix in stream. Position=13. Class=T::Leaf");
}

TEST_F(PStream, AnUnknownObjectIsSkippedToItsOwnSuffix) {
    std::string const bodies[] = {
        hex(""),
        hex("01 02 03"),
        hex("EF"),
        hex("EF 80 4A"),
        hex("EF 80 4A 29 00 00 00 00"),                  // a suffix with another length
        hex("EF 80 4A 29"),                              // the same, cut off by the real one
        hex("B1 B5 0F B1 B5 EF EF 80 EF 80 4A EF"),      // beginnings of both magics
        framed("Unknown2", hex("EF 80 4A 29 01 00")),    // unknown within unknown
        hex("B1") + framed("Unknown2", hex("EF EF 80")), // behind a byte that may begin a prefix
    };
    for (std::string const & body : bodies) {
        Memory memory(hex("02") + framed("Unknown", body) + hex("07"));
        EXPECT_EQ(memory->readPointer<Leaf>(), nullptr) << digits(body);
        EXPECT_EQ(memory->readByte(), 7) << digits(body);
        EXPECT_TRUE(memory->good()) << digits(body);
        EXPECT_EQ(memory->getObjectCount(), 0) << digits(body);
    }
}

TEST_F(PStream, KnownObjectsWithinASkippedOneAreBuiltAndNumbered) {
    std::string const inner = framed("T::Leaf", hex("11"));
    Memory memory(hex("02") + framed("Unknown", hex("02") + inner) + hex("01 01 00") + hex("02") +
                  leafFrame + hex("01 03 00"));
    EXPECT_EQ(memory->readPointer<Leaf>(), nullptr);
    auto * const leaf = memory->readPointer<Leaf>();
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->value, 0x11);
    memory->readPointer<Leaf>();
    // The writer counted the unknown object, so its third is the reader's second.
    EXPECT_THROW(memory->readPointer<Leaf>(), InvalidPStreamIndex_Exception);
}

TEST_F(PStream, AnUnknownObjectInPlaceLeavesTheTargetAsItWas) {
    Memory memory(framed("Unknown", hex("11")) + hex("07"));
    Leaf leaf(3);
    memory->readStreamable(leaf);
    EXPECT_EQ(leaf.value, 3);
    EXPECT_EQ(memory->readByte(), 7);
}

// Broken frames.

TEST_F(PStream, BrokenReferencesTellWhatIsWrong) {
    EXPECT_EQ(
        thrownText<InvalidPStreamMarker_Exception>([] { Memory(hex("83"))->readPointer<Leaf>(); }),
        "Invalid pointer stream marker = -125 . Position=1");
    EXPECT_EQ(thrownText<InvalidPStreamIndex_Exception>(
                  [] { Memory(hex("01 00 00"))->readPointer<Leaf>(); }),
              "Can't find object with index=0. Class= T::Leaf. Position=3");
    EXPECT_EQ(thrownText<InvalidPStreamIndex_Exception>(
                  [] { Memory(hex("01 FF FF FF FF FF FF"))->readPointer<Leaf>(); }),
              "Can't find object with index=4294967295. Class= T::Leaf. Position=7");
    EXPECT_EQ(thrownText<InvalidPStreamPrefix_Exception>(
                  [] { Memory(hex("02 B1 B5 0F CE"))->readPointer<Leaf>(); }),
              "Invalid prefix in stream. Position=5");
    EXPECT_EQ(thrownText<InvalidPStreamPrefix_Exception>(
                  [] { Memory(hex("02 41 B5 0F CF"))->readPointer<Leaf>(); }),
              "Invalid prefix in stream. Position=2");
    EXPECT_EQ(thrownText<OldPrefix_Exception>([] { Memory(hex("02") + "[")->readPointer<Leaf>(); }),
              "Unsupported old prefix in stream");
}

TEST_F(PStream, TheSuffixMustHaveTheLengthOfTheFrame) {
    std::string frame = leafFrame;
    frame[14] = 0; // a byte of the magic: not looked at when the class is known
    EXPECT_NE(Memory(hex("02") + frame)->readPointer<Leaf>(), nullptr);
    frame[18] = 0x13;
    EXPECT_EQ(thrownText<InvalidPStreamSuffix_Exception>(
                  [&] { Memory(hex("02") + frame)->readPointer<Leaf>(); }),
              "Invalid suffix in stream. Position=23. Class=T::Leaf");
}

TEST_F(PStream, AnObjectOfAnotherClassIsRefusedOwnNameFirst) {
    std::size_t const before = Tracked::alive.size();
    EXPECT_EQ(thrownText<NotBaseClass_Exception>(
                  [] { Memory(hex("02") + leafFrame)->readPointer<Node>(); }),
              "Can't read class 'T::Leaf' as 'T::Node'. Position=14");
    EXPECT_EQ(Tracked::alive.size(), before) << "the refused object is ended";

    Memory memory(hex("02") + leafFrame + hex("01 01 00"));
    memory->readPointer<Leaf>();
    EXPECT_EQ(thrownText<NotBaseClass_Exception>([&] { memory->readPointer<Node>(); }),
              "Can't read class 'T::Leaf' as 'T::Node'. Position=35");
}

TEST_F(PStream, AbstractClassesAreRefusedByBothSides) {
    Shape shape;
    Memory memory;
    EXPECT_EQ(thrownText<AbstractClass_Exception>([&] { memory->writePointer(&shape); }),
              "Abstract class = T::Shape");
    EXPECT_EQ(memory.bytes(), "");
    Memory reader(hex("02") + framed("T::Shape", ""));
    EXPECT_EQ(thrownText<AbstractClass_Exception>([&] { reader->readPointer<Shape>(); }),
              "Abstract class = T::Shape");
    // In place nothing has to be built.
    memory->writeStreamable(shape);
    memory->seekg(0);
    memory->readStreamable(shape);
    EXPECT_TRUE(memory->good());
}

TEST_F(PStream, ExceptionsForReadersHaveTheirTexts) {
    EXPECT_STREQ(UnknownStreamableType_Exception("X").getMessage().c_str(),
                 "Unknown streamable class 'X'");
    EXPECT_STREQ(OldVersionOfClass_Exception(3, typeid(Leaf)).getMessage().c_str(),
                 "Unsupported old version '3' of class 'T::Leaf'");
    EXPECT_STREQ(GFileReadError_Exception().getMessage().c_str(), "GFile : invalid index");
    EXPECT_STREQ(InvalidPStream_Exception("own words").getMessage().c_str(), "own words");
    char const * const states[] = {"Unrecognized read/write error",
                                   "End of file reached",
                                   "Read error",
                                   "Read error",
                                   "Write error",
                                   "Write error"};
    for (int state = 0; state < 6; ++state)
        EXPECT_STREQ(NonZeroPStreamState_Exception(state).getMessage().c_str(), states[state]);
}

TEST_F(PStream, FailuresAndSkippedObjectsLeaveATraceInTheLog) {
    GEmergencyLog & log = GEmergencyLog::Get();
    std::string const file = testing::TempDir() + "ondrel_pstream_test.log";
    log.setFile(file.c_str());
    log.enable(true);
    Memory(hex("02") + framed("Unknown", "x"))->readPointer<Leaf>();
    std::string const warning = log.lastSection();
    OldPrefix_Exception const exception;
    std::string const failure = log.lastSection();
    log.enable(false);
    log.close_session();
    log.setFile("");
    std::remove(file.c_str());
    EXPECT_EQ(warning.find("<WARNING"), 0u);
    EXPECT_NE(warning.find("\nSkipping object Unknown\n"), std::string::npos);
    EXPECT_EQ(failure.find("<EXCEPTION"), 0u);
    EXPECT_NE(failure.find("\nUnsupported old prefix in stream\n"), std::string::npos);
}

// States.

TEST_F(PStream, BehindTheEndEverythingIsZero) {
    Memory memory(hex("01"));
    int value = 7;
    *memory >> value;
    EXPECT_EQ(value, 1);
    EXPECT_EQ(memory->rdstate(), 3);
    EXPECT_FALSE(*memory);
    double number = 7;
    *memory >> number;
    EXPECT_EQ(number, 0);
    EXPECT_EQ(memory->readPointer<Leaf>(), nullptr);
    GString text("before");
    *memory >> text;
    EXPECT_TRUE(text.isEmpty());
}

TEST_F(PStream, TheMaskTurnsStatesIntoExceptions) {
    Memory memory;
    memory->setstate(1);
    EXPECT_TRUE(*memory) << "the end of file alone is no failure";
    EXPECT_TRUE(memory->eof());
    memory->clear();
    memory->generate_exception_on(2);
    memory->setstate(5);
    EXPECT_TRUE(memory->bad());
    EXPECT_EQ(thrownText<NonZeroPStreamState_Exception>([&] { memory->readByte(); }), "Read error");
    EXPECT_THROW(memory->clear(2), NonZeroPStreamState_Exception);
    EXPECT_EQ(memory->rdstate(), 2);
}

TEST_F(PStream, AFullDeviceSetsTheWriteBitAndFlushBoth) {
    unsigned char room[6];
    GBufferedIO io(new GMemoryIO(room, sizeof room, GIO::ReadWriteMode), 4);
    opstream out(&io);
    out << 1 << 2 << 3 << 4;
    EXPECT_EQ(out.rdstate(), 4);
    out.clear();
    out.flush();
    EXPECT_EQ(out.rdstate(), 6);
}

TEST_F(PStream, WithoutADeviceAllFailsAndNothingBreaks) {
    iopstream stream(nullptr);
    stream << 1;
    EXPECT_EQ(stream.rdstate(), 4);
    EXPECT_EQ(stream.readDWord(), 0u);
    EXPECT_EQ(stream.rdstate(), 7);
    EXPECT_EQ(stream.seekg(0), -1);
    EXPECT_EQ(stream.tellp(), -1);
    stream.flush();
}

TEST_F(PStream, StacksOfAnySmallWindowGiveTheSameBytes) {
    Leaf leaf(0x2A);
    auto * const memory = new GMemoryIO(0);
    GBufferedIO io(memory, 3);
    iopstream stream(&io);
    stream.writePointer(&leaf);
    stream << 1.5 << GString("text");
    stream.seekg(0);
    auto * const back = stream.readPointer<Leaf>();
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->value, 0x2A);
    double number = 0;
    GString text;
    stream >> number >> text;
    EXPECT_EQ(number, 1.5);
    EXPECT_TRUE(text == "text");
}

// Graphs.

TEST_F(PStream, RandomGraphsComeBackWithTheirShape) {
    std::mt19937 random(7);
    for (int round = 0; round < 20; ++round) {
        std::vector<Node *> nodes;
        for (int i = 0; i < 300; ++i)
            nodes.push_back(new Node(i));
        for (Node * const node : nodes) {
            node->left = random() % 4 ? nodes[random() % nodes.size()] : nullptr;
            node->right = random() % 4 ? nodes[random() % nodes.size()] : nullptr;
        }
        Memory memory;
        if (round % 2)
            memory->endian(pstream::SwappedEndian);
        for (Node * const node : nodes)
            memory->writePointer(node);
        memory->seekg(0);
        std::vector<Node *> back;
        for (std::size_t i = 0; i < nodes.size(); ++i)
            back.push_back(memory->readPointer<Node>());
        EXPECT_EQ(memory->getObjectCount(), 300);
        auto const same = [&](GStreamable * copy, GStreamable * original) {
            auto * const node = static_cast<Node *>(original);
            return original ? copy == back[static_cast<std::size_t>(node->value)] : !copy;
        };
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            ASSERT_EQ(back[i]->value, nodes[i]->value);
            ASSERT_TRUE(same(back[i]->left, nodes[i]->left));
            ASSERT_TRUE(same(back[i]->right, nodes[i]->right));
        }
        TearDown();
    }
}

TEST_F(PStream, NestingEndsAtTheLimitOnBothSides) {
    Node chain[3];
    chain[0].left = &chain[1];
    chain[1].left = &chain[2];
    Memory memory;
    memory->nesting_limit(2);
    EXPECT_EQ(thrownText<InvalidPStream_Exception>([&] { memory->writePointer(&chain[0]); }),
              "Objects are nested too deeply");
    memory->seekp(0);
    memory->nesting_limit(3);
    memory->writePointer(&chain[0]);
    memory->seekg(0);
    EXPECT_NE(memory->readPointer<Node>(), nullptr);
    memory->seekg(0);
    memory->nesting_limit(2);
    EXPECT_EQ(thrownText<InvalidPStream_Exception>([&] { memory->readPointer<Node>(); }),
              "Objects are nested too deeply");
    memory->nesting_limit(3);
    memory->seekg(0);
    EXPECT_NE(memory->readPointer<Node>(), nullptr) << "an exception leaves no level behind";
}
