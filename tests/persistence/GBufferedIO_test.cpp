// The buffer on a device: mixed reading and writing against a plain model, where it leaves the
// device, and what it tells when the device fails.
#include "persistence/GBufferedIO.h"
#include "persistence/GMemoryIO.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

namespace {

/// Memory that counts its calls, and takes only so many bytes.
class Device : public GMemoryIO {
  public:
    explicit Device(std::string const & content = "", IOOpenMode mode = ReadWriteMode)
        : GMemoryIO(0) {
        GMemoryIO::gwrite(content.data(), static_cast<long>(content.size()));
        GMemoryIO::gseek(0, FromStart);
        store_open_mode(mode);
    }
    ~Device() override { ++ended; }
    long gwrite(void const * data, long count) override {
        ++calls;
        if (broken)
            return -1;
        long const done = GMemoryIO::gwrite(data, room < 0 ? count : std::min(count, room));
        room -= room < 0 ? 0 : done;
        return done;
    }
    long gread(void * data, long count) override {
        ++calls;
        return GMemoryIO::gread(data, count);
    }
    void flush() override { ++flushes; }
    std::string content() const {
        return {static_cast<char const *>(buffer()), static_cast<std::size_t>(size())};
    }

    long room = -1; // no limit
    bool broken = false;
    int calls = 0, flushes = 0;
    static inline int ended = 0;
};

TEST(GBufferedIO, MixedReadingAndWritingFollowsAPlainModel) {
    std::mt19937 random(73);
    auto const below = [&random](long n) { return static_cast<long>(random() % n); };
    for (long const bufferSize : {-1L, 0L, 1L, 7L, 64L, 3L, 10L}) {
        auto * const device = new Device;
        GBufferedIO io(device, bufferSize);
        if (bufferSize == 3 || bufferSize == 10)
            io.passLargePieces();
        EXPECT_EQ(io.getBufferSize(), bufferSize > 0 ? bufferSize : 4);
        std::string model;
        std::size_t position = 0;
        auto const bytes = [&](std::uint64_t value, std::size_t count) {
            std::string text;
            for (; text.size() < count; value >>= 8)
                text += static_cast<char>(value & 0xFF);
            return text;
        };
        auto const wrote = [&](std::string const & data) {
            model.replace(position, data.size(), data);
            position += data.size();
        };
        // The next `count` bytes as a number, or -1 where there are fewer, which are gone then.
        auto const next = [&](std::size_t count) {
            std::int64_t value = 0;
            std::size_t const end = std::min(position + count, model.size());
            bool const whole = end - position == count;
            for (std::size_t i = 0; position < end; ++i)
                value |= std::int64_t(static_cast<unsigned char>(model[position++])) << (8 * i);
            return whole ? value : -1;
        };
        for (int step = 0; step < 5000; ++step) {
            std::string data(static_cast<std::size_t>(below(20)), '?');
            switch (below(11)) {
                case 0:
                    position = static_cast<std::size_t>(below(long(model.size()) + 1));
                    EXPECT_EQ(io.gseek(static_cast<long>(position), GIO::FromStart),
                              static_cast<long>(position));
                    break;
                case 1:
                case 2:
                    std::generate(data.begin(), data.end(), [&] { return char(below(256)); });
                    EXPECT_EQ(io.gwrite(data.data(), long(data.size())), long(data.size()));
                    wrote(data);
                    break;
                case 3:
                    EXPECT_EQ(io.writeByte(0xFE), 0xFE);
                    wrote(bytes(0xFE, 1));
                    break;
                case 4:
                    EXPECT_TRUE(io.writeWord(0xA1B2));
                    wrote(bytes(0xA1B2, 2));
                    break;
                case 5:
                    EXPECT_TRUE(io.writeDWord(0xC1D2E3F4));
                    wrote(bytes(0xC1D2E3F4, 4));
                    break;
                case 6:
                    EXPECT_EQ(io.readByte(), next(1));
                    break;
                case 7:
                    EXPECT_EQ(io.readWord(), next(2));
                    break;
                case 8:
                    EXPECT_EQ(io.readDWord(), next(4));
                    break;
                case 9: {
                    std::string const expected =
                        model.substr(position, std::min(data.size(), model.size() - position));
                    bool const starts = io.getState() != GAbstractBufferedIO::Reading;
                    // A reading that starts at the end has not even started.
                    long const done = io.gread(data.data(), static_cast<long>(data.size()));
                    EXPECT_EQ(done,
                              starts && position == model.size() ? -1 : long(expected.size()));
                    EXPECT_EQ(data.substr(0, expected.size()), expected);
                    position += expected.size();
                    break;
                }
                default:
                    EXPECT_EQ(io.gtell(), static_cast<long>(position));
                    EXPECT_EQ(device->gtell(), static_cast<long>(position));
                    EXPECT_EQ(io.getState(), GAbstractBufferedIO::Idle);
                    EXPECT_EQ(device->content(), model);
            }
            ASSERT_FALSE(HasFailure()) << "in step " << step << ", size " << bufferSize;
        }
    }
}

TEST(GBufferedIO, ReachesTheDeviceOnlyWhereTheWindowEnds) {
    auto * const device = new Device(std::string(64, 'a'));
    GBufferedIO io(device, 32);
    for (int i = 0; i < 33; ++i)
        EXPECT_EQ(io.readByte(), 'a');
    EXPECT_EQ(device->calls, 2);
    int const flushes = device->flushes;
    io.flush();
    EXPECT_EQ(device->gtell(), 33) << "what was read ahead is given back";
    EXPECT_EQ(device->flushes, flushes + 1);
    for (int i = 0; i < 33; ++i)
        EXPECT_EQ(io.writeByte('b'), 'b');
    EXPECT_EQ(device->calls, 3);
    EXPECT_EQ(device->content(), std::string(33, 'a') + std::string(32, 'b'));
}

TEST(GBufferedIO, ModeOfTheDeviceHolds) {
    char byte;
    GBufferedIO reading(new Device("abc", GIO::ReadMode));
    EXPECT_EQ(reading.readByte(), 'a');
    EXPECT_EQ(reading.gwrite("x", 1), -1);
    EXPECT_EQ(reading.writeByte('x'), -1);
    EXPECT_EQ(reading.readByte(), 'b') << "the refusal changes nothing";
    GBufferedIO writing(new Device("abc", GIO::WriteMode));
    EXPECT_EQ(writing.writeByte('x'), 'x');
    EXPECT_EQ(writing.gread(&byte, 1), -1);
    EXPECT_EQ(writing.readByte(), -1);
    EXPECT_EQ(writing.gtell(), 1);
}

TEST(GBufferedIO, FullDeviceLeavesTheRestInTheWindow) {
    auto * const device = new Device;
    GBufferedIO io(device, 4);
    device->room = 3;
    EXPECT_EQ(io.gwrite("abcdefghij", 10), 4);
    EXPECT_EQ(io.getError(), GIO::IncompleteWrite);
    EXPECT_EQ(io.getWCurrent() - io.getWBegin(), 1);
    EXPECT_EQ(io.gwrite("x", 1), 0) << "full still";
    device->room = -1;
    EXPECT_EQ(io.gwrite("efgh", 4), 4) << "there is room again, and nothing was lost";
    device->broken = true;
    EXPECT_EQ(io.writeByte('x'), -1);
    EXPECT_EQ(io.getError(), GIO::FailedWrite);
    device->broken = false;
    io.flush();
    EXPECT_EQ(device->content(), "abcdefgh");
}

TEST(GBufferedIO, LargePiecesPassTheWindow) {
    auto * const device = new Device;
    GBufferedIO io(device, 4);
    io.passLargePieces();
    EXPECT_EQ(io.gwrite("abc", 3), 3);
    EXPECT_EQ(io.gwrite("0123456789", 10), 10);
    EXPECT_EQ(device->calls, 2) << "the window, and the piece";
    device->room = 3;
    EXPECT_EQ(io.gwrite("ABCDEFGHIJ", 10), 7);
    EXPECT_EQ(io.getError(), GIO::IncompleteWrite);
    EXPECT_EQ(io.gwrite("HIJK", 4), 0) << "full still";
    device->room = -1;
    EXPECT_EQ(io.gwrite("HIJK", 4), 4) << "there is room again, and nothing was lost";
    device->broken = true;
    EXPECT_EQ(io.gwrite("xxxxx", 5), 4);
    EXPECT_EQ(io.getError(), GIO::FailedWrite);
    device->broken = false;
    io.flush();
    EXPECT_EQ(device->content(), "abc0123456789ABCDEFGHIJKxxxx");

    io.gseek(1, GIO::FromStart);
    device->calls = 0;
    char read[100];
    EXPECT_EQ(io.gread(read, 20), 20);
    EXPECT_EQ(device->calls, 2);
    EXPECT_EQ(std::string(read, 20), "bc0123456789ABCDEFGH");
    EXPECT_EQ(io.gread(read, 100), 7);
    EXPECT_EQ(io.getError(), GIO::EndOfFile);
    EXPECT_EQ(std::string(read, 7), "IJKxxxx");
    EXPECT_EQ(io.gtell(), 28);
}

TEST(GBufferedIO, EndOfTheDeviceIsAnErrorUntilTheNextStart) {
    GBufferedIO io(new Device("ab"), 16);
    char data[4];
    EXPECT_EQ(io.gread(data, 4), 2);
    EXPECT_EQ(io.getError(), GIO::EndOfFile);
    EXPECT_EQ(io.gread(data, 1), 0);
    EXPECT_EQ(io.gseek(0, GIO::FromStart), 0);
    EXPECT_EQ(io.gread(data, 1), 1);
    EXPECT_EQ(io.getError(), GIO::NoError);
}

TEST(GBufferedIO, OwnsItsDevice) {
    Device::ended = 0;
    {
        GBufferedIO io(0);
        EXPECT_EQ(io.getError(), GIO::NoDevice);
        EXPECT_EQ(io.gseek(0, GIO::FromStart), -1);
        EXPECT_EQ(io.gtell(), -1);
        EXPECT_EQ(io.readByte(), -1);
        auto * const first = new Device("", GIO::WriteMode);
        io.setIO(first);
        EXPECT_EQ(io.getError(), GIO::NoError);
        EXPECT_EQ(io.open_mode(), GIO::WriteMode);
        EXPECT_EQ(io.writeByte('x'), 'x');
        io.setIO(first);
        EXPECT_EQ(Device::ended, 0) << "the one it holds stays";
        EXPECT_EQ(first->content(), "x");
        io.setIO(new Device);
        EXPECT_EQ(Device::ended, 1);
        io.setIO(nullptr);
        EXPECT_EQ(Device::ended, 2);
        EXPECT_EQ(io.getError(), GIO::NoDevice);
        io.setIO(new Device);
    }
    EXPECT_EQ(Device::ended, 3);

    char block[] = "....";
    { GBufferedIO(new GMemoryIO(block, 4, GIO::ReadWriteMode)).gwrite("end", 3); }
    EXPECT_STREQ(block, "end.") << "what is held back goes out at the end";
}

} // namespace
