// Files as they are found: behind other content, in the old format, torn, damaged, and made up.
#include "allocation_support.h"
#include "disk_support.h"
#include "persistence/ResourceFileServer.h"
#include "persistence/mpstream.h"
#include "resource_support.h"
#include "tests/TemporaryDirectory.h"

#include <filesystem>
#include <fstream>
#include <random>

using namespace resource_tests;
using pstream_tests::digits;
using pstream_tests::framed;
using pstream_tests::hex;

namespace {

std::string const header = hex("46 42 50 52  FF FF FF FF");

std::string dword(std::size_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

class ResourceFileOpening : public ResourceTest {
  protected:
    std::string fileName() const { return directory_.name("file.res"); }
    void place(std::string const & bytes) const { directory_.put("file.res", bytes); }
    std::string bytes() const { return directory_.content("file.res"); }

    /// The bytes of a file with these resources, each committed by itself.
    std::string made(Content const & content) const {
        std::string const name = directory_.name("made.res");
        {
            ResourceFile file(name.c_str(), GIO::WriteMode);
            for (auto const & [address, text] : content) {
                put(file, address, text);
                file.flush();
            }
        }
        std::string const result = directory_.content("made.res");
        std::filesystem::remove(name);
        return result;
    }
    Content opened(GIO::IOOpenMode mode = GIO::ReadWriteMode) const {
        ResourceFile file(fileName().c_str(), mode);
        EXPECT_TRUE(file.is_open());
        return contentOf(file);
    }
    /// Behind the last trailer that `bytes` begin with when they are a new file.
    long endOfNewFile() const { return static_cast<long>(made({}).size()); }

    TemporaryDirectory directory_;
};

TEST_F(ResourceFileOpening, ANewFileIsAHeaderADirectoryAndTwoTrailers) {
    std::string const file = made({});
    ASSERT_GT(file.size(), 56u);
    EXPECT_EQ(digits(file.substr(0, 8)), digits(header));
    // The check sum was worked out with another program.
    std::string const trailer =
        hex("E2 77 A1 A0  08 00 00 00  4F 62 6A BF 08 B4 52 65 73 6F 75 72 63 65 73 00");
    EXPECT_EQ(digits(file.substr(file.size() - 48)), digits(trailer + trailer));
}

TEST_F(ResourceFileOpening, TheBaseLiesBehindExecutablesAndForeignChunks) {
    std::string const executable =
        hex("4D 5A 64 00 02 00") + std::string(512 + 100 - 6, 'x'); // a page and 100 bytes
    std::string const wholePages = hex("4D 5A 00 00 01 00") + std::string(512 - 6, 'x');
    std::string const chunk = hex("46 42 51 51 05 00 00 00") + "12345";
    struct {
        std::string front;
        long base; // -1: not acceptable
    } const cases[] = {
        {"", 0},
        {hex("46 42 50 52 00 00"), 0}, // too short for anything
        {"short", 0},
        {executable, 612},
        {wholePages, 512},
        {chunk, 13},
        {executable + chunk + chunk, 612 + 26},
        {chunk + "something else", 13},
        {hex("46 42 51 51 F8 FF FF FF") + "12345678", -1}, // does not advance in 32 bits
        {hex("46 42 51 51 10 00 00 00") + "1234567", -1},  // past the end
        {hex("4D 5A 00 00 00 00") + "0123456789", -1},     // no pages
        {hex("4D 5A 00 00 FF FF") + "0123456789", -1},
        {"something else", -1},
    };
    for (auto const & c : cases) {
        SCOPED_TRACE(digits(c.front.substr(0, 16)));
        place(c.front);
        EXPECT_EQ(ResourceFile::IsValidToRead(fileName().c_str()), c.base >= 0);
        {
            ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
            ASSERT_EQ(file.is_open(), c.base >= 0);
            if (c.base < 0) {
                EXPECT_EQ(bytes(), c.front);
                continue;
            }
            EXPECT_EQ(file.server()->base_position(), c.base);
            put(file, "a,T", "A");
        }
        EXPECT_EQ(bytes().substr(0, static_cast<std::size_t>(c.base)),
                  c.front.substr(0, static_cast<std::size_t>(c.base)));
        EXPECT_EQ(opened(GIO::ReadMode), (Content{{"a,T", "A"}}));
        // The section keeps its meaning where other things come in front of it.
        place(chunk + bytes());
        EXPECT_EQ(opened(), (Content{{"a,T", "A"}}));
        ResourceFile file(fileName().c_str(), GIO::ReadMode);
        EXPECT_GE(file.get_resource_block(named("a,T")).offset, c.base + 13 + 8);
    }
}

TEST_F(ResourceFileOpening, ALostTailLeavesTheFormerDirectory) {
    std::string const one = made({{"a,T", "A"}});
    std::string const two = made({{"a,T", "A"}, {"b,T", noise(300, 1)}});
    ASSERT_EQ(two.substr(0, one.size()), one) << "nothing of a former generation changes";
    Content const first{{"a,T", "A"}}, both{{"a,T", "A"}, {"b,T", noise(300, 1)}};
    // Any end is either the new generation or the former one.
    for (std::size_t size = one.size() - 24; size <= two.size(); ++size) {
        place(two.substr(0, size));
        ASSERT_EQ(opened(GIO::ReadMode), size >= two.size() - 24 ? both : first) << size;
    }
    // Damaged trailers are as good as none, and what comes next is written over them.
    struct {
        std::size_t behind, cut;
        Content const & content;
    } const cases[] = {{24, 24, both}, {48, 0, both}, {12, 24, both}};
    for (auto const & c : cases) {
        std::string damaged = two;
        damaged[damaged.size() - c.behind] ^= 1;
        place(damaged);
        ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
        EXPECT_EQ(contentOf(file), c.content);
        EXPECT_EQ(file.server()->end_position(), static_cast<long>(two.size() - c.cut));
        put(file, "c,T", "C");
        file.close();
        EXPECT_EQ(opened().size(), c.content.size() + 1);
    }
    std::string damaged = two;
    damaged[damaged.size() - 48] ^= 1;
    damaged[damaged.size() - 24] ^= 1;
    place(damaged + std::string(200000, 'x'));
    EXPECT_EQ(opened(GIO::ReadMode), first);
    EXPECT_FALSE(directory_.has("file.res.damaged"));
}

TEST_F(ResourceFileOpening, AStoredResourceFileIsNotTakenForTheFileItself) {
    std::string inner = made({{"inner,T", noise(500, 2)}});
    for (int i = 0; i < 3; ++i)
        inner = inner + inner; // many trailers
    {
        ResourceFile file(fileName().c_str(), GIO::WriteMode);
        put(file, "a,T", "A");
        file.flush();
        std::string const committed = bytes();
        impstream in(inner.data(), static_cast<long>(inner.size()), GIO::ReadMode);
        ASSERT_TRUE(file.copy_from(named("file,T"), in, -1, 0));
        std::string const broken = bytes();
        ASSERT_GT(broken.size(), committed.size());
        file.close();
        place(broken); // never flushed
    }
    EXPECT_EQ(opened(), (Content{{"a,T", "A"}}));
    // Also when the stored file is a copy of this one, whose positions fit.
    std::string const own = made({{"a,T", "A"}});
    place(own + own);
    ResourceFile file(fileName().c_str(), GIO::ReadMode);
    EXPECT_EQ(contentOf(file), (Content{{"a,T", "A"}}));
    EXPECT_EQ(file.server()->end_position(), static_cast<long>(own.size()));
}

TEST_F(ResourceFileOpening, ADamagedDirectoryIsPutAsideBeforeANewSectionIsMade) {
    std::string damaged = made({{"a,T", "A"}});
    for (std::size_t i = damaged.size() - 70; i < damaged.size() - 50; ++i)
        damaged[i] = 'x';
    place(damaged);
    EXPECT_EQ(opened(GIO::ReadMode), Content());
    EXPECT_EQ(bytes(), damaged) << "reading changes nothing";
    EXPECT_FALSE(directory_.has("file.res.damaged"));

    {
        ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
        EXPECT_EQ(contentOf(file), Content());
        put(file, "b,T", "B");
    }
    EXPECT_EQ(directory_.content("file.res.damaged"), damaged);
    EXPECT_EQ(opened(), (Content{{"b,T", "B"}})) << "what is saved from then on is found again";

    std::string const second = header + std::string(100, 'y');
    place(second);
    EXPECT_EQ(opened(), Content());
    EXPECT_EQ(directory_.content("file.res.damaged"), damaged) << "the first copy stays";
    EXPECT_EQ(directory_.content("file.res.damaged.1"), second);
    EXPECT_EQ(static_cast<long>(bytes().size()), endOfNewFile());
}

TEST_F(ResourceFileOpening, OthersWhoHoldTheFileDecideHowItIsOpened) {
    place(made({{"a,T", "A"}}));
    std::string const before = bytes();
    {
        GFileIO const writer(fileName().c_str(), GIO::ReadWriteMode, GFileIO::ExistingOnly,
                             GFileIO::ShareNone);
        EXPECT_FALSE(ResourceFile(fileName().c_str(), GIO::ReadWriteMode).is_open());
    }
    GFileIO const reader(fileName().c_str(), GIO::ReadMode, GFileIO::ExistingOnly,
                         GFileIO::ShareRead);
    ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
    EXPECT_EQ(file.io_mode(), GIO::ReadMode);
    EXPECT_EQ(contentOf(file), (Content{{"a,T", "A"}}));
    EXPECT_FALSE(put(file, "a,T", "B"));
    EXPECT_FALSE(put(file, "b,T", "B"));
    EXPECT_NE(file.error() & pstream::WriteFailedBit, 0);
    EXPECT_FALSE(file.remove(named("a,T")));
    EXPECT_FALSE(file.rename(named("a,T"), named("b,T")));
    EXPECT_FALSE(file.rename_directory(path("d"), path("e")));
    EXPECT_FALSE(file.remove_type("T"));
    EXPECT_FALSE(file.pack());
    file.empty();
    file.mark_as_modified();
    EXPECT_FALSE(file.flush());
    EXPECT_EQ(contentOf(file), (Content{{"a,T", "A"}}));
    file.close();
    EXPECT_EQ(bytes(), before);
    EXPECT_FALSE(ResourceFile(directory_.name("none").c_str(), GIO::ReadMode).is_open());
    EXPECT_FALSE(ResourceFile(directory_.name("no/such").c_str(), GIO::WriteMode).is_open());
}

TEST_F(ResourceFileOpening, ADirectoryDamagedBeyondRecognitionIsPutAsideToo) {
    std::string damaged = made({{"a,T", "A"}, {"b,T", "B"}});
    std::size_t const at = damaged.size() - 20; // the position in the last trailer
    std::size_t const directory = static_cast<unsigned char>(damaged[at]) +
                                  256u * static_cast<unsigned char>(damaged[at + 1]);
    damaged.replace(directory, 6, "xxxxxx");
    place(damaged);
    EXPECT_EQ(opened(GIO::ReadMode), (Content{{"a,T", "A"}}));
    EXPECT_FALSE(directory_.has("file.res.damaged"));
    EXPECT_EQ(opened(), (Content{{"a,T", "A"}}));
    EXPECT_EQ(directory_.content("file.res.damaged"), damaged);
    EXPECT_EQ(bytes(), made({{"a,T", "A"}}));
    EXPECT_EQ(opened(), (Content{{"a,T", "A"}}));
    EXPECT_FALSE(directory_.has("file.res.damaged.1")) << "once";
}

// The old format.

/// One type with one item whose record is `item`; the resource lies uncompressed at 8.
std::string oldFile(std::string const & content) {
    std::string const block = hex("02") + framed("T::Blob", dword(content.size()) + content);
    std::string const collection =
        framed("ResourceCollection", hex("01 00 04 00 04 00 01  01 00") + "a" + dword(8) +
                                         dword(block.size()) + hex("00"));
    std::string const directory =
        hex("02") + framed("ResourceTypeCollection", hex("01 00 04 00 04 00 01  01 00") + "T" +
                                                         hex("02") + collection + hex("00"));
    return header.substr(0, 4) + dword(8 + block.size()) + block + directory;
}

TEST_F(ResourceFileOpening, TheOldFormatIsReadAndConvertedOnWriting) {
    std::string const old = oldFile("old content");
    place(old);
    Content const content{{"a,T", "old content"}};
    EXPECT_EQ(opened(GIO::ReadMode), content);
    EXPECT_EQ(bytes(), old);

    EXPECT_EQ(opened(), content);
    std::string const converted = bytes();
    EXPECT_EQ(digits(converted.substr(0, 8)), digits(header));
    EXPECT_EQ(converted.substr(8, old.size() - 8), old.substr(8)) << "nothing else was touched";
    EXPECT_EQ(opened(), content);
    EXPECT_EQ(bytes(), converted);
    {
        ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
        EXPECT_EQ(file.get_resource_block(named("a,T")).compressed, 0);
        put(file, "a,T", "new content");
        EXPECT_EQ(file.get_resource_block(named("a,T")).compressed, 0) << "the flag stays";
    }
    EXPECT_EQ(opened(), (Content{{"a,T", "new content"}}));

    // Broken off while the last step was written.
    for (std::size_t i = 4; i < 8; ++i) {
        place(old.substr(0, i) + converted.substr(i));
        EXPECT_EQ(opened(), content) << i;
        place(converted.substr(0, i) + old.substr(i, 8 - i) + converted.substr(8));
        EXPECT_EQ(opened(), content) << i;
        EXPECT_EQ(digits(bytes().substr(0, 8)), digits(header));
    }
}

TEST_F(ResourceFileOpening, AnOldFileIsNotCalledFlushedBeforeItIsConverted) {
    Content const both{{"a,T", "old content"}, {"b,T", "B"}};
    std::string const old = oldFile("old content");
    constexpr long most = 8; // writes of the opening, and of what follows
    for (long first = 0; first < most; ++first) {
        for (long second = 0; second < most; ++second) {
            SCOPED_TRACE(testing::Message() << first << ' ' << second);
            place(old);
            std::string atOnce;
            bool flushed = false;
            {
                disk::failOnce(first, 0);
                ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
                ASSERT_LT(disk::calls(), most);
                disk::failOnce(second, 0);
                flushed = put(file, "b,T", "B") && file.flush();
                ASSERT_LT(disk::calls(), most);
                atOnce = bytes();
                disk::heal();
            }
            place(atOnce); // as if the process had ended there
            Content content = opened();
            EXPECT_EQ(content["a,T"], "old content");
            if (flushed) {
                EXPECT_EQ(content, both);
            }
        }
    }
}

// Made up.

TEST_F(ResourceFileOpening, NothingIsWrittenBehindTheGreatestPosition) {
    // The check sum was worked out with another program.
    constexpr std::size_t position = 0x7FFFFE00;
    std::string const trailer = hex("A7 E5 92 78  00 FE FF 7F  4F 62 6A BF 08 B4 52 65 73 6F 75 72 "
                                    "63 65 73 00");
    std::string const small = made({{"a,T", "content"}});
    auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(small[i]); };
    std::size_t const end = small.size() - 48, from = byte(end + 4) | byte(end + 5) << 8;
    place(small);
    std::filesystem::resize_file(fileName(), position);
    std::ofstream(fileName(), std::ios::app | std::ios::binary)
        << small.substr(from, end - from) << trailer << trailer;
    Content const before{{"a,T", "content"}};
    {
        ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
        ASSERT_TRUE(file.is_open());
        EXPECT_EQ(contentOf(file), before);
        EXPECT_FALSE(put(file, "b,T", noise(2000, 1)));
        EXPECT_FALSE(file.exist(named("b,T")));
        EXPECT_TRUE(put(file, "c,T", noise(200, 1)));
        EXPECT_FALSE(file.flush()) << "there is room for the block, but not for the directory";
    }
    EXPECT_LE(std::filesystem::file_size(fileName()), 0x7FFFFFFFu);
    {
        ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
        ASSERT_TRUE(file.is_open());
        EXPECT_EQ(contentOf(file), before);
        EXPECT_TRUE(file.pack());
        EXPECT_TRUE(put(file, "b,T", "B"));
    }
    EXPECT_EQ(opened(), (Content{{"a,T", "content"}, {"b,T", "B"}}));
    EXPECT_LT(bytes().size(), 2000u);
}

TEST_F(ResourceFileOpening, ABlockOutsideTheFileIsDamaged) {
    for (auto const & [offset, size] : {std::pair(4u, 50u),
                                        {1000000u, 50u},
                                        {8u, 1000000u},
                                        {8u, 0x7FFFFFFFu},
                                        {0x7FFFFFF0u, 0x7FFFFFF0u}}) {
        std::string file = oldFile("content");
        std::string const record = dword(8) + dword(file.find(hex("02") + hex("B1"), 9) - 8);
        std::size_t const at = file.rfind(record);
        ASSERT_NE(at, std::string::npos);
        file.replace(at, 8, dword(offset) + dword(size));
        place(file);
        for (auto const mode : {GIO::ReadMode, GIO::ReadWriteMode}) {
            EXPECT_EQ(opened(mode), (Content{{"a,T", "damaged"}})) << offset << ' ' << size;
            EXPECT_LT(bytes().size(), 2000u);
        }
        ResourceFile reader(fileName().c_str(), GIO::ReadWriteMode);
        std::string const before = bytes();
        EXPECT_FALSE(reader.pack()) << "it is left as it is";
        EXPECT_EQ(bytes(), before);
    }
}

TEST_F(ResourceFileOpening, AnyBytesAreOpenedAndReadOrRefused) {
    std::mt19937 random(7);
    std::string const files[] = {
        made({{"a,T", std::string(2000, 'a')}, {"d\\e\\b,U", noise(300, 3)}, {"c,T", "C"}}),
        oldFile("content")};
    allocation::forget();
    for (int round = 0; round < 500; ++round) {
        std::string file = files[round % 2];
        for (unsigned changes = 1 + random() % 4; changes > 0; --changes)
            file[8 + random() % (file.size() - 8)] = static_cast<char>(random());
        if (random() % 4 == 0)
            file.resize(random() % file.size());
        place(file);
        try {
            ResourceFile reader(fileName().c_str(), GIO::ReadMode);
            contentOf(reader);
        } catch (InvalidPStream_Exception const &) {
        }
    }
    if (allocation::isWatched()) {
        EXPECT_LT(allocation::largest(), std::size_t{4} << 20);
    }
}

TEST_F(ResourceFileOpening, ManyTrailersThatLeadNowhereTakeTimeInProportion) {
    std::string const trailer =
        hex("E2 77 A1 A0  08 00 00 00  4F 62 6A BF 08 B4 52 65 73 6F 75 72 63 65 73 00");
    std::string file = header + hex("01"); // an empty compressed stream, no directory
    while (file.size() < 4000000)
        file += trailer;
    place(file);
    EXPECT_EQ(opened(GIO::ReadMode), Content());
    // Trailers that all lead to one large directory, which none of them follows.
    {
        std::filesystem::remove(fileName());
        ResourceFile large(fileName().c_str(), GIO::WriteMode);
        for (int i = 0; i < 5000; ++i)
            large.create_directory(path("many\\directory " + std::to_string(i)));
        large.pack();
    }
    std::string const directory = bytes();
    EXPECT_EQ(digits(directory.substr(directory.size() - 24)), digits(trailer));
    std::string following = directory + "x";
    while (following.size() < directory.size() + 100000)
        following += trailer;
    place(following);
    ResourceFile reader(fileName().c_str(), GIO::ReadMode);
    EXPECT_TRUE(reader.directory_exists(path("many\\directory 4999")));
    reader.close();
    // Nearly trailers.
    for (std::size_t at = 9; at < file.size(); at += 24)
        file[at] ^= 1;
    place(file);
    EXPECT_EQ(opened(GIO::ReadMode), Content());
    // A chain of small chunks.
    std::string chunks;
    while (chunks.size() < 4000000)
        chunks += hex("46 42 51 51 00 00 00 00");
    place(chunks);
    EXPECT_EQ(opened(GIO::ReadMode), Content());
}

} // namespace
