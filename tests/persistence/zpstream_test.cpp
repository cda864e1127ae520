// Files with plain and compressed stretches: what lies on the disk, and the way back.
#include "persistence/zpstream.h"

#include "persistence/RedirectionFile.h"
#include "persistence/fpstream.h"
#include "platform/FileSystem.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

class ZPStream : public testing::Test {
  protected:
    ZPStream() {
        name_ = platform::createTemporaryFile(platform::temporaryDirectory().c_str(), "zps");
    }
    ~ZPStream() override { platform::removeFile(name_.c_str()); }

    char const * name() const { return name_.c_str(); }
    std::string content() const {
        GFileIO file(name(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead);
        std::string bytes(static_cast<std::size_t>(file.gseek(0, GIO::FromEnd)), '\0');
        file.gseek(0, GIO::FromStart);
        file.gread(bytes.data(), static_cast<long>(bytes.size()));
        return bytes;
    }

    std::string name_;
};

TEST_F(ZPStream, AlternatesPlainAndCompressedStretches) {
    {
        ozpstream out(name(), GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone, 4);
        ASSERT_TRUE(out.good());
        EXPECT_TRUE(out.is_comp()) << "a new stream is compressed";
        EXPECT_EQ(out.turn_to_norm(), 0) << "nothing was written, so there is no stretch";
        out.writeByte('<');
        EXPECT_EQ(out.turn_to_comp(true), 1);
        EXPECT_EQ(out.tellp(), 1);
        out.writeByte('a');
        // One literal in plain fields, 27 bits in all, and the end mark.
        EXPECT_EQ(out.turn_to_norm(), 6);
        out.writeByte('>');
        EXPECT_EQ(out.turn_to_comp(true), 7);
        out.close();
        EXPECT_TRUE(out.good());
        EXPECT_FALSE(out.is_open());
    }
    std::string const stretch("\x0A\x00\x84\x01\x01", 5);
    EXPECT_EQ(content(), "<" + stretch + ">");

    izpstream in(name(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareRead, 4);
    in.turn_to_norm();
    EXPECT_EQ(in.readByte(), '<');
    EXPECT_EQ(in.turn_to_comp(true), 1) << "what was read ahead goes back";
    EXPECT_EQ(in.readByte(), 'a');
    in.turn_to_norm();
    in.seekg(6);
    EXPECT_EQ(in.readByte(), '>');
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.io_mode(), GIO::ReadMode);
}

TEST_F(ZPStream, ReadsBackInOneStream) {
    std::string text;
    for (int i = 0; i < 5000; ++i)
        text += "line " + std::to_string(i) + "\n";
    zpstream file(name(), GIO::ReadWriteMode, GFileIO::OpenOrCreate, GFileIO::ShareNone, 9);
    file.turn_to_norm();
    file.writeDWord(7);
    file.turn_to_comp(true);
    file.writeString(text.c_str());
    long const end = file.turn_to_norm();
    EXPECT_GT(end, 4);
    EXPECT_LT(end, static_cast<long>(text.size()) / 2);
    for (int round = 0; round < 2; ++round) {
        file.seekg(4);
        file.turn_to_comp(true);
        EXPECT_EQ(file.turn_to_comp(true), 4) << "turned on twice: nothing changes";
        std::unique_ptr<char[]> const read(file.readString());
        EXPECT_STREQ(read.get(), text.c_str());
        EXPECT_EQ(file.turn_to_norm(), end) << "the reader stops with its stretch";
    }
    EXPECT_TRUE(file.change_size(4));
    file.close();
    EXPECT_EQ(content(), std::string("\x07\0\0\0", 4));
}

TEST_F(ZPStream, TellsHowItWasOpened) {
    zpstream stream;
    stream.open(name(), 0x63, 4);
    EXPECT_FALSE(stream.is_open());
    EXPECT_EQ(stream.rdstate(), 0) << "a mode that contradicts itself does nothing";
    stream.open((name_ + ".missing").c_str(), 0x20 | GIO::ReadMode, 4);
    EXPECT_FALSE(stream.is_open());
    EXPECT_EQ(stream.rdstate(), pstream::WriteFailedBit);
    stream.open(name(), GIO::ReadWriteMode, 4);
    EXPECT_TRUE(stream.is_open());
    EXPECT_EQ(stream.rdstate(), 0);
    EXPECT_EQ(stream.io_mode(), GIO::ReadWriteMode);
    stream.open(name(), GIO::ReadMode, 4);
    EXPECT_EQ(stream.rdstate(), pstream::ReadFailedBit);
    EXPECT_EQ(stream.io_mode(), GIO::ReadWriteMode) << "the first one stays";
}

TEST_F(ZPStream, EndThatWasReachedDoesNotOutliveTheSwitchOrTheFile) {
    zpstream file(name(), GIO::ReadWriteMode, GFileIO::OpenOrCreate, GFileIO::ShareNone, 4);
    file.writeString("stretch");
    file.turn_to_norm();
    auto const readToTheEnd = [&file] {
        file.turn_to_norm();
        file.seekg(0, GIO::FromEnd);
        file.readByte();
        EXPECT_TRUE(file.eof());
        file.clear();
    };
    auto const text = [&file] {
        file.turn_to_comp(true);
        std::unique_ptr<char[]> const read(file.readString());
        return std::string(read ? read.get() : "");
    };
    readToTheEnd();
    file.seekg(0);
    EXPECT_EQ(text(), "stretch");
    readToTheEnd();
    file.turn_to_comp(true);
    file.writeString("more");
    file.turn_to_norm();
    file.flush();
    EXPECT_TRUE(file.good());
    readToTheEnd();
    file.close();
    file.open(name(), GIO::ReadMode, GFileIO::ExistingOnly, GFileIO::ShareNone, 4);
    file.flush();
    EXPECT_TRUE(file.good());
    EXPECT_EQ(text(), "stretch");
    EXPECT_EQ(text(), "more");
}

TEST_F(ZPStream, FlushTellsThatTheDiskIsFull) {
    GFileIO probe("/dev/full", GIO::WriteMode, GFileIO::ExistingOnly, GFileIO::ShareBoth);
    if (!probe.is_opened())
        GTEST_SKIP() << "no device here that is always full";
    probe.close();
    ozpstream out("/dev/full", GIO::WriteMode, GFileIO::ExistingOnly, GFileIO::ShareNone, 4);
    ASSERT_TRUE(out.is_open());
    out.writeString("lost");
    out.flush();
    EXPECT_TRUE(out.bad());
    out.clear();
    out.turn_to_norm();
    out.turn_to_comp(true);
    out.writeString("lost as well");
    out.turn_to_norm();
    out.flush();
    EXPECT_TRUE(out.bad()) << "also behind the switch";
}

TEST_F(ZPStream, EveryNameIsRedirected) {
    std::string const directory = name_.substr(0, name_.rfind('\\'));
    std::string const bare = name_.substr(name_.rfind('\\') + 1);
    std::string const list = name_ + ".red";
    {
        ofpstream out(list.c_str(), GIO::WriteMode, GFileIO::CreateAndTruncate, GFileIO::ShareNone);
        std::string const line = bare + " = " + directory + "\n";
        out.writeBytes(line.data(), static_cast<long>(line.size()));
    }
    fpbase::SetRedirectionFile(list.c_str());
    zpstream stream(bare.c_str(), GIO::ReadWriteMode, GFileIO::OpenOrCreate, GFileIO::ShareNone, 4);
    fpbase::SetRedirectionFile(static_cast<RedirectionFile *>(nullptr));
    stream.turn_to_norm();
    stream.writeByte('!');
    stream.close();
    EXPECT_EQ(content(), "!") << "also one that may be created";
    platform::removeFile(list.c_str());
    platform::removeFile(bare.c_str());
}

} // namespace
