// Streams made to do harm: each ends in an exception, a state or a result, soon and with no more
// memory than has arrived.
#include "allocation_support.h"
#include "pstream_support.h"

#include <chrono>
#include <random>

using namespace pstream_tests;

namespace {

/// The largest single request for memory while `act` runs.
template <class Act>
std::size_t largestRequest(Act act) {
    allocation::forget();
    act();
    EXPECT_TRUE(allocation::largest() > 0 || !allocation::isWatched());
    return allocation::largest();
}

/// Reads all references that there are, and swallows what the frames throw.
void readAll(std::string const & bytes) {
    Memory memory(bytes);
    try {
        while (memory->good())
            memory->readPointer<GStreamable>();
    } catch (InvalidPStream_Exception const &) {
    }
}

std::string repeated(std::string const & piece, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += piece;
    return all;
}

/// A world with every kind of reference and a foreign object in it.
std::string world() {
    Leaf leaf(0x2A);
    Node inner(2, &leaf), outer(1, &inner, &leaf);
    inner.right = &outer;
    Memory memory;
    memory->writePointer(&outer);
    memory->writePointer(&inner);
    return memory.bytes() + hex("02") + framed("Unknown", hex("02") + framed("T::Leaf", "x"));
}

/// Needs much of the stack to be read.
class Spacious : public Tracked {
    G_DECLARE_CREATABLE(Spacious)
  public:
    void read(ipstream & in) override {
        unsigned char volatile room[100000];
        room[0] = in.readByte();
        in.readPointer<Spacious>();
        room[99999] = room[0];
    }
    void write(opstream &) override {}
};
G_DEFINE_CREATABLE(Spacious, "T::Spacious", Tracked)

} // namespace

class HostilePStream : public PStream {};

TEST_F(HostilePStream, ALengthOfFourBillionTakesWhatArrives) {
    std::string const heads[] = {
        hex("FE FF FE FF FF FF"),                // 8-bit text
        hex("FE FF FF FF FF FF 01 FF FF FF FF"), // with its size
        hex("FE FF FF FF FF FF 02 FF FF FF FF"), // wide text
        hex("FE FF FF FF FF FF FF FF FF FF FF"), // characters of 255 bytes
    };
    for (std::string const & head : heads) {
        std::string const bytes = head + std::string(20000, 'x');
        EXPECT_LT(largestRequest([&] {
                      Memory narrow(bytes), wide(bytes), text(bytes),
                          object(hex("02 B1 B5 0F CF") + bytes);
                      std::unique_ptr<char[]> const first(narrow->readString());
                      EXPECT_EQ(narrow->rdstate(), 3);
                      std::unique_ptr<unsigned short[]> const second(wide->readWideString());
                      EXPECT_EQ(wide->rdstate(), 3);
                      GString third;
                      *text >> third;
                      EXPECT_EQ(text->rdstate(), 3);
                      EXPECT_EQ(object->readPointer<Leaf>(), nullptr);
                      EXPECT_EQ(object->rdstate(), 3);
                  }),
                  200000u)
            << digits(head);
    }
}

TEST_F(HostilePStream, ATruncatedTextHoldsWhatArrived) {
    Memory memory(hex("FE FF FE FF FF FF") + "abc");
    std::unique_ptr<char[]> const text(memory->readString());
    EXPECT_STREQ(text.get(), "abc");
    EXPECT_EQ(memory->rdstate(), 3);
}

TEST_F(HostilePStream, EveryTruncationEndsInAnExceptionOrAState) {
    std::string const whole = world();
    ASSERT_NO_THROW(readAll(whole));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Memory memory(whole.substr(0, length));
        bool ended = false;
        try {
            memory->readPointer<Node>();
            memory->readPointer<Node>();
            memory->readPointer<Node>();
            ended = !memory->good();
        } catch (InvalidPStream_Exception const &) {
            ended = true;
        }
        EXPECT_TRUE(ended) << length;
        TearDown();
    }
}

TEST_F(HostilePStream, EveryChangedByteIsSurvived) {
    std::string const whole = world();
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (int const change : {0x01, 0x02, 0x80, 0xFF}) {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(bytes[at] ^ change);
            readAll(bytes);
            TearDown();
        }
}

TEST_F(HostilePStream, RandomMixturesOfTheFormatAreSurvived) {
    std::string const pieces[] = {hex("02 B1 B5 0F CF"),
                                  hex("B1 B5 0F CF"),
                                  hex("EF 80 4A 29"),
                                  hex("07 00") + "T::Leaf",
                                  hex("07 00") + "T::Node",
                                  hex("01 01 00"),
                                  hex("FF FF"),
                                  hex("FE FF"),
                                  hex("00 00 00 00"),
                                  hex("12 00 00 00"),
                                  "{",
                                  "]",
                                  framed("T::Leaf", "x"),
                                  framed("Unknown", hex("02"))};
    std::mt19937 random(11);
    for (int round = 0; round < 3000; ++round) {
        std::string bytes = hex("02");
        for (unsigned int i = random() % 40; i > 0; --i)
            bytes += pieces[random() % std::size(pieces)];
        readAll(bytes);
        TearDown();
    }
}

TEST_F(HostilePStream, NestingAHundredThousandDeepIsRefused) {
    std::string const known = hex("02 B1 B5 0F CF 07 00") + "T::Node" + hex("00 00 00 00");
    std::string const unknown = hex("B1 B5 0F CF FF FF");
    std::string const braces = hex("02") + "{" + hex("07 00") + "T::Node" + hex("00 00 00 00");
    for (std::string const & bytes :
         {repeated(known, 100000), hex("02") + repeated(unknown, 100000), repeated(braces, 100000)})
        EXPECT_EQ(thrownText<InvalidPStream_Exception>(
                      [&] { Memory(bytes)->readPointer<GStreamable>(); }),
                  "Objects are nested too deeply");
}

TEST_F(HostilePStream, TheStackEndsNestingBeforeAnyLimit) {
    Memory memory(repeated(hex("02 B1 B5 0F CF 0B 00") + "T::Spacious" + hex("00"), 100000));
    memory->nesting_limit(1000000);
    EXPECT_EQ(thrownText<InvalidPStream_Exception>([&] { memory->readPointer<Spacious>(); }),
              "Objects are nested too deeply");
    EXPECT_GT(memory->getObjectCount(), 10);
}

TEST_F(HostilePStream, AChainTooLongToBeReadIsNotWritten) {
    std::vector<Node> chain(100000);
    for (std::size_t i = 1; i < chain.size(); ++i)
        chain[i - 1].left = &chain[i];
    Memory memory;
    EXPECT_THROW(memory->writePointer(&chain[0]), InvalidPStream_Exception);
}

TEST_F(HostilePStream, SkippingTakesTimeInProportion) {
    // Beginnings of both magics, and suffixes that do not fit.
    std::string const noise = repeated(hex("B1 B5 0F B1 EF 80 4A 29 00 EF EF 80 4A B1"), 100000);
    auto const start = std::chrono::steady_clock::now();
    Memory memory(hex("02") + framed("Unknown", noise) + hex("07"));
    EXPECT_EQ(memory->readPointer<GStreamable>(), nullptr);
    EXPECT_EQ(memory->readByte(), 7);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(HostilePStream, ANumberBeyondTheObjectsTakesNoMemory) {
    std::string const bomb = repeated(hex("01 FF FF FF FF FF 7F"), 1000);
    EXPECT_LT(largestRequest([&] {
                  Memory memory(bomb);
                  for (int i = 0; i < 1000; ++i)
                      EXPECT_THROW(memory->readPointer<Leaf>(), InvalidPStreamIndex_Exception);
              }),
              200000u);
}
