// Packing: what is there stays, what is dead goes; and a long life of a file against a plain map.
#include "persistence/ResourceFileServer.h"
#include "resource_support.h"
#include "tests/TemporaryDirectory.h"

#include <random>

using namespace resource_tests;

namespace {

class ResourceFilePack : public ResourceTest {
  protected:
    std::string fileName() const { return directory_.name("file.res"); }
    long size() const { return static_cast<long>(directory_.content("file.res").size()); }
    TemporaryDirectory directory_;
};

TEST_F(ResourceFilePack, AFileWithoutItemsIsAHeaderADirectoryAndTwoTrailers) {
    ResourceFile file(fileName().c_str(), GIO::WriteMode);
    long const fresh = size();
    put(file, "a,T", noise(5000, 1));
    file.flush();
    file.empty();
    EXPECT_TRUE(file.pack());
    EXPECT_EQ(file.server()->end_position(), size());
    EXPECT_NEAR(size(), fresh, 10) << "a directory keeps some room";
    long const packed = size();
    EXPECT_TRUE(file.pack()) << "again";
    EXPECT_EQ(size(), packed);
    file.close();
    EXPECT_EQ(contentOf(fileName()), Content());
}

TEST_F(ResourceFilePack, BlocksFromBehindFillTheGaps) {
    ResourceFile file(fileName().c_str(), GIO::WriteMode);
    Content content;
    auto const add = [&](std::string const & address, std::size_t bytes) {
        content[address] = noise(bytes, static_cast<unsigned>(bytes));
        put(file, address, content[address]);
    };
    auto const offset = [&](char const * address) {
        return file.get_resource_block(named(address)).offset;
    };
    // The new file's own directory leaves a gap in front.
    add("gap,T", 20000);
    add("b,T", 5000);
    add("gap2,T", 1000);
    add("c,T", 900);
    add("d,T", 19000); // the largest that fits
    add("e,T", 10000); // fits where it was
    file.flush();
    for (char const * const dead : {"gap,T", "gap2,T"}) {
        file.remove(named(dead));
        content.erase(dead);
    }
    long const atB = offset("b,T");
    EXPECT_TRUE(file.pack());
    EXPECT_LT(offset("d,T"), atB);
    EXPECT_EQ(contentOf(file), content);
    long const packed = size();
    EXPECT_LT(packed, 20000 + 5000 + 10000 + 3000);
    EXPECT_EQ(file.server()->end_position(), packed);
    add("f,T", 10);
    file.close();
    EXPECT_EQ(contentOf(fileName()), content);
}

TEST_F(ResourceFilePack, AnEmptyTypeStays) {
    ResourceFile file(fileName().c_str(), GIO::WriteMode);
    put(file, "a,T", "A");
    put(file, "\\a,T", "in a directory without a name");
    file.remove(named("a,T"));
    EXPECT_TRUE(file.pack());
    EXPECT_EQ(contentOf(file), (Content{{"\\a,T", "in a directory without a name"}}));
    EXPECT_TRUE(file.remove_type(named(",T")));
}

TEST_F(ResourceFilePack, ALongLifeAgainstAPlainMap) {
    std::mt19937 random(3);
    Content content, committed;
    auto file = std::make_unique<ResourceFile>(fileName().c_str(), GIO::WriteMode);
    auto const any = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
    auto const address = [&] {
        static char const * const directories[] = {"", "d\\", "d\\e\\", "f\\"};
        return directories[any(4)] + std::string(1, static_cast<char>('a' + any(5))) +
               (any(2) ? ",T" : ",U");
    };
    for (int step = 0; step < 1500; ++step) {
        std::string const one = address(), other = address();
        switch (any(12)) {
            case 0:
                EXPECT_EQ(file->remove(named(one)), content.erase(one) == 1);
                break;
            case 1:
                if (one != other) {
                    bool const there = content.count(one) == 1;
                    EXPECT_EQ(file->rename(named(one), named(other)), there);
                    if (there) {
                        content[other] = content[one];
                        content.erase(one);
                    }
                }
                break;
            case 2:
                if (one != other) {
                    EXPECT_EQ(file->copy(named(one), named(other)), content.count(one) == 1);
                    if (content.count(one))
                        content[other] = content[one];
                }
                break;
            case 3:
                file->flush();
                break;
            case 4:
                if (any(3) == 0) {
                    ASSERT_TRUE(file->pack());
                    ASSERT_EQ(file->server()->end_position(), size());
                    ASSERT_EQ(contentOf(*file), content) << step;
                }
                break;
            case 5:
                if (any(3) == 0) {
                    file.reset();
                    file = std::make_unique<ResourceFile>(fileName().c_str(), GIO::ReadWriteMode);
                    ASSERT_EQ(contentOf(*file), content) << step;
                }
                break;
            default:
                content[one] = noise(any(4) ? any(300) : any(20000), any(1000));
                ASSERT_TRUE(put(*file, one, content[one]));
        }
        ASSERT_EQ(get(*file, one), content.count(one) ? std::optional(content[one]) : std::nullopt)
            << step;
    }
}

} // namespace
